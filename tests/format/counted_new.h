// Counts what the libraries allocate: they alone use new (std::nothrow).
#ifndef TESTS_FORMAT_COUNTED_NEW_H
#define TESTS_FORMAT_COUNTED_NEW_H

#include <cstddef>

namespace counted_new {

void restart();
std::size_t allocations();  // since restart()
std::size_t largest();      // bytes of the largest allocation since restart()
std::size_t total();        // bytes of all of them

}  // namespace counted_new

#endif
