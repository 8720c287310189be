// Copy, append and partition of whole tables: the manager finds and opens the tables, which move or count the rows.
#include <new>

#include "wtfile.h"
#include "wtmessage.h"
#include "wtmgr.h"

namespace {

bool refuse(const char* text, KtbString* error) {
    *error = KtbString(text, true);
    return false;
}

constexpr char noOwner[] = "A work table cannot be copied without the manager that owns it.";
constexpr char noTarget[] = "A work table cannot be copied into a target that is not given.";
constexpr char noRanges[] = "A work table cannot be partitioned without a place for the row ranges.";

}  // namespace

// `target` null: a new table is made here.
KtWorkTableFile* KTWTManagerImpl::copy(KtWorkTableFile* target, KTWTManagerImpl* owner, long elementSize,
                                       const KtbString& source, KtbString* error) {
    const std::unique_ptr<KTWTFileImpl> from = owner->newTable(error);
    if (!from) return nullptr;
    if (!from->open(source, false)) {
        ktwt::setFailure(error, from->getError());
        return nullptr;
    }
    KtWorkTableFile* to = target != nullptr ? target : create(from->getColumns(), elementSize, error);
    if (to == nullptr) return nullptr;
    if (static_cast<KTWTFileImpl*>(to)->copy(from.get())) return to;
    ktwt::setFailure(error, to->getError());
    if (target == nullptr) to->release();  // a created table that ends with an error is removed
    return nullptr;
}

KtWorkTableFile* KTWTManagerImpl::copy(long elementSize, KtWorkTableManager* owner, const KtbString& source, KtbString* error) {
    if (owner == nullptr) {
        refuse(noOwner, error);
        return nullptr;
    }
    return copy(nullptr, static_cast<KTWTManagerImpl*>(owner), elementSize, source, error);
}

bool KTWTManagerImpl::copy(KtWorkTableFile* target, KtWorkTableManager* owner, const KtbString& source, KtbString* error) {
    if (target == nullptr) return refuse(noTarget, error);
    if (owner == nullptr) return refuse(noOwner, error);
    auto* table = static_cast<KTWTFileImpl*>(target);
    if (table->isFinished()) {  // an error text in the table itself would cost its rows when it is released
        *error = KTWT_MESSAGE(1768);
        return false;
    }
    if (copy(target, static_cast<KTWTManagerImpl*>(owner), 0, source, error) == nullptr) return false;
    if (table->close() && table->open(KtbString(), false)) return true;
    ktwt::setFailure(error, table->getError());
    return false;
}

KtWorkTableFile* KTWTManagerImpl::copy(long elementSize, const KtbString& accessKey, const KtbString& source,
                                       KtbString* error) {
    if (accessKey.cStrSize() == 1 || accessKey.compare(accessKey_, true) == 0) {
        return copy(nullptr, this, elementSize, source, error);
    }
    KtWorkTableManager* owner = ktwtCreateManager(accessKey, directoryList_, error);
    if (owner == nullptr) {
        const KtbString reason = *error;
        *error = KTWT_MESSAGE(1781, reason.asCstr());
        return nullptr;
    }
    KtWorkTableFile* table = copy(nullptr, static_cast<KTWTManagerImpl*>(owner), elementSize, source, error);
    owner->release();
    return table;
}

bool KTWTManagerImpl::append(const KtbString& target, const KtbString& source, KtbString* error) {
    return append(target, source, false, error);
}

bool KTWTManagerImpl::append(const KtbString& target, const KtbString& source, bool noLock, KtbString* error) {
    const std::unique_ptr<KTWTFileImpl> table(new (std::nothrow) KTWTFileImpl(this));
    if (!table) {
        *error = KTWT_MESSAGE(29, "(work table instance)");
        return false;
    }
    if (!noLock && !enqueue(target, error)) {
        const KtbString reason = *error;
        *error = KTWT_MESSAGE(1780, reason.asCstr());
        return false;
    }
    const bool appended = table->open(target, false, nullptr, false) && table->append(source);
    const bool ended = table->endAppending();  // whoever gets the name next must find a finished table
    if (!noLock) dequeue(target);
    if (appended && ended) return true;
    ktwt::setFailure(error, table->getError());
    return false;
}

bool KTWTManagerImpl::partition(const KtbString& name, int* parts, long* ranges, KtbString* error) {
    if (parts == nullptr || (ranges == nullptr && *parts > 0)) return refuse(noRanges, error);
    const std::unique_ptr<KTWTFileImpl> table = newTable(error);
    if (!table) return false;
    if (table->open(name, false) && table->partition(parts, ranges)) return true;
    ktwt::setFailure(error, table->getError());
    return false;
}
