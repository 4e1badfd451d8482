// Which values identify something, and how many characters of a text fit into so many bytes of the client's.
#include "localmapi/provider/table/CutValue.h"
#include "localmapi/provider/base/Text.h"

#include <algorithm>
#include <iterator>

namespace localmapi
{

namespace
{

// Half an identifier identifies nothing. The last ones are those of Exchange's change numbers and source keys.
constexpr ULONG kIdentifiers[] = {PROP_ID(PR_ENTRYID),
                                  PROP_ID(PR_INSTANCE_KEY),
                                  PROP_ID(PR_RECORD_KEY),
                                  PROP_ID(PR_SEARCH_KEY),
                                  PROP_ID(PR_PARENT_ENTRYID),
                                  PROP_ID(PR_STORE_ENTRYID),
                                  PROP_ID(PR_STORE_RECORD_KEY),
                                  PROP_ID(PR_MAPPING_SIGNATURE),
                                  PROP_ID(PR_MDB_PROVIDER),
                                  PROP_ID(PR_CONVERSATION_INDEX),
                                  PROP_ID(PR_CONVERSATION_KEY),
                                  PROP_ID(PR_SENDER_ENTRYID),
                                  PROP_ID(PR_SENDER_SEARCH_KEY),
                                  PROP_ID(PR_SENT_REPRESENTING_ENTRYID),
                                  PROP_ID(PR_SENT_REPRESENTING_SEARCH_KEY),
                                  PROP_ID(PR_RECEIVED_BY_ENTRYID),
                                  PROP_ID(PR_RECEIVED_BY_SEARCH_KEY),
                                  PROP_ID(PR_RCVD_REPRESENTING_ENTRYID),
                                  PROP_ID(PR_RCVD_REPRESENTING_SEARCH_KEY),
                                  PROP_ID(PR_READ_RECEIPT_ENTRYID),
                                  PROP_ID(PR_READ_RECEIPT_SEARCH_KEY),
                                  PROP_ID(PR_REPORT_ENTRYID),
                                  PROP_ID(PR_REPORT_SEARCH_KEY),
                                  PROP_ID(PR_ORIGINAL_AUTHOR_ENTRYID),
                                  PROP_ID(PR_ORIGINAL_AUTHOR_SEARCH_KEY),
                                  PROP_ID(PR_ORIGINAL_SENDER_ENTRYID),
                                  PROP_ID(PR_ORIGINAL_SENDER_SEARCH_KEY),
                                  PROP_ID(PR_ORIGINAL_ENTRYID),
                                  PROP_ID(PR_ORIGINAL_SEARCH_KEY),
                                  PROP_ID(PR_SENTMAIL_ENTRYID),
                                  PROP_ID(PR_REPLY_RECIPIENT_ENTRIES),
                                  PROP_ID(PR_COMMON_VIEWS_ENTRYID),
                                  PROP_ID(PR_VIEWS_ENTRYID),
                                  PROP_ID(PR_FINDER_ENTRYID),
                                  PROP_ID(PR_IPM_SUBTREE_ENTRYID),
                                  PROP_ID(PR_IPM_OUTBOX_ENTRYID),
                                  PROP_ID(PR_IPM_SENTMAIL_ENTRYID),
                                  PROP_ID(PR_IPM_WASTEBASKET_ENTRYID),
                                  0x65E0,
                                  0x65E1,
                                  0x65E2,
                                  0x65E3};

// How much of a UTF-8 text the client gets in so many bytes of its own.
std::size_t CutLength(std::string_view text, bool wide, std::size_t bytes)
{
    std::size_t at = 0;
    while (at < text.size()) {
        std::size_t next = at + 1;
        while (next < text.size() && (static_cast<unsigned char>(text[next]) & 0xC0) == 0x80)
            ++next;
        const std::string_view character = text.substr(at, next - at);
        const std::size_t size = wide ? WideFromUtf8(character).size() * sizeof(WCHAR) : AnsiFromUtf8(character).size();
        if (size > bytes)
            break;
        bytes -= size;
        at = next;
    }
    return at;
}

void Cut(std::string &text, bool wide, std::size_t bytes)
{
    text.resize(CutLength(text, wide, bytes));
}

void Cut(storage::Bytes &binary, bool, std::size_t bytes)
{
    binary.resize(std::min(binary.size(), bytes));
}

template <class Single> bool CutIf(const storage::Value &value, bool wide, std::size_t bytes, storage::Value &cut)
{
    if (const auto *single = std::get_if<Single>(&value)) {
        Single copy = *single;
        Cut(copy, wide, bytes);
        cut = std::move(copy);
    } else if (const auto *list = std::get_if<std::vector<Single>>(&value)) {
        std::vector<Single> copy = *list;
        for (Single &element : copy)
            Cut(element, wide, bytes);
        cut = std::move(copy);
    } else {
        return false;
    }
    return true;
}

} // namespace

void CutCell(Cell &cell, std::size_t bytes, storage::Value &cut)
{
    if (!cell.value ||
        std::find(std::begin(kIdentifiers), std::end(kIdentifiers), PROP_ID(cell.tag)) != std::end(kIdentifiers))
        return;
    const bool wide = (PROP_TYPE(cell.tag) & ~static_cast<ULONG>(MV_FLAG)) == PT_UNICODE;
    if (CutIf<std::string>(*cell.value, wide, bytes, cut) || CutIf<storage::Bytes>(*cell.value, wide, bytes, cut))
        cell.value = &cut;
}

} // namespace localmapi
