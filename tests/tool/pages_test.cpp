// Man pages and completions, which are made from the options that the commands really have.
#include <algorithm>
#include <filesystem>
#include <regex>

#include "tool/scene.h"

namespace {

class PagesTest : public SceneTest {
protected:
    static std::string pages(const std::string& path) { return std::string(KTWT_BINARY_DIR) + "/tools/ktwt/pages/" + path; }
    static std::string manPage(const std::string& command) {
        return readFile(pages("man/ktwt" + (command.empty() ? "" : "-" + command) + ".1"));
    }

    static Finished run(const std::vector<std::string>& words) { return Running(words, "/dev/null").wait(); }
    static bool has(const std::string& program) { return run({"/bin/sh", "-c", "command -v " + program}).status == 0; }

    // All that matches the first group of the expression.
    static std::vector<std::string> found(const std::string& text, const char* expression) {
        const std::regex regex(expression);
        std::vector<std::string> result;
        for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match)
            result.push_back((*match)[1]);
        return result;
    }

    static std::vector<std::string> commands() {
        const std::string help = run({KTWT_TOOL, "--help"}).out;
        return found(help.substr(help.find("\nCommands:\n")), "\n  ([a-z]+) ");
    }

    static std::vector<std::string> options(const std::string& command) {
        const std::string help = run({KTWT_TOOL, command, "--help"}).out;
        std::vector<std::string> names = found(help, "\n  (?:-[a-zA-Z],)?(--[a-z-]+)");
        const std::vector<std::string> shortNames = found(help, "\n  (-[a-zA-Z])[, ]");
        names.insert(names.end(), shortNames.begin(), shortNames.end());
        return names;
    }

    // What bash offers behind a line.
    std::vector<std::string> bashOffers(const std::string& line) {
        const std::string script =
            "PATH=${0%/*}:$PATH; source \"$1\"; COMP_LINE=$2; COMP_POINT=${#COMP_LINE}; _ktwt; printf '%s\\n' "
            "\"${COMPREPLY[@]}\"";
        const Finished bash = run({"bash", "--norc", "-c", script, KTWT_TOOL, pages("completions/ktwt.bash"), line});
        EXPECT_EQ(bash.err, "");
        std::vector<std::string> offers = lines(bash.out);
        offers.erase(std::remove(offers.begin(), offers.end(), ""), offers.end());
        std::sort(offers.begin(), offers.end());
        return offers;
    }

    std::vector<std::string> fishOffers(const std::string& line) {
        const std::string script = "set PATH (dirname $argv[1]) $PATH; source $argv[2]; complete -C $argv[3]";
        const Finished fish =
            run({"env", "HOME=" + files.path(), "fish", "-c", script, KTWT_TOOL, pages("completions/ktwt.fish"), line});
        std::vector<std::string> offers;
        for (const std::string& offer : lines(fish.out)) offers.push_back(offer.substr(0, offer.find('\t')));
        std::sort(offers.begin(), offers.end());
        return offers;
    }
};

using Names = std::vector<std::string>;

TEST_F(PagesTest, ThereIsOneForEachCommandAndNoOther) {
    Names expected = {"ktwt.1"};
    for (const std::string& command : commands()) expected.push_back("ktwt-" + command + ".1");
    std::sort(expected.begin(), expected.end());
    Names written;
    for (const auto& entry : std::filesystem::directory_iterator(pages("man"))) written.push_back(entry.path().filename());
    std::sort(written.begin(), written.end());
    EXPECT_EQ(written, expected);
    EXPECT_GT(expected.size(), 10U);
}

TEST_F(PagesTest, EachHasAllItsSections) {
    Names all = commands();
    all.push_back("");
    for (const std::string& command : all) {
        const std::string page = manPage(command);
        for (const std::string section :
             {"NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXIT STATUS", "ENVIRONMENT", "SEE ALSO"}) {
            EXPECT_NE(page.find("\n.SH " + section + "\n"), std::string::npos) << command << ": " << section;
        }
        EXPECT_EQ(command.empty(), page.find("\n.SH EXAMPLES\n") == std::string::npos) << command;
    }
}

