#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "support/environment.h"
#include "support/message_log.h"
#include "support/released.h"
#include "support/temp_directory.h"
#include "support/vtable.h"

namespace {

class ManagerTest : public testing::Test {
protected:
    Manager make(const std::string& directories, const char* accessKey = "key") {
        return Manager(ktwtCreateManager(accessKey, directories.c_str(), &error));
    }

    // The name of a table with one integer column and these rows, closed and released.
    std::string writeTable(KtWorkTableManager* manager, int rows) {
        const Table table(manager->create(1, 0, &error));
        if (table == nullptr || !table->defineColumnInfo(0, "number", ktbTypeInteger, 0)) return "";
        for (int i = 0; i < rows; ++i) {
            KtbDatavar value;
            value.assign(i);
            if (!table->writeRow(&value)) return "";
        }
        return table->close() ? table->getName().asCstr() : "";
    }

    // The directory that a new table of the manager goes to, by its place below the test's; "none" when there is none.
    std::string placeOfNewTable(KtWorkTableManager* manager) {
        const Table table(manager->create(0, 0, &error));
        if (table == nullptr) return "none";
        for (const char* place : {"first", "second"}) {
            if (std::filesystem::exists(directory.file(place) + "/" + table->getName().asCstr())) return place;
        }
        return "elsewhere";
    }

    // The directory that the manager says it tried last, from the message that no directory takes a new file.
    std::string lastDirectoryOf(const std::string& directories) {
        const Manager manager = make(directories);
        const MessageLog log;
        EXPECT_EQ(Table(manager->create(0, 0, &error)), nullptr);
        EXPECT_EQ(log.lastNumber(), 1417);
        EXPECT_EQ(log.last().text, error.asCstr());
        error = KtbString();
        const std::string text = log.last().text;
        const std::size_t begin = text.find('"') + 1;
        return text.substr(begin, text.find('"', begin) - begin);
    }

    std::string errorText() const { return error.asCstr(); }

