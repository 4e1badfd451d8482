// Proves what submission does on a full disk: nothing, at any size of the disk, and the message can be sent once there
// is room.
#include "Letters.h"

#include <csignal>
#include <filesystem>
#include <sys/resource.h>

namespace localmapi::test
{

namespace
{

class SubmitDiskTest : public WithLetters
{
  protected:
    // Files of this process may not grow beyond it.
    class Limit
    {
      public:
        explicit Limit(rlim_t bytes)
        {
            m_signal = std::signal(SIGXFSZ, SIG_IGN);
            EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &m_former), 0);
            rlimit limit = m_former;
            limit.rlim_cur = bytes;
            EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        }
        Limit(const Limit &) = delete;
        Limit &operator=(const Limit &) = delete;
        ~Limit()
        {
            EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &m_former), 0);
            std::signal(SIGXFSZ, m_signal);
        }

      private:
        rlimit m_former{};
        void (*m_signal)(int) = nullptr;
    };
};

TEST_F(SubmitDiskTest, WhereThereIsNoRoomNothingIsSentAndTheMessageCanBeSentLater)
{
    const EntryIdBytes sent = BytesOf(m_mailbox.GetStore(), PR_IPM_SENTMAIL_ENTRYID);
    auto letter = LetterTo({Bob(), ByName("nobody")},
                           {Binary(PR_SENTMAIL_ENTRYID, sent.data(), static_cast<ULONG>(sent.size()))});
    // Three long recordings: more than the WAL can take under the limit.
    for (const char *name : {"1.wav", "2.wav", "3.wav"})
        Attach(letter.get(), name, std::string(250000, 'w'));
    const auto change = m_mailbox.GetSite().GetChangeNumber();
    int failures = 0;
    for (rlim_t room = 256 * 1024;; room += 512 * 1024) {
        ASSERT_LT(failures, 20);
        HRESULT hr = S_OK;
        {
            const Limit limit(room);
            hr = letter->SubmitMessage(0);
        }
        if (hr == S_OK)
            break;
        ++failures;
        EXPECT_CODE(hr, MAPI_E_NOT_ENOUGH_DISK) << room;
        EXPECT_EQ(m_mailbox.GetSite().GetChangeNumber(), change);
        EXPECT_EQ(CountIn(m_bobsInbox.get()) + CountIn(m_sent.get()) + CountIn(m_mailbox.Inbox()), 0u);
    }
    EXPECT_GT(failures, 1);
    EXPECT_EQ(CountIn(m_bobsInbox.get()), 1u);
    EXPECT_EQ(CountIn(m_sent.get()), 1u);
    EXPECT_EQ(CountIn(m_mailbox.Inbox()), 1u) << "the report";
    EXPECT_EQ(ReadProperty(AttachmentOf(MessageIn(m_bobsInbox.get()).get(), 2).get(), PR_ATTACH_DATA_BIN),
              std::string(250000, 'w'));
}

} // namespace

} // namespace localmapi::test
