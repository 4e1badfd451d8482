// Messages as the mail that an IMAP server is given.
#pragma once
#include "ImapClient.h"
#include <functional>

namespace bench
{

constexpr const char *kVoicemailKeyword = "$Voicemail"; // of the flags of a voice mail

// The Inbox of alice at this site, oldest first, so many at once. Urgent ones are flagged.
void ReadMail(const std::string &site, std::size_t batch,
              const std::function<void(const std::vector<ImapMessage> &)> &);

// A voice mail whose recording makes it so many bytes long.
ImapMessage LongMessage(std::size_t size);

} // namespace bench
