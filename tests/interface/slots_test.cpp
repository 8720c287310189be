// The order of the virtual operations, seen from both sides: the slots that callers' code calls, and what is found there in the
// real objects.
#include <gtest/gtest.h>

#include <string>

#include "manager/recording_sort_manager.h"
#include "support/released.h"
#include "support/temp_directory.h"
#include "support/vtable.h"

namespace {

using M = KtWorkTableManager;
using F = KtWorkTableFile;
using C = KtbStringCursor;

template <class Class, class Result, class... Arguments>
std::size_t slot(Result (Class::*member)(Arguments...)) {
    return slotNumber(member);
}

TEST(SlotTest, CallersCallTheManagersOperationsInThisOrder) {
    EXPECT_EQ(slot(&M::setChunkSize), 0u);
    EXPECT_EQ(slot(&M::setSortMarkByGroups), 1u);
    EXPECT_EQ(slot(&M::setSortNoCodeGen), 2u);
    EXPECT_EQ(slot(&M::setSortNoDups), 3u);
    EXPECT_EQ(slot(&M::setSortProcessors), 4u);
    EXPECT_EQ(slot(&M::setSortRecords), 5u);
    EXPECT_EQ(slot(&M::setSortSize), 6u);
    EXPECT_EQ(slot(&M::setSortStable), 7u);
    EXPECT_EQ((slot<M, bool, const KtbString&, const KtbString&, KtbString*>(&M::append)), 8u);
    EXPECT_EQ((slot<M, bool, const KtbString&, const KtbString&, bool, KtbString*>(&M::append)), 9u);
    EXPECT_EQ((slot<M, F*, long, const KtbString&, const KtbString&, KtbString*>(&M::copy)), 10u);
    EXPECT_EQ((slot<M, F*, long, M*, const KtbString&, KtbString*>(&M::copy)), 11u);
    EXPECT_EQ((slot<M, bool, F*, M*, const KtbString&, KtbString*>(&M::copy)), 12u);
    EXPECT_EQ((slot<M, F*, int, long, KtbString*>(&M::create)), 13u);
    EXPECT_EQ((slot<M, F*, int, int, long, KtbString*>(&M::create)), 14u);
    EXPECT_EQ(slot(&M::dequeue), 15u);
    EXPECT_EQ(slot(&M::enqueue), 16u);
    EXPECT_EQ(slot(&M::getAccessKey), 17u);
    EXPECT_EQ(slot(&M::getDirectories), 18u);
    EXPECT_EQ(slot(&M::getError), 19u);
    EXPECT_EQ((slot<M, F*, const KtbString&, bool, KtbString*>(&M::open)), 20u);
    EXPECT_EQ((slot<M, F*, const KtbString&, int, const KtbString*, long*, bool, KtbString*>(&M::open)), 21u);
    EXPECT_EQ((slot<M, F*, const KtbString&, int, int*, long*, bool, KtbString*>(&M::open)), 22u);
    EXPECT_EQ(slot(&M::partition), 23u);
    EXPECT_EQ(slot(&M::release), 24u);
    EXPECT_EQ(slot(&M::remove), 25u);
}

TEST(SlotTest, CallersCallATablesOperationsInThisOrder) {
    EXPECT_EQ(slot(&F::setSort), 0u);
    EXPECT_EQ(slot(&F::setSortInfo), 1u);
    EXPECT_EQ(slot(&F::setSortProgress), 2u);
    EXPECT_EQ(slot(&F::close), 3u);
    EXPECT_EQ(slot(&F::defineColumnInfo), 4u);
    EXPECT_EQ(slot(&F::getColumnInfo), 5u);
    EXPECT_EQ(slot(&F::getColumns), 6u);
    EXPECT_EQ(slot(&F::getError), 7u);
    EXPECT_EQ(slot(&F::getName), 8u);
    EXPECT_EQ(slot(&F::getRows), 9u);
    EXPECT_EQ((slot<F, bool, KtbDatavar*, bool*>(&F::readRow)), 10u);
    EXPECT_EQ((slot<F, bool, KtbDatavar**, bool*>(&F::readRow)), 11u);
    EXPECT_EQ(slot(&F::readRows), 12u);
    EXPECT_EQ(slot(&F::release), 13u);
    EXPECT_EQ(slot(&F::statistics), 14u);
    EXPECT_EQ(slot(&F::toURIString), 15u);
    EXPECT_EQ((slot<F, bool, KtbDatavar*>(&F::writeRow)), 16u);
    EXPECT_EQ((slot<F, bool, KtbDatavar**>(&F::writeRow)), 17u);
}

TEST(SlotTest, CallersCallTheSortManagersOperationsInThisOrder) {
    EXPECT_EQ(slot(&KtDatafileManager::setChunkSize), 0u);
    EXPECT_EQ(slot(&KtDatafileManager::setSortStable), 7u);
    EXPECT_EQ(slot(&KtDatafileManager::getSettings), 8u);
    EXPECT_EQ(slot(&KtDatafileManager::createSort), 9u);
    EXPECT_EQ(slot(&KtDatafileManager::forgetColumns), 10u);
    EXPECT_EQ(slot(&KtDatafileManager::getError), 11u);
    EXPECT_EQ(slot(&KtDatafileManager::release), 12u);
    EXPECT_EQ(slot(&KtDatafileManager::declareColumn), 13u);
    EXPECT_EQ(slot(&KtDatafileManager::declareColumns), 14u);
}

TEST(SlotTest, CallersCallASortsOperationsInThisOrder) {
    EXPECT_EQ(slot(&KtDatafileRowSort::setSort), 0u);
    EXPECT_EQ(slot(&KtDatafileRowSort::setSortInfo), 1u);
    EXPECT_EQ(slot(&KtDatafileRowSort::setSortProgress), 2u);
    EXPECT_EQ(slot(&KtDatafileRowSort::setSortKeys), 3u);
    EXPECT_EQ(slot(&KtDatafileRowSort::columnSlot), 4u);
    EXPECT_EQ(slot(&KtDatafileRowSort::addRow), 5u);
    EXPECT_EQ(slot(&KtDatafileRowSort::finish), 6u);
    EXPECT_EQ(slot(&KtDatafileRowSort::getError), 7u);
    EXPECT_EQ(slot(&KtDatafileRowSort::firstRow), 8u);
    EXPECT_EQ(slot(&KtDatafileRowSort::nextRow), 9u);
    EXPECT_EQ(slot(&KtDatafileRowSort::columnValue), 10u);
    EXPECT_EQ(slot(&KtDatafileRowSort::release), 11u);
    EXPECT_EQ(slot(&KtDatafileRowSort::startsGroup), 12u);
}

TEST(SlotTest, CallersCallAStringCursorsOperationsInThisOrder) {
    EXPECT_EQ(slot(&C::cacheAll), 0u);
    EXPECT_EQ(slot(&C::getColumnName), 1u);
    EXPECT_EQ(slot(&C::getColumns), 2u);
    EXPECT_EQ(slot(&C::getColumnValue), 3u);
    EXPECT_EQ(slot(&C::getErrorMessage), 4u);
    EXPECT_EQ(slot(&C::getRows), 5u);
    EXPECT_EQ(slot(&C::next), 6u);
    EXPECT_EQ(slot(&C::release), 7u);
    EXPECT_EQ(slot(&C::top), 8u);
}

// What callers implement, and the library calls.
TEST(SlotTest, TheLibraryCallsAVisitorsOnlyOperation) {
    EXPECT_EQ(slot(&KtWorkTableOrphanVisitor::visit), 0u);
    EXPECT_EQ(slot(&KtWorkTableFileVisitor::visit), 0u);
    EXPECT_EQ(slot(&KtWorkTableFindingVisitor::visit), 0u);
}

// The operations that the cursors have in common stand in the same order; those of typed cursors have getColumnType in between.
template <class Cursor>
void expectCursorOrder(std::size_t afterType) {
    EXPECT_EQ(slot(&Cursor::cacheAll), 0u);
    EXPECT_EQ(slot(&Cursor::getColumnName), 1u);
    EXPECT_EQ(slot(&Cursor::getColumns), 2u + afterType);
    EXPECT_EQ(slot(&Cursor::getColumnValue), 3u + afterType);
    EXPECT_EQ(slot(&Cursor::getErrorMessage), 4u + afterType);
    EXPECT_EQ(slot(&Cursor::getRows), 5u + afterType);
    EXPECT_EQ(slot(&Cursor::next), 6u + afterType);
    EXPECT_EQ(slot(&Cursor::release), 7u + afterType);
    EXPECT_EQ(slot(&Cursor::top), 8u + afterType);
    EXPECT_EQ(slot(&Cursor::initRow), 9u + afterType);
    EXPECT_EQ(slot(&Cursor::setColumnValue), 10u + afterType);
    EXPECT_EQ(slot(&Cursor::finalizeRow), 11u + afterType);
    EXPECT_EQ(slot(&Cursor::finalize), 12u + afterType);
    EXPECT_EQ(slot(&Cursor::copy), 13u + afterType);
    EXPECT_EQ(slot(&Cursor::addColumn), 14u + afterType);
    EXPECT_EQ(slot(&Cursor::createColumns), 15u + afterType);
    EXPECT_EQ(slot(&Cursor::getWorkTable), 16u + afterType);
    EXPECT_EQ(slot(&Cursor::setWorkTable), 17u + afterType);
    EXPECT_EQ(slot(&Cursor::setReleaseFlag), 18u + afterType);
}

TEST(SlotTest, CallersCallACursorsOperationsInThisOrder) {
    expectCursorOrder<KtWorkTableCursor>(1);
    EXPECT_EQ(slot(&KtWorkTableCursor::getColumnType), 2u);
    expectCursorOrder<KtWorkTableStringCursor>(0);
    expectCursorOrder<KtWorkTableStringKTWFCursor>(0);
    EXPECT_EQ(slot(&KtWorkTableStringKTWFCursor::getKTWFCursor), 19u);
}

// Real objects, reached through nothing but the numbers of their slots. A KtbString result is returned as by a function whose
// only argument is the object.
class RealObjectTest : public testing::Test {
protected:
    RealObjectTest() {
        sortRecord() = SortRecord();
        manager = ktwtCreateManager("the key", directory.path().c_str(), &error);
    }

