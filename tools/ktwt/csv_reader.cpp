#include "csv_reader.h"

#include <algorithm>
#include <climits>
#include <string_view>
#include <utility>

#include "human.h"

namespace {

constexpr std::size_t blockBytes = 256 * 1024;
constexpr std::string_view byteOrderMark = "\xef\xbb\xbf";
constexpr unsigned char options = CSV_STRICT | CSV_STRICT_FINI | CSV_REPALL_NL | CSV_APPEND_NULL | CSV_EMPTY_IS_NULL;

static_assert(CsvReader::recordBytesMax < INT_MAX, "a KtbString holds every field");

int isNoBlank(unsigned char) { return 0; }

bool holds(std::string_view bytes, char byte) { return bytes.find(byte) != std::string_view::npos; }

std::string countOfFields(std::size_t count) { return std::to_string(count) + (count == 1 ? " field" : " fields"); }

// Takes the first record and no more.
class FirstRecord final : public CsvRows {
public:
    FirstRecord(const long& line, std::vector<CsvName>* fields) : line_(line), fields_(fields) {}

    bool field(std::size_t, const char* text, std::size_t bytes) override {
        fields_->push_back({text == nullptr ? std::string() : std::string(text, bytes), line_});
        return true;
    }
    bool endRow() override { return false; }

private:
    const long& line_;
    std::vector<CsvName>* fields_;
};

}  // namespace

CsvReader::CsvReader(InputFile& input, char separator, std::size_t longestRecord)
    : input_(input), separator_(static_cast<unsigned char>(separator)), longestRecord_(longestRecord), block_(blockBytes) {}

CsvReader::~CsvReader() { csv_free(&parser_); }

std::string CsvReader::placeOf(long line, std::size_t column) const {
    return input_.name() + ":" + std::to_string(line) + ":" + std::to_string(column + 1) + ": ";
}

bool CsvReader::fail(Status status, const std::string& why) { return fail(Outcome(status, placeOf(line_, column_) + why)); }

bool CsvReader::fail(Outcome failure) {
    if (failure_.ok()) failure_ = std::move(failure);
    stopped_ = true;
    return false;
}

Outcome CsvReader::readFirst(std::vector<CsvName>* fields) {
    fields->clear();
    FirstRecord first(line_, fields);
    Progress silent("", Progress::Unit::bytes, 0);
    return readRows(true, 0, first, silent);
}

Outcome CsvReader::readRows(bool withFirst, std::size_t columns, CsvRows& rows, Progress& progress) {
    if (Outcome rewound = input_.rewind(); !rewound.ok()) return rewound;
    if (!begin(withFirst, columns, rows)) return {Status::full, "memory is exhausted"};
    std::size_t size = 0;
    do {
        if (Outcome read = readBlock(&size); !read.ok()) return read;
        progress.at(input_.position(), input_.size());
    } while (size == block_.size() && !stopped_);
    if (!stopped_) finish();
    return failure_;
}

bool CsvReader::begin(bool withFirst, std::size_t columns, CsvRows& rows) {
    rows_ = &rows;
    columns_ = columns;
    skipping_ = !withFirst;
    line_ = 1;
    column_ = 0;
    bytes_ = 0;
    terminator_ = 0;
    stopped_ = false;
    failure_ = {};
    csv_free(&parser_);
    if (csv_init(&parser_, options) != 0) return false;
    csv_set_delim(&parser_, separator_);
    csv_set_space_func(&parser_, isNoBlank);
    return true;
}

Outcome CsvReader::readBlock(std::size_t* size) {
    const bool atBegin = input_.position() == 0;
    if (Outcome read = input_.read(block_.data(), block_.size(), size); !read.ok()) return read;
    const std::string_view bytes(block_.data(), *size);
    const bool marked = atBegin && bytes.substr(0, byteOrderMark.size()) == byteOrderMark;
    parse(bytes.substr(marked ? byteOrderMark.size() : 0));
    return {};
}

