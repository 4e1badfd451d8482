// Proves how a site is made and opened, and that every file that isn't one, or can't be used, is refused with its
// reason and left as it is.
#include "Fixture.h"
#include "localmapi/storage/Schema.h"
#include "support/Gate.h"
#include <fstream>
#include <sqlite3.h>
#include <thread>

namespace localmapi::storage
{

namespace
{

namespace fs = std::filesystem;

std::string ContentOf(const std::string &path)
{
    std::ifstream file(PathOf(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void WriteContent(const std::string &path, const std::string &content)
{
    std::ofstream(PathOf(path), std::ios::binary) << content;
}

class Raw // the file as SQLite sees it
{
  public:
    explicit Raw(const std::string &path) { EXPECT_EQ(sqlite3_open(path.c_str(), &m_handle), SQLITE_OK); }
    ~Raw() { sqlite3_close(m_handle); }
    void Execute(const char *sql)
    {
        EXPECT_EQ(sqlite3_exec(m_handle, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sql;
    }

  private:
    sqlite3 *m_handle = nullptr;
};

// Opens its gate as soon as a connection that is opened while it lives waits for another writer: SQLite sleeps then.
class SeesWaiting
{
  public:
    SeesWaiting()
    {
        m_system.real = sqlite3_vfs_find(nullptr);
        m_system.gate = &m_gate;
        sqlite3_vfs &vfs = m_system;
        vfs = *m_system.real;
        vfs.zName = "sees waiting";
        vfs.pNext = nullptr;
        vfs.xSleep = [](sqlite3_vfs *called, int microseconds) {
            const auto &system = static_cast<System &>(*called);
            system.gate->Open();
            return system.real->xSleep(system.real, microseconds);
        };
        sqlite3_vfs_register(&m_system, 1);
    }
    ~SeesWaiting() { sqlite3_vfs_unregister(&m_system); }
    SeesWaiting(const SeesWaiting &) = delete;
    SeesWaiting &operator=(const SeesWaiting &) = delete;
    bool Seen() { return m_gate.Pass(); }

  private:
    struct System : sqlite3_vfs {
        sqlite3_vfs *real;
        Gate *gate;
    };
    Gate m_gate;
    System m_system{};
};

struct Sites : testing::Test {
    Folder folder;
    std::string path = folder.File("site.db");
    static std::optional<Fault> FaultOfOpening(const std::string &file)
    {
        return FaultOf([&] { Site::Open(file); });
    }
};

TEST_F(Sites, AreMadeAndOpenedAgain)
{
    SiteInfo made = Site::Create(path, "NORVIK1", "Norvik").Info();
    SiteInfo opened = Site::Open(path).Info();
    EXPECT_EQ(opened.server, "NORVIK1");
    EXPECT_EQ(opened.organization, "Norvik");
    EXPECT_EQ(opened.uid, made.uid);
    EXPECT_NE(Site::Create(folder.File("other.db"), "NORVIK1", "Norvik").Info().uid, made.uid);
    EXPECT_FALSE(fs::exists(PathOf(path + "-wal"))); // closed cleanly: one file
}

TEST_F(Sites, StayWhereTheyAreWhenTheProcessGoesToAnotherFolder)
{
    Site::Create(path, "S", "O");
    const fs::path before = fs::current_path();
    fs::current_path(PathOf(path).parent_path());
    const Site site = Site::Open("site.db");
    fs::current_path(before);
    EXPECT_TRUE(site.IsInPlace());
    EXPECT_EQ(Directory(site).AddUser("alice", "Alice").alias, "alice");
}

TEST_F(Sites, HaveAnyPath)
{
    for (const char *name : {"with blank.db", "caf\xc3\xa9.db", "\xe6\x97\xa5\xe6\x9c\xac.db", "%41.db", "a'b.db"}) {
        std::string file = folder.File(name);
        Site::Create(file, "S", "O");
        EXPECT_TRUE(fs::exists(PathOf(file))) << name;
        EXPECT_EQ(Site::Open(file).Info().server, "S") << name;
    }
}

TEST_F(Sites, AreNotMadeOverAnythingThatIsThere)
{
    WriteContent(path, "precious");
    EXPECT_EQ(FaultOf([&] { Site::Create(path, "S", "O"); }), Fault::Collision);
    EXPECT_EQ(ContentOf(path), "precious");
    std::string site = folder.File("site2.db");
    Site::Create(site, "S", "O");
    EXPECT_EQ(FaultOf([&] { Site::Create(site, "T", "P"); }), Fault::Collision);
    EXPECT_EQ(Site::Open(site).Info().server, "S");
}

TEST_F(Sites, ThatCannotBeMadeAreNotThere)
{
    EXPECT_EQ(FaultOf([&] { Site::Create(path, "", "O"); }), Fault::Invalid);
    EXPECT_EQ(FaultOf([&] { Site::Create(path, "S", ""); }), Fault::Invalid);
    for (const char *name : {"S/T", "S=T", "/"}) { // they are parts of distinguished names
        EXPECT_EQ(FaultOf([&] { Site::Create(path, name, "O"); }), Fault::Invalid) << name;
        EXPECT_EQ(FaultOf([&] { Site::Create(path, "S", name); }), Fault::Invalid) << name;
    }
    EXPECT_FALSE(fs::exists(PathOf(path)));
    EXPECT_EQ(FaultOf([&] { Site::Create(folder.File("no/such/folder.db"), "S", "O"); }), Fault::NoAccess);
}

TEST_F(Sites, ThatAreNotThereAreNotFoundAndNotMade)
{
    EXPECT_EQ(FaultOfOpening(path), Fault::NotFound);
    EXPECT_FALSE(fs::exists(PathOf(path)));
}

TEST_F(Sites, OfOthersAreRefusedAndLeftAsTheyAre)
{
    std::string database = folder.File("database.db");
    Raw(database).Execute("PRAGMA application_id = 12345; CREATE TABLE site (x); INSERT INTO site VALUES (1)");
    std::string plain = folder.File("plain.db");
    Raw(plain).Execute("CREATE TABLE t (x)");
    WriteContent(folder.File("empty"), "");
    WriteContent(folder.File("text"), std::string(5000, 't'));
    WriteContent(folder.File("short"), "SQLite format 3");
    for (const std::string &file : {database, plain, folder.File("empty"), folder.File("text"), folder.File("short")}) {
        std::string before = ContentOf(file);
        EXPECT_EQ(FaultOfOpening(file), Fault::NotASite) << file;
        EXPECT_EQ(ContentOf(file), before) << file;
        EXPECT_FALSE(fs::exists(PathOf(file + "-wal"))) << file;
    }
}

TEST_F(Sites, OfANewerVersionAreRefusedAndLeftAsTheyAre)
{
    Site::Create(path, "S", "O");
    Raw(path).Execute(("PRAGMA user_version = " + std::to_string(kSchemaVersion + 1)).c_str());
    std::string before = ContentOf(path);
    try {
        Site::Open(path);
        FAIL();
    } catch (const Error &error) {
        EXPECT_EQ(error.GetFault(), Fault::TooNew);
        EXPECT_THAT(error.what(), testing::HasSubstr("newer version"));
    }
    EXPECT_EQ(ContentOf(path), before);
    Raw(path).Execute(("PRAGMA user_version = " + std::to_string(kSchemaVersion)).c_str());
    EXPECT_FALSE(FaultOfOpening(path));
    Raw(path).Execute("PRAGMA user_version = 0");
    EXPECT_EQ(FaultOfOpening(path), Fault::NotASite);
}

TEST_F(Sites, ThatANewerVersionUpgradesWhileTheyAreOpenAreRefusedFromThen)
{
    const Site site = Site::Create(path, "S", "O");
    Directory directory(site);
    directory.AddUser("alice", "Alice");
    Raw(path).Execute(("PRAGMA user_version = " + std::to_string(kSchemaVersion + 1)).c_str());
    EXPECT_EQ(FaultOf([&] { directory.Users(); }), Fault::TooNew);
    EXPECT_EQ(FaultOf([&] { directory.AddUser("bob", "Bob"); }), Fault::TooNew);
    EXPECT_EQ(FaultOf([&] { Check(site, false); }), Fault::TooNew);
    Raw(path).Execute(("PRAGMA user_version = " + std::to_string(kSchemaVersion)).c_str());
    EXPECT_EQ(directory.Users().size(), 1u);
    EXPECT_NO_THROW(directory.AddUser("bob", "Bob"));
}

TEST_F(Sites, OpenedForReadingAreReadAndNothingElse)
{
    Site writable = Site::Create(path, "S", "O");
    User user = Directory(writable).AddUser("alice", "Alice");
    OpenOptions options;
    options.readOnly = true;
    Site site = Site::Open(path, options);
    EXPECT_EQ(Directory(site).Users().size(), 1u);
    EXPECT_EQ(FaultOf([&] { Directory(site).AddUser("bob", "Bob"); }), Fault::NoAccess);
    EXPECT_TRUE(Check(site, false).empty());
    EXPECT_EQ(FaultOf([&] { Check(site, true); }), Fault::NoAccess);
    Directory(writable).AddUser("carol", "Carol"); // is seen at once
    EXPECT_EQ(Directory(site).Users().size(), 2u);
    EXPECT_TRUE(Directory(site).MayOpen(user.id, user.mailbox));
}

TEST_F(Sites, HeldByAnotherWriterAreBusyAfterTheTimeout)
{
    Site::Create(path, "S", "O");
    OpenOptions options;
    options.busyTimeoutMs = 50;
    Site site = Site::Open(path, options);
    Raw other(path);
    other.Execute("BEGIN IMMEDIATE; UPDATE site SET change = change + 1");
    EXPECT_EQ(FaultOf([&] { Profiles(site).Create("P"); }), Fault::Busy);
    EXPECT_TRUE(Profiles(site).List().empty()); // readers do not wait
    other.Execute("ROLLBACK");
    Profiles(site).Create("P");
    EXPECT_EQ(Profiles(site).List().size(), 1u);
}

TEST_F(Sites, HeldForAMomentAreWaitedFor)
{
    SeesWaiting waiting;
    Site site = Site::Create(path, "S", "O");
    Raw other(path);
    other.Execute("BEGIN IMMEDIATE");
    std::thread writer([&] { Profiles(site).Create("P"); });
    EXPECT_TRUE(waiting.Seen());
    other.Execute("COMMIT");
    writer.join();
    EXPECT_EQ(Profiles(site).List().size(), 1u);
}

TEST_F(Sites, ThatAreCutShortAreDamagedAndNotForeign)
{
    Site::Create(path, "S", "O");
    const std::string whole = ContentOf(path);
    for (const std::size_t size : {std::size_t{72}, std::size_t{100}, std::size_t{511}, std::size_t{4096},
                                   std::size_t{8191}, std::size_t{8192}, whole.size() - 8192}) {
        const std::string cut = whole.substr(0, size);
        WriteContent(path, cut);
        const std::optional<Fault> fault = FaultOf([&] {
            if (!Check(Site::Open(path, {.readOnly = true}), false).empty())
                throw Error(Fault::Corrupt, "found by the check");
        });
        EXPECT_EQ(fault, Fault::Corrupt) << size;
        EXPECT_EQ(ContentOf(path), cut) << size;
    }
}

TEST_F(Sites, ThatAreDamagedAreSaidToBe)
{
    ObjectId inbox = 0;
    {
        Site site = Site::Create(path, "S", "O");
        inbox = Directory(site).GetMailbox(Directory(site).AddUser("alice", "Alice").mailbox).inbox;
        std::vector<NewMessage> messages(300);
        for (NewMessage &message : messages) {
            message.folder = inbox;
            message.content.properties.set.Set(kBody, std::string(3000, 'x'));
        }
        Objects(site).CreateMessages(messages);
    }
    std::string whole = ContentOf(path);
    // Pages of rubbish here and there; the first page stays, so that it is still a site.
    int found = 0;
    for (std::size_t page = 1; page < whole.size() / 8192; page += 5) {
        std::string damaged = whole;
        damaged.replace(page * 8192, 8192, std::string(8192, static_cast<char>(page)));
        WriteContent(path, damaged);
        std::optional<Fault> fault = FaultOf([&] {
            Site site = Site::Open(path);
            found += !Check(site, false).empty();
            View(site, {Container::Kind::Contents, inbox})
                .Read(Place::Beginning(), Direction::Forward, 1000, {kBody, kSubject});
        });
        EXPECT_TRUE(!fault || *fault == Fault::Corrupt) << FaultName(*fault) << " at page " << page;
    }
    EXPECT_GT(found, 50);
    for (std::size_t length : {whole.size() / 2, std::size_t{8192 * 3}, std::size_t{8192 + 100}, std::size_t{100}}) {
        WriteContent(path, whole.substr(0, length));
        std::optional<Fault> fault = FaultOf([&] {
            Site site = Site::Open(path);
            EXPECT_FALSE(Check(site, false).empty());
            View(site, {Container::Kind::Contents, inbox})
                .Read(Place::Beginning(), Direction::Forward, 1000, {kBody, kSubject});
        });
        EXPECT_TRUE(fault == Fault::Corrupt || fault == Fault::NotASite) << length;
    }
}

TEST_F(Sites, CountTheirChanges)
{
    Site site = Site::Create(path, "S", "O");
    ChangeNumber before = site.GetChangeNumber();
    Profiles(site).Create("P");
    EXPECT_EQ(site.GetChangeNumber(), before + 1);
    EXPECT_EQ(FaultOf([&] { Profiles(site).Create("P"); }), Fault::Collision);
    EXPECT_EQ(site.GetChangeNumber(), before + 1);
    EXPECT_EQ(Site::Open(path).GetChangeNumber(), before + 1);
}

TEST_F(Sites, NumberNamedPropertiesOnceForAll)
{
    Site site = Site::Create(path, "S", "O");
    Names names(site);
    PropertyName number{Guid{1}, std::int32_t{5}}, same{Guid{2}, std::int32_t{5}}, text{Guid{1}, std::string("Voice")},
        other{Guid{1}, std::string("voice")};
    EXPECT_EQ(names.Ids({number, text}, false), (std::vector<std::uint16_t>{0, 0}));
    std::vector<std::uint16_t> ids = names.Ids({number, text, number, same, other}, true);
    EXPECT_EQ(ids, (std::vector<std::uint16_t>{0x8000, 0x8001, 0x8000, 0x8002, 0x8003}));
    EXPECT_EQ(Names(Site::Open(path)).Ids({other, number}, false), (std::vector<std::uint16_t>{0x8003, 0x8000}));
    auto found = names.NamesOf({0x8001, 0x7FFF, 0x8004, 0x8002});
    EXPECT_EQ(found[0], text);
    EXPECT_FALSE(found[1]);
    EXPECT_FALSE(found[2]);
    EXPECT_EQ(found[3], same);
    EXPECT_EQ(names.All().size(), 4u);
    EXPECT_EQ(names.All()[3].second, other);
}

} // namespace

} // namespace localmapi::storage
