#include "stage.h"

#include <algorithm>

#include "ktwt/sweep.h"

namespace {

constexpr ktbType types[columnCount] = {ktbTypeInteger, ktbTypeString, ktbTypeDecimal, ktbTypeBoolean, ktbTypeDate};

std::string textOf(const KtbDatavar& value) { return value.isNull() ? "-" : value.asString().asCstr(); }

Row rowOf(int number) {
    if (number % 4 == 3) return {std::to_string(number), "-", "-", "-", "-"};
    const std::string digit = std::to_string(number % 10);
    return {std::to_string(number), "a text that does not fit into a string object, number " + digit, digit + ".50",
            number % 2 == 0 ? "true" : "false", "2001-02-0" + std::to_string(number % 9 + 1)};
}

}  // namespace

const char* columnName(int column) {
    static const char* const names[columnCount] = {
        "the column of the integers of the table", "the column of the texts of the table",
        "the column of the decimals of the table", "the column of the booleans of the table",
        "the column of the dates of the table"};
    return names[column];
}

Rows rowsFrom(int first, int count) {
    Rows rows;
    for (int i = first; i < first + count; ++i) rows.push_back(rowOf(i));
    return rows;
}

Rows textsOf(const ReadRows& rows) {
    Rows texts;
    for (const std::vector<KtbDatavar>& row : rows) {
        Row text;
        for (const KtbDatavar& value : row) text.push_back(textOf(value));
        texts.push_back(text);
    }
    return texts;
}

Stage::Stage() {
    directories = home.directory("first work directory") + ":" + home.directory("second work directory");
    manager.reset(ktwtCreateManager("key", directories.c_str(), &error));
    if (manager == nullptr || !write(&kept))
        throw std::runtime_error("the stage cannot be set: " + std::string(error.asCstr()));
    earlierFiles_ = files();
    refresh();
}

void Stage::refresh() {
    error = KtbString();
    log.clear();
}

bool Stage::define(KtWorkTableFile* table) {
    for (int c = 0; c < columnCount; ++c) {
        if (table->defineColumnInfo(c, KtbString(columnName(c), true), types[c], 0)) continue;
        error = table->getError();
        return false;
    }
    return true;
}

bool Stage::append(KtWorkTableFile* table, const Rows& rows) {
    for (const Row& row : rows) {
        KtbDatavar values[columnCount];
        for (std::size_t c = 0; c < columnCount; ++c) {
            // Literal, so that the value itself needs no memory that a fault could deny it.
            if (row[c] != "-") values[c].assign(KtbString(row[c].c_str(), true));
        }
        if (table->writeRow(values)) continue;
        error = table->getError();
        return false;
    }
    return true;
}

bool Stage::close(KtWorkTableFile* table) {
    if (table->close()) return true;
    error = table->getError();
    return false;
}

bool Stage::write(std::string* name) {
    const Table table = create();
    if (table == nullptr) return false;
    *name = table->getName().asCstr();
    return define(table.get()) && append(table.get(), rowsFrom(0, rowCount)) && close(table.get());
}

std::optional<ReadRows> Stage::read(KtWorkTableFile* table) {
    if (table == nullptr) return std::nullopt;
    const auto columns = static_cast<std::size_t>(table->getColumns());
    ReadRows rows;
    bool end = false;
    std::vector<KtbDatavar> row(columns);
    while (table->readRow(row.data(), &end)) {
        rows.push_back(std::move(row));
        row = std::vector<KtbDatavar>(columns);
    }
    if (end) return rows;
    error = table->getError();
    return std::nullopt;
}

std::optional<Rows> Stage::stored(const std::string& name) {
    const Table table(manager->open(name.c_str(), false, &error));
    const std::optional<ReadRows> rows = read(table.get());
    if (!rows) return std::nullopt;
    return textsOf(*rows);
}

void Stage::expectUnharmed() {
    EXPECT_EQ(openFileHandles(), 0);
    EXPECT_EQ(stored(kept), rowsFrom(0, rowCount));
}

std::string Stage::firstMessage() const {
    const std::vector<MessageLog::Entry> entries = log.entries();
    return entries.empty() ? "" : entries.front().text;
}

bool Stage::tellsOfPair(const Faults& faults, const std::string& text) const {
    if (faults.ofFiles() == nullptr || faults.ofMemory() == nullptr) return false;
    const std::vector<MessageLog::Entry> entries = log.entries();
    return text.find(messageText(29, "(message text)")) != std::string::npos ||
           std::any_of(entries.begin(), entries.end(),
                       [&](const MessageLog::Entry& entry) { return text.find(entry.text) != std::string::npos; });
}

std::vector<std::filesystem::path> Stage::files() const {
    std::vector<std::filesystem::path> result;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(home.path())) {
        if (entry.is_regular_file()) result.push_back(entry.path());
    }
    std::sort(result.begin(), result.end());
    return result;
}

std::vector<std::filesystem::path> Stage::strangers() const {
    const std::vector<std::filesystem::path> now = files();
    std::vector<std::filesystem::path> result;
    std::set_difference(now.begin(), now.end(), earlierFiles_.begin(), earlierFiles_.end(), std::back_inserter(result));
    return result;
}

void Stage::expectGone(const Faults& faults, const std::string& name, const Rows& rows) {
    KtbString why;
    const bool mayBeThere = faults.isLasting();
    if (mayBeThere) {
        EXPECT_TRUE(ktwtSweepOrphans(directories.c_str(), true, nullptr, nullptr, &why)) << why.asCstr();
    }
    const std::size_t left = strangers().size();
    if (!mayBeThere || left == 0) {
        EXPECT_EQ(left, 0u) << error.asCstr();
        return;
    }
    const std::optional<Rows> there = stored(name);
    const bool pair = faults.ofFiles() != nullptr && faults.ofMemory() != nullptr;
    EXPECT_TRUE(pair || there == rows) << error.asCstr();
    if (there) {
        EXPECT_TRUE(there->size() <= rows.size() && std::equal(there->begin(), there->end(), rows.begin()));
    }
}

void Stage::clearAway() const {
    for (const std::filesystem::path& path : strangers()) std::filesystem::remove(path);
}
