// Proves what each kind of container shows, and in which columns.
#include "Fixture.h"

namespace localmapi::storage
{

namespace
{

using Containers = SiteTest;

TEST_F(Containers, GiveTheColumnsThatAreAskedForInTheirOrder)
{
    ObjectId id = Add("s", {{kImportance, std::int32_t{2}}, {kBody, std::string(40000, 'b')}});
    std::vector<Row> rows = View(m_site, Inbox())
                                .Read(Place::Beginning(), kForward, 1,
                                      {kImportance, kSenderName, kSubject, kObjectId, kSubject, kParentId, kBody,
                                       kMessageFlags, kSensitivity, kMessageSize, kHasAttachments, kChangeNumber});
    ASSERT_EQ(rows.size(), 1u);
    const std::vector<Value> &values = rows[0].values;
    EXPECT_EQ(values[0], Value(std::int32_t{2}));
    EXPECT_TRUE(IsAbsent(values[1]));
    EXPECT_EQ(values[2], Value(std::string("s")));
    EXPECT_EQ(values[3], Value(id));
    EXPECT_EQ(values[4], Value(std::string("s")));
    EXPECT_EQ(values[5], Value(m_box.inbox));
    EXPECT_EQ(std::get<StoredStream>(values[6]).size, 40000u);
    EXPECT_EQ(values[7], Value(std::int32_t{0}));
    EXPECT_TRUE(IsAbsent(values[8]));
    EXPECT_EQ(values[9], Value(std::int32_t{40001}));
    EXPECT_EQ(values[10], Value(false));
    EXPECT_EQ(values[11], Value(m_site.GetChangeNumber()));
}

TEST_F(Containers, OfAssociatedMessagesAndOfOrdinaryOnesAreApart)
{
    Add("ordinary");
    Add("associated", {{kMessageFlags, kFlagAssociated}});
    EXPECT_EQ(SubjectsIn(View(m_site, Inbox())), (Subjects{"ordinary"}));
    EXPECT_EQ(SubjectsIn(View(m_site, {Container::Kind::Associated, m_box.inbox})), (Subjects{"associated"}));
    PropertyBag inboxBag = m_objects.Read(m_box.inbox);
    EXPECT_EQ(*inboxBag.get<std::int32_t>(kContentCount), 1);
    EXPECT_EQ(*inboxBag.get<std::int32_t>(kAssociatedCount), 1);
}

TEST_F(Containers, OfFoldersShowTheirCountsAndTheirDepth)
{
    ObjectId sub = m_objects.CreateFolder(m_box.inbox, {{kDisplayName, std::string("Sub")}});
    m_objects.CreateFolder(sub, {{kDisplayName, std::string("Deep")}});
    Add("unread");
    Add("read", {{kMessageFlags, kFlagRead}});
    View direct(m_site, {Container::Kind::Folders, m_box.ipmSubtree});
    std::vector<Tag> columns{kDisplayName, kFolderDepth, kContentCount, kContentUnread, kSubfolders, kFolderChildCount};
    std::vector<Row> rows = direct.Read(Place::Beginning(), kForward, 99, columns);
    EXPECT_EQ(SubjectsOf(rows), (Subjects{"Calendar", "Deleted Items", "Inbox", "Outbox", "Sent Items"}));
    EXPECT_EQ(rows[2].values, (std::vector<Value>{std::string("Inbox"), std::int32_t{1}, std::int32_t{2},
                                                  std::int32_t{1}, true, std::int32_t{1}}));
    EXPECT_EQ(rows[0].values[4], Value(false));
    View deep(m_site, {Container::Kind::FoldersDeep, m_box.ipmSubtree});
    EXPECT_EQ(deep.Count(), 7u);
    rows = deep.Read(Place::Beginning(), kForward, 99, columns);
    EXPECT_EQ(SubjectsOf(rows),
              (Subjects{"Calendar", "Deep", "Deleted Items", "Inbox", "Outbox", "Sent Items", "Sub"}));
    EXPECT_EQ(rows[1].values[1], Value(std::int32_t{3}));
    EXPECT_EQ(rows[6].values[1], Value(std::int32_t{2}));
    View unread(m_site, {Container::Kind::FoldersDeep, m_box.ipmSubtree},
                Filter::All({Filter::Compare(kContentUnread, Relation::Greater, std::int32_t{0}),
                             Filter::Compare(kFolderDepth, Relation::Equal, std::int32_t{1}),
                             Filter::Compare(kSubfolders, Relation::Equal, true)}));
    EXPECT_EQ(SubjectsOf(unread.Read(Place::Beginning(), kForward, 9, {kDisplayName})), (Subjects{"Inbox"}));
}

TEST_F(Containers, OfAttachmentsRecipientsAndPeopleAreViewsToo)
{
    MessageChanges content = MakeMessage("m");
    content.recipients =
        std::vector<PropertyBag>{{{kDisplayName, std::string("Zoe")}}, {{kDisplayName, std::string("Al")}}};
    content.attachments = {{5, false, {{{kAttachName, std::string("b.wav")}}, {}}, nullptr},
                           {1, false, {{{kAttachName, std::string("c.txt")}, {kAttachData, Bytes(10)}}, {}}, nullptr}};
    ObjectId id = m_objects.CreateMessage(m_box.inbox, content);
    View attachments(m_site, {Container::Kind::Attachments, id});
    std::vector<Row> rows =
        attachments.Read(Place::Beginning(), kForward, 9, {kAttachName, kAttachNumber, kAttachSize});
    EXPECT_EQ(SubjectsOf(rows), (Subjects{"c.txt", "b.wav"}));
    EXPECT_EQ(rows[0].values[1], Value(std::int32_t{1}));
    EXPECT_EQ(rows[0].values[2], Value(std::int32_t{15}));
    View recipients(m_site, {Container::Kind::Recipients, id});
    EXPECT_EQ(SubjectsOf(recipients.Read(Place::Beginning(), kForward, 9, {kDisplayName})), (Subjects{"Zoe", "Al"}));
    EXPECT_EQ(recipients.Read(Place::end(), kBackward, 1, {kRowId}).at(0).values[0], Value(std::int32_t{1}));

    Directory(m_site).AddContact("Bob Baker", "bob@elsewhere.example");
    View people(m_site, {Container::Kind::Directory, 0});
    EXPECT_EQ(SubjectsOf(people.Read(Place::Beginning(), kForward, 9, {kDisplayName})),
              (Subjects{"Alice Archer", "Bob Baker"}));
    View named(m_site, {Container::Kind::Directory, 0},
               Filter::Content(kDisplayName, Filter::Match::WordPrefix, std::string("bak"), true));
    EXPECT_EQ(SubjectsOf(named.Read(Place::Beginning(), kForward, 9, {kEmailAddress})),
              (Subjects{"bob@elsewhere.example"}));
}

TEST_F(Containers, OfWhatIsNotThereAreEmpty)
{
    for (auto kind : {Container::Kind::Contents, Container::Kind::Associated, Container::Kind::Folders,
                      Container::Kind::FoldersDeep, Container::Kind::Attachments, Container::Kind::Recipients}) {
        View view(m_site, {kind, 999999});
        EXPECT_EQ(view.Count(), 0u);
        EXPECT_TRUE(view.Read(Place::Beginning(), kForward, 9, {}).empty());
    }
}

} // namespace

} // namespace localmapi::storage
