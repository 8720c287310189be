#include "characters.h"
#include "commands.h"
#include "field_type.h"
#include "import_columns.h"
#include "input_file.h"
#include "interrupt.h"
#include "new_table.h"
#include "options.h"
#include "sort_options.h"
#include "transfer.h"

namespace {

bool needsInference(const std::vector<ImportColumn>& columns) {
    for (const ImportColumn& column : columns) {
        if (!column.given) return true;
    }
    return false;
}

// Finds the types that were not given.
class TypeFinder final : public CsvRows {
public:
    TypeFinder(bool emptyIsNull, std::vector<ImportColumn>* columns)
        : emptyIsNull_(emptyIsNull), columns_(columns), empties_(columns->size()) {}

    bool field(std::size_t column, const char* text, std::size_t bytes) override {
        ImportColumn& known = (*columns_)[column];
        if (known.given || known.type == ktbTypeString) return true;
        if (bytes != 0) {
            known.type = narrowestType(known.type, text, bytes);
        } else {
            (text == nullptr ? empties_[column].bare : empties_[column].quoted) = true;
        }
        return true;
    }

    bool endRow() override {
        ++rows_;
        return true;
    }

    // Settles what no field has settled. Only texts can tell an empty text from a null.
    void finish() {
        for (std::size_t i = 0; i < columns_->size(); ++i) {
            ImportColumn& column = (*columns_)[i];
            const bool bothKinds = emptyIsNull_ && empties_[i].bare && empties_[i].quoted;
            if (!column.given && (column.type == ktbTypeNone || bothKinds)) column.type = ktbTypeString;
        }
    }

    long rows() const { return rows_; }

private:
    struct Empties {
        bool bare = false;
        bool quoted = false;
    };

    const bool emptyIsNull_;
    std::vector<ImportColumn>* columns_;
    std::vector<Empties> empties_;
    long rows_ = 0;
};

// Writes rows into a table.
class Loader final : public CsvRows {
public:
    Loader(CsvReader& reader, bool emptyIsNull, const std::vector<ImportColumn>& columns, KtWorkTableFile& table)
        : reader_(reader), emptyIsNull_(emptyIsNull), columns_(columns), values_(columns.size()), table_(table) {}

    bool field(std::size_t column, const char* text, std::size_t bytes) override {
        const ImportColumn& target = columns_[column];
        KtbDatavar& value = values_[column];
        if (bytes == 0) return takeEmpty(target, text == nullptr, &value);
        const bool stored =
            target.given ? convertedValue(target.type, text, bytes, &value) : valueOf(target.type, text, bytes, &value);
        return stored || refuse(target, {text, bytes});
    }

    bool endRow() override {
        if (table_.writeRow(values_.data())) return true;
        return reader_.fail(interrupted() ? cancelled() : libraryFailure("", table_.getError()));
    }

private:
    // Only texts can be empty.
    bool takeEmpty(const ImportColumn& target, bool bare, KtbDatavar* value) const {
        if (target.type == ktbTypeString && !(bare && emptyIsNull_)) {
            value->assign("", 0);
        } else {
            value->setNull();
        }
        return true;
    }

    bool refuse(const ImportColumn& target, std::string_view text) {
        if (target.type == ktbTypeString) return reader_.fail(Outcome(Status::full, "memory is exhausted"));
        const std::string what = "\"" + cutToWidth(printable(text), shownWidth) + "\" is no " + ktbTypeToString(target.type) +
                                 " (column \"" + printable(target.name) + "\")";
        return reader_.fail(target.given ? what : what + ", though it was one before: the file changes");
    }

    static constexpr std::size_t shownWidth = 60;

    CsvReader& reader_;
    const bool emptyIsNull_;
    const std::vector<ImportColumn>& columns_;
    std::vector<KtbDatavar> values_;
    KtWorkTableFile& table_;
};

// Names a separator is given by, and single characters that stand for themselves.
std::string parseSeparator(const std::string& text, char* separator) {
    if (text == "tab" || text == "\\t") {
        *separator = '\t';
    } else if (text.size() == 1 && text != "\"" && text != "\n" && text != "\r") {
        *separator = text[0];
    } else {
        return "\"" + text + "\" is neither \"tab\" nor one character that can separate fields";
    }
    return {};
}

// An option whose text is understood at once, so that what is wrong with it is a matter of usage.
template <class Result>
CLI::Option* addParsed(CLI::App& app, const char* name, std::string (*parse)(const std::string&, Result*), Result* result,
                       const char* help) {
    return app.add_option_function<std::string>(
        name,
        [=](const std::string& text) {
            const std::string wrong = parse(text, result);
            if (!wrong.empty()) throw CLI::ValidationError(name, wrong);
        },
        help);
}

class ImportCommand final : public Command {
public:
    const char* name() const override { return "import"; }
    const char* summary() const override { return "Make a table from a CSV file and print its name"; }
    const char* examples() const override {
        return "    $ ktwt import towns.csv                         finds out the columns' types\n"
               "    $ ktwt import towns.csv --sort country,-people  in each the largest first\n"
               "    $ ktwt import towns.csv --types name:string,people:integer\n"
               "    $ zcat towns.csv.gz | ktwt import - --separator ';' --no-header\n";
    }

