#include "wtfindings.h"

#include <cstdarg>
#include <cstdio>

namespace ktwt {

void FindingReport::tell(const KtWorkTableFinding& finding) {
    if (stopped_) return;
    ++count_;
    stopped_ = visitor_ != nullptr && !visitor_->visit(finding);
}

void FileFindings::tell(const FindingPlace& place, const char* format, ...) {
    if (++count_ > toldMax) return;
    char text[256];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    report_->tell(
        {.path = path_, .kind = kind_, .element = place.element, .row = place.row, .offset = place.offset, .text = text});
}

void FileFindings::finish() {
    if (count_ <= toldMax) return;
    const long untold = count_ - toldMax;
    count_ = 0;
    tell({.element = element_}, "There are %ld more findings in this file.", untold);
}

}  // namespace ktwt
