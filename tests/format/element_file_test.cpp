// The files of a data element: created, found, opened, closed, removed, and recorded in the header.
#include <sys/resource.h>

#include <climits>

#include "element_fixture.h"
#include "file_size_limit.h"

namespace {

const std::vector<images::Column> oneInteger = {{.name = "n", .code = 3}};

// Lets this process open `more` files and none besides.
class HandleLimit {
public:
    explicit HandleLimit(rlim_t more) {
        getrlimit(RLIMIT_NOFILE, &before_);
        rlimit limited = before_;
        limited.rlim_cur = firstFree() + more;
        setrlimit(RLIMIT_NOFILE, &limited);
    }
    HandleLimit(const HandleLimit&) = delete;
    HandleLimit& operator=(const HandleLimit&) = delete;
    ~HandleLimit() { setrlimit(RLIMIT_NOFILE, &before_); }

private:
    static rlim_t firstFree() {
        const int handle = dup(0);
        EXPECT_GE(handle, 0);
        ::close(handle);
        return static_cast<rlim_t>(handle);
    }
    rlimit before_{};
};

class ElementFileTest : public ElementFixture {
protected:
    // A manager of the directories a, b and c, of which those named exist.
    void useDirectories(const Texts& existing, const std::string& list = "") {
        for (const std::string& name : existing) directory_.directory(name);
        const std::string all = directory_.file("a") + ":" + directory_.file("b") + ":" + directory_.file("c");
        manager_ = makeManager(list.empty() ? all : list);
    }

    Texts namesIn(const std::string& subdirectory) const {
        Texts result;
        if (!std::filesystem::exists(directory_.file(subdirectory))) return result;
        for (const auto& entry : std::filesystem::directory_iterator(directory_.file(subdirectory))) {
            result.push_back(entry.path().filename().string());
        }
        std::sort(result.begin(), result.end());
        return result;
    }

    // The value of the first row of an element with one integer column.
    static std::string firstValue(KTWTFileElement& element) { return readAll(element, 1, 1, 1).front().front(); }
};

}  // namespace

// create

TEST_F(ElementFileTest, CreateMakesAnEmptyDataFileAndAnEmptyIndexFile) {
    const auto owner = writableOwner(oneInteger);
    KTWTFileElement element(owner.get());
    EXPECT_EQ(element.getName().length(), 0);
    EXPECT_EQ(element.getIndex().length(), 0);
    ASSERT_TRUE(element.create(0));
    EXPECT_EQ(directory_.names("ktwte_"), Texts{element.getName().asCstr()});
    EXPECT_EQ(directory_.names("ktwtei_"), Texts{element.getIndex().asCstr()});
    EXPECT_EQ(get(element.getName().asCstr()), "");
    EXPECT_EQ(get(element.getIndex().asCstr()), "");
    EXPECT_EQ(element.getRows(), 0);
    EXPECT_EQ(element.getSize(), 0);
    EXPECT_EQ(element.getError().length(), 0);
}

TEST_F(ElementFileTest, CreateGoesToTheNextDirectoryThatTakesAFile) {
    useDirectories({"a", "b", "c"});
    const auto owner = writableOwner(oneInteger);
    std::filesystem::remove(directory_.file("b"));
    KTWTFileElement element(owner.get());
    ASSERT_TRUE(element.create(1));
    EXPECT_EQ(namesIn("c"), (Texts{element.getName().asCstr(), element.getIndex().asCstr()}));
}

TEST_F(ElementFileTest, CreateGoesFromTheLastDirectoryToTheFirst) {
    useDirectories({"a", "b"});
    const auto owner = writableOwner(oneInteger);
    KTWTFileElement element(owner.get());
    ASSERT_TRUE(element.create(2));
    const Texts names = namesIn("a");
    EXPECT_TRUE(std::find(names.begin(), names.end(), element.getName().asCstr()) != names.end());
    EXPECT_TRUE(std::find(names.begin(), names.end(), element.getIndex().asCstr()) != names.end());
    EXPECT_TRUE(namesIn("b").empty());
}

