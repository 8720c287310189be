#include "options.h"

void addElementSize(CLI::App& app, long* bytes) {
    app.add_option("--element-size", *bytes, "Begin a new pair of files when a data file has grown past this, such as 1G")
        ->transform(CLI::AsSizeValue(false))
        ->type_name("SIZE");
}

void addJson(CLI::App& app, bool* json) { app.add_flag("--json", *json, "Report as JSON"); }
