// Options that several commands have, in the same words everywhere.
#ifndef TOOLS_KTWT_OPTIONS_H
#define TOOLS_KTWT_OPTIONS_H

#include <CLI/CLI.hpp>
#include <string>

// Understands "512M": whole bytes, or so many K, M, G, T, P or E, which are powers of 1024; "512MB" and "512MiB" are the same.
// Returns what is wrong, empty when nothing is.
std::string parseSize(const std::string& text, long* bytes);

// An option that is a size.
CLI::Option* addSize(CLI::App& app, const char* name, long* bytes, const char* help);

// --element-size of a new table, as the manager's create() takes it; 0 unless given.
void addElementSize(CLI::App& app, long* bytes);

// --json of a command that reports.
void addJson(CLI::App& app, bool* json);

#endif
