// Catching trace lines, with the numbers of source lines made neutral, and what a test does around a listing.
#include "messages/MessagesTest.h"
#include "common/trace/DebugTrace.h"
#include "messages/listing/FaxSettings.h"
#include <algorithm>
#include <cctype>
#include <mutex>

namespace messages_test
{

namespace
{

std::mutex g_traceLock;
std::vector<TraceLine> g_trace;

// "CMAPIImpl::DeleteEmail[123]: …" with the line number made neutral.
std::string WithoutLineNumber(const std::string &text)
{
    const size_t open = text.find('[');
    if (open == std::string::npos || open == 0)
        return text;
    const bool afterName = std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(open),
                                       [](unsigned char c) { return std::isalnum(c) || c == ':' || c == '~'; });
    const size_t close = text.find("]: ", open);
    if (!afterName || close == std::string::npos)
        return text;
    return text.substr(0, open) + "[n" + text.substr(close);
}

void Keep(const char *text, int length)
{
    std::string line(text, static_cast<size_t>(length));
    while (!line.empty() && line.back() == '\n')
        line.pop_back();
    TraceLine kept;
    const size_t level = line.find(") ");
    if (level != std::string::npos && level > 0) {
        kept.level = line[level - 1];
        const size_t colon = line.find(": ", level);
        line.erase(0, colon == std::string::npos ? 0 : colon + 2);
        line.erase(0, line.find_first_not_of(' '));
    }
    kept.text = WithoutLineNumber(line);
    const std::lock_guard lock(g_traceLock);
    g_trace.push_back(kept);
}

// Keeps the library's MAPI thread running between the tests, so that each one's own connection comes at once.
class Anchor : public testing::Environment
{
    void SetUp() override { ASSERT_EQ(OrlCreateConnection(&m_connection, 0), S_OK); }
    void TearDown() override { OrlCloseConnection(&m_connection); }
    DWORD m_connection = 0;
};
[[maybe_unused]] testing::Environment *const kAnchor = testing::AddGlobalTestEnvironment(new Anchor);

} // namespace

MessagesTest::MessagesTest()
{
    BYTE everyClass[TraceSettings::kMapBytes];
    std::fill(std::begin(everyClass), std::end(everyClass), BYTE{0xFF});
    PinDebugFilter(9, everyClass);
    SetOutputHooks(&Keep, nullptr);
    FaxServerSeen = false;
    EXPECT_EQ(OrlCreateConnection(&m_connection, 0), S_OK);
    m_mailbox = reinterpret_cast<OrlMailbox>(NewStore(m_mapi.world.mailboxes.at("alice")));
    m_mapi.world.mailboxes.at("alice")->inbox->messages.clear();
    Forget();
}

MessagesTest::~MessagesTest()
{
    SetOutputHooks(nullptr, nullptr);
    ReleaseDebugFilter();
}

void MessagesTest::TearDown()
{
    EXPECT_EQ(OpenObjects(), 0);
    reinterpret_cast<IMsgStore *>(m_mailbox)->Release();
    for (DWORD &more : m_more)
        EXPECT_EQ(OrlCloseConnection(&more), S_OK);
    EXPECT_EQ(OrlCloseConnection(&m_connection), S_OK);
    MapiDoubleTest::TearDown();
}

template <class Listing, class List>
static void RunWith(List list, DWORD connection, OrlMailbox mailbox, Listing &listing)
{
    OrlMapiFreeBuffer(listing.headers);
    listing.headers = nullptr;
    listing.count = listing.total = 0xEEEEEEEE;
    listing.hr = list(connection, mailbox, &listing.hTable, listing.withOrigin ? &listing.hOrigin : nullptr,
                      listing.rows, &listing.headers, &listing.count, &listing.total, listing.read, listing.forward,
                      listing.bookmark, listing.withAttachments, listing.priority, listing.fax, listing.summary,
                      listing.servers.data(), static_cast<ULONG>(listing.servers.size()), listing.um);
}

void MessagesTest::Run(ListingA &listing)
{
    RunWith(&OrlGetEmailHeadersA, m_connection, m_mailbox, listing);
}

void MessagesTest::Run(ListingW &listing)
{
    RunWith(&OrlGetEmailHeadersW, m_connection, m_mailbox, listing);
}

const EmailHeaderA &MessagesTest::Only(ListingA &listing)
{
    Run(listing);
    EXPECT_EQ(listing.hr, S_OK);
    EXPECT_EQ(listing.count, 1u);
    Release(listing);
    static const EmailHeaderA none = {};
    return listing.count ? listing.headers[0] : none;
}

void MessagesTest::Release(ListingA &listing)
{
    EXPECT_EQ(OrlMapiReleaseHandle(m_connection, &listing.hTable, &listing.hOrigin), S_OK);
}

MessageData &MessagesTest::Deliver(const std::string &name, Row more)
{
    MessageData &message = m_mapi.world.AddMessage("alice", name, {Text(PR_SENDER_NAME_A, "Sender of " + name)});
    for (Value &value : more)
        Set(message.props, std::move(value));
    return message;
}

void MessagesTest::DeliverMany(int count)
{
    for (int i = 1; i <= count; ++i)
        Deliver(std::to_string(i));
}

bool MessagesTest::Asked(const std::string &call) const
{
    return m_mapi.recorder.Count("Table(alice/Inbox)." + call) > 0;
}

DWORD MessagesTest::AnotherConnection()
{
    DWORD another = 0;
    EXPECT_EQ(OrlCreateConnection(&another, 0), S_OK);
    m_more.push_back(another);
    return another;
}

LONG MessagesTest::OpenObjects() const
{
    SessionGuard session = CMAPIImpl::Locate(m_connection);
    return session ? session->OpenObjects().load() : -1;
}

std::vector<TraceLine> MessagesTest::Trace()
{
    const std::lock_guard lock(g_traceLock);
    return g_trace;
}

std::vector<std::string> MessagesTest::Lines()
{
    std::vector<std::string> lines;
    for (const TraceLine &line : Trace())
        lines.push_back(line.text);
    return lines;
}

std::vector<std::string> MessagesTest::ErrorLines()
{
    std::vector<std::string> lines;
    for (const TraceLine &line : Trace())
        if (line.text.find("[n]: Error 0x") != std::string::npos)
            lines.push_back(line.text);
    return lines;
}

int MessagesTest::CountLines(const std::string &text)
{
    const std::vector<std::string> lines = Lines();
    return static_cast<int>(std::count(lines.begin(), lines.end(), text));
}

void MessagesTest::ForgetTrace()
{
    const std::lock_guard lock(g_traceLock);
    g_trace.clear();
}

std::vector<std::string> NamesOf(const ListingA &listing)
{
    std::vector<std::string> names;
    for (ULONG i = 0; i < listing.count; ++i) {
        const EmailHeaderA &header = listing.headers[i];
        names.push_back(Bytes(header.pEntryID, header.cbEntryID).substr(std::string("1234message:").size()));
    }
    return names;
}

} // namespace messages_test