void CsvReader::parse(std::string_view bytes) {
    quotesSeen_ = quotesSeen_ || holds(bytes, '"');
    nulSeen_ = nulSeen_ || holds(bytes, '\0');
    csv_set_blk_size(&parser_, std::max(block_.size(), csv_get_buffer_size(&parser_)));  // doubles when it grows
    if (csv_parse(&parser_, bytes.data(), bytes.size(), onField, onRow, this) != bytes.size()) {
        failParsing();
    } else if (!stopped_ && bytes_ + parser_.entry_pos > longestRecord_) {
        failTooLong(parser_.quoted != 0 ? "; perhaps the quote that begins this field has no end" : "");
    }
}

void CsvReader::failParsing() {
    if (stopped_) return;
    if (csv_error(&parser_) != CSV_EPARSE) {
        fail(Status::full, "memory is exhausted");
        return;
    }
    line_ += lineEndsIn({reinterpret_cast<const char*>(parser_.entry_buf), parser_.entry_pos});
    fail(parser_.quoted != 0 ? "there is text after the quote that ends the field"
                             : "a quote in a field that does not begin with one");
}

bool CsvReader::failTooLong(const char* guess) {
    return fail("the record is longer than " + humanBytes(static_cast<long>(longestRecord_)) + guess);
}

void CsvReader::finish() {
    if (csv_fini(&parser_, onField, onRow, this) != 0) fail("the quote that begins this field has no end");
}

void CsvReader::onField(void* text, std::size_t bytes, void* self) {
    static_cast<CsvReader*>(self)->takeField(static_cast<const char*>(text), bytes);
}

void CsvReader::onRow(int terminator, void* self) { static_cast<CsvReader*>(self)->takeRow(terminator); }

// The parser cannot be stopped within a block: what it tells after the end is dropped.
void CsvReader::takeField(const char* text, std::size_t bytes) {
    if (stopped_) return;
    if (!skipping_) stopped_ = !isSound(text, bytes) || !rows_->field(column_, text, bytes);
    if (stopped_) return;
    if (quotesSeen_ && text != nullptr) line_ += lineEndsIn({text, bytes});
    ++column_;
    bytes_ += bytes + 1;
}

bool CsvReader::isSound(const char* text, std::size_t bytes) {
    if (columns_ != 0 && column_ >= columns_) return fail("the row has more than " + countOfFields(columns_));
    if (bytes_ + bytes > longestRecord_) return failTooLong("");
    const bool hasNul = nulSeen_ && text != nullptr && holds({text, bytes}, '\0');
    return !hasNul || fail("a NUL byte, which no text can hold");
}

void CsvReader::takeRow(int terminator) {
    const bool endsPair = column_ == 0 && terminator == '\n' && terminator_ == '\r';
    terminator_ = terminator;
    if (stopped_ || endsPair) return;
    if (column_ == 0) takeEmptyLine();
    if (column_ != 0) endRow();
    ++line_;
    column_ = 0;
    bytes_ = 0;
}

void CsvReader::takeEmptyLine() {
    if (columns_ == 1 && !skipping_) takeField(nullptr, 0);
}

void CsvReader::endRow() {
    if (skipping_) {
        skipping_ = false;
    } else if (columns_ != 0 && column_ != columns_) {
        fail("the row has " + std::to_string(column_) + " of " + countOfFields(columns_));
    } else {
        stopped_ = !rows_->endRow();
    }
}

// LF, CR LF and CR end a line.
long CsvReader::lineEndsIn(std::string_view text) {
    long ends = std::count(text.begin(), text.end(), '\n');
    for (std::size_t place = text.find('\r'); place != std::string_view::npos; place = text.find('\r', place + 1)) {
        ends += text.substr(place + 1, 1) == "\n" ? 0 : 1;
    }
    return ends;
}
