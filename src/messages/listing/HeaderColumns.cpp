// The columns and, beside each, the function that decodes it, in the order in which a row has
// them.
#include "messages/listing/HeaderColumns.h"
#include "messages/listing/FaxSettings.h"
#include <ExchangeMapi.h>
#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>

namespace
{

// How the two readers of headers differ.
struct Reading {
    bool offsetFallsThrough = false;
    LearnedFax *learned = nullptr;
};

using Decoder = void (*)(const SPropValue &value, const Reading &reading, Header &header);

struct HeaderColumn {
    ULONG ulPropTag;
    Decoder into; // null where the property is asked for and not kept
};

// `part` is ASCII in lower case.
bool ContainsWhateverTheCase(std::string_view text, std::string_view part)
{
    const auto same = [](char c, char wanted) { return (c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c) == wanted; };
    return std::search(text.begin(), text.end(), part.begin(), part.end(), same) != text.end();
}

// The text lies in a block of MAPI's own, so only a null pointer is looked for; testing each of a page's thousands of
// texts for readability took as long as reading the page.
std::string_view TextOf(const SPropValue &value)
{
    return value.Value.lpszA ? value.Value.lpszA : "";
}

template <tstring Header::*Field> void TextInto(const SPropValue &value, const Reading &, Header &header)
{
    header.*Field = std::string(TextOf(value));
}

template <auto Field> void NumberInto(const SPropValue &value, const Reading &, Header &header)
{
    using Number = std::remove_reference_t<decltype(header.*Field)>;
    header.*Field = static_cast<Number>(value.Value.l);
}

template <bool Header::*Field, LONG Wanted> void EqualityInto(const SPropValue &value, const Reading &, Header &header)
{
    header.*Field = value.Value.l == Wanted;
}

void EntryIdInto(const SPropValue &value, const Reading &, Header &header)
{
    const SBinary &bin = value.Value.bin;
    if (bin.lpb)
        header.entryID.assign(bin.lpb, bin.lpb + bin.cb);
    else
        header.entryID.clear();
}

void CreatorNameInto(const SPropValue &value, const Reading &reading, Header &header)
{
    header.strCreatorName = std::string(TextOf(value));
    if (!reading.learned)
        return;
    if (ContainsWhateverTheCase(header.strCreatorName, "faxmaker"))
        reading.learned->bServerSeen = true;
    reading.learned->strCreatorName = header.strCreatorName;
}

// A sender address in the fax product's domain replaces the creator name, which comes earlier in the column set.
void SenderAddressInto(const SPropValue &value, const Reading &reading, Header &header)
{
    const std::string_view address = TextOf(value);
    if (address.empty() || !ContainsWhateverTheCase(address, FaxDomainSuffix))
        return;
    header.strCreatorName = std::string(address);
    if (!reading.learned)
        return;
    reading.learned->bServerSeen = true;
    reading.learned->strCreatorName = tstring("FAXmaker");
}

void SubmitTimeInto(const SPropValue &value, const Reading &, Header &header)
{
    FileTimeToSystemTime(&value.Value.ft, &header.stSubmitTime);
}

void MessageFlagsInto(const SPropValue &value, const Reading &, Header &header)
{
    header.bRead = (value.Value.l & MSGFLAG_READ) != 0;
    header.bHasAttach = (value.Value.l & MSGFLAG_HASATTACH) != 0;
}

// In a listing the number of messages received is the offset where the message has no such property, as the contract
// has it: its own column comes later and overwrites it.
void OffsetInto(const SPropValue &value, const Reading &reading, Header &header)
{
    header.offset = value.Value.l;
    if (reading.offsetFallsThrough)
        header.ulMsgReceived = static_cast<ULONG>(value.Value.l);
}

constexpr HeaderColumn kHeaderColumns[] = {
    {PR_ENTRYID, &EntryIdInto},
    {PR_MESSAGE_CLASS_A, nullptr},
    {PR_IMPORTANCE, &EqualityInto<&Header::bHighPriority, IMPORTANCE_HIGH>},
    {PR_SENSITIVITY, &EqualityInto<&Header::bPrivate, SENSITIVITY_PRIVATE>},
    {PR_SENDER_NAME_A, &TextInto<&Header::strSenderName>},
    {PR_CREATOR_NAME_A, &CreatorNameInto},
    {PR_CLIENT_SUBMIT_TIME, &SubmitTimeInto},
    {PR_MESSAGE_FLAGS, &MessageFlagsInto},
    {PR_MESSAGE_SIZE, &NumberInto<&Header::ulSize>},
    {PR_COMMENT_A, &TextInto<&Header::strComment>},
    {PR_SENDER_EMAIL_ADDRESS_A, &SenderAddressInto},
    {PR_UM_DURATION, &NumberInto<&Header::lSecs>},
    {PR_UM_TELEPHONE_NUMBER_A, &TextInto<&Header::szNumber>},
    {PR_UM_SENDER_NAME_A, &TextInto<&Header::szName>},
    {PR_UM_OFFSET, &OffsetInto},
    {PR_UM_MESSAGE_RECEIVED, &NumberInto<&Header::ulMsgReceived>},
};
constexpr ULONG kHeaderColumnCount = static_cast<ULONG>(std::size(kHeaderColumns));

// The decoder of a property; null for none. A row has its values in the order of the columns, so that the i-th is
// looked for at the i-th place first.
Decoder DecoderOf(ULONG ulPropTag, ULONG i)
{
    if (i < kHeaderColumnCount && kHeaderColumns[i].ulPropTag == ulPropTag)
        return kHeaderColumns[i].into;
    for (const HeaderColumn &column : kHeaderColumns)
        if (column.ulPropTag == ulPropTag)
            return column.into;
    return nullptr;
}

// A value that came back as an error has another tag than the one asked for, and so fills nothing.
void Decode(const SPropValue *values, ULONG cValues, const Reading &reading, Header &header)
{
    for (ULONG i = 0; values && i < cValues; ++i)
        if (const Decoder into = DecoderOf(values[i].ulPropTag, i))
            into(values[i], reading, header);
}

} // namespace

LPSPropTagArray HeaderTags()
{
    static const SizedSPropTagArray(kHeaderColumnCount, tags) = [] {
        std::remove_const_t<decltype(tags)> array = {kHeaderColumnCount, {}};
        for (ULONG i = 0; i < kHeaderColumnCount; ++i)
            array.aulPropTag[i] = kHeaderColumns[i].ulPropTag;
        return array;
    }();
    return reinterpret_cast<LPSPropTagArray>(const_cast<ULONG *>(&tags.cValues));
}

void HeaderFromRow(const SPropValue *values, ULONG cValues, LearnedFax *learned, Header &header)
{
    Decode(values, cValues, {true, learned}, header);
}

void HeaderFromMessage(const SPropValue *values, ULONG cValues, Header &header)
{
    Decode(values, cValues, {false, nullptr}, header);
}
