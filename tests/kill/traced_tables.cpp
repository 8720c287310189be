// Does with tables whatever opens files, in the directory that it is given. For a test that watches its system calls.
#include <iostream>

#include "kill/kill_tables.h"

namespace {

bool written(KtWorkTableFile* table, long rows) {
    if (table == nullptr || !defineColumns(table)) return false;
    for (long number = rows; number > 0; --number) {
        if (!writeNumber(table, number)) return false;
    }
    return table->close();
}

bool doEverything(const char* directories) {
    KtbString error;
    const Manager manager(ktwtCreateManager("", directories, &error));
    if (manager == nullptr || !manager->setSortSize(1 << 20) || !manager->setChunkSize(4096)) return false;
    const Table plain(manager->create(2, 2000, &error));
    const Table sorted(manager->create(2, 1, 0, &error));
    if (sorted == nullptr || sorted->setSort(0, 0, false, nullptr) != 0) return false;
    if (!written(plain.get(), 100) || !written(sorted.get(), 9000)) return false;
    const KtbString name = plain->getName();
    if (!manager->append(name, name, &error) || !contentOf(manager.get(), name.asCstr())) return false;
    const Table copy(manager->copy(2000, manager.get(), name, &error));
    if (copy == nullptr || !copy->close()) return false;
    const Table unfinished(manager->create(2, 2000, &error));
    return ktwtSweepOrphans(directories, true, nullptr, nullptr, &error) && manager->remove(name, &error);
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 2 || !doEverything(arguments[1])) {
        std::cerr << "the tables could not be worked on\n";
        return 1;
    }
    return 0;
}
