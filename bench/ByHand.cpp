// The references: a listing by the same MAPI calls, with its columns and the copying of their values, and a page in
// plain SQL.
#include "ByHand.h"
#include "ExchangeMapi.h"
#include <cstring>
#include <mapiutil.h>
#include <sqlite3.h>
#include <stdexcept>

namespace bench
{

namespace
{

SizedSPropTagArray(16, kColumns) = {16,
                                    {PR_ENTRYID, PR_MESSAGE_CLASS_A, PR_IMPORTANCE, PR_SENSITIVITY, PR_SENDER_NAME_A,
                                     PR_CREATOR_NAME_A, PR_CLIENT_SUBMIT_TIME, PR_MESSAGE_FLAGS, PR_MESSAGE_SIZE,
                                     PR_COMMENT_A, PR_SENDER_EMAIL_ADDRESS_A, PR_UM_DURATION, PR_UM_TELEPHONE_NUMBER_A,
                                     PR_UM_SENDER_NAME_A, PR_UM_OFFSET, PR_UM_MESSAGE_RECEIVED}};

char *CopyText(void *root, const SPropValue &value)
{
    const char *text = PROP_TYPE(value.ulPropTag) == PT_STRING8 ? value.Value.lpszA : "";
    void *copy = nullptr;
    const ULONG size = static_cast<ULONG>(std::strlen(text) + 1);
    MAPIAllocateMore(size, root, &copy);
    std::memcpy(copy, text, size);
    return static_cast<char *>(copy);
}

void CopyRow(void *root, const SRow &row, EmailHeaderA &header)
{
    const SPropValue *value = row.lpProps;
    header = {};
    header.pszSenderName = CopyText(root, value[4]);
    header.pszCreatorName = CopyText(root, value[5]);
    header.pszComment = CopyText(root, value[9]);
    header.pszNumber = CopyText(root, value[12]);
    header.pszName = CopyText(root, value[13]);
    header.cbEntryID = value[0].Value.bin.cb;
    void *id = nullptr;
    MAPIAllocateMore(header.cbEntryID, root, &id);
    std::memcpy(id, value[0].Value.bin.lpb, header.cbEntryID);
    header.pEntryID = static_cast<BYTE *>(id);
    FileTimeToSystemTime(&value[6].Value.ft, &header.stSubmitTime);
    header.bRead = (value[7].Value.l & MSGFLAG_READ) != 0;
    header.bPrivate = PROP_TYPE(value[3].ulPropTag) == PT_LONG && value[3].Value.l == SENSITIVITY_PRIVATE;
    header.bHighPriority = PROP_TYPE(value[2].ulPropTag) == PT_LONG && value[2].Value.l == IMPORTANCE_HIGH;
    header.ulSize = value[8].Value.l;
    header.lSecs = PROP_TYPE(value[11].ulPropTag) == PT_LONG ? value[11].Value.l : 0;
    header.offset = PROP_TYPE(value[14].ulPropTag) == PT_LONG ? value[14].Value.l : 0;
    header.ulMsgReceived = PROP_TYPE(value[15].ulPropTag) == PT_LONG ? value[15].Value.l : 0;
}

void Require(HRESULT hr)
{
    if (FAILED(hr))
        throw std::runtime_error("a MAPI call of the reference failed");
}

} // namespace

ULONG ListByHand(OrlMailbox mailbox, LONG rows, Listed listed, const std::function<void(const char *)> &called)
{
    auto *store = reinterpret_cast<IMsgStore *>(mailbox);
    ULONG idSize = 0, type = 0, total = 0;
    LPENTRYID id = nullptr;
    LPUNKNOWN object = nullptr;
    LPMAPITABLE table = nullptr;
    Require(store->GetReceiveFolder(nullptr, 0, &idSize, &id, nullptr));
    called("GetReceiveFolder");
    Require(store->OpenEntry(idSize, id, &IID_IMAPIFolder, MAPI_BEST_ACCESS | MAPI_NO_CACHE, &type, &object));
    called("OpenEntry");
    auto *folder = static_cast<IMAPIFolder *>(static_cast<void *>(object));
    Require(folder->GetContentsTable(0, &table));
    called("GetContentsTable");
    Require(table->SetColumns(reinterpret_cast<LPSPropTagArray>(&kColumns), 0));
    called("SetColumns");

    const ULONG wanted = listed == Listed::UrgentVoiceMail ? RELOP_EQ : RELOP_NE;
    SPropValue values[3] = {};
    values[0].ulPropTag = values[1].ulPropTag = PR_MESSAGE_CLASS_A;
    values[0].Value.lpszA = const_cast<LPSTR>("IPM.Norvik.VoiceMessage");
    values[1].Value.lpszA = const_cast<LPSTR>("IPM.Note.Microsoft.Voicemail.UM");
    values[2].ulPropTag = PR_IMPORTANCE;
    values[2].Value.l = IMPORTANCE_HIGH;
    SRestriction terms[4] = {};
    for (int i = 0; i < 3; ++i) {
        SRestriction &term = terms[i == 2 ? 3 : i];
        term.rt = RES_PROPERTY;
        term.res.resProperty = {i == 0 ? ULONG{RELOP_NE} : wanted, values[i].ulPropTag, &values[i]};
    }
    terms[2].rt = RES_BITMASK;
    terms[2].res.resBitMask = {BMR_EQZ, PR_MESSAGE_FLAGS, MSGFLAG_READ};
    SRestriction filter = {};
    filter.rt = RES_AND;
    filter.res.resAnd = {4, terms};
    Require(table->Restrict(&filter, 0));
    called("Restrict");
    SizedSSortOrderSet(1, order) = {1, 0, 0, {{PR_CLIENT_SUBMIT_TIME, TABLE_SORT_ASCEND}}};
    Require(table->SortTable(reinterpret_cast<LPSSortOrderSet>(&order), 0));
    called("SortTable");
    Require(table->SeekRow(BOOKMARK_BEGINNING, 0, nullptr));
    called("SeekRow");
    table->GetRowCount(0, &total);
    called("GetRowCount");
    LPSRowSet page = nullptr;
    Require(table->QueryRows(rows, 0, &page));
    called("QueryRows");

    void *block = nullptr;
    MAPIAllocateBuffer(page->cRows * sizeof(EmailHeaderA), &block);
    for (ULONG i = 0; i < page->cRows; ++i)
        CopyRow(block, page->aRow[i], static_cast<EmailHeaderA *>(block)[i]);
    const ULONG count = page->cRows;
    called("copying");
    BOOKMARK bookmark = 0;
    Require(table->CreateBookmark(&bookmark));
    called("CreateBookmark");
    FreeProws(page);
    table->FreeBookmark(bookmark);
    MAPIFreeBuffer(block);
    MAPIFreeBuffer(id);
    table->Release();
    folder->Release();
    called("releasing");
    return count;
}

namespace
{

constexpr const char *kFrom =
    " FROM object o JOIN facet f ON f.id = o.facet WHERE f.container = ?1 "
    "AND f.class = 'IPM.Note.Microsoft.Voicemail.UM' AND f.class <> 'IPM.Norvik.VoiceMessage' "
    "AND (f.flags & 1) = 0 AND f.importance = 2 ";

} // namespace

PlainSql::PlainSql(const std::string &site)
{
    const auto prepare = [&](const std::string &sql) {
        sqlite3_stmt *statement = nullptr;
        if (sqlite3_prepare_v2(m_database, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK)
            throw std::runtime_error(sqlite3_errmsg(m_database));
        return statement;
    };
    if (sqlite3_open_v2(site.c_str(), &m_database, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK)
        throw std::runtime_error(sqlite3_errmsg(m_database));
    m_inbox = prepare("SELECT inbox FROM mailbox JOIN person ON person.id = owner WHERE alias = 'alice'");
    if (sqlite3_step(m_inbox) == SQLITE_ROW)
        m_folder = sqlite3_column_int64(m_inbox, 0);
    sqlite3_reset(m_inbox);
    m_page = prepare(std::string("SELECT o.id, o.submitted") + kFrom + "ORDER BY o.submitted, o.id LIMIT ?2");
    m_count = prepare(std::string("SELECT count(*)") + kFrom);
    m_properties = prepare("SELECT tag, value FROM property WHERE object = ?1");
}

PlainSql::~PlainSql()
{
    for (sqlite3_stmt *statement : {m_inbox, m_page, m_count, m_properties})
        sqlite3_finalize(statement);
    sqlite3_close(m_database);
}

int PlainSql::Page(int rows)
{
    int found = 0;
    sqlite3_bind_int64(m_page, 1, m_folder);
    sqlite3_bind_int(m_page, 2, rows);
    while (sqlite3_step(m_page) == SQLITE_ROW) {
        ++found;
        sqlite3_bind_int64(m_properties, 1, sqlite3_column_int64(m_page, 0));
        while (sqlite3_step(m_properties) == SQLITE_ROW) {
        }
        sqlite3_reset(m_properties);
    }
    sqlite3_reset(m_page);
    sqlite3_bind_int64(m_count, 1, m_folder);
    sqlite3_step(m_count);
    sqlite3_reset(m_count);
    return found;
}

} // namespace bench
