// What this library is. C and C++.
//
// Threads: constants, which any thread may read at any time.
#ifndef KTWT_VERSION_H
#define KTWT_VERSION_H

#include "ktb/export.h"

#ifdef __cplusplus
extern "C" {
#endif

extern KTB_API const char ktx_build_info[];     // "Work Table Library version 2.3 (build 26)"
extern KTB_API const char ktx_build_version[];  // "2.3"
extern KTB_API const int ktx_build_number;      // 26

#ifdef __cplusplus
}
#endif

#endif
