// Tables for the commands that read them, made through the library: with nulls, and with bytes that no CSV file could bring.
#ifndef TESTS_TOOL_ROWS_FIXTURE_H
#define TESTS_TOOL_ROWS_FIXTURE_H

#include <ktwt/ktwt.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tool/tool_test.h"

struct TestColumn {
    std::string name;
    ktbType type = ktbTypeString;
};

using TestRow = std::vector<std::optional<std::string>>;

inline constexpr std::nullopt_t null = std::nullopt;

class RowsTest : public ToolTest {
protected:
    // Makes a table and returns its name. The texts are converted to the types of their columns.
    std::string make(const std::vector<TestColumn>& columns, const std::vector<TestRow>& rows, long elementSize = 0) {
        KtbString error;
        KtWorkTableManager* const manager = ktwtCreateManager("", tables.path().c_str(), &error);
        if (manager == nullptr) return failed(error);
        KtWorkTableFile* const table = manager->create(static_cast<int>(columns.size()), elementSize, &error);
        const std::string name = table != nullptr ? fill(*table, columns, rows) : failed(error);
        if (table != nullptr) table->release();
        manager->release();
        return name;
    }

    // A table of one integer column "n" that counts from 0 to `rows` - 1, with a few rows in each data element.
    std::string counting(long rows) {
        std::vector<TestRow> numbers;
        for (long i = 0; i < rows; ++i) numbers.push_back({std::to_string(i)});
        return make({{"n", ktbTypeInteger}}, numbers, 20);
    }

    // Three towns: a text, an integer, a decimal, a boolean and a date, each null once, and a text that needs quotes.
    std::string towns() {
        return make(
            {{"city"}, {"people", ktbTypeInteger}, {"area", ktbTypeDecimal}, {"port", ktbTypeBoolean}, {"since", ktbTypeDate}},
            {{"Ulm", "129942", "118.680", "false", null},
             {"Kiel", "252668", null, "true", "1242-01-01"},
             {"He said \"no\", twice", null, "-0.05", null, "2026-11-20T12:30:00.5"},
             {null, "-9223372036854775808", "1e3", "true", null},
             {"", "9223372036854775807", "0", "false", "0001-01-01"}});
    }

    // The files of the work directory that hold rows.
    std::vector<std::string> dataFiles() const { return tables.names("ktwte_"); }

    // Makes the text, which stands somewhere in a table of one data element, longer than its file.
    void damageText(const std::string& text) {
        ASSERT_EQ(dataFiles().size(), 1u);
        const std::string path = tables.file(dataFiles()[0]);
        std::string bytes = readFile(path);
        const std::size_t place = bytes.find(text);
        ASSERT_NE(place, std::string::npos);
        bytes[place - 1] = 127;  // the text's size
        writeFile(path, bytes);
    }

private:
    static std::string failed(const KtbString& error) {
        ADD_FAILURE() << error.asCstr();
        return "no-table";
    }

    static std::string fill(KtWorkTableFile& table, const std::vector<TestColumn>& columns, const std::vector<TestRow>& rows) {
        int number = 0;
        bool done = true;
        for (const TestColumn& column : columns) {
            done = done && table.defineColumnInfo(number++, KtbString(column.name.c_str()), column.type, 0);
        }
        std::vector<KtbDatavar> values(columns.size() + 1);
        for (const TestRow& row : rows) {
            for (std::size_t i = 0; i < row.size(); ++i) values[i].assign(row[i] ? row[i]->c_str() : nullptr);
            done = done && table.writeRow(values.data());
        }
        return done && table.close() ? table.getName().asCstr() : failed(table.getError());
    }
};

#endif
