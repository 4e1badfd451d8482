// Proves what a site knows of its people and profiles.
#include "Fixture.h"

namespace localmapi::storage
{

namespace
{

using DirectoryTest = SiteTest;

TEST_F(DirectoryTest, AUserHasANameAnAddressAndAMailbox)
{
    EXPECT_EQ(alice.dn, "/o=Norvik/ou=First Administrative Group/cn=Recipients/cn=alice");
    EXPECT_EQ(alice.smtp, "alice@norvik.example");
    EXPECT_FALSE(alice.service);
    EXPECT_EQ(box.owner, alice.id);
    struct {
        ObjectId folder, parent;
        const char *name;
    } folders[] = {{box.root, box.id, "Root"},
                   {box.ipmSubtree, box.root, "Top of Information Store"},
                   {box.inbox, box.ipmSubtree, "Inbox"},
                   {box.outbox, box.ipmSubtree, "Outbox"},
                   {box.sentItems, box.ipmSubtree, "Sent Items"},
                   {box.deletedItems, box.ipmSubtree, "Deleted Items"},
                   {box.calendar, box.ipmSubtree, "Calendar"}};
    for (const auto &one : folders) {
        EXPECT_EQ(objects.Info(one.folder).parent, one.parent) << one.name;
        EXPECT_EQ(*objects.Read(one.folder).get<std::string>(kDisplayName), one.name);
        EXPECT_EQ(Directory(site).MailboxOf(one.folder), box.id);
    }
    PropertyBag bag = objects.Read(alice.id);
    EXPECT_EQ(*bag.get<std::string>(kAddressType), "EX");
    EXPECT_EQ(*bag.get<std::string>(kEmailAddress), alice.dn);
    EXPECT_EQ(*bag.get<std::string>(kAccount), "alice");
    EXPECT_EQ(*bag.get<std::string>(kSmtpAddress), alice.smtp);
    EXPECT_FALSE(Directory(site).MailboxOf(alice.id));
    EXPECT_FALSE(Directory(site).MailboxOf(999999));
    EXPECT_EQ(faultOf([&] { Directory(site).GetMailbox(999999); }), Fault::NotFound);
}

TEST_F(DirectoryTest, UsersAreFoundByAliasNameAndAddressWhateverTheCase)
{
    Directory directory(site);
    User bob = directory.AddUser("Bob", "Bob \xc3\x84pfel", "Bob@Else.example", true);
    for (auto found : {directory.UserByAlias("BOB"), directory.UserBySmtp("bob@ELSE.example"),
                       directory.UserByDn("/O=NORVIK/ou=first administrative group/cn=recipients/cn=bob"),
                       directory.GetUser(bob.id)}) {
        ASSERT_TRUE(found);
        EXPECT_EQ(found->id, bob.id);
        EXPECT_EQ(found->name, "Bob \xc3\x84pfel");
        EXPECT_EQ(found->mailbox, bob.mailbox);
        EXPECT_TRUE(found->service);
    }
    EXPECT_FALSE(directory.UserByAlias("carol"));
    EXPECT_FALSE(directory.UserByAlias(""));
    std::vector<User> users = directory.Users();
    ASSERT_EQ(users.size(), 2u);
    EXPECT_EQ(users[1].alias, "Bob");
}

TEST_F(DirectoryTest, NobodyIsThereTwice)
{
    Directory directory(site);
    EXPECT_EQ(faultOf([&] { directory.AddUser("ALICE", "Another"); }), Fault::Collision);
    EXPECT_EQ(faultOf([&] { directory.AddUser("al", "Another", "Alice@norvik.example"); }), Fault::Collision);
    EXPECT_EQ(faultOf([&] { directory.AddContact("Al", "alice@norvik.EXAMPLE"); }), Fault::Collision);
    for (const char *alias : {"", "a b", "a/b", "a=b", "a@b"})
        EXPECT_EQ(faultOf([&] { directory.AddUser(alias, "A"); }), Fault::Invalid) << alias;
    EXPECT_EQ(directory.Users().size(), 1u);
    EXPECT_EQ(directory.AddUser("nameless", "").name, "nameless");
}

TEST_F(DirectoryTest, ContactsHaveANameAndAnAddressElsewhere)
{
    Directory directory(site);
    Contact zed = directory.AddContact("zed", "z@else.example");
    Contact ann = directory.AddContact("Ann", "a@else.example");
    directory.AddContact("Ann", "ann2@else.example"); // names need not differ
    std::vector<Contact> contacts = directory.Contacts();
    ASSERT_EQ(contacts.size(), 3u);
    EXPECT_EQ(contacts[0].id, ann.id);
    EXPECT_EQ(contacts[2].id, zed.id);
    EXPECT_EQ(directory.GetContact(zed.id)->smtp, "z@else.example");
    EXPECT_FALSE(directory.GetContact(alice.id));
    EXPECT_FALSE(directory.GetUser(zed.id));
    EXPECT_EQ(*objects.Read(zed.id).get<std::string>(kAddressType), "SMTP");
    EXPECT_EQ(faultOf([&] { directory.AddContact("", "x@else.example"); }), Fault::Invalid);
    EXPECT_EQ(faultOf([&] { directory.AddContact("x", ""); }), Fault::Invalid);
    for (const char *address : {"x", "@", "x@", "@x", "x@y@z", "x y@z", "x@y\n"}) {
        EXPECT_EQ(faultOf([&] { directory.AddContact("x", address); }), Fault::Invalid) << address;
        EXPECT_EQ(faultOf([&] { directory.AddUser("x", "X", address); }), Fault::Invalid) << address;
    }
    EXPECT_FALSE(directory.UserByAlias("x"));
}

TEST_F(DirectoryTest, AMailboxIsOpenToItsOwnerAndToServiceAccounts)
{
    Directory directory(site);
    User bob = directory.AddUser("bob", "Bob"), vm = directory.AddUser("vm", "Voicemail", {}, true);
    EXPECT_TRUE(directory.MayOpen(alice.id, alice.mailbox));
    EXPECT_FALSE(directory.MayOpen(bob.id, alice.mailbox));
    EXPECT_TRUE(directory.MayOpen(vm.id, alice.mailbox));
    EXPECT_TRUE(directory.MayOpen(vm.id, vm.mailbox));
    EXPECT_FALSE(directory.MayOpen(alice.id, vm.mailbox));
    EXPECT_FALSE(directory.MayOpen(vm.id, 999999));
    EXPECT_FALSE(directory.MayOpen(999999, alice.mailbox));
}

class ProfilesTest : public SiteTest
{
  protected:
    Profiles profiles{site};
    std::string defaultName() const
    {
        for (const Profile &profile : profiles.List())
            if (profile.isDefault)
                return profile.name;
        return {};
    }
};

TEST_F(ProfilesTest, AreMadeRenamedAndRemoved)
{
    profiles.Create("Voicemail");
    profiles.Create("another");
    EXPECT_EQ(faultOf([&] { profiles.Create("VOICEMAIL"); }), Fault::Collision);
    EXPECT_EQ(faultOf([&] { profiles.Create(""); }), Fault::Invalid);
    EXPECT_EQ(profiles.Find("voicemail")->name, "Voicemail");
    EXPECT_FALSE(profiles.Find("none"));
    std::vector<Profile> list = profiles.List();
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0].name, "another");
    profiles.Rename("voicemail", "VoiceMail");
    EXPECT_EQ(faultOf([&] { profiles.Rename("another", "voicemail"); }), Fault::Collision);
    EXPECT_EQ(faultOf([&] { profiles.Rename("none", "x"); }), Fault::NotFound);
    EXPECT_EQ(profiles.Find("voicemail")->name, "VoiceMail");
    profiles.Remove("VOICEMAIL");
    EXPECT_EQ(faultOf([&] { profiles.Remove("VoiceMail"); }), Fault::NotFound);
    EXPECT_EQ(profiles.List().size(), 1u);
    expectSound();
}

