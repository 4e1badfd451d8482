// The properties of one object in the file: those in its row, and those in its property cluster.
#pragma once
#include "localmapi/storage/Database.h"
#include "localmapi/storage/Objects.h"
#include "localmapi/storage/Streams.h"

namespace localmapi::storage
{

// Whether the tag's value is kept in the object's own row (or follows from it) and not in its properties.
bool IsColumn(ObjectKind kind, Tag tag);

// The object's row and what follows from it.
struct ObjectRow {
    ObjectInfo info;
    std::int64_t facet = 0; // messages only
    std::int64_t submitted = 0, delivered = 0;
    std::int64_t size = 0;
    std::int64_t created = 0, modified = 0;
    FacetKey key; // messages only
};
// `facets` keeps the keys of facets that were read, for callers that read many messages.
std::optional<ObjectRow> FindObject(Connection &connection, ObjectId id,
                                    std::map<std::int64_t, FacetKey> *facets = nullptr);
ObjectRow GetObject(Connection &connection, ObjectId id); // NotFound
// Whose mailbox it lies in, at whatever depth; nothing for what is in none.
std::optional<ObjectId> MailboxOfObject(Connection &connection, ObjectId object);

// The value of a column tag; absent where the kind has none.
Value ColumnValue(Connection &connection, const ObjectRow &row, Tag tag);

// Values in streams that are longer than `longest` come as StoredStream.
PropertyBag ReadProperties(Connection &connection, ObjectId id, std::uint64_t longest);
PropertyBag ReadAll(Connection &connection, const ObjectRow &row, std::uint64_t longest);

// Reads the same tags of many objects of one kind (or of kinds with the same columns).
class RowReader
{
  public:
    RowReader(Connection &connection, ObjectKind kind, const std::vector<Tag> &tags, std::uint64_t longest);
    // The values of the tags, in their order; all absent when the object is not there.
    std::vector<Value> Read(ObjectId id);

  private:
    struct Wanted {
        Tag tag;
        std::size_t at;
    };
    Connection &m_connection;
    std::uint64_t m_longest;
    std::size_t m_size;
    std::vector<Wanted> m_columns, m_properties; // the latter in order of tags
    std::map<std::int64_t, FacetKey> m_facets;
    Statement m_cluster;
};

// The bytes that an object's own properties take.
std::int64_t StoredSize(ObjectKind kind, const PropertyBag &bag);

// Writing; column tags are skipped. Each returns the bytes written.
std::uint64_t InsertProperties(Writer &writer, ObjectId id, ObjectKind kind, const PropertyBag &bag);
void ApplyChanges(Writer &writer, ObjectId id, ObjectKind kind, const Changes &changes);
// Copies all properties of one object to a new one.
void CopyProperties(Writer &writer, ObjectId from, ObjectId to);
// The bytes that the object's properties and the objects in it take; as a term of SQL, of an object that is a term.
std::string SizeTerm(const std::string &object);
std::int64_t Measure(Connection &connection, ObjectId id);

// Makes an object's row. Of `bag` only what belongs there is looked at.
struct NewObject {
    ObjectKind kind;
    ObjectId parent = 0;
    std::int32_t number = 0;
};
ObjectId InsertObject(Writer &writer, const NewObject &object, const PropertyBag &bag, std::int64_t size = 0);
ObjectId InsertFolder(Writer &writer, ObjectId parent, const PropertyBag &properties);

} // namespace localmapi::storage
