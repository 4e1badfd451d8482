// Proves what a site knows of its people and profiles.
#include "Fixture.h"

namespace localmapi::storage
{

namespace
{

using DirectoryTest = SiteTest;

TEST_F(DirectoryTest, AUserHasANameAnAddressAndAMailbox)
{
    EXPECT_EQ(m_alice.dn, "/o=Norvik/ou=First Administrative Group/cn=Recipients/cn=alice");
    EXPECT_EQ(m_alice.smtp, "alice@norvik.example");
    EXPECT_FALSE(m_alice.service);
    EXPECT_EQ(m_box.owner, m_alice.id);
    struct {
        ObjectId folder, parent;
        const char *name;
    } folders[] = {{m_box.root, m_box.id, "Root"},
                   {m_box.ipmSubtree, m_box.root, "Top of Information Store"},
                   {m_box.inbox, m_box.ipmSubtree, "Inbox"},
                   {m_box.outbox, m_box.ipmSubtree, "Outbox"},
                   {m_box.sentItems, m_box.ipmSubtree, "Sent Items"},
                   {m_box.deletedItems, m_box.ipmSubtree, "Deleted Items"},
                   {m_box.calendar, m_box.ipmSubtree, "Calendar"}};
    for (const auto &one : folders) {
        EXPECT_EQ(m_objects.Info(one.folder).parent, one.parent) << one.name;
        EXPECT_EQ(*m_objects.Read(one.folder).get<std::string>(kDisplayName), one.name);
        EXPECT_EQ(Directory(m_site).MailboxOf(one.folder), m_box.id);
    }
    PropertyBag bag = m_objects.Read(m_alice.id);
    EXPECT_EQ(*bag.get<std::string>(kAddressType), "EX");
    EXPECT_EQ(*bag.get<std::string>(kEmailAddress), m_alice.dn);
    EXPECT_EQ(*bag.get<std::string>(kAccount), "alice");
    EXPECT_EQ(*bag.get<std::string>(kSmtpAddress), m_alice.smtp);
    EXPECT_FALSE(Directory(m_site).MailboxOf(m_alice.id));
    EXPECT_FALSE(Directory(m_site).MailboxOf(999999));
    EXPECT_EQ(FaultOf([&] { Directory(m_site).GetMailbox(999999); }), Fault::NotFound);
}

TEST_F(DirectoryTest, UsersAreFoundByAliasNameAndAddressWhateverTheCase)
{
    Directory directory(m_site);
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
    Directory directory(m_site);
    EXPECT_EQ(FaultOf([&] { directory.AddUser("ALICE", "Another"); }), Fault::Collision);
    EXPECT_EQ(FaultOf([&] { directory.AddUser("al", "Another", "Alice@norvik.example"); }), Fault::Collision);
    EXPECT_EQ(FaultOf([&] { directory.AddContact("Al", "alice@norvik.EXAMPLE"); }), Fault::Collision);
    for (const char *alias : {"", "a b", "a/b", "a=b", "a@b"})
        EXPECT_EQ(FaultOf([&] { directory.AddUser(alias, "A"); }), Fault::Invalid) << alias;
    EXPECT_EQ(directory.Users().size(), 1u);
    EXPECT_EQ(directory.AddUser("nameless", "").name, "nameless");
}

TEST_F(DirectoryTest, ContactsHaveANameAndAnAddressElsewhere)
{
    Directory directory(m_site);
    Contact zed = directory.AddContact("zed", "z@else.example");
    Contact ann = directory.AddContact("Ann", "a@else.example");
    directory.AddContact("Ann", "ann2@else.example"); // names need not differ
    std::vector<Contact> contacts = directory.Contacts();
    ASSERT_EQ(contacts.size(), 3u);
    EXPECT_EQ(contacts[0].id, ann.id);
    EXPECT_EQ(contacts[2].id, zed.id);
    EXPECT_EQ(directory.GetContact(zed.id)->smtp, "z@else.example");
    EXPECT_FALSE(directory.GetContact(m_alice.id));
    EXPECT_FALSE(directory.GetUser(zed.id));
    EXPECT_EQ(*m_objects.Read(zed.id).get<std::string>(kAddressType), "SMTP");
    EXPECT_EQ(FaultOf([&] { directory.AddContact("", "x@else.example"); }), Fault::Invalid);
    EXPECT_EQ(FaultOf([&] { directory.AddContact("x", ""); }), Fault::Invalid);
    for (const char *address : {"x", "@", "x@", "@x", "x@y@z", "x y@z", "x@y\n"}) {
        EXPECT_EQ(FaultOf([&] { directory.AddContact("x", address); }), Fault::Invalid) << address;
        EXPECT_EQ(FaultOf([&] { directory.AddUser("x", "X", address); }), Fault::Invalid) << address;
    }
    EXPECT_FALSE(directory.UserByAlias("x"));
}

TEST_F(DirectoryTest, AMailboxIsOpenToItsOwnerAndToServiceAccounts)
{
    Directory directory(m_site);
    User bob = directory.AddUser("bob", "Bob"), vm = directory.AddUser("vm", "Voicemail", {}, true);
    EXPECT_TRUE(directory.MayOpen(m_alice.id, m_alice.mailbox));
    EXPECT_FALSE(directory.MayOpen(bob.id, m_alice.mailbox));
    EXPECT_TRUE(directory.MayOpen(vm.id, m_alice.mailbox));
    EXPECT_TRUE(directory.MayOpen(vm.id, vm.mailbox));
    EXPECT_FALSE(directory.MayOpen(m_alice.id, vm.mailbox));
    EXPECT_FALSE(directory.MayOpen(vm.id, 999999));
    EXPECT_FALSE(directory.MayOpen(999999, m_alice.mailbox));
}

class ProfilesTest : public SiteTest
{
  protected:
    Profiles m_profiles{m_site};
    std::string DefaultName() const
    {
        for (const Profile &profile : m_profiles.List())
            if (profile.isDefault)
                return profile.name;
        return {};
    }
};

TEST_F(ProfilesTest, AreMadeRenamedAndRemoved)
{
    m_profiles.Create("Voicemail");
    m_profiles.Create("another");
    EXPECT_EQ(FaultOf([&] { m_profiles.Create("VOICEMAIL"); }), Fault::Collision);
    EXPECT_EQ(FaultOf([&] { m_profiles.Create(""); }), Fault::Invalid);
    EXPECT_EQ(m_profiles.Find("voicemail")->name, "Voicemail");
    EXPECT_FALSE(m_profiles.Find("none"));
    std::vector<Profile> list = m_profiles.List();
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0].name, "another");
    m_profiles.Rename("voicemail", "VoiceMail");
    EXPECT_EQ(FaultOf([&] { m_profiles.Rename("another", "voicemail"); }), Fault::Collision);
    EXPECT_EQ(FaultOf([&] { m_profiles.Rename("none", "x"); }), Fault::NotFound);
    EXPECT_EQ(m_profiles.Find("voicemail")->name, "VoiceMail");
    m_profiles.Remove("VOICEMAIL");
    EXPECT_EQ(FaultOf([&] { m_profiles.Remove("VoiceMail"); }), Fault::NotFound);
    EXPECT_EQ(m_profiles.List().size(), 1u);
    ExpectSound();
}

