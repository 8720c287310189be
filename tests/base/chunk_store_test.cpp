// Chunks on disk: what goes in comes back, whatever the disks under it refuse.
#include "sort/chunk_store.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <map>
#include <random>
#include <set>
#include <vector>

#include "file_fixture.h"
#include "format/file_size_limit.h"
#include "os_faults.h"
#include "support/environment.h"
#include "support/failing_new.h"

namespace {

constexpr unsigned long chunkBytes = 100;

class ChunkStoreTest : public FileTest {
protected:
    // A list of directories of the test's own, made here.
    std::string directories(int count) const {
        std::string list;
        for (int i = 0; i < count; ++i) {
            const std::string name = path("disk" + std::to_string(i));
            std::filesystem::create_directories(name);
            list += (i > 0 ? ":" : "") + name;
        }
        return list;
    }

    // What is to be seen in those directories.
    std::vector<std::string> names() const {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(directory_)) {
            if (!entry.is_directory()) found.push_back(entry.path().filename().string());
        }
        return found;
    }
};

// A store beside a model of what it should hold.
class Keeper {
public:
    explicit Keeper(const std::string& list, unsigned long bytes = chunkBytes) {
        store.setChunkBytes(bytes);
        ready = store.setDirectories(KtbString(list.c_str()));
    }

    // Returns the new chunk's id, noChunk on failure; a place that was not written is given back.
    ChunkId add(const std::string& bytes) {
        const ChunkId id = store.reserve();
        return id == noChunk || write(id, bytes) ? id : noChunk;
    }

    bool write(ChunkId id, const std::string& bytes) {
        EXPECT_EQ(chunks.count(id), 0u) << "the place is taken";
        if (!store.write(id, bytes.data(), bytes.size())) {
            store.release(id);
            return false;
        }
        chunks[id] = bytes;
        written += static_cast<long>(bytes.size());
        return true;
    }

    void release(ChunkId id) {
        store.release(id);
        chunks.erase(id);
    }

    std::string read(ChunkId id, unsigned long size) {
        std::string bytes(size, '\0');
        return store.read(id, bytes.data(), size) ? bytes : "unread";
    }

    bool readsBack() {
        return std::all_of(chunks.begin(), chunks.end(),
                           [&](const auto& chunk) { return read(chunk.first, chunk.second.size()) == chunk.second; });
    }

    std::string error() const { return store.getError().asCstr(); }

    ChunkStore store;
    std::map<ChunkId, std::string> chunks;
    long written = 0;
    bool ready = false;
};

std::string chunk(unsigned long seed, unsigned long size = chunkBytes) {
    std::mt19937 random(seed);
    std::string bytes(size, '\0');
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random()); });
    return bytes;
}

// The sizes of the store's files, which are open but have no name any more, as the system gives them.
std::vector<long> fileSizes() {
    std::vector<long> sizes;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;  // the handle of this very iteration
        const std::string target = std::filesystem::read_symlink(entry.path(), gone).string();
        struct stat status;
        if (target.find("/ktsort_") == std::string::npos || stat(entry.path().c_str(), &status) != 0) continue;
        EXPECT_EQ(status.st_nlink, 0u) << target;
        sizes.push_back(status.st_size);
    }
    std::sort(sizes.begin(), sizes.end());
    return sizes;
}

long sizeOfAll() {
    long sum = 0;
    for (const long size : fileSizes()) sum += size;
    return sum;
}

std::string noMoreText(const std::string& directory, const std::string& reason) {
    return "No work directory takes more sorted rows. The last one, \"" + directory + "\", gave: " + reason + ".";
}

TEST_F(ChunkStoreTest, AChunkComesBack) {
    Keeper keeper(directories(1));
    ASSERT_TRUE(keeper.ready);
    EXPECT_NE(keeper.add(chunk(1)), noChunk);
    EXPECT_NE(keeper.add(chunk(2)), noChunk);
    EXPECT_TRUE(keeper.readsBack());
    EXPECT_TRUE(keeper.readsBack());  // reading leaves it there
    EXPECT_EQ(keeper.store.bytesWritten(), 200);
    EXPECT_EQ(keeper.error(), "");
}

