// A mailbox whose store is looked at.
#pragma once
#include "Mailbox.h"

namespace localmapi::test
{

class StoreTest : public testing::Test
{
  protected:
    HRESULT Open(const EntryIdBytes &id, LPCIID iid, ULONG flags, ULONG *type = nullptr)
    {
        m_object.reset();
        return OpenEntry(m_mailbox.GetStore(), id, iid, flags, m_object.put(), type);
    }

    LiveCountsAreZeroAtTheEnd m_counts;
    Mailbox m_mailbox;
    ComPtr<IUnknown> m_object;
};

} // namespace localmapi::test
