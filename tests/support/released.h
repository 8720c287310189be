// Objects of the library, ended by their own release() when they go out of scope.
#ifndef KTWT_TESTS_RELEASED_H
#define KTWT_TESTS_RELEASED_H

#include <memory>

#include "ktwt/ktwt.h"

struct Release {
    template <class Object>
    void operator()(Object* object) const {
        object->release();
    }
};

using Manager = std::unique_ptr<KtWorkTableManager, Release>;
using Table = std::unique_ptr<KtWorkTableFile, Release>;

#endif