    const TempDirectory directory;
    const std::string first = directory.directory("first");
    const std::string second = directory.directory("second");
    const std::string missing = directory.file("missing");
    const EnvironmentVariable noOption{"KTB_BASE_TEMP", nullptr};
    const EnvironmentVariable noFile{"KTB_OPTIONS", nullptr};
    KtbString error;
};

// Work directories.

TEST_F(ManagerTest, ATableGoesToTheFirstDirectoryThatTakesIt) {
    EXPECT_EQ(placeOfNewTable(make(first + ":" + second).get()), "first");
    EXPECT_EQ(placeOfNewTable(make(second + ":" + first).get()), "second");
    EXPECT_EQ(placeOfNewTable(make(missing + ":" + second).get()), "second");
    EXPECT_EQ(placeOfNewTable(make(first + ":").get()), "first");
}

TEST_F(ManagerTest, AnEmptyEntryTakesNoTable) {
    EXPECT_EQ(placeOfNewTable(make(":" + second).get()), "second");
    EXPECT_EQ(placeOfNewTable(make("::" + second).get()), "second");
    EXPECT_EQ(placeOfNewTable(make(missing + "::" + second).get()), "second");
    EXPECT_EQ(placeOfNewTable(make(":").get()), "none");
}

TEST_F(ManagerTest, AnEmptyEntryHoldsNoTable) {
    const Manager manager = make(first);
    const std::string name = writeTable(manager.get(), 1);
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(first);  // where a path made of an empty directory and the name would lead
    const Manager elsewhere = make(":" + second);
    EXPECT_EQ(Table(elsewhere->open(name.c_str(), false, &error)), nullptr);
    std::filesystem::current_path(before);
    EXPECT_NE(error.length(), 0);
}

TEST_F(ManagerTest, TheLastEntryIsWhatFollowsTheLastSeparatorUnlessThatIsNothing) {
    EXPECT_EQ(lastDirectoryOf(missing + "1:" + missing + "2"), missing + "2");
    EXPECT_EQ(lastDirectoryOf(missing + "1:"), missing + "1");
    EXPECT_EQ(lastDirectoryOf(":" + missing), missing);
    EXPECT_EQ(lastDirectoryOf(missing + "::" + missing + "3"), missing + "3");
    EXPECT_EQ(lastDirectoryOf(missing + "::"), "");
    EXPECT_EQ(lastDirectoryOf(":"), "");
}

TEST_F(ManagerTest, TheDirectoryListIsGivenBackAsItIs) {
    for (const char* list : {"/a:/b", "/a:", ":/a", "/a::/b", ":", "relative", "/ä:/\xff"}) {
        EXPECT_STREQ(make(list)->getDirectories().asCstr(), list);
    }
}

TEST_F(ManagerTest, WithoutAListTheOptionOfTheEnvironmentIsTaken) {
    const std::string list = first + ":" + second;
    const EnvironmentVariable option("KTB_BASE_TEMP", list.c_str());
    const Manager manager = make("");
    EXPECT_EQ(manager->getDirectories().asCstr(), list);
    EXPECT_EQ(placeOfNewTable(manager.get()), "first");
}

TEST_F(ManagerTest, WithoutAListTheOptionOfTheFileIsTaken) {
    writeFile(directory.file("options"), "# where tables go\nBASE/TEMP = " + second + "\n");
    const EnvironmentVariable file("KTB_OPTIONS", directory.file("options").c_str());
    const Manager manager = make("");
    EXPECT_EQ(manager->getDirectories().asCstr(), second);
    EXPECT_EQ(placeOfNewTable(manager.get()), "second");
}

TEST_F(ManagerTest, AListIsTakenWhateverTheOptionSays) {
    const EnvironmentVariable option("KTB_BASE_TEMP", second.c_str());
    const Manager manager = make(first);
    EXPECT_EQ(manager->getDirectories().asCstr(), first);
    EXPECT_EQ(placeOfNewTable(manager.get()), "first");
}

TEST_F(ManagerTest, WithoutListAndOptionTheSystemsDirectoryIsTheOnlyOne) {
    const EnvironmentVariable system("TMPDIR", first.c_str());
    const Manager manager = make("");
    EXPECT_EQ(manager->getDirectories().asCstr(), first);
    EXPECT_EQ(placeOfNewTable(manager.get()), "first");
    EXPECT_EQ(lastDirectoryOf(missing), missing);
}

TEST_F(ManagerTest, ANullListCountsAsEmpty) {
    const EnvironmentVariable option("KTB_BASE_TEMP", second.c_str());
    const Manager manager(ktwtCreateManager("", KtbString(nullptr), &error));
    EXPECT_EQ(manager->getDirectories().asCstr(), second);
}

// Making and ending.

TEST_F(ManagerTest, AnErrorTextThatIsThereAlreadyMakesTheCallFail) {
    error = "something else went wrong";
    const MessageLog log;
    EXPECT_EQ(make(first), nullptr);
    EXPECT_EQ(errorText(), "something else went wrong");
    EXPECT_TRUE(log.entries().empty());
}

TEST_F(ManagerTest, ANullErrorTextIsNone) {
    error.setNull();
    EXPECT_NE(make(first), nullptr);
    EXPECT_TRUE(error.isNull());
}

TEST_F(ManagerTest, TheAccessKeyIsGivenBackAsItIs) {
    const std::string longKey(3000, 'k');
    for (const char* key : {"", "key", "Schlüssel/%41 :", longKey.c_str()}) {
        EXPECT_STREQ(make(first, key)->getAccessKey().asCstr(), key);
        EXPECT_EQ(errorText(), "");
    }
    EXPECT_TRUE(Manager(ktwtCreateManager(KtbString(nullptr), first.c_str(), &error))->getAccessKey().isNull());
}

TEST_F(ManagerTest, ReleaseOfNullDoesNothing) {
    const Manager manager = make(first);
    constexpr std::size_t release = 24;
    slotOf<void(void*)>(manager.get(), release)(nullptr);
    EXPECT_STREQ(manager->getAccessKey().asCstr(), "key");
}

// Tables.

TEST_F(ManagerTest, ATableIsCreatedOpenedAndRemoved) {
    const Manager manager = make(first + ":" + second);
    const std::string name = writeTable(manager.get(), 3);
    EXPECT_EQ(name.rfind("ktwt_", 0), 0u);
    {
        const Table table(manager->open(name.c_str(), false, &error));
        ASSERT_NE(table, nullptr);
        EXPECT_EQ(table->getRows(), 3);
        EXPECT_EQ(table->getName().asCstr(), name);
    }
    EXPECT_TRUE(manager->remove(name.c_str(), &error));
    EXPECT_EQ(errorText(), "");
    EXPECT_EQ(Table(manager->open(name.c_str(), false, &error)), nullptr);
    EXPECT_FALSE(std::filesystem::exists(first + "/" + name));
    EXPECT_TRUE(std::filesystem::is_empty(first));
}

TEST_F(ManagerTest, AnEmptyTableIsAHeaderOf33Bytes) {
    const Manager manager = make(first);
    const Table table(manager->create(0, 0, &error));
    ASSERT_NE(table, nullptr);
    EXPECT_TRUE(table->close());
    EXPECT_EQ(std::filesystem::file_size(first + "/" + table->getName().asCstr()), 33u);
}

TEST_F(ManagerTest, SuccessLeavesTheErrorTextAlone) {
    const Manager manager = make(first);
    error = "before";
    const std::string name = writeTable(manager.get(), 1);
    const KtbString column("number");
    int number = 0;
    long range[] = {0, -1};
    EXPECT_NE(Table(manager->create(1, 0, 0, &error)), nullptr);
    EXPECT_NE(Table(manager->open(name.c_str(), false, &error)), nullptr);
    EXPECT_NE(Table(manager->open(name.c_str(), 1, &column, range, false, &error)), nullptr);
    EXPECT_NE(Table(manager->open(name.c_str(), 1, &number, range, true, &error)), nullptr);
    EXPECT_TRUE(manager->enqueue(name.c_str(), &error));
    manager->dequeue(name.c_str());
    EXPECT_TRUE(manager->remove(name.c_str(), &error));
    EXPECT_EQ(errorText(), "before");
}

TEST_F(ManagerTest, ATableThatIsNotThereIsNeitherOpenedNorRemoved) {
    const Manager manager = make(first + ":" + second);
    const MessageLog log;
    const std::string expected =
        "KTWT-1353: The file \"" + second + "/ktwt_none\" could not be opened: no such file or directory.";
    const KtbString column("number");
    int number = 0;
    const auto expectFailure = [&] {
        EXPECT_EQ(errorText(), expected);
        EXPECT_EQ(log.lastNumber(), 1353);
        EXPECT_EQ(log.last().source, "wtfile");
        error = KtbString();
    };
    EXPECT_EQ(Table(manager->open("ktwt_none", false, &error)), nullptr);
    expectFailure();
    EXPECT_EQ(Table(manager->open("ktwt_none", 1, &column, nullptr, false, &error)), nullptr);
    expectFailure();
    EXPECT_EQ(Table(manager->open("ktwt_none", 1, &number, nullptr, false, &error)), nullptr);
    expectFailure();
    EXPECT_FALSE(manager->remove("ktwt_none", &error));
    expectFailure();
    EXPECT_STREQ(manager->getError().asCstr(), "");
}

TEST_F(ManagerTest, NamesThatAreNoFileNamesAreNeverLookedFor) {
    const Manager manager = make(first);
    const std::string name = writeTable(manager.get(), 1);
    for (const std::string& wrong :
         {std::string(), std::string("."), std::string(".."), "../first/" + name, first + "/" + name}) {
        EXPECT_EQ(Table(manager->open(wrong.c_str(), false, &error)), nullptr) << wrong;
        EXPECT_EQ(errorText(), "KTWT-1353: The file \"" + wrong + "\" could not be opened: no such file or directory.");
        EXPECT_FALSE(manager->remove(wrong.c_str(), &error)) << wrong;
    }
    EXPECT_NE(Table(manager->open(name.c_str(), false, &error)), nullptr);
}

TEST_F(ManagerTest, ATableIsFoundInTheFirstDirectoryThatHoldsIt) {
    const std::string name = writeTable(make(second).get(), 2);
    const Manager manager = make(missing + "::" + first + ":" + second);
    const Table table(manager->open(name.c_str(), false, &error));
    ASSERT_NE(table, nullptr) << errorText();
    EXPECT_EQ(table->getRows(), 2);
}

TEST_F(ManagerTest, AnotherFailureThanAMissingFileEndsTheSearch) {
    const std::string name = writeTable(make(second).get(), 2);
    std::filesystem::create_directory(first + "/" + name);
    const Manager manager = make(first + ":" + second);
    EXPECT_EQ(Table(manager->open(name.c_str(), false, &error)), nullptr);
    EXPECT_EQ(errorText(), "KTWT-1353: The file \"" + first + "/" + name + "\" could not be opened: is a directory.");
}

TEST_F(ManagerTest, NegativeCountsAreRefused) {
    const Manager manager = make(first);
    const int counts[][2] = {{-1, 0}, {0, -1}, {-1, -1}, {1, INT_MIN}, {INT_MIN, 0}};
    for (const auto& [columns, sortColumns] : counts) {
        const MessageLog log;
        EXPECT_EQ(Table(manager->create(columns, sortColumns, 0, &error)), nullptr);
        EXPECT_EQ(log.lastNumber(), 1420);
        EXPECT_EQ(log.last().source, "wtfile");
        EXPECT_EQ(errorText(), log.last().text);
    }
    EXPECT_EQ(Table(manager->create(-1, 0, &error)), nullptr);
    EXPECT_TRUE(std::filesystem::is_empty(first));
}

// The settings

TEST_F(ManagerTest, EverySettingIsTakenAsOftenAsItIsMade) {
    using Setting = bool (*)(KtWorkTableManager&);
    const Setting settings[] = {
        [](KtWorkTableManager& manager) { return manager.setChunkSize(65536); },
        [](KtWorkTableManager& manager) { return manager.setSortMarkByGroups(true); },
        [](KtWorkTableManager& manager) { return manager.setSortNoCodeGen(true); },
        [](KtWorkTableManager& manager) { return manager.setSortNoDups(true); },
        [](KtWorkTableManager& manager) { return manager.setSortProcessors(1); },
        [](KtWorkTableManager& manager) { return manager.setSortRecords(1); },
        [](KtWorkTableManager& manager) { return manager.setSortSize(1 << 20); },
        [](KtWorkTableManager& manager) { return manager.setSortStable(true); },
    };
    for (const Setting setting : settings) {
        const Manager manager = make(first);
        EXPECT_TRUE(setting(*manager));
        EXPECT_TRUE(setting(*manager));  // its named lock is free again
        EXPECT_STREQ(manager->getError().asCstr(), "");
    }
}

TEST_F(ManagerTest, ASettingThatIsRefusedLeavesTheManagerUsable) {
    const Manager manager = make(first);
    for (int i = 0; i < 2; ++i) {
        EXPECT_FALSE(manager->setSortSize(1));
        EXPECT_NE(manager->getError().length(), 0);
    }
    EXPECT_TRUE(manager->setSortSize(1 << 20));
    EXPECT_NE(Table(manager->create(1, 1, 0, &error)), nullptr);
    EXPECT_EQ(errorText(), "");
}

}  // namespace
