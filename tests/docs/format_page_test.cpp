// docs/format.md: the files of its worked example are those that the library writes, and are read as the page says.
#include <bit>

#include "docs/page.h"
#include "format/dissector.h"
#include "support/golden.h"
#include "table/table_fixture.h"

namespace {

// The names in the page, where the library has random letters and digits.
const std::string headerName = "ktwt_" + std::string(20, 'a');
const std::string dataName = "ktwte_" + std::string(20, 'a') + "_" + std::string(20, 'b');
const std::string indexName = "ktwtei_" + std::string(20, 'a') + "_" + std::string(20, 'c');

// A file of the page.
struct Shown {
    std::string title;
    std::string bytes;
};

Shown shown(const std::string& title) {
    const std::string text = page::blockThatBegins("format.md", "# " + title);
    Shown result = {title, ""};
    EXPECT_TRUE(golden::parse(text, &result.bytes)) << title << " is not of the form of bytes after " << result.bytes.size();
    return result;
}

class FormatPageTest : public TableTest {
protected:
    void SetUp() override {
        if (std::endian::native != std::endian::little) GTEST_SKIP() << "the page shows files of a little-endian machine";
    }

    void writeTable() {
        makeTable({{"capital", ktbTypeBoolean},
                   {"people", ktbTypeInteger},
                   {"area", ktbTypeDecimal},
                   {"counted", ktbTypeDate},
                   {"city", ktbTypeString, 6}});
        row({true, 3755251, decimal("891.12"), date("2023-12-31"), "Berlin"});
        row({nullptr, nullptr, "unknown", nullptr, "Atlantis"});
        finish();
    }

    // The bytes with the names of the page.
    std::string withShownNames(std::string bytes) const {
        const table_files::Element element = header().elements.at(0);
        bytes = page::replaced(std::move(bytes), table_files::plain(element.data), dataName);
        return page::replaced(std::move(bytes), table_files::plain(element.index), indexName);
    }

    // Compared as text, so that what is missing in the page can be taken from the message.
    void expectShown(const Shown& file, const std::string& written, const std::vector<golden::Field>& fields) const {
        EXPECT_EQ(file.bytes, written) << golden::format(file.title, written, fields);
    }
};

TEST_F(FormatPageTest, TheFilesOfTheExampleAreThoseThatAreWritten) {
    writeTable();
    const std::string writtenHeader = withShownNames(readFile(path(name_)));
    const std::string data = readFile(dataPath(0));
    const std::string index = readFile(indexPath(0));
    expectShown(shown("The header file " + headerName), writtenHeader,
                images::Dissector(writtenHeader, images::Order::ours).header());
    expectShown(shown("The data file " + dataName), data,
                images::Dissector(data, images::Order::ours).data({"capital", "people", "area", "counted", "city"}));
    expectShown(shown("The index file " + indexName), index, images::Dissector(index, images::Order::ours).index());
}

TEST_F(FormatPageTest, TheFilesOfTheExampleAreReadAsThePageSays) {
    writeFile(temp_.file("work/" + headerName), shown("The header file " + headerName).bytes);
    writeFile(temp_.file("work/" + dataName), shown("The data file " + dataName).bytes);
    writeFile(temp_.file("work/" + indexName), shown("The index file " + indexName).bytes);
    ASSERT_TRUE(openText(headerName)) << error_.asCstr();
    const Row berlin = {true, 3755251, decimal("891.12"), date("2023-12-31"), "Berlin"};
    const Row atlantis = {nullptr, nullptr, nullptr, nullptr, "Atlant"};
    EXPECT_EQ(rowsRead(), (Rows{berlin, atlantis}));
    ASSERT_TRUE(openText(headerName, true)) << error_.asCstr();
    EXPECT_EQ(rowsRead(), (Rows{atlantis, berlin}));
    name_ = headerName;
    EXPECT_EQ(columnsOf(*table_).at(4), (ColumnInfo{"city", ktbTypeString, 6, 7}));
}

}  // namespace
