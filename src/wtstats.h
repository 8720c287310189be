// KTWTStatistics: the figures of a table as rows of text, a name and a value each. They are taken once, when the cursor is
// made; from then on the cursor has nothing to do with the table.
#ifndef KTWT_WTSTATS_H
#define KTWT_WTSTATS_H

#include "ktb/cursor.h"

// What a table tells of itself.
struct KTWTFigures {
    const KtbString& label;
    int columns;       // that a reader sees
    long elementSize;  // 0: the table is one data element
    int elements;
    long rows;
    int version;  // of the header, in hundredths
};

class KTWTStatistics final : public KtbStringCursor {
public:
    // Returns null, with a text in *error, when memory is exhausted.
    static KTWTStatistics* make(const KTWTFigures& figures, KtbString* error);

    KTWTStatistics(const KTWTStatistics&) = delete;
    KTWTStatistics& operator=(const KTWTStatistics&) = delete;

    // There is nothing to load, and no operation fails: what is asked for beyond the rows and columns is empty.
    bool cacheAll() override { return true; }
    KtbString getColumnName(int column) override;
    int getColumns() override { return columnCount; }
    KtbString getColumnValue(int column) override;
    KtbString getErrorMessage() override { return KtbString(); }
    bool getRows(long* rows) override;
    int next() override;
    void release() override;
    bool top() override;

private:
    static constexpr char messageSource[] = "../../src/wtstats";
    static constexpr int columnCount = 2;
    static constexpr int rowCount = 6;

    KTWTStatistics() = default;
    ~KTWTStatistics() = default;

    bool fill(const KTWTFigures& figures);
    bool addRow(const char* name, const KtbString& value);

    // Arrays of fixed size, so that beside the cursor itself only a long label needs memory.
    KtbString values_[rowCount][columnCount];
    int filled_ = 0;
    int current_ = -1;  // -1: before the first row
};

#endif
