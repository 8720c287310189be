// Whole sweeps of a scenario: everything that it needs fails once, in every way, and it is told how often that was.
//
//     sweepFaults([&](Faults& faults) { ... });  // see support/faults.h for what a scenario looks like
//
// Four things are made to fail:
// - the n-th call of the file layer, for every n, in each way of fileFaultKinds,
// - the n-th allocation, for every n, once and from there on,
// - the system beneath the file layer: the n-th system call, for every n, with EIO, ENOSPC, EMFILE and EACCES by turns; every
//   open from the n-th on with EMFILE; every write from the n-th on with ENOSPC, short ones before it. And every system call is
//   interrupted by a signal and every transfer is short, which must change nothing,
// - a call of the file layer and an allocation, chosen at random, together. KTWT_FAULT_PAIRS says how many such pairs each
//   scenario meets, 20 by itself; KTWT_SEED repeats a run.
//
// When the program ends it prints one line with the scenarios, the faults that they met, and the scenarios that failed.
#ifndef TESTS_FAULT_SWEEPS_H
#define TESTS_FAULT_SWEEPS_H

#include <functional>
#include <tuple>

#include "base/os_faults.h"
#include "support/faults.h"

// What happens to system calls.
struct SystemFault {
    OsCall call =
        OsCall::end;  // of this kind every call from the n-th on; OsCall::end: the n-th of any kind, and only that one
    long nth = 1;     // counted from 1; 0: none
    int error = 0;
    bool lasting = false;  // nobody can clean up
    bool interrupted = false;
    unsigned long transferMax = ULONG_MAX;
};

// The calls that are made to fail must all come from the thread that calls during().
class SystemFaults : public Faults {
public:
    explicit SystemFaults(SystemFault fault) : fault_(fault) {}

    void during(const std::function<void()>& work) override;
    bool injected() const override { return injected_; }
    bool isLasting() const override { return fault_.lasting; }
    bool wasMet() const { return met(OsCall::end) > 0; }  // by any call, whether that failed or was only disturbed
    bool deniesWriting() const override { return fault_.call == OsCall::pwrite; }
    std::string description() const override;

private:
    long met(OsCall kind) const { return met_[static_cast<int>(kind)]; }

    const SystemFault fault_;
    long met_[static_cast<int>(OsCall::end) + 1] = {};  // the last is for calls of any kind
    bool injected_ = false;
};

// With this step each call of the file layer fails in one of the ways of fileFaultKinds, by turns, instead of in all. It is for
// scenarios of many calls that take long.
inline constexpr long oneWayEach = std::tuple_size_v<decltype(fileFaultKinds)>;

// Returns the number of runs that met a fault. In each way one call of every `step` is made to fail, in each way another one;
// KTWT_FAULT_STEP says otherwise.
long sweepFaults(const std::function<void(Faults&)>& scenario, long step = 1);

#endif
