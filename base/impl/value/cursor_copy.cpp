// copyCursor: one road for typed and for text cursors, which differ only in what a column is defined by.
#include "ktb/cursor.h"

namespace {

void addColumn(KtbDatavarCursor* source, KtbDatavarCursorCreater* target, int column, const KtbString& name) {
    target->addColumn(name, source->getColumnType(column));
}

void addColumn(KtbStringCursor*, KtbStringCursorCreater* target, int, const KtbString& name) { target->addColumn(name); }

// Copies cursors; what fails leaves the failing cursor's text in the error.
template <class Source, class Target>
class CursorCopy {
public:
    CursorCopy(Source* source, Target* target, KtbString* error) : source_(source), target_(target), error_(error) {}

    bool run() {
        if (!source_->top()) return failed(source_);
        columns_ = source_->getColumns();
        return copyColumns() && copyRows();
    }

private:
    template <class Cursor>
    bool failed(Cursor* cursor) {
        *error_ = cursor->getErrorMessage();
        return false;
    }

    bool copyColumns() {
        for (int column = 0; column < columns_; ++column) {
            const KtbString name = source_->getColumnName(column);
            if (name.isNull()) return failed(source_);
            addColumn(source_, target_, column, name);
        }
        return target_->createColumns() || failed(target_);
    }

    bool copyRows() {
        int status = source_->next();
        for (; status == ktbCursorRow; status = source_->next()) {
            if (!copyRow()) return false;
        }
        if (status != ktbCursorEnd) return failed(source_);
        return target_->finalize() || failed(target_);
    }

    bool copyRow() {
        if (!target_->initRow()) return failed(target_);
        for (int column = 0; column < columns_; ++column) target_->setColumnValue(column, source_->getColumnValue(column));
        return target_->finalizeRow() || failed(target_);
    }

    Source* source_;
    Target* target_;
    KtbString* error_;
    int columns_ = 0;
};

}  // namespace

bool copyCursor(KtbDatavarCursor* source, KtbDatavarCursorCreater* target, KtbString* error) {
    return CursorCopy<KtbDatavarCursor, KtbDatavarCursorCreater>(source, target, error).run();
}

bool copyCursor(KtbStringCursor* source, KtbStringCursorCreater* target, KtbString* error) {
    return CursorCopy<KtbStringCursor, KtbStringCursorCreater>(source, target, error).run();
}
