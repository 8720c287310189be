// Reading CSV: what is a record, what is wrong, and where.
#include "csv_reader.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <random>
#include <string>

namespace {

// Writes rows down: "[a|~|]" is a row of "a", an empty field without quotes, and one with quotes.
class Listing final : public CsvRows {
public:
    bool field(std::size_t column, const char* text, std::size_t bytes) override {
        listed += column == 0 ? "[" : "|";
        listed += text == nullptr ? "~" : std::string(text, bytes);
        return text == nullptr || text[bytes] == '\0';
    }
    bool endRow() override {
        listed += "]";
        return true;
    }

    std::string listed;
};

// A file that is filled again and again, which a disk would take its time for.
class MemoryFile {
public:
    MemoryFile() = default;
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    ~MemoryFile() { close(handle_); }

    bool fill(const std::string& bytes) const {
        return ftruncate(handle_, 0) == 0 &&
               pwrite(handle_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size());
    }
    std::string path() const { return "/proc/self/fd/" + std::to_string(handle_); }

private:
    const int handle_ = memfd_create("csv", MFD_CLOEXEC);
};

// What the reader says of a file with these bytes: its rows, or what is wrong.
class CsvReaderTest : public testing::Test {
protected:
    std::string read(const std::string& bytes, bool withFirst = true, char separator = ',') {
        InputFile input;
        if (!file.fill(bytes) || !input.open(file.path(), "").ok()) return "no file";
        CsvReader reader(input, separator, longestRecord);
        std::vector<CsvName> first;
        if (const Outcome done = reader.readFirst(&first); !done.ok()) return placed(done);
        Listing rows;
        Progress progress("", Progress::Unit::bytes, 0);
        const Outcome done = reader.readRows(withFirst, first.size(), rows, progress);
        return done.ok() ? rows.listed : placed(done);
    }

    // The message from the place on.
    std::string placed(const Outcome& failed) const {
        const std::size_t size = file.path().size();
        EXPECT_EQ(failed.text().compare(0, size, file.path()), 0) << failed.text();
        EXPECT_EQ(failed.status(), Status::damaged);
        return failed.text().substr(size);
    }

