// Marks what the base services export; everything else in the library stays hidden.
//
// Threads: only macros, which are of no concern to them.
#ifndef KTB_EXPORT_H
#define KTB_EXPORT_H

#if defined(__GNUC__)
#define KTB_API __attribute__((visibility("default")))
#define KTB_PRINTF(formatArgument, firstArgument) __attribute__((format(printf, formatArgument, firstArgument)))
#else
#define KTB_API
#define KTB_PRINTF(formatArgument, firstArgument)
#endif

#endif
