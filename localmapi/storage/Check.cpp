// The check of a site's file: SQLite's own, then rules over the rows, each a query that finds what breaks it and, for a
// repair, a statement that mends it.
#include "localmapi/storage/Check.h"
#include "localmapi/storage/Database.h"
#include "localmapi/storage/Properties.h"
#include "localmapi/storage/Schema.h"

namespace localmapi::storage
{

namespace
{

// One thing that must hold: a statement that lists what is wrong (each row: what it is about), and the statements that
// put it right.
struct Rule {
    const char *says; // "%" stands for what the row is about
    const char *finds;
    const char *repairs;
};

constexpr Rule kRules[] = {
    {"Message % is counted in no facet.",
     "SELECT id FROM object WHERE kind = 3 AND (facet IS NULL OR facet NOT IN (SELECT id FROM facet))",
     "INSERT INTO facet (container, flags, count, change) SELECT DISTINCT parent, 0, 0, 0 FROM object WHERE kind = 3 "
     "AND (facet IS NULL OR facet NOT IN (SELECT id FROM facet)) AND NOT EXISTS (SELECT 1 FROM facet f "
     "WHERE f.container = object.parent AND f.flags = 0 AND f.class IS NULL AND f.importance IS NULL);"
     "UPDATE object SET facet = (SELECT id FROM facet f WHERE f.container = object.parent AND f.flags = 0 "
     "AND f.class IS NULL AND f.importance IS NULL) WHERE kind = 3 "
     "AND (facet IS NULL OR facet NOT IN (SELECT id FROM facet));"},
    {"Object % is counted in a facet but is no message.", "SELECT id FROM object WHERE kind <> 3 AND facet IS NOT NULL",
     "UPDATE object SET facet = NULL WHERE kind <> 3 AND facet IS NOT NULL;"},
    {"Message % is counted in a facet of another folder.",
     "SELECT o.id FROM object o JOIN facet f ON f.id = o.facet WHERE f.container IS NOT o.parent",
     "INSERT INTO facet (container, flags, class, importance, count, change) SELECT DISTINCT o.parent, f.flags, "
     "f.class, f.importance, 0, 0 FROM object o JOIN facet f ON f.id = o.facet WHERE f.container IS NOT o.parent "
     "AND NOT EXISTS (SELECT 1 FROM facet g WHERE g.container = o.parent AND g.flags = f.flags "
     "AND g.class IS f.class AND g.importance IS f.importance);"
     "UPDATE object SET facet = (SELECT g.id FROM facet f JOIN facet g ON g.flags = f.flags AND g.class IS f.class "
     "AND g.importance IS f.importance WHERE f.id = object.facet AND g.container = object.parent) "
     "WHERE (SELECT container FROM facet WHERE id = facet) IS NOT parent AND kind = 3;"},
    {"Message % has no time column.",
     "SELECT id FROM object WHERE kind = 3 AND (submitted IS NULL OR delivered IS NULL)",
     "UPDATE object SET submitted = IFNULL(submitted, -9223372036854775808), "
     "delivered = IFNULL(delivered, -9223372036854775808) WHERE kind = 3;"},
    {"Facet % does not count the messages that it has.",
     "SELECT f.id FROM facet f WHERE f.count <> (SELECT count(*) FROM object o WHERE o.facet = f.id)",
     "UPDATE facet SET count = (SELECT count(*) FROM object o WHERE o.facet = facet.id);"
     "DELETE FROM facet WHERE count = 0;"},
    {"Object % has properties but is not there.",
     "SELECT DISTINCT object FROM property WHERE object NOT IN (SELECT id FROM object)",
     "DELETE FROM property WHERE object NOT IN (SELECT id FROM object);"},
    {"Stream % belongs to no property.",
     "SELECT s.id FROM stream s WHERE NOT EXISTS (SELECT 1 FROM property p WHERE p.object = s.object "
     "AND p.tag = s.tag AND p.value IS NULL)",
     "DELETE FROM stream WHERE NOT EXISTS (SELECT 1 FROM property p WHERE p.object = stream.object "
     "AND p.tag = stream.tag AND p.value IS NULL);"},
    {"A property of object % has lost its value.",
     "SELECT p.object FROM property p WHERE p.value IS NULL AND NOT EXISTS (SELECT 1 FROM stream s "
     "WHERE s.object = p.object AND s.tag = p.tag)",
     "DELETE FROM property WHERE value IS NULL AND NOT EXISTS (SELECT 1 FROM stream s "
     "WHERE s.object = property.object AND s.tag = property.tag);"},
    {"A piece of data belongs to stream %, which is not there.",
     "SELECT DISTINCT stream FROM chunk WHERE stream NOT IN (SELECT id FROM stream)",
     "DELETE FROM chunk WHERE stream NOT IN (SELECT id FROM stream);"},
    {"Stream % names data that are not there, or of another length.",
     "SELECT s.id FROM stream s WHERE s.data IS NOT NULL AND NOT EXISTS (SELECT 1 FROM stream d JOIN object o "
     "ON o.id = d.object WHERE d.id = s.data AND d.size = s.size AND d.data IS NULL AND o.kind = 9)",
     nullptr},
    {"Message % names a list of recipients that is not there.",
     "SELECT m.id FROM object m WHERE m.list IS NOT NULL AND NOT EXISTS (SELECT 1 FROM object o WHERE o.id = m.list "
     "AND o.kind = 9)",
     nullptr},
    {"Nobody names what lies in object %.",
     "SELECT o.id FROM object o WHERE o.kind = 9 AND o.number = 0 AND NOT EXISTS (SELECT 1 FROM object WHERE "
     "list = o.id) AND NOT EXISTS (SELECT 1 FROM stream d JOIN stream s ON s.data = d.id WHERE d.object = o.id)",
     "DELETE FROM object WHERE kind = 9 AND number = 0 AND NOT EXISTS (SELECT 1 FROM object m WHERE "
     "m.list = object.id) AND NOT EXISTS (SELECT 1 FROM stream d JOIN stream s ON s.data = d.id "
     "WHERE d.object = object.id);"},
    {"The data of % is not what was written: its checksum is another one.",
     "SELECT CASE o.kind WHEN 4 THEN 'attachment ' || o.number || ' of message ' || o.parent ELSE 'object ' || o.id "
     "END "
     "|| IFNULL(' in the mailbox of ' || (WITH RECURSIVE up (id, parent) AS (SELECT o.id, o.parent UNION ALL "
     "SELECT above.id, above.parent FROM up JOIN object above ON above.id = up.parent) SELECT p.alias FROM up "
     "JOIN mailbox m ON m.id = up.id JOIN person p ON p.id = m.owner), '') FROM (SELECT DISTINCT stream FROM chunk "
     "WHERE checksum IS NOT NULL AND checksum <> checksum_of(data)) c JOIN stream s ON s.id = c.stream "
     "OR s.data = c.stream JOIN object o ON o.id = s.object WHERE o.kind <> 9",
     nullptr},
    {"Stream % is not as long as it should be, or has gaps.",
     "SELECT s.id FROM stream s WHERE s.data IS NULL AND NOT EXISTS (SELECT 1 FROM object o WHERE o.id = s.object AND "
     "o.kind = 9 AND o.number > 0) AND (s.size <> (SELECT IFNULL(sum(length(data)), 0) FROM chunk c "
     "WHERE c.stream = s.id) OR (SELECT count(*) FROM chunk c WHERE c.stream = s.id) <> (s.size + 262143) / 262144 "
     "OR EXISTS (SELECT 1 FROM chunk c WHERE c.stream = s.id AND (c.number < 0 "
     "OR length(c.data) <> min(262144, s.size - c.number * 262144))))",
     nullptr},
    {"Object % lies in an object that is not there.",
     "SELECT id FROM object WHERE parent IS NOT NULL AND parent NOT IN (SELECT id FROM object)",
     "DELETE FROM object WHERE parent IS NOT NULL AND parent NOT IN (SELECT id FROM object);"},
    {"The numbers to be given to new objects are not beyond number %.",
     "SELECT max(n) FROM (SELECT max(id) AS n FROM object UNION ALL SELECT max(id) FROM stream) "
     "HAVING max(n) >= (SELECT next_id FROM site)",
     "UPDATE site SET next_id = max(next_id, (SELECT IFNULL(max(id), 0) + 1 FROM object), "
     "(SELECT IFNULL(max(id), 0) + 1 FROM stream));"},
};

static_assert(std::size(kRules) + 3 == kCheckSteps); // and the pages, the sizes, the references

std::string Sentence(const Rule &rule, const std::string &about)
{
    std::string text = rule.says;
    text.replace(text.find('%'), 1, about);
    return text;
}

void CheckPages(Connection &connection, std::vector<Finding> &findings)
{
    Statement rows = connection.Prepare("PRAGMA integrity_check");
    while (rows.Step())
        if (std::string text = rows.Text(0); text != "ok")
            findings.push_back({"The file is damaged: " + text + ".", false});
}

void CheckReferences(Connection &connection, std::vector<Finding> &findings)
{
    Statement rows = connection.Prepare("SELECT \"table\", parent, count(*) FROM pragma_foreign_key_check "
                                        "GROUP BY \"table\", parent");
    while (rows.Step())
        findings.push_back({"Rows of " + rows.Text(0) + " that refer to a " + rows.Text(1) +
                                " which is not there: " + rows.Text(2) + ".",
                            false});
}

void CheckRules(Connection &connection, std::vector<Finding> &findings, bool repair,
                const std::function<void()> &stepDone)
{
    for (const Rule &rule : kRules) {
        std::size_t first = findings.size();
        {
            Statement rows = connection.Prepare(rule.finds);
            while (rows.Step())
                findings.push_back({Sentence(rule, rows.Text(0)), repair && rule.repairs});
        }
        if (repair && rule.repairs && findings.size() > first)
            connection.Execute(rule.repairs);
        stepDone();
    }
}

// The size in a row is the sum of what the object holds; children come before their parents, and lists of recipients
// before the messages that name them.
void CheckSizes(Connection &connection, std::vector<Finding> &findings, bool repair)
{
    for (const char *kinds : {"(5, 9)", "(3, 4)"}) {
        std::vector<std::pair<ObjectId, std::int64_t>> wrong;
        {
            Statement rows = connection.Prepare(std::string("SELECT id, size FROM object WHERE kind IN ") + kinds +
                                                " ORDER BY id DESC");
            while (rows.Step()) {
                std::int64_t size = Measure(connection, rows.Integer(0));
                if (size != rows.Integer(1))
                    wrong.emplace_back(rows.Integer(0), size);
            }
        }
        for (auto [id, size] : wrong) {
            findings.push_back({"Object " + std::to_string(id) + " has another size than it says.", repair});
            if (repair)
                connection.Prepare("UPDATE object SET size = ? WHERE id = ?").Bind(Measure(connection, id), id).Run();
        }
    }
}

void CheckAll(Connection &connection, std::vector<Finding> &findings, bool repair,
              const std::function<void(std::uint64_t)> &progress)
{
    std::uint64_t done = 0;
    const auto stepDone = [&] {
        ++done;
        if (progress)
            progress(done);
    };
    CheckPages(connection, findings);
    if (!findings.empty())
        return; // what a damaged file says about itself proves nothing
    stepDone();
    CheckRules(connection, findings, repair, stepDone);
    CheckSizes(connection, findings, repair);
    stepDone();
    CheckReferences(connection, findings);
    stepDone();
}

} // namespace

std::vector<Finding> Check(Site site, bool repair, const std::function<void(std::uint64_t)> &progress)
{
    std::vector<Finding> findings;
    try {
        if (repair) {
            Writer writer(site.GetDatabase(), Share::WithNobody);
            CheckAll(*writer, findings, true, progress);
            if (!findings.empty()) { // counts and rows that were read before are no longer right
                writer->Execute("UPDATE facet SET change = change + 1");
                writer.Entries().EverythingChanged();
            }
            writer.Commit();
        } else {
            Reader reader(site.GetDatabase());
            CheckAll(*reader, findings, false, progress);
        }
    } catch (const Error &error) {
        if (error.GetFault() != Fault::Corrupt && error.GetFault() != Fault::CorruptData)
            throw;
        findings.push_back({error.what(), false});
    }
    return findings;
}

} // namespace localmapi::storage
