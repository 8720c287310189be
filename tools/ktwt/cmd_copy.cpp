#include "commands.h"
#include "new_table.h"
#include "options.h"
#include "transfer.h"

namespace {

class CopyCommand final : public Command {
public:
    const char* name() const override { return "copy"; }
    const char* summary() const override { return "Copy a table, or some of its rows and columns, into a new table"; }
    const char* examples() const override {
        return "    $ ktwt copy $towns                      beside it; prints the new name\n"
               "    $ ktwt copy $towns --to /mnt/archive    in another place\n"
               "    $ ktwt copy \"$(ktwt uri $towns --rows 0,100)\"\n"
               "                                            the first hundred rows\n";
    }

    void addOptions(CLI::App& app) override {
        app.add_option("TABLE", table_, "The table, or a URI that chooses rows and columns of it")->required();
        app.add_option("--to", to_, "The work directories of the copy; those of the table unless given")->type_name("DIRS");
        addElementSize(app, &elementSize_);
    }

    Outcome run(const Session& session) override {
        Manager manager;
        if (Outcome made = makeManager(session, &manager); !made.ok()) return made;
        Manager other;
        if (!to_.empty()) {
            if (Outcome made = makeManager({to_}, &other); !made.ok()) return made;
        }
        Table source;
        if (Outcome opened = openTable(*manager, table_, false, &source); !opened.ok()) return opened;
        return copy(*source, other ? *other : *manager);
    }

private:
    Outcome copy(KtWorkTableFile& source, KtWorkTableManager& manager) {
        NewTable target;
        Outcome done = target.create(manager, source.getColumns(), 0, elementSize_);
        if (done.ok()) done = defineLike(source, target.file());
        if (done.ok()) done = moveRows("copying", table_, source, target.file());
        if (done.ok()) done = target.finish();
        return done.ok() ? printName(manager, target.name()) : done;
    }

    std::string table_;
    std::string to_;
    long elementSize_ = 0;
};

}  // namespace

std::unique_ptr<Command> makeCopyCommand() { return std::make_unique<CopyCommand>(); }
