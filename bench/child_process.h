// Programs run beside this one.
#ifndef BENCH_CHILD_PROCESS_H
#define BENCH_CHILD_PROCESS_H

#include <string>
#include <vector>

namespace bench {

// Runs a program, found as a shell finds it, with the current environment and `settings` (NAME=value) in front of it, and waits
// for its end. Its standard output goes to the file unless `outputPath` is empty. False unless it ended with status 0.
bool runProgram(const std::vector<std::string>& words, const std::vector<std::string>& settings, const std::string& outputPath);

}  // namespace bench

#endif
