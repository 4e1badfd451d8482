// Proves that a stream that could not be opened for lack of memory has changed nothing, whichever allocation failed.
#include "StreamFixture.h"
#include "support/ControlledNew.h"

namespace localmapi::test
{

namespace
{

class StreamMemoryTest : public StreamTest
{
};

TEST_F(StreamMemoryTest, AStreamThatCouldNotBeOpenedLeavesItsPropertyAsItWas)
{
    ASSERT_CODE(SetProps(m_message.get(), {Narrow(PR_BODY_A, "kept")}), S_OK);
    auto message = m_mailbox.Open(m_mailbox.Save(m_message), MAPI_MODIFY);
    int failures = 0;
    for (std::size_t size = 1; size <= 2048; ++size) {
        ComPtr<IStream> stream;
        HRESULT hr = S_OK;
        {
            const controlled_new::FailingAllocation failing(size, size);
            hr = OpenStream(message.get(), PR_BODY_A, MAPI_CREATE | MAPI_MODIFY, stream);
            if (!failing.HasFailed()) {
                ASSERT_CODE(hr, S_OK);
            }
        }
        if (hr == S_OK) { // or a sort made do with less
            ASSERT_CODE(stream->Revert(), S_OK);
            continue;
        }
        ++failures;
        ASSERT_CODE(hr, MAPI_E_NOT_ENOUGH_MEMORY) << "an allocation of " << size << " bytes";
        EXPECT_FALSE(stream);
        ASSERT_CODE(message->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
        ASSERT_EQ(TextOf(message.get(), PR_BODY_A), "kept") << "an allocation of " << size << " bytes";
    }
    EXPECT_GT(failures, 2);
}

} // namespace

} // namespace localmapi::test