    ~RealObjectTest() override {
        if (manager != nullptr) slotOf<void(void*)>(manager, 24)(manager);
    }

    std::string text(const void* object, std::size_t slot) const {
        return slotOf<KtbString(const void*)>(object, slot)(object).asCstr();
    }

    F* create(int columns) { return slotOf<F*(M*, int, long, KtbString*)>(manager, 13)(manager, columns, 0, &error); }
    F* open(const char* name) {
        return slotOf<F*(M*, const KtbString&, bool, KtbString*)>(manager, 20)(manager, name, false, &error);
    }
    static void release(F* table) { slotOf<void(F*)>(table, 13)(table); }

    // The number of rows of the table, which is released.
    static long rowsOf(F* table) {
        if (table == nullptr) return -1;
        const long rows = slotOf<long(F*)>(table, 9)(table);
        release(table);
        return rows;
    }

    // The name of a closed table of two integer columns and the rows (0, 10), (1, 11).
    std::string write() {
        F* table = create(2);
        const auto define = slotOf<bool(F*, int, KtbString, ktbType, int)>(table, 4);
        EXPECT_TRUE(define(table, 0, "first", ktbTypeInteger, 0));
        EXPECT_TRUE(define(table, 1, "second", ktbTypeInteger, 0));
        KtbDatavar values[2];
        KtbDatavar* pointers[] = {&values[0], &values[1]};
        values[0].assign(0);
        values[1].assign(10);
        EXPECT_TRUE((slotOf<bool(F*, KtbDatavar*)>(table, 16)(table, values)));
        values[0].assign(1);
        values[1].assign(11);
        EXPECT_TRUE((slotOf<bool(F*, KtbDatavar**)>(table, 17)(table, pointers)));
        EXPECT_EQ(slotOf<long(F*)>(table, 9)(table), 2);
        EXPECT_TRUE(slotOf<bool(F*)>(table, 3)(table));
        std::string name = text(table, 8);
        release(table);
        return name;
    }

