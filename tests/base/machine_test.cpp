// What control groups leave to a process, in trees of files that look like the kernel's.
#include "sort/machine.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <climits>
#include <random>
#include <thread>

#include "support/temp_directory.h"

namespace {

class MachineTest : public testing::Test {
protected:
    // The lines of the file that names a process's groups.
    void groups(const std::string& lines) { replace(groupFile_, lines); }

    // A file of a group below the mounts.
    void put(const std::string& file, const std::string& bytes) {
        const std::filesystem::path path = root_ + "/" + file;
        std::filesystem::create_directories(path.parent_path());
        replace(path.string(), bytes);
    }

    // Makes the file anew, since some disks take their time to cut off one that is there.
    static void replace(const std::string& path, const std::string& bytes) {
        std::filesystem::remove(path);
        writeFile(path, bytes);
    }

    int processors() const { return processorsOfGroup(groupFile_.c_str(), root_.c_str()); }
    unsigned long memory() const { return memoryOfGroup(groupFile_.c_str(), root_.c_str()); }

    // Calls that take a file with this content as the limit of the process's own group in the unified tree.
    int processorsFor(const std::string& limit) {
        groups("0::/job\n");
        put("job/cpu.max", limit);
        return processors();
    }
    unsigned long memoryFor(const std::string& limit) {
        groups("0::/job\n");
        put("job/memory.max", limit);
        return memory();
    }

