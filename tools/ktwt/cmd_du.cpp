#include "characters.h"
#include "commands.h"
#include "failures.h"
#include "human.h"
#include "interrupt.h"
#include "json_report.h"
#include "options.h"
#include "output.h"
#include "table_listing.h"

namespace {

struct Usage {
    std::string table;
    std::vector<TableFile> files;
};

class DuCommand final : public Command {
public:
    const char* name() const override { return "du"; }
    const char* summary() const override { return "Tell how much room tables take on disk"; }
    const char* examples() const override {
        return "    $ ktwt du                  each table in the work directories, and the total\n"
               "    $ ktwt du $towns --files   with each of its files\n"
               "    $ ktwt du -b               in bytes\n";
    }

    void addOptions(CLI::App& app) override {
        app.add_option("TABLE", names_, "The tables; all in the work directories unless given");
        app.add_flag("-b,--bytes", inBytes_, "Sizes as plain numbers of bytes");
        app.add_flag("--files", showFiles_, "Each file of each table, too");
        addJson(app, &json_);
    }

    // Tells of each table that cannot be looked at, and goes on; the status is that of the first.
    Outcome run(const Session& session) override {
        Manager manager;
        if (Outcome made = makeManager(session, &manager); !made.ok()) return made;
        Failures failures;
        if (names_.empty()) failures.add(findAll(*manager));
        std::vector<Usage> usages;
        for (const std::string& table : names_) {
            if (interrupted()) return cancelled();
            Usage usage;
            usage.table = tableNameOf(table);
            const Outcome read = filesOf(*manager, usage.table, &usage.files);
            if (read.ok()) usages.push_back(std::move(usage));
            failures.add(read);
        }
        Outcome printed = json_ ? printJson(reportOf(usages)) : print(usages);
        return printed.ok() ? failures.outcome() : printed;
    }

private:
    // What is being written, and what was left unfinished, is no table yet, and no failure.
    Outcome findAll(KtWorkTableManager& manager) {
        std::vector<FoundHeader> headers;
        Outcome found = findHeaders(manager, &headers);
        std::vector<ListedTable> tables;
        if (!lookAt(manager, headers, &tables).ok()) return found;  // a Ctrl-C, of which run() tells
        for (const ListedTable& table : tables) {
            const bool unfinished = table.state == TableState::writing || table.state == TableState::orphan;
            if (!unfinished) names_.push_back(table.header.table);
        }
        return found;
    }

    std::string sizeOf(long bytes) const { return inBytes_ ? std::to_string(bytes) : humanBytes(bytes); }

    Outcome print(const std::vector<Usage>& usages) const {
        Output out;
        long total = 0;
        for (const Usage& usage : usages) {
            total += bytesOf(usage.files);
            if (showFiles_) printFiles(usage, out);
            out.put(sizeOf(bytesOf(usage.files)) + "\t" + printable(usage.table) + "\n");
        }
        if (names_.size() != 1) out.put(sizeOf(total) + "\ttotal\n");
        return out.finish();
    }

    void printFiles(const Usage& usage, Output& out) const {
        for (const TableFile& file : usage.files) {
            out.put((file.isThere() ? sizeOf(file.bytes) : "missing") + "\t" + printable(file.path) + "\n");
        }
    }

    Json reportOf(const std::vector<Usage>& usages) const {
        Json tables = Json::array();
        long total = 0;
        for (const Usage& usage : usages) {
            Json table = {{"name", usage.table}, {"bytes", bytesOf(usage.files)}};
            if (showFiles_) table["files"] = filesReport(usage);
            total += bytesOf(usage.files);
            tables.push_back(std::move(table));
        }
        return {{"tables", std::move(tables)}, {"bytes", total}};
    }

    static Json filesReport(const Usage& usage) {
        Json files = Json::array();
        for (const TableFile& file : usage.files) {
            Json entry = {{"path", file.path}, {"kind", kindName(file.kind)}};
            if (file.element >= 0) entry["element"] = file.element;
            entry["bytes"] = file.isThere() ? Json(file.bytes) : Json();
            files.push_back(std::move(entry));
        }
        return files;
    }

    std::vector<std::string> names_;
    bool inBytes_ = false;
    bool showFiles_ = false;
    bool json_ = false;
};

}  // namespace

std::unique_ptr<Command> makeDuCommand() { return std::make_unique<DuCommand>(); }