    const TempDirectory directory;
    KtbString error;
    M* manager = nullptr;
};

TEST_F(RealObjectTest, AManagersSettingsAreInTheirSlots) {
    EXPECT_TRUE((slotOf<bool(M*, unsigned long)>(manager, 0)(manager, 10)));
    EXPECT_TRUE((slotOf<bool(M*, bool)>(manager, 1)(manager, true)));
    EXPECT_TRUE((slotOf<bool(M*, bool)>(manager, 2)(manager, true)));
    EXPECT_TRUE((slotOf<bool(M*, bool)>(manager, 3)(manager, true)));
    EXPECT_TRUE((slotOf<bool(M*, int)>(manager, 4)(manager, 14)));
    EXPECT_TRUE((slotOf<bool(M*, unsigned long)>(manager, 5)(manager, 15)));
    EXPECT_TRUE((slotOf<bool(M*, unsigned long)>(manager, 6)(manager, 16)));
    EXPECT_TRUE((slotOf<bool(M*, bool)>(manager, 7)(manager, true)));
    const std::vector<std::string> expected = {"created " + directory.path(), "setChunkSize 10", "setSortMarkByGroups 1",
                                               "setSortNoCodeGen 1",          "setSortNoDups 1", "setSortProcessors 14",
                                               "setSortRecords 15",           "setSortSize 16",  "setSortStable 1"};
    EXPECT_EQ(sortRecord().calls, expected);
}

TEST_F(RealObjectTest, AManagersTransfersAreInTheirSlots) {
    using Name = const KtbString&;
    const KtbString source(write().c_str());
    const KtbString target(write().c_str());
    EXPECT_TRUE((slotOf<bool(M*, Name, Name, KtbString*)>(manager, 8)(manager, target, source, &error))) << error.asCstr();
    EXPECT_TRUE((slotOf<bool(M*, Name, Name, bool, KtbString*)>(manager, 9)(manager, target, source, true, &error)));
    EXPECT_EQ(rowsOf(open(target.asCstr())), 6);

    F* byKey = slotOf<F*(M*, long, Name, Name, KtbString*)>(manager, 10)(manager, 0, "the key", source, &error);
    EXPECT_TRUE(byKey != nullptr || error.length() != 0);  // the key's own directories need not hold the source
    if (byKey != nullptr) release(byKey);
    F* copied = slotOf<F*(M*, long, M*, Name, KtbString*)>(manager, 11)(manager, 0, manager, source, &error);
    ASSERT_NE(copied, nullptr) << error.asCstr();
    EXPECT_EQ(rowsOf(copied), 2);
    F* given = create(2);
    EXPECT_TRUE((slotOf<bool(M*, F*, M*, Name, KtbString*)>(manager, 12)(manager, given, manager, source, &error)))
        << error.asCstr();
    EXPECT_EQ(rowsOf(given), 2);

    int parts = 2;
    long ranges[4] = {-1, -1, -1, -1};
    EXPECT_TRUE((slotOf<bool(M*, Name, int*, long*, KtbString*)>(manager, 23)(manager, target, &parts, ranges, &error)))
        << error.asCstr();
    EXPECT_GE(parts, 1);
    EXPECT_EQ(ranges[0], 0);
}

TEST_F(RealObjectTest, AManagersTextsAndLocksAreInTheirSlots) {
    EXPECT_EQ(text(manager, 17), "the key");
    EXPECT_EQ(text(manager, 18), directory.path());
    EXPECT_EQ(text(manager, 19), "");
    sortRecord().refuseCreation = true;
    EXPECT_FALSE((slotOf<bool(M*, bool)>(manager, 7)(manager, true)));
    EXPECT_EQ(text(manager, 19), "no sort manager today");
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE((slotOf<bool(M*, const KtbString&, KtbString*)>(manager, 16)(manager, "name", &error)));
        slotOf<void(M*, const KtbString&)>(manager, 15)(manager, "name");
    }
}

