// Copy, append and partition of whole tables.
#include "wtmgr.h"

namespace {

bool refuse(const char* operation, KtbString* error) {
    *error = ktbStringFormat("This version of the work table library cannot %s work tables.", operation);
    return false;
}

}  // namespace

bool KTWTManagerImpl::append(const KtbString& target, const KtbString& source, KtbString* error) {
    return append(target, source, false, error);
}

bool KTWTManagerImpl::append(const KtbString&, const KtbString&, bool, KtbString* error) { return refuse("append", error); }

KtWorkTableFile* KTWTManagerImpl::copy(long, const KtbString&, const KtbString&, KtbString* error) {
    refuse("copy", error);
    return nullptr;
}

KtWorkTableFile* KTWTManagerImpl::copy(long, KtWorkTableManager*, const KtbString&, KtbString* error) {
    refuse("copy", error);
    return nullptr;
}

bool KTWTManagerImpl::copy(KtWorkTableFile*, KtWorkTableManager*, const KtbString&, KtbString* error) {
    return refuse("copy", error);
}

bool KTWTManagerImpl::partition(const KtbString&, int*, long*, KtbString* error) { return refuse("partition", error); }
