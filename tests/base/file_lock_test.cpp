// Who holds a file and who may seize it.
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "file_fixture.h"
#include "os_faults.h"

namespace {

class FileLockTest : public FileTest {
protected:
    FileLockTest() { makeFile("file"); }
    ~FileLockTest() override {
        for (np_file* file : opened_) np_fio_close(file);
    }
    void TearDown() override {}  // the handles are closed after it

    np_file* handle(int mode = np_mode_update) {
        opened_.push_back(open(path("file"), mode));
        return opened_.back();
    }

    // The handle is the last one opened, or the only one.
    void close(np_file* file) {
        std::erase(opened_, file);
        EXPECT_EQ(np_fio_close(file), np_ok);
    }

    int seized() {
        np_file* file = open(path("file"), np_mode_update);
        const int code = np_fio_seize(file);
        np_fio_close(file);
        return code;
    }

private:
    std::vector<np_file*> opened_;
};

TEST_F(FileLockTest, AnyNumberOfHandlesHoldAFile) {
    for (int mode : {np_mode_read, np_mode_update, np_mode_append}) EXPECT_EQ(np_fio_hold(handle(mode), 0), np_ok);
}

TEST_F(FileLockTest, WhatNobodyHoldsCanBeSeized) {
    handle();  // open, but not held
    EXPECT_EQ(seized(), np_ok);
    EXPECT_EQ(seized(), np_ok) << "a seizure ends with its handle";
}

TEST_F(FileLockTest, WhatIsHeldCannotBeSeized) {
    np_file* first = handle(np_mode_read);
    np_file* second = handle();
    EXPECT_EQ(np_fio_hold(first, 0), np_ok);
    EXPECT_EQ(np_fio_hold(second, 0), np_ok);
    EXPECT_EQ(seized(), np_err_busy);
    close(first);
    EXPECT_EQ(seized(), np_err_busy) << "closing one handle gives away the hold of another";
    close(second);
    EXPECT_EQ(seized(), np_ok);
}

TEST_F(FileLockTest, WhatIsSeizedCanBeNeitherHeldNorSeized) {
    np_file* sweeper = handle();
    EXPECT_EQ(np_fio_seize(sweeper), np_ok);
    EXPECT_EQ(np_fio_hold(handle(np_mode_read), 0), np_err_busy);
    EXPECT_EQ(seized(), np_err_busy);
}

TEST_F(FileLockTest, APatientHoldWaitsForALongTimeAndNotForEver) {
    np_file* sweeper = handle();
    ASSERT_EQ(np_fio_seize(sweeper), np_ok);
    OsFaults os;  // whose pauses take no time
    EXPECT_EQ(np_fio_hold(handle(), 1), np_err_busy);
    EXPECT_EQ(os.calls(OsCall::pause), 5000);
    EXPECT_EQ(os.calls(OsCall::flock), 5001);
}

TEST_F(FileLockTest, APatientHoldComesThroughOnceTheFileIsFree) {
    OsFaults os;
    os.interrupt();
    EXPECT_EQ(np_fio_hold(handle(), 1), np_ok);
    EXPECT_EQ(os.calls(OsCall::pause), 0);
}

TEST_F(FileLockTest, AFileThatLostItsNameIsNeitherHeldNorSeized) {
    np_file* file = handle();
    ASSERT_EQ(unlink(path("file").c_str()), 0);
    EXPECT_EQ(np_fio_hold(file, 0), np_err_no_such_file);
    np_file* other = nullptr;
    makeFile("file");  // another file by the same name
    EXPECT_EQ(np_fio_hold(file, 1), np_err_no_such_file);
    close(file);
    other = handle();
    EXPECT_EQ(np_fio_hold(other, 0), np_ok);
    ASSERT_EQ(unlink(path("file").c_str()), 0);
    close(other);
}

TEST_F(FileLockTest, ASeizedFileThatLostItsNameIsNamedAsMissing) {
    np_file* file = handle();
    ASSERT_EQ(unlink(path("file").c_str()), 0);
    EXPECT_EQ(np_fio_seize(file), np_err_no_such_file);
}

TEST_F(FileLockTest, AHoldDiesWithItsProcess) {
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = fork();
    if (child == 0) {
        np_file* file = nullptr;
        const char held = np_fio_open(path("file").c_str(), np_mode_read, &file) == np_ok && np_fio_hold(file, 0) == np_ok;
        if (write(ready[1], &held, 1) != 1) _exit(1);
        for (;;) pause();
    }
    char held = 0;
    EXPECT_EQ(read(ready[0], &held, 1), 1);
    EXPECT_EQ(held, 1);
    EXPECT_EQ(seized(), np_err_busy);
    EXPECT_EQ(kill(child, SIGKILL), 0);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
    EXPECT_EQ(seized(), np_ok);
    ::close(ready[0]);
    ::close(ready[1]);
}

TEST_F(FileLockTest, WhereThereAreNoLocksEverybodyHoldsAndNobodySeizes) {
    for (int error : {ENOLCK, EOPNOTSUPP, ENOSYS}) {
        OsFaults os;
        os.failEvery(OsCall::flock, error);
        np_file* file = handle();
        EXPECT_EQ(np_fio_hold(file, 0), np_ok) << error;
        EXPECT_EQ(np_fio_hold(file, 1), np_ok) << error;
        EXPECT_EQ(np_fio_seize(file), np_err_failed) << error;
        EXPECT_EQ(os.calls(OsCall::pause), 0);
    }
}

TEST_F(FileLockTest, FailuresAreTold) {
    for (OsCall kind : {OsCall::flock, OsCall::fstat}) {
        np_file* file = handle();
        OsFaults os;
        os.failEvery(kind, EIO);
        EXPECT_EQ(np_fio_hold(file, 0), np_err_io);
        EXPECT_EQ(np_fio_hold(file, 1), np_err_io);
        EXPECT_EQ(np_fio_seize(file), np_err_io);
    }
}

class FileListTest : public FileTest {
protected:
    std::vector<std::string> names_;
    int answer_ = 0;

