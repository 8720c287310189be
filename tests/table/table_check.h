// Opens a closed table in every way there is, chosen at random, and compares what it delivers with its model.
#ifndef KTWT_TESTS_TABLE_TABLE_CHECK_H
#define KTWT_TESTS_TABLE_TABLE_CHECK_H

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "support/sanitizers.h"
#include "table/table_fixture.h"
#include "table/table_model.h"

class TableCheck {
public:
    TableCheck(KtWorkTableManager* manager, const TableModel& table, std::string name, Random* random)
        : manager_(*manager), table_(table), name_(std::move(name)), random_(*random), make_(random) {}

    // Opens the table once, in one of the ways, and again from the URI that it then gives of itself.
    void openOnce() {
        chooseRange();
        reversed_ = random_.chance(50);
        Table opened = open();
        ASSERT_TRUE(opened) << how_ << ": " << error_.asCstr();
        SCOPED_TRACE(how_);
        const std::string uri = bytesOf(opened->toURIString(random_.chance(50)));
        compare(*opened, view_);

        Table again(manager_.open(ktb(uri), reversed_, &error_));
        ASSERT_TRUE(again) << uri << ": " << error_.asCstr();
        SCOPED_TRACE(uri);
        compare(*again, view_.throughUri());
    }

private:
    void chooseRange() {
        const auto rows = static_cast<long>(table_.rows.size());
        range_.clear();
        if (random_.chance(40)) return;
        const long first =
            random_.chance(80) ? random_.between(0, rows + 1) : random_.oneOf(std::vector<long>{LONG_MAX, rows * 3});
        const long count = random_.chance(30) ? -1 : random_.chance(80) ? random_.between(0, rows + 1) : LONG_MAX;
        range_ = {first, count};
    }

    long* range() { return range_.empty() ? nullptr : range_.data(); }

    Table open() {
        view_ = TableView();
        switch (random_.below(5)) {
            case 0: return openByIndex();
            case 1: return openByName();
            case 2: return openWhole();
            default: return openByUri();
        }
    }

    Table openWhole() {
        view_ = TableView::all(table_);
        how_ = "all columns";
        if (range_.empty() && random_.chance(50)) return Table(manager_.open(ktb(name_), reversed_, &error_));
        if (random_.chance(50)) {
            return Table(manager_.open(ktb(name_), -1, static_cast<int*>(nullptr), range(), reversed_, &error_));
        }
        return Table(manager_.open(ktb(name_), -1, static_cast<const KtbString*>(nullptr), range(), reversed_, &error_));
    }

    Table openByIndex() {
        std::vector<int> columns(table_.columns.size());
        std::iota(columns.begin(), columns.end(), 0);
        if (random_.chance(85)) std::shuffle(columns.begin(), columns.end(), random_.engine());
        if (random_.chance(70)) columns.resize(random_.below(columns.size() + 1));
        how_ = "by number";
        for (const int column : columns) {
            view_.show(table_, column);
            how_ += " " + std::to_string(column);
        }
        return Table(manager_.open(ktb(name_), static_cast<int>(columns.size()), columns.data(), range(), reversed_, &error_));
    }

    Table openByName() {
        std::vector<KtbString> names;
        how_ = "by name";
        for (std::size_t slots = random_.below(table_.columns.size() + 4); slots != 0; --slots) {
            names.push_back(ktb(showSomeName()));
            how_ += std::string(" ") + names.back().asCstr();
        }
        return Table(manager_.open(ktb(name_), static_cast<int>(names.size()), names.data(), range(), reversed_, &error_));
    }

    // Shows a column that the table has or one that it has not, and returns the name to ask for.
    std::string showSomeName() {
        const int column = someColumn();
        if (column < 0 || random_.chance(15)) {
            const std::string name = make_.unknownName(table_);
            view_.showNull(name);
            return name;
        }
        view_.show(table_, column);
        return make_.otherCase(table_.columns[static_cast<std::size_t>(column)].name);
    }

    int someColumn() { return table_.columns.empty() ? -1 : static_cast<int>(random_.below(table_.columns.size())); }

    Table openByUri() {
        how_ = "ktwt:" + name_ + "?";
        if (!range_.empty()) how_ += "rows=" + std::to_string(range_[0]) + "," + std::to_string(range_[1]) + "&";
        const bool wholeTable = random_.chance(10);
        if (wholeTable) view_ = TableView::all(table_);
        for (const TableView::Slot& slot : view_.slots) how_ += "col=" + escaped(make_.otherCase(slot.info.name)) + "&";
        const std::size_t slots = wholeTable ? 0 : random_.below(table_.columns.size() + 4);
        for (std::size_t i = 0; i < slots; ++i) how_ += "col=" + showSomeUriColumn() + "&";
        how_.pop_back();
        return Table(manager_.open(ktb(how_), reversed_, &error_));
    }

