// Messages that are written, addressed, sent and found again, for the tests of submission and copying.
#pragma once
#include "Mailbox.h"

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

namespace localmapi::test
{

// Somebody a message is for: values, and the texts of his own that they point to. Copies share the texts.
class Recipient
{
  public:
    Recipient(std::initializer_list<SPropValue> values) : m_values(values) {}
    Recipient &With(ULONG tag, const std::string &text);
    Recipient &With(const Recipient &more);
    Props &Values() { return m_values; }

  private:
    Props m_values;
    std::vector<std::shared_ptr<std::string>> m_texts;
};
// Somebody by an address of a type; by a name alone; as the directory has him.
Recipient ByAddress(const char *type, const std::string &address, LONG as = MAPI_TO);
Recipient ByName(const std::string &name, LONG as = MAPI_TO);

HRESULT Address(IMessage *message, std::vector<Recipient> recipients);
// A file by value; gives its number.
ULONG Attach(IMessage *message, const char *name, const std::string &data);

// The subjects of a folder's messages, oldest first, in one line.
std::string SubjectsIn(IMAPIFolder *folder);
ULONG CountIn(IMAPIFolder *folder);
// The messages of a folder, in order; and one of them, opened.
std::vector<EntryIdBytes> MessagesIn(IMAPIFolder *folder);
ComPtr<IMessage> MessageIn(IMAPIFolder *folder, std::size_t index = 0, ULONG flags = MAPI_BEST_ACCESS);
// "name/type" of each recipient.
std::string RecipientsOf(IMessage *message);
// "name=data" of each attachment by value.
std::string AttachmentsOf(IMessage *message);
ComPtr<IAttach> AttachmentOf(IMessage *message, ULONG number, ULONG flags = MAPI_BEST_ACCESS);
ComPtr<IMessage> EmbeddedIn(IAttach *attachment, ULONG flags = 0);

// Alice's and Bob's folders, and letters that Alice writes.
class WithLetters : public testing::Test
{
  protected:
    // Whatever was done, the file's own check has nothing to say.
    void TearDown() override;
    // A new message in Alice's Outbox, to Bob.
    ComPtr<IMessage> Letter(const Props &props = {});
    ComPtr<IMessage> LetterTo(std::vector<Recipient> recipients, const Props &props = {});
    Recipient Bob(LONG as = MAPI_TO) { return ByAddress("EX", m_mailbox.Bob().dn, as); }
    Recipient Alice(LONG as = MAPI_TO) { return ByAddress("EX", m_mailbox.Alice().dn, as); }
    std::int64_t Changes() { return m_mailbox.GetSite().GetChangeNumber(); }
    EntryIdBytes SentFolder() { return BytesOf(m_mailbox.GetStore(), PR_IPM_SENTMAIL_ENTRYID); }
    static SPropValue SentTo(const EntryIdBytes &folder)
    {
        return Binary(PR_SENTMAIL_ENTRYID, folder.data(), static_cast<ULONG>(folder.size()));
    }

    LiveCountsAreZeroAtTheEnd m_counts;
    Mailbox m_mailbox;
    ComPtr<IMsgStore> m_bobsStore = m_mailbox.StoreOf(m_mailbox.Bob());
    ComPtr<IMAPIFolder> m_outbox = m_mailbox.Folder(PR_IPM_OUTBOX_ENTRYID);
    ComPtr<IMAPIFolder> m_sent = m_mailbox.Folder(PR_IPM_SENTMAIL_ENTRYID);
    ComPtr<IMAPIFolder> m_bobsInbox = m_mailbox.Folder(0, m_bobsStore.get());
};

} // namespace localmapi::test
