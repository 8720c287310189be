// The directory list, taken apart.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/released.h"
#include "wtmgr.h"

namespace {

// What ends in a separator has nothing behind it; every other separator has an entry on both sides.
std::vector<std::string> expectedEntries(std::string list) {
    std::vector<std::string> entries;
    while (!list.empty()) {
        const std::size_t separator = list.find(':');
        entries.push_back(list.substr(0, separator));
        list = separator == std::string::npos ? "" : list.substr(separator + 1);
    }
    return entries;
}

std::vector<std::string> entriesOf(const std::string& list) {
    KtbString error;
    const Manager manager(ktwtCreateManager("", list.c_str(), &error));
    auto* impl = static_cast<KTWTManagerImpl*>(manager.get());
    std::vector<std::string> entries;
    for (int i = 0; i < impl->getDirectoryCount(); ++i) entries.emplace_back(impl->getDirectory(i).asCstr());
    return entries;
}

TEST(DirectoryListTest, EntriesStandBetweenSeparators) {
    using Entries = std::vector<std::string>;
    EXPECT_EQ(entriesOf("d1:d2"), (Entries{"d1", "d2"}));
    EXPECT_EQ(entriesOf("d1:"), (Entries{"d1"}));
    EXPECT_EQ(entriesOf(":d1"), (Entries{"", "d1"}));
    EXPECT_EQ(entriesOf("a::b"), (Entries{"a", "", "b"}));
    EXPECT_EQ(entriesOf(":"), (Entries{""}));
    EXPECT_EQ(entriesOf("/ä ö:\xff"), (Entries{"/ä ö", "\xff"}));
}

TEST(DirectoryListTest, EverySmallListIsTakenApartAsItShouldBe) {
    constexpr char alphabet[] = {'a', ':', '/'};
    std::vector<std::string> lists = {""};
    for (std::size_t i = 0; i < lists.size() && lists[i].size() < 7; ++i) {
        for (const char c : alphabet) lists.push_back(lists[i] + c);
    }
    for (const std::string& list : lists) {
        if (list.empty()) continue;  // would ask for the option
        ASSERT_EQ(entriesOf(list), expectedEntries(list)) << list;
    }
    EXPECT_EQ(lists.size(), 3280u);
}

TEST(DirectoryListTest, ALongListIsTakenApartAsItShouldBe) {
    std::string list;
    for (int i = 0; i < 2000; ++i)
        list += "/a directory with a long name, number " + std::to_string(i) + (i % 7 == 0 ? "::" : ":");
    EXPECT_EQ(entriesOf(list), expectedEntries(list));
}

TEST(DirectoryListTest, AnIndexOutOfRangeGivesANull) {
    KtbString error;
    const Manager manager(ktwtCreateManager("", "a:b", &error));
    auto* impl = static_cast<KTWTManagerImpl*>(manager.get());
    for (const int index : {-1, 2, 1000, -2147483647}) EXPECT_TRUE(impl->getDirectory(index).isNull());
}

}  // namespace
