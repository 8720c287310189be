// Row ranges for parallel readers, compared with a model that deals rows out one at a time.
#include "table/table_check.h"
#include "table/table_fixture.h"

namespace {

using Counts = std::vector<long>;
using Pairs = std::vector<std::pair<long, long>>;

// Rows dealt out to `hands`, one at a time in turn.
Counts dealt(long rows, int hands) {
    Counts result(static_cast<std::size_t>(hands));
    for (long i = 0; i < rows; ++i) ++result[static_cast<std::size_t>(i) % result.size()];
    return result;
}

Pairs runningOn(const Counts& sizes) {
    Pairs pairs;
    long start = 0;
    for (const long size : sizes) {
        pairs.emplace_back(start, size);
        start += size;
    }
    return pairs;
}

// What the parts of a table with these rows in its elements are.
Pairs model(long rows, const Counts& elements, int parts) {
    const int count = static_cast<int>(elements.size());
    if (parts < 1) return {};
    if (parts == 1) return {{0, rows}};
    if (parts >= rows) return runningOn(Counts(static_cast<std::size_t>(rows), 1));
    if (count <= 1 || parts < count) return runningOn(dealt(rows, parts));
    Counts sizes;
    for (const long element : elements) {
        const Counts hands = dealt(element, parts / count);
        sizes.insert(sizes.end(), hands.begin(), hands.end());
    }
    return runningOn(sizes);
}

class PartitionTest : public TableTest {
protected:
    static constexpr long untouched = -77;

    // A header that tells of these elements. Nobody opens them: ranges are counted, not read.
    void tellOf(long rows, const Counts& elementRows) {
        table_files::Header told = template_;
        told.rows = rows;
        for (const long each : elementRows)
            told.elements.push_back({each, std::string("ktwte_x", 8), std::string("ktwtei_x", 9)});
        changeHeader(told);
    }

    Pairs partition(int parts) {
        std::vector<long> ranges(2 * static_cast<std::size_t>(std::max(parts, 0)) + 2, untouched);
        int count = parts;
        EXPECT_TRUE(manager_->partition(ktb(name_), &count, ranges.data(), &error_)) << error_.asCstr();
        EXPECT_LE(count, std::max(parts, 0));
        Pairs pairs;
        for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) pairs.emplace_back(ranges[2 * i], ranges[2 * i + 1]);
        for (std::size_t i = 2 * pairs.size(); i < ranges.size(); ++i) EXPECT_EQ(ranges[i], untouched);
        return pairs;
    }

    void compareAll(const Counts& elementRows, long rows) {
        tellOf(rows, elementRows);
        for (int parts = 0; parts <= 14; ++parts) {
            ASSERT_EQ(partition(parts), model(rows, elementRows, parts))
                << parts << " parts of " << testing::PrintToString(elementRows) << ", " << rows << " rows";
        }
    }

    // Every way to put `rows` rows into the elements from `element` on.
    void compareDistributions(Counts* elementRows, std::size_t element, long rows, long total) {
        if (element + 1 >= elementRows->size()) {
            if (!elementRows->empty()) elementRows->back() = rows;
            return compareAll(*elementRows, total);
        }
        for (long here = 0; here <= rows && !HasFatalFailure(); ++here) {
            (*elementRows)[element] = here;
            compareDistributions(elementRows, element + 1, rows - here, total);
        }
    }

    void SetUp() override {
        makeRows(0);
        template_ = header();
    }

    table_files::Header template_;
};

TEST_F(PartitionTest, RowsOfOneElementAreSplitEvenly) {
    tellOf(10, {10});
    EXPECT_EQ(partition(3), (Pairs{{0, 4}, {4, 3}, {7, 3}}));
    EXPECT_EQ(partition(-5), Pairs());
    Pairs single;
    for (long i = 0; i < 10; ++i) single.emplace_back(i, 1);
    EXPECT_EQ(partition(20), single);
    EXPECT_EQ(partition(10), single);
}

