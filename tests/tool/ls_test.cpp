// Listing tables from the command line.
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>

#include "tool/scene.h"
#include "tool/terminal.h"

namespace {

using Json = nlohmann::json;

class LsTest : public SceneTest {
protected:
    Json list(std::vector<std::string> options = {}) {
        options.insert(options.begin(), {"ls", "--json"});
        const Finished ls = ktwt(std::move(options));
        EXPECT_EQ(ls.status, 0) << ls.err;
        return Json::parse(ls.out);
    }

    Json entryOf(const std::string& table) {
        for (const Json& entry : list()) {
            if (entry["name"] == table) return entry;
        }
        ADD_FAILURE() << table << " is not listed";
        return {};
    }

    std::vector<std::string> namesBy(const std::string& order) {
        std::vector<std::string> names;
        for (const Json& entry : list({"--by", order})) names.push_back(entry["name"]);
        return names;
    }

    long bytesOnDisk(const std::string& table) const {
        long bytes = 0;
        for (const std::string& name : tables.names()) {
            if (name.find(table.substr(5)) != std::string::npos)
                bytes += static_cast<long>(std::filesystem::file_size(tables.file(name)));
        }
        return bytes;
    }
};

TEST_F(LsTest, PrintsNothingWhereThereIsNothing) {
    const Finished ls = ktwt({"ls"});
    EXPECT_EQ(ls.status, 0);
    EXPECT_EQ(ls.out, "");
    EXPECT_EQ(list(), Json::array());
}

TEST_F(LsTest, TellsRowsColumnsAndSize) {
    const std::string table = towns();
    const Json entry = entryOf(table);
    EXPECT_EQ(entry["state"], "ok");
    EXPECT_EQ(entry["rows"], 5);
    EXPECT_EQ(entry["columns"], 5);
    EXPECT_EQ(entry["bytes"], bytesOnDisk(table));
    EXPECT_EQ(entry["header"], tables.file(table));
    EXPECT_EQ(entry["modified"].get<std::string>().size(), std::string("2026-11-20T12:30:00Z").size());
}

TEST_F(LsTest, AlignsItForPeople) {
    const std::string table = counting(1234);
    const std::vector<std::string> shown = lines(ktwt({"ls"}).out);
    ASSERT_EQ(shown.size(), 2U);
    EXPECT_EQ(shown[0].rfind("NAME ", 0), 0U) << shown[0];
    EXPECT_EQ(shown[1].rfind(table + "  1,234        1  ", 0), 0U) << shown[1];
}

TEST_F(LsTest, SortsByNameSizeAndAge) {
    const std::string small = make({{"a"}}, {{"x"}});
    const std::string large = make({{"a"}}, {{std::string(5000, 'x')}});
    const std::string middle = make({{"a"}}, {{std::string(500, 'x')}});
    const auto now = std::filesystem::file_time_type::clock::now();
    std::filesystem::last_write_time(tables.file(small), now - std::chrono::hours(2));
    std::filesystem::last_write_time(tables.file(large), now - std::chrono::hours(1));
    std::filesystem::last_write_time(tables.file(middle), now - std::chrono::hours(3));
    std::vector<std::string> byName = {small, large, middle};
    std::sort(byName.begin(), byName.end());
    EXPECT_EQ(namesBy("name"), byName);
    EXPECT_EQ(namesBy("size"), (std::vector<std::string>{large, middle, small}));
    EXPECT_EQ(namesBy("age"), (std::vector<std::string>{large, small, middle}));
    EXPECT_NE(ktwt({"ls"}).out.find("3 h"), std::string::npos);
}

TEST_F(LsTest, PrintsNamesAlone) {
    std::vector<std::string> names = {towns(), towns(), towns()};
    std::sort(names.begin(), names.end());
    EXPECT_EQ(lines(ktwt({"ls", "--names"}).out), names);
    EXPECT_EQ(list({"--names"}), Json(names));
}

TEST_F(LsTest, ListsATableThatIsBeingWrittenAsSuch) {
    const std::string finished = towns();
    KtbString error;
    KtWorkTableManager* const manager = ktwtCreateManager("", tables.path().c_str(), &error);
    KtWorkTableFile* const table = manager->create(1, 0, &error);
    const Json entry = entryOf(table->getName().asCstr());
    EXPECT_EQ(entry["state"], "writing");
    EXPECT_EQ(entry["reason"], "open for writing");
    EXPECT_EQ(entryOf(finished)["state"], "ok");
    const Finished ls = ktwt({"ls"});
    EXPECT_NE(ls.out.find("writing: open for writing"), std::string::npos) << ls.out;
    table->release();
    manager->release();
}

TEST_F(LsTest, ListsWhatAKilledProgramLeftAsSuch) {
    leaveOrphans();
    const Json entries = list();
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0]["state"], "orphan");
    EXPECT_NE(entries[0]["reason"].get<std::string>().find("ktwt sweep"), std::string::npos);
}

