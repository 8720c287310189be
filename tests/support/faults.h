// Faults for the library under test: a file layer, an allocator and a lock service that fail when a test says so.
//
//     forEachFault([](Faults& faults) {                    // a run for the 1st, 2nd, 3rd ... call or allocation that can fail,
//         Stage stage;                                     // until a run meets none; nothing fails here,
//         bool done = false;
//         faults.during([&] { done = stage.write(); });    // but here,
//         EXPECT_TRUE(done || faults.injected());          // and here nothing again
//     });
//
// The program has to be linked with --wrap for every call below (file_layer_wraps of tests/CMakeLists.txt). Calls that the file
// layer makes of itself are not counted and do not fail. Handles are counted always, whether anything fails or not.
//
// A put or a flush that failed is remembered by its handle, as the file layer promises: later puts of that handle transfer
// nothing, and its flush, cut and close report the failure.
#ifndef KTWT_TESTS_FAULTS_H
#define KTWT_TESTS_FAULTS_H

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "ktb/fio.h"
#include "support/temp_directory.h"

enum class FileCall {
    open,
    tmpfile,
    tmpdir,
    pparse,
    pcat,
    getb,
    putb,
    seek64,
    stat64,
    trunc,
    bufmode,
    close,
    unlink,
    hold,
    seize,
    list,
    lock,
    any
};

const char* nameOf(FileCall call);

class FileFaults;
class MemoryFaults;

// What is to make calls fail, and how.
class Faults {
public:
    virtual ~Faults() = default;

    // Does the work with the faults in force. May be called again; counting goes on. Those of files may be called from within
    // itself, and then hold to the end of the outermost work.
    virtual void during(const std::function<void()>& work) = 0;

    virtual bool injected() const = 0;

    // Whether everything fails from the fault on, or another fault came after it, so that nobody can be expected to clean up.
    virtual bool isLasting() const = 0;

    // Whether no write succeeds from the fault on, while everything else does.
    virtual bool deniesWriting() const { return false; }

    virtual std::string description() const = 0;

    // What these faults are, or are made of; null when they are of another kind.
    virtual const FileFaults* ofFiles() const { return nullptr; }
    virtual const MemoryFaults* ofMemory() const { return nullptr; }
};

// One fault of the file layer or the lock service: the `nth` call of that kind on that file.
struct FileFault {
    FileCall call = FileCall::any;
    std::string file = "";  // the file name begins so; empty: any file, or none
    long nth = 1;           // counted from 1
    bool lasting = false;   // so do all such calls after it
    int code = np_err_io;   // what it answers
    bool half = false;      // a get or put transfers half of what it was asked for, otherwise nothing
    bool lending = false;   // handles lend their buffers; otherwise every transfer is a call, and every call can fail
};

// There is one at a time. It is made and ended by one thread; the calls that it makes fail may come from any.
class FileFaults : public Faults {
public:
    explicit FileFaults(FileFault fault);
    ~FileFaults() override;
    FileFaults(const FileFaults&) = delete;
    FileFaults& operator=(const FileFaults&) = delete;

    void during(const std::function<void()>& work) override;
    bool injected() const override { return injectedCall_ != FileCall::any; }
    bool isLasting() const override { return fault_.lasting; }
    std::string description() const override;
    const FileFaults* ofFiles() const override { return this; }

    // The call that failed (first); FileCall::any when none did.
    FileCall injectedCall() const { return injectedCall_; }

    // For the functions in the calls' places: whether this call fails, and how.
    bool fails(FileCall call, const std::string& file);
    const FileFault& fault() const { return fault_; }
    bool isActive() const { return active_; }

private:
    FileFault fault_;
    long met_ = 0;
    std::atomic<bool> active_ = false;
    std::atomic<FileCall> injectedCall_ = FileCall::any;
};

