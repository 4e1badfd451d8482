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
        EXPECT_EQ(objects.info(one.folder).parent, one.parent) << one.name;
        EXPECT_EQ(*objects.read(one.folder).get<std::string>(kDisplayName), one.name);
        EXPECT_EQ(Directory(site).mailboxOf(one.folder), box.id);
    }
    PropertyBag bag = objects.read(alice.id);
    EXPECT_EQ(*bag.get<std::string>(kAddressType), "EX");
    EXPECT_EQ(*bag.get<std::string>(kEmailAddress), alice.dn);
    EXPECT_EQ(*bag.get<std::string>(kAccount), "alice");
    EXPECT_EQ(*bag.get<std::string>(kSmtpAddress), alice.smtp);
    EXPECT_FALSE(Directory(site).mailboxOf(alice.id));
    EXPECT_FALSE(Directory(site).mailboxOf(999999));
    EXPECT_EQ(faultOf([&] { Directory(site).mailbox(999999); }), Fault::NotFound);
}

TEST_F(DirectoryTest, UsersAreFoundByAliasNameAndAddressWhateverTheCase)
{
    Directory directory(site);
    User bob = directory.addUser("Bob", "Bob \xc3\x84pfel", "Bob@Else.example", true);
    for (auto found :
         {directory.userByAlias("BOB"), directory.userBySmtp("bob@ELSE.example"),
          directory.userByDn("/O=NORVIK/ou=first administrative group/cn=recipients/cn=bob"), directory.user(bob.id)}) {
        ASSERT_TRUE(found);
        EXPECT_EQ(found->id, bob.id);
        EXPECT_EQ(found->name, "Bob \xc3\x84pfel");
        EXPECT_EQ(found->mailbox, bob.mailbox);
        EXPECT_TRUE(found->service);
    }
    EXPECT_FALSE(directory.userByAlias("carol"));
    EXPECT_FALSE(directory.userByAlias(""));
    std::vector<User> users = directory.users();
    ASSERT_EQ(users.size(), 2u);
    EXPECT_EQ(users[1].alias, "Bob");
}

TEST_F(DirectoryTest, NobodyIsThereTwice)
{
    Directory directory(site);
    EXPECT_EQ(faultOf([&] { directory.addUser("ALICE", "Another"); }), Fault::Collision);
    EXPECT_EQ(faultOf([&] { directory.addUser("al", "Another", "Alice@norvik.example"); }), Fault::Collision);
    EXPECT_EQ(faultOf([&] { directory.addContact("Al", "alice@norvik.EXAMPLE"); }), Fault::Collision);
    for (const char *alias : {"", "a b", "a/b", "a=b", "a@b"})
        EXPECT_EQ(faultOf([&] { directory.addUser(alias, "A"); }), Fault::Invalid) << alias;
    EXPECT_EQ(directory.users().size(), 1u);
    EXPECT_EQ(directory.addUser("nameless", "").name, "nameless");
}

TEST_F(DirectoryTest, ContactsHaveANameAndAnAddressElsewhere)
{
    Directory directory(site);
    Contact zed = directory.addContact("zed", "z@else.example");
    Contact ann = directory.addContact("Ann", "a@else.example");
    directory.addContact("Ann", "ann2@else.example"); // names need not differ
    std::vector<Contact> contacts = directory.contacts();
    ASSERT_EQ(contacts.size(), 3u);
    EXPECT_EQ(contacts[0].id, ann.id);
    EXPECT_EQ(contacts[2].id, zed.id);
    EXPECT_EQ(directory.contact(zed.id)->smtp, "z@else.example");
    EXPECT_FALSE(directory.contact(alice.id));
    EXPECT_FALSE(directory.user(zed.id));
    EXPECT_EQ(*objects.read(zed.id).get<std::string>(kAddressType), "SMTP");
    EXPECT_EQ(faultOf([&] { directory.addContact("", "x@else.example"); }), Fault::Invalid);
    EXPECT_EQ(faultOf([&] { directory.addContact("x", ""); }), Fault::Invalid);
    for (const char *address : {"x", "@", "x@", "@x", "x@y@z", "x y@z", "x@y\n"}) {
        EXPECT_EQ(faultOf([&] { directory.addContact("x", address); }), Fault::Invalid) << address;
        EXPECT_EQ(faultOf([&] { directory.addUser("x", "X", address); }), Fault::Invalid) << address;
    }
    EXPECT_FALSE(directory.userByAlias("x"));
}

TEST_F(DirectoryTest, AMailboxIsOpenToItsOwnerAndToServiceAccounts)
{
    Directory directory(site);
    User bob = directory.addUser("bob", "Bob"), vm = directory.addUser("vm", "Voicemail", {}, true);
    EXPECT_TRUE(directory.mayOpen(alice.id, alice.mailbox));
    EXPECT_FALSE(directory.mayOpen(bob.id, alice.mailbox));
    EXPECT_TRUE(directory.mayOpen(vm.id, alice.mailbox));
    EXPECT_TRUE(directory.mayOpen(vm.id, vm.mailbox));
    EXPECT_FALSE(directory.mayOpen(alice.id, vm.mailbox));
    EXPECT_FALSE(directory.mayOpen(vm.id, 999999));
    EXPECT_FALSE(directory.mayOpen(999999, alice.mailbox));
}

