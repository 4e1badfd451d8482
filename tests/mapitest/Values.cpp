// Values: where they come from, how they compare, and their forms.
#include "Values.h"
#include <algorithm>
#include <cstring>
#include <mapicode.h>
#include <mapiutil.h>

namespace mapitest
{

namespace
{

const std::vector<std::string> kTexts = {
    "",          "a",    "A",    "b",    "B",       "ab",       "Ab",       "abc",         "b a",  "RE: a", "re: b",
    "FW: RE: a", "x: y", "1: a", "RE:a", "Long: a", "\xC3\xA9", "\xC3\x89", "caf\xC3\xA9", "CAFE", "z",     "aa"};
const std::vector<std::string> kClasses = {"IPM.Note", "IPM.Note.Voice", "ipm.note", "IPM.Task", "IPM.Note.Fax"};
constexpr std::int64_t kSomeTime = 0x01DA000000000000LL;

int Sign(int order)
{
    return order < 0 ? -1 : order > 0 ? 1 : 0;
}

int CompareTexts(const std::string &left, const std::string &right)
{
    const int order = Folded(left, true, false).compare(Folded(right, true, false));
    return Sign(order ? order : left.compare(right));
}

} // namespace

const std::vector<ULONG> &SettableTags()
{
    static const std::vector<ULONG> tags = {PR_SUBJECT_W,
                                            PR_SUBJECT_W,
                                            PR_IMPORTANCE,
                                            PR_SENSITIVITY,
                                            PR_CLIENT_SUBMIT_TIME,
                                            PR_CLIENT_SUBMIT_TIME,
                                            PR_MESSAGE_DELIVERY_TIME,
                                            PR_MESSAGE_CLASS_W,
                                            kNumber,
                                            kText,
                                            kBytes,
                                            kFlag,
                                            kOtherNumber,
                                            kNumbers};
    return tags;
}

const std::vector<ULONG> &ComparableTags()
{
    static const std::vector<ULONG> tags = {PR_SUBJECT_W,
                                            PR_NORMALIZED_SUBJECT_W,
                                            PR_IMPORTANCE,
                                            PR_SENSITIVITY,
                                            PR_CLIENT_SUBMIT_TIME,
                                            PR_MESSAGE_DELIVERY_TIME,
                                            PR_MESSAGE_CLASS_W,
                                            PR_MESSAGE_FLAGS,
                                            PR_HASATTACH,
                                            PR_DISPLAY_TO_W,
                                            PR_MSG_STATUS,
                                            kNumber,
                                            kText,
                                            kBytes,
                                            kFlag,
                                            kOtherNumber,
                                            kNumbers};
    return tags;
}

Value RandomValue(Random &random, ULONG tag)
{
    switch (PROP_TYPE(tag)) {
    case PT_LONG:
        if (tag == PR_MESSAGE_FLAGS)
            return std::int32_t{random.Below(64)};
        return tag == kNumber || tag == kOtherNumber ? std::int32_t{random.Between(-3, 8)}
                                                     : std::int32_t{random.Below(4)};
    case PT_BOOLEAN:
        return random.OneIn(2);
    case PT_SYSTIME:
        return kSomeTime + std::int64_t{random.Below(12)} * 10000000;
    case PT_UNICODE:
        return tag == PR_MESSAGE_CLASS_W ? random.Of(kClasses) : random.Of(kTexts);
    case PT_MV_LONG: {
        std::vector<std::int32_t> list(static_cast<std::size_t>(random.Between(1, 3)));
        for (std::int32_t &one : list)
            one = random.Between(-1, 3);
        return list;
    }
    default: {
        Bytes bytes(static_cast<std::size_t>(random.OneIn(40) ? random.Between(32760, 70000) : random.Below(5)));
        for (BYTE &byte : bytes)
            byte = static_cast<BYTE>(random.Below(3));
        return bytes;
    }
    }
}

const Value *Find(const Properties &properties, ULONG tag)
{
    const auto found = properties.find(tag);
    return found == properties.end() ? nullptr : &found->second;
}

int Compare(const Value *left, const Value *right)
{
    if (!left || !right)
        return (left != nullptr) - (right != nullptr);
    if (const auto *text = std::get_if<std::string>(left))
        return CompareTexts(*text, std::get<std::string>(*right));
    return *left < *right ? -1 : *right < *left ? 1 : 0;
}

// The only letters beyond ASCII here are an e with an accent and its capital.
std::string Folded(const std::string &text, bool ignoreCase, bool ignoreNonSpace)
{
    std::string folded;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char c = text[at];
        if (c == '\xC3' && at + 1 < text.size()) {
            const bool capital = text[++at] == '\x89';
            if (ignoreNonSpace)
                folded += capital && !ignoreCase ? 'E' : 'e';
            else
                folded += capital && !ignoreCase ? "\xC3\x89" : "\xC3\xA9";
        } else {
            folded += ignoreCase && c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
        }
    }
    return folded;
}

