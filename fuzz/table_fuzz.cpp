// All files of a table: read, copied, appended to others and appended to.
//
//     | options | header, length and bytes | index 0 | data 0 | index 1 | data 1 |      each with its length in two bytes
//
// Whatever the files are, what the library writes from them is a table that reads back as the source did.
#include <algorithm>

#include "table_reading.h"

using namespace fuzzing;

namespace {

constexpr char headerName[] = "ktwt_fuzz";
constexpr int elements = 2;

class Files {
public:
    explicit Files(Input& input) {
        names_.emplace_back(headerName);
        for (int i = 0; i < elements; ++i) {
            names_.push_back(indexName(i));
            names_.push_back(dataName(i));
        }
        for (std::size_t i = 0; i < names_.size(); ++i) bytes_.push_back(input.text());
    }

    void place() const {
        for (std::size_t i = 0; i < names_.size(); ++i) Place::get().put(names_[i], bytes_[i]);
    }
    long rowsMax() const {
        std::size_t others = 0;
        for (std::size_t i = 1; i < bytes_.size(); ++i) others += bytes_[i].size();
        return rowsJustified(bytes_[0].size(), others);
    }
    bool has(const std::string& name) const { return std::find(names_.begin(), names_.end(), name) != names_.end(); }
    const std::string& header() const { return bytes_[0]; }

private:
    std::vector<std::string> names_;
    std::vector<std::string> bytes_;
};

Rows rowsOf(const KtbString& name, long rowsMax, bool reversed, bool* whole) {
    Rows rows;
    KtbString error;
    *whole = false;
    const Table table(manager().open(name, reversed, &error));
    if (table) readRows(*table, rowsMax, whole, &rows);
    return rows;
}

// A table that the library wrote can be read as a whole, both ways alike.
Rows rowsOfGood(const KtbString& name, long rowsMax) {
    bool whole = false;
    Rows rows = rowsOf(name, rowsMax, false, &whole);
    require(whole, "a table that the library wrote can be read");
    Rows reversed = rowsOf(name, rowsMax, true, &whole);
    std::reverse(reversed.begin(), reversed.end());
    require(whole && reversed == rows, "a table that the library wrote can be read backwards");
    // A copy without rows takes columns over as they are; those that no table has can take no row.
    require(findingsIn(name, rowsMax) == 0 || rows.empty(), "a table that the library wrote is sound");
    return rows;
}

void remove(const KtbString& name) {
    KtbString error;
    require(manager().remove(name, &error), "a table that the library wrote can be removed");
}

// The name of a closed copy; empty when the table could not be copied.
KtbString copyOf(const KtbString& source, long elementSize) {
    KtbString error;
    const Table copy(manager().copy(elementSize, &manager(), source, &error));
    require(copy != nullptr || error.length() != 0, "a table that cannot be copied has its reason");
    if (!copy) return KtbString();
    require(copy->close(), "a copy can be closed");
    return copy->getName();
}

// Whether a text column cuts what is longer, so that a copy need not be like its source.
bool cutsTexts(const KtbString& name) {
    KtbString error;
    const Table table(manager().open(name, false, &error));
    bool cuts = false;
    for (int i = 0; table && i < table->getColumns(); ++i) {
        int width = 0;
        cuts = cuts || (table->getColumnInfo(i, nullptr, nullptr, &width, nullptr) && width > 0);
    }
    return cuts;
}

// Whether every value was of its column's type; others are converted when they are copied.
bool isOfItsTypes(const Rows& rows) {
    return std::none_of(rows.begin(), rows.end(),
                        [](const std::string& row) { return row.find(ofAnotherType) != std::string::npos; });
}

void appendTo(const KtbString& copy, const Rows& before, long rowsMax) {
    KtbString error;
    const bool appended = manager().append(copy, headerName, &error);
    require(appended || error.length() != 0, "rows that cannot be appended have their reason");
    const Rows after = rowsOfGood(copy, 2 * rowsMax);
    require(!appended || after.size() == 2 * before.size(), "rows are appended once each");
    require(after.size() >= before.size() && std::equal(before.begin(), before.end(), after.begin()),
            "the rows before stay what they were");
}

// Returns whether the input's table may have taken rows: those before one that cannot be read stay.
bool appendToInput(const Files& files, const KtbString& source) {
    KtbString error;
    const bool appended = manager().append(headerName, source, &error);
    require(appended || error.length() != 0, "rows that cannot be appended have their reason");
    return appended || Place::get().bytesOf(headerName) != files.header();
}

// Returns whether the input's table took rows.
bool copyAndAppend(const Files& files, long elementSize) {
    const KtbString copy = copyOf(headerName, elementSize);
    if (copy.length() == 0) return false;
    const Rows rows = rowsOfGood(copy, files.rowsMax());
    bool whole = false;
    const Rows source = rowsOf(headerName, files.rowsMax(), false, &whole);
    require(whole && source.size() == rows.size(), "a copy has as many rows as its source");
    require(source == rows || cutsTexts(headerName) || !isOfItsTypes(source), "a copy has the rows of its source");
    appendTo(copy, rows, files.rowsMax());
    const bool changed = appendToInput(files, copy);
    remove(copy);
    return changed;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    manager();
    const Watch watch;
    Input input(data, size);
    const unsigned options = input.byte();
    const Files files(input);
    files.place();
    Input choices(data, size);
    readInEveryWay(headerName, files.rowsMax(), choices);
    bool changed = copyAndAppend(files, options & 127);
    if ((options & 128) != 0) {
        files.place();
        changed = appendToInput(files, headerName) || changed;
    }
    KtbString error;
    manager().remove(headerName, &error);
    for (const std::string& name : Place::get().names()) {
        // A damaged table that took rows has data elements of its own, and may not be one that can be removed.
        require(changed || files.has(name), "nothing is left behind");
    }
    Place::get().clear();
    return 0;
}
