// What the tools for libraries tell of ours.
#ifndef TESTS_INTERFACE_LIBRARY_SYMBOLS_H
#define TESTS_INTERFACE_LIBRARY_SYMBOLS_H

#include <cxxabi.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <set>
#include <sstream>
#include <string>

using Names = std::set<std::string>;

inline std::string outputOf(const std::string& command) {
    std::string output;
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), &pclose);
    if (pipe == nullptr) return output;
    char buffer[4096];
    while (const std::size_t count = std::fread(buffer, 1, sizeof buffer, pipe.get())) output.append(buffer, count);
    return output;
}

inline std::string demangled(const std::string& symbol) {
    int status = 0;
    const std::unique_ptr<char, void (*)(void*)> name(abi::__cxa_demangle(symbol.c_str(), nullptr, nullptr, &status),
                                                      &std::free);
    return status == 0 ? name.get() : symbol;
}

// The exported symbols without their version; those that only name a version are left out.
inline Names exportsOf(const char* library) {
    std::istringstream lines(outputOf(std::string(NM) + " -D --defined-only '" + library + "'"));
    Names names;
    std::string address, kind, name;
    while (lines >> address >> kind >> name) {
        if (kind != "A") names.insert(name.substr(0, name.find('@')));
    }
    return names;
}

// What a library calls that it does not have, without the versions.
inline Names undefinedIn(const char* library) {
    std::istringstream lines(outputOf(std::string(NM) + " -D --undefined-only '" + library + "'"));
    Names names;
    std::string kind, name;
    while (lines >> kind >> name) names.insert(name.substr(0, name.find('@')));
    return names;
}

#endif
