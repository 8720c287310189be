#include "ktb/sort.h"

KtDatafileManager* ktDatafileManagerCreate(const KtbString&, KtbString* error) {
    if (error) error->assign("Sorting is not part of this build of the base services.");
    return nullptr;
}