TEST_F(ElementFileTest, CreateNamesTheLastDirectoryWhenAllRefuse) {
    useDirectories({"a"});
    const auto owner = writableOwner(oneInteger);
    owner->close();
    std::filesystem::remove_all(directory_.file("a"));
    for (const int first : {0, 1, 2}) {
        KTWTFileElement element(owner.get());
        EXPECT_FALSE(element.create(first));
        EXPECT_TRUE(says(element.getError(), "wtelem", 1417,
                         {directory_.file("c"), std::to_string(np_err_no_such_file), np_fio_errdesc(np_err_no_such_file)}))
            << first;
    }
}

TEST_F(ElementFileTest, CreateThatMadeTheIndexOnlyLeavesItOpenAndTakesItAwayAtTheEnd) {
    useDirectories({"a", "b", "c"});
    const auto owner = writableOwner(oneInteger);
    {
        KTWTFileElement element(owner.get());
        bool created = true;
        {
            const HandleLimit limit(1);
            created = element.create(1);
        }
        EXPECT_FALSE(created);
        EXPECT_TRUE(says(element.getError(), "wtelem", 1417,
                         {directory_.file("c"), std::to_string(np_err_too_many_files), np_fio_errdesc(np_err_too_many_files)}));
        EXPECT_EQ(namesIn("b"), Texts{element.getIndex().asCstr()});
    }
    EXPECT_TRUE(namesIn("b").empty());
    EXPECT_EQ(namesIn("a"), Texts{owner->getName().asCstr()});
}

TEST_F(ElementFileTest, AnEmptyEntryOfTheDirectoryListTakesAndHoldsNothing) {
    useDirectories({"a"}, ":" + directory_.file("a"));
    const auto owner = writableOwner(oneInteger);
    Row row = {var(7L)};
    bool full = false;
    std::string record;
    {
        KTWTFileElement element(owner.get());
        ASSERT_TRUE(element.create(0));
        ASSERT_TRUE(element.writeRow(row.pointers(), &full));
        ASSERT_TRUE(element.close());
        record = images::Element{.name = element.getName().asCstr(), .index = element.getIndex().asCstr(), .rows = 1}.bytes(
            Order::ours);
    }
    EXPECT_EQ(namesIn("a").size(), 3u);
    KTWTFileElement element(owner.get());
    ASSERT_TRUE(restore(element, directory_, record));
    EXPECT_TRUE(element.open(true)) << element.getError().asCstr();
    EXPECT_EQ(firstValue(element), "integer 7");
}

TEST_F(ElementFileTest, AnEmptyEntryOfTheDirectoryListIsNotTheCurrentDirectory) {
    useDirectories({"a"}, ":" + directory_.file("a"));
    const auto owner = writableOwner(oneInteger);
    put("ktwte_d", images::integer(1));
    put("a/ktwte_d", images::integer(2));
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(directory_.path());
    KTWTFileElement element(owner.get());
    ASSERT_TRUE(restore(element, {.name = "ktwte_d", .index = "", .rows = 1}));
    EXPECT_TRUE(element.open(true)) << element.getError().asCstr();
    EXPECT_EQ(firstValue(element), "integer 2");
    std::filesystem::current_path(before);
}

// open

TEST_F(ElementFileTest, OpenSearchesOnwardsFromWhereTheElementWasLastFound) {
    useDirectories({"a", "b", "c"});
    const auto owner = writableOwner(oneInteger);
    KTWTFileElement element(owner.get());
    ASSERT_TRUE(restore(element, {.name = "ktwte_d", .index = "ktwtei_i", .rows = 1}));
    // The index file in b alone makes b the place where the search for the data file begins, and c the next.
    put("b/ktwtei_i", images::index({"x"}));
    put("a/ktwte_d", images::integer(1));
    put("c/ktwte_d", images::integer(3));
    ASSERT_TRUE(element.open(true)) << element.getError().asCstr();
    EXPECT_EQ(firstValue(element), "integer 3");
}

TEST_F(ElementFileTest, OpenSearchesTheFirstDirectoryAfterTheLast) {
    useDirectories({"a", "b", "c"});
    const auto owner = writableOwner(oneInteger);
    KTWTFileElement element(owner.get());
    ASSERT_TRUE(restore(element, {.name = "ktwte_d", .index = "ktwtei_i", .rows = 1}));
    put("c/ktwtei_i", images::index({"x"}));
    put("a/ktwte_d", images::integer(1));
    put("b/ktwte_d", images::integer(2));
    ASSERT_TRUE(element.open(true)) << element.getError().asCstr();
    EXPECT_EQ(firstValue(element), "integer 1");
}

