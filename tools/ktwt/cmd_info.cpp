#include "commands.h"
#include "human.h"
#include "json_report.h"
#include "options.h"
#include "output.h"
#include "table_files.h"
#include "text_table.h"
#include "transfer.h"

namespace {

struct Element {
    long rows = 0;
    TableFile data;
    TableFile index;
};

struct Info {
    std::string table;
    long rows = 0;       // stored
    long rowsShown = 0;  // of the range
    std::vector<std::pair<std::string, std::string>> statistics;
    std::vector<ColumnInfo> columns;
    std::vector<TableFile> files;
    std::vector<Element> elements;
};

Outcome readStatistics(KtWorkTableFile& table, Info* info) {
    const std::unique_ptr<KtbStringCursor, Release> cursor(table.statistics());
    if (!cursor) return libraryFailure(info->table, table.getError());
    while (cursor->next() == ktbCursorRow) {
        info->statistics.emplace_back(textOf(cursor->getColumnValue(0)), textOf(cursor->getColumnValue(1)));
    }
    return {};
}

std::vector<Element> elementsOf(const std::vector<TableFile>& files) {
    std::vector<Element> elements;
    for (const TableFile& file : files) {
        if (file.element < 0) continue;
        if (static_cast<std::size_t>(file.element) >= elements.size()) elements.emplace_back();
        Element& element = elements.back();
        element.rows = file.rows;
        (file.kind == ktwtFileData ? element.data : element.index) = file;
    }
    return elements;
}

std::string sizeOf(const TableFile& file) { return file.isThere() ? humanBytes(file.bytes) : "missing"; }
Json bytesJson(const TableFile& file) { return file.isThere() ? Json(file.bytes) : Json(); }

Json jsonOf(const Info& info) {
    Json statistics = Json::object();
    for (const auto& [name, value] : info.statistics) statistics[name] = value;
    Json columns = Json::array();
    for (const ColumnInfo& column : info.columns) {
        columns.push_back({{"name", column.name},
                           {"type", ktbTypeToString(column.type)},
                           {"width", column.width},
                           {"longest", column.longest}});
    }
    Json elements = Json::array();
    for (const Element& element : info.elements) {
        elements.push_back({{"rows", element.rows},
                            {"data", element.data.path},
                            {"dataBytes", bytesJson(element.data)},
                            {"index", element.index.path},
                            {"indexBytes", bytesJson(element.index)}});
    }
    return {{"name", info.table},
            {"rows", info.rows},
            {"rowsShown", info.rowsShown},
            {"bytes", bytesOf(info.files)},
            {"header", info.files.front().path},
            {"statistics", std::move(statistics)},
            {"columns", std::move(columns)},
            {"elements", std::move(elements)}};
}

void printFigures(const Info& info, Output& out) {
    TextTable figures({{"FIGURE"}, {"VALUE"}}, out);
    figures.hideTitles();
    figures.add({"Name", info.table});
    figures.add({"Header", info.files.front().path});
    figures.add({"Size", humanBytes(bytesOf(info.files))});
    if (info.rowsShown != info.rows) figures.add({"RowsShown", std::to_string(info.rowsShown)});
    for (const auto& [name, value] : info.statistics) figures.add({name, value});
    figures.print();
}

void printColumns(const Info& info, Output& out) {
    constexpr auto right = TextTable::Align::right;
    TextTable columns({{"COLUMN"}, {"TYPE"}, {"WIDTH", right}, {"LONGEST", right}}, out);
    for (const ColumnInfo& column : info.columns) {
        columns.add({column.name, ktbTypeToString(column.type), column.width > 0 ? std::to_string(column.width) : "",
                     column.longest > 0 ? std::to_string(column.longest - 1) : ""});
    }
    out.put('\n');
    columns.print();
}

void printElements(const Info& info, Output& out) {
    constexpr auto right = TextTable::Align::right;
    TextTable elements({{"ELEMENT", right}, {"ROWS", right}, {"DATA", right}, {"INDEX", right}, {"FILE"}}, out);
    long number = 0;
    for (const Element& element : info.elements) {
        elements.add({std::to_string(number++), humanCount(element.rows), sizeOf(element.data), sizeOf(element.index),
                      element.data.path});
    }
    out.put('\n');
    elements.print();
}

Outcome print(const Info& info) {
    Output out;
    printFigures(info, out);
    printColumns(info, out);
    printElements(info, out);
    return out.finish();
}

class InfoCommand final : public Command {
public:
    const char* name() const override { return "info"; }
    const char* summary() const override { return "Describe a table: its figures, columns and files"; }
    const char* examples() const override {
        return "    $ ktwt info $towns\n"
               "    $ ktwt info $towns --json | jq -r '.columns[].name'\n"
               "                      the names of its columns\n";
    }

    void addOptions(CLI::App& app) override {
        app.add_option("TABLE", table_, "The table, or a URI: then the columns are those that it shows")->required();
        addJson(app, &json_);
    }

    Outcome run(const Session& session) override {
        Manager manager;
        if (Outcome made = makeManager(session, &manager); !made.ok()) return made;
        Info info;
        if (Outcome collected = collect(*manager, &info); !collected.ok()) return collected;
        return json_ ? printJson(jsonOf(info)) : print(info);
    }

private:
    Outcome collect(KtWorkTableManager& manager, Info* info) const {
        Table table;
        if (Outcome opened = openTable(manager, table_, false, &table); !opened.ok()) return opened;
        info->table = tableNameOf(table_);
        info->rows = table->getRows();
        info->rowsShown = rowsShown(*table);
        Outcome read = readStatistics(*table, info);
        if (read.ok()) read = columnsOf(*table, &info->columns);
        if (read.ok()) read = filesOf(manager, info->table, &info->files);
        info->elements = elementsOf(info->files);
        return read;
    }

    std::string table_;
    bool json_ = false;
};

}  // namespace

std::unique_ptr<Command> makeInfoCommand() { return std::make_unique<InfoCommand>(); }
