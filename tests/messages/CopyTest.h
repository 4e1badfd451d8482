// What the tests of forwarding and of responding share: an original in Alice's Inbox, and the calls with which both
// begin.
#pragma once
#include "messages/SendingTest.h"

namespace messages_test
{

// The 34 properties that are not copied, by their numbers.
constexpr ULONG kNotCopied[] = {0x00390040, 0x0E060040, 0x0E180003, 0x0E070003, 0x0023000B, 0x0077001E, 0x0078001E,
                                0x00430102, 0x0044001E, 0x00520102, 0x00460102, 0x0029000B, 0x0075001E, 0x0076001E,
                                0x003F0102, 0x0040001E, 0x00510102, 0x004F0102, 0x0050001E, 0x00450102, 0x0C1E001E,
                                0x0C1F001E, 0x0C190102, 0x0C1A001E, 0x0C1D0102, 0x0064001E, 0x0065001E, 0x00410102,
                                0x0042001E, 0x003B0102, 0x0E0A0102, 0x003D001E, 0x10820040, 0x10810003};
static_assert(std::size(kNotCopied) == 34);

// The calls with which both end.
inline const std::vector<std::string> kSubmitted = {"Message(new).SaveChanges(0x2)", "Message(new).SubmitMessage(0)"};

class CopyTest : public SendingTest
{
  protected:
    MessageData *m_original = nullptr;

    void SetUp() override
    {
        SendingTest::SetUp();
        m_original = &Deliver("m", {Text(PR_SUBJECT_A, "The subject"), Text(PR_BODY_A, "The body"),
                                    Text(PR_SENDER_EMAIL_ADDRESS_A, "bob"), Text(PR_SENDER_NAME_A, "Bob Baker"),
                                    Time(PR_CLIENT_SUBMIT_TIME, 0x01D9A1B2C3D4E5F6), Text(PR_SUBJECT_PREFIX_A, "FW: "),
                                    Text(PR_MESSAGE_CLASS_A, "IPM.Note.Microsoft.Voicemail.UM")});
        m_mapi.world.AddAttachment(*m_original, {Long(PR_ATTACH_METHOD, 1)}, "sound");
        m_original->recipients = {{Text(PR_DISPLAY_NAME_A, "Alice Archer")}};
    }
    // The calls from the opened original to its copy; the marks on the original as they were made.
    std::vector<std::string> CallsToTheCopy(const std::string &store = "alice") const
    {
        std::string tags;
        for (const ULONG tag : kNotCopied)
            tags += (tags.empty() ? "" : ", ") + Tag(tag);
        return {"Store(" + store + ").OpenEntry(eid(message:m), IMessage, 0x210)",
                "HrGetOneProp(Store(" + store + "), PR_IPM_OUTBOX_ENTRYID)",
                "Store(" + store + ").OpenEntry(eid(folder:" + store + "/Outbox), IMAPIFolder, 0x201)",
                "Folder(" + store + "/Outbox).CreateMessage(NULL, 0)",
                CallOf("Message(m).SetProps("),
                "Message(m).SaveChanges(0x2)",
                "Message(m).CopyTo(0, NULL, [" + tags + "], 0, NULL, IMessage, Message(new), 0, NULL)"};
    }
    std::vector<std::string> Recipient(const std::string &name) const
    {
        return {"Session.OpenAddressBook(0, NULL, 0x1)",
                "AddrBook.ResolveName(0, 0, NULL, [PR_DISPLAY_NAME_A=\"" + name + "\", PR_RECIPIENT_TYPE=1])",
                CallOf("Message(new).ModifyRecipients(0, [")};
    }
    static std::vector<std::string> SentItems(const std::string &store = "alice")
    {
        return {"HrGetOneProp(Store(" + store + "), PR_IPM_SENTMAIL_ENTRYID)",
                "Message(new).SetProps([PR_SENTMAIL_ENTRYID=eid(folder:" + store + "/Sent Items)], NULL)"};
    }
    static std::vector<std::string> Joined(std::initializer_list<std::vector<std::string>> parts)
    {
        std::vector<std::string> all;
        for (const auto &part : parts)
            all.insert(all.end(), part.begin(), part.end());
        return all;
    }
    // The first call that begins so.
    std::string CallOf(const std::string &beginning) const
    {
        for (const std::string &call : m_mapi.recorder.Calls())
            if (call.rfind(beginning, 0) == 0)
                return call;
        return "no call of " + beginning;
    }
    // 100 ns since 1601, to the millisecond.
    static LONGLONG Now()
    {
        SYSTEMTIME parts;
        FILETIME time;
        GetSystemTime(&parts);
        SystemTimeToFileTime(&parts, &time);
        return static_cast<LONGLONG>(static_cast<ULONGLONG>(time.dwHighDateTime) << 32 | time.dwLowDateTime);
    }
    LONGLONG Mark(ULONG tag) const
    {
        const Value *value = Find(m_original->props, tag);
        return value ? value->number : -1;
    }
    // The failing call's line under the operation's name.
    static std::string Reported(const char *operation, const char *report)
    {
        return std::string("CMAPIImpl::") + operation + "[n]: Error 0x80040115 [MAPI_E_NETWORK_ERROR] from " + report;
    }
};

} // namespace messages_test
