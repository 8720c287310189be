// docs/format.md is enough to write a reader: read_table.py, which knows nothing else, reads what the library reads.
#include <cstdlib>
#include <cstring>

#include "docs/page.h"
#include "table/table_fixture.h"
#include "table/table_model.h"

namespace {

std::string hex(const std::string& bytes) {
    std::string digits;
    char buffer[4];
    for (const char byte : bytes) {
        std::snprintf(buffer, sizeof buffer, "%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
        digits += buffer;
    }
    return digits;
}

std::string hexOf(double number) {
    unsigned long bits = 0;
    std::memcpy(&bits, &number, sizeof bits);
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%016lx", bits);
    return buffer;
}

// As the other reader shows it.
std::string shown(const KtbDatavar& value) {
    if (value.isNull()) return "null";
    const std::string type = ktbTypeToString(value.type());
    if (value.type() == ktbTypeString) return type + " " + hex(bytesOf(value.asString()));
    return type + " " + (value.type() == ktbTypeDate ? hexOf(value.asDouble(nullptr)) : bytesOf(value.asString()));
}

std::string joined(const std::vector<std::string>& parts) {
    std::string line;
    for (std::size_t i = 0; i < parts.size(); ++i) line += (i > 0 ? "\t" : "") + parts[i];
    return line + "\n";
}

class ReaderTest : public TableTest {
protected:
    void SetUp() override {
        if (std::strlen(PYTHON) == 0) GTEST_SKIP() << "there is no python3";
    }

    // Creates, fills and closes a random table, and remembers its name.
    void write(Random* random) {
        RandomTable make(random);
        const TableModel model = make.empty();
        ASSERT_TRUE(tryMakeTable(static_cast<int>(model.columns.size()), model.elementSize)) << error_.asCstr();
        for (std::size_t c = 0; c < model.columns.size(); ++c) {
            const ModelColumn& column = model.columns[c];
            ASSERT_TRUE(define(static_cast<int>(c), {column.name, column.defined, column.width})) << tableError();
        }
        for (std::size_t rows = make.rowCount(model.elementSize); rows != 0; --rows) row(make.row(model));
        finish();
        names_.push_back(name_);
    }

    // What the library reads of all tables, as the other reader shows it.
    std::string readHere(bool reversed) {
        std::string text;
        for (const std::string& name : names_) {
            name_ = name;
            EXPECT_TRUE(reopen({{}, reversed})) << error_.asCstr();
            std::vector<std::string> parts;
            for (const ColumnInfo& column : columnsOf(*table_)) parts.push_back(hex(column.name));
            text += joined(parts);
            for (const Row& values : rowsRead()) {
                parts.clear();
                for (const Value& value : values) parts.push_back(shown(value.variant()));
                text += joined(parts);
            }
        }
        return text;
    }

    std::string readThere(bool reversed) {
        std::string command = std::string(PYTHON) + " " + KTWT_SOURCE_DIR + "/tests/docs/read_table.py";
        command += (reversed ? " --reversed " : " ") + bytesOf(manager_->getDirectories());
        for (const std::string& name : names_) command += " " + name;
        const std::string output = temp_.file("output");
        EXPECT_EQ(std::system((command + " > " + output).c_str()), 0);
        return readFile(output);
    }

    std::vector<std::string> names_;
};

TEST_F(ReaderTest, AReaderThatKnowsOnlyThePageReadsWhatTheLibraryReads) {
    useDirectories({"a", "b"});
    Random random(20261120);
    for (int i = 0; i < 60 && !HasFatalFailure(); ++i) write(&random);
    EXPECT_GT(readHere(false).size(), 10000U);
    EXPECT_EQ(readThere(false), readHere(false));
    EXPECT_EQ(readThere(true), readHere(true));
    for (const std::string& name : names_) table_files::reverseByteOrder(directories_, name, std::endian::native);
    EXPECT_EQ(readThere(false), readHere(false));
    EXPECT_EQ(readThere(true), readHere(true));
}

}  // namespace
