/* A table of distances, built and read in C: through the functions of the record, and nothing else. */
#include "plain.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

struct distance {
    const char* city;
    const char* kilometres; /* null: nobody has measured it */
};

static const struct distance distances[] = {{"Aachen", "643"},
                                            {"Bremen", "391"},
                                            {"\xC3\x9C"
                                             "berlingen",
                                             NULL},
                                            {"Dresden", "194"}};
enum { distanceCount = sizeof distances / sizeof distances[0] };

static int complain(KTWFCursor* record, const char* what) {
    fprintf(stderr, "plain: %s: %s\n", what, ktwfTable(record)->ktwfGetErrorMessage(record));
    return 0;
}

static int writeDistance(KTWFCursor* record, const struct distance* distance) {
    const struct KTWFCursorFPs* f = ktwfTable(record);
    if (f->ktwfInitRow(record) != 0) return 0;
    f->ktwfSetValue(record, 0, distance->city);
    f->ktwfSetValue(record, 1, distance->kilometres);
    return f->ktwfFinalizeRow(record) == 0;
}

static int build(KTWFCursor* record) {
    const struct KTWFCursorFPs* f = ktwfTable(record);
    f->ktwfAddColumn(record, "city");
    f->ktwfAddColumn(record, "kilometres");
    if (f->ktwfCreateColumns(record) != 0) return complain(record, "cannot create the table");
    for (int i = 0; i < distanceCount; ++i) {
        if (!writeDistance(record, &distances[i])) return complain(record, "cannot write a row");
    }
    return f->ktwfFinalize(record) == 0 || complain(record, "cannot finish the table");
}

/* A value's text lives until the next is asked for, so it is looked at before that. */
static int valueIs(KTWFCursor* record, int column, const char* expected) {
    const char* value = NULL;
    ktwfTable(record)->ktwfGetValue(record, column, &value);
    printf("  %-14s", value);
    return strcmp(value, expected != NULL ? expected : "") == 0;
}

static int readRows(KTWFCursor* record) {
    const struct KTWFCursorFPs* f = ktwfTable(record);
    int rows = 0;
    int state = 0;
    while ((state = f->ktwfNext(record)) == 0) {
        if (rows == distanceCount) return complain(record, "there are more rows than were written");
        const struct distance* expected = &distances[rows++];
        const int cityIsSame = valueIs(record, 0, expected->city);
        const int distanceIsSame = valueIs(record, 1, expected->kilometres);
        printf("\n");
        if (!cityIsSame || !distanceIsSame) return complain(record, "a row read is not the row written");
    }
    if (state < 0) return complain(record, "cannot read");
    return rows == distanceCount || complain(record, "rows are missing");
}

static int printNames(KTWFCursor* record) {
    const struct KTWFCursorFPs* f = ktwfTable(record);
    for (int i = 0; i < f->ktwfGetNumColumns(record); ++i) {
        const char* name = NULL;
        f->ktwfGetColumnName(record, i, &name);
        printf("  %-14s", name);
    }
    printf("\n");
    return f->ktwfGetNumColumns(record) == 2 && f->ktwfGetNumRows(record) == distanceCount;
}

int buildAndReadPlainly(KTWFCursor* record) {
    const struct KTWFCursorFPs* f = ktwfTable(record);
    int done = build(record) && (printNames(record) || complain(record, "columns or rows are missing"));
    done = done && readRows(record) && (f->ktwfTop(record) == 0 || complain(record, "cannot go back")) && readRows(record);
    f->ktwfRelease(record);
    return done;
}
