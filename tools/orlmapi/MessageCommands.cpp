#include "Commands.h"
#include "Failure.h"
#include "Output.h"

namespace
{

const char *YesNo(BYTE flag)
{
    return flag ? "yes" : "no";
}

} // namespace

void ShowHeader(const Common &common, const std::string &mailboxName, const EntryId &entryId)
{
    const Mailbox mailbox(common.logon, mailboxName);
    Result<EmailHeaderW> header;
    Check(OrlGetEmailHeaderW(mailbox.ConnectionHandle(), mailbox.Handle(), static_cast<ULONG>(entryId.size()),
                             entryId.data(), header.put()),
          "reading the header of the message");
    if (common.json) {
        PrintJson(HeaderAsJson(header[0]));
        return;
    }
    PrintHeaderHeading();
    PrintHeader(header[0]);
}

void ShowFlags(const Common &common, const std::string &mailboxName, const EntryId &entryId)
{
    const Mailbox mailbox(common.logon, mailboxName);
    BYTE isPrivate = 0, highPriority = 0, read = 0;
    Check(OrlGetEmailFlags(mailbox.ConnectionHandle(), mailbox.Handle(), static_cast<ULONG>(entryId.size()),
                           entryId.data(), &isPrivate, &highPriority, &read),
          "reading the flags of the message");
    if (common.json) {
        PrintJson({{"private", isPrivate != 0}, {"highPriority", highPriority != 0}, {"read", read != 0}});
        return;
    }
    PrintLine(std::string("private        ") + YesNo(isPrivate));
    PrintLine(std::string("high priority  ") + YesNo(highPriority));
    PrintLine(std::string("read           ") + YesNo(read));
}

void ShowText(const Common &common, const std::string &mailboxName, const EntryId &entryId)
{
    const Mailbox mailbox(common.logon, mailboxName);
    Result<EmailTextW> text;
    Check(OrlDownloadEmailW(mailbox.ConnectionHandle(), mailbox.Handle(), static_cast<ULONG>(entryId.size()),
                            entryId.data(), text.put()),
          "reading the text of the message");
    const std::string subject = tool::ToUtf8(text->pszSubject);
    const std::string body = tool::ToUtf8(text->pszBody);
    if (common.json) {
        PrintJson({{"subject", subject}, {"body", body}});
        return;
    }
    PrintLine("Subject: " + tool::Clean(subject));
    PrintLine("");
    PrintLine(tool::CleanText(body));
}

void SaveAttachment(const Common &common, const std::string &mailboxName, const EntryId &entryId, ULONG number,
                    const std::string &file)
{
    const Mailbox mailbox(common.logon, mailboxName);
    Check(OrlDownloadAttachmentW(mailbox.ConnectionHandle(), mailbox.Handle(), static_cast<ULONG>(entryId.size()),
                                 entryId.data(), number, tool::ToWide(file).c_str()),
          "saving attachment " + std::to_string(number) + " to " + file);
    if (common.json)
        PrintJson({{"file", file}});
    else
        PrintLine("saved " + file);
}

void MarkRead(const Common &common, const std::string &mailboxName, const EntryId &entryId, bool read)
{
    const Mailbox mailbox(common.logon, mailboxName);
    Check(OrlSetEmailReadFlag(mailbox.ConnectionHandle(), mailbox.Handle(), static_cast<ULONG>(entryId.size()),
                              entryId.data(), read ? 1 : 0),
          read ? "marking the message read" : "marking the message unread");
    if (common.json)
        PrintJson({{"read", read}});
    else
        PrintLine(read ? "marked read" : "marked unread");
}

void DeleteMessage(const Common &common, const std::string &mailboxName, const EntryId &entryId)
{
    const Mailbox mailbox(common.logon, mailboxName);
    CheckDone(OrlDeleteEmail(mailbox.ConnectionHandle(), mailbox.Handle(), static_cast<ULONG>(entryId.size()),
                             entryId.data()),
              "deleting the message");
    if (common.json)
        PrintJson({{"deleted", true}});
    else
        PrintLine("moved to Deleted Items");
}
