// The exports over a MAPI that behaves as other providers do (LOCALMAPI_BEHAVIOUR): rows with short values, few rows at
// a time, a session that is lost, slow calls.
#include "behaviour/BehaviourTest.h"
#include "localmapi/delivery/Appointment.h"
#include <condition_variable>
#include <mutex>

using namespace localmapi;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

constexpr delivery::Day kMonday = std::chrono::sys_days(std::chrono::year(2026) / 11 / 23);
constexpr HRESULT kLost = static_cast<HRESULT>(0x80040115);

class ProviderBehaviour : public BehaviourTest
{
  protected:
    ~ProviderBehaviour() override { Behave(""); }

    // From the next logon on.
    static void Behave(const char *text) { SetVariable("LOCALMAPI_BEHAVIOUR", text); }
    void ConnectWith(const char *text)
    {
        Behave(text);
        Connect();
        m_alice = Open("alice");
        ASSERT_NE(0U, m_alice);
    }
    void DeliverNumbered(int count)
    {
        for (int i = 1; i <= count; ++i)
            DeliverVoicemail("alice", std::to_string(i));
    }
    void DeliverMail(const std::string &sender, const std::string &subject, const std::string &body)
    {
        const storage::User to = *storage::Directory(GetSite()).UserByAlias("alice");
        Deliver("alice", Compose(delivery::Mail{{sender, "SMTP", "x@elsewhere.example"}, "", subject, body, {}}, to,
                                 storage::CurrentTime()));
    }
    static delivery::Appointment AtNoon(delivery::Day day)
    {
        constexpr std::int64_t kMinute = 600000000;
        const delivery::Day origin = std::chrono::sys_days(std::chrono::year(1601) / 1 / 1);
        delivery::Appointment appointment;
        appointment.first = day;
        appointment.startMinute = 12 * 60;
        appointment.start = ((day - origin).count() * 1440 + 12 * 60) * kMinute;
        appointment.end = appointment.start + 30 * kMinute;
        return appointment;
    }
    storage::User Alice() { return *storage::Directory(GetSite()).UserByAlias("alice"); }
    storage::MessageChanges ComposeFor(const delivery::Appointment &appointment)
    {
        return Compose(GetSite(), appointment, Alice());
    }
    void AddToCalendar(const storage::MessageChanges &message)
    {
        const storage::ObjectId calendar = storage::Directory(GetSite()).GetMailbox(Alice().mailbox).calendar;
        storage::Objects(GetSite()).CreateMessage(calendar, message);
    }
    ULONG CountOn(const char *day)
    {
        CalendarEventA *events = nullptr;
        ULONG count = 99;
        EXPECT_HR(0, OrlMapiObtainCalendarEventsA(m_connection, m_alice, day, &events, &count));
        OrlMapiFreeBuffer(events);
        return count;
    }
    // Lists until the session is dropped.
    void UseUp()
    {
        Page page;
        for (int i = 0; i < 1000 && page.hr == 0; ++i)
            page = ListAll(m_alice, {});
        ASSERT_HR(kLost, page.hr);
    }
    static ULONG Size(const Id &id) { return static_cast<ULONG>(id.size()); }

    OrlMailbox m_alice = 0;
};

// The counts that a watch is told.
class Told
{
  public:
    static BOOL ORLAPI Callback(const WCHAR *, ULONG unread, ULONG, ULONG, ULONG_PTR context)
    {
        auto *told = reinterpret_cast<Told *>(context);
        const std::lock_guard lock(told->m_lock);
        told->m_unread.push_back(unread);
        told->m_changed.notify_all();
        return TRUE;
    }
    ULONG_PTR Context() { return reinterpret_cast<ULONG_PTR>(this); }
    bool Becomes(ULONG unread)
    {
        std::unique_lock lock(m_lock);
        return m_changed.wait_for(lock, std::chrono::seconds(30),
                                  [&] { return !m_unread.empty() && m_unread.back() == unread; });
    }
    std::vector<ULONG> All()
    {
        const std::lock_guard lock(m_lock);
        return m_unread;
    }

  private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<ULONG> m_unread;
};

} // namespace

TEST_F(ProviderBehaviour, ATextThatIsRefusedFailsTheConnectAndLeavesItToBeTriedAgain)
{
    Behave("cut=1");
    ASSERT_HR(0, OrlCreateConnection(&m_connection, 0));
    EXPECT_LT(OrlMapiConnectA(m_connection, "NORVIK1", "vm", ""), 0);
    EXPECT_FALSE(OrlIsConnected(m_connection));
    EXPECT_THAT(storage::Profiles(GetSite()).List(), IsEmpty());
    Behave("");
    EXPECT_HR(0, OrlMapiConnectA(m_connection, "NORVIK1", "vm", ""));
}

// --- rows with short values ---

