// Each kind of node with its description. A node's pointers lead into its backing, which copies of it share.
#include "common/mapi/Restriction.h"
#include "common/text/tstring.h"

namespace
{

const char *RelationName(ULONG relop)
{
    switch (relop) {
    case RELOP_LT:
        return "<";
    case RELOP_LE:
        return "<=";
    case RELOP_GT:
        return ">";
    case RELOP_GE:
        return ">=";
    case RELOP_EQ:
        return "==";
    case RELOP_NE:
        return "!=";
    default:
        return "matches";
    }
}

// A conjunction has no parentheses of its own, since a filter as a whole is one; below another node it gets them.
std::string Enclosed(const Restriction &part)
{
    return part.Get()->rt == RES_AND ? "(" + part.Description() + ")" : part.Description();
}

std::string Joined(const std::vector<Restriction> &parts, const char *separator)
{
    std::string joined;
    for (const Restriction &part : parts) {
        if (!joined.empty())
            joined += separator;
        joined += Enclosed(part);
    }
    return joined;
}

} // namespace

std::shared_ptr<Restriction::Backing> Restriction::ValueOf(ULONG ulPropTag)
{
    auto backing = std::make_shared<Backing>();
    backing->value.ulPropTag = ulPropTag;
    return backing;
}

std::shared_ptr<Restriction::Backing> Restriction::TextOf(ULONG ulPropTag, const std::string &text)
{
    auto backing = ValueOf(ulPropTag);
    backing->text = text;
    backing->value.Value.lpszA = backing->text.data();
    return backing;
}

std::shared_ptr<Restriction::Backing> Restriction::PartsOf(const std::vector<Restriction> &parts)
{
    auto backing = std::make_shared<Backing>();
    for (const Restriction &part : parts) {
        backing->nodes.push_back(part.m_node);
        backing->parts.push_back(part.m_backing);
    }
    return backing;
}

Restriction Restriction::Comparison(Property property, ULONG relop, std::shared_ptr<Backing> backing,
                                    const std::string &value)
{
    Restriction restriction;
    restriction.m_node.rt = RES_PROPERTY;
    restriction.m_node.res.resProperty = {relop, property.ulPropTag, &backing->value};
    restriction.m_backing = std::move(backing);
    restriction.m_description = std::string("(") + property.szName + " " + RelationName(relop) + " " + value + ")";
    return restriction;
}

Restriction Restriction::Compare(Property property, ULONG relop, const std::string &text)
{
    return Comparison(property, relop, TextOf(property.ulPropTag, text), text);
}

Restriction Restriction::Compare(Property property, ULONG relop, Constant number)
{
    auto backing = ValueOf(property.ulPropTag);
    backing->value.Value.l = number.lValue;
    return Comparison(property, relop, std::move(backing), number.szName);
}

Restriction Restriction::Compare(Property property, ULONG relop, bool value)
{
    auto backing = ValueOf(property.ulPropTag);
    backing->value.Value.b = value;
    return Comparison(property, relop, std::move(backing), value ? "TRUE" : "FALSE");
}

Restriction Restriction::Compare(Property property, ULONG relop, const FILETIME &time)
{
    auto backing = ValueOf(property.ulPropTag);
    backing->value.Value.ft = time;
    SYSTEMTIME utc = {};
    FileTimeToSystemTime(&time, &utc);
    tstring shown;
    shown.Format("%04d-%02d-%02d %02d:%02d:%02d UTC", utc.wYear, utc.wMonth, utc.wDay, utc.wHour, utc.wMinute,
                 utc.wSecond);
    return Comparison(property, relop, std::move(backing), shown);
}

Restriction Restriction::Content(Property property, ULONG fuzzyLevel, const std::string &text)
{
    auto backing = TextOf(property.ulPropTag, text);
    const bool prefix = (fuzzyLevel & 0xFFFF) == FL_PREFIX;
    Restriction restriction;
    restriction.m_node.rt = RES_CONTENT;
    restriction.m_node.res.resContent = {fuzzyLevel, property.ulPropTag, &backing->value};
    restriction.m_backing = std::move(backing);
    restriction.m_description =
        std::string("(") + property.szName + (prefix ? " starts with " : " contains ") + text + ")";
    return restriction;
}

Restriction Restriction::Bits(Property property, ULONG relation, Constant mask)
{
    Restriction restriction;
    restriction.m_node.rt = RES_BITMASK;
    restriction.m_node.res.resBitMask = {relation, property.ulPropTag, static_cast<ULONG>(mask.lValue)};
    restriction.m_description =
        std::string("((") + property.szName + " & " + mask.szName + ") " + (relation == BMR_NEZ ? "!=" : "==") + " 0)";
    return restriction;
}

Restriction Restriction::Exists(Property property)
{
    Restriction restriction;
    restriction.m_node.rt = RES_EXIST;
    restriction.m_node.res.resExist.ulPropTag = property.ulPropTag;
    restriction.m_description = std::string("(") + property.szName + " exists)";
    return restriction;
}

Restriction Restriction::And(const std::vector<Restriction> &parts)
{
    auto backing = PartsOf(parts);
    Restriction restriction;
    restriction.m_node.rt = RES_AND;
    restriction.m_node.res.resAnd = {static_cast<ULONG>(backing->nodes.size()), backing->nodes.data()};
    restriction.m_backing = std::move(backing);
    restriction.m_description = Joined(parts, " AND ");
    return restriction;
}

Restriction Restriction::Or(const std::vector<Restriction> &parts)
{
    auto backing = PartsOf(parts);
    Restriction restriction;
    restriction.m_node.rt = RES_OR;
    restriction.m_node.res.resOr = {static_cast<ULONG>(backing->nodes.size()), backing->nodes.data()};
    restriction.m_backing = std::move(backing);
    restriction.m_description = "(" + Joined(parts, " OR ") + ")";
    return restriction;
}

Restriction Restriction::Not(const Restriction &part)
{
    auto backing = PartsOf({part});
    Restriction restriction;
    restriction.m_node.rt = RES_NOT;
    restriction.m_node.res.resNot = {0, backing->nodes.data()};
    restriction.m_backing = std::move(backing);
    restriction.m_description = "NOT " + Enclosed(part);
    return restriction;
}
