// KTWT_TESTS_SANITIZED: whether this is a build in which a sanitizer watches memory or threads. Such a build is slow, and it
// brings an allocator of its own.
#ifndef TESTS_SUPPORT_SANITIZERS_H
#define TESTS_SUPPORT_SANITIZERS_H

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define KTWT_TESTS_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define KTWT_TESTS_SANITIZED 1
#endif
#endif

#ifndef KTWT_TESTS_SANITIZED
#define KTWT_TESTS_SANITIZED 0
#endif

#endif
