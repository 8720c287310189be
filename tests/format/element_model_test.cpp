// The reader of an element against a model of it: the same rows, the same end and the same message, whatever is asked for in
// whatever order, and whatever the files hold. The model works on the whole files in memory, one step after the other.
#include <climits>
#include <optional>
#include <random>

#include "element_fixture.h"
#include "patch.h"

using images::Order;

namespace {

// What came of a call: "row", "end", or the number and argument of a message.
const std::string row = "row";
const std::string end = "end";
const std::string columnFailed = "1301 column";
const std::string positionFailed = "1301 column position";

class Model {
public:
    struct Table {
        std::vector<std::vector<int>> targets;  // of each column
        long longest;                           // bytes of the string read buffer
        bool reversed;
        Order order;
        long rows;
    };

    Model(const Table& table, std::string data, std::optional<std::string> index, std::size_t slots)
        : table_(table), data_(std::move(data)), index_(std::move(index)), slots_(slots, "null") {}

    const Texts& slots() const { return slots_; }

    std::string seek(long target) {
        if (currentRow_ == target) return row;
        if (target == -1) {
            if (index_) indexPlace_ = static_cast<long>(index_->size());
            currentRow_ = table_.rows;
            place_ = static_cast<long>(data_.size());
            return row;
        }
        if (target > table_.rows) return "1794 ";
        if (!index_ || target < 0) return "336 ";
        indexPlace_ = 8 * target;
        long entry = 0;
        if (!readEntry(&entry)) return "1301 row offset";
        positioned_ = true;
        if (entry < 0) return "336 ";
        place_ = entry;
        currentRow_ = target;
        return row;
    }

    std::string readRow(int wanted) { return table_.reversed ? readBackwards(wanted) : readForwards(wanted); }

private:
    bool readEntry(long* entry) {
        if (indexPlace_ < 0 || indexPlace_ + 8 > static_cast<long>(index_->size())) return false;
        *entry = images::numberAt<std::int64_t>(*index_, static_cast<std::size_t>(indexPlace_), table_.order);
        indexPlace_ += 8;
        return true;
    }

    std::string begin() {
        const bool stepsOver = firstRead_ && index_ && !positioned_ && currentRow_ < table_.rows;
        firstRead_ = false;
        long ignored = 0;
        return stepsOver && !readEntry(&ignored) ? columnFailed : row;
    }

    std::string readForwards(int wanted) {
        if (currentRow_ >= table_.rows) return end;
        if (begin() != row) return columnFailed;
        ++currentRow_;
        const auto columns = table_.targets.size();
        std::size_t decoded = 0;
        if (wanted != 0 && !decode(wanted, &decoded)) return columnFailed;
        if (wanted != 0 && decoded == columns) return row;
        if (!index_) {
            for (; decoded < columns; ++decoded) {
                if (!column(nullptr)) return columnFailed;
            }
            return row;
        }
        if (currentRow_ >= table_.rows) return row;
        long entry = 0;
        if (!readEntry(&entry)) return positionFailed;
        if (wanted != 0 && entry == 0) return row;
        if (entry < 0) return columnFailed;
        place_ = entry;
        return row;
    }

    std::string readBackwards(int wanted) {
        if (!positioned_) {
            const std::string sought = seek(table_.rows - 1);
            if (sought != row) return sought;
        }
        if (currentRow_ < 0) return end;
        if (begin() != row) return columnFailed;
        --currentRow_;
        std::size_t decoded = 0;
        if (wanted != 0 && !decode(wanted, &decoded)) return columnFailed;
        long entry = 0;
        if (currentRow_ >= 0) {
            if (!index_) return "336 ";
            if (indexPlace_ < 16) return columnFailed;
            indexPlace_ -= 16;
            if (!readEntry(&entry)) return positionFailed;
            if (entry < 0) return columnFailed;
        }
        place_ = entry;
        return row;
    }

    bool decode(int wanted, std::size_t* decoded) {
        int filled = 0;
        for (*decoded = 0; *decoded < table_.targets.size() && filled < wanted; ++*decoded) {
            const std::vector<int>& targets = table_.targets[*decoded];
            if (targets.empty()) {
                if (!column(nullptr)) return false;
                continue;
            }
            std::string& first = slots_.at(static_cast<std::size_t>(targets[0]));
            if (!column(&first)) return false;
            for (const int target : targets) slots_.at(static_cast<std::size_t>(target)) = first;
            filled += static_cast<int>(targets.size());
        }
        return true;
    }

