// Proves that bad pointers are told from good ones without a fault: null, unmapped, unterminated at the end of what
// can be read, misaligned.
#include "Pages.h"
#include "Text.h"
#include <gtest/gtest.h>

namespace
{
void *const kUnmapped = reinterpret_cast<void *>(0x18);

class Pointers : public testing::Test
{
  protected:
    Pages pages;
};

TEST_F(Pointers, of_ordinary_text_are_good)
{
    EXPECT_FALSE(IsBadStringPtrA("text", 100));
    EXPECT_FALSE(IsBadStringPtrA("", 100));
    EXPECT_FALSE(IsBadStringPtrW(OLESTR("text"), 100));
    EXPECT_FALSE(IsBadStringPtrA(std::string(100000, 'x').c_str(), static_cast<UINT_PTR>(-1)));
}

TEST_F(Pointers, that_are_null_or_unmapped_are_bad)
{
    EXPECT_TRUE(IsBadStringPtrA(nullptr, 100));
    EXPECT_TRUE(IsBadStringPtrW(nullptr, 100));
    EXPECT_TRUE(IsBadStringPtrA(static_cast<char *>(kUnmapped), 100));
    EXPECT_TRUE(IsBadStringPtrW(static_cast<WCHAR *>(kUnmapped), 100));
    EXPECT_TRUE(IsBadStringPtrA(pages.End(), 100));
}

TEST_F(Pointers, to_text_that_ends_with_its_page_are_good)
{
    std::memset(pages.Begin(), 'x', pages.Size());
    pages.End()[-1] = '\0';
    EXPECT_FALSE(IsBadStringPtrA(pages.End() - 10, 100));
    EXPECT_FALSE(IsBadStringPtrA(pages.Begin(), 100000));
    EXPECT_FALSE(IsBadStringPtrA(pages.End() - 1, 1));
}

TEST_F(Pointers, to_text_without_end_before_unreadable_memory_are_bad)
{
    std::memset(pages.Begin(), 'x', pages.Size());
    EXPECT_TRUE(IsBadStringPtrA(pages.End() - 10, 100));
    EXPECT_TRUE(IsBadStringPtrA(pages.End() - 10, 11));
    EXPECT_TRUE(IsBadStringPtrW(reinterpret_cast<WCHAR *>(pages.End() - 10), 6));
}

TEST_F(Pointers, are_good_when_as_much_as_is_asked_for_can_be_read)
{
    std::memset(pages.Begin(), 'x', pages.Size());
    EXPECT_FALSE(IsBadStringPtrA(pages.End() - 10, 10));
    EXPECT_FALSE(IsBadStringPtrW(reinterpret_cast<WCHAR *>(pages.End() - 10), 5));
}

TEST_F(Pointers, to_misaligned_wide_text_are_good)
{
    std::memset(pages.Begin(), 0, pages.Size());
    std::memcpy(pages.Begin() + 1, OLESTR("wide"), 5 * sizeof(WCHAR));
    EXPECT_FALSE(IsBadStringPtrW(reinterpret_cast<WCHAR *>(pages.Begin() + 1), 100));
}

TEST_F(Pointers, to_wide_text_whose_last_unit_reaches_into_unreadable_memory_are_bad)
{
    std::memset(pages.Begin(), 'x', pages.Size());
    pages.End()[-1] = '\0';
    EXPECT_TRUE(IsBadStringPtrW(reinterpret_cast<WCHAR *>(pages.End() - 3), 100));
}

TEST_F(Pointers, to_blocks_are_good_when_all_of_the_block_can_be_read)
{
    EXPECT_FALSE(IsBadReadPtr(pages.Begin(), pages.Size()));
    EXPECT_TRUE(IsBadReadPtr(pages.Begin(), pages.Size() + 1));
    EXPECT_FALSE(IsBadReadPtr(kUnmapped, 0));
    EXPECT_TRUE(IsBadReadPtr(nullptr, 1));
    EXPECT_TRUE(IsBadReadPtr(pages.End(), 1));
}

TEST_F(Pointers, to_blocks_are_good_for_writing_when_all_of_the_block_can_be_written)
{
    EXPECT_FALSE(IsBadWritePtr(pages.Begin(), pages.Size()));
    EXPECT_TRUE(IsBadWritePtr(pages.Begin(), pages.Size() + 1));
    EXPECT_FALSE(IsBadWritePtr(kUnmapped, 0));
    EXPECT_TRUE(IsBadWritePtr(nullptr, 1));
    pages.MakeReadOnly();
    EXPECT_TRUE(IsBadWritePtr(pages.Begin(), 1));
    EXPECT_FALSE(IsBadReadPtr(pages.Begin(), pages.Size()));
    int local = 0;
    EXPECT_FALSE(IsBadWritePtr(&local, sizeof local));
}

TEST_F(Pointers, to_text_have_a_length_that_is_0_for_bad_ones)
{
    EXPECT_EQ(4, lstrlenA("text"));
    EXPECT_EQ(4, lstrlenW(OLESTR("wide")));
    EXPECT_EQ(0, lstrlenA(nullptr));
    EXPECT_EQ(0, lstrlenW(nullptr));
}
} // namespace
