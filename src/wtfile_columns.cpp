// Column definitions, and what a reader chose to see of them.
//
// A selection has one entry per column of the reader's rows. An entry shows a stored column, a stored column under another
// name, or a constant. The row decoder does not look at entries: each stored column lists its targets, the slots it fills, and
// the constants are filled in by the table. A reader who chose all columns in their order has no entries at all.
#include <algorithm>
#include <new>

#include "ktb/worktable_uri.h"
#include "wtelem.h"
#include "wtfile.h"
#include "wtmessage.h"

// Copies a name. Returns false when memory is exhausted.
static bool copyName(const KtbString& name, KtbString* copy) {
    *copy = name;
    return copy->isNull() == name.isNull();
}

bool KTWTFileImpl::defineColumnInfo(int column, KtbString name, ktbType type, int width) {
    if (column < 0 || column >= columnCount_) return fail(KTWT_MESSAGE(1420));
    if (name.isNull()) return fail(KTWT_MESSAGE(29, "(column name)"));  // the caller's text, lost on the way here
    for (int i = 0; i < columnCount_; ++i) {
        const KTWTColumnDef& other = columnDefs_[static_cast<std::size_t>(i)];
        if (i != column && other.name.compare(name, false) == 0) return fail(KTWT_MESSAGE(1666, name.asCstr()));
    }
    KTWTColumnDef& definition = columnDefs_[static_cast<std::size_t>(column)];
    definition.name = std::move(name);
    definition.type = type;
    definition.storageCode = ktwt::storageCodeOf(type);
    definition.width = width;
    return true;
}

// The column that the reader sees at that place; null when there is none.
const KTWTColumnDef* KTWTFileImpl::visibleColumn(int column) const {
    if (column < 0) return nullptr;
    const auto index = static_cast<std::size_t>(column);
    if (selection_) return column < selectedCount_ ? selection_[index].column : nullptr;
    return column < columnCount_ ? &columnDefs_[index] : nullptr;
}

bool KTWTFileImpl::getColumnInfo(int column, KtbString* name, ktbType* type, int* width, int* longest) {
    const KTWTColumnDef* definition = visibleColumn(column);
    if (definition == nullptr) return fail(KTWT_MESSAGE(1420));
    if (name != nullptr && !copyName(definition->name, name)) return fail(KTWT_MESSAGE(29, "(column name)"));
    if (type != nullptr) *type = definition->type;
    if (width != nullptr) *width = definition->width;
    if (longest != nullptr) *longest = definition->longest;
    return true;
}

int KTWTFileImpl::getColumns() { return rowColumns(); }

bool KTWTFileImpl::columnsAreDefined() const {
    return std::all_of(columnDefs_.get(), columnDefs_.get() + columnCount_, [](const KTWTColumnDef& column) {
        return column.storageCode >= ktwt::storedBoolean && column.storageCode <= ktwt::storedString;
    });
}

// The number of the first stored column of that name; -1 when there is none.
int KTWTFileImpl::findColumn(const KtbString& name) const {
    for (int i = 0; i < columnCount_; ++i) {
        if (columnDefs_[static_cast<std::size_t>(i)].name.compare(name, false) == 0) return i;
    }
    return -1;
}

void KTWTFileImpl::dropSelection() {
    selection_.reset();
    selectedCount_ = 0;
    hasConstants_ = false;
    stringBuffer_.reset();
    stringBufferSize_ = 0;
}

bool KTWTFileImpl::newSelection(int count, const char* what) {
    selection_.reset(new (std::nothrow) KTWTSelectionEntry[static_cast<std::size_t>(count)]);
    if (!selection_) return fail(KTWT_MESSAGE(29, what));
    selectedCount_ = count;
    return true;
}

bool KTWTFileImpl::open(const KtbString& name, int count, int* columns, long* range, bool reversed) {
    return openHeader(name, {.readOnly = true, .markReadOnly = true, .reversed = reversed}, range) &&
           selectByIndex(count, columns);
}

bool KTWTFileImpl::open(const KtbString& name, int count, const KtbString* columns, long* range, bool reversed) {
    return openHeader(name, {.readOnly = true, .markReadOnly = true, .reversed = reversed}, range) &&
           selectByName(count, columns);
}

