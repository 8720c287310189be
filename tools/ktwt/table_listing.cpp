#include "table_listing.h"

#include <ktb/fio.h>
#include <ktwt/sweep.h>

#include <algorithm>
#include <set>

#include "interrupt.h"

namespace {

class OrphanHeaders final : public KtWorkTableOrphanVisitor {
public:
    bool visit(const KtWorkTableOrphan& orphan) override {
        if (orphan.kind == ktwtOrphanHeader) paths_.insert(orphan.path);
        return !interrupted();
    }
    bool has(const std::string& path) const { return paths_.count(path) != 0; }

private:
    std::set<std::string> paths_;
};

// Whether somebody has the file open: what others hold cannot be seized.
bool isHeld(const std::string& path) {
    np_file* file = nullptr;
    if (np_fio_open(path.c_str(), np_mode_update, &file) != np_ok) return false;
    const bool held = np_fio_seize(file) == np_err_busy;
    np_fio_close(file);  // nothing was written
    return held;
}

bool isDamaged(const ListedTable& table) { return table.state == TableState::damaged; }

void explain(const Outcome& failure, ListedTable* table) {
    const bool held = isHeld(table->header.path);
    const bool unreadable = failure.status() == Status::unreadable || failure.status() == Status::full;
    table->state = held ? TableState::writing : unreadable ? TableState::unreadable : TableState::damaged;
    table->reason = held ? "open for writing" : failure.text();
}

void findMissing(const std::vector<TableFile>& files, ListedTable* table) {
    for (const TableFile& file : files) {
        if (file.isThere()) continue;
        table->state = TableState::damaged;
        table->reason = "the file " + file.path + " is missing";
        return;
    }
}

// Returns false when the table is gone.
bool look(KtWorkTableManager& manager, ListedTable* table) {
    KtbString error;
    const Table opened(manager.open(table->header.table.c_str(), false, &error));
    if (!opened && isMissing(error)) return false;
    std::vector<TableFile> files;
    const Outcome read = opened ? filesOf(manager, table->header.table, &files) : libraryFailure("", error);
    if (!read.ok()) {
        explain(read, table);
        return true;
    }
    table->rows = opened->getRows();
    table->columns = opened->getColumns();
    table->bytes = bytesOf(files);
    findMissing(files, table);
    return true;
}

// What looks damaged may never have been finished.
void tellOrphans(KtWorkTableManager& manager, std::vector<ListedTable>* tables) {
    if (std::none_of(tables->begin(), tables->end(), isDamaged)) return;
    OrphanHeaders orphans;
    KtbString ignored;  // what the sweep could not look at stays damaged
    ktwtSweepOrphans(manager.getDirectories(), false, &orphans, nullptr, &ignored);
    for (ListedTable& table : *tables) {
        if (!isDamaged(table) || !orphans.has(table.header.path)) continue;
        table.state = TableState::orphan;
        table.reason = "left by a program that was killed, see ktwt sweep";
    }
}

}  // namespace

const char* stateName(TableState state) {
    switch (state) {
        case TableState::fine: return "ok";
        case TableState::writing: return "writing";
        case TableState::orphan: return "orphan";
        case TableState::unreadable: return "unreadable";
        default: return "damaged";
    }
}

Outcome lookAt(KtWorkTableManager& manager, const std::vector<FoundHeader>& headers, std::vector<ListedTable>* tables) {
    for (const FoundHeader& header : headers) {
        if (interrupted()) return cancelled();
        ListedTable table;
        table.header = header;
        if (look(manager, &table)) tables->push_back(std::move(table));
    }
    tellOrphans(manager, tables);
    return interrupted() ? cancelled() : Outcome();
}