TEST_F(ProviderBehaviour, AListingShowsTheBeginningOfALongNameAndTheSingleHeaderTheWhole)
{
    const std::string name(300, 'n');
    DeliverMail(name, "Subject", "Body");
    ConnectWith("cut=255");
    Filter mail;
    mail.um = 0;
    const Page page = ListAll(m_alice, mail);
    EXPECT_EQ(1U, page.total);
    ASSERT_THAT(page.names, ElementsAre(std::string(255, 'n')));
    EmailHeaderA *header = nullptr;
    ASSERT_HR(0, OrlGetEmailHeaderA(m_connection, m_alice, Size(page.ids[0]), page.ids[0].data(), &header));
    EXPECT_EQ(name, header->pszSenderName);
    OrlMapiFreeBuffer(header);
}

TEST_F(ProviderBehaviour, SubjectAndTextOfAMessageAreWhole)
{
    const std::string subject(300, 's'), body(40000, 'b');
    DeliverMail("Bob", subject, body);
    ConnectWith("cut=255");
    Filter mail;
    mail.um = 0;
    const Page page = ListAll(m_alice, mail);
    ASSERT_EQ(1U, page.count);
    EmailTextA *text = nullptr;
    ASSERT_HR(0, OrlDownloadEmailA(m_connection, m_alice, Size(page.ids[0]), page.ids[0].data(), &text));
    EXPECT_EQ(subject, text->pszSubject);
    EXPECT_EQ(body, text->pszBody);
    OrlMapiFreeBuffer(text);
}

TEST_F(ProviderBehaviour, TheTextsOfADayOfTheCalendarAreThoseOfItsRows)
{
    delivery::Appointment appointment = AtNoon(kMonday);
    appointment.subject = std::string(300, 's');
    appointment.location = std::string(300, 'l');
    appointment.body = std::string(300, 'b');
    AddToCalendar(ComposeFor(appointment));
    ConnectWith("cut=255");
    CalendarEventA *events = nullptr;
    ULONG count = 0;
    ASSERT_HR(0, OrlMapiObtainCalendarEventsA(m_connection, m_alice, "2026-11-23", &events, &count));
    ASSERT_EQ(1U, count);
    EXPECT_EQ(std::string(255, 's'), events[0].pszSubject);
    EXPECT_EQ(std::string(127, 'l'), events[0].pszLocation) << "read as wide text";
    EXPECT_EQ(std::string(255, 'b'), events[0].pszBody);
    EXPECT_EQ(30, LONG{events[0].lDuration});
    OrlMapiFreeBuffer(events);
}

TEST_F(ProviderBehaviour, ARecurrenceThatARowCutsIsNotUnderstoodAndShowsTheAppointmentOnEveryDay)
{
    delivery::Appointment appointment = AtNoon(kMonday);
    appointment.rule = delivery::RecurrenceRule{};
    storage::MessageChanges message = ComposeFor(appointment);
    // With 60 occurrences that were deleted, what says when it begins and ends lies behind the first 255 bytes.
    constexpr std::size_t kDeletedCount = 34;
    storage::Bytes structure = RecurrenceStructure(*appointment.rule, appointment.first, appointment.startMinute, 30);
    storage::Tag tag = 0;
    for (const storage::Property &property : message.properties.set)
        if (property.value == storage::Value(structure))
            tag = property.tag;
    ASSERT_NE(0U, tag);
    structure[kDeletedCount] = 60;
    structure.insert(structure.begin() + kDeletedCount + 4, 240, 0);
    message.properties.set.Set(tag, structure);
    AddToCalendar(message);

    ConnectWith("");
    EXPECT_EQ(1U, CountOn("2026-11-23"));
    EXPECT_EQ(0U, CountOn("2026-11-22")) << "before it begins";
    EXPECT_HR(0, OrlMapiDisconnectFromMailbox(m_connection, m_alice));
    EXPECT_HR(0, OrlMapiDisconnect(m_connection));
    m_mailboxes.clear();
    Behave("cut=255");
    ASSERT_HR(0, OrlMapiConnectA(m_connection, "NORVIK1", "vm", ""));
    m_alice = Open("alice");
    EXPECT_EQ(1U, CountOn("2026-11-23"));
    EXPECT_EQ(1U, CountOn("2026-11-22"));
}

// --- few rows at a time ---

TEST_F(ProviderBehaviour, APageIsAsShortAsTheRowsThatCameAndHasNoBookmark)
{
    DeliverNumbered(5);
    ConnectWith("rows=2");
    DWORD table = 0, bookmark = 0;
    Page page = List(m_alice, table, bookmark, 4, 1, ORL_BOOKMARK_BEGINNING);
    EXPECT_HR(0, page.hr);
    EXPECT_THAT(page.names, ElementsAre("1", "2"));
    EXPECT_EQ(5U, page.total) << "counted, not read";
    EXPECT_NE(0U, table);
    EXPECT_EQ(0U, bookmark) << "the page was not full";
    OrlMapiReleaseHandle(m_connection, &table, &bookmark);
}