TEST_F(PagesTest, EachTellsOfEveryOption) {
    for (const std::string& command : commands()) {
        const Names all = options(command);
        EXPECT_GE(all.size(), 3U) << command;
        for (const std::string& option : all) {
            const std::string escaped = std::regex_replace(option, std::regex("-"), "\\-");
            EXPECT_NE(manPage(command).find("\\fB" + escaped + "\\fR"), std::string::npos) << command << " " << option;
        }
    }
}

TEST_F(PagesTest, ManHasNothingToComplainOf) {
    if (!has("man") || !has("groff")) GTEST_SKIP() << "There is no man here.";
    for (const auto& entry : std::filesystem::directory_iterator(pages("man"))) {
        const Finished man = run(
            {"env", "MANROFFSEQ=", "LC_ALL=C.UTF-8", "MANWIDTH=80", "man", "--warnings", "-E", "UTF-8", "-l", entry.path()});
        EXPECT_EQ(man.status, 0) << entry.path();
        EXPECT_EQ(man.err, "") << entry.path();
        EXPECT_NE(man.out.find("SYNOPSIS"), std::string::npos) << entry.path();
    }
}

TEST_F(PagesTest, MandocHasNothingToComplainOf) {
    if (!has("mandoc")) GTEST_SKIP() << "There is no mandoc here.";
    for (const auto& entry : std::filesystem::directory_iterator(pages("man"))) {
        const Finished lint = run({"mandoc", "-T", "lint", "-W", "warning", entry.path()});
        EXPECT_EQ(lint.out + lint.err, "");
    }
}

TEST_F(PagesTest, BashOffersCommandsAndOptions) {
    EXPECT_EQ(bashOffers("ktwt so"), (Names{"sort"}));
    Names all = commands();
    all.insert(all.end(), {"--help", "--version"});
    std::sort(all.begin(), all.end());
    EXPECT_EQ(bashOffers("ktwt "), all);
    for (const std::string& command : commands()) {
        Names expected = options(command);
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(bashOffers("ktwt " + command + " -"), expected);
    }
    EXPECT_EQ(bashOffers("ktwt sort --no"), (Names{"--no-dups"}));
}

TEST_F(PagesTest, BashOffersTheValuesOfOptions) {
    EXPECT_EQ(bashOffers("ktwt ls --by "), (Names{"age", "name", "size"}));
    EXPECT_EQ(bashOffers("ktwt ls --by=s"), (Names{"size"}));
    EXPECT_EQ(bashOffers("ktwt sort --by "), Names());
    files.directory("one");
    files.directory("other");
    file("file", "bytes");
    EXPECT_EQ(bashOffers("ktwt ls --dirs " + files.path() + "/o"), (Names{files.file("one"), files.file("other")}));
    EXPECT_EQ(bashOffers("ktwt ls --dirs /usr:" + files.path() + "/on"), (Names{files.file("one")}));
    EXPECT_EQ(bashOffers("ktwt import " + files.path() + "/f"), (Names{files.file("file")}));
}

TEST_F(PagesTest, BashOffersTheTablesThatAreThere) {
    Names names = {towns(), towns()};
    std::sort(names.begin(), names.end());
    const std::string dirs = " --dirs " + tables.path() + " ";
    EXPECT_EQ(bashOffers("ktwt cat" + dirs), names);
    EXPECT_EQ(bashOffers("ktwt rm" + dirs + names[0] + " "), names);
    EXPECT_EQ(bashOffers("ktwt append" + dirs + names[0] + " " + names[1]), (Names{names[1]}));
    EXPECT_EQ(bashOffers("ktwt partition" + dirs + names[0] + " "), Names());
    EXPECT_EQ(bashOffers("ktwt cat --dirs=" + tables.path() + " " + names[0]), (Names{names[0]}));
}

