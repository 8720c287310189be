// How --help shows a command, and what the man pages and completions want to know of its options.
#ifndef TOOLS_KTWT_HELP_FORMAT_H
#define TOOLS_KTWT_HELP_FORMAT_H

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

// Lines of at most 80 columns; of an option its names, what stands for its value, what that can be, and
// its default.
class HelpFormat final : public CLI::Formatter {
public:
    HelpFormat();

    std::string make_option_opts(const CLI::Option* option) const override;
    std::string make_option_desc(const CLI::Option* option) const override;
    std::string make_usage(const CLI::App* app, std::string name) const override;
    std::string make_subcommand(const CLI::App* command) const override;
};

// What stands for the value of an option, such as "SIZE"; empty for a flag and for a positional argument, which has a name.
std::string placeholderOf(const CLI::Option& option);

// The values of an option that takes one of a few; empty for others.
std::vector<std::string> choicesOf(const CLI::Option& option);

// What follows "Usage: ": "ktwt sort TABLE --by COLUMN,... [OPTIONS]".
std::string synopsisOf(const CLI::App& command);

#endif
