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
    Pages m_pages;
};

TEST_F(Pointers, OfOrdinaryTextAreGood)
{
    EXPECT_FALSE(IsBadStringPtrA("text", 100));
    EXPECT_FALSE(IsBadStringPtrA("", 100));
    EXPECT_FALSE(IsBadStringPtrW(OLESTR("text"), 100));
    EXPECT_FALSE(IsBadStringPtrA(std::string(100000, 'x').c_str(), static_cast<UINT_PTR>(-1)));
}

TEST_F(Pointers, ThatAreNullOrUnmappedAreBad)
{
    EXPECT_TRUE(IsBadStringPtrA(nullptr, 100));
    EXPECT_TRUE(IsBadStringPtrW(nullptr, 100));
    EXPECT_TRUE(IsBadStringPtrA(static_cast<char *>(kUnmapped), 100));
    EXPECT_TRUE(IsBadStringPtrW(static_cast<WCHAR *>(kUnmapped), 100));
    EXPECT_TRUE(IsBadStringPtrA(m_pages.End(), 100));
}

TEST_F(Pointers, ToTextThatEndsWithItsPageAreGood)
{
    std::memset(m_pages.Begin(), 'x', m_pages.Size());
    m_pages.End()[-1] = '\0';
    EXPECT_FALSE(IsBadStringPtrA(m_pages.End() - 10, 100));
    EXPECT_FALSE(IsBadStringPtrA(m_pages.Begin(), 100000));
    EXPECT_FALSE(IsBadStringPtrA(m_pages.End() - 1, 1));
}

TEST_F(Pointers, ToTextWithoutEndBeforeUnreadableMemoryAreBad)
{
    std::memset(m_pages.Begin(), 'x', m_pages.Size());
    EXPECT_TRUE(IsBadStringPtrA(m_pages.End() - 10, 100));
    EXPECT_TRUE(IsBadStringPtrA(m_pages.End() - 10, 11));
    EXPECT_TRUE(IsBadStringPtrW(reinterpret_cast<WCHAR *>(m_pages.End() - 10), 6));
}

TEST_F(Pointers, AreGoodWhenAsMuchAsIsAskedForCanBeRead)
{
    std::memset(m_pages.Begin(), 'x', m_pages.Size());
    EXPECT_FALSE(IsBadStringPtrA(m_pages.End() - 10, 10));
    EXPECT_FALSE(IsBadStringPtrW(reinterpret_cast<WCHAR *>(m_pages.End() - 10), 5));
}

TEST_F(Pointers, ToMisalignedWideTextAreGood)
{
    std::memset(m_pages.Begin(), 0, m_pages.Size());
    std::memcpy(m_pages.Begin() + 1, OLESTR("wide"), 5 * sizeof(WCHAR));
    EXPECT_FALSE(IsBadStringPtrW(reinterpret_cast<WCHAR *>(m_pages.Begin() + 1), 100));
}

TEST_F(Pointers, ToWideTextWhoseLastUnitReachesIntoUnreadableMemoryAreBad)
{
    std::memset(m_pages.Begin(), 'x', m_pages.Size());
    m_pages.End()[-1] = '\0';
    EXPECT_TRUE(IsBadStringPtrW(reinterpret_cast<WCHAR *>(m_pages.End() - 3), 100));
}

TEST_F(Pointers, ToBlocksAreGoodWhenAllOfTheBlockCanBeRead)
{
    EXPECT_FALSE(IsBadReadPtr(m_pages.Begin(), m_pages.Size()));
    EXPECT_TRUE(IsBadReadPtr(m_pages.Begin(), m_pages.Size() + 1));
    EXPECT_FALSE(IsBadReadPtr(kUnmapped, 0));
    EXPECT_TRUE(IsBadReadPtr(nullptr, 1));
    EXPECT_TRUE(IsBadReadPtr(m_pages.End(), 1));
}

TEST_F(Pointers, ToBlocksAreGoodForWritingWhenAllOfTheBlockCanBeWritten)
{
    EXPECT_FALSE(IsBadWritePtr(m_pages.Begin(), m_pages.Size()));
    EXPECT_TRUE(IsBadWritePtr(m_pages.Begin(), m_pages.Size() + 1));
    EXPECT_FALSE(IsBadWritePtr(kUnmapped, 0));
    EXPECT_TRUE(IsBadWritePtr(nullptr, 1));
    m_pages.MakeReadOnly();
    EXPECT_TRUE(IsBadWritePtr(m_pages.Begin(), 1));
    EXPECT_FALSE(IsBadReadPtr(m_pages.Begin(), m_pages.Size()));
    int local = 0;
    EXPECT_FALSE(IsBadWritePtr(&local, sizeof local));
}

TEST_F(Pointers, ToTextHaveALengthThatIs0ForBadOnes)
{
    EXPECT_EQ(4, lstrlenA("text"));
    EXPECT_EQ(4, lstrlenW(OLESTR("wide")));
    EXPECT_EQ(0, lstrlenA(nullptr));
    EXPECT_EQ(0, lstrlenW(nullptr));
}
} // namespace
