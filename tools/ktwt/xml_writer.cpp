// Rows as the document that KtWorkTableFile::readRows() makes, written row by row so that memory does not grow with the table.
//
// It differs where the library's document would not be read as it is meant: the columns are those that are seen, names and
// values are escaped so that every parser gives them back, and what XML cannot hold is replaced by U+FFFD. A null and an empty
// text look the same.
#include "escaping.h"
#include "row_writer.h"
#include "value_text.h"

namespace {

class XmlWriter final : public RowWriter {
public:
    explicit XmlWriter(Output& out) : out_(out) {
        for (char c = 1; c < 0x20; ++c) escaping_.forbid(c);
        escaping_.replace('\t', "\t");
        escaping_.replace('\n', "\n");
        escaping_.replace('\r', "&#13;");  // or parsers take it for a line end, and give back "\n"
        escaping_.forbidNonCharacters();
    }

    Outcome begin(KtWorkTableFile& table, const std::vector<ColumnInfo>& columns) override {
        columns_ = columns.size();
        if (Outcome opened = putOpening(table); !opened.ok()) return opened;
        escaping_.put(textOf(table.getName()), out_);
        out_.put("</value></constructor-arg><constructor-arg index='1'><list>");
        for (const ColumnInfo& column : columns) value(column.name);
        out_.put("</list></constructor-arg><constructor-arg index='2'><list>");
        return {};
    }

    void row(const KtbDatavar* values) override {
        out_.put("<list>");
        for (std::size_t i = 0; i < columns_; ++i) value(values[i].isNull() ? std::string_view() : valueText_.of(values[i]));
        out_.put("</list>");
    }

    void end(bool complete) override {
        if (complete) out_.put("</list></constructor-arg></bean></beans>\n");
    }

    long replacedTexts() const override { return escaping_.textsWithLosses(); }

private:
    // Up to the table's name the document is that of no rows.
    Outcome putOpening(KtWorkTableFile& table) {
        KtbString document;
        bool end = false;
        if (!table.readRows(0, 0, &document, &end)) return libraryFailure("", table.getError());
        constexpr std::string_view last = "<constructor-arg index='0'><value>";
        out_.put(viewOf(document).substr(0, viewOf(document).find(last) + last.size()));
        return {};
    }

    void value(std::string_view text) {
        out_.put("<value>");
        escaping_.put(text, out_);
        out_.put("</value>");
    }

    Output& out_;
    std::size_t columns_ = 0;
    ValueText valueText_;
    Escaping escaping_{Escaping::Bytes::utf8Only, {{'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'\'', "&apos;"}}};
};

}  // namespace

std::unique_ptr<RowWriter> makeXmlWriter(Output& out) { return std::make_unique<XmlWriter>(out); }