class ProfilesTest : public SiteTest
{
  protected:
    Profiles profiles{site};
    std::string defaultName() const
    {
        for (const Profile &profile : profiles.list())
            if (profile.isDefault)
                return profile.name;
        return {};
    }
};

TEST_F(ProfilesTest, AreMadeRenamedAndRemoved)
{
    profiles.create("Voicemail");
    profiles.create("another");
    EXPECT_EQ(faultOf([&] { profiles.create("VOICEMAIL"); }), Fault::Collision);
    EXPECT_EQ(faultOf([&] { profiles.create(""); }), Fault::Invalid);
    EXPECT_EQ(profiles.find("voicemail")->name, "Voicemail");
    EXPECT_FALSE(profiles.find("none"));
    std::vector<Profile> list = profiles.list();
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0].name, "another");
    profiles.rename("voicemail", "VoiceMail");
    EXPECT_EQ(faultOf([&] { profiles.rename("another", "voicemail"); }), Fault::Collision);
    EXPECT_EQ(faultOf([&] { profiles.rename("none", "x"); }), Fault::NotFound);
    EXPECT_EQ(profiles.find("voicemail")->name, "VoiceMail");
    profiles.remove("VOICEMAIL");
    EXPECT_EQ(faultOf([&] { profiles.remove("VoiceMail"); }), Fault::NotFound);
    EXPECT_EQ(profiles.list().size(), 1u);
    expectSound();
}

TEST_F(ProfilesTest, HaveOneDefaultWhichIsTheFirstUntilAnotherIsChosen)
{
    EXPECT_EQ(defaultName(), "");
    profiles.create("one");
    profiles.create("two");
    EXPECT_EQ(defaultName(), "one");
    profiles.setDefault("TWO");
    EXPECT_EQ(defaultName(), "two");
    EXPECT_EQ(faultOf([&] { profiles.setDefault("none"); }), Fault::NotFound);
    EXPECT_EQ(defaultName(), "two");
    profiles.remove("two");
    EXPECT_EQ(defaultName(), "");
    profiles.setDefault("one");
    profiles.setDefault("");
    EXPECT_EQ(defaultName(), "");
}

TEST_F(ProfilesTest, KeepSectionsOfProperties)
{
    profiles.create("P");
    profiles.create("Q");
    EXPECT_TRUE(profiles.section("P", Guid{1}).empty());
    profiles.changeSection("p", Guid{1}, {{kDisplayName, std::string("NORVIK1")}, {kSubject, std::string(20000, 's')}});
    profiles.changeSection("P", Guid{1}, {{kDisplayName, std::string("NORVIK2")}}, {kSubject});
    profiles.changeSection("P", Guid{2}, {{kSubject, std::string(20000, 't')}});
    EXPECT_EQ(profiles.section("P", Guid{1}).size(), 1u);
    EXPECT_EQ(*profiles.section("P", Guid{1}).get<std::string>(kDisplayName), "NORVIK2");
    EXPECT_EQ(profiles.section("P", Guid{2}).get<std::string>(kSubject)->size(), 20000u);
    EXPECT_TRUE(profiles.section("Q", Guid{1}).empty());
    EXPECT_EQ(faultOf([&] { profiles.section("none", Guid{1}); }), Fault::NotFound);
    EXPECT_EQ(faultOf([&] { profiles.changeSection("none", Guid{1}, {}); }), Fault::NotFound);
    profiles.remove("P");
    profiles.create("P");
    EXPECT_TRUE(profiles.section("P", Guid{1}).empty());
    expectSound();
}

TEST_F(ProfilesTest, KeepServicesInTheOrderOfTheirMaking)
{
    profiles.create("P");
    profiles.addService("P", {Guid{9}, "MSEMS", "Microsoft Exchange Server"});
    profiles.addService("P", {Guid{1}, "CONTAB", "Contacts"});
    EXPECT_EQ(faultOf([&] { profiles.addService("P", {Guid{9}, "X", "X"}); }), Fault::Collision);
    EXPECT_EQ(faultOf([&] { profiles.addService("none", {Guid{9}, "X", "X"}); }), Fault::NotFound);
    profiles.changeSection("P", Guid{9}, {{kDisplayName, std::string("section")}});
    std::vector<Service> services = profiles.services("P");
    ASSERT_EQ(services.size(), 2u);
    EXPECT_EQ(services[0].uid, Guid{9});
    EXPECT_EQ(services[0].name, "MSEMS");
    EXPECT_EQ(services[1].displayName, "Contacts");
    profiles.removeService("P", Guid{9});
    EXPECT_TRUE(profiles.section("P", Guid{9}).empty());
    EXPECT_EQ(profiles.services("P").size(), 1u);
    EXPECT_EQ(faultOf([&] { profiles.removeService("P", Guid{9}); }), Fault::NotFound);
    expectSound();
}

} // namespace

} // namespace localmapi::storage
