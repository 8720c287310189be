#include "writers.h"

namespace {

constexpr char begin[] = R"sh(# Completion of ktwt for fish.

function __ktwt_tables
    set -l words (commandline -opc)
    set -l dirs
    for i in (seq (count $words))
        if test "$words[$i]" = --dirs; and test $i -lt (count $words)
            set dirs --dirs $words[(math $i + 1)]
        end
    end
    ktwt ls --names $dirs 2>/dev/null
end

complete -c ktwt -f
complete -c ktwt -n __fish_use_subcommand -s h -l help -d 'Print a help message and exit'
complete -c ktwt -n __fish_use_subcommand -l version -d 'Print the version and exit'
)sh";

std::string quoted(const std::string& text) {
    std::string escaped = "'";
    for (const char c : text) {
        if (c == '\'' || c == '\\') escaped += '\\';
        escaped += c;
    }
    return escaped + "'";
}

std::string valueOf(const OptionFacts& option) {
    switch (option.value) {
        case Value::none: return "";
        case Value::file: return " -r -F";
        case Value::directory: return " -x -a '(__fish_complete_directories)'";
        case Value::table: return " -x -a '(__ktwt_tables)'";
        case Value::choice: return " -x -a " + quoted(CLI::detail::join(option.choices, " "));
        default: return " -x";
    }
}

std::string optionLine(const std::string& condition, const OptionFacts& option) {
    std::string line = condition;
    for (const std::string& name : option.shortNames) line += " -s " + name.substr(1);
    for (const std::string& name : option.longNames) line += " -l " + name.substr(2);
    return line + valueOf(option) + " -d " + quoted(option.text) + "\n";
}

std::string argumentLine(const std::string& condition, const OptionFacts& argument) {
    if (argument.value == Value::table) return condition + " -a '(__ktwt_tables)'\n";
    return argument.value == Value::file ? condition + " -F\n" : "";
}

}  // namespace

// Fish does not count arguments: what one of them can be is offered for all.
std::string fishCompletion(const std::vector<CommandFacts>& commands) {
    std::string text = begin;
    for (const CommandFacts& command : commands) {
        text += "\ncomplete -c ktwt -n __fish_use_subcommand -a " + command.name + " -d " + quoted(command.summary) + "\n";
        const std::string condition = "complete -c ktwt -n '__fish_seen_subcommand_from " + command.name + "'";
        for (const OptionFacts& option : command.realOptions()) text += optionLine(condition, option);
        std::string offered;
        for (const OptionFacts& argument : command.arguments()) {
            const std::string line = argumentLine(condition, argument);
            if (offered.find(line) == std::string::npos) text += line;
            offered += line;
        }
    }
    return text;
}
