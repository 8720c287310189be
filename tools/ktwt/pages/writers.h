// The files that are written: each function returns the whole text of one.
#ifndef TOOLS_KTWT_PAGES_WRITERS_H
#define TOOLS_KTWT_PAGES_WRITERS_H

#include "command_facts.h"

// ktwt.1 and ktwt-NAME.1, for man.
std::string programPage(const CommandLine& line);
std::string commandPage(const CommandFacts& command, const std::vector<CommandFacts>& all);

// Complete commands, options, their values, names of tables and files.
std::string bashCompletion(const std::vector<CommandFacts>& commands);
std::string zshCompletion(const std::vector<CommandFacts>& commands);
std::string fishCompletion(const std::vector<CommandFacts>& commands);

#endif
