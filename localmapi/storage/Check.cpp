// The check of a site's file: SQLite's own, and the rules over the rows, in pieces that several threads take in turn. A
// repair mends what a look has found, and looks again.
#include "localmapi/storage/Check.h"
#include "localmapi/storage/CheckRules.h"
#include <algorithm>
#include <atomic>
#include <set>
#include <thread>

namespace localmapi::storage
{

namespace
{

using Clock = std::chrono::steady_clock;

constexpr std::int64_t kIdsAtOnce = 20000;
constexpr std::int64_t kFacetsAtOnce = 1000;
constexpr unsigned kMostThreads = 4;
constexpr int kInstructionsBetweenLooks = 100000; // of SQLite's program for the check of pages
// A repair's transaction ends after so much of either; the next one begins when others have had as long.
constexpr int kMendedAtOnce = 500;
constexpr auto kLongestMending = std::chrono::milliseconds(100);
constexpr int kMostRounds = 5;

// What the pages are checked by: reads every page twice, for the trees and for the rows in them.
class PageCheck
{
  public:
    explicit PageCheck(Connection &connection)
        : m_connection(connection), m_pages(connection.Integer("PRAGMA page_count"))
    {
    }
    // `told` hears which part of it is done, and says whether it is to go on.
    std::vector<std::string> Run(std::function<bool(double)> told)
    {
        m_told = std::move(told);
        PagesRead(true);
        sqlite3_progress_handler(m_connection.Handle(), kInstructionsBetweenLooks, &PageCheck::Look, this);
        const std::unique_ptr<sqlite3, void (*)(sqlite3 *)> end(
            m_connection.Handle(), [](sqlite3 *handle) { sqlite3_progress_handler(handle, 0, nullptr, nullptr); });
        std::vector<std::string> damage;
        Statement rows = m_connection.Prepare("PRAGMA integrity_check");
        while (rows.Step())
            if (std::string text = rows.Text(0); text != "ok")
                damage.push_back("The file is damaged: " + text + ".");
        return damage;
    }

  private:
    int PagesRead(bool beginAnew) const
    {
        int read = 0, highest = 0;
        sqlite3_db_status(m_connection.Handle(), SQLITE_DBSTATUS_CACHE_MISS, &read, &highest, beginAnew);
        return read;
    }
    static int Look(void *self)
    {
        const auto &check = *static_cast<const PageCheck *>(self);
        const double expected = 2.0 * static_cast<double>(std::max<std::int64_t>(check.m_pages, 1));
        return check.m_told(std::min(1.0, check.PagesRead(false) / expected)) ? 0 : 1;
    }

    Connection &m_connection;
    std::int64_t m_pages;
    std::function<bool(double)> m_told;
};

// What one look at everything found.
struct Found {
    std::vector<std::string> damage;                      // of pages: what such a file says about itself proves nothing
    std::vector<std::string> lost;                        // what no rule can mend
    std::map<std::size_t, std::set<std::int64_t>> broken; // by the number of the rule
    bool isUnreadable = false;                            // some of it: then nothing is mended

    bool MayBeMended() const { return damage.empty() && !isUnreadable && !broken.empty(); }
};

// A look at everything. Each job reads as of one moment of its own: no rule needs more.
class Look
{
  public:
    explicit Look(Database &database) : m_database(database)
    {
        std::int64_t lastId = 0, lastFacet = 0;
        {
            Reader reader(database);
            lastId = reader->Integer("SELECT max(n) FROM (SELECT max(id) AS n FROM object UNION ALL "
                                     "SELECT max(id) FROM stream)");
            lastFacet = reader->Integer("SELECT max(id) FROM facet");
        }
        m_jobs.push_back([this] { CheckPages(); });
        m_jobs.push_back([this] {
            CheckReferences();
            Ask(Rule::Over::Site, {0, 0});
        });
        AddRanges(lastId, kIdsAtOnce, [this](IdRange range) { AskOfIds(range); });
        AddRanges(lastFacet, kFacetsAtOnce, [this](IdRange range) { Ask(Rule::Over::Facets, range); });
    }

    Found Run(const CheckProgress &progress)
    {
        const unsigned count = std::clamp(std::thread::hardware_concurrency(), 2u, kMostThreads);
        std::vector<std::thread> threads;
        // Whatever happens, no thread outlives this.
        struct Joined {
            Look &look;
            std::vector<std::thread> &threads;
            ~Joined()
            {
                look.m_stop = true;
                for (std::thread &thread : threads)
                    thread.join();
            }
        };
        {
            const Joined joined{*this, threads};
            {
                const locks::Hold lock(m_lock);
                m_working = count;
            }
            for (unsigned i = 0; i < count; ++i)
                threads.emplace_back([this] { Work(); });
            Wait(progress);
        }
        const locks::Hold lock(m_lock);
        if (m_error)
            std::rethrow_exception(m_error);
        AddUnreadable();
        return std::move(m_found);
    }

