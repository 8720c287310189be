#include "append_turn.h"
#include "background.h"
#include "commands.h"
#include "interrupt.h"
#include "progress.h"
#include "table_files.h"

namespace {

bool isUri(const std::string& nameOrUri) { return Uri(getURIFromURIString(nameOrUri.c_str())) != nullptr; }

class AppendCommand final : public Command {
public:
    const char* name() const override { return "append"; }
    const char* summary() const override { return "Append the rows of one table to another"; }
    const char* details() const override {
        return "The columns must agree in number, name and type; those that a URI chooses must agree\n"
               "in number. The rows are appended all or not at all, and so Ctrl-C waits until they are\n"
               "there. A second Ctrl-C ends the program: the table then keeps its earlier rows, and\n"
               "`ktwt sweep` removes what was written beside it.";
    }
    const char* examples() const override {
        return "    $ ktwt append $towns $more                     all rows of $more behind those of $towns\n"
               "    $ ktwt append $towns \"$(ktwt uri $more --rows 0,10)\"\n"
               "                                                   only the first ten\n";
    }

    void addOptions(CLI::App& app) override {
        app.add_option("TARGET", target_, "The table that grows")->required();
        app.add_option("SOURCE", source_, "The table, or the URI, whose rows are appended")->required();
    }

    Outcome run(const Session& session) override {
        if (isUri(target_)) return {Status::usage, target_ + ": rows are appended to a table, not to a URI"};
        Manager manager;
        if (Outcome made = makeManager(session, &manager); !made.ok()) return made;
        std::vector<TableFile> files;
        if (Outcome found = filesOf(*manager, target_, &files); !found.ok()) return found;
        AppendTurn turn;
        if (Outcome taken = turn.take(files.front().path); !taken.ok()) return taken;
        if (interrupted()) return cancelled();
        return append(*manager, isUri(source_) ? 0 : sizeOfSource(*manager));
    }

private:
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
                                std::fputs("ktwt: the rows come all or none: waiting for the last\n", stderr);
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
