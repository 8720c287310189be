// A stranger's program: sorts three rows on disk, prints them, and leaves no file behind.
#include <ktwt/ktwt.h>

#include <cstdio>

namespace {

struct City {
    const char* name;
    int people;
};

const City cities[] = {{"Ulm", 129942}, {"Aachen", 252769}, {"Trier", 112737}};

int complain(const KtbString& error) {
    std::fprintf(stderr, "cities: %s\n", error.asCstr());
    return 1;
}

bool write(KtWorkTableFile* table) {
    if (!table->defineColumnInfo(0, "city", ktbTypeString, 0)) return false;
    if (!table->defineColumnInfo(1, "people", ktbTypeInteger, 0)) return false;
    KtbDatavar row[2];
    for (const City& city : cities) {
        row[0].assign(city.name);
        row[1].assign(city.people);
        if (!table->writeRow(row)) return false;
    }
    return table->close();
}

bool print(KtWorkTableFile* table) {
    bool end = false;
    KtbDatavar row[2];
    while (table->readRow(row, &end)) std::printf("%s %s\n", row[0].asString().asCstr(), row[1].asString().asCstr());
    return end;
}

}  // namespace

int main() {
    KtbString error;
    KtWorkTableManager* manager = ktwtCreateManager("", "", &error);
    if (manager == nullptr) return complain(error);
    KtWorkTableFile* table = manager->create(2, 1, 0, &error);  // one sort key: the first column
    if (table == nullptr) return complain(error);
    if (!write(table)) return complain(table->getError());
    const KtbString name = table->getName();
    table->release();

    table = manager->open(name, false, &error);
    if (table == nullptr) return complain(error);
    if (!print(table)) return complain(table->getError());
    table->release();
    if (!manager->remove(name, &error)) return complain(error);
    manager->release();
    return 0;
}
