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
    : m_values(sql.values()), m_statement(connection.prepare(sql.text))
{
    m_encoded.reserve(m_values.size());
    for (const Value &value : m_values) {
        m_encoded.emplace_back(value);
        m_encoded.back().bind(m_statement, static_cast<int>(m_encoded.size()));
    }
}

ObjectKind rowKind(Container::Kind kind)
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

SqlText fromContainer(const Container &container)
{
    SqlText sql;
    auto childrenOfKind = [&](ObjectKind kind) {
        sql += "FROM object o WHERE o.parent = ";
        sql.parameter(container.of);
        sql += " AND o.kind = " + std::to_string(static_cast<int>(kind));
    };
    switch (container.kind) {
    case Container::Kind::FoldersDeep:
        sql += "FROM (WITH RECURSIVE sub (id, depth) AS (SELECT id, 1 FROM object WHERE parent = ";
        sql.parameter(container.of);
        sql += " AND kind = 2 UNION ALL SELECT c.id, sub.depth + 1 FROM sub JOIN object c ON c.parent = sub.id "
               "AND c.kind = 2) SELECT id, depth FROM sub) d JOIN object o ON o.id = d.id WHERE 1";
        break;
    case Container::Kind::Directory:
        sql += "FROM object o WHERE o.parent IS NULL AND o.kind IN (6, 7)";
        break;
    default:
        childrenOfKind(rowKind(container.kind));
    }
    return sql;
}

