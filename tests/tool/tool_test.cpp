#include "tool/tool_test.h"

#include <fcntl.h>
#include <sched.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <utility>

namespace {

// In the child: puts a file in the place of a handle.
void redirect(const std::string& path, int flags, int handle) {
    const int opened = open(path.c_str(), flags, 0600);
    if (opened < 0 || dup2(opened, handle) < 0) _exit(127);
}

}  // namespace

Running::Running(const std::vector<std::string>& words, const std::string& inputPath, const std::string& outputPath) {
    std::vector<char*> arguments;
    for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    process_ = fork();
    if (process_ != 0) return;
    redirect(inputPath, O_RDONLY, 0);
    redirect(outputPath.empty() ? directory_.file("out") : outputPath, O_WRONLY | O_CREAT | O_APPEND, 1);
    redirect(directory_.file("err"), O_WRONLY | O_CREAT | O_APPEND, 2);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

Running::~Running() {
    if (process_ < 0) return;
    signal(SIGKILL);
    wait();
}

void Running::signal(int number) const { kill(process_, number); }

void Running::waitUntilItCatches(int number) const {
    const std::string path = "/proc/" + std::to_string(process_) + "/status";
    for (;;) {
        const std::string status = readFile(path);
        const std::size_t caught = status.find("SigCgt:");
        const bool isAlive = caught != std::string::npos && status.find("State:\tZ") == std::string::npos;
        if (!isAlive || (std::stoull(status.substr(caught + 7), nullptr, 16) >> (number - 1) & 1U) != 0) return;
        sched_yield();
    }
}

Finished Running::wait() {
    int status = 0;
    while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
    }
    process_ = -1;
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), out(), err()};
}

std::string Running::out() const { return readFile(directory_.file("out")); }
std::string Running::err() const { return readFile(directory_.file("err")); }

bool hasTerminals() {
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    const char* const name = terminal >= 0 ? ptsname(terminal) : nullptr;
    const bool has = name != nullptr && access(name, F_OK) == 0;
    if (terminal >= 0) close(terminal);
    return has;
}

std::vector<std::string> ToolTest::command(std::vector<std::string> words) const {
    words.insert(words.begin(), KTWT_TOOL);
    words.insert(words.end(), {"--dirs", tables.path()});
    return words;
}

Finished ToolTest::ktwt(std::vector<std::string> words, const std::string& input) {
    const std::string inputPath = input.empty() ? "/dev/null" : file("standard input", input);
    return Running(command(std::move(words)), inputPath).wait();
}

std::string ToolTest::file(const std::string& name, const std::string& bytes) {
    writeFile(files.file(name), bytes);
    return files.file(name);
}

std::string ToolTest::table(const std::string& csv, std::vector<std::string> options) {
    options.insert(options.begin(), {"import", "-"});
    const Finished import = ktwt(std::move(options), csv);
    EXPECT_EQ(import.status, 0) << import.err;
    return import.out.substr(0, import.out.find('\n'));
}
