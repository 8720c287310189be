// Merges of blocks and of runs, from none to more than two levels of the tree can hold, against std::stable_sort.
#include "sort/row_merge.h"

#include <gtest/gtest.h>

#include "sort/row_layout.h"
#include "sort/row_record.h"
#include "sort/run_file.h"
#include "sort_random.h"
#include "support/temp_directory.h"

namespace {

using namespace sorting;

// A row is a key and where it comes from.
struct Item {
    long key;
    long source;
    long number;  // within its source
    bool operator==(const Item&) const = default;
};

using Source = std::vector<Item>;  // in order
using SortedRun = ::Run;           // the test's own name would hide it

class RowMergeTest : public testing::Test {
protected:
    RowMergeTest() {
        const ktbType types[] = {ktbTypeInteger, ktbTypeInteger, ktbTypeInteger};
        EXPECT_TRUE(layout.setColumns(3, types) && order.setCount(1));
        order.key(0).column = 0;
        order.key(0).type = ktbTypeInteger;
        setKeyBytes(RowRecord::keyBytesMax);
    }

    void setKeyBytes(std::size_t bytes) { EXPECT_TRUE(layout.settle(order, bytes)); }

    // Sorted sources with few different keys; some sources are empty.
    std::vector<Source> randomSources(Random& random, std::size_t count) {
        std::vector<Source> sources(count);
        for (std::size_t i = 0; i < count; ++i) {
            std::vector<long> keys(random.oneIn(4) ? 0 : random.below(8));
            for (long& key : keys) key = static_cast<long>(random.below(6)) - 3;
            std::sort(keys.begin(), keys.end());
            for (const long key : keys) sources[i].push_back({key, static_cast<long>(i), static_cast<long>(sources[i].size())});
        }
        return sources;
    }

    const unsigned char* recordOf(const Item& item) {
        const KtbDatavar values[] = {valueOf(item.key), valueOf(item.source), valueOf(item.number)};
        EXPECT_EQ(layout.encode(order, values, &record), RowFit::whole);
        return record.data();
    }

    Source read(RowMerge* merge) {
        for (std::size_t i = 0; i < merge->sources(); ++i) EXPECT_TRUE(merge->begin(i));
        Source items;
        KtbDatavar values[3];
        for (const unsigned char* row = nullptr;;) {
            EXPECT_TRUE(merge->next(&row));
            if (row == nullptr) break;
            EXPECT_TRUE(layout.decode(row, values));
            items.push_back({values[0].asInt64(nullptr), values[1].asInt64(nullptr), values[2].asInt64(nullptr)});
        }
        const unsigned char* row = nullptr;
        EXPECT_TRUE(merge->next(&row));
        EXPECT_EQ(row, nullptr) << "after the end";
        return items;
    }

    std::unique_ptr<BlockMerge> mergeOf(const std::vector<std::unique_ptr<RowBlock>>& blocks) {
        std::unique_ptr<BlockMerge> merge = BlockMerge::make(order, blocks.size());
        for (std::size_t i = 0; i < blocks.size(); ++i) merge->setSource(i, *blocks[i]);
        return merge;
    }

    Source mergedBlocks(const std::vector<Source>& sources) {
        std::vector<std::unique_ptr<RowBlock>> blocks;
        for (const Source& source : sources) {
            blocks.push_back(RowBlock::make(4096));
            for (const Item& item : source) {
                const unsigned char* row = recordOf(item);
                EXPECT_TRUE(blocks.back()->add(row, RowRecord::bytes(row)));
            }
            blocks.back()->sort(order);
        }
        return read(mergeOf(blocks).get());
    }

    Source mergedRuns(const std::vector<Source>& sources) {
        constexpr std::size_t chunkBytes = 64;
        ChunkStore store;
        store.setChunkBytes(chunkBytes);
        RunWriter writer(store);
        EXPECT_TRUE(store.setDirectories(directory.path().c_str()) && writer.prepare(chunkBytes));
        std::vector<SortedRun> runs;
        for (const Source& source : sources) {
            EXPECT_TRUE(writer.begin());
            for (const Item& item : source) EXPECT_TRUE(writer.put(recordOf(item)));
            EXPECT_TRUE(writer.finish(&runs.emplace_back()));
        }
        return read(RunMerge::make(order, store, runs.data(), runs.size(), chunkBytes).get());
    }

    static Source model(const std::vector<Source>& sources) {
        Source items;
        for (const Source& source : sources) items.insert(items.end(), source.begin(), source.end());
        std::stable_sort(items.begin(), items.end(), [](const Item& left, const Item& right) { return left.key < right.key; });
        return items;
    }

    TempDirectory directory;
    RowOrder order;
    RowLayout layout;
    ByteBuffer record;
};

TEST_F(RowMergeTest, MergesAnyNumberOfSourcesAndTiesGoToTheLower) {
    Random random(1);
    for (const std::size_t keyBytes : {RowRecord::keyBytesMax, std::size_t{1}, std::size_t{0}}) {
        setKeyBytes(keyBytes);
        for (std::size_t count = 0; count <= 33; ++count) {
            for (int round = 0; round < 5; ++round) {
                const std::vector<Source> sources = randomSources(random, count);
                ASSERT_EQ(mergedBlocks(sources), model(sources)) << count << " blocks, keys of " << keyBytes << " bytes";
                ASSERT_EQ(mergedRuns(sources), model(sources)) << count << " runs, keys of " << keyBytes << " bytes";
            }
        }
    }
}

TEST_F(RowMergeTest, EqualRowsComeSourceBySource) {
    std::vector<Source> sources(17);
    for (long i = 0; i < 17; ++i) sources[static_cast<std::size_t>(i)] = {{5, i, 0}, {5, i, 1}};
    EXPECT_EQ(mergedBlocks(sources), model(sources));
    EXPECT_EQ(mergedRuns(sources), model(sources));
}

// A key of nothing but ff bytes looks like what stands for the end of a source.
TEST_F(RowMergeTest, TheGreatestKeyIsNotTakenForTheEnd) {
    order.key(0).descending = true;
    KtbDatavar none = nullOf(ktbTypeInteger);
    std::vector<std::unique_ptr<RowBlock>> blocks;
    for (int i = 0; i < 3; ++i) {
        blocks.push_back(RowBlock::make(4096));
        if (i == 1) continue;
        const KtbDatavar values[] = {none, valueOf(static_cast<long>(i)), valueOf(0L)};
        ASSERT_EQ(layout.encode(order, values, &record), RowFit::whole);
        ASSERT_TRUE(blocks.back()->add(record.data(), record.size()));
        blocks.back()->sort(order);
    }
    const std::unique_ptr<BlockMerge> merge = mergeOf(blocks);
    const Source items = read(merge.get());
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(items[0].source, 0);
    EXPECT_EQ(items[1].source, 2);
}

}  // namespace
