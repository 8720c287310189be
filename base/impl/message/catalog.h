// The message catalog: one text for each number of ktbMessageSignatures.
//
// A text says what happened and, where something can be done, what to do. Its conversions are %s, %d and %ld for the arguments
// 's', 'd' and 'l', in the order of the signature; that they match is checked below, when this file is compiled. Paths and
// names that come from a caller or a file stand in quotes, so that one with blanks or none at all is seen for what it is. Where
// the last argument is a text that explains itself (another message), nothing follows it.
#ifndef KTB_MESSAGE_CATALOG_H
#define KTB_MESSAGE_CATALOG_H

#include <cstddef>
#include <iterator>

#include "ktb/message.h"

struct KtbMessageText {
    int number;
    const char* format;
};

inline constexpr KtbMessageText ktbMessageTexts[] = {
    {29, "Memory is exhausted: no room for %s."},
    {336, "A row could not be reached: a seek in the data element's files failed. They may be damaged or cut off."},
    {453, "A file could not be written from its start: the seek in %s failed."},
    {1044, "Not all bytes could be written. The disk may be full."},
    {1045, "The end of a written file could not be brought to disk: %s."},
    {1301, "The %s could not be read. The file is damaged or cut off, or the disk is failing."},
    {1352, "The file \"%s\" could not be opened: error %d. Check its name and its access rights."},
    {1353, "The file \"%s\" could not be opened: %s."},
    {1417,
     "No work directory takes a new file. The last one, \"%s\", gave error %d: %s. "
     "Check that the work directories exist, are writable and have room."},
    {1420, "The column number or the number of columns is out of range."},
    {1642, "Memory is exhausted: no room for the cursor's row."},
    {1666, "The column name \"%s\" is used twice. Names must differ in more than the case of their letters."},
    {1747, "A file could not be deleted: %s."},
    {1768, "The work table is read-only: nothing can be written to it."},
    {1769, "The work tables \"%s\" and \"%s\" have different numbers of columns: %d in the source, %d in the target."},
    {1770,
     "The work tables \"%s\" and \"%s\" differ in column %d (the first is 0): "
     "it is named \"%s\" in the source and \"%s\" in the target."},
    {1771,
     "The work tables \"%s\" and \"%s\" differ in column %d (the first is 0): "
     "its type is %s in the source and %s in the target."},
    {1773, "The file is too short for the header of a work table: it is something else or cut off."},
    {1780, "The work table to append to could not be locked: %s"},
    {1781, "No manager could be made for the access key of the work table to copy: %s"},
    {1782, "%s stopped: a row of the source \"%s\" could not be read for the target \"%s\": %s"},
    {1783, "The path of the new %s could not be split into directory and name: error %d: %s."},
    {1784, "The directory and the name of the %s could not be joined to a path: error %d: %s."},
    {1785, "The work table has file version %d.%d, but this release reads version %d.%d. Use a newer release."},
    {1786, "A longer record of the work table header could not be passed over: the file is damaged or cut off."},
    {1787, "The label of the work table could not be read: the header is damaged or cut off."},
    {1788, "The row range begins with row %ld, but the first row is 0."},
    {1789, "The row range has %ld rows: give a number from 0, or -1 for all rows to the end."},
    {1790, "The URI does not name a work table: its scheme is \"%s\", not \"ktwt\"."},
    {1791, "The chosen column %d does not exist. The first column is 0."},
    {1792, "Column %d is chosen twice. By number a column can be chosen once; by name it can be chosen again."},
    {1793, "The work table is not open for reading: open it again to read its rows."},
    {1794, "The row lies beyond the last row of its data element."},
};

// Passes over the conversion that begins after a percent sign and gives its argument's kind; 0 for one that is not filled in.
constexpr char ktbMessageConversion(const char** at) {
    const bool isLong = **at == 'l';
    if (isLong) ++*at;
    const char conversion = *(*at)++;
    if (conversion == 'd') return isLong ? 'l' : 'd';
    return conversion == 's' && !isLong ? 's' : '\0';
}

consteval bool ktbMessageFormatTakes(const char* format, const char* arguments) {
    while (*format != 0) {
        if (*format++ != '%') continue;
        if (*arguments == 0 || ktbMessageConversion(&format) != *arguments++) return false;
    }
    return *arguments == 0;
}

consteval bool ktbMessageTextsMatchSignatures() {
    if (std::size(ktbMessageTexts) != std::size(ktbMessageSignatures)) return false;
    for (std::size_t i = 0; i < std::size(ktbMessageTexts); ++i) {
        if (ktbMessageTexts[i].number != ktbMessageSignatures[i].number) return false;
        if (i > 0 && ktbMessageTexts[i].number <= ktbMessageTexts[i - 1].number) return false;
        if (!ktbMessageFormatTakes(ktbMessageTexts[i].format, ktbMessageSignatures[i].arguments)) return false;
    }
    return true;
}

static_assert(ktbMessageTextsMatchSignatures(),
              "texts and signatures list the same numbers, ascending, with the same arguments");

#endif
