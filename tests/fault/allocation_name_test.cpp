// Every allocation that fails is reported by the name of what could not be allocated.
#include <gtest/gtest.h>

#include <cstdlib>
#include <set>

#include "stage.h"

namespace {

using Names = std::set<std::string>;

// "KTWT-0029: Memory is exhausted: no room for (column name)." gives "column name".
std::string nameIn(const std::string& text) {
    const std::size_t begin = text.find('(') + 1;
    return text.substr(begin, text.find(')') - begin);
}

class AllocationNameTest : public testing::Test {
protected:
    // The names in the messages that the work makes when its allocations fail, one at a time.
    template <class Work>
    Names namesIn(Work work, const char* source) {
        Names names;
        forEachFaultOf([](long n) { return std::make_unique<MemoryFaults>(n); },
                       [&](Faults& faults) {
                           stage.refresh();
                           faults.during([&] { work(); });
                           for (const MessageLog::Entry& entry : stage.log.entries()) {
                               if (entry.number != 29 || entry.source != source) continue;
                               names.insert(nameIn(entry.text));
                           }
                           stage.clearAway();
                       });
        return names;
    }

    // Opens the earlier table and reads its first row.
    template <class Open>
    Names namesInReading(Open open, const char* source = "wtfile") {
        return namesIn(
            [&] {
                const Table table(open());
                KtbDatavar values[2 * columnCount];
                bool end = false;
                if (table != nullptr) table->readRow(values, &end);
            },
            source);
    }

    KtbString kept() const { return KtbString(stage.kept.c_str(), true); }

    Stage stage;
};

TEST_F(AllocationNameTest, OfMakingAManager) {
    const auto make = [&] {
        const Manager manager(
            ktwtCreateManager(KtbString("key", true), KtbString(stage.directories.c_str(), true), &stage.error));
    };
    EXPECT_EQ(namesIn(make, "wtmgr"), (Names{"directory array", "manager keys", "work table lock"}));
}

TEST_F(AllocationNameTest, OfALockedName) {
    const auto lock = [&] {
        if (stage.manager->enqueue(KtbString("a name", true), &stage.error)) stage.manager->dequeue(KtbString("a name", true));
    };
    EXPECT_EQ(namesIn(lock, "wtmgr"), (Names{"enqueue work table element", "enqueue work table lock"}));
}

TEST_F(AllocationNameTest, OfATableObject) {
    const Names instance = {"work table file instance"};
    const auto create = [&] { stage.create(); };
    const auto open = [&] { Table(stage.manager->open(kept(), false, &stage.error)); };
    const auto remove = [&] { stage.manager->remove(KtbString("ktwt_none", true), &stage.error); };
    EXPECT_EQ(namesIn(create, "wtmgr"), instance);
    EXPECT_EQ(namesIn(open, "wtmgr"), instance);
    EXPECT_EQ(namesIn(remove, "wtmgr"), instance);
}

TEST_F(AllocationNameTest, OfWritingATable) {
    std::string name;
    EXPECT_EQ(namesIn([&] { stage.write(&name); }, "wtfile"),
              (Names{"column definition array", "column value vector", "data element array", "data element instance"}));
}

TEST_F(AllocationNameTest, OfSortKeys) {
    const auto create = [&] {
        KTWTFileImpl table(stage.impl());
        table.create(1, 2, 0);
    };
    EXPECT_EQ(namesIn(create, "wtfile"), (Names{"column definition array", "sort column definition array"}));
}

const Names headerNames = {"column definition array", "column name",
                           "column value vector",     "data element definition array",
                           "data element definition", "string read buffer"};

Names withHeader(Names names) {
    names.insert(headerNames.begin(), headerNames.end());
    return names;
}

TEST_F(AllocationNameTest, OfReadingAllColumns) {
    const auto open = [&] { return stage.manager->open(kept(), false, &stage.error); };
    EXPECT_EQ(namesInReading(open), headerNames);
    EXPECT_EQ(namesInReading(open, "wtelem"), (Names{"column value", "element name"}));
}

TEST_F(AllocationNameTest, OfColumnsChosenByNumber) {
    int columns[] = {1, 1 + 2};
    const auto open = [&] { return stage.manager->open(kept(), 2, columns, nullptr, false, &stage.error); };
    EXPECT_EQ(namesInReading(open), withHeader({"column mapping array", "targets array"}));
}

TEST_F(AllocationNameTest, OfColumnsChosenByName) {
    const KtbString columns[] = {{columnName(1), true}, {"none", true}};
    const auto open = [&] { return stage.manager->open(kept(), 2, columns, nullptr, false, &stage.error); };
    EXPECT_EQ(namesInReading(open), withHeader({"column mapping array", "selected column", "selected column mapping"}));
}

TEST_F(AllocationNameTest, OfColumnsChosenByAURI) {
    std::string column(columnName(1));
    for (std::size_t at = column.find(' '); at != std::string::npos; at = column.find(' ')) column.replace(at, 1, "%20");
    const std::string text = "ktwt:" + stage.kept + "?col=" + column + "&col=renamed=" + column +
                             "&col=constant:string=a%20text%20that%20does%20not%20fit%20into%20an%20object";
    const auto open = [&] { return stage.manager->open(KtbString(text.c_str(), true), false, &stage.error); };
    EXPECT_EQ(namesInReading(open), withHeader({"selected column array", "selected column targets", "renamed column mapping",
                                                "selected column mapping", "dynamic column value", "column value"}));
}

}  // namespace
