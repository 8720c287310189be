#include "commands.h"
#include "failures.h"
#include "interrupt.h"

namespace {

class RmCommand final : public Command {
public:
    const char* name() const override { return "rm"; }
    const char* summary() const override { return "Remove tables with all their files"; }
    const char* examples() const override { return "    $ ktwt rm ktwt_0a1b2c...     removes one table\n"; }

    void addOptions(CLI::App& app) override {
        app.add_option("TABLE", tables_, "The tables to remove")->required();
        app.add_flag("-f,--force", force_, "A table that is not there is no failure");
    }

    // Goes on after a failure, and tells of each; the status is that of the first.
    Outcome run(const Session& session) override {
        Manager manager;
        if (Outcome made = makeManager(session, &manager); !made.ok()) return made;
        Failures failures;
        for (const std::string& table : tables_) {
            if (interrupted()) return cancelled();
            failures.add(remove(*manager, table));
        }
        return failures.outcome();
    }

private:
    Outcome remove(KtWorkTableManager& manager, const std::string& table) const {
        Uri uri;
        if (Outcome read = readUri(table, &uri); !read.ok()) return read;
        if (uri) return {Status::usage, table + ": tables are removed, not what a URI chooses of them"};
        KtbString error;
        if (manager.remove(table.c_str(), &error)) return {};
        return isMissing(error) && force_ ? Outcome() : libraryFailure(table, error);
    }

    std::vector<std::string> tables_;
    bool force_ = false;
};

}  // namespace

std::unique_ptr<Command> makeRmCommand() { return std::make_unique<RmCommand>(); }
