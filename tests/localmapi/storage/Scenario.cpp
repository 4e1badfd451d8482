// The steps, and the walk over folders, messages and profiles that writes a site down.
#include "Scenario.h"
#include <sstream>

namespace localmapi::storage
{

namespace
{

Mailbox boxOf(Site site, const std::string &alias)
{
    return Directory(site).GetMailbox(Directory(site).UserByAlias(alias).value().mailbox);
}

MessageChanges mail(const std::string &subject, std::size_t data = 0)
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

// The messages of a folder, in their order.
std::vector<ObjectId> messagesIn(Site site, ObjectId folder)
{
    std::vector<ObjectId> ids;
    View view(site, {Container::Kind::Contents, folder});
    for (const Row &row : view.Read(Place::Beginning(), Direction::Forward, 1000, {}))
        ids.push_back(row.id);
    return ids;
}

std::string written(const Value &value)
{
    if (auto stream = std::get_if<StoredStream>(&value))
        return "stream of " + std::to_string(stream->size);
    if (auto bytes = std::get_if<Bytes>(&value))
        return std::to_string(bytes->size()) + " bytes";
    if (auto string = std::get_if<std::string>(&value))
        return *string;
    return testing::PrintToString(value);
}

void write(std::ostream &text, const PropertyBag &bag)
{
    for (const Property &property : bag)
        if (property.tag != kChangeNumber && property.tag != kCreationTime && property.tag != kLastModificationTime)
            text << " " << std::hex << property.tag << std::dec << "=" << written(property.value);
    text << "\n";
}

void writeFolder(std::ostream &text, Site site, ObjectId folder, const std::string &indent)
{
    Objects objects(site);
    text << indent << "folder";
    write(text, objects.Read(folder));
    for (ObjectId id : messagesIn(site, folder)) {
        text << indent << " message";
        write(text, objects.Read(id));
        for (const PropertyBag &recipient : objects.Recipients(id))
            write(text << indent << "  to", recipient);
        for (const ObjectInfo &attachment : objects.Attachments(id))
            write(text << indent << "  attachment", objects.Read(attachment.id));
    }
    View folders(site, {Container::Kind::Folders, folder});
    for (const Row &row : folders.Read(Place::Beginning(), Direction::Forward, 1000, {}))
        writeFolder(text, site, row.id, indent + " ");
}

} // namespace

void makeScenarioSite(const std::string &path)
{
    Site site = Site::Create(path, "NORVIK1", "Norvik");
    Directory(site).AddUser("alice", "Alice Archer");
    Mailbox box = boxOf(site, "alice");
    Objects(site).CreateMessages(
        {{box.inbox, mail("one")}, {box.inbox, mail("two!", 300000)}, {box.inbox, mail("three")}});
}

const std::vector<Step> &ScenarioSteps()
{
    static const std::vector<Step> kSteps = {
        [](Site site) { Objects(site).CreateMessage(boxOf(site, "alice").inbox, mail("new mail", 400000)); },
        [](Site site) {
            ObjectId inbox = boxOf(site, "alice").inbox;
            Objects(site).SetRead({messagesIn(site, inbox).at(0), messagesIn(site, inbox).at(1)}, true);
        },
        [](Site site) {
            MessageChanges changes;
            changes.properties.set = {{kBody, std::string(30000, 'b')}, {kImportance, std::int32_t{2}}};
            changes.properties.remove = {kSubject};
            changes.recipients = std::vector<PropertyBag>{};
            changes.attachments = {{3, false, {{{kAttachData, Bytes(9000)}}, {}}, nullptr}};
            Objects(site).ChangeMessage(messagesIn(site, boxOf(site, "alice").inbox).at(2), changes);
        },
        [](Site site) {
            Mailbox box = boxOf(site, "alice");
            Objects(site).MoveMessages(messagesIn(site, box.inbox), box.deletedItems);
        },
        [](Site site) { Directory(site).AddUser("bob", "Bob Baker"); },
        [](Site site) {
            Mailbox box = boxOf(site, "alice");
            std::vector<ObjectId> ids = messagesIn(site, box.deletedItems);
            Objects(site).CopyMessages(ids, boxOf(site, "bob").inbox);
        },
        // A message that was not saved before is sent: to two Inboxes, with a copy and a report that holds it.
        [](Site site) {
            Mailbox alice = boxOf(site, "alice"), bob = boxOf(site, "bob");
            Dispatch sent;
            sent.content = mail("sent", 300000);
            MessageChanges report = mail("report");
            report.attachments = {{0, false, {{{kAttachName, std::string("sent")}}, {}}, nullptr}};
            sent.destinations = {{alice.inbox, {}, report}, {bob.inbox, {}, {}}, {alice.inbox, {}, {}}};
            sent.destinations.push_back({alice.sentItems, {}, {}});
            Objects(site).Send(sent);
        },
        // One that was: it moves on, and a copy arrives.
        [](Site site) {
            Mailbox alice = boxOf(site, "alice"), bob = boxOf(site, "bob");
            Dispatch forwarded;
            forwarded.message = messagesIn(site, alice.sentItems).at(0);
            forwarded.content.properties.set.Set(kSubject, std::string("forwarded"));
            forwarded.destinations = {{bob.inbox, {}, {}}, {alice.deletedItems, {}, {}}};
            forwarded.destinations[0].changes.properties.set.Set(kMessageFlags, std::int32_t{0});
            Objects(site).Send(forwarded);
        },
        [](Site site) { Profiles(site).Create("Voicemail"); },
        [](Site site) {
            Profiles(site).ChangeSection("Voicemail", Guid{1}, {{kDisplayName, std::string("NORVIK1")}});
        },
        [](Site site) { Objects(site).RemoveAllMessages(boxOf(site, "alice").deletedItems); },
        [](Site site) {
            Objects(site).CreateFolder(boxOf(site, "bob").inbox, {{kDisplayName, std::string("Old")}});
        },
        [](Site site) { Objects(site).SetAllRead(boxOf(site, "bob").inbox, true); },
        [](Site site) { Profiles(site).Remove("Voicemail"); },
    };
    return kSteps;
}

std::string stateOf(Site site)
{
    std::ostringstream text;
    for (const User &user : Directory(site).Users()) {
        text << "user " << user.alias << "\n";
        writeFolder(text, site, Directory(site).GetMailbox(user.mailbox).root, " ");
    }
    for (const Profile &profile : Profiles(site).List()) {
        text << "profile " << profile.name << profile.isDefault;
        write(text, Profiles(site).Section(profile.name, Guid{1}));
    }
    return text.str();
}

} // namespace localmapi::storage
