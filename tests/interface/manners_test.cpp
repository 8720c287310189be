// A library is a guest in its caller's process: it does not speak, does not end it, starts nothing in it and changes nothing
// that belongs to all of it. What it does not call it cannot do, so the calls are looked at; each one that is allowed is here
// by name.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <vector>

#include "library_symbols.h"
#include "support/temp_directory.h"

namespace {

struct Allowed {
    const char* why;
    std::vector<const char*> names;
};

// Functions of C.
const std::vector<Allowed>& allowedFunctions() {
    static const std::vector<Allowed> result = {
        {"bytes and texts in memory",
         {"memchr", "memcmp", "memcpy", "memmove", "memset", "strchr", "strcmp", "strlen", "strncmp", "strnlen", "strrchr",
          "strspn", "snprintf", "vsnprintf", "bcmp"}},
        {"files by their paths and handles: base/impl/file and the sort's files",
         {"open", "close", "pread", "pwrite", "read", "fstat", "lstat", "ftruncate", "fchmod", "unlink", "flock", "opendir",
          "readdir", "closedir", "geteuid", "__errno_location"}},
        {"the wait of a lock that is busy for a moment", {"nanosleep"}},
        {"random names", {"getentropy"}},
        {"options and the directory for temporary files", {"getenv"}},
        {"the order of texts in a locale of the sort's own, which leaves that of the process alone",
         {"newlocale", "freelocale", "strxfrm_l"}},
        {"how many threads and how much memory a sort may use; whether it is in a child of the process that began it",
         {"sysconf", "sched_getaffinity", "__sched_cpucount", "getpid"}},
        // The calling thread's mask is changed for as long as it takes to start a thread, and put back.
        {"threads of a sort that take no signal of the caller's", {"pthread_sigmask", "sigfillset"}},
        {"mutual exclusion and waiting", {"pthread_mutex_lock", "pthread_mutex_unlock", "pthread_cond_clockwait"}},
        {"numbers", {"lround", "nextafter", "trunc"}},
        // The one voice that the library has: a failed assertion is reported on standard error unless a handler is set.
        {"ktbAssertFailure", {"writev"}},
#ifndef NDEBUG
        {"a broken invariant of the sort's, where they are checked: in debugging builds alone", {"__assert_fail"}},
#endif
    };
    return result;
}

// What the compiler itself calls. None of it is asked for by our code.
const std::vector<Allowed>& calledByTheCompiler() {
    static const std::vector<Allowed> result = {
        {"an exception of the standard library that is caught or passed on",
         {"__cxa_begin_catch", "__cxa_end_catch", "__gxx_personality_v0", "_Unwind_Resume"}},
        {"an array whose size has no number; ours have counts of 32 bits, or of bytes", {"__cxa_throw_bad_array_new_length"}},
        {"objects with static storage", {"__cxa_guard_acquire", "__cxa_guard_release", "__cxa_atexit", "__cxa_finalize"}},
        {"the slots of interfaces", {"__cxa_pure_virtual"}},
        {"numbers of 128 bits", {"__udivti3", "__umodti3", "__udivmodti4"}},
        {"in every shared library", {"__gmon_start__", "_ITM_registerTMCloneTable", "_ITM_deregisterTMCloneTable"}},
    };
    return result;
}

// What of the standard library is called through its own library; the rest of it is compiled into ours.
const std::vector<Allowed>& allowedOfStandard() {
    static const std::vector<Allowed> result = {
        {"memory", {"operator new", "operator delete", "std::nothrow"}},
        {"threads of a sort and waiting",
         {"std::condition_variable::", "std::thread::_M_start_thread", "std::thread::join", "std::thread::detach",
          "std::thread::_State::", "typeinfo for std::thread::_State", "std::chrono::_V2::steady_clock::now"}},
        {"numbers as texts, whatever the locale", {"std::from_chars(", "std::to_chars("}},
        {"what the standard library throws where a precondition is not met: none of it leaves a function of ours",
         {"std::__throw_"}},
        // The destructor of std::thread, which is compiled into its users, calls it for a thread that nobody joined; so does
        // whatever throws through a function that promises not to. Ours never call it: see the next test.
        {"the standard library's own last resort", {"std::terminate()"}},
        {"classes", {"vtable for __cxxabiv1::", "typeinfo for std::", "vtable for std::thread"}},
    };
    return result;
}

// Whether `accepts` is true of a name in the list.
template <class Accepts>
bool isListed(const std::vector<Allowed>& list, Accepts accepts) {
    return std::any_of(list.begin(), list.end(),
                       [&](const Allowed& group) { return std::any_of(group.names.begin(), group.names.end(), accepts); });
}

bool isOfTheCompiler(const std::string& name) {
    static const std::regex addedBySanitizersAndCoverage("__(asan|ubsan|tsan|sanitizer|gcov|llvm)_.*");
    return isListed(calledByTheCompiler(), [&](const char* listed) { return name == listed; }) ||
           std::regex_match(name, addedBySanitizersAndCoverage);
}

bool isAllowedFunction(const std::string& name) {
    return isListed(allowedFunctions(), [&](const char* listed) { return name == listed; });
}

bool isAllowedOfStandard(const std::string& signature) {
    return isListed(allowedOfStandard(), [&](const char* listed) { return signature.rfind(listed, 0) == 0; });
}

bool isAllowed(const std::string& name) {
    if (isOfTheCompiler(name)) return true;
    return name.rfind("_Z", 0) == 0 ? isAllowedOfStandard(demangled(name)) : isAllowedFunction(name);
}

TEST(MannersTest, TheBaseServicesCallNothingThatIsNotExpectedOfThem) {
    const Names names = undefinedIn(KTB_LIBRARY);
    EXPECT_GT(names.size(), 40u);
    for (const std::string& name : names) EXPECT_TRUE(isAllowed(name)) << demangled(name);
}

TEST(MannersTest, TheWorkTableLibraryCallsTheSystemOnlyThroughTheBaseServices) {
    static const std::set<std::string> inMemory = {"memchr",  "memcmp", "memcpy",   "memmove",  "memset",
                                                   "strchr",  "strcmp", "strlen",   "strncmp",  "strnlen",
                                                   "strrchr", "bcmp",   "snprintf", "vsnprintf"};
    const Names ofBase = exportsOf(KTB_LIBRARY);
    const Names names = undefinedIn(KTWT_LIBRARY);
    EXPECT_GT(names.size(), 40u);
    for (const std::string& name : names) {
        if (ofBase.count(name) != 0 || isOfTheCompiler(name) || inMemory.count(name) != 0) continue;
        EXPECT_TRUE(name.rfind("_Z", 0) == 0 && isAllowedOfStandard(demangled(name))) << demangled(name);
    }
}

// The lists above are worth nothing when they allow what they are there to find.
TEST(MannersTest, WhatPrintsEndsOrChangesTheProcessIsNotExpected) {
    for (const char* name : {"printf",
                             "fprintf",
                             "vprintf",
                             "vfprintf",
                             "dprintf",
                             "puts",
                             "fputs",
                             "putchar",
                             "fputc",
                             "putc",
                             "fwrite",
                             "perror",
                             "write",
                             "syslog",
                             "stdout",
                             "stderr",
                             "exit",
                             "_exit",
                             "_Exit",
                             "quick_exit",
                             "abort",
                             "atexit",
                             "raise",
                             "kill",
                             "system",
                             "popen",
                             "fork",
                             "vfork",
                             "execve",
                             "posix_spawn",
                             "signal",
                             "sigaction",
                             "sigprocmask",
                             "alarm",
                             "setenv",
                             "putenv",
                             "setlocale",
                             "uselocale",
                             "umask",
                             "chdir",
                             "setrlimit",
                             "longjmp",
                             "dlopen",
                             "socket",
                             "_ZSt4cout",
                             "_ZSt4cerr",
                             "_ZSt4clog",
                             "_ZNSt8ios_base4InitC1Ev",
                             "_ZSt13set_terminatePFvvE",
                             "_ZSt9terminatevX"}) {
        EXPECT_FALSE(isAllowed(name)) << name;
    }
}

// Every file below the folder, with its comments taken away.
std::vector<std::pair<std::string, std::string>> sourcesBelow(const std::string& folder) {
    std::vector<std::pair<std::string, std::string>> sources;
    static const std::regex comments("//[^\n]*");
    for (const auto& entry : std::filesystem::recursive_directory_iterator(std::string(KTWT_SOURCE_DIR) + "/" + folder)) {
        if (!entry.is_regular_file()) continue;
        const std::string path = entry.path().string();
        sources.emplace_back(path, std::regex_replace(readFile(path), comments, ""));
    }
    return sources;
}

TEST(MannersTest, NoSourceEndsTheProcessOrPrints) {
    const std::regex forbidden(
        "\\b(terminate|abort|exit|_exit|quick_exit|raise|cout|cerr|printf|puts|perror|throw)\\b *[(;<]|\\bthrow\\b");
    for (const char* folder : {"src", "base/impl"}) {
        const auto sources = sourcesBelow(folder);
        EXPECT_GT(sources.size(), 20u);
        for (const auto& [path, text] : sources) {
            std::smatch found;
            EXPECT_FALSE(std::regex_search(text, found, forbidden)) << path << ": " << found[0];
        }
    }
}

TEST(MannersTest, EachHeaderSaysWhatThreadsMayDo) {
    int headers = 0;
    for (const char* folder : {"include/ktwt", "base/ktb"}) {
        for (const auto& entry : std::filesystem::directory_iterator(std::string(KTWT_SOURCE_DIR) + "/" + folder)) {
            const std::string text = readFile(entry.path().string());
            // In the comment that opens the header.
            const std::string opening = text.substr(0, text.find("#ifndef"));
            EXPECT_TRUE(std::regex_search(opening, std::regex("(//| \\*) Threads: +[a-z]"))) << entry.path();
            ++headers;
        }
    }
    EXPECT_GT(headers, 15);
}

}  // namespace
