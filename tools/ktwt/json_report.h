// Reports as JSON, on standard output.
#ifndef TOOLS_KTWT_JSON_REPORT_H
#define TOOLS_KTWT_JSON_REPORT_H

#include <nlohmann/json.hpp>

#include "outcome.h"
#include "output.h"

using Json = nlohmann::ordered_json;

// Bytes of names and texts that are not UTF-8 become U+FFFD, of which people are told.
Outcome printJson(const Json& report);

// To an output that is finished with it.
Outcome printJson(const Json& report, Output& out);

#endif
