// Writers that are killed at random moments, beside live neighbours: what they leave can be told from live tables and removed.
//
// 60 kills by themselves, as many as the environment variable KTWT_KILLS says otherwise. KTWT_SEED repeats a run.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <iostream>
#include <map>
#include <random>

#include "kill/kill_tables.h"
#include "support/temp_directory.h"

namespace {

using Random = std::mt19937_64;
using Tables = std::map<std::string, Content>;

long numberFrom(const char* variable, long otherwise) {
    const char* text = std::getenv(variable);
    return text != nullptr ? std::atol(text) : otherwise;
}

long upTo(Random& random, long most) { return std::uniform_int_distribution<long>(0, most)(random); }

const std::string& anyOf(const Tables& tables, Random& random) {
    return std::next(tables.begin(), upTo(random, static_cast<long>(tables.size()) - 1))->first;
}

// What a victim tells before and after it does something. Small enough to be written to a pipe at once or not at all.
struct Note {
    enum Kind : long { step, closed, appending, appended, removing, removed, failed };
    Kind kind = step;
    char text[200] = "";
    Content content;
};

class Pipe {
public:
    Pipe() {
        if (pipe(ends_) != 0) throw std::runtime_error("no pipe");
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    ~Pipe() {
        closeReading();
        closeWriting();
    }

    int reading() const { return ends_[0]; }
    void closeReading() { closeEnd(&ends_[0]); }
    void closeWriting() { closeEnd(&ends_[1]); }

    void write(const Note& note) const {
        if (::write(ends_[1], &note, sizeof note) != sizeof note) _exit(1);
    }

    // Returns false when nobody can write any more.
    bool read(Note* note) const { return ::read(ends_[0], note, sizeof *note) == sizeof *note; }

private:
    static void closeEnd(int* end) {
        if (*end >= 0) ::close(*end);
        *end = -1;
    }

    int ends_[2] = {-1, -1};
};

// A process that works on tables until it is killed.
class Victim {
public:
    Victim(const std::string& directories, Tables tables, std::uint64_t seed, const Pipe& pipe)
        : tables_(std::move(tables)), random_(seed), pipe_(pipe) {
        manager_.reset(ktwtCreateManager("", directories.c_str(), &error_));
        if (manager_ == nullptr) fail("no manager");
    }

    [[noreturn]] void work() {
        for (;;) {
            switch (upTo(random_, 8)) {
                case 0: writeSorted(); break;
                case 1: copy(); break;
                case 2:
                case 3: append(); break;
                case 4:
                case 5: remove(); break;
                default: write(); break;
            }
        }
    }

private:
    // Tables of several elements, whose headers are still replaced by one write.
    static constexpr long elementSize = 12000;

    [[noreturn]] void fail(const std::string& what) {
        tell(Note::failed, what + ": " + error_.asCstr());
        _exit(1);
    }

    void tell(Note::Kind kind, const std::string& text = "", Content content = {}) {
        Note note = {.kind = kind, .content = content};
        std::strncpy(note.text, text.c_str(), sizeof note.text - 1);
        pipe_.write(note);
    }

    void fill(KtWorkTableFile* table, long rows, long stepRows) {
        if (!defineColumns(table)) fail("define");
        Content content;
        for (; content.rows < rows; content.rows++) {
            const long number = upTo(random_, 1000000);
            content.sum += number;
            if (!writeNumber(table, number)) fail(std::string("write: ") + table->getError().asCstr());
            if (content.rows % stepRows == 0) tell(Note::step);
        }
        finish(table, content);
    }

    void finish(KtWorkTableFile* table, Content content) {
        const std::string name = table->getName().asCstr();
        if (!table->close()) fail(std::string("close: ") + table->getError().asCstr());
        tables_[name] = content;
        tell(Note::closed, name, content);
    }

    void write() {
        const Table table(manager_->create(2, elementSize, &error_));
        if (table == nullptr) fail("create");
        fill(table.get(), upTo(random_, 300), 16);
    }

    // More rows than the sort may keep in memory.
    void writeSorted() {
        if (!manager_->setSortSize(1 << 20) || !manager_->setChunkSize(4096)) fail("settings");
        const Table table(manager_->create(2, 1, 40 * elementSize, &error_));
        if (table == nullptr || table->setSort(0, 0, false, nullptr) != 0) fail("create a sorted table");
        fill(table.get(), 9000, 512);
    }

    void copy() {
        if (tables_.empty()) return;
        const std::string source = anyOf(tables_, random_);
        if (tables_[source].rows > 3000) return;
        const Table table(manager_->copy(elementSize, manager_.get(), source.c_str(), &error_));
        if (table == nullptr) fail("copy");
        finish(table.get(), tables_[source]);
    }

