// A mailbox's headers, page after page, beside others who delete. One thread.
#pragma once
#include "Commands.h"
#include <set>

// How far a listing has come: which rows, by their order, it need not show again. Rows of one time have no order that
// could be told from them, so they are known by their IDs.
class Passed
{
  public:
    explicit Passed(bool isForward) : m_isForward(isForward) {}
    void Add(const EmailHeaderW &header);
    bool Has(const EmailHeaderW &header) const;

  private:
    bool m_isForward;
    bool m_isEmpty = true;
    std::uint64_t m_time = 0; // of the last row
    std::set<EntryId> m_ids;  // of the rows of that time
};

// Gives the table and bookmark back at its end.
class Listing
{
  public:
    Listing(const Mailbox &mailbox, const ListOptions &options);
    ~Listing() { End(); }
    Listing(const Listing &) = delete;
    Listing &operator=(const Listing &) = delete;

    // Those of the next page, in the order of the page; none at the end. A page with attachments is lost, with its
    // table, where a message of it goes meanwhile; then it is asked for again, with fewer rows.
    std::vector<const EmailHeaderW *> Next(LONG count, Result<EmailHeaderW> &page);
    bool IsAtEnd() const { return m_isAtEnd; }
    ULONG Total() const { return m_total; }

  private:
    // Throws Failure. Learns how many rows the provider gives at most, where that is fewer than `count`.
    ULONG Ask(LONG count, bool withAttachments, Result<EmailHeaderW> &page);
    // The rows of a page that have not been shown.
    std::vector<const EmailHeaderW *> TakeNew(const Result<EmailHeaderW> &page, ULONG got);
    void GoBack(LONG count);
    // The rows at the beginning that have been shown before.
    ULONG CountPassed();
    // Whether they still were the first `rows`.
    bool Skip(ULONG rows, LONG step);
    void End();
    bool OpensMessages() const { return m_options.attachments || m_options.fax; }

    const Mailbox &m_mailbox;
    const ListOptions &m_options;
    std::vector<tool::WideText> m_faxServers;
    std::vector<LPCWSTR> m_faxServerPointers;
    DWORD m_table = 0;
    DWORD m_bookmark = 0;
    ULONG m_total = 0;
    ULONG m_gone = 0;        // rows that were read of the table
    LONG m_most = 1'000'000; // that the provider gives at once
    bool m_isFirst = true;
    bool m_isLost = false;
    bool m_isAtEnd = false;
    LONG m_pageSize = 0; // that the table's bookmark goes by
    Passed m_passed;
};
