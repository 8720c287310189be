// KTWTManagerImpl: the work directories, the keys, the named locks, and the operations on whole tables.
#ifndef KTWT_WTMGR_H
#define KTWT_WTMGR_H

#include <memory>

#include "ktb/lock.h"
#include "ktwt/manager.h"

class KTWTFileImpl;

// A name that somebody holds or waits for.
struct KTWTQueueElement {
    KTWTQueueElement* next = nullptr;
    KtbString name;
    ktLock lock = nullptr;
    int holders = 0;  // callers that hold the name or wait for it; changed only under the manager's lock
};

class KTWTManagerImpl : public KtWorkTableManager {
public:
    KTWTManagerImpl(const KtbString& accessKey, const KtbString& directories, KtbString* error);

    bool setChunkSize(unsigned long bytes) override;
    bool setSortMarkByGroups(bool on) override;
    bool setSortNoCodeGen(bool on) override;
    bool setSortNoDups(bool on) override;
    bool setSortProcessors(int processors) override;
    bool setSortRecords(unsigned long records) override;
    bool setSortSize(unsigned long bytes) override;
    bool setSortStable(bool on) override;

    bool append(const KtbString& target, const KtbString& source, KtbString* error) override;
    bool append(const KtbString& target, const KtbString& source, bool noLock, KtbString* error) override;
    KtWorkTableFile* copy(long elementSize, const KtbString& accessKey, const KtbString& source, KtbString* error) override;
    KtWorkTableFile* copy(long elementSize, KtWorkTableManager* owner, const KtbString& source, KtbString* error) override;
    bool copy(KtWorkTableFile* target, KtWorkTableManager* owner, const KtbString& source, KtbString* error) override;
    KtWorkTableFile* create(int columns, long elementSize, KtbString* error) override;
    KtWorkTableFile* create(int columns, int sortColumns, long elementSize, KtbString* error) override;
    void dequeue(const KtbString& name) override;
    bool enqueue(const KtbString& name, KtbString* error) override;
    KtbString getAccessKey() override;
    KtbString getDirectories() override;
    KtbString getError() override;
    KtWorkTableFile* open(const KtbString& name, bool reversed, KtbString* error) override;
    KtWorkTableFile* open(const KtbString& name, int count, const KtbString* columns, long* range, bool reversed,
                          KtbString* error) override;
    KtWorkTableFile* open(const KtbString& name, int count, int* columns, long* range, bool reversed,
                          KtbString* error) override;
    bool partition(const KtbString& name, int* parts, long* ranges, KtbString* error) override;
    void release() override;
    bool remove(const KtbString& name, KtbString* error) override;

    virtual ~KTWTManagerImpl();

    // What the copies share: copies `source`, found through `owner`, into `target`, or into a new table of this manager when
    // that is null. Returns the target, still open for writing; null on failure.
    KtWorkTableFile* copy(KtWorkTableFile* target, KTWTManagerImpl* owner, long elementSize, const KtbString& source,
                          KtbString* error);

    // Whether the constructor came through; when not, the error it was given says why.
    bool isComplete() const { return managerLock_ != nullptr; }

    int getDirectoryCount() const { return directoryCount_; }

    // The entry at `index`, 0 to the count - 1; an index out of range gives a null text.
    KtbString getDirectory(int index) const { return directoryAt(index); }
    const KtbString& directoryAt(int index) const;

    // Borrow the sort manager, under the named lock that serialises its use; null when none was made, or when the lock cannot
    // be taken, with the reason in *error and in getError(). Each call is matched by one releaseDatafileManager() with the same
    // *held: a lock that was not taken is not let go of.
    KtDatafileManager* getDatafileManager(bool* held, KtbString* error);
    void releaseDatafileManager(bool held);

private:
    static constexpr char messageSource[] = "wtmgr";

    // Every lock is taken exclusively and waited for.
    static constexpr int lockExclusive = 1;
    static constexpr int lockWait = 1;

    bool findDirectories(KtbString* error);
    bool splitDirectories(KtbString* error);

    bool ensureDatafileManager(KtbString* error);
    template <class Apply>
    bool applySetting(Apply apply);

    std::unique_ptr<KTWTFileImpl> newTable(KtbString* error);
    template <class Open>
    KtWorkTableFile* openTable(Open open, KtbString* error);

    KTWTQueueElement* newQueueElement(const KtbString& name, KtbString* error);
    KTWTQueueElement** findQueueElement(const KtbString& name);

    const KtbString uniqueKey_;  // the name under which this manager serialises its own use of the sort manager
    const KtbString accessKey_;
    KtbString directoryList_;
    int directoryCount_ = 0;
    std::unique_ptr<KtbString[]> directories_;
    ktLock managerLock_ = nullptr;  // guards the queue: its links and the holders' counts
    KTWTQueueElement* queueHead_ = nullptr;
    KtbString error_;
    KtDatafileManager* datafileManager_ = nullptr;  // made on first need, under the unique key's named lock
};

#endif
