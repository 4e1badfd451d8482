// The rules over the rows of a site, as statements, and what mends each of them.
#include "localmapi/storage/CheckRules.h"
#include "localmapi/storage/Functions.h"
#include "localmapi/storage/NameIndex.h"
#include "localmapi/storage/Properties.h"
#include "platform/lifetime/Lasting.h"
#include <algorithm>

namespace localmapi::storage
{

namespace
{

template <class... Arguments> void Run(Writer &writer, const char *sql, const Arguments &...arguments)
{
    writer->Prepare(sql).Bind(arguments...).Run();
}

// Messages first, some at a time: to delete a large folder takes long.
void RemoveBranch(Writer &writer, ObjectId id)
{
    Run(writer,
        "DELETE FROM object WHERE id IN (WITH RECURSIVE below (id) AS (SELECT ?1 UNION ALL "
        "SELECT o.id FROM object o JOIN below ON o.parent = below.id WHERE o.kind = 2) "
        "SELECT o.id FROM below JOIN object o ON o.parent = below.id WHERE o.kind = 3 LIMIT 50)",
        id);
    if (writer->ChangedRows() == 0)
        Run(writer, "DELETE FROM object WHERE id = ?", id);
}

ObjectId GetParent(Writer &writer, ObjectId id)
{
    Statement find = writer->Prepare("SELECT parent FROM object WHERE id = ?");
    return find.Bind(id).Step() ? find.Integer(0) : 0;
}

// What the message was is not known any more.
void CountAnew(Writer &writer, ObjectId id)
{
    std::int64_t size = 0;
    if (Statement find = writer->Prepare("SELECT size FROM object WHERE id = ?"); find.Bind(id).Step())
        size = find.Integer(0);
    Run(writer, "UPDATE object SET facet = ? WHERE id = ?",
        writer.Facets().Enter(*writer, GetParent(writer, id), {}, {1, size}), id);
}

void CountWhereItLies(Writer &writer, ObjectId id)
{
    const ObjectRow row = GetObject(*writer, id);
    writer.Facets().Leave(row.facet, {1, row.size});
    Run(writer, "UPDATE object SET facet = ? WHERE id = ?",
        writer.Facets().Enter(*writer, row.info.parent, row.key, {1, row.size}), id);
}

void CountFacet(Writer &writer, std::int64_t facet)
{
    Run(writer, "UPDATE facet SET count = (SELECT count(*) FROM object o WHERE o.facet = facet.id) WHERE id = ?",
        facet);
    Run(writer, "DELETE FROM facet WHERE id = ? AND count = 0", facet);
}

void RemovePieces(Writer &writer, std::int64_t stream)
{
    Run(writer, "DELETE FROM chunk WHERE id IN (SELECT id FROM chunk WHERE stream = ? LIMIT 64)", stream);
}

// What others name loses its owner only where that is gone for good.
void RemoveStream(Writer &writer, std::int64_t stream)
{
    if (Statement named = writer->Prepare("SELECT 1 FROM stream WHERE data = ?"); named.Bind(stream).Step())
        return Run(writer,
                   "INSERT INTO property (object, tag) SELECT object, tag FROM stream WHERE id = ? "
                   "ON CONFLICT DO UPDATE SET value = NULL",
                   stream);
    RemovePieces(writer, stream);
    if (writer->ChangedRows() == 0)
        Run(writer, "DELETE FROM stream WHERE id = ?", stream);
}

// The size of an object is the sum of what it holds, and a part of the size of the one that holds it.
void MeasureAnew(Writer &writer, ObjectId id)
{
    Statement size = writer->Prepare("UPDATE object SET size = ? WHERE id = ? RETURNING parent");
    Statement measured = writer->Prepare("SELECT 1 FROM object WHERE id = ? AND kind IN (3, 4, 5, 9)");
    while (id && measured.Bind(id).Step()) {
        measured.Rewind();
        size.Bind(Measure(*writer, id), id).Step();
        id = size.Integer(0);
        size.Rewind();
    }
}

std::vector<Rule> MakeRules()
{
    using Over = Rule::Over;
    return {
        {Over::Ids, "Object %, which others name, is not there.",
         "SELECT DISTINCT list FROM object m WHERE list BETWEEN ?1 AND ?2 "
         "AND NOT EXISTS (SELECT 1 FROM object o WHERE o.id = m.list) UNION "
         "SELECT s.object FROM stream s WHERE s.object BETWEEN ?1 AND ?2 "
         "AND NOT EXISTS (SELECT 1 FROM object o WHERE o.id = s.object) "
         "AND EXISTS (SELECT 1 FROM stream n WHERE n.data = s.id)",
         [](Writer &writer, std::int64_t id) {
             Run(writer, "INSERT INTO object (id, kind, created, modified, change) VALUES (?, 9, ?, ?, ?)", id,
                 writer.Now(), writer.Now(), writer.Change());
         }},
        {Over::Ids, "Stream % names data that are not there, or of another length.",
         "SELECT s.id FROM stream s WHERE s.id BETWEEN ?1 AND ?2 AND s.data IS NOT NULL AND NOT EXISTS (SELECT 1 "
         "FROM stream d WHERE d.id = s.data AND d.size = s.size AND d.data IS NULL)",
         nullptr},
        {Over::Ids, "Nobody names what lies in object %.",
         "SELECT o.id FROM object o WHERE o.id BETWEEN ?1 AND ?2 AND o.kind = 9 AND o.number = 0 "
         "AND NOT EXISTS (SELECT 1 FROM object WHERE list = o.id) "
         "AND NOT EXISTS (SELECT 1 FROM stream d JOIN stream s ON s.data = d.id WHERE d.object = o.id)",
         [](Writer &writer, std::int64_t id) { Run(writer, "DELETE FROM object WHERE id = ?", id); }},
        {Over::Ids, "Object % lies in an object that is not there.",
         "SELECT id FROM object o WHERE id BETWEEN ?1 AND ?2 AND (parent IS NOT NULL OR kind IN (3, 4, 5)) "
         "AND NOT EXISTS (SELECT 1 FROM object p WHERE p.id = o.parent)",
         RemoveBranch},
        {Over::Ids, "Object % is counted in a facet but is no message.",
         "SELECT id FROM object WHERE id BETWEEN ?1 AND ?2 AND kind <> 3 AND facet IS NOT NULL",
         [](Writer &writer, std::int64_t id) { Run(writer, "UPDATE object SET facet = NULL WHERE id = ?", id); }},
        {Over::Facets, "Facet % does not count the messages that it has.",
         "SELECT f.id FROM facet f WHERE f.id BETWEEN ?1 AND ?2 "
         "AND f.count <> (SELECT count(*) FROM object o WHERE o.facet = f.id)",
         CountFacet},
        {Over::Ids, "Message % is counted in no facet.",
         "SELECT id FROM object o WHERE id BETWEEN ?1 AND ?2 AND kind = 3 "
         "AND (facet IS NULL OR NOT EXISTS (SELECT 1 FROM facet f WHERE f.id = o.facet))",
         CountAnew},
        {Over::Ids, "Message % is counted in a facet of another folder.",
         "SELECT o.id FROM object o CROSS JOIN facet f ON f.id = o.facet WHERE o.id BETWEEN ?1 AND ?2 AND o.kind = 3 "
         "AND f.container IS NOT o.parent",
         CountWhereItLies},
        {Over::Facets, "Facet % is one of a folder that is not there.",
         "SELECT f.id FROM facet f WHERE f.id BETWEEN ?1 AND ?2 "
         "AND NOT EXISTS (SELECT 1 FROM object o WHERE o.id = f.container)",
         [](Writer &writer, std::int64_t facet) {
             Run(writer, "DELETE FROM facet WHERE id = ?1 AND NOT EXISTS (SELECT 1 FROM object WHERE facet = ?1)",
                 facet);
         }},
        {Over::Ids, "Message % has no time column.",
         "SELECT id FROM object WHERE id BETWEEN ?1 AND ?2 AND kind = 3 AND (submitted IS NULL OR delivered IS NULL)",
         [](Writer &writer, std::int64_t id) {
             Run(writer,
                 "UPDATE object SET submitted = IFNULL(submitted, -9223372036854775808), "
                 "delivered = IFNULL(delivered, -9223372036854775808) WHERE id = ?",
                 id);
         }},
        {Over::Suspects, "Object % has properties but is not there.",
         "SELECT DISTINCT object FROM property p WHERE object BETWEEN ?1 AND ?2 "
         "AND NOT EXISTS (SELECT 1 FROM object o WHERE o.id = p.object)",
         [](Writer &writer, std::int64_t id) { Run(writer, "DELETE FROM property WHERE object = ?", id); }},
        {Over::Ids, "Stream % belongs to no property.",
         "SELECT s.id FROM stream s WHERE s.id BETWEEN ?1 AND ?2 AND NOT EXISTS (SELECT 1 FROM property p "
         "WHERE p.object = s.object AND p.tag = s.tag AND p.value IS NULL)",
         RemoveStream},
        {Over::Suspects, "A property of object % has lost its value.",
         "SELECT DISTINCT p.object FROM property p WHERE p.object BETWEEN ?1 AND ?2 AND p.value IS NULL "
         "AND NOT EXISTS (SELECT 1 FROM stream s WHERE s.object = p.object AND s.tag = p.tag)",
         [](Writer &writer, std::int64_t id) {
             Run(writer,
                 "DELETE FROM property WHERE object = ? AND value IS NULL AND NOT EXISTS (SELECT 1 FROM stream s "
                 "WHERE s.object = property.object AND s.tag = property.tag)",
                 id);
         }},
        {Over::Ids, "A piece of data belongs to stream %, which is not there.",
         "SELECT DISTINCT stream FROM chunk c WHERE stream BETWEEN ?1 AND ?2 "
         "AND NOT EXISTS (SELECT 1 FROM stream s WHERE s.id = c.stream)",
         RemovePieces},
        {Over::Ids, "Stream % is not as long as it should be, or has gaps.",
         "SELECT s.id FROM stream s LEFT JOIN chunk c ON c.stream = s.id WHERE s.id BETWEEN ?1 AND ?2 "
         "AND s.data IS NULL AND NOT EXISTS (SELECT 1 FROM object o WHERE o.id = s.object AND o.kind = 9 "
         "AND o.number > 0) GROUP BY s.id "
         "HAVING IFNULL(sum(length(c.data)), 0) <> s.size OR count(c.id) <> (s.size + 262143) / 262144 "
         "OR IFNULL(max(c.number < 0 OR length(c.data) <> min(262144, s.size - c.number * 262144)), 0)",
         nullptr},
        {Over::Suspects, "Object % has another size than it says.",
         "SELECT o.id FROM object o WHERE o.id BETWEEN ?1 AND ?2 AND o.kind IN (3, 4, 5, 9) AND o.size <> " +
             SizeTerm("o.id"),
         MeasureAnew},
        {Over::Facets, "Facet % says another size than its messages have.",
         "SELECT f.id FROM facet f WHERE f.id BETWEEN ?1 AND ?2 "
         "AND f.bytes <> (SELECT IFNULL(sum(size), 0) FROM object o WHERE o.facet = f.id)",
         [](Writer &writer, std::int64_t facet) {
             Run(writer,
                 "UPDATE facet SET bytes = (SELECT IFNULL(sum(size), 0) FROM object o WHERE o.facet = facet.id) "
                 "WHERE id = ?",
                 facet);
         }},
        {Over::Site, "The numbers to be given to new objects are not beyond number %.",
         "SELECT max(n) FROM (SELECT max(id) AS n FROM object UNION ALL SELECT max(id) FROM stream) "
         "HAVING max(n) >= (SELECT next_id FROM site) AND ?1 <= ?2",
         [](Writer &writer, std::int64_t last) { Run(writer, "UPDATE site SET next_id = max(next_id, ? + 1)", last); }},
        // Asked of all at once, or of one.
        {Over::Site, "Person % is in the name index by other names than his own.",
         "SELECT p.id FROM person p LEFT JOIN (SELECT person, sum(checksum_of(key)) AS keys FROM person_word "
         "WHERE ?1 IN (0, person) GROUP BY person) w ON w.person = p.id WHERE ?1 IN (0, p.id) "
         "AND IFNULL(w.keys, 0) <> names_checksum(p.name, IFNULL(p.alias, ''), p.smtp) AND ?1 <= ?2 UNION "
         "SELECT person FROM person_word w WHERE ?1 IN (0, person) "
         "AND NOT EXISTS (SELECT 1 FROM person p WHERE p.id = w.person)",
         [](Writer &writer, std::int64_t id) { IndexAnew(*writer, id); }},
    };
}

// The rows of one table, in the order of the objects that they are about.
class Cursor
{
  public:
    Cursor(Connection &connection, const char *sql, IdRange range) : m_rows(connection.Prepare(sql))
    {
        m_rows.Bind(range.first, range.last);
        Next();
    }
    void Next()
    {
        m_isThere = m_rows.Step();
        m_object = m_isThere ? m_rows.Integer(0) : INT64_MAX;
    }
    bool IsThere() const { return m_isThere; }
    ObjectId Object() const { return m_object; }
    bool IsAt(ObjectId object) const { return m_isThere && m_object == object; }
    const Statement &Row() const { return m_rows; }

