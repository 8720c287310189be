#include "json_report.h"

#include "complaint.h"

Outcome printJson(const Json& report) {
    Output out;
    return printJson(report, out);
}

Outcome printJson(const Json& report, Output& out) {
    bool replaced = false;
    std::string text;
    try {
        text = report.dump(2);
    } catch (const Json::type_error&) {
        replaced = true;
        text = report.dump(2, ' ', false, Json::error_handler_t::replace);
    }
    out.put(text);
    out.put('\n');
    Outcome printed = out.finish();
    if (printed.ok() && replaced) complain("the report has bytes that JSON cannot hold; U+FFFD stands for each");
    return printed;
}
