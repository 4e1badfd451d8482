// The properties of localmapi's messages as header fields and bodies of mail.
#include "MailText.h"
#include "localmapi/delivery/Tags.h"
#include "localmapi/storage/Directory.h"
#include "localmapi/storage/Time.h"
#include "localmapi/storage/View.h"
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <stdexcept>

namespace bench
{

namespace
{

namespace storage = localmapi::storage;
namespace delivery = localmapi::delivery;

const std::vector<storage::Tag> kColumns = {storage::kMessageFlags,     storage::kImportance,  storage::kMessageClass,
                                            storage::kClientSubmitTime, delivery::kSenderName, delivery::kSenderAddress,
                                            delivery::kSubject,         delivery::kBody,       delivery::kVoiceNumber,
                                            delivery::kVoiceSeconds};

std::string Text(const storage::Value &value)
{
    const auto *text = std::get_if<std::string>(&value);
    return text ? *text : std::string();
}

std::int32_t Number(const storage::Value &value)
{
    const auto *number = std::get_if<std::int32_t>(&value);
    return number ? *number : 0;
}

std::string DateOf(std::int64_t time, const char *form)
{
    const auto seconds = static_cast<std::time_t>((time - storage::kUnixEpoch) / storage::kTicksPerSecond);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    char text[64];
    std::strftime(text, sizeof text, form, &parts);
    return text;
}

// As a header may hold it.
std::string Encoded(const std::string &text)
{
    if (std::none_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; }))
        return text;
    std::string word = "=?UTF-8?Q?";
    for (const char c : text) {
        char escaped[4];
        std::snprintf(escaped, sizeof escaped, "=%02X", static_cast<unsigned char>(c));
        word += (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ? std::string(1, c) : c == ' ' ? "_" : escaped;
    }
    return word + "?=";
}

ImapMessage MailOf(const std::vector<storage::Value> &row)
{
    const bool urgent = Number(row[1]) == 2, voice = Text(row[2]) == "IPM.Note.Microsoft.Voicemail.UM";
    const std::int64_t time = std::get<std::int64_t>(row[3]);
    const std::string address = Text(row[5]);
    ImapMessage message;
    message.date = DateOf(time, "%d-%b-%Y %H:%M:%S +0000");
    for (const auto &[is, flag] : {std::pair((Number(row[0]) & storage::kFlagRead) != 0, "\\Seen"),
                                   std::pair(urgent, "\\Flagged"), std::pair(voice, kVoicemailKeyword)})
        if (is)
            message.flags += (message.flags.empty() ? "" : " ") + std::string(flag);
    message.text = "From: " + Encoded(Text(row[4])) + " <" + (address.empty() ? "voice@norvik.example" : address) +
                   ">\r\nTo: Alice Archer <alice@norvik.example>\r\nSubject: " + Encoded(Text(row[6])) +
                   "\r\nDate: " + DateOf(time, "%a, %d %b %Y %H:%M:%S +0000") + "\r\nMIME-Version: 1.0\r\n" +
                   (urgent ? "Importance: high\r\nX-Priority: 1\r\n" : "") +
                   (voice ? "X-CallingTelephoneNumber: " + Text(row[8]) +
                                "\r\nX-VoiceMessageDuration: " + std::to_string(Number(row[9])) +
                                "\r\nX-VoiceMessageSenderName: " + Encoded(Text(row[4])) + "\r\n"
                          : "") +
                   "Content-Type: text/plain; charset=utf-8\r\nContent-Transfer-Encoding: 8bit\r\n\r\n" + Text(row[7]);
    return message;
}

} // namespace

void ReadMail(const std::string &path, std::size_t batch,
              const std::function<void(const std::vector<ImapMessage> &)> &take)
{
    const auto site = storage::Site::Open(path);
    const storage::Directory directory(site);
    const auto alice = directory.UserByAlias("alice");
    if (!alice)
        throw std::runtime_error("the site has no alice");
    const storage::View inbox(site, {storage::Container::Kind::Contents, directory.GetMailbox(alice->mailbox).inbox});
    storage::Place place = storage::Place::Beginning();
    for (;;) {
        const auto rows = inbox.Read(place, storage::Direction::Forward, batch, kColumns);
        if (rows.empty())
            return;
        place = rows.back().After();
        std::vector<ImapMessage> messages;
        for (const storage::Row &row : rows)
            messages.push_back(MailOf(row.values));
        take(messages);
    }
}

ImapMessage LongMessage(std::size_t size)
{
    ImapMessage message{kVoicemailKeyword, "22-Nov-2026 10:00:00 +0000",
                        "From: Carla Costa <carla@elsewhere.example>\r\nTo: alice@norvik.example\r\n"
                        "Subject: Voice Mail from Carla Costa (17 seconds)\r\n"
                        "Date: Sun, 22 Nov 2026 10:00:00 +0000\r\nMIME-Version: 1.0\r\n"
                        "X-CallingTelephoneNumber: +15550100\r\nX-VoiceMessageDuration: 17\r\n"
                        "Content-Type: audio/wav; name=message.wav\r\nContent-Transfer-Encoding: base64\r\n\r\n"};
    while (message.text.size() < size)
        message.text += std::string(76, 'w') + "\r\n";
    return message;
}

} // namespace bench
