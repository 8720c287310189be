// Reads CSV: records of fields, as RFC 4180 has it, and says where in the file it is.
//
// Quotes:     a field in quotes may hold separators, line ends and quotes, each of these doubled. A quote elsewhere, or text
// after
//             a closing quote, is a failure, because nobody can tell what was meant. Blanks belong to the field.
// Records:    end with LF, CR LF, CR, or the file. All must have as many fields as the first. An empty line is a record of one
//             empty field where the records have one field; elsewhere it is nothing.
// Bytes:      are left as they are, whatever their encoding. A UTF-8 byte order mark at the beginning is dropped. A NUL is a
//             failure, since no text can hold it.
// Memory:     a record is held whole, so one that is longer than recordBytesMax is a failure. Without that, a quote that has
//             no end would take the rest of the file into memory before anybody hears of it.
// Places:     "file:line:column". Lines are those of the file, also inside of quotes, and end like records; the column is the
//             number of the field.
#ifndef TOOLS_KTWT_CSV_READER_H
#define TOOLS_KTWT_CSV_READER_H

#include <csv.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "input_file.h"
#include "outcome.h"
#include "progress.h"

// Is told what the file holds. Each operation returns false to end the reading, after CsvReader::fail() or without it when
// enough has been read.
class CsvRows {
public:
    virtual ~CsvRows() = default;

    // The next field of a row; `column` counts from 0. The text ends with a NUL and lives until the call returns. It is null
    // for an empty field without quotes.
    virtual bool field(std::size_t column, const char* text, std::size_t bytes) = 0;

    virtual bool endRow() = 0;
};

struct CsvName {
    std::string text;
    long line = 0;
};

class CsvReader {
public:
    // Far more than a field that somebody made on purpose, and no more than sorting takes.
    static constexpr std::size_t recordBytesMax = 256UL << 20;

    // Reads from `input`, which must live as long. The separator is not a quote and not the end of a line. `longestRecord` is
    // for trying what is too long on less.
    CsvReader(InputFile& input, char separator, std::size_t longestRecord = recordBytesMax);
    CsvReader(const CsvReader&) = delete;
    CsvReader& operator=(const CsvReader&) = delete;
    ~CsvReader();

    // Reads the fields of the first record, and not much more. There are none when the file has no record.
    Outcome readFirst(std::vector<CsvName>* fields);

    // Reads the file from its beginning, with or without the first record; `columns` is how many fields each record must have.
    Outcome readRows(bool withFirst, std::size_t columns, CsvRows& rows, Progress& progress);

    // What is wrong with the field, or the end of a row, that is being told. Returns false.
    bool fail(const std::string& why) { return fail(Status::damaged, why); }
    bool fail(Status status, const std::string& why);

    // A failure that has nothing to do with a place in the file. Returns false.
    bool fail(Outcome failure);

    std::string placeOf(long line, std::size_t column) const;

private:
    static void onField(void* text, std::size_t bytes, void* self);
    static void onRow(int terminator, void* self);

    bool begin(bool withFirst, std::size_t columns, CsvRows& rows);
    Outcome readBlock(std::size_t* size);
    void parse(std::string_view bytes);
    void failParsing();
    bool failTooLong(const char* guess);
    void finish();
    void takeField(const char* text, std::size_t bytes);
    bool isSound(const char* text, std::size_t bytes);
    void takeRow(int terminator);
    void takeEmptyLine();
    void endRow();
    static long lineEndsIn(std::string_view text);

    InputFile& input_;
    const unsigned char separator_;
    const std::size_t longestRecord_;
    std::vector<char> block_;
    csv_parser parser_ = {};

    CsvRows* rows_ = nullptr;
    std::size_t columns_ = 0;  // 0: whatever the record has
    bool skipping_ = false;    // the first record is not for rows_
    long line_ = 1;            // where the field begins that comes next
    std::size_t column_ = 0;   // fields of this record so far
    std::size_t bytes_ = 0;    // of these fields, with what separates them
    int terminator_ = 0;       // the last one
    bool quotesSeen_ = false;  // without quotes no field holds the end of a line
    bool nulSeen_ = false;
    bool stopped_ = false;
    Outcome failure_;
};

#endif