TEST_F(ChunkStoreTest, ChunksNeedNotBeFull) {
    Keeper keeper(directories(1));
    for (unsigned size : {0U, 1U, 99U, 100U, 0U, 7U}) EXPECT_NE(keeper.add(chunk(size, size)), noChunk);
    EXPECT_TRUE(keeper.readsBack());
    EXPECT_EQ(keeper.store.bytesWritten(), 207);
    const auto& [id, bytes] = *keeper.chunks.begin();
    EXPECT_EQ(keeper.read(id, 0), bytes);
    EXPECT_EQ(fileSizes(), std::vector<long>{507});
}

TEST_F(ChunkStoreTest, TheStartOfAChunkCanBeReadAlone) {
    Keeper keeper(directories(1));
    const ChunkId id = keeper.add(chunk(1));
    EXPECT_EQ(keeper.read(id, 10), chunk(1).substr(0, 10));
}

TEST_F(ChunkStoreTest, AnUnusedStoreTouchesNothing) {
    OsFaults os;
    {
        Keeper keeper(directories(2));
        EXPECT_TRUE(keeper.ready);
    }
    EXPECT_EQ(os.calls(OsCall::open) + os.calls(OsCall::close) + os.calls(OsCall::random), 0);
}

TEST_F(ChunkStoreTest, NothingIsToBeSeenInTheDirectoriesAndNoHandleIsLeft) {
    const std::string list = directories(2);
    {
        OsFaults os;
        os.fillDiskAt(250);
        Keeper keeper(list);
        for (unsigned i = 0; i < 4; ++i) {
            EXPECT_NE(keeper.add(chunk(i)), noChunk);
            EXPECT_EQ(names(), std::vector<std::string>{});
            EXPECT_EQ(openHandles(), handlesBefore_ + (i < 2 ? 1 : 2));
        }
        EXPECT_TRUE(keeper.readsBack());
    }
    EXPECT_EQ(openHandles(), handlesBefore_);
    EXPECT_EQ(names(), std::vector<std::string>{});
}

TEST_F(ChunkStoreTest, ReservingTransfersNothing) {
    Keeper keeper(directories(1));
    OsFaults os;
    std::set<ChunkId> ids;
    for (int i = 0; i < 300; ++i) ids.insert(keeper.store.reserve());
    EXPECT_EQ(ids.size(), 300u);
    EXPECT_EQ(ids.count(noChunk), 0u);
    EXPECT_EQ(os.calls(OsCall::open), 1);
    EXPECT_EQ(os.calls(OsCall::pwrite) + os.calls(OsCall::pread) + os.calls(OsCall::ftruncate), 0);
}

TEST_F(ChunkStoreTest, EachTransferIsOneCallOfTheSystem) {
    Keeper keeper(directories(1), 1000);
    OsFaults os;
    const unsigned long sizes[] = {1, 10, 999, 1000};
    for (const unsigned long size : sizes) EXPECT_NE(keeper.add(chunk(1, size)), noChunk);
    EXPECT_EQ(os.calls(OsCall::pwrite), 4);
    EXPECT_EQ(os.calls(OsCall::pread), 0);
    EXPECT_TRUE(keeper.readsBack());
    EXPECT_EQ(os.calls(OsCall::pread), 4);
    EXPECT_EQ(os.bytesRead(), 2010);
}

