// What is true of every command: told by --help, the man pages and docs/tool.md alike.
#ifndef TOOLS_KTWT_FACTS_H
#define TOOLS_KTWT_FACTS_H

struct Fact {
    const char* name;
    const char* text;
};

// See outcome.h.
inline constexpr Fact exitStatuses[] = {
    {"0", "done"},
    {"1", "the answer is no: tables differ, a table is damaged"},
    {"2", "wrong usage: an option, a column or a number that makes no sense here"},
    {"3", "a file or table cannot be opened, read or written"},
    {"4", "the disk is full, or memory exhausted"},
    {"6", "the bytes of a table or an input are not what they should be"},
    {"7", "cancelled by Ctrl-C, or because nobody reads the output any more"},
};

inline constexpr Fact environmentVariables[] = {
    {"KTB_BASE_TEMP", "The work directories, with ':' between them, unless --dirs is given."},
    {"KTB_OPTIONS", "A file with a line \"BASE/TEMP = DIRS\", which is looked at when KTB_BASE_TEMP is not set."},
    {"TMPDIR", "The work directory when nothing else tells; /tmp without it."},
    {"NO_COLOR", "Anything but an empty text: nothing on a terminal is bold or coloured."},
};

#endif
