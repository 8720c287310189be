// A sort manager that takes down what it is told, in the place of the one of the base services.
#ifndef TESTS_MANAGER_RECORDING_SORT_MANAGER_H
#define TESTS_MANAGER_RECORDING_SORT_MANAGER_H

#include <string>
#include <vector>

struct SortRecord {
    std::vector<std::string> calls;  // "created /a:/b", "setSortSize 7", "released", in order
    int alive = 0;
    bool refuseCreation = false;
    bool refuseSettings = false;
};

// One for the whole program; a test begins with a fresh one.
SortRecord& sortRecord();

#endif
