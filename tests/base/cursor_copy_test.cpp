// copyCursor: the exact calls it makes, and what it does when any of them fails.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "ktb/cursor.h"

namespace {

// What the two fake cursors share: every call in order, and which of the calls that can fail is to fail.
struct Script {
    std::vector<std::string> calls;
    int failing = -1;
    int fallible = 0;
    bool injected = false;
    bool fails(const std::string& call) {
        calls.push_back(call);
        if (fallible++ != failing) return false;
        injected = true;
        return true;
    }
};

struct Column {
    const char* name;
    ktbType type;
};

// A row's values as texts; a null pointer is a null value.
using Row = std::vector<const char*>;

struct Table {
    std::vector<Column> columns;
    std::vector<Row> rows;
};

std::string shown(const KtbString& text) { return text.isNull() ? "null" : std::string("'") + text.asCstr() + "'"; }
std::string shown(const KtbDatavar& value) {
    return std::string(ktbTypeToString(value.type())) + ":" + (value.isNull() ? "null" : shown(value.asString()));
}

void give(const Table& table, std::size_t row, std::size_t column, KtbString* value) {
    *value = KtbString(table.rows[row][column]);
}
void give(const Table& table, std::size_t row, std::size_t column, KtbDatavar* value) {
    if (table.rows[row][column] != nullptr) value->assign(table.rows[row][column]);
    value->setType(table.columns[column].type);
}

// The operations that typed and text cursors have in common. Those that a copy has no business with fail the test.
template <class Interface, class Value>
class FakeCursor : public Interface {
public:
    FakeCursor(Script* script, const char* who) : script_(script), who_(who) {}
    virtual ~FakeCursor() = default;

    bool cacheAll() override { return unexpected("cacheAll"); }
    KtbString getColumnName(int) override {
        unexpected("getColumnName");
        return KtbString();
    }
    int getColumns() override { return unexpected("getColumns") ? 1 : 0; }
    Value getColumnValue(int) override {
        unexpected("getColumnValue");
        return Value();
    }
    KtbString getErrorMessage() override {
        note("getErrorMessage");
        return KtbString(message_.c_str());
    }
    bool getRows(long*) override { return unexpected("getRows"); }
    int next() override { return unexpected("next") ? 1 : 0; }
    void release() override { unexpected("release"); }
    bool top() override { return unexpected("top"); }

protected:
    bool unexpected(const char* call) {
        ADD_FAILURE() << who_ << " was not to be asked for " << call;
        return false;
    }
    std::string named(const std::string& call) const { return who_ + "." + call; }
    void note(const std::string& call) { script_->calls.push_back(named(call)); }
    bool succeeds(const std::string& call) {
        if (!script_->fails(named(call))) return true;
        message_ = named(call) + " failed";
        return false;
    }

    Script* script_;

private:
    std::string who_;
    std::string message_ = "no failure yet";
};

template <class Interface, class Value>
class FakeSourceBase : public FakeCursor<Interface, Value> {
public:
    FakeSourceBase(Script* script, const Table* table) : FakeCursor<Interface, Value>(script, "source"), table_(table) {}

    int failedStatus = ktbCursorFailed;

    int getColumns() override {
        this->note("getColumns");
        return static_cast<int>(table_->columns.size());
    }
    KtbString getColumnName(int column) override {
        const bool given = this->succeeds("getColumnName " + std::to_string(column));
        return given ? KtbString(at(column).name) : KtbString(nullptr);
    }
    Value getColumnValue(int column) override {
        this->note("getColumnValue " + std::to_string(column));
        Value value;
        give(*table_, row_ - 1, static_cast<std::size_t>(column), &value);
        return value;
    }
    int next() override {
        if (!this->succeeds("next")) return failedStatus;
        if (row_ == table_->rows.size()) return ktbCursorEnd;
        ++row_;
        return ktbCursorRow;
    }
    bool top() override {
        row_ = 0;
        return this->succeeds("top");
    }

protected:
    const Column& at(int column) const { return table_->columns[static_cast<std::size_t>(column)]; }

private:
    const Table* table_;
    std::size_t row_ = 1000;  // nowhere before top()
};

class FakeTypedSource : public FakeSourceBase<KtbDatavarCursor, KtbDatavar> {
public:
    using FakeSourceBase::FakeSourceBase;
    ktbType getColumnType(int column) override {
        note("getColumnType " + std::to_string(column));
        return at(column).type;
    }
};

class FakeTextSource : public FakeSourceBase<KtbStringCursor, KtbString> {
public:
    using FakeSourceBase::FakeSourceBase;
};

template <class Interface, class Value>
class FakeTargetBase : public FakeCursor<Interface, Value> {
public:
    explicit FakeTargetBase(Script* script) : FakeCursor<Interface, Value>(script, "target") {}

