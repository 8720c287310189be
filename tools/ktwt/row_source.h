// The rows that were chosen, one after the other.
//
//     RowSource rows;
//     if (Outcome opened = rows.open(*manager, choice, order); !opened.ok()) return opened;
//     while (rows.next()) use(rows.values());
//     return rows.outcome();
#ifndef TOOLS_KTWT_ROW_SOURCE_H
#define TOOLS_KTWT_ROW_SOURCE_H

#include <optional>
#include <string>
#include <vector>

#include "library.h"
#include "row_choice.h"

struct RowOrder {
    bool reversed = false;
    std::optional<long> limit;  // the most rows that are wanted, in the order in which they come
};

// Must not outlive its manager.
class RowSource {
public:
    Outcome open(KtWorkTableManager& manager, const RowChoice& choice, const RowOrder& order);

    // The next row. False after the last one, after a Ctrl-C, and when the table cannot be read any further: outcome() tells.
    bool next();

    const Outcome& outcome() const { return outcome_; }

    // One for each column; they change with the next row.
    const KtbDatavar* values() const { return values_.data(); }
    const std::vector<ColumnInfo>& columns() const { return columns_; }

    KtWorkTableFile& table() { return *table_; }

    // Rows to be read, those that are passed over included, and how many of them have been: for a progress bar.
    long expected() const { return expected_; }
    long read() const { return read_; }

private:
    void plan(KtWorkTableURI& uri, const RowOrder& order);
    bool readRow();
    bool fail(Outcome outcome);

    std::string what_;
    Table table_;
    std::vector<ColumnInfo> columns_;
    std::vector<KtbDatavar> values_;
    long passedOver_ = 0;  // rows that come before the first one that is wanted
    long expected_ = 0;
    bool isBounded_ = false;  // whether reading ends at the expected row, and not with the table or its range
    long read_ = 0;
    Outcome outcome_;
};

#endif
