// ktwt: work tables from the command line.
#include <exception>
#include <sstream>

#include "command.h"
#include "complaint.h"
#include "interrupt.h"
#include "output.h"
#include "standard_streams.h"

namespace {

Outcome misused(const std::string& text) { return {Status::usage, text + " (see ktwt --help)"}; }

// Help or the version, which are results like others: a full disk is told of.
Outcome print(const CLI::App& app, const CLI::Success& wanted) {
    std::ostringstream text;
    app.exit(wanted, text);
    Output out;
    out.put(text.str());
    return out.finish();
}

// The parser's own text has the words in the wrong order, and knows nothing of commands.
Outcome refuse(const CLI::App& app) {
    const std::vector<std::string> words = app.remaining(true);
    if (app.get_subcommands().empty() && !words.empty() && words[0][0] != '-')
        return misused("\"" + words[0] + "\" is no command");
    std::string text = words.size() == 1 ? "an argument that is not expected:" : "arguments that are not expected:";
    for (const std::string& word : words) text += " " + word;
    return misused(text);
}

Outcome runChosen(CommandLine& line) {
    for (const auto& command : line.commands) {
        if (line.app.got_subcommand(command->name())) return command->run(line.session);
    }
    return misused("a command is missing");
}

Outcome runProgram(int argc, char** argv) {
    CommandLine line;
    try {
        line.app.parse(argc, argv);
    } catch (const CLI::Success& wanted) {
        return print(line.app, wanted);
    } catch (const CLI::ExtrasError&) {
        return refuse(line.app);
    } catch (const CLI::ParseError& error) {
        return misused(error.what());
    }
    return runChosen(line);
}

Outcome runGuarded(int argc, char** argv) {
    try {
        return runProgram(argc, argv);
    } catch (const std::bad_alloc&) {
        return {Status::full, "memory is exhausted"};
    } catch (const std::exception& error) {
        return {Status::unreadable, error.what()};
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (!holdStandardStreams()) return static_cast<int>(Status::unreadable);
    catchInterrupts();
    const Outcome outcome = runGuarded(argc, argv);
    complain(outcome.text());
    return static_cast<int>(outcome.status());
}
