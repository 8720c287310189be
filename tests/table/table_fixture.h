// A small language for tests of work tables as callers see them: makeTable, row, finish, reopen, rowsRead.
#ifndef KTWT_TESTS_TABLE_TABLE_FIXTURE_H
#define KTWT_TESTS_TABLE_TABLE_FIXTURE_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ktb/fio.h"
#include "ktwt/ktwt.h"
#include "support/message_log.h"
#include "support/temp_directory.h"
#include "table/table_files.h"
#include "table/value.h"

struct ReleaseObject {
    template <class Object>
    void operator()(Object* object) const {
        object->release();
    }
};
using Manager = std::unique_ptr<KtWorkTableManager, ReleaseObject>;
using Table = std::unique_ptr<KtWorkTableFile, ReleaseObject>;

// The rows that a table delivers until its end or a failure.
struct Reading {
    Rows rows;
    bool failed = false;
};

inline Reading readAll(KtWorkTableFile& table) {
    Reading reading;
    const auto columns = static_cast<std::size_t>(table.getColumns());
    // One more than there are, so that a table without columns has an array, too; nobody may touch it.
    std::vector<KtbDatavar> values(columns + 1);
    for (bool end = false;;) {
        if (!table.readRow(values.data(), &end)) {
            reading.failed = !end;
            return reading;
        }
        reading.rows.emplace_back(values.begin(), values.end() - 1);
    }
}

// What a table tells of the columns of its rows.
inline std::vector<ColumnInfo> columnsOf(KtWorkTableFile& table) {
    std::vector<ColumnInfo> columns(static_cast<std::size_t>(table.getColumns()));
    for (int i = 0; i < table.getColumns(); ++i) {
        ColumnInfo& info = columns[static_cast<std::size_t>(i)];
        KtbString name;
        EXPECT_TRUE(table.getColumnInfo(i, &name, &info.type, &info.width, &info.longest));
        info.name = bytesOf(name);
    }
    return columns;
}

inline bool writeTo(KtWorkTableFile& table, const Row& values) {
    std::vector<KtbDatavar> array;
    for (const Value& value : values) array.push_back(value.variant());
    return table.writeRow(array.data());
}

// While it lives no file of this process grows beyond `bytes`: the tests' full disk.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) : oldAction_(signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &old_);
        const rlimit limit = {bytes, old_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &old_);
        signal(SIGXFSZ, oldAction_);
    }

private:
    rlimit old_ = {};
    void (*oldAction_)(int);
};

// While it lives this process can open only `count` more files. The undefined-behaviour sanitizer's look at the tables of
// virtual operations goes through a pipe and takes a lack of handles for a broken object: the asan preset leaves that look out.
class HandleLimit {
public:
    explicit HandleLimit(int count) {
        getrlimit(RLIMIT_NOFILE, &old_);
        const int lowestFree = open("/dev/null", O_RDONLY | O_CLOEXEC);
        close(lowestFree);
        const rlimit limit = {static_cast<rlim_t>(lowestFree + count), old_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &limit);
    }
    HandleLimit(const HandleLimit&) = delete;
    HandleLimit& operator=(const HandleLimit&) = delete;
    ~HandleLimit() { setrlimit(RLIMIT_NOFILE, &old_); }

private:
    rlimit old_ = {};
};

class TableTest : public ::testing::Test {
protected:
    // A column to define; its type code and width as defineColumnInfo takes them.
    struct Column {
        std::string name;
        ktbType type = ktbTypeString;
        int width = 0;
    };

    // How a table is opened. The range is none, or first row and row count.
    struct How {
        std::vector<long> range = {};
        bool reversed = false;
    };

    TableTest() { useDirectories({"work"}); }

    // Makes the directories and a manager that works in them.
    void useDirectories(const std::vector<std::string>& names) {
        directories_.clear();
        std::string list;
        for (const std::string& name : names) {
            directories_.push_back(temp_.directory(name));
            list += (list.empty() ? "" : ":") + directories_.back();
        }
        useList(list);
    }

    // Works with a list of directories as it stands.
    void useList(const std::string& list) {
        table_.reset();
        KtbString error;
        manager_.reset(ktwtCreateManager("", ktb(list), &error));
        ASSERT_TRUE(manager_) << error.asCstr();
    }

    bool tryMakeTable(int columns, long elementSize = 0) {
        return adopt(manager_->create(columns, elementSize, &error_)) && (name_ = bytesOf(table_->getName()), true);
    }

    void makeTable(const std::vector<Column>& columns, long elementSize = 0) {
        ASSERT_TRUE(tryMakeTable(static_cast<int>(columns.size()), elementSize)) << error_.asCstr();
        for (std::size_t i = 0; i < columns.size(); ++i) ASSERT_TRUE(define(static_cast<int>(i), columns[i])) << tableError();
    }

    bool define(int index, const Column& column) {
        return table_->defineColumnInfo(index, ktb(column.name), column.type, column.width);
    }

    bool tryRow(const Row& values) { return writeTo(*table_, values); }
    void row(const Row& values) { ASSERT_TRUE(tryRow(values)) << tableError(); }

    void finish() {
        ASSERT_TRUE(table_->close()) << tableError();
        table_.reset();
    }

