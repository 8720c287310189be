// Names that lead elsewhere, and things that stand where a table's files should be: every way into a table refuses them with a
// text, follows nothing, changes nothing and waits for nobody. An alarm ends a test that would wait for ever.
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <functional>

#include "table/table_fixture.h"

namespace {

// Puts something at a path that is no regular file.
using Plant = std::function<void(const std::string& path)>;

struct Thing {
    const char* name;
    Plant plant;
};

void plantSocket(const std::string& path) {
    // The path of a socket must be short: that of its directory's handle is.
    const int handle = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_GE(handle, 0);
    const std::string directory = std::filesystem::path(path).parent_path();
    const int work = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const std::string near = "/proc/self/fd/" + std::to_string(work) + "/" + std::filesystem::path(path).filename().string();
    ASSERT_LT(near.size(), sizeof address.sun_path);
    near.copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(bind(handle, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ::close(work);
    ::close(handle);
}

// A file that the planted links lead to: it must stay what it is.
const char outside[] = "outside";

class NamesTest : public TableTest {
protected:
    void SetUp() override {
        alarm(120);
        makeRows(5);
        good_ = name_;
        goodHeader_ = readFile(path(good_));
    }
    void TearDown() override { alarm(0); }

    std::string inWork(const std::string& name) const { return directories_[0] + "/" + name; }

    std::vector<Thing> things() const {
        const std::string target = temp_.file(outside);
        return {
            {"a link", [target](const std::string& at) { std::filesystem::create_symlink(target, at); }},
            {"a link to nowhere", [](const std::string& at) { std::filesystem::create_symlink("nowhere", at); }},
            {"a link to itself", [](const std::string& at) { std::filesystem::create_symlink(at, at); }},
            {"a link to a device", [](const std::string& at) { std::filesystem::create_symlink("/dev/zero", at); }},
            {"a pipe", [](const std::string& at) { ASSERT_EQ(mkfifo(at.c_str(), 0600), 0); }},
            {"a directory", [](const std::string& at) { std::filesystem::create_directory(at); }},
            {"a socket", plantSocket},
        };
    }

    // Expects that the operation is refused with a text.
    void expectRefused(const char* entry, const std::function<bool()>& operation) {
        error_ = KtbString();
        EXPECT_FALSE(operation()) << entry;
        EXPECT_GT(error_.length(), 0) << entry;
    }

    bool opens(KtWorkTableFile* table) {
        const Table owner(table);
        return owner != nullptr;
    }

    // Tries every way into the table of that name that reads its header.
    void expectNoWayIn(const std::string& name) {
        const KtbString given = ktb(name);
        KtbString column("id");
        int first = 0;
        long range[] = {0, 1};
        long ranges[8];
        int parts = 4;
        expectRefused("open", [&] { return opens(manager_->open(given, false, &error_)); });
        expectRefused("open reversed", [&] { return opens(manager_->open(given, true, &error_)); });
        expectRefused("open by name", [&] { return opens(manager_->open(given, 1, &column, range, false, &error_)); });
        expectRefused("open by number", [&] { return opens(manager_->open(given, 1, &first, range, true, &error_)); });
        expectRefused("append to it", [&] { return manager_->append(given, ktb(good_), &error_); });
        expectRefused("append it", [&] { return manager_->append(ktb(good_), given, &error_); });
        expectRefused("copy", [&] { return opens(manager_->copy(0L, manager_.get(), given, &error_)); });
        expectRefused("partition", [&] { return manager_->partition(given, &parts, ranges, &error_); });
        expectRefused("remove", [&] { return manager_->remove(given, &error_); });
    }

    void expectNoWayInByUri(const std::string& encoded) {
        const std::string uri = "ktwt:" + encoded + "?col=id";
        expectRefused("open by URI", [&] { return opens(manager_->open(ktb(uri), false, &error_)); });
        expectRefused("append by URI", [&] { return manager_->append(ktb(good_), ktb(uri), &error_); });
        expectRefused("copy by URI", [&] { return opens(manager_->copy(0L, manager_.get(), ktb(uri), &error_)); });
    }

    // The table that nobody touched is as it was.
    void expectGoodTable() {
        EXPECT_EQ(readFile(inWork(good_)), goodHeader_);
        name_ = good_;
        ASSERT_TRUE(reopen()) << error_.asCstr();
        EXPECT_EQ(rowsRead(), rowNumbers(0, 4));
        table_.reset();
    }

    std::string good_;
    std::string goodHeader_;
};

std::string percentEncoded(const std::string& text) {
    std::string result;
    char buffer[4];
    for (const char c : text) {
        std::snprintf(buffer, sizeof buffer, "%%%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
        result += buffer;
    }
    return result;
}

TEST_F(NamesTest, NamesThatAreNoFileNamesFindNothing) {
    std::filesystem::copy_file(inWork(good_), temp_.file(good_));  // a table beside the work directory
    std::filesystem::create_directory(inWork("inner"));
    std::filesystem::copy_file(inWork(good_), inWork("inner") + "/" + good_);
    const std::vector<std::string> before = files();
    for (const std::string& name : std::vector<std::string>{
             "", ".", "..", "/", "../" + good_, "./" + good_, "inner/" + good_, good_ + "/", good_ + "/.", "/" + good_,
             inWork(good_), temp_.file(good_), "..\\" + good_, std::string(256, 'k'), std::string(5000, 'k')}) {
        expectNoWayIn(name);
        expectNoWayInByUri(percentEncoded(name));
    }
    EXPECT_EQ(files(), before);
    EXPECT_TRUE(std::filesystem::exists(temp_.file(good_)));
    expectGoodTable();
}

TEST_F(NamesTest, WhatStandsInPlaceOfAHeaderIsRefused) {
    std::filesystem::copy_file(inWork(good_), temp_.file(outside));
    for (const Thing& thing : things()) {
        SCOPED_TRACE(thing.name);
        thing.plant(inWork("ktwt_planted"));
        const std::vector<std::string> before = files();
        expectNoWayIn("ktwt_planted");
        expectNoWayInByUri("ktwt_planted");
        EXPECT_EQ(files(), before);
        EXPECT_NE(std::filesystem::symlink_status(inWork("ktwt_planted")).type(), std::filesystem::file_type::not_found);
        std::filesystem::remove(inWork("ktwt_planted"));
    }
    EXPECT_EQ(readFile(temp_.file(outside)), goodHeader_);
    expectGoodTable();
}

// The first directory that has something of that name decides, and what is there is told, not what is behind it.
TEST_F(NamesTest, ALinkInAnEarlierDirectoryHidesTheTableBehindIt) {
    const std::string first = temp_.directory("first");
    std::filesystem::create_symlink(inWork(good_), first + "/" + good_);
    useList(first + ":" + directories_[0]);
    error_ = KtbString();
    EXPECT_FALSE(opens(manager_->open(ktb(good_), false, &error_)));
    EXPECT_NE(bytesOf(error_).find(first), std::string::npos) << error_.asCstr();
}

class ElementNamesTest : public NamesTest {
protected:
    void makeVictim() {
        makeRows(5);
        victim_ = name_;
        data_ = dataPath(0);
        index_ = indexPath(0);
        header_ = readFile(path(victim_));
    }

    void put(const std::string& replaced, const Thing& thing) {
        if (readFile(temp_.file(outside)).empty()) std::filesystem::copy_file(replaced, temp_.file(outside));
        std::filesystem::remove(replaced);
        thing.plant(replaced);
    }

    bool readsAll(KtWorkTableFile* opened) {
        const Table table(opened);
        if (!table) return false;
        const Reading reading = readAll(*table);
        error_ = table->getError();
        return !reading.failed;
    }

    // The header is whole, so the table opens; no row comes out of it, and none goes in.
    void expectNoRows() {
        const KtbString given = ktb(victim_);
        const KtbString uri = ktb("ktwt:" + victim_ + "?col=id&col=text&col=flag");
        int id = 0;
        KtbString column("text");
        long range[] = {2, 2};
        expectRefused("read", [&] { return readsAll(manager_->open(given, false, &error_)); });
        expectRefused("read reversed", [&] { return readsAll(manager_->open(given, true, &error_)); });
        expectRefused("read by number", [&] { return readsAll(manager_->open(given, 1, &id, nullptr, false, &error_)); });
        expectRefused("read by name", [&] { return readsAll(manager_->open(given, 1, &column, nullptr, true, &error_)); });
        expectRefused("read a range", [&] { return readsAll(manager_->open(given, 1, &id, range, false, &error_)); });
        expectRefused("read by URI", [&] { return readsAll(manager_->open(uri, false, &error_)); });
        expectRefused("append to it", [&] { return manager_->append(given, ktb(good_), &error_); });
        expectRefused("append it", [&] { return manager_->append(ktb(good_), given, &error_); });
        expectRefused("copy", [&] { return opens(manager_->copy(0L, manager_.get(), given, &error_)); });
        expectRefused("copy by URI", [&] { return opens(manager_->copy(0L, manager_.get(), uri, &error_)); });
    }

    void expectAllRefused(const std::string& replaced, const Thing& thing) {
        SCOPED_TRACE(thing.name);
        put(replaced, thing);
        const std::string target = readFile(temp_.file(outside));
        const std::vector<std::string> before = files();
        expectNoRows();
        EXPECT_EQ(files(), before);
        EXPECT_EQ(readFile(inWork(victim_)), header_);
        expectRefused("remove", [&] { return manager_->remove(ktb(victim_), &error_); });
        EXPECT_EQ(readFile(temp_.file(outside)), target) << "what a link leads to stays";
        std::filesystem::remove(replaced);
    }

    std::string victim_;
    std::string data_;
    std::string index_;
    std::string header_;
};

TEST_F(ElementNamesTest, WhatStandsInPlaceOfADataFileIsRefused) {
    for (const Thing& thing : things()) {
        makeVictim();
        expectAllRefused(data_, thing);
    }
    expectGoodTable();
}

TEST_F(ElementNamesTest, WhatStandsInPlaceOfAnIndexFileIsRefused) {
    for (const Thing& thing : things()) {
        makeVictim();
        expectAllRefused(index_, thing);
    }
    expectGoodTable();
}

// A header can name any file. One that is not named like a data element is none, whatever it is.
TEST_F(ElementNamesTest, AHeaderThatNamesOtherFilesAsItsElementsIsNotFollowed) {
    const std::string secret = temp_.file("secret");
    for (const std::string& name : std::vector<std::string>{"../secret", secret, good_, "..", "ktwte_/../../secret"}) {
        makeVictim();
        writeFile(secret, readFile(data_));
        table_files::Header header = this->header();
        header.elements.at(0).data = name + std::string(1, '\0');
        changeHeader(header);
        header_ = readFile(path(victim_));
        expectNoRows();
        expectRefused("remove", [&] { return manager_->remove(ktb(victim_), &error_); });
        EXPECT_TRUE(std::filesystem::exists(secret)) << name;
    }
    expectGoodTable();
}

// The caller chose the directory, by a link or not: many systems have a link to their directory for temporary files.
TEST_F(NamesTest, AWorkDirectoryMayBeALink) {
    const std::string link = temp_.file("link");
    std::filesystem::create_directory_symlink(directories_[0], link);
    useList(link);
    directories_ = {link};
    makeRows(5);
    ASSERT_TRUE(reopen()) << error_.asCstr();
    EXPECT_EQ(rowsRead(), rowNumbers(0, 4));
    table_.reset();
    EXPECT_TRUE(manager_->remove(ktb(name_), &error_)) << error_.asCstr();
}

// In the list a directory that is something else, or nothing, takes no table and hides none behind it.
TEST_F(NamesTest, NewTablesPassOverWorkDirectoriesThatAreNone) {
    const std::string pipe = temp_.file("pipe");
    const std::string nowhere = temp_.file("nowhere");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::filesystem::create_symlink("gone", nowhere);
    useList(pipe + ":" + nowhere + ":" + temp_.file("missing") + ":" + directories_[0]);
    makeRows(5);
    EXPECT_TRUE(std::filesystem::exists(inWork(name_)));
}

TEST_F(NamesTest, AWorkDirectoryThatIsAFileHoldsNoTable) {
    const std::string file = temp_.file("file");
    writeFile(file, goodHeader_);
    useList(file);
    expectNoWayIn(good_);
    expectRefused("create", [&] { return opens(manager_->create(1, 0, &error_)); });
    EXPECT_EQ(readFile(file), goodHeader_);
}

TEST_F(NamesTest, FilesWithoutPermissionAreRefused) {
    if (geteuid() == 0) GTEST_SKIP() << "root reads files whatever their permissions";
    for (const std::string& file : {inWork(good_), dataPath(0), indexPath(0)}) {
        ASSERT_EQ(chmod(file.c_str(), 0), 0);
        expectRefused("read", [&] {
            Table table(manager_->open(ktb(good_), false, &error_));
            if (!table) return false;
            const Reading reading = readAll(*table);
            error_ = table->getError();
            return !reading.failed;
        });
        expectRefused("append to it", [&] { return manager_->append(ktb(good_), ktb(good_), &error_); });
        ASSERT_EQ(chmod(file.c_str(), 0600), 0);
    }
    expectGoodTable();
}

TEST_F(NamesTest, ADeviceIsRefused) {
    const std::string device = inWork("ktwt_device");
    if (mknod(device.c_str(), S_IFCHR | 0600, makedev(1, 5)) != 0) GTEST_SKIP() << "this process may not make devices";
    expectNoWayIn("ktwt_device");
    EXPECT_TRUE(std::filesystem::is_character_file(device));
}

}  // namespace
