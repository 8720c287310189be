// A look at a table when every call and every allocation fails in turn: what could not be looked at is a failure, and never
// passes for a sound table, nor a sound table for a damaged one.
#include <gtest/gtest.h>

#include "ktwt/inspect.h"
#include "stage.h"

namespace {

// Counts, without any allocation: the visitors are called while allocations fail.
class Counter : public KtWorkTableFileVisitor, public KtWorkTableFindingVisitor {
public:
    bool visit(const KtWorkTableFilePart& file) override {
        ++files;
        missing += file.bytes < 0 ? 1 : 0;
        bytes += file.bytes;
        return true;
    }
    bool visit(const KtWorkTableFinding&) override {
        ++findings;
        return true;
    }

    long files = 0;
    long missing = 0;
    long bytes = 0;
    long findings = 0;
};

constexpr long elementCount = 3;
constexpr long fileCount = 1 + 2 * elementCount;

class InspectTest : public testing::Test {
protected:
    // With names that need no memory of their own, so that every fault is the library's.
    bool verify() {
        counter = {};
        return ktwtVerifyTable(KtbString(stage.directories.c_str(), true), KtbString(stage.kept.c_str(), true), &counter,
                               &counts, &stage.error);
    }
    bool list() {
        counter = {};
        return ktwtListTableFiles(KtbString(stage.directories.c_str(), true), KtbString(stage.kept.c_str(), true), &counter,
                                  &stage.error);
    }

    std::filesystem::path fileOf(const std::string& prefix) const {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(stage.home.path())) {
            if (entry.path().filename().string().compare(0, prefix.size(), prefix) == 0) return entry.path();
        }
        ADD_FAILURE() << prefix;
        return {};
    }

    long bytesInAll() const {
        long bytes = 0;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(stage.home.path())) {
            if (entry.is_regular_file()) bytes += static_cast<long>(entry.file_size());
        }
        return bytes;
    }

    void expectSound() const {
        EXPECT_EQ(counts.rows, rowCount);
        EXPECT_EQ(counts.elements, elementCount);
        EXPECT_EQ(counts.bytes, bytesInAll());
    }

    // A disk that says that a file is not there is believed, and a header that comes short is taken for one that is cut off. So
    // are they in this test.
    static bool mayLookLikeDamage(const Faults& faults) {
        if (!faults.injected() || dynamic_cast<const MemoryFaults*>(&faults) != nullptr) return false;
        const auto* fileFaults = dynamic_cast<const FileFaults*>(&faults);
        if (fileFaults == nullptr) return true;  // of the system, which fails any file, or of both kinds
        const FileCall call = fileFaults->injectedCall();
        const bool isTransfer = call == FileCall::getb || call == FileCall::seek64;
        return isTransfer || fileFaults->fault().code == np_err_no_such_file;
    }

    Stage stage;
    Counter counter;
    KtWorkTableVerification counts = {};
};

TEST_F(InspectTest, ASoundTableIsFoundSoundOrAFailureIsReported) {
    const long runs = sweepFaults([&](Faults& faults) {
        stage.refresh();
        bool looked = false;
        faults.during([&] { looked = verify(); });
        EXPECT_EQ(looked, stage.error.length() == 0);
        EXPECT_EQ(counts.findings, counter.findings);
        if (!looked) {
            EXPECT_TRUE(faults.injected());
        }
        if (looked && counts.findings == 0) expectSound();
        if (counts.findings != 0) {
            EXPECT_TRUE(mayLookLikeDamage(faults));
        }
        EXPECT_EQ(openFileHandles(), 0);
        EXPECT_TRUE(stage.strangers().empty());
    });
    EXPECT_GT(runs, 200);
    stage.expectUnharmed();
}