TEST_F(LsTest, ListsADamagedTableWithItsReason) {
    const std::string cut = towns();
    const std::string fine = towns();
    const std::string incomplete = towns();
    cutHeader(cut);
    const std::string missing = tables.names("ktwte_" + incomplete.substr(5)).front();
    std::filesystem::remove(tables.file(missing));
    EXPECT_EQ(entryOf(cut)["state"], "damaged");
    EXPECT_NE(entryOf(cut)["reason"], "");
    EXPECT_EQ(entryOf(incomplete)["state"], "damaged");
    EXPECT_NE(entryOf(incomplete)["reason"].get<std::string>().find(missing), std::string::npos);
    EXPECT_EQ(entryOf(fine)["state"], "ok");
}

TEST_F(LsTest, PassesOverWhatIsNoTable) {
    tables.directory("ktwt_directory");
    std::filesystem::create_symlink("/etc/passwd", tables.file("ktwt_link"));
    writeFile(tables.file("other"), "bytes");
    EXPECT_EQ(ktwt({"ls", "--names"}).out, "");
    EXPECT_EQ(list(), Json::array());
}

TEST_F(LsTest, ListsATableOfTwoDirectoriesOnce) {
    const std::string table = towns();
    const std::string second = files.directory("second");
    std::filesystem::copy_file(tables.file(table), second + "/" + table);
    const Finished ls =
        Running({KTWT_TOOL, "ls", "--names", "--dirs", tables.path() + "::" + second + ":"}, "/dev/null").wait();
    EXPECT_EQ(ls.out, table + "\n");
}

TEST_F(LsTest, TellsOfADirectoryThatCannotBeReadAfterTheOthers) {
    const std::string table = towns();
    const std::string noDirectory = file("no-directory", "bytes");
    const Finished ls = Running({KTWT_TOOL, "ls", "--names", "--dirs", noDirectory + ":" + tables.path()}, "/dev/null").wait();
    EXPECT_EQ(ls.out, table + "\n");
    EXPECT_FAILURE(ls, 3, noDirectory);
}

TEST_F(LsTest, TellsOfADirectoryThatIsNotThereAsOthersDo) {
    for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
             {"ls"}, {"ls", "--names"}, {"ls", "--json"}, {"du"}, {"du", "--json"}, {"sweep"}, {"sweep", "--yes", "--json"}}) {
        std::vector<std::string> command = words;
        command.insert(command.begin(), KTWT_TOOL);
        command.insert(command.end(), {"--dirs", files.file("nowhere") + ":" + tables.path()});
        EXPECT_FAILURE(Running(command, "/dev/null").wait(), 3, files.file("nowhere") + ": ");
    }
}

TEST_F(LsTest, ShowsNoNameThatWouldDisturbATerminal) {
    writeFile(tables.file("ktwt_\x1B[31m\nred"), "no header");
    EXPECT_EQ(ktwt({"ls", "--names"}).out, "ktwt_\\x1b[31m\\nred\n");
    const Finished verify = ktwt({"verify", "ktwt_\x1B[31m\nred"});
    EXPECT_EQ(verify.status, 1);
    EXPECT_NE(verify.out.find("/ktwt_\\x1b[31m\\nred: "), std::string::npos) << verify.out;
}

TEST_F(LsTest, RefusesWordsThatMakeNoSense) {
    EXPECT_FAILURE(ktwt({"ls", "--by", "color"}), 2, "--by");
    EXPECT_FAILURE(ktwt({"ls", "more"}), 2, "more");
    EXPECT_FAILURE(ktwt({"ls", "--names", "--by", "size"}), 2, "--names");
}

TEST_F(LsTest, TellsThatItsOutputIsRefused) {
    towns();
    EXPECT_FAILURE(withFullOutput({"ls"}), 4, "standard output");
    EXPECT_FAILURE(withFullOutput({"ls", "--json"}), 4, "standard output");
}

TEST_F(LsTest, IsBoldOnATerminalUnlessColourIsUnwanted) {
    if (!hasTerminals()) GTEST_SKIP() << "/dev/pts is not mounted";
    towns();
    EXPECT_NE(onTerminal(command({"ls"}), 100).out.find("\033["), std::string::npos);
    std::vector<std::string> words = command({"ls"});
    words.insert(words.begin(), {"/usr/bin/env", "NO_COLOR=1"});
    const std::string plain = onTerminal(words, 100).out;
    EXPECT_NE(plain.find("NAME"), std::string::npos);
    EXPECT_EQ(plain.find('\033'), std::string::npos);
}

}  // namespace