    bool take(long count, std::string* bytes) {
        if (place_ > static_cast<long>(data_.size()) - count) return false;
        *bytes = data_.substr(static_cast<std::size_t>(place_), static_cast<std::size_t>(count));
        place_ += count;
        return true;
    }

    // Takes one column; a payload that nobody wants is passed over, be it there or not.
    bool column(std::string* slot) {
        std::string flag;
        if (!take(1, &flag)) return false;
        const auto code = static_cast<unsigned char>(flag[0]);
        if ((code & 128) != 0) {
            if (slot != nullptr) *slot = "null";
            return true;
        }
        if (code == 5) return text(slot);
        if (code == 0 || code > 5) return true;
        const long size = code == 1 ? 1 : code == 4 ? 24 : 8;
        if (slot == nullptr) {
            place_ += size;
            return true;
        }
        std::string bytes;
        if (!take(size, &bytes)) return false;
        *slot = number(code, bytes);
        return true;
    }

    bool text(std::string* slot) {
        std::string size;
        if (!take(1, &size)) return false;
        long length = static_cast<unsigned char>(size[0]);
        if (length > 127) {
            if (!take(3, &size)) return false;
            length &= 127;
            for (const char byte : size) length = length << 8 | static_cast<unsigned char>(byte);
        }
        if (length == 0) return false;
        if (slot == nullptr) {
            place_ += length;
            return true;
        }
        std::string bytes;
        if (length > table_.longest || !take(length, &bytes) || bytes.back() != '\0') return false;
        *slot = std::string("string ") + bytes.c_str();
        return true;
    }

    std::string number(unsigned char code, const std::string& bytes) const {
        if (code == 1) return bytes[0] != 0 ? "boolean true" : "boolean false";
        if (code == 3) return "integer " + std::to_string(images::numberAt<std::int64_t>(bytes, 0, table_.order));
        KtbDatavar value;
        if (code == 2) {
            value = dateVar(images::numberAt<double>(bytes, 0, table_.order));
        } else {
            unsigned long words[3];
            for (std::size_t i = 0; i < 3; ++i) words[i] = images::numberAt<std::uint64_t>(bytes, 8 * i, table_.order);
            KtbReal decimal;
            decimal.assignFD(words);
            value = var<const KtbReal&>(decimal);
        }
        return shown(value);
    }

    const Table table_;
    const std::string data_;
    const std::optional<std::string> index_;
    Texts slots_;
    long currentRow_ = 0;
    long place_ = 0;       // in the data file
    long indexPlace_ = 0;  // in the index file
    bool firstRead_ = true;
    bool positioned_ = false;
};

class ElementModelTest : public ElementFixture {
protected:
    // A table of random columns with a random choice of them, and the files of one element of random rows.
    void makeElement(std::mt19937_64& random) {
        const auto columnCount = 1 + random() % 6;
        std::vector<images::Column> columns;
        for (std::size_t c = 0; c < columnCount; ++c)
            columns.push_back({.name = std::string(1, static_cast<char>('a' + c)), .longest = 3000});
        modelTable_ = {.targets = std::vector<std::vector<int>>(columnCount),
                       .longest = 3000,
                       .reversed = random() % 2 != 0,
                       .order = random() % 3 != 0 ? Order::ours : Order::other,
                       .rows = static_cast<long>(random() % (random() % 4 == 0 ? 300 : 8))};
        Texts chosen;
        slots_ = random() % 3 == 0 ? columnCount : 1 + random() % 8;
        for (std::size_t slot = 0; slot < slots_; ++slot) {
            const auto column = slots_ == columnCount ? slot : random() % columnCount;
            chosen.push_back(columns[column].name);
            modelTable_.targets[column].push_back(static_cast<int>(slot));
        }
        std::vector<std::string> rows(static_cast<std::size_t>(modelTable_.rows));
        for (std::string& bytes : rows) {
            for (std::size_t c = 0; c < columnCount; ++c) bytes += randomValue(random);
        }
        indexed_ = random() % 6 != 0;
        element_.reset();
        owner_ = readingOwner(columns, modelTable_.reversed, modelTable_.order, &chosen);
        element_ = elementOf(*owner_, rows, indexed_);
        data_ = std::make_unique<Patch>(directory_.file("ktwte_d"));
        if (!indexed_) put("ktwtei_i", "");
        index_ = std::make_unique<Patch>(directory_.file("ktwtei_i"));
    }

