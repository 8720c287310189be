// Calls that fail, are interrupted or move less than asked for: what the caller is told, and what is left.
#include <cerrno>
#include <climits>
#include <set>

#include "file/file.h"
#include "file_fixture.h"
#include "os_faults.h"
#include "support/failing_new.h"

namespace {

class FileErrorsTest : public FileTest {};

TEST_F(FileErrorsTest, EveryCodeHasATextOfItsOwnAndNothingElseHasOne) {
    std::set<std::string> texts;
    for (int code = 1; code < np_err_end; ++code) {
        ASSERT_NE(np_fio_errdesc(code), nullptr) << code;
        texts.insert(np_fio_errdesc(code));
    }
    EXPECT_EQ(texts.size(), static_cast<std::size_t>(np_err_end - 1));
    for (int code : {0, -1, static_cast<int>(np_err_end), INT_MAX, INT_MIN}) EXPECT_EQ(np_fio_errdesc(code), nullptr);
}

TEST_F(FileErrorsTest, TheSystemsReasonsBecomeOurCodes) {
    struct {
        int error;
        int code;
    } const cases[] = {
        {EACCES, np_err_access},
        {EPERM, np_err_access},
        {ENOENT, np_err_no_such_file},
        {EEXIST, np_err_exists},
        {ENOTDIR, np_err_not_directory},
        {EISDIR, np_err_is_directory},
        {ELOOP, np_err_not_regular},
        {ENXIO, np_err_not_regular},
        {ENODEV, np_err_not_regular},
        {EMFILE, np_err_too_many_files},
        {ENFILE, np_err_too_many_files},
        {ENOSPC, np_err_no_space},
        {EDQUOT, np_err_no_space},
        {EFBIG, np_err_too_large},
        {EOVERFLOW, np_err_too_large},
        {EROFS, np_err_read_only},
        {EIO, np_err_io},
        {ENOMEM, np_err_memory},
        {ENAMETOOLONG, np_err_name},
        {EINVAL, np_err_invalid},
        {EBUSY, np_err_busy},
        {ETXTBSY, np_err_busy},
        {EAGAIN, np_err_busy},
        {ERANGE, np_err_failed},
    };
    makeFile("file");
    for (const auto& [error, code] : cases) {
        OsFaults os;
        os.failEvery(OsCall::open, error);
        np_file* file = nullptr;
        EXPECT_EQ(np_fio_open(path("file").c_str(), np_mode_read, &file), code) << error;
        EXPECT_EQ(file, nullptr);
    }
}

TEST_F(FileErrorsTest, AFullDiskIsReportedFromThenOn) {
    np_file* file = open(makeFile("file"), np_mode_update);
    OsFaults os;
    os.fillDiskAt(1000);
    EXPECT_EQ(put(file, patternOf(600)), 600u);
    EXPECT_EQ(np_fio_bufmode(file, 0), np_ok);
    EXPECT_EQ(put(file, patternOf(600)), 600u);  // buffered: nobody knows yet
    EXPECT_EQ(np_fio_bufmode(file, 0), np_err_no_space);
    os.fillDiskAt(LONG_MAX);
    EXPECT_EQ(put(file, "x"), 0u);
    EXPECT_EQ(put(file, patternOf(300'000)), 0u);
    EXPECT_EQ(np_fio_bufmode(file, 0), np_err_no_space);
    EXPECT_EQ(np_fio_trunc(file), np_err_no_space);
    EXPECT_EQ(np_fio_close(file), np_err_no_space);
    EXPECT_EQ(bytesOf(path("file")), patternOf(600) + patternOf(600).substr(0, 400));
}

TEST_F(FileErrorsTest, APutThatMeetsAFullDiskIsShort) {
    np_file* file = open(makeFile("file"), np_mode_update);
    OsFaults os;
    os.fillDiskAt(150'000);
    unsigned long total = 0;
    while (put(file, patternOf(1000)) == 1000 && total < 1'000'000) total += 1000;
    EXPECT_LT(total, 300'000u);
    EXPECT_EQ(np_fio_close(file), np_err_no_space);
}

TEST_F(FileErrorsTest, ALargePutTellsHowMuchFit) {
    np_file* file = open(makeFile("file"), np_mode_update);
    OsFaults os;
    os.fillDiskAt(150'000);
    EXPECT_EQ(put(file, patternOf(500'000)), 150'000u);
    EXPECT_EQ(np_fio_seek64(file, 0, np_from_current), 150'000);
    EXPECT_EQ(np_fio_close(file), np_err_no_space);
    EXPECT_EQ(bytesOf(path("file")), patternOf(150'000));
}

TEST_F(FileErrorsTest, TheFirstFailureIsTheOneThatCounts) {
    np_file* file = open(makeFile("file"), np_mode_update);
    OsFaults os;
    put(file, "abc");
    os.failEvery(OsCall::pwrite, EDQUOT);
    EXPECT_EQ(np_fio_bufmode(file, 0), np_err_no_space);
    os.failEvery(OsCall::close, EIO);
    EXPECT_EQ(np_fio_close(file), np_err_no_space);
}

TEST_F(FileErrorsTest, WhatCouldNotBeWrittenIsStillGotThroughTheHandle) {
    np_file* file = open(makeFile("file", patternOf(50'000)), np_mode_update);
    OsFaults os;
    put(file, "abc");
    os.failEvery(OsCall::pwrite, EIO);
    EXPECT_EQ(np_fio_bufmode(file, 0), np_err_io);
    np_fio_seek64(file, 0, np_from_start);
    EXPECT_EQ(get(file, 3), "abc");
    // A get that would have to give up those bytes fails, rather than to deliver a mixture.
    EXPECT_EQ(get(file, 3), "");
    EXPECT_EQ(get(file, 300'000), "");
    np_fio_seek64(file, 1, np_from_start);
    EXPECT_EQ(get(file, 2), "bc");
    EXPECT_EQ(np_fio_close(file), np_err_io);
}

TEST_F(FileErrorsTest, APutThroughAReadOnlyHandleIsRememberedToo) {
    np_file* file = open(makeFile("file", "abc"), np_mode_read);
    EXPECT_EQ(np_fio_bufmode(file, 0), np_ok);
    EXPECT_EQ(np_fio_trunc(file), np_err_read_only);
    EXPECT_EQ(np_fio_bufmode(file, 0), np_ok);
    EXPECT_EQ(get(file, 1), "a");
    EXPECT_EQ(put(file, "x"), 0u);
    EXPECT_EQ(put(file, patternOf(300'000)), 0u);
    EXPECT_EQ(get(file, 5), "bc");
    EXPECT_EQ(np_fio_bufmode(file, 0), np_err_read_only);
    EXPECT_EQ(np_fio_close(file), np_err_read_only);
    EXPECT_EQ(bytesOf(path("file")), "abc");
}

TEST_F(FileErrorsTest, NoRoomIsLentWhereAPutWouldFail) {
    makeFile("file", "abc");
    np_file* readOnly = open(path("file"), np_mode_read);
    np_file* broken = open(path("file"), np_mode_update);
    put(readOnly, "x");
    put(broken, "x");
    OsFaults os;
    os.failEvery(OsCall::pwrite, EIO);
    EXPECT_EQ(np_fio_bufmode(broken, 0), np_err_io);
    for (np_file* file : {readOnly, broken}) {
        unsigned long size = 1;
        np_fio_room(file, &size);
        EXPECT_EQ(size, 0u);
        EXPECT_NE(np_fio_close(file), np_ok);
    }
}

TEST_F(FileErrorsTest, AReadThatFailsIsShortAndIsNotRemembered) {
    np_file* file = open(makeFile("file", patternOf(10'000)), np_mode_update);
    {
        OsFaults os;
        os.transferAtMost(1000);
        os.failEvery(OsCall::pread, EIO, 2);
        EXPECT_EQ(get(file, 3000), patternOf(2000));
    }
    EXPECT_EQ(np_fio_seek64(file, 0, np_from_current), 2000);
    EXPECT_EQ(get(file, 10), patternOf(2010).substr(2000));
    EXPECT_EQ(np_fio_close(file), np_ok);
}

TEST_F(FileErrorsTest, AFailedLargeReadIsShort) {
    np_file* file = open(makeFile("file", patternOf(300'000)), np_mode_read);
    OsFaults os;
    os.transferAtMost(100'000);
    os.failEvery(OsCall::pread, EIO, 2);
    EXPECT_EQ(get(file, 300'000), patternOf(200'000));
    EXPECT_EQ(np_fio_seek64(file, 0, np_from_current), 200'000);
    EXPECT_EQ(np_fio_close(file), np_ok);
}

TEST_F(FileErrorsTest, AFailedReadFarAwayLeavesThePosition) {
    np_file* file = open(makeFile("file", patternOf(100'000)), np_mode_read);
    np_fio_seek64(file, 50'000, np_from_start);
    get(file, 10);
    {
        OsFaults os;
        os.failEvery(OsCall::pread, EIO);
        np_fio_seek64(file, 49'000, np_from_start);
        EXPECT_EQ(get(file, 10), "");
        EXPECT_EQ(np_fio_seek64(file, 0, np_from_current), 49'000);
    }
    EXPECT_EQ(get(file, 10), patternOf(100'000).substr(49'000, 10));
    EXPECT_EQ(np_fio_close(file), np_ok);
}

TEST_F(FileErrorsTest, AFailedTruncationIsReportedAndLosesNothing) {
    np_file* file = open(makeFile("file", "abcdef"), np_mode_update);
    np_fio_seek64(file, 4, np_from_start);
    put(file, "EF");
    np_fio_seek64(file, 1, np_from_start);
    {
        OsFaults os;
        os.failEvery(OsCall::ftruncate, EPERM);
        EXPECT_EQ(np_fio_trunc(file), np_err_access);
    }
    EXPECT_EQ(np_fio_seek64(file, 0, np_from_current), 1);
    EXPECT_EQ(get(file, 9), "bcdEF");
    EXPECT_EQ(np_fio_close(file), np_ok);
    EXPECT_EQ(bytesOf(path("file")), "abcdEF");
}

TEST_F(FileErrorsTest, AFailedCloseIsReportedAndFreesTheHandle) {
    np_file* file = open(makeFile("file"), np_mode_update);
    put(file, "abc");
    OsFaults os;
    os.failEvery(OsCall::close, EIO);
    EXPECT_EQ(np_fio_close(file), np_err_io);
    EXPECT_EQ(bytesOf(path("file")), "abc");
}

TEST_F(FileErrorsTest, AnInterruptedCloseIsNoFailure) {
    np_file* file = open(makeFile("file"), np_mode_update);
    OsFaults os;
    os.failEvery(OsCall::close, EINTR);
    EXPECT_EQ(np_fio_close(file), np_ok);
}

TEST_F(FileErrorsTest, AWriteThatMovesNothingIsAFailureAndNoLoop) {
    np_file* file = open(makeFile("file"), np_mode_update);
    put(file, "abc");
    OsFaults os;
    os.transferAtMost(0);
    EXPECT_EQ(np_fio_close(file), np_err_io);
}

TEST_F(FileErrorsTest, PutsBeyondTheLargestPositionAreTooLarge) {
    for (long before : {0L, 1L, 10L, 5000L}) {
        np_file* file = open(makeFile("file"), np_mode_update);
        EXPECT_EQ(np_fio_seek64(file, LONG_MAX - before, np_from_start), LONG_MAX - before);
        EXPECT_LE(put(file, patternOf(6000)), static_cast<unsigned long>(before));
        EXPECT_EQ(np_fio_bufmode(file, 0), np_err_too_large);
        EXPECT_EQ(np_fio_close(file), np_err_too_large);
    }
    np_file* file = open(makeFile("file"), np_mode_update);
    np_fio_seek64(file, LONG_MAX - 10, np_from_start);
    EXPECT_LE(put(file, patternOf(200'000)), 10u);
    EXPECT_NE(np_fio_close(file), np_ok);
}

// Everything that a handle can do, with the outcome of each step. Small buffers, so that many calls are made.
struct Outcome {
    bool complete = false;
    int firstCode = np_ok;
    bool operator()(int code) {
        if (code != np_ok && firstCode == np_ok) firstCode = code;
        return code == np_ok;
    }
};

Outcome writeAndReadBack(const std::string& path) {
    Outcome check;
    np_file* file = nullptr;
    if (!check(np_fio_open(path.c_str(), np_mode_update, &file))) return check;
    file->setBufferSizes(16, 64);
    bool all = true;
    for (int i = 0; i < 50; ++i) all = np_fio_putb(file, "0123456789", 10) == 10 && all;
    all = np_fio_seek64(file, -10, np_from_end) == 490 && all;
    char last[10];
    all = np_fio_getb(file, last, sizeof last) == sizeof last && std::string(last, 10) == "0123456789" && all;
    all = np_fio_seek64(file, 100, np_from_start) == 100 && all;
    all = check(np_fio_bufmode(file, 0)) && all;
    all = check(np_fio_trunc(file)) && all;
    all = check(np_fio_close(file)) && all;
    check.complete = all;
    return check;
}

TEST_F(FileErrorsTest, EveryFailedCallIsReportedAndLeaksNothing) {
    bool failed = true;
    long runs = 0;
    for (long n = 1; failed; ++n, ++runs) {
        OsFaults os;
        os.failNth(n, EIO);
        const Outcome outcome = writeAndReadBack(makeFile("file"));
        failed = os.failed();
        EXPECT_EQ(outcome.complete, !failed) << n;
        EXPECT_EQ(openHandles(), handlesBefore_);
        if (outcome.complete) {
            EXPECT_EQ(bytesOf(path("file")).size(), 100u);
        }
    }
    EXPECT_GT(runs, 12);
}

TEST_F(FileErrorsTest, EveryInterruptionAndEveryShortTransferIsContinued) {
    for (unsigned long most : {1UL, 2UL, 7UL, ULONG_MAX}) {
        OsFaults os;
        os.interrupt();
        os.transferAtMost(most);
        EXPECT_TRUE(writeAndReadBack(makeFile("file")).complete);
    }
}

TEST_F(FileErrorsTest, WithoutMemoryForABufferTransfersAreMadeDirectly) {
    const long failures = failing_new::forEachFailure([&] {
        makeFile("file");
        const Outcome outcome = writeAndReadBack(path("file"));
        // Only the handle itself cannot be done without.
        EXPECT_TRUE(outcome.complete || outcome.firstCode == np_err_memory);
    });
    EXPECT_EQ(failures, 3);  // the handle and two buffers
}

TEST_F(FileErrorsTest, BackwardReadsDoWithoutALargerBuffer) {
    const std::string bytes = patternOf(100'000);
    for (long allocation = 0; allocation < 4; ++allocation) {
        np_file* file = open(makeFile("file", bytes), np_mode_read);
        failing_new::failAt(allocation);
        for (std::size_t at = 99'900; at >= 100; at -= 100) {
            np_fio_seek64(file, static_cast<long>(at), np_from_start);
            ASSERT_EQ(get(file, 100), bytes.substr(at, 100)) << at;
        }
        failing_new::stop();
        EXPECT_EQ(np_fio_close(file), np_ok);
    }
}

TEST_F(FileErrorsTest, WithoutAnyMemoryForBuffersEverythingStillWorks) {
    np_file* file = open(makeFile("file", patternOf(1000)), np_mode_update);
    const std::string expected = patternOf(1000).replace(500, 3, "abc");
    char byte = 0;
    failing_new::failAt(0);
    for (std::size_t at = 0; at < 20; ++at) {
        failing_new::failAt(0);
        np_fio_seek64(file, static_cast<long>(at), np_from_start);
        EXPECT_EQ(np_fio_getb(file, &byte, 1), 1u);
        EXPECT_EQ(byte, expected[at]);
    }
    failing_new::failAt(0);
    np_fio_seek64(file, 500, np_from_start);
    EXPECT_EQ(np_fio_putb(file, "abc", 3), 3u);
    failing_new::stop();
    EXPECT_EQ(bytesOf(path("file")), expected);  // without a buffer nothing is held back
    EXPECT_EQ(np_fio_close(file), np_ok);
}

}  // namespace
