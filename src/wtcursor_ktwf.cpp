// The plain functions: each a thin translation onto the cursor that the record names.
#include <utility>

#include "wtcursor_string.h"

namespace {

int failed(bool done) { return done ? 0 : 1; }

// Keeps the text until the next one is handed out; a null reads as "".
const char* handOut(KTWFCursor* record, KtbString text) {
    record->resultText = std::move(text);
    return record->resultText.asCstr();
}

// Whether memory could not hold the caller's text.
bool isLost(const KtbString& text, const char* given) { return text.isNull() && given != nullptr; }

}  // namespace

extern "C" {

static int ktwfAddColumn(KTWFCursor* record, const char* name) {
    const KtbString text(name);
    isLost(text, name) ? record->cursor->typed().loseColumn() : record->cursor->addColumn(text);
    return 0;
}

static int ktwfCreateColumns(KTWFCursor* record) { return failed(record->cursor->createColumns()); }

static int ktwfFinalize(KTWFCursor* record) { return failed(record->cursor->finalize()); }

static int ktwfFinalizeRow(KTWFCursor* record) { return failed(record->cursor->finalizeRow()); }

static int ktwfGetColumnName(KTWFCursor* record, int column, const char** name) {
    *name = handOut(record, record->cursor->getColumnName(column));
    return 0;
}

static const char* ktwfGetErrorMessage(KTWFCursor* record) { return handOut(record, record->cursor->getErrorMessage()); }

static int ktwfGetNumColumns(KTWFCursor* record) { return record->cursor->getColumns(); }

static int ktwfGetNumRows(KTWFCursor* record) {
    long rows = 0;
    return record->cursor->getRows(&rows) ? static_cast<int>(rows) : -1;
}

static int ktwfGetValue(KTWFCursor* record, int column, const char** value) {
    *value = handOut(record, record->cursor->getColumnValue(column));
    return 0;
}

static int ktwfInitRow(KTWFCursor* record) { return failed(record->cursor->initRow()); }

static int ktwfNext(KTWFCursor* record) {
    switch (record->cursor->next()) {
        case ktbCursorRow: return 0;
        case ktbCursorEnd: return 1;
        default: return -1;
    }
}

static void ktwfRelease(KTWFCursor* record) { record->cursor->release(); }

static int ktwfSetValue(KTWFCursor* record, int column, const char* value) {
    const KtbString text(value);
    isLost(text, value) ? record->cursor->typed().loseWrittenValue() : record->cursor->setColumnValue(column, text);
    return 0;
}

static int ktwfTop(KTWFCursor* record) { return failed(record->cursor->top()); }
}

const KTWFCursorFPs ktwfCursorFPs = {
    ktwfAddColumn,  ktwfCreateColumns, ktwfFinalize, ktwfFinalizeRow, ktwfGetColumnName, ktwfGetErrorMessage, ktwfGetNumColumns,
    ktwfGetNumRows, ktwfGetValue,      ktwfInitRow,  ktwfNext,        ktwfRelease,       ktwfSetValue,        ktwfTop};
