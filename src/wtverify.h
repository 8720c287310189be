// The verification of a table: whether its files say the same of each other.
//
// The header is looked at first: by itself, and for two records that name one file. Then each data element is gone through in
// one pass. The index tells where rows begin, and so do the rows, by where the one before ends:
//
//     index     |  0 | 14 | 31 | 40 |
//     data      | row 0 | row 1 | row 2 | row 3 |
//               0       14      31      40
//
// While both agree there is nothing to say. When they do not, or a row cannot be gone through, it is told, and the pass goes on
// where the index has the next row begin. An entry that leaves no room for the row before, or lies outside of the data file, is
// told and not believed: then the rows lead on, as far as they can. The pass never goes back, so that entries that lead to one
// place again and again cost nothing. Of entries next to each other with the same fault the first is told, with the number of
// the others.
#ifndef KTWT_WTVERIFY_H
#define KTWT_WTVERIFY_H

#include <memory>

#include "wtfile.h"
#include "wtfindings.h"
#include "wtpath.h"
#include "wtrowcheck.h"

class KTWTFileElement;

namespace ktwt {

class TableVerification {
public:
    TableVerification(KTWTManagerImpl* manager, KtWorkTableFindingVisitor* visitor) : table_(manager), report_(visitor) {}
    TableVerification(const TableVerification&) = delete;
    TableVerification& operator=(const TableVerification&) = delete;

    // Once. Returns false, with the reason in *error, when the table could not be looked at.
    bool run(const KtbString& name, KtbString* error);

    KtWorkTableVerification result() const;

    // For the verification of one element.
    const KTWTFileImpl& table() const { return table_; }
    FindingReport* report() { return &report_; }
    void countBytes(long bytes) { counts_.bytes += bytes; }
    void countRow() { ++counts_.rows; }
    bool fail(KtbString text);
    bool failReading(const char* path);

private:
    static constexpr char messageSource[] = "wtverify";

    bool checkTable();
    bool readHeader(bool* understood);
    bool checkHeader();
    bool checkByteOrder();
    void checkColumns();
    void checkCounts();
    bool findRepeatedNames();
    bool checkElement(int number);

    KTWTFileImpl table_;
    FindingReport report_;
    FileFindings header_{&report_, ktwtFileHeader, -1};
    KtWorkTableVerification counts_ = {};
    std::unique_ptr<int[]> repeats_;  // for each element an earlier one that names a file of it; -1: none does
    KtbString error_;
};

// One pass over the rows of one data element. Once.
class ElementVerification {
public:
    ElementVerification(TableVerification* owner, int number);
    ElementVerification(const ElementVerification&) = delete;
    ElementVerification& operator=(const ElementVerification&) = delete;

    // Returns false when the files could not be looked at; the owner then has the reason.
    bool run();

private:
    struct Part {
        FileFindings findings;
        FileHandle file = nullptr;
        KtbString path = KtbString();
        long bytes = 0;
    };

    // What is wrong with an entry of the index.
    enum class Fault { none, outside, noRoom };

    bool open(const KtbString& name, const char* prefix, Part* part);
    void tellMissing(const KtbString& name, const char* prefix, int code, Part* part);
    void countEntries();
    bool checkRows();
    bool checkFirstEntry();
    bool takeEntry(long* offset);
    bool believes(long next);
    void noteEntry(Fault fault, long value);
    void tellEntries();
    bool canGoOn() const;
    bool checkRow();
    void checkEnd(long next);
    void tellTooLong(bool believed, long next);
    bool isStopped() const { return owner_->report()->isStopped(); }
    FindingPlace at(long row, long offset = -1) const { return {.element = number_, .row = row, .offset = offset}; }

    TableVerification* const owner_;
    const KTWTFileElement& element_;
    const int number_;
    const int columnCount_;
    int directory_ = 0;  // where the search for the next file begins
    Part data_;
    Part index_;
    long entryCount_ = 0;  // of the counted rows, those that have an entry
    RowInput entries_;
    RowCheck rows_;
    long row_ = 0;
    long begin_ = 0;     // of the row,
    bool known_ = true;  // if that is known
    Fault fault_ = Fault::none;
    long faultRow_ = 0;    // the first of the entries next to each other that have the fault,
    long faultValue_ = 0;  // what it is,
    long faultCount_ = 0;  // and the number of all of them
};

}  // namespace ktwt

#endif
