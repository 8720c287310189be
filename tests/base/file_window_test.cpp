// Where the window goes, and how many calls and bytes that costs.
#include <algorithm>
#include <cerrno>
#include <climits>

#include "file/file.h"
#include "file_fixture.h"
#include "os_faults.h"
#include "support/failing_new.h"

namespace {

constexpr long largestStep = 124L * 1024;
constexpr long growthSteps = 3;  // 4, 16 and 64 KiB

class FileWindowTest : public FileTest {
protected:
    void TearDown() override {
        EXPECT_EQ(np_fio_close(file_), np_ok);
        FileTest::TearDown();
    }

    void openPattern(unsigned long size) {
        bytes_ = patternOf(size);
        file_ = open(makeFile("file", bytes_), np_mode_update);
        ASSERT_NE(file_, nullptr);
    }

    void expectBytes(long position, unsigned long size) {
        ASSERT_EQ(np_fio_seek64(file_, position, np_from_start), position);
        ASSERT_EQ(get(file_, size), bytes_.substr(static_cast<std::size_t>(position), size)) << position;
    }

    long fileSize() const { return static_cast<long>(bytes_.size()); }

    std::string bytes_;
    np_file* file_ = nullptr;
    OsFaults os_;
};

TEST_F(FileWindowTest, AForwardScanReadsEveryByteOnceInGrowingSteps) {
    openPattern(2'000'000);
    for (long at = 0; at < fileSize(); at += 125) ASSERT_EQ(get(file_, 125), bytes_.substr(static_cast<std::size_t>(at), 125));
    EXPECT_EQ(get(file_, 1), "");
    EXPECT_EQ(os_.bytesRead(), fileSize());
    EXPECT_LE(os_.calls(OsCall::pread), fileSize() / largestStep + growthSteps + 2);
}

TEST_F(FileWindowTest, AScanThatSkipsMostOfItsBytesCostsAsFewCalls) {
    openPattern(2'000'000);
    for (long at = 0; at < fileSize(); at += 125) {
        ASSERT_EQ(get(file_, 8), bytes_.substr(static_cast<std::size_t>(at), 8));
        ASSERT_EQ(np_fio_seek64(file_, 60, np_from_current), at + 68);
        ASSERT_EQ(np_fio_seek64(file_, 57, np_from_current), at + 125);
    }
    EXPECT_LE(os_.calls(OsCall::pread), fileSize() / largestStep + growthSteps + 2);
}

TEST_F(FileWindowTest, ABackwardScanOverRowsCostsLittleMoreThanAForwardOne) {
    openPattern(2'000'000);
    for (long at = fileSize() - 125; at >= 0; at -= 125) {
        expectBytes(at, 8);
        ASSERT_EQ(get(file_, 117), bytes_.substr(static_cast<std::size_t>(at) + 8, 117));
    }
    EXPECT_LE(os_.calls(OsCall::pread), fileSize() / largestStep * 5 / 4 + growthSteps + 2);
    EXPECT_LE(os_.bytesRead(), fileSize() * 5 / 4);
}

TEST_F(FileWindowTest, ABackwardScanOverAnIndexCostsAsFewCalls) {
    openPattern(800'000);
    for (long at = fileSize() - 8; at >= 0; at -= 8) expectBytes(at, 8);
    EXPECT_LE(os_.calls(OsCall::pread), fileSize() / largestStep * 5 / 4 + growthSteps + 2);
}

TEST_F(FileWindowTest, ABackwardScanOverRowsLongerThanTheFirstWindowSettlesToo) {
    openPattern(6'000'000);
    constexpr unsigned long row = 6000;
    for (long at = fileSize() - static_cast<long>(row); at >= 0; at -= static_cast<long>(row)) {
        expectBytes(at, 8);
        ASSERT_EQ(get(file_, row - 8), bytes_.substr(static_cast<std::size_t>(at) + 8, row - 8));
    }
    EXPECT_LE(os_.calls(OsCall::pread), fileSize() / largestStep * 5 / 4 + 12);
    EXPECT_LE(os_.bytesRead(), fileSize() * 3 / 2);
}

TEST_F(FileWindowTest, AReadAfterAJumpReadsLittle) {
    openPattern(4'000'000);
    for (long at : {3'000'000L, 100'000L, 2'000'000L, 1L, 3'900'000L}) expectBytes(at, 100);
    EXPECT_EQ(os_.calls(OsCall::pread), 5);
    EXPECT_EQ(os_.bytesRead(), 5 * 4096);
}

TEST_F(FileWindowTest, ReadsGrowAgainAfterAJump) {
    openPattern(2'000'000);
    expectBytes(1'000'000, 1);
    expectBytes(0, 1'000);
    for (int i = 0; i < 200; ++i) get(file_, 100);
    EXPECT_EQ(os_.calls(OsCall::pread), 4);
    EXPECT_EQ(os_.bytesRead(), 4096 + 4096 + 4 * 4096 + 16 * 4096);
}

TEST_F(FileWindowTest, AFileThatEndedIsNotAskedForMoreThanBefore) {
    openPattern(300);
    failing_new::failAt(-1);  // only to count from here
    EXPECT_EQ(get(file_, 300), bytes_);
    EXPECT_EQ(os_.calls(OsCall::pread), 1);
    EXPECT_EQ(get(file_, 8), "");
    EXPECT_EQ(os_.calls(OsCall::pread), 2);
    EXPECT_EQ(failing_new::made, 1);  // nor does the buffer grow for it
}

TEST_F(FileWindowTest, SeeksDoNoTransfersAndOnlyTheEndIsAskedFor) {
    openPattern(1'000'000);
    put(file_, "dirty");
    for (long offset : {0L, 1L, 500'000L, 2'000'000L, 3L}) EXPECT_EQ(np_fio_seek64(file_, offset, np_from_start), offset);
    EXPECT_EQ(np_fio_seek64(file_, 60, np_from_current), 63);
    EXPECT_EQ(np_fio_seek64(file_, -63, np_from_current), 0);
    EXPECT_EQ(os_.calls(OsCall::pread) + os_.calls(OsCall::pwrite) + os_.calls(OsCall::fstat), 1);  // the fstat of the opening
    EXPECT_EQ(np_fio_seek64(file_, -1, np_from_end), 999'999);
    EXPECT_EQ(os_.calls(OsCall::pread) + os_.calls(OsCall::pwrite), 0);
    EXPECT_EQ(os_.calls(OsCall::fstat), 2);
}

TEST_F(FileWindowTest, ASeekInsideTheWindowDiscardsNothing) {
    openPattern(4000);
    expectBytes(0, 4000);
    for (long at : {3999L, 0L, 17L, 3000L, 2999L}) expectBytes(at, 1);
    EXPECT_EQ(os_.calls(OsCall::pread), 1);

    np_fio_seek64(file_, 1000, np_from_start);
    put(file_, "one");
    np_fio_seek64(file_, 3000, np_from_start);
    put(file_, "two");
    bytes_.replace(1000, 3, "one").replace(3000, 3, "two");
    expectBytes(999, 5);
    expectBytes(2990, 20);
    EXPECT_EQ(os_.calls(OsCall::pwrite), 0);
    EXPECT_EQ(np_fio_bufmode(file_, 0), np_ok);
    EXPECT_EQ(os_.calls(OsCall::pwrite), 1);
    EXPECT_EQ(bytesOf(path("file")), bytes_);
    EXPECT_EQ(os_.calls(OsCall::pread), 1);
}

TEST_F(FileWindowTest, ASeekAwayAndBackKeepsWhatWasPut) {
    openPattern(100);
    put(file_, "abc");
    np_fio_seek64(file_, 1'000'000, np_from_start);
    np_fio_seek64(file_, 1, np_from_start);
    EXPECT_EQ(get(file_, 2), "bc");
    put(file_, "d");
    EXPECT_EQ(os_.calls(OsCall::pwrite) + os_.calls(OsCall::pread), 0);
    EXPECT_EQ(np_fio_bufmode(file_, 0), np_ok);
    EXPECT_EQ(bytesOf(path("file")), "abcd" + bytes_.substr(4));
}

TEST_F(FileWindowTest, SmallPutsReachTheFileInLargeSteps) {
    openPattern(0);
    bytes_ = patternOf(1'000'000);
    for (std::size_t at = 0; at < bytes_.size(); at += 8) ASSERT_EQ(np_fio_putb(file_, bytes_.data() + at, 8), 8u);
    EXPECT_EQ(np_fio_bufmode(file_, 0), np_ok);
    EXPECT_LE(os_.calls(OsCall::pwrite), fileSize() / largestStep + growthSteps + 1);
    EXPECT_EQ(os_.calls(OsCall::pread), 0);
    EXPECT_EQ(bytesOf(path("file")), bytes_);
}

TEST_F(FileWindowTest, AskingForThePositionDoesNotDisturbPuts) {
    openPattern(0);
    for (long i = 0; i < 1000; ++i) {
        ASSERT_EQ(np_fio_seek64(file_, 0, np_from_current), i);
        ASSERT_EQ(put(file_, "x"), 1u);
    }
    np_fio_seek64(file_, 0, np_from_current);
    unsigned long room = 0;
    np_fio_room(file_, &room);
    EXPECT_GT(room, 0u);  // the next put needs no preparation
    EXPECT_EQ(os_.calls(OsCall::pwrite), 0);
    EXPECT_EQ(np_fio_seek64(file_, 0, np_from_end), 1000);
}

TEST_F(FileWindowTest, PutsGoOnAtTheEndOfTheWindow) {
    openPattern(0);
    put(file_, "abc");
    np_fio_seek64(file_, 0, np_from_start);
    EXPECT_EQ(get(file_, 2), "ab");
    np_fio_seek64(file_, 0, np_from_end);
    put(file_, "d");
    EXPECT_EQ(os_.calls(OsCall::pwrite), 0);
    EXPECT_EQ(np_fio_bufmode(file_, 0), np_ok);
    EXPECT_EQ(bytesOf(path("file")), "abcd");
}

TEST_F(FileWindowTest, WhatFillsTheBufferIsMovedInOneCall) {
    openPattern(0);
    const std::string large = patternOf(1'000'000);
    EXPECT_EQ(put(file_, large), large.size());
    EXPECT_EQ(os_.calls(OsCall::pwrite), 1);
    np_fio_seek64(file_, 0, np_from_start);
    EXPECT_EQ(get(file_, large.size()), large);
    EXPECT_EQ(os_.calls(OsCall::pread), 1);
}

TEST_F(FileWindowTest, SmallPutsBeforeALargeOneComeFirst) {
    openPattern(0);
    const std::string large = patternOf(200'000);
    put(file_, "first");
    put(file_, large);
    put(file_, "last");
    EXPECT_EQ(np_fio_bufmode(file_, 0), np_ok);
    EXPECT_EQ(bytesOf(path("file")), "first" + large + "last");
}

TEST_F(FileWindowTest, ALargeGetSeesSmallPuts) {
    openPattern(300'000);
    np_fio_seek64(file_, 150'000, np_from_start);
    put(file_, "here");
    bytes_.replace(150'000, 4, "here");
    expectBytes(0, 300'000);
}

TEST_F(FileWindowTest, PutsAlternateWithGetsOfWhatFollows) {
    openPattern(100'000);
    for (std::size_t at = 0; at + 200 <= bytes_.size(); at += 200) {
        ASSERT_EQ(put(file_, "0123456789"), 10u);
        bytes_.replace(at, 10, "0123456789");
        ASSERT_EQ(get(file_, 190), bytes_.substr(at + 10, 190));
    }
    EXPECT_EQ(np_fio_bufmode(file_, 0), np_ok);
    EXPECT_EQ(bytesOf(path("file")), bytes_);
    EXPECT_LE(os_.calls(OsCall::pread), 10);
    EXPECT_LE(os_.calls(OsCall::pwrite), 10);
}

TEST_F(FileWindowTest, AFileThatGrewElsewhereIsReadOn) {
    openPattern(10);
    EXPECT_EQ(get(file_, 100), bytes_);
    std::ofstream(path("file"), std::ios::app) << "more";
    EXPECT_EQ(get(file_, 100), "more");
}

TEST_F(FileWindowTest, AnotherHandleSeesWhatWasWrittenOut) {
    openPattern(10);
    put(file_, "seen?");
    np_file* other = open(path("file"), np_mode_read);
    EXPECT_EQ(get(other, 5), bytes_.substr(0, 5));
    EXPECT_EQ(np_fio_close(other), np_ok);
    EXPECT_EQ(np_fio_bufmode(file_, 0), np_ok);
    other = open(path("file"), np_mode_read);
    EXPECT_EQ(get(other, 5), "seen?");
    EXPECT_EQ(np_fio_close(other), np_ok);
}

TEST_F(FileWindowTest, APositionBeforeTheStartOrBeyondAllNumbersIsRefusedAndChangesNothing) {
    openPattern(10);
    np_fio_seek64(file_, 4, np_from_start);
    EXPECT_LT(np_fio_seek64(file_, -1, np_from_start), 0);
    EXPECT_LT(np_fio_seek64(file_, -5, np_from_current), 0);
    EXPECT_LT(np_fio_seek64(file_, -11, np_from_end), 0);
    EXPECT_LT(np_fio_seek64(file_, LONG_MIN, np_from_start), 0);
    EXPECT_LT(np_fio_seek64(file_, LONG_MIN, np_from_end), 0);
    EXPECT_LT(np_fio_seek64(file_, LONG_MAX, np_from_current), 0);
    EXPECT_LT(np_fio_seek64(file_, LONG_MAX, np_from_end), 0);
    EXPECT_LT(np_fio_seek64(file_, 0, 3), 0);
    EXPECT_LT(np_fio_seek64(file_, 0, -1), 0);
    EXPECT_EQ(np_fio_seek64(file_, 0, np_from_current), 4);
    EXPECT_EQ(get(file_, 1), bytes_.substr(4, 1));
}

TEST_F(FileWindowTest, ASeekFromTheEndFailsWhenTheSizeIsUnknown) {
    openPattern(10);
    np_fio_seek64(file_, 4, np_from_start);
    os_.failEvery(OsCall::fstat, EIO);
    EXPECT_LT(np_fio_seek64(file_, 0, np_from_end), 0);
    EXPECT_EQ(np_fio_seek64(file_, 0, np_from_current), 4);
}

TEST_F(FileWindowTest, ThereIsNothingToGetBeyondTheEnd) {
    openPattern(10);
    EXPECT_EQ(np_fio_seek64(file_, 11, np_from_start), 11);
    EXPECT_EQ(get(file_, 1), "");
    EXPECT_EQ(np_fio_seek64(file_, LONG_MAX, np_from_start), LONG_MAX);
    EXPECT_EQ(get(file_, 1), "");
    EXPECT_EQ(get(file_, 200'000), "");
    EXPECT_EQ(np_fio_seek64(file_, -1, np_from_current), LONG_MAX - 1);
    EXPECT_EQ(get(file_, 9), "");
    expectBytes(9, 1);
}

TEST_F(FileWindowTest, APutBeyondTheEndLeavesZerosBefore) {
    openPattern(3);
    np_fio_seek64(file_, 2, np_from_end);
    put(file_, "x");
    EXPECT_EQ(np_fio_seek64(file_, 0, np_from_end), 6);
    np_fio_seek64(file_, 0, np_from_start);
    EXPECT_EQ(get(file_, 10), bytes_ + std::string(2, '\0') + "x");
}

TEST_F(FileWindowTest, SizeCountsWhatIsStillBuffered) {
    openPattern(10);
    np_fio_seek64(file_, 8, np_from_start);
    put(file_, "12345");
    EXPECT_EQ(np_fio_seek64(file_, 0, np_from_end), 13);
    EXPECT_EQ(os_.calls(OsCall::pwrite), 0);
    np_fio_seek64(file_, 0, np_from_start);
    put(file_, "12345");
    EXPECT_EQ(np_fio_seek64(file_, -1, np_from_end), 12);
}

TEST_F(FileWindowTest, TruncationCutsWhatWasReadAndPut) {
    openPattern(100);
    expectBytes(0, 100);
    np_fio_seek64(file_, 40, np_from_start);
    put(file_, "0123456789");
    np_fio_seek64(file_, 45, np_from_start);
    EXPECT_EQ(np_fio_trunc(file_), np_ok);
    EXPECT_EQ(bytesOf(path("file")), bytes_.substr(0, 40) + "01234");
    EXPECT_EQ(get(file_, 10), "");
    EXPECT_EQ(np_fio_seek64(file_, 0, np_from_end), 45);
    put(file_, "x");
    np_fio_seek64(file_, 43, np_from_start);
    EXPECT_EQ(get(file_, 10), "34x");
}

TEST_F(FileWindowTest, TruncationBeforeTheWindowEmptiesIt) {
    openPattern(20'000);
    expectBytes(15'000, 100);
    np_fio_seek64(file_, 10, np_from_start);
    EXPECT_EQ(np_fio_trunc(file_), np_ok);
    np_fio_seek64(file_, 15'000, np_from_start);
    EXPECT_EQ(get(file_, 1), "");
    expectBytes(0, 10);
    EXPECT_EQ(get(file_, 1), "");
}

TEST_F(FileWindowTest, TruncationBeyondTheEndExtendsWithZeros) {
    openPattern(3);
    put(file_, "ab");
    np_fio_seek64(file_, 6, np_from_start);
    EXPECT_EQ(np_fio_trunc(file_), np_ok);
    EXPECT_EQ(bytesOf(path("file")), "ab" + bytes_.substr(2) + std::string(3, '\0'));
    EXPECT_EQ(np_fio_seek64(file_, 0, np_from_current), 6);
    np_fio_seek64(file_, 0, np_from_start);
    EXPECT_EQ(get(file_, 10), "ab" + bytes_.substr(2) + std::string(3, '\0'));
}

TEST_F(FileWindowTest, OtherModesOfBufferingAreRefusedAndWriteNothing) {
    openPattern(3);
    put(file_, "ab");
    EXPECT_EQ(np_fio_bufmode(file_, 1), np_err_invalid);
    EXPECT_EQ(np_fio_bufmode(file_, -1), np_err_invalid);
    EXPECT_EQ(bytesOf(path("file")), bytes_);
}

TEST_F(FileWindowTest, TransfersOfEveryShortLengthAndPlaceAreExact) {
    openPattern(0);
    bytes_.clear();
    for (unsigned long size = 0; size <= 130; ++size) {
        const std::string text = patternOf(size + 7).substr(7);
        ASSERT_EQ(put(file_, text), size);
        bytes_ += text;
    }
    np_fio_seek64(file_, 0, np_from_start);
    std::size_t at = 0;
    for (unsigned long size = 0; size <= 130; at += size, ++size) ASSERT_EQ(get(file_, size), bytes_.substr(at, size)) << size;
}

TEST_F(FileWindowTest, WhatIsLentIsWhatAGetWouldDeliver) {
    openPattern(10'000);
    unsigned long size = 1;
    np_fio_view(file_, &size);
    EXPECT_EQ(size, 0u);  // nothing was read yet, and lending reads nothing
    get(file_, 100);
    const unsigned char* lent = np_fio_view(file_, &size);
    EXPECT_EQ(std::string(lent, lent + size), bytes_.substr(100, 4096 - 100));
    EXPECT_EQ(np_fio_seek64(file_, 50, np_from_current), 150);
    EXPECT_EQ(get(file_, 10), bytes_.substr(150, 10));
    np_fio_room(file_, &size);
    EXPECT_EQ(size, 0u);  // reading is no time to put
    np_fio_fill(file_, 0);
    EXPECT_EQ(get(file_, 10), bytes_.substr(160, 10));
    EXPECT_EQ(os_.calls(OsCall::pread), 1);
}

TEST_F(FileWindowTest, TheViewReachesBackToWhereTheWindowBegins) {
    openPattern(10'000);
    EXPECT_EQ(np_fio_view_before(file_), 0u);
    get(file_, 100);
    unsigned long size = 0;
    const unsigned char* lent = np_fio_view(file_, &size);
    ASSERT_EQ(np_fio_view_before(file_), 100u);
    EXPECT_EQ(std::string(lent - 100, lent), bytes_.substr(0, 100));
    EXPECT_EQ(np_fio_seek64(file_, 9'000, np_from_start), 9'000);
    EXPECT_EQ(np_fio_view_before(file_), 0u);  // outside of the window there is no view, nor anything before it
    put(file_, "x");
    EXPECT_EQ(np_fio_view_before(file_), 0u);  // nor is there while putting
}

TEST_F(FileWindowTest, WhatIsPutIntoLentRoomIsPut) {
    openPattern(0);
    unsigned long size = 1;
    np_fio_room(file_, &size);
    EXPECT_EQ(size, 0u);
    put(file_, "a");
    unsigned char* room = np_fio_room(file_, &size);
    ASSERT_GE(size, 4000u);
    std::copy_n("bcd", 3, room);
    np_fio_fill(file_, 2);
    EXPECT_EQ(np_fio_seek64(file_, 0, np_from_current), 3);
    put(file_, "e");
    np_fio_view(file_, &size);
    EXPECT_EQ(size, 0u);  // nor is putting one to get
    EXPECT_EQ(np_fio_bufmode(file_, 0), np_ok);
    EXPECT_EQ(bytesOf(path("file")), "abce");
}

TEST_F(FileWindowTest, TransfersOfNothingNeedNoMemoryToPointTo) {
    openPattern(3);
    EXPECT_EQ(np_fio_getb(file_, nullptr, 0), 0u);
    EXPECT_EQ(np_fio_putb(file_, nullptr, 0), 0u);
    EXPECT_EQ(np_fio_bufmode(file_, 0), np_ok);
    EXPECT_EQ(os_.calls(OsCall::pwrite), 0);
}

}  // namespace
