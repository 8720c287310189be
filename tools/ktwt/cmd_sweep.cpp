#include <ktwt/sweep.h>

#include "characters.h"
#include "commands.h"
#include "human.h"
#include "interrupt.h"
#include "json_report.h"
#include "options.h"
#include "output.h"
#include "table_files.h"

namespace {

struct Orphan {
    std::string path;
    int kind = ktwtOrphanHeader;
    long bytes = 0;
};

const char* kindOf(const Orphan& orphan) {
    switch (orphan.kind) {
        case ktwtOrphanHeader: return "header";
        case ktwtOrphanData: return "data";
        case ktwtOrphanIndex: return "index";
        default: return "sort";
    }
}

class OrphanCollector final : public KtWorkTableOrphanVisitor {
public:
    explicit OrphanCollector(std::vector<Orphan>* orphans) : orphans_(orphans) {}
    bool visit(const KtWorkTableOrphan& orphan) override {
        if (!interrupted()) orphans_->push_back({orphan.path, orphan.kind, orphan.bytes});
        return !interrupted();
    }

private:
    std::vector<Orphan>* orphans_;
};

std::string filesText(long count) { return humanCount(count) + (count == 1 ? " file" : " files"); }

class SweepCommand final : public Command {
public:
    const char* name() const override { return "sweep"; }
    const char* summary() const override { return "List what killed programs have left in the work directories, or remove it"; }
    const char* examples() const override {
        return "    $ ktwt sweep          lists orphans, and how many bytes they take\n"
               "    $ ktwt sweep --yes    removes them\n";
    }

    void addOptions(CLI::App& app) override {
        app.add_flag("-y,--yes", remove_, "Remove them; only list them otherwise");
        addJson(app, &json_);
    }

    // What was found is reported also after a failure, since the sweep goes on after most.
    Outcome run(const Session& session) override {
        Manager manager;
        if (Outcome made = makeManager(session, &manager); !made.ok()) return made;
        OrphanCollector collector(&orphans_);
        KtbString error;
        const bool swept = ktwtSweepOrphans(manager->getDirectories(), remove_, &collector, &counts_, &error);
        Output out;
        out.tellAfterInterrupt();  // what was removed before it
        Outcome printed = json_ ? printJson(report(), out) : print(out);
        if (!printed.ok()) return printed;
        if (!swept) return libraryFailure("", error);
        return interrupted() ? cancelled() : findDirectories(*manager);
    }

private:
    Outcome print(Output& out) const {
        for (const Orphan& orphan : orphans_)
            out.put(humanBytes(orphan.bytes) + "\t" + kindOf(orphan) + "\t" + printable(orphan.path) + "\n");
        out.put(filesText(counts_.orphans) + ", " + humanBytes(counts_.bytes));
        if (remove_) out.put(", " + humanCount(counts_.removed) + " removed");
        if (!remove_ && counts_.orphans != 0) out.put(" to be removed with --yes");
        out.put('\n');
        if (counts_.inUse != 0) out.put(filesText(counts_.inUse) + " in use\n");
        if (counts_.unknown != 0) out.put(filesText(counts_.unknown) + " of which nobody can tell whose they are\n");
        return out.finish();
    }

    Json report() const {
        Json orphans = Json::array();
        for (const Orphan& orphan : orphans_) {
            orphans.push_back({{"path", orphan.path}, {"kind", kindOf(orphan)}, {"bytes", orphan.bytes}});
        }
        return {{"orphans", std::move(orphans)},
                {"bytes", counts_.bytes},
                {"removed", counts_.removed},
                {"inUse", counts_.inUse},
                {"unknown", counts_.unknown}};
    }

    bool remove_ = false;
    bool json_ = false;
    std::vector<Orphan> orphans_;
    KtWorkTableSweep counts_ = {};
};

}  // namespace

std::unique_ptr<Command> makeSweepCommand() { return std::make_unique<SweepCommand>(); }
