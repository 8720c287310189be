#include "commands.h"
#include "json_report.h"
#include "options.h"
#include "output.h"
#include "row_options.h"
#include "text_table.h"

namespace {

std::string rowsText(KtWorkTableURI& uri) {
    if (!uri.hasRange()) return "all";
    const std::string first = std::to_string(uri.getRangeStart());
    const long count = uri.getRangeCount();
    return count == -1 ? "from " + first + " to the end" : std::to_string(count) + " from " + first + " on";
}

std::string columnText(KtWorkTableURI& uri, int column) {
    const std::string name = textOf(uri.getColumnName(column));
    const std::string source = textOf(uri.getColumnSource(column));
    const ktbType type = uri.getColumnType(column);
    if (type == ktbTypeNone) return source.empty() ? name : name + ", stored as " + source;
    const std::string typeName = ktbTypeToString(type);
    return name + ", always " + (source.empty() ? "a null of type " + typeName : "the " + typeName + " " + source);
}

Outcome explain(KtWorkTableURI& uri) {
    Output out;
    TextTable parts({{""}, {""}}, out);
    parts.hideTitles();
    parts.add({"table", textOf(uri.getPath())});
    parts.add({"rows", rowsText(uri)});
    if (uri.getColumns() == 0) parts.add({"columns", "none"});
    for (int i = 0; i < uri.getColumns(); ++i) parts.add({"column", columnText(uri, i)});
    parts.print();
    return out.finish();
}

Json columnReport(KtWorkTableURI& uri, int column) {
    const std::string name = textOf(uri.getColumnName(column));
    const std::string source = textOf(uri.getColumnSource(column));
    const ktbType type = uri.getColumnType(column);
    if (type == ktbTypeNone) return {{"name", name}, {"source", source.empty() ? name : source}};
    const Json value = source.empty() ? Json() : Json(source);
    return {{"name", name}, {"type", ktbTypeToString(type)}, {"constant", value}};
}

Outcome report(KtWorkTableURI& uri) {
    Json columns = Json::array();
    for (int i = 0; i < uri.getColumns(); ++i) columns.push_back(columnReport(uri, i));
    const Json rows = uri.hasRange() ? Json{{"first", uri.getRangeStart()}, {"count", uri.getRangeCount()}} : Json();
    return printJson(
        {{"uri", textOf(uri.getURIString())}, {"table", textOf(uri.getPath())}, {"rows", rows}, {"columns", columns}});
}

class UriCommand final : public Command {
public:
    const char* name() const override { return "uri"; }
    const char* summary() const override { return "Make a URI that chooses rows and columns of a table"; }
    const char* examples() const override {
        return "    $ ktwt uri $towns --rows 0,100             the first hundred rows\n"
               "    $ ktwt uri $towns --columns city,n=people  two columns, one renamed\n"
               "    $ ktwt uri $towns --constant land:string=DE\n"
               "                                               all columns, and one more\n"
               "    $ ktwt cat \"$(ktwt uri $towns --rows 0,100)\"\n"
               "                                               what it is for\n"
               "    $ ktwt uri --explain \"$uri\"                its parts\n";
    }

    void addOptions(CLI::App& app) override {
        addTable(app, &choice_);
        addColumnsAndRows(app, &choice_);
        addConstants(app, &choice_);
        app.add_flag("--explain", explain_, "Show the parts of the URI instead of the URI");
        addJson(app, &json_);
    }

    Outcome run(const Session& session) override {
        Uri uri;
        if (Outcome made = make(session, &uri); !made.ok()) return made;
        if (json_) return report(*uri);
        if (explain_) return explain(*uri);
        Output out;
        out.put(textOf(uri->getURIString()));
        out.put('\n');
        return out.finish();
    }

private:
    // A URI that is only to be explained may be of a table that is not there.
    Outcome make(const Session& session, Uri* uri) const {
        const bool asItIs = choice_.columns.empty() && choice_.constants.empty() && !choice_.rows;
        if (explain_ && asItIs) uri->reset(getURIFromURIString(choice_.table.c_str()));
        if (*uri) return {};
        Manager manager;
        Outcome made = makeManager(session, &manager);
        return made.ok() ? makeUri(*manager, choice_, uri) : made;
    }

    RowChoice choice_;
    bool explain_ = false;
    bool json_ = false;
};

}  // namespace

std::unique_ptr<Command> makeUriCommand() { return std::make_unique<UriCommand>(); }
