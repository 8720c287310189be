// Process-wide services: configuration options and unique names.
//
// Threads: safe from any thread, as long as no thread changes the environment at the same time.
#ifndef KTB_CONFIG_H
#define KTB_CONFIG_H

#include "ktb/export.h"
#include "ktb/string.h"

// The configuration options of the process. Owned by the base services, never released by a caller.
class KtbConfigOptions {
public:
    // Whether the option is set to a text that is not empty.
    virtual bool isSet(const KtbString& key) = 0;

    // Puts the option's text into *value and returns true; returns false and leaves *value alone when the option is absent.
    // The option "BASE/TEMP" is the environment variable KTB_BASE_TEMP (KTB_, then the key in capitals with every character
    // but letters and digits as an underscore), else the line "BASE/TEMP = text" of the file that the environment variable
    // KTB_OPTIONS names ('#' begins a comment line, blanks around key and text are dropped, the first such line counts).
    // An empty text counts as absent. When memory is exhausted *value becomes null and the result is true: what may be set must
    // not pass for absent. `flags` is reserved and should be 0.
    virtual bool getValue(const KtbString& key, KtbString* value, int flags) = 0;

protected:
    ~KtbConfigOptions() = default;
};

// Returns the options of the named application; the name is reserved and should be empty. Never null.
KTB_API KtbConfigOptions* ktbGetConfigOptions(const KtbString& application);

// Returns a fresh random UUID (RFC 4122, version 4) as 36 characters in lower case. Null when memory is exhausted or the
// system gives no random bytes. Safe from any thread.
KTB_API KtbString ktbGetUUID();

#endif
