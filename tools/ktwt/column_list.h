// Lists of columns as the command line has them: "city,inhabitants=people".
#ifndef TOOLS_KTWT_COLUMN_LIST_H
#define TOOLS_KTWT_COLUMN_LIST_H

#include <string>
#include <vector>

#include "library.h"

// A column that is to be seen: under `name`, from the stored column `source`. Both are the same unless it is renamed.
struct ChosenColumn {
    std::string name;
    std::string source;
};

// A column whose value is the same in every row. An empty text is null.
struct ConstantColumn {
    std::string name;
    ktbType type = ktbTypeString;
    std::string text;
};

// Understand "NAME,NAME=SOURCE,..." and "NAME:TYPE=TEXT". A '\' takes the next character as it is, so that any name can be
// written; what follows the '=' of a constant is taken as it is in any case. Return what is wrong, empty when nothing is.
std::string parseColumnList(const std::string& text, std::vector<ChosenColumn>* columns);
std::string parseConstant(const std::string& text, ConstantColumn* constant);

#endif