    MemoryFile file;
    std::size_t longestRecord = CsvReader::recordBytesMax;
};

TEST_F(CsvReaderTest, ReadsFieldsWithAndWithoutQuotes) {
    EXPECT_EQ(read("a,b\n1,2\n"), "[a|b][1|2]");
    EXPECT_EQ(read("\"a\",\"b\"\n1,\"2\"\n"), "[a|b][1|2]");
    EXPECT_EQ(read("\"a,b\",\"say \"\"hi\"\"\"\n"), "[a,b|say \"hi\"]");
    EXPECT_EQ(read("\"\"\"\",\"\"\"\"\"\"\n"), "[\"|\"\"]");
}

TEST_F(CsvReaderTest, TellsEmptyFieldsWithQuotesFromThoseWithout) {
    EXPECT_EQ(read("a,b,c\n,\"\",\n"), "[a|b|c][~||~]");
    EXPECT_EQ(read(",\n,\n"), "[~|~][~|~]");
}

TEST_F(CsvReaderTest, KeepsLineEndsInQuotes) { EXPECT_EQ(read("a,b\n\"x\ny\",\"\r\n\"\n"), "[a|b][x\ny|\r\n]"); }

TEST_F(CsvReaderTest, KeepsBlanksAroundFields) {
    EXPECT_EQ(read("a,b\n  x\t, y \n"), "[a|b][  x\t| y ]");
    EXPECT_EQ(read(" \n \n"), "[ ][ ]");
}

TEST_F(CsvReaderTest, TakesEveryKindOfLineEnd) {
    for (const std::string end : {"\n", "\r\n", "\r"}) {
        EXPECT_EQ(read("a,b" + end + "1,2" + end + "3,\"4\"" + end), "[a|b][1|2][3|4]");
        EXPECT_EQ(read("a,b" + end + "1,2" + end + "3,4"), "[a|b][1|2][3|4]");
        EXPECT_EQ(read("a,b" + end + "1,2" + end + "3,\"4\""), "[a|b][1|2][3|4]");
        EXPECT_EQ(read("a,b" + end + "1,2" + end + "3,"), "[a|b][1|2][3|~]");
        EXPECT_EQ(read("a,b" + end + "1," + end + "," + end), "[a|b][1|~][~|~]");
    }
}

TEST_F(CsvReaderTest, TakesAnEmptyLineForAFieldOnlyWhereThereIsOneField) {
    EXPECT_EQ(read("a\n\n1\n\n"), "[a][~][1][~]");
    EXPECT_EQ(read("a\r\n\r\n1\r\n"), "[a][~][1]");
    EXPECT_EQ(read("a,b\n\n\n1,2\n\n"), "[a|b][1|2]");
    EXPECT_EQ(read("\n\na,b\n1,2\n"), "[a|b][1|2]");
    EXPECT_EQ(read("\n1\n"), "[~][1]");
    EXPECT_EQ(read("\na\n1\n", false), "[1]");
}

TEST_F(CsvReaderTest, HasNothingToTellOfAFileWithoutRecords) {
    EXPECT_EQ(read(""), "");
    EXPECT_EQ(read("\n\r\n\r"), "");
    EXPECT_EQ(read("\xef\xbb\xbf"), "");
}

TEST_F(CsvReaderTest, LeavesOutTheFirstRecord) {
    EXPECT_EQ(read("a,b\n1,2\n", false), "[1|2]");
    EXPECT_EQ(read("\"a\nb\",b\n1,2\n", false), "[1|2]");
    EXPECT_EQ(read("a,b\n", false), "");
}

TEST_F(CsvReaderTest, DropsAByteOrderMarkOnlyAtTheBeginning) {
    EXPECT_EQ(read("\xef\xbb\xbf"
                   "a,b\n1,\xef\xbb\xbf\n"),
              "[a|b][1|\xef\xbb\xbf]");
    EXPECT_EQ(read("\xef\xbb\xbf\"a\",b\n"), "[a|b]");
    EXPECT_EQ(read("\xef\xbb"
                   "a\n"),
              "[\xef\xbb"
              "a]");
}

TEST_F(CsvReaderTest, LeavesBytesThatAreNotUtf8AsTheyAre) {
    EXPECT_EQ(read("a\n\xff\xfe\n\xc3\n\"\x80\"\n"), "[a][\xff\xfe][\xc3][\x80]");
}

TEST_F(CsvReaderTest, SeparatesByOtherCharacters) {
    EXPECT_EQ(read("a;b,c\n1;2\n", true, ';'), "[a|b,c][1|2]");
    EXPECT_EQ(read("a\tb\n\t\"\t\"\n \t\n", true, '\t'), "[a|b][~|\t][ |~]");
    EXPECT_EQ(read("a b\n1 2\n", true, ' '), "[a|b][1|2]");
}

TEST_F(CsvReaderTest, SaysWhereARowHasOtherFieldsThanTheFirst) {
    EXPECT_EQ(read("a,b\n1,2\n1,2,3\n"), ":3:3: the row has more than 2 fields");
    EXPECT_EQ(read("a,b\n1,2\n\n1\n"), ":4:2: the row has 1 of 2 fields");
    EXPECT_EQ(read("a\n1,2\n"), ":2:2: the row has more than 1 field");
    EXPECT_EQ(read("a,b\r\n\"1\n\n\",2\r\n1"), ":5:2: the row has 1 of 2 fields");
    EXPECT_EQ(read("a,b\r1,2\r1,2,\r"), ":3:3: the row has more than 2 fields");
}

TEST_F(CsvReaderTest, SaysWhereQuotesAreWrong) {
    EXPECT_EQ(read("a,b\n1,x\"y\"\n"), ":2:2: a quote in a field that does not begin with one");
    EXPECT_EQ(read("a,b\n1, \"y\"\n"), ":2:2: a quote in a field that does not begin with one");
    EXPECT_EQ(read("a,b\n\"1\",\"x\ny\"z\n"), ":3:2: there is text after the quote that ends the field");
    EXPECT_EQ(read("a,b\n\"1\" ,2\n"), ":2:1: there is text after the quote that ends the field");
    EXPECT_EQ(read("a,b\n1,2\n3,\"x\n4,5\n"), ":3:2: the quote that begins this field has no end");
    EXPECT_EQ(read("a,\"b\n"), ":1:2: the quote that begins this field has no end");
    EXPECT_EQ(read("a,\""), ":1:2: the quote that begins this field has no end");
}

TEST_F(CsvReaderTest, SaysWhereANulIs) {
    using namespace std::string_literals;
    EXPECT_EQ(read("a,b\n\"\n\",x\0y\n"s), ":3:2: a NUL byte, which no text can hold");
    EXPECT_EQ(read("a,\0\n"s), ":1:2: a NUL byte, which no text can hold");
    EXPECT_EQ(read("\xff\xfe"
                   "a\0,\0"s),
              ":1:1: a NUL byte, which no text can hold");
}

TEST_F(CsvReaderTest, CountsLinesAcrossBlocks) {
    std::string bytes = "a,b\n";
    long line = 2;
    for (; bytes.size() < 1500000; line += 3) bytes += "\"first\nsecond\",x\ny,\"z\"\n";
    EXPECT_EQ(read(bytes + "1,\"2\"3\n"), ":" + std::to_string(line) + ":2: there is text after the quote that ends the field");
    EXPECT_EQ(read(bytes + "1,\"2"), ":" + std::to_string(line) + ":2: the quote that begins this field has no end");
}

TEST_F(CsvReaderTest, CountsEveryKindOfLineEndInQuotes) {
    EXPECT_EQ(read("a,b\r1,\"x\ry\"\r2,\"z\rz\"\r3\r"), ":6:2: the row has 1 of 2 fields");
    EXPECT_EQ(read("a,b\r\n1,\"x\r\n\r\n\"\r\n3\r\n"), ":5:2: the row has 1 of 2 fields");
    EXPECT_EQ(read("a,b\n1,\"\n\r\"\"\n\"\n3\n"), ":6:2: the row has 1 of 2 fields");
    EXPECT_EQ(read("a,b\r1,\"x\ry\"z\r"), ":3:2: there is text after the quote that ends the field");
}

TEST_F(CsvReaderTest, RefusesRecordsThatAreTooLong) {
    longestRecord = 1000000;
    const std::string half(500000, 'x');
    EXPECT_EQ(read("a,b\n" + half + "," + half.substr(1) + "\n1,2\n"), "[a|b][" + half + "|" + half.substr(1) + "][1|2]");
    EXPECT_EQ(read("a,b\n1,2\n" + half + "," + half + "\n"), ":3:2: the record is longer than 977 KiB");
    EXPECT_EQ(read(half + half + half), ":1:1: the record is longer than 977 KiB");
    std::string unending = "a,b\n1,\"2\n";
    while (unending.size() < 3000000) unending += "3,4\n";
    const std::string tooLong = ":2:2: the record is longer than 977 KiB";
    EXPECT_EQ(read(unending), tooLong + "; perhaps the quote that begins this field has no end");
}

TEST_F(CsvReaderTest, ReadsManyRecordsThatAreTooLongTogether) {
    longestRecord = 100;
    std::string bytes = "a,b\n";
    for (int i = 0; i < 200000; ++i) bytes += "1,\"2\"\n";
    EXPECT_EQ(read(bytes).size(), bytes.size() - 2 * 200000 - 4 + 5 + 200000);
}

TEST_F(CsvReaderTest, ReadsRecordsThatEndAnywhereInABlock) {
    constexpr std::size_t blockBytes = 256 * 1024;
    const std::string tail = ",\"a\"\"b\nc\",\"\",\r\n,d,e,f\r\n";
    for (std::size_t before = 0; before <= tail.size(); ++before) {
        const std::string first(blockBytes - before, 'x');
        EXPECT_EQ(read(first + tail), "[" + first + "|a\"b\nc||~][~|d|e|f]") << before;
    }
}

TEST_F(CsvReaderTest, ReadsFieldsThatAreLongerThanBlocks) {
    const std::string field(3000001, 'x');
    EXPECT_EQ(read("a,b\n" + field + ",\"" + field + "\"\n"), "[a|b][" + field + "|" + field + "]");
}

// Reads CSV in the plainest way.
class Model {
public:
    explicit Model(std::string bytes) : bytes_(std::move(bytes)) {}

