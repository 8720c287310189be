// Random sorts, three ways: by encoded keys, value by value, and by the model; and the same rows again with other memory,
// chunks and threads. Whatever differs is a fault.
#include <gtest/gtest.h>

#include "sort_model.h"
#include "sort_random.h"
#include "support/temp_directory.h"

namespace {

using namespace sorting;

// Counts what it is told, and sees that it can be true.
class CountingProgress : public KtDatafileSortProgress {
public:
    bool report(int phase, long rowsDone, long rowsExpected) override {
        ++reports;
        EXPECT_TRUE(phase >= ktSortFilling && phase <= ktSortDelivering) << phase;
        EXPECT_GE(rowsDone, 0);
        if (phase != ktSortFilling) {
            EXPECT_LE(rowsDone, rowsExpected) << "in phase " << phase;
        }
        return true;
    }

    long reports = 0;
};

struct Case {
    Description description;
    Rows rows;
    bool noDups;
    bool markByGroups;
    bool stable;
    bool hasLargeRows;
};

Case randomCase(Random& random, const std::vector<const char*>& locales) {
    Case result;
    result.description = randomDescription(random, locales);
    result.rows = randomRows(random, result.description, random.below(random.oneIn(4) ? 400 : 60));
    result.noDups = random.oneIn(3);
    result.markByGroups = random.oneIn(2);
    result.stable = random.oneIn(2);
    result.hasLargeRows = random.oneIn(6) && !result.rows.empty();
    for (std::size_t i = result.hasLargeRows ? random.between(1, 4) : 0; i > 0; --i) {
        Row& row = result.rows[random.below(result.rows.size())];
        row[random.below(row.size())] = largeText(random, random.oneOf<std::size_t>({200, 2000, 9000, 30000}));
    }
    return result;
}

void setFlags(const Case& what, KtDatafileSortSettings* settings) {
    settings->noDups = what.noDups;
    settings->markByGroups = what.markByGroups;
    settings->stable = what.stable;
    settings->records = what.rows.size();
}

void expectCounts(const Case& what, const Model& model, const KtDatafileSortInfo& info) {
    const auto rowsIn = static_cast<long>(what.rows.size());
    const auto rowsOut = static_cast<long>(model.rows.size());
    EXPECT_EQ(info.rowsIn, rowsIn);
    EXPECT_EQ(info.rowsOut, rowsOut);
    EXPECT_EQ(info.duplicates, rowsIn - rowsOut);
    EXPECT_EQ(info.groups, what.markByGroups ? model.groups : 0);
    EXPECT_EQ(info.stable, what.stable);
    EXPECT_EQ(info.runs > 0, info.bytesSpilled > 0);
    EXPECT_EQ(info.runs > 0, info.mergePasses > 0);
    EXPECT_GT(info.peakMemory, 0);
    if (!what.hasLargeRows) {
        EXPECT_LE(info.peakMemory, info.budget);
    }
}

void expectModel(const Case& what, const Model& model, const Sorted& sorted) {
    ASSERT_EQ(sorted.status, ktSortEnd) << sorted.error;
    EXPECT_EQ(sorted.error, "");
    expectSame(sorted.rows, model.rows);
    EXPECT_EQ(sorted.starts, what.markByGroups ? model.starts : std::vector<bool>(model.rows.size(), false));
    expectCounts(what, model, sorted.info);
}

RowSortSetup randomSetup(Random& random, const Case& what) {
    const std::size_t budget = random.oneOf<std::size_t>({8192, 8192, 10000, 16384, 65536, 1 << 20});
    RowSortSetup setup = smallSetup(budget, 1 << 20, static_cast<int>(random.between(1, 4)));
    if (random.oneIn(2)) setup.chunkBytes = random.oneOf<std::size_t>({32, 100, 256, 1000});
    if (random.oneIn(2)) setup.blockBytes = random.oneOf<std::size_t>({16, 64, 300, 2048});
    setFlags(what, &setup.settings);
    return setup;
}

class SortPropertyTest : public testing::Test {
protected:
    // Sorts with sizes of the test's choice.
    Sorted sortSmall(const Case& what, RowSortSetup setup, bool noCodeGen) {
        setup.settings.noCodeGen = noCodeGen;
        CountingProgress progress;
        const Sort sort = makeSort(what.description, setup, directory.path());
        Sorted sorted = run(sort.get(), what.rows, what.description.columns.size(), &progress);
        EXPECT_EQ(sorted.info.budget, static_cast<long>(setup.budget));
        EXPECT_EQ(sorted.info.chunkBytes, static_cast<long>(setup.chunkBytes));
        EXPECT_EQ(sorted.info.threads, setup.threads);
        spilled += sorted.info.runs > 0;
        severalPasses += sorted.info.mergePasses > 1;
        reports += progress.reports;
        ++sorts;
        return sorted;
    }

