// Reads the text of a work table URI, left to right in one pass. Each step takes what it names from the front of what is left,
// or says that it is not there. Nothing is guessed: a text that strays from the form in any place is not a URI, so that a
// table whose name merely looks a little like one can still be opened by that name.
#include <charconv>
#include <cstring>
#include <memory>
#include <string_view>

#include "uri/uri_text.h"
#include "uri/worktable_uri.h"

namespace ktb_uri {
namespace {

class UriParser {
public:
    explicit UriParser(const KtbString& text) noexcept : at_(text.asCstr()), end_(at_ + text.cStrSize() - 1) {}

    // Returns null when the text is not a URI or memory is exhausted.
    std::unique_ptr<WorkTableURI> parse() noexcept;

private:
    bool take(std::string_view literal) noexcept;
    bool takeScheme(KtbString* scheme) noexcept;
    bool takeRun(CharSet raw, KtbString* out) noexcept;
    bool takeNumber(long* number) noexcept;
    bool takeRange(WorkTableURI* uri) noexcept;
    bool takeType(ktbType* type) noexcept;
    bool takeColumn(WorkTableURI* uri) noexcept;
    bool takeQuery(WorkTableURI* uri) noexcept;
    bool atEnd() const noexcept { return at_ == end_; }

    const char* at_;
    const char* end_;  // the text's NUL
};

std::unique_ptr<WorkTableURI> UriParser::parse() noexcept {
    KtbString scheme;
    KtbString path;
    if (!takeScheme(&scheme) || !takeRun(pathRaw, &path)) return nullptr;
    std::unique_ptr<WorkTableURI> uri = WorkTableURI::make(scheme, path);
    if (!uri) return nullptr;
    if (take("?") && !takeQuery(uri.get())) return nullptr;
    if (!atEnd()) return nullptr;
    return uri;
}

bool UriParser::take(std::string_view literal) noexcept {
    if (!std::string_view(at_, static_cast<std::size_t>(end_ - at_)).starts_with(literal)) return false;
    at_ += literal.size();
    return true;
}

bool UriParser::takeScheme(KtbString* scheme) noexcept {
    const char* begin = at_;
    if (!isIn(schemeStart, *at_)) return false;
    while (isIn(schemeRest, *at_)) ++at_;
    scheme->assign(begin, static_cast<int>(at_ - begin));
    return take(":");
}

bool UriParser::takeRun(CharSet raw, KtbString* out) noexcept {
    const char* after = decodeRun(at_, raw, out);
    if (after == nullptr) return false;
    at_ = after;
    return true;
}

bool UriParser::takeNumber(long* number) noexcept {
    const std::from_chars_result result = std::from_chars(at_, end_, *number);
    at_ = result.ptr;
    return result.ec == std::errc();
}

// The row range, after its "rows=".
bool UriParser::takeRange(WorkTableURI* uri) noexcept {
    long start = 0;
    long count = 0;
    if (!takeNumber(&start) || !take(",") || !takeNumber(&count)) return false;
    uri->setRange(start, count);
    return true;
}

// The type of a constant and the '=' that must follow it.
bool UriParser::takeType(ktbType* type) noexcept {
    const char* begin = at_;
    at_ = std::strchr(begin, '=');
    if (at_ == nullptr) return false;
    KtbString name;
    name.assign(begin, static_cast<int>(at_ - begin));
    return ktbTypeFromString(name.asCstr(), type) && *type != ktbTypeNone && take("=");
}

bool UriParser::takeColumn(WorkTableURI* uri) noexcept {
    KtbString name;
    KtbString source;
    KtbString error;
    ktbType type = ktbTypeNone;
    if (!take("col=") || !takeRun(nameRaw, &name)) return false;
    const bool constant = take(":");
    if (constant && !takeType(&type)) return false;
    if ((constant || take("=")) && !takeRun(textRaw, &source)) return false;
    return uri->addColumn(name, type, source, &error);
}

bool UriParser::takeQuery(WorkTableURI* uri) noexcept {
    if (take("rows=")) {
        if (!takeRange(uri)) return false;
        if (!take("&")) return true;
    }
    do {
        if (!takeColumn(uri)) return false;
    } while (take("&"));
    return true;
}

}  // namespace
}  // namespace ktb_uri

KtWorkTableURI* getURIFromURIString(const KtbString& text) { return ktb_uri::UriParser(text).parse().release(); }
