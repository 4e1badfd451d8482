// A message whose properties are opened as streams.
#pragma once
#include "MessageFixture.h"

namespace localmapi::test
{

class StreamTest : public testing::Test
{
  protected:
    // A stream for writing a new property of a new message.
    ComPtr<IStream> NewStream(ULONG tag = kBytes)
    {
        ComPtr<IStream> stream;
        EXPECT_CODE(OpenStream(m_message.get(), tag, MAPI_CREATE | MAPI_MODIFY, stream), S_OK);
        return stream;
    }
    static std::string Read(IStream *stream, ULONG size)
    {
        std::string bytes(size, '\0');
        ULONG read = 0;
        EXPECT_CODE(stream->Read(bytes.data(), size, &read), S_OK);
        bytes.resize(read);
        return bytes;
    }

    LiveCountsAreZeroAtTheEnd m_counts;
    Mailbox m_mailbox;
    ComPtr<IMessage> m_message = m_mailbox.NewMessage();
};

} // namespace localmapi::test
