// Rows as JSON objects: in one array, or one to a line without it. Integers and decimals are numbers with all their digits,
// which a reader that takes every number for a double rounds; a decimal keeps the zeros at its end. Dates are strings as in
// every format. JSON is UTF-8 and nothing else, so that other bytes are replaced by U+FFFD.
#include <cstdio>
#include <unordered_set>

#include "escaping.h"
#include "row_writer.h"
#include "value_text.h"

namespace {

class JsonWriter final : public RowWriter {
public:
    JsonWriter(Output& out, bool lines) : out_(out), lines_(lines) {
        for (int c = 1; c < 0x20; ++c) {
            char text[8];
            std::snprintf(text, sizeof text, "\\u%04x", static_cast<unsigned>(c));
            escaping_.replace(static_cast<char>(c), text);
        }
        escaping_.replace('\n', "\\n");
        escaping_.replace('\r', "\\r");
        escaping_.replace('\t', "\\t");
    }

    Outcome begin(KtWorkTableFile&, const std::vector<ColumnInfo>& columns) override {
        std::unordered_set<std::string> known;
        for (const ColumnInfo& column : columns) {
            const std::string key = "\"" + escaping_.escaped(column.name) + "\":";
            if (!known.insert(key).second) return twice(column.name);
            keys_.push_back(key);
        }
        if (!lines_) out_.put('[');
        return {};
    }

    void row(const KtbDatavar* values) override {
        if (!lines_) out_.put(rows_ == 0 ? "\n" : ",\n");
        ++rows_;
        out_.put('{');
        for (std::size_t i = 0; i < keys_.size(); ++i) {
            if (i != 0) out_.put(',');
            out_.put(keys_[i]);
            value(values[i]);
        }
        out_.put('}');
        if (lines_) out_.put('\n');
    }

    void end(bool complete) override {
        if (!lines_ && complete) out_.put("\n]\n");
    }

    long replacedTexts() const override { return escaping_.textsWithLosses(); }

private:
    static Outcome twice(const std::string& name) {
        return {Status::usage, "two columns have the name \"" + name +
                                   "\", which in JSON are one; give one of them another name, as in --columns \"" + name +
                                   ",other=" + name + "\""};
    }

    void value(const KtbDatavar& value) {
        if (value.isNull()) return out_.put("null");
        switch (value.type()) {
            case ktbTypeBoolean:
            case ktbTypeInteger:
            case ktbTypeDecimal: return out_.put(valueText_.of(value));
            default: return string(valueText_.of(value));
        }
    }

    void string(std::string_view text) {
        out_.put('"');
        escaping_.put(text, out_);
        out_.put('"');
    }

    Output& out_;
    const bool lines_;
    long rows_ = 0;
    std::vector<std::string> keys_;  // each with its quotes and its colon
    ValueText valueText_;
    Escaping escaping_{Escaping::Bytes::utf8Only, {{'"', "\\\""}, {'\\', "\\\\"}}};
};

}  // namespace

std::unique_ptr<RowWriter> makeJsonWriter(Output& out) { return std::make_unique<JsonWriter>(out, false); }
std::unique_ptr<RowWriter> makeJsonLinesWriter(Output& out) { return std::make_unique<JsonWriter>(out, true); }
