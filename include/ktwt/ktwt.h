// Everything that a caller of the Work Table Library includes.
//
// Threads: each header says what they may do with what is in it.
#ifndef KTWT_KTWT_H
#define KTWT_KTWT_H

#include "ktb/message.h"
#include "ktb/worktable_uri.h"
#include "ktwt/bytes.h"
#include "ktwt/cursor.h"
#include "ktwt/file.h"
#include "ktwt/inspect.h"
#include "ktwt/ktwf.h"
#include "ktwt/manager.h"
#include "ktwt/sweep.h"
#include "ktwt/version.h"

#endif
