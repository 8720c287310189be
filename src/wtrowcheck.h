// RowCheck: the rows of a data file, compared byte by byte with what a writer writes.
//
// A reader takes what it can make a value of, and passes over what nobody asked for. Here every column of every row is gone
// through, and each value must be one that a writer could have put there: of its column's type, and within its limits.
#ifndef KTWT_WTROWCHECK_H
#define KTWT_WTROWCHECK_H

#include "wtcolumn.h"
#include "wtfile.h"
#include "wtfindings.h"
#include "wtrowio.h"

namespace ktwt {

// The bytes of one row, up to where it has to end.
class RowBytes {
public:
    void start(np_file* file) { input_.start(file, 0); }

    bool moveTo(long begin, long end) {
        end_ = end;
        beyond_ = false;
        failed_ = !input_.moveTo(begin);
        return !failed_;
    }

    bool get(void* bytes, unsigned long count) {
        failed_ = !isHere(count) || !input_.get(bytes, count);
        return !failed_;
    }

    // Whether the row may have so many bytes more.
    bool isHere(unsigned long count) {
        beyond_ = count > static_cast<unsigned long>(end_ - input_.offset());
        return !beyond_;
    }

    // Whether the last get failed.
    bool hasFailed() const { return failed_; }

    // Why it failed: it wanted more than may be had, otherwise the disk did not deliver what is in the file.
    bool isBeyond() const { return beyond_; }

    long offset() const { return input_.offset(); }

private:
    RowInput input_;
    long end_ = 0;
    bool beyond_ = false;
    bool failed_ = false;
};

class RowCheck {
public:
    enum class End {
        whole,       // all columns were gone through; it may have been told what is wrong with their values
        damaged,     // so that nobody can say where the row ends; it was told why
        tooLong,     // it goes on beyond its end
        undelivered  // the disk failed
    };

    RowCheck(const KTWTFileImpl& table, int element, FileFindings* findings)
        : columns_(table.getActualColumnDefs()),
          columnCount_(table.getActualColumns()),
          byteSwap_(table.isByteSwap()),
          element_(element),
          findings_(findings) {}
    RowCheck(const RowCheck&) = delete;
    RowCheck& operator=(const RowCheck&) = delete;

    // Begins with a file that stands at its start.
    void start(np_file* file) { bytes_.start(file); }

    // Goes through the row that begins at `begin`, which is not before where the one before was left, and ends at `end` at the
    // latest, which is not behind the end of the file.
    End check(long row, long begin, long end);

    // Where the row was left.
    long offset() const { return bytes_.offset(); }

private:
    // These return false when the row cannot be gone through any further; end_ says why.
    bool checkColumn(const KTWTColumnDef& column);
    bool checkPayload(unsigned char code, const KTWTColumnDef& column);
    bool checkBoolean();
    bool checkDate();
    bool checkDecimal();
    bool checkText(const KTWTColumnDef& column);
    bool passText(unsigned long size, bool* broken, bool* closed);
    bool get(void* bytes, unsigned long count) { return bytes_.get(bytes, count) || stop(); }
    bool stop();
    bool damaged();

    FindingPlace place() const { return {.element = element_, .row = row_, .offset = columnBegin_}; }

    const KTWTColumnDef* const columns_;
    const int columnCount_;
    const bool byteSwap_;
    const int element_;
    FileFindings* const findings_;
    RowBytes bytes_;
    long row_ = 0;
    int column_ = 0;
    long columnBegin_ = 0;  // where the column's flag byte is
    End end_ = End::whole;
};

}  // namespace ktwt

#endif
