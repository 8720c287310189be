// Tables whose rows are sorted on the way in: the description of the sort, the way of a row into it, and the way back at close.
#include "wtfile.h"

int KTWTFileImpl::setSort(int index, int column, bool descending, KTSortCollateParms* parms) {
    if (index < 0 || index >= sortColumnCount_) return 1;
    sortKeys_[static_cast<std::size_t>(index)] = {.column = column, .descending = descending, .parms = parms};
    return 0;
}

int KTWTFileImpl::setSortInfo(KtDatafileSortInfo* info) {
    sortInfo_ = info;
    return 0;
}

int KTWTFileImpl::setSortProgress(KtDatafileSortProgress* progress) {
    sortProgress_ = progress;
    return 0;
}

bool KTWTFileImpl::writeSortedRow(KtbDatavar**) {
    return fail(KtbString("This version of the work table library cannot sort rows.", true));
}

// No row ever went into a sort, so none can come back.
bool KTWTFileImpl::drainSort() { return true; }
