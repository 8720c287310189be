// ktwt: work tables from the command line.
#include <cstdio>
#include <exception>

#include "command.h"
#include "interrupt.h"

namespace {

Outcome runChosen(CommandLine& line) {
    for (const auto& command : line.commands) {
        if (line.app.got_subcommand(command->name())) return command->run(line.session);
    }
    return {Status::usage, "a command is missing (see ktwt --help)"};
}

// Parses the arguments; false when there is nothing to run, with the program's status in *status.
bool parse(CommandLine& line, int argc, char** argv, int* status) {
    try {
        line.app.parse(argc, argv);
        return true;
    } catch (const CLI::Success& help) {
        *status = line.app.exit(help);
    } catch (const CLI::ParseError& error) {
        std::fprintf(stderr, "ktwt: %s (see ktwt --help)\n", error.what());
        *status = static_cast<int>(Status::usage);
    }
    return false;
}

int runProgram(int argc, char** argv) {
    CommandLine line;
    int status = 0;
    if (!parse(line, argc, argv, &status)) return status;
    const Outcome outcome = runChosen(line);
    if (!outcome.text().empty()) std::fprintf(stderr, "ktwt: %s\n", outcome.text().c_str());
    return static_cast<int>(outcome.status());
}

}  // namespace

int main(int argc, char** argv) {
    catchInterrupts();
    try {
        return runProgram(argc, argv);
    } catch (const std::bad_alloc&) {
        std::fputs("ktwt: memory is exhausted\n", stderr);
        return static_cast<int>(Status::full);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "ktwt: %s\n", error.what());
        return static_cast<int>(Status::unreadable);
    }
}
