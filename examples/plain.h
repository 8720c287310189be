/* The part of the example that is written in C. */
#ifndef KTWT_EXAMPLES_PLAIN_H
#define KTWT_EXAMPLES_PLAIN_H

#include "ktwt/ktwf.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Builds a table with the cursor of the record, reads it back twice and releases the cursor. Returns whether what was read is
 * what was written; says what went wrong on standard error. */
int buildAndReadPlainly(KTWFCursor* record);

#ifdef __cplusplus
}
#endif

#endif