TEST_F(ElementFileTest, OpenStopsAtTheFirstFailureThatIsNotAMissingFile) {
    useDirectories({"a", "b", "c"});
    const auto owner = writableOwner(oneInteger);
    put("b/ktwtei_i", images::index({"x"}));
    put("a/ktwte_d", images::integer(1));
    directory_.directory("c/ktwte_d");
    KTWTFileElement element(owner.get());
    ASSERT_TRUE(restore(element, {.name = "ktwte_d", .index = "ktwtei_i", .rows = 1}));
    EXPECT_FALSE(element.open(true));
    EXPECT_TRUE(says(element.getError(), "wtelem", 1353, {directory_.file("c/ktwte_d"), np_fio_errdesc(np_err_is_directory)}));
    directory_.directory("b/ktwtei_j");
    put("c/ktwtei_j", images::index({"x"}));
    KTWTFileElement other(owner.get());
    ASSERT_TRUE(restore(other, {.name = "ktwte_d", .index = "ktwtei_j", .rows = 1}));
    EXPECT_FALSE(other.open(true));
    EXPECT_TRUE(says(other.getError(), "wtelem", 1353, {"\"\"", np_fio_errdesc(np_err_is_directory)}));
}

TEST_F(ElementFileTest, OpenNamesTheDataFileWhenTheIndexIsMissing) {
    const auto owner = readingOwner(oneInteger);
    put("ktwte_d", images::integer(1));
    KTWTFileElement restored(owner.get());
    ASSERT_TRUE(restore(restored, {.name = "ktwte_d", .index = "ktwtei_i", .rows = 1}));
    EXPECT_FALSE(restored.open(true));
    EXPECT_TRUE(says(restored.getError(), "wtelem", 1353, {"\"\"", np_fio_errdesc(np_err_no_such_file)}));

    const auto creator = writableOwner(oneInteger);
    KTWTFileElement created(creator.get());
    ASSERT_TRUE(created.create(0));
    ASSERT_TRUE(created.close());
    std::filesystem::remove(directory_.file(created.getIndex().asCstr()));
    EXPECT_FALSE(created.open(true));
    const std::string dataPath = directory_.file(created.getName().asCstr());
    EXPECT_TRUE(says(created.getError(), "wtelem", 1353, {dataPath, np_fio_errdesc(np_err_no_such_file)}));
}

TEST_F(ElementFileTest, OpenNamesTheDataFileThatIsMissing) {
    useDirectories({"a", "b", "c"});
    const auto owner = writableOwner(oneInteger);
    put("b/ktwtei_i", images::index({"x"}));
    KTWTFileElement element(owner.get());
    ASSERT_TRUE(restore(element, {.name = "ktwte_d", .index = "ktwtei_i", .rows = 1}));
    EXPECT_FALSE(element.open(true));
    // The search began in b, so a was the last.
    EXPECT_TRUE(says(element.getError(), "wtelem", 1353, {directory_.file("a/ktwte_d"), np_fio_errdesc(np_err_no_such_file)}));
}

TEST_F(ElementFileTest, OpenKeepsTheLastPathOfAFailedSearch) {
    useDirectories({"a", "b", "c"});
    const auto owner = writableOwner(oneInteger);
    KTWTFileElement element(owner.get());
    ASSERT_TRUE(restore(element, {.name = "ktwte_d", .index = "", .rows = 1}));
    EXPECT_FALSE(element.open(true));
    put("a/ktwte_d", images::integer(1));
    EXPECT_FALSE(element.open(true));
    EXPECT_TRUE(says(element.getError(), "wtelem", 1353, {directory_.file("c/ktwte_d"), np_fio_errdesc(np_err_no_such_file)}));
    put("c/ktwte_d", images::integer(3));
    ASSERT_TRUE(element.open(true));
    EXPECT_EQ(firstValue(element), "integer 3");
}