std::string NameOf(ULONG tag)
{
    static const std::map<ULONG, std::string> names = {{PR_SUBJECT_W, "subject"},
                                                       {PR_NORMALIZED_SUBJECT_W, "normalized"},
                                                       {PR_IMPORTANCE, "importance"},
                                                       {PR_SENSITIVITY, "sensitivity"},
                                                       {PR_CLIENT_SUBMIT_TIME, "submitted"},
                                                       {PR_MESSAGE_CLASS_W, "class"},
                                                       {PR_MESSAGE_FLAGS, "flags"},
                                                       {PR_HASATTACH, "has-attachments"},
                                                       {PR_DISPLAY_TO_W, "to"},
                                                       {PR_MSG_STATUS, "status"},
                                                       {kNumber, "number"},
                                                       {kText, "text"},
                                                       {kBytes, "bytes"},
                                                       {kFlag, "flag"},
                                                       {kOtherNumber, "other-number"},
                                                       {kNumbers, "numbers"},
                                                       {PR_BODY_W, "body"},
                                                       {PR_MESSAGE_DELIVERY_TIME, "delivered"},
                                                       {PR_ENTRYID, "entry-id"},
                                                       {PR_INSTANCE_KEY, "instance-key"},
                                                       {PR_PARENT_ENTRYID, "parent"},
                                                       {PR_SUBJECT_PREFIX_W, "prefix"},
                                                       {PR_DISPLAY_NAME_W, "name"},
                                                       {PR_RECIPIENT_TYPE, "type"},
                                                       {PR_ATTACH_LONG_FILENAME_W, "file"},
                                                       {PR_DISPLAY_CC_W, "cc"},
                                                       {PR_DISPLAY_BCC_W, "bcc"}};
    const auto found = names.find(tag);
    return found == names.end() ? std::to_string(tag) : found->second;
}

std::string TextOf(const Bytes &bytes)
{
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < bytes.size() && i < 64; ++i)
        text += {digits[bytes[i] >> 4], digits[bytes[i] & 15]};
    return bytes.size() > 64 ? text + "...(" + std::to_string(bytes.size()) + ")" : text.empty() ? "(no bytes)" : text;
}

std::string TextOf(const Value &value)
{
    if (const auto *number = std::get_if<std::int32_t>(&value))
        return std::to_string(*number);
    if (const auto *flag = std::get_if<bool>(&value))
        return *flag ? "true" : "false";
    if (const auto *time = std::get_if<std::int64_t>(&value))
        return *time >= kSomeTime && *time < kSomeTime + 0x100000000
                   ? "t" + std::to_string((*time - kSomeTime) / 10000000)
                   : std::to_string(*time);
    if (const auto *text = std::get_if<std::string>(&value))
        return text->size() > 80 ? "'" + text->substr(0, 40) + "'...(" + std::to_string(text->size()) + ")"
                                 : "'" + *text + "'";
    if (const auto *bytes = std::get_if<Bytes>(&value))
        return TextOf(*bytes);
    std::string list;
    for (const std::int32_t one : std::get<std::vector<std::int32_t>>(value))
        list += (list.empty() ? "[" : " ") + std::to_string(one);
    return list + "]";
}

std::string NameOf(HRESULT code)
{
    static const std::map<HRESULT, std::string> names = {{S_OK, "S_OK"},
                                                         {MAPI_E_NOT_FOUND, "MAPI_E_NOT_FOUND"},
                                                         {MAPI_E_OBJECT_DELETED, "MAPI_E_OBJECT_DELETED"},
                                                         {MAPI_E_OBJECT_CHANGED, "MAPI_E_OBJECT_CHANGED"},
                                                         {MAPI_E_NO_ACCESS, "MAPI_E_NO_ACCESS"},
                                                         {MAPI_E_COLLISION, "MAPI_E_COLLISION"},
                                                         {MAPI_E_SUBMITTED, "MAPI_E_SUBMITTED"},
                                                         {MAPI_E_NO_RECIPIENTS, "MAPI_E_NO_RECIPIENTS"},
                                                         {MAPI_E_HAS_MESSAGES, "MAPI_E_HAS_MESSAGES"},
                                                         {MAPI_E_HAS_FOLDERS, "MAPI_E_HAS_FOLDERS"},
                                                         {MAPI_E_INVALID_BOOKMARK, "MAPI_E_INVALID_BOOKMARK"},
                                                         {MAPI_E_NOT_ENOUGH_MEMORY, "MAPI_E_NOT_ENOUGH_MEMORY"},
                                                         {MAPI_E_COMPUTED, "MAPI_E_COMPUTED"},
                                                         {MAPI_W_POSITION_CHANGED, "MAPI_W_POSITION_CHANGED"},
                                                         {MAPI_W_PARTIAL_COMPLETION, "MAPI_W_PARTIAL_COMPLETION"},
                                                         {MAPI_W_ERRORS_RETURNED, "MAPI_W_ERRORS_RETURNED"}};
    const auto found = names.find(code);
    if (found != names.end())
        return found->second;
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(code));
    return text;
}