TEST_F(RealObjectTest, AManagersTableOperationsAreInTheirSlots) {
    const std::string name = write();
    const KtbString column("second");
    int number = 1;
    const KtbString table(name.c_str());
    F* all = open(name.c_str());
    F* byName = slotOf<F*(M*, const KtbString&, int, const KtbString*, long*, bool, KtbString*)>(manager, 21)(
        manager, table, 1, &column, nullptr, false, &error);
    F* byNumber = slotOf<F*(M*, const KtbString&, int, int*, long*, bool, KtbString*)>(manager, 22)(manager, table, 1, &number,
                                                                                                    nullptr, false, &error);
    F* created = slotOf<F*(M*, int, int, long, KtbString*)>(manager, 14)(manager, 3, 0, 0, &error);
    const auto getColumns = [](F* file) { return file != nullptr ? slotOf<int(F*)>(file, 6)(file) : -1; };
    EXPECT_EQ(getColumns(all), 2);
    EXPECT_EQ(getColumns(byName), 1);
    EXPECT_EQ(getColumns(byNumber), 1);
    EXPECT_EQ(getColumns(created), 3);
    for (F* file : {all, byName, byNumber, created}) release(file);
    EXPECT_TRUE((slotOf<bool(M*, const KtbString&, KtbString*)>(manager, 25)(manager, table, &error)));
    EXPECT_EQ(open(name.c_str()), nullptr);
}

