#include "child_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {

namespace {

// The list as the system wants it; refers to the texts.
std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
    return pointers;
}

bool wait(pid_t child) {
    int status = 0;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace

bool runProgram(const std::vector<std::string>& words, const std::vector<std::string>& settings,
                const std::string& outputPath) {
    std::vector<char*> arguments = pointersTo(words);
    arguments.push_back(nullptr);
    std::vector<char*> environment = pointersTo(settings);
    for (char** variable = environ; *variable != nullptr; ++variable) environment.push_back(*variable);
    environment.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    if (posix_spawn_file_actions_init(&actions) != 0) return false;
    pid_t child = 0;
    const bool redirected = outputPath.empty() || posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outputPath.c_str(),
                                                                                   O_WRONLY | O_CREAT | O_TRUNC, 0600) == 0;
    const bool started =
        redirected && posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environment.data()) == 0;
    posix_spawn_file_actions_destroy(&actions);
    return started && wait(child);
}

}  // namespace bench
