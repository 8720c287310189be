// Columns: what a table stores, and what a reader chose to see of it.
#ifndef KTWT_WTCOLUMN_H
#define KTWT_WTCOLUMN_H

#include <memory>

#include "ktb/datavar.h"
#include "ktb/string.h"
#include "ktb/type.h"

// Storage codes: what tags a value in the data files. On disk, never renumber.
namespace ktwt {

inline constexpr unsigned char storedBoolean = 1;
inline constexpr unsigned char storedDate = 2;
inline constexpr unsigned char storedInteger = 3;
inline constexpr unsigned char storedDecimal = 4;
inline constexpr unsigned char storedString = 5;
inline constexpr unsigned char noPayload = 128;  // added to the code, or alone: no value follows

// The mapping loses what the files cannot say: every other type is stored as a string and comes back as one.
constexpr unsigned char storageCodeOf(ktbType type) {
    switch (type) {
        case ktbTypeBoolean: return storedBoolean;
        case ktbTypeInteger: return storedInteger;
        case ktbTypeDecimal: return storedDecimal;
        case ktbTypeDate: return storedDate;
        default: return storedString;
    }
}

constexpr ktbType typeOfStorageCode(unsigned code) {
    switch (code) {
        case storedBoolean: return ktbTypeBoolean;
        case storedInteger: return ktbTypeInteger;
        case storedDecimal: return ktbTypeDecimal;
        case storedDate: return ktbTypeDate;
        default: return ktbTypeString;
    }
}

}  // namespace ktwt

// One column. Stored columns live in the table's array; copies under another name and constants belong to a selection entry.
struct KTWTColumnDef {
    KtbString name = KtbString(nullptr);  // null until the column is defined
    ktbType type = ktbTypeNone;
    unsigned char storageCode = 0;
    int width = 0;        // most bytes that a string may keep; 0 or less: any number
    int longest = 0;      // bytes of the longest string stored so far, NUL included
    int targetCount = 0;  // output slots that a reader fills from this column; 0: it is passed over
    // The slots' numbers, ascending; none when the only slot has the column's own number.
    std::unique_ptr<int[]> targets;

    void clearTargets() {
        targetCount = 0;
        targets.reset();
    }

    // Adds a slot. Returns false, with the targets as they were, when memory is exhausted.
    bool addTarget(int slot) {
        std::unique_ptr<int[]> grown(new (std::nothrow) int[static_cast<std::size_t>(targetCount) + 1]);
        if (!grown) return false;
        for (int i = 0; i < targetCount; ++i) grown[static_cast<std::size_t>(i)] = targets[static_cast<std::size_t>(i)];
        grown[static_cast<std::size_t>(targetCount++)] = slot;
        targets = std::move(grown);
        return true;
    }

    bool feeds(int slot) const {
        for (int i = 0; targets && i < targetCount; ++i) {
            if (targets[static_cast<std::size_t>(i)] == slot) return true;
        }
        return false;
    }
};

// One column of the rows that a reader sees.
struct KTWTSelectionEntry {
    const KTWTColumnDef* column = nullptr;  // null only after a failed selection
    bool constant = false;                  // the table does not store this column
    bool alias = false;                     // a stored column under another name
    std::unique_ptr<KTWTColumnDef> own;     // what `column` points at for a constant or an alias
    std::unique_ptr<KtbDatavar> value;      // the constant; none reads as null
};

#endif
