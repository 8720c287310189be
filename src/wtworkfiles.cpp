#include "wtworkfiles.h"

#include <algorithm>
#include <climits>
#include <new>

#include "ktb/fio.h"
#include "wtmessage.h"
#include "wtmgr.h"

namespace ktwt {

static constexpr int memoryExhausted = -1;  // no code of the file layer

// A directory that the list names twice holds its files once.
static bool isRepeated(const KTWTManagerImpl& manager, int directory) {
    for (int i = 0; i < directory; ++i) {
        if (std::strcmp(manager.directoryAt(i).asCstr(), manager.directoryAt(directory).asCstr()) == 0) return true;
    }
    return false;
}

bool WorkFiles::read(const KTWTManagerImpl& manager, Filter filter, const void* context) {
    filter_ = filter;
    context_ = context;
    for (int i = 0; i < manager.getDirectoryCount(); ++i) {
        if (!isRepeated(manager, i) && !readDirectory(manager, i)) {
            count_ = 0;
            setFailure(&error_, KtbString("Memory is exhausted: no room for the list of work files.", true));
            return false;
        }
    }
    std::sort(begin(), end(), [](const WorkFile& a, const WorkFile& b) {
        const int byName = compare(a, b.role, b.name.asCstr());
        return byName != 0 ? byName < 0 : a.directory < b.directory;
    });
    return error_.cStrSize() == 1;
}

// Returns false when memory is exhausted.
bool WorkFiles::readDirectory(const KTWTManagerImpl& manager, int directory) {
    const KtbString& path = manager.directoryAt(directory);
    if (path.cStrSize() == 1) return true;  // an empty entry holds nothing
    directory_ = directory;
    const int code = np_fio_list(path.asCstr(), &addName, this);
    const bool read = code == np_ok || code == np_err_no_such_file || code == memoryExhausted;
    if (!read && error_.cStrSize() == 1) {
        const char* text = np_fio_errdesc(code);
        setFailure(&error_, ktbStringFormat("The work directory \"%s\" could not be listed: %s.", path.asCstr(),
                                            text != nullptr ? text : "an error that has no text"));
    }
    return code != memoryExhausted;
}

int WorkFiles::addName(void* files, const char* name) {
    return static_cast<WorkFiles*>(files)->add(name) ? 0 : memoryExhausted;
}

bool WorkFiles::add(const char* name) {
    FileRole role = roleOf(name);
    if (role.header.isNull()) return false;
    if (role.kind == FileKind::other || (filter_ != nullptr && !filter_(context_, role.header))) return true;
    if (count_ == capacity_ && !grow()) return false;
    WorkFile& file = files_[static_cast<std::size_t>(count_)];
    file.name.assign(name);
    file.role = std::move(role);
    file.directory = directory_;
    if (file.name.isNull()) return false;
    ++count_;
    return true;
}

bool WorkFiles::grow() {
    constexpr int capacityMin = 64;
    if (capacity_ > INT_MAX / 2) return false;
    const int capacity = std::max(capacityMin, 2 * capacity_);
    std::unique_ptr<WorkFile[]> grown(new (std::nothrow) WorkFile[static_cast<std::size_t>(capacity)]);
    if (!grown) return false;
    std::move(begin(), end(), grown.get());
    files_ = std::move(grown);
    capacity_ = capacity;
    return true;
}

// By table, kind and name.
int WorkFiles::compare(const WorkFile& file, const FileRole& role, const char* name) {
    const int byTable = std::strcmp(file.role.header.asCstr(), role.header.asCstr());
    if (byTable != 0) return byTable;
    if (file.role.kind != role.kind) return file.role.kind < role.kind ? -1 : 1;
    return std::strcmp(file.name.asCstr(), name);
}

WorkFile* WorkFiles::find(const FileRole& role, const char* name) const {
    return std::partition_point(begin(), end(), [&](const WorkFile& file) { return compare(file, role, name) < 0; });
}

WorkFileGroup WorkFiles::groupAt(WorkFile* begin) const {
    WorkFileGroup group = {.begin = begin, .files = begin, .end = begin};
    for (; group.end != end(); ++group.end) {
        if (std::strcmp(group.end->role.header.asCstr(), begin->role.header.asCstr()) != 0) break;
        if (group.end->role.kind == FileKind::header) group.files = group.end + 1;
    }
    return group;
}

}  // namespace ktwt
