// The message catalog, its observer, and assertion reports.
//
// Threads: safe from any thread. Observers and handlers are called on the thread that makes the message or the report, and by
//          several at a time.
#ifndef KTB_MESSAGE_H
#define KTB_MESSAGE_H

#include "ktb/export.h"
#include "ktb/string.h"

// One catalog entry's arguments, as the caller must pass them: 's' const char*, 'd' int, 'l' long.
struct KtbMessageSignature {
    int number;
    const char* arguments;
};

// Every message of the component "Work table library". Callers are checked against this table when they are compiled, and
// so is the text of each message. Numbers are known to callers: never renumber.
inline constexpr KtbMessageSignature ktbMessageSignatures[] = {
    {29, "s"},        // what could not be allocated, in parentheses
    {336, ""},        // a data element could not be positioned
    {453, "s"},       // what could not be positioned, in parentheses
    {1044, ""},       // a write was short
    {1045, "s"},      // flushing or cutting off failed: error text
    {1301, "s"},      // what could not be read
    {1352, "sd"},     // a file could not be opened: path, error code
    {1353, "ss"},     // a file could not be opened: path, error text
    {1417, "sds"},    // no directory takes a new file: last directory, error code, error text
    {1420, ""},       // a column number or count is out of range
    {1642, ""},       // no memory for a cursor's row
    {1666, "s"},      // a column name is defined twice
    {1747, "s"},      // a file could not be deleted: error text
    {1768, ""},       // a write to a read-only table
    {1769, "ssdd"},   // column counts differ: source, target, their counts
    {1770, "ssdss"},  // column names differ: source, target, column, their names
    {1771, "ssdss"},  // column types differ: source, target, column, their types
    {1773, ""},       // the header is too short
    {1780, "s"},      // append could not take the named lock: reason
    {1781, "s"},      // copy could not make a manager for the access key: reason
    {1782, "ssss"},   // a read failed: operation, source, target, reason
    {1783, "sds"},    // a new path could not be split: of what, error code, error text
    {1784, "sds"},    // a path could not be joined: of what, error code, error text
    {1785, "dddd"},   // the file's version is too new: its major and minor, the supported major and minor
    {1786, ""},       // the extra bytes of a longer record could not be skipped
    {1787, ""},       // the table label could not be read
    {1788, "l"},      // the first row of a range is negative
    {1789, "l"},      // the row count of a range is negative and not -1
    {1790, "s"},      // not a work table URI: scheme
    {1791, "d"},      // a chosen column does not exist
    {1792, "d"},      // a column is chosen twice
    {1793, ""},       // a read of a table that is not open for reading
    {1794, ""},       // a row beyond the data element's rows
};

// Makes a message: "KTWT-nnnn: " and the catalog's text with the arguments filled in; a null const char* shows as "".
// `source` is the name of the reporting source file, `line` the line in it, `component` always "Work table library".
// Tells the observer, if there is one. A number that the catalog does not have gives a text that says so. When memory is
// exhausted the result is a fixed text, so that a failure never looks like none. Safe from any thread.
KTB_API KtbString ktb_get_message(const char* source, int line, const char* component, int number, ...);

// Called for each message as it is made, on the thread that makes it; the texts live until it returns. It may itself call
// anything of the base services, but making a message calls it again.
typedef void (*KtbMessageObserver)(void* context, const char* source, int line, const char* component, int number,
                                   const char* text);

extern "C" {

// Installs an observer; null removes it. A message being made on another thread may still reach the previous one.
KTB_API void ktbSetMessageObserver(KtbMessageObserver observer, void* context);

// Reports a failed assertion, with `text` as it stands, and returns: the caller continues. Writes one line to standard error
// unless a handler is set. Safe from any thread.
KTB_API void ktbAssertFailure(const char* text, const char* source, int line);

typedef void (*KtbAssertHandler)(void* context, const char* text, const char* source, int line);

// Installs a handler in place of the line on standard error; null restores it.
KTB_API void ktbSetAssertHandler(KtbAssertHandler handler, void* context);
}

#endif
