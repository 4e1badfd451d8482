// How sites are made for tests, brought back to what former versions wrote, and taken away again.
#include "Fixture.h"
#include "localmapi/storage/Schema.h"
#include <random>

namespace localmapi::storage
{

void MakeOlder(const std::string &file, std::int64_t version)
{
    // From each version to the one before it, from the second on.
    constexpr const char *kBack[] = {
        "DROP TABLE change_entry",
        "ALTER TABLE site DROP COLUMN stamp; ALTER TABLE site DROP COLUMN stamp_before;"
        "ALTER TABLE site DROP COLUMN schema_number",
        "DROP TRIGGER list_left; DROP TRIGGER list_changed; DROP TRIGGER data_left; DROP INDEX object_list;"
        "DROP INDEX stream_data; ALTER TABLE object DROP COLUMN list; ALTER TABLE stream DROP COLUMN data;"
        "ALTER TABLE chunk DROP COLUMN checksum",
        "DROP TABLE person_word",
        "DROP INDEX mailbox_quota; ALTER TABLE mailbox DROP COLUMN quota; ALTER TABLE facet DROP COLUMN bytes;"
        "ALTER TABLE object DROP COLUMN arrived",
    };
    static_assert(std::size(kBack) + 1 == kSchemaVersion);
    Connection connection(file, SQLITE_OPEN_READWRITE, 0);
    for (std::int64_t from = kSchemaVersion; from > version; --from)
        connection.Execute(kBack[from - 2]);
    connection.Execute("PRAGMA user_version = " + std::to_string(version));
}

std::string Utf8(const std::filesystem::path &path)
{
    std::u8string text = path.u8string();
    return std::string(text.begin(), text.end());
}

Folder::Folder()
{
    std::random_device random;
    do
        m_path = std::filesystem::temp_directory_path() / ("localmapi-" + std::to_string(random()));
    while (!std::filesystem::create_directory(m_path));
}

Folder::~Folder()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string Folder::File(const std::string &name) const
{
    return Utf8(m_path / name);
}

SiteTest::SiteTest()
    : m_site(Site::Create(m_folder.File("site.db"), "NORVIK1", "Norvik")), m_objects(m_site),
      m_alice(Directory(m_site).AddUser("alice", "Alice Archer")), m_box(Directory(m_site).GetMailbox(m_alice.mailbox))
{
}

SiteTest::~SiteTest() = default;

MessageChanges SiteTest::MakeMessage(const std::string &subject, const PropertyBag &more)
{
    MessageChanges content;
    content.properties.set = {{kMessageClass, std::string("IPM.Note")}, {kSubject, subject}};
    for (const Property &property : more)
        content.properties.set.Set(property.tag, property.value);
    return content;
}

ObjectId SiteTest::Add(const std::string &subject, const PropertyBag &more)
{
    return m_objects.CreateMessage(m_box.inbox, MakeMessage(subject, more));
}

std::vector<std::string> SiteTest::SubjectsIn(const View &view) const
{
    return SubjectsOf(view.Read(Place::Beginning(), Direction::Forward, 1000, {kSubject}));
}

void SiteTest::ExpectSound() const
{
    for (const Finding &finding : Check(m_site, false))
        ADD_FAILURE() << finding.text;
}

std::vector<std::string> SubjectsOf(const std::vector<Row> &rows)
{
    std::vector<std::string> subjects;
    for (const Row &row : rows) {
        auto subject = row.values.empty() ? nullptr : std::get_if<std::string>(&row.values.front());
        subjects.push_back(subject ? *subject : "(none)");
    }
    return subjects;
}

std::optional<Fault> FaultOf(const std::function<void()> &work)
{
    try {
        work();
    } catch (const Error &error) {
        EXPECT_STRNE(error.what(), "");
        return error.GetFault();
    }
    return {};
}

SpoolPtr MakeSpool(std::uint64_t size)
{
    auto spool = std::make_shared<Spool>();
    Bytes piece(std::size_t{1} << 20);
    for (std::uint64_t at = 0; at < size; at += piece.size()) {
        std::fill(piece.begin(), piece.end(), static_cast<std::uint8_t>(at >> 20));
        spool->Write(at, piece.data(), static_cast<std::size_t>(std::min<std::uint64_t>(piece.size(), size - at)));
    }
    return spool;
}

} // namespace localmapi::storage