  private:
    using Job = std::function<void()>;

    // Numbers below the first and above the last given out belong to the outermost pieces.
    void AddRanges(std::int64_t last, std::int64_t atOnce, const std::function<void(IdRange)> &work)
    {
        for (std::int64_t first = 0; first <= last; first += atOnce) {
            const bool isLast = last - first < atOnce;
            const IdRange range{first == 0 ? INT64_MIN : first, isLast ? INT64_MAX : first + atOnce - 1};
            m_jobs.push_back([work, range] { work(range); });
            if (isLast)
                break;
        }
    }

    void Work() noexcept
    {
        for (std::size_t job = m_next++; job < m_jobs.size() && !m_stop; job = m_next++) {
            try {
                m_jobs[job]();
            } catch (const Error &error) {
                Failed(error.GetFault() == Fault::Corrupt || error.GetFault() == Fault::CorruptData);
            } catch (...) {
                Failed(false);
            }
            const locks::Hold lock(m_lock);
            m_done += job == 0 ? m_jobs.size() - m_pagesDone : 1;
            m_changed.NotifyAll();
        }
        const locks::Hold lock(m_lock);
        --m_working;
        m_changed.NotifyAll();
    }

    // Inside a handler. Damage is what is looked for, anything else ends the look.
    void Failed(bool isDamage) noexcept
    {
        const locks::Hold lock(m_lock);
        std::exception_ptr &first = isDamage ? m_unreadable : m_error;
        if (!first)
            first = std::current_exception();
        m_stop = m_stop || !isDamage;
    }

    void AddUnreadable() REQUIRES(m_lock)
    {
        if (!m_unreadable)
            return;
        m_found.isUnreadable = true;
        try {
            std::rethrow_exception(m_unreadable);
        } catch (const Error &error) {
            m_found.lost.emplace_back(error.what());
        }
    }

    void Wait(const CheckProgress &progress)
    {
        const std::uint64_t total = 2 * m_jobs.size() - 1; // the pages take as long as all the others
        std::uint64_t told = 0;
        const locks::Hold lock(m_lock);
        for (;;) {
            if (const std::uint64_t done = m_done; progress && done != told && !m_error) {
                told = done;
                const locks::Released released(m_lock);
                progress("parts", done, total);
            } else if (m_working == 0) {
                return;
            } else {
                m_changed.Wait(m_lock);
            }
        }
    }

    void CheckPages()
    {
        Reader reader(m_database);
        std::vector<std::string> damage = PageCheck(*reader).Run([this](double part) {
            const locks::Hold lock(m_lock);
            const auto done = static_cast<std::size_t>(part * static_cast<double>(m_jobs.size()));
            if (done > m_pagesDone) {
                m_done += done - m_pagesDone;
                m_pagesDone = done;
                m_changed.NotifyAll();
            }
            return !m_stop;
        });
        const locks::Hold lock(m_lock);
        m_found.damage = std::move(damage);
    }

    // Of the tables that no rule is about.
    void CheckReferences()
    {
        Reader reader(m_database);
        Statement rows =
            reader->Prepare("SELECT t.name, f.parent, count(*) FROM sqlite_schema t, "
                            "pragma_foreign_key_check(t.name) f WHERE t.type = 'table' "
                            "AND t.name NOT IN ('object', 'facet', 'property', 'stream', 'chunk', 'person_word') "
                            "GROUP BY 1, 2");
        while (rows.Step()) {
            const locks::Hold lock(m_lock);
            m_found.lost.push_back("Rows of " + rows.Text(0) + " that refer to a " + rows.Text(1) +
                                   " which is not there: " + rows.Text(2) + ".");
        }
    }

    void Ask(Rule::Over over, IdRange range)
    {
        Reader reader(m_database);
        Ask(*reader, over, range);
    }

    void AskOfIds(IdRange range)
    {
        Reader reader(m_database);
        Ask(*reader, Rule::Over::Ids, range);
        for (const ObjectId suspect : Suspects(*reader, range))
            Ask(*reader, Rule::Over::Suspects, {suspect, suspect});
        std::vector<std::string> altered = AlteredData(*reader, range);
        const locks::Hold lock(m_lock);
        m_found.lost.insert(m_found.lost.end(), altered.begin(), altered.end());
    }

