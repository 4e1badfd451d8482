// MAPI's memory: child blocks go with their root, pointers that are no root are recognised, and nothing is lost when
// memory runs out.
#include "localmapi/provider/base/Memory.h"
#include "SiteFixture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <thread>
#include <vector>

using namespace localmapi;
using namespace localmapi::test;

namespace
{

class Memory : public testing::Test
{
  protected:
    LONG Added() const { return LiveBlocks() - m_before; }
    ~Memory() override { FailAllocation(-1); }

  private:
    const LONG m_before = LiveBlocks();
};

TEST_F(Memory, AChildIsFreedWithItsRoot)
{
    void *root = nullptr, *first = nullptr, *second = nullptr;
    ASSERT_CODE(MAPIAllocateBuffer(10, &root), S_OK);
    ASSERT_CODE(MAPIAllocateMore(20, root, &first), S_OK);
    ASSERT_CODE(MAPIAllocateMore(30, root, &second), S_OK);
    std::memset(root, 1, 10);
    std::memset(first, 2, 20);
    std::memset(second, 3, 30);
    EXPECT_EQ(Added(), 3);
    EXPECT_EQ(MAPIFreeBuffer(root), 0u);
    EXPECT_EQ(Added(), 0);
}

TEST_F(Memory, BlocksSuitEveryType)
{
    for (ULONG size = 1; size < 64; ++size) {
        void *root = nullptr, *child = nullptr;
        ASSERT_CODE(MAPIAllocateBuffer(size, &root), S_OK);
        ASSERT_CODE(MAPIAllocateMore(size, root, &child), S_OK);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(root) % kBlockAlignment, 0u);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(child) % kBlockAlignment, 0u);
        MAPIFreeBuffer(root);
    }
}

TEST_F(Memory, ABlockMayHaveNoBytes)
{
    void *root = nullptr, *child = nullptr;
    EXPECT_CODE(MAPIAllocateBuffer(0, &root), S_OK);
    EXPECT_NE(root, nullptr);
    EXPECT_CODE(MAPIAllocateMore(0, root, &child), S_OK);
    EXPECT_NE(child, nullptr);
    EXPECT_EQ(MAPIFreeBuffer(root), 0u);
    EXPECT_EQ(Added(), 0);
}

TEST_F(Memory, FreeingNullIsNothing)
{
    EXPECT_EQ(MAPIFreeBuffer(nullptr), 0u);
}

TEST_F(Memory, NowhereToPutThePointerIsRefused)
{
    void *root = nullptr;
    EXPECT_CODE(MAPIAllocateBuffer(10, nullptr), MAPI_E_INVALID_PARAMETER);
    ASSERT_CODE(MAPIAllocateBuffer(10, &root), S_OK);
    EXPECT_CODE(MAPIAllocateMore(10, root, nullptr), MAPI_E_INVALID_PARAMETER);
    MAPIFreeBuffer(root);
}