    void append() {
        if (tables_.empty()) return;
        const std::string target = anyOf(tables_, random_), source = anyOf(tables_, random_);
        if (tables_[target].rows + tables_[source].rows > 3000) return;
        const Content content = tables_[target] + tables_[source];
        tell(Note::appending, target, content);
        if (!manager_->append(target.c_str(), source.c_str(), &error_)) fail("append");
        tables_[target] = content;
        tell(Note::appended, target, content);
    }

    void remove() {
        if (tables_.empty()) return;
        const std::string name = anyOf(tables_, random_);
        tables_.erase(name);
        tell(Note::removing, name);
        if (!manager_->remove(name.c_str(), &error_)) fail("remove");
        tell(Note::removed, name);
    }

    Tables tables_;
    Random random_;
    const Pipe& pipe_;
    KtbString error_;
    Manager manager_;
};

// A process that works until it is told to stop, and says then whether everything was as it should be.
class Neighbour {
public:
    explicit Neighbour(const std::function<bool(const std::function<bool()>& goOn)>& work) : process_(fork()) {
        if (process_ != 0) return;
        control_.closeWriting();
        fcntl(control_.reading(), F_SETFL, O_NONBLOCK);
        char byte = 0;
        const bool well = work([&] { return ::read(control_.reading(), &byte, 1) < 0; });  // 0: the other end is closed
        _exit(well ? 0 : 1);
    }
    Neighbour(const Neighbour&) = delete;
    Neighbour& operator=(const Neighbour&) = delete;

    void stop() { control_.closeWriting(); }

    bool wasWell() const {
        int status = 0;
        return waitpid(process_, &status, 0) == process_ && status == 0;
    }

private:
    Pipe control_;
    pid_t process_;
};

class KillTest : public testing::Test {
protected:
    KillTest() : random_(seed_) {
        directories_ = home_.directory("first") + ":" + home_.directory("second");
        manager_.reset(ktwtCreateManager("", directories_.c_str(), &error_));
        for (int i = 0; i < 4; ++i) keep(&kept_, 150 * i);
        for (int i = 0; i < 3; ++i) keep(&tables_, 100);
    }

    void keep(Tables* tables, long rows) {
        const Table table(manager_->create(2, 12000, &error_));
        ASSERT_TRUE(table != nullptr && defineColumns(table.get()));
        Content content;
        for (long number = 0; number < rows; ++number) {
            ASSERT_TRUE(writeNumber(table.get(), number));
            content = content + Content{1, number};
        }
        ASSERT_TRUE(table->close());
        (*tables)[table->getName().asCstr()] = content;
    }

    std::optional<Content> stored(const std::string& name) { return contentOf(manager_.get(), name); }

    void sweep(bool remove) {
        KtWorkTableSweep counts = {};
        KtbString error;
        EXPECT_TRUE(ktwtSweepOrphans(directories_.c_str(), remove, nullptr, &counts, &error)) << error.asCstr();
        swept_ += counts.removed;
        last_ = counts;
    }

    void killOne(long number) {
        Pipe pipe;
        const std::uint64_t seed = random_();
        const pid_t process = fork();
        ASSERT_GE(process, 0);
        if (process == 0) Victim(directories_, tables_, seed, pipe).work();
        pipe.closeWriting();
        for (long left = upTo(random_, 40); left >= 0; --left) take(pipe);
        if (number % 3 == 0) sweep(true);
        spin();
        ASSERT_EQ(kill(process, SIGKILL), 0);
        while (take(pipe)) {
        }
        ASSERT_EQ(waitpid(process, nullptr, 0), process);
        sweep(true);
        settle();
    }

    // Lets the victim go on for a moment that no message marks.
    void spin() {
        volatile long sink = 0;
        for (long left = upTo(random_, 300000); left > 0; --left) sink = sink + left;
    }

    bool take(const Pipe& pipe) {
        Note note;
        if (!pipe.read(&note)) return false;
        switch (note.kind) {
            case Note::step: break;
            case Note::closed: tables_[note.text] = note.content; break;
            case Note::appending: appending_ = {note.text, note.content}; break;
            case Note::appended:
                tables_[note.text] = note.content;
                appending_.first.clear();
                break;
            case Note::removing: removing_ = note.text; break;
            case Note::removed:
                tables_.erase(note.text);
                removing_.clear();
                break;
            case Note::failed: ADD_FAILURE() << "a victim failed before it was killed: " << note.text; break;
        }
        return true;
    }

    // Finds out how far the last victim came with what it was at. There is no state in between.
    void settle() {
        if (!appending_.first.empty()) {
            const std::optional<Content> content = stored(appending_.first);
            ASSERT_TRUE(content == tables_[appending_.first] || content == appending_.second) << appending_.first;
            tables_[appending_.first] = *content;
        }
        if (!removing_.empty() && !exists(removing_)) tables_.erase(removing_);
        appending_.first.clear();
        removing_.clear();
        while (tables_.size() > 12) removeTable(tables_.begin()->first);
    }

