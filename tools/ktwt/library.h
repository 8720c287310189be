// The library as the commands use it: objects that end themselves, and failures as outcomes.
#ifndef TOOLS_KTWT_LIBRARY_H
#define TOOLS_KTWT_LIBRARY_H

#include <ktb/worktable_uri.h>
#include <ktwt/ktwt.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "outcome.h"

struct Release {
    template <class Object>
    void operator()(Object* object) const {
        object->release();
    }
};

using Manager = std::unique_ptr<KtWorkTableManager, Release>;
using Table = std::unique_ptr<KtWorkTableFile, Release>;
using Uri = std::unique_ptr<KtWorkTableURI, Release>;

// The options that every command has.
struct Session {
    std::string directories;  // the work directories, as ktwtCreateManager takes them; empty: the library's own choice
};

// The bytes of a text, which live as long as the text does.
inline std::string_view viewOf(const KtbString& text) { return {text.asCstr(), static_cast<std::size_t>(text.cStrSize() - 1)}; }
inline std::string textOf(const KtbString& text) { return std::string(viewOf(text)); }

// What the library said about `what`, with the status that its message number stands for. Without `what` the text stands alone.
Outcome libraryFailure(const std::string& what, const KtbString& text);

// Whether the library said that there is no such file.
bool isMissing(const KtbString& text);

Outcome makeManager(const Session& session, Manager* manager);

// Opens a table for reading by its name or its URI, which must choose columns.
Outcome openTable(KtWorkTableManager& manager, const std::string& nameOrUri, bool reversed, Table* table);

// The name of the table that a name or URI stands for.
std::string tableNameOf(const std::string& nameOrUri);

struct ColumnInfo {
    std::string name;
    ktbType type = ktbTypeNone;
    int width = 0;    // bytes to which texts are cut; 0 when they are not
    int longest = 0;  // bytes of the longest stored text, its NUL included
};

// The columns that this opening of the table shows.
Outcome columnsOf(KtWorkTableFile& table, std::vector<ColumnInfo>* columns);

// The number of the column of that name, letter case ignored; -1 when there is none.
int columnNamed(const std::vector<ColumnInfo>& columns, const std::string& name);

// "city, people": for those who asked for a column that is not there.
std::string namesOf(const std::vector<ColumnInfo>& columns);

#endif
