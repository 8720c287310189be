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

// For lists of other kinds. The name from *place on to the next of the `marks` or the end, where *place then is; a '\' as
// above.
std::string nextName(const std::string& text, const char* marks, std::size_t* place);

// Understands the name of a type. Returns what is wrong, empty when nothing is.
std::string parseType(const std::string& text, ktbType* type);

// Names are those of one column when they differ in nothing but the case of letters, as everywhere in the library.
bool isSameName(const std::string& a, const std::string& b);

#endif
