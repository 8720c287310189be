#include <gtest/gtest.h>

#include <cstring>

#include "ktb/sort.h"

namespace {

TEST(SortManagerTest, IsRefusedWithAClearText) {
    KtbString error;
    EXPECT_EQ(ktDatafileManagerCreate(KtbString("/tmp"), &error), nullptr);
    EXPECT_NE(std::strstr(error.asCstr(), "Sorting is not part of this build"), nullptr);
}

TEST(SortManagerTest, IsRefusedAlsoWhenNobodyAsksWhy) { EXPECT_EQ(ktDatafileManagerCreate(KtbString(), nullptr), nullptr); }

}  // namespace