TEST_F(RealObjectTest, ATablesOperationsAreInTheirSlots) {
    F* table = open(write().c_str());
    KtbString name;
    ktbType type = 0;
    int width = -1;
    int longest = -1;
    EXPECT_TRUE((slotOf<bool(F*, int, KtbString*, ktbType*, int*, int*)>(table, 5)(table, 1, &name, &type, &width, &longest)));
    EXPECT_STREQ(name.asCstr(), "second");
    EXPECT_EQ(type, ktbTypeInteger);

    KtbDatavar values[2];
    KtbDatavar* pointers[] = {&values[1], &values[0]};
    bool end = true;
    EXPECT_TRUE((slotOf<bool(F*, KtbDatavar*, bool*)>(table, 10)(table, values, &end)));
    EXPECT_EQ(values[1].asInt64(nullptr), 10);
    EXPECT_TRUE((slotOf<bool(F*, KtbDatavar**, bool*)>(table, 11)(table, pointers, &end)));
    EXPECT_EQ(values[0].asInt64(nullptr), 11);

    EXPECT_EQ(text(table, 7), "");
    EXPECT_FALSE((slotOf<bool(F*, KtbDatavar*)>(table, 16)(table, values)));
    EXPECT_NE(text(table, 7), "");
    const KtbString uri = slotOf<KtbString(F*, bool)>(table, 15)(table, true);
    EXPECT_EQ(uri.asCstr(), "ktwt:" + text(table, 8) + "?col=first&col=second");
    release(table);
}

