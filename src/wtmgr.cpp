// The manager's own life and the operations on single tables.
#include "wtmgr.h"

#include <cstring>
#include <new>

#include "ktb/config.h"
#include "ktb/fio.h"
#include "wtfile.h"
#include "wtmessage.h"
#include "wtnull.h"

extern "C" KtWorkTableManager* ktwtCreateManager(const KtbString& accessKey, const KtbString& directories, KtbString* error) {
    auto* manager = new (std::nothrow) KTWTManagerImpl(accessKey, directories, error);
    if (manager == nullptr) return nullptr;
    // The error text alone decides, as callers have always relied on; a manager without its lock could not work in any case.
    if (error->length() == 0 && manager->isComplete()) return manager;
    delete manager;
    return nullptr;
}

KTWTManagerImpl::KTWTManagerImpl(const KtbString& accessKey, const KtbString& directories, KtbString* error)
    : uniqueKey_(ktbGetUUID()), accessKey_(accessKey), directoryList_(directories) {
    // A copy that memory could not hold must not pass for a text that the caller left out.
    const bool copied = accessKey_.isNull() == accessKey.isNull() && directoryList_.isNull() == directories.isNull();
    if (uniqueKey_.isNull() || !copied) {
        *error = KTWT_MESSAGE(29, "(manager keys)");
        return;
    }
    if (directoryList_.length() == 0 && !findDirectories(error)) return;
    directoryList_.length();  // counted now, so that several threads can copy it later
    if (!splitDirectories(error)) return;
    managerLock_ = ktLockCreate(0, 0);
    if (managerLock_ == nullptr) *error = KTWT_MESSAGE(29, "(work table lock)");
}

KTWTManagerImpl::~KTWTManagerImpl() {
    if (datafileManager_ != nullptr) datafileManager_->release();
    if (managerLock_ != nullptr) ktLockDestroy(managerLock_);
}

// A system that has no directory for temporary files leaves the list empty, which is no failure.
bool KTWTManagerImpl::findDirectories(KtbString* error) {
    char buffer[np_path_max];
    directoryList_ = KtbString();
    const bool configured = ktbGetConfigOptions(KtbString())->getValue("BASE/TEMP", &directoryList_, 0);
    if (!configured && np_fio_tmpdir(buffer, sizeof buffer) == np_ok) directoryList_.assign(buffer);
    if (directoryList_.isNull()) *error = KTWT_MESSAGE(29, "(directory array)");
    return !directoryList_.isNull();
}

namespace {

// Takes the next entry off a list of directories; false when there is none left. A separator at the end begins no entry.
bool nextDirectory(const char** list, int* bytes, const char** entry) {
    if (**list == '\0') return false;
    *entry = *list;
    const char* separator = std::strchr(*list, np_dir_listsep);
    const char* end = separator != nullptr ? separator : *list + std::strlen(*list);
    *bytes = static_cast<int>(end - *list);
    *list = separator != nullptr ? separator + 1 : end;
    return true;
}

}  // namespace

bool KTWTManagerImpl::splitDirectories(KtbString* error) {
    const char* entry = nullptr;
    int bytes = 0;
    for (const char* rest = directoryList_.asCstr(); nextDirectory(&rest, &bytes, &entry);) ++directoryCount_;

    directories_.reset(new (std::nothrow) KtbString[static_cast<std::size_t>(directoryCount_)]);
    bool stored = directories_ != nullptr;
    const char* rest = directoryList_.asCstr();
    for (int i = 0; stored && nextDirectory(&rest, &bytes, &entry); ++i) {
        KtbString& directory = directories_[static_cast<std::size_t>(i)];
        directory.assign(entry, bytes);
        directory.length();  // counted now, so that several threads can ask for it later
        stored = !directory.isNull();
    }
    if (!stored) *error = KTWT_MESSAGE(29, "(directory array)");
    return stored;
}

const KtbString& KTWTManagerImpl::directoryAt(int index) const {
    static const KtbString outOfRange(nullptr);
    return index >= 0 && index < directoryCount_ ? directories_[static_cast<std::size_t>(index)] : outOfRange;
}

KtbString KTWTManagerImpl::getAccessKey() { return accessKey_; }
KtbString KTWTManagerImpl::getDirectories() { return directoryList_; }
KtbString KTWTManagerImpl::getError() { return ktwt::copyOfFailure(error_); }

void KTWTManagerImpl::release() {
    if (!ktwt::isNull(this)) delete this;
}

std::unique_ptr<KTWTFileImpl> KTWTManagerImpl::newTable(KtbString* error) {
    std::unique_ptr<KTWTFileImpl> table(new (std::nothrow) KTWTFileImpl(this));
    if (!table) *error = KTWT_MESSAGE(29, "(work table file instance)");
    return table;
}

// Makes a table object, lets `open` create or open it, and hands it out only when that succeeded.
template <class Open>
KtWorkTableFile* KTWTManagerImpl::openTable(Open open, KtbString* error) {
    std::unique_ptr<KTWTFileImpl> table = newTable(error);
    if (!table) return nullptr;
    if (open(*table)) return table.release();
    ktwt::setFailure(error, table->getError());
    return nullptr;
}

KtWorkTableFile* KTWTManagerImpl::create(int columns, long elementSize, KtbString* error) {
    return create(columns, 0, elementSize, error);
}

KtWorkTableFile* KTWTManagerImpl::create(int columns, int sortColumns, long elementSize, KtbString* error) {
    if (sortColumns > 0) {
        if (!enqueue(uniqueKey_, error)) return nullptr;
        const bool ready = ensureDatafileManager(error);
        dequeue(uniqueKey_);
        if (!ready) return nullptr;
    }
    return openTable([&](KTWTFileImpl& table) { return table.create(columns, sortColumns, elementSize); }, error);
}

KtWorkTableFile* KTWTManagerImpl::open(const KtbString& name, bool reversed, KtbString* error) {
    return openTable([&](KTWTFileImpl& table) { return table.open(name, reversed); }, error);
}

KtWorkTableFile* KTWTManagerImpl::open(const KtbString& name, int count, const KtbString* columns, long* range, bool reversed,
                                       KtbString* error) {
    return openTable([&](KTWTFileImpl& table) { return table.open(name, count, columns, range, reversed); }, error);
}

KtWorkTableFile* KTWTManagerImpl::open(const KtbString& name, int count, int* columns, long* range, bool reversed,
                                       KtbString* error) {
    return openTable([&](KTWTFileImpl& table) { return table.open(name, count, columns, range, reversed); }, error);
}

bool KTWTManagerImpl::remove(const KtbString& name, KtbString* error) {
    std::unique_ptr<KTWTFileImpl> table = newTable(error);
    if (!table) return false;
    const KtbString* noColumns = nullptr;
    if (table->open(name, 0, noColumns, nullptr, false) && table->remove()) return true;
    ktwt::setFailure(error, table->getError());
    return false;
}