TEST_F(ProfilesTest, HaveOneDefaultWhichIsTheFirstUntilAnotherIsChosen)
{
    EXPECT_EQ(DefaultName(), "");
    m_profiles.Create("one");
    m_profiles.Create("two");
    EXPECT_EQ(DefaultName(), "one");
    m_profiles.SetDefault("TWO");
    EXPECT_EQ(DefaultName(), "two");
    EXPECT_EQ(FaultOf([&] { m_profiles.SetDefault("none"); }), Fault::NotFound);
    EXPECT_EQ(DefaultName(), "two");
    m_profiles.Remove("two");
    EXPECT_EQ(DefaultName(), "");
    m_profiles.SetDefault("one");
    m_profiles.SetDefault("");
    EXPECT_EQ(DefaultName(), "");
}

TEST_F(ProfilesTest, KeepSectionsOfProperties)
{
    m_profiles.Create("P");
    m_profiles.Create("Q");
    EXPECT_TRUE(m_profiles.Section("P", Guid{1}).empty());
    m_profiles.ChangeSection("p", Guid{1},
                             {{kDisplayName, std::string("NORVIK1")}, {kSubject, std::string(20000, 's')}});
    m_profiles.ChangeSection("P", Guid{1}, {{kDisplayName, std::string("NORVIK2")}}, {kSubject});
    m_profiles.ChangeSection("P", Guid{2}, {{kSubject, std::string(20000, 't')}});
    EXPECT_EQ(m_profiles.Section("P", Guid{1}).size(), 1u);
    EXPECT_EQ(*m_profiles.Section("P", Guid{1}).get<std::string>(kDisplayName), "NORVIK2");
    EXPECT_EQ(m_profiles.Section("P", Guid{2}).get<std::string>(kSubject)->size(), 20000u);
    EXPECT_TRUE(m_profiles.Section("Q", Guid{1}).empty());
    EXPECT_EQ(FaultOf([&] { m_profiles.Section("none", Guid{1}); }), Fault::NotFound);
    EXPECT_EQ(FaultOf([&] { m_profiles.ChangeSection("none", Guid{1}, {}); }), Fault::NotFound);
    m_profiles.Remove("P");
    m_profiles.Create("P");
    EXPECT_TRUE(m_profiles.Section("P", Guid{1}).empty());
    ExpectSound();
}

TEST_F(ProfilesTest, KeepServicesInTheOrderOfTheirMaking)
{
    m_profiles.Create("P");
    m_profiles.AddService("P", {Guid{9}, "MSEMS", "Microsoft Exchange Server"});
    m_profiles.AddService("P", {Guid{1}, "CONTAB", "Contacts"});
    EXPECT_EQ(FaultOf([&] { m_profiles.AddService("P", {Guid{9}, "X", "X"}); }), Fault::Collision);
    EXPECT_EQ(FaultOf([&] { m_profiles.AddService("none", {Guid{9}, "X", "X"}); }), Fault::NotFound);
    m_profiles.ChangeSection("P", Guid{9}, {{kDisplayName, std::string("section")}});
    std::vector<Service> services = m_profiles.Services("P");
    ASSERT_EQ(services.size(), 2u);
    EXPECT_EQ(services[0].uid, Guid{9});
    EXPECT_EQ(services[0].name, "MSEMS");
    EXPECT_EQ(services[1].displayName, "Contacts");
    m_profiles.RemoveService("P", Guid{9});
    EXPECT_TRUE(m_profiles.Section("P", Guid{9}).empty());
    EXPECT_EQ(m_profiles.Services("P").size(), 1u);
    EXPECT_EQ(FaultOf([&] { m_profiles.RemoveService("P", Guid{9}); }), Fault::NotFound);
    ExpectSound();
}

} // namespace

} // namespace localmapi::storage
