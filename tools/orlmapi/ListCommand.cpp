// A mailbox's messages, one page or all, with a line of progress on a terminal.
#include "Listing.h"
#include "Output.h"
#include "common/CommandLine.h"
#include "common/JsonList.h"
#include "common/Program.h"
#include <cstdio>

namespace
{

// The library uses no more names than these.
constexpr std::size_t kFaxServerLimit = 10;

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
    tool::JsonList document;
    ULONG done = 0;
    const auto wanted = static_cast<ULONG>(options.count);
    Progress progress;
    while (!listing.IsAtEnd() && (options.all || done < wanted)) {
        Result<EmailHeaderW> page;
        const auto headers = listing.Next(options.all ? options.count : static_cast<LONG>(wanted - done), page);
        progress.Clear();
        if (done == 0 && !headers.empty() && !common.json)
            PrintHeaderHeading();
        for (const EmailHeaderW *header : headers) {
            if (common.json)
                document.Add(HeaderAsJson(*header));
            else
                PrintHeader(*header);
        }
        done += static_cast<ULONG>(headers.size());
        if (options.all && !listing.IsAtEnd())
            progress.Show(done, listing.Total());
    }
    if (common.json)
        document.End();
    else
        PrintLine(std::to_string(done) + " of " + std::to_string(listing.Total()) + " messages");
}
