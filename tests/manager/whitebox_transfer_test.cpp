// Copy and append of the table objects behind the manager.
#include "table/whitebox_fixture.h"

namespace {

class TransferTest : public WhiteboxTest {
protected:
    std::string numbersTable(long last) {
        const File file = makeFile();
        writeNumbers(*file, 1, last);
        EXPECT_TRUE(file->close());
        return name_;
    }

    template <class... Arguments>
    ::testing::AssertionResult fileSays(KTWTFileImpl& file, int number, Arguments... arguments) {
        return says(file.getError(), "wtfile", number, arguments...);
    }
};

TEST_F(TransferTest, ATableThatTakesNoRowsTakesNoneOfAnotherTable) {
    const std::string source = numbersTable(3);
    const File readOnly = fresh();
    ASSERT_TRUE(openWhole(*readOnly, source));
    EXPECT_FALSE(readOnly->append(ktb(source)));
    EXPECT_TRUE(fileSays(*readOnly, 1768));
    const File from = fresh();
    ASSERT_TRUE(openWhole(*from, source));
    const File target = fresh();
    ASSERT_TRUE(openWhole(*target, source));
    EXPECT_FALSE(target->copy(from.get()));
    EXPECT_TRUE(fileSays(*target, 1768));
    EXPECT_EQ(readAll(*from).rows, numbers(1, 3));
}

TEST_F(TransferTest, ACopyIntoAStoredTableFollowsItsRows) {
    const std::string source = numbersTable(3);
    numbersTable(2);
    const File target = append();
    ASSERT_TRUE(target);
    const File from = fresh();
    ASSERT_TRUE(openWhole(*from, source));
    ASSERT_TRUE(target->copy(from.get())) << errorOf(*target);
    ASSERT_TRUE(target->close());
    ASSERT_TRUE(openText(name_));
    EXPECT_EQ(rowsRead(), (Rows{{1L}, {2L}, {1L}, {2L}, {3L}}));
}

TEST_F(TransferTest, ATableIsNoSourceForItself) {
    const File file = makeFile();
    writeNumbers(*file, 1, 2);
    const KtbString reason = ktb_get_message("", 0, "", 1793);
    EXPECT_FALSE(file->copy(file.get()));
    EXPECT_TRUE(fileSays(*file, 1782, "Copy", name_.c_str(), name_.c_str(), reason.asCstr()));
    EXPECT_EQ(file->getRows(), 2);
}

TEST_F(TransferTest, ATableOpenForAppendingCanBeCopiedIntoItself) {
    const std::string name = numbersTable(3);
    const File target = append();
    const File from = fresh();
    ASSERT_TRUE(target && openWhole(*from, name));
    ASSERT_TRUE(target->copy(from.get())) << errorOf(*target);
    ASSERT_TRUE(target->close());
    EXPECT_EQ(elementRows(), std::vector<long>{6});
}

TEST_F(TransferTest, TheSharedCopyGivesItsTargetStillOpen) {
    const std::string source = numbersTable(3);
    auto* impl = static_cast<KTWTManagerImpl*>(manager_.get());
    const File target = makeFile();
    EXPECT_EQ(impl->copy(target.get(), impl, 0, ktb(source), &error_), target.get());
    writeNumbers(*target, 4, 4);
    EXPECT_TRUE(target->close());
    EXPECT_EQ(impl->copy(target.get(), impl, 0, "missing", &error_), nullptr);
    EXPECT_EQ(target->getError().length(), 0);
    ASSERT_TRUE(openText(name_));
    EXPECT_EQ(rowsRead(), numbers(1, 4));
}

}  // namespace
