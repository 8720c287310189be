// docs/architecture.md: what the folders include is what the page lets them include.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <set>

#include "docs/page.h"

namespace {

namespace fs = std::filesystem;

const fs::path root = KTWT_SOURCE_DIR;

struct Room {
    std::set<std::string> includesFrom;  // folders
    bool systemHeaders = false;
};

using Rooms = std::map<std::string, Room>;

Rooms roomsOfThePage() {
    Rooms rooms;
    for (const page::Cells& line : page::rowsUnder("architecture.md", {"folder", "includes from", "system headers"})) {
        Room& room = rooms[line.at(0)];
        std::istringstream folders(line.at(1));
        for (std::string folder; std::getline(folders, folder, ',');) room.includesFrom.insert(page::plain(folder));
        room.systemHeaders = line.at(2) == "any";
    }
    return rooms;
}

// Headers of C++ have no dot. These are C's own.
bool isStandard(const std::string& header) {
    static const std::set<std::string> ofC = {"assert.h", "ctype.h",  "errno.h",  "float.h",  "inttypes.h", "limits.h",
                                              "locale.h", "math.h",   "setjmp.h", "signal.h", "stdarg.h",   "stdbool.h",
                                              "stddef.h", "stdint.h", "stdio.h",  "stdlib.h", "string.h",   "time.h"};
    return header.find('.') == std::string::npos || ofC.count(header) != 0;
}

// The folder that a file of ours is in, as the page calls it; empty when it is in none of them.
std::string roomOf(const fs::path& file, const Rooms& rooms) {
    const std::string name = fs::relative(file, root).string();
    for (const auto& [folder, room] : rooms) {
        if (name.rfind(folder, 0) == 0) return folder;
    }
    return "";
}

// The file of ours that is included; empty when it is none.
fs::path findIncluded(const fs::path& includer, const std::string& name) {
    for (const fs::path& from :
         {includer.parent_path(), root / "include", root / "base", root / "base/impl", root / "src", root / "tests"}) {
        if (fs::is_regular_file(from / name)) return fs::canonical(from / name);
    }
    return {};
}

// What the line includes; empty when it includes nothing.
std::string includedBy(const std::string& line) {
    const std::size_t directive = line.find_first_not_of(' ');
    if (directive == std::string::npos || line.compare(directive, 9, "#include ") != 0) return "";
    const std::size_t begin = line.find_first_of("<\"", directive) + 1;
    return line.substr(begin, line.find_first_of(">\"", begin) - begin);
}

struct Include {
    fs::path file;
    std::string name;
};

std::vector<Include> includesBelow(const fs::path& folder) {
    std::vector<Include> includes;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        const std::string kind = entry.path().extension().string();
        if (kind != ".h" && kind != ".cpp" && kind != ".c") continue;
        std::istringstream in(readFile(entry.path().string()));
        for (std::string line; std::getline(in, line);) {
            const std::string name = includedBy(line);
            if (!name.empty()) includes.push_back({fs::canonical(entry.path()), name});
        }
    }
    return includes;
}

bool isAllowed(const Include& include, const std::string& folder, const Rooms& rooms) {
    const Room& room = rooms.at(folder);
    const fs::path target = findIncluded(include.file, include.name);
    if (target.empty()) return room.systemHeaders || isStandard(include.name);
    const std::string from = roomOf(target, rooms);
    return from == folder || room.includesFrom.count(from) != 0;
}

TEST(ArchitectureTest, FoldersIncludeWhatThePageSays) {
    const Rooms rooms = roomsOfThePage();
    std::size_t looked = 0;
    for (const auto& [folder, room] : rooms) {
        for (const Include& include : includesBelow(root / folder)) {
            EXPECT_TRUE(isAllowed(include, folder, rooms)) << include.file << " includes " << include.name;
            ++looked;
        }
    }
    EXPECT_GT(looked, 500U);
}

TEST(ArchitectureTest, NoFolderIsLeftOut) {
    const Rooms rooms = roomsOfThePage();
    for (const auto& room : fs::directory_iterator(root / "base/impl")) {
        if (!room.is_directory()) continue;
        EXPECT_EQ(rooms.count("base/impl/" + room.path().filename().string() + "/"), 1U) << room.path();
    }
    for (const char* folder : {"include/ktwt/", "base/ktb/", "src/", "examples/", "tools/"}) {
        EXPECT_EQ(rooms.count(folder), 1U) << folder;
    }
}

// What the first test is there to find.
TEST(ArchitectureTest, IncludesThatPointUpwardAreNotAllowed) {
    const Rooms rooms = roomsOfThePage();
    const auto allowed = [&](const char* file, const char* name, const char* folder) {
        return isAllowed({root / file, name}, folder, rooms);
    };
    EXPECT_FALSE(allowed("src/wtfile.cpp", "file/file.h", "src/"));
    EXPECT_FALSE(allowed("src/wtfile.cpp", "unistd.h", "src/"));
    EXPECT_FALSE(allowed("src/wtfile.cpp", "support/faults.h", "src/"));
    EXPECT_FALSE(allowed("base/impl/file/file.h", "ktwt/file.h", "base/impl/file/"));
    EXPECT_FALSE(allowed("base/impl/uri/uri_text.h", "file/file.h", "base/impl/uri/"));
    EXPECT_FALSE(allowed("base/ktb/sort.h", "sort/row_sort.h", "base/ktb/"));
    EXPECT_FALSE(allowed("include/ktwt/file.h", "wtfile.h", "include/ktwt/"));
    EXPECT_FALSE(allowed("tools/ktwt/main.cpp", "wtfile.h", "tools/"));
    EXPECT_FALSE(allowed("examples/words.cpp", "value/utf8.h", "examples/"));
    EXPECT_TRUE(allowed("src/wtfile.cpp", "ktb/fio.h", "src/"));
    EXPECT_TRUE(allowed("base/impl/sort/chunk_store.cpp", "file/file.h", "base/impl/sort/"));
}

}  // namespace