std::u16string Utf16(const std::string &text)
{
    std::u16string wide;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto byte = static_cast<unsigned char>(text[at]);
        if (byte < 0x80)
            wide += static_cast<char16_t>(byte);
        else
            wide += static_cast<char16_t>((byte & 0x1F) << 6 | (static_cast<unsigned char>(text[++at]) & 0x3F));
    }
    return wide;
}

std::string Utf8(const std::u16string &text)
{
    std::string narrow;
    for (const char16_t unit : text) {
        if (unit < 0x80) {
            narrow += static_cast<char>(unit);
        } else {
            narrow += static_cast<char>(0xC0 | unit >> 6);
            narrow += static_cast<char>(0x80 | (unit & 0x3F));
        }
    }
    return narrow;
}

Value ValueOf(const SPropValue &property)
{
    switch (PROP_TYPE(property.ulPropTag)) {
    case PT_LONG:
        return std::int32_t{property.Value.l};
    case PT_BOOLEAN:
        return property.Value.b != 0;
    case PT_SYSTIME:
        return static_cast<std::int64_t>(std::uint64_t{property.Value.ft.dwHighDateTime} << 32 |
                                         property.Value.ft.dwLowDateTime);
    case PT_UNICODE:
        return Utf8(std::u16string(reinterpret_cast<const char16_t *>(property.Value.lpszW)));
    case PT_MV_LONG:
        return std::vector<std::int32_t>(property.Value.MVl.lpl, property.Value.MVl.lpl + property.Value.MVl.cValues);
    default:
        return Bytes(property.Value.bin.lpb, property.Value.bin.lpb + property.Value.bin.cb);
    }
}

bool IsLong(const Value &value)
{
    const auto *bytes = std::get_if<Bytes>(&value);
    const auto *text = std::get_if<std::string>(&value);
    return (bytes && bytes->size() > kLongest) || (text && text->size() > kLongest);
}

void PropList::Add(ULONG tag, const Value &value, bool narrow)
{
    SPropValue property{};
    property.ulPropTag = tag;
    if (const auto *number = std::get_if<std::int32_t>(&value)) {
        property.Value.l = *number;
    } else if (const auto *flag = std::get_if<bool>(&value)) {
        property.Value.b = *flag ? 1 : 0;
    } else if (const auto *time = std::get_if<std::int64_t>(&value)) {
        property.Value.ft.dwLowDateTime = static_cast<DWORD>(*time);
        property.Value.ft.dwHighDateTime = static_cast<DWORD>(static_cast<std::uint64_t>(*time) >> 32);
    } else if (const auto *text = std::get_if<std::string>(&value)) {
        if (narrow) {
            property.ulPropTag = CHANGE_PROP_TYPE(tag, PT_STRING8);
            property.Value.lpszA = m_narrow.emplace_back(*text).data();
        } else {
            property.Value.lpszW = reinterpret_cast<LPWSTR>(m_wide.emplace_back(Utf16(*text)).data());
        }
    } else if (const auto *bytes = std::get_if<Bytes>(&value)) {
        Bytes &held = m_bytes.emplace_back(*bytes);
        property.Value.bin.cb = static_cast<ULONG>(held.size());
        property.Value.bin.lpb = held.data();
        static BYTE none = 0;
        if (held.empty())
            property.Value.bin.lpb = &none;
    } else {
        const auto &list = std::get<std::vector<std::int32_t>>(value);
        auto &held = m_lists.emplace_back(list.begin(), list.end());
        property.Value.MVl.cValues = static_cast<ULONG>(held.size());
        property.Value.MVl.lpl = held.data();
    }
    m_values.push_back(property);
}

} // namespace mapitest
