// Rows as a table for people.
#include "support/environment.h"
#include "tool/rows_fixture.h"
#include "tool/terminal.h"

namespace {

class HeadTest : public RowsTest {
protected:
    std::string head(std::vector<std::string> words) {
        words.insert(words.begin(), "head");
        const Finished run = ktwt(words);
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.err, "");
        return run.out;
    }

    std::string onScreen(unsigned short columns, std::vector<std::string> words) {
        words.insert(words.begin(), "head");
        const Finished run = onTerminal(command(std::move(words)), columns);
        EXPECT_EQ(run.status, 0);
        return run.out;
    }

    const EnvironmentVariable plain_{"NO_COLOR", "1"};
};

TEST_F(HeadTest, AlignsNumbersToTheRightAndShowsNulls) {
    EXPECT_EQ(head({towns()}),
              "city                               people     area  port   since\n"
              "Ulm                                129942  118.680  false  NULL\n"
              "Kiel                               252668     NULL  true   1242-01-01\n"
              "He said \"no\", twice                  NULL    -0.05  NULL   2026-11-20T12:30:00.5\n"
              "NULL                 -9223372036854775808     1000  true   NULL\n"
              "                      9223372036854775807        0  false  0001-01-01\n");
}

TEST_F(HeadTest, ShowsTenRowsUnlessAskedForMoreOrLess) {
    const std::string table = counting(30);
    EXPECT_EQ(head({table}), "n\n0\n1\n2\n3\n4\n5\n6\n7\n8\n9\n");
    EXPECT_EQ(head({table, "-n", "2"}), "n\n0\n1\n");
    EXPECT_EQ(head({table, "-n", "0"}), "n\n");
    EXPECT_EQ(head({table, "-n", "2", "--reverse"}), " n\n29\n28\n");
    EXPECT_EQ(head({table, "-n", "2", "--rows", "20,5", "--format", "csv"}), "n\n20\n21\n");
    EXPECT_EQ(head({table, "-n", "1", "--no-header"}), "0\n");
}

TEST_F(HeadTest, TellsANullFromATextThatReadsSo) {
    EXPECT_EQ(head({make({{"t"}}, {{"NULL"}, {null}, {"null"}})}), "t\n\"NULL\"\nNULL\nnull\n");
}

TEST_F(HeadTest, ShowsNothingThatMovesTheCursorOrTurnsTheText) {
    EXPECT_EQ(head({make({{"a\nb"}}, {{"x\ty\r\n"},
                                      {"\x1B[31mred"},
                                      {"\x7F\xC2\x9B"
                                       "2J"},
                                      {"\xE2\x80\xAE"
                                       "abc"},
                                      {"\xFF\xC3"},
                                      {"\\n"}})}),
              "a\\nb\nx\\ty\\r\\n\n\\x1b[31mred\n\\x7f\\x9b2J\n\\u202eabc\n\\xff\\xc3\n\\n\n");
}

TEST_F(HeadTest, AlignsWhatIsWiderOrNarrowerThanItsBytes) {
    EXPECT_EQ(
        head({make({{"a"}, {"b"}}, {{"\xE6\x9D\xB1\xE4\xBA\xAC", "1"}, {"M\xC3\xBCnchen", "2"}, {"e\xCC\x81t\xC3\xA9", "3"}})}),
        "a        b\n\xE6\x9D\xB1\xE4\xBA\xAC     1\nM\xC3\xBCnchen  2\ne\xCC\x81t\xC3\xA9      3\n");
}

// The first thousand rows decide; a wide cell that comes later pushes the rest of its own line only.
TEST_F(HeadTest, GoesOnWithTheWidthsOfTheFirstRows) {
    std::vector<TestRow> rows(1500, {"ab", "x"});
    rows[900][0] = "abcd";
    rows[1400][0] = "abcdefgh";
    const std::string text = head({make({{"t"}, {"u"}}, rows), "-n", "1500"});
    EXPECT_EQ(text.find("t     u\nab    x\n"), 0u) << text.substr(0, 50);
    EXPECT_NE(text.find("\nab    x\nabcdefgh  x\nab    x\n"), std::string::npos);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1501);
}

