// The exports of the header listing.
#include "api/Frame.h"
#include "api/HeaderRecord.h"
#include "common/trace/debug.h"

namespace
{

constexpr int kFirstLine = 3000;

// At most so many names; null and empty ones leave no gap.
template <class Flavour> std::vector<tstring> FaxServers(const typename Flavour::Char *const *names, ULONG cNames)
{
    if (cNames > ORL_MAX_FAX_SERVERS) {
        DebugOutputA(kTraceState,
                     // Words are missing, as the contract has it.
                     "WARNING: The system currently supports a maximum %d fax servers. Additional Fax Server will be "
                     "ignored",
                     static_cast<int>(ORL_MAX_FAX_SERVERS));
        cNames = ORL_MAX_FAX_SERVERS;
    }
    std::vector<tstring> servers;
    for (ULONG i = 0; names && i < cNames; ++i) {
        if (!names[i])
            continue;
        tstring server = Flavour::In(names[i]);
        if (!server.empty())
            servers.push_back(std::move(server));
    }
    return servers;
}

// The handles of a listing on their way from and to the caller. Where they do not reach him, what they stand for is
// given back.
class ListingHandles
{
  public:
    ListingHandles(CMAPIImpl &session, DWORD *phContentsTable, DWORD *phOrigin)
        : m_session(session), m_phContentsTable(phContentsTable), m_phOrigin(phOrigin), hTable(*phContentsTable),
          hBookmark(phOrigin ? *phOrigin : 0)
    {
    }
    ~ListingHandles()
    {
        if (hTable != *m_phContentsTable)
            m_session.ReleaseHandles(hTable, hBookmark);
    }
    ListingHandles(const ListingHandles &) = delete;
    ListingHandles &operator=(const ListingHandles &) = delete;

    void GiveToCaller()
    {
        *m_phContentsTable = hTable;
        if (m_phOrigin)
            *m_phOrigin = hBookmark;
    }

  private:
    CMAPIImpl &m_session;
    DWORD *m_phContentsTable;
    DWORD *m_phOrigin;

  public:
    DWORD hTable;
    DWORD hBookmark;
};

// The arguments of a listing as callers give them.
template <class Flavour> struct ListingArguments {
    DWORD *phContentsTable;
    DWORD *phOrigin;
    LONG lRowCount;
    typename Flavour::EmailHeader **ppHeaders;
    ULONG *pcHeaders;
    ULONG *pulTotalRows;
    BYTE bRead;
    BYTE bForward;
    ULONG bkAbsBkmark;
    BYTE bWithAttachments;
    BYTE bPriority;
    BYTE bFax;
    BYTE bSummary;
    const typename Flavour::Char *const *apszFaxServers;
    ULONG cFaxServers;
    BYTE bUM;

    // A fax listing always lists attachments.
    BYTE WithAttachments() const { return bFax ? BYTE{1} : bWithAttachments; }
};

template <class Flavour>
HRESULT GetEmailHeaders(const Here &here, DWORD hConnection, OrlMailbox hMailbox,
                        const ListingArguments<Flavour> &arguments)
{
    *arguments.pcHeaders = 0;
    return WithMailbox(here, hConnection, hMailbox, [&](CMAPIImpl &session, IMsgStore *pIMsgStore) -> HRESULT {
        const std::vector<tstring> servers = FaxServers<Flavour>(arguments.apszFaxServers, arguments.cFaxServers);
        ListingHandles handles(session, arguments.phContentsTable, arguments.phOrigin);
        std::vector<Header> headers;
        const HRESULT hr = session.GetEmailHeaders(
            pIMsgStore, &handles.hTable, headers, &handles.hBookmark, arguments.lRowCount, arguments.pulTotalRows,
            arguments.bRead, arguments.bForward, arguments.bkAbsBkmark, arguments.WithAttachments(),
            arguments.bPriority, arguments.bFax != 0, arguments.bSummary, servers.data(),
            static_cast<ULONG>(servers.size()), arguments.bUM);
        if (FAILED(hr))
            return hr;

        ResultBlock<typename Flavour::EmailHeader> block(here, headers.size());
        ULONG completed = 0;
        for (; completed < headers.size() && !block.Failed(); ++completed) {
            CopyHeader<Flavour>(block, completed, headers[completed]);
            CopyAttachments<Flavour>(block, completed, headers[completed]);
            if (block.Failed())
                break;
        }
        const HRESULT result = block.Result();
        if (auto *records = block.Release())
            *arguments.ppHeaders = records;
        *arguments.pcHeaders = completed;
        handles.GiveToCaller();
        return result;
    });
}

} // namespace

HRESULT ORLAPI OrlGetEmailHeadersA(DWORD hConnection, OrlMailbox hMailbox, DWORD *phContentsTable, DWORD *phOrigin,
                                   LONG lRowCount, EmailHeaderA **ppHeaders, ULONG *pcHeaders, ULONG *pulTotalRows,
                                   BYTE bRead, BYTE bForward, ULONG bkAbsBkmark, BYTE bWithAttachments, BYTE bPriority,
                                   BYTE bFax, BYTE bSummary, const LPCSTR *apszFaxServers, ULONG cFaxServers, BYTE bUM)
{
    return GetEmailHeaders<Narrow>(ORL_HERE("OrlGetEmailHeadersA"), hConnection, hMailbox,
                                   {phContentsTable, phOrigin, lRowCount, ppHeaders, pcHeaders, pulTotalRows, bRead,
                                    bForward, bkAbsBkmark, bWithAttachments, bPriority, bFax, bSummary, apszFaxServers,
                                    cFaxServers, bUM});
}

HRESULT ORLAPI OrlGetEmailHeadersW(DWORD hConnection, OrlMailbox hMailbox, DWORD *phContentsTable, DWORD *phOrigin,
                                   LONG lRowCount, EmailHeaderW **ppHeaders, ULONG *pcHeaders, ULONG *pulTotalRows,
                                   BYTE bRead, BYTE bForward, ULONG bkAbsBkmark, BYTE bWithAttachments, BYTE bPriority,
                                   BYTE bFax, BYTE bSummary, const LPCWSTR *apszFaxServers, ULONG cFaxServers, BYTE bUM)
{
    return GetEmailHeaders<Wide>(ORL_HERE("OrlGetEmailHeadersW"), hConnection, hMailbox,
                                 {phContentsTable, phOrigin, lRowCount, ppHeaders, pcHeaders, pulTotalRows, bRead,
                                  bForward, bkAbsBkmark, bWithAttachments, bPriority, bFax, bSummary, apszFaxServers,
                                  cFaxServers, bUM});
}