TEST_F(PartitionTest, ATableWithoutRowsHasOnePartOrNone) {
    EXPECT_EQ(partition(1), (Pairs{{0, 0}}));
    EXPECT_EQ(partition(2), Pairs());
    EXPECT_EQ(partition(0), Pairs());
}

TEST_F(PartitionTest, PartsKeepToElements) {
    tellOf(10, {4, 4, 2});
    EXPECT_EQ(partition(3), (Pairs{{0, 4}, {4, 4}, {8, 2}}));
    EXPECT_EQ(partition(4), (Pairs{{0, 4}, {4, 4}, {8, 2}}));
    EXPECT_EQ(partition(7), (Pairs{{0, 2}, {2, 2}, {4, 2}, {6, 2}, {8, 1}, {9, 1}}));
    EXPECT_EQ(partition(2), (Pairs{{0, 5}, {5, 5}}));
}

TEST_F(PartitionTest, EveryDistributionOfAFewRowsOverAFewElements) {
    for (std::size_t elementCount = 0; elementCount <= 3; ++elementCount) {
        for (long rows = 0; rows <= 12 && !HasFatalFailure(); ++rows) {
            Counts elementRows(elementCount);
            compareDistributions(&elementRows, 0, rows, rows);
        }
    }
}

TEST_F(PartitionTest, RandomDistributionsOverMoreElements) {
    Random random(13);
    for (std::size_t elementCount = 4; elementCount <= 5; ++elementCount) {
        for (long rows = 0; rows <= 12 && !HasFatalFailure(); ++rows) {
            for (int i = 0; i < 12; ++i) {
                Counts elementRows(elementCount);
                for (long r = 0; r < rows; ++r) ++elementRows[random.below(elementCount)];
                compareAll(elementRows, rows);
            }
        }
    }
}

// Nothing is read or written out of bounds, and no sum overflows.
TEST_F(PartitionTest, ADamagedHeaderGivesSomeRanges) {
    constexpr long most = std::numeric_limits<long>::max();
    constexpr long least = std::numeric_limits<long>::min();
    const std::vector<std::pair<long, Counts>> headers = {
        {most, {most, most, most}}, {most, {least, -1}}, {least, {5, 5}}, {-1, {}}, {20, {}}};
    for (const auto& [rows, elementRows] : headers) {
        tellOf(rows, elementRows);
        for (int parts = 0; parts <= 14; ++parts) {
            for (const auto& [first, count] : partition(parts)) EXPECT_TRUE(first >= 0 && count >= 0) << first << ' ' << count;
        }
    }
}

TEST_F(PartitionTest, PartsReadTogetherGiveEveryRowOnce) {
    makeRows(100, 200);
    ASSERT_GT(elements(), 5u);
    for (const int parts : {1, 2, 7, 40, 99, 1000}) {
        Rows rows;
        for (const auto& [first, count] : partition(parts)) {
            ASSERT_TRUE(reopen({.range = {first, count}}));
            const Rows part = rowsRead();
            rows.insert(rows.end(), part.begin(), part.end());
        }
        EXPECT_EQ(rows, rowNumbers(0, 99));
    }
}

TEST_F(PartitionTest, FailuresAreReported) {
    int parts = 2;
    long ranges[4] = {};
    EXPECT_FALSE(manager_->partition("missing", &parts, ranges, &error_));
    EXPECT_EQ(log_.lastNumber(), 1353);
    EXPECT_EQ(parts, 2);
    const std::string text = "A work table cannot be partitioned without a place for the row ranges.";
    EXPECT_FALSE(manager_->partition(ktb(name_), nullptr, ranges, &error_));
    EXPECT_EQ(bytesOf(error_), text);
    error_ = KtbString();
    EXPECT_FALSE(manager_->partition(ktb(name_), &parts, nullptr, &error_));
    EXPECT_EQ(bytesOf(error_), text);
    parts = 0;
    EXPECT_TRUE(manager_->partition(ktb(name_), &parts, nullptr, &error_));
}

}  // namespace
