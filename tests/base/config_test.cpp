#include "ktb/config.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "file_fixture.h"
#include "os_faults.h"
#include "support/failing_new.h"

namespace {

// Removes the variables that the tests set, before and after each of them.
class ConfigTest : public FileTest {
protected:
    ConfigTest() { clear(); }
    ~ConfigTest() override { clear(); }

    static void clear() {
        for (const char* name : {"KTB_OPTIONS", "KTB_BASE_TEMP", "KTB_A_B_C_D9_", "KTB_"}) unsetenv(name);
    }

    void useFile(const std::string& text) const { setenv("KTB_OPTIONS", makeFile("options", text).c_str(), 1); }

    // The option's text, or "absent".
    static std::string option(const char* key) {
        KtbString value("untouched");
        const bool found = ktbGetConfigOptions(KtbString())->getValue(KtbString(key), &value, 0);
        EXPECT_EQ(ktbGetConfigOptions(KtbString())->isSet(KtbString(key)), found);
        if (found) return value.asCstr();
        EXPECT_STREQ(value.asCstr(), "untouched");
        return "absent";
    }
};

TEST_F(ConfigTest, AnOptionThatNobodySetIsAbsent) { EXPECT_EQ(option("BASE/TEMP"), "absent"); }

TEST_F(ConfigTest, AnOptionComesFromTheEnvironment) {
    setenv("KTB_BASE_TEMP", "/a:/b", 1);
    EXPECT_EQ(option("BASE/TEMP"), "/a:/b");
    EXPECT_EQ(option("base/temp"), "/a:/b");
    EXPECT_EQ(option("Base Temp"), "/a:/b");
    EXPECT_EQ(option("BASE/TEMPO"), "absent");
}

TEST_F(ConfigTest, EveryCharacterButLettersAndDigitsIsOneUnderscore) {
    setenv("KTB_A_B_C_D9_", "x", 1);
    EXPECT_EQ(option("a.b-\x63\xc3\xa9\x64\x39="), "x");
    EXPECT_EQ(option("a b/c_d9\xff"), "x");
}

TEST_F(ConfigTest, AnEmptyKeyIsAbsent) {
    setenv("KTB_", "x", 1);
    useFile("= y\n");
    EXPECT_EQ(option(""), "absent");
    KtbString null;
    null.setNull();
    EXPECT_FALSE(ktbGetConfigOptions(KtbString())->isSet(null));
}

TEST_F(ConfigTest, AChangeOfTheEnvironmentCountsAtOnce) {
    setenv("KTB_BASE_TEMP", "one", 1);
    EXPECT_EQ(option("BASE/TEMP"), "one");
    setenv("KTB_BASE_TEMP", "two", 1);
    EXPECT_EQ(option("BASE/TEMP"), "two");
    unsetenv("KTB_BASE_TEMP");
    useFile("BASE/TEMP = three");
    EXPECT_EQ(option("BASE/TEMP"), "three");
    useFile("BASE/TEMP = four");
    EXPECT_EQ(option("BASE/TEMP"), "four");
}

TEST_F(ConfigTest, AnEmptyVariableLeavesTheWordToTheFile) {
    setenv("KTB_BASE_TEMP", "", 1);
    EXPECT_EQ(option("BASE/TEMP"), "absent");
    useFile("BASE/TEMP = /f\n");
    EXPECT_EQ(option("BASE/TEMP"), "/f");
    setenv("KTB_BASE_TEMP", "/e", 1);
    EXPECT_EQ(option("BASE/TEMP"), "/e");
}

TEST_F(ConfigTest, TheFileIsReadLineByLine) {
    useFile(
        "# BASE/TEMP = /comment\n"
        "\n"
        "   \t# BASE/TEMP = /comment\n"
        "no sign\n"
        "BASE/TEMPO = /other\n"
        "\t BASE/TEMP \t=  /a b:/c=d  \t\r\n"
        "BASE/TEMP = /second\n"
        "LAST=x");
    EXPECT_EQ(option("BASE/TEMP"), "/a b:/c=d");
    EXPECT_EQ(option("LAST"), "x");
    EXPECT_EQ(option("no sign"), "absent");
    EXPECT_EQ(option("base/temp"), "absent");
}

TEST_F(ConfigTest, AnEmptyTextInTheFileCountsAsAbsent) {
    useFile("A =  \t \nA = later\nB=\n");
    EXPECT_EQ(option("A"), "absent");
    EXPECT_EQ(option("B"), "absent");
}

TEST_F(ConfigTest, LinesThatAreTooLongOrHoldNulsArePassedOver) {
    const std::string huge(64UL * 1024, 'x');
    useFile("A = " + huge + "\nA = 1\nB" + std::string(1, '\0') + "=2\nB = 3\nC = 4" + std::string(1, '\0') + "\n" +
            std::string(300000, ' ') + "D = 5\nD = 6\nE = " + std::string(60000, 'e') + "\nF = " + huge);
    EXPECT_EQ(option("A"), "1");
    EXPECT_EQ(option("B"), "3");
    EXPECT_EQ(option("C"), "absent");
    EXPECT_EQ(option("D"), "6");
    EXPECT_EQ(option("E"), std::string(60000, 'e'));
    EXPECT_EQ(option("F"), "absent");
}

// Lines whose lengths lie around the limit, at every place relative to the buffer's end.
TEST_F(ConfigTest, LinesAroundTheLimitAreTakenWholeOrNotAtAll) {
    constexpr int limit = 64 * 1024;
    for (int length = limit - 3; length <= limit + 3; ++length) {
        for (int before : {0, 1, 5000, limit - 2}) {
            SCOPED_TRACE(length);
            const std::string text(static_cast<std::size_t>(length - 2), 'v');
            useFile(std::string(static_cast<std::size_t>(before), '\n') + "A=" + text + "\nB=after\n");
            const std::string found = option("A");
            EXPECT_EQ(found, length < limit ? text : "absent");
            EXPECT_EQ(option("B"), "after");
        }
    }
}

TEST_F(ConfigTest, AFileThatIsNoFileHasNoOptions) {
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    for (const std::string& name : {directory_, path("missing"), path("pipe"), std::string("/dev/zero"), std::string()}) {
        setenv("KTB_OPTIONS", name.c_str(), 1);
        EXPECT_EQ(option("A"), "absent") << name;
    }
}

TEST_F(ConfigTest, TheFileMayBeALink) {
    ASSERT_EQ(symlink(makeFile("real", "A = 1").c_str(), path("link").c_str()), 0);
    setenv("KTB_OPTIONS", path("link").c_str(), 1);
    EXPECT_EQ(option("A"), "1");
}

TEST_F(ConfigTest, InterruptedAndTinyReadsAreContinued) {
    useFile("A = 1\n# comment\nB = 22");
    OsFaults faults;
    faults.interrupt();
    faults.transferAtMost(1);
    EXPECT_EQ(option("A"), "1");
    EXPECT_EQ(option("B"), "22");
}

TEST_F(ConfigTest, ALineThatAFailureCutOffIsNotTaken) {
    useFile("A = 1\nB = 22");
    for (long passed = 0; passed <= 12; ++passed) {
        OsFaults faults;
        faults.transferAtMost(1);
        faults.failEvery(OsCall::pread, EIO, passed);
        KtbString value("old");
        EXPECT_FALSE(ktbGetConfigOptions(KtbString())->getValue(KtbString("B"), &value, 0));
        EXPECT_STREQ(value.asCstr(), "old");
    }
}

TEST_F(ConfigTest, EveryFailedCallLeavesTheOptionAbsent) {
    useFile("A = 1\n");
    bool failed = true;
    for (long n = 1; failed; ++n) {
        OsFaults faults;
        faults.failNth(n, EIO);
        KtbString value("old");
        const bool found = ktbGetConfigOptions(KtbString())->getValue(KtbString("A"), &value, 0);
        failed = faults.failed();
        // The line stands before the end that only the last read finds, and a failed close loses nothing.
        EXPECT_STREQ(value.asCstr(), found ? "1" : "old");
        if (!failed) {
            EXPECT_TRUE(found);
        }
    }
}

TEST_F(ConfigTest, ExhaustedMemoryGivesANullAndNoAbsence) {
    const std::string text(100, 'v');
    useFile("AN/OPTION/WITH/A/LONG/NAME = " + text + "\n");
    const KtbString key("AN/OPTION/WITH/A/LONG/NAME");
    const long failures = failing_new::forEachFailure([&] {
        KtbString value("old");
        const bool found = ktbGetConfigOptions(KtbString())->getValue(key, &value, 0);
        const bool failed = failing_new::stop();
        EXPECT_TRUE(found);
        EXPECT_EQ(value.isNull(), failed);
        EXPECT_EQ(value.asCstr(), failed ? "" : text);
        failing_new::failed = failed;
    });
    EXPECT_GE(failures, 2);
}

// The UUID with an 'x' for every digit that is free, and a 'v' for a digit that names the variant.
std::string formOf(std::string uuid) {
    for (std::size_t i = 0; i < uuid.size(); ++i) {
        const bool digit = std::strchr("0123456789abcdef", uuid[i]) != nullptr;
        if (i == 19 && std::strchr("89ab", uuid[i])) uuid[i] = 'v';
        if (i != 14 && i != 19 && digit) uuid[i] = 'x';
    }
    return uuid;
}

TEST_F(ConfigTest, AUuidHasTheFormOfVersionFour) {
    std::set<std::string> seen;
    for (int i = 0; i < 1000; ++i) {
        const std::string uuid = ktbGetUUID().asCstr();
        EXPECT_EQ(formOf(uuid), "xxxxxxxx-xxxx-4xxx-vxxx-xxxxxxxxxxxx");
        seen.insert(uuid);
    }
    EXPECT_EQ(seen.size(), 1000u);
}

TEST_F(ConfigTest, AUuidIsMadeFromEveryRandomBit) {
    std::set<char> digits[36];
    for (int i = 0; i < 2000; ++i) {
        const KtbString uuid = ktbGetUUID();
        for (int at = 0; at < 36; ++at) digits[at].insert(uuid.asCstr()[at]);
    }
    for (int at = 0; at < 36; ++at) {
        const bool dash = at == 8 || at == 13 || at == 18 || at == 23;
        EXPECT_EQ(digits[at].size(), dash || at == 14 ? 1u : at == 19 ? 4u : 16u) << at;
    }
}

TEST_F(ConfigTest, AUuidIsNullWithoutRandomBitsOrMemory) {
    {
        OsFaults faults;
        faults.failEvery(OsCall::random, EIO);
        EXPECT_TRUE(ktbGetUUID().isNull());
    }
    OsFaults faults;
    faults.interrupt();
    EXPECT_FALSE(ktbGetUUID().isNull());
    failing_new::failAt(0);
    const KtbString uuid = ktbGetUUID();
    failing_new::stop();
    EXPECT_TRUE(uuid.isNull());
}

TEST_F(ConfigTest, UuidsAreMadeByManyThreadsAtOnce) {
    std::vector<std::string> made[4];
    std::vector<std::thread> threads;
    for (auto& mine : made) {
        threads.emplace_back([&mine] {
            for (int i = 0; i < 200; ++i) mine.emplace_back(ktbGetUUID().asCstr());
        });
    }
    for (std::thread& thread : threads) thread.join();
    std::set<std::string> all;
    for (const auto& mine : made) all.insert(mine.begin(), mine.end());
    EXPECT_EQ(all.size(), 800u);
}

}  // namespace
