// Runs on disk: records over the borders of chunks, and what a disk that lies is answered.
#include "sort/run_file.h"

#include <gtest/gtest.h>

#include "run_files.h"
#include "sort/row_record.h"
#include "sort_model.h"
#include "sort_random.h"
#include "support/temp_directory.h"

namespace {

using namespace sorting;

using SortedRun = ::Run;  // a test's own name would hide it

// A record of that many bytes, 8 at least, with contents of its own. Those who move records look at nothing but its size.
std::string recordOf(std::size_t bytes, unsigned seed) {
    std::string record(bytes, '\0');
    for (std::size_t i = RowRecord::headBytes; i < bytes; ++i) record[i] = static_cast<char>(seed * 31 + i * 7);
    RowRecord::setHead(reinterpret_cast<unsigned char*>(record.data()), bytes, 0, false);
    return record;
}

const unsigned char* at(const std::string& bytes) { return reinterpret_cast<const unsigned char*>(bytes.data()); }

class RunFileTest : public testing::Test {
protected:
    void open(std::size_t chunkBytes) {
        chunkBytes_ = chunkBytes;
        store = std::make_unique<ChunkStore>();
        ASSERT_TRUE(store->setDirectories(directory.path().c_str()));
        store->setChunkBytes(chunkBytes);
    }

    SortedRun write(const std::vector<std::string>& records) {
        RunWriter writer(*store);
        EXPECT_TRUE(writer.prepare(chunkBytes_) && writer.begin());
        for (const std::string& record : records) EXPECT_TRUE(writer.put(at(record)));
        SortedRun run;
        EXPECT_TRUE(writer.finish(&run));
        EXPECT_EQ(run.rows, static_cast<long>(records.size()));
        return run;
    }

    // Reads the run to its end, or until it cannot be read.
    bool read(const SortedRun& run, std::vector<std::string>* records) {
        RunReader reader;
        EXPECT_TRUE(reader.open(*store, run, chunkBytes_));
        for (const unsigned char* record = nullptr;;) {
            if (!reader.next(&record)) return false;
            if (record == nullptr) return true;
            records->emplace_back(reinterpret_cast<const char*>(record), RowRecord::bytes(record));
        }
    }

    void expectRoundTrip(const std::vector<std::string>& records) {
        const SortedRun run = write(records);
        std::vector<std::string> back;
        ASSERT_TRUE(read(run, &back)) << store->getError().asCstr();
        ASSERT_EQ(back, records);
    }

    std::string unreadable() const { return "Sorted rows could not be read back from \"" + directory.path() + "\"."; }

