// Messages: every number with its arguments, the observer, exhausted memory, and the reports of failed assertions.
#include "ktb/message.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <iterator>
#include <limits>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "message/catalog.h"
#include "support/failing_new.h"

namespace {

constexpr char testComponent[] = "Work table library";
constexpr char testSource[] = "message_test";

template <class... Arguments>
std::string make(int number, Arguments... arguments) {
    const KtbString text = ktb_get_message(testSource, 77, testComponent, number, arguments...);
    EXPECT_FALSE(text.isNull());
    return text.asCstr();
}

std::string labelOf(int number) {
    const std::string digits = std::to_string(number);
    return "KTWT-" + std::string(digits.size() < 4 ? 4 - digits.size() : 0, '0') + digits + ": ";
}

// An argument that no catalog text contains by itself, different at each position.
constexpr const char* markers[] = {"first~text", "second~text", "third~text", "fourth~text", "fifth~text"};
static_assert(std::size(markers) == 5);

template <char kind, std::size_t position>
auto argumentFor() {
    if constexpr (kind == 's') {
        return markers[position];
    } else if constexpr (kind == 'd') {
        return -870'001 - static_cast<int>(position);
    } else {
        static_assert(kind == 'l');
        return 98'000'000'001L + static_cast<long>(position);
    }
}

std::string shown(const char* argument) { return argument; }
template <class Number>
std::string shown(Number argument) {
    return std::to_string(argument);
}

template <std::size_t entry>
constexpr std::size_t argumentCount = std::string_view(ktbMessageSignatures[entry].arguments).size();

// Makes one message and checks that it has its number and shows all arguments, in an order of the catalog's choice.
template <std::size_t entry, std::size_t... positions>
void checkEntry(std::index_sequence<positions...>) {
    constexpr KtbMessageSignature signature = ktbMessageSignatures[entry];
    const std::string text = make(signature.number, argumentFor<signature.arguments[positions], positions>()...);
    const std::string label = labelOf(signature.number);
    EXPECT_EQ(text.substr(0, label.size()), label);
    EXPECT_GT(text.size(), label.size() + 20) << text;
    EXPECT_EQ(text.find('%'), std::string::npos) << text;
    EXPECT_EQ(text.find('\n'), std::string::npos) << text;
    const std::vector<std::string> wanted = {shown(argumentFor<signature.arguments[positions], positions>())...};
    for (const std::string& argument : wanted) EXPECT_NE(text.find(argument), std::string::npos) << text << ": " << argument;
}

template <std::size_t... entries>
void checkEntries(std::index_sequence<entries...>) {
    (checkEntry<entries>(std::make_index_sequence<argumentCount<entries>>()), ...);
}

TEST(MessageTest, EveryNumberHasATextWithAllItsArguments) {
    checkEntries(std::make_index_sequence<std::size(ktbMessageSignatures)>());
}

TEST(MessageTest, NoTwoNumbersShareAText) {
    std::set<std::string> formats;
    for (const KtbMessageText& entry : ktbMessageTexts) formats.insert(entry.format);
    EXPECT_EQ(formats.size(), std::size(ktbMessageTexts));
}

TEST(MessageTest, TheCatalogHasTheNumbersThatCallersKnow) {
    const std::vector<int> known = {29,   336,  453,  1044, 1045, 1301, 1352, 1353, 1417, 1420, 1642,
                                    1666, 1747, 1768, 1769, 1770, 1771, 1773, 1780, 1781, 1782, 1783,
                                    1784, 1785, 1786, 1787, 1788, 1789, 1790, 1791, 1792, 1793, 1794};
    std::vector<int> numbers;
    for (const KtbMessageSignature& signature : ktbMessageSignatures) numbers.push_back(signature.number);
    EXPECT_EQ(numbers, known);
}

// The checks behind the catalog's static_assert would refuse each of these texts.
static_assert(ktbMessageFormatTakes("%s and %d and %ld", "sdl"));
static_assert(!ktbMessageFormatTakes("%s", ""));
static_assert(!ktbMessageFormatTakes("", "s"));
static_assert(!ktbMessageFormatTakes("%d", "s"));
static_assert(!ktbMessageFormatTakes("%d", "l"));
static_assert(!ktbMessageFormatTakes("%ld", "d"));
static_assert(!ktbMessageFormatTakes("%d %s", "sd"));
static_assert(!ktbMessageFormatTakes("100%", "s"));
static_assert(!ktbMessageFormatTakes("%ls", "s"));
static_assert(!ktbMessageFormatTakes("%x", "d"));
static_assert(!ktbMessageFormatTakes("%5d", "d"));

TEST(MessageTest, PutsArgumentsWhereTheyBelong) {
    EXPECT_EQ(make(29, "(column definition array)"), "KTWT-0029: Memory is exhausted: no room for (column definition array).");
    EXPECT_EQ(make(1353, "/work area/t", "permission denied"),
              "KTWT-1353: The file \"/work area/t\" could not be opened: permission denied.");
    EXPECT_EQ(make(1352, "/t", 99),
              "KTWT-1352: The file \"/t\" could not be opened: error 99. Check its name and its access rights.");
    EXPECT_EQ(
        make(1769, "from", "to", 3, 4),
        "KTWT-1769: The work tables \"from\" and \"to\" have different numbers of columns: 3 in the source, 4 in the target.");
    EXPECT_EQ(make(1770, "from", "to", 2, "city", "town"),
              "KTWT-1770: The work tables \"from\" and \"to\" differ in column 2 (the first is 0): "
              "it is named \"city\" in the source and \"town\" in the target.");
    EXPECT_EQ(make(1782, "Copy", "from", "to", "KTWT-1301: why"),
              "KTWT-1782: Copy stopped: a row of the source \"from\" could not be read for the target \"to\": KTWT-1301: why");
    EXPECT_EQ(make(1785, 2, 0, 1, 0),
              "KTWT-1785: The work table has file version 2.0, but this release reads version 1.0. Use a newer release.");
}

TEST(MessageTest, NumbersAtTheirLimitsAreShownWhole) {
    EXPECT_EQ(make(1788, std::numeric_limits<long>::min()),
              "KTWT-1788: The row range begins with row -9223372036854775808, but the first row is 0.");
    EXPECT_EQ(make(1791, std::numeric_limits<int>::min()),
              "KTWT-1791: The chosen column -2147483648 does not exist. The first column is 0.");
}

TEST(MessageTest, ANullTextShowsAsAnEmptyOne) {
    EXPECT_EQ(make(1353, static_cast<const char*>(nullptr), static_cast<const char*>(nullptr)),
              "KTWT-1353: The file \"\" could not be opened: .");
}

TEST(MessageTest, ArgumentsAreNotReadAsFormats) {
    EXPECT_EQ(make(1353, "%s%n%d", "%%"), "KTWT-1353: The file \"%s%n%d\" could not be opened: %%.");
}

TEST(MessageTest, LongArgumentsAreShownWhole) {
    const std::string path(100'000, 'p');
    EXPECT_EQ(make(1353, path.c_str(), "x"), "KTWT-1353: The file \"" + path + "\" could not be opened: x.");
}

TEST(MessageTest, AnUnknownNumberSaysSo) {
    EXPECT_EQ(make(4711), "KTWT-4711: Unknown message.");
    EXPECT_EQ(make(0), "KTWT-0000: Unknown message.");
    EXPECT_EQ(make(28, "ignored"), "KTWT-0028: Unknown message.");
    EXPECT_EQ(make(123'456), "KTWT-123456: Unknown message.");
    EXPECT_FALSE(make(std::numeric_limits<int>::min()).empty());
}

struct Seen {
    std::string source;
    int line;
    std::string component;
    int number;
    std::string text;
};

class MessageObserverTest : public ::testing::Test {
protected:
    ~MessageObserverTest() override { ktbSetMessageObserver(nullptr, nullptr); }

    static void record(void* context, const char* source, int line, const char* component, int number, const char* text) {
        static_cast<MessageObserverTest*>(context)->seen_.push_back({source, line, component, number, text});
    }

    std::vector<Seen> seen_;
};

TEST_F(MessageObserverTest, SeesEachMessageAsItIsMade) {
    ktbSetMessageObserver(record, this);
    const std::string first = make(1768);
    ktb_get_message("wtfile", 12, testComponent, 1666, "city");
    ASSERT_EQ(seen_.size(), 2U);
    EXPECT_EQ(seen_[0].source, testSource);
    EXPECT_EQ(seen_[0].line, 77);
    EXPECT_EQ(seen_[0].component, testComponent);
    EXPECT_EQ(seen_[0].number, 1768);
    EXPECT_EQ(seen_[0].text, first);
    EXPECT_EQ(seen_[1].source, "wtfile");
    EXPECT_EQ(seen_[1].line, 12);
    EXPECT_NE(seen_[1].text.find("\"city\""), std::string::npos);
}

TEST_F(MessageObserverTest, SeesUnknownNumbersToo) {
    ktbSetMessageObserver(record, this);
    make(4711);
    ASSERT_EQ(seen_.size(), 1U);
    EXPECT_EQ(seen_[0].number, 4711);
    EXPECT_EQ(seen_[0].text, "KTWT-4711: Unknown message.");
}

TEST_F(MessageObserverTest, IsReplacedAndRemoved) {
    MessageObserverTest* const self = this;
    ktbSetMessageObserver(record, self);
    ktbSetMessageObserver([](void*, const char*, int, const char*, int, const char*) {}, nullptr);
    make(1768);
    EXPECT_TRUE(seen_.empty());
    ktbSetMessageObserver(record, self);
    ktbSetMessageObserver(nullptr, nullptr);
    make(1768);
    EXPECT_TRUE(seen_.empty());
}

TEST_F(MessageObserverTest, MayMakeMessagesAndRemoveItself) {
    static int depth;
    depth = 0;
    ktbSetMessageObserver(
        [](void*, const char*, int, const char*, int number, const char*) {
            ++depth;
            if (number == 1768) {
                make(1793);
            } else {
                ktbSetMessageObserver(nullptr, nullptr);
            }
        },
        nullptr);
    make(1768);
    EXPECT_EQ(depth, 2);
    make(1768);
    EXPECT_EQ(depth, 2);
}

constexpr char exhausted[] = "KTWT-0029: Memory is exhausted: no room for (message text).";

TEST_F(MessageObserverTest, ExhaustedMemoryGivesAFixedTextAndIsSeen) {
    ktbSetMessageObserver(record, this);
    const std::string longName(300, 'n');
    const std::string whole = make(1770, longName.c_str(), "target", 3, "one", "other");
    const long failures = failing_new::forEachFailure([&] {
        seen_.clear();
        const KtbString text =
            ktb_get_message(testSource, 77, testComponent, 1770, longName.c_str(), "target", 3, "one", "other");
        const bool failed = failing_new::stop();
        EXPECT_FALSE(text.isNull());
        EXPECT_EQ(text.asCstr(), failed ? std::string(exhausted) : whole);
        ASSERT_EQ(seen_.size(), 1U);
        EXPECT_EQ(seen_[0].number, 1770);
        EXPECT_EQ(seen_[0].text, text.asCstr());
    });
    EXPECT_GT(failures, 0);
}

TEST(MessageTest, TheFixedTextSurvivesBeingCopiedWithoutMemory) {
    failing_new::failAt(0);
    const KtbString text = ktb_get_message(testSource, 77, testComponent, 1768);
    EXPECT_TRUE(failing_new::stop());
    failing_new::failAt(0);
    const KtbString copy = text;
    failing_new::stop();
    EXPECT_STREQ(copy.asCstr(), exhausted);
}

struct Counter {
    std::atomic<long> seen{0};
    std::atomic<long> wrong{0};

    static void count(void* context, const char*, int, const char*, int number, const char* text) {
        auto* self = static_cast<Counter*>(context);
        self->seen.fetch_add(1);
        const std::string label = labelOf(number);
        if (std::string(text).compare(0, label.size(), label) != 0) self->wrong.fetch_add(1);
    }
};

void makeMany(int number, int count) {
    for (int i = 0; i < count; ++i) make(number, "some argument that is longer than what a text holds inline");
}

TEST_F(MessageObserverTest, MessagesOfSeveralThreadsAreAllSeen) {
    Counter counter;
    ktbSetMessageObserver(Counter::count, &counter);
    std::vector<std::thread> threads;
    for (const int number : {29, 1045, 1301, 1747}) threads.emplace_back(makeMany, number, 2'000);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(counter.seen, 8'000);
    EXPECT_EQ(counter.wrong, 0);
}

TEST_F(MessageObserverTest, MayBeExchangedWhileMessagesAreMade) {
    std::array<Counter, 2> counters;
    std::atomic<bool> stopped{false};
    std::thread exchanger([&] {
        for (std::size_t i = 0; !stopped; ++i) {
            ktbSetMessageObserver(i % 3 == 2 ? nullptr : Counter::count, i % 3 == 2 ? nullptr : &counters[i % 3]);
        }
    });
    std::vector<std::thread> threads;
    for (const int number : {29, 1045, 1301}) threads.emplace_back(makeMany, number, 2'000);
    for (std::thread& thread : threads) thread.join();
    stopped = true;
    exchanger.join();
    EXPECT_LE(counters[0].seen + counters[1].seen, 6'000);
    EXPECT_EQ(counters[0].wrong + counters[1].wrong, 0);
}

// Standard error led into a socket that keeps the bounds of what was written in one call.
class StandardError {
public:
    StandardError() {
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, ends_), 0);
        saved_ = ::dup(STDERR_FILENO);
        EXPECT_EQ(::dup2(ends_[0], STDERR_FILENO), STDERR_FILENO);
    }
    ~StandardError() {
        ::dup2(saved_, STDERR_FILENO);
        for (const int handle : {saved_, ends_[0], ends_[1]}) ::close(handle);
    }
    StandardError(const StandardError&) = delete;
    StandardError& operator=(const StandardError&) = delete;

    // The next write; "" when there is none.
    std::string takeWrite() {
        std::string bytes(65'536, '\0');
        const ssize_t size = ::recv(ends_[1], bytes.data(), bytes.size(), 0);
        bytes.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
        return bytes;
    }

private:
    int ends_[2] = {-1, -1};
    int saved_ = -1;
};

class AssertFailureTest : public ::testing::Test {
protected:
    ~AssertFailureTest() override { ktbSetAssertHandler(nullptr, nullptr); }

    static void record(void* context, const char* text, const char* file, int line) {
        static_cast<AssertFailureTest*>(context)->reports_.push_back(std::string(file) + "|" + std::to_string(line) + "|" +
                                                                     text);
    }

    std::vector<std::string> reports_;
};

TEST_F(AssertFailureTest, WritesOneLineInOneCallAndReturns) {
    StandardError error;
    ktbAssertFailure("rows == 0 (100%s)", "wtelem", 42);
    EXPECT_EQ(error.takeWrite(), "wtelem:42: assertion failed: rows == 0 (100%s)\n");
    EXPECT_EQ(error.takeWrite(), "");
}

TEST_F(AssertFailureTest, WritesLongTextsWhole) {
    StandardError error;
    const std::string text(20'000, 't');
    ktbAssertFailure(text.c_str(), "wtelem", -1);
    EXPECT_EQ(error.takeWrite(), "wtelem:-1: assertion failed: " + text + "\n");
}

TEST_F(AssertFailureTest, TakesNullTexts) {
    StandardError error;
    ktbAssertFailure(nullptr, nullptr, 0);
    EXPECT_EQ(error.takeWrite(), ":0: assertion failed: \n");
}

TEST_F(AssertFailureTest, NeedsNoMemoryAndKeepsErrno) {
    StandardError error;
    failing_new::failAt(0);
    errno = 4321;
    ktbAssertFailure("broken", "wtfile", 7);
    EXPECT_EQ(errno, 4321);
    EXPECT_FALSE(failing_new::stop());
    EXPECT_EQ(error.takeWrite(), "wtfile:7: assertion failed: broken\n");
}

TEST_F(AssertFailureTest, ReturnsWhenStandardErrorIsClosed) {
    const int saved = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 10);
    ASSERT_GE(saved, 0);
    ::close(STDERR_FILENO);
    errno = 4321;
    ktbAssertFailure("broken", "wtfile", 7);
    EXPECT_EQ(errno, 4321);
    EXPECT_EQ(::dup2(saved, STDERR_FILENO), STDERR_FILENO);
    ::close(saved);
}

TEST_F(AssertFailureTest, AHandlerTakesThePlaceOfTheLine) {
    StandardError error;
    ktbSetAssertHandler(record, this);
    ktbAssertFailure("first", "wtmgr", 1);
    ktbAssertFailure("second", "wtfile", 2);
    EXPECT_EQ(reports_, (std::vector<std::string>{"wtmgr|1|first", "wtfile|2|second"}));
    EXPECT_EQ(error.takeWrite(), "");
    ktbSetAssertHandler(nullptr, nullptr);
    ktbAssertFailure("third", "wtmgr", 3);
    EXPECT_EQ(reports_.size(), 2U);
    EXPECT_EQ(error.takeWrite(), "wtmgr:3: assertion failed: third\n");
}

TEST_F(AssertFailureTest, LinesOfSeveralThreadsStayWhole) {
    constexpr int threadCount = 4;
    constexpr int linesEach = 20;
    StandardError error;
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i) {
        threads.emplace_back([i] {
            for (int line = 0; line < linesEach; ++line) ktbAssertFailure("broken", "wtmgr", i);
        });
    }
    for (std::thread& thread : threads) thread.join();
    std::array<int, threadCount> lines{};
    for (std::string line = error.takeWrite(); !line.empty(); line = error.takeWrite()) {
        for (int i = 0; i < threadCount; ++i) {
            if (line == "wtmgr:" + std::to_string(i) + ": assertion failed: broken\n") ++lines[static_cast<std::size_t>(i)];
        }
    }
    for (const int count : lines) EXPECT_EQ(count, linesEach);
}

}  // namespace
