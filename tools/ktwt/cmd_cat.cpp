#include "commands.h"
#include "show_rows.h"

namespace {

class CatCommand final : public Command {
public:
    CatCommand() { options_.format = "csv"; }

    const char* name() const override { return "cat"; }
    const char* summary() const override { return "Write the rows of a table as CSV, TSV, JSON, XML or text"; }
    const char* examples() const override {
        return "    $ ktwt cat $towns > towns.csv                 all of it, as CSV\n"
               "    $ ktwt cat $towns -f json -o towns.json       a file of another kind\n"
               "    $ ktwt cat $towns --columns city,n=people     two columns, one renamed\n"
               "    $ ktwt cat $towns --rows 1000,50              rows 1000 to 1049\n"
               "    $ ktwt cat $towns --reverse --limit 10        the last ten, backwards\n";
    }
    const char* details() const override {
        return "Formats:\n"
               "    csv    Lines end with LF. A null is an empty field, an empty text \"\".\n"
               "    tsv    \\t, \\n, \\r and \\\\ stand for what would break a line. A null is \\N.\n"
               "    json   An array of objects. Integers and decimals are numbers with all their\n"
               "           digits, dates are strings. Bytes that are not UTF-8 become U+FFFD.\n"
               "    jsonl  The same objects, one to a line.\n"
               "    xml    The document that the library makes. A null is like an empty text;\n"
               "           what XML cannot hold becomes U+FFFD.\n"
               "    text   Aligned for people, as by `ktwt head`.";
    }

    void addOptions(CLI::App& app) override { addShowOptions(app, &options_); }
    Outcome run(const Session& session) override { return showRows(session, options_); }

private:
    ShowOptions options_;
};

}  // namespace

std::unique_ptr<Command> makeCatCommand() { return std::make_unique<CatCommand>(); }
