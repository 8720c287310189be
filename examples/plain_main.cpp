// The C++ side of a program in C: it makes the manager and the cursor, and hands over the cursor's record of plain functions.
//
//     plain
#include <cstdio>

#include "example.h"
#include "plain.h"

int main() {
    const WorkDirectory directory("plain");
    if (directory.path().empty()) {
        std::fprintf(stderr, "plain: cannot make a directory for the work table\n");
        return 1;
    }
    KtbString error;
    const Manager manager(ktwtCreateManager("", directory.path().c_str(), &error));
    KtWorkTableStringKTWFCursor* cursor = manager ? ktwtCreateStringKTWFCursor(manager.get()) : nullptr;
    if (cursor == nullptr) {
        std::fprintf(stderr, "plain: cannot make a cursor: %s\n", error.asCstr());
        return 1;
    }
    const bool done = buildAndReadPlainly(cursor->getKTWFCursor()) != 0;
    if (done && !directory.isEmpty()) std::fprintf(stderr, "plain: the table was to be removed with its cursor\n");
    if (!done || !directory.isEmpty()) return 1;
    std::printf("All rows were read from C as they were written.\n");
    return 0;
}
