#include "writers.h"

namespace {

constexpr char begin[] = R"sh(# Completion of ktwt for bash.

# Names of tables are told by a loop and not by compgen -W, which would run a "$(...)" in the name of a file.
_ktwt_tables() {
    local name
    while IFS= read -r name; do
        [[ $name == "$cur"* ]] && COMPREPLY+=("$(printf %q "$name")")
    done < <(ktwt ls --names "$@" 2>/dev/null)
}

_ktwt_complete() {
    case $1 in
        table) _ktwt_tables "${dirs[@]}" ;;
        file) compopt -o filenames 2>/dev/null; mapfile -t COMPREPLY < <(compgen -f -- "$cur") ;;
        directory) compopt -o filenames 2>/dev/null; mapfile -t COMPREPLY < <(compgen -d -- "$cur") ;;
        choice) mapfile -t COMPREPLY < <(compgen -W "${*:2}" -- "$cur") ;;
    esac
}

)sh";

constexpr char end[] = R"sh(
# Walks through the words before the cursor: the command, options with their values, and arguments, which are counted. The line is
# split at blanks here, since bash itself splits words at ':' and '=', too.
_ktwt() {
    local words cur word command='' pending='' position=0 i last dirs=()
    COMPREPLY=()
    read -ra words <<< "${COMP_LINE:0:COMP_POINT}"
    [[ ${COMP_LINE:COMP_POINT-1:1} == [[:blank:]] ]] && words+=('')
    last=$((${#words[@]} - 1))
    for ((i = 1; i < last; i++)); do
        word=${words[i]}
        if [[ -z $command ]]; then
            [[ $word != -* ]] && command=$word
        elif [[ -n $pending ]]; then
            [[ $pending == --dirs ]] && dirs=(--dirs "$word")
            pending=''
        elif [[ $word == --dirs=* ]]; then
            dirs=("$word")
        elif [[ $word == -* ]]; then
            [[ $word != *=* && -n $(_ktwt_value "$command" "$word") ]] && pending=$word
        else
            position=$((position + 1))
        fi
    done
    cur=${words[last]}
    if [[ -n $command && -z $pending && $cur == --*=* ]]; then
        pending=${cur%%=*}
    fi
    word=$cur
    cur=${cur##*[:=]}
    if [[ -z $command ]]; then
        _ktwt_complete choice "$_ktwt_commands"
    elif [[ -n $pending ]]; then
        _ktwt_complete $(_ktwt_value "$command" "$pending")
    elif [[ $word == -* ]]; then
        _ktwt_complete choice "$(_ktwt_options "$command")"
    else
        _ktwt_complete $(_ktwt_argument "$command" "$position")
    fi
}

complete -F _ktwt ktwt
)sh";

std::string kindOf(const OptionFacts& option) {
    switch (option.value) {
        case Value::table: return "table";
        case Value::file: return "file";
        case Value::directory: return "directory";
        case Value::choice: return "choice " + CLI::detail::join(option.choices, " ");
        default: return "anything";
    }
}

std::string caseLine(const std::string& pattern, const std::string& answer) {
    return "        " + pattern + ") echo '" + answer + "' ;;\n";
}

// A function that answers for the words it is given, and says nothing when it knows none.
std::string function(const char* name, const char* words, const std::string& cases) {
    return std::string(name) + "() {\n    case " + words + " in\n" + cases + "    esac\n}\n";
}

std::string valueCases(const CommandFacts& command) {
    std::string cases;
    for (const OptionFacts& option : command.realOptions()) {
        if (option.value == Value::none) continue;
        std::string pattern;
        for (const std::string& name : option.names())
            pattern += (pattern.empty() ? "'" : "|'") + command.name + " " + name + "'";
        cases += caseLine(pattern, kindOf(option));
    }
    return cases;
}

// The last argument of a command may stand for several.
std::string argumentCases(const CommandFacts& command) {
    std::string cases;
    int position = 0;
    for (const OptionFacts& argument : command.arguments()) {
        const std::string place = argument.repeated ? "*" : std::to_string(position++);
        cases += caseLine("'" + command.name + " '" + place, kindOf(argument));
    }
    return cases;
}

std::string optionNames(const CommandFacts& command) {
    std::string names;
    for (const OptionFacts& option : command.realOptions()) {
        for (const std::string& name : option.names()) names += (names.empty() ? "" : " ") + name;
    }
    return names;
}

}  // namespace

std::string bashCompletion(const std::vector<CommandFacts>& commands) {
    std::string names;
    std::string options;
    std::string values;
    std::string arguments;
    for (const CommandFacts& command : commands) {
        names += (names.empty() ? "" : " ") + command.name;
        options += caseLine(command.name, optionNames(command));
        values += valueCases(command);
        arguments += argumentCases(command);
    }
    return begin + ("_ktwt_commands='" + names + " --help --version'\n\n") + "# The options of a command.\n" +
           function("_ktwt_options", "$1", options) + "\n# What an option of a command takes; nothing for a flag.\n" +
           function("_ktwt_value", "\"$1 $2\"", values) + "\n# What a command takes as its argument in that place.\n" +
           function("_ktwt_argument", "\"$1 $2\"", arguments) + end;
}
