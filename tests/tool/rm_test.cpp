// Removing tables from the command line.
#include "tool/tool_test.h"

namespace {

class RmTest : public ToolTest {};

TEST_F(RmTest, NamesATableThatIsNotThere) {
    const Finished rm = ktwt({"rm", "ktwt_nowhere"});
    EXPECT_EQ(rm.status, 3);
    EXPECT_NE(rm.err.find("ktwt: ktwt_nowhere: "), std::string::npos) << rm.err;
    EXPECT_EQ(rm.out, "");
}

TEST_F(RmTest, SaysNothingOfItWhenForced) {
    const Finished rm = ktwt({"rm", "--force", "ktwt_nowhere"});
    EXPECT_EQ(rm.status, 0);
    EXPECT_EQ(rm.err, "");
}

}  // namespace
