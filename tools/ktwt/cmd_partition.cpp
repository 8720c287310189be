#include <algorithm>

#include "commands.h"
#include "json_report.h"
#include "options.h"
#include "output.h"
#include "transfer.h"

namespace {

struct RowRange {
    long first = 0;
    long count = 0;
};

// Ranges of the same size, but for one more row in each of the first few.
std::vector<RowRange> split(RowRange whole, int parts) {
    std::vector<RowRange> ranges;
    for (int i = 0; i < parts; ++i) {
        const long count = whole.count / parts + (i < whole.count % parts ? 1 : 0);
        ranges.push_back({whole.first, count});
        whole.first += count;
    }
    return ranges;
}

class PartitionCommand final : public Command {
public:
    const char* name() const override { return "partition"; }
    const char* summary() const override { return "Divide a table's rows for parallel readers"; }
    const char* examples() const override {
        return "    $ ktwt partition $towns 4      at most four URIs, one a line\n"
               "    $ ktwt partition $towns 4 |\n"
               "          xargs -n 1 -P 4 sh -c 'ktwt cat \"$1\" -o part.$$.csv' sh\n"
               "                                   a worker for each, and a file of its own\n";
    }

    void addOptions(CLI::App& app) override {
        app.add_option("TABLE", table_, "The table, or a URI: only what that chooses is divided")->required();
        app.add_option("N", parts_, "The largest number of parts; a table of few rows has fewer")
            ->required()
            ->check(CLI::Range(1, partsMax));
        addJson(app, &json_);
    }

    Outcome run(const Session& session) override {
        Manager manager;
        if (Outcome made = makeManager(session, &manager); !made.ok()) return made;
        Table table;
        if (Outcome opened = openTable(*manager, table_, false, &table); !opened.ok()) return opened;
        const Uri uri(getURIFromURIString(table->toURIString(true)));
        if (!uri) return libraryFailure(table_, KtbString());
        std::vector<RowRange> ranges;
        if (Outcome divided = divide(*manager, *table, *uri, &ranges); !divided.ok()) return divided;
        return print(*uri, ranges);
    }

private:
    static constexpr int partsMax = 1000000;

    // The library divides a whole table so that parts keep to files. A table without rows is one part: a worker that is handed
    // an empty one has less trouble than a list without workers.
    Outcome divide(KtWorkTableManager& manager, KtWorkTableFile& table, KtWorkTableURI& uri,
                   std::vector<RowRange>* ranges) const {
        const long rows = rowsShown(table);
        int parts = static_cast<int>(std::clamp(rows, 1L, static_cast<long>(parts_)));
        if (uri.hasRange()) {
            *ranges = split({uri.getRangeStart(), rows}, parts);
            return {};
        }
        std::vector<long> pairs(2 * static_cast<std::size_t>(parts));
        KtbString error;
        if (!manager.partition(uri.getPath(), &parts, pairs.data(), &error)) return libraryFailure(table_, error);
        for (std::size_t i = 0; i < static_cast<std::size_t>(parts); ++i) ranges->push_back({pairs[2 * i], pairs[2 * i + 1]});
        return {};
    }

    // The text of the URI with another range; null when memory is exhausted.
    static KtbString textFor(KtWorkTableURI& whole, const RowRange& range) {
        const Uri part(getWorkTableURIFromComponents(whole.getPath(), range.first, range.count));
        KtbString error;
        for (int i = 0; part && i < whole.getColumns(); ++i) {
            const bool added =
                part->addColumn(whole.getColumnName(i), whole.getColumnType(i), whole.getColumnSource(i), &error);
            if (!added) return nullptr;
        }
        return part ? part->getURIString() : nullptr;
    }

    Outcome print(KtWorkTableURI& whole, const std::vector<RowRange>& ranges) const {
        Output out;
        Json report = Json::array();
        for (const RowRange& range : ranges) {
            const KtbString text = textFor(whole, range);
            if (text.isNull()) return libraryFailure(table_, KtbString());
            if (json_) report.push_back({{"uri", textOf(text)}, {"first", range.first}, {"rows", range.count}});
            if (!json_) out.put(textOf(text) + "\n");
        }
        return json_ ? printJson(report) : out.finish();
    }

    std::string table_;
    int parts_ = 1;
    bool json_ = false;
};

}  // namespace

std::unique_ptr<Command> makePartitionCommand() { return std::make_unique<PartitionCommand>(); }
