// Filters and sort orders as SQL. `o` is the row's object throughout, unless another alias is given.
#pragma once
#include "localmapi/storage/Codec.h"
#include "localmapi/storage/View.h"

namespace localmapi::storage
{

// SQL text with the values for its parameters, which are all written as "?", in order.
class SqlText
{
  public:
    std::string text;
    SqlText &operator+=(std::string_view more)
    {
        text += more;
        return *this;
    }
    void Parameter(Value value)
    {
        text += '?';
        m_values.push_back(std::move(value));
    }
    void append(const SqlText &other)
    {
        text += other.text;
        m_values.insert(m_values.end(), other.m_values.begin(), other.m_values.end());
    }
    const std::vector<Value> &Values() const { return m_values; }

  private:
    std::vector<Value> m_values;
};

// A statement with the parameters bound, and what they are bound to.
class Query
{
  public:
    Query(Connection &connection, const SqlText &sql);
    Query(const Query &) = delete;
    Query &operator=(const Query &) = delete;
    bool Step() { return m_statement.Step(); }
    const Statement &GetRow() const { return m_statement; }

  private:
    std::vector<Value> m_values;
    std::vector<Encoded> m_encoded;
    Statement m_statement;
};

// The kinds of object that a container holds; a column tag is one for all of them.
ObjectKind RowKind(Container::Kind kind);

// "FROM object o ... WHERE <in the container>", for containers of anything but messages.
SqlText FromContainer(const Container &container);

// The value of a tag as an SQL expression; NULL where the row has none.
std::string ValueOf(Tag tag, Container::Kind kind, const std::string &alias = "o");

// The condition as an SQL expression that is 0 or 1.
SqlText ConditionOf(const Filter &filter, Container::Kind kind, const std::string &alias = "o", int depth = 0);

// "left relation right" between two expressions of a tag's type, in its order; NULL if one is.
std::string RelationOf(Tag tag, const std::string &left, Relation relation, const std::string &right);

// The same with a value, as 0 or 1.
SqlText RelationWith(Tag tag, const std::string &left, Relation relation, const Value &right, bool whenNull);

// What ORDER BY is given for a tag.
std::string OrderOf(Tag tag, const std::string &expression);

} // namespace localmapi::storage