TEST_F(ElementFileTest, OpenTellsThatADirectoryAndANameCannotBeJoined) {
    useDirectories({"a"});
    const auto owner = writableOwner(oneInteger);
    const std::string tooLong = "/" + std::string(np_path_max - 3, 'x');
    manager_ = makeManager(tooLong + ":" + directory_.file("a"));
    const auto lost = table();
    const Texts reason = {std::to_string(np_err_name), np_fio_errdesc(np_err_name)};
    for (const bool indexed : {true, false}) {
        KTWTFileElement element(lost.get());
        ASSERT_TRUE(restore(element, {.name = "ktwte_d", .index = indexed ? "ktwtei_i" : "", .rows = 1}));
        EXPECT_FALSE(element.open(true));
        EXPECT_TRUE(
            says(element.getError(), "wtelem", 1784, {indexed ? "element index" : "element data", reason[0], reason[1]}));
    }
}

TEST_F(ElementFileTest, OpenWithoutAnIndexNameOpensTheDataFileAlone) {
    const auto owner = readingOwner(oneInteger);
    const auto element = elementOf(*owner, {images::integer(5), images::integer(6)}, false);
    const std::size_t handles = openHandles();
    ASSERT_TRUE(element->open(true)) << element->getError().asCstr();
    EXPECT_EQ(openHandles(), handles + 1);
    EXPECT_EQ(readAll(*element, 1, 1), (std::vector<Texts>{{"integer 5"}, {"integer 6"}, {"end"}}));
}

TEST_F(ElementFileTest, OpenForWritingAppendsAtTheEndOfTheDataFile) {
    const auto owner = writableOwner(oneInteger);
    KTWTFileElement element(owner.get());
    ASSERT_TRUE(element.create(0));
    Row row = {var(1L)};
    bool full = false;
    ASSERT_TRUE(element.writeRow(row.pointers(), &full));
    EXPECT_EQ(element.getSize(), 9);
    ASSERT_TRUE(element.close());
    EXPECT_EQ(element.getSize(), 0);
    ASSERT_TRUE(element.open(false));
    EXPECT_EQ(element.getSize(), 9);
    ASSERT_TRUE(element.seek(-1));
    ASSERT_TRUE(element.writeRow(row.pointers(), &full));
    EXPECT_EQ(element.getRows(), 2);
    ASSERT_TRUE(element.close());
    EXPECT_EQ(get(element.getName().asCstr()), images::integer(1) + images::integer(1));
    EXPECT_EQ(get(element.getIndex().asCstr()), images::index({images::integer(1), images::integer(1)}));
}

TEST_F(ElementFileTest, OpenForReadingDoesNotAskForTheSize) {
    const auto owner = readingOwner(oneInteger);
    const auto element = elementOf(*owner, {images::integer(5)});
    ASSERT_TRUE(element->open(true));
    EXPECT_EQ(element->getSize(), 0);
}

TEST_F(ElementFileTest, OpenAgainBeginsAtTheFirstRow) {
    const auto owner = readingOwner(oneInteger);
    const auto element = elementOf(*owner, {images::integer(5), images::integer(6)});
    const std::size_t handles = openHandles();
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(element->open(true));
        EXPECT_EQ(openHandles(), handles + 2);
        EXPECT_EQ(firstValue(*element), "integer 5");
    }
}

// A name from a damaged or hostile header must lead nowhere: not to a file outside of the work directories, neither to be read
// nor to be deleted.
TEST_F(ElementFileTest, ANameThatIsNoFileNameIsAnsweredLikeAMissingFile) {
    useDirectories({"a", "b", "c"});
    const auto owner = writableOwner(oneInteger);
    put("outside", images::integer(1));
    const std::string absolute = directory_.file("outside");
    for (const std::string& name : {std::string("../outside"), absolute, std::string("x/../../outside"), std::string("."),
                                    std::string(".."), std::string("a/")}) {
        for (const bool asIndex : {false, true}) {
            KTWTFileElement element(owner.get());
            ASSERT_TRUE(restore(element, {.name = asIndex ? "ktwte_d" : name, .index = asIndex ? name : "", .rows = 1}));
            for (int attempt = 0; attempt < 3; ++attempt) {
                EXPECT_FALSE(element.open(attempt == 2)) << name;
                const std::string shownName = "\"" + (asIndex ? "" : name) + "\"";
                EXPECT_TRUE(says(element.getError(), "wtelem", 1353, {shownName, np_fio_errdesc(np_err_no_such_file)})) << name;
                EXPECT_FALSE(element.remove()) << name;
            }
        }
    }
    EXPECT_EQ(get("outside"), images::integer(1));
}