    std::string randomValue(std::mt19937_64& random) const {
        const Order order = modelTable_.order;
        switch (random() % 8) {
            case 0: return images::null();
            case 1: return images::flag(random() % 2 != 0 ? 131 : 6);
            case 2: return images::boolean(static_cast<unsigned char>(random() % 3));
            case 3: return images::date(static_cast<double>(random() % 1000000), order);
            case 4: return images::decimal(random() % 2 != 0, static_cast<unsigned>(random() % 40), 0, random(), order);
            case 5: return images::integer(static_cast<std::int64_t>(random()), order);
            default: return images::text(std::string(random() % (random() % 10 == 0 ? 2999 : 30), 'x'));
        }
    }

    static void damage(std::mt19937_64& random, const Patch& file) {
        if (file.size() == 0) return;
        if (random() % 4 == 0) file.cut(random() % file.size());
        for (auto changes = random() % 4; changes > 0; --changes) {
            file.put(random() % file.size(), static_cast<unsigned char>(random() % 2 != 0 ? random() : random() % 8));
        }
    }

    // The number and the argument of the last message.
    std::string lastMessage() const {
        const MessageLog::Entry last = log_.last();
        std::string argument;
        for (const char* what : {"row offset", "column position", "column"}) {
            if (argument.empty() && last.text.find(std::string("The ") + what) != std::string::npos) argument = what;
        }
        return std::to_string(last.number) + " " + argument;
    }

    // Asks the element and the model for the same things until one of them fails.
    void askBoth(std::mt19937_64& random) {
        Model model(modelTable_, get("ktwte_d"), indexed_ ? std::optional(get("ktwtei_i")) : std::nullopt, slots_);
        Row values(slots_);
        ASSERT_TRUE(element_->open(true)) << element_->getError().asCstr();
        const auto wantedMost = static_cast<int>(slots_);
        const bool oneWay = random() % 2 != 0;  // the same columns throughout, as tables ask for them
        const int alwaysWanted = static_cast<int>(random() % (slots_ + 2));
        for (int call = 0; call < 60; ++call) {
            std::string asked;
            std::string expected;
            std::string got;
            if (random() % (oneWay ? 30 : 6) == 0) {
                const long target = static_cast<long>(random() % static_cast<unsigned long>(modelTable_.rows + 4)) - 2;
                asked = "seek " + std::to_string(target);
                expected = model.seek(target);
                got = element_->seek(target) ? row : lastMessage();
            } else {
                const int wanted = oneWay ? alwaysWanted : static_cast<int>(random() % static_cast<unsigned>(wantedMost + 2));
                asked = "read " + std::to_string(wanted);
                expected = model.readRow(wanted);
                bool ended = false;
                got = element_->readRow(values.pointers(), wanted, &ended) ? row : ended ? end : lastMessage();
            }
            ASSERT_EQ(got, expected) << "call " << call << ": " << asked;
            if (got != row && got != end) break;
            ASSERT_EQ(values.texts(), model.slots()) << "call " << call << ": " << asked;
        }
        ASSERT_TRUE(element_->close());
    }

    Model::Table modelTable_{};
    std::size_t slots_ = 0;
    bool indexed_ = false;
    std::unique_ptr<KTWTFileImpl> owner_;
    std::unique_ptr<KTWTFileElement> element_;
    std::unique_ptr<Patch> data_;
    std::unique_ptr<Patch> index_;
};

}  // namespace

TEST_F(ElementModelTest, ReadsLikeTheModelInWhateverOrder) {
    for (unsigned seed = 1; seed <= 150; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937_64 random(seed);
        makeElement(random);
        for (int sequence = 0; sequence < 10; ++sequence) ASSERT_NO_FATAL_FAILURE(askBoth(random));
    }
}

TEST_F(ElementModelTest, ReadsDamagedFilesLikeTheModel) {
    for (unsigned seed = 1001; seed <= 1150; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937_64 random(seed);
        makeElement(random);
        for (int sequence = 0; sequence < 20; ++sequence) {
            SCOPED_TRACE(sequence);
            damage(random, *data_);
            if (random() % 2 != 0) damage(random, *index_);
            ASSERT_NO_FATAL_FAILURE(askBoth(random));
            data_->restore();
            index_->restore();
        }
    }
}
