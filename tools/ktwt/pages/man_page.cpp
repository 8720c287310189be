#include <cctype>
#include <cstdio>

#include "facts.h"
#include "writers.h"

namespace {

constexpr char manual[] = "Work Table Library";
constexpr char revised[] = "2026-11-20";  // a date of the build would make every build another

// A text in which nothing means anything to the formatter.
std::string plain(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        switch (c) {
            case '\\': escaped += "\\e"; break;
            case '-': escaped += "\\-"; break;
            case '\'': escaped += "\\(aq"; break;
            case '`': escaped += "\\(ga"; break;
            case '^': escaped += "\\(ha"; break;
            case '~': escaped += "\\(ti"; break;
            case '"': escaped += "\\(dq"; break;
            default: escaped += c;
        }
    }
    return escaped;
}

std::string bold(const std::string& text) { return "\\fB" + plain(text) + "\\fR"; }
std::string italic(const std::string& text) { return "\\fI" + plain(text) + "\\fR"; }

// One line of text; one that begins with a point would be a command.
std::string line(const std::string& escaped) { return (escaped[0] == '.' ? "\\&" : "") + escaped + "\n"; }

std::string section(const char* title) { return std::string(".SH ") + title + "\n"; }
std::string tagged(const std::string& tag, const std::string& text) { return ".TP\n" + line(tag) + line(text); }

std::string head(const std::string& name) {
    std::string upper;
    for (const char c : name) upper += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return ".TH " + plain(upper) + " 1 " + revised + " ktwt \"" + manual + "\"\n";
}

// Lines of text as they are, but for blank lines, which begin paragraphs.
std::string asTheyAre(const std::string& text) {
    std::string escaped = ".EX\n";
    std::size_t begin = 0;
    while (begin < text.size()) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        escaped += end == begin ? "\n" : line(plain(text.substr(begin, end - begin)));
        begin = end + 1;
    }
    return escaped + ".EE\n";
}

// Sentences, and lists whose lines begin with blanks and stay as they are.
std::string prose(const std::string& text) {
    std::string escaped;
    std::string list;
    const auto endList = [&escaped, &list] {
        if (!list.empty()) escaped += asTheyAre(list);
        list.clear();
    };
    std::size_t begin = 0;
    while (begin < text.size()) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        const std::string words = text.substr(begin, end - begin);
        begin = end + 1;
        if (!words.empty() && words[0] == ' ') {
            list += words + "\n";
            continue;
        }
        endList();
        escaped += words.empty() ? ".PP\n" : line(plain(words));
    }
    endList();
    return escaped;
}

std::string tagOf(const OptionFacts& option) {
    if (option.isArgument()) return italic(option.argument);
    std::string tag;
    for (const std::string& name : option.names()) tag += (tag.empty() ? "" : ", ") + bold(name);
    return option.placeholder.empty() ? tag : tag + " " + italic(option.placeholder);
}

std::string sentence(const OptionFacts& option) {
    std::string text = option.text;
    if (!option.choices.empty()) text += " (" + CLI::detail::join(option.choices, ", ") + ")";
    text += ".";
    return option.standard.empty() ? plain(text) : plain(text) + " The default is " + bold(option.standard) + ".";
}

std::string optionList(const std::vector<OptionFacts>& options) {
    std::string text;
    for (const OptionFacts& option : options) text += tagged(tagOf(option), sentence(option));
    return text;
}

std::string usageOf(const OptionFacts& option) {
    std::string usage = option.isArgument() ? italic(option.argument) : bold(option.names().back());
    if (!option.placeholder.empty()) usage += " " + italic(option.placeholder);
    if (option.repeated) usage += "...";
    return option.required ? " " + usage : " [" + usage + "]";
}

std::string synopsis(const CommandFacts& command) {
    std::string text = bold("ktwt " + command.name);
    for (const OptionFacts& argument : command.arguments()) text += usageOf(argument);
    for (const OptionFacts& option : command.realOptions()) {
        if (option.required) text += usageOf(option);
    }
    return line(text + " [" + italic("OPTIONS") + "]");
}

std::string statusSection() {
    std::string text = section("EXIT STATUS");
    for (const Fact& status : exitStatuses) text += tagged(bold(status.name), plain(status.text) + ".");
    return text;
}

std::string environmentSection() {
    std::string text = section("ENVIRONMENT");
    for (const Fact& variable : environmentVariables) text += tagged(bold(variable.name), plain(variable.text));
    return text;
}

std::string reference(const std::string& page) { return ".BR " + plain(page) + " (1)"; }

std::string references(const std::vector<std::string>& pages) {
    std::string text = section("SEE ALSO");
    for (const std::string& page : pages) text += reference(page) + (&page == &pages.back() ? "\n" : ",\n");
    return text;
}

std::string lowered(std::string text) {
    text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
    return text;
}

}  // namespace

std::string commandPage(const CommandFacts& command, const std::vector<CommandFacts>& all) {
    std::string page = head("ktwt-" + command.name);
    page += section("NAME") + plain("ktwt-" + command.name) + " \\- " + plain(lowered(command.summary)) + "\n";
    page += section("SYNOPSIS") + synopsis(command);
    page += section("DESCRIPTION") + line(plain(command.summary) + ".");
    if (!command.details.empty()) page += ".PP\n" + prose(command.details);
    page += section("OPTIONS") + optionList(command.arguments()) + optionList(command.realOptions());
    page += section("EXAMPLES") + asTheyAre(command.examples);
    page += statusSection() + environmentSection();
    std::vector<std::string> others = {"ktwt"};
    for (const CommandFacts& other : all) {
        if (other.name != command.name) others.push_back("ktwt-" + other.name);
    }
    return page + references(others);
}

std::string programPage(const CommandLine& program) {
    const std::vector<CommandFacts> commands = commandFacts(program);
    std::string page = head("ktwt");
    page += section("NAME") + "ktwt \\- work tables from the command line\n";
    page += section("SYNOPSIS") + line(bold("ktwt") + " " + italic("COMMAND") + " [" + italic("OPTIONS") + "]");
    page += section("DESCRIPTION") + prose(program.app.get_description());
    page += section("COMMANDS");
    std::vector<std::string> pages;
    for (const CommandFacts& command : commands) {
        page += tagged(bold(command.name), plain(command.summary) + ".");
        pages.push_back("ktwt-" + command.name);
    }
    page += section("OPTIONS") + optionList(optionFacts(program.app));
    return page + statusSection() + environmentSection() + references(pages);
}
