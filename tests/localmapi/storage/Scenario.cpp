// The steps, and the walk over folders, messages and profiles that writes a site down.
#include "Scenario.h"
#include <sstream>

namespace localmapi::storage
{

namespace
{

Mailbox BoxOf(Site site, const std::string &alias)
{
    return Directory(site).GetMailbox(Directory(site).UserByAlias(alias).value().mailbox);
}

MessageChanges MakeMail(const std::string &subject, std::size_t data = 0)
{
    MessageChanges content;
    content.properties.set = {{kMessageClass, std::string("IPM.Note")},
                              {kSubject, subject},
                              {kClientSubmitTime, std::int64_t{1000} + static_cast<std::int64_t>(subject.size())}};
    content.recipients = std::vector<PropertyBag>{{{kDisplayName, std::string("Alice")}}};
    if (data)
        content.attachments = {
            {0, false, {{{kAttachName, std::string("v.wav")}, {kAttachData, Bytes(data, 'w')}}, {}}, nullptr}};
    return content;
}

// With an attachment that what it is about goes into.
MessageChanges MakeReport()
{
    MessageChanges report = MakeMail("report");
    report.attachments = {{0, false, {{{kAttachName, std::string("sent")}}, {}}, nullptr}};
    return report;
}

// The messages of a folder, in their order.
std::vector<ObjectId> MessagesIn(Site site, ObjectId folder)
{
    std::vector<ObjectId> ids;
    View view(site, {Container::Kind::Contents, folder});
    for (const Row &row : view.Read(Place::Beginning(), Direction::Forward, 1000, {}))
        ids.push_back(row.id);
    return ids;
}

std::string Written(const Value &value)
{
    if (auto stream = std::get_if<StoredStream>(&value))
        return "stream of " + std::to_string(stream->size);
    if (auto bytes = std::get_if<Bytes>(&value))
        return std::to_string(bytes->size()) + " bytes";
    if (auto string = std::get_if<std::string>(&value)) // long ones take GoogleTest long
        return '"' + *string + "\" (" + std::to_string(string->size()) + ")";
    return testing::PrintToString(value);
}

void Write(std::ostream &text, const PropertyBag &bag)
{
    for (const Property &property : bag)
        if (property.tag != kChangeNumber && property.tag != kCreationTime && property.tag != kLastModificationTime)
            text << " " << std::hex << property.tag << std::dec << "=" << Written(property.value);
    text << "\n";
}

void WriteFolder(std::ostream &text, Site site, ObjectId folder, const std::string &indent)
{
    Objects objects(site);
    text << indent << "folder";
    Write(text, objects.Read(folder));
    for (ObjectId id : MessagesIn(site, folder)) {
        text << indent << " message";
        Write(text, objects.Read(id));
        for (const PropertyBag &recipient : objects.Recipients(id))
            Write(text << indent << "  to", recipient);
        for (const ObjectInfo &attachment : objects.Attachments(id))
            Write(text << indent << "  attachment", objects.Read(attachment.id));
    }
    View folders(site, {Container::Kind::Folders, folder});
    for (const Row &row : folders.Read(Place::Beginning(), Direction::Forward, 1000, {}))
        WriteFolder(text, site, row.id, indent + " ");
}

} // namespace

void MakeScenarioSite(const std::string &path)
{
    Site site = Site::Create(path, "NORVIK1", "Norvik");
    Directory(site).AddUser("alice", "Alice Archer");
    Mailbox box = BoxOf(site, "alice");
    Objects(site).CreateMessages(
        {{box.inbox, MakeMail("one")}, {box.inbox, MakeMail("two!", 300000)}, {box.inbox, MakeMail("three")}});
}

const std::vector<Step> &ScenarioSteps()
{
    static const std::vector<Step> kSteps = {
        [](Site site) { Objects(site).CreateMessage(BoxOf(site, "alice").inbox, MakeMail("new mail", 400000)); },
        [](Site site) {
            ObjectId inbox = BoxOf(site, "alice").inbox;
            Objects(site).SetRead({MessagesIn(site, inbox).at(0), MessagesIn(site, inbox).at(1)}, true);
        },
        [](Site site) {
            MessageChanges changes;
            changes.properties.set = {{kBody, std::string(30000, 'b')}, {kImportance, std::int32_t{2}}};
            changes.properties.remove = {kSubject};
            changes.recipients = std::vector<PropertyBag>{};
            changes.attachments = {{3, false, {{{kAttachData, Bytes(9000)}}, {}}, nullptr}};
            Objects(site).ChangeMessage(MessagesIn(site, BoxOf(site, "alice").inbox).at(2), changes);
        },
        [](Site site) {
            Mailbox box = BoxOf(site, "alice");
            Objects(site).MoveMessages(MessagesIn(site, box.inbox), box.deletedItems);
        },
        [](Site site) { Directory(site).AddUser("bob", "Bob Baker"); },
        [](Site site) {
            Mailbox box = BoxOf(site, "alice");
            std::vector<ObjectId> ids = MessagesIn(site, box.deletedItems);
            Objects(site).CopyMessages(ids, BoxOf(site, "bob").inbox);
        },
        // A message that was not saved before is sent: to two Inboxes, with a copy and a report that holds it.
        [](Site site) {
            Mailbox alice = BoxOf(site, "alice"), bob = BoxOf(site, "bob");
            Dispatch sent;
            sent.content = MakeMail("sent", 300000);
            sent.destinations = {{alice.inbox, {}, MakeReport()}, {bob.inbox, {}, {}}, {alice.inbox, {}, {}}};
            sent.destinations.push_back({alice.sentItems, {}, {}});
            Objects(site).Send(sent);
        },
        // One that was: it moves on, and a copy arrives.
        [](Site site) {
            Mailbox alice = BoxOf(site, "alice"), bob = BoxOf(site, "bob");
            Dispatch forwarded;
            forwarded.message = MessagesIn(site, alice.sentItems).at(0);
            forwarded.content.properties.set.Set(kSubject, std::string("forwarded"));
            forwarded.destinations = {{bob.inbox, {}, {}}, {alice.deletedItems, {}, {}}};
            forwarded.destinations[0].changes.properties.set.Set(kMessageFlags, std::int32_t{0});
            Objects(site).Send(forwarded);
        },
        [](Site site) { Profiles(site).Create("Voicemail"); },
        [](Site site) {
            Profiles(site).ChangeSection("Voicemail", Guid{1}, {{kDisplayName, std::string("NORVIK1")}});
        },
        [](Site site) { Objects(site).RemoveAllMessages(BoxOf(site, "alice").deletedItems); },
        [](Site site) {
            Objects(site).CreateFolder(BoxOf(site, "bob").inbox, {{kDisplayName, std::string("Old")}});
        },
        [](Site site) { Objects(site).SetAllRead(BoxOf(site, "bob").inbox, true); },
        [](Site site) { Profiles(site).Remove("Voicemail"); },
    };
    return kSteps;
}

Step RandomStep(std::mt19937 &random)
{
    const auto kind = random() % 12;
    const auto number = random();
    // Some of an Inbox or a folder of deleted items.
    const auto some = [number](Site site, ObjectId folder) {
        std::vector<ObjectId> ids = MessagesIn(site, folder);
        if (ids.size() > 1 + number % 3)
            ids.resize(1 + number % 3);
        return ids;
    };
    const std::string subject = "subject " + std::to_string(number);
    const std::size_t data = std::vector<std::size_t>{0, 0, 600, 9000, 40000}[number % 5];
    switch (kind) {
    case 0:
    case 1:
    case 2:
        return [=](Site site) { Objects(site).CreateMessage(BoxOf(site, "alice").inbox, MakeMail(subject, data)); };
    case 3:
        return [=](Site site) { Objects(site).SetRead(some(site, BoxOf(site, "alice").inbox), number % 2 == 0); };
    case 4:
        return [=](Site site) {
            MessageChanges changes;
            changes.properties.set = {{kBody, std::string(number % 20000, 'b')}, {kSubject, subject}};
            for (const ObjectId id : some(site, BoxOf(site, "bob").inbox)) {
                Objects(site).ChangeMessage(id, changes);
                return;
            }
        };
    case 5:
        return [=](Site site) {
            const Mailbox box = BoxOf(site, "alice");
            Objects(site).MoveMessages(some(site, box.inbox), box.deletedItems);
        };
    case 6:
        return [=](Site site) {
            Objects(site).CopyMessages(some(site, BoxOf(site, "alice").inbox), BoxOf(site, "bob").inbox);
        };
    case 7:
        return [](Site site) { Objects(site).RemoveAllMessages(BoxOf(site, "alice").deletedItems); };
    case 8:
        return [=](Site site) {
            Objects(site).CreateFolder(BoxOf(site, "bob").inbox, {{kDisplayName, "folder " + subject}});
        };
    case 9:
        return [=](Site site) {
            const Mailbox alice = BoxOf(site, "alice"), bob = BoxOf(site, "bob");
            Dispatch sent;
            sent.content = MakeMail(subject, data);
            sent.destinations = {{alice.inbox, {}, MakeReport()}, {bob.inbox, {}, {}}, {bob.sentItems, {}, {}}};
            Objects(site).Send(sent);
        };
    case 10:
        return [=](Site site) { Profiles(site).Create("profile " + std::to_string(number)); };
    default:
        return [](Site site) { Objects(site).SetAllRead(BoxOf(site, "bob").inbox, true); };
    }
}

std::string StateOf(Site site)
{
    std::ostringstream text;
    for (const User &user : Directory(site).Users()) {
        text << "user " << user.alias << "\n";
        WriteFolder(text, site, Directory(site).GetMailbox(user.mailbox).root, " ");
    }
    for (const Profile &profile : Profiles(site).List()) {
        text << "profile " << profile.name << profile.isDefault;
        Write(text, Profiles(site).Section(profile.name, Guid{1}));
    }
    return text.str();
}

} // namespace localmapi::storage
