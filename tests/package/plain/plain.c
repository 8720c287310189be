/* A stranger's program in C: the version, and the functions that a record handed over from C++ would point at. */
#include <ktwt/ktwf.h>
#include <ktwt/version.h>
#include <stdio.h>
#include <string.h>

_Static_assert(sizeof(struct KTWFCursorFPs) == 14 * sizeof(void (*)(void)), "fourteen functions and nothing else");

/* How many of the functions are there. Their order is part of the interface, so they are looked at as the words they are. */
static int countFunctions(const struct KTWFCursorFPs* table) {
    static const unsigned char nothing[sizeof(void (*)(void))];
    const unsigned char* const words = (const unsigned char*)table;
    int count = 0;
    for (size_t at = 0; at < sizeof *table; at += sizeof nothing) count += memcmp(words + at, nothing, sizeof nothing) != 0;
    return count;
}

int main(void) {
    const struct KTWFCursorFPs* record = &ktwfCursorFPs; /* what the first word of a record is */
    const struct KTWFCursorFPs* table = ktwfTable((const KTWFCursor*)&record);
    printf("%s, %d functions\n", ktx_build_info, countFunctions(table));
    return 0;
}
