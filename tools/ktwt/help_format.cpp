#include "help_format.h"

#include <sstream>

namespace {

constexpr std::size_t lineBytes = 80;
constexpr std::size_t namesBytes = 30;

// Breaks a text at blanks, so that no line is longer than `bytes` unless a word is.
std::string wrapped(const std::string& text, std::size_t bytes) {
    std::string lines;
    std::size_t used = 0;
    for (const std::string& word : CLI::detail::split(text, ' ')) {
        const bool fits = used + 1 + word.size() <= bytes;
        if (!lines.empty()) lines += fits ? ' ' : '\n';
        used = lines.empty() || !fits ? word.size() : used + 1 + word.size();
        lines += word;
    }
    return lines;
}

// What the parser adds to the type of an option, to tell of its checks: ":INT in [0 - 9]". It has no other way of asking for
// them than one that could change them.
std::string checksOf(const CLI::Option& option) {
    auto& asked = const_cast<CLI::Option&>(option);
    std::string text;
    try {
        for (int i = 0;; ++i) {
            const std::string check = asked.get_validator(i)->get_description();
            if (!check.empty()) text += ":" + check;
        }
    } catch (const CLI::OptionNotFound&) {
        return text;
    }
}

std::string usageOf(const CLI::Option& option) {
    std::string usage = option.get_positional() ? option.get_name(true) : option.get_name() + " " + placeholderOf(option);
    if (option.get_positional() && option.get_expected_max() > 1) usage += "...";
    return option.get_required() ? " " + usage : " [" + usage + "]";
}

}  // namespace

HelpFormat::HelpFormat() {
    column_width(namesBytes);
    label("Positionals", "Arguments");
}

std::string HelpFormat::make_option_opts(const CLI::Option* option) const {
    const std::string placeholder = placeholderOf(*option);
    return placeholder.empty() ? "" : " " + placeholder;
}

std::string HelpFormat::make_option_desc(const CLI::Option* option) const {
    std::string text = option->get_description();
    const std::vector<std::string> choices = choicesOf(*option);
    if (!choices.empty()) text += " (" + CLI::detail::join(choices, ", ") + ")";
    if (!option->get_default_str().empty()) text += " [" + option->get_default_str() + "]";
    return wrapped(text, lineBytes - namesBytes);
}

std::string HelpFormat::make_usage(const CLI::App* app, std::string name) const {
    const std::string before = name.size() > app->get_name().size() ? name.substr(0, name.size() - app->get_name().size()) : "";
    return "\nUsage: " + before + synopsisOf(*app) + "\n";
}

std::string HelpFormat::make_subcommand(const CLI::App* command) const {
    std::ostringstream line;
    const std::string summary = wrapped(command->get_description(), lineBytes - namesBytes);
    CLI::detail::format_help(line, command->get_display_name(true), summary, namesBytes);
    return line.str();
}

std::string placeholderOf(const CLI::Option& option) {
    if (option.get_positional() || option.get_type_size() == 0) return {};
    const std::string name = option.get_type_name();
    return name.substr(0, name.size() - checksOf(option).size());
}

std::vector<std::string> choicesOf(const CLI::Option& option) {
    const std::string checks = checksOf(option);
    if (checks.substr(0, 2) != ":{" || checks.back() != '}') return {};
    return CLI::detail::split(checks.substr(2, checks.size() - 3), ',');
}

std::string synopsisOf(const CLI::App& command) {
    std::string text = command.get_name();
    const auto ofKind = [&command](bool positional) {
        return command.get_options([positional](const CLI::Option* option) {
            return option->get_positional() == positional && (positional || option->get_required());
        });
    };
    for (const CLI::Option* argument : ofKind(true)) text += usageOf(*argument);
    for (const CLI::Option* required : ofKind(false)) text += usageOf(*required);
    if (!command.get_subcommands([](const CLI::App*) { return true; }).empty()) text += " COMMAND";
    return text + " [OPTIONS]";
}