    // Sorts as callers do.
    Sorted sortWithManager(const Case& what, bool noCodeGen, int processors) {
        KtDatafileSortSettings settings = {};
        setFlags(what, &settings);
        settings.budget = 1 << 20;
        settings.chunkBytes = 4096;
        settings.processors = processors;
        settings.noCodeGen = noCodeGen;
        const Sort sort = makeSort(what.description, settings, directory.path());
        Sorted sorted = run(sort.get(), what.rows, what.description.columns.size());
        spilled += sorted.info.runs > 0;
        ++sorts;
        return sorted;
    }

    TempDirectory directory;
    long sorts = 0;
    long spilled = 0;
    long severalPasses = 0;
    long reports = 0;
};

TEST_F(SortPropertyTest, IsWhatTheModelSaysWhateverTheMemoryTheChunksAndTheThreads) {
    for (unsigned long seed = 1; seed <= 700; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random random(seed);
        const Case what = randomCase(random, {"C.UTF-8"});
        const Model model = modelOf(what.description, what.rows, what.noDups);
        for (const bool noCodeGen : {false, true, false}) {
            expectModel(what, model, sortSmall(what, randomSetup(random, what), noCodeGen));
            if (HasFailure()) return;
        }
    }
    EXPECT_GT(sorts, 2000);
    EXPECT_GT(spilled, sorts / 10);  // else it is the wrong test
    EXPECT_GT(severalPasses, 20);
    EXPECT_GT(reports, 0);
    EXPECT_TRUE(directory.names().empty());
}

TEST_F(SortPropertyTest, IsWhatTheModelSaysThroughTheManager) {
    for (unsigned long seed = 1; seed <= 200; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random random(seed);
        const Case what = randomCase(random, {"C.UTF-8"});
        const Model model = modelOf(what.description, what.rows, what.noDups);
        expectModel(what, model, sortWithManager(what, random.oneIn(2), static_cast<int>(random.between(1, 4))));
        if (HasFailure()) return;
    }
    EXPECT_TRUE(directory.names().empty());
}

// More rows than the least budget that a caller may set.
TEST_F(SortPropertyTest, IsWhatTheModelSaysWhenTheLeastBudgetSpills) {
    for (unsigned long seed = 1; seed <= 4; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random random(seed);
        Case what = {.description = {.columns = {ktbTypeString, ktbTypeInteger, 9, ktbTypeDouble}, .keys = {{0}, {1, true}}},
                     .rows = {},
                     .noDups = random.oneIn(2),
                     .markByGroups = true,
                     .stable = true,
                     .hasLargeRows = true};
        what.rows = randomRows(random, what.description, 3000);
        for (Row& row : what.rows) row[2] = largeText(random, random.below(1500));
        const Model model = modelOf(what.description, what.rows, what.noDups);
        for (const int processors : {1, 3}) expectModel(what, model, sortWithManager(what, false, processors));
        expectModel(what, model, sortWithManager(what, true, 2));
    }
    EXPECT_EQ(spilled, sorts);
}

// Every sequence of up to six rows with three different keys, spilled after nearly every row.
TEST_F(SortPropertyTest, EveryShortSequenceOfRowsIsSortedAndKeepsItsTiesInOrder) {
    Case what = {.description = {.columns = {ktbTypeInteger, ktbTypeString}, .keys = {{0}}},
                 .rows = {},
                 .noDups = false,
                 .markByGroups = true,
                 .stable = false,
                 .hasLargeRows = true};
    for (std::size_t count = 0; count <= 6; ++count) {
        const auto sequences = static_cast<std::size_t>(std::pow(3, count));
        for (std::size_t sequence = 0; sequence < sequences; ++sequence) {
            what.rows.clear();
            for (std::size_t rest = sequence; what.rows.size() < count; rest /= 3) {
                what.rows.push_back({valueOf(static_cast<long>(rest % 3)), valueOf(std::to_string(what.rows.size()))});
            }
            what.noDups = sequence % 2 != 0;
            RowSortSetup setup = smallSetup(160);
            setup.blockBytes = 32;
            setup.chunkBytes = 24;
            setFlags(what, &setup.settings);
            expectModel(what, modelOf(what.description, what.rows, what.noDups), sortSmall(what, setup, sequence % 5 == 0));
            if (HasFailure()) FAIL() << "rows " << count << ", sequence " << sequence;
        }
    }
    EXPECT_GT(severalPasses, 0);
}

}  // namespace
