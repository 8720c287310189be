// What a pump tells its caller when it cannot go on. Its rows are held against a model by the tests of whole sorts; here the
// thread is the test's own, so that an allocation of the pump can be made to fail.
#include "sort/row_pump.h"

#include <gtest/gtest.h>

#include "sort/row_layout.h"
#include "sort/row_record.h"
#include "sort_support.h"
#include "support/failing_new.h"

namespace {

using namespace sorting;

constexpr std::size_t batchBytes = 256;

class RowPumpTest : public testing::Test {
protected:
    RowPumpTest() {
        const ktbType types[] = {ktbTypeInteger, ktbTypeString};
        EXPECT_TRUE(layout_.setColumns(2, types) && order_.setCount(1));
        order_.key(0).column = 0;
        order_.key(0).type = ktbTypeInteger;
        EXPECT_TRUE(layout_.settle(order_, RowRecord::keyBytesMax));
    }

    void addRow(long key, std::size_t textBytes) {
        ByteBuffer record;
        const KtbDatavar values[] = {valueOf(key), valueOf(std::string(textBytes, 't'))};
        ASSERT_EQ(layout_.encode(order_, values, &record), RowFit::whole);
        ASSERT_TRUE(block_->add(record.data(), RowRecord::bytes(record.data())));
    }

    // Of all rows that were added. None may be added after it.
    void beginMerge() {
        block_->sort(order_);
        merge_ = BlockMerge::make(order_, 1);
        merge_->setSource(0, *block_);
        EXPECT_TRUE(merge_->begin(0));
    }

    RowMerge& merge() { return *merge_; }

    std::unique_ptr<RowPump> pumpOfRows() {
        beginMerge();
        return RowPump::make(*merge_, batchBytes);
    }

    // The keys of the rows that the pump has ready, and what it says after them.
    std::vector<long> takeRows(RowPump* pump, RowPump::Got* after) {
        std::vector<long> keys;
        const unsigned char* record = nullptr;
        while ((*after = pump->next(&record, std::chrono::milliseconds(0))) == RowPump::Got::row) {
            KtbDatavar values[2];
            EXPECT_TRUE(layout_.decode(record, values));
            keys.push_back(values[0].asInt64(nullptr));
        }
        return keys;
    }

private:
    RowOrder order_;
    RowLayout layout_;
    std::unique_ptr<RowBlock> block_ = RowBlock::make(8192);
    std::unique_ptr<BlockMerge> merge_;
};

TEST_F(RowPumpTest, ARowLargerThanABatchIsDelivered) {
    addRow(1, 10 * batchBytes);
    const auto pump = pumpOfRows();
    ASSERT_TRUE(pump);
    pump->run();
    RowPump::Got after;
    EXPECT_EQ(takeRows(pump.get(), &after), std::vector<long>{1});
    EXPECT_EQ(after, RowPump::Got::end);
}

TEST_F(RowPumpTest, ARowThatMemoryCannotHoldIsToldAfterTheRowsBeforeIt) {
    addRow(1, 20);
    addRow(2, 20);
    addRow(3, 10 * batchBytes);
    const auto pump = pumpOfRows();
    ASSERT_TRUE(pump);
    failing_new::failAt(0);
    pump->run();
    EXPECT_TRUE(failing_new::stop()) << "a row larger than a batch needs memory of its own";
    RowPump::Got after;
    EXPECT_EQ(takeRows(pump.get(), &after), (std::vector<long>{1, 2}));
    EXPECT_EQ(after, RowPump::Got::exhausted);
}

TEST_F(RowPumpTest, APumpWithoutMemoryForItsBatchesIsNotMade) {
    addRow(1, 20);
    beginMerge();
    const long refused = failing_new::forEachFailure([this] {
        const auto pump = RowPump::make(merge(), batchBytes);
        EXPECT_EQ(pump == nullptr, failing_new::failed);
    });
    EXPECT_EQ(refused, 3) << "the pump and its two batches";
}

}  // namespace