    bool exists(const std::string& name) const {
        return std::filesystem::exists(home_.file("first/" + name)) || std::filesystem::exists(home_.file("second/" + name));
    }

    void removeTable(const std::string& name) {
        EXPECT_EQ(stored(name), tables_.at(name)) << name;
        EXPECT_TRUE(manager_->remove(name.c_str(), &error_)) << error_.asCstr();
        tables_.erase(name);
    }

    // Tables that were finished, of which their writer could not tell any more.
    void findFinished() {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(home_.path())) {
            const std::string name = entry.path().filename().string();
            if (name.rfind("ktwt_", 0) != 0 || kept_.count(name) != 0 || tables_.count(name) != 0) continue;
            const std::optional<Content> content = stored(name);
            ASSERT_TRUE(content.has_value()) << name;
            tables_[name] = *content;
        }
    }

    std::size_t files() const {
        std::size_t count = 0;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(home_.path())) count += entry.is_regular_file();
        return count;
    }

    // One table is open all the time, others come and go.
    bool writeBeside(const std::function<bool()>& goOn) const {
        KtbString error;
        const Manager manager(ktwtCreateManager("", directories_.c_str(), &error));
        const Table slow(manager->create(2, 500, &error));
        if (slow == nullptr || !defineColumns(slow.get())) return false;
        Content content;
        while (goOn()) {
            if (!writeNumber(slow.get(), content.rows)) return false;
            content = content + Content{1, content.rows};
            if (!writeAndRemove(manager.get())) return false;
        }
        return slow->close() && contentOf(manager.get(), slow->getName().asCstr()) == content &&
               manager->remove(slow->getName(), &error);
    }

    static bool writeAndRemove(KtWorkTableManager* manager) {
        KtbString error;
        const Table table(manager->create(2, 300, &error));
        if (table == nullptr || !defineColumns(table.get())) return false;
        Content content;
        for (long i = 0; i < 20; ++i) {
            if (!writeNumber(table.get(), i)) return false;
            content = content + Content{1, i};
        }
        if (!table->close()) return false;
        const KtbString name = table->getName();
        return contentOf(manager, name.asCstr()) == content && manager->append(name, name, &error) &&
               contentOf(manager, name.asCstr()) == content + content && manager->remove(name, &error);
    }

    // Reads the tables that were closed before.
    bool readBeside(const std::function<bool()>& goOn) const {
        KtbString error;
        const Manager manager(ktwtCreateManager("", directories_.c_str(), &error));
        while (goOn()) {
            for (const auto& [name, content] : kept_) {
                if (contentOf(manager.get(), name) != content) return false;
            }
        }
        return true;
    }

    const std::uint64_t seed_ = static_cast<std::uint64_t>(numberFrom("KTWT_SEED", 20260501));
    Random random_;
    TempDirectory home_;
    std::string directories_;
    KtbString error_;
    Manager manager_;
    Tables kept_;    // closed before anybody was killed, and never changed
    Tables tables_;  // the victims' to append to and to remove
    std::pair<std::string, Content> appending_;
    std::string removing_;
    long swept_ = 0;
    KtWorkTableSweep last_ = {};
};

TEST_F(KillTest, WhatKilledWritersLeaveIsSweptAndNothingElseIs) {
    const testing::ScopedTrace trace(__FILE__, __LINE__, "seed " + std::to_string(seed_));
    const long kills = numberFrom("KTWT_KILLS", 60);
    Neighbour writer([this](const auto& goOn) { return writeBeside(goOn); });
    Neighbour reader([this](const auto& goOn) { return readBeside(goOn); });
    for (long i = 0; i < kills && !HasFailure(); ++i) killOne(i);
    reader.stop();
    writer.stop();
    EXPECT_TRUE(reader.wasWell());
    EXPECT_TRUE(writer.wasWell());

    sweep(true);
    findFinished();
    for (const auto& [name, content] : kept_) EXPECT_EQ(stored(name), content) << name;
    for (const auto& [name, content] : tables_) EXPECT_EQ(stored(name), content) << name;
    sweep(false);
    EXPECT_EQ(last_.orphans + last_.inUse + last_.unknown, 0);
    tables_.insert(kept_.begin(), kept_.end());
    while (!tables_.empty()) removeTable(tables_.begin()->first);
    EXPECT_EQ(files(), 0u) << "files that no table had and no sweep found";
    std::cout << kills << " kills, " << swept_ << " orphans removed, seed " << seed_ << "\n";
}

}  // namespace
