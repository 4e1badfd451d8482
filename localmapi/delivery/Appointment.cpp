// An appointment as a calendar message: its named properties, its times in the owner's own time zone, its recurrence.
#include "localmapi/delivery/Appointment.h"
#include "localmapi/delivery/Tags.h"
#include "localmapi/storage/Time.h"
#include <array>

namespace localmapi::delivery
{

using storage::MakeTag;
using storage::PropertyBag;
using storage::Type;

namespace
{

constexpr Tag kStartDate = 0x00600040;
constexpr Tag kEndDate = 0x00610040;
constexpr Tag kIconIndex = 0x10800003;

// Property sets as they lie in memory.
constexpr storage::Guid kAppointmentSet = {0x02, 0x20, 0x06, 0, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46};
constexpr storage::Guid kCommonSet = {0x08, 0x20, 0x06, 0, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46};
constexpr storage::Guid kMeetingSet = {0x90, 0xDA, 0xD8, 0x6E, 0x0B, 0x45, 0x1B, 0x10,
                                       0x98, 0xDA, 0x00, 0xAA, 0x00, 0x3F, 0x13, 0x05};

// The named properties of appointments, in the order of kNames.
enum Name : std::size_t {
    BusyStatusName,
    LocationName,
    StartName,
    EndName,
    DurationName,
    AllDayName,
    StateFlagsName,
    RecurrenceName,
    RecurringName,
    IntendedBusyName,
    RecurrenceTypeName,
    RecurrenceTextName,
    ClipStartName,
    ClipEndName,
    CommonStartName,
    CommonEndName,
    SideEffectsName,
    IsRecurringName,
    NameCount
};

struct NamedProperty {
    const storage::Guid *set;
    std::int32_t number;
    Type type;
};
constexpr std::array<NamedProperty, NameCount> kNames = {{{&kAppointmentSet, 0x8205, Type::Int32},
                                                          {&kAppointmentSet, 0x8208, Type::Text},
                                                          {&kAppointmentSet, 0x820D, Type::Time},
                                                          {&kAppointmentSet, 0x820E, Type::Time},
                                                          {&kAppointmentSet, 0x8213, Type::Int32},
                                                          {&kAppointmentSet, 0x8215, Type::Boolean},
                                                          {&kAppointmentSet, 0x8217, Type::Int32},
                                                          {&kAppointmentSet, 0x8216, Type::Binary},
                                                          {&kAppointmentSet, 0x8223, Type::Boolean},
                                                          {&kAppointmentSet, 0x8224, Type::Int32},
                                                          {&kAppointmentSet, 0x8231, Type::Int32},
                                                          {&kAppointmentSet, 0x8232, Type::Text},
                                                          {&kAppointmentSet, 0x8235, Type::Time},
                                                          {&kAppointmentSet, 0x8236, Type::Time},
                                                          {&kCommonSet, 0x8516, Type::Time},
                                                          {&kCommonSet, 0x8517, Type::Time},
                                                          {&kCommonSet, 0x8510, Type::Int32},
                                                          {&kMeetingSet, 0x0005, Type::Boolean}}};

using Tags = std::array<Tag, NameCount>;

Tags TagsOf(storage::Site site)
{
    std::vector<storage::PropertyName> names;
    for (const NamedProperty &property : kNames)
        names.push_back({*property.set, property.number});
    const std::vector<std::uint16_t> ids = storage::Names(std::move(site)).Ids(names, true);
    Tags tags;
    for (std::size_t i = 0; i < NameCount; ++i)
        tags[i] = MakeTag(ids[i], kNames[i].type);
    return tags;
}

std::int64_t Midnight(Day day)
{
    return (day - storage::kFirstDay).count() * 1440 * storage::kTicksPerMinute;
}

// The end of what never ends: the last minute of this day.
std::int64_t EndOfTime()
{
    return Midnight(Day(std::chrono::year(4500) / 8 / 31)) + 1439 * storage::kTicksPerMinute;
}

void SetRecurrence(PropertyBag &bag, const Tags &tags, const Appointment &appointment, std::int32_t minutes)
{
    const RecurrenceRule &rule = *appointment.rule;
    bag.Set(tags[RecurrenceName],
            RecurrenceStructure(rule, appointment.first, appointment.startMinute, static_cast<unsigned>(minutes)));
    bag.Set(tags[RecurrenceTextName], Describe(rule));
    bag.Set(tags[ClipStartName], Midnight(appointment.first));
    const auto occurrences = rule.until || rule.times ? OccurrencesFrom(rule, appointment.first) : std::nullopt;
    bag.Set(tags[ClipEndName], occurrences ? Midnight(occurrences->last) : EndOfTime());
}

} // namespace

storage::MessageChanges Compose(storage::Site site, const Appointment &appointment, const storage::User &owner)
{
    constexpr std::int32_t kSingleIcon = 1024, kRecurringIcon = 1025;
    constexpr std::int32_t kSideEffects = 0x171; // clients open it as a whole, and not for what is new
    const Tags tags = TagsOf(std::move(site));
    const auto minutes = static_cast<std::int32_t>((appointment.end - appointment.start) / storage::kTicksPerMinute);
    const bool recurs = appointment.rule.has_value();

    storage::MessageChanges message;
    PropertyBag &bag = message.properties.set;
    bag.Set(storage::kMessageClass, std::string("IPM.Appointment"));
    bag.Set(storage::kMessageFlags, storage::kFlagRead);
    bag.Set(kSensitivity, std::int32_t{0});
    bag.Set(storage::kImportance, std::int32_t{1});
    bag.Set(kSubject, appointment.subject);
    bag.Set(kNormalizedSubject, appointment.subject);
    bag.Set(kConversationTopic, appointment.subject);
    bag.Set(kBody, appointment.body);
    bag.Set(kIconIndex, recurs ? kRecurringIcon : kSingleIcon);
    for (const auto &[name, type, address] :
         {std::array{kSenderName, kSenderAddressType, kSenderAddress},
          std::array{kRepresentedName, kRepresentedAddressType, kRepresentedAddress}}) {
        bag.Set(name, owner.name);
        bag.Set(type, std::string("EX"));
        bag.Set(address, owner.dn);
    }
    for (const Tag tag : {kStartDate, tags[StartName], tags[CommonStartName], tags[ClipStartName]})
        bag.Set(tag, appointment.start);
    for (const Tag tag : {kEndDate, tags[EndName], tags[CommonEndName], tags[ClipEndName]})
        bag.Set(tag, appointment.end);
    bag.Set(tags[BusyStatusName], static_cast<std::int32_t>(appointment.busy));
    bag.Set(tags[IntendedBusyName], static_cast<std::int32_t>(appointment.busy));
    bag.Set(tags[LocationName], appointment.location);
    bag.Set(tags[DurationName], minutes);
    bag.Set(tags[AllDayName], false);
    bag.Set(tags[StateFlagsName], std::int32_t{0});
    bag.Set(tags[SideEffectsName], kSideEffects);
    bag.Set(tags[RecurringName], recurs);
    bag.Set(tags[IsRecurringName], recurs);
    bag.Set(tags[RecurrenceTypeName], recurs ? RecurrenceType(*appointment.rule) : 0);
    if (recurs)
        SetRecurrence(bag, tags, appointment, minutes);
    return message;
}

} // namespace localmapi::delivery
