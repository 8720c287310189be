// Appends to one table by several runs of this program, one after the other. The library sees to that among the threads of a
// process only.
#ifndef TOOLS_KTWT_APPEND_TURN_H
#define TOOLS_KTWT_APPEND_TURN_H

#include <string>

#include "outcome.h"

// It is our turn as long as the object lives.
class AppendTurn {
public:
    AppendTurn() = default;
    AppendTurn(const AppendTurn&) = delete;
    AppendTurn& operator=(const AppendTurn&) = delete;
    ~AppendTurn();

    // Waits, until Ctrl-C, for other runs that append to the table with this header. Where files cannot be locked nobody waits.
    Outcome take(const std::string& headerPath);

private:
    int handle_ = -1;
};

#endif
