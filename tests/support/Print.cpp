// How values, restrictions, orders and lists are written in a conversation.
#include "support/Print.h"
#include "support/Names.h"
#include <cctype>
#include <cstdio>

namespace mapi_double
{

std::string Hex(ULONGLONG value)
{
    if (value == 0)
        return "0";
    char text[24];
    std::snprintf(text, sizeof(text), "0x%llX", static_cast<unsigned long long>(value));
    return text;
}

std::string Number(LONGLONG value)
{
    return std::to_string(value);
}

std::string Result(HRESULT hr)
{
    const char *name = NameOfResult(hr);
    return name ? name : Hex(static_cast<ULONG>(hr));
}

std::string Quoted(const char *text)
{
    return text ? '"' + std::string(text) + '"' : "NULL";
}

std::string Quoted(const WCHAR *text)
{
    if (!text)
        return "NULL";
    std::string result = "L\"";
    for (; *text; ++text) {
        char escaped[8];
        const unsigned unit = static_cast<unsigned short>(*text);
        std::snprintf(escaped, sizeof(escaped), unit < 0x80 ? "%c" : "\\u%04x", unit);
        result += escaped;
    }
    return result + '"';
}

namespace
{

std::string HexBytes(const std::string &bytes)
{
    std::string result;
    for (unsigned char c : bytes) {
        char digits[4];
        std::snprintf(digits, sizeof(digits), "%02X", c);
        result += digits;
    }
    return result;
}

const char *Relation(ULONG relop)
{
    static const char *const names[] = {"<", "<=", ">", ">=", "==", "!=", "=~"};
    return relop <= RELOP_RE ? names[relop] : "?";
}

std::string FuzzyLevel(ULONG level)
{
    std::string result = (level & 0xFFFF) == FL_SUBSTRING ? "SUBSTRING"
                         : (level & 0xFFFF) == FL_PREFIX  ? "PREFIX"
                         : (level & 0xFFFF) == 0          ? "FULLSTRING"
                                                          : Hex(level & 0xFFFF);
    if (level & FL_IGNORECASE)
        result += "|IGNORECASE";
    if (level & ~(0xFFFFu | FL_IGNORECASE))
        result += "|" + Hex(level & ~(0xFFFFu | FL_IGNORECASE));
    return result;
}

// The value compared with; its own tag only where it differs from the restriction's.
std::string Compared(ULONG tag, const SPropValue *value)
{
    if (!value)
        return "NULL";
    const std::string text = Property(*value);
    return value->ulPropTag == tag ? text.substr(text.find('=') + 1) : text;
}

std::string Children(ULONG count, const SRestriction *children)
{
    std::string result;
    for (ULONG i = 0; i < count; ++i)
        result += (i ? ", " : "") + Restriction(children + i);
    return "(" + result + ")";
}

} // namespace

std::string EntryId(ULONG count, const void *id)
{
    if (!id || count == 0)
        return "eid()";
    const std::string bytes = Bytes(id, count);
    bool readable = count > 4 && bytes.compare(0, 4, std::string(4, '\0')) == 0;
    for (size_t i = 4; readable && i < bytes.size(); ++i)
        readable = std::isprint(static_cast<unsigned char>(bytes[i])) != 0;
    return readable ? "eid(" + bytes.substr(4) + ")" : "eid(hex " + HexBytes(bytes) + ")";
}

std::string Interface(const IID *iid)
{
    if (!iid)
        return "NULL";
    const char *name = NameOfInterface(*iid);
    return name ? name : "IID " + HexBytes(Bytes(iid, sizeof(*iid)));
}

std::string Tag(ULONG tag)
{
    const char *name = NameOfTag(tag);
    char text[16];
    std::snprintf(text, sizeof(text), "0x%08X", static_cast<unsigned>(tag));
    return name ? name : text;
}

std::string PropertyName(const MAPINAMEID &name)
{
    if (name.ulKind != MNID_ID || !name.lpguid)
        return "?";
    const GUID &set = *name.lpguid;
    char text[64];
    std::snprintf(text, sizeof text, "{%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x}/0x%x",
                  static_cast<unsigned>(set.Data1), set.Data2, set.Data3, set.Data4[0], set.Data4[1], set.Data4[2],
                  set.Data4[3], set.Data4[4], set.Data4[5], set.Data4[6], set.Data4[7],
                  static_cast<unsigned>(name.Kind.lID));
    return text;
}

std::string PropertyNames(ULONG count, const MAPINAMEID *const *names)
{
    std::string result;
    for (ULONG i = 0; i < count; ++i)
        result += (i ? ", " : "") + PropertyName(*names[i]);
    return "[" + result + "]";
}

std::string Tags(const SPropTagArray *tags)
{
    if (!tags)
        return "NULL";
    std::string result;
    for (ULONG i = 0; i < tags->cValues; ++i)
        result += (i ? ", " : "") + Tag(tags->aulPropTag[i]);
    return "[" + result + "]";
}

std::string Property(const SPropValue &value)
{
    const std::string name = Tag(value.ulPropTag) + "=";
    switch (PROP_TYPE(value.ulPropTag)) {
    case PT_STRING8:
        return name + Quoted(value.Value.lpszA);
    case PT_UNICODE:
        return name + Quoted(value.Value.lpszW);
    case PT_BINARY: {
        const bool id = value.ulPropTag == PR_ENTRYID || value.ulPropTag == PR_PARENT_ENTRYID ||
                        value.ulPropTag == PR_SENTMAIL_ENTRYID;
        return name + (id ? EntryId(value.Value.bin.cb, value.Value.bin.lpb)
                          : "bin(" + HexBytes(Bytes(value.Value.bin.lpb, value.Value.bin.cb)) + ")");
    }
    case PT_BOOLEAN:
        return name + (value.Value.b ? "TRUE" : "FALSE");
    case PT_SYSTIME:
        return name + Hex((static_cast<ULONGLONG>(value.Value.ft.dwHighDateTime) << 32) | value.Value.ft.dwLowDateTime);
    case PT_I8:
        return name + Number(value.Value.li.QuadPart);
    case PT_ERROR:
        return name + Result(value.Value.err);
    case PT_LONG:
        return name + Number(value.Value.l);
    default:
        return name + "?";
    }
}

std::string Properties(ULONG count, const SPropValue *values)
{
    if (!values)
        return "NULL";
    std::string result;
    for (ULONG i = 0; i < count; ++i)
        result += (i ? ", " : "") + Property(values[i]);
    return "[" + result + "]";
}

std::string Restriction(const SRestriction *restriction)
{
    if (!restriction)
        return "NULL";
    const auto &res = restriction->res;
    switch (restriction->rt) {
    case RES_AND:
        return "AND" + Children(res.resAnd.cRes, res.resAnd.lpRes);
    case RES_OR:
        return "OR" + Children(res.resOr.cRes, res.resOr.lpRes);
    case RES_NOT:
        return "NOT(" + Restriction(res.resNot.lpRes) + ")";
    case RES_CONTENT:
        return "CONTENT(" + Tag(res.resContent.ulPropTag) + " " + FuzzyLevel(res.resContent.ulFuzzyLevel) + " " +
               Compared(res.resContent.ulPropTag, res.resContent.lpProp) + ")";
    case RES_PROPERTY:
        return "PROPERTY(" + Tag(res.resProperty.ulPropTag) + " " + Relation(res.resProperty.relop) + " " +
               Compared(res.resProperty.ulPropTag, res.resProperty.lpProp) + ")";
    case RES_BITMASK:
        return "BITMASK(" + Tag(res.resBitMask.ulPropTag) + " & " + Hex(res.resBitMask.ulMask) +
               (res.resBitMask.relBMR == BMR_EQZ ? " == 0)" : " != 0)");
    case RES_EXIST:
        return "EXIST(" + Tag(res.resExist.ulPropTag) + ")";
    case RES_COMPAREPROPS:
        return "COMPARE(" + Tag(res.resCompareProps.ulPropTag1) + " " + Relation(res.resCompareProps.relop) + " " +
               Tag(res.resCompareProps.ulPropTag2) + ")";
    case RES_SIZE:
        return "SIZE(" + Tag(res.resSize.ulPropTag) + " " + Relation(res.resSize.relop) + " " + Number(res.resSize.cb) +
               ")";
    case RES_SUBRESTRICTION:
        return "SUB(" + Tag(res.resSub.ulSubObject) + ", " + Restriction(res.resSub.lpRes) + ")";
    case RES_COMMENT:
        return "COMMENT(" + Restriction(res.resComment.lpRes) + ")";
    default:
        return "RESTRICTION " + Number(restriction->rt);
    }
}

std::string SortOrder(const SSortOrderSet *order)
{
    if (!order)
        return "NULL";
    std::string result = "SORT(";
    for (ULONG i = 0; i < order->cSorts; ++i)
        result += (i ? ", " : "") + Tag(order->aSort[i].ulPropTag) +
                  (order->aSort[i].ulOrder == TABLE_SORT_ASCEND ? " ASC" : " order " + Number(order->aSort[i].ulOrder));
    if (order->cCategories || order->cExpanded)
        result += "; categories " + Number(order->cCategories) + ", expanded " + Number(order->cExpanded);
    return result + ")";
}

std::string AddressList(const ADRLIST *list)
{
    if (!list)
        return "NULL";
    std::string result;
    for (ULONG i = 0; i < list->cEntries; ++i) {
        const std::string entry = Properties(list->aEntries[i].cValues, list->aEntries[i].rgPropVals);
        result += (i ? "; " : "") + (entry.size() > 1 && entry[0] == '[' ? entry.substr(1, entry.size() - 2) : entry);
    }
    return "[" + result + "]";
}

std::string EntryList(const SBinaryArray *list)
{
    if (!list)
        return "NULL";
    std::string result;
    for (ULONG i = 0; i < list->cValues; ++i)
        result += (i ? ", " : "") + EntryId(list->lpbin[i].cb, list->lpbin[i].lpb);
    return "[" + result + "]";
}

std::string Uid(const MAPIUID *uid)
{
    if (!uid)
        return "NULL";
    if (Bytes(uid, sizeof(*uid)) == Bytes(&kGlobalProfileSection, sizeof(kGlobalProfileSection)))
        return "global section";
    return "uid(" + HexBytes(Bytes(uid, sizeof(*uid))) + ")";
}

std::string Joined(std::initializer_list<std::string> arguments)
{
    std::string result;
    for (const std::string &argument : arguments)
        result += (result.empty() ? "" : ", ") + argument;
    return result;
}

} // namespace mapi_double
