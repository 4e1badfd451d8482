// The fixture of the tests about new messages: their arguments, and the calls with which each send begins.
#pragma once
#include "messages/SendingTest.h"

namespace messages_test
{

// The arguments of a send, as a test changes them.
struct Email {
    std::string recipients = "bob";
    std::string subject = "The subject";
    std::string body = "The body";
    BYTE urgent = 0;
    BYTE isPrivate = 0;
    std::string file;
    std::string filename;
};
struct Voice {
    LONG secs = 12;
    std::string number = "+15550100";
    std::string name = "Carol";
    std::string order = "a.wav;b.wav";
    LONG offset = -3;
    ULONG received = 0xFFFFFFF0;
};

class SendTest : public SendingTest
{
  protected:
    HRESULT Send(const Email &e) { return SendFrom(m_mailbox, e); }
    HRESULT SendFrom(OrlMailbox from, const Email &e)
    {
        return OrlSendEmailA(m_connection, from, e.recipients.c_str(), e.subject.c_str(), e.body.c_str(), e.urgent,
                             e.isPrivate, e.file.c_str(), e.filename.c_str());
    }
    HRESULT SendUM(const Email &e, const Voice &v) { return SendUMFrom(m_mailbox, e, v); }
    HRESULT SendUMFrom(OrlMailbox from, const Email &e, const Voice &v)
    {
        return OrlSendUMEmailA(m_connection, from, e.recipients.c_str(), e.subject.c_str(), e.body.c_str(), e.urgent,
                               e.isPrivate, e.file.c_str(), e.filename.c_str(), v.secs, v.number.c_str(),
                               v.name.c_str(), v.order.c_str(), v.offset, v.received);
    }
    // A resolved recipient, as it reaches ModifyRecipients.
    static std::string Resolved(const std::string &alias, const std::string &name)
    {
        return "PR_RECIPIENT_TYPE=1, PR_ENTRYID=eid(user:" + alias + "), PR_DISPLAY_NAME_A=\"" + name +
               "\", PR_ACCOUNT_A=\"" + alias + "\", PR_ADDRTYPE_A=\"EX\", PR_EMAIL_ADDRESS_A=\"" +
               DistinguishedNameOf(alias) + "\"";
    }
    // What each send begins with, to Bob.
    static std::vector<std::string> Opening(const std::string &store = "alice")
    {
        return {"HrGetOneProp(Store(" + store + "), PR_IPM_OUTBOX_ENTRYID)",
                "Store(" + store + ").OpenEntry(eid(folder:" + store + "/Outbox), IMAPIFolder, 0x201)",
                "Folder(" + store + "/Outbox).CreateMessage(NULL, 0)",
                "Session.OpenAddressBook(0, NULL, 0x1)",
                "AddrBook.ResolveName(0, 0, NULL, [PR_DISPLAY_NAME_A=\"bob\", PR_RECIPIENT_TYPE=1])",
                "Message(new).ModifyRecipients(0, [" + Resolved("bob", "Bob Baker") + "])"};
    }
    std::vector<std::string> CallsWith(std::vector<std::string> opening, const std::vector<std::string> &rest) const
    {
        opening.insert(opening.end(), rest.begin(), rest.end());
        return opening;
    }
    std::string SetProps() const
    {
        for (const std::string &call : m_mapi.recorder.Calls())
            if (call.rfind("Message(new).SetProps([", 0) == 0)
                return call;
        return "no properties were set";
    }
};

} // namespace messages_test