// The `nth` allocation, counted from 0, fails, and with `lasting` every one after it.
class MemoryFaults : public Faults {
public:
    explicit MemoryFaults(long nth, bool lasting = false) : nth_(nth), lasting_(lasting) {}

    void during(const std::function<void()>& work) override;
    bool injected() const override { return injected_; }
    bool isLasting() const override { return lasting_; }
    std::string description() const override;
    const MemoryFaults* ofMemory() const override { return this; }

private:
    const long nth_;
    const bool lasting_;
    long met_ = 0;
    bool injected_ = false;
};

// A fault of the file layer and one of memory, both in force at once. When only one of them is met, they are like that one.
class PairOfFaults : public Faults {
public:
    PairOfFaults(FileFault fileFault, long allocation, bool lasting)
        : file_(std::move(fileFault)), memory_(allocation, lasting) {}

    void during(const std::function<void()>& work) override;
    bool injected() const override { return file_.injected() || memory_.injected(); }
    bool bothInjected() const { return file_.injected() && memory_.injected(); }
    bool isLasting() const override;
    std::string description() const override { return file_.description() + ", and " + memory_.description(); }
    const FileFaults* ofFiles() const override { return file_.injected() ? &file_ : nullptr; }
    const MemoryFaults* ofMemory() const override { return memory_.injected() ? &memory_ : nullptr; }

private:
    FileFaults file_;
    MemoryFaults memory_;
};

// Handles of the file layer that are open now.
long openFileHandles();

// Runs the scenario with the faults, and expects that it ends with the handles that it began with, by the count of the file
// layer's calls and by that of the system.
template <class Scenario>
void runWith(Faults& faults, Scenario scenario) {
    const testing::ScopedTrace trace(__FILE__, __LINE__, faults.description());
    const long filesBefore = openFileHandles();
    const std::size_t before = openHandles();
    scenario(faults);
    EXPECT_EQ(openFileHandles(), filesBefore);
    EXPECT_EQ(openHandles(), before);
}

// Runs the scenario again and again, each time with the next call failing, until a run meets no fault. Returns the number of
// runs that met one.
template <class MakeFaults, class Scenario>
long forEachFaultOf(MakeFaults makeFaults, Scenario scenario) {
    constexpr long tooMany = 100000;  // a scenario that never ends is one that retries for ever
    for (long n = 0; n < tooMany; ++n) {
        auto faults = makeFaults(n);
        runWith(*faults, scenario);
        if (testing::Test::HasFatalFailure() || !faults->injected()) return n;
    }
    ADD_FAILURE() << "the scenario meets a fault however late it comes";
    return tooMany;
}

// How calls fail: with a text for the code, as a file that does not exist, with a code that has no text, and as a disk that is
// dead from there on.
inline const std::array<FileFault, 5> fileFaultKinds = {{
    {.code = np_err_io, .half = true},
    {.code = np_err_no_such_file},
    {.code = np_err_end + 60, .lending = true},
    {.lasting = true, .code = np_err_no_space},
    {.lasting = true, .code = np_err_access, .lending = true},
}};

// Every allocation fails in turn: once, and with every one after it.
template <class Scenario>
long forEachMemoryFault(Scenario scenario) {
    long runs = 0;
    for (const bool lasting : {false, true}) {
        const auto makeFaults = [&](long n) { return std::make_unique<MemoryFaults>(n, lasting); };
        runs += forEachFaultOf(makeFaults, scenario);
    }
    return runs;
}

// Every call of the file layer and of the lock service fails in turn, in each of those ways, and then every allocation.
template <class Scenario>
long forEachFault(Scenario scenario) {
    long runs = 0;
    for (FileFault fault : fileFaultKinds) {
        const auto makeFaults = [&](long n) {
            fault.nth = n + 1;
            return std::make_unique<FileFaults>(fault);
        };
        runs += forEachFaultOf(makeFaults, scenario);
    }
    return runs + forEachMemoryFault(scenario);
}

#endif