namespace
{

std::string facetColumn(const std::string &alias, const char *column)
{
    return std::string("(SELECT ") + column + " FROM facet WHERE id = " + alias + ".facet)";
}

std::string sumOfFacets(const std::string &alias, const char *condition)
{
    return "(SELECT IFNULL(sum(count), 0) FROM facet WHERE container = " + alias + ".id AND " + condition + ")";
}

std::string timeColumn(const std::string &column)
{
    return "NULLIF(" + column + ", -9223372036854775808)";
}

std::string commonColumn(Tag tag, const std::string &alias)
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

std::string messageColumn(Tag tag, const std::string &alias)
{
    switch (tag) {
    case kMessageClass:
        return facetColumn(alias, "class");
    case kImportance:
        return facetColumn(alias, "importance");
    case kMessageFlags:
        return facetColumn(alias, "flags");
    case kHasAttachments:
        return "(" + facetColumn(alias, "flags") + " & 16 <> 0)";
    case kClientSubmitTime:
        return timeColumn(alias + ".submitted");
    case kMessageDeliveryTime:
        return timeColumn(alias + ".delivered");
    case kMessageSize:
        return "min(" + alias + ".size, 2147483647)";
    default:
        return {};
    }
}

std::string folderColumn(Tag tag, Container::Kind kind, const std::string &alias)
{
    std::string folders = "FROM object WHERE parent = " + alias + ".id AND kind = 2)";
    switch (tag) {
    case kContentCount:
        return sumOfFacets(alias, "flags & 64 = 0");
    case kContentUnread:
        return sumOfFacets(alias, "flags & 65 = 0");
    case kAssociatedCount:
        return sumOfFacets(alias, "flags & 64 <> 0");
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
std::string columnOf(Tag tag, Container::Kind kind, const std::string &alias)
{
    if (std::string common = commonColumn(tag, alias); !common.empty())
        return common;
    switch (kind) {
    case Container::Kind::Contents:
    case Container::Kind::Associated:
        return messageColumn(tag, alias);
    case Container::Kind::Folders:
    case Container::Kind::FoldersDeep:
        return folderColumn(tag, kind, alias);
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

std::string ofProperty(const std::string &what, Tag tag, const std::string &alias)
{
    return "(SELECT " + what + " FROM property WHERE object = " + alias + ".id AND tag = " + std::to_string(tag) + ")";
}

bool mayBeStream(Tag tag)
{
    return !isMultiple(tag) &&
           (tagType(tag) == Type::Text || tagType(tag) == Type::Binary || tagType(tag) == Type::Object);
}

const char *relationText(Relation relation)
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
bool lessSatisfies(Relation relation)
{
    return related(-1, relation);
}

std::string orElse(const std::string &expression, bool whenNull)
{
    return "IFNULL(" + expression + ", " + (whenNull ? "1" : "0") + ")";
}

} // namespace

std::string valueOf(Tag tag, Container::Kind kind, const std::string &alias)
{
    if (std::string column = columnOf(tag, kind, alias); !column.empty())
        return column;
    return ofProperty(mayBeStream(tag) ? "IFNULL(value, stream_value(object, tag))" : "value", tag, alias);
}

std::string orderOf(Tag tag, const std::string &expression)
{
    const char *collation = collationOf(tag);
    if (!collation)
        return expression;
    return (isMultiple(tag) ? "CAST(" + expression + " AS TEXT)" : expression) + " COLLATE " + collation;
}

std::string relationOf(Tag tag, const std::string &left, Relation relation, const std::string &right)
{
    // Only equal text is equal, so that the order of text need not be asked.
    bool equality = relation == Relation::Equal || relation == Relation::NotEqual;
    if (equality && !isMultiple(tag))
        return "(" + left + " " + relationText(relation) + " " + right + ")";
    std::string other = isMultiple(tag) ? "CAST(" + right + " AS TEXT)" : right;
    return "(" + orderOf(tag, left) + " " + relationText(relation) + " " + other + ")";
}

SqlText relationWith(Tag tag, const std::string &left, Relation relation, const Value &right, bool whenNull)
{
    std::string text = relationOf(tag, left, relation, "?");
    std::size_t at = text.rfind('?');
    SqlText sql;
    sql += "IFNULL(" + text.substr(0, at);
    sql.parameter(right);
    sql += text.substr(at + 1) + (whenNull ? ", 1)" : ", 0)");
    return sql;
}

namespace
{

SqlText compareCondition(const Filter &filter, Container::Kind kind, const std::string &alias)
{
    SqlText sql;
    std::string value = valueOf(filter.tag, kind, alias);
    if (filter.tag == kObjectId && filter.relation == Relation::Equal) { // found by its key
        sql += value + " = ";
        sql.parameter(filter.value);
        return sql;
    }
    if (isMultiple(filter.tag)) {
        sql += "IFNULL(list_relates(" + value + ", " + std::to_string(filter.tag) + ", " +
               std::to_string(static_cast<int>(filter.relation)) + ", ";
        sql.parameter(filter.value);
        sql += lessSatisfies(filter.relation) ? "), 1)" : "), 0)";
        return sql;
    }
    return relationWith(filter.tag, value, filter.relation, filter.value, lessSatisfies(filter.relation));
}

std::string comparePropertiesCondition(const Filter &filter, Container::Kind kind, const std::string &alias)
{
    std::string left = valueOf(filter.tag, kind, alias), right = valueOf(filter.otherTag, kind, alias);
    auto whenOrder = [&](int order) { return related(order, filter.relation) ? std::string("1") : std::string("0"); };
    return "CASE WHEN " + left + " IS NULL THEN CASE WHEN " + right + " IS NULL THEN " + whenOrder(0) + " ELSE " +
           whenOrder(-1) + " END WHEN " + right + " IS NULL THEN " + whenOrder(1) + " ELSE " +
           relationOf(filter.tag, left, filter.relation, right) + " END";
}

SqlText contentCondition(const Filter &filter, Container::Kind kind, const std::string &alias)
{
    SqlText sql;
    sql += "IFNULL(content(" + valueOf(filter.tag, kind, alias) + ", " + std::to_string(filter.tag) + ", " +
           std::to_string(contentFlags(filter)) + ", ";
    if (auto text = std::get_if<std::string>(&filter.value))
        sql.parameter(folded(filter, *text));
    else
        sql.parameter(filter.value);
    sql += "), 0)";
    return sql;
}

std::string sizeCondition(const Filter &filter, Container::Kind kind, const std::string &alias)
{
    std::string arguments = ", " + std::to_string(filter.tag) + (filter.wide ? ", 1)" : ", 0)");
    std::string size;
    if (!columnOf(filter.tag, kind, alias).empty() || (filter.wide && tagType(filter.tag) == Type::Text))
        size = "value_size(" + valueOf(filter.tag, kind, alias) + arguments;
    else
        size = ofProperty("IFNULL(value_size(value" + arguments +
                              ", (SELECT s.size FROM stream s WHERE s.object = property.object AND s.tag = "
                              "property.tag))",
                          filter.tag, alias);
    return orElse("(" + size + " " + relationText(filter.relation) + " " + std::to_string(filter.size) + ")",
                  lessSatisfies(filter.relation));
}

// Halved again and again, so that a long list makes no deep expression.
void appendList(SqlText &sql, std::span<const Filter *const> children, const char *join, Container::Kind kind,
                const std::string &alias, int depth)
{
    if (children.size() == 1) {
        sql.append(conditionOf(*children.front(), kind, alias, depth));
        return;
    }
    const std::size_t half = children.size() / 2;
    sql += "(";
    appendList(sql, children.first(half), join, kind, alias, depth);
    sql += join;
    appendList(sql, children.subspan(half), join, kind, alias, depth);
    sql += ")";
}

SqlText listCondition(const Filter &filter, Container::Kind kind, const std::string &alias, int depth)
{
    bool isAnd = filter.node == Filter::Node::And;
    SqlText sql;
    if (filter.children.empty())
        sql += isAnd ? "1" : "0";
    else
        appendList(sql, inOrderOfCost(filter, rowKind(kind)), isAnd ? " AND " : " OR ", kind, alias, depth);
    return sql;
}

SqlText subobjectCondition(const Filter &filter, Container::Kind kind, const std::string &alias, int depth)
{
    SqlText sql;
    if (rowKind(kind) != ObjectKind::Message) {
        sql += "0";
        return sql;
    }
    Container::Kind inner =
        filter.node == Filter::Node::AnyRecipient ? Container::Kind::Recipients : Container::Kind::Attachments;
    std::string name = "s" + std::to_string(depth);
    sql += "EXISTS (SELECT 1 FROM object " + name + " WHERE " + name + ".parent = " + alias + ".id AND " + name +
           ".kind = " + std::to_string(static_cast<int>(rowKind(inner))) + " AND ";
    sql.append(conditionOf(filter.children.at(0), inner, name, depth + 1));
    sql += ")";
    return sql;
}

} // namespace

SqlText conditionOf(const Filter &filter, Container::Kind kind, const std::string &alias, int depth)
{
    SqlText sql;
    switch (filter.node) {
    case Filter::Node::And:
    case Filter::Node::Or:
        return listCondition(filter, kind, alias, depth);
    case Filter::Node::Not:
        sql += "NOT (";
        sql.append(conditionOf(filter.children.at(0), kind, alias, depth));
        sql += ")";
        return sql;
    case Filter::Node::Exists:
        if (std::string column = columnOf(filter.tag, kind, alias); !column.empty())
            sql += column + " IS NOT NULL";
        else
            sql += "EXISTS " + ofProperty("1", filter.tag, alias);
        return sql;
    case Filter::Node::Compare:
        return compareCondition(filter, kind, alias);
    case Filter::Node::CompareProperties:
        sql += comparePropertiesCondition(filter, kind, alias);
        return sql;
    case Filter::Node::Content:
        return contentCondition(filter, kind, alias);
    case Filter::Node::Bits:
        sql += "IFNULL((" + valueOf(filter.tag, kind, alias) + " & " + std::to_string(filter.mask) +
               (filter.zero ? ") = 0, 0)" : ") <> 0, 0)");
        return sql;
    case Filter::Node::Size:
        sql += sizeCondition(filter, kind, alias);
        return sql;
    case Filter::Node::AnyRecipient:
    case Filter::Node::AnyAttachment:
        return subobjectCondition(filter, kind, alias, depth);
    }
    return sql;
}

} // namespace localmapi::storage
