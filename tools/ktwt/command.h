// A command: how it is asked for, and what it does. Each has a file of its own, cmd_NAME.cpp, and stands in commands.cpp.
#ifndef TOOLS_KTWT_COMMAND_H
#define TOOLS_KTWT_COMMAND_H

#include <CLI/CLI.hpp>
#include <memory>
#include <vector>

#include "library.h"
#include "outcome.h"

class Command {
public:
    virtual ~Command() = default;

    virtual const char* name() const = 0;
    virtual const char* summary() const = 0;  // one line, beginning with a verb

    // Whole sentences in lines of at most 80 columns, for what does not fit the summary and the options; shown by --help and in
    // the man page.
    virtual const char* details() const { return ""; }

    // Lines of examples, each "    $ ktwt ..." with what it does; shown by --help and in the man page.
    virtual const char* examples() const = 0;

    // Adds options and arguments; they are bound to members of this object.
    virtual void addOptions(CLI::App& app) = 0;

    // Runs after the arguments have been understood. The result, and nothing else, goes to standard output.
    virtual Outcome run(const Session& session) = 0;
};

// The whole program's command line, and the commands that it runs.
struct CommandLine {
    CommandLine();

    CLI::App app;
    Session session;
    std::vector<std::unique_ptr<Command>> commands;
};

#endif