// Reads the text into a buffer of the longest text that will be read. A header that promises more than the data files hold is
// not believed; below a size that no reader minds, the files are not asked.
bool KTWTFileImpl::allocateStringBuffer(long longest) {
    constexpr long neverTooMuch = 64 * 1024;
    if (longest > neverTooMuch) {
        long largestFile = neverTooMuch;
        for (int i = 0; i < elementCount_ && largestFile < longest; ++i) {
            largestFile = std::max(largestFile, elements_[static_cast<std::size_t>(i)]->findDataSize());
        }
        longest = std::min(longest, largestFile);
    }
    if (longest <= 0) return true;
    stringBuffer_.reset(new (std::nothrow) unsigned char[static_cast<std::size_t>(longest)]);
    if (!stringBuffer_) return fail(KTWT_MESSAGE(29, "(string read buffer)"));
    stringBufferSize_ = longest;
    return true;
}

long KTWTFileImpl::longestSelected() const {
    int longest = 0;
    for (int i = 0; i < selectedCount_; ++i)
        longest = std::max(longest, selection_[static_cast<std::size_t>(i)].column->longest);
    return longest;
}

bool KTWTFileImpl::selectAll() {
    int longest = 0;
    for (int i = 0; i < columnCount_; ++i) {
        KTWTColumnDef& column = columnDefs_[static_cast<std::size_t>(i)];
        column.clearTargets();
        column.targetCount = 1;
        longest = std::max(longest, column.longest);
    }
    return allocateStringBuffer(longest);
}

bool KTWTFileImpl::selectByIndex(int count, const int* columns) {
    if (count < -1 || (count > 0 && columns == nullptr)) return fail(KTWT_MESSAGE(1791, count));
    bool all = count == -1 || count == columnCount_;
    for (int j = 0; all && j < count; ++j) all = columns[j] == j;
    if (all) return selectAll();

    if (!newSelection(count, "(column mapping array)")) return false;
    // Every slot is looked at, and the first that is wrong is the one reported.
    error_.setNull();
    bool selected = true;
    for (int slot = 0; slot < count; ++slot) selected = selectIndex(slot, columns[slot], selected) && selected;
    return selected && allocateStringBuffer(longestSelected());
}

bool KTWTFileImpl::selectIndex(int slot, int column, bool reportFailure) {
    const auto refuse = [&](const KtbString& text) {
        if (reportFailure) fail(text);
        return false;
    };
    if (column < 0 || column >= columnCount_) return refuse(KTWT_MESSAGE(1791, column));
    KTWTColumnDef& stored = columnDefs_[static_cast<std::size_t>(column)];
    selection_[static_cast<std::size_t>(slot)].column = &stored;
    if (stored.targetCount != 0) return refuse(KTWT_MESSAGE(1792, column));
    if (column == slot) {
        stored.targetCount = 1;
        return true;
    }
    return stored.addTarget(slot) || refuse(KTWT_MESSAGE(29, "(targets array)"));
}

bool KTWTFileImpl::selectByName(int count, const KtbString* columns) {
    if (count < -1 || (count > 0 && columns == nullptr)) return fail(KTWT_MESSAGE(1791, count));
    bool all = count == -1 || count == columnCount_;
    for (int j = 0; all && j < count; ++j) all = columnDefs_[static_cast<std::size_t>(j)].name.compare(columns[j], false) == 0;
    if (all) return selectAll();

    if (!newSelection(count, "(column mapping array)")) return false;
    for (int slot = 0; slot < count; ++slot) {
        const int column = findColumn(columns[slot]);
        const bool selected =
            column >= 0 ? selectStored(slot, column, "(selected column)") : selectConstant(slot, columns[slot]) != nullptr;
        if (!selected) return false;
    }
    return allocateStringBuffer(longestSelected());
}

bool KTWTFileImpl::selectStored(int slot, int column, const char* what) {
    KTWTColumnDef& stored = columnDefs_[static_cast<std::size_t>(column)];
    selection_[static_cast<std::size_t>(slot)].column = &stored;
    return stored.addTarget(slot) || fail(KTWT_MESSAGE(29, what));
}

// Gives the slot a column of its own, which reads as a null string until it gets a value.
KTWTColumnDef* KTWTFileImpl::selectConstant(int slot, const KtbString& name) {
    KTWTSelectionEntry& entry = selection_[static_cast<std::size_t>(slot)];
    entry.own.reset(new (std::nothrow) KTWTColumnDef);
    if (!entry.own || !copyName(name, &entry.own->name)) {
        fail(KTWT_MESSAGE(29, "(selected column mapping)"));
        return nullptr;
    }
    entry.own->type = ktbTypeString;
    entry.own->storageCode = ktwt::storedString;
    entry.column = entry.own.get();
    entry.constant = true;
    hasConstants_ = true;
    return entry.own.get();
}

