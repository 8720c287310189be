// Numbers as people read them.
#ifndef TOOLS_KTWT_HUMAN_H
#define TOOLS_KTWT_HUMAN_H

#include <string>

// "1.4 GiB", "37 B": three figures at least, in powers of 1024.
std::string humanBytes(long bytes);

// "1,234,567".
std::string humanCount(long count);

// "2:05" minutes and seconds, "1:02:05" hours; from a day on "2 d 3 h". Rounded up, since nobody minds being early.
std::string humanTime(double seconds);

// How long ago something was: "12 s", "3 min", "5 h", "400 d". Rounded down; what lies in the future was just now.
std::string humanAge(long seconds);

#endif
