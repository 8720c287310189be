// Standard input, output and error, which a program can be started without.
#ifndef TOOLS_KTWT_STANDARD_STREAMS_H
#define TOOLS_KTWT_STANDARD_STREAMS_H

// Holds the places of those that are closed: else the next file that is opened, perhaps a table, would take the place, and get
// what is meant for people. Reading from such a place and writing to it fails as if it were closed. Returns false when it
// cannot be done; no file must be opened then.
bool holdStandardStreams();

#endif
