// The commands that send messages.
#include "Commands.h"
#include "Failure.h"
#include "Output.h"
#include "common/CommandLine.h"
#include "common/Files.h"
#include <ctime>
#include <optional>

using tool::ToWide;
using tool::WideText;

namespace
{

// Whom a message is sent from: the mailbox that is named, else the default store of the logon.
class Sender
{
  public:
    Sender(const LogonOptions &logon, const std::string &mailbox)
    {
        if (mailbox.empty())
            m_connection.emplace().LogOn(logon);
        else
            m_mailbox.emplace(logon, mailbox);
    }
    DWORD ConnectionHandle() const { return m_mailbox ? m_mailbox->ConnectionHandle() : m_connection->Handle(); }
    OrlMailbox Handle() const { return m_mailbox ? m_mailbox->Handle() : 0; }

  private:
    std::optional<Connection> m_connection;
    std::optional<Mailbox> m_mailbox;
};

void CheckRecipients(const std::string &to)
{
    if (to.find_first_not_of("; ") == std::string::npos)
        throw tool::Misuse("\"" + to + "\" names no recipient");
}

// A file to be attached and the name under which it is shown; both empty for none. The library's own result would not
// tell a missing file from a missing recipient.
struct Attached {
    explicit Attached(const AttachOptions &options)
        : name(options.file.empty()   ? std::string()
               : options.name.empty() ? tool::FileName(options.file)
                                      : options.name),
          wideFile(ToWide(options.file)), wideName(ToWide(name))
    {
        if (!options.file.empty())
            tool::CheckReadable(options.file);
    }
    std::string name;
    WideText wideFile;
    WideText wideName;
};

void ShowSent(const Common &common, const SendOptions &options, const std::string &subject, const Attached &attached)
{
    if (common.json)
        PrintJson({{"to", options.to}, {"subject", subject}, {"attachment", attached.name}});
    else
        PrintLine("sent to " + tool::Clean(options.to) + ": " + tool::Clean(subject));
}

std::string SubjectOf(const SendOptions &options, const VoicemailOptions &voicemail)
{
    if (!options.subject.empty())
        return options.subject;
    const std::string caller = voicemail.name.empty() ? voicemail.number : voicemail.name;
    return "Voice Mail" + (caller.empty() ? "" : " from " + caller) + " (" + std::to_string(voicemail.seconds) +
           (voicemail.seconds == 1 ? " second)" : " seconds)");
}

// Two exports never tell how they ended. That the message is there is found out before; for the rest there is the
// trace.
void CheckThere(const Mailbox &mailbox, const EntryId &entryId)
{
    BYTE flags[3] = {};
    Check(OrlGetEmailFlags(mailbox.ConnectionHandle(), mailbox.Handle(), static_cast<ULONG>(entryId.size()),
                           entryId.data(), &flags[0], &flags[1], &flags[2]),
          "opening the message");
}

void ShowAsked(const Common &common, const std::string &what)
{
    if (common.json)
        PrintJson({{"asked", true}});
    else
        PrintLine(what + "; the library does not tell whether it was sent, its trace does");
}

} // namespace

void SendMail(const Common &common, const SendOptions &options)
{
    CheckRecipients(options.to);
    const std::string body = options.bodyFile.empty() ? options.body : tool::ReadText(options.bodyFile);
    const Attached attached(options.attach);
    const Sender from(common.logon, options.from);
    Check(OrlSendEmailW(from.ConnectionHandle(), from.Handle(), ToWide(options.to).c_str(),
                        ToWide(options.subject).c_str(), ToWide(body).c_str(), options.urgent, options.isPrivate,
                        attached.wideFile.c_str(), attached.wideName.c_str()),
          "sending the message to " + options.to);
    ShowSent(common, options, options.subject, attached);
}

void SendVoicemail(const Common &common, const SendOptions &options, const VoicemailOptions &voicemail)
{
    CheckRecipients(options.to);
    const Attached attached(options.attach);
    const Sender from(common.logon, options.from);
    const std::string subject = SubjectOf(options, voicemail);
    // Seconds since 1970, as a voicemail server counts them.
    const auto received = static_cast<ULONG>(std::time(nullptr));
    Check(OrlSendUMEmailW(from.ConnectionHandle(), from.Handle(), ToWide(options.to).c_str(), ToWide(subject).c_str(),
                          ToWide(options.body).c_str(), options.urgent, options.isPrivate, attached.wideFile.c_str(),
                          attached.wideName.c_str(), voicemail.seconds, ToWide(voicemail.number).c_str(),
                          ToWide(voicemail.name).c_str(),
                          ToWide(voicemail.order.empty() ? attached.name : voicemail.order).c_str(), 0, received),
          "sending the voice mail to " + options.to);
    ShowSent(common, options, subject, attached);
}

void ForwardMessage(const Common &common, const std::string &mailboxName, const EntryId &entryId, const std::string &to)
{
    CheckRecipients(to);
    const Mailbox mailbox(common.logon, mailboxName);
    CheckThere(mailbox, entryId);
    Check(OrlForwardEmailW(mailbox.ConnectionHandle(), mailbox.Handle(), static_cast<ULONG>(entryId.size()),
                           entryId.data(), ToWide(to).c_str()),
          "forwarding the message");
    ShowAsked(common, "asked to forward the message to " + tool::Clean(to));
}

void RespondToMessage(const Common &common, const std::string &mailboxName, const EntryId &entryId,
                      const AttachOptions &attach)
{
    const Attached attached(attach);
    const Mailbox mailbox(common.logon, mailboxName);
    CheckThere(mailbox, entryId);
    Check(OrlRespondEmailW(mailbox.ConnectionHandle(), mailbox.Handle(), static_cast<ULONG>(entryId.size()),
                           entryId.data(), attached.wideFile.c_str(), attached.wideName.c_str(), 0),
          "answering the message");
    ShowAsked(common, "asked to answer the message to its sender");
}