TEST_F(HeadTest, CutsNothingWhereThereIsNoTerminal) {
    const std::string wide(500, 'w');
    EXPECT_EQ(head({make({{"t"}, {"u"}}, {{wide, "x"}, {"a", "y"}})}),
              "t" + std::string(99, ' ') + "  u\n" + wide + "  x\na" + std::string(99, ' ') + "  y\n");
}

TEST_F(HeadTest, CutsTheWidestColumnsToTheTerminal) {
    if (!hasTerminals()) GTEST_SKIP() << "/dev/pts is not mounted";
    const std::string table = make({{"t"}, {"n", ktbTypeInteger}, {"u"}},
                                   {{"The quick brown fox", "12345", "short"}, {"a", "7", "jumps over the lazy dog"}});
    EXPECT_EQ(onScreen(80, {table}),
              "t                        n  u\n"
              "The quick brown fox  12345  short\n"
              "a                        7  jumps over the lazy dog\n");
    EXPECT_EQ(onScreen(40, {table}),
              "t                     n  u\n"
              "The quick brown\xE2\x80\xA6  12345  short\n"
              "a                     7  jumps over the\xE2\x80\xA6\n");
}

TEST_F(HeadTest, LeavesOutTheLastColumnsOfAWideTable) {
    if (!hasTerminals()) GTEST_SKIP() << "/dev/pts is not mounted";
    const std::string table = make({{"a"}, {"b"}, {"c"}}, {{"aaaaaaaaaa", "bbbbbbbbbb", "cccccccccc"}});
    EXPECT_EQ(onScreen(23, {table}),
              "a          b          \xE2\x80\xA6\naaaaaaaa\xE2\x80\xA6  bbbbbbbb\xE2\x80\xA6  \xE2\x80\xA6\n");
    EXPECT_EQ(onScreen(12, {table}), "a          \xE2\x80\xA6\naaaaaaaa\xE2\x80\xA6  \xE2\x80\xA6\n");
    EXPECT_EQ(onScreen(6, {table, "--columns", "a"}), "a\naaaaa\xE2\x80\xA6\n");
    EXPECT_EQ(onScreen(1, {table, "--columns", "a"}), "a\n\xE2\x80\xA6\n");
}

TEST_F(HeadTest, CountsTwoColumnsForWideCharactersWhenItCuts) {
    if (!hasTerminals()) GTEST_SKIP() << "/dev/pts is not mounted";
    const std::string table = make({{"t"}}, {{"\xE6\x9D\xB1\xE4\xBA\xAC\xE9\x83\xBD"}, {"abcdef"}, {"abcdefg"}});
    EXPECT_EQ(onScreen(5, {table}), "t\n\xE6\x9D\xB1\xE4\xBA\xAC\xE2\x80\xA6\nabcd\xE2\x80\xA6\nabcd\xE2\x80\xA6\n");
    EXPECT_EQ(onScreen(6, {table}), "t\n\xE6\x9D\xB1\xE4\xBA\xAC\xE9\x83\xBD\nabcdef\nabcde\xE2\x80\xA6\n");
}

TEST_F(HeadTest, PrintsTitlesBoldOnATerminalUnlessColourIsNotWanted) {
    if (!hasTerminals()) GTEST_SKIP() << "/dev/pts is not mounted";
    const std::string table = counting(1);
    EXPECT_EQ(onScreen(80, {table}), "n\n0\n");
    const EnvironmentVariable colour("NO_COLOR", nullptr);
    EXPECT_EQ(onScreen(80, {table}), "\033[1mn\n\033[0m0\n");
    EXPECT_EQ(head({table}), "n\n0\n");
}

TEST_F(HeadTest, CatWritesCsvOnATerminalToo) {
    if (!hasTerminals()) GTEST_SKIP() << "/dev/pts is not mounted";
    const Finished run = onTerminal(command({"cat", counting(1)}), 80);
    EXPECT_EQ(run.out, "n\n0\n");
}

}  // namespace
