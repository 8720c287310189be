// The progress bar on a terminal, and the silence elsewhere. The programs are held up by a reader who takes their output a bit
// at a time, until the bar is there.
#include <poll.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <regex>

#include "tool/scene.h"

namespace {

// A terminal that nobody looks at but the test.
class Terminal {
public:
    Terminal() : handle_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        EXPECT_TRUE(handle_ >= 0 && grantpt(handle_) == 0 && unlockpt(handle_) == 0) << std::strerror(errno);
        name_ = ptsname(handle_);
        screen_ = open(name_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);  // so that it does not hang up between two programs
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    ~Terminal() {
        close(screen_);
        close(handle_);
    }

    const std::string& name() const { return name_; }

    // What has been shown so far; waits for more for so long at most.
    const std::string& shown(int milliseconds) {
        pollfd waiting = {handle_, POLLIN, 0};
        while (poll(&waiting, 1, milliseconds) > 0) {
            char bytes[4096];
            const ssize_t count = read(handle_, bytes, sizeof bytes);
            if (count <= 0) break;
            shown_.append(bytes, static_cast<std::size_t>(count));
            milliseconds = 0;
        }
        return shown_;
    }

private:
    int handle_;
    int screen_ = -1;
    std::string name_;
    std::string shown_;
};

// A pipe with a name, which the test reads.
class OutputPipe {
public:
    explicit OutputPipe(std::string path) : path_(std::move(path)) {
        EXPECT_EQ(mkfifo(path_.c_str(), 0600), 0);
        handle_ = open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    }
    OutputPipe(const OutputPipe&) = delete;
    OutputPipe& operator=(const OutputPipe&) = delete;
    ~OutputPipe() { close(handle_); }

    const std::string& path() const { return path_; }

    // Takes what fits the buffer. Returns false at the end.
    bool take() {
        pollfd waiting = {handle_, POLLIN, 0};
        poll(&waiting, 1, -1);
        return read(handle_, buffer_.data(), buffer_.size()) > 0;
    }

private:
    std::string path_;
    int handle_;
    std::vector<char> buffer_ = std::vector<char>(16384);
};

class ProgressTest : public SceneTest {
protected:
    std::vector<std::string> catInto(const OutputPipe& pipe, const std::string& table, const std::string& errors) {
        return inShell(command({"cat", table}), "exec 2>>" + errors + ";", pipe.path());
    }

    // Five megabytes: enough for some hundred bits.
    std::string large() { return make({{"text"}}, std::vector<TestRow>(10000, {std::string(500, 'x')})); }
};

TEST_F(ProgressTest, IsShownOnATerminalAndNowhereElse) {
    if (!hasTerminals()) GTEST_SKIP() << "/dev/pts is not mounted";
    const std::string table = large();
    Terminal terminal;
    OutputPipe first(files.file("first"));
    OutputPipe second(files.file("second"));
    Running watched(catInto(first, table, terminal.name()), "/dev/null");
    Running unwatched(catInto(second, table, files.file("errors")), "/dev/null");
    constexpr int patience = 100;  // milliseconds a bit
    while (terminal.shown(patience).find('%') == std::string::npos) {
        ASSERT_TRUE(first.take() && second.take()) << "the rows ran out before a bar was seen";
    }
    const std::regex bar("reading \\[#* *\\] +[0-9]+ %, [0-9,]+ rows/s, ([0-9]+:)?[0-9]+:[0-9]+ left");
    EXPECT_TRUE(std::regex_search(terminal.shown(0), bar)) << terminal.shown(0);
    while (first.take()) {
    }
    while (second.take()) {
    }
    EXPECT_EQ(watched.wait().status, 0);
    EXPECT_EQ(unwatched.wait().status, 0);
    const std::string& shown = terminal.shown(0);
    EXPECT_EQ(shown.substr(shown.size() - 4), "\r\033[K") << "the bar is taken away at the end";
    EXPECT_EQ(readFile(files.file("errors")), "");
}

TEST_F(ProgressTest, IsTakenAwayBeforeACancellationIsTold) {
    if (!hasTerminals()) GTEST_SKIP() << "/dev/pts is not mounted";
    const std::string table = large();
    Terminal terminal;
    OutputPipe pipe(files.file("pipe"));
    Running watched(catInto(pipe, table, terminal.name()), "/dev/null");
    while (terminal.shown(100).find('%') == std::string::npos) ASSERT_TRUE(pipe.take());
    watched.signal(SIGINT);
    while (pipe.take()) {
    }
    EXPECT_EQ(watched.wait().status, 7);
    const std::string& shown = terminal.shown(0);
    EXPECT_NE(shown.find("\r\033[Kktwt: cancelled"), std::string::npos) << shown;
}

TEST_F(ProgressTest, IsNotShownForWorkThatIsSoonDone) {
    if (!hasTerminals()) GTEST_SKIP() << "/dev/pts is not mounted";
    const std::string table = towns();
    Terminal terminal;
    const Finished copy =
        Running(inShell(command({"copy", table}), "exec 2>>" + terminal.name() + ";", files.file("out")), "/dev/null").wait();
    EXPECT_EQ(copy.status, 0);
    EXPECT_EQ(terminal.shown(0).find('%'), std::string::npos) << terminal.shown(0);
}

}  // namespace
