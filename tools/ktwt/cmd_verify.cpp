#include <cstdlib>

#include "background.h"
#include "characters.h"
#include "commands.h"
#include "complaint.h"
#include "failures.h"
#include "human.h"
#include "interrupt.h"
#include "json_report.h"
#include "options.h"
#include "output.h"
#include "progress.h"
#include "table_files.h"

namespace {

struct Finding {
    std::string path;
    int kind = ktwtFileHeader;
    int element = -1;
    long row = -1;
    long offset = -1;
    std::string text;
};

struct Verified {
    std::string table;
    KtWorkTableVerification result = {};
    std::vector<Finding> findings;
};

class FindingCollector final : public KtWorkTableFindingVisitor {
public:
    explicit FindingCollector(std::vector<Finding>* findings) : findings_(findings) {}
    bool visit(const KtWorkTableFinding& finding) override {
        findings_->push_back({finding.path, finding.kind, finding.element, finding.row, finding.offset, finding.text});
        return true;
    }

private:
    std::vector<Finding>* findings_;
};

// Nothing is written by a verification, so there is nothing to put away, and no need to wait for its end.
[[noreturn]] void leave(Progress& progress) {
    progress.clear();
    complain(cancelled().text());
    std::_Exit(static_cast<int>(Status::cancelled));
}

Outcome verify(KtWorkTableManager& manager, Verified* verified) {
    std::vector<TableFile> files;
    const bool known = filesOf(manager, verified->table, &files).ok();  // of a header that is damaged the verification tells
    Progress progress("verifying", Progress::Unit::bytes, known ? bytesOf(files) : 0);
    const long before = bytesTransferred().read;
    FindingCollector collector(&verified->findings);
    KtbString error;
    bool looked = false;
    runInBackground(
        [&] {
            looked = ktwtVerifyTable(manager.getDirectories(), verified->table.c_str(), &collector, &verified->result, &error);
        },
        [&] {
            if (interrupted()) leave(progress);
            progress.at(bytesTransferred().read - before, bytesOf(files));
        });
    return looked ? Outcome() : libraryFailure(verified->table, error);
}

std::string lineOf(const Finding& finding) {
    std::string line = printable(finding.path) + ":";
    if (finding.element >= 0) line += " element " + std::to_string(finding.element) + ",";
    if (finding.row >= 0) line += " row " + std::to_string(finding.row) + ",";
    if (finding.offset >= 0) line += " offset " + std::to_string(finding.offset) + ",";
    if (line.back() == ',') line.back() = ':';
    return line + " " + printable(finding.text) + "\n";
}

Json jsonOf(const Finding& finding) {
    Json entry = {{"path", finding.path}, {"kind", kindName(finding.kind)}};
    if (finding.element >= 0) entry["element"] = finding.element;
    if (finding.row >= 0) entry["row"] = finding.row;
    if (finding.offset >= 0) entry["offset"] = finding.offset;
    entry["text"] = finding.text;
    return entry;
}

Json jsonOf(const Verified& verified) {
    Json findings = Json::array();
    for (const Finding& finding : verified.findings) findings.push_back(jsonOf(finding));
    return {{"name", verified.table},       {"sound", verified.result.findings == 0}, {"elements", verified.result.elements},
            {"rows", verified.result.rows}, {"bytes", verified.result.bytes},         {"findings", std::move(findings)}};
}

class VerifyCommand final : public Command {
public:
    const char* name() const override { return "verify"; }
    const char* summary() const override { return "Check tables' files against each other, and say what is wrong"; }
    const char* examples() const override {
        return "    $ ktwt verify $towns                      reads all; status 1 for damage\n"
               "    $ ktwt verify --quiet $towns || echo no   only says what is wrong\n";
    }

    void addOptions(CLI::App& app) override {
        app.add_option("TABLE", names_, "The tables; a URI stands for the whole table")->required();
        app.add_flag("-q,--quiet", quiet_, "Nothing about tables that are sound");
        addJson(app, &json_);
    }

    Outcome run(const Session& session) override {
        Manager manager;
        if (Outcome made = makeManager(session, &manager); !made.ok()) return made;
        Failures failures;
        Output out;
        Json report = Json::array();
        for (const std::string& table : names_) {
            if (interrupted()) return cancelled();
            Verified verified;
            verified.table = tableNameOf(table);
            const Outcome looked = verify(*manager, &verified);
            failures.add(looked);
            if (!looked.ok()) continue;
            if (verified.result.findings != 0) failures.add({Status::no, ""});
            if (json_) report.push_back(jsonOf(verified));
            if (!json_) print(verified, out);
        }
        Outcome printed = json_ ? printJson(report) : out.finish();
        return printed.ok() ? failures.outcome() : printed;
    }

private:
    void print(const Verified& verified, Output& out) const {
        for (const Finding& finding : verified.findings) out.put(lineOf(finding));
        if (verified.result.findings != 0 || quiet_) return;
        out.put(printable(verified.table) + ": sound, " + humanCount(verified.result.rows) + " rows, " +
                humanBytes(verified.result.bytes) + "\n");
    }

    std::vector<std::string> names_;
    bool quiet_ = false;
    bool json_ = false;
};

}  // namespace

std::unique_ptr<Command> makeVerifyCommand() { return std::make_unique<VerifyCommand>(); }