// Shows a stored column under another name. The targets stay on the stored column, since that is what is read.
bool KTWTFileImpl::selectAlias(int slot, int column, const KtbString& name) {
    if (!selectStored(slot, column, "(selected column targets)")) return false;
    const KTWTColumnDef& stored = columnDefs_[static_cast<std::size_t>(column)];
    KTWTSelectionEntry& entry = selection_[static_cast<std::size_t>(slot)];
    entry.own.reset(new (std::nothrow) KTWTColumnDef);
    if (!entry.own || !copyName(name, &entry.own->name)) return fail(KTWT_MESSAGE(29, "(renamed column mapping)"));
    entry.own->type = stored.type;
    entry.own->storageCode = stored.storageCode;
    entry.own->width = stored.width;
    entry.own->longest = stored.longest;
    entry.column = entry.own.get();
    entry.alias = true;
    return true;
}

bool KTWTFileImpl::open(const KtbString& text, bool reversed) {
    KtWorkTableURI* uri = getURIFromURIString(text);
    if (uri == nullptr) {
        const KtbString* all = nullptr;
        return open(text, -1, all, nullptr, reversed);
    }
    const bool opened = openURI(uri, reversed);
    uri->release();
    return opened;
}

bool KTWTFileImpl::openURI(KtWorkTableURI* uri, bool reversed) {
    const KtbString scheme = uri->getScheme();
    if (scheme.compare("ktwt", false) != 0) return fail(KTWT_MESSAGE(1790, scheme.asCstr()));
    long range[2] = {uri->getRangeStart(), uri->getRangeCount()};
    const OpenMode mode = {.readOnly = true, .markReadOnly = true, .reversed = reversed};
    if (!openHeader(uri->getPath(), mode, uri->hasRange() ? range : nullptr)) return false;
    return isWholeTable(uri) ? selectAll() : selectByURI(uri);
}

// Whether the URI lists the stored columns as they are.
bool KTWTFileImpl::isWholeTable(KtWorkTableURI* uri) const {
    if (uri->getColumns() != columnCount_) return false;
    for (int i = 0; i < columnCount_; ++i) {
        const KtbString name = uri->getColumnName(i);
        const KtbString source = uri->getColumnSource(i);
        if (source.isNull() || uri->getColumnType(i) != ktbTypeNone) return false;
        if (columnDefs_[static_cast<std::size_t>(i)].name.compare(name, false) != 0) return false;
        if (source.length() != 0 && source.compare(name, false) != 0) return false;
    }
    return true;
}

bool KTWTFileImpl::selectByURI(KtWorkTableURI* uri) {
    if (!newSelection(uri->getColumns(), "(selected column array)")) return false;
    for (int slot = 0; slot < selectedCount_; ++slot) {
        const KtbString name = uri->getColumnName(slot);
        const KtbString source = uri->getColumnSource(slot);
        const ktbType type = uri->getColumnType(slot);
        // A column of the URI has both: what cannot be had for want of memory must not pass for what is not there.
        if (name.isNull() || source.isNull()) return fail(KTWT_MESSAGE(29, "(selected column mapping)"));
        const bool renamed = source.length() != 0 && source.compare(name, false) != 0;
        const int column = type == ktbTypeNone ? findColumn(renamed ? source : name) : -1;
        bool selected = false;
        if (column < 0) {
            selected = selectConstant(slot, name) != nullptr && setConstant(slot, type, source);
        } else if (renamed) {
            selected = selectAlias(slot, column, name);
        } else {
            selected = selectStored(slot, column, "(selected column targets)");
        }
        if (!selected) return false;
    }
    return allocateStringBuffer(longestSelected());
}

bool KTWTFileImpl::setConstant(int slot, ktbType type, const KtbString& text) {
    if (text.length() == 0) return true;
    KTWTSelectionEntry& entry = selection_[static_cast<std::size_t>(slot)];
    entry.value.reset(new (std::nothrow) KtbDatavar);
    if (entry.value) entry.value->assign(text);
    if (!entry.value || entry.value->isNull()) return fail(KTWT_MESSAGE(29, "(dynamic column value)"));
    KTWTColumnDef& column = *entry.own;
    column.storageCode = ktwt::storageCodeOf(type);
    column.type = ktwt::typeOfStorageCode(column.storageCode);
    entry.value->setType(column.type);
    if (column.type == ktbTypeString) {
        column.width = text.length();
        column.longest = text.length();
    }
    return true;
}
