// An object's virtual operations by their numbers, as a caller that was compiled elsewhere reaches them.
#ifndef KTWT_TESTS_VTABLE_H
#define KTWT_TESTS_VTABLE_H

#include <cstddef>
#include <cstring>

// The function in the slot, counted from 0, of the object's table of virtual operations. Its first argument is the object
// (after the place for the result, which the compiler adds for results that are objects). Itanium C++ ABI.
template <class Function>
Function* slotOf(const void* object, std::size_t slot) {
    const std::byte* table = nullptr;
    std::memcpy(&table, object, sizeof table);
    Function* function = nullptr;
    std::memcpy(&function, table + slot * sizeof function, sizeof function);
    return function;
}

// The slot, counted from 0, that calls through this pointer to a virtual operation go to.
template <class Member>
std::size_t slotNumber(Member member) {
    std::size_t words[2];
    static_assert(sizeof words == sizeof member);
    std::memcpy(words, &member, sizeof words);
    return (words[0] - 1) / sizeof(void*);
}

#endif
