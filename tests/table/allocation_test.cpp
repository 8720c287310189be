// Writing and reading rows allocates nothing once it is under way, and memory does not grow with the number of rows.
//
// Every allocation of the process is counted, whoever makes it: by standing in for malloc, or where a sanitizer does that
// already, by its hooks.
#include <gtest/gtest.h>
#include <malloc.h>

#include <array>
#include <atomic>
#include <cstdlib>

#include "support/sanitizers.h"
#include "table/table_fixture.h"

namespace {

std::atomic<long> allocations{0};

}  // namespace

#if KTWT_TESTS_SANITIZED

// Declared here, since not every compiler that has them installs their header.
extern "C" {
int __sanitizer_install_malloc_and_free_hooks(void (*allocated)(const volatile void*, std::size_t),
                                              void (*freed)(const volatile void*));
std::size_t __sanitizer_get_current_allocated_bytes();
}

namespace {

const int hooked = __sanitizer_install_malloc_and_free_hooks([](const volatile void*, std::size_t) { ++allocations; },
                                                             [](const volatile void*) {});

std::size_t bytesInUse() { return __sanitizer_get_current_allocated_bytes(); }

bool isCounting() { return hooked != 0; }

}  // namespace

#else

// What is hidden here would stand in for malloc in this program, but not in the shared libraries.
#pragma GCC visibility push(default)
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

void* malloc(std::size_t size) {
    ++allocations;
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
    ++allocations;
    return __libc_calloc(count, size);
}

void* realloc(void* block, std::size_t size) {
    ++allocations;
    return __libc_realloc(block, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
    ++allocations;
    return __libc_memalign(alignment, size);
}
}
#pragma GCC visibility pop

namespace {

std::size_t bytesInUse() {
    const auto info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

bool isCounting() { return true; }

}  // namespace

#endif

namespace {

constexpr std::size_t columnCount = 8;
// The file layer's buffers have their full size once they were filled: 128 KiB, of which a row takes 8 bytes in an index file.
constexpr long warmUpRows = 20000;
constexpr long countedRows = 10000;

class AllocationTest : public TableTest {
protected:
    using Values = std::array<KtbDatavar, columnCount>;

    AllocationTest() {
        for (std::size_t i = 0; i < rows_.size(); ++i) fillRow(i);
    }

    // Two integers, a boolean, a decimal, a date and three texts of up to 60 bytes; in every row another column is null.
    void fillRow(std::size_t i) {
        Values& row = rows_[i];
        const auto number = static_cast<long>(i * 1234567);
        row[0].assign(number);
        row[1].assign(-number * number);
        row[2].assign(i % 3 == 0);
        row[3] = decimal((std::to_string(i) + ".125000").c_str()).variant();
        row[4] = date(static_cast<double>(number)).variant();
        row[5].assign(std::string(8 + i % 17, 'a').c_str());
        row[6].assign("\xC3\xA4 short");
        row[7].assign(std::string(i % 61, 'z').c_str());
        row[i % columnCount].setNull();
    }

    void makeMixedTable() {
        makeTable({{"id", ktbTypeInteger},
                   {"number", ktbTypeInteger},
                   {"flag", ktbTypeBoolean},
                   {"price", ktbTypeDecimal},
                   {"day", ktbTypeDate},
                   {"name"},
                   {"code", ktbTypeString, 8},
                   {"note", ktbTypeString, 60}});
    }

    void writeRows(long count) {
        for (long i = 0; i < count; ++i, ++written_) {
            Values& row = rows_[static_cast<std::size_t>(written_) % rows_.size()];
            ok_ = table_->writeRow(row.data()) && ok_;
        }
    }

    void writeRowsThroughPointers(long count) {
        std::array<KtbDatavar*, columnCount> pointers{};
        for (long i = 0; i < count; ++i, ++written_) {
            Values& row = rows_[static_cast<std::size_t>(written_) % rows_.size()];
            for (std::size_t c = 0; c < columnCount; ++c) pointers[c] = &row[c];
            ok_ = table_->writeRow(pointers.data()) && ok_;
        }
    }

    void readRows(long count) {
        bool end = false;
        for (long i = 0; i < count; ++i) ok_ = table_->readRow(values_.data(), &end) && ok_;
    }

    // The allocations that the work makes.
    template <class Work>
    static long allocationsOf(Work work) {
        const long before = allocations;
        work();
        return allocations - before;
    }

