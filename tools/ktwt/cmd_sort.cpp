#include "commands.h"
#include "new_table.h"
#include "options.h"
#include "sort_options.h"
#include "transfer.h"

namespace {

class SortCommand final : public Command {
public:
    const char* name() const override { return "sort"; }
    const char* summary() const override { return "Sort a table's rows into a new table"; }
    const char* examples() const override {
        return "    $ ktwt sort $towns --by country,-people     in a country the largest first\n"
               "    $ ktwt sort $towns --by country --no-dups   one row for each country\n";
    }

    void addOptions(CLI::App& app) override {
        app.add_option("TABLE", table_, "The table, or a URI that chooses rows and columns of it")->required();
        sort_.addTo(app, "--by").required();
        addElementSize(app, &elementSize_);
    }

    Outcome run(const Session& session) override {
        Manager manager;
        if (Outcome made = makeManager(session, &manager); !made.ok()) return made;
        Table source;
        if (Outcome opened = openTable(*manager, table_, false, &source); !opened.ok()) return opened;
        if (Outcome set = sort_.configure(*manager, rowsShown(*source)); !set.ok()) return set;
        NewTable target;
        if (Outcome sorted = sort(*manager, *source, target); !sorted.ok()) return sorted;
        return printName(*manager, target.name());
    }

private:
    Outcome sort(KtWorkTableManager& manager, KtWorkTableFile& source, NewTable& target) {
        Outcome done = target.create(manager, source.getColumns(), sort_.keyCount(), elementSize_);
        if (done.ok()) done = defineLike(source, target.file());
        if (done.ok()) done = sort_.setKeys(table_, target.file());
        if (done.ok()) done = moveRows("reading", table_, source, target.file());
        return done.ok() ? target.finish() : done;
    }

    std::string table_;
    SortOptions sort_;
    long elementSize_ = 0;
};

}  // namespace

std::unique_ptr<Command> makeSortCommand() { return std::make_unique<SortCommand>(); }
