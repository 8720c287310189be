// What a sorted table costs beyond the time that its bench measures: memory, and how the cost grows with the rows.
#ifndef BENCH_SORT_BENCH_H
#define BENCH_SORT_BENCH_H

namespace bench {

// Sorts a table of `count` rows in this process, checks it, and prints its figures for the process that started this one.
// Returns false when it fails.
bool sortOnce(long count);

// Prints the peak of the resident memory of a program that does nothing but sort a table of `count` rows. Returns false when
// it fails.
bool printSortMemory(long count);

// Prints what sorting a tenth of `count` rows, all of them, and ten times as many costs in time and memory. Returns false when
// any of them fails.
bool printSortCurve(long count);

}  // namespace bench

#endif
