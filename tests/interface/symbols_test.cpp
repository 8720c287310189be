// What the shared libraries export, need and are called.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <string>

#include "library_symbols.h"
#include "support/temp_directory.h"

namespace {

// Every match's first group.
Names allMatches(const std::string& text, const char* pattern) {
    const std::regex regex(pattern);
    Names names;
    for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match) names.insert((*match)[1]);
    return names;
}

Names dynamicEntries(const char* library, const std::string& tag) {
    const std::string text = outputOf(std::string(READELF) + " -dW '" + library + "'");
    return allMatches(text, ("\\(" + tag + "\\)[^\\[]*\\[([^\\]]*)\\]").c_str());
}

std::string sourceOf(const std::string& folder) {
    std::string text;
    for (const auto& entry : std::filesystem::directory_iterator(std::string(KTWT_SOURCE_DIR) + "/" + folder)) {
        text += readFile(entry.path().string());
    }
    return std::regex_replace(text, std::regex("//[^\n]*"), "");
}

// The last name before the arguments: "KtbString::append(char const*, bool*)" gives "append".
std::string lastName(const std::string& signature) {
    std::smatch match;
    return std::regex_search(signature, match, std::regex("(~?[A-Za-z_0-9]+|operator[^(]+)(\\[abi:[^\\]]*\\])?(\\(|$)"))
               ? match[1].str()
               : signature;
}

TEST(SymbolTest, TheWorkTableLibraryExportsWhatItsMapLists) {
    const std::string map = readFile(std::string(KTWT_SOURCE_DIR) + "/src/ktwt.map");
    const std::string listed = map.substr(map.find("global:"), map.find("local:") - map.find("global:"));
    const Names expected = allMatches(listed, "([A-Za-z_0-9]+);");
    EXPECT_EQ(exportsOf(KTWT_LIBRARY), expected);
    for (const char* name : {"ktwtCreateManager", "ktwtCreateCursor", "ktwtCreateStringCursor", "ktwtCreateStringKTWFCursor",
                             "ktwtListTableFiles", "ktwtSweepOrphans", "ktwtVerifyTable", "ktwfCursorFPs", "reverseBytes",
                             "ktx_build_info", "ktx_build_version", "ktx_build_number"}) {
        EXPECT_EQ(expected.count(name), 1u) << name;
    }
}

TEST(SymbolTest, TheBaseServicesExportNothingButTheContract) {
    const std::string contract = sourceOf("base/ktb");
    const Names words = allMatches(contract, "(~?[A-Za-z_][A-Za-z_0-9]*)");
    const Names exported = exportsOf(KTB_LIBRARY);
    EXPECT_GT(exported.size(), 100u);
    for (const std::string& symbol : exported) {
        const std::string signature = demangled(symbol);
        const std::string name = lastName(signature);
        const bool declared =
            words.count(name) != 0 || (name.rfind("operator", 0) == 0 && contract.find(name) != std::string::npos);
        EXPECT_TRUE(declared) << signature;
    }
}

TEST(SymbolTest, TheBaseServicesExportTheWholeContract) {
    Names exported;
    for (const std::string& symbol : exportsOf(KTB_LIBRARY)) exported.insert(lastName(demangled(symbol)));
    Names functions = allMatches(sourceOf("base/ktb"), "KTB_API [^;{]*?([A-Za-z_0-9]+)\\(");
    functions.erase("__attribute__");  // what KTB_API itself stands for
    EXPECT_GT(functions.size(), 30u);
    for (const std::string& function : functions) EXPECT_EQ(exported.count(function), 1u) << function;
    EXPECT_EQ(exported.count("np_dir_listsep"), 1u);
}

TEST(SymbolTest, TheLibrariesHaveTheirNames) {
    EXPECT_EQ(dynamicEntries(KTWT_LIBRARY, "SONAME"), Names{"libktwt.so.2"});
    EXPECT_EQ(dynamicEntries(KTB_LIBRARY, "SONAME"), Names{"libktb.so.1"});
}

// A sanitizer brings a library of its own along; what else is needed stays the same.
Names neededBy(const char* library) {
    Names names = dynamicEntries(library, "NEEDED");
    std::erase_if(names, [](const std::string& name) { return name.find("san.so") != std::string::npos; });
    return names;
}

TEST(SymbolTest, TheLibrariesNeedNothingButEachOtherAndTheStandardLibrary) {
    const Names standard = {"libstdc++.so.6", "libm.so.6", "libgcc_s.so.1", "libc.so.6"};
    EXPECT_EQ(neededBy(KTWT_LIBRARY).count("libktb.so.1"), 1u);
    for (const std::string& name : neededBy(KTWT_LIBRARY))
        EXPECT_TRUE(standard.count(name) != 0 || name == "libktb.so.1") << name;
    for (const std::string& name : neededBy(KTB_LIBRARY)) EXPECT_TRUE(standard.count(name) != 0) << name;
}

}  // namespace
