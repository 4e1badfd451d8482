// A page that fails because a row of it went is asked for again, by fewer rows at a time. A page backward begins as
// many rows before the last one as it takes itself: one of another size, and one after a row went, would leave rows
// out, so the table is gone through again. So it is where a provider gives fewer rows at once than a page has: backward
// these are the page's first ones, and the last ones are missing.
#include "Listing.h"
#include "Failure.h"
#include <algorithm>

namespace
{

// Of a page of one row, which fails only where just this one goes.
constexpr int kMostAttempts = 10;
constexpr LONG kRowsToSkip = 1000;

std::uint64_t SubmitTimeOf(const EmailHeaderW &header)
{
    const SYSTEMTIME time = header.stSubmitTime;
    std::uint64_t number = time.wYear;
    for (const WORD part : {time.wMonth, time.wDay, time.wHour, time.wMinute, time.wSecond, time.wMilliseconds})
        number = number * 1024 + part;
    return number;
}

EntryId EntryIdOf(const EmailHeaderW &header)
{
    return {header.pEntryID, header.pEntryID + header.cbEntryID};
}

bool HasGone(HRESULT hr)
{
    const std::string name = NameOf(hr);
    return name == "MAPI_E_NOT_FOUND" || name == "MAPI_E_OBJECT_DELETED";
}

} // namespace

void Passed::Add(const EmailHeaderW &header)
{
    const std::uint64_t time = SubmitTimeOf(header);
    if (m_isEmpty || time != m_time)
        m_ids.clear();
    m_isEmpty = false;
    m_time = time;
    m_ids.insert(EntryIdOf(header));
}

bool Passed::Has(const EmailHeaderW &header) const
{
    if (m_isEmpty)
        return false;
    const std::uint64_t time = SubmitTimeOf(header);
    if (time == m_time)
        return m_ids.count(EntryIdOf(header)) != 0;
    return m_isForward ? time < m_time : time > m_time;
}

Listing::Listing(const Mailbox &mailbox, const ListOptions &options)
    : m_mailbox(mailbox), m_options(options), m_passed(!options.reverse)
{
    for (const std::string &name : options.faxServers)
        m_faxServers.push_back(tool::ToWide(name));
    for (const tool::WideText &name : m_faxServers)
        m_faxServerPointers.push_back(name.c_str());
}

void Listing::End()
{
    OrlMapiReleaseHandle(m_mailbox.ConnectionHandle(), &m_table, &m_bookmark);
    m_table = m_bookmark = 0;
    m_isFirst = true;
    m_gone = 0;
}

ULONG Listing::Ask(LONG count, bool withAttachments, Result<EmailHeaderW> &page)
{
    ULONG got = 0;
    const ULONG start =
        m_isFirst ? (m_options.reverse ? ORL_BOOKMARK_END : ORL_BOOKMARK_BEGINNING) : ORL_BOOKMARK_CURRENT;
    m_isFirst = false;
    const HRESULT hr = OrlGetEmailHeadersW(
        m_mailbox.ConnectionHandle(), m_mailbox.Handle(), &m_table, &m_bookmark, count, page.put(), &got, &m_total,
        m_options.read, !m_options.reverse, start, withAttachments, m_options.priority, m_options.fax,
        m_options.summary, m_faxServerPointers.data(), static_cast<ULONG>(m_faxServerPointers.size()), m_options.um);
    // A page that failed, or has no rows, has ended the listing and left the handles as they came in: they mean
    // nothing now.
    if (FAILED(hr) || got == 0)
        m_table = m_bookmark = 0;
    Check(hr, "listing the mailbox " + m_options.mailbox);
    m_gone += got;
    if (got > 0 && static_cast<LONGLONG>(got) < count && m_gone < m_total)
        m_most = static_cast<LONG>(got);
    return got;
}

std::vector<const EmailHeaderW *> Listing::Next(LONG count, Result<EmailHeaderW> &page)
{
    for (int attempts = 0;;) {
        try {
            count = std::min(count, m_most);
            if (m_isLost || (m_options.reverse && !m_isFirst && count != m_pageSize))
                GoBack(count);
            count = std::min(count, m_most);
            m_pageSize = count;
            const bool goesOn = !m_isFirst;
            const ULONG before = m_total;
            const ULONG got = Ask(count, m_options.attachments, page);
            m_isLost = m_options.reverse && goesOn && m_total != before;
            const bool isCutShort = m_most < count;
            m_isLost = m_isLost || (m_options.reverse && isCutShort);
            if (m_isLost)
                continue;
            m_isAtEnd = static_cast<LONGLONG>(got) < count && !isCutShort;
            std::vector<const EmailHeaderW *> rows = TakeNew(page, got);
            if (!rows.empty() || m_isAtEnd)
                return rows;
        } catch (const Failure &failure) {
            if (!OpensMessages() || !HasGone(failure.Code()) || (count == 1 && ++attempts == kMostAttempts))
                throw;
            m_isLost = true;
            count = (count + 1) / 2;
        }
    }
}

std::vector<const EmailHeaderW *> Listing::TakeNew(const Result<EmailHeaderW> &page, ULONG got)
{
    std::vector<const EmailHeaderW *> rows;
    for (ULONG i = 0; i < got; ++i)
        if (!m_passed.Has(page[i]))
            rows.push_back(&page[i]);
    for (std::size_t i = 0; i < rows.size(); ++i)
        m_passed.Add(*rows[m_options.reverse ? rows.size() - 1 - i : i]);
    return rows;
}

// A new table, to where pages of so many rows have passed what was shown; the next one may begin with some of it.
void Listing::GoBack(LONG count)
{
    do {
        End();
        ULONG rows = CountPassed();
        End();
        const LONG step = std::min(m_options.reverse ? count : kRowsToSkip, m_most);
        if (m_options.reverse)
            rows -= rows % static_cast<ULONG>(step);
        m_isLost = !Skip(rows, step);
    } while (m_isLost);
}

ULONG Listing::CountPassed()
{
    ULONG rows = 0;
    for (;;) {
        Result<EmailHeaderW> page;
        const LONG wanted = std::min(kRowsToSkip, m_most);
        const ULONG got = Ask(wanted, false, page);
        if (m_options.reverse && m_most < wanted) {
            End();
            rows = 0;
            continue;
        }
        ULONG passed = 0;
        for (ULONG i = 0; i < got; ++i)
            passed += m_passed.Has(page[i]);
        rows += passed;
        if (passed < got || (got < static_cast<ULONG>(wanted) && m_most >= wanted))
            return rows;
    }
}

bool Listing::Skip(ULONG rows, LONG step)
{
    while (rows > 0) {
        Result<EmailHeaderW> page;
        const LONG wanted = std::min({static_cast<LONG>(rows), step, m_most});
        const ULONG got = Ask(wanted, false, page);
        for (ULONG i = 0; i < got; ++i)
            if (!m_passed.Has(page[i]))
                return false;
        if (got < static_cast<ULONG>(wanted) && (m_options.reverse || m_most >= wanted))
            return false;
        rows -= got;
    }
    return true;
}
