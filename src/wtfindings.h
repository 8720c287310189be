// Findings: what is wrong with a table's files, told one by one.
#ifndef KTWT_WTFINDINGS_H
#define KTWT_WTFINDINGS_H

#include "ktwt/inspect.h"

namespace ktwt {

// Tells the caller's visitor, if there is one, and counts.
class FindingReport {
public:
    explicit FindingReport(KtWorkTableFindingVisitor* visitor) : visitor_(visitor) {}

    void tell(const KtWorkTableFinding& finding);

    // Whether the visitor wants no more.
    bool isStopped() const { return stopped_; }
    long count() const { return count_; }

private:
    KtWorkTableFindingVisitor* const visitor_;
    bool stopped_ = false;
    long count_ = 0;
};

// What a finding is about; -1 where it is about none.
struct FindingPlace {
    int element = -1;
    long row = -1;
    long offset = -1;
};

// The findings in one file. Of very many the first are told and the others counted: a block of a disk that went bad can hold
// thousands of rows.
class FileFindings {
public:
    // `element` is that of the file.
    FileFindings(FindingReport* report, int kind, int element) : report_(report), kind_(kind), element_(element) {}
    FileFindings(const FileFindings&) = delete;
    FileFindings& operator=(const FileFindings&) = delete;

    // To be called before anything is told. The path must outlive this object.
    void setPath(const char* path) { path_ = path; }

    // The text is cut off where it is longer than anything that we say.
    void tell(const FindingPlace& place, const char* format, ...) KTB_PRINTF(3, 4);

    // Tells how many were only counted. To be called when the file has been gone through.
    void finish();

private:
    static constexpr long toldMax = 100;

    FindingReport* const report_;
    const char* path_ = "";
    const int kind_;
    const int element_;
    long count_ = 0;
};

}  // namespace ktwt

#endif