    const char* details() const override {
        return "Fields are separated and quoted as in RFC 4180, and kept byte for byte; blanks\n"
               "belong to their field. What is wrong in the file is named by its line and by\n"
               "the number of its column, as in \"towns.csv:17:3\", and no table is made.\n\n"
               "A column is boolean, integer, decimal or date only if that type writes every\n"
               "one of its fields exactly as it is: 007, +1 and 1e3 are texts, 12.50 stays\n"
               "12.50. Only empty fields lose their quotes there: they are nulls. A column\n"
               "that has empty fields with quotes and without is a text, unless --empty text.\n"
               "A type that is given takes all that converts to it: 007 becomes the integer 7.\n"
               "A double stays the text that it is.\n\n"
               "A record has at most 256 MiB. A pipe is kept in a nameless file in a work\n"
               "directory until the types are known, unless all types are given. A file that\n"
               "becomes shorter while it is read is refused.";
    }

    void addOptions(CLI::App& app) override {
        app.add_option("FILE", path_, "The CSV file; - for standard input")->required();
        addParsed(
            app, "--types", parseTypes, &types_,
            "NAME:TYPE,... of some columns, or TYPE,... of all: boolean, integer, decimal, string, date or double (sorted as "
            "such, stored as a text). Types that are not given are found out")
            ->type_name("TYPES");
        app.add_flag("--no-header", noHeader_, "The first row is data; the columns are named c1, c2, ...");
        addParsed(app, "--separator", parseSeparator, &separator_,
                  "What is between fields: one character, or \"tab\"; a comma unless given")
            ->type_name("CHAR");
        app.add_option("--empty", empty_,
                       "What an empty field without quotes is in a text column: \"null\", or \"text\" like one with quotes. In "
                       "columns of "
                       "other types both are nulls")
            ->check(CLI::IsMember({"null", "text"}))
            ->capture_default_str()
            ->type_name("WHAT");
        sort_.addTo(app, "--sort");
        addElementSize(app, &elementSize_);
    }

    Outcome run(const Session& session) override {
        Manager manager;
        if (Outcome made = makeManager(session, &manager); !made.ok()) return made;
        InputFile input;
        if (Outcome opened = input.open(path_, textOf(manager->getDirectories())); !opened.ok()) return opened;
        CsvReader reader(input, separator_);
        std::vector<ImportColumn> columns;
        if (Outcome found = findColumns(input, reader, &columns); !found.ok()) return found;
        if (Outcome known = checkSortKeys(input, columns); !known.ok()) return known;
        long rows = 0;
        if (Outcome found = findTypes(input, reader, &columns, &rows); !found.ok()) return found;
        if (Outcome set = sort_.configure(*manager, rows); !set.ok()) return set;
        NewTable table;
        if (Outcome filled = fill(*manager, input, reader, columns, table); !filled.ok()) return filled;
        return printName(*manager, table.name());
    }

private:
    bool emptyIsNull() const { return empty_ == "null"; }

    // The number of columns is that of the first record; a file without any has as many as types were given for.
    Outcome findColumns(const InputFile& input, CsvReader& reader, std::vector<ImportColumn>* columns) const {
        std::vector<CsvName> first;
        if (Outcome read = reader.readFirst(&first); !read.ok()) return read;
        if (first.empty() && !noHeader_) return {Status::damaged, input.name() + ": the file is empty, without even a header"};
        if (noHeader_) *columns = numberedColumns(first.empty() ? types_.size() : first.size());
        if (columns->empty() && noHeader_)
            return {Status::damaged, input.name() + ": the file is empty, and no types are given"};
        const Outcome named = noHeader_ ? Outcome() : nameColumns(reader, first, columns);
        return named.ok() ? giveTypes(input.name(), types_, columns) : named;
    }

    // A name that is wrong is told before a long file is read.
    Outcome checkSortKeys(const InputFile& input, const std::vector<ImportColumn>& columns) const {
        std::vector<ColumnInfo> named(columns.size());
        for (std::size_t i = 0; i < named.size(); ++i) named[i].name = columns[i].name;
        return sort_.checkKeys(input.name(), named);
    }

    Outcome findTypes(InputFile& input, CsvReader& reader, std::vector<ImportColumn>* columns, long* rows) const {
        if (!needsInference(*columns)) return {};
        TypeFinder finder(emptyIsNull(), columns);
        Progress progress("finding types", Progress::Unit::bytes, input.size());
        Outcome read = reader.readRows(noHeader_, columns->size(), finder, progress);
        finder.finish();
        *rows = finder.rows();
        return read;
    }

    Outcome fill(KtWorkTableManager& manager, InputFile& input, CsvReader& reader, const std::vector<ImportColumn>& columns,
                 NewTable& table) {
        Outcome done = table.create(manager, static_cast<int>(columns.size()), sort_.keyCount(), elementSize_);
        if (done.ok()) done = define(columns, table.file());
        if (done.ok()) done = sort_.setKeys(input.name(), table.file());
        if (done.ok()) done = load(input, reader, columns, table.file());
        return done.ok() ? table.finish() : done;
    }

    static Outcome define(const std::vector<ImportColumn>& columns, KtWorkTableFile& table) {
        int number = 0;
        for (const ImportColumn& column : columns) {
            if (!table.defineColumnInfo(number++, column.name.c_str(), column.type, 0))
                return libraryFailure("", table.getError());
        }
        return {};
    }

    Outcome load(InputFile& input, CsvReader& reader, const std::vector<ImportColumn>& columns, KtWorkTableFile& table) const {
        Loader loader(reader, emptyIsNull(), columns, table);
        input.readForTheLastTime();
        Progress progress("importing", Progress::Unit::bytes, input.size());
        return reader.readRows(noHeader_, columns.size(), loader, progress);
    }

    std::string path_;
    std::vector<GivenType> types_;
    bool noHeader_ = false;
    char separator_ = ',';
    std::string empty_ = "null";
    SortOptions sort_;
    long elementSize_ = 0;
};

}  // namespace

std::unique_ptr<Command> makeImportCommand() { return std::make_unique<ImportCommand>(); }
