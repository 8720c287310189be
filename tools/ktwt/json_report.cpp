#include "json_report.h"

#include "output.h"

Outcome printJson(const Json& report) {
    Output out;
    out.put(report.dump(2, ' ', false, Json::error_handler_t::replace));
    out.put('\n');
    return out.finish();
}
