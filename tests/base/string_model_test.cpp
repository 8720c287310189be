// Long random series of operations on texts, each compared with a naive model of a text that can be null.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "base/naive_characters.h"
#include "ktb/string.h"

namespace {

using Model = std::optional<std::string>;

class Series {
public:
    explicit Series(unsigned seed) : random_(seed), texts_(4), models_(4, Model("")) {}

    void step() {
        const std::size_t i = below(texts_.size()), j = below(texts_.size());
        change(texts_[i], models_[i], texts_[j], models_[j]);
        check(i);
        check(j);
    }

private:
    std::size_t below(std::size_t limit) { return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random_); }

    // Few different pieces, so that occurrences are frequent and sequences are cut and completed.
    std::string randomText() {
        static const std::vector<std::string> pieces = {
            "a",    "b",    "ab",       "\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x98\x80", "\xe2",
            "\x82", "\xac", "\xf0\x9f", "\xff",     "abababab",     "0123456789abcdef"};
        std::string text;
        for (std::size_t n = below(below(4) == 0 ? 12 : 4); n != 0; --n) text += pieces[below(pieces.size())];
        return text;
    }

    static void setText(KtbString& text, Model& model, const std::string& bytes) {
        text.assign(bytes.c_str());
        model = bytes;
    }

    void change(KtbString& text, Model& model, KtbString& other, Model& otherModel) {
        const std::string bytes = randomText();
        switch (below(16)) {
            case 0:
                return setText(text, model, bytes);
            case 1:
                text.assign(bytes.data(), static_cast<int>(bytes.size()));
                model = bytes;
                return;
            case 2:
                text = other;
                model = otherModel;
                return;
            case 3:
                return moveAssign(text, model, other, otherModel);
            case 4:
                text.setNull();
                model.reset();
                return;
            case 5:
                text.append(bytes.c_str(), nullptr);
                model = model.value_or("") + bytes;
                return;
            case 6:
                return appendText(text, model, other, otherModel);
            case 7:
            case 8:
                return truncate(text, model);
            case 9:
            case 10:
                return replace(text, model, bytes, otherModel.value_or(""));
            case 11:
                return assignPart(text, model);
            case 12:
                text = other.mid(1, 5);
                model = otherModel;
                cutMiddle(model);
                return;
            case 13:
                keepLiteral(text, model, bytes);
                return;
            case 14:
                compare(text, model, other, otherModel);
                return;
            default:
                return find(text, model, bytes);
        }
    }

    static void moveAssign(KtbString& text, Model& model, KtbString& other, Model& otherModel) {
        if (&text == &other) return;
        text = std::move(other);
        model = std::exchange(otherModel, "");
    }

    static void appendText(KtbString& text, Model& model, const KtbString& other, const Model& otherModel) {
        if (other.cStrSize() > 5000) return;
        text.append(other, nullptr);
        if (otherModel) model = model.value_or("") + *otherModel;
    }

    void truncate(KtbString& text, Model& model) {
        const std::size_t keep = below(30);
        text.truncate(static_cast<unsigned>(keep));
        if (model) model = naive::joined(naive::characters(*model), 0, keep);
    }

    void replace(KtbString& text, Model& model, std::string from, const std::string& to) {
        from.resize(std::min<std::size_t>(from.size(), 3));
        const std::size_t start = below(6);
        const int count = static_cast<int>(below(6)) - 2;
        if (to.size() > 300) return;
        text.replace(KtbString(from.c_str()), KtbString(to.c_str()), static_cast<unsigned>(start), count);
        if (model) model = naive::replace(*model, from, to, start, count);
        if (model && model->size() > 5000) setText(text, model, "x");
    }

    void assignPart(KtbString& text, Model& model) {
        const std::size_t size = static_cast<std::size_t>(text.cStrSize()) - 1;
        const std::size_t first = below(size + 1), count = below(size - first + 1);
        text.assign(text.asCstr() + first, static_cast<int>(count));
        model = model.value_or("").substr(first, count);
    }

    static void cutMiddle(Model& model) {
        if (model) model = naive::joined(naive::characters(*model), 1, 5);
    }

    static void keepLiteral(KtbString& text, Model& model, const std::string& bytes) {
        static const char* const literals[] = {"", "a literal", "\xe2\x82", "a literal that does not fit inside of the object"};
        text = KtbString(literals[bytes.size() % 4], true);
        model = literals[bytes.size() % 4];
    }

    static void compare(const KtbString& text, const Model& model, const KtbString& other, const Model& otherModel) {
        const int order = text.compare(other, true);
        EXPECT_EQ(order < 0, model < otherModel);
        EXPECT_EQ(order == 0, model == otherModel);
        EXPECT_EQ(order == 0, text.compare(otherModel ? otherModel->c_str() : nullptr, true) == 0);
    }

    void find(const KtbString& text, const Model& model, const std::string& what) {
        const std::size_t start = below(8);
        const int expected = model ? naive::find(*model, what, start) : -1;
        EXPECT_EQ(text.find(KtbString(what.c_str()), static_cast<int>(start)), expected);
    }

    // Counts only now and then, so that both counted and uncounted texts are changed.
    void check(std::size_t i) {
        const KtbString& text = texts_[i];
        const std::string bytes = models_[i].value_or("");
        ASSERT_EQ(text.isNull(), !models_[i]);
        ASSERT_EQ(text.asCstr(), bytes);
        ASSERT_EQ(text.cStrSize(), static_cast<int>(bytes.size()) + 1);
        if (below(3) != 0) return;
        ASSERT_EQ(text.length(), static_cast<int>(naive::characters(bytes).size()));
    }

    std::mt19937 random_;
    std::vector<KtbString> texts_;
    std::vector<Model> models_;
};

TEST(StringModelTest, RandomSeriesOfOperationsAgreeWithTheModel) {
    for (unsigned seed = 1; seed <= 300; ++seed) {
        Series series(seed);
        for (int step = 0; step < 300 && !testing::Test::HasFailure(); ++step) series.step();
        ASSERT_FALSE(testing::Test::HasFailure()) << "seed " << seed;
    }
}

}  // namespace
