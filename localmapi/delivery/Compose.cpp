// Voicemails, mails and faxes as the messages that arrive: sender, recipient, times, text and attached files.
#include "localmapi/delivery/Compose.h"
#include "localmapi/delivery/OpenFile.h"
#include "localmapi/delivery/Tags.h"
#include "localmapi/storage/Path.h"
#include "localmapi/storage/Spool.h"
#include "localmapi/storage/Text.h"
#include "localmapi/storage/Time.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <random>
#include <system_error>

namespace localmapi::delivery
{

using storage::PropertyBag;

namespace
{

constexpr std::int32_t kImportanceNormal = 1, kImportanceHigh = 2;
constexpr std::int32_t kPriorityNormal = 0, kPriorityUrgent = 1;
constexpr std::int32_t kSensitivityNone = 0, kSensitivityPrivate = 2;
constexpr std::int32_t kToRecipient = 1;
constexpr std::int32_t kObjectMailUser = 6;

std::string Upper(std::string text)
{
    for (char &c : text)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return text;
}

// A search key is the address type and the address in capitals, with the terminating zero.
storage::Bytes SearchKey(const std::string &type, const std::string &address)
{
    const std::string key = Upper(type + ":" + address);
    storage::Bytes bytes(key.begin(), key.end());
    bytes.push_back(0);
    return bytes;
}

storage::Bytes UniqueKey()
{
    static thread_local std::mt19937_64 random{std::random_device{}()};
    storage::Bytes key(16);
    for (std::uint8_t &byte : key)
        byte = static_cast<std::uint8_t>(random());
    return key;
}

void SetSender(PropertyBag &bag, const Sender &from)
{
    bag.Set(kSenderName, from.name);
    bag.Set(kRepresentedName, from.name);
    if (from.addressType.empty())
        return;
    for (const auto &[type, address, key] :
         {std::array{kSenderAddressType, kSenderAddress, kSenderSearchKey},
          std::array{kRepresentedAddressType, kRepresentedAddress, kRepresentedSearchKey}}) {
        bag.Set(type, from.addressType);
        bag.Set(address, from.address);
        bag.Set(key, SearchKey(from.addressType, from.address));
    }
}

storage::MessageChanges Delivered(const std::string &messageClass, const Sender &from, const std::string &subject,
                                  const std::string &body, const Traits &traits, const storage::User &to,
                                  std::int64_t time)
{
    storage::MessageChanges message;
    PropertyBag &bag = message.properties.set;
    bag.Set(storage::kMessageClass, messageClass);
    bag.Set(storage::kImportance, traits.urgent ? kImportanceHigh : kImportanceNormal);
    bag.Set(kPriority, traits.urgent ? kPriorityUrgent : kPriorityNormal);
    bag.Set(kSensitivity, traits.isPrivate ? kSensitivityPrivate : kSensitivityNone);
    bag.Set(storage::kMessageFlags, std::int32_t{0});
    bag.Set(kSubject, subject);
    bag.Set(kNormalizedSubject, subject);
    bag.Set(kConversationTopic, subject);
    bag.Set(kBody, body);
    bag.Set(kSearchKey, UniqueKey());
    bag.Set(kMessageToMe, true);
    bag.Set(storage::kClientSubmitTime, time);
    bag.Set(storage::kMessageDeliveryTime, time);
    SetSender(bag, from);
    for (const auto &[name, type, address] :
         {std::array{kReceivedByName, kReceivedByAddressType, kReceivedByAddress},
          std::array{kReceivedForName, kReceivedForAddressType, kReceivedForAddress}}) {
        bag.Set(name, to.name);
        bag.Set(type, std::string("EX"));
        bag.Set(address, to.dn);
    }

    PropertyBag recipient;
    recipient.Set(kRecipientType, kToRecipient);
    recipient.Set(kResponsibility, true);
    recipient.Set(storage::MakeTag(0x0FFE, storage::Type::Int32), kObjectMailUser);
    recipient.Set(storage::MakeTag(0x3900, storage::Type::Int32), std::int32_t{0}); // shown as a mail user
    recipient.Set(storage::kDisplayName, to.name);
    recipient.Set(storage::kAddressType, std::string("EX"));
    recipient.Set(storage::kEmailAddress, to.dn);
    recipient.Set(storage::kSmtpAddress, to.smtp);
    message.recipients.emplace({std::move(recipient)});
    return message;
}

// "message one.wave" becomes "messag~1.wav": at most 8 and 3 characters; multi-byte characters are never cut.
std::string ShortName(const std::string &name)
{
    const auto cut = [](const std::string &text, std::size_t bytes) {
        if (text.size() <= bytes)
            return text;
        while (bytes > 0 && (static_cast<unsigned char>(text[bytes]) & 0xC0) == 0x80)
            --bytes;
        return text.substr(0, bytes);
    };
    const std::size_t dot = name.rfind('.');
    const bool hasExtension = dot != std::string::npos && dot > 0;
    std::string base = hasExtension ? name.substr(0, dot) : name;
    const std::string extension = hasExtension ? name.substr(dot + 1) : std::string();
    std::erase(base, ' ');
    if (base.size() > 8)
        base = cut(base, 6) + "~1";
    return extension.empty() ? base : base + "." + cut(extension, 3);
}

} // namespace

std::optional<Sender> SenderNamed(const storage::Site &site, const std::string &text)
{
    const storage::Directory directory(site);
    std::optional<storage::User> user = directory.UserByAlias(text);
    if (!user)
        user = directory.UserBySmtp(text);
    if (!user)
        user = directory.UserByDn(text);
    if (!user) {
        for (const storage::User &candidate : directory.Users())
            if (storage::FoldText(candidate.name, true, false) == storage::FoldText(text, true, false))
                user = candidate;
    }
    if (user)
        return Sender{user->name, "EX", user->dn};
    for (const storage::Contact &contact : directory.Contacts())
        if (storage::FoldCase(contact.smtp) == storage::FoldCase(text))
            return Sender{contact.name, "SMTP", contact.smtp};
    if (storage::IsSmtpAddress(text))
        return Sender{text, "SMTP", text};
    return std::nullopt;
}

storage::MessageChanges Compose(const Voicemail &voicemail, const storage::User &to, std::int64_t time)
{
    std::string caller = voicemail.name.empty() ? voicemail.number : voicemail.name;
    if (!voicemail.name.empty() && !voicemail.number.empty())
        caller += " (" + voicemail.number + ")";
    const std::string length = std::to_string(voicemail.seconds) + (voicemail.seconds == 1 ? " second" : " seconds");
    const std::string subject = !voicemail.subject.empty() ? voicemail.subject
                                : caller.empty()           ? "Voice Mail (" + length + ")"
                                                           : "Voice Mail from " + caller + " (" + length + ")";
    const std::string body =
        "You received a voice mail" + (caller.empty() ? std::string() : " from " + caller) + ".\r\n";
    storage::MessageChanges message =
        Delivered("IPM.Note.Microsoft.Voicemail.UM", voicemail.from, subject, body, voicemail.traits, to, time);
    PropertyBag &bag = message.properties.set;
    bag.Set(kVoiceSeconds, voicemail.seconds);
    bag.Set(kVoiceNumber, voicemail.number);
    bag.Set(kVoiceName, voicemail.name);
    bag.Set(kVoiceOffset, std::int32_t{0});
    // Seconds since 1970, as a voicemail server counts them.
    bag.Set(kVoiceReceived, static_cast<std::int32_t>((time - storage::kUnixEpoch) / storage::kTicksPerSecond));
    return message;
}

storage::MessageChanges Compose(const Mail &mail, const storage::User &to, std::int64_t time)
{
    storage::MessageChanges message = Delivered("IPM.Note", mail.from, mail.subject, mail.body, mail.traits, to, time);
    message.properties.set.Set(kCreatorName, mail.creator.empty() ? mail.from.name : mail.creator);
    return message;
}

void Attach(storage::MessageChanges &message, const std::filesystem::path &path, const std::string &mimeTag)
{
    std::ifstream file = OpenFile(path);
    auto data = std::make_shared<storage::Spool>();
    std::vector<char> piece(64 * 1024);
    std::uint64_t at = 0;
    while (file.read(piece.data(), static_cast<std::streamsize>(piece.size())) || file.gcount() > 0) {
        data->Write(at, piece.data(), static_cast<std::size_t>(file.gcount()));
        at += static_cast<std::uint64_t>(file.gcount());
    }
    if (file.bad())
        throw std::system_error(errno ? errno : EIO, std::generic_category(), "reading it");

    const std::string name = storage::Utf8Of(path.filename());
    storage::AttachmentChanges attachment;
    attachment.number = static_cast<std::int32_t>(message.attachments.size());
    PropertyBag &bag = attachment.properties.set;
    bag.Set(kAttachMethod, std::int32_t{1}); // by value
    bag.Set(kAttachFilename, ShortName(name));
    bag.Set(kAttachLongFilename, name);
    bag.Set(storage::kDisplayName, name);
    if (path.has_extension())
        bag.Set(kAttachExtension, storage::Utf8Of(path.extension()));
    if (!mimeTag.empty())
        bag.Set(kAttachMimeTag, mimeTag);
    bag.Set(kRenderingPosition, std::int32_t{-1});
    bag.Set(kAttachData, storage::SpoolPtr(std::move(data)));
    message.attachments.push_back(std::move(attachment));

    // The order in which recordings are to be played, by name.
    const std::string *order = message.properties.set.get<std::string>(kVoiceAttachmentOrder);
    if (message.properties.set.Find(kVoiceSeconds))
        message.properties.set.Set(kVoiceAttachmentOrder, order ? *order + ";" + name : name);
}

} // namespace localmapi::delivery
