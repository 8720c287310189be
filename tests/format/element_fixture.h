// Data elements by themselves: written into a table's directory, or restored from records and files that the test makes.
#ifndef TESTS_FORMAT_ELEMENT_FIXTURE_H
#define TESTS_FORMAT_ELEMENT_FIXTURE_H

#include "format_fixture.h"

class ElementFixture : public FormatFixture {
protected:
    using Order = images::Order;

    // A new table that elements can be created for, and that their rows can be read back into.
    std::unique_ptr<KTWTFileImpl> writableOwner(const std::vector<images::Column>& columns, long elementSize = 0) {
        auto owner = table();
        EXPECT_TRUE(owner->create(static_cast<int>(columns.size()), 0, elementSize)) << owner->getError().asCstr();
        for (std::size_t i = 0; i < columns.size(); ++i) {
            KTWTColumnDef& column = owner->getActualColumnDefs()[i];
            column.name.assign(columns[i].name.c_str());
            column.storageCode = static_cast<unsigned char>(columns[i].code);
            column.type = ktwt::typeOfStorageCode(columns[i].code);
            column.width = columns[i].width;
            column.targetCount = 1;
        }
        return owner;
    }

    // A table without elements of its own, open for reading.
    std::unique_ptr<KTWTFileImpl> readingOwner(const std::vector<images::Column>& columns, bool reversed = false,
                                               Order order = Order::ours, const Texts* chosen = nullptr) {
        images::Header header;
        header.columns = columns;
        put("ktwt_owner", header.bytes(order));
        auto owner = table();
        std::vector<KtbString> names;
        if (chosen != nullptr) {
            for (const std::string& name : *chosen) names.emplace_back(name.c_str());
        }
        const int count = chosen != nullptr ? static_cast<int>(chosen->size()) : -1;
        EXPECT_TRUE(owner->open(KtbString("ktwt_owner"), count, names.data(), nullptr, reversed)) << owner->getError().asCstr();
        return owner;
    }

    // Lets an element read this record.
    static bool restore(KTWTFileElement& element, const TempDirectory& directory, const std::string& record) {
        writeFile(directory.file("record"), record);
        np_file* file = nullptr;
        EXPECT_EQ(np_fio_open(directory.file("record").c_str(), np_mode_read, &file), np_ok);
        const bool restored = element.restore(file);
        np_fio_close(file);
        np_fio_unlink(directory.file("record").c_str());
        return restored;
    }

    bool restore(KTWTFileElement& element, const images::Element& record, Order order = Order::ours) const {
        return restore(element, directory_, record.bytes(order));
    }

    // Makes data and index files of these rows, and an element that knows them.
    std::unique_ptr<KTWTFileElement> elementOf(KTWTFileImpl& owner, const std::vector<std::string>& rows, bool indexed = true) {
        const Order order = owner.isByteSwap() ? Order::other : Order::ours;
        put("ktwte_d", images::joined(rows));
        if (indexed) put("ktwtei_i", images::index(rows, order));
        auto element = std::make_unique<KTWTFileElement>(&owner);
        const images::Element record = {
            .name = "ktwte_d", .index = indexed ? "ktwtei_i" : "", .rows = static_cast<std::int64_t>(rows.size())};
        EXPECT_TRUE(restore(*element, record, order));
        return element;
    }

    // What an element gives until it ends or fails: the texts of each row, then "end" or the text of the failure.
    static std::vector<Texts> readAll(KTWTFileElement& element, std::size_t slots, int wanted, std::size_t rowsMax = 1000) {
        std::vector<Texts> result;
        Row row(slots);
        bool end = false;
        while (result.size() < rowsMax && element.readRow(row.pointers(), wanted, &end)) {
            result.push_back(wanted == 0 ? Texts{} : row.texts());
        }
        result.push_back({end ? "end" : element.getError().asCstr()});
        return result;
    }
};

#endif
