/* The plain function table: a string cursor for callers that cannot call virtual operations. C11 and C++.
 *
 * The caller is handed a record, KTWFCursor, by the C++ side (KtWorkTableStringKTWFCursor::getKTWFCursor). Its first word
 * points at the table of functions, each of which takes the record:
 *
 *     const struct KTWFCursorFPs* f = ktwfTable(record);
 *     f->ktwfAddColumn(record, "city");
 *     if (f->ktwfCreateColumns(record) != 0) puts(f->ktwfGetErrorMessage(record));
 *
 * Texts handed out live until the next call of ktwfGetValue, ktwfGetColumnName or ktwfGetErrorMessage on the same record, or
 * until ktwfRelease. The order of the functions is part of the binary interface.
 *
 * Threads: one thread at a time per record. */
#ifndef KTWT_KTWF_H
#define KTWT_KTWF_H

#include <string.h>

#include "ktb/export.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct KTWFCursor KTWFCursor;

struct KTWFCursorFPs {
    /* Building: columns, then rows. A failure of the two that always return 0 shows in ktwfCreateColumns and ktwfFinalizeRow.
     */
    int (*ktwfAddColumn)(KTWFCursor* record, const char* name); /* always 0 */
    int (*ktwfCreateColumns)(KTWFCursor* record);               /* 0, or 1 on failure */
    int (*ktwfFinalize)(KTWFCursor* record);                    /* 0, or 1 on failure; then the rows can be read */
    int (*ktwfFinalizeRow)(KTWFCursor* record);                 /* 0, or 1 on failure */
    int (*ktwfGetColumnName)(KTWFCursor* record, int column, const char** name); /* always 0; "" when there is none */
    const char* (*ktwfGetErrorMessage)(KTWFCursor* record);
    int (*ktwfGetNumColumns)(KTWFCursor* record);
    int (*ktwfGetNumRows)(KTWFCursor* record);                               /* -1 when an int cannot hold the number */
    int (*ktwfGetValue)(KTWFCursor* record, int column, const char** value); /* always 0; "" for a null */
    int (*ktwfInitRow)(KTWFCursor* record);                                  /* 0, or 1 on failure */
    int (*ktwfNext)(KTWFCursor* record);                                     /* 0 a row, 1 the end, -1 on failure */
    void (*ktwfRelease)(KTWFCursor* record);                                 /* ends the cursor, the record included */
    int (*ktwfSetValue)(KTWFCursor* record, int column, const char* value);  /* always 0; null stores a null */
    int (*ktwfTop)(KTWFCursor* record);                                      /* 0, or 1 on failure */
};

/* The table that every record points at. */
extern KTB_API const struct KTWFCursorFPs ktwfCursorFPs;

/* The table of a record: its first word. */
static inline const struct KTWFCursorFPs* ktwfTable(const KTWFCursor* record) {
    const struct KTWFCursorFPs* table;
    memcpy(&table, record, sizeof table);
    return table;
}

#ifdef __cplusplus
}
#endif

#endif
