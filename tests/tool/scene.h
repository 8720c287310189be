// Situations in which commands have to mind their manners: disks that are full, Ctrl-C on the way, tables that are being
// written.
#ifndef TESTS_TOOL_SCENE_H
#define TESTS_TOOL_SCENE_H

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "tool/rows_fixture.h"

// Tells of files that appear in a directory, or of what else is asked for, from the making of the object on.
class Watch {
public:
    explicit Watch(const std::string& directory, std::uint32_t events = IN_CREATE) : handle_(inotify_init1(IN_CLOEXEC)) {
        EXPECT_GE(inotify_add_watch(handle_, directory.c_str(), events), 0) << std::strerror(errno);
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch() { close(handle_); }

    // Waits until something happens.
    void wait() const {
        alignas(inotify_event) char events[4096];
        EXPECT_GT(read(handle_, events, sizeof events), 0);
    }

private:
    int handle_;
};

// A pipe with a name, whose buffer is full: who writes to it waits until this object is gone.
class StuckPipe {
public:
    explicit StuckPipe(std::string path) : path_(std::move(path)) {
        EXPECT_EQ(mkfifo(path_.c_str(), 0600), 0);
        handle_ = open(path_.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK);
        const std::vector<char> bytes(4096);
        while (write(handle_, bytes.data(), bytes.size()) > 0) {
        }
    }
    StuckPipe(const StuckPipe&) = delete;
    StuckPipe& operator=(const StuckPipe&) = delete;
    ~StuckPipe() { close(handle_); }

    const std::string& path() const { return path_; }

private:
    std::string path_;
    int handle_;
};

class SceneTest : public RowsTest {
protected:
    // The words to run it by a shell that first runs `before`, with standard output to a file.
    static std::vector<std::string> inShell(std::vector<std::string> words, const std::string& before, const std::string& out) {
        words.insert(words.begin(), {"/bin/sh", "-c", before + " exec \"$@\" >" + out, "sh"});
        return words;
    }

    // Runs it with all of what it prints refused by a full device.
    Finished withFullOutput(std::vector<std::string> words) {
        return Running(inShell(command(std::move(words)), "", "/dev/full"), "/dev/null").wait();
    }

    // Runs it where no file can grow beyond a few KiB.
    Finished withSmallFiles(std::vector<std::string> words) {
        return Running(inShell(command(std::move(words)), "trap '' XFSZ; ulimit -f 8;", files.file("out")), "/dev/null").wait();
    }

    // Runs it until it has made a file among the tables, and sends a signal then. It cannot end before that: nobody takes what
    // it prints.
    Finished signalled(std::vector<std::string> words, int number) {
        const StuckPipe stuck(files.file("stuck"));
        const Watch watch(tables.path());
        Running running(command(std::move(words)), "/dev/null", stuck.path());
        watch.wait();
        running.signal(number);
        return running.wait();
    }

    // Begins a table, in a process that is killed before it comes to an end.
    void leaveOrphans() const {
        const pid_t process = fork();
        if (process == 0) {
            KtbString error;
            KtWorkTableManager* const manager = ktwtCreateManager("", tables.path().c_str(), &error);
            KtWorkTableFile* const table = manager->create(1, 0, &error);
            KtbDatavar value;
            value.assign(7L);
            table->defineColumnInfo(0, "n", ktbTypeInteger, 0);
            table->writeRow(&value);
            raise(SIGKILL);
        }
        int status = 0;
        waitpid(process, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status));
    }

    // The header of a table, cut short.
    void cutHeader(const std::string& table) const { EXPECT_EQ(truncate(tables.file(table).c_str(), 40), 0); }

    std::vector<std::string> lines(const std::string& text) const {
        std::vector<std::string> result;
        for (std::size_t begin = 0; begin < text.size();) {
            const std::size_t end = text.find('\n', begin);
            result.push_back(text.substr(begin, end - begin));
            begin = end == std::string::npos ? text.size() : end + 1;
        }
        return result;
    }

    // All rows of a table as CSV without a line of names.
    std::string rows(const std::string& tableOrUri) {
        const Finished cat = ktwt({"cat", tableOrUri, "--no-header"});
        EXPECT_EQ(cat.status, 0) << cat.err;
        return cat.out;
    }

    // The name that a command printed, which must be all that it did.
    static std::string nameOf(const Finished& command) {
        EXPECT_EQ(command.status, 0) << command.err;
        EXPECT_EQ(command.err, "");
        EXPECT_EQ(command.out.find('\n'), command.out.size() - 1) << command.out;
        return command.out.substr(0, command.out.find('\n'));
    }
};

// What every command does alike with a table that is not there, one that is damaged, and words that make no sense.
#define EXPECT_FAILURE(finished, expectedStatus, words)                           \
    do {                                                                          \
        const Finished failure = (finished);                                      \
        EXPECT_EQ(failure.status, expectedStatus) << failure.out << failure.err;  \
        EXPECT_EQ(failure.err.rfind("ktwt: ", 0), 0U) << failure.err;             \
        EXPECT_NE(failure.err.find(words), std::string::npos) << failure.err;     \
        EXPECT_EQ(failure.err.find('\n'), failure.err.size() - 1) << failure.err; \
    } while (false)

#endif
