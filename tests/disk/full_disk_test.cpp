// Tables on a disk that is really full: a small file system in memory where this process may mount one, and a limit on the size
// of files, which every process can set itself.
#include <gtest/gtest.h>
#include <sys/mount.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <string>

#include "format/file_size_limit.h"
#include "support/released.h"
#include "support/temp_directory.h"

namespace {

// A file system of its own in a directory, if it can be mounted.
class SmallDisk {
public:
    SmallDisk(std::string path, long bytes) : path_(std::move(path)) {
        const std::string options = "size=" + std::to_string(bytes);
        mounted_ = mount("tmpfs", path_.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, options.c_str()) == 0;
        if (!mounted_) why_ = std::strerror(errno);
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;
    ~SmallDisk() {
        if (mounted_) umount2(path_.c_str(), MNT_DETACH);
    }

    bool isMounted() const { return mounted_; }
    const std::string& why() const { return why_; }
    long freeBytes() const { return static_cast<long>(std::filesystem::space(path_).available); }

private:
    std::string path_;
    bool mounted_ = false;
    std::string why_;
};

class FullDiskTest : public testing::Test {
protected:
    Manager managerOf(const std::string& directories) {
        KtbString error;
        Manager manager(ktwtCreateManager("key", directories.c_str(), &error));
        EXPECT_TRUE(manager != nullptr && manager->setSortSize(1UL << 20));
        return manager;
    }

    // Writes rows of a hundred bytes, in falling order of their numbers, and gives the table's name; "" when that fails, with
    // the reason in `text`.
    std::string write(KtWorkTableManager& manager, int sortColumns, long rows) {
        KtbString error;
        const Table table(manager.create(2, sortColumns, 0, &error));
        if (!table) return fail(error);
        table->defineColumnInfo(0, "number", ktbTypeInteger, 0);
        table->defineColumnInfo(1, "text", ktbTypeString, 0);
        KtbDatavar values[2];
        values[1].assign(std::string(100, 't').c_str());
        for (long i = 0; i < rows; ++i) {
            values[0].assign(rows - i);
            if (!table->writeRow(values)) return fail(table->getError());
        }
        return table->close() ? table->getName().asCstr() : fail(table->getError());
    }

    std::string fail(const KtbString& why) {
        text = why.asCstr();
        EXPECT_NE(text, "");
        return "";
    }

    // The rows of a table, which must be in rising or falling order of their numbers; -1 when it cannot be read.
    static long rowsOf(KtWorkTableManager& manager, const std::string& name, long step) {
        KtbString error;
        const Table table(manager.open(name.c_str(), false, &error));
        KtbDatavar values[2];
        bool end = false;
        long rows = 0;
        long last = 0;
        while (table && table->readRow(values, &end)) {
            const long number = values[0].asInt64(nullptr);
            if (rows != 0 && number != last + step) return -1;
            last = number;
            ++rows;
        }
        return end ? rows : -1;
    }

    TempDirectory directory;
    std::string text;
};

class MountedDiskTest : public FullDiskTest {
protected:
    static constexpr long diskBytes = 2L << 20;

    void SetUp() override {
        disk.emplace(small, diskBytes);
        if (!disk->isMounted()) GTEST_SKIP() << "No file system can be mounted here: " << disk->why();
    }

    const std::string small = directory.directory("small");
    const std::string roomy = directory.directory("roomy");
    std::optional<SmallDisk> disk;
};

TEST_F(MountedDiskTest, ATableThatDoesNotFitIsReportedAndGone) {
    const Manager manager = managerOf(small);
    EXPECT_EQ(write(*manager, 0, 100000), "");
    EXPECT_NE(text.find("KTWT-1044"), std::string::npos) << text;
    EXPECT_TRUE(std::filesystem::is_empty(small));
    EXPECT_EQ(disk->freeBytes(), diskBytes);
    EXPECT_NE(write(*manager, 0, 1000), "") << "there is room again: " << text;
}

TEST_F(MountedDiskTest, ASortThatDoesNotFitNamesTheDirectory) {
    const Manager manager = managerOf(small);
    EXPECT_EQ(write(*manager, 1, 100000), "");
    EXPECT_EQ(text,
              "No work directory takes more sorted rows. The last one, \"" + small + "\", gave: no space left on the device.");
    EXPECT_TRUE(std::filesystem::is_empty(small));
    EXPECT_EQ(disk->freeBytes(), diskBytes);
}

TEST_F(MountedDiskTest, ASortGoesOnInTheNextDirectoryAndItsTableStays) {
    const Manager manager = managerOf(roomy + ":" + small);
    const Manager other = managerOf(small + ":" + roomy);
    const std::string name = write(*manager, 1, 60000);
    ASSERT_NE(name, "") << text;
    EXPECT_EQ(rowsOf(*manager, name, 1), 60000);
    // Here the rows in order find no room beside their own runs, which went to both directories.
    EXPECT_EQ(write(*other, 1, 60000), "");
    EXPECT_TRUE(std::filesystem::is_empty(small));
    EXPECT_EQ(rowsOf(*other, name, 1), 60000);
}

TEST_F(MountedDiskTest, AnAppendThatDoesNotFitKeepsTheEarlierRows) {
    const Manager manager = managerOf(small + ":" + roomy);
    const std::string target = write(*manager, 0, 5000);
    const std::string source = write(*managerOf(roomy), 0, 50000);
    ASSERT_TRUE(!target.empty() && !source.empty());
    KtbString error;
    EXPECT_FALSE(manager->append(target.c_str(), source.c_str(), &error));
    EXPECT_NE(error.length(), 0);
    EXPECT_EQ(rowsOf(*manager, target, -1), 5000);
    EXPECT_EQ(rowsOf(*manager, source, -1), 50000);
}

TEST_F(FullDiskTest, FilesThatMayNotGrowAreAFullDisk) {
    const Manager manager = managerOf(directory.path());
    const std::string before = write(*manager, 0, 1000);
    ASSERT_NE(before, "");
    const std::size_t files = directory.names().size();
    for (const int sortColumns : {0, 1}) {
        const FileSizeLimit limit(300000);
        EXPECT_EQ(write(*manager, sortColumns, 50000), "");
        EXPECT_EQ(directory.names().size(), files);
    }
    EXPECT_EQ(rowsOf(*manager, before, -1), 1000);
    EXPECT_NE(write(*manager, 1, 50000), "") << text;
}

}  // namespace
