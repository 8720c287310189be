// Options that several commands have, in the same words everywhere.
#ifndef TOOLS_KTWT_OPTIONS_H
#define TOOLS_KTWT_OPTIONS_H

#include <CLI/CLI.hpp>

// --element-size of a new table, as the manager's create() takes it; 0 unless given.
void addElementSize(CLI::App& app, long* bytes);

// --json of a command that reports.
void addJson(CLI::App& app, bool* json);

#endif
