// Messages as they arrive in an Inbox: with all that a mail system puts on them at delivery.
#pragma once
#include "localmapi/storage/Directory.h"
#include "localmapi/storage/Objects.h"
#include <filesystem>
#include <string>
#include <vector>

namespace localmapi::delivery
{

// Who a message is from: a user of the site, or an address elsewhere, or just a name.
struct Sender {
    std::string name;
    std::string addressType; // "EX", "SMTP", or empty where there is no address
    std::string address;
};

struct Traits {
    bool urgent = false;
    bool isPrivate = false;
};

struct Voicemail {
    Sender from;
    std::string number; // the caller's telephone number
    std::string name;   // the caller's name
    std::int32_t seconds = 0;
    std::string subject;
    Traits traits;
};

struct Mail {
    Sender from;
    std::string creator; // of a fax: the fax product's name; else the sender's
    std::string subject;
    std::string body;
    Traits traits;
};

// A user by alias, display name, address or distinguished name; any other text with an @ is an address elsewhere.
std::optional<Sender> SenderNamed(const storage::Site &site, const std::string &text);

storage::MessageChanges Compose(const Voicemail &voicemail, const storage::User &to, std::int64_t time);
storage::MessageChanges Compose(const Mail &mail, const storage::User &to, std::int64_t time);

// Adds an attachment by value, whose data is read from the file in pieces. Throws std::system_error where the file
// cannot be read.
void Attach(storage::MessageChanges &message, const std::filesystem::path &file, const std::string &mimeTag);

} // namespace localmapi::delivery
