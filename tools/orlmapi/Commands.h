// The commands, each a function of its options; failures come as exceptions (Failure.h).
#pragma once
#include "Session.h"
#include <string>
#include <vector>

struct Common {
    LogonOptions logon;
    bool json = false;
};

struct ListOptions {
    std::string mailbox;
    bool um = false, fax = false, read = false, priority = false, summary = false;
    bool attachments = false, reverse = false, all = false;
    LONG count = 25;
    std::vector<std::string> faxServers;
};

struct AttachOptions {
    std::string file, name;
};

struct SendOptions {
    std::string to, from, subject, body, bodyFile;
    AttachOptions attach;
    bool urgent = false, isPrivate = false;
};

struct VoicemailOptions {
    LONG seconds = 0;
    std::string number, name, order;
};

struct WatchOptions {
    std::vector<std::string> mailboxes;
    unsigned long count = 0;        // lines; 0 without limit
    unsigned long long seconds = 0; // 0 without limit
};

void ListProfiles(const Common &common);
void ShowServerName(const Common &common, const std::string &profile);
void ListHeaders(const Common &common, const ListOptions &options);
void ShowHeader(const Common &common, const std::string &mailbox, const EntryId &entryId);
void ShowFlags(const Common &common, const std::string &mailbox, const EntryId &entryId);
void ShowText(const Common &common, const std::string &mailbox, const EntryId &entryId);
void SaveAttachment(const Common &common, const std::string &mailbox, const EntryId &entryId, ULONG number,
                    const std::string &file);
void MarkRead(const Common &common, const std::string &mailbox, const EntryId &entryId, bool read);
void DeleteMessage(const Common &common, const std::string &mailbox, const EntryId &entryId);
void SendMail(const Common &common, const SendOptions &options);
void SendVoicemail(const Common &common, const SendOptions &options, const VoicemailOptions &voicemail);
void ForwardMessage(const Common &common, const std::string &mailbox, const EntryId &entryId, const std::string &to);
void RespondToMessage(const Common &common, const std::string &mailbox, const EntryId &entryId,
                      const AttachOptions &attach);
// Until interrupted, or what the options say.
void WatchMailboxes(const Common &common, const WatchOptions &options);
// Today without a date.
void ShowCalendar(const Common &common, const std::string &mailbox, const std::string &date);
void ExplainError(const Common &common, const std::string &code);
