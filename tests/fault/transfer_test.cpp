// Copy, append and partition, done once for every call and every allocation that can fail.
#include <gtest/gtest.h>

#include <algorithm>

#include "stage.h"

namespace {

class TransferFaultTest : public testing::Test {
protected:
    KtbString kept() const { return KtbString(stage.kept.c_str(), true); }

    // Expects that what failed was made to fail, and that the text of the first message says why. Two messages carry another's
    // text.
    void expectExplained(const Faults& faults) const {
        ASSERT_TRUE(faults.injected());
        ASSERT_FALSE(stage.log.entries().empty());
        const std::string error = stage.error.asCstr();
        EXPECT_TRUE(error.find(stage.firstMessage()) != std::string::npos || stage.tellsOfPair(faults, error)) << error;
    }

    // The messages whose text the failed operation could give, each met at least once.
    void expectMet(const std::vector<std::string>& texts) const {
        for (const std::string& text : texts) {
            EXPECT_NE(std::count(met.begin(), met.end(), text), 0) << text;
        }
    }

    // Whether the rows are the kept table's twice, or the first of them, but never fewer than were there before.
    static bool isPrefixOfBoth(const Rows& rows) {
        Rows both = rowsFrom(0, rowCount);
        const Rows again = both;
        both.insert(both.end(), again.begin(), again.end());
        return rows.size() >= rowCount && rows.size() <= both.size() && std::equal(rows.begin(), rows.end(), both.begin());
    }

    Stage stage;
    std::vector<std::string> met;
};

TEST_F(TransferFaultTest, ANewCopyIsWholeOrGone) {
    const auto scenario = [&](const char* key, Faults& faults) {
        stage.refresh();
        std::string name;
        bool copied = false;
        faults.during([&] {
            const Table table(stage.manager->copy(elementSize, KtbString(key, true), kept(), &stage.error));
            if (!table) return;
            name = table->getName().asCstr();
            copied = stage.close(table.get());
        });
        if (copied) {
            EXPECT_EQ(stage.stored(name), rowsFrom(0, rowCount));
        } else {
            met.emplace_back(stage.error.asCstr());
            // The creation of a manager tells nothing of memory that was not there for the manager itself.
            if (*key == '\0') expectExplained(faults);
        }
        if (!copied) stage.expectGone(faults, name, rowsFrom(0, rowCount));
        stage.clearAway();
        stage.expectUnharmed();
    };
    sweepFaults([&](Faults& faults) { scenario("", faults); });
    sweepFaults([&](Faults& faults) { scenario("another key", faults); });
    expectMet({messageText(29, "(work table file instance)"), messageText(29, "(column value array)"), messageText(1781, ""),
               messageText(1781, messageText(29, "(work table lock)").c_str())});
}

TEST_F(TransferFaultTest, ACopyIntoATargetIsWholeOrReported) {
    sweepFaults([&](Faults& faults) {
        stage.refresh();
        Table target = stage.create();
        ASSERT_NE(target, nullptr);
        bool copied = false;
        faults.during([&] { copied = stage.manager->copy(target.get(), stage.manager.get(), kept(), &stage.error); });
        if (copied) {
            EXPECT_EQ(textsOf(stage.read(target.get()).value()), rowsFrom(0, rowCount));
        } else {
            expectExplained(faults);
        }
        target.reset();
        stage.clearAway();
        stage.expectUnharmed();
    });
}

// Whatever fails, the rows of before stay: the new ones follow them, or the first of them, or none.
TEST_F(TransferFaultTest, AnAppendNeverCostsTheEarlierRows) {
    sweepFaults([&](Faults& faults) {
        std::string name;
        ASSERT_TRUE(stage.write(&name));
        stage.refresh();
        bool appended = false;
        faults.during([&] { appended = stage.manager->append(KtbString(name.c_str(), true), kept(), false, &stage.error); });
        if (!appended) {
            expectExplained(faults);
            met.emplace_back(stage.error.asCstr());
        }
        const std::size_t filesLeft = stage.strangers().size();
        const std::optional<Rows> rows = stage.stored(name);
        // A disk that fails for good in the middle of the header leaves nothing that could be told; nor does one that takes no
        // byte more, not even in the place of another, and then the table is gone.
        ASSERT_TRUE(rows.has_value() || faults.isLasting() || (faults.deniesWriting() && filesLeft == 0))
            << stage.error.asCstr();
        if (rows && rows->size() == rowCount && !faults.isLasting()) {
            EXPECT_EQ(filesLeft, 7u);  // a header and three pairs, and none of a new element
        }
        if (rows) {
            EXPECT_TRUE(isPrefixOfBoth(*rows)) << rows->size();
            EXPECT_TRUE(!appended || rows->size() == 2 * rowCount);
        }
        if (rows && !faults.isLasting()) {
            EXPECT_TRUE(stage.manager->append(name.c_str(), stage.kept.c_str(), &stage.error)) << stage.error.asCstr();
            EXPECT_EQ(stage.stored(name)->size(), rows->size() + rowCount);
        }
        stage.clearAway();
        stage.expectUnharmed();
    });
    expectMet({messageText(29, "(work table instance)"), messageText(29, "(work table file instance)"),
               messageText(29, "(column value array)"),
               messageText(1780, messageText(29, "(enqueue work table lock)").c_str())});
}

TEST_F(TransferFaultTest, RangesAreRightOrAFailureIsReported) {
    sweepFaults([&](Faults& faults) {
        stage.refresh();
        int parts = 3;
        long ranges[6] = {};
        bool done = false;
        faults.during([&] { done = stage.manager->partition(kept(), &parts, ranges, &stage.error); });
        if (!done) {
            expectExplained(faults);
            met.emplace_back(stage.error.asCstr());
        } else {
            EXPECT_EQ(parts, 3);
            EXPECT_EQ(std::vector<long>(ranges, ranges + 6), (std::vector<long>{0, 2, 2, 3, 5, 1}));
        }
        stage.expectUnharmed();
    });
    expectMet({messageText(29, "(work table file instance)")});
}

}  // namespace