// Nor to a file of somebody else's in a work directory, which may be the system's directory for temporary files.
TEST_F(ElementFileTest, ANameWithoutOurPrefixIsAnsweredLikeAMissingFile) {
    useDirectories({"a"});
    const auto owner = writableOwner(oneInteger);
    put("a/precious", images::integer(1));
    put("a/ktwte_d", images::integer(1));
    for (const bool asIndex : {false, true}) {
        KTWTFileElement element(owner.get());
        ASSERT_TRUE(restore(element, {.name = asIndex ? "ktwte_d" : "precious", .index = asIndex ? "precious" : "", .rows = 1}));
        EXPECT_FALSE(element.open(true));
        EXPECT_FALSE(element.remove());
    }
    EXPECT_EQ(get("a/precious"), images::integer(1));
    EXPECT_EQ(get("a/ktwte_d"), images::integer(1));
}

TEST_F(ElementFileTest, AnEmptyNameIsNeverOpened) {
    const auto owner = readingOwner(oneInteger);
    KTWTFileElement element(owner.get());
    ASSERT_TRUE(restore(element, {.name = "", .index = "", .rows = 1}));
    EXPECT_FALSE(element.open(true));
    EXPECT_TRUE(says(element.getError(), "wtelem", 1353, {np_fio_errdesc(np_err_no_such_file)}));
}

// close

TEST_F(ElementFileTest, CloseMayBeCalledAgainAndAgain) {
    const auto owner = readingOwner(oneInteger);
    const auto element = elementOf(*owner, {images::integer(5)});
    EXPECT_TRUE(element->close());
    const std::size_t handles = openHandles();
    ASSERT_TRUE(element->open(true));
    EXPECT_TRUE(element->close());
    EXPECT_TRUE(element->close());
    EXPECT_EQ(openHandles(), handles);
}

TEST_F(ElementFileTest, ReportsAtCloseWhatTheDiskRefusesThen) {
    const auto owner = writableOwner(oneInteger);
    for (const bool dataOnly : {false, true}) {
        KTWTFileElement element(owner.get());
        ASSERT_TRUE(element.create(0));
        Row row = {var(1L)};
        bool full = false;
        ASSERT_TRUE(element.writeRow(row.pointers(), &full));
        bool closed = true;
        {
            const FileSizeLimit limit(dataOnly ? 8 : 0);  // the index has 8 bytes, the data 9
            closed = element.close();
        }
        EXPECT_FALSE(closed);
        EXPECT_TRUE(says(element.getError(), "wtelem", 1045, {np_fio_errdesc(np_err_too_large)}));
        const std::vector<MessageLog::Entry> made = log_.entries();
        EXPECT_EQ(std::count_if(made.begin(), made.end(), [](const auto& entry) { return entry.number == 1045; }), 1)
            << "the first refusal is the one reported";
        log_.clear();
        EXPECT_TRUE(element.close()) << "the handles are gone, and the failure was told";
    }
}

// remove

TEST_F(ElementFileTest, RemoveDeletesBothFiles) {
    const auto owner = writableOwner(oneInteger);
    const Texts before = directory_.names();
    KTWTFileElement element(owner.get());
    ASSERT_TRUE(element.create(0));
    EXPECT_EQ(directory_.names().size(), before.size() + 2);
    EXPECT_TRUE(element.remove());
    EXPECT_EQ(directory_.names(), before);
}

TEST_F(ElementFileTest, RemoveFindsTheFilesOfARestoredElement) {
    for (const bool indexed : {true, false}) {
        const auto owner = readingOwner(oneInteger);
        const Texts before = directory_.names();
        const auto element = elementOf(*owner, {images::integer(5)}, indexed);
        EXPECT_TRUE(element->remove()) << element->getError().asCstr();
        EXPECT_EQ(directory_.names(), before);
    }
}

TEST_F(ElementFileTest, RemoveOfAnElementWithoutANameTouchesNothing) {
    const auto owner = writableOwner(oneInteger);
    const Texts before = directory_.names();
    KTWTFileElement element(owner.get());
    EXPECT_TRUE(element.remove());
    EXPECT_EQ(directory_.names(), before);
}

