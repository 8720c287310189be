// Files that were damaged, cut off or made up: every one is answered with rows or with a message, never with a crash, and never
// with more memory than the files justify. Begins with the golden table, in both byte orders.
#include <random>

#include "counted_new.h"
#include "format_fixture.h"
#include "patch.h"
#include "support/golden.h"

using images::Order;

namespace {

constexpr unsigned char damagedBytes[] = {0x00, 0x7f, 0x80, 0xff};
constexpr unsigned char damagedFlags[] = {0x00, 0x05, 0x7f, 0x80, 0xff};
constexpr int rowCount = 6;
constexpr int columnCount = 7;

class DamageTest : public FormatFixture, public testing::WithParamInterface<Order> {
protected:
    void SetUp() override {
        place("header", "ktwt_t");
        place("data-0", "ktwte_00000000000000000000");
        place("index-0", "ktwtei_00000000000000000000");
        place("data-1", "ktwte_11111111111111111111");
        place("index-1", "ktwtei_11111111111111111111");
        KTWTFileImpl whole(manager_.get());
        ASSERT_TRUE(openAll(whole, "ktwt_t")) << whole.getError().asCstr();
        Row row(columnCount);
        bool end = false;
        while (whole.readRow(row.values(), &end)) rows_.push_back(row.texts());
        ASSERT_EQ(rows_.size(), static_cast<std::size_t>(rowCount));
    }

    void place(const std::string& name, const std::string& file) {
        put(file, golden::read("table-" + name + "." + images::orderName(GetParam())));
    }

    // How a reader goes through the table.
    struct Way {
        std::vector<int> columns;  // none: all of them
        bool reversed;
    };
    static std::vector<Way> ways() { return {{{}, false}, {{}, true}, {{0}, false}, {{4, 1}, true}}; }

    static bool open(KTWTFileImpl& table, Way way) {
        const int count = way.columns.empty() ? -1 : static_cast<int>(way.columns.size());
        return table.open(KtbString("ktwt_t"), count, way.columns.data(), nullptr, way.reversed);
    }

    // Reads as far as the table goes; the rows, then "end" or the message. At most a few more rows than there are.
    std::vector<Texts> read(const Way& way) {
        KTWTFileImpl table(manager_.get());
        std::vector<Texts> result;
        if (!open(table, way)) return {{table.getError().asCstr()}};
        const int slots = table.getColumns();
        EXPECT_LE(slots, columnCount);
        Row row(static_cast<std::size_t>(std::max(slots, 1)));
        bool end = false;
        while (result.size() < rowCount + 5 && table.readRow(row.values(), &end)) result.push_back(row.texts());
        result.push_back({end ? "end" : table.getError().asCstr()});
        return result;
    }

    // Reads in every way and checks that it ends well or with a message, and in little memory.
    void readInEveryWay(const std::string& what) {
        for (const Way& way : ways()) {
            counted_new::restart();
            const std::vector<Texts> seen = read(way);
            ASSERT_FALSE(seen.back().front().empty()) << what;
            ASSERT_LE(counted_new::largest(), 65537u) << what;
            ASSERT_LE(counted_new::total(), 1024u * 1024) << what;
        }
    }

    // The rows that a reader sees who goes through the whole table in that way.
    std::vector<Texts> expectedRows(const Way& way) const {
        std::vector<Texts> result;
        for (const Texts& row : rows_) {
            Texts chosen;
            for (const int column : way.columns) chosen.push_back(row[static_cast<std::size_t>(column)]);
            result.push_back(way.columns.empty() ? row : chosen);
        }
        if (way.reversed) std::reverse(result.begin(), result.end());
        return result;
    }

    static std::string numberOf(const std::string& message) { return message.substr(0, message.find(':')); }

