// Every command, made by the file that is named for it.
#ifndef TOOLS_KTWT_COMMANDS_H
#define TOOLS_KTWT_COMMANDS_H

#include <memory>

#include "command.h"

std::unique_ptr<Command> makeAppendCommand();
std::unique_ptr<Command> makeCatCommand();
std::unique_ptr<Command> makeCompareCommand();
std::unique_ptr<Command> makeCopyCommand();
std::unique_ptr<Command> makeDuCommand();
std::unique_ptr<Command> makeHeadCommand();
std::unique_ptr<Command> makeImportCommand();
std::unique_ptr<Command> makeInfoCommand();
std::unique_ptr<Command> makeLsCommand();
std::unique_ptr<Command> makePartitionCommand();
std::unique_ptr<Command> makeRmCommand();
std::unique_ptr<Command> makeSortCommand();
std::unique_ptr<Command> makeSweepCommand();
std::unique_ptr<Command> makeUriCommand();
std::unique_ptr<Command> makeVerifyCommand();

#endif
