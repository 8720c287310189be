// The table as a text: the URI from which the same rows and columns can be opened again.
#include "ktb/worktable_uri.h"
#include "wtfile.h"

KtbString KTWTFileImpl::toURIString(bool all) {
    const bool wholeTable = rangeStart_ == 0 && rangeCount_ < 0;
    KtWorkTableURI* uri =
        wholeTable ? getWorkTableURIFromComponents(name_) : getWorkTableURIFromComponents(name_, rangeStart_, rangeCount_);
    if (uri == nullptr) return KtbString();
    const bool described = selection_ ? describeSelected(uri) : describeStored(uri, all);
    KtbString text = described ? uri->getURIString() : KtbString();
    uri->release();
    if (text.isNull()) text = KtbString();
    return text;
}

bool KTWTFileImpl::describeStored(KtWorkTableURI* uri, bool all) const {
    KtbString ignored;  // the caller learns only that there is no URI
    for (int i = 0; i < columnCount_; ++i) {
        const KTWTColumnDef& column = columnDefs_[static_cast<std::size_t>(i)];
        const bool shown = column.targetCount != 0 || (created_ && all);
        if (shown && !uri->addColumn(column.name, ktbTypeNone, KtbString(), &ignored)) return false;
    }
    return true;
}

// Puts a text that is not null into *source. Returns false when memory is exhausted: the URI would show something else without
// it.
static bool takeSource(const KtbString& text, KtbString* source) {
    *source = text;
    return !source->isNull();
}

bool KTWTFileImpl::describeSelected(KtWorkTableURI* uri) const {
    KtbString ignored;
    for (int slot = 0; slot < selectedCount_; ++slot) {
        const KTWTSelectionEntry& entry = selection_[static_cast<std::size_t>(slot)];
        if (entry.column == nullptr) return false;  // a selection that failed
        ktbType constantType = ktbTypeNone;
        KtbString source;
        if (entry.constant) {
            constantType = entry.column->type;
            const bool hasText = entry.value && !entry.value->isNull();  // a text that did not convert has become a null
            if (hasText && !takeSource(entry.value->asString(), &source)) return false;
        } else if (entry.alias) {
            for (int i = 0; i < columnCount_; ++i) {
                const KTWTColumnDef& stored = columnDefs_[static_cast<std::size_t>(i)];
                if (!stored.feeds(slot)) continue;
                if (!takeSource(stored.name, &source)) return false;
                break;
            }
        }
        if (!uri->addColumn(entry.column->name, constantType, source, &ignored)) return false;
    }
    return true;
}