    void Ask(Connection &connection, Rule::Over over, IdRange range)
    {
        for (std::size_t i = 0; i < Rules().size(); ++i)
            if (Rules()[i].over == over)
                if (const std::vector<std::int64_t> broken = Broken(connection, Rules()[i], range); !broken.empty()) {
                    const locks::Hold lock(m_lock);
                    m_found.broken[i].insert(broken.begin(), broken.end());
                }
    }

    Database &m_database;
    std::vector<Job> m_jobs; // the pages first
    std::atomic<std::size_t> m_next = 0;
    std::atomic<bool> m_stop = false;
    locks::Mutex m_lock;
    locks::Condition m_changed;
    unsigned m_working GUARDED_BY(m_lock) = 0;
    std::uint64_t m_done GUARDED_BY(m_lock) = 0;
    std::size_t m_pagesDone GUARDED_BY(m_lock) = 0;
    Found m_found GUARDED_BY(m_lock);
    std::exception_ptr m_error GUARDED_BY(m_lock), m_unreadable GUARDED_BY(m_lock);
};

// Mends in short transactions what a look has found. What it was about may have changed since: each rule is asked again
// where nobody else can write.
class Mender
{
  public:
    explicit Mender(Database &database) : m_database(database) {}

    void Mend(const Rule &rule, std::int64_t about, std::set<std::string> &mended)
    {
        while (IsBroken(rule, about)) {
            const std::int64_t before = Changes();
            rule.mends(*m_writer, about);
            if (Changes() == before)
                return;
            mended.insert(Sentence(rule, about));
            m_mendedSomething = true;
            if (++m_mendings >= kMendedAtOnce || Clock::now() - m_begun > kLongestMending)
                Settle();
        }
    }

    // Whether anything was mended.
    bool End()
    {
        Settle();
        return m_mendedSomething;
    }

  private:
    bool IsBroken(const Rule &rule, std::int64_t about)
    {
        if (!m_writer) {
            m_writer.emplace(m_database, Share::WithNobody);
            m_begun = Clock::now();
        }
        return !Broken(**m_writer, rule, {about, about}).empty();
    }

    std::int64_t Changes() const { return sqlite3_total_changes64((*m_writer)->Handle()); }

    void Settle()
    {
        if (!m_writer)
            return;
        if (m_mendings > 0) { // counts and rows that were read before are no longer right
            (*m_writer)->Prepare("UPDATE facet SET change = ?").Bind(m_writer->Change()).Run();
            m_writer->Entries().EverythingChanged();
            m_writer->Commit();
        }
        m_writer.reset();
        std::this_thread::sleep_for(std::min<Clock::duration>(Clock::now() - m_begun, kLongestMending));
        m_mendings = 0;
    }

    Database &m_database;
    std::optional<Writer> m_writer;
    Clock::time_point m_begun;
    int m_mendings = 0;
    bool m_mendedSomething = false;
};

bool MendAll(Database &database, const Found &found, std::set<std::string> &mended, const CheckProgress &progress)
{
    std::uint64_t done = 0, total = 0;
    for (const auto &[number, about] : found.broken)
        total += Rules()[number].mends ? about.size() : 0;
    Mender mender(database);
    for (const auto &[number, broken] : found.broken) {
        const Rule &rule = Rules()[number];
        if (!rule.mends)
            continue;
        for (const std::int64_t about : broken) {
            mender.Mend(rule, about, mended);
            ++done;
            if (progress && (done % kMendedAtOnce == 0 || done == total))
                progress("repairs", done, total);
        }
    }
    return mender.End();
}

std::vector<Finding> Listed(const Found &found, std::set<std::string> &&mended)
{
    std::vector<Finding> findings;
    const auto add = [&](const std::string &text) {
        mended.erase(text);
        findings.push_back({text, false});
    };
    if (!found.damage.empty()) {
        std::for_each(found.damage.begin(), found.damage.end(), add);
    } else {
        for (const auto &[number, broken] : found.broken)
            for (const std::int64_t about : broken)
                add(Sentence(Rules()[number], about));
        std::for_each(found.lost.begin(), found.lost.end(), add);
    }
    for (const std::string &text : mended)
        findings.push_back({text, true});
    return findings;
}

} // namespace

std::vector<Finding> Check(Site site, bool repair, const CheckProgress &progress)
{
    Database &database = site.GetDatabase();
    if (repair)
        database.RequireWritable();
    std::set<std::string> mended;
    for (int round = 1;; ++round) {
        Found found = Look(database).Run(progress);
        if (!repair || !found.MayBeMended() || round == kMostRounds || !MendAll(database, found, mended, progress))
            return Listed(found, std::move(mended));
    }
}

} // namespace localmapi::storage