TEST_F(ChunkStoreTest, TheLowestFreePlaceIsTakenFirst) {
    Keeper keeper(directories(1));
    std::vector<ChunkId> ids;
    for (unsigned i = 0; i < 200; ++i) ids.push_back(keeper.add(chunk(i)));
    for (const std::size_t i : {150UL, 70UL, 3UL, 199UL}) keeper.release(ids[i]);
    for (const std::size_t i : {3UL, 70UL, 150UL, 199UL}) EXPECT_EQ(keeper.add(chunk(7)), ids[i]);
    EXPECT_EQ(fileSizes(), std::vector<long>{20'000});
    EXPECT_NE(keeper.add(chunk(8)), noChunk);
    EXPECT_EQ(fileSizes(), std::vector<long>{20'100});
    EXPECT_TRUE(keeper.readsBack());
}

TEST_F(ChunkStoreTest, APlaceMayBeGivenBackUnwritten) {
    Keeper keeper(directories(1));
    const ChunkId unwritten = keeper.store.reserve();
    EXPECT_NE(keeper.add(chunk(1)), noChunk);
    keeper.store.release(unwritten);
    EXPECT_EQ(keeper.add(chunk(2)), unwritten);
    EXPECT_TRUE(keeper.readsBack());
}

TEST_F(ChunkStoreTest, PlacesMayBeWrittenInAnyOrder) {
    Keeper keeper(directories(1));
    std::vector<ChunkId> ids(100);
    for (ChunkId& id : ids) id = keeper.store.reserve();
    std::shuffle(ids.begin(), ids.end(), std::mt19937(1));
    for (const ChunkId id : ids) EXPECT_TRUE(keeper.write(id, chunk(id, id % chunkBytes)));
    EXPECT_TRUE(keeper.readsBack());
}

TEST_F(ChunkStoreTest, AFullDirectoryIsFollowedByTheNext) {
    for (const long room : {0L, 1L, 99L, 100L, 150L, 500L, 550L}) {
        Keeper keeper(path("missing") + ":" + directories(2));
        OsFaults os;
        const auto fits = static_cast<std::size_t>(room) / chunkBytes;
        os.fillDiskAt(room);
        unsigned seed = 0;
        while (keeper.add(chunk(seed)) != noChunk) ++seed;
        EXPECT_EQ(keeper.chunks.size(), 2 * fits) << room;
        EXPECT_TRUE(keeper.readsBack());
        EXPECT_EQ(keeper.error(), noMoreText(path("disk1"), "no space left on the device"));
        EXPECT_EQ(keeper.store.bytesWritten(), keeper.written);
    }
}

TEST_F(ChunkStoreTest, AFileThatIsGivenUpTakesChunksOnlyWhereOthersHaveBeen) {
    Keeper keeper(directories(2));
    {
        OsFaults os;
        os.fillDiskAt(200);
        for (unsigned i = 0; i < 3; ++i) EXPECT_NE(keeper.add(chunk(i)), noChunk);
    }
    EXPECT_EQ(fileSizes(), (std::vector<long>{100, 200}));
    keeper.release(keeper.chunks.begin()->first);
    EXPECT_NE(keeper.add(chunk(4)), noChunk);
    EXPECT_EQ(fileSizes(), (std::vector<long>{100, 200}));
    EXPECT_NE(keeper.add(chunk(5)), noChunk);
    EXPECT_EQ(fileSizes(), (std::vector<long>{200, 200}));
    EXPECT_TRUE(keeper.readsBack());
}

TEST_F(ChunkStoreTest, FullDirectoriesTakeAsManyChunksAsAreReleased) {
    Keeper keeper(directories(3));
    OsFaults os;
    os.fillDiskAt(1000);
    unsigned seed = 0;
    for (int i = 0; i < 30; ++i) ASSERT_NE(keeper.add(chunk(seed++)), noChunk);
    std::mt19937 random(5);
    for (int round = 0; round < 200; ++round) {
        const auto count = static_cast<std::size_t>(1 + random() % 30);
        for (std::size_t i = 0; i < count; ++i) {
            auto chosen = keeper.chunks.begin();
            std::advance(chosen, random() % keeper.chunks.size());
            keeper.release(chosen->first);
        }
        for (std::size_t i = 0; i < count; ++i) ASSERT_NE(keeper.add(chunk(seed++)), noChunk) << keeper.error();
        ASSERT_TRUE(keeper.readsBack());
    }
    EXPECT_EQ(keeper.add(chunk(seed)), noChunk);
}

TEST_F(ChunkStoreTest, AFileThatRefusesEvenAFreedPlaceIsWrittenNoMore) {
    Keeper keeper(directories(2));
    {
        OsFaults os;
        os.fillDiskAt(200);
        for (unsigned i = 0; i < 3; ++i) EXPECT_NE(keeper.add(chunk(i)), noChunk);
    }
    keeper.release(keeper.chunks.begin()->first);
    {
        OsFaults os;
        os.fillDiskAt(0);
        EXPECT_EQ(keeper.add(chunk(3)), noChunk);  // refused there, and in the second directory, too
    }
    EXPECT_TRUE(keeper.readsBack());
    EXPECT_EQ(fileSizes(), (std::vector<long>{100, 200}));
}

TEST_F(ChunkStoreTest, AChunkThatWasRefusedKeepsItsIdAndFreesItsPlaceElsewhere) {
    Keeper keeper(directories(2));
    OsFaults os;
    os.fillDiskAt(250);
    keeper.add(chunk(1));
    keeper.add(chunk(2));
    const ChunkId refused = keeper.store.reserve();
    EXPECT_TRUE(keeper.write(refused, chunk(3)));
    EXPECT_TRUE(keeper.readsBack());
    keeper.release(refused);
    EXPECT_NE(keeper.add(chunk(4)), noChunk);
    EXPECT_NE(keeper.add(chunk(5)), noChunk);  // both fit into the second directory's two places
    EXPECT_TRUE(keeper.readsBack());
    EXPECT_EQ(keeper.add(chunk(6)), noChunk);
    EXPECT_TRUE(keeper.readsBack());
}

TEST_F(ChunkStoreTest, EveryPlaceThatWasStillUnwrittenMovesToo) {
    Keeper keeper(directories(2));
    std::vector<ChunkId> ids(50);
    for (ChunkId& id : ids) id = keeper.store.reserve();
    OsFaults os;
    os.fillDiskAt(4000);
    for (const ChunkId id : ids) EXPECT_TRUE(keeper.write(id, chunk(id)));
    EXPECT_TRUE(keeper.readsBack());
    EXPECT_EQ(fileSizes(), (std::vector<long>{1000, 4000}));
    std::shuffle(ids.begin(), ids.end(), std::mt19937(1));
    for (const ChunkId id : ids) {
        keeper.release(id);
        EXPECT_TRUE(keeper.readsBack());
    }
    EXPECT_NE(keeper.add(chunk(1)), noChunk);
    EXPECT_EQ(fileSizes(), (std::vector<long>{1000, 4000}));
}

TEST_F(ChunkStoreTest, AnyFailureOfAWriteMovesTheChunk) {
    for (const int error : {ENOSPC, EDQUOT, EFBIG, EIO, EROFS, EPERM}) {
        Keeper keeper(directories(3));
        keeper.add(chunk(1));
        {
            OsFaults os;
            os.failNth(1, error);
            EXPECT_NE(keeper.add(chunk(2)), noChunk) << error;
        }
        EXPECT_EQ(fileSizes(), (std::vector<long>{100, 100}));
        EXPECT_TRUE(keeper.readsBack());
        EXPECT_EQ(keeper.error(), "");
    }
}

TEST_F(ChunkStoreTest, AFileSizeLimitIsAFullDirectory) {
    Keeper keeper(directories(2));
    {
        const FileSizeLimit limit(350);
        for (unsigned i = 0; i < 6; ++i) EXPECT_NE(keeper.add(chunk(i)), noChunk);
        EXPECT_EQ(keeper.add(chunk(7)), noChunk);
    }
    EXPECT_EQ(keeper.error(), noMoreText(path("disk1"), "the file would become too large"));
    EXPECT_TRUE(keeper.readsBack());
}

TEST_F(ChunkStoreTest, APositionThatNoFileHasIsAFullDirectory) {
    Keeper keeper(directories(2), 1UL << 62);  // the fifth place would be at 2^64, which must not be taken for 0
    ChunkId ids[5];
    for (ChunkId& id : ids) id = keeper.store.reserve();
    EXPECT_TRUE(keeper.write(ids[0], chunk(1)));
    EXPECT_TRUE(keeper.write(ids[4], chunk(2)));  // at the start of the second file
    EXPECT_EQ(fileSizes(), (std::vector<long>{100, 100}));
    EXPECT_TRUE(keeper.readsBack());
    for (ChunkId& id : ids) id = keeper.store.reserve();
    EXPECT_FALSE(keeper.write(ids[3], chunk(3)));
    EXPECT_EQ(keeper.error(), noMoreText(path("disk1"), "the file would become too large"));
    EXPECT_TRUE(keeper.readsBack());
}

TEST_F(ChunkStoreTest, DirectoriesThatTakeNoFileArePassedOver) {
    makeFile("file");
    const std::string last = directories(1);
    for (const std::string& first : {path("missing"), path("file"), std::string(), path("missing") + "::" + path("file"),
                                     "/" + std::string(np_path_max, 'x')}) {
        Keeper keeper(std::string(first).append(":").append(last));
        EXPECT_NE(keeper.add(chunk(1)), noChunk) << first;
        EXPECT_TRUE(keeper.readsBack());
        EXPECT_EQ(keeper.error(), "");
        EXPECT_EQ(fileSizes(), std::vector<long>{100});
    }
}

TEST_F(ChunkStoreTest, ADirectoryThatMayNotBeWrittenToIsPassedOver) {
    Keeper keeper(directories(2));
    OsFaults os;
    os.failNth(2, EACCES);  // after the random name
    EXPECT_NE(keeper.add(chunk(1)), noChunk);
    EXPECT_TRUE(os.failed());
    EXPECT_EQ(os.calls(OsCall::open), 2);
    EXPECT_TRUE(keeper.readsBack());
}

TEST_F(ChunkStoreTest, WhenNoDirectoryTakesAFileTheLastOneIsNamed) {
    makeFile("file");
    const struct {
        std::string list;
        std::string last;
        const char* reason;
    } cases[] = {
        {path("file") + ":" + path("missing"), path("missing"), "no such file or directory"},
        {path("missing") + ":" + path("file") + ":", path("file"), "a part of the path is not a directory"},
        {path("missing") + "::", "", "the name is empty, too long or not a name"},
        {":", "", "the name is empty, too long or not a name"},
    };
    for (const auto& [list, last, reason] : cases) {
        Keeper keeper(list);
        EXPECT_TRUE(keeper.ready);
        EXPECT_EQ(keeper.add(chunk(1)), noChunk);
        EXPECT_EQ(keeper.error(), noMoreText(last, reason));
        EXPECT_EQ(keeper.add(chunk(1)), noChunk);
        EXPECT_EQ(keeper.error(), noMoreText(last, reason));
    }
}

TEST_F(ChunkStoreTest, WithoutAListTheSystemsDirectoryIsUsed) {
    const std::string directory = path("a:b");  // no list, so the separator is part of the name
    std::filesystem::create_directory(directory);
    const EnvironmentVariable variable("TMPDIR", directory.c_str());
    for (const KtbString& list : {KtbString(), KtbString(nullptr)}) {
        ChunkStore store;
        ASSERT_TRUE(store.setDirectories(list));
        EXPECT_NE(store.reserve(), noChunk);
        EXPECT_EQ(fileSizes().size(), 1u);
    }
    std::filesystem::remove(directory);
    ChunkStore store;
    ASSERT_TRUE(store.setDirectories(KtbString()));
    EXPECT_EQ(store.reserve(), noChunk);
    EXPECT_EQ(store.getError().asCstr(), noMoreText(directory, "no such file or directory"));
}

TEST_F(ChunkStoreTest, ASystemsDirectoryWithTooLongANameIsRefused) {
    const EnvironmentVariable variable("TMPDIR", std::string(np_path_max, 'x').c_str());
    const std::string text = "The directory for temporary files cannot be told: the name is empty, too long or not a name.";
    ChunkStore store;
    EXPECT_FALSE(store.setDirectories(KtbString()));
    EXPECT_EQ(store.getError().asCstr(), text);
    EXPECT_EQ(store.reserve(), noChunk);
    EXPECT_EQ(store.getError().asCstr(), text);
}

TEST_F(ChunkStoreTest, MoreDirectoriesThanIdsCanNameAreRefused) {
    std::string list;
    for (int i = 0; i < 65535; ++i) list += "/:";
    EXPECT_TRUE(Keeper(list).ready);
    const Keeper tooMany(list + "/");
    EXPECT_FALSE(tooMany.ready);
    EXPECT_EQ(tooMany.error(), "There are more than 65535 work directories.");
}

TEST_F(ChunkStoreTest, WithoutDirectoriesNothingIsReserved) {
    ChunkStore store;
    EXPECT_EQ(store.reserve(), noChunk);
    EXPECT_STREQ(store.getError().asCstr(), "There is no work directory for sorted rows.");
}

TEST_F(ChunkStoreTest, AFileThatCannotBeUnlinkedWhileItIsOpenIsNotUsed) {
    const std::string list = directories(2);
    {
        Keeper keeper(list);
        OsFaults os;
        os.failNth(6, EBUSY);  // after the random name, open, fchmod and the hold, which locks and asks for the links
        EXPECT_NE(keeper.add(chunk(1)), noChunk);
        EXPECT_EQ(os.calls(OsCall::unlink), 3);  // refused, done when the file was closed, and the next directory's file
        EXPECT_EQ(fileSizes().size(), 1u);
    }
    EXPECT_EQ(names(), std::vector<std::string>{});
    Keeper keeper(list);
    OsFaults os;
    os.failEvery(OsCall::unlink, EBUSY);
    EXPECT_EQ(keeper.add(chunk(1)), noChunk);
    EXPECT_EQ(keeper.error(), noMoreText(path("disk1"), "the file is in use"));
    EXPECT_EQ(openHandles(), handlesBefore_);
}

TEST_F(ChunkStoreTest, AReadThatFailsNamesTheDirectoryAndIsNoObstacleToTheNext) {
    Keeper keeper(path("missing") + ":" + directories(2));
    const ChunkId id = keeper.add(chunk(1));
    {
        OsFaults os;
        os.failEvery(OsCall::pread, EIO);
        EXPECT_EQ(keeper.read(id, chunkBytes), "unread");
    }
    EXPECT_EQ(keeper.error(), "Sorted rows could not be read back from \"" + path("disk0") + "\".");
    EXPECT_TRUE(keeper.readsBack());
    EXPECT_NE(keeper.add(chunk(2)), noChunk);
    EXPECT_TRUE(keeper.readsBack());
}

TEST_F(ChunkStoreTest, AReadThatComesOutShortFails) {
    Keeper keeper(directories(1));
    const ChunkId id = keeper.add(chunk(1, 60));
    EXPECT_EQ(keeper.read(id, 61), "unread");
    EXPECT_EQ(keeper.error(), "Sorted rows could not be read back from \"" + path("disk0") + "\".");
    EXPECT_EQ(keeper.read(id, 60), chunk(1, 60));
}

TEST_F(ChunkStoreTest, TheFirstFailureKeepsItsText) {
    Keeper keeper(directories(1));
    const ChunkId id = keeper.add(chunk(1));
    EXPECT_EQ(keeper.read(id, chunkBytes + 1), "unread");
    const std::string first = keeper.error();
    OsFaults os;
    os.fillDiskAt(100);
    EXPECT_EQ(keeper.add(chunk(2)), noChunk);
    EXPECT_EQ(keeper.error(), first);
    EXPECT_TRUE(keeper.readsBack());
}

TEST_F(ChunkStoreTest, InterruptionsAndShortTransfersAreContinued) {
    for (const unsigned long most : {1UL, 7UL, ULONG_MAX}) {
        OsFaults os;
        os.interrupt();
        os.transferAtMost(most);
        Keeper keeper(directories(1));
        for (unsigned long i = 0; i < 5; ++i) EXPECT_NE(keeper.add(chunk(i, 20 * i)), noChunk);
        EXPECT_TRUE(keeper.readsBack());
        EXPECT_EQ(keeper.error(), "");
    }
}

// A little of everything: three files, of which two get full, with a chunk moved into each of the last two, and places used
// again. Returns whether all of it went well.
bool workOn(Keeper* keeper) {
    if (!keeper->ready) return false;
    const ChunkId early = keeper->store.reserve();
    bool all = early != noChunk;
    for (unsigned i = 0; i < 4 && all; ++i) all = keeper->add(chunk(i)) != noChunk;
    if (all) keeper->release(keeper->chunks.rbegin()->first);
    for (unsigned long i = 4; i < 8 && all; ++i) all = keeper->add(chunk(i, 10 * i)) != noChunk;
    if (early != noChunk) all = keeper->write(early, chunk(9)) && all;
    return keeper->readsBack() && all;
}

TEST_F(ChunkStoreTest, NoSingleFailureOfAWriteOrOfMakingAFileIsFelt) {
    const std::string list = directories(4);
    const int readsAtTheEnd = 8;
    long runs = 0;
    for (bool failed = true; failed; ++runs) {
        OsFaults os;
        os.fillDiskAt(350);
        os.failNth(runs + 1, EIO);
        {
            Keeper keeper(list);
            const bool done = workOn(&keeper);
            failed = os.failed();
            EXPECT_EQ(done, keeper.error().empty()) << runs;
            if (!done) {
                EXPECT_EQ(keeper.error().rfind("Sorted rows could not be read back from", 0), 0u) << keeper.error();
            }
            os.failNth(0, 0);  // none from here on
            EXPECT_TRUE(keeper.readsBack());
        }
        EXPECT_EQ(openHandles(), handlesBefore_);
        EXPECT_EQ(names(), std::vector<std::string>{}) << runs;
    }
    EXPECT_GT(runs, 3 * 4 + 8 + readsAtTheEnd);
}

TEST_F(ChunkStoreTest, EveryLastingFailureIsReportedAndWhatIsOnDiskReadsBack) {
    const std::string list = directories(3);
    for (const OsCall kind :
         {OsCall::open, OsCall::close, OsCall::pread, OsCall::pwrite, OsCall::fchmod, OsCall::unlink, OsCall::random}) {
        bool failed = true;
        for (long passed = 0; failed; ++passed) {
            SCOPED_TRACE(passed);
            Keeper keeper(list);
            bool done = false;
            {
                OsFaults os;
                os.fillDiskAt(350);
                os.failEvery(kind, EIO, passed);
                done = workOn(&keeper);
                failed = os.failed();
            }
            EXPECT_EQ(done, keeper.error().empty()) << keeper.error();
            EXPECT_TRUE(keeper.readsBack());
        }
    }
}

TEST_F(ChunkStoreTest, EveryExhaustionOfMemoryIsReportedAndWhatIsOnDiskReadsBack) {
    const std::string list = directories(4);
    for (const bool lasting : {false, true}) {
        bool failed = true;
        long runs = 0;
        for (; failed; ++runs) {
            SCOPED_TRACE(runs);
            OsFaults os;
            os.fillDiskAt(350);
            failing_new::failAt(runs, lasting);
            {
                Keeper keeper(list);
                const bool done = workOn(&keeper);
                failed = failing_new::stop();
                EXPECT_EQ(done, keeper.error().empty()) << keeper.error();
                EXPECT_TRUE(keeper.readsBack());
            }
            EXPECT_EQ(openHandles(), handlesBefore_);
        }
        EXPECT_GT(runs, 8);
    }
}

TEST_F(ChunkStoreTest, ExhaustedMemoryHasATextOfItsOwn) {
    Keeper keeper(directories(1));
    const ChunkId first = keeper.store.reserve();
    for (int i = 1; i < 8 * 64; ++i) ASSERT_NE(keeper.store.reserve(), noChunk);
    failing_new::failAt(0);
    EXPECT_EQ(keeper.store.reserve(), noChunk);
    EXPECT_TRUE(failing_new::stop());
    EXPECT_EQ(keeper.error(), "Memory is exhausted: no room for the places of sorted rows on disk.");
    EXPECT_TRUE(keeper.write(first, chunk(1)));
    EXPECT_NE(keeper.add(chunk(2)), noChunk);  // memory has been freed elsewhere
    EXPECT_TRUE(keeper.readsBack());
}

TEST_F(ChunkStoreTest, AChunkThatCannotBeMovedForWantOfMemoryIsAFailure) {
    Keeper keeper(directories(2));
    const ChunkId id = keeper.store.reserve();
    const ChunkId next = keeper.store.reserve();
    OsFaults os;
    os.failNth(1, ENOSPC);
    failing_new::failAt(2);  // after the second file's handle and bitmap
    EXPECT_FALSE(keeper.write(id, chunk(1)));
    EXPECT_TRUE(failing_new::stop());
    EXPECT_EQ(keeper.error(), "Memory is exhausted: no room for the places of sorted rows on disk.");
    EXPECT_TRUE(keeper.write(next, chunk(2)));
    EXPECT_EQ(fileSizes(), (std::vector<long>{0, 100}));  // the place that the first one was to get is free again
    EXPECT_TRUE(keeper.readsBack());
}

// One of: a new chunk, the release of the oldest, of the newest.
void step(Keeper* keeper, std::vector<ChunkId>* ids, int kind, unsigned long seed) {
    if (kind == 0) {
        const ChunkId id = keeper->add(chunk(seed, seed * 7));
        if (id != noChunk) ids->push_back(id);
    } else if (!ids->empty()) {
        const auto which = kind == 1 ? ids->begin() : ids->end() - 1;
        keeper->release(*which);
        ids->erase(which);
    }
}

TEST_F(ChunkStoreTest, EveryShortSeriesOfStepsOnDisksOfEverySmallSizeKeepsItsChunks) {
    const std::string list = directories(2);
    constexpr int steps = 6;
    for (int series = 0; series < 3 * 3 * 3 * 3 * 3 * 3; ++series) {
        for (const long room : {0L, 100L, 210L, LONG_MAX}) {
            OsFaults os;
            os.fillDiskAt(room);
            Keeper keeper(list);
            std::vector<ChunkId> ids;
            for (int i = 0, rest = series; i < steps; ++i, rest /= 3)
                step(&keeper, &ids, rest % 3, static_cast<unsigned long>(i + 1));
            ASSERT_TRUE(keeper.readsBack()) << series << " " << room;
            ASSERT_EQ(keeper.chunks.size(), ids.size());
            ASSERT_TRUE(room < LONG_MAX || keeper.error().empty());
        }
    }
}

// Adds and releases at random, more of the one or the other by turns. Returns the most chunks that there were at a time.
std::size_t churn(Keeper* keeper, unsigned seed, int steps) {
    std::mt19937 random(seed);
    std::vector<ChunkId> ids;
    std::size_t most = 0;
    for (int i = 0; i < steps; ++i) {
        const bool growing = i / 500 % 2 == 0;
        if (ids.empty() || random() % 3 < (growing ? 2U : 1U)) {
            const unsigned long size = random() % 4 == 0 ? random() % chunkBytes : chunkBytes;
            ids.push_back(keeper->add(chunk(random(), size)));
            EXPECT_NE(ids.back(), noChunk);
        } else {
            std::swap(ids[random() % ids.size()], ids.back());
            EXPECT_EQ(keeper->read(ids.back(), keeper->chunks[ids.back()].size()), keeper->chunks[ids.back()]);
            keeper->release(ids.back());
            ids.pop_back();
        }
        most = std::max(most, ids.size());
    }
    return most;
}

TEST_F(ChunkStoreTest, ManyChunksComingAndGoingComeBackAndTheFileIsNoLargerThanTheyWereAtATime) {
    for (unsigned seed = 1; seed <= 4; ++seed) {
        SCOPED_TRACE(seed);
        Keeper keeper(directories(1));
        const std::size_t most = churn(&keeper, seed, 4000);
        EXPECT_GT(most, 100u);
        EXPECT_TRUE(keeper.readsBack());
        EXPECT_LE(sizeOfAll(), static_cast<long>(most * chunkBytes));
        EXPECT_EQ(keeper.store.bytesWritten(), keeper.written);
        EXPECT_EQ(keeper.error(), "");
    }
}

TEST_F(ChunkStoreTest, ManyChunksComingAndGoingComeBackFromDisksThatGetFull) {
    const std::string list = directories(40);
    for (unsigned seed = 1; seed <= 4; ++seed) {
        SCOPED_TRACE(seed);
        OsFaults os;
        os.fillDiskAt(5050);
        Keeper keeper(list);
        churn(&keeper, seed, 4000);
        EXPECT_TRUE(keeper.readsBack());
        EXPECT_GT(fileSizes().size(), 3u);
        EXPECT_EQ(keeper.error(), "");
    }
}

}  // namespace
