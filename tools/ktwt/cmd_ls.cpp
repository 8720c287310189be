#include <algorithm>
#include <ctime>

#include "characters.h"
#include "commands.h"
#include "human.h"
#include "json_report.h"
#include "options.h"
#include "output.h"
#include "table_listing.h"
#include "text_table.h"

namespace {

std::string utcOf(long seconds) {
    const std::time_t time = seconds;
    std::tm parts = {};
    char text[64] = "";
    if (gmtime_r(&time, &parts) != nullptr) std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

Outcome printNames(const std::vector<FoundHeader>& headers) {
    Output out;
    for (const FoundHeader& header : headers) out.put(printable(header.table) + "\n");
    return out.finish();
}

Json jsonOf(const ListedTable& table) {
    Json entry = {{"name", table.header.table}, {"header", table.header.path}, {"state", stateName(table.state)}};
    if (table.state == TableState::fine) {
        entry.update({{"rows", table.rows}, {"columns", table.columns}, {"bytes", table.bytes}});
    } else {
        entry["reason"] = table.reason;
    }
    entry["modified"] = utcOf(table.header.modified);
    return entry;
}

std::vector<std::string> cellsOf(const ListedTable& table, long now) {
    const std::string age = humanAge(now - table.header.modified);
    if (table.state != TableState::fine) {
        return {table.header.table, "", "", "", age, std::string(stateName(table.state)) + ": " + table.reason};
    }
    return {table.header.table, humanCount(table.rows), humanCount(table.columns), humanBytes(table.bytes), age, ""};
}

Outcome printTable(const std::vector<ListedTable>& tables) {
    Output out;
    constexpr auto right = TextTable::Align::right;
    TextTable text({{"NAME"}, {"ROWS", right}, {"COLUMNS", right}, {"SIZE", right}, {"AGE", right}, {"STATE"}}, out);
    const long now = std::time(nullptr);
    for (const ListedTable& table : tables) text.add(cellsOf(table, now));
    if (!tables.empty()) text.print();
    return out.finish();
}

class LsCommand final : public Command {
public:
    const char* name() const override { return "ls"; }
    const char* summary() const override { return "List the tables in the work directories"; }
    const char* examples() const override {
        return "    $ ktwt ls                        name, rows, columns, size and age of each\n"
               "    $ ktwt ls --by size              the largest first\n"
               "    $ ktwt ls --dirs /mnt/archive    those in another place\n"
               "    $ ktwt rm $(ktwt ls --names)     removes them all\n";
    }

    void addOptions(CLI::App& app) override {
        CLI::Option* const by = app.add_option("--by", by_, "What decides the order; the largest and the newest come first")
                                    ->check(CLI::IsMember({"name", "size", "age"}))
                                    ->capture_default_str()
                                    ->type_name("ORDER");
        CLI::Option* const names = app.add_flag("--names", namesOnly_, "Only the names, without a look into the tables");
        names->excludes(by);
        addJson(app, &json_);
    }

    // A directory that cannot be read is told of after the tables in the others.
    Outcome run(const Session& session) override {
        Manager manager;
        if (Outcome made = makeManager(session, &manager); !made.ok()) return made;
        std::vector<FoundHeader> headers;
        Outcome found = findHeaders(*manager, &headers);
        Outcome printed = namesOnly_ && !json_ ? printNames(headers) : list(*manager, headers);
        return printed.ok() ? found : printed;
    }

private:
    Outcome list(KtWorkTableManager& manager, const std::vector<FoundHeader>& headers) const {
        std::vector<ListedTable> tables;
        Outcome looked = namesOnly_ ? Outcome() : lookAt(manager, headers, &tables);
        if (!looked.ok()) return looked;
        sort(&tables);
        if (!json_) return printTable(tables);
        Json report = Json::array();
        if (namesOnly_) {
            for (const FoundHeader& header : headers) report.push_back(header.table);
        }
        for (const ListedTable& table : tables) report.push_back(jsonOf(table));
        return printJson(report);
    }

    void sort(std::vector<ListedTable>* tables) const {
        const bool bySize = by_ == "size";
        const bool byAge = by_ == "age";
        std::stable_sort(tables->begin(), tables->end(), [bySize, byAge](const ListedTable& a, const ListedTable& b) {
            return (bySize && a.bytes > b.bytes) || (byAge && a.header.modified > b.header.modified);
        });
    }

    std::string by_ = "name";
    bool namesOnly_ = false;
    bool json_ = false;
};

}  // namespace

std::unique_ptr<Command> makeLsCommand() { return std::make_unique<LsCommand>(); }