TEST_F(RealObjectTest, ATablesXmlIsInItsSlot) {
    F* table = open(write().c_str());
    KtbString document;
    bool end = true;
    EXPECT_TRUE((slotOf<bool(F*, long, int, KtbString*, bool*)>(table, 12)(table, 0, -1, &document, &end)));
    EXPECT_FALSE(end);
    EXPECT_NE(std::string(document.asCstr()).find("<list><value>1</value><value>11</value></list></list>"), std::string::npos);
    release(table);
}

TEST_F(RealObjectTest, AStatisticsCursorsOperationsAreInTheirSlots) {
    F* table = create(3);
    C* cursor = slotOf<C*(F*)>(table, 14)(table);
    const auto textAt = [cursor](std::size_t number, int column) -> std::string {
        return slotOf<KtbString(C*, int)>(cursor, number)(cursor, column).asCstr();
    };
    EXPECT_TRUE((slotOf<bool(C*)>(cursor, 0)(cursor)));
    EXPECT_EQ(textAt(1, 1), "Value");
    EXPECT_EQ(slotOf<int(C*)>(cursor, 2)(cursor), 2);
    EXPECT_EQ(slotOf<int(C*)>(cursor, 6)(cursor), ktbCursorRow);
    EXPECT_EQ(slotOf<int(C*)>(cursor, 6)(cursor), ktbCursorRow);
    EXPECT_EQ(textAt(3, 1), "3");
    EXPECT_EQ(text(cursor, 4), "");
    long rows = 0;
    EXPECT_TRUE((slotOf<bool(C*, long*)>(cursor, 5)(cursor, &rows)));
    EXPECT_EQ(rows, 6);
    EXPECT_TRUE((slotOf<bool(C*)>(cursor, 8)(cursor)));
    EXPECT_EQ(textAt(3, 1), "");
    const auto releaseCursor = slotOf<void(C*)>(cursor, 7);
    releaseCursor(nullptr);
    releaseCursor(cursor);
    release(table);
}

TEST_F(RealObjectTest, ATablesSortSettingsAreInTheirSlots) {
    F* table = slotOf<F*(M*, int, int, long, KtbString*)>(manager, 14)(manager, 1, 1, 0, &error);
    const auto setSort = slotOf<int(F*, int, int, bool, KTSortCollateParms*)>(table, 0);
    EXPECT_EQ(setSort(table, 0, 0, true, nullptr), 0);
    EXPECT_EQ(setSort(table, 1, 0, true, nullptr), 1);
    EXPECT_EQ((slotOf<int(F*, KtDatafileSortInfo*)>(table, 1)(table, nullptr)), 0);
    EXPECT_EQ((slotOf<int(F*, KtDatafileSortProgress*)>(table, 2)(table, nullptr)), 0);
    release(table);
}

// What is set through the slots is what the sort is told, operation by operation, and its rows come back through its own.
TEST_F(RealObjectTest, ASortedTableIsWrittenThroughTheSlots) {
    F* table = slotOf<F*(M*, int, int, long, KtbString*)>(manager, 14)(manager, 1, 1, 0, &error);
    const auto define = slotOf<bool(F*, int, KtbString, ktbType, int)>(table, 4);
    ASSERT_TRUE(define(table, 0, "number", ktbTypeInteger, 0));
    KTSortCollateParms parms = {};
    KtDatafileSortInfo info = {};
    auto* progress = reinterpret_cast<KtDatafileSortProgress*>(&info);  // nobody calls it here
    EXPECT_EQ((slotOf<int(F*, int, int, bool, KTSortCollateParms*)>(table, 0)(table, 0, 3, true, &parms)), 0);
    EXPECT_EQ((slotOf<int(F*, KtDatafileSortInfo*)>(table, 1)(table, &info)), 0);
    EXPECT_EQ((slotOf<int(F*, KtDatafileSortProgress*)>(table, 2)(table, progress)), 0);
    for (const int number : {1, 2}) {
        KtbDatavar value;
        value.assign(number);
        EXPECT_TRUE((slotOf<bool(F*, KtbDatavar*)>(table, 16)(table, &value)));
    }
    EXPECT_TRUE(slotOf<bool(F*)>(table, 3)(table));
    const std::vector<std::string> expected = {"created " + directory.path(),
                                               "declareColumns 1",
                                               "declareColumn 0 2 0",
                                               "createSort d0000000",
                                               "forgetColumns",
                                               "setSortKeys 1",
                                               "setSort 0 3 1",
                                               "setSortInfo",
                                               "setSortProgress",
                                               "columnSlot 0",
                                               "addRow 1",
                                               "addRow 2",
                                               "finish",
                                               "firstRow",
                                               "columnValue 0",
                                               "nextRow",
                                               "columnValue 0",
                                               "nextRow",
                                               "sort released"};
    EXPECT_EQ(sortRecord().calls, expected);
    EXPECT_EQ(sortRecord().parms, std::vector<KTSortCollateParms*>{&parms});
    EXPECT_EQ(sortRecord().info, &info);
    EXPECT_EQ(sortRecord().progress, progress);
    EXPECT_EQ(rowsOf(table), 2);
}

