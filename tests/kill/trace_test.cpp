// How files are opened, as the system sees it.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <sstream>

#include "kill/kill_tables.h"
#include "support/temp_directory.h"

namespace {

bool has(const std::string& line, const char* text) { return line.find(text) != std::string::npos; }

// The calls that open something in the directory, a line each. Nothing when calls cannot be watched here.
std::vector<std::string> openings(const TempDirectory& home) {
    const std::string work = home.directory("work"), log = home.file("log");
    // Memory cannot be searched for leaks by a process that is watched itself.
    const std::string program = "ASAN_OPTIONS=detect_leaks=0 '" STRACE "' -f -qq -s 4096 -o '" + log +
                                "' -e trace=open,openat,openat2,creat '" TRACED_TABLES "' ";
    if (system(("'" STRACE "' -o /dev/null true 2>/dev/null >/dev/null")) != 0) return {};
    EXPECT_EQ(system((program + "'" + work + "'").c_str()), 0);
    std::istringstream lines(readFile(log));
    std::vector<std::string> result;
    for (std::string line; std::getline(lines, line);) {
        if (has(line, ("\"" + work).c_str())) result.push_back(line);
    }
    return result;
}

TEST(TraceTest, EveryFileIsOpenedPrivatelyAndNoLinkIsFollowed) {
    if (std::string(STRACE).empty() || has(STRACE, "NOTFOUND")) GTEST_SKIP() << "strace is not installed";
    const TempDirectory home;
    const std::vector<std::string> lines = openings(home);
    if (lines.empty()) GTEST_SKIP() << "no process can be watched here";
    long created = 0, opened = 0, listed = 0;
    for (const std::string& line : lines) {
        SCOPED_TRACE(line);
        EXPECT_TRUE(has(line, "O_CLOEXEC"));
        if (has(line, "O_DIRECTORY")) {
            ++listed;
            EXPECT_TRUE(has(line, "O_RDONLY"));
            continue;
        }
        EXPECT_TRUE(has(line, "/work/kt"));
        EXPECT_TRUE(has(line, "O_NOFOLLOW"));
        EXPECT_FALSE(has(line, "O_TRUNC"));
        if (has(line, "O_CREAT")) {
            ++created;
            EXPECT_TRUE(has(line, "O_EXCL") && has(line, "0600"));
        } else {
            ++opened;
        }
    }
    EXPECT_GT(created, 20);
    EXPECT_GT(opened, 20);
    EXPECT_EQ(listed, 1) << "by the sweep";
}

class Umask {
public:
    explicit Umask(mode_t mask) : before_(umask(mask)) {}
    Umask(const Umask&) = delete;
    Umask& operator=(const Umask&) = delete;
    ~Umask() { umask(before_); }

private:
    const mode_t before_;
};

TEST(PrivacyTest, FilesAreTheirOwnersAloneWhateverTheUmask) {
    for (const mode_t mask : {0000u, 0022u, 0077u, 0277u, 0777u}) {
        const TempDirectory home;
        KtbString error;
        const Manager manager(ktwtCreateManager("", home.path().c_str(), &error));
        {
            const Umask umask(mask);
            const Table table(manager->create(2, 500, &error));
            ASSERT_TRUE(table != nullptr && defineColumns(table.get()));
            for (long number = 0; number < 30; ++number) ASSERT_TRUE(writeNumber(table.get(), number));
            ASSERT_TRUE(table->close());
            EXPECT_TRUE(manager->append(table->getName(), table->getName(), &error)) << error.asCstr();
        }
        EXPECT_GT(home.names().size(), 5u);
        for (const std::string& name : home.names()) {
            struct stat status;
            ASSERT_EQ(stat(home.file(name).c_str(), &status), 0);
            EXPECT_EQ(status.st_mode & 07777, 0600u) << name << " under the umask " << mask;
        }
    }
}

}  // namespace
