// What a restriction means, as docs/mapi-semantics.md has it: a property that a row lacks is less than every value.
#include "Condition.h"
#include "Model.h"
#include <algorithm>

namespace mapitest
{

namespace
{

bool Related(int order, ULONG relation)
{
    switch (relation) {
    case RELOP_LT:
        return order < 0;
    case RELOP_LE:
        return order <= 0;
    case RELOP_GT:
        return order > 0;
    case RELOP_GE:
        return order >= 0;
    case RELOP_EQ:
        return order == 0;
    default:
        return order != 0;
    }
}

bool RelationHolds(const Condition &condition, const Value *value)
{
    if (!value)
        return Related(-1, condition.how);
    if (const auto *list = std::get_if<std::vector<std::int32_t>>(value))
        return std::any_of(list->begin(), list->end(), [&](std::int32_t one) {
            const Value single = one;
            return Related(Compare(&single, &condition.value), condition.how);
        });
    return Related(Compare(value, &condition.value), condition.how);
}

template <class T> bool Holds(const T &whole, const T &part, ULONG how)
{
    if ((how & 0xFFFF) == FL_FULLSTRING)
        return whole == part;
    if ((how & 0xFFFF) == FL_PREFIX)
        return part.size() <= whole.size() && std::equal(part.begin(), part.end(), whole.begin());
    return part.empty() || std::search(whole.begin(), whole.end(), part.begin(), part.end()) != whole.end();
}

bool TextHolds(const Condition &condition, const Value *value)
{
    if (!value)
        return false;
    if (const auto *bytes = std::get_if<Bytes>(value))
        return Holds(*bytes, std::get<Bytes>(condition.value), condition.how);
    const bool ignoreCase = (condition.how & (FL_IGNORECASE | FL_LOOSE)) != 0;
    const bool ignoreMarks = (condition.how & (FL_IGNORENONSPACE | FL_LOOSE)) != 0;
    return Holds(Folded(std::get<std::string>(*value), ignoreCase, ignoreMarks),
                 Folded(std::get<std::string>(condition.value), ignoreCase, ignoreMarks), condition.how);
}

std::size_t SizeOf(const Value &value)
{
    if (const auto *text = std::get_if<std::string>(&value))
        return Utf16(*text).size() * 2;
    if (const auto *bytes = std::get_if<Bytes>(&value))
        return bytes->size();
    if (const auto *list = std::get_if<std::vector<std::int32_t>>(&value))
        return list->size() * 4;
    return std::holds_alternative<std::int64_t>(value) ? 8 : std::holds_alternative<bool>(value) ? 2 : 4;
}

} // namespace

bool Condition::operator()(const Content &content) const
{
    const auto child = [&](const Condition &one) { return one(content); };
    const Value *found = Find(content.properties, tag);
    switch (kind) {
    case Kind::And:
        return std::all_of(children.begin(), children.end(), child);
    case Kind::Or:
        return std::any_of(children.begin(), children.end(), child);
    case Kind::Not:
        return !child(children.front());
    case Kind::Relation:
        return RelationHolds(*this, found);
    case Kind::Text:
        return TextHolds(*this, found);
    case Kind::Bits: {
        const auto *bits = found ? std::get_if<std::int32_t>(found) : nullptr;
        return bits && ((static_cast<ULONG>(*bits) & mask) == 0) == (how == BMR_EQZ);
    }
    case Kind::Exists:
        return found != nullptr;
    case Kind::Size:
        return Related(found ? SizeOf(*found) < mask ? -1 : SizeOf(*found) > mask : -1, how);
    case Kind::TwoProperties:
        return Related(Compare(found, Find(content.properties, otherTag)), how);
    case Kind::Recipient:
        return std::any_of(content.recipients.begin(), content.recipients.end(), [&](const Recipient &one) {
            const Content part{{{PR_RECIPIENT_TYPE, one.type}, {PR_DISPLAY_NAME_W, one.name}}, {}, {}};
            return children.front()(part);
        });
    case Kind::Attachment:
        return std::any_of(content.attachments.begin(), content.attachments.end(), [&](const auto &one) {
            const Content part{{{PR_ATTACH_LONG_FILENAME_W, one.second.file}}, {}, {}};
            return children.front()(part);
        });
    }
    return false;
}

std::string Condition::Text() const
{
    static const char *const relations[] = {"<", "<=", ">", ">=", "=", "<>"};
    const auto list = [&](const char *name) {
        std::string text = name;
        for (const Condition &one : children)
            text += (&one == &children.front() ? "(" : ", ") + one.Text();
        return text + (children.empty() ? "()" : ")");
    };
    switch (kind) {
    case Kind::And:
        return list("and");
    case Kind::Or:
        return list("or");
    case Kind::Not:
        return list("not");
    case Kind::Relation:
        return NameOf(tag) + " " + relations[how] + " " + TextOf(value);
    case Kind::Text: {
        static const char *const matches[] = {" is ", " holds ", " begins "};
        return NameOf(tag) + matches[how & 0xFFFF] + TextOf(value) + ((how & FL_IGNORECASE) != 0 ? "/i" : "") +
               ((how & FL_IGNORENONSPACE) != 0 ? "/n" : "") + ((how & FL_LOOSE) != 0 ? "/l" : "");
    }
    case Kind::Bits:
        return NameOf(tag) + " & " + std::to_string(mask) + (how == BMR_EQZ ? " = 0" : " <> 0");
    case Kind::Exists:
        return "exists " + NameOf(tag);
    case Kind::Size:
        return "size " + NameOf(tag) + " " + relations[how] + " " + std::to_string(mask);
    case Kind::TwoProperties:
        return NameOf(tag) + " " + relations[how] + " " + NameOf(otherTag);
    case Kind::Recipient:
        return list("any-recipient");
    case Kind::Attachment:
        return list("any-attachment");
    }
    return {};
}

namespace
{

ULONG TagOfType(Random &random, ULONG type)
{
    for (;;) {
        const ULONG tag = random.Of(ComparableTags());
        if (PROP_TYPE(tag) == type)
            return tag;
    }
}

ULONG RandomFuzziness(Random &random)
{
    static const ULONG kinds[] = {FL_FULLSTRING, FL_SUBSTRING, FL_PREFIX};
    static const ULONG flags[] = {0, FL_IGNORECASE, FL_IGNORENONSPACE, FL_LOOSE, FL_IGNORECASE | FL_IGNORENONSPACE};
    return kinds[random.Below(3)] | flags[random.Below(5)];
}

Condition OnPart(Random &random, Condition::Kind kind)
{
    Condition part;
    part.kind = kind;
    Condition inner;
    if (kind == Condition::Kind::Recipient && random.OneIn(2)) {
        inner = {Condition::Kind::Relation, PR_RECIPIENT_TYPE, 0, RELOP_EQ, 0, std::int32_t{random.Between(1, 3)}, {}};
    } else {
        static const std::vector<std::string> pieces = {"a", "Ar", "b", "B", "o", "x"};
        inner.kind = Condition::Kind::Text;
        inner.tag = kind == Condition::Kind::Recipient ? PR_DISPLAY_NAME_W : PR_ATTACH_LONG_FILENAME_W;
        inner.how = FL_SUBSTRING | (random.OneIn(2) ? ULONG{FL_IGNORECASE} : 0);
        inner.value = random.Of(pieces);
    }
    part.children.push_back(inner);
    return part;
}

} // namespace

Condition RandomCondition(Random &random, int depth)
{
    using Kind = Condition::Kind;
    Condition made;
    const int choice = random.Below(depth < 2 ? 20 : 14);
    if (choice >= 14) {
        made.kind = choice < 16 ? Kind::And : choice < 18 ? Kind::Or : Kind::Not;
        const int count = made.kind == Kind::Not ? 1 : random.OneIn(12) ? 0 : random.Between(1, 3);
        for (int i = 0; i < count; ++i)
            made.children.push_back(RandomCondition(random, depth + 1));
        return made;
    }
    if (choice == 13)
        return OnPart(random, random.OneIn(2) ? Kind::Recipient : Kind::Attachment);
    made.tag = random.Of(ComparableTags());
    made.how = static_cast<ULONG>(random.Below(6));
    made.kind = Kind::Relation;
    if (choice == 12) {
        made.kind = Kind::Exists;
    } else if (choice == 11) {
        made.kind = Kind::Size;
        made.mask = static_cast<ULONG>(random.Below(9));
    } else if (choice == 10) {
        made.kind = Kind::TwoProperties;
        made.otherTag = TagOfType(random, PROP_TYPE(made.tag));
    } else if (choice >= 8) {
        made.kind = Kind::Bits;
        made.tag = TagOfType(random, PT_LONG);
        made.how = random.OneIn(2) ? BMR_EQZ : BMR_NEZ;
        made.mask = static_cast<ULONG>(random.Between(1, 15));
    } else if (choice >= 5) {
        made.kind = Kind::Text;
        made.tag = random.OneIn(5) ? ULONG{kBytes} : TagOfType(random, PT_UNICODE);
        made.how = RandomFuzziness(random);
    }
    made.value = RandomValue(random, made.tag);
    if (const auto *list = std::get_if<std::vector<std::int32_t>>(&made.value)) {
        const std::int32_t single = list->front();
        made.value = single;
    }
    return made;
}

SRestriction *Restriction::Children(const std::vector<Condition> &conditions)
{
    auto &nodes = m_nodes.emplace_back(conditions.size());
    for (std::size_t i = 0; i < conditions.size(); ++i)
        Fill(conditions[i], nodes[i]);
    return nodes.data();
}

void Restriction::Fill(const Condition &condition, SRestriction &node)
{
    using Kind = Condition::Kind;
    const auto constant = [&] {
        PropList &list = m_values.emplace_back();
        list.Add(condition.tag & ~ULONG{MV_FLAG}, condition.value);
        return list.data();
    };
    switch (condition.kind) {
    case Kind::And:
    case Kind::Or:
        node.rt = condition.kind == Kind::And ? RES_AND : RES_OR;
        node.res.resAnd.cRes = static_cast<ULONG>(condition.children.size());
        node.res.resAnd.lpRes = Children(condition.children);
        break;
    case Kind::Not:
        node.rt = RES_NOT;
        node.res.resNot.lpRes = Children(condition.children);
        break;
    case Kind::Relation:
        node.rt = RES_PROPERTY;
        node.res.resProperty = {condition.how, condition.tag, constant()};
        break;
    case Kind::Text:
        node.rt = RES_CONTENT;
        node.res.resContent = {condition.how, condition.tag, constant()};
        break;
    case Kind::Bits:
        node.rt = RES_BITMASK;
        node.res.resBitMask = {condition.how, condition.tag, condition.mask};
        break;
    case Kind::Exists:
        node.rt = RES_EXIST;
        node.res.resExist.ulPropTag = condition.tag;
        break;
    case Kind::Size:
        node.rt = RES_SIZE;
        node.res.resSize = {condition.how, condition.tag, condition.mask};
        break;
    case Kind::TwoProperties:
        node.rt = RES_COMPAREPROPS;
        node.res.resCompareProps = {condition.how, condition.tag, condition.otherTag};
        break;
    case Kind::Recipient:
    case Kind::Attachment:
        node.rt = RES_SUBRESTRICTION;
        node.res.resSub.ulSubObject =
            condition.kind == Kind::Recipient ? PR_MESSAGE_RECIPIENTS : PR_MESSAGE_ATTACHMENTS;
        node.res.resSub.lpRes = Children(condition.children);
        break;
    }
}

} // namespace mapitest
