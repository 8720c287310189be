// Sorts by the rules of locales. The locales are made here, in a directory of the test's own, from the descriptions that the
// system has of them, so that the result does not depend on which ones somebody has installed.
#include <gtest/gtest.h>
#include <locale.h>

#include <cstdlib>

#include "sort/row_key.h"
#include "sort_model.h"
#include "sort_random.h"
#include "support/environment.h"
#include "support/temp_directory.h"

// With LOCPATH set, each newlocale() of the C library leaves a list of directories behind.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the sanitizer looks for this name.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() { return "leak:__argz_add_sep"; }

namespace {

using namespace sorting;

// Sets the process's locale for as long as the object lives.
class ProcessLocale {
public:
    explicit ProcessLocale(const char* name) : before_(std::setlocale(LC_ALL, nullptr)) {
        isSet_ = std::setlocale(LC_ALL, name) != nullptr;
    }
    ProcessLocale(const ProcessLocale&) = delete;
    ProcessLocale& operator=(const ProcessLocale&) = delete;
    ~ProcessLocale() { std::setlocale(LC_ALL, before_.c_str()); }

    bool isSet() const { return isSet_; }

private:
    const std::string before_;
    bool isSet_;
};

class SortLocaleTest : public testing::Test {
protected:
    static void SetUpTestSuite() { made = std::make_unique<Made>(); }
    static void TearDownTestSuite() { made.reset(); }

    // Makes a locale, if that has not been done yet. Returns false where the system has no means to.
    static bool make(const std::string& language) {
        const std::string path = made->directory.file(language + ".UTF-8");
        if (std::filesystem::exists(path)) return true;
        const std::string command = "localedef -i " + language + " -f UTF-8 " + path + " >/dev/null 2>&1";
        return std::system(command.c_str()) == 0;  // of names without a blank or a quote
    }

    std::vector<std::string> sorted(const std::vector<std::string>& texts, const Key& key, bool noCodeGen) {
        RowSortSetup setup = smallSetup(8192);
        setup.settings.noCodeGen = noCodeGen;
        const Description description = {{ktbTypeString}, {key}};
        Rows rows;
        for (const std::string& text : texts) rows.push_back({valueOf(text)});
        const Sort sort = makeSort(description, setup, directory.path());
        const Sorted result = run(sort.get(), rows, 1);
        EXPECT_EQ(result.status, ktSortEnd) << result.error;
        std::vector<std::string> back;
        for (const Row& row : result.rows) back.emplace_back(row[0].asString().asCstr());
        return back;
    }

    void expectOrder(const Key& key, const std::vector<std::string>& expected) {
        const std::vector<std::string> reversed(expected.rbegin(), expected.rend());
        for (const bool noCodeGen : {false, true}) {
            EXPECT_EQ(sorted(reversed, key, noCodeGen), expected);
            Key descending = key;
            descending.descending = true;
            EXPECT_EQ(sorted(expected, descending, noCodeGen), reversed);
        }
    }

    TempDirectory directory;

private:
    // Lives from the first test to the last.
    struct Made {
        TempDirectory directory;
        EnvironmentVariable path{"LOCPATH", directory.path().c_str()};
    };
    static std::unique_ptr<Made> made;
};

std::unique_ptr<SortLocaleTest::Made> SortLocaleTest::made;

constexpr const char* german = "de_DE.UTF-8";
constexpr const char* swedish = "sv_SE.UTF-8";

#define MAKE_OR_SKIP(language)                                   \
    if (!make(language))                                         \
    GTEST_SKIP() << "localedef cannot make the locale " language \
                    " here: it comes with the package "          \
                    "locales"

// The same texts, in the order of the one country and of the other.
TEST_F(SortLocaleTest, TextsStandAsTheLocaleHasIt) {
    MAKE_OR_SKIP("de_DE");
    MAKE_OR_SKIP("sv_SE");
    expectOrder({0, false, ktSortCollateLocale, german},
                {"", "a", "A", "\xc3\xa4", "\xc3\x84", "az", "\xc3\xa4z", "o", "\xc3\xb6", "z", "Z"});
    expectOrder({0, false, ktSortCollateLocale, swedish},
                {"", "a", "A", "az", "o", "z", "Z", "\xc3\xa4", "\xc3\x84", "\xc3\xa4z", "\xc3\xb6"});
    expectOrder({0, false, ktSortCollateLocale, "C.UTF-8"},
                {"", "A", "Z", "a", "az", "o", "z", "\xc3\x84", "\xc3\xa4", "\xc3\xa4z", "\xc3\xb6"});
    expectOrder({0, false, ktSortCollateBytes},
                {"", "A", "Z", "a", "az", "o", "z", "\xc3\x84", "\xc3\xa4", "\xc3\xa4z", "\xc3\xb6"});
}

// Letters, letters with marks, marks by themselves, what locales pass over at first, other scripts, and bytes that are no text.
std::string randomWord(Random& random) {
    static const std::vector<std::string> pieces = {"a",
                                                    "A",
                                                    "b",
                                                    "o",
                                                    "O",
                                                    "z",
                                                    "Z",
                                                    "s",
                                                    "ss",
                                                    "\xc3\x9f",
                                                    "\xc3\xa4",
                                                    "\xc3\x84",
                                                    "\xc3\xa5",
                                                    "\xc3\xb6",
                                                    "\xc3\xa9",
                                                    "e",
                                                    "\xcc\x88",
                                                    "\xcc\x81",
                                                    " ",
                                                    "-",
                                                    "'",
                                                    ".",
                                                    "_",
                                                    "0",
                                                    "7",
                                                    "10",
                                                    "\xc2\xad",
                                                    "\xe2\x80\x8b",
                                                    "\xd0\xb6",
                                                    "\xd7\xa9",
                                                    "\xe4\xb8\xad",
                                                    "\xf0\x9f\x98\x80",
                                                    "\x01",
                                                    "\x1f",
                                                    "\x7f",
                                                    "\x80",
                                                    "\xff",
                                                    "\xc3",
                                                    "\xed\xa0\x80",
                                                    "\xef\xbf\xbd"};
    std::string text;
    if (random.oneIn(5))
        text = random.oneOf<std::string>({"aaaaaaaa", std::string(60, 'k'),
                                          "Stra\xc3\x9f"
                                          "e ",
                                          "\xc3\xa4\xc3\xa4\xc3\xa4"});
    for (std::size_t i = random.below(random.oneIn(10) ? 80 : 5); i > 0; --i) text += random.oneOf(pieces);
    return text;
}

void expectKeysAsTheLocaleHasIt(const char* locale, unsigned long seed) {
    const KTSortCollateParms parms = {ktSortCollateLocale, locale};
    SortKey key;
    KtbString why;
    ASSERT_TRUE(key.collation.set(&parms, &why)) << why.asCstr();
    Random random(seed);
    std::vector<std::string> texts;
    std::vector<std::string> keys;
    ByteBuffer scratch;
    unsigned char buffer[8192];
    for (int i = 0; i < 400; ++i) {
        texts.push_back(randomWord(random));
        KeyWriter writer(buffer, sizeof buffer);
        ASSERT_TRUE(writer.put(key, valueOf(texts.back()), &scratch) && !writer.isCut());
        keys.emplace_back(reinterpret_cast<char*>(buffer), static_cast<std::size_t>(writer.end() - buffer));
    }
    for (std::size_t i = 0; i < texts.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            const int expected = signOf(compareTexts({0, false, ktSortCollateLocale, locale}, texts[i], texts[j]));
            ASSERT_EQ(signOf(keys[i].compare(keys[j])), expected)
                << locale << ": \"" << texts[i] << "\" and \"" << texts[j] << '"';
        }
    }
}

