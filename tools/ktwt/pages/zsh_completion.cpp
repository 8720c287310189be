#include "writers.h"

namespace {

constexpr char begin[] = R"sh(#compdef ktwt
# Completion of ktwt for zsh.

_ktwt_tables() {
    local -a names
    names=(${(f)"$(ktwt ls --names ${opt_args[--dirs]:+--dirs} ${opt_args[--dirs]} 2>/dev/null)"})
    _wanted tables expl table compadd -a names
}

_ktwt_directories() {
    compset -P '*:'
    _files -/
}

)sh";

constexpr char middle[] = R"sh(
_ktwt() {
    local context state state_descr line
    typeset -A opt_args
    _arguments -C '(- *)'{-h,--help}'[Print a help message and exit]' '(- *)--version[Print the version and exit]' \
        '1:command:->command' '*::argument:->arguments' && return
    if [[ $state == command ]]; then
        _describe command _ktwt_commands
        return
    fi
    case $words[1] in
)sh";

constexpr char end[] = R"sh(    esac
}

_ktwt "$@"
)sh";

// A text between single quotes in which nothing means anything to _arguments.
std::string quoted(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '[' || c == ']' || c == ':' || c == '\\') escaped += '\\';
        escaped += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return escaped;
}

std::string actionOf(const OptionFacts& option) {
    switch (option.value) {
        case Value::table: return "_ktwt_tables";
        case Value::file: return "_files";
        case Value::directory: return "_ktwt_directories";
        case Value::choice: return "(" + CLI::detail::join(option.choices, " ") + ")";
        default: return " ";
    }
}

// "'(-b --bytes)'{-b,--bytes}'[Text]'", or without braces when it has one name.
std::string optionArgument(const OptionFacts& option) {
    const std::vector<std::string> names = option.names();
    const std::string value =
        option.value == Value::none ? "" : ":" + quoted(option.placeholder) + ":" + quoted(actionOf(option));
    const std::string rest = "[" + quoted(option.text) + "]" + value + "'";
    if (names.size() == 1) return "'" + names[0] + rest;
    return "'(" + CLI::detail::join(names, " ") + ")'{" + CLI::detail::join(names, ",") + "}'" + rest;
}

std::string positionalArgument(const OptionFacts& argument, int position) {
    const std::string place = argument.repeated ? "*" : std::to_string(position) + (argument.required ? "" : ":");
    return "'" + place + ":" + quoted(argument.argument) + ":" + quoted(actionOf(argument)) + "'";
}

std::string commandCase(const CommandFacts& command) {
    std::string text = "        " + command.name + ")\n            _arguments";
    for (const OptionFacts& option : command.realOptions()) text += " \\\n                " + optionArgument(option);
    int position = 0;
    for (const OptionFacts& argument : command.arguments()) {
        text += " \\\n                " + positionalArgument(argument, ++position);
    }
    return text + "\n            ;;\n";
}

}  // namespace

std::string zshCompletion(const std::vector<CommandFacts>& commands) {
    std::string descriptions = "_ktwt_commands=(\n";
    std::string cases;
    for (const CommandFacts& command : commands) {
        descriptions += "    '" + command.name + ":" + quoted(command.summary) + "'\n";
        cases += commandCase(command);
    }
    return begin + descriptions + ")\n" + middle + cases + end;
}