// Whatever fails, damage does not pass for none.
TEST_F(InspectTest, ADamagedTableIsFoundDamagedOrAFailureIsReported) {
    const std::filesystem::path data = fileOf("ktwte_");
    std::string bytes = readFile(data);
    bytes.at(0) = 77;
    writeFile(data, bytes);
    std::filesystem::remove(fileOf("ktwtei_"));
    ASSERT_TRUE(verify());
    const long findings = counts.findings;
    ASSERT_GE(findings, 2);
    const long runs = sweepFaults([&](Faults& faults) {
        stage.refresh();
        bool looked = false;
        faults.during([&] { looked = verify(); });
        EXPECT_EQ(looked, stage.error.length() == 0);
        EXPECT_EQ(counts.findings, counter.findings);
        EXPECT_TRUE(!looked || counts.findings != 0);
        if (looked && !mayLookLikeDamage(faults)) {
            EXPECT_EQ(counts.findings, findings);
        }
        EXPECT_EQ(openFileHandles(), 0);
    });
    EXPECT_GT(runs, 100);
}

TEST_F(InspectTest, AllFilesAreToldOrAFailureIsReported) {
    const long runs = sweepFaults([&](Faults& faults) {
        stage.refresh();
        bool listed = false;
        faults.during([&] { listed = list(); });
        EXPECT_EQ(listed, stage.error.length() == 0);
        if (listed) {
            EXPECT_EQ(counter.files, fileCount);
        }
        if (listed && !mayLookLikeDamage(faults)) {
            EXPECT_EQ(counter.bytes, bytesInAll());
            EXPECT_EQ(counter.missing, 0);
        }
        if (!listed) {
            EXPECT_TRUE(faults.injected());
        }
        EXPECT_EQ(openFileHandles(), 0);
    });
    EXPECT_GT(runs, 50);
    stage.expectUnharmed();
}

// What the disk does not deliver of rows and entries that are there is no finding in them.
TEST_F(InspectTest, ADiskThatDoesNotDeliverAFileIsAFailureThatNamesIt) {
    for (const char* prefix : {"ktwte_", "ktwtei_"}) {
        const std::string name = fileOf(prefix).filename().string();
        for (const FileCall call : {FileCall::open, FileCall::getb, FileCall::seek64}) {
            for (const bool half : {false, true}) {
                stage.refresh();
                FileFaults faults({.call = call, .file = name, .lasting = true, .half = half});
                bool looked = true;
                faults.during([&] { looked = verify(); });
                EXPECT_TRUE(faults.injected());
                EXPECT_FALSE(looked);
                EXPECT_NE(std::string(stage.error.asCstr()).find(name), std::string::npos) << stage.error.asCstr();
                EXPECT_EQ(counts.findings, 0);
            }
        }
    }
}

TEST_F(InspectTest, AFileThatMayNotBeOpenedIsAFailureWithItsCode) {
    const std::string name = fileOf("ktwtei_").filename().string();
    for (const int code : {+np_err_access, +np_err_too_many_files, np_err_end + 60}) {
        stage.refresh();
        FileFaults faults({.call = FileCall::open, .file = name, .code = code});
        bool looked = true;
        faults.during([&] { looked = verify(); });
        EXPECT_FALSE(looked);
        EXPECT_EQ(stage.log.last().source, "wtinspect");
        const char* text = np_fio_errdesc(code);
        const std::string path = fileOf("ktwtei_").string();
        EXPECT_EQ(stage.error.asCstr(),
                  text != nullptr ? messageText(1353, path.c_str(), text) : messageText(1352, path.c_str(), code));
    }
}

TEST_F(InspectTest, WhoClearsAwayMeanwhileIsNotInTheWay) {
    FileFaults faults({.call = FileCall::hold, .lasting = true, .code = np_err_busy});
    bool looked = false;
    faults.during([&] { looked = verify(); });
    EXPECT_TRUE(faults.injected());
    EXPECT_TRUE(looked) << stage.error.asCstr();
    EXPECT_EQ(counts.findings, 0);
    expectSound();
}

}  // namespace
