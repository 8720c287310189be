// The object behind KtWorkTableURI.
#ifndef KTB_WORKTABLE_URI_IMPL_H
#define KTB_WORKTABLE_URI_IMPL_H

#include <memory>

#include "ktb/worktable_uri.h"

namespace ktb_uri {

struct Column {
    KtbString name;
    KtbString source;  // empty rather than equal to the name, so that both ways to write such a column are one
    ktbType type = ktbTypeNone;
};

class WorkTableURI final : public KtWorkTableURI {
public:
    // Returns null when memory is exhausted, which a null text is taken to come from.
    static std::unique_ptr<WorkTableURI> make(const KtbString& scheme, const KtbString& path) noexcept;
    void setRange(long start, long count) noexcept;

    void release() override { delete this; }
    KtbString getScheme() override { return scheme_; }
    KtbString getPath() override { return path_; }
    bool hasRange() override { return hasRange_; }
    long getRangeStart() override { return rangeStart_; }
    long getRangeCount() override { return rangeCount_; }
    KtbString getURIString() override;
    int getColumns() override { return columnCount_; }
    KtbString getColumnName(int column) override;
    KtbString getColumnSource(int column) override;
    ktbType getColumnType(int column) override;
    bool addColumn(const KtbString& name, ktbType type, const KtbString& source, KtbString* error) override;

private:
    const Column* find(int column) const noexcept;
    bool reserveColumn() noexcept;

    KtbString scheme_;
    KtbString path_;
    bool hasRange_ = false;
    long rangeStart_ = 0;
    long rangeCount_ = -1;
    std::unique_ptr<Column[]> columns_;
    int columnCount_ = 0;
    int columnCapacity_ = 0;
};

}  // namespace ktb_uri

#endif
