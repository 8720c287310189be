// Names of files: made up, taken apart and put together.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <set>
#include <vector>

#include "file_fixture.h"
#include "os_faults.h"
#include "support/failing_new.h"

namespace {

class FileNamesTest : public FileTest {
protected:
    static constexpr unsigned long randomLength = 20;

    // Creates a file and closes it. Returns the code, and puts the path into path_.
    int create(const std::string& directory, const char* prefix = "t_", unsigned long pathSize = np_path_max) {
        std::vector<char> buffer(pathSize + 1, '#');
        np_file* file = reinterpret_cast<np_file*>(&buffer);
        const int code = np_fio_tmpfile(directory.c_str(), prefix, buffer.data(), pathSize, &file);
        EXPECT_EQ(buffer[pathSize], '#');
        EXPECT_EQ(file != nullptr, code == np_ok);
        if (code == np_ok) created_ = buffer.data();
        if (file) {
            EXPECT_EQ(np_fio_close(file), np_ok);
        }
        return code;
    }

    static mode_t permissionsOf(const std::string& path) {
        struct stat status = {};
        EXPECT_EQ(stat(path.c_str(), &status), 0);
        return status.st_mode & 07777;
    }

    std::string created_;
};

TEST_F(FileNamesTest, ACreatedFileIsNamedByItsPrefixAndRandomLettersAndDigits) {
    std::set<std::string> names;
    std::set<char> characters;
    for (int i = 0; i < 300; ++i) {
        ASSERT_EQ(create(directory_, "pre_"), np_ok);
        const std::string name = std::filesystem::path(created_).filename();
        EXPECT_EQ(created_, path(name));
        EXPECT_EQ(name.substr(0, 4), "pre_");
        EXPECT_EQ(name.size(), 4 + randomLength);
        names.insert(name);
        characters.insert(name.begin() + 4, name.end());
    }
    EXPECT_EQ(names.size(), 300u);
    EXPECT_EQ(filesInDirectory(), 300);
    // 32 characters hold the 5 bits that 20 of them need for 96.
    EXPECT_EQ(std::string(characters.begin(), characters.end()), "234567abcdefghijklmnopqrstuvwxyz");
}

TEST_F(FileNamesTest, ACreatedFileIsEmptyAndOpenForReadingAndWriting) {
    char created[np_path_max];
    np_file* file = nullptr;
    ASSERT_EQ(np_fio_tmpfile(directory_.c_str(), "", created, sizeof created, &file), np_ok);
    EXPECT_EQ(get(file, 1), "");
    EXPECT_EQ(put(file, "abc"), 3u);
    np_fio_seek64(file, 1, np_from_start);
    EXPECT_EQ(get(file, 9), "bc");
    EXPECT_EQ(np_fio_close(file), np_ok);
    EXPECT_EQ(bytesOf(created), "abc");
}

TEST_F(FileNamesTest, ACreatedFileIsItsOwnersOnlyWhateverTheUmask) {
    const mode_t before = umask(0);
    for (mode_t mask : {0000u, 0022u, 0077u, 0777u}) {
        umask(mask);
        ASSERT_EQ(create(directory_), np_ok);
        EXPECT_EQ(permissionsOf(created_), 0600u);
    }
    umask(before);
}

TEST_F(FileNamesTest, ANameThatIsTakenLeadsToTheNextAndTheFileStaysAsItWas) {
    OsFaults os;
    os.repeatRandom(3);
    ASSERT_EQ(create(directory_), np_ok);
    const std::string first = created_;
    std::ofstream(first) << "mine";
    ASSERT_EQ(create(directory_), np_ok);
    EXPECT_NE(created_, first);
    EXPECT_EQ(bytesOf(first), "mine");
    EXPECT_EQ(filesInDirectory(), 2);
}

TEST_F(FileNamesTest, NamesThatAreAlwaysTakenEndInAFailure) {
    OsFaults os;
    os.repeatRandom(1000);
    ASSERT_EQ(create(directory_), np_ok);
    std::ofstream(created_) << "mine";
    EXPECT_EQ(create(directory_), np_err_exists);
    EXPECT_EQ(bytesOf(created_), "mine");
    EXPECT_LT(os.calls(OsCall::open), 20);
}

TEST_F(FileNamesTest, ALinkUnderTheNameIsNotFollowed) {
    OsFaults os;
    os.repeatRandom(2);
    ASSERT_EQ(create(directory_), np_ok);
    ASSERT_EQ(unlink(created_.c_str()), 0);
    ASSERT_EQ(symlink(path("elsewhere").c_str(), created_.c_str()), 0);
    ASSERT_EQ(create(directory_), np_ok);
    EXPECT_FALSE(std::filesystem::exists(path("elsewhere")));
}

TEST_F(FileNamesTest, DirectoriesThatTakeNoFileAreRefused) {
    makeFile("file");
    EXPECT_EQ(create(""), np_err_name);
    EXPECT_EQ(create(path("missing")), np_err_no_such_file);
    EXPECT_EQ(create(path("file")), np_err_not_directory);
    EXPECT_EQ(create("/proc"), np_err_no_such_file);
    EXPECT_EQ(filesInDirectory(), 1);
}

TEST_F(FileNamesTest, PrefixesThatLeadElsewhereAreRefused) {
    EXPECT_EQ(create(directory_, "../t"), np_err_name);
    EXPECT_EQ(create(directory_, "/t"), np_err_name);
    EXPECT_EQ(create(directory_, std::string(250, 'n').c_str()), np_err_name);
    EXPECT_EQ(filesInDirectory(), 0);
}

TEST_F(FileNamesTest, SlashesAfterTheDirectoryCountOnce) {
    ASSERT_EQ(create(directory_ + "//"), np_ok);
    EXPECT_EQ(std::filesystem::path(created_).parent_path(), directory_);
    EXPECT_EQ(created_.size(), directory_.size() + 1 + 2 + randomLength);
}

TEST_F(FileNamesTest, APathThatDoesNotFitCreatesNothing) {
    const unsigned long exact = directory_.size() + 1 + 2 + randomLength + 1;
    for (unsigned long size = 0; size < exact; ++size) EXPECT_EQ(create(directory_, "t_", size), np_err_name);
    EXPECT_EQ(filesInDirectory(), 0);
    EXPECT_EQ(create(directory_, "t_", exact), np_ok);
}

TEST_F(FileNamesTest, AFailedCreationLeavesNothingBehind) {
    bool failed = true;
    for (long n = 1; failed; ++n) {
        OsFaults os;
        os.failNth(n, EIO);
        char created[np_path_max];
        np_file* file = nullptr;
        const int code = np_fio_tmpfile(directory_.c_str(), "t_", created, sizeof created, &file);
        failed = os.failed();
        EXPECT_EQ(code, failed ? np_err_io : np_ok);
        EXPECT_EQ(filesInDirectory(), failed ? 0 : 1);
        np_fio_close(file);
        EXPECT_EQ(openHandles(), handlesBefore_);
    }
}

TEST_F(FileNamesTest, ACreationWithoutMemoryLeavesNothingBehind) {
    char created[np_path_max];
    np_file* file = nullptr;
    failing_new::failAt(0);
    const int code = np_fio_tmpfile(directory_.c_str(), "t_", created, sizeof created, &file);
    failing_new::stop();
    EXPECT_EQ(code, np_err_memory);
    EXPECT_EQ(file, nullptr);
    EXPECT_EQ(filesInDirectory(), 0);
}

TEST_F(FileNamesTest, TheTemporaryDirectoryIsTheEnvironmentsElseTmp) {
    const char* old = std::getenv("TMPDIR");
    const std::string before = old ? old : "";
    char buffer[10] = "#########";
    setenv("TMPDIR", "/var/a/bc", 1);
    EXPECT_EQ(np_fio_tmpdir(buffer, 10), np_ok);
    EXPECT_STREQ(buffer, "/var/a/bc");
    EXPECT_EQ(np_fio_tmpdir(buffer, 9), np_err_name);
    setenv("TMPDIR", "", 1);
    EXPECT_EQ(np_fio_tmpdir(buffer, 10), np_ok);
    EXPECT_STREQ(buffer, "/tmp");
    unsetenv("TMPDIR");
    EXPECT_EQ(np_fio_tmpdir(buffer, 5), np_ok);
    EXPECT_STREQ(buffer, "/tmp");
    EXPECT_EQ(np_fio_tmpdir(buffer, 4), np_err_name);
    EXPECT_EQ(np_fio_tmpdir(buffer, 0), np_err_name);
    if (old) setenv("TMPDIR", before.c_str(), 1);
}

TEST_F(FileNamesTest, DirectoriesInAListAreSeparatedByColons) { EXPECT_EQ(np_dir_listsep, ':'); }

// "directory|name", or the code as a number.
std::string parsed(const std::string& path, unsigned long directorySize = np_path_max, unsigned long nameSize = np_path_max) {
    std::vector<char> directory(directorySize + 1, '#');
    std::vector<char> name(nameSize + 1, '#');
    const int code = np_fio_pparse(path.c_str(), directory.data(), directorySize, name.data(), nameSize);
    EXPECT_EQ(directory[directorySize], '#');
    EXPECT_EQ(name[nameSize], '#');
    return code == np_ok ? std::string(directory.data()) + "|" + name.data() : std::to_string(code);
}

const std::string nameError = std::to_string(np_err_name);

TEST_F(FileNamesTest, APathIsSplitAtItsLastSlash) {
    EXPECT_EQ(parsed("/a/b"), "/a|b");
    EXPECT_EQ(parsed("a/b/c.d"), "a/b|c.d");
    EXPECT_EQ(parsed("/b"), "/|b");
    EXPECT_EQ(parsed("b"), "|b");
    EXPECT_EQ(parsed("a//b"), "a/|b");
    EXPECT_EQ(parsed("//b"), "/|b");
    EXPECT_EQ(parsed("a/.."), "a|..");
}

TEST_F(FileNamesTest, APathWithoutANameIsRefused) {
    for (const char* path : {"", "/", "a/", "/a/b/"}) EXPECT_EQ(parsed(path), nameError) << path;
}

TEST_F(FileNamesTest, APartThatDoesNotFitIsRefused) {
    EXPECT_EQ(parsed("/ab/cde", 4, 4), "/ab|cde");
    EXPECT_EQ(parsed("/ab/cde", 3, 4), nameError);
    EXPECT_EQ(parsed("/ab/cde", 4, 3), nameError);
    EXPECT_EQ(parsed("b", 0, 9), nameError);
    EXPECT_EQ(parsed("b", 1, 2), "|b");
    EXPECT_EQ(parsed("/b", 1, 2), nameError);
    EXPECT_EQ(parsed("/b", 2, 0), nameError);
}

std::string joined(const std::string& directory, const std::string& name, unsigned long size = np_path_max) {
    std::vector<char> path(size + 1, '#');
    const int code = np_fio_pcat(directory.c_str(), name.c_str(), path.data(), size);
    EXPECT_EQ(path[size], '#');
    return code == np_ok ? path.data() : std::to_string(code);
}

TEST_F(FileNamesTest, ADirectoryAndANameAreJoinedByOneSlash) {
    EXPECT_EQ(joined("/a", "b"), "/a/b");
    EXPECT_EQ(joined("/a/", "b"), "/a/b");
    EXPECT_EQ(joined("a///", "b"), "a/b");
    EXPECT_EQ(joined("a", "/b"), "a/b");
    EXPECT_EQ(joined("/", "b"), "/b");
    EXPECT_EQ(joined("//", "b"), "/b");
    EXPECT_EQ(joined("", "b"), "b");
    EXPECT_EQ(joined("", "/b"), "/b");
    EXPECT_EQ(joined("a", ""), "a/");
    EXPECT_EQ(joined("", ""), "");
}

TEST_F(FileNamesTest, AJoinedPathThatDoesNotFitIsRefused) {
    for (unsigned long size = 0; size < 5; ++size) EXPECT_EQ(joined("/a", "b", size), size == 5 ? "/a/b" : nameError) << size;
    EXPECT_EQ(joined("/a", "b", 5), "/a/b");
    EXPECT_EQ(joined("", "b", 1), nameError);
    EXPECT_EQ(joined("", "", 0), nameError);
    EXPECT_EQ(joined("", "", 1), "");
}

std::string withSingleSlashes(const std::string& path) {
    std::string result;
    for (char c : path) {
        if (c != '/' || result.empty() || result.back() != '/') result += c;
    }
    return result;
}

TEST_F(FileNamesTest, EverySmallPathComesTogetherAgain) {
    const std::string alphabet = "/a.";
    std::vector<std::string> paths = {""};
    for (std::size_t i = 0; i < paths.size() && paths[i].size() < 7; ++i) {
        for (char c : alphabet) paths.push_back(paths[i] + c);
    }
    for (const std::string& whole : paths) {
        char directory[np_path_max];
        char name[np_path_max];
        const int code = np_fio_pparse(whole.c_str(), directory, sizeof directory, name, sizeof name);
        ASSERT_EQ(code, whole.empty() || whole.back() == '/' ? np_err_name : np_ok) << whole;
        if (code != np_ok) continue;
        EXPECT_EQ(std::string(name).find('/'), std::string::npos);
        EXPECT_EQ(withSingleSlashes(joined(directory, name)), withSingleSlashes(whole));
    }
}

}  // namespace
