// The tables of a site's file and the steps by which files of older versions become ones of this.
#include "localmapi/storage/Schema.h"
#include "localmapi/storage/NameIndex.h"

namespace localmapi::storage
{

namespace
{

constexpr const char *kTables = R"(
-- One row. Ids of objects and streams come from next_id and are never used twice; change is the number of the last
-- change.
CREATE TABLE site (
    one INTEGER PRIMARY KEY CHECK (one = 1),
    server TEXT NOT NULL,
    organization TEXT NOT NULL,
    uid BLOB NOT NULL,
    next_id INTEGER NOT NULL,
    change INTEGER NOT NULL
);

-- Everything that has properties: mailboxes, folders, messages, attachments, recipients, users, contacts and profile
-- sections (see ObjectKind). Only messages have a facet, and the times below; one that lacks a time has the lowest.
CREATE TABLE object (
    id INTEGER PRIMARY KEY,
    kind INTEGER NOT NULL,
    parent INTEGER REFERENCES object (id) ON DELETE CASCADE ON UPDATE CASCADE,
    number INTEGER NOT NULL DEFAULT 0,
    facet INTEGER REFERENCES facet (id),
    submitted INTEGER,
    delivered INTEGER,
    size INTEGER NOT NULL DEFAULT 0,
    created INTEGER NOT NULL,
    modified INTEGER NOT NULL,
    change INTEGER NOT NULL
);
CREATE INDEX object_parent ON object (parent, kind, number);
CREATE INDEX object_submitted ON object (facet, submitted, id) WHERE facet IS NOT NULL;
CREATE INDEX object_delivered ON object (facet, delivered, id) WHERE facet IS NOT NULL;

-- The combinations of what listings filter on that occur in a folder (or in an attachment that holds a message), with
-- the number of messages of each: a filter on these alone is answered from here, and its rows by walking the indexes
-- of the few combinations that satisfy it. change is the number of the last change to one of the messages.
CREATE TABLE facet (
    id INTEGER PRIMARY KEY,
    container INTEGER NOT NULL REFERENCES object (id) ON DELETE CASCADE ON UPDATE CASCADE,
    class TEXT,
    importance INTEGER,
    flags INTEGER NOT NULL,
    count INTEGER NOT NULL,
    change INTEGER NOT NULL
);
CREATE INDEX facet_of ON facet (container, flags, class, importance);

-- A property without a value here has it in a stream.
CREATE TABLE property (
    object INTEGER NOT NULL REFERENCES object (id) ON DELETE CASCADE ON UPDATE CASCADE,
    tag INTEGER NOT NULL,
    value,
    PRIMARY KEY (object, tag)
) WITHOUT ROWID;

CREATE TABLE stream (
    id INTEGER PRIMARY KEY,
    object INTEGER NOT NULL,
    tag INTEGER NOT NULL,
    size INTEGER NOT NULL,
    UNIQUE (object, tag),
    FOREIGN KEY (object, tag) REFERENCES property (object, tag) ON DELETE CASCADE ON UPDATE CASCADE
);
CREATE TABLE chunk (
    id INTEGER PRIMARY KEY,
    stream INTEGER NOT NULL REFERENCES stream (id) ON DELETE CASCADE,
    number INTEGER NOT NULL,
    data BLOB NOT NULL,
    UNIQUE (stream, number)
);

-- Users (they have an alias, a distinguished name and a mailbox) and contacts. The keys are what names are compared
-- by: case is folded in them.
CREATE TABLE person (
    id INTEGER PRIMARY KEY REFERENCES object (id) ON DELETE CASCADE,
    alias TEXT,
    alias_key TEXT UNIQUE,
    name TEXT NOT NULL,
    smtp TEXT NOT NULL,
    smtp_key TEXT NOT NULL UNIQUE,
    dn TEXT,
    dn_key TEXT UNIQUE,
    service INTEGER NOT NULL DEFAULT 0
);
CREATE TABLE mailbox (
    id INTEGER PRIMARY KEY REFERENCES object (id) ON DELETE CASCADE,
    owner INTEGER NOT NULL UNIQUE REFERENCES person (id),
    root INTEGER NOT NULL,
    ipm_subtree INTEGER NOT NULL,
    inbox INTEGER NOT NULL,
    outbox INTEGER NOT NULL,
    sent_items INTEGER NOT NULL,
    deleted_items INTEGER NOT NULL,
    calendar INTEGER NOT NULL
);

CREATE TABLE profile (
    id INTEGER PRIMARY KEY,
    name TEXT NOT NULL,
    name_key TEXT NOT NULL UNIQUE,
    is_default INTEGER NOT NULL DEFAULT 0
);
CREATE TABLE service (
    id INTEGER PRIMARY KEY,
    profile INTEGER NOT NULL REFERENCES profile (id) ON DELETE CASCADE,
    uid BLOB NOT NULL,
    name TEXT NOT NULL,
    display_name TEXT NOT NULL,
    UNIQUE (profile, uid)
);
CREATE TABLE section (
    profile INTEGER NOT NULL REFERENCES profile (id) ON DELETE CASCADE,
    uid BLOB NOT NULL,
    object INTEGER NOT NULL UNIQUE REFERENCES object (id),
    PRIMARY KEY (profile, uid)
);

CREATE TABLE named_property (
    id INTEGER PRIMARY KEY,
    uid BLOB NOT NULL,
    number INTEGER,
    name TEXT
);
CREATE UNIQUE INDEX named_property_number ON named_property (uid, number) WHERE number IS NOT NULL;
CREATE UNIQUE INDEX named_property_name ON named_property (uid, name) WHERE name IS NOT NULL;
)";

// The entries, for watches: what happened to which object in which container, with the facet of the
// messages it happened to (see ChangeEntry). Numbers grow; the oldest entries go when there are many, the newest never.
constexpr const char *kChangeEntries = R"(
CREATE TABLE change_entry (
    number INTEGER PRIMARY KEY,
    kind INTEGER NOT NULL,
    event INTEGER NOT NULL,
    container INTEGER NOT NULL,
    object INTEGER NOT NULL,
    flags INTEGER,
    class TEXT,
    importance INTEGER
);
INSERT INTO change_entry (number, kind, event, container, object) VALUES (0, 3, 4, 0, 0);
)";