TEST_F(RealObjectTest, ReleaseOfANullTableDoesNothing) {
    F* table = create(0);
    slotOf<void(F*)>(table, 13)(nullptr);
    EXPECT_EQ(slotOf<int(F*)>(table, 6)(table), 0);
    release(table);
}

// The destructors follow the operations: first the one that only destroys, then the one that also frees.
TEST_F(RealObjectTest, TheDestructorsAreBehindTheOperations) {
    F* table = create(0);
    slotOf<void(F*)>(table, 19)(table);
    slotOf<void(M*)>(manager, 27)(manager);
    manager = nullptr;
}

// A cursor of one of the three kinds, driven by the numbers of its slots. Those after getColumnType are one further on in the
// typed one.
template <class Cursor, class Value>
class CursorBySlots {
public:
    CursorBySlots(Cursor* cursor, std::size_t afterType) : cursor_(cursor), afterType_(afterType) {}

    template <class Function, class... Arguments>
    auto call(std::size_t slot, Arguments... arguments) const {
        return slotOf<Function>(cursor_, slot < 2 ? slot : slot + afterType_)(cursor_, arguments...);
    }

    std::string name(int column) const { return call<KtbString(Cursor*, int)>(1, column).asCstr(); }
    int columns() const { return call<int(Cursor*)>(2); }
    Value value(int column) const { return call<Value(Cursor*, int)>(3, column); }
    std::string error() const { return call<KtbString(Cursor*)>(4).asCstr(); }
    bool rows(long* rows) const { return call<bool(Cursor*, long*)>(5, rows); }
    int next() const { return call<int(Cursor*)>(6); }
    void release() const { call<void(Cursor*)>(7); }
    bool top() const { return call<bool(Cursor*)>(8); }
    F* table(bool detach) const { return call<F*(Cursor*, bool)>(16, detach); }
    Cursor* cursor() const { return cursor_; }

    // Writes a row of that value, and reads it from the first row twice.
    void writeAndRead(const Value& written) const {
        ASSERT_TRUE(call<bool(Cursor*)>(15)) << error();
        ASSERT_TRUE(call<bool(Cursor*)>(9)) << error();
        slotOf<void(Cursor*, int, const Value&)>(cursor_, 10 + afterType_)(cursor_, 0, written);
        ASSERT_TRUE(call<bool(Cursor*)>(11)) << error();
        ASSERT_TRUE(call<bool(Cursor*)>(12)) << error();
        readOneRow(written);
        ASSERT_TRUE(top()) << error();
        readOneRow(written);
    }

