#include "command_facts.h"

#include "help_format.h"

namespace {

Value valueOf(const OptionFacts& facts) {
    const std::string& name = facts.isArgument() ? facts.argument : facts.placeholder;
    if (name.empty()) return Value::none;
    if (!facts.choices.empty()) return Value::choice;
    if (name == "FILE" || name == "FILE|-") return Value::file;
    if (name == "DIR" || name == "DIRS") return Value::directory;
    const bool isNumber = name == "N";
    return facts.isArgument() && !isNumber ? Value::table : Value::anything;
}

OptionFacts factsOf(const CLI::Option& option) {
    OptionFacts facts;
    for (const std::string& name : option.get_lnames()) facts.longNames.push_back("--" + name);
    for (const std::string& name : option.get_snames()) facts.shortNames.push_back("-" + name);
    if (option.get_positional()) facts.argument = option.get_name(true);
    facts.placeholder = placeholderOf(option);
    facts.text = option.get_description();
    facts.standard = option.get_default_str();
    facts.choices = choicesOf(option);
    facts.value = valueOf(facts);
    facts.required = option.get_required();
    facts.repeated = option.get_positional() && option.get_expected_max() > 1;
    return facts;
}

std::vector<OptionFacts> chosen(const std::vector<OptionFacts>& options, bool arguments) {
    std::vector<OptionFacts> result;
    for (const OptionFacts& option : options) {
        if (option.isArgument() == arguments) result.push_back(option);
    }
    return result;
}

}  // namespace

std::vector<std::string> OptionFacts::names() const {
    std::vector<std::string> all = shortNames;
    all.insert(all.end(), longNames.begin(), longNames.end());
    return all;
}

std::vector<OptionFacts> CommandFacts::arguments() const { return chosen(options, true); }
std::vector<OptionFacts> CommandFacts::realOptions() const { return chosen(options, false); }

std::vector<OptionFacts> optionFacts(const CLI::App& app) {
    std::vector<OptionFacts> options;
    for (const CLI::Option* option : app.get_options()) options.push_back(factsOf(*option));
    return options;
}

std::vector<CommandFacts> commandFacts(const CommandLine& line) {
    std::vector<CommandFacts> facts;
    for (const auto& command : line.commands) {
        const CLI::App* const app = line.app.get_subcommand(command->name());
        facts.push_back({command->name(), command->summary(), command->details(), command->examples(), optionFacts(*app)});
    }
    return facts;
}