TEST_F(ProviderBehaviour, PagesOfWhatTheProviderGivesReachEveryMessage)
{
    DeliverNumbered(5);
    ConnectWith("rows=2");
    DWORD table = 0, bookmark = 0;
    std::vector<std::string> names;
    ULONG start = ORL_BOOKMARK_BEGINNING;
    for (int i = 0; i < 10; ++i) {
        const Page page = List(m_alice, table, bookmark, 2, 1, start);
        ASSERT_HR(0, page.hr);
        names.insert(names.end(), page.names.begin(), page.names.end());
        if (page.count < 2)
            break;
        EXPECT_NE(0U, bookmark);
        start = ORL_BOOKMARK_CURRENT;
    }
    EXPECT_THAT(names, ElementsAre("1", "2", "3", "4", "5"));
    OrlMapiReleaseHandle(m_connection, &table, &bookmark);
}

TEST_F(ProviderBehaviour, AShortPageIsContinuedWhereItEnded)
{
    DeliverNumbered(5);
    ConnectWith("rows=2");
    DWORD table = 0, bookmark = 0;
    EXPECT_THAT(List(m_alice, table, bookmark, 4, 1, ORL_BOOKMARK_BEGINNING).names, ElementsAre("1", "2"));
    EXPECT_THAT(List(m_alice, table, bookmark, 4, 1, ORL_BOOKMARK_CURRENT).names, ElementsAre("3", "4"));
    EXPECT_THAT(List(m_alice, table, bookmark, 4, 1, ORL_BOOKMARK_CURRENT).names, ElementsAre("5"));
    EXPECT_THAT(List(m_alice, table, bookmark, 4, 1, ORL_BOOKMARK_CURRENT).names, IsEmpty());
}

TEST_F(ProviderBehaviour, AShortPageFromTheEndHasTheFirstRowsOfItsPlace)
{
    DeliverNumbered(6);
    ConnectWith("rows=2");
    DWORD table = 0, bookmark = 0;
    EXPECT_THAT(List(m_alice, table, bookmark, 5, 0, ORL_BOOKMARK_END).names, ElementsAre("2", "3"));
    EXPECT_EQ(0U, bookmark);
    OrlMapiReleaseHandle(m_connection, &table, &bookmark);
}

TEST_F(ProviderBehaviour, NamesAttachmentsAndTheCalendarAreReadToTheirEnd)
{
    const std::string wave = Wave("recording.wav", 1000);
    DeliverVoicemail("alice", "Caller", false, wave);
    for (int i = 0; i < 5; ++i)
        AddUser("other" + std::to_string(i), "Other Person " + std::to_string(i));
    ConnectWith("rows=1");
    EXPECT_NE(0U, Open("Other Person 4"));
    Filter filter;
    filter.attachments = 1;
    const Page page = ListAll(m_alice, filter);
    ASSERT_EQ(1U, page.count);
    EXPECT_THAT(page.attachments[0], ElementsAre(0U));
    EXPECT_HR(0, OrlDownloadAttachmentA(m_connection, m_alice, Size(page.ids[0]), page.ids[0].data(), 0,
                                        File("saved").string().c_str()));
    EXPECT_TRUE(Bytes(wave) == Bytes(File("saved")));
}

// --- a lost session ---

TEST_F(ProviderBehaviour, ALostSessionFailsEveryCallWithItsCodeUntilTheNextConnect)
{
    DeliverNumbered(2);
    ConnectWith("drop=150");
    const Page before = ListAll(m_alice, {});
    ASSERT_EQ(2U, before.count);
    const Id &id = before.ids[0];
    UseUp();
    const Page page = ListAll(m_alice, {});
    EXPECT_HR(kLost, page.hr);
    EXPECT_EQ(0U, page.count);
    EmailHeaderA *header = nullptr;
    EXPECT_HR(kLost, OrlGetEmailHeaderA(m_connection, m_alice, Size(id), id.data(), &header));
    EXPECT_HR(kLost, OrlSetEmailReadFlag(m_connection, m_alice, Size(id), id.data(), 1));
    EXPECT_HR(kLost, OrlDeleteEmail(m_connection, m_alice, Size(id), id.data()));
    OrlMailbox bob = 77;
    EXPECT_HR(kLost, OrlMapiConnectToMailboxA(m_connection, &bob, "bob"));
    EXPECT_EQ(77U, bob);
    EXPECT_TRUE(OrlIsConnected(m_connection)) << "it holds its session and its store";

    Behave("");
    EXPECT_HR(0, OrlMapiDisconnectFromMailbox(m_connection, m_alice));
    m_mailboxes.clear();
    EXPECT_HR(0, OrlMapiDisconnect(m_connection));
    ASSERT_HR(0, OrlMapiConnectA(m_connection, "NORVIK1", "vm", ""));
    EXPECT_EQ(2U, ListAll(Open("alice"), {}).count) << "neither marked nor deleted";
}