    // Expects the open table to be read without allocating.
    void expectReadWithoutAllocations() {
        readRows(warmUpRows);
        EXPECT_EQ(allocationsOf([this] { readRows(countedRows); }), 0);
        EXPECT_TRUE(ok_) << tableError();
    }

    void makeRowsToRead() {
        makeMixedTable();
        writeRows(warmUpRows + countedRows);
        finish();
        ASSERT_TRUE(ok_);
    }

    std::array<Values, 97> rows_;
    std::array<KtbDatavar, 16> values_;
    long written_ = 0;
    bool ok_ = true;
};

TEST_F(AllocationTest, AllocationsAreCounted) {
    ASSERT_TRUE(isCounting());
    std::string* text = nullptr;
    EXPECT_EQ(allocationsOf([&] { text = new std::string; }), 1);
    EXPECT_EQ(allocationsOf([&] { text->assign(1000, 'x'); }), 1);
    delete text;
    KtbString longText;
    EXPECT_GE(allocationsOf([&] { longText = KtbString("a text that is longer than what fits into the object itself"); }), 1)
        << "the shared libraries are counted, too";
}

TEST_F(AllocationTest, WritingRowsAllocatesNothing) {
    makeMixedTable();
    writeRows(warmUpRows);
    EXPECT_EQ(allocationsOf([this] { writeRows(countedRows); }), 0);
    writeRowsThroughPointers(warmUpRows);
    EXPECT_EQ(allocationsOf([this] { writeRowsThroughPointers(countedRows); }), 0);
    EXPECT_TRUE(ok_) << tableError();
    finish();
}

TEST_F(AllocationTest, ReadingRowsAllocatesNothing) {
    makeRowsToRead();
    ASSERT_TRUE(reopen());
    expectReadWithoutAllocations();
}

TEST_F(AllocationTest, ReadingRowsFromLastToFirstAllocatesNothing) {
    makeRowsToRead();
    ASSERT_TRUE(reopen({.reversed = true}));
    expectReadWithoutAllocations();
}

TEST_F(AllocationTest, ReadingChosenColumnsAllocatesNothing) {
    makeRowsToRead();
    ASSERT_TRUE(reopenByIndex({7, 3}));
    expectReadWithoutAllocations();
    ASSERT_TRUE(reopenByIndex({}));
    expectReadWithoutAllocations();
    ASSERT_TRUE(openText("ktwt:" + name_ +
                         "?col=x=note&col=note&col=day&col=c:string=a%20text%20longer%20than%20an%20inline%20one&col=n"));
    expectReadWithoutAllocations();
    ASSERT_TRUE(reopenByName({"note", "none", "note"}, {.reversed = true}));
    expectReadWithoutAllocations();
}

TEST_F(AllocationTest, ReadingTheOtherByteOrderAllocatesNothing) {
    makeRowsToRead();
    table_files::reverseByteOrder(directories_, name_, std::endian::native);
    ASSERT_TRUE(reopen());
    expectReadWithoutAllocations();
}

// The array of values, and each text in it until it has grown to the longest.
TEST_F(AllocationTest, ReadingRowsAsXmlAllocatesTheSameForAnyNumberOfRows) {
    constexpr long allocationsMax = 16;
    makeRowsToRead();
    ASSERT_TRUE(reopen());
    KtbString document;
    bool end = false;
    ASSERT_TRUE(table_->readRows(0, -1, &document, &end));  // from now on the document has room for all rows
    ASSERT_TRUE(reopen());
    readRows(warmUpRows);
    EXPECT_LE(allocationsOf([&] { ok_ = table_->readRows(0, countedRows, &document, nullptr) && ok_; }), allocationsMax);
    EXPECT_TRUE(ok_) << tableError();
    EXPECT_GT(document.cStrSize(), countedRows * 100);
}

TEST_F(AllocationTest, MemoryDoesNotGrowWithTheNumberOfRows) {
    makeMixedTable();
    writeRows(warmUpRows);
    const std::size_t afterFew = bytesInUse();
    writeRows(10 * countedRows);
    EXPECT_EQ(bytesInUse(), afterFew);
    ASSERT_TRUE(ok_) << tableError();
    finish();
    for (const bool reversed : {false, true}) {
        ASSERT_TRUE(reopen({.reversed = reversed}));
        readRows(warmUpRows);
        const std::size_t afterFewRead = bytesInUse();
        readRows(10 * countedRows);
        EXPECT_EQ(bytesInUse(), afterFewRead);
        ASSERT_TRUE(ok_) << tableError();
    }
}

}  // namespace
