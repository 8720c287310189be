// What the pages tell of a command, asked of its options themselves.
#ifndef TOOLS_KTWT_PAGES_COMMAND_FACTS_H
#define TOOLS_KTWT_PAGES_COMMAND_FACTS_H

#include <string>
#include <vector>

#include "command.h"

// What can stand for an option's value or an argument, as far as a completion can know.
enum class Value { none, anything, table, file, directory, choice };

struct OptionFacts {
    std::vector<std::string> longNames;   // with "--"
    std::vector<std::string> shortNames;  // with "-"
    std::string argument;                 // the name of a positional argument; empty for an option
    std::string placeholder;              // "SIZE"; empty for a flag
    std::string text;
    std::string standard;  // the value unless another is given; may be empty
    Value value = Value::none;
    std::vector<std::string> choices;
    bool required = false;
    bool repeated = false;  // an argument that may be given more than once

    bool isArgument() const { return !argument.empty(); }
    std::vector<std::string> names() const;  // all, the short ones first
};

struct CommandFacts {
    std::string name;
    std::string summary;
    std::string details;   // may be empty
    std::string examples;  // lines that begin with blanks
    std::vector<OptionFacts> options;

    std::vector<OptionFacts> arguments() const;
    std::vector<OptionFacts> realOptions() const;
};

std::vector<CommandFacts> commandFacts(const CommandLine& line);
std::vector<OptionFacts> optionFacts(const CLI::App& app);

#endif
