#include "wtsweep.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "wtcodec.h"
#include "wtelem.h"
#include "wtfile.h"
#include "wtmessage.h"
#include "wtmgr.h"

namespace ktwt {

namespace {

int orphanKindOf(FileKind kind) {
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

int countUntold(const WorkFileGroup& group) {
    return static_cast<int>(std::count_if(group.files, group.end, [](const WorkFile& file) { return !file.told; }));
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
    if (!files_.read(manager_, nullptr, nullptr)) fail(files_.getError());
    for (WorkFile* file = files_.begin(); file != files_.end(); ++file) {
        if (file->role.kind == FileKind::header) readHeader(file);
    }
    for (WorkFile* next = files_.begin(); next != files_.end() && !stopped_;) {
        const WorkFileGroup group = files_.groupAt(next);
        sweepGroup(group);
        next = group.end;
    }
    sweepSeized();
    if (error_.cStrSize() == 1) return true;
    *error = std::move(error_);
    return false;
}

int OrphanSweep::pathTo(const WorkFile& file, char* path) const {
    return pathOf(manager_, file.directory, file.name, path, np_path_max);
}

// A header that cannot be read is a suspect. Perhaps it is being written just now; why it cannot be read is of interest when
// nobody uses it. Nothing but regular files is opened: a device may take even that for an order.
void OrphanSweep::readHeader(WorkFile* header) {
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

// Looks at a header, and marks what a finished one tells of, unless its table is being removed. A finished header that is
// damaged is something else than one that was never finished, and so is one that the disk does not deliver: what they told of
// may be somebody's rows.
HeaderState OrphanSweep::stateOf(np_file* file, KTWTFileImpl* table, KtbString* why) {
    bool known = false;
    const bool unfinished = KTWTFileImpl::isUnfinished(file, &known);
    if (!known) *why = KtbString(textOf(np_err_io), true);
    if (!known || unfinished) return known ? HeaderState::unfinished : HeaderState::unreadable;
    if (table->readHeader(file)) {
        if (KTWTFileImpl::isMarkedForRemoval(file)) return HeaderState::leaving;
        const auto tell = [](WorkFile& listed) { return listed.told = true; };
        if (forFilesOf(*table, tell)) return HeaderState::finished;
    }
    *why = table->getError();
    if (why->cStrSize() == 1) *why = KtbString(textOf(np_err_memory), true);
    return HeaderState::unreadable;
}

// Uses the listed files that a header tells of, in whichever directories they are. It may tell of any name, also of one
// of a table that is not its own. Returns false when memory is exhausted or a use returned false.
template <class Use>
bool OrphanSweep::forFilesOf(const KTWTFileImpl& table, Use use) {
    bool all = true;
    for (int i = 0; i < table.getElementCount(); ++i) {
        const KTWTFileElement& element = table.elementAt(i);
        if (!forFiles(element.dataName().asCstr(), use)) all = false;
        if (!forFiles(element.indexName().asCstr(), use)) all = false;
    }
    return all;
}

template <class Use>
bool OrphanSweep::forFiles(const char* name, Use use) {
    const FileRole role = roleOf(name);
    if (role.header.isNull()) return false;
    bool all = true;
    for (WorkFile* file = files_.find(role, name); files_.isAt(file, role, name); ++file) {
        if (!use(*file)) all = false;
    }
    return all;
}

void OrphanSweep::sweepGroup(const WorkFileGroup& group) {
    if (group.header().cStrSize() == 1) {
        sweepUnattributed(group);
    } else if (group.files != group.begin + 1) {
        // There is no header here, or there are copies that somebody made: whose the files are cannot be told.
        counts_.unknown += countUntold(group);
    } else if (group.begin->state != HeaderState::finished || countUntold(group) != 0) {
        sweepSuspect(group);
    }
}

void OrphanSweep::sweepUnattributed(const WorkFileGroup& group) {
    for (const WorkFile* file = group.begin; file != group.end && !stopped_; ++file) {
        if (file->role.kind != FileKind::sort) {
            counts_.unknown += file->told ? 0 : 1;
            continue;
        }
        char path[np_path_max];
        if (const File seized = seize(*file, path, 1)) sweepFile(*file);
    }
}

// Opens and seizes a file, and puts its path into `path`. Null when that cannot be, with the `suspects` that hang on it counted
// for what they are then.
OrphanSweep::File OrphanSweep::seize(const WorkFile& file, char* path, long suspects) {
    np_status64 status;
    np_file* opened = nullptr;
    int code = pathTo(file, path);
    if (code == np_ok) code = np_fio_stat64(path, &status);
    if (code == np_ok) code = np_fio_open(path, np_mode_update, &opened);
    File handle(opened);
    if (code == np_ok) code = np_fio_seize(opened);
    if (code == np_ok) return handle;
    if (code == np_err_busy) {
        counts_.inUse += suspects;
    } else if (isNoneOfOurs(code)) {
        counts_.unknown += file.role.kind == FileKind::sort ? 0 : suspects;
    } else {
        failWith("work file", path, code);
    }
    return nullptr;
}

void OrphanSweep::sweepSuspect(const WorkFileGroup& group) {
    const HeaderState state = group.begin->state;
    const bool itself = state == HeaderState::unfinished || state == HeaderState::leaving;
    char path[np_path_max];
    File file = seize(*group.begin, path, countUntold(group) + (itself ? 1 : 0));
    if (file) judge(group, std::move(file), path);
}

void OrphanSweep::judge(const WorkFileGroup& group, File file, const char* path) {
    KTWTFileImpl table(&manager_);
    KtbString why;
    const HeaderState state = stateOf(file.get(), &table, &why);
    const bool goes = state == HeaderState::unfinished || state == HeaderState::leaving;
    // It is being removed since just now, and its files are marked as told already: that is for the next sweep.
    if (goes && group.begin->state == HeaderState::finished) return;
    switch (state) {
        case HeaderState::finished: sweepUntold(group); break;
        case HeaderState::unfinished: addSeized(*group.begin, std::move(file), false); break;
        case HeaderState::leaving: {
            const bool swept = sweepPlainlyNamed(table) && files_.getError().cStrSize() == 1;
            addSeized(*group.begin, std::move(file), !swept);
            break;
        }
        case HeaderState::unreadable:
            counts_.unknown += countUntold(group);
            fail(ktbStringFormat("The work table header \"%s\" could not be read: %s", path, why.asCstr()));
            break;
    }
}

void OrphanSweep::sweepUntold(const WorkFileGroup& group) {
    for (const WorkFile* file = group.files; file != group.end && !stopped_; ++file) {
        if (!file->told) sweepFile(*file);
    }
}

// Of a table that is being removed, the files whose names do not tell their header: an earlier build named them.
bool OrphanSweep::sweepPlainlyNamed(const KTWTFileImpl& table) {
    return forFilesOf(table, [this](WorkFile& file) {
        if (file.told || stopped_ || file.role.header.cStrSize() > 1) return !stopped_;
        file.told = true;  // it is not unknown any more
        return sweepFile(file);
    });
}

void OrphanSweep::addSeized(const WorkFile& header, File file, bool blocked) {
    Seized& seized = seized_[seizedCount_++];
    seized.header = &header;
    seized.file = std::move(file);
    seized.blocked = blocked;
    if (seizedCount_ == seizedMax) sweepSeized();
}

// A directory that cannot be read may hide files of any of them.
void OrphanSweep::sweepSeized() {
    WorkFiles files;
    const bool listed = seizedCount_ == 0 || files.read(manager_, &isSeized, this);
    if (!listed) fail(files.getError());
    sweepFilesOfSeized(files);
    for (int i = 0; i < seizedCount_; ++i) {
        Seized& seized = seized_[i];
        if (listed && !seized.blocked && !stopped_) sweepFile(*seized.header);
        seized.file.reset();
    }
    seizedCount_ = 0;
}

void OrphanSweep::sweepFilesOfSeized(const WorkFiles& files) {
    for (const WorkFile* file = files.begin(); file != files.end() && !stopped_; ++file) {
        if (file->role.kind == FileKind::header || isTold(*file)) continue;
        if (!sweepFile(*file)) findSeized(file->role.header)->blocked = true;
    }
}

bool OrphanSweep::isSeized(const void* sweep, const KtbString& header) {
    const auto* self = static_cast<const OrphanSweep*>(sweep);
    return std::any_of(self->seized_, self->seized_ + self->seizedCount_,
                       [&](const Seized& seized) { return seized.header->name.compare(header, true) == 0; });
}

OrphanSweep::Seized* OrphanSweep::findSeized(const KtbString& header) {
    return std::find_if(seized_, seized_ + seizedCount_,
                        [&](const Seized& seized) { return seized.header->name.compare(header, true) == 0; });
}

// Whether a finished header tells of the file, another one than its name tells.
bool OrphanSweep::isTold(const WorkFile& file) const {
    const char* name = file.name.asCstr();
    const WorkFile* listed = files_.find(file.role, name);
    return files_.isAt(listed, file.role, name) && listed->told;
}

// Tells of an orphan and removes it, if that is wanted. Returns false when it is still there and should not be.
bool OrphanSweep::sweepFile(const WorkFile& file) {
    char path[np_path_max];
    np_status64 status;
    int code = pathTo(file, path);
    if (code == np_ok) code = np_fio_stat64(path, &status);
    if (code == np_err_access) return false;  // out of reach today: without its header nobody could tell whose it is
    if (isNoneOfOurs(code)) return true;
    if (code != np_ok) return failWith("work file", path, code);
    const KtWorkTableOrphan orphan = {.path = path, .kind = orphanKindOf(file.role.kind), .bytes = status.size};
    stopped_ = visitor_ != nullptr && !visitor_->visit(orphan);
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
    if (directories.isNull()) {
        *error = KtbString("The list of the work directories is missing.", true);
        return false;
    }
    KTWTManagerImpl manager(KtbString(), directories, error);  // finds the directories as every manager does
    if (error->length() != 0 || !manager.isComplete()) return false;
    ktwt::OrphanSweep sweep(manager, remove, visitor);
    const bool swept = sweep.run(error);
    if (counts != nullptr) *counts = sweep.counts();
    return swept;
}