TEST_F(Memory, OnlyARootTakesChildren)
{
    void *root = nullptr, *child = nullptr, *other = root;
    alignas(kBlockAlignment) char foreign[64] = {};
    ASSERT_CODE(MAPIAllocateBuffer(10, &root), S_OK);
    ASSERT_CODE(MAPIAllocateMore(10, root, &child), S_OK);
    EXPECT_CODE(MAPIAllocateMore(10, nullptr, &other), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(MAPIAllocateMore(10, child, &other), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(MAPIAllocateMore(10, foreign + 32, &other), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(other, nullptr);
    MAPIFreeBuffer(root);
    EXPECT_EQ(Added(), 0);
}

TEST_F(Memory, WhatIsNoRootIsNotFreed)
{
    void *root = nullptr, *child = nullptr;
    alignas(kBlockAlignment) char foreign[64] = {};
    ASSERT_CODE(MAPIAllocateBuffer(10, &root), S_OK);
    ASSERT_CODE(MAPIAllocateMore(10, root, &child), S_OK);
    const auto invalid = static_cast<ULONG>(MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(MAPIFreeBuffer(child), invalid);
    EXPECT_EQ(MAPIFreeBuffer(foreign + 32), invalid);
    EXPECT_EQ(MAPIFreeBuffer(static_cast<char *>(root) + 4), invalid);
    EXPECT_EQ(Added(), 2);
    EXPECT_EQ(MAPIFreeBuffer(root), 0u);
    EXPECT_EQ(MAPIFreeBuffer(root), invalid) << "freed twice";
    EXPECT_EQ(Added(), 0);
}

TEST_F(Memory, MoreThanThereCanBeIsRefused)
{
    void *root = nullptr;
    EXPECT_CODE(MAPIAllocateBuffer(0xFFFFFFFF, &root), MAPI_E_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(root, nullptr);
    ASSERT_CODE(MAPIAllocateBuffer(1, &root), S_OK);
    void *child = root;
    EXPECT_CODE(MAPIAllocateMore(0xFFFFFFF0, root, &child), MAPI_E_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(child, nullptr);
    MAPIFreeBuffer(root);
}

TEST_F(Memory, AnAllocationFailsWhenTold)
{
    void *block = nullptr;
    FailAllocation(1);
    ASSERT_CODE(MAPIAllocateBuffer(1, &block), S_OK);
    void *child = nullptr;
    EXPECT_CODE(MAPIAllocateMore(1, block, &child), MAPI_E_NOT_ENOUGH_MEMORY);
    EXPECT_CODE(MAPIAllocateMore(1, block, &child), S_OK);
    FailAllocation(0, true);
    EXPECT_CODE(MAPIAllocateMore(1, block, &child), MAPI_E_NOT_ENOUGH_MEMORY);
    EXPECT_CODE(MAPIAllocateMore(1, block, &child), MAPI_E_NOT_ENOUGH_MEMORY);
    FailAllocation(-1);
    MAPIFreeBuffer(block);
    EXPECT_EQ(Added(), 0);
}

TEST_F(Memory, ThreadsShareRoots)
{
    void *root = nullptr;
    ASSERT_CODE(MAPIAllocateBuffer(1, &root), S_OK);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread)
        threads.emplace_back([&] {
            for (int i = 0; i < 200; ++i) {
                void *child = nullptr, *own = nullptr;
                EXPECT_CODE(MAPIAllocateMore(8, root, &child), S_OK);
                EXPECT_CODE(MAPIAllocateBuffer(8, &own), S_OK);
                EXPECT_EQ(MAPIFreeBuffer(own), 0u);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(Added(), 1 + 8 * 200);
    EXPECT_EQ(MAPIFreeBuffer(root), 0u);
    EXPECT_EQ(Added(), 0);
}

TEST_F(Memory, ARowSetIsFreedWithItsRows)
{
    RowSetBuilder builder(2);
    for (int i = 0; i < 2; ++i) {
        auto values = NewRoot<SPropValue>(1);
        values->ulPropTag = PR_SUBJECT_A;
        values->Value.lpszA = CopyText(values.get(), std::string_view("text"));
        builder.Add(std::move(values), 1);
    }
    EXPECT_EQ(Added(), 5);
    SRowSet *rows = builder.Release();
    EXPECT_EQ(rows->cRows, 2u);
    EXPECT_STREQ(rows->aRow[1].lpProps->Value.lpszA, "text");
    FreeProws(rows);
    EXPECT_EQ(Added(), 0);
    FreeProws(nullptr);
}

TEST_F(Memory, AnAddressListIsFreedWithItsEntries)
{
    Block<ADRLIST> list(static_cast<ADRLIST *>(AllocateRootBytes(CbNewADRLIST(2))));
    list->cEntries = 2;
    list->aEntries[0].rgPropVals = NewRoot<SPropValue>(1).release();
    FreePadrlist(list.release());
    EXPECT_EQ(Added(), 0);
    FreePadrlist(nullptr);
}

} // namespace
