// A program with a terminal for its standard output.
#ifndef TESTS_TOOL_TERMINAL_H
#define TESTS_TOOL_TERMINAL_H

#include <fcntl.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tool/tool_test.h"

// Runs the words with their standard output on a terminal of so many columns, and gives back what the terminal was sent.
// Line ends are those of the program.
inline Finished onTerminal(std::vector<std::string> words, unsigned short columns) {
    Finished run;
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (terminal < 0 || grantpt(terminal) != 0 || unlockpt(terminal) != 0) return run;
    const int screen = open(ptsname(terminal), O_RDWR | O_NOCTTY | O_CLOEXEC);
    const winsize size = {24, columns, 0, 0};
    if (screen < 0 || ioctl(terminal, TIOCSWINSZ, &size) != 0) return run;
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const pid_t process = fork();
    if (process == 0) {
        dup2(screen, 1);
        execvp(arguments[0], arguments.data());
        _exit(127);
    }
    close(screen);
    char byte = 0;
    while (read(terminal, &byte, 1) == 1) {  // until the last who has the terminal open has ended
        if (byte != '\r') run.out += byte;
    }
    close(terminal);
    int status = 0;
    waitpid(process, &status, 0);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return run;
}

#endif
