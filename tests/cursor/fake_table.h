// A table and a manager that do what a test says, and note every call.
#ifndef KTWT_TESTS_CURSOR_FAKE_TABLE_H
#define KTWT_TESTS_CURSOR_FAKE_TABLE_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ktwt/ktwt.h"

// What the tables of one manager share: their columns and rows, which of their operations fails, and what was called.
struct FakeScript {
    std::vector<std::string> columns = {"first", "second"};
    long rows = 2;
    std::string failing;  // the call that fails, with its argument where it has one
    std::string uri = "ktwt:fake";
    bool openFails = false;
    bool removeFails = false;
    std::vector<std::string> calls;
    int alive = 0;  // tables that were not released

    bool does(const std::string& call) {
        calls.push_back(call);
        return call != failing;
    }
};

// Rows of integers: row number times 10 plus column number.
class FakeTable : public KtWorkTableFile {
public:
    explicit FakeTable(FakeScript* script) : script_(script) { ++script_->alive; }
    virtual ~FakeTable() { --script_->alive; }

    int setSort(int, int, bool, KTSortCollateParms*) override { return 1; }
    int setSortInfo(KtDatafileSortInfo*) override { return 1; }
    int setSortProgress(KtDatafileSortProgress*) override { return 1; }
    bool close() override { return note("close"); }
    bool defineColumnInfo(int column, KtbString name, ktbType type, int width) override {
        EXPECT_EQ(width, 0);
        script_->calls.push_back(std::string("name ") + name.asCstr() + " type " + std::to_string(type));
        return note("define " + std::to_string(column));
    }
    bool getColumnInfo(int column, KtbString* name, ktbType* type, int*, int*) override {
        if (!note("info " + std::to_string(column))) return false;
        if (column < 0 || column >= getColumns()) return fail("no such column");
        if (name != nullptr) *name = KtbString(script_->columns[static_cast<std::size_t>(column)].c_str());
        if (type != nullptr) *type = ktbTypeInteger;
        return true;
    }
    int getColumns() override { return static_cast<int>(script_->columns.size()); }
    KtbString getError() override { return KtbString(error_.c_str()); }
    KtbString getName() override { return KtbString("fake"); }
    long getRows() override { return script_->rows; }
    bool readRow(KtbDatavar* values, bool* end) override {
        *end = false;
        if (!note("read")) return false;
        *end = row_ == script_->rows;
        if (*end) return false;
        for (int i = 0; i < getColumns(); ++i) values[i].assign(row_ * 10 + i);
        ++row_;
        return true;
    }
    bool readRow(KtbDatavar**, bool*) override { return unexpected("readRow"); }
    bool readRows(long, int, KtbString*, bool*) override { return unexpected("readRows"); }
    void release() override {
        note("release");
        delete this;
    }
    KtbStringCursor* statistics() override { return nullptr; }
    KtbString toURIString(bool all) override {
        EXPECT_TRUE(all);
        note("uri");
        return KtbString(script_->uri.c_str());
    }
    bool writeRow(KtbDatavar* values) override {
        std::string call = "write";
        for (int i = 0; i < getColumns(); ++i) call += std::string(" ") + values[i].asString().asCstr();
        return note(call);
    }
    bool writeRow(KtbDatavar**) override { return unexpected("writeRow"); }

private:
    bool note(const std::string& call) { return script_->does(call) || fail(call + " failed"); }
    bool fail(const std::string& text) {
        error_ = text;
        return false;
    }
    static bool unexpected(const char* call) {
        ADD_FAILURE() << "a cursor has no business with " << call;
        return false;
    }

    FakeScript* script_;
    std::string error_;
    long row_ = 0;
};

class FakeManager : public KtWorkTableManager {
public:
    explicit FakeManager(FakeScript* script) : script_(script) {}
    virtual ~FakeManager() = default;

    bool setChunkSize(unsigned long) override { return unexpected(); }
    bool setSortMarkByGroups(bool) override { return unexpected(); }
    bool setSortNoCodeGen(bool) override { return unexpected(); }
    bool setSortNoDups(bool) override { return unexpected(); }
    bool setSortProcessors(int) override { return unexpected(); }
    bool setSortRecords(unsigned long) override { return unexpected(); }
    bool setSortSize(unsigned long) override { return unexpected(); }
    bool setSortStable(bool) override { return unexpected(); }
    bool append(const KtbString&, const KtbString&, KtbString*) override { return unexpected(); }
    bool append(const KtbString&, const KtbString&, bool, KtbString*) override { return unexpected(); }
    KtWorkTableFile* copy(long, const KtbString&, const KtbString&, KtbString*) override { return none(); }
    KtWorkTableFile* copy(long, KtWorkTableManager*, const KtbString&, KtbString*) override { return none(); }
    bool copy(KtWorkTableFile*, KtWorkTableManager*, const KtbString&, KtbString*) override { return unexpected(); }
    KtWorkTableFile* create(int columns, long elementSize, KtbString* error) override {
        const std::string call = "create " + std::to_string(columns) + " " + std::to_string(elementSize);
        return made(script_->does(call), "create failed", error);
    }
    KtWorkTableFile* create(int, int, long, KtbString*) override { return none(); }
    void dequeue(const KtbString&) override { unexpected(); }
    bool enqueue(const KtbString&, KtbString*) override { return unexpected(); }
    KtbString getAccessKey() override { return KtbString(); }
    KtbString getDirectories() override { return KtbString(); }
    KtbString getError() override { return KtbString(); }
    KtWorkTableFile* open(const KtbString& uri, bool reversed, KtbString* error) override {
        EXPECT_FALSE(reversed);
        script_->calls.push_back(std::string("open ") + uri.asCstr());
        return made(!script_->openFails, "open failed", error);
    }
    KtWorkTableFile* open(const KtbString&, int, const KtbString*, long*, bool, KtbString*) override { return none(); }
    KtWorkTableFile* open(const KtbString&, int, int*, long*, bool, KtbString*) override { return none(); }
    bool partition(const KtbString&, int*, long*, KtbString*) override { return unexpected(); }
    void release() override {}
    bool remove(const KtbString& name, KtbString* error) override {
        script_->calls.push_back(std::string("remove ") + name.asCstr());
        if (script_->removeFails) *error = KtbString("remove failed");
        return !script_->removeFails;
    }

private:
    static bool unexpected() {
        ADD_FAILURE() << "a cursor has no business with this operation of the manager";
        return false;
    }
    static KtWorkTableFile* none() {
        unexpected();
        return nullptr;
    }
    KtWorkTableFile* made(bool can, const char* why, KtbString* error) {
        if (can) return new FakeTable(script_);
        *error = KtbString(why);
        return nullptr;
    }

    FakeScript* script_;
};

#endif
