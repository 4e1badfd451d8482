// Restrictions as values. A restriction is built from its parts, may be copied and kept, and owns every node, value
// and text that MAPI reads through Get(). Its description, the form in which filters are traced, is written by the
// same functions that build the nodes, so that the two cannot differ.
#pragma once
#include <mapix.h>
#include <memory>
#include <string>
#include <vector>

// A property and the name under which descriptions show it.
struct Property {
    ULONG ulPropTag;
    const char *szName;
};

// A number and the name under which descriptions show it.
struct Constant {
    LONG lValue;
    const char *szName;
};

class Restriction
{
  public:
    // Valid as long as this object or a copy of it lives. MAPI takes a pointer that is not const and does not write.
    LPSRestriction Get() const { return const_cast<LPSRestriction>(&m_node); }
    const std::string &Description() const { return m_description; }

    // The property stands in a relation (RELOP_EQ, RELOP_NE, ...) to a value: text for PT_STRING8, a number for
    // PT_LONG, a truth value for PT_BOOLEAN, a time for PT_SYSTIME.
    static Restriction Compare(Property property, ULONG relop, const std::string &text);
    static Restriction Compare(Property property, ULONG relop, const char *text)
    {
        return Compare(property, relop, std::string(text));
    }
    static Restriction Compare(Property property, ULONG relop, Constant number);
    static Restriction Compare(Property property, ULONG relop, bool value);
    static Restriction Compare(Property property, ULONG relop, const FILETIME &time);
    // The property's text holds a text: fuzzyLevel is FL_SUBSTRING or FL_PREFIX, with FL_IGNORECASE as wished.
    static Restriction Content(Property property, ULONG fuzzyLevel, const std::string &text);
    // The bits of a mask: relation is BMR_NEZ (one of them is set) or BMR_EQZ (none is).
    static Restriction Bits(Property property, ULONG relation, Constant mask);
    static Restriction Exists(Property property);
    static Restriction And(const std::vector<Restriction> &parts);
    static Restriction Or(const std::vector<Restriction> &parts);
    static Restriction Not(const Restriction &part);

  private:
    // What a node points to. It never moves, so nodes are copied freely.
    struct Backing {
        SPropValue value = {};
        std::string text;
        std::vector<SRestriction> nodes;
        std::vector<std::shared_ptr<const Backing>> parts;
    };

    Restriction() = default;
    static std::shared_ptr<Backing> ValueOf(ULONG ulPropTag);
    static std::shared_ptr<Backing> TextOf(ULONG ulPropTag, const std::string &text);
    static std::shared_ptr<Backing> PartsOf(const std::vector<Restriction> &parts);
    static Restriction Comparison(Property property, ULONG relop, std::shared_ptr<Backing> backing,
                                  const std::string &value);

    SRestriction m_node = {};
    std::shared_ptr<const Backing> m_backing;
    std::string m_description;
};

// The usual forms, as filters are read.
template <class Value> Restriction Is(Property property, const Value &value)
{
    return Restriction::Compare(property, RELOP_EQ, value);
}
template <class Value> Restriction IsNot(Property property, const Value &value)
{
    return Restriction::Compare(property, RELOP_NE, value);
}
inline Restriction Contains(Property property, const std::string &text)
{
    return Restriction::Content(property, FL_SUBSTRING | FL_IGNORECASE, text);
}
inline Restriction StartsWith(Property property, const std::string &text)
{
    return Restriction::Content(property, FL_PREFIX | FL_IGNORECASE, text);
}
inline Restriction BitsSet(Property property, Constant mask)
{
    return Restriction::Bits(property, BMR_NEZ, mask);
}
inline Restriction BitsClear(Property property, Constant mask)
{
    return Restriction::Bits(property, BMR_EQZ, mask);
}
inline Restriction All(const std::vector<Restriction> &parts)
{
    return Restriction::And(parts);
}
inline Restriction Any(const std::vector<Restriction> &parts)
{
    return Restriction::Or(parts);
}
inline Restriction Not(const Restriction &part)
{
    return Restriction::Not(part);
}
