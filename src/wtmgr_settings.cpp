// The sort manager: made on first need, configured and used under the unique key's named lock. This manager keeps no setting of
// its own.
#include "wtmgr.h"

// Only while the unique key's named lock is held. A failed creation is tried again at the next need.
bool KTWTManagerImpl::ensureDatafileManager(KtbString* error) {
    if (datafileManager_ == nullptr) datafileManager_ = ktDatafileManagerCreate(directoryList_, error);
    return datafileManager_ != nullptr;
}

template <class Apply>
bool KTWTManagerImpl::applySetting(Apply apply) {
    if (!enqueue(uniqueKey_, &error_)) return false;
    bool applied = ensureDatafileManager(&error_);
    if (applied) {
        applied = apply(*datafileManager_);
        if (!applied) error_ = datafileManager_->getError();
    }
    dequeue(uniqueKey_);
    return applied;
}

bool KTWTManagerImpl::setChunkSize(unsigned long bytes) {
    return applySetting([=](KtDatafileManager& sort) { return sort.setChunkSize(bytes); });
}

bool KTWTManagerImpl::setSortMarkByGroups(bool on) {
    return applySetting([=](KtDatafileManager& sort) { return sort.setSortMarkByGroups(on); });
}

bool KTWTManagerImpl::setSortNoCodeGen(bool on) {
    return applySetting([=](KtDatafileManager& sort) { return sort.setSortNoCodeGen(on); });
}

bool KTWTManagerImpl::setSortNoDups(bool on) {
    return applySetting([=](KtDatafileManager& sort) { return sort.setSortNoDups(on); });
}

bool KTWTManagerImpl::setSortProcessors(int processors) {
    return applySetting([=](KtDatafileManager& sort) { return sort.setSortProcessors(processors); });
}

bool KTWTManagerImpl::setSortRecords(unsigned long records) {
    return applySetting([=](KtDatafileManager& sort) { return sort.setSortRecords(records); });
}

bool KTWTManagerImpl::setSortSize(unsigned long bytes) {
    return applySetting([=](KtDatafileManager& sort) { return sort.setSortSize(bytes); });
}

bool KTWTManagerImpl::setSortStable(bool on) {
    return applySetting([=](KtDatafileManager& sort) { return sort.setSortStable(on); });
}

// Tables of several threads come here, where two at a time may fail.
KtDatafileManager* KTWTManagerImpl::getDatafileManager(bool* held, KtbString* error) {
    *held = enqueue(uniqueKey_, error);
    if (*held) return datafileManager_;
    ktLockGet(managerLock_, lockExclusive, lockWait);
    error_ = *error;
    ktLockRelease(managerLock_);
    return nullptr;
}

void KTWTManagerImpl::releaseDatafileManager(bool held) {
    if (held) dequeue(uniqueKey_);
}
