// The options that choose rows and columns of a table, in the same words everywhere.
#ifndef TOOLS_KTWT_ROW_OPTIONS_H
#define TOOLS_KTWT_ROW_OPTIONS_H

#include <CLI/CLI.hpp>

#include "row_choice.h"

// Add TABLE, which may be a URI, and --columns and --rows.
void addTable(CLI::App& app, RowChoice* choice);
void addColumnsAndRows(CLI::App& app, RowChoice* choice);

// Adds --constant.
void addConstants(CLI::App& app, RowChoice* choice);

#endif
