#include "commands.h"
#include "show_rows.h"

namespace {

class HeadCommand final : public Command {
public:
    HeadCommand() {
        options_.format = "text";
        options_.order.limit = 10;
    }

    const char* name() const override { return "head"; }
    const char* summary() const override { return "Show the first rows of a table"; }
    const char* examples() const override {
        return "    $ ktwt head $towns                       the first ten rows\n"
               "    $ ktwt head $towns -n 3 --columns city   less of them\n"
               "    $ ktwt head $towns --reverse             the last ten, the last one first\n";
    }
    const char* details() const override {
        return "A null is shown as NULL, and a text that reads so in quotes. What could disturb\n"
               "a terminal is shown as an escape, such as \\n. On a terminal wide columns are\n"
               "cut; elsewhere nothing is. `ktwt cat --help` tells of the other formats.";
    }

    void addOptions(CLI::App& app) override { addShowOptions(app, &options_); }
    Outcome run(const Session& session) override { return showRows(session, options_); }

private:
    ShowOptions options_;
};

}  // namespace

std::unique_ptr<Command> makeHeadCommand() { return std::make_unique<HeadCommand>(); }
