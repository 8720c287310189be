// What callers that were compiled elsewhere rely on without asking: sizes, and how objects end.
#include <gtest/gtest.h>

#include <type_traits>

#include "ktb/config.h"
#include "ktb/worktable_uri.h"
#include "ktwt/ktwt.h"

namespace {

template <class Interface>
class InterfaceTest : public testing::Test {};

using Interfaces = testing::Types<KtWorkTableManager, KtWorkTableFile, KtDatafileManagerSortAndSize, KtDatafileSort,
                                  KtDatafileManager, KtbDatavarCursor, KtbDatavarCursorAppender, KtbDatavarCursorCreater,
                                  KtbStringCursor, KtbStringCursorAppender, KtbStringCursorCreater, KtWorkTableCursor,
                                  KtWorkTableStringCursor, KtWorkTableStringKTWFCursor, KtWorkTableURI, KtbConfigOptions>;
TYPED_TEST_SUITE(InterfaceTest, Interfaces);

TYPED_TEST(InterfaceTest, HoldsNoData) { EXPECT_EQ(sizeof(TypeParam), sizeof(void*)); }

TYPED_TEST(InterfaceTest, IsAbstract) { EXPECT_TRUE(std::is_abstract_v<TypeParam>); }

TYPED_TEST(InterfaceTest, HasNoVirtualDestructorAndCannotBeDeleted) {
    EXPECT_FALSE(std::has_virtual_destructor_v<TypeParam>);
    EXPECT_FALSE(std::is_destructible_v<TypeParam>);
}

TEST(ValueTest, ValuesAreCopiedAndMovedWithoutThrowing) {
    EXPECT_TRUE(std::is_nothrow_copy_constructible_v<KtbString> && std::is_nothrow_move_constructible_v<KtbString>);
    EXPECT_TRUE(std::is_nothrow_copy_assignable_v<KtbString> && std::is_nothrow_move_assignable_v<KtbString>);
    EXPECT_TRUE(std::is_nothrow_copy_constructible_v<KtbDatavar> && std::is_nothrow_move_constructible_v<KtbDatavar>);
    EXPECT_TRUE(std::is_nothrow_copy_assignable_v<KtbDatavar> && std::is_nothrow_move_assignable_v<KtbDatavar>);
    EXPECT_TRUE(std::is_trivially_copyable_v<KtbReal> && std::is_trivially_copyable_v<KtbDate>);
    EXPECT_TRUE((std::is_same_v<ktbType, int>));
}

TEST(VersionTest, SaysWhatThisLibraryIs) {
    EXPECT_STREQ(ktx_build_info, "Work Table Library version 2.3 (build 26)");
    EXPECT_STREQ(ktx_build_version, "2.3");
    EXPECT_EQ(ktx_build_number, 26);
}

TEST(ReverseBytesTest, ReversesInPlace) {
    char text[] = "abcdef";
    reverseBytes(text, 0);
    reverseBytes(text, 1);
    EXPECT_STREQ(text, "abcdef");
    reverseBytes(text, 2);
    EXPECT_STREQ(text, "bacdef");
    reverseBytes(text + 1, 5);
    EXPECT_STREQ(text, "bfedca");
}

}  // namespace