TEST_F(PagesTest, BashRunsNothingThatIsTheNameOfAFile) {
    writeFile(tables.file("ktwt_$(touch " + std::string("escaped)")), "");
    EXPECT_EQ(bashOffers("ktwt cat --dirs " + tables.path() + " "), (Names{"ktwt_\\$\\(touch\\ escaped\\)"}));
    EXPECT_FALSE(std::filesystem::exists("escaped"));
}

TEST_F(PagesTest, ZshUnderstandsItsCompletion) {
    if (!has("zsh")) GTEST_SKIP() << "There is no zsh here.";
    const Finished zsh = run({"zsh", "-n", pages("completions/_ktwt")});
    EXPECT_EQ(zsh.status, 0);
    EXPECT_EQ(zsh.err, "");
}

TEST_F(PagesTest, ZshIsToldOfEveryOption) {
    const std::string text = readFile(pages("completions/_ktwt"));
    for (const std::string& command : commands()) {
        const std::size_t begin = text.find("        " + command + ")\n");
        ASSERT_NE(begin, std::string::npos) << command;
        const std::string part = text.substr(begin, text.find(";;", begin) - begin);
        for (const std::string& option : options(command))
            EXPECT_NE(part.find(option), std::string::npos) << command << " " << option;
    }
}

TEST_F(PagesTest, FishOffersCommandsOptionsAndTables) {
    if (!has("fish")) GTEST_SKIP() << "There is no fish here.";
    EXPECT_EQ(run({"fish", "-n", pages("completions/ktwt.fish")}).err, "");
    EXPECT_EQ(fishOffers("ktwt so"), (Names{"sort"}));
    EXPECT_EQ(fishOffers("ktwt ls --by "), (Names{"age", "name", "size"}));
    for (const std::string& command : commands()) {
        Names expected;
        for (const std::string& option : options(command)) {
            if (option.rfind("--", 0) == 0) expected.push_back(option);
        }
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(fishOffers("ktwt " + command + " --"), expected);
    }
    const std::string table = towns();
    EXPECT_EQ(fishOffers("ktwt cat --dirs " + tables.path() + " ktwt_"), (Names{table}));
}

// docs/tool.md, held against what the program says of itself.
class ToolPageTest : public PagesTest {
protected:
    static std::string page() { return readFile(std::string(KTWT_SOURCE_DIR) + "/docs/tool.md"); }

    // What stands under the heading of a command.
    static std::string part(const std::string& command) {
        const std::string text = page();
        const std::size_t begin = text.find("\n### `ktwt " + command + "`");
        return begin == std::string::npos ? "" : text.substr(begin, text.find("\n##", begin + 4) - begin);
    }
};

TEST_F(ToolPageTest, TellsOfEveryCommandAndOption) {
    for (const std::string& command : commands()) {
        EXPECT_NE(part(command), "") << command;
        for (const std::string& option : options(command)) {
            const bool isCommon = option == "--help" || option == "-h" || option == "--dirs";
            const std::string where = isCommon ? page() : part(command);
            EXPECT_NE(where.find("`" + option), std::string::npos) << command << " " << option;
        }
    }
}

TEST_F(ToolPageTest, TellsOfNoCommandOrOptionThatIsNotThere) {
    const Names all = commands();
    for (const std::string& command : found(page(), "\n### `ktwt ([a-z]+)`")) {
        ASSERT_NE(std::find(all.begin(), all.end(), command), all.end()) << command;
        const Names known = options(command);
        for (const std::string& option : found(part(command), "\n- `(?:-[a-z]`, `)?(--[a-z-]+)")) {
            EXPECT_NE(std::find(known.begin(), known.end(), option), known.end()) << command << " " << option;
        }
    }
}

TEST_F(ToolPageTest, TellsOfEveryExitStatusAndVariable) {
    const std::string program = manPage("");
    const std::string tail = program.substr(program.find(".SH EXIT STATUS"));
    const Names facts = found(tail, "\n.TP\n\\\\fB([0-9A-Z_]+)\\\\fR");
    EXPECT_EQ(facts.size(), 11U);
    for (const std::string& fact : facts) EXPECT_NE(page().find("| `" + fact + "` |"), std::string::npos) << fact;
}

}  // namespace
