// The report about those who could not be reached: text, recipients with diagnoses, and room for the message itself.
#include "localmapi/provider/store/NonDelivery.h"
#include "localmapi/provider/store/Message.h"
#include "localmapi/provider/store/StoreTags.h"
#include "localmapi/storage/Time.h"

#include <chrono>
#include <cstdio>

namespace localmapi
{

using storage::PropertyBag;

namespace
{

constexpr char kReporter[] = "System Administrator";
constexpr std::int32_t kTransferImpossible = 1; // as a value of PR_NDR_REASON_CODE

std::string TextIn(const PropertyBag &bag, storage::Tag tag)
{
    const auto *text = bag.get<std::string>(tag);
    return text ? *text : std::string();
}

// "2026-11-21 14:05 UTC"
std::string TimeText(std::int64_t time)
{
    using namespace std::chrono;
    const auto since = storage::kFirstDay + duration_cast<minutes>(storage::Ticks(time));
    const auto day = floor<days>(since);
    const year_month_day date(day);
    const auto minute = static_cast<int>((since - day).count());
    char text[48];
    std::snprintf(text, sizeof(text), "%04d-%02u-%02u %02d:%02d UTC", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), minute / 60, minute % 60);
    return text;
}

// "Bob Baker <bob@norvik.example>"
std::string Shown(const PropertyBag &recipient)
{
    const std::string name = TextIn(recipient, PR_DISPLAY_NAME_W);
    const std::string address = TextIn(recipient, PR_EMAIL_ADDRESS_W);
    if (name.empty() || address.empty() || name == address)
        return name.empty() ? address : name;
    return name + " <" + address + ">";
}

} // namespace

storage::MessageChanges NonDeliveryReport(const Undelivered &undelivered)
{
    const std::string subject = TextIn(undelivered.message, PR_SUBJECT_W);
    std::string text = "A message could not be delivered to everybody.\r\n\r\nSubject: " + subject +
                       "\r\nSent: " + TimeText(undelivered.time) + "\r\n\r\nNot reached:\r\n";
    std::string names;
    storage::MessageChanges report;
    report.recipients.emplace();
    for (const Addressee &addressee : undelivered.unreached) {
        text += "  " + Shown(addressee.recipient) + "\r\n    " + addressee.reason + "\r\n";
        const std::string name = TextIn(addressee.recipient, PR_DISPLAY_NAME_W);
        names += (names.empty() ? "" : "; ") + (name.empty() ? TextIn(addressee.recipient, PR_EMAIL_ADDRESS_W) : name);
        PropertyBag recipient = addressee.recipient;
        recipient.Set(PR_REPORT_TEXT_W, addressee.reason);
        recipient.Set(PR_REPORT_TIME, undelivered.time);
        recipient.Set(PR_NDR_REASON_CODE, kTransferImpossible);
        recipient.Set(PR_NDR_DIAG_CODE, std::int32_t{addressee.diagnosis});
        report.recipients->push_back(std::move(recipient));
    }
    PropertyBag &set = report.properties.set;
    const std::string messageClass = TextIn(undelivered.message, PR_MESSAGE_CLASS_W);
    const std::string title = "Undeliverable: " + subject;
    set.Set(PR_MESSAGE_CLASS_W, "REPORT." + (messageClass.empty() ? std::string("IPM") : messageClass) + ".NDR");
    set.Set(PR_MESSAGE_FLAGS, std::int32_t{0});
    set.Set(PR_IMPORTANCE, std::int32_t{IMPORTANCE_NORMAL});
    set.Set(PR_SENSITIVITY, std::int32_t{SENSITIVITY_NONE});
    set.Set(PR_SUBJECT_W, title);
    set.Set(PR_NORMALIZED_SUBJECT_W, title);
    set.Set(PR_SUBJECT_PREFIX_W, std::string());
    set.Set(PR_CONVERSATION_TOPIC_W, subject);
    set.Set(PR_BODY_W, text);
    set.Set(PR_REPORT_TEXT_W, text);
    set.Set(PR_REPORT_TIME, undelivered.time);
    set.Set(PR_ORIGINAL_SUBJECT_W, subject);
    set.Set(PR_ORIGINAL_SUBMIT_TIME, undelivered.time);
    set.Set(PR_ORIG_MESSAGE_CLASS_W, messageClass);
    if (const auto *key = undelivered.message.get<storage::Bytes>(PR_SEARCH_KEY))
        set.Set(PR_ORIGINAL_SEARCH_KEY, *key);
    set.Set(PR_SEARCH_KEY, NewSearchKey());
    set.Set(PR_CLIENT_SUBMIT_TIME, undelivered.time);
    set.Set(PR_MESSAGE_DELIVERY_TIME, undelivered.time);
    // Nobody to be answered: a name without an address.
    set.Set(PR_SENDER_NAME_W, std::string(kReporter));
    set.Set(PR_SENT_REPRESENTING_NAME_W, std::string(kReporter));
    SetParty(set, kReceivedBy, undelivered.sender);
    SetParty(set, kReceivedFor, undelivered.sender);
    set.Set(PR_MESSAGE_TO_ME, true);
    set.Set(PR_DISPLAY_TO_W, names);
    set.Set(PR_DISPLAY_CC_W, std::string());
    set.Set(PR_DISPLAY_BCC_W, std::string());

    storage::AttachmentChanges original;
    PropertyBag &attached = original.properties.set;
    attached.Set(PR_ATTACH_METHOD, std::int32_t{ATTACH_EMBEDDED_MSG});
    attached.Set(PR_RENDERING_POSITION, std::int32_t{-1});
    attached.Set(PR_DISPLAY_NAME_W, subject);
    report.attachments.push_back(std::move(original));
    return report;
}

} // namespace localmapi