TEST_F(ElementFileTest, RemoveReportsTheIndexThatCannotBeDeletedAndDeletesTheDataFile) {
    const auto owner = writableOwner(oneInteger);
    const Texts before = directory_.names();
    KTWTFileElement element(owner.get());
    ASSERT_TRUE(element.create(0));
    const std::string indexPath = directory_.file(element.getIndex().asCstr());
    std::filesystem::remove(indexPath);
    directory_.directory(element.getIndex().asCstr());
    EXPECT_FALSE(element.remove());
    EXPECT_TRUE(says(element.getError(), "wtelem", 1747, {np_fio_errdesc(np_err_is_directory)}));
    std::filesystem::remove(indexPath);
    EXPECT_EQ(directory_.names(), before);
}

TEST_F(ElementFileTest, RemoveReportsTheFirstOfTwoFailures) {
    const auto owner = writableOwner(oneInteger);
    KTWTFileElement element(owner.get());
    ASSERT_TRUE(element.create(0));
    std::filesystem::remove(directory_.file(element.getIndex().asCstr()));
    directory_.directory(element.getIndex().asCstr());
    std::filesystem::remove(directory_.file(element.getName().asCstr()));
    EXPECT_FALSE(element.remove());
    EXPECT_TRUE(says(element.getError(), "wtelem", 1747, {np_fio_errdesc(np_err_is_directory)}));
}

TEST_F(ElementFileTest, RemoveReportsTheDataFileThatCannotBeDeleted) {
    const auto owner = writableOwner(oneInteger);
    KTWTFileElement element(owner.get());
    ASSERT_TRUE(element.create(0));
    std::filesystem::remove(directory_.file(element.getName().asCstr()));
    EXPECT_FALSE(element.remove());
    EXPECT_TRUE(says(element.getError(), "wtelem", 1747, {np_fio_errdesc(np_err_no_such_file)}));
    EXPECT_TRUE(directory_.names("ktwtei_").empty());
}

TEST_F(ElementFileTest, RemoveOfFilesThatCannotBeFoundFails) {
    const auto owner = readingOwner(oneInteger);
    KTWTFileElement element(owner.get());
    ASSERT_TRUE(restore(element, {.name = "ktwte_d", .index = "ktwtei_i", .rows = 1}));
    EXPECT_FALSE(element.remove());
    EXPECT_TRUE(says(element.getError(), "wtelem", 1353, {np_fio_errdesc(np_err_no_such_file)}));
}

// An element whose data file alone is lost can still get rid of its index: the search that failed has found it.
TEST_F(ElementFileTest, RemoveFailsWhileTheDataFileIsNotFound) {
    const auto owner = readingOwner(oneInteger);
    put("ktwtei_i", "");
    KTWTFileElement element(owner.get());
    ASSERT_TRUE(restore(element, {.name = "ktwte_d", .index = "ktwtei_i", .rows = 0}));
    EXPECT_FALSE(element.remove());
    EXPECT_TRUE(says(element.getError(), "wtelem", 1353, {directory_.file("ktwte_d"), np_fio_errdesc(np_err_no_such_file)}));
    EXPECT_EQ(directory_.names("ktwtei_").size(), 1u);
    EXPECT_FALSE(element.remove());
    EXPECT_TRUE(says(element.getError(), "wtelem", 1747, {np_fio_errdesc(np_err_no_such_file)}));
    EXPECT_TRUE(directory_.names("ktwtei_").empty());
}

TEST_F(ElementFileTest, DestructionClosesTheFilesAndLeavesThem) {
    const auto owner = writableOwner(oneInteger);
    const std::size_t handles = openHandles();
    {
        KTWTFileElement element(owner.get());
        ASSERT_TRUE(element.create(0));
        EXPECT_EQ(openHandles(), handles + 2);
    }
    EXPECT_EQ(openHandles(), handles);
    EXPECT_EQ(directory_.names("ktwte").size(), 2u);
}

// persist and restore

class ElementRecordTest : public ElementFileTest {
protected:
    // What an element with this record writes into a header.
    std::string persisted(const images::Element& record) {
        const auto owner = writableOwner({});
        KTWTFileElement element(owner.get());
        EXPECT_TRUE(restore(element, record));
        put("header", "");
        np_file* file = nullptr;
        EXPECT_EQ(np_fio_open(directory_.file("header").c_str(), np_mode_append, &file), np_ok);
        EXPECT_TRUE(element.persist(file)) << element.getError().asCstr();
        EXPECT_EQ(np_fio_close(file), np_ok);
        return get("header");
    }
};

