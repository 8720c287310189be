// Rows of a table on standard output or in a file: what cat and head have in common.
#ifndef TOOLS_KTWT_SHOW_ROWS_H
#define TOOLS_KTWT_SHOW_ROWS_H

#include <CLI/CLI.hpp>
#include <string>

#include "row_choice.h"
#include "row_source.h"

struct ShowOptions {
    RowChoice choice;
    RowOrder order;
    std::string format;
    bool noHeader = false;
    std::string output = "-";
};

// Adds the options; format and limit are shown with what is in *options already.
void addShowOptions(CLI::App& app, ShowOptions* options);

Outcome showRows(const Session& session, const ShowOptions& options);

#endif
