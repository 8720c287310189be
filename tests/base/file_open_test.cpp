// What is opened and what is refused.
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "file_fixture.h"
#include "support/failing_new.h"

namespace {

class FileOpenTest : public FileTest {
protected:
    // The code with which every mode refuses the path.
    static int refusal(const std::string& path) {
        const int code = refusal(path, np_mode_read);
        EXPECT_EQ(refusal(path, np_mode_update), code) << path;
        EXPECT_EQ(refusal(path, np_mode_append), code) << path;
        return code;
    }

    static int refusal(const std::string& path, int mode) {
        // Not null before, to see that it is set.
        np_file* file = reinterpret_cast<np_file*>(&file);
        const int code = np_fio_open(path.c_str(), mode, &file);
        EXPECT_EQ(file, nullptr) << path;
        return code;
    }
};

TEST_F(FileOpenTest, EveryModeOpensAFileAtItsStart) {
    makeFile("file", "abc");
    for (int mode : {np_mode_read, np_mode_update, np_mode_append}) {
        np_file* file = open(path("file"), mode);
        EXPECT_EQ(np_fio_seek64(file, 0, np_from_current), 0);
        EXPECT_EQ(get(file, 10), "abc");
        EXPECT_EQ(np_fio_close(file), np_ok);
    }
}

TEST_F(FileOpenTest, NoModeCreatesAFile) {
    EXPECT_EQ(refusal(path("missing")), np_err_no_such_file);
    EXPECT_EQ(filesInDirectory(), 0);
}

TEST_F(FileOpenTest, AMissingFileIsToldFromAWayThatIsNoDirectory) {
    makeFile("file");
    EXPECT_EQ(refusal(path("missing/file")), np_err_no_such_file);
    EXPECT_EQ(refusal(path("file/below")), np_err_not_directory);
}

TEST_F(FileOpenTest, OtherModesAreRefused) {
    makeFile("file");
    for (int mode : {-1, 0, 4, 99}) EXPECT_EQ(refusal(path("file"), mode), np_err_invalid);
}

TEST_F(FileOpenTest, ADirectoryIsRefused) { EXPECT_EQ(refusal(directory_), np_err_is_directory); }

TEST_F(FileOpenTest, ALinkInTheLastPlaceIsRefusedAndNotFollowed) {
    makeFile("file");
    ASSERT_EQ(symlink(path("file").c_str(), path("link").c_str()), 0);
    ASSERT_EQ(symlink(path("missing").c_str(), path("dangling").c_str()), 0);
    EXPECT_EQ(refusal(path("link")), np_err_not_regular);
    EXPECT_EQ(refusal(path("dangling")), np_err_not_regular);
    EXPECT_FALSE(std::filesystem::exists(path("missing")));
}

TEST_F(FileOpenTest, ALinkOnTheWayIsFollowed) {
    makeFile("file", "abc");
    ASSERT_EQ(symlink(directory_.c_str(), path("link").c_str()), 0);
    np_file* file = open(path("link/file"), np_mode_read);
    EXPECT_EQ(get(file, 10), "abc");
    EXPECT_EQ(np_fio_close(file), np_ok);
}

TEST_F(FileOpenTest, APipeIsRefusedWithoutWaitingForItsOtherEnd) {
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(refusal(path("pipe")), np_err_not_regular);
}

TEST_F(FileOpenTest, ASocketIsRefused) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    ASSERT_LT(path("socket").size(), sizeof address.sun_path);
    path("socket").copy(address.sun_path, sizeof address.sun_path - 1);
    const int bound = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(bound, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(refusal(path("socket")), np_err_not_regular);
    close(bound);
}

TEST_F(FileOpenTest, ADeviceIsRefused) { EXPECT_EQ(refusal("/dev/null"), np_err_not_regular); }

TEST_F(FileOpenTest, PathsThatNoFileHasAreRefused) {
    np_file* file = nullptr;
    EXPECT_EQ(np_fio_open(nullptr, np_mode_read, &file), np_err_name);
    EXPECT_EQ(refusal(""), np_err_name);
    EXPECT_EQ(refusal(path(std::string(256, 'n'))), np_err_name);
    EXPECT_EQ(refusal(std::string(np_path_max, '/')), np_err_name);
    EXPECT_EQ(refusal(std::string(np_path_max - 1, '/')), np_err_is_directory);
}

// The user for whom permissions hold; root is not asked for any.
class AsNobody {
public:
    AsNobody() : changed_(geteuid() != 0 || seteuid(65534) == 0) {}
    ~AsNobody() {
        if (geteuid() == getuid()) return;
        EXPECT_EQ(seteuid(getuid()), 0);
    }
    bool works() const { return changed_; }

private:
    bool changed_;
};

TEST_F(FileOpenTest, PermissionsAreRespected) {
    chmod(directory_.c_str(), 0755);
    chmod(makeFile("secret").c_str(), 0);
    chmod(makeFile("fixed", "abc").c_str(), 0444);
    const AsNobody user;
    np_status64 status = {};
    if (!user.works() || np_fio_stat64(path("fixed").c_str(), &status) != np_ok) {
        GTEST_SKIP() << "cannot become a user for whom permissions hold and who reaches the directory";
    }
    EXPECT_EQ(refusal(path("secret")), np_err_access);
    EXPECT_EQ(refusal(path("fixed"), np_mode_update), np_err_access);
    np_file* file = open(path("fixed"), np_mode_read);
    EXPECT_EQ(get(file, 10), "abc");
    EXPECT_EQ(np_fio_close(file), np_ok);
}

TEST_F(FileOpenTest, NoHandleIsInherited) {
    makeFile("file");
    char created[np_path_max];
    np_file* made = nullptr;
    ASSERT_EQ(np_fio_tmpfile(directory_.c_str(), "t", created, sizeof created, &made), np_ok);
    np_file* opened = open(path("file"), np_mode_update);
    int seen = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        if (std::filesystem::read_symlink(entry, error).string().rfind(directory_, 0) != 0) continue;
        ++seen;
        EXPECT_TRUE(fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC);
    }
    EXPECT_EQ(seen, 2);
    EXPECT_EQ(np_fio_close(opened), np_ok);
    EXPECT_EQ(np_fio_close(made), np_ok);
}