TEST_F(ElementRecordTest, IsWrittenAsItWasRead) {
    for (const std::int64_t rows :
         {std::int64_t{0}, std::int64_t{1}, std::int64_t{0x0102030405060708}, std::int64_t{LONG_MAX}}) {
        const images::Element record = {.name = "ktwte_d", .index = "ktwtei_i", .rows = rows};
        EXPECT_EQ(persisted(record), record.bytes(Order::ours)) << rows;
    }
    const images::Element longNames = {.name = std::string(32766, 'd'), .index = std::string(32766, 'i'), .rows = 3};
    EXPECT_EQ(persisted(longNames), longNames.bytes(Order::ours));
}

TEST_F(ElementRecordTest, WithoutAnIndexHasNoIndexName) {
    const images::Element record = {.name = "ktwte_d", .index = "", .rows = 3};
    EXPECT_EQ(persisted(record), record.bytes(Order::ours));
    EXPECT_EQ(persisted(record).size(), 16u + 8u);
}

// An index name that is there but empty is no index, and is not written again.
TEST_F(ElementRecordTest, WithAnEmptyIndexNameLosesIt) {
    const auto owner = writableOwner({});
    KTWTFileElement element(owner.get());
    std::string record = images::Element{.name = "ktwte_d", .index = "", .rows = 3}.bytes(Order::ours);
    record.replace(6, 2, images::number(std::int16_t{1}, Order::ours));
    ASSERT_TRUE(restore(element, directory_, record + std::string(1, '\0')));
    EXPECT_EQ(element.getIndex().length(), 0);
    EXPECT_EQ(element.getRows(), 3);
}

TEST_F(ElementRecordTest, IsReadInEitherByteOrder) {
    for (const Order order : {Order::ours, Order::other}) {
        const auto owner = readingOwner(oneInteger, false, order);
        KTWTFileElement element(owner.get());
        ASSERT_TRUE(restore(element, {.name = "ktwte_d", .index = "ktwtei_i", .rows = 0x0102030405060708}, order));
        EXPECT_STREQ(element.getName().asCstr(), "ktwte_d");
        EXPECT_STREQ(element.getIndex().asCstr(), "ktwtei_i");
        EXPECT_EQ(element.getRows(), 0x0102030405060708);
    }
}

TEST_F(ElementRecordTest, OfALaterVersionIsReadPastItsExtraBytes) {
    for (const std::uint32_t length : {17u, 24u, 70000u}) {
        for (const Order order : {Order::ours, Order::other}) {
            const auto owner = readingOwner(oneInteger, false, order);
            KTWTFileElement element(owner.get());
            ASSERT_TRUE(restore(element, {.name = "ktwte_d", .index = "ktwtei_i", .rows = 5, .recordLength = length}, order));
            EXPECT_STREQ(element.getName().asCstr(), "ktwte_d");
            EXPECT_STREQ(element.getIndex().asCstr(), "ktwtei_i");
            EXPECT_EQ(element.getRows(), 5);
        }
    }
}

TEST_F(ElementRecordTest, CutAtAnyByteIsRefused) {
    const std::string record = images::Element{.name = "ktwte_d", .index = "ktwtei_i", .rows = 5}.bytes(Order::ours);
    const auto owner = readingOwner(oneInteger);
    for (std::size_t length = 0; length < record.size(); ++length) {
        KTWTFileElement element(owner.get());
        EXPECT_FALSE(restore(element, directory_, record.substr(0, length)));
        const char* what = length < 16 ? "element definition" : length < 24 ? "element name" : "element index name";
        EXPECT_TRUE(says(element.getError(), "wtelem", 1301, {what})) << length;
    }
}

TEST_F(ElementRecordTest, ThatTheDiskRefusesIsReported) {
    const auto owner = writableOwner(oneInteger);
    put("header", "");
    KTWTFileElement element(owner.get());
    ASSERT_TRUE(restore(element, {.name = "ktwte_d", .index = "ktwtei_i", .rows = 5}));
    np_file* file = nullptr;
    ASSERT_EQ(np_fio_open(directory_.file("header").c_str(), np_mode_read, &file), np_ok);  // refuses every byte
    EXPECT_FALSE(element.persist(file));
    EXPECT_TRUE(says(element.getError(), "wtelem", 1044));
    np_fio_close(file);
}