  private:
    Statement m_rows;
    bool m_isThere = false;
    ObjectId m_object = 0;
};

// Takes the object's rows; the bytes of its values, or nothing where a long value and its stream do not agree.
std::optional<std::int64_t> TakeValues(Cursor &properties, Cursor &streams, ObjectId object)
{
    std::int64_t size = 0;
    bool agree = true;
    while (properties.IsAt(object) || streams.IsAt(object)) {
        const bool isProperty = properties.IsAt(object), isStream = streams.IsAt(object);
        if (isProperty && !properties.Row().IsNull(2)) {
            size += static_cast<std::int64_t>(StoredSize(sqlite3_column_value(properties.Row().Handle(), 2),
                                                         static_cast<Tag>(properties.Row().Integer(1))));
            properties.Next();
        } else if (isProperty && isStream && properties.Row().Integer(1) == streams.Row().Integer(1)) {
            size += streams.Row().Integer(2);
            properties.Next();
            streams.Next();
        } else {
            agree = false;
            (isProperty ? properties : streams).Next();
        }
    }
    return agree ? std::optional(size) : std::nullopt;
}

} // namespace

const std::vector<Rule> &Rules()
{
    static const std::vector<Rule> &rules = lifetime::LastingFrom([] { return MakeRules(); });
    return rules;
}

std::vector<std::int64_t> Broken(Connection &connection, const Rule &rule, IdRange range)
{
    Statement rows = connection.Prepare(rule.finds);
    rows.Bind(range.first, range.last);
    std::vector<std::int64_t> found;
    while (rows.Step())
        found.push_back(rows.Integer(0));
    return found;
}

std::string Sentence(const Rule &rule, std::int64_t about)
{
    std::string text = rule.says;
    text.replace(text.find('%'), 1, std::to_string(about));
    return text;
}

std::vector<std::string> AlteredData(Connection &connection, IdRange range)
{
    Statement rows = connection.Prepare(
        "SELECT CASE o.kind WHEN 4 THEN 'attachment ' || o.number || ' of message ' || o.parent ELSE 'object ' || o.id "
        "END || IFNULL(' in the mailbox of ' || (WITH RECURSIVE up (id, parent) AS (SELECT o.id, o.parent UNION ALL "
        "SELECT above.id, above.parent FROM up JOIN object above ON above.id = up.parent) SELECT p.alias FROM up "
        "JOIN mailbox m ON m.id = up.id JOIN person p ON p.id = m.owner), '') FROM (SELECT DISTINCT stream FROM chunk "
        "WHERE stream BETWEEN ?1 AND ?2 AND checksum <> checksum_of(data)) c JOIN stream s ON s.id = c.stream "
        "OR s.data = c.stream JOIN object o ON o.id = s.object WHERE o.kind <> 9");
    rows.Bind(range.first, range.last);
    std::vector<std::string> texts;
    while (rows.Step())
        texts.push_back("The data of " + rows.Text(0) + " is not what was written: its checksum is another one.");
    return texts;
}

std::vector<ObjectId> Suspects(Connection &connection, IdRange range)
{
    Cursor objects(
        connection,
        "SELECT id, size, kind, CASE WHEN kind IN (3, 4, 9) THEN (SELECT IFNULL(sum(c.size), 0) FROM object c "
        "WHERE c.parent = o.id) ELSE 0 END + CASE WHEN list IS NULL THEN 0 ELSE "
        "IFNULL((SELECT l.size FROM object l WHERE l.id = o.list), 0) END FROM object o WHERE id BETWEEN ?1 AND ?2 "
        "ORDER BY id",
        range);
    Cursor properties(connection,
                      "SELECT object, tag, value FROM property WHERE object BETWEEN ?1 AND ?2 ORDER BY object, tag",
                      range);
    Cursor streams(connection,
                   "SELECT object, tag, size FROM stream WHERE object BETWEEN ?1 AND ?2 ORDER BY object, tag", range);
    std::vector<ObjectId> suspects;
    while (objects.IsThere() || properties.IsThere() || streams.IsThere()) {
        const ObjectId object = std::min({objects.Object(), properties.Object(), streams.Object()});
        const std::optional<std::int64_t> held = TakeValues(properties, streams, object);
        bool isSound = held.has_value() && objects.IsAt(object);
        if (objects.IsAt(object)) {
            const std::int64_t kind = objects.Row().Integer(2);
            const bool isMeasured = (kind >= 3 && kind <= 5) || kind == 9;
            isSound = isSound && (!isMeasured || *held + objects.Row().Integer(3) == objects.Row().Integer(1));
            objects.Next();
        }
        if (!isSound)
            suspects.push_back(object);
    }
    return suspects;
}

} // namespace localmapi::storage
