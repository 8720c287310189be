// A limit of this process, lowered for as long as the object lives.
#ifndef TESTS_SORT_RESOURCE_LIMIT_H
#define TESTS_SORT_RESOURCE_LIMIT_H

#include <sys/resource.h>

class ResourceLimit {
public:
    ResourceLimit(__rlimit_resource kind, rlim_t limit) : kind_(kind) {
        getrlimit(kind_, &before_);
        const rlimit lowered = {limit, before_.rlim_max};
        inForce_ = setrlimit(kind_, &lowered) == 0;
    }
    ResourceLimit(const ResourceLimit&) = delete;
    ResourceLimit& operator=(const ResourceLimit&) = delete;
    ~ResourceLimit() { setrlimit(kind_, &before_); }

    bool inForce() const { return inForce_; }

private:
    __rlimit_resource kind_;
    rlimit before_ = {};
    bool inForce_ = false;
};

#endif