    // The rows, or the place of the first failure.
    std::string read() {
        std::string listed;
        while (failed_.empty() && place_ < bytes_.size()) listed += readRecord();
        return failed_.empty() ? listed : failed_;
    }

private:
    bool atLineEnd() const { return place_ < bytes_.size() && (bytes_[place_] == '\n' || bytes_[place_] == '\r'); }

    void skipLineEnd() {
        if (place_ == bytes_.size()) return;
        place_ += bytes_.compare(place_, 2, "\r\n") == 0 ? 2U : 1U;
        ++line_;
    }

    std::string readRecord() {
        if (atLineEnd() && columns_ == 0) ++emptyLinesInFront_;
        if (atLineEnd() && columns_ != 1) {
            skipLineEnd();
            return "";
        }
        std::string record;
        column_ = 0;
        do {
            record += (column_ == 0 ? "[" : "|") + readField();
            ++column_;
        } while (failed_.empty() && place_ < bytes_.size() && bytes_[place_] == ',' && ++place_ != 0);
        if (columns_ != 0 && column_ < columns_ && failed_.empty()) fail(line_);
        skipLineEnd();
        return takeEmptyLinesInFront() + record + "]";
    }

    // Where the first record has one field, the empty lines before it were records.
    std::string takeEmptyLinesInFront() {
        std::string rows;
        if (columns_ == 0) columns_ = column_;
        for (; columns_ == 1 && emptyLinesInFront_ != 0; --emptyLinesInFront_) rows += "[~]";
        return rows;
    }

