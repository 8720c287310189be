// What the tests of the file formats share: a directory, a manager, the messages, and tables and elements behind their
// interfaces.
#ifndef TESTS_FORMAT_FORMAT_FIXTURE_H
#define TESTS_FORMAT_FORMAT_FIXTURE_H

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "images.h"
#include "support/message_log.h"
#include "support/temp_directory.h"
#include "wtelem.h"
#include "wtfile.h"
#include "wtmgr.h"

// A value in one line: "null", "integer 12", "date 1970-01-02".
inline std::string shown(const KtbDatavar& value) {
    if (value.isNull()) return "null";
    return std::string(ktbTypeToString(value.type())) + " " + value.asString().asCstr();
}

template <class T>
KtbDatavar var(T value) {
    KtbDatavar result;
    result.assign(value);
    return result;
}

inline KtbDatavar decimalVar(const char* text) {
    KtbReal value;
    EXPECT_TRUE(value.assign(text)) << text;
    return var<const KtbReal&>(value);
}

inline KtbDatavar dateVar(double seconds) { return var<const KtbDate&>(KtbDate(seconds)); }

// A row of values, and the pointers to them that the library takes.
class Row {
public:
    explicit Row(std::size_t count) : values_(count) { point(); }
    Row(std::initializer_list<KtbDatavar> values) : values_(values) { point(); }
    Row(const Row& other) : values_(other.values_) { point(); }
    Row& operator=(const Row&) = delete;

    KtbDatavar** pointers() { return pointers_.data(); }
    KtbDatavar* values() { return values_.data(); }
    const KtbDatavar& operator[](std::size_t i) const { return values_.at(i); }
    std::vector<std::string> texts() const {
        std::vector<std::string> result;
        for (const KtbDatavar& value : values_) result.push_back(shown(value));
        return result;
    }

private:
    void point() {
        for (KtbDatavar& value : values_) pointers_.push_back(&value);
    }
    std::vector<KtbDatavar> values_;
    std::vector<KtbDatavar*> pointers_;
};

using Texts = std::vector<std::string>;

class FormatFixture : public testing::Test {
protected:
    FormatFixture() : manager_(makeManager(directory_.path())) {}

    std::unique_ptr<KTWTManagerImpl> makeManager(const std::string& directories) {
        auto manager = std::make_unique<KTWTManagerImpl>(KtbString("tests"), KtbString(directories.c_str()), &error_);
        EXPECT_EQ(error_.length(), 0) << error_.asCstr();
        return manager;
    }

    // Whether `text` is the last message made, with this source and number and with each argument in it.
    testing::AssertionResult says(const KtbString& text, const char* source, int number, const Texts& arguments = {}) const {
        const MessageLog::Entry last = log_.last();
        if (last.number != number || last.source != source || last.component != "Work table library") {
            return testing::AssertionFailure()
                   << "the last message is " << last.source << " " << last.number << " of " << last.component << ": "
                   << last.text << "; the error text is " << text.asCstr();
        }
        if (last.text != text.asCstr()) {
            return testing::AssertionFailure() << "the message is " << last.text << ", the error text " << text.asCstr();
        }
        std::size_t from = last.text.find(':');
        for (const std::string& argument : arguments) {
            from = last.text.find(argument, from);
            if (from == std::string::npos) return testing::AssertionFailure() << argument << " is not in turn in " << last.text;
        }
        return testing::AssertionSuccess();
    }

    void put(const std::string& name, const std::string& bytes) const { writeFile(directory_.file(name), bytes); }
    std::string get(const std::string& name) const { return readFile(directory_.file(name)); }

    std::unique_ptr<KTWTFileImpl> table() { return std::make_unique<KTWTFileImpl>(manager_.get()); }

    // A table opened for reading all columns.
    static bool openAll(KTWTFileImpl& table, const std::string& name, bool reversed = false) {
        const KtbString* all = nullptr;
        return table.open(KtbString(name.c_str()), -1, all, nullptr, reversed);
    }
    static bool openForAppending(KTWTFileImpl& table, const std::string& name) {
        return table.open(KtbString(name.c_str()), false, nullptr, false);
    }

    TempDirectory directory_;
    MessageLog log_;
    KtbString error_;
    std::unique_ptr<KTWTManagerImpl> manager_;
};

#endif
