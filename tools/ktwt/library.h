// The library as the commands use it: objects that end themselves, and failures as outcomes.
#ifndef TOOLS_KTWT_LIBRARY_H
#define TOOLS_KTWT_LIBRARY_H

#include <ktb/worktable_uri.h>
#include <ktwt/ktwt.h>

#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>
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

// Opens a table for reading by its name or its URI, which must choose columns. People are told of those that are not there.
Outcome openTable(KtWorkTableManager& manager, const std::string& nameOrUri, bool reversed, Table* table);

// Reads a URI; *uri stays null when the text is a name. Fails for what begins like a URI of a work table and is none.
Outcome readUri(const std::string& nameOrUri, Uri* uri);

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

// The columns that the table of that name stores.
Outcome storedColumns(KtWorkTableManager& manager, const KtbString& name, std::vector<ColumnInfo>* columns);

// The number of the column of that name, letter case ignored; -1 when there is none.
int columnNamed(const std::vector<ColumnInfo>& columns, const std::string& name);

// Finds columns by their names, letter case ignored, in no more time when there are many.
class ColumnNames {
public:
    explicit ColumnNames(const std::vector<ColumnInfo>& columns);
    bool has(const std::string& name) const;

private:
    std::unordered_set<std::string> names_;
};

// Tells people of the columns that the URI names and the table does not have: the library shows nulls for them. Tells nothing
// of a table that cannot be opened.
void tellOfMissingColumns(KtWorkTableManager& manager, const std::string& what, KtWorkTableURI& uri);

// "city, people": for those who asked for a column that is not there.
std::string namesOf(const std::vector<ColumnInfo>& columns);

#endif