    std::vector<Texts> rows_;
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(, DamageTest, testing::Values(Order::ours, Order::other),
                         [](const auto& order) { return std::string(order.param == Order::ours ? "Ours" : "Other"); });

TEST_P(DamageTest, AHeaderCutAtAnyByteIsRefused) {
    const std::string bytes = get("ktwt_t");
    const Patch header(directory_.file("ktwt_t"));
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        header.restore();
        header.cut(size);
        KTWTFileImpl table(manager_.get());
        ASSERT_FALSE(open(table, {{}, false})) << size;
        const std::string message = table.getError().asCstr();
        const bool label = size == 32;  // all of the fixed part, and nothing of the label
        EXPECT_EQ(numberOf(message), size < 32 ? "KTWT-1773" : label ? "KTWT-1787" : "KTWT-1301") << size;
        EXPECT_EQ(log_.last().text, message);
    }
    header.restore();
    EXPECT_EQ(read({{}, false}).size(), rows_.size() + 1);
}

TEST_P(DamageTest, AHeaderWithAnyByteChangedDoesNoHarm) {
    const Patch header(directory_.file("ktwt_t"));
    for (std::size_t offset = 0; offset < header.size(); ++offset) {
        for (const unsigned char byte : damagedBytes) {
            header.put(offset, byte);
            ASSERT_NO_FATAL_FAILURE(readInEveryWay(std::to_string(offset) + " " + std::to_string(byte)));
        }
        header.restore();
    }
}

TEST_P(DamageTest, AHeaderOfRandomNumbersDoesNoHarm) {
    const Patch header(directory_.file("ktwt_t"));
    for (unsigned seed = 1; seed <= 400; ++seed) {
        std::mt19937 random(seed);
        for (auto changes = 1 + random() % 8; changes > 0; --changes) {
            header.put(random() % header.size(), static_cast<unsigned char>(random()));
        }
        ASSERT_NO_FATAL_FAILURE(readInEveryWay("seed " + std::to_string(seed)));
        header.restore();
    }
}

// A damaged header may still open for appending. Whatever becomes of it, no close and no destructor removes the table, and the
// data files stay as they are as long as no row is written.
TEST_P(DamageTest, AppendingNothingToADamagedTableLeavesItsRows) {
    const std::string bytes = get("ktwt_t");
    const Texts names = directory_.names();
    const std::string data = get("ktwte_11111111111111111111");
    const Patch header(directory_.file("ktwt_t"));
    for (std::size_t offset = 0; offset < bytes.size(); ++offset) {
        for (const unsigned char byte : damagedBytes) {
            std::string damaged = bytes;
            damaged[offset] = static_cast<char>(byte);
            header.put(offset, byte);
            {
                KTWTFileImpl table(manager_.get());
                const bool opened = openForAppending(table, "ktwt_t");
                EXPECT_EQ(opened, table.getError().length() == 0) << offset << " " << int{byte};
                EXPECT_FALSE(opened && GetParam() == Order::other) << "tables of the other byte order take no rows";
                EXPECT_TRUE(table.close()) << offset << " " << int{byte} << ": " << table.getError().asCstr();
                if (!opened) {
                    EXPECT_EQ(get("ktwt_t"), damaged);
                }
            }
            ASSERT_EQ(directory_.names(), names) << offset << " " << int{byte};
            header.restore();
        }
    }
    EXPECT_EQ(get("ktwte_11111111111111111111"), data);
}

TEST_P(DamageTest, ADataFileCutAtAnyByteGivesTheRowsBeforeTheCut) {
    const std::string bytes = get("ktwte_11111111111111111111");
    const std::string index = get("ktwtei_11111111111111111111");
    const auto second = static_cast<std::size_t>(images::numberAt<std::int64_t>(index, 8, GetParam()));
    const Patch data(directory_.file("ktwte_11111111111111111111"));
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        data.restore();
        data.cut(size);
        std::vector<Texts> expected = rows_;
        expected.resize(size < second ? 4 : 5);
        const std::vector<Texts> seen = read({{}, false});
        ASSERT_EQ(seen.size(), expected.size() + 1) << size;
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), seen.begin())) << size;
        EXPECT_EQ(numberOf(seen.back().front()), "KTWT-1301") << size;
        EXPECT_NE(seen.back().front().find("column"), std::string::npos);
        EXPECT_EQ(read({{}, true}).size(), 1u) << "the row that was cut is the first backwards";
    }
}

TEST_P(DamageTest, AnIndexFileCutAtAnyByteGivesRowsOrAMessage) {
    const std::string bytes = get("ktwtei_00000000000000000000");
    const Patch index(directory_.file("ktwtei_00000000000000000000"));
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        index.restore();
        index.cut(size);
        for (const Way& way : ways()) {
            const std::vector<Texts> expected = expectedRows(way);
            const std::vector<Texts> seen = read(way);
            for (std::size_t i = 0; i + 1 < seen.size(); ++i) EXPECT_EQ(seen[i], expected[i]) << size;
            if (way.reversed) {
                EXPECT_EQ(seen.size(), 3u) << size;  // the second element's rows
                EXPECT_NE(seen.back().front().find("row offset"), std::string::npos) << seen.back().front();
            } else if (way.columns.empty()) {
                EXPECT_EQ(seen.size(), size < 8 ? 1u : 7u) << size;  // whole rows need the first entry only
            } else {
                // The row before the entry that is cut has been decoded, but cannot be left.
                EXPECT_EQ(seen.size(), size < 16 ? 1u : size / 8) << size;
                EXPECT_NE(seen.back().front().find(size < 8 ? "column" : "column position"), std::string::npos);
            }
        }
    }
}