TEST_F(FileOpenTest, ExhaustedMemoryIsReportedAndLeavesNoHandleOpen) {
    makeFile("file");
    failing_new::failAt(0);
    const int code = refusal(path("file"), np_mode_read);
    failing_new::stop();
    EXPECT_EQ(code, np_err_memory);
}

TEST_F(FileOpenTest, ClosingNullDoesNothing) { EXPECT_EQ(np_fio_close(nullptr), np_ok); }

TEST_F(FileOpenTest, StatTellsTheSizeOfAFileAndNothingOfOthers) {
    makeFile("file", "abc");
    ASSERT_EQ(symlink(path("file").c_str(), path("link").c_str()), 0);
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    np_status64 status = {-7};
    EXPECT_EQ(np_fio_stat64(directory_.c_str(), &status), np_err_is_directory);
    EXPECT_EQ(np_fio_stat64(path("link").c_str(), &status), np_err_not_regular);
    EXPECT_EQ(np_fio_stat64(path("pipe").c_str(), &status), np_err_not_regular);
    EXPECT_EQ(np_fio_stat64(path("missing").c_str(), &status), np_err_no_such_file);
    EXPECT_EQ(np_fio_stat64(path("file/below").c_str(), &status), np_err_not_directory);
    EXPECT_EQ(np_fio_stat64("", &status), np_err_name);
    EXPECT_EQ(status.size, -7);
    EXPECT_EQ(np_fio_stat64(path("file").c_str(), &status), np_ok);
    EXPECT_EQ(status.size, 3);
}

TEST_F(FileOpenTest, UnlinkRemovesAFileOrSaysWhyNot) {
    makeFile("file");
    EXPECT_EQ(np_fio_unlink(path("file").c_str()), np_ok);
    EXPECT_EQ(filesInDirectory(), 0);
    EXPECT_EQ(np_fio_unlink(path("file").c_str()), np_err_no_such_file);
    EXPECT_EQ(np_fio_unlink(""), np_err_name);
    EXPECT_NE(np_fio_unlink(directory_.c_str()), np_ok);
    EXPECT_TRUE(std::filesystem::exists(directory_));
}

TEST_F(FileOpenTest, AnUnlinkedFileStaysUsableThroughItsHandle) {
    np_file* file = open(makeFile("file", "abc"), np_mode_update);
    EXPECT_EQ(np_fio_unlink(path("file").c_str()), np_ok);
    np_fio_seek64(file, 3, np_from_start);
    EXPECT_EQ(put(file, "def"), 3u);
    EXPECT_EQ(np_fio_bufmode(file, 0), np_ok);
    np_fio_seek64(file, 0, np_from_start);
    EXPECT_EQ(get(file, 10), "abcdef");
    EXPECT_EQ(np_fio_close(file), np_ok);
}

}  // namespace
