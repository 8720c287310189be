// The practical limit: the same values to the same bytes and back, through a buffer by hand. No errors are handled beyond
// giving up, no columns chosen, no other byte order: what a table costs more than this is what it does more.
#ifndef BENCH_BY_HAND_H
#define BENCH_BY_HAND_H

#include <string>

#include "rows.h"

namespace bench {

// Writes the bytes of a data file and an index file with write(2), a 256 KiB buffer each. False when a call fails.
bool writeByHand(const std::string& dataPath, const std::string& indexPath, long count);

// Decodes a data file of `count` rows into `values`, over and over, from a 256 KiB buffer. False when the file ends early.
bool readByHand(const std::string& dataPath, long count, KtbDatavar* values);

// Does what opening a table at a row takes: opens and reads the header, opens the index and reads the row's entry, opens the
// data file and reads `bytes` bytes there, closes all three. Each file is looked at with fstat, as the library does to tell a
// regular file from a pipe. False when a call fails.
bool openByHand(const std::string& headerPath, const std::string& indexPath, const std::string& dataPath, long row,
                unsigned long bytes);

}  // namespace bench

#endif