    // A closed table of three columns, "id" (integer), "text" (string, longest 7) and "flag" (boolean), with rows (i, "row i",
    // i is odd) for i from 0.
    void makeRows(long count, long elementSize = 0) {
        makeTable({{"id", ktbTypeInteger}, {"text"}, {"flag", ktbTypeBoolean}}, elementSize);
        for (long i = 0; i < count; ++i) row(rowNumber(i));
        finish();
    }
    static Row rowNumber(long i) { return {i, "row " + std::to_string(i), i % 2 != 0}; }

    // The rows of makeRows from `first` to `last`, up or down.
    static Rows rowNumbers(long first, long last) {
        Rows rows = {rowNumber(first)};
        while (first != last) rows.push_back(rowNumber(first += first < last ? 1 : -1));
        return rows;
    }

    // Open the table named name_ in place of the one that is open. False: it could not be opened, and error_ says why.
    bool reopen() { return reopen(How{}); }
    bool reopen(const How& how) { return reopenByName(-1, nullptr, how); }
    bool reopenByIndex(std::vector<int> columns) { return reopenByIndex(std::move(columns), How{}); }
    bool reopenByIndex(std::vector<int> columns, const How& how) {
        std::vector<long> range = how.range;
        int* array = columns.empty() ? nullptr : columns.data();
        return adopt(
            manager_->open(ktb(name_), static_cast<int>(columns.size()), array, pointerTo(range), how.reversed, &error_));
    }
    bool reopenByName(const std::vector<std::string>& columns) { return reopenByName(columns, How{}); }
    bool reopenByName(const std::vector<std::string>& columns, const How& how) {
        std::vector<KtbString> names;
        for (const std::string& column : columns) names.push_back(ktb(column));
        return reopenByName(static_cast<int>(names.size()), names.data(), how);
    }
    bool reopenByName(int count, const KtbString* names, const How& how) {
        std::vector<long> range = how.range;
        return adopt(manager_->open(ktb(name_), count, names, pointerTo(range), how.reversed, &error_));
    }
    bool openText(const std::string& nameOrUri, bool reversed = false) {
        return adopt(manager_->open(ktb(nameOrUri), reversed, &error_));
    }

    // The rows of the open table to its end.
    Rows rowsRead() {
        Reading reading = readAll(*table_);
        EXPECT_FALSE(reading.failed) << tableError();
        return std::move(reading.rows);
    }

    // The next row; nothing at the end of the rows and after a failure.
    std::optional<Row> nextRow() {
        std::vector<KtbDatavar> values(static_cast<std::size_t>(table_->getColumns()) + 1);
        if (!table_->readRow(values.data(), &end_)) return std::nullopt;
        return Row(values.begin(), values.end() - 1);
    }

    std::string tableError() { return bytesOf(table_->getError()); }

    // Whether the last message made is this one, with these arguments, made by `source`, and `error` is its text.
    template <class... Arguments>
    ::testing::AssertionResult says(const KtbString& error, const char* source, int number, Arguments... arguments) {
        const MessageLog::Entry made = log_.last();
        const std::string text = bytesOf(ktb_get_message("test", 0, "Work table library", number, arguments...));
        if (made.number != number) return ::testing::AssertionFailure() << "the last message is " << made.text;
        if (made.source != source) return ::testing::AssertionFailure() << "the message comes from " << made.source;
        if (made.component != "Work table library") return ::testing::AssertionFailure() << "component " << made.component;
        if (made.text != text) return ::testing::AssertionFailure() << made.text << " is not " << text;
        if (bytesOf(error) != text) return ::testing::AssertionFailure() << "the error is \"" << error.asCstr() << '"';
        return ::testing::AssertionSuccess();
    }

    // The same of an operation of the manager, which gives a table's text.
    template <class... Arguments>
    ::testing::AssertionResult refused(int number, Arguments... arguments) {
        return says(error_, "wtfile", number, arguments...);
    }

    // The names of all files in the work directories.
    std::vector<std::string> files() const {
        std::vector<std::string> names;
        for (const std::string& directory : directories_) {
            for (const auto& entry : std::filesystem::directory_iterator(directory)) names.push_back(entry.path().filename());
        }
        return names;
    }

    std::string path(const std::string& name) const { return table_files::find(directories_, name); }
    table_files::Header header() const { return table_files::headerFrom(readFile(path(name_))); }
    void changeHeader(const table_files::Header& changed) const {
        table_files::replaceFile(path(name_), table_files::bytesFrom(changed));
    }
    std::string dataPath(std::size_t element) const { return path(table_files::plain(header().elements.at(element).data)); }
    std::string indexPath(std::size_t element) const { return path(table_files::plain(header().elements.at(element).index)); }
    std::size_t elements() const { return header().elements.size(); }

    TempDirectory temp_;
    MessageLog log_;
    std::vector<std::string> directories_;
    Manager manager_;
    Table table_;
    std::string name_;  // of the table that was made last
    KtbString error_;
    bool end_ = false;

private:
    static long* pointerTo(std::vector<long>& range) { return range.empty() ? nullptr : range.data(); }

    bool adopt(KtWorkTableFile* table) {
        table_.reset(table);
        return table != nullptr;
    }
};

#endif
