// Comma-separated values by RFC 4180, but for the ends of lines, which are "\n".
//
// A null is a field of no characters, an empty text a pair of quotes, so that a reader who knows the difference gets back what
// there was. In a table of one column a null is therefore an empty line.
#include <array>

#include "row_writer.h"
#include "value_text.h"

namespace {

// The characters for which a text must stand in quotes.
constexpr auto special = [] {
    std::array<bool, 256> table{};
    for (const char c : {',', '"', '\r', '\n'}) table[static_cast<unsigned char>(c)] = true;
    return table;
}();

bool isBlank(char c) { return c == ' ' || c == '\t'; }

// Blanks around a text are lost on many readers, and a byte order mark at the beginning of a file on nearly all.
bool isTrimmed(std::string_view text) {
    return isBlank(text.front()) || isBlank(text.back()) || text.substr(0, 3) == "\xEF\xBB\xBF";
}

bool needsQuotes(std::string_view text) {
    if (text.empty() || isTrimmed(text)) return true;
    bool found = false;
    for (const char c : text) found |= special[static_cast<unsigned char>(c)];
    return found;
}

class CsvWriter final : public RowWriter {
public:
    CsvWriter(Output& out, bool withNames) : out_(out), withNames_(withNames) {}

    Outcome begin(KtWorkTableFile&, const std::vector<ColumnInfo>& columns) override {
        columns_ = columns.size();
        if (!withNames_) return {};
        for (std::size_t i = 0; i < columns_; ++i) {
            if (i != 0) out_.put(',');
            text(columns[i].name);
        }
        out_.put('\n');
        return {};
    }

    void row(const KtbDatavar* values) override {
        for (std::size_t i = 0; i < columns_; ++i) {
            if (i != 0) out_.put(',');
            if (!values[i].isNull()) value(values[i]);
        }
        out_.put('\n');
    }

    void end(bool) override {}

private:
    // The texts of other values than texts hold nothing special.
    void value(const KtbDatavar& value) {
        if (value.type() == ktbTypeString)
            text(valueText_.of(value));
        else
            out_.put(valueText_.of(value));
    }

    void text(std::string_view text) {
        if (needsQuotes(text))
            quoted(text);
        else
            out_.put(text);
    }

    void quoted(std::string_view text) {
        out_.put('"');
        for (std::size_t quote = text.find('"'); quote != std::string_view::npos; quote = text.find('"')) {
            out_.put(text.substr(0, quote + 1));
            out_.put('"');
            text.remove_prefix(quote + 1);
        }
        out_.put(text);
        out_.put('"');
    }

    Output& out_;
    const bool withNames_;
    std::size_t columns_ = 0;
    ValueText valueText_;
};

}  // namespace

std::unique_ptr<RowWriter> makeCsvWriter(Output& out, bool withNames) { return std::make_unique<CsvWriter>(out, withNames); }
