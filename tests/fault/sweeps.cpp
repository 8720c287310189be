#include "sweeps.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <random>
#include <sstream>

namespace {

using Scenario = std::function<void(Faults&)>;
using Random = std::mt19937_64;

// How many faults were met, by what failed.
struct Injected {
    long files = 0;
    long memory = 0;
    long system = 0;
    long pairs = 0;  // that were met by half or wholly
    long inPairs = 0;

    long all() const { return files + memory + system + inPairs; }
};

struct Tally {
    int scenarios = 0;
    int failures = 0;
    Injected injected;
};

Tally tally;

void add(const Injected& injected, bool failed) {
    ++tally.scenarios;
    tally.failures += failed ? 1 : 0;
    tally.injected.files += injected.files;
    tally.injected.memory += injected.memory;
    tally.injected.system += injected.system;
    tally.injected.pairs += injected.pairs;
    tally.injected.inPairs += injected.inPairs;
}

// Prints the tally at the end of a program in which there were scenarios.
class Printing : public testing::Environment {
public:
    void TearDown() override {
        const Injected& injected = tally.injected;
        if (tally.scenarios == 0) return;
        std::cout << "fault sweeps: " << tally.scenarios << " scenarios, " << injected.all() << " faults injected ("
                  << injected.files << " of the file layer, " << injected.memory << " of memory, " << injected.system
                  << " of the system, " << injected.inPairs << " in " << injected.pairs << " pairs), " << tally.failures
                  << " failures" << std::endl;
    }
};

[[maybe_unused]] const testing::Environment* const printing = testing::AddGlobalTestEnvironment(new Printing);

long numberFrom(const char* variable, long otherwise) {
    const char* text = std::getenv(variable);
    return text != nullptr ? std::atol(text) : otherwise;
}

// The n-th of 0, 1, 2 ... 31 and then of ever larger steps: a short table is filled step by step, a long one soon enough.
long everLarger(long n) {
    constexpr long dense = 32;
    return n < dense ? n : dense + (n - dense) * (n - dense);
}

class Sweep {
public:
    Sweep(const Scenario& scenario, long step) : scenario_(scenario), step_(step) {}

    long run() {
        failFiles();
        failMemory();
        failSystem();
        disturbSystem();
        failPairs();
        return injected_.files + injected_.memory + injected_.system + injected_.pairs;
    }

    const Injected& injected() const { return injected_; }

private:
    // Lets every call fail that is to; faultsFor(n) are those of the n-th call, counted from 0.
    template <class FaultsFor>
    long failEach(FaultsFor faultsFor) {
        const long first = ways_++ % step_;
        return forEachFaultOf([&](long n) { return faultsFor(first + n * step_); }, scenario_);
    }

    void failFiles() {
        for (std::size_t kind = 0; kind < fileFaultKinds.size(); ++kind) {
            FileFault fault = fileFaultKinds[kind];
            const long met = failEach([&](long n) {
                fault.nth = n + 1;
                return std::make_unique<FileFaults>(fault);
            });
            injected_.files += met;
            calls_[kind] = met * step_;
        }
    }

    void failMemory() {
        for (const bool lasting : {false, true}) {
            const long met = failEach([&](long n) { return std::make_unique<MemoryFaults>(n, lasting); });
            injected_.memory += met;
            allocations_ = met * step_;
        }
    }

    template <class FaultFor>
    void failSystemBy(FaultFor faultFor) {
        injected_.system += failEach([&](long n) { return std::make_unique<SystemFaults>(faultFor(n)); });
    }

    void failSystem() {
        constexpr int errors[] = {EIO, ENOSPC, EMFILE, EACCES};
        failSystemBy([&](long n) { return SystemFault{.nth = n + 1, .error = errors[n % std::ssize(errors)]}; });
        failSystemBy([](long n) { return SystemFault{.call = OsCall::open, .nth = n + 1, .error = EMFILE, .lasting = true}; });
        failSystemBy([](long n) {
            return SystemFault{.call = OsCall::pwrite, .nth = everLarger(n) + 1, .error = ENOSPC, .transferMax = 500};
        });
    }

    // No scenario may notice that: none of these is a fault that could be told as injected.
    void disturbSystem() {
        for (const unsigned long transferMax : {500UL, 37UL}) {
            SystemFaults faults({.nth = 0, .interrupted = true, .transferMax = transferMax});
            runWith(faults, scenario_);
            injected_.system += faults.wasMet() ? 1 : 0;
        }
    }

    void failPairs() {
        const auto seed = static_cast<std::uint64_t>(numberFrom("KTWT_SEED", 20260501));
        const testing::ScopedTrace trace(__FILE__, __LINE__, "KTWT_SEED=" + std::to_string(seed));
        Random random(seed);
        if (calls_[0] == 0 || allocations_ == 0) return;
        for (long left = numberFrom("KTWT_FAULT_PAIRS", 20); left > 0 && !testing::Test::HasFatalFailure(); --left) {
            failPair(random);
        }
    }

    void failPair(Random& random) {
        const auto upTo = [&](long most) { return std::uniform_int_distribution<long>(0, most)(random); };
        const auto kind = static_cast<std::size_t>(upTo(std::ssize(fileFaultKinds) - 1));
        FileFault fault = fileFaultKinds[kind];
        fault.nth = 1 + upTo(std::max(calls_[kind] - 1, 0L));
        const long allocation = upTo(allocations_ - 1);
        PairOfFaults faults(fault, allocation, upTo(1) == 1);
        runWith(faults, scenario_);
        injected_.pairs += faults.injected() ? 1 : 0;
        injected_.inPairs += (faults.ofFiles() != nullptr ? 1 : 0) + (faults.ofMemory() != nullptr ? 1 : 0);
    }

    const Scenario& scenario_;
    const long step_;
    long ways_ = 0;  // that were begun
    std::array<long, fileFaultKinds.size()> calls_ = {};
    long allocations_ = 0;
    Injected injected_;
};

}  // namespace

void SystemFaults::during(const std::function<void()>& work) {
    OsFaults system;
    const long left = std::max(fault_.nth - met(fault_.call), 0L);
    if (fault_.call == OsCall::end) {
        system.failNth(left, fault_.error);
    } else {
        system.failEvery(fault_.call, fault_.error, std::max(left - 1, 0L));
    }
    if (fault_.interrupted) system.interrupt();
    system.transferAtMost(fault_.transferMax);
    work();
    injected_ = injected_ || system.failed();
    for (int kind = 0; kind < static_cast<int>(OsCall::end); ++kind) {
        met_[kind] += system.calls(static_cast<OsCall>(kind));
        met_[static_cast<int>(OsCall::end)] += system.calls(static_cast<OsCall>(kind));
    }
}

std::string SystemFaults::description() const {
    std::ostringstream text;
    text << "system fault: ";
    if (fault_.nth > 0) text << "call " << fault_.nth;
    if (fault_.call != OsCall::end) text << " of kind " << static_cast<int>(fault_.call) << " and all after it";
    if (fault_.nth > 0) text << " fails with errno " << fault_.error << "; ";
    if (fault_.interrupted) text << "every other call is interrupted; ";
    text << "no transfer moves more than " << fault_.transferMax << " bytes";
    return text.str();
}

long sweepFaults(const std::function<void(Faults&)>& scenario, long step) {
    const bool failedBefore = testing::Test::HasFailure();
    Sweep sweep(scenario, numberFrom("KTWT_FAULT_STEP", step));
    const long runs = sweep.run();
    add(sweep.injected(), !failedBefore && testing::Test::HasFailure());
    return runs;
}
