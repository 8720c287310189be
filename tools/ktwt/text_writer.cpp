// Rows as a table for people. The columns are as wide as the first rows need; what comes later has to do with that, since
// nobody wants to wait for the last of a million rows before he sees the first.
#include "row_writer.h"
#include "text_table.h"
#include "value_text.h"

namespace {

constexpr std::size_t rowsAtOnce = 1000;
constexpr std::size_t bytesAtOnce = 1024 * 1024;

constexpr std::string_view nullMark = "NULL";

class TextWriter final : public RowWriter {
public:
    TextWriter(Output& out, bool withNames) : out_(out), withNames_(withNames) {}

    Outcome begin(KtWorkTableFile&, const std::vector<ColumnInfo>& columns) override {
        std::vector<TextTable::Column> titles;
        for (const ColumnInfo& column : columns) {
            const bool isNumber = column.type == ktbTypeInteger || column.type == ktbTypeDecimal;
            titles.push_back({column.name, isNumber ? TextTable::Align::right : TextTable::Align::left});
        }
        cells_.resize(titles.size());
        table_ = std::make_unique<TextTable>(std::move(titles), out_);
        if (!withNames_) table_->hideTitles();
        return {};
    }

    void row(const KtbDatavar* values) override {
        for (std::size_t i = 0; i < cells_.size(); ++i) {
            cells_[i] = cellOf(values[i]);
            bytes_ += cells_[i].size();
        }
        table_->add(cells_);
        if (++rows_ >= rowsAtOnce || bytes_ >= bytesAtOnce) print();
    }

    void end(bool) override { print(); }

private:
    // A text that looks like a null is told from one by quotes.
    std::string cellOf(const KtbDatavar& value) {
        if (value.isNull()) return std::string(nullMark);
        const std::string_view text = valueText_.of(value);
        return text == nullMark ? "\"NULL\"" : std::string(text);
    }

    void print() {
        table_->print();
        rows_ = 0;
        bytes_ = 0;
    }

    Output& out_;
    const bool withNames_;
    std::unique_ptr<TextTable> table_;
    std::vector<std::string> cells_;
    std::size_t rows_ = 0;
    std::size_t bytes_ = 0;
    ValueText valueText_;
};

}  // namespace

std::unique_ptr<RowWriter> makeTextWriter(Output& out, bool withNames) { return std::make_unique<TextWriter>(out, withNames); }