TEST_F(ProviderBehaviour, AListingThatIsLostBetweenTwoPagesFailsAndGivesNothing)
{
    DeliverNumbered(5);
    ConnectWith("drop=150");
    DWORD table = 0, bookmark = 0;
    ASSERT_EQ(2U, List(m_alice, table, bookmark, 2, 1, ORL_BOOKMARK_BEGINNING).count);
    UseUp();
    const Page page = List(m_alice, table, bookmark, 2, 1, ORL_BOOKMARK_CURRENT);
    EXPECT_HR(kLost, page.hr);
    EXPECT_EQ(0U, page.count);
}

TEST_F(ProviderBehaviour, AWatchOfALostSessionIsSilentAndANewOneAfterTheNextConnectIsNot)
{
    DeliverNumbered(1);
    ConnectWith("drop=150");
    Told lost, again;
    OrlSink sink = 0;
    OrlMailbox watched = 0;
    ASSERT_HR(0, OrlAdviseA(m_connection, &sink, "alice", &Told::Callback, lost.Context(), &watched));
    EXPECT_THAT(lost.All(), ElementsAre(1U));
    UseUp();

    // A second connection's watch shows when the news has been told to whom it is told.
    Behave("");
    DWORD second = 0;
    ASSERT_HR(0, OrlCreateConnection(&second, 0));
    ASSERT_HR(0, OrlMapiConnectA(second, "NORVIK1", "vm", ""));
    Told other;
    OrlSink otherSink = 0;
    OrlMailbox otherMailbox = 0;
    ASSERT_HR(0, OrlAdviseA(second, &otherSink, "alice", &Told::Callback, other.Context(), &otherMailbox));
    DeliverVoicemail("alice", "2");
    EXPECT_TRUE(other.Becomes(2));
    EXPECT_THAT(lost.All(), ElementsAre(1U)) << "its counts can't be taken any more";
    EXPECT_HR(0, OrlUnadvise(m_connection, sink, nullptr));
    OrlSink none = 0;
    EXPECT_HR(kLost, OrlAdviseA(m_connection, &none, "alice", &Told::Callback, lost.Context(), &watched));
    EXPECT_EQ(0U, none);

    EXPECT_HR(0, OrlMapiDisconnectFromMailbox(m_connection, m_alice));
    m_mailboxes.clear();
    EXPECT_HR(0, OrlMapiDisconnect(m_connection));
    ASSERT_HR(0, OrlMapiConnectA(m_connection, "NORVIK1", "vm", ""));
    ASSERT_HR(0, OrlAdviseA(m_connection, &sink, "alice", &Told::Callback, again.Context(), &watched));
    EXPECT_THAT(again.All(), ElementsAre(2U));
    DeliverVoicemail("alice", "3");
    EXPECT_TRUE(again.Becomes(3));
    EXPECT_THAT(lost.All(), ElementsAre(1U));
    EXPECT_HR(0, OrlUnadvise(m_connection, sink, nullptr));
    EXPECT_HR(0, OrlUnadvise(second, otherSink, nullptr));
    EXPECT_HR(0, OrlCloseConnection(&second));
}

// --- slow calls ---

TEST_F(ProviderBehaviour, ASlowMailboxAnswersTheSame)
{
    const std::string wave = Wave("recording.wav", 100000);
    DeliverVoicemail("alice", "1", false, wave);
    DeliverVoicemail("alice", "2");
    ConnectWith("slow=10");
    Told told;
    OrlSink sink = 0;
    OrlMailbox watched = 0;
    ASSERT_HR(0, OrlAdviseA(m_connection, &sink, "alice", &Told::Callback, told.Context(), &watched));
    EXPECT_THAT(told.All(), ElementsAre(2U));
    const Page page = ListAll(m_alice, {});
    EXPECT_THAT(page.names, ElementsAre("1", "2"));
    EXPECT_HR(0, OrlDownloadAttachmentA(m_connection, m_alice, Size(page.ids[0]), page.ids[0].data(), 0,
                                        File("saved").string().c_str()));
    EXPECT_TRUE(Bytes(wave) == Bytes(File("saved")));
    EXPECT_HR(0, OrlSetEmailReadFlag(m_connection, m_alice, Size(page.ids[0]), page.ids[0].data(), 1));
    EXPECT_TRUE(told.Becomes(1));
    EXPECT_HR(0, OrlUnadvise(m_connection, sink, nullptr));
}
