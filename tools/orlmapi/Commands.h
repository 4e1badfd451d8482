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
// Today without a date.
void ShowCalendar(const Common &common, const std::string &mailbox, const std::string &date);
void ExplainError(const Common &common, const std::string &code);
