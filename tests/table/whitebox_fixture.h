// What the fixture of callers has, and tables as the objects behind the interface.
#ifndef KTWT_TESTS_TABLE_WHITEBOX_FIXTURE_H
#define KTWT_TESTS_TABLE_WHITEBOX_FIXTURE_H

#include <memory>
#include <string>

#include "table/table_fixture.h"
#include "wtelem.h"
#include "wtfile.h"
#include "wtmgr.h"

class WhiteboxTest : public TableTest {
protected:
    using File = std::unique_ptr<KTWTFileImpl>;

    File fresh() { return std::make_unique<KTWTFileImpl>(static_cast<KTWTManagerImpl*>(manager_.get())); }

    // A new table object with the table named name_ open for appending; null when it cannot be opened, with its text in error_.
    File append(long* range = nullptr, bool reversed = false) {
        File file = fresh();
        if (file->open(ktb(name_), false, range, reversed)) return file;
        error_ = file->getError();
        return nullptr;
    }

    // A new, writable table of one integer column "a".
    File makeFile(long elementSize = 0) {
        File file = fresh();
        EXPECT_TRUE(file->create(1, 0, elementSize));
        EXPECT_TRUE(file->defineColumnInfo(0, KtbString("a"), ktbTypeInteger, 0));
        name_ = bytesOf(file->getName());
        return file;
    }

    static bool openWhole(KTWTFileImpl& file, const std::string& name, bool reversed = false) {
        return file.open(ktb(name), -1, static_cast<const KtbString*>(nullptr), nullptr, reversed);
    }

    // Rows of one integer each, from `first` to `last`, up or down.
    static Rows numbers(long first, long last) {
        Rows rows = {{first}};
        while (first != last) rows.push_back({first += first < last ? 1 : -1});
        return rows;
    }
    static void writeNumbers(KTWTFileImpl& file, long first, long last) {
        for (const Row& values : numbers(first, last)) ASSERT_TRUE(writeTo(file, values)) << file.getError().asCstr();
    }

    std::vector<long> elementRows() const {
        std::vector<long> rows;
        for (const table_files::Element& element : header().elements) rows.push_back(element.rows);
        return rows;
    }

    static std::string errorOf(KTWTFileImpl& file) { return bytesOf(file.getError()); }
};

#endif