    TempDirectory directory_;
    std::string groupFile_ = directory_.file("groups");
    std::string root_ = directory_.directory("root");
};

TEST_F(MachineTest, ProcessorTimeIsRoundedUpToWholeProcessors) {
    EXPECT_EQ(processorsFor("100000 100000\n"), 1);
    EXPECT_EQ(processorsFor("100001 100000\n"), 2);
    EXPECT_EQ(processorsFor("150000 100000\n"), 2);
    EXPECT_EQ(processorsFor("200000 100000\n"), 2);
    EXPECT_EQ(processorsFor("1000 1000000\n"), 1);
    EXPECT_EQ(processorsFor("3200000 50000\n"), 64);
    EXPECT_EQ(processorsFor("18446744073709551615 2\n"), INT_MAX);
    EXPECT_EQ(processorsFor("18446744073709551615 18446744073709551615\n"), 1);
}

TEST_F(MachineTest, MemoryIsTakenAsItStands) {
    EXPECT_EQ(memoryFor("1\n"), 1u);
    EXPECT_EQ(memoryFor("1073741824\n"), 1073741824u);
    EXPECT_EQ(memoryFor("18446744073709551615\n"), ULONG_MAX);
}

TEST_F(MachineTest, WhatIsNoNumberIsNoLimit) {
    for (const char* text : {"", "\n", "max\n", "-1\n", "0\n", "+5\n", " 5\n", "5 \n", "5x\n", "5", "0x10\n", "1e9\n", "5\r\n",
                             "18446744073709551616\n", "99999999999999999999999999\n", "5 5\n"}) {
        EXPECT_EQ(memoryFor(text), 0u) << text;
    }
    EXPECT_EQ(memoryFor(std::string("5\0\n", 3)), 0u);
    EXPECT_EQ(memoryFor(std::string(5000, '0') + "5\n"), 0u);
}

TEST_F(MachineTest, AShareThatIsNoPairOfNumbersIsNoLimit) {
    for (const char* text : {"", "\n", "max 100000\n", "100000\n", "100000 \n", " 100000\n", "100000 0\n", "0 100000\n",
                             "100000 100000", "100000 max\n", "-1 100000\n", "100000 100000 100000\n", "100000  100000\n",
                             "100000\n100000\n", "18446744073709551616 100000\n"}) {
        EXPECT_EQ(processorsFor(text), 0) << text;
    }
}

TEST_F(MachineTest, OnlyTheFirstLineCounts) {
    EXPECT_EQ(memoryFor("5\n3\n"), 5u);
    EXPECT_EQ(processorsFor("200000 100000\nmore\n"), 2);
}

TEST_F(MachineTest, TheLowestLimitOnTheWayUpCounts) {
    groups("0::/user/job/step\n");
    put("user/job/step/memory.max", "max\n");
    EXPECT_EQ(memory(), 0u);
    put("user/memory.max", "3000\n");
    EXPECT_EQ(memory(), 3000u);
    put("user/job/step/memory.max", "2000\n");
    EXPECT_EQ(memory(), 2000u);
    put("user/job/memory.max", "1000\n");
    EXPECT_EQ(memory(), 1000u);
    put("memory.max", "500\n");
    EXPECT_EQ(memory(), 500u);
}

TEST_F(MachineTest, GroupsBesideTheWayDoNotCount) {
    groups("0::/user/job\n");
    put("memory.max", "9\n");
    put("user/other/memory.max", "1\n");
    put("user/job/inner/memory.max", "1\n");
    put("us/memory.max", "1\n");
    put("user/jo/memory.max", "1\n");
    writeFile(directory_.file("memory.max"), "1\n");  // above the root
    EXPECT_EQ(memory(), 9u);
}

TEST_F(MachineTest, TheOutermostGroupHasTheRootsOwnLimits) {
    for (const char* line : {"0::/\n", "0::/gone\n", "0::/gone/long/since (deleted)\n", "0:://\n", "0::/gone/\n"}) {
        groups(line);
        put("cpu.max", "300000 100000\n");
        EXPECT_EQ(processors(), 3) << line;
    }
}

TEST_F(MachineTest, SeparateTreesHaveAFilePerNumber) {
    groups("4:memory:/job\n3:cpuacct:/\n2:cpu:/job\n");
    put("cpu/job/cpu.cfs_quota_us", "250000\n");
    EXPECT_EQ(processors(), 0);  // of no known period
    put("cpu/job/cpu.cfs_period_us", "100000\n");
    EXPECT_EQ(processors(), 3);
    put("cpu/cpu.cfs_quota_us", "-1\n");
    put("cpu/cpu.cfs_period_us", "100000\n");
    EXPECT_EQ(processors(), 3);
    put("cpu/cpu.cfs_quota_us", "50000\n");
    EXPECT_EQ(processors(), 1);
    EXPECT_EQ(memory(), 0u);
    put("memory/memory.limit_in_bytes", "9223372036854771712\n");
    EXPECT_EQ(memory(), 9223372036854771712u);
    put("memory/job/memory.limit_in_bytes", "7000\n");
    EXPECT_EQ(memory(), 7000u);
}

TEST_F(MachineTest, ControllersMayShareATree) {
    groups("2:cpuacct,cpu:/job\n");
    put("cpu,cpuacct/job/cpu.cfs_quota_us", "400000\n");
    put("cpu,cpuacct/job/cpu.cfs_period_us", "100000\n");
    EXPECT_EQ(processors(), 4);
    groups("2:cpu,cpuacct:/job\n");
    EXPECT_EQ(processors(), 4);
    std::filesystem::create_directory_symlink("cpu,cpuacct", root_ + "/cpu");
    EXPECT_EQ(processors(), 4);
}

TEST_F(MachineTest, EachTreeHasItsOwnKindOfFiles) {
    groups("2:cpu:/job\n0::/job\n");
    put("cpu/job/cpu.max", "100000 100000\n");
    put("job/cpu.cfs_quota_us", "100000\n");
    put("job/cpu.cfs_period_us", "100000\n");
    put("memory/job/memory.limit_in_bytes", "5\n");  // not listed for this process
    EXPECT_EQ(processors(), 0);
    EXPECT_EQ(memory(), 0u);
}

TEST_F(MachineTest, OtherControllersAreNotTakenForThese) {
    put("cpu/cpu.cfs_quota_us", "100000\n");
    put("cpu/cpu.cfs_period_us", "100000\n");
    put("memory/memory.limit_in_bytes", "5\n");
    for (const char* line : {"3:cpuset:/\n", "3:cpuacct:/\n", "3:xcpu,memoryx:/\n", "1:name=cpu:/\n", "3:CPU:/\n", "3::/\n",
                             "3:hugetlb,name=memory:/\n"}) {
        groups(line);
        EXPECT_EQ(processors(), 0) << line;
        EXPECT_EQ(memory(), 0u) << line;
    }
}

TEST_F(MachineTest, AMachineWithBothKindsHasTheUnifiedTreeBelow) {
    groups("5:memory:/job\n1:name=systemd:/job\n0::/slice\n");
    put("memory/job/memory.limit_in_bytes", "7000\n");
    put("unified/slice/cpu.max", "200000 100000\n");
    EXPECT_EQ(processors(), 2);
    EXPECT_EQ(memory(), 7000u);
    put("unified/slice/memory.max", "6000\n");
    EXPECT_EQ(memory(), 6000u);
    put("memory/memory.limit_in_bytes", "5000\n");
    EXPECT_EQ(memory(), 5000u);
}

TEST_F(MachineTest, LinesThatAreNoneAreNoLimit) {
    put("memory.max", "5\n");
    put("unified/memory.max", "5\n");
    put("memory/memory.limit_in_bytes", "5\n");
    for (const char* line :
         {"", "\n", "0\n", "0:\n", "0::\n", "::/\n", "0:/\n", "0::job\n", "0::/..\n", "0::/../job\n", "0::/job/..\n",
          "0::/job/../..\n", "0::/", "4:memory\n", "4:memory:\n", "4:memory:/..\n", "x::/\n"}) {
        groups(line);
        EXPECT_EQ(memory(), 0u) << line;
    }
    groups(std::string("0::/\0\n", 6));
    EXPECT_EQ(memory(), 0u);
    groups("garbage\n\n0::/\n");  // which do not hide one that is
    EXPECT_EQ(memory(), 5u);
}

TEST_F(MachineTest, APathThatIsTooLongIsNoLimit) {
    put("memory.max", "5\n");
    std::string path;
    while (path.size() < 4000) path += "/x";
    groups("0::" + path + "\n");
    EXPECT_EQ(memory(), 5u);  // the groups inside cannot be looked at, those around them can
    groups("0::" + path + std::string(96, 'x') + "\n");
    EXPECT_EQ(memory(), 0u);
    groups("0::" + std::string(100'000, '/') + "\n");
    EXPECT_EQ(memory(), 0u);
}

TEST_F(MachineTest, ARootThatIsTooLongIsNoLimit) {
    groups("0::/\n");
    for (const unsigned long length : {4000UL, 4094UL, 4095UL, 4096UL, 5000UL, 100'000UL}) {
        EXPECT_EQ(memoryOfGroup(groupFile_.c_str(), ("/" + std::string(length, 'x')).c_str()), 0u);
    }
}

TEST_F(MachineTest, WhatIsNotThereIsNoLimit) {
    EXPECT_EQ(processors(), 0);  // no file names the groups
    groups("0::/job\n4:memory,cpu:/job\n");
    EXPECT_EQ(processors(), 0);
    EXPECT_EQ(memory(), 0u);
    put("memory.max/file", "");  // a directory in the place of the file
    EXPECT_EQ(memory(), 0u);
    EXPECT_EQ(memoryOfGroup(root_.c_str(), root_.c_str()), 0u);
    EXPECT_EQ(memoryOfGroup(groupFile_.c_str(), "/nowhere"), 0u);
    EXPECT_EQ(memoryOfGroup(groupFile_.c_str(), ""), memoryOfGroup(groupFile_.c_str(), "/"));
}

TEST_F(MachineTest, LookingLeavesNoHandleOpen) {
    groups("0::/a/b\n4:memory,cpu:/c\n");
    put("memory.max", "5\n");
    const std::size_t before = openHandles();
    EXPECT_EQ(memory(), 5u);
    EXPECT_EQ(processors(), 0);
    processorsAtDisposal();
    memoryAtDisposal();
    EXPECT_EQ(openHandles(), before);
}

// Files of bytes that look a little like what belongs there.
std::string randomText(std::mt19937* random, unsigned long piecesMax) {
    static const char* const pieces[] = {"0",   ":",      "::", "/",   "/a", "..",     ",",
                                         "cpu", "memory", "\n", "max", " ",  "100000", "9"};
    std::string text;
    for (unsigned long n = (*random)() % piecesMax; n > 0; --n) text += pieces[(*random)() % std::size(pieces)];
    return text;
}

TEST_F(MachineTest, AnyBytesGiveALimitOrNone) {
    constexpr unsigned seed = 5;
    std::mt19937 random(seed);
    for (int i = 0; i < 300; ++i) {
        groups(randomText(&random, 40));
        for (const char* file : {"cpu.max", "a/memory.max", "cpu/cpu.cfs_quota_us", "cpu/a/cpu.cfs_period_us"}) {
            put(file, randomText(&random, 6));
        }
        ASSERT_GE(processors(), 0) << "seed " << seed << ", round " << i << ": " << readFile(groupFile_);
        memory();
    }
}

// Runs on a thread of its own, since it gives up processors.
TEST(MachineOfThisTest, AThreadThatMayUseOneProcessorHasOneAtItsDisposal) {
    const int before = processorsAtDisposal();
    EXPECT_GE(before, 1);
    int restricted = 0;
    std::thread([&restricted] {
        cpu_set_t own;
        ASSERT_EQ(sched_getaffinity(0, sizeof own, &own), 0);
        int last = CPU_SETSIZE - 1;
        while (last > 0 && !CPU_ISSET(static_cast<unsigned>(last), &own)) --last;
        CPU_ZERO(&own);
        CPU_SET(static_cast<unsigned>(last), &own);
        ASSERT_EQ(sched_setaffinity(0, sizeof own, &own), 0);
        restricted = processorsAtDisposal();
    }).join();
    EXPECT_EQ(restricted, 1);
    EXPECT_EQ(processorsAtDisposal(), before);
}

TEST(MachineOfThisTest, NoMoreProcessorsAreAtDisposalThanTheMachineHas) {
    EXPECT_LE(processorsAtDisposal(), sysconf(_SC_NPROCESSORS_CONF));
}

TEST(MachineOfThisTest, NoMoreMemoryIsAtDisposalThanTheMachineHas) {
    const auto pages = static_cast<unsigned long>(sysconf(_SC_PHYS_PAGES));
    const auto pageBytes = static_cast<unsigned long>(sysconf(_SC_PAGESIZE));
    EXPECT_GT(memoryAtDisposal(), 0u);
    EXPECT_LE(memoryAtDisposal(), pages * pageBytes);
}

}  // namespace
