#include <algorithm>

#include "append_turn.h"
#include "background.h"
#include "commands.h"
#include "complaint.h"
#include "interrupt.h"
#include "progress.h"
#include "table_files.h"

namespace {

// Whether each column of the source is of the type of that in its place. The library converts what a URI chooses, and makes
// nulls of what does not convert; numbers of columns that differ are for the library to refuse.
Outcome compareTypes(const std::string& target, const std::vector<ColumnInfo>& wanted, const std::string& source,
                     const std::vector<ColumnInfo>& chosen) {
    for (std::size_t i = 0; i < std::min(wanted.size(), chosen.size()); ++i) {
        if (wanted[i].type == chosen[i].type) continue;
        return {Status::usage, source + ": column \"" + chosen[i].name + "\" is of type " + ktbTypeToString(chosen[i].type) +
                                   ", and \"" + wanted[i].name + "\" of " + target + ", to which it is appended, of type " +
                                   ktbTypeToString(wanted[i].type)};
    }
    return {};
}

class AppendCommand final : public Command {
public:
    const char* name() const override { return "append"; }
    const char* summary() const override { return "Append the rows of one table to another"; }
    const char* details() const override {
        return "The columns must agree in number, name and type; those that a URI chooses must\n"
               "agree in number and type. The rows are appended all or not at all, and so Ctrl-C\n"
               "waits until they are there. A second Ctrl-C ends the program: the table then\n"
               "keeps its earlier rows, and `ktwt sweep` removes what was written beside it.";
    }
    const char* examples() const override {
        return "    $ ktwt append $towns $more       all rows of $more behind those of $towns\n"
               "    $ ktwt append $towns \"$(ktwt uri $more --rows 0,10)\"\n"
               "                                     only the first ten\n";
    }

    void addOptions(CLI::App& app) override {
        app.add_option("TARGET", target_, "The table that grows")->required();
        app.add_option("SOURCE", source_, "The table, or the URI, whose rows are appended")->required();
    }

    Outcome run(const Session& session) override {
        Uri uri;
        if (Outcome read = readUri(target_, &uri); !read.ok()) return read;
        if (uri) return {Status::usage, target_ + ": rows are appended to a table, not to a URI"};
        if (Outcome read = readUri(source_, &uri); !read.ok()) return read;
        Manager manager;
        if (Outcome made = makeManager(session, &manager); !made.ok()) return made;
        std::vector<TableFile> files;
        if (Outcome found = filesOf(*manager, target_, &files); !found.ok()) return found;
        AppendTurn turn;
        if (Outcome taken = turn.take(files.front().path); !taken.ok()) return taken;
        if (interrupted()) return cancelled();
        if (uri) {
            if (Outcome checked = checkTypes(*manager); !checked.ok()) return checked;
        }
        return append(*manager, uri ? 0 : sizeOfSource(*manager));
    }

private:
    Outcome checkTypes(KtWorkTableManager& manager) const {
        Table target;
        Table source;
        std::vector<ColumnInfo> wanted;
        std::vector<ColumnInfo> chosen;
        Outcome done = openTable(manager, target_, false, &target);
        if (done.ok()) done = openTable(manager, source_, false, &source);
        if (done.ok()) done = columnsOf(*target, &wanted);
        if (done.ok()) done = columnsOf(*source, &chosen);
        return done.ok() ? compareTypes(target_, wanted, source_, chosen) : done;
    }

    // What is expected to be written; 0 when the source cannot be looked at, of which the append will tell.
    long sizeOfSource(KtWorkTableManager& manager) const {
        std::vector<TableFile> files;
        return filesOf(manager, source_, &files).ok() ? bytesOf(files) : 0;
    }

    Outcome append(KtWorkTableManager& manager, long expected) const {
        Progress progress("appending", Progress::Unit::bytes, expected);
        const long before = bytesTransferred().written;
        bool appended = false;
        bool told = false;
        KtbString error;
        runInBackground([&] { appended = manager.append(target_.c_str(), source_.c_str(), &error); },
                        [&] {
                            if (interrupted() && !told) {
                                progress.clear();
                                complain("the rows come all or none: waiting for the last");
                                told = true;
                            }
                            progress.at(bytesTransferred().written - before, expected);
                        });
        return appended ? Outcome() : libraryFailure("", error);
    }

    std::string target_;
    std::string source_;
};

}  // namespace

std::unique_ptr<Command> makeAppendCommand() { return std::make_unique<AppendCommand>(); }