    std::string readField() {
        const long begin = line_;
        std::string field = place_ < bytes_.size() && bytes_[place_] == '"' ? readQuoted() : readBare();
        if (failed_.empty() && columns_ != 0 && column_ >= columns_) fail(begin);
        return field;
    }

    std::string readBare() {
        const std::size_t end = std::min(bytes_.find_first_of(",\r\n", place_), bytes_.size());
        const std::string field = bytes_.substr(place_, end - place_);
        if (field.find('"') != std::string::npos) fail(line_);
        place_ = end;
        return field.empty() ? "~" : field;
    }

    std::string readQuoted() {
        std::string field;
        const long begin = line_;
        for (++place_; place_ < bytes_.size(); ++place_) {
            if (bytes_[place_] == '"' && (++place_ == bytes_.size() || bytes_[place_] != '"')) return endQuoted(field);
            field += bytes_[place_];
            line_ += bytes_[place_] == '\n' || (bytes_[place_] == '\r' && bytes_.compare(place_ + 1, 1, "\n") != 0) ? 1 : 0;
        }
        fail(begin);
        return field;
    }

    std::string endQuoted(const std::string& field) {
        if (place_ < bytes_.size() && bytes_[place_] != ',' && !atLineEnd()) fail(line_);
        return field;
    }

    void fail(long line) { failed_ = ":" + std::to_string(line) + ":" + std::to_string(column_ + 1); }

    const std::string bytes_;
    std::size_t place_ = 0;
    long line_ = 1;
    std::size_t column_ = 0;
    std::size_t columns_ = 0;
    std::size_t emptyLinesInFront_ = 0;
    std::string failed_;
};

// What was read, or the place of what is wrong.
std::string withoutReason(const std::string& result) { return result[0] == ':' ? result.substr(0, result.find(": ")) : result; }

void forEachText(const std::string& characters, std::size_t size, const std::string& begun,
                 const std::function<void(const std::string&)>& visit) {
    visit(begun);
    if (begun.size() == size) return;
    for (const char next : characters) forEachText(characters, size, begun + next, visit);
}

TEST_F(CsvReaderTest, ReadsEveryShortFileLikeThePlainestReader) {
    forEachText("x,\"\n\r", 5, "", [this](const std::string& bytes) {
        if (HasFailure()) return;
        EXPECT_EQ(withoutReason(read(bytes)), Model(bytes).read()) << testing::PrintToString(bytes);
    });
}

TEST_F(CsvReaderTest, ReadsRandomFilesLikeThePlainestReader) {
    constexpr unsigned seed = 63;
    std::mt19937 random(seed);
    const char* const pieces[] = {"a",    "bc", "\"\"", "\"d,\"\"\ne\"", "\"\r\"",  "\"\r\n\r\"", ",", ",", "\n",
                                  "\r\n", "\r", " ",    "f,g\n",         "\"h\",\n"};
    for (int i = 0; i < 3000 && !HasFailure(); ++i) {
        std::string bytes;
        for (std::size_t count = random() % 12; count != 0; --count) bytes += pieces[random() % std::size(pieces)];
        EXPECT_EQ(withoutReason(read(bytes)), Model(bytes).read()) << testing::PrintToString(bytes) << ", seed " << seed;
    }
}

}  // namespace
