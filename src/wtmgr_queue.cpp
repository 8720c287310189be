// The named locks. One short list under the manager's lock says who holds or waits for which name; each name has a lock of its
// own, which callers wait for after they let go of the manager's. An element lives until the last of its holders dequeues it.
#include <new>

#include "wtmessage.h"
#include "wtmgr.h"

// The link that leads to the element of that name, or to the null at the end. Only under the manager's lock.
KTWTQueueElement** KTWTManagerImpl::findQueueElement(const KtbString& name) {
    KTWTQueueElement** link = &queueHead_;
    while (*link != nullptr && (*link)->name.compare(name, true) != 0) link = &(*link)->next;
    return link;
}

KTWTQueueElement* KTWTManagerImpl::newQueueElement(const KtbString& name, KtbString* error) {
    std::unique_ptr<KTWTQueueElement> element(new (std::nothrow) KTWTQueueElement);
    if (element) element->name = name;
    if (!element || element->name.compare(name, true) != 0) {  // the copy of the name needs memory, too
        *error = KTWT_MESSAGE(29, "(enqueue work table element)");
        return nullptr;
    }
    element->lock = ktLockCreate(0, 0);
    if (element->lock == nullptr) {
        *error = KTWT_MESSAGE(29, "(enqueue work table lock)");
        return nullptr;
    }
    return element.release();
}

bool KTWTManagerImpl::enqueue(const KtbString& name, KtbString* error) {
    ktLockGet(managerLock_, lockExclusive, lockWait);
    if (KTWTQueueElement* element = *findQueueElement(name)) {
        ++element->holders;
        ktLockRelease(managerLock_);
        ktLockGet(element->lock, lockExclusive, lockWait);  // our count keeps the element alive while we wait
        return true;
    }
    KTWTQueueElement* element = newQueueElement(name, error);
    if (element != nullptr) {
        element->next = queueHead_;
        queueHead_ = element;
        ktLockGet(element->lock, lockExclusive, lockWait);  // cannot wait: nobody else has seen the element yet
        ++element->holders;
    }
    ktLockRelease(managerLock_);
    return element != nullptr;
}

void KTWTManagerImpl::dequeue(const KtbString& name) {
    ktLockGet(managerLock_, lockExclusive, lockWait);
    KTWTQueueElement** link = findQueueElement(name);
    KTWTQueueElement* element = *link;
    const bool last = element != nullptr && --element->holders == 0;
    // Once the name's lock is released a waiter may take it, dequeue the name and free the element: remember the lock now.
    const ktLock lock = element != nullptr ? element->lock : nullptr;
    if (last) *link = element->next;
    ktLockRelease(managerLock_);
    if (element == nullptr) return;
    ktLockRelease(lock);
    if (!last) return;
    ktLockDestroy(lock);
    delete element;
}