    int list(const std::string& directory) {
        names_.clear();
        const int code = np_fio_list(directory.c_str(), &keep, this);
        std::sort(names_.begin(), names_.end());
        return code;
    }

private:
    static int keep(void* context, const char* name) {
        auto* test = static_cast<FileListTest*>(context);
        test->names_.emplace_back(name);
        return test->answer_;
    }
};

TEST_F(FileListTest, EveryNameIsToldOnce) {
    std::vector<std::string> expected;
    for (int i = 0; i < 300; ++i) expected.push_back("file" + std::to_string(1000 + i));
    for (const std::string& name : expected) makeFile(name);
    std::filesystem::create_directory(path("directory"));
    std::filesystem::create_symlink("nowhere", path("link"));
    makeFile(".hidden");
    expected.insert(expected.end(), {".hidden", "directory", "link"});
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(list(directory_), np_ok);
    EXPECT_EQ(names_, expected);
}

TEST_F(FileListTest, AnEmptyDirectoryHasNoNames) {
    EXPECT_EQ(list(directory_), np_ok);
    EXPECT_EQ(names_, std::vector<std::string>{});
}

TEST_F(FileListTest, TheVisitorsAnswerEndsTheListing) {
    makeFile("a");
    makeFile("b");
    answer_ = -7;
    EXPECT_EQ(list(directory_), -7);
    EXPECT_EQ(names_.size(), 1u);
}

TEST_F(FileListTest, WhatIsNoDirectoryIsRefused) {
    makeFile("file");
    EXPECT_EQ(list(path("file")), np_err_not_directory);
    EXPECT_EQ(list(path("missing")), np_err_no_such_file);
    EXPECT_EQ(list(""), np_err_name);
    EXPECT_EQ(np_fio_list(nullptr, nullptr, nullptr), np_err_name);
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(list(path("pipe")), np_err_not_directory) << "and nobody waits for its other end";
}

TEST_F(FileListTest, FailuresAreToldAndInterruptionsAreNot) {
    makeFile("a");
    {
        OsFaults os;
        os.failEvery(OsCall::opendir, EACCES);
        EXPECT_EQ(list(directory_), np_err_access);
    }
    for (long passed = 0; passed < 3; ++passed) {
        OsFaults os;
        os.failEvery(OsCall::readdir, EIO, passed);
        EXPECT_EQ(list(directory_), np_err_io) << passed;
    }
    {
        OsFaults os;
        os.failEvery(OsCall::closedir, EIO);
        EXPECT_EQ(list(directory_), np_ok) << "nothing was written that could be lost";
    }
    OsFaults os;
    os.interrupt();
    EXPECT_EQ(list(directory_), np_ok);
    EXPECT_EQ(names_, std::vector<std::string>{"a"});
}

}  // namespace