    // Shows a column of any kind that a URI can have, and returns what stands for it in the URI.
    std::string showSomeUriColumn() {
        const int column = someColumn();
        const std::size_t kind = random_.below(10);
        const std::string name = make_.unknownName(table_);
        if (kind < 4 || column < 0) return escaped(showSomeName());
        if (kind < 7)
            return showRenamed(column, random_.chance(70) ? name : table_.columns[random_.below(table_.columns.size())].name);
        if (kind == 7) {  // a source that is no column
            const std::string text = make_.unknownName(table_);
            if (ktb(text).compare(ktb(name), false) == 0) return showRenamed(column, name);
            view_.showConstant(name, ktbTypeNone, text);
            return escaped(name) + "=" + escaped(text);
        }
        const auto type = static_cast<ktbType>(1 + random_.below(6));
        const std::string text = make_.constantText();
        const std::string shown = random_.chance(50) ? name : table_.columns[static_cast<std::size_t>(column)].name;
        view_.showConstant(shown, type, text);
        return escaped(shown) + ":" + (random_.chance(50) ? ktbTypeToString(type) : std::to_string(type)) + "=" + escaped(text);
    }

    // Shows a column under another name, which may be its own: then it is simply shown.
    std::string showRenamed(int column, const std::string& name) {
        const std::string& stored = table_.columns[static_cast<std::size_t>(column)].name;
        // A column with an empty name cannot be a source: without a source the name itself is looked for.
        if (stored.empty()) return escaped(showSomeName());
        view_.show(table_, column);
        if (ktb(stored).compare(ktb(name), false) != 0) view_.slots.back().info.name = name;
        return escaped(name) + "=" + escaped(make_.otherCase(stored));
    }

    static std::string escaped(const std::string& text) {
        static const char unreserved[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
        static const char hex[] = "0123456789ABCDEF";
        std::string result;
        for (const char c : text) {
            const auto byte = static_cast<unsigned char>(c);
            if (std::string(unreserved).find(c) != std::string::npos) {
                result += c;
            } else {
                result += {'%', hex[byte >> 4], hex[byte & 15]};
            }
        }
        return result;
    }

    // The numbers of the rows to be delivered: the first, and how many from there on.
    std::pair<long, long> expectedRows() const {
        const auto rows = static_cast<long>(table_.rows.size());
        if (range_.empty()) return {reversed_ ? rows - 1 : 0, rows};
        const long first = range_[0];
        const long count = range_[1];
        if (first >= rows) return {0, 0};
        if (reversed_) return {rows - 1, rows - first};
        return {first, count < 0 ? rows - first : std::min(count, rows - first)};
    }

    void compare(KtWorkTableFile& opened, const TableView& view) {
        EXPECT_EQ(bytesOf(opened.getName()), name_);
        EXPECT_EQ(opened.getRows(), static_cast<long>(table_.rows.size()));
        ASSERT_EQ(opened.getColumns(), static_cast<int>(view.slots.size()));
        ASSERT_EQ(columnsOf(opened), view.columns());
        auto [row, count] = expectedRows();
        const bool toTheEnd = random_.chance(90);  // a table may be given back in the middle
        if (!toTheEnd) count = random_.between(0, count);
        std::vector<KtbDatavar> values(view.slots.size() + 1);
        for (; count != 0; --count, row += reversed_ ? -1 : 1) {
            if (!readRow(opened, &values)) {
                FAIL() << "row " << row << " is missing: " << opened.getError().asCstr();
            }
            ASSERT_TRUE(isRow(view, table_.rows[static_cast<std::size_t>(row)], values)) << "row " << row;
        }
        if (!toTheEnd) return;
        EXPECT_FALSE(readRow(opened, &values));
        EXPECT_TRUE(end_) << opened.getError().asCstr();
    }

    // Reads by either form.
    bool readRow(KtWorkTableFile& opened, std::vector<KtbDatavar>* values) {
        if (random_.chance(50)) return opened.readRow(values->data(), &end_);
        pointers_.clear();
        for (KtbDatavar& value : *values) pointers_.push_back(&value);
        return opened.readRow(pointers_.data(), &end_);
    }

    static ::testing::AssertionResult isRow(const TableView& view, const Row& stored, const std::vector<KtbDatavar>& values) {
        for (std::size_t i = 0; i < view.slots.size(); ++i) {
            const TableView::Slot& slot = view.slots[i];
            const Value& expected = slot.column < 0 ? slot.constant : stored[static_cast<std::size_t>(slot.column)];
            if (expected.equals(values[i])) continue;
            return ::testing::AssertionFailure() << "slot " << i << " holds " << ::testing::PrintToString(Value(values[i]))
                                                 << ", not " << ::testing::PrintToString(expected);
        }
        return ::testing::AssertionSuccess();
    }

    KtWorkTableManager& manager_;
    const TableModel& table_;
    const std::string name_;
    Random& random_;
    RandomTable make_;
    std::vector<long> range_;  // none, or first row and row count
    bool reversed_ = false;
    bool end_ = false;
    std::string how_;
    TableView view_;
    KtbString error_;
    std::vector<KtbDatavar*> pointers_;
};

// How many random tables a test makes: fewer where every instruction is watched.
constexpr int scaled(int tables) { return KTWT_TESTS_SANITIZED ? tables / 4 : tables; }

#endif
