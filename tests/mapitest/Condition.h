// Restrictions: made at random, evaluated against the model's messages, and in MAPI's form.
#pragma once
#include "Values.h"
#include <list>
#include <memory>

namespace mapitest
{

struct Content;

struct Condition {
    enum class Kind { And, Or, Not, Relation, Text, Bits, Exists, Size, TwoProperties, Recipient, Attachment };
    Kind kind = Kind::And;
    ULONG tag = 0;
    ULONG otherTag = 0;
    ULONG how = 0;  // RELOP_, FL_ or BMR_
    ULONG mask = 0; // of Bits; the bytes of Size
    Value value;
    std::vector<Condition> children;

    bool operator()(const Content &content) const;
    std::string Text() const;
};

Condition RandomCondition(Random &random, int depth = 0);

// The condition as MAPI takes it; lives as long as this.
class Restriction
{
  public:
    explicit Restriction(const Condition &condition) { Fill(condition, m_root); }
    SRestriction *get() { return &m_root; }

  private:
    void Fill(const Condition &condition, SRestriction &node);
    SRestriction *Children(const std::vector<Condition> &conditions);

    SRestriction m_root{};
    std::list<std::vector<SRestriction>> m_nodes;
    std::list<PropList> m_values;
};

} // namespace mapitest
