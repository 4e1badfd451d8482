/*
 * OrlMapi32 for C++17: the functions of OrlMapi32.h with owners for what they give, and ranges for what they list. All
 * of it is in this header; programs link the library as C programs do. What a function does, its threads and its quirks
 * stand in OrlMapi32.h, under its C name, which the comments here give.
 *
 *  1. Text. Connection, Mailbox and the rest have narrow text (the A functions), WConnection, WMailbox, ... wide text
 *     (the W functions). Arguments are texts that end with a zero character, or strings.
 *  2. Failure. Every function has a last parameter `on`. Left out, a failure is thrown as orlmapi::Error, whose code()
 * is the HRESULT and whose what() has its name; given a std::error_code, a failure is stored in it, success clears it,
 *     and nothing is thrown. Memory for what this header itself keeps can still run out (std::bad_alloc).
 *  3. Owners are moved, not copied, and give back what they own when they end. They do not hold each other: a mailbox,
 * a listing and a sink must end before their connection does, as they do when they are declared after it.
 */
#ifndef ORLMAPI32_HPP
#define ORLMAPI32_HPP
#include "OrlMapi32.h"
#include <cstddef>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace orlmapi
{

/* ---- Failure ----------------------------------------------------------------------------------------------- */

/* The category of results: a code's message is its name, such as "MAPI_E_NOT_FOUND", or its number. */
inline const std::error_category &Category() noexcept
{
    class Results final : public std::error_category
    {
      public:
        const char *name() const noexcept override { return "OrlMapi32"; }
        std::string message(int code) const override
        {
            char text[64] = "";
            OrlGetErrorTextA(0, static_cast<HRESULT>(code), text, sizeof text);
            if (text[0] != 0)
                return text;
            static const char digits[] = "0123456789ABCDEF";
            std::string number = "0x";
            for (int shift = 28; shift >= 0; shift -= 4)
                number += digits[static_cast<unsigned>(code) >> shift & 15];
            return number;
        }
    };
    static const Results results;
    return results;
}

class Error : public std::system_error
{
  public:
    Error(HRESULT hr, const char *function) : std::system_error(static_cast<int>(hr), Category(), function) {}
    HRESULT Result() const noexcept { return static_cast<HRESULT>(code().value()); }
};

/* Where a failure goes: nowhere given, it is thrown; else it is stored. */
class On
{
  public:
    On() noexcept = default;
    On(std::error_code &code) noexcept : m_code(&code) {}

    bool operator()(HRESULT hr, const char *function) const
    {
        if (hr < 0 && !m_code)
            throw Error(hr, function);
        if (m_code)
            m_code->assign(hr < 0 ? static_cast<int>(hr) : 0, Category());
        return hr >= 0;
    }

  private:
    std::error_code *m_code = nullptr;
};

/* ---- What depends on the width of text ----------------------------------------------------------------------- */

template <class Char> struct Functions;

template <> struct Functions<char> {
    using Attachment = AttachmentInfoA;
    using Header = EmailHeaderA;
    using Text = EmailTextA;
    using Server = ExchangeServerNameA;
    using Profile = ExchangeProfileA;
    using Event = CalendarEventA;
    static constexpr PFN_OrlMapiConnectA Connect = OrlMapiConnectA;
    static constexpr PFN_OrlMapiConnectToMailboxA Open = OrlMapiConnectToMailboxA;
    static constexpr PFN_OrlGetExchangeServerNameA ServerName = OrlGetExchangeServerNameA;
    static constexpr PFN_OrlGetExchangeProfilesA Profiles = OrlGetExchangeProfilesA;
    static constexpr PFN_OrlGetEmailHeadersA Headers = OrlGetEmailHeadersA;
    static constexpr PFN_OrlGetEmailHeaderA OneHeader = OrlGetEmailHeaderA;
    static constexpr PFN_OrlDownloadEmailA Download = OrlDownloadEmailA;
    static constexpr PFN_OrlDownloadAttachmentA Save = OrlDownloadAttachmentA;
    static constexpr PFN_OrlSendEmailA Send = OrlSendEmailA;
    static constexpr PFN_OrlSendUMEmailA SendVoiceMail = OrlSendUMEmailA;
    static constexpr PFN_OrlForwardEmailA Forward = OrlForwardEmailA;
    static constexpr PFN_OrlRespondEmailA Respond = OrlRespondEmailA;
    static constexpr PFN_OrlAdviseA Advise = OrlAdviseA;
    static constexpr PFN_OrlMapiObtainCalendarEventsA Events = OrlMapiObtainCalendarEventsA;
};

template <> struct Functions<WCHAR> {
    using Attachment = AttachmentInfoW;
    using Header = EmailHeaderW;
    using Text = EmailTextW;
    using Server = ExchangeServerNameW;
    using Profile = ExchangeProfileW;
    using Event = CalendarEventW;
    static constexpr PFN_OrlMapiConnectW Connect = OrlMapiConnectW;
    static constexpr PFN_OrlMapiConnectToMailboxW Open = OrlMapiConnectToMailboxW;
    static constexpr PFN_OrlGetExchangeServerNameW ServerName = OrlGetExchangeServerNameW;
    static constexpr PFN_OrlGetExchangeProfilesW Profiles = OrlGetExchangeProfilesW;
    static constexpr PFN_OrlGetEmailHeadersW Headers = OrlGetEmailHeadersW;
    static constexpr PFN_OrlGetEmailHeaderW OneHeader = OrlGetEmailHeaderW;
    static constexpr PFN_OrlDownloadEmailW Download = OrlDownloadEmailW;
    static constexpr PFN_OrlDownloadAttachmentW Save = OrlDownloadAttachmentW;
    static constexpr PFN_OrlSendEmailW Send = OrlSendEmailW;
    static constexpr PFN_OrlSendUMEmailW SendVoiceMail = OrlSendUMEmailW;
    static constexpr PFN_OrlForwardEmailW Forward = OrlForwardEmailW;
    static constexpr PFN_OrlRespondEmailW Respond = OrlRespondEmailW;
    static constexpr PFN_OrlAdviseW Advise = OrlAdviseW;
    static constexpr PFN_OrlMapiObtainCalendarEventsW Events = OrlMapiObtainCalendarEventsW;
};

/* A text that is passed on as it is: it must live as long as the call. Empty where there is none. */
template <class Char> class BasicArgument
{
  public:
    BasicArgument() noexcept = default;
    BasicArgument(const Char *text) noexcept : m_text(text ? text : &kNone) {}
    BasicArgument(const std::basic_string<Char> &text) noexcept : m_text(text.c_str()) {}
    operator const Char *() const noexcept { return m_text; }

  private:
    static constexpr Char kNone = 0;
    const Char *m_text = &kNone;
};

/* ---- Result blocks --------------------------------------------------------------------------------------------- */

struct BlockFreer {
    void operator()(void *block) const noexcept { OrlMapiFreeBuffer(block); }
};
/* One record, with all that it points to. */
template <class Record> using Block = std::unique_ptr<Record, BlockFreer>;

/* Records in one block, with all that they point to. */
template <class Record> class Records
{
  public:
    Records() noexcept = default;
    Records(Record *first, ULONG count) noexcept : m_first(first), m_count(first ? count : 0) {}

    const Record *begin() const noexcept { return m_first.get(); }
    const Record *end() const noexcept { return m_first.get() + m_count; }
    std::size_t size() const noexcept { return m_count; }
    bool empty() const noexcept { return m_count == 0; }
    const Record &operator[](std::size_t index) const noexcept { return m_first.get()[index]; }

  private:
    Block<Record> m_first;
    std::size_t m_count = 0;
};

/* A message's identifier, as a header has it; not a copy. */
struct EntryId {
    EntryId(const BYTE *first, ULONG count) noexcept : bytes(first), size(count) {}
    EntryId(const EmailHeaderA &header) noexcept : bytes(header.pEntryID), size(header.cbEntryID) {}
    EntryId(const EmailHeaderW &header) noexcept : bytes(header.pEntryID), size(header.cbEntryID) {}
    EntryId(const std::vector<BYTE> &kept) noexcept : bytes(kept.data()), size(static_cast<ULONG>(kept.size())) {}

    const BYTE *bytes;
    ULONG size;
};

struct Flags {
    bool isPrivate;
    bool isUrgent;
    bool isRead;
};

/* ---- Listing --------------------------------------------------------------------------------------------------- */

/* What is listed: either read or unread messages, urgent or not, voice mail or not, faxes or not. */
template <class Char> struct BasicFilter {
    bool read = false;
    bool urgent = false;
    bool voiceMail = true;
    bool fax = false;
    bool faxSummary = false;              /* bSummary */
    std::vector<const Char *> faxServers; /* for it */
    bool attachments = true;              /* what is attached stands in the headers too */
    bool backwards = false;               /* the newest page first; within a page the oldest is first all the same */
    LONG pageSize = 10;
};

/*
 * A listing, page by page (OrlGetEmailHeadersA/W) or as a range of headers: `for (const auto &header : listing)`. A
 * header of the range lives until the range has gone on to the next page.
 */
template <class Char> class BasicListing
{
  public:
    using Header = typename Functions<Char>::Header;
    using Page = Records<Header>;

    BasicListing(DWORD connection, OrlMailbox mailbox, BasicFilter<Char> filter) noexcept
        : m_connection(connection), m_mailbox(mailbox), m_filter(std::move(filter))
    {
    }
    BasicListing(BasicListing &&other) noexcept
        : m_connection(other.m_connection), m_mailbox(other.m_mailbox), m_filter(std::move(other.m_filter)),
          m_table(std::exchange(other.m_table, 0)), m_bookmark(std::exchange(other.m_bookmark, 0)),
          m_total(other.m_total), m_begun(other.m_begun), m_ended(std::exchange(other.m_ended, true))
    {
    }
    BasicListing &operator=(BasicListing &&) = delete;
    ~BasicListing() { OrlMapiReleaseHandle(m_connection, &m_table, &m_bookmark); }

    /* The next page; none after the last one, and after a failure. */
    Page Next(On on = {})
    {
        if (m_ended)
            return on(0, ""), Page();
        Header *headers = nullptr;
        ULONG count = 0;
        const ULONG from = m_begun              ? ORL_BOOKMARK_CURRENT
                           : m_filter.backwards ? ORL_BOOKMARK_END
                                                : ORL_BOOKMARK_BEGINNING;
        const HRESULT hr =
            Functions<Char>::Headers(m_connection, m_mailbox, &m_table, &m_bookmark, m_filter.pageSize, &headers,
                                     &count, &m_total, m_filter.read, !m_filter.backwards, from, m_filter.attachments,
                                     m_filter.urgent, m_filter.fax, m_filter.faxSummary, m_filter.faxServers.data(),
                                     static_cast<ULONG>(m_filter.faxServers.size()), m_filter.voiceMail);
        Page page(headers, count);
        m_begun = true;
        m_ended = hr < 0 || count < static_cast<ULONG>(m_filter.pageSize);
        if (hr < 0 || count == 0)
            m_table = m_bookmark = 0; /* the library has released them */
        on(hr, "OrlGetEmailHeaders");
        return page;
    }

    /* How many the whole listing has, as of the last page. */
    ULONG Total() const noexcept { return m_total; }

    class Iterator
    {
      public:
        using iterator_category = std::input_iterator_tag;
        using value_type = Header;
        using difference_type = std::ptrdiff_t;
        using pointer = const Header *;
        using reference = const Header &;

        Iterator() noexcept = default;
        explicit Iterator(BasicListing &listing) : m_listing(&listing) { Turn(); }
        reference operator*() const noexcept { return m_listing->m_page[m_at]; }
        pointer operator->() const noexcept { return &**this; }
        Iterator &operator++()
        {
            if (++m_at == m_listing->m_page.size())
                Turn();
            return *this;
        }
        void operator++(int) { ++*this; }
        bool operator==(const Iterator &other) const noexcept { return m_listing == other.m_listing; }
        bool operator!=(const Iterator &other) const noexcept { return m_listing != other.m_listing; }

      private:
        void Turn()
        {
            m_at = 0;
            m_listing->m_page = m_listing->Next(m_listing->m_on);
            if (m_listing->m_page.empty())
                m_listing = nullptr;
        }

        BasicListing *m_listing = nullptr;
        std::size_t m_at = 0;
    };
    /* The headers from where the listing stands. A failure on the way ends the range, as Reporting says. */
    Iterator begin() { return Iterator(*this); }
    Iterator end() const noexcept { return Iterator(); }
    /* Where the range's failures go; left as it is, they are thrown. */
    BasicListing &Reporting(On on) noexcept
    {
        m_on = on;
        return *this;
    }

  private:
    DWORD m_connection;
    OrlMailbox m_mailbox;
    BasicFilter<Char> m_filter;
    DWORD m_table = 0;
    DWORD m_bookmark = 0;
    ULONG m_total = 0;
    bool m_begun = false;
    bool m_ended = false;
    Page m_page;
    On m_on;
};

/* ---- Mailbox --------------------------------------------------------------------------------------------------- */

template <class Char> struct BasicLetter {
    BasicArgument<Char> recipients; /* separated by semicolons, without blanks */
    BasicArgument<Char> subject;
    BasicArgument<Char> body;
    bool urgent = false;
    bool isPrivate = false;
    BasicArgument<Char> file;     /* to attach */
    BasicArgument<Char> fileName; /* under which it is shown */
};

template <class Char> struct BasicVoiceMail : BasicLetter<Char> {
    LONG seconds = 0;
    BasicArgument<Char> number; /* the caller's */
    BasicArgument<Char> name;
    BasicArgument<Char> order; /* of the attachments: their names, separated by semicolons */
    LONG offset = 0;
    ULONG received = 0;
};

/* An opened mailbox. One that a sink has, and the session's own (Connection::Own), are not closed by it. */
template <class Char> class BasicMailbox
{
  public:
    using Argument = BasicArgument<Char>;
    using F = Functions<Char>;

    BasicMailbox() noexcept = default;
    BasicMailbox(DWORD connection, OrlMailbox mailbox, bool owned) noexcept
        : m_connection(connection), m_mailbox(mailbox), m_owned(owned)
    {
    }
    BasicMailbox(BasicMailbox &&other) noexcept
        : m_connection(other.m_connection), m_mailbox(std::exchange(other.m_mailbox, 0)),
          m_owned(std::exchange(other.m_owned, false))
    {
    }
    BasicMailbox &operator=(BasicMailbox &&other) noexcept
    {
        std::swap(m_connection, other.m_connection);
        std::swap(m_mailbox, other.m_mailbox);
        std::swap(m_owned, other.m_owned);
        return *this;
    }
    ~BasicMailbox()
    {
        if (m_owned)
            OrlMapiDisconnectFromMailbox(m_connection, m_mailbox);
    }
    OrlMailbox Handle() const noexcept { return m_mailbox; }

    BasicListing<Char> List(BasicFilter<Char> filter = {}) const
    {
        return {m_connection, m_mailbox, std::move(filter)};
    }
    Block<typename F::Header> Header(EntryId id, On on = {}) const
    {
        typename F::Header *header = nullptr;
        on(F::OneHeader(m_connection, m_mailbox, id.size, id.bytes, &header), "OrlGetEmailHeader");
        return Block<typename F::Header>(header);
    }
    orlmapi::Flags Flags(EntryId id, On on = {}) const
    {
        BYTE isPrivate = 0, isUrgent = 0, isRead = 0;
        on(OrlGetEmailFlags(m_connection, m_mailbox, id.size, id.bytes, &isPrivate, &isUrgent, &isRead),
           "OrlGetEmailFlags");
        return {isPrivate != 0, isUrgent != 0, isRead != 0};
    }
    Block<typename F::Text> Text(EntryId id, On on = {}) const
    {
        typename F::Text *text = nullptr;
        on(F::Download(m_connection, m_mailbox, id.size, id.bytes, &text), "OrlDownloadEmail");
        return Block<typename F::Text>(text);
    }
    bool Save(EntryId id, ULONG attachment, Argument file, On on = {}) const
    {
        return on(F::Save(m_connection, m_mailbox, id.size, id.bytes, attachment, file), "OrlDownloadAttachment");
    }
    bool MarkRead(EntryId id, bool read = true, On on = {}) const
    {
        return on(OrlSetEmailReadFlag(m_connection, m_mailbox, id.size, id.bytes, read), "OrlSetEmailReadFlag");
    }
    bool Delete(EntryId id, On on = {}) const
    {
        return on(OrlDeleteEmail(m_connection, m_mailbox, id.size, id.bytes), "OrlDeleteEmail");
    }
    bool Send(const BasicLetter<Char> &letter, On on = {}) const
    {
        return on(F::Send(m_connection, m_mailbox, letter.recipients, letter.subject, letter.body, letter.urgent,
                          letter.isPrivate, letter.file, letter.fileName),
                  "OrlSendEmail");
    }
    bool Send(const BasicVoiceMail<Char> &mail, On on = {}) const
    {
        return on(F::SendVoiceMail(m_connection, m_mailbox, mail.recipients, mail.subject, mail.body, mail.urgent,
                                   mail.isPrivate, mail.file, mail.fileName, mail.seconds, mail.number, mail.name,
                                   mail.order, mail.offset, mail.received),
                  "OrlSendUMEmail");
    }
    /* These two never tell of a failure: what went wrong stands in the trace. */
    void Forward(EntryId id, Argument recipients) const
    {
        F::Forward(m_connection, m_mailbox, id.size, id.bytes, recipients);
    }
    void Respond(EntryId id, Argument file = {}, Argument fileName = {}) const
    {
        F::Respond(m_connection, m_mailbox, id.size, id.bytes, file, fileName, 0);
    }
    Records<typename F::Event> Day(Argument date, On on = {}) const
    {
        typename F::Event *events = nullptr;
        ULONG count = 0;
        on(F::Events(m_connection, m_mailbox, date, &events, &count), "OrlMapiObtainCalendarEvents");
        return {events, count};
    }

  private:
    DWORD m_connection = 0;
    OrlMailbox m_mailbox = 0;
    bool m_owned = false;
};

/* ---- Watching --------------------------------------------------------------------------------------------------- */

struct Counts {
    const WCHAR *mailbox; /* during the call only */
    ULONG unread;
    ULONG unreadUrgent;
    ULONG read;
};

/* What is told the counts: false ends it. An exception that it lets out is taken for true. */
using Watcher = std::function<bool(const Counts &)>;

/* A mailbox that is watched, until this ends; its watcher lives as long, and for a call that is still running. */
template <class Char> class BasicSink
{
  public:
    BasicSink() noexcept = default;
    BasicSink(DWORD connection, BasicArgument<Char> name, Watcher watcher, On on)
        : m_connection(connection), m_watcher(std::make_unique<Watcher>(std::move(watcher)))
    {
        OrlMailbox mailbox = 0;
        on(Functions<Char>::Advise(connection, &m_sink, name, Tell, reinterpret_cast<ULONG_PTR>(m_watcher.get()),
                                   &mailbox),
           "OrlAdvise");
        m_mailbox = BasicMailbox<Char>(connection, mailbox, mailbox != 0 && m_sink == 0);
    }
    BasicSink(BasicSink &&other) noexcept
        : m_connection(other.m_connection), m_watcher(std::move(other.m_watcher)),
          m_sink(std::exchange(other.m_sink, 0)), m_mailbox(std::move(other.m_mailbox))
    {
    }
    BasicSink &operator=(BasicSink &&) = delete;
    ~BasicSink()
    {
        if (m_sink != 0)
            OrlUnadvise(m_connection, m_sink, nullptr);
    }

    /* False where not all could be watched: the trace says why. The mailbox is open all the same. */
    explicit operator bool() const noexcept { return m_sink != 0; }
    const BasicMailbox<Char> &Mailbox() const noexcept { return m_mailbox; }

  private:
    static BOOL ORLAPI Tell(const WCHAR *mailbox, ULONG unread, ULONG urgent, ULONG read, ULONG_PTR watcher) noexcept
    {
        try {
            return (*reinterpret_cast<const Watcher *>(watcher))({mailbox, unread, urgent, read});
        } catch (...) {
            return 1;
        }
    }

    DWORD m_connection = 0;
    std::unique_ptr<Watcher> m_watcher;
    OrlSink m_sink = 0;
    BasicMailbox<Char> m_mailbox;
};

/* ---- Connection ------------------------------------------------------------------------------------------------- */

template <class Char> class BasicConnection
{
  public:
    using Argument = BasicArgument<Char>;
    using F = Functions<Char>;

    explicit BasicConnection(bool service = false, On on = {})
    {
        on(OrlCreateConnection(&m_handle, service), "OrlCreateConnection");
    }
    BasicConnection(BasicConnection &&other) noexcept : m_handle(std::exchange(other.m_handle, 0)) {}
    BasicConnection &operator=(BasicConnection &&other) noexcept
    {
        std::swap(m_handle, other.m_handle);
        return *this;
    }
    ~BasicConnection()
    {
        if (m_handle != 0)
            OrlCloseConnection(&m_handle);
    }
    DWORD Handle() const noexcept { return m_handle; }

    bool Connect(Argument server, Argument mailbox, Argument profile, On on = {}) const
    {
        return on(F::Connect(m_handle, server, mailbox, profile), "OrlMapiConnect");
    }
    bool Connect(Argument profile, On on = {}) const { return Connect({}, {}, profile, on); }
    bool Disconnect(On on = {}) const { return on(OrlMapiDisconnect(m_handle), "OrlMapiDisconnect"); }
    bool IsMapiAvailable() const noexcept { return OrlIsMAPIAvailable(m_handle) != 0; }
    bool IsConnected() const noexcept { return OrlIsConnected(m_handle) != 0; }

    BasicMailbox<Char> Open(Argument name, On on = {}) const
    {
        OrlMailbox mailbox = 0;
        on(F::Open(m_handle, &mailbox, name), "OrlMapiConnectToMailbox");
        return {m_handle, mailbox, mailbox != 0};
    }
    /* The session's default store, to send and forward from. */
    BasicMailbox<Char> Own() const noexcept { return {m_handle, 0, false}; }
    BasicSink<Char> Watch(Argument name, Watcher watcher, On on = {}) const
    {
        return {m_handle, name, std::move(watcher), on};
    }

    Records<typename F::Profile> Profiles(On on = {}) const
    {
        typename F::Profile *profiles = nullptr;
        ULONG count = 0;
        on(F::Profiles(m_handle, &profiles, &count), "OrlGetExchangeProfiles");
        return {profiles, count};
    }
    Block<typename F::Server> ServerName(Argument profile, On on = {}) const
    {
        typename F::Server *server = nullptr;
        on(F::ServerName(m_handle, &server, profile), "OrlGetExchangeServerName");
        return Block<typename F::Server>(server);
    }

  private:
    DWORD m_handle = 0;
};

using Connection = BasicConnection<char>;
using Mailbox = BasicMailbox<char>;
using Listing = BasicListing<char>;
using Filter = BasicFilter<char>;
using Letter = BasicLetter<char>;
using VoiceMail = BasicVoiceMail<char>;
using Sink = BasicSink<char>;

using WConnection = BasicConnection<WCHAR>;
using WMailbox = BasicMailbox<WCHAR>;
using WListing = BasicListing<WCHAR>;
using WFilter = BasicFilter<WCHAR>;
using WLetter = BasicLetter<WCHAR>;
using WVoiceMail = BasicVoiceMail<WCHAR>;
using WSink = BasicSink<WCHAR>;

} // namespace orlmapi

#endif
