// The cursor over figures that no table can have: of header versions that this library does not read.
#include <gtest/gtest.h>

#include <climits>
#include <memory>

#include "table/table_fixture.h"
#include "wtstats.h"

namespace {

std::string lastFigure(int version) {
    KtbString error;
    const std::unique_ptr<KtbStringCursor, ReleaseObject> cursor(KTWTStatistics::make(
        {.label = KtbString(), .columns = 1, .elementSize = 0, .elements = 0, .rows = 0, .version = version}, &error));
    if (!cursor) return bytesOf(error);
    std::string last;
    while (cursor->next() == ktbCursorRow) last = bytesOf(cursor->getColumnValue(0)) + " " + bytesOf(cursor->getColumnValue(1));
    return last;
}

TEST(StatisticsCursorTest, TheMinorVersionIsNotPadded) {
    EXPECT_EQ(lastFigure(100), "Version 1.0");
    EXPECT_EQ(lastFigure(203), "Version 2.3");
    EXPECT_EQ(lastFigure(210), "Version 2.10");
    EXPECT_EQ(lastFigure(SHRT_MAX), "Version 327.67");
    EXPECT_EQ(lastFigure(-1), "Version 0.-1");
}

}  // namespace