TEST_P(DamageTest, ADataFileWithAnyByteChangedDoesNoHarm) {
    for (const char* name : {"ktwte_00000000000000000000", "ktwte_11111111111111111111"}) {
        const Patch data(directory_.file(name));
        for (std::size_t offset = 0; offset < data.size(); ++offset) {
            // The texts are long; what stands inside of them is only text.
            if (offset % 16 != 0 && readFile(directory_.file(name))[offset] == 'x') continue;
            for (const unsigned char byte : damagedFlags) {
                data.put(offset, byte);
                ASSERT_NO_FATAL_FAILURE(readInEveryWay(name + std::to_string(offset) + " " + std::to_string(byte)));
            }
            data.restore();
        }
    }
}

TEST_P(DamageTest, AnIndexFileWithAnyByteChangedDoesNoHarm) {
    for (const char* name : {"ktwtei_00000000000000000000", "ktwtei_11111111111111111111"}) {
        const Patch index(directory_.file(name));
        for (std::size_t offset = 0; offset < index.size(); ++offset) {
            for (const unsigned char byte : damagedBytes) {
                index.put(offset, byte);
                ASSERT_NO_FATAL_FAILURE(readInEveryWay(name + std::to_string(offset) + " " + std::to_string(byte)));
            }
            index.restore();
        }
    }
}

TEST_P(DamageTest, FilesOfRandomBytesDoNoHarm) {
    const Texts names = {"ktwte_00000000000000000000", "ktwtei_00000000000000000000", "ktwte_11111111111111111111",
                         "ktwtei_11111111111111111111"};
    std::vector<std::unique_ptr<Patch>> files;
    for (const std::string& name : names) files.push_back(std::make_unique<Patch>(directory_.file(name)));
    for (unsigned seed = 1; seed <= 1000; ++seed) {
        std::mt19937 random(seed);
        for (const auto& file : files) {
            std::string bytes(random() % 400, '\0');
            // Flags and small numbers, so that decoding goes on for a while.
            for (char& byte : bytes) byte = static_cast<char>(random() % 4 != 0 ? random() % 6 : random());
            file->replace(bytes);
        }
        ASSERT_NO_FATAL_FAILURE(readInEveryWay("seed " + std::to_string(seed)));
    }
}

TEST_P(DamageTest, AMissingFileOfAnElementIsReportedWhenReadingComesToIt) {
    std::filesystem::remove(directory_.file("ktwte_11111111111111111111"));
    std::vector<Texts> seen = read({{}, false});
    ASSERT_EQ(seen.size(), 5u);
    EXPECT_NE(seen.back().front().find(directory_.file("ktwte_11111111111111111111")), std::string::npos);
    EXPECT_EQ(numberOf(seen.back().front()), "KTWT-1353");
    EXPECT_EQ(read({{}, true}).size(), 1u);
    std::filesystem::remove(directory_.file("ktwtei_00000000000000000000"));
    seen = read({{}, false});
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(numberOf(seen.back().front()), "KTWT-1353");
}

// A header that promises enormous texts gets a buffer of what the data files could hold.
TEST_P(DamageTest, APromiseOfLongTextsIsBoundedByTheDataFiles) {
    std::string bytes = get("ktwt_t");
    bytes.replace(0x83, 4, images::number(std::int32_t{0x7fffffff}, GetParam()));
    put("ktwt_t", bytes);
    counted_new::restart();
    KTWTFileImpl small(manager_.get());
    ASSERT_TRUE(open(small, {{}, false}));
    EXPECT_LE(small.getStringBufferSize(), 64 * 1024);
    EXPECT_LE(counted_new::total(), 200u * 1024);
    const std::string data = get("ktwte_11111111111111111111");
    put("ktwte_11111111111111111111", data + std::string(100000, '\0'));
    KTWTFileImpl larger(manager_.get());
    ASSERT_TRUE(open(larger, {{}, false}));
    EXPECT_EQ(larger.getStringBufferSize(), static_cast<long>(data.size()) + 100000);
}
