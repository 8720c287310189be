#include "characters.h"
#include "commands.h"
#include "json_report.h"
#include "options.h"
#include "output.h"
#include "progress.h"
#include "row_source.h"
#include "value_text.h"

namespace {

bool isSameText(const KtbDatavar& a, const KtbDatavar& b) {
    ValueText textOfA;
    ValueText textOfB;
    return textOfA.of(a) == textOfB.of(b);
}

// Whether nobody can tell them apart: of one type and, when they are shown, of one text. So 12.5 is not 12.50.
bool isSame(const KtbDatavar& a, const KtbDatavar& b) {
    if (a.isNull() || b.isNull()) return a.isNull() == b.isNull();
    if (a.type() != b.type()) return false;
    if (a.type() == ktbTypeInteger) return a.asInt64(nullptr) == b.asInt64(nullptr);
    return isSameText(a, b);
}

std::string shown(const KtbDatavar& value) {
    if (value.isNull()) return "NULL";
    ValueText text;
    const std::string printed = printable(text.of(value));
    return value.type() == ktbTypeString ? "\"" + printed + "\"" : printed;
}

Json reported(const KtbDatavar& value) {
    if (value.isNull()) return {};
    ValueText text;
    return {{"type", ktbTypeToString(value.type())}, {"text", text.of(value)}};
}

// What two tables were found to have, up to the first row that is not the same.
class Comparison {
public:
    Comparison(RowSource& first, RowSource& second) : first_(first), second_(second) {}

    // Fails only when one of them cannot be read.
    Outcome make() {
        compareColumns();
        return areSame() ? compareRows() : Outcome();
    }

    bool areSame() const { return columns_.empty() && row_ < 0; }

    Outcome print() const {
        Output out;
        for (const std::size_t column : columns_) {
            out.put("column " + std::to_string(column) + ": " + shownColumn(first_, column) + " and " +
                    shownColumn(second_, column) + "\n");
        }
        if (row_ >= 0) out.put("row " + std::to_string(row_) + shownRow() + "\n");
        return out.finish();
    }

    Outcome printReport() const {
        Json columns = Json::array();
        for (const std::size_t column : columns_) {
            columns.push_back(
                {{"column", column}, {"first", reportedColumn(first_, column)}, {"second", reportedColumn(second_, column)}});
        }
        return printJson({{"same", areSame()}, {"equalRows", equalRows_}, {"columns", columns}, {"row", reportedRow()}});
    }

private:
    void compareColumns() {
        const std::size_t count = std::max(first_.columns().size(), second_.columns().size());
        for (std::size_t i = 0; i < count; ++i) {
            const ColumnInfo* const a = columnAt(first_, i);
            const ColumnInfo* const b = columnAt(second_, i);
            if (a == nullptr || b == nullptr || a->name != b->name || a->type != b->type) columns_.push_back(i);
        }
    }

    Outcome compareRows() {
        Progress progress("comparing", Progress::Unit::rows, std::max(first_.expected(), second_.expected()));
        for (;; ++equalRows_, progress.at(equalRows_)) {
            inFirst_ = first_.next();
            if (!first_.outcome().ok()) return first_.outcome();
            inSecond_ = second_.next();
            if (!second_.outcome().ok()) return second_.outcome();
            if (!inFirst_ && !inSecond_) return {};
            if (inFirst_ && inSecond_ && isSameRow()) continue;
            row_ = equalRows_;
            return {};
        }
    }

    bool isSameRow() {
        const std::size_t count = first_.columns().size();
        for (different_ = 0; different_ < count; ++different_) {
            if (!isSame(first_.values()[different_], second_.values()[different_])) return false;
        }
        return true;
    }

    static const ColumnInfo* columnAt(const RowSource& rows, std::size_t column) {
        return column < rows.columns().size() ? &rows.columns()[column] : nullptr;
    }

    static std::string shownColumn(const RowSource& rows, std::size_t column) {
        const ColumnInfo* const found = columnAt(rows, column);
        if (found == nullptr) return "none";
        return "\"" + printable(found->name) + "\" (" + ktbTypeToString(found->type) + ")";
    }

    std::string shownRow() const {
        if (inFirst_ != inSecond_) return inFirst_ ? ": only in the first" : ": only in the second";
        return ", column \"" + printable(first_.columns()[different_].name) + "\": " + shown(first_.values()[different_]) +
               " and " + shown(second_.values()[different_]);
    }

    static Json reportedColumn(const RowSource& rows, std::size_t column) {
        const ColumnInfo* const found = columnAt(rows, column);
        return found == nullptr ? Json() : Json{{"name", found->name}, {"type", ktbTypeToString(found->type)}};
    }

    Json reportedRow() const {
        if (row_ < 0) return {};
        if (inFirst_ != inSecond_) return {{"row", row_}, {"onlyIn", inFirst_ ? "first" : "second"}};
        return {{"row", row_},
                {"column", first_.columns()[different_].name},
                {"first", reported(first_.values()[different_])},
                {"second", reported(second_.values()[different_])}};
    }

    RowSource& first_;
    RowSource& second_;
    std::vector<std::size_t> columns_;  // that differ
    long equalRows_ = 0;
    long row_ = -1;  // that differs: in the column `different_`, or by being in only one of them
    std::size_t different_ = 0;
    bool inFirst_ = false;
    bool inSecond_ = false;
};

class CompareCommand final : public Command {
public:
    const char* name() const override { return "compare"; }
    const char* summary() const override { return "Tell whether two tables have the same rows in the same order"; }
    const char* examples() const override {
        return "    $ ktwt compare $a $b && echo same       says what differs first, if anything\n"
               "    $ ktwt compare --quiet $a $b            only the exit status\n"
               "    $ ktwt compare \"$(ktwt uri $a --rows 0,9)\" \"$(ktwt uri $b --rows 0,9)\"\n"
               "                                            the first nine rows of each\n";
    }
    const char* details() const override {
        return "Columns are the same when name and type are, values when type and text are: the\n"
               "decimals 12.5 and 12.50 differ. Rows are counted from 0 on. Where columns\n"
               "differ, all of these are told, and rows are not looked at.\n"
               "The exit status is 1 when there is a difference.";
    }

    void addOptions(CLI::App& app) override {
        app.add_option("FIRST", first_.table, "A table, or a URI that chooses rows and columns of it")->required();
        app.add_option("SECOND", second_.table, "The other one")->required();
        app.add_flag("-q,--quiet", quiet_, "Print nothing");
        addJson(app, &json_);
    }

    Outcome run(const Session& session) override {
        Manager manager;
        if (Outcome made = makeManager(session, &manager); !made.ok()) return made;
        RowSource first;
        RowSource second;
        if (Outcome opened = first.open(*manager, first_, {}); !opened.ok()) return opened;
        if (Outcome opened = second.open(*manager, second_, {}); !opened.ok()) return opened;
        Comparison comparison(first, second);
        if (Outcome made = comparison.make(); !made.ok()) return made;
        return tell(comparison);
    }

private:
    Outcome tell(const Comparison& comparison) const {
        const Outcome told = quiet_ ? Outcome() : json_ ? comparison.printReport() : comparison.print();
        return told.ok() && !comparison.areSame() ? Outcome(Status::no, "") : told;
    }

    RowChoice first_;
    RowChoice second_;
    bool quiet_ = false;
    bool json_ = false;
};

}  // namespace

std::unique_ptr<Command> makeCompareCommand() { return std::make_unique<CompareCommand>(); }
