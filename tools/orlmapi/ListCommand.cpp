// A mailbox's messages, one page or all, with a line of progress on a terminal.
#include "Commands.h"
#include "Failure.h"
#include "Output.h"
#include "common/CommandLine.h"
#include "common/Program.h"
#include <cstdio>

namespace
{

// The library uses no more names than these.
constexpr std::size_t kFaxServerLimit = 10;

// One listing of a mailbox, page after page; gives the table and bookmark back at its end.
class Listing
{
  public:
    Listing(const Mailbox &mailbox, const ListOptions &options) : m_mailbox(mailbox), m_options(options)
    {
        for (const std::string &name : options.faxServers)
            m_faxServers.push_back(tool::ToWide(name));
        for (const tool::WideText &name : m_faxServers)
            m_faxServerPointers.push_back(name.c_str());
    }
    ~Listing() { OrlMapiReleaseHandle(m_mailbox.ConnectionHandle(), &m_table, &m_bookmark); }
    Listing(const Listing &) = delete;
    Listing &operator=(const Listing &) = delete;

    // The number of messages of the next page; fewer than asked for at the end.
    ULONG Next(Result<EmailHeaderW> &page)
    {
        ULONG count = 0;
        const ULONG start =
            m_first ? (m_options.reverse ? ORL_BOOKMARK_END : ORL_BOOKMARK_BEGINNING) : ORL_BOOKMARK_CURRENT;
        m_first = false;
        Check(OrlGetEmailHeadersW(m_mailbox.ConnectionHandle(), m_mailbox.Handle(), &m_table, &m_bookmark,
                                  m_options.count, page.put(), &count, &m_total, m_options.read, !m_options.reverse,
                                  start, m_options.attachments, m_options.priority, m_options.fax, m_options.summary,
                                  m_faxServerPointers.data(), static_cast<ULONG>(m_faxServerPointers.size()),
                                  m_options.um),
              "listing the mailbox " + m_options.mailbox);
        // A page without rows has ended the listing and left the handles as they came in: they mean nothing now.
        if (count == 0)
            m_table = m_bookmark = 0;
        return count;
    }
    ULONG Total() const { return m_total; }

  private:
    const Mailbox &m_mailbox;
    const ListOptions &m_options;
    std::vector<tool::WideText> m_faxServers;
    std::vector<LPCWSTR> m_faxServerPointers;
    DWORD m_table = 0;
    DWORD m_bookmark = 0;
    ULONG m_total = 0;
    bool m_first = true;
};

// A line on a terminal that is gone before anything else is written there.
class Progress
{
  public:
    Progress() = default;
    ~Progress() { Clear(); }
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;
    void Show(ULONG done, ULONG total)
    {
        if (!tool::IsTerminal(2))
            return;
        std::fflush(stdout);
        std::fprintf(stderr, "\r%u of %u messages", static_cast<unsigned>(done), static_cast<unsigned>(total));
        m_shown = true;
    }
    void Clear()
    {
        if (std::exchange(m_shown, false))
            std::fputs("\r\033[K", stderr);
    }

  private:
    bool m_shown = false;
};

} // namespace

void ListHeaders(const Common &common, const ListOptions &options)
{
    if (options.faxServers.size() > kFaxServerLimit)
        throw tool::Misuse("--fax-server can be given " + std::to_string(kFaxServerLimit) + " times only");
    const Mailbox mailbox(common.logon, options.mailbox);
    Listing listing(mailbox, options);
    nlohmann::ordered_json document = nlohmann::ordered_json::array();
    ULONG done = 0;
    Progress progress;
    while (true) {
        Result<EmailHeaderW> page;
        const ULONG count = listing.Next(page);
        progress.Clear();
        if (done == 0 && count > 0 && !common.json)
            PrintHeaderHeading();
        for (ULONG i = 0; i < count; ++i) {
            if (common.json)
                document.push_back(HeaderAsJson(page[i]));
            else
                PrintHeader(page[i]);
        }
        done += count;
        if (!options.all || count < static_cast<ULONG>(options.count))
            break;
        progress.Show(done, listing.Total());
    }
    if (common.json)
        PrintJson(document);
    else
        PrintLine(std::to_string(done) + " of " + std::to_string(listing.Total()) + " messages");
}