    bool createColumns() override { return this->succeeds("createColumns"); }
    bool initRow() override { return this->succeeds("initRow"); }
    void setColumnValue(int column, const Value& value) override {
        this->note("setColumnValue " + std::to_string(column) + " " + shown(value));
    }
    bool finalizeRow() override { return this->succeeds("finalizeRow"); }
    bool finalize() override { return this->succeeds("finalize"); }
};

class FakeTypedTarget : public FakeTargetBase<KtbDatavarCursorCreater, KtbDatavar> {
public:
    using FakeTargetBase::FakeTargetBase;
    bool copy(KtbDatavarCursor*) override { return unexpected("copy"); }
    ktbType getColumnType(int) override { return unexpected("getColumnType") ? ktbTypeString : ktbTypeNone; }
    void addColumn(const KtbString& name, ktbType type) override {
        note("addColumn " + shown(name) + " " + ktbTypeToString(type));
    }
};

class FakeTextTarget : public FakeTargetBase<KtbStringCursorCreater, KtbString> {
public:
    using FakeTargetBase::FakeTargetBase;
    bool copy(KtbStringCursor*) override { return unexpected("copy"); }
    void addColumn(const KtbString& name) override { note("addColumn " + shown(name)); }
};

struct Typed {
    using Source = FakeTypedSource;
    using Target = FakeTypedTarget;
};
struct Text {
    using Source = FakeTextSource;
    using Target = FakeTextTarget;
};

const Table cities = {{{"city", ktbTypeString}, {"people", ktbTypeInteger}}, {{"Ulm", "126405"}, {"", nullptr}}};
const Table noRows = {{{"city", ktbTypeString}}, {}};
const Table nothing = {{}, {}};

struct Outcome {
    bool copied;
    bool injected;
    std::string error;
    std::vector<std::string> calls;
};

template <class Kind>
Outcome copyOf(const Table& table, int failing = -1, int failedStatus = ktbCursorFailed) {
    Script script;
    script.failing = failing;
    typename Kind::Source source(&script, &table);
    source.failedStatus = failedStatus;
    typename Kind::Target target(&script);
    KtbString error("untouched");
    const bool copied = copyCursor(&source, &target, &error);
    return {copied, script.injected, error.asCstr(), script.calls};
}

template <class Kind>
class CursorCopyTest : public ::testing::Test {};
using Kinds = ::testing::Types<Typed, Text>;
TYPED_TEST_SUITE(CursorCopyTest, Kinds);

TEST(TypedCursorCopyTest, MakesExactlyTheseCalls) {
    const Outcome outcome = copyOf<Typed>(cities);
    EXPECT_TRUE(outcome.copied);
    EXPECT_EQ(outcome.error, "untouched");
    EXPECT_EQ(outcome.calls, (std::vector<std::string>{"source.top",
                                                       "source.getColumns",
                                                       "source.getColumnName 0",
                                                       "source.getColumnType 0",
                                                       "target.addColumn 'city' string",
                                                       "source.getColumnName 1",
                                                       "source.getColumnType 1",
                                                       "target.addColumn 'people' integer",
                                                       "target.createColumns",
                                                       "source.next",
                                                       "target.initRow",
                                                       "source.getColumnValue 0",
                                                       "target.setColumnValue 0 string:'Ulm'",
                                                       "source.getColumnValue 1",
                                                       "target.setColumnValue 1 integer:'126405'",
                                                       "target.finalizeRow",
                                                       "source.next",
                                                       "target.initRow",
                                                       "source.getColumnValue 0",
                                                       "target.setColumnValue 0 string:''",
                                                       "source.getColumnValue 1",
                                                       "target.setColumnValue 1 integer:null",
                                                       "target.finalizeRow",
                                                       "source.next",
                                                       "target.finalize"}));
}

TEST(TextCursorCopyTest, MakesExactlyTheseCalls) {
    const Outcome outcome = copyOf<Text>(cities);
    EXPECT_TRUE(outcome.copied);
    EXPECT_EQ(outcome.error, "untouched");
    EXPECT_EQ(outcome.calls, (std::vector<std::string>{"source.top",
                                                       "source.getColumns",
                                                       "source.getColumnName 0",
                                                       "target.addColumn 'city'",
                                                       "source.getColumnName 1",
                                                       "target.addColumn 'people'",
                                                       "target.createColumns",
                                                       "source.next",
                                                       "target.initRow",
                                                       "source.getColumnValue 0",
                                                       "target.setColumnValue 0 'Ulm'",
                                                       "source.getColumnValue 1",
                                                       "target.setColumnValue 1 '126405'",
                                                       "target.finalizeRow",
                                                       "source.next",
                                                       "target.initRow",
                                                       "source.getColumnValue 0",
                                                       "target.setColumnValue 0 ''",
                                                       "source.getColumnValue 1",
                                                       "target.setColumnValue 1 null",
                                                       "target.finalizeRow",
                                                       "source.next",
                                                       "target.finalize"}));
}

TYPED_TEST(CursorCopyTest, ATableWithoutRowsIsFinalizedToo) {
    const Outcome outcome = copyOf<TypeParam>(noRows);
    EXPECT_TRUE(outcome.copied);
    ASSERT_GE(outcome.calls.size(), 3U);
    EXPECT_EQ(outcome.calls[outcome.calls.size() - 3], "target.createColumns");
    EXPECT_EQ(outcome.calls[outcome.calls.size() - 2], "source.next");
    EXPECT_EQ(outcome.calls.back(), "target.finalize");
}

TYPED_TEST(CursorCopyTest, WhetherNoColumnsWillDoIsTheTargetsDecision) {
    const std::vector<std::string> calls = {"source.top", "source.getColumns", "target.createColumns", "source.next",
                                            "target.finalize"};
    EXPECT_EQ(copyOf<TypeParam>(nothing).calls, calls);
    const Outcome refused = copyOf<TypeParam>(nothing, 1);
    EXPECT_FALSE(refused.copied);
    EXPECT_EQ(refused.error, "target.createColumns failed");
}

// Fails the first call that can fail, then the second, until a copy meets no failure.
TYPED_TEST(CursorCopyTest, EveryFailureStopsTheCopyWithTheFailingCursorsText) {
    const std::vector<std::string> whole = copyOf<TypeParam>(cities).calls;
    int failing = 0;
    for (;; ++failing) {
        const Outcome outcome = copyOf<TypeParam>(cities, failing);
        EXPECT_EQ(outcome.copied, !outcome.injected);
        if (!outcome.injected) break;
        ASSERT_GE(outcome.calls.size(), 2U);
        const std::string failed = outcome.calls[outcome.calls.size() - 2];
        EXPECT_EQ(outcome.error, failed + " failed");
        EXPECT_EQ(outcome.calls.back(), failed.substr(0, failed.find('.')) + ".getErrorMessage");
        const std::size_t made = outcome.calls.size() - 1;
        ASSERT_LE(made, whole.size());
        EXPECT_TRUE(std::equal(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(made), outcome.calls.begin()))
            << failed;
    }
    EXPECT_EQ(failing, 12);  // top, two names, createColumns, three next, two each of initRow and finalizeRow, finalize
}

TYPED_TEST(CursorCopyTest, AStatusThatNextDoesNotHaveIsAFailure) {
    for (const int status : {ktbCursorFailed, 3, -1}) {
        const Outcome outcome = copyOf<TypeParam>(noRows, 3, status);
        EXPECT_TRUE(outcome.injected);
        EXPECT_FALSE(outcome.copied) << status;
        EXPECT_EQ(outcome.error, "source.next failed");
    }
}

}  // namespace
