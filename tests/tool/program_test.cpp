// The program before and around its commands: what it makes of words, of standard streams and of signals.
#include <algorithm>
#include <filesystem>
#include <sstream>

#include "tool/scene.h"

namespace {

// Bytes that would colour a terminal and end the line.
constexpr char hostile[] = "\x1B[31mred\nline";

class ProgramTest : public SceneTest {
protected:
    static std::vector<std::string> linesOf(const std::string& text) {
        std::istringstream in(text);
        std::vector<std::string> lines;
        for (std::string line; std::getline(in, line);) lines.push_back(line);
        return lines;
    }

    // How many columns a line takes, of which none is wide.
    static long widthOf(const std::string& line) {
        return std::count_if(line.begin(), line.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; });
    }

    static void expectNarrow(const std::string& help) {
        for (const std::string& line : linesOf(help)) EXPECT_LE(widthOf(line), 80) << line;
    }

    // A pipe with a name.
    std::string pipe() {
        const std::string path = files.file("pipe");
        EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
        return path;
    }
};

TEST_F(ProgramTest, SaysWhichWordIsNoCommand) {
    EXPECT_FAILURE(ktwt({"improt", "x"}), 2, "\"improt\" is no command");
    EXPECT_FAILURE(ktwt({"--quick"}), 2, "not expected: --quick");
    EXPECT_FAILURE(ktwt({}), 2, "--dirs");
    EXPECT_FAILURE(Running({KTWT_TOOL}, "/dev/null").wait(), 2, "a command is missing");
}

TEST_F(ProgramTest, NamesWordsThatAreTooManyInTheirOrder) {
    EXPECT_FAILURE(ktwt({"cat", "a", "second", "third"}), 2, "not expected: second third (");
}

TEST_F(ProgramTest, SaysWhenHelpAndVersionCannotBePrinted) {
    EXPECT_FAILURE(withFullOutput({"--help"}), 4, "standard output: ");
    EXPECT_FAILURE(withFullOutput({"cat", "--help"}), 4, "standard output: ");
    EXPECT_FAILURE(withFullOutput({"--version"}), 4, "standard output: ");
    EXPECT_EQ(ktwt({"--help"}).err, "");
}

TEST_F(ProgramTest, HelpsWithinTheColumnsOfATerminal) {
    const std::string help = ktwt({"--help"}).out;
    expectNarrow(help);
    std::vector<std::string> lines = linesOf(help.substr(help.find("Commands:\n")));
    std::size_t commands = 0;
    for (std::size_t i = 1; i < lines.size() && !lines[i].empty(); ++i) {
        if (lines[i].substr(0, 3) == "   ") continue;  // the summary goes on
        ++commands;
        const std::string command = lines[i].substr(2, lines[i].find(' ', 2) - 2);
        if (command == "import" || command == "sort") continue;  // the tests of the import hold these to it
        const Finished one = ktwt({command, "--help"});
        EXPECT_EQ(one.status, 0) << lines[i] << one.err;
        expectNarrow(one.out);
    }
    EXPECT_EQ(commands, 15U);
}

TEST_F(ProgramTest, TellsOfHostileNamesInOneHarmlessLine) {
    const std::string table = make({{hostile}}, {{"1"}});
    const Finished cat = ktwt({"cat", table, "--columns", std::string("other") + hostile});
    EXPECT_EQ(cat.status, 2);
    EXPECT_EQ(cat.err, "ktwt: " + table + ": there is no column \"other\\x1b[31mred\\nline\"; there are \\x1b[31mred\\nline\n");
    EXPECT_FAILURE(ktwt({"rm", hostile}), 3, "\\x1b[31mred\\nline: ");
    EXPECT_FAILURE(ktwt({hostile}), 2, "\"\\x1b[31mred\\nline\" is no command");
}

// A program that was started without standard streams has none of its files in their places.
TEST_F(ProgramTest, GivesThePlacesOfClosedStreamsToNoFile) {
    const std::string csv = pipe();
    const std::string process = files.file("process");
    std::vector<std::string> words = command({"import", csv});
    words.insert(words.begin(), {"/bin/sh", "-c", "echo $$ >" + process + "; exec \"$@\" 0<&- 2>&-", "sh"});
    Running import(words, "/dev/null");
    const int end = open(csv.c_str(), O_WRONLY | O_CLOEXEC);  // once the program has opened it
    const std::string number = readFile(process);
    const std::string handles = "/proc/" + number.substr(0, number.find('\n')) + "/fd/";
    EXPECT_EQ(std::filesystem::read_symlink(handles + "0"), "/dev/null");
    EXPECT_EQ(std::filesystem::read_symlink(handles + "2"), "/dev/null");
    EXPECT_EQ(write(end, "a\n1\n", 4), 4);
    close(end);
    EXPECT_EQ(rows(nameOf(import.wait())), "1\n");
}

TEST_F(ProgramTest, FailsToWriteToAClosedStandardOutput) {
    EXPECT_FAILURE(Running(inShell(command({"cat", towns()}), "", "&-"), "/dev/null").wait(), 3, "standard output: ");
}

TEST_F(ProgramTest, GoesOnAfterASignalThatItWasToldToIgnore) {
    const std::string csv = pipe();
    const int end = open(csv.c_str(), O_RDWR | O_CLOEXEC);
    std::vector<std::string> words = command({"import", "-"});
    words.insert(words.begin(), {"/bin/sh", "-c", "trap '' HUP; exec \"$@\"", "sh"});
    Running import(words, csv);
    import.waitUntilItCatches(SIGTERM);  // which the shell never does
    import.signal(SIGHUP);
    EXPECT_EQ(write(end, "a\n1\n", 4), 4);
    close(end);
    EXPECT_EQ(rows(nameOf(import.wait())), "1\n");
}

}  // namespace