// The marks of commits: each has a stamp, knows the one before it, and the number that SQLite gives the schema, which
// changes when the file is packed. By them a log is known to be this file's (see OwnLog).
constexpr const char *kMarks = R"(
ALTER TABLE site ADD COLUMN stamp INTEGER NOT NULL DEFAULT 0;
ALTER TABLE site ADD COLUMN stamp_before INTEGER NOT NULL DEFAULT 0;
ALTER TABLE site ADD COLUMN schema_number INTEGER NOT NULL DEFAULT 0;
UPDATE site SET change = change + 1, stamp = random(),
    schema_number = (SELECT schema_version FROM pragma_schema_version);
)";

// What several objects have in common lies once, in an object of its own: a list of recipients, which messages name, or
// the data of a stream, which streams name. It goes with the last that names it. Chunks have checksums from here on.
constexpr const char *kCommon = R"(
ALTER TABLE object ADD COLUMN list INTEGER REFERENCES object (id);
CREATE INDEX object_list ON object (list) WHERE list IS NOT NULL;
ALTER TABLE stream ADD COLUMN data INTEGER REFERENCES stream (id);
CREATE INDEX stream_data ON stream (data) WHERE data IS NOT NULL;
ALTER TABLE chunk ADD COLUMN checksum INTEGER;
-- What goes with them is deleted here too: who deletes many messages at once does not have references followed.
CREATE TRIGGER list_left AFTER DELETE ON object
WHEN old.list IS NOT NULL AND NOT EXISTS (SELECT 1 FROM object WHERE list = old.list) BEGIN
    DELETE FROM chunk WHERE stream IN (SELECT s.id FROM object o JOIN stream s ON s.object = o.id WHERE o.parent = old.list);
    DELETE FROM stream WHERE object IN (SELECT id FROM object WHERE parent = old.list);
    DELETE FROM property WHERE object IN (SELECT id FROM object WHERE parent = old.list);
    DELETE FROM object WHERE parent = old.list;
    DELETE FROM object WHERE id = old.list;
END;
CREATE TRIGGER list_changed AFTER UPDATE OF list ON object WHEN old.list IS NOT NULL AND old.list IS NOT new.list BEGIN
    DELETE FROM object WHERE id = old.list AND NOT EXISTS (SELECT 1 FROM object WHERE list = old.list);
END;
CREATE TRIGGER data_left AFTER DELETE ON stream
WHEN old.data IS NOT NULL AND NOT EXISTS (SELECT 1 FROM stream WHERE data = old.data) BEGIN
    DELETE FROM chunk WHERE stream = old.data;
    DELETE FROM object WHERE id = (SELECT object FROM stream WHERE id = old.data);
    DELETE FROM property WHERE object = (SELECT object FROM stream WHERE id = old.data);
    DELETE FROM stream WHERE id = old.data;
END;
)";

// What mailboxes hold and may hold, in bytes: facets count those of their messages, a mailbox has a quota or none. And
// when a message that was moved or copied came to where it lies.
constexpr const char *kSizes = R"(
ALTER TABLE facet ADD COLUMN bytes INTEGER NOT NULL DEFAULT 0;
UPDATE facet SET bytes = (SELECT IFNULL(sum(size), 0) FROM object o WHERE o.facet = facet.id);
ALTER TABLE mailbox ADD COLUMN quota INTEGER;
CREATE INDEX mailbox_quota ON mailbox (id) WHERE quota IS NOT NULL;
ALTER TABLE object ADD COLUMN arrived INTEGER;
)";

struct Step {
    const char *tables;
    void (*fill)(Connection &connection) = nullptr; // what the tables hold of a file's content
};
// kSteps[n] brings a file of version n + 1 to version n + 2.
const std::array<Step, kSchemaVersion - 1> kSteps{
    {{kChangeEntries}, {kMarks}, {kCommon}, {kNameIndexTables, IndexEverybody}, {kSizes}}};

void Take(const Step &step, Connection &connection)
{
    connection.Execute(step.tables);
    if (step.fill)
        step.fill(connection);
}

} // namespace

void CreateSchema(Connection &connection)
{
    connection.Execute(kTables);
    for (const Step &step : kSteps)
        Take(step, connection);
    connection.Execute("PRAGMA application_id = " + std::to_string(kApplicationId));
    connection.Execute("PRAGMA user_version = " + std::to_string(kSchemaVersion));
}

void MarkCommit(Connection &connection, std::int64_t nextId, ChangeNumber change)
{
    connection
        .Prepare("UPDATE site SET next_id = max(next_id, ?), change = ?, stamp_before = stamp, stamp = random(), "
                 "schema_number = (SELECT schema_version FROM pragma_schema_version)")
        .Bind(nextId, change)
        .Run();
}

void TakeStep(Connection &connection, std::int64_t fromVersion)
{
    Take(kSteps[static_cast<std::size_t>(fromVersion) - 1], connection);
    connection.Execute("PRAGMA user_version = " + std::to_string(fromVersion + 1));
}

} // namespace localmapi::storage
