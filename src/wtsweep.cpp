#include "wtsweep.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>

#include "wtcodec.h"
#include "wtelem.h"
#include "wtfile.h"
#include "wtmessage.h"
#include "wtmgr.h"

namespace ktwt {

namespace {

constexpr int listStopped = -1;  // no code of the file layer

int kindOf(FileKind kind) {
    switch (kind) {
        case FileKind::header: return ktwtOrphanHeader;
        case FileKind::data: return ktwtOrphanData;
        case FileKind::index: return ktwtOrphanIndex;
        default: return ktwtOrphanSort;
    }
}

// Answers that speak of a file that is not ours to look at: it is gone, or never was a file, or is somebody else's.
bool isNoneOfOurs(int code) {
    return code == np_err_no_such_file || code == np_err_not_regular || code == np_err_is_directory || code == np_err_access;
}

const char* textOf(int code) {
    const char* text = np_fio_errdesc(code);
    return text != nullptr ? text : "an error that has no text";
}

}  // namespace

// The first failure is kept.
bool OrphanSweep::fail(KtbString text) {
    if (error_.cStrSize() == 1) setFailure(&error_, std::move(text));
    return false;
}

bool OrphanSweep::failWith(const char* what, const char* path, int code) {
    return fail(ktbStringFormat("The %s \"%s\" could not be cleared away: %s.", what, path, textOf(code)));
}

bool OrphanSweep::run(KtbString* error) {
    if (list()) {
        sort();
        readHeaders();
        sweepAll();
    }
    if (error_.cStrSize() == 1) return true;
    *error = std::move(error_);
    return false;
}

bool OrphanSweep::list() {
    for (int i = 0; i < manager_.getDirectoryCount(); ++i) {
        if (!isListed(i) && !listDirectory(i)) return false;
    }
    return true;
}

// A directory that the list names twice holds its files once.
bool OrphanSweep::isListed(int directory) const {
    for (int i = 0; i < directory; ++i) {
        if (std::strcmp(manager_.directoryAt(i).asCstr(), manager_.directoryAt(directory).asCstr()) == 0) return true;
    }
    return false;
}

// Returns false when memory is exhausted. A directory that cannot be read may hide files of any header, which then has to stay.
bool OrphanSweep::listDirectory(int directory) {
    const KtbString& path = manager_.directoryAt(directory);
    if (path.cStrSize() == 1) return true;  // an empty entry holds nothing
    directory_ = directory;
    const int code = np_fio_list(path.asCstr(), &addName, this);
    if (code == listStopped) return fail(KtbString("Memory is exhausted: no room for the list of work files.", true));
    if (code == np_ok || code == np_err_no_such_file) return true;
    complete_ = false;
    fail(ktbStringFormat("The work directory \"%s\" could not be listed: %s.", path.asCstr(), textOf(code)));
    return true;
}

int OrphanSweep::addName(void* sweep, const char* name) {
    return static_cast<OrphanSweep*>(sweep)->add(name) ? 0 : listStopped;
}

bool OrphanSweep::add(const char* name) {
    FileRole role = roleOf(name);
    if (role.header.isNull()) return false;
    if (role.kind == FileKind::other) return true;
    if (count_ == capacity_ && !grow()) return false;
    Entry& entry = entries_[static_cast<std::size_t>(count_)];
    entry.name.assign(name);
    entry.role = std::move(role);
    entry.directory = directory_;
    if (entry.name.isNull()) return false;
    ++count_;
    return true;
}

bool OrphanSweep::grow() {
    constexpr int capacityMin = 64;
    if (capacity_ > INT_MAX / 2) return false;
    const int capacity = std::max(capacityMin, 2 * capacity_);
    std::unique_ptr<Entry[]> grown(new (std::nothrow) Entry[static_cast<std::size_t>(capacity)]);
    if (!grown) return false;
    std::move(entries_.get(), entries_.get() + count_, grown.get());
    entries_ = std::move(grown);
    capacity_ = capacity;
    return true;
}

// By table, kind, name and directory. What belongs to no table comes first.
int OrphanSweep::compare(const Entry& entry, const FileRole& role, const char* name) {
    const int byTable = std::strcmp(entry.role.header.asCstr(), role.header.asCstr());
    if (byTable != 0) return byTable;
    if (entry.role.kind != role.kind) return entry.role.kind < role.kind ? -1 : 1;
    return std::strcmp(entry.name.asCstr(), name);
}

bool OrphanSweep::precedes(const Entry& a, const Entry& b) {
    const int byName = compare(a, b.role, b.name.asCstr());
    return byName != 0 ? byName < 0 : a.directory < b.directory;
}

void OrphanSweep::sort() { std::sort(entries_.get(), entries_.get() + count_, &precedes); }

int OrphanSweep::pathTo(const Entry& entry, char* path) {
    return pathOf(manager_, entry.directory, entry.name, path, np_path_max);
}

void OrphanSweep::readHeaders() {
    for (int i = 0; i < count_; ++i) {
        Entry& entry = entries_[static_cast<std::size_t>(i)];
        if (entry.role.kind == FileKind::header) readHeader(&entry);
    }
}

// A header that cannot be read is a suspect. Perhaps it is being written just now; why it cannot be read is of interest when
// nobody uses it. Nothing but regular files is opened: a device may take even that for an order.
void OrphanSweep::readHeader(Entry* header) {
    char path[np_path_max];
    np_status64 status;
    np_file* opened = nullptr;
    int code = pathTo(*header, path);
    if (code == np_ok) code = np_fio_stat64(path, &status);
    if (code == np_ok) code = np_fio_open(path, np_mode_read, &opened);
    const File file(opened);
    KTWTFileImpl table(&manager_);
    KtbString ignored;
    header->state = code == np_ok ? stateOf(file.get(), &table, &ignored) : HeaderState::unreadable;
}

// Looks at a header, and marks what a finished one tells of, unless its table is being removed.
OrphanSweep::HeaderState OrphanSweep::stateOf(np_file* file, KTWTFileImpl* table, KtbString* why) {
    bool known = false;
    const bool unfinished = isUnfinished(file, &known);
    if (!known) *why = KtbString(textOf(np_err_io), true);
    if (!known || unfinished) return known ? HeaderState::unfinished : HeaderState::unreadable;
    if (table->readHeader(file)) {
        if (KTWTFileImpl::isMarkedForRemoval(file)) return HeaderState::leaving;
        const auto tell = [](Entry& entry) { return entry.told = true; };
        if (forFilesOf(*table, tell)) return HeaderState::finished;
    }
    *why = table->getError();
    if (why->cStrSize() == 1) *why = KtbString(textOf(np_err_memory), true);
    return HeaderState::unreadable;
}

// A header gets its fixed part last, so one that was never finished is shorter than that or begins with zeros. A finished one
// that is damaged is something else, and so is one that the disk does not deliver: what they told of may be somebody's rows.
bool OrphanSweep::isUnfinished(np_file* file, bool* known) {
    unsigned char fixed[headerFixedSize];
    const long size = np_fio_seek64(file, 0, np_from_end);
    const bool placed = size >= 0 && np_fio_seek64(file, 0, np_from_start) == 0;
    const auto wanted = static_cast<unsigned long>(std::min<long>(size, headerFixedSize));
    *known = placed && np_fio_getb(file, fixed, wanted) == wanted;
    if (!*known) return false;
    return size < headerFixedSize || std::all_of(fixed, fixed + headerFixedSize, [](unsigned char byte) { return byte == 0; });
}

// Uses the entries of the files that a header tells of, in whichever directories they are. It may tell of any name, also of one
// of a table that is not its own. Returns false when memory is exhausted or a use returned false.
template <class Use>
bool OrphanSweep::forFilesOf(const KTWTFileImpl& table, Use use) {
    bool all = true;
    for (int i = 0; i < table.getElementCount(); ++i) {
        const KTWTFileElement& element = table.elementAt(i);
        if (!forEntries(element.dataName().asCstr(), use)) all = false;
        if (!forEntries(element.indexName().asCstr(), use)) all = false;
    }
    return all;
}

template <class Use>
bool OrphanSweep::forEntries(const char* name, Use use) {
    const FileRole role = roleOf(name);
    if (role.header.isNull()) return false;
    Entry* const end = entries_.get() + count_;
    Entry* entry = std::partition_point(entries_.get(), end, [&](const Entry& e) { return compare(e, role, name) < 0; });
    bool all = true;
    for (; entry != end && compare(*entry, role, name) == 0; ++entry) {
        if (!use(*entry)) all = false;
    }
    return all;
}

void OrphanSweep::sweepAll() {
    for (int next = 0; next < count_ && !stopped_;) {
        const Group group = groupAt(next);
        sweepGroup(group);
        next = group.end;
    }
}

OrphanSweep::Group OrphanSweep::groupAt(int begin) const {
    const Entry& first = entries_[static_cast<std::size_t>(begin)];
    Group group = {.begin = begin, .files = begin, .end = begin};
    for (; group.end < count_; ++group.end) {
        const Entry& entry = entries_[static_cast<std::size_t>(group.end)];
        if (std::strcmp(entry.role.header.asCstr(), first.role.header.asCstr()) != 0) break;
        if (entry.role.kind == FileKind::header) group.files = group.end + 1;
    }
    return group;
}

int OrphanSweep::countUntold(const Group& group) const {
    const auto untold = [](const Entry& entry) { return !entry.told; };
    return static_cast<int>(std::count_if(entries_.get() + group.files, entries_.get() + group.end, untold));
}

void OrphanSweep::sweepGroup(const Group& group) {
    const Entry& first = entries_[static_cast<std::size_t>(group.begin)];
    if (first.role.header.cStrSize() == 1) {
        for (int i = group.begin; i < group.end && !stopped_; ++i) {
            const Entry& entry = entries_[static_cast<std::size_t>(i)];
            if (entry.role.kind == FileKind::sort) {
                sweepSortFile(entry);
            } else if (!entry.told) {
                ++counts_.unknown;
            }
        }
        return;
    }
    // Two headers of one name are copies that somebody made: whose the files are cannot be told.
    if (group.files != group.begin + 1) {
        counts_.unknown += countUntold(group);
    } else if (first.state != HeaderState::finished || countUntold(group) != 0) {
        sweepTable(group);
    }
}

// Opens and seizes a suspect, and puts its path into `path`. Null when that cannot be, with the `suspects` that hang on it
// counted for what they are then.
OrphanSweep::File OrphanSweep::seize(const Entry& entry, char* path, long suspects) {
    np_status64 status;
    np_file* opened = nullptr;
    int code = pathTo(entry, path);
    if (code == np_ok) code = np_fio_stat64(path, &status);
    if (code == np_ok) code = np_fio_open(path, np_mode_update, &opened);
    File file(opened);
    if (code == np_ok) code = np_fio_seize(opened);
    if (code == np_ok) return file;
    if (code == np_err_busy) {
        counts_.inUse += suspects;
    } else if (isNoneOfOurs(code)) {
        counts_.unknown += entry.role.kind == FileKind::sort ? 0 : suspects;
    } else {
        failWith("work file", path, code);
    }
    return nullptr;
}

void OrphanSweep::sweepTable(const Group& group) {
    const Entry& header = entries_[static_cast<std::size_t>(group.begin)];
    char path[np_path_max];
    const bool itself = header.state == HeaderState::unfinished || header.state == HeaderState::leaving;
    const File file = seize(header, path, countUntold(group) + (itself ? 1 : 0));
    if (file) sweepSeized(group, file.get(), path);
}

void OrphanSweep::sweepSeized(const Group& group, np_file* file, const char* path) {
    const Entry& header = entries_[static_cast<std::size_t>(group.begin)];
    KTWTFileImpl table(&manager_);
    KtbString why;
    switch (stateOf(file, &table, &why)) {
        case HeaderState::finished: sweepFiles(group); break;
        case HeaderState::unfinished:
            if (sweepFiles(group)) sweepFile(header);
            break;
        case HeaderState::leaving:
            if (sweepFiles(group) && sweepTold(table)) sweepFile(header);
            break;
        case HeaderState::unreadable:
            counts_.unknown += countUntold(group);
            fail(ktbStringFormat("The work table header \"%s\" could not be read: %s", path, why.asCstr()));
            break;
    }
}

// Returns whether none of the table's files can be left that could not be attributed without its header.
bool OrphanSweep::sweepFiles(const Group& group) {
    bool done = true;
    for (int i = group.files; i < group.end && !stopped_; ++i) {
        Entry& entry = entries_[static_cast<std::size_t>(i)];
        if (entry.told) continue;
        entry.told = true;  // by what is done about it
        if (!sweepFile(entry)) done = false;
    }
    return done && complete_ && !stopped_;
}

// What a table that is being removed tells of and its names do not: files that an earlier build named.
bool OrphanSweep::sweepTold(const KTWTFileImpl& table) {
    const auto sweepUntold = [this](Entry& entry) {
        if (entry.told || stopped_) return !stopped_;
        entry.told = true;  // it is not unknown any more
        return sweepFile(entry);
    };
    return forFilesOf(table, sweepUntold) && !stopped_;
}

void OrphanSweep::sweepSortFile(const Entry& entry) {
    char path[np_path_max];
    const File file = seize(entry, path, 1);
    if (file) sweepFile(entry);
}

// Tells of an orphan and removes it, if that is wanted. Returns false when it is still there and should not be.
bool OrphanSweep::sweepFile(const Entry& entry) {
    char path[np_path_max];
    np_status64 status;
    int code = pathTo(entry, path);
    if (code == np_ok) code = np_fio_stat64(path, &status);
    if (isNoneOfOurs(code)) return true;
    if (code != np_ok) return failWith("work file", path, code);
    stopped_ = visitor_ != nullptr && !visitor_->visit({.path = path, .kind = kindOf(entry.role.kind), .bytes = status.size});
    if (stopped_) return false;
    ++counts_.orphans;
    counts_.bytes += status.size;
    return !removing_ || removeFile(path);
}

bool OrphanSweep::removeFile(const char* path) {
    const int code = np_fio_unlink(path);
    if (code == np_ok) ++counts_.removed;
    return code == np_ok || code == np_err_no_such_file || failWith("work file", path, code);
}

}  // namespace ktwt

extern "C" bool ktwtSweepOrphans(const KtbString& directories, bool remove, KtWorkTableOrphanVisitor* visitor,
                                 KtWorkTableSweep* counts, KtbString* error) {
    if (counts != nullptr) *counts = {};
    KTWTManagerImpl manager(KtbString(), directories, error);  // finds the directories as every manager does
    if (error->length() != 0 || !manager.isComplete()) return false;
    ktwt::OrphanSweep sweep(manager, remove, visitor);
    const bool swept = sweep.run(error);
    if (counts != nullptr) *counts = sweep.counts();
    return swept;
}
