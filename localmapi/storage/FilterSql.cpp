// A filter as an SQL condition with parameters. What SQLite can not say itself calls the functions of Functions.cpp.
#include "localmapi/storage/FilterSql.h"
#include "localmapi/storage/FilterMatch.h"
#include "localmapi/storage/FilterOrder.h"
#include "localmapi/storage/Functions.h"
#include "localmapi/storage/Properties.h"
#include <span>

namespace localmapi::storage
{

Query::Query(Connection &connection, const SqlText &sql)
    : m_values(sql.Values()), m_statement(connection.Prepare(sql.text))
{
    m_encoded.reserve(m_values.size());
    for (const Value &value : m_values) {
        m_encoded.emplace_back(value);
        m_encoded.back().Bind(m_statement, static_cast<int>(m_encoded.size()));
    }
}

ObjectKind RowKind(Container::Kind kind)
{
    switch (kind) {
    case Container::Kind::Contents:
    case Container::Kind::Associated:
        return ObjectKind::Message;
    case Container::Kind::Folders:
    case Container::Kind::FoldersDeep:
        return ObjectKind::Folder;
    case Container::Kind::Attachments:
        return ObjectKind::Attachment;
    case Container::Kind::Recipients:
        return ObjectKind::Recipient;
    case Container::Kind::Directory:
        return ObjectKind::User;
    }
    return ObjectKind::Message;
}

SqlText FromContainer(const Container &container)
{
    SqlText sql;
    auto childrenOfKind = [&](ObjectKind kind) {
        sql += kind == ObjectKind::Recipient
                   ? "FROM object o WHERE o.parent = (SELECT IFNULL(list, id) FROM object WHERE id = "
                   : "FROM object o WHERE o.parent = ";
        sql.Parameter(container.of);
        sql += kind == ObjectKind::Recipient ? ")" : "";
        sql += " AND o.kind = " + std::to_string(static_cast<int>(kind));
    };
    switch (container.kind) {
    case Container::Kind::FoldersDeep:
        sql += "FROM (WITH RECURSIVE sub (id, depth) AS (SELECT id, 1 FROM object WHERE parent = ";
        sql.Parameter(container.of);
        sql += " AND kind = 2 UNION ALL SELECT c.id, sub.depth + 1 FROM sub JOIN object c ON c.parent = sub.id "
               "AND c.kind = 2) SELECT id, depth FROM sub) d JOIN object o ON o.id = d.id WHERE 1";
        break;
    case Container::Kind::Directory:
        sql += "FROM object o WHERE o.parent IS NULL AND o.kind IN (6, 7)";
        break;
    default:
        childrenOfKind(RowKind(container.kind));
    }
    return sql;
}

namespace
{

std::string FacetColumn(const std::string &alias, const char *column)
{
    return std::string("(SELECT ") + column + " FROM facet WHERE id = " + alias + ".facet)";
}

std::string SumOfFacets(const std::string &alias, const char *condition)
{
    return "(SELECT IFNULL(sum(count), 0) FROM facet WHERE container = " + alias + ".id AND " + condition + ")";
}

std::string TimeColumn(const std::string &column)
{
    return "NULLIF(" + column + ", -9223372036854775808)";
}

std::string CommonColumn(Tag tag, const std::string &alias)
{
    switch (tag) {
    case kObjectId:
        return alias + ".id";
    case kParentId:
        return alias + ".parent";
    case kChangeNumber:
        return alias + ".change";
    case kCreationTime:
        return alias + ".created";
    case kLastModificationTime:
        return alias + ".modified";
    default:
        return {};
    }
}

std::string MessageColumn(Tag tag, const std::string &alias)
{
    switch (tag) {
    case kMessageClass:
        return FacetColumn(alias, "class");
    case kImportance:
        return FacetColumn(alias, "importance");
    case kMessageFlags:
        return FacetColumn(alias, "flags");
    case kHasAttachments:
        return "(" + FacetColumn(alias, "flags") + " & 16 <> 0)";
    case kClientSubmitTime:
        return TimeColumn(alias + ".submitted");
    case kMessageDeliveryTime:
        return TimeColumn(alias + ".delivered");
    case kMessageSize:
        return "min(" + alias + ".size, 2147483647)";
    default:
        return {};
    }
}

std::string FolderColumn(Tag tag, Container::Kind kind, const std::string &alias)
{
    std::string folders = "FROM object WHERE parent = " + alias + ".id AND kind = 2)";
    switch (tag) {
    case kContentCount:
        return SumOfFacets(alias, "flags & 64 = 0");
    case kContentUnread:
        return SumOfFacets(alias, "flags & 65 = 0");
    case kAssociatedCount:
        return SumOfFacets(alias, "flags & 64 <> 0");
    case kSubfolders:
        return "EXISTS (SELECT 1 " + folders;
    case kFolderChildCount:
        return "(SELECT count(*) " + folders;
    case kFolderDepth:
        return kind == Container::Kind::FoldersDeep ? "d.depth" : "1";
    default:
        return {};
    }
}

// The expression of a tag that is a column of the container's rows; empty for others.
std::string ColumnOf(Tag tag, Container::Kind kind, const std::string &alias)
{
    if (std::string common = CommonColumn(tag, alias); !common.empty())
        return common;
    switch (kind) {
    case Container::Kind::Contents:
    case Container::Kind::Associated:
        return MessageColumn(tag, alias);
    case Container::Kind::Folders:
    case Container::Kind::FoldersDeep:
        return FolderColumn(tag, kind, alias);
    case Container::Kind::Attachments:
        return tag == kAttachNumber ? alias + ".number"
               : tag == kAttachSize ? "min(" + alias + ".size, 2147483647)"
                                    : "";
    case Container::Kind::Recipients:
        return tag == kRowId ? alias + ".number" : "";
    default:
        return {};
    }
}

std::string OfProperty(const std::string &what, Tag tag, const std::string &alias)
{
    return "(SELECT " + what + " FROM property WHERE object = " + alias + ".id AND tag = " + std::to_string(tag) + ")";
}

bool MayBeStream(Tag tag)
{
    return !IsMultiple(tag) &&
           (TagType(tag) == Type::Text || TagType(tag) == Type::Binary || TagType(tag) == Type::Object);
}

const char *RelationText(Relation relation)
{
    switch (relation) {
    case Relation::Less:
        return "<";
    case Relation::LessOrEqual:
        return "<=";
    case Relation::Greater:
        return ">";
    case Relation::GreaterOrEqual:
        return ">=";
    case Relation::Equal:
        return "=";
    case Relation::NotEqual:
        return "<>";
    }
    return "=";
}

// Whether a value that is less than every other one satisfies the relation.
bool LessSatisfies(Relation relation)
{
    return Related(-1, relation);
}

std::string OrElse(const std::string &expression, bool whenNull)
{
    return "IFNULL(" + expression + ", " + (whenNull ? "1" : "0") + ")";
}

} // namespace

std::string ValueOf(Tag tag, Container::Kind kind, const std::string &alias)
{
    if (std::string column = ColumnOf(tag, kind, alias); !column.empty())
        return column;
    return OfProperty(MayBeStream(tag) ? "IFNULL(value, stream_value(object, tag))" : "value", tag, alias);
}

std::string OrderOf(Tag tag, const std::string &expression)
{
    const char *collation = CollationOf(tag);
    if (!collation)
        return expression;
    return (IsMultiple(tag) ? "CAST(" + expression + " AS TEXT)" : expression) + " COLLATE " + collation;
}

std::string RelationOf(Tag tag, const std::string &left, Relation relation, const std::string &right)
{
    // Only equal text is equal, so that the order of text need not be asked.
    bool equality = relation == Relation::Equal || relation == Relation::NotEqual;
    if (equality && !IsMultiple(tag))
        return "(" + left + " " + RelationText(relation) + " " + right + ")";
    std::string other = IsMultiple(tag) ? "CAST(" + right + " AS TEXT)" : right;
    return "(" + OrderOf(tag, left) + " " + RelationText(relation) + " " + other + ")";
}

SqlText RelationWith(Tag tag, const std::string &left, Relation relation, const Value &right, bool whenNull)
{
    std::string text = RelationOf(tag, left, relation, "?");
    std::size_t at = text.rfind('?');
    SqlText sql;
    sql += "IFNULL(" + text.substr(0, at);
    sql.Parameter(right);
    sql += text.substr(at + 1) + (whenNull ? ", 1)" : ", 0)");
    return sql;
}

namespace
{

SqlText CompareCondition(const Filter &filter, Container::Kind kind, const std::string &alias)
{
    SqlText sql;
    std::string value = ValueOf(filter.tag, kind, alias);
    if (filter.tag == kObjectId && filter.relation == Relation::Equal) { // found by its key
        sql += value + " = ";
        sql.Parameter(filter.value);
        return sql;
    }
    if (IsMultiple(filter.tag)) {
        sql += "IFNULL(list_relates(" + value + ", " + std::to_string(filter.tag) + ", " +
               std::to_string(static_cast<int>(filter.relation)) + ", ";
        sql.Parameter(filter.value);
        sql += LessSatisfies(filter.relation) ? "), 1)" : "), 0)";
        return sql;
    }
    return RelationWith(filter.tag, value, filter.relation, filter.value, LessSatisfies(filter.relation));
}

std::string ComparePropertiesCondition(const Filter &filter, Container::Kind kind, const std::string &alias)
{
    std::string left = ValueOf(filter.tag, kind, alias), right = ValueOf(filter.otherTag, kind, alias);
    auto whenOrder = [&](int order) { return Related(order, filter.relation) ? std::string("1") : std::string("0"); };
    return "CASE WHEN " + left + " IS NULL THEN CASE WHEN " + right + " IS NULL THEN " + whenOrder(0) + " ELSE " +
           whenOrder(-1) + " END WHEN " + right + " IS NULL THEN " + whenOrder(1) + " ELSE " +
           RelationOf(filter.tag, left, filter.relation, right) + " END";
}

SqlText ContentCondition(const Filter &filter, Container::Kind kind, const std::string &alias)
{
    SqlText sql;
    sql += "IFNULL(content(" + ValueOf(filter.tag, kind, alias) + ", " + std::to_string(filter.tag) + ", " +
           std::to_string(ContentFlags(filter)) + ", ";
    if (auto text = std::get_if<std::string>(&filter.value))
        sql.Parameter(Folded(filter, *text));
    else
        sql.Parameter(filter.value);
    sql += "), 0)";
    return sql;
}

std::string SizeCondition(const Filter &filter, Container::Kind kind, const std::string &alias)
{
    std::string arguments = ", " + std::to_string(filter.tag) + (filter.wide ? ", 1)" : ", 0)");
    std::string size;
    if (!ColumnOf(filter.tag, kind, alias).empty() || (filter.wide && TagType(filter.tag) == Type::Text))
        size = "value_size(" + ValueOf(filter.tag, kind, alias) + arguments;
    else
        size = OfProperty("IFNULL(value_size(value" + arguments +
                              ", (SELECT s.size FROM stream s WHERE s.object = property.object AND s.tag = "
                              "property.tag))",
                          filter.tag, alias);
    return OrElse("(" + size + " " + RelationText(filter.relation) + " " + std::to_string(filter.size) + ")",
                  LessSatisfies(filter.relation));
}

// Halved again and again, so that a long list makes no deep expression.
void AppendList(SqlText &sql, std::span<const Filter *const> children, const char *join, Container::Kind kind,
                const std::string &alias, int depth)
{
    if (children.size() == 1) {
        sql.append(ConditionOf(*children.front(), kind, alias, depth));
        return;
    }
    const std::size_t half = children.size() / 2;
    sql += "(";
    AppendList(sql, children.first(half), join, kind, alias, depth);
    sql += join;
    AppendList(sql, children.subspan(half), join, kind, alias, depth);
    sql += ")";
}

SqlText ListCondition(const Filter &filter, Container::Kind kind, const std::string &alias, int depth)
{
    bool isAnd = filter.node == Filter::Node::And;
    SqlText sql;
    if (filter.children.empty())
        sql += isAnd ? "1" : "0";
    else
        AppendList(sql, InOrderOfCost(filter, RowKind(kind)), isAnd ? " AND " : " OR ", kind, alias, depth);
    return sql;
}

SqlText SubobjectCondition(const Filter &filter, Container::Kind kind, const std::string &alias, int depth)
{
    SqlText sql;
    if (RowKind(kind) != ObjectKind::Message) {
        sql += "0";
        return sql;
    }
    Container::Kind inner =
        filter.node == Filter::Node::AnyRecipient ? Container::Kind::Recipients : Container::Kind::Attachments;
    std::string name = "s" + std::to_string(depth);
    const std::string parent =
        inner == Container::Kind::Recipients ? "IFNULL(" + alias + ".list, " + alias + ".id)" : alias + ".id";
    sql += "EXISTS (SELECT 1 FROM object " + name + " WHERE " + name + ".parent = " + parent + " AND " + name +
           ".kind = " + std::to_string(static_cast<int>(RowKind(inner))) + " AND ";
    sql.append(ConditionOf(filter.children.at(0), inner, name, depth + 1));
    sql += ")";
    return sql;
}

} // namespace

SqlText ConditionOf(const Filter &filter, Container::Kind kind, const std::string &alias, int depth)
{
    SqlText sql;
    switch (filter.node) {
    case Filter::Node::And:
    case Filter::Node::Or:
        return ListCondition(filter, kind, alias, depth);
    case Filter::Node::Not:
        sql += "NOT (";
        sql.append(ConditionOf(filter.children.at(0), kind, alias, depth));
        sql += ")";
        return sql;
    case Filter::Node::Exists:
        if (std::string column = ColumnOf(filter.tag, kind, alias); !column.empty())
            sql += column + " IS NOT NULL";
        else
            sql += "EXISTS " + OfProperty("1", filter.tag, alias);
        return sql;
    case Filter::Node::Compare:
        return CompareCondition(filter, kind, alias);
    case Filter::Node::CompareProperties:
        sql += ComparePropertiesCondition(filter, kind, alias);
        return sql;
    case Filter::Node::Content:
        return ContentCondition(filter, kind, alias);
    case Filter::Node::Bits:
        sql += "IFNULL((" + ValueOf(filter.tag, kind, alias) + " & " + std::to_string(filter.mask) +
               (filter.zero ? ") = 0, 0)" : ") <> 0, 0)");
        return sql;
    case Filter::Node::Size:
        sql += SizeCondition(filter, kind, alias);
        return sql;
    case Filter::Node::AnyRecipient:
    case Filter::Node::AnyAttachment:
        return SubobjectCondition(filter, kind, alias, depth);
    }
    return sql;
}

} // namespace localmapi::storage
