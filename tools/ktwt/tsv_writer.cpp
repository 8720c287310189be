// Values with tabs between them, one row a line. A tab, a line end or a backslash in a text is written as \t, \n, \r or \\, and
// a null as \N: a line is a row, and a tab is the end of a value, whatever the texts hold.
#include "escaping.h"
#include "row_writer.h"
#include "value_text.h"

namespace {

class TsvWriter final : public RowWriter {
public:
    TsvWriter(Output& out, bool withNames) : out_(out), withNames_(withNames) {}

    Outcome begin(KtWorkTableFile&, const std::vector<ColumnInfo>& columns) override {
        columns_ = columns.size();
        if (!withNames_) return {};
        for (std::size_t i = 0; i < columns_; ++i) {
            if (i != 0) out_.put('\t');
            escaping_.put(columns[i].name, out_);
        }
        out_.put('\n');
        return {};
    }

    void row(const KtbDatavar* values) override {
        for (std::size_t i = 0; i < columns_; ++i) {
            if (i != 0) out_.put('\t');
            if (values[i].isNull())
                out_.put("\\N");
            else
                escaping_.put(valueText_.of(values[i]), out_);
        }
        out_.put('\n');
    }

    void end(bool) override {}

private:
    Output& out_;
    const bool withNames_;
    std::size_t columns_ = 0;
    ValueText valueText_;
    Escaping escaping_{Escaping::Bytes::any, {{'\t', "\\t"}, {'\n', "\\n"}, {'\r', "\\r"}, {'\\', "\\\\"}}};
};

}  // namespace

std::unique_ptr<RowWriter> makeTsvWriter(Output& out, bool withNames) { return std::make_unique<TsvWriter>(out, withNames); }