    TempDirectory directory;
    std::unique_ptr<ChunkStore> store;
    std::size_t chunkBytes_ = 0;
};

TEST_F(RunFileTest, RecordsOfEverySizeBeginAtEveryOffsetOfAChunk) {
    for (const std::size_t chunkBytes : {17u, 24u, 25u, 48u, 100u}) {
        open(chunkBytes);
        for (std::size_t first = 8; first < 8 + chunkBytes; ++first) {
            for (std::size_t second = 8; second < 3 * chunkBytes; second += 5) {
                expectRoundTrip({recordOf(first, 1), recordOf(second, 2), recordOf(8, 3), recordOf(9, 4)});
                ASSERT_FALSE(HasFailure()) << chunkBytes << "-byte chunks, records of " << first << " and " << second
                                           << " bytes";
            }
        }
    }
}

TEST_F(RunFileTest, ARecordMayBeLargerThanManyChunks) {
    open(64);
    expectRoundTrip({recordOf(100000, 1), recordOf(8, 2), recordOf(50001, 3)});
}

TEST_F(RunFileTest, TheRunKnowsItsSizes) {
    open(64);
    const SortedRun run = write({recordOf(30, 1), recordOf(200, 2), recordOf(8, 3)});
    EXPECT_EQ(run.rows, 3);
    EXPECT_EQ(run.bytes, 238u);
    EXPECT_EQ(run.recordBytesMax, 200u);
}

TEST_F(RunFileTest, SpaceIsUsedAgainAsSoonAsItHasBeenRead) {
    open(64);
    const std::vector<std::string> records(100, recordOf(50, 1));
    expectRoundTrip(records);
    const std::vector<std::string> files = runFiles(directory.path());
    ASSERT_EQ(files.size(), 1u);
    const long size = OpenFile(files[0]).size();
    for (int i = 0; i < 10; ++i) expectRoundTrip(records);
    EXPECT_EQ(OpenFile(files[0]).size(), size);
}

TEST_F(RunFileTest, RunsMayBeReadInTurn) {
    open(40);
    std::vector<std::string> first;
    std::vector<std::string> second;
    for (unsigned i = 0; i < 50; ++i) {
        first.push_back(recordOf(8 + i, i));
        second.push_back(recordOf(108 - i, i));
    }
    const SortedRun runs[] = {write(first), write(second)};
    RunReader readers[2];
    for (int i = 0; i < 2; ++i) ASSERT_TRUE(readers[i].open(*store, runs[i], chunkBytes_));
    for (std::size_t i = 0; i < 50; ++i) {
        for (int j = 0; j < 2; ++j) {
            const unsigned char* record = nullptr;
            ASSERT_TRUE(readers[j].next(&record));
            const std::string& expected = (j == 0 ? first : second)[i];
            ASSERT_EQ(std::string(reinterpret_cast<const char*>(record), RowRecord::bytes(record)), expected);
        }
    }
}

TEST_F(RunFileTest, EveryDamagedByteIsReportedAndNothingOfItsChunkIsGivenOut) {
    const std::vector<std::string> records = {recordOf(20, 1), recordOf(70, 2), recordOf(9, 3), recordOf(33, 4)};
    for (long offset = 0;; ++offset) {
        open(48);
        const SortedRun run = write(records);
        const OpenFile file(runFiles(directory.path()).at(0));
        ASSERT_TRUE(file.isOpen());
        if (offset == file.size()) break;
        ASSERT_TRUE(file.flip(offset, static_cast<unsigned char>(1 << offset % 8)));
        std::vector<std::string> back;
        EXPECT_FALSE(read(run, &back)) << "offset " << offset;
        EXPECT_EQ(store->getError().asCstr(), unreadable());
        ASSERT_LT(back.size(), records.size());
        EXPECT_TRUE(std::equal(back.begin(), back.end(), records.begin()));
        const std::size_t undamaged = static_cast<std::size_t>(offset) / 48 * (48 - run_file::trailerBytes);
        std::size_t given = 0;
        for (const std::string& record : back) given += record.size();
        EXPECT_LE(given, undamaged) << "offset " << offset;
    }
}

TEST_F(RunFileTest, AFileThatWasCutIsReported) {
    for (const long kept : {0, 1, 47, 48, 100}) {
        open(48);
        const SortedRun run = write({recordOf(100, 1), recordOf(50, 2)});
        ASSERT_TRUE(OpenFile(runFiles(directory.path()).at(0)).cut(kept));
        std::vector<std::string> back;
        EXPECT_FALSE(read(run, &back));
        EXPECT_EQ(store->getError().asCstr(), unreadable());
    }
}

// The same seen by the caller of a sort: rows in order until the damage, then its text, then nothing but its text.
TEST_F(RunFileTest, ASortNeverDeliversADamagedRow) {
    const Description description = {{ktbTypeInteger, ktbTypeString}, {{0}}};
    Random random(7);
    Rows rows;
    for (int i = 0; i < 12; ++i) rows.push_back({valueOf(static_cast<long>(random.below(9))), valueOf(std::to_string(i))});
    const Model model = modelOf(description, rows, false);
    RowSortSetup setup = smallSetup(400);
    setup.chunkBytes = 64;
    for (long offset = 0;; ++offset) {
        const Sort sort = makeSort(description, setup, directory.path());
        ASSERT_TRUE(addRows(sort.get(), rows) == ktSortRow && sort->finish() == ktSortRow);
        const OpenFile file(runFiles(directory.path()).at(0));
        if (offset == file.size()) break;
        ASSERT_TRUE(file.flip(offset, 0x10));
        Rows delivered;
        int status = sort->firstRow();
        for (; status == ktSortRow; status = sort->nextRow()) delivered.push_back(currentRow(sort.get(), 2));
        for (std::size_t i = 0; i < delivered.size(); ++i) ASSERT_TRUE(isSame(delivered[i], model.rows.at(i)));
        if (status == ktSortEnd) {
            // A place that was freed by a merge holds nothing any more.
            EXPECT_EQ(delivered.size(), rows.size()) << "offset " << offset;
            continue;
        }
        EXPECT_EQ(status, ktSortFailed);
        EXPECT_EQ(sort->getError().asCstr(), unreadable());
        EXPECT_EQ(sort->nextRow(), ktSortFailed);
        EXPECT_EQ(sort->getError().asCstr(), unreadable());
    }
}

}  // namespace