    void readOneRow(const Value& written) const {
        long count = 0;
        EXPECT_TRUE(call<bool(Cursor*)>(0));
        EXPECT_EQ(name(0), "column");
        EXPECT_EQ(columns(), 1);
        EXPECT_TRUE(rows(&count));
        EXPECT_EQ(count, 1);
        EXPECT_EQ(next(), ktbCursorRow);
        EXPECT_STREQ(textOf(value(0)).asCstr(), textOf(written).asCstr());
        EXPECT_EQ(next(), ktbCursorEnd);
    }

    void exchangeTables(const CursorBySlots& other) const {
        F* table = other.table(true);
        EXPECT_NE(table, nullptr);
        EXPECT_EQ(other.table(false), nullptr);
        call<void(Cursor*, bool)>(18, false);
        EXPECT_TRUE((call<bool(Cursor*, F*)>(17, table)));
        EXPECT_EQ(this->table(false), table);
        call<void(Cursor*, bool)>(18, true);
    }

private:
    static KtbString textOf(const KtbString& text) { return text; }
    static KtbString textOf(const KtbDatavar& value) { return value.asString(); }

    Cursor* cursor_;
    std::size_t afterType_;
};

TEST_F(RealObjectTest, ATypedCursorsOperationsAreInTheirSlots) {
    using Typed = KtWorkTableCursor;
    const CursorBySlots<Typed, KtbDatavar> first(ktwtCreateCursor(manager), 1);
    const CursorBySlots<Typed, KtbDatavar> second(ktwtCreateCursor(manager), 1);
    slotOf<void(Typed*, const KtbString&, ktbType)>(first.cursor(), 15)(first.cursor(), "column", ktbTypeInteger);
    KtbDatavar value;
    value.assign(42);
    first.writeAndRead(value);
    EXPECT_EQ((slotOf<ktbType(Typed*, int)>(first.cursor(), 2)(first.cursor(), 0)), ktbTypeInteger);
    EXPECT_TRUE((slotOf<bool(Typed*, KtbDatavarCursor*)>(second.cursor(), 14)(second.cursor(), first.cursor())))
        << second.error();
    second.readOneRow(value);
    second.exchangeTables(first);
    first.release();
    second.release();
}

template <class Cursor>
void driveStringCursors(Cursor* one, Cursor* other) {
    const CursorBySlots<Cursor, KtbString> first(one, 0);
    const CursorBySlots<Cursor, KtbString> second(other, 0);
    slotOf<void(Cursor*, const KtbString&)>(one, 14)(one, "column");
    first.writeAndRead("value");
    EXPECT_TRUE((slotOf<bool(Cursor*, KtbStringCursor*)>(other, 13)(other, one))) << second.error();
    second.readOneRow("value");
    second.exchangeTables(first);
    first.release();
    second.release();
}

TEST_F(RealObjectTest, AStringCursorsOperationsAreInTheirSlots) {
    driveStringCursors(ktwtCreateStringCursor(manager), ktwtCreateStringCursor(manager));
    driveStringCursors(ktwtCreateStringKTWFCursor(manager), ktwtCreateStringKTWFCursor(manager));
}

TEST_F(RealObjectTest, ARecordIsGivenInTheLastSlot) {
    KtWorkTableStringKTWFCursor* cursor = ktwtCreateStringKTWFCursor(manager);
    KTWFCursor* record = slotOf<KTWFCursor*(void*)>(cursor, 19)(cursor);
    EXPECT_EQ(ktwfTable(record), &ktwfCursorFPs);
    ktwfTable(record)->ktwfRelease(record);
}

TEST_F(RealObjectTest, TheDestructorsOfCursorsAreBehindTheOperations) {
    void* const typed = ktwtCreateCursor(manager);
    slotOf<void(void*)>(typed, 21)(typed);
    void* const plain = ktwtCreateStringCursor(manager);
    slotOf<void(void*)>(plain, 20)(plain);
    void* const ktwf = ktwtCreateStringKTWFCursor(manager);
    slotOf<void(void*)>(ktwf, 21)(ktwf);
}

}  // namespace