TEST_F(ProfilesTest, HaveOneDefaultWhichIsTheFirstUntilAnotherIsChosen)
{
    EXPECT_EQ(defaultName(), "");
    profiles.Create("one");
    profiles.Create("two");
    EXPECT_EQ(defaultName(), "one");
    profiles.SetDefault("TWO");
    EXPECT_EQ(defaultName(), "two");
    EXPECT_EQ(faultOf([&] { profiles.SetDefault("none"); }), Fault::NotFound);
    EXPECT_EQ(defaultName(), "two");
    profiles.Remove("two");
    EXPECT_EQ(defaultName(), "");
    profiles.SetDefault("one");
    profiles.SetDefault("");
    EXPECT_EQ(defaultName(), "");
}

TEST_F(ProfilesTest, KeepSectionsOfProperties)
{
    profiles.Create("P");
    profiles.Create("Q");
    EXPECT_TRUE(profiles.Section("P", Guid{1}).empty());
    profiles.ChangeSection("p", Guid{1}, {{kDisplayName, std::string("NORVIK1")}, {kSubject, std::string(20000, 's')}});
    profiles.ChangeSection("P", Guid{1}, {{kDisplayName, std::string("NORVIK2")}}, {kSubject});
    profiles.ChangeSection("P", Guid{2}, {{kSubject, std::string(20000, 't')}});
    EXPECT_EQ(profiles.Section("P", Guid{1}).size(), 1u);
    EXPECT_EQ(*profiles.Section("P", Guid{1}).get<std::string>(kDisplayName), "NORVIK2");
    EXPECT_EQ(profiles.Section("P", Guid{2}).get<std::string>(kSubject)->size(), 20000u);
    EXPECT_TRUE(profiles.Section("Q", Guid{1}).empty());
    EXPECT_EQ(faultOf([&] { profiles.Section("none", Guid{1}); }), Fault::NotFound);
    EXPECT_EQ(faultOf([&] { profiles.ChangeSection("none", Guid{1}, {}); }), Fault::NotFound);
    profiles.Remove("P");
    profiles.Create("P");
    EXPECT_TRUE(profiles.Section("P", Guid{1}).empty());
    expectSound();
}

TEST_F(ProfilesTest, KeepServicesInTheOrderOfTheirMaking)
{
    profiles.Create("P");
    profiles.AddService("P", {Guid{9}, "MSEMS", "Microsoft Exchange Server"});
    profiles.AddService("P", {Guid{1}, "CONTAB", "Contacts"});
    EXPECT_EQ(faultOf([&] { profiles.AddService("P", {Guid{9}, "X", "X"}); }), Fault::Collision);
    EXPECT_EQ(faultOf([&] { profiles.AddService("none", {Guid{9}, "X", "X"}); }), Fault::NotFound);
    profiles.ChangeSection("P", Guid{9}, {{kDisplayName, std::string("section")}});
    std::vector<Service> services = profiles.Services("P");
    ASSERT_EQ(services.size(), 2u);
    EXPECT_EQ(services[0].uid, Guid{9});
    EXPECT_EQ(services[0].name, "MSEMS");
    EXPECT_EQ(services[1].displayName, "Contacts");
    profiles.RemoveService("P", Guid{9});
    EXPECT_TRUE(profiles.Section("P", Guid{9}).empty());
    EXPECT_EQ(profiles.Services("P").size(), 1u);
    EXPECT_EQ(faultOf([&] { profiles.RemoveService("P", Guid{9}); }), Fault::NotFound);
    expectSound();
}

} // namespace

} // namespace localmapi::storage
