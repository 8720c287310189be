#include "commands.h"

#include <ktwt/version.h>

#include "facts.h"
#include "help_format.h"

namespace {

constexpr char about[] =
    "Work tables on disk: made from CSV, sorted, looked at, compared, copied, checked\n"
    "and removed.\n\n"
    "A TABLE is a table's name, as `ktwt import` prints it and `ktwt ls` lists it;\n"
    "most commands take a URI as well, which can choose rows and columns (see\n"
    "`ktwt uri --help`).";

std::string statuses() {
    std::string text = "Exit status:\n";
    for (const Fact& status : exitStatuses) text += std::string("  ") + status.name + "  " + status.text + "\n";
    return text;
}

std::vector<std::unique_ptr<Command>> allCommands() {
    std::vector<std::unique_ptr<Command>> commands;
    commands.push_back(makeAppendCommand());
    commands.push_back(makeCatCommand());
    commands.push_back(makeCompareCommand());
    commands.push_back(makeCopyCommand());
    commands.push_back(makeDuCommand());
    commands.push_back(makeHeadCommand());
    commands.push_back(makeImportCommand());
    commands.push_back(makeInfoCommand());
    commands.push_back(makeLsCommand());
    commands.push_back(makePartitionCommand());
    commands.push_back(makeRmCommand());
    commands.push_back(makeSortCommand());
    commands.push_back(makeSweepCommand());
    commands.push_back(makeUriCommand());
    commands.push_back(makeVerifyCommand());
    return commands;
}

void addCommonOptions(CLI::App& command, Session& session) {
    command
        .add_option("--dirs", session.directories,
                    "The work directories, with ':' between them; else those of $KTB_BASE_TEMP, else $TMPDIR, else /tmp")
        ->type_name("DIRS");
}

}  // namespace

CommandLine::CommandLine() : app(about, "ktwt"), commands(allCommands()) {
    app.formatter(std::make_shared<HelpFormat>());  // the commands take it over
    app.footer(statuses());
    app.require_subcommand(0, 1);  // main() asks for one, after a word that is none has been named
    app.set_version_flag("--version", std::string(ktx_build_info), "Print the version and exit");
    for (const auto& command : commands) {
        CLI::App* const sub = app.add_subcommand(command->name(), command->summary());
        sub->group("Commands");
        command->addOptions(*sub);
        addCommonOptions(*sub, session);
        const std::string details = command->details();
        sub->footer(details + (details.empty() ? "" : "\n\n") + "Examples:\n" + command->examples());
    }
}