// 80,000 pairs of each locale.
TEST_F(SortLocaleTest, EncodedKeysStandAsTheLocaleHasIt) {
    MAKE_OR_SKIP("de_DE");
    MAKE_OR_SKIP("sv_SE");
    for (const char* locale : {german, swedish, "C.UTF-8"}) expectKeysAsTheLocaleHasIt(locale, 17);
}

TEST_F(SortLocaleTest, RandomSortsAreWhatTheModelSaysWithAndWithoutEncodedKeys) {
    MAKE_OR_SKIP("sv_SE");
    for (unsigned long seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random random(seed);
        const Description description = {
            {ktbTypeString, ktbTypeInteger, ktbTypeString},
            {{0, random.oneIn(2), ktSortCollateLocale, random.oneOf<const char*>({swedish, "C.UTF-8"})},
             {1, random.oneIn(2)},
             {2, random.oneIn(2), ktSortCollateLocale, swedish}}};
        Rows rows;
        const std::size_t distinct = random.between(1, 80);
        std::vector<std::string> words;
        for (std::size_t i = 0; i < distinct; ++i) words.push_back(randomWord(random));
        for (int i = 0; i < 150; ++i) {
            rows.push_back(
                {valueOf(random.oneOf(words)), valueOf(static_cast<long>(random.below(3))), valueOf(random.oneOf(words))});
        }
        RowSortSetup setup = smallSetup(8192, 4096, 2);
        setup.settings.noDups = random.oneIn(2);
        const Model model = modelOf(description, rows, setup.settings.noDups);
        for (const bool noCodeGen : {false, true}) {
            setup.settings.noCodeGen = noCodeGen;
            const Sort sort = makeSort(description, setup, directory.path());
            const Sorted result = run(sort.get(), rows, 3);
            ASSERT_EQ(result.status, ktSortEnd) << result.error;
            expectSame(result.rows, model.rows);
        }
        if (HasFailure()) return;
    }
}

// What the process has set for its own texts must not change what is on disk.
TEST_F(SortLocaleTest, TheLocaleOfTheProcessHasNoInfluence) {
    MAKE_OR_SKIP("sv_SE");
    Random random(4);
    std::vector<std::string> texts;
    for (int i = 0; i < 500; ++i) texts.push_back(randomWord(random));
    const Key keys[] = {{0, false, ktSortCollateBytes},
                        {0, true, ktSortCollateFold},
                        {0, false, ktSortCollateLocale, "C.UTF-8"},
                        {0, false, ktSortCollateLocale, swedish}};
    for (const Key& key : keys) {
        const std::vector<std::string> before = sorted(texts, key, false);
        const ProcessLocale process(key.locale == swedish ? "C.UTF-8" : swedish);
        ASSERT_TRUE(process.isSet());
        for (const bool noCodeGen : {false, true}) EXPECT_EQ(sorted(texts, key, noCodeGen), before);
    }
}

TEST_F(SortLocaleTest, AnEmptyNameIsNotTheLocaleOfTheProcess) {
    MAKE_OR_SKIP("sv_SE");
    const EnvironmentVariable language("LC_ALL", swedish);
    const ProcessLocale process("");
    ASSERT_TRUE(process.isSet());
    for (const char* name : {"", static_cast<const char*>(nullptr)}) {
        const KTSortCollateParms parms = {ktSortCollateLocale, name};
        Collation collation;
        KtbString why;
        EXPECT_FALSE(collation.set(&parms, &why));
        EXPECT_STREQ(why.asCstr(), "The locale \"\" for the collation is not known to this system.");
    }
}

}  // namespace
