// What the fault tests play on: two work directories, a manager, and a table that was there before and must stay unharmed.
#ifndef TESTS_FAULT_STAGE_H
#define TESTS_FAULT_STAGE_H

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "support/faults.h"
#include "support/message_log.h"
#include "support/released.h"
#include "support/temp_directory.h"
#include "sweeps.h"
#include "wtelem.h"
#include "wtfile.h"
#include "wtmgr.h"

// The values of a row as texts; "-" stands for a null.
using Row = std::vector<std::string>;
using Rows = std::vector<Row>;

inline constexpr int columnCount = 5;
inline constexpr int rowCount = 6;

// Two rows of the tables here are larger than this, one is not, and row 3 is nearly nothing: the six rows are in three data
// elements, of 2, 3 and 1 rows.
inline constexpr long elementSize = 130;

// The name of a stored column; too long for a KtbString to hold without an allocation, and so are the texts in the rows.
const char* columnName(int column);

Rows rowsFrom(int first, int count);

// Rows as they were read. Turning a value into a text takes memory, so it waits until no fault is in force.
using ReadRows = std::vector<std::vector<KtbDatavar>>;

Rows textsOf(const ReadRows& rows);

class Stage {
public:
    Stage();
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;

    // Forgets messages and error text.
    void refresh();

    Table create() { return Table(manager->create(columnCount, elementSize, &error)); }

    // These take over the table's error text when they fail.
    bool define(KtWorkTableFile* table);
    bool append(KtWorkTableFile* table, const Rows& rows);
    bool close(KtWorkTableFile* table);

    // Creates a table, writes rows 0 to rowCount - 1, closes and releases it. Puts its name into *name.
    bool write(std::string* name);

    // The rows that are left of an open table; nothing when a read fails. A null table gives nothing.
    std::optional<ReadRows> read(KtWorkTableFile* table);

    // The rows of the table `name` as they are on disk now; nothing when it cannot be opened or read.
    std::optional<Rows> stored(const std::string& name);

    bool remove(const std::string& name) { return manager->remove(name.c_str(), &error); }

    // Expects what must be true whatever failed: no handle is open, and the earlier table has its rows.
    void expectUnharmed();

    // The paths of the files in the work directories that are not the earlier table's.
    std::vector<std::filesystem::path> strangers() const;

    // Expects that a table that could not be written has no file. Where nobody could clean up after it the files are orphans,
    // or the table is there with these rows, when only what comes after its last byte failed. A pair of faults may leave the
    // first of the rows, or a header that cannot be read without a failure.
    void expectGone(const Faults& faults, const std::string& name, const Rows& rows);

    // Deletes them, so that the next run begins where this one did.
    void clearAway() const;

    KTWTManagerImpl* impl() const { return static_cast<KTWTManagerImpl*>(manager.get()); }

    // The text of the first message since the last refresh(); empty when there is none.
    std::string firstMessage() const;

    // Whether a text may be told because a call of the file layer failed and an allocation besides: that of any message since
    // the last refresh(), or the one that stands for texts that memory could not hold.
    bool tellsOfPair(const Faults& faults, const std::string& text) const;

    TempDirectory home;
    std::string directories;  // the list of the two work directories
    MessageLog log;
    Manager manager;
    KtbString error;
    std::string kept;  // the earlier table's name

private:
    std::vector<std::filesystem::path> files() const;

    std::vector<std::filesystem::path> earlierFiles_;
};

// The message's text for these arguments.
template <class... Arguments>
std::string messageText(int number, Arguments... arguments) {
    return ktb_get_message("", 0, "", number, arguments...).asCstr();
}

// That the messages of the log are exactly this one.
template <class... Arguments>
void expectOnly(const MessageLog& log, const char* source, int number, Arguments... arguments) {
    const std::vector<MessageLog::Entry> entries = log.entries();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].source, source);
    EXPECT_EQ(entries[0].component, "Work table library");
    EXPECT_EQ(entries[0].number, number);
    EXPECT_EQ(entries[0].text, messageText(number, arguments...));
}

#endif
