#include "show_rows.h"

#include <limits>
#include <optional>

#include "complaint.h"
#include "human.h"
#include "progress.h"
#include "row_options.h"
#include "row_writer.h"

namespace {

bool hasHeaderLine(const std::string& format) { return format == "csv" || format == "tsv" || format == "text"; }

std::unique_ptr<RowWriter> makeWriter(const ShowOptions& options, Output& out) {
    const bool withNames = !options.noHeader;
    if (options.format == "tsv") return makeTsvWriter(out, withNames);
    if (options.format == "json") return makeJsonWriter(out);
    if (options.format == "jsonl") return makeJsonLinesWriter(out);
    if (options.format == "xml") return makeXmlWriter(out);
    if (options.format == "text") return makeTextWriter(out, withNames);
    return makeCsvWriter(out, withNames);
}

// Writes rows until there are no more, or nobody takes them. A terminal that shows the rows has no place for a bar.
void pour(RowSource& rows, RowWriter& writer, const Output& out) {
    std::optional<Progress> progress;
    if (!out.isTerminal()) progress.emplace("reading", Progress::Unit::rows, rows.expected());
    while (!out.failed() && rows.next()) {
        writer.row(rows.values());
        if (progress) progress->at(rows.read());
    }
}

void tellOfReplacements(const ShowOptions& options, const RowWriter& writer) {
    const long texts = writer.replacedTexts();
    if (texts == 0) return;
    complain(options.choice.table + ": " + humanCount(texts) + (texts == 1 ? " text has" : " texts have") + " bytes that " +
             (options.format == "xml" ? "XML" : "JSON") + " cannot hold; U+FFFD stands for each");
}

// What was read before a failure is for whoever sees it come; a file is complete or not there.
Outcome finish(const ShowOptions& options, const RowSource& rows, RowWriter& writer, Output& out) {
    const Outcome& read = rows.outcome();
    writer.end(read.ok());
    if (!read.ok() && options.output != "-") return read;
    const Outcome written = out.finish();
    if (!read.ok()) return read;
    if (written.ok()) tellOfReplacements(options, writer);
    return written;
}

}  // namespace

void addShowOptions(CLI::App& app, ShowOptions* options) {
    addTable(app, &options->choice);
    addColumnsAndRows(app, &options->choice);
    app.add_option("-f,--format", options->format, "How the rows are written")
        ->check(CLI::IsMember({"csv", "tsv", "json", "jsonl", "xml", "text"}))
        ->capture_default_str()
        ->type_name("FORMAT");
    app.add_flag("-r,--reverse", options->order.reversed, "Begin with the last of the rows");
    const std::string usual = options->order.limit ? "; " + std::to_string(*options->order.limit) + " unless given" : "";
    app.add_option("-n,--limit", options->order.limit, "Write at most so many rows" + usual)
        ->check(CLI::Range(0L, std::numeric_limits<long>::max()))
        ->type_name("N");
    app.add_flag("--no-header", options->noHeader, "Leave out the names of the columns (csv, tsv and text)");
    app.add_option("-o,--output", options->output, "Where the rows go; a file is there only once it is complete")
        ->capture_default_str()
        ->type_name("FILE|-");
}

Outcome showRows(const Session& session, const ShowOptions& options) {
    if (options.noHeader && !hasHeaderLine(options.format)) {
        return {Status::usage, "--no-header: " + options.format + " cannot do without the names of the columns"};
    }
    Manager manager;
    if (Outcome made = makeManager(session, &manager); !made.ok()) return made;
    RowSource rows;
    if (Outcome opened = rows.open(*manager, options.choice, options.order); !opened.ok()) return opened;
    Output out;
    if (Outcome opened = out.open(options.output); !opened.ok()) return opened;
    const std::unique_ptr<RowWriter> writer = makeWriter(options, out);
    if (Outcome begun = writer->begin(rows.table(), rows.columns()); !begun.ok()) return begun;
    pour(rows, *writer, out);
    return finish(options, rows, *writer, out);
}
