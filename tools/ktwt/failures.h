// Failures of a command that goes on after them, as with one table of several.
#ifndef TOOLS_KTWT_FAILURES_H
#define TOOLS_KTWT_FAILURES_H

#include "complaint.h"
#include "outcome.h"

class Failures {
public:
    // Tells of it at once; takes successes, too.
    void add(const Outcome& outcome) {
        if (outcome.ok()) return;
        complain(outcome.text());
        if (first_ == Status::done) first_ = outcome.status();
    }

    // The status of the first, with nothing left to tell.
    Outcome outcome() const { return {first_, ""}; }

private:
    Status first_ = Status::done;
};

#endif
