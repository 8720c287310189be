// The real program, run on real files.
//
//     class ImportTest : public ToolTest {};
//     TEST_F(ImportTest, PrintsTheNameOfTheTableAndNothingElse) {
//         const Finished import = ktwt({"import", file("a.csv", "city\nUlm\n")});
//         EXPECT_EQ(import.status, 0) << import.err;
//     }
#ifndef TESTS_TOOL_TOOL_TEST_H
#define TESTS_TOOL_TOOL_TEST_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/temp_directory.h"

// What a program said, and how it ended: its exit status, or 128 and the number of the signal that ended it.
struct Finished {
    int status = -1;
    std::string out;
    std::string err;
};

// A program that is running. Its input ends at once unless some was given.
class Running {
public:
    // `words` begins with the program. Its input is the file, "/dev/null" for none. Its output is kept for out() unless it is
    // to go to a file of the test's.
    Running(const std::vector<std::string>& words, const std::string& inputPath, const std::string& outputPath = "");
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;
    ~Running();  // kills it when nobody waited

    void signal(int number) const;

    // Waits until the program has said that it deals with a signal itself, unless it has ended before.
    void waitUntilItCatches(int number) const;
    Finished wait();

    // What it has written to standard output and standard error so far.
    std::string out() const;
    std::string err() const;

private:
    TempDirectory directory_;
    int process_ = -1;
};

// Whether a test can make a terminal. Minimal systems have no /dev/pts.
bool hasTerminals();

// Has the program's tables in a directory of its own.
class ToolTest : public testing::Test {
protected:
    // Runs `ktwt` with these words, and --dirs tables.path() at their end.
    Finished ktwt(std::vector<std::string> words, const std::string& input = "");

    // The words to run it with, for those who start it themselves.
    std::vector<std::string> command(std::vector<std::string> words) const;

    // Makes a file with these bytes and returns its path.
    std::string file(const std::string& name, const std::string& bytes);

    // Imports the CSV, which must succeed, and returns the table's name.
    std::string table(const std::string& csv, std::vector<std::string> options = {});

    TempDirectory tables;
    TempDirectory files;
};

#endif
