// Each commit leaves a mark in the site's row: a stamp, and the stamp of the commit before it. A log is a file's where
// it goes on from the mark in the file, or passes it. A copy that SQLite has packed has the marks but its pages in
// other places; its schema has another number. The formats are those of https://www.sqlite.org/fileformat2.html.
#include "localmapi/storage/OwnLog.h"
#include "localmapi/storage/Path.h"
#include <algorithm>
#include <array>
#include <chrono>
#include <fstream>
#include <span>
#include <thread>
#include <utility>
#include <vector>

namespace localmapi::storage
{

namespace
{

constexpr std::size_t kPageSize = 8192;
constexpr std::uint32_t kRowsPage = 2; // of the table "site", the first that was made
constexpr std::size_t kPageSizeAt = 16, kSchemaNumberAt = 40;
constexpr int kTries = 10; // others may be writing the log back meanwhile
constexpr std::chrono::milliseconds kBetweenTries{20};

using Page = std::array<unsigned char, kPageSize>;

std::size_t Big16(const unsigned char *bytes)
{
    return static_cast<std::size_t>(bytes[0] << 8 | bytes[1]);
}

std::uint32_t Big32(const unsigned char *bytes)
{
    return static_cast<std::uint32_t>(Big16(bytes) << 16 | Big16(bytes + 2));
}

std::uint32_t Little32(const unsigned char *bytes)
{
    return bytes[0] | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 | std::uint32_t{bytes[3]} << 24;
}

// What a commit says of itself, in the last columns of the site's row.
struct Mark {
    std::int64_t change = 0, stamp = 0, before = 0, schema = 0;
};
constexpr int kColumnsBeforeMark = 5;

// Reads a record's header or body and never beyond the page.
class PageReader
{
  public:
    PageReader(std::span<const unsigned char> page, std::size_t at) : m_page(page), m_at(at) {}
    bool IsGood() const { return m_good; }
    std::size_t At() const { return m_at; }
    std::int64_t Varint()
    {
        std::uint64_t value = 0;
        for (int i = 0; i < 9; ++i) {
            const unsigned char byte = Byte();
            if (i == 8)
                return static_cast<std::int64_t>(value << 8 | byte);
            value = value << 7 | (byte & 0x7F);
            if (!(byte & 0x80))
                break;
        }
        return static_cast<std::int64_t>(value);
    }
    std::int64_t Integer(std::int64_t type)
    {
        static constexpr std::size_t kSizes[] = {0, 1, 2, 3, 4, 6, 8};
        if (type == 8 || type == 9)
            return type - 8;
        if (type < 1 || type > 6) {
            m_good = false;
            return 0;
        }
        const std::size_t size = kSizes[type];
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < size; ++i)
            value = value << 8 | Byte();
        const unsigned unused = static_cast<unsigned>(64 - 8 * size);
        return static_cast<std::int64_t>(value << unused) >> unused;
    }
    void Skip(std::int64_t type)
    {
        if (type >= 12)
            m_at += static_cast<std::size_t>((type - 12) / 2);
        else if (type != 0)
            Integer(type == 7 ? 6 : type);
    }

  private:
    unsigned char Byte()
    {
        m_good = m_good && m_at < m_page.size();
        return m_good ? m_page[m_at++] : static_cast<unsigned char>(0);
    }
    const std::span<const unsigned char> m_page;
    std::size_t m_at;
    bool m_good = true;
};

// Nothing where the page is not the one row of "site", or where that has no marks yet.
std::optional<Mark> MarkOn(std::span<const unsigned char> page)
{
    constexpr unsigned char kTableLeaf = 13;
    constexpr std::size_t kLongestOnPage = kPageSize - 35;
    if (page[0] != kTableLeaf || Big16(&page[3]) != 1)
        return {};
    PageReader cell(page, Big16(&page[8]));
    if (static_cast<std::uint64_t>(cell.Varint()) > kLongestOnPage || cell.Varint() != 1)
        return {};
    const std::size_t begin = cell.At();
    const auto size = static_cast<std::uint64_t>(cell.Varint());
    if (!cell.IsGood() || size > kPageSize)
        return {};
    PageReader body(page, begin + size);
    for (int i = 0; i < kColumnsBeforeMark; ++i)
        body.Skip(cell.Varint());
    Mark mark;
    for (std::int64_t *value : {&mark.change, &mark.stamp, &mark.before, &mark.schema}) {
        if (cell.At() >= begin + size)
            return {};
        *value = body.Integer(cell.Varint());
    }
    return cell.IsGood() && body.IsGood() ? std::optional(mark) : std::nullopt;
}

// The frames of a log, as far as they are whole and of one writing.
class Log
{
  public:
    struct Frame {
        std::uint32_t page = 0;
        bool isCommit = false;
        std::vector<unsigned char> content;
    };

    explicit Log(const std::string &path) : m_file(PathOf(path), std::ios::binary)
    {
        constexpr std::uint32_t kMagic = 0x377F0682; // and one more where the sums are of big-endian words
        std::array<unsigned char, 32> header{};
        if (!Read(header))
            return;
        m_bigEndian = Big32(&header[0]) & 1;
        m_pageSize = Big32(&header[8]);
        if ((Big32(&header[0]) & ~1U) != kMagic || m_pageSize < 512 || m_pageSize > 65536)
            return;
        std::copy_n(&header[16], m_salts.size(), m_salts.begin());
        Sum(&header[0], 24);
        m_good = IsSum(&header[24]);
    }
    std::size_t PageSize() const { return m_pageSize; }
    bool Next(Frame &frame)
    {
        std::array<unsigned char, 24> header{};
        frame.content.resize(m_pageSize);
        if (!m_good || !Read(header) || !Read(frame.content) || !std::equal(m_salts.begin(), m_salts.end(), &header[8]))
            return false;
        Sum(&header[0], 8);
        Sum(frame.content.data(), frame.content.size());
        frame.page = Big32(&header[0]);
        frame.isCommit = Big32(&header[4]) != 0;
        return IsSum(&header[16]);
    }

  private:
    template <class Bytes> bool Read(Bytes &bytes)
    {
        return static_cast<bool>(
            m_file.read(reinterpret_cast<char *>(bytes.data()), static_cast<std::streamsize>(bytes.size())));
    }
    void Sum(const unsigned char *bytes, std::size_t size)
    {
        const auto word = m_bigEndian ? Big32 : Little32;
        for (std::size_t at = 0; at < size; at += 8) {
            m_sums[0] += word(bytes + at) + m_sums[1];
            m_sums[1] += word(bytes + at + 4) + m_sums[0];
        }
    }
    bool IsSum(const unsigned char *bytes) const { return Big32(bytes) == m_sums[0] && Big32(bytes + 4) == m_sums[1]; }

    std::ifstream m_file;
    bool m_good = false;
    bool m_bigEndian = false;
    std::size_t m_pageSize = 0;
    std::array<unsigned char, 8> m_salts{};
    std::array<std::uint32_t, 2> m_sums{};
};

// What one commit of a log holds of the pages that tell whose it is.
struct Commit {
    std::optional<std::uint32_t> schema; // page 1
    bool hasRows = false;                // page 2, with a mark or without
    std::optional<Mark> mark;
};

bool NextCommit(Log &log, Log::Frame &frame, Commit &commit)
{
    commit = {};
    while (log.Next(frame)) {
        if (frame.page == 1)
            commit.schema = Big32(&frame.content[kSchemaNumberAt]);
        if (frame.page == kRowsPage) {
            commit.hasRows = true;
            commit.mark = MarkOn(frame.content);
        }
        if (frame.isCommit)
            return true;
    }
    return false;
}

// The log of a file from before there were marks: the first mark in it is that of the upgrade, which has none before
// it.
bool BeginsMarks(Log &log, Log::Frame &frame)
{
    for (Commit commit; NextCommit(log, frame, commit);)
        if (commit.mark)
            return commit.mark->before == 0;
    return true;
}

// Whether the log goes on from the file's mark, or has passed it, and knows the pages by the places that they have in
// the file: the number that the file's schema has is in the log, or another program has changed it since the file's
// mark. A copy that was packed is taken for the file itself where another program has also changed the schema there,
// once.
bool GoesOn(const Mark &file, std::uint32_t schema, Log &log, Log::Frame &frame)
{
    bool any = false, strange = false, goesOn = false, samePlaces = false;
    for (Commit commit; !(goesOn && samePlaces) && NextCommit(log, frame, commit);) {
        samePlaces = samePlaces || commit.schema == schema;
        strange = strange || (commit.hasRows && !commit.mark);
        if (!commit.mark) {
            samePlaces = samePlaces || (!any && commit.schema && file.schema == std::int64_t{schema});
            continue;
        }
        const Mark &mark = *commit.mark;
        samePlaces = samePlaces || mark.schema == std::int64_t{schema};
        const bool isNext = !std::exchange(any, true) && mark.change > file.change;
        if (isNext || mark.change == file.change) {
            // A program from before there were marks leaves the stamp as it is.
            goesOn = mark.stamp == file.stamp || (isNext && mark.before == file.stamp);
            if (!goesOn)
                return false;
        }
    }
    return any ? goesOn && samePlaces : !strange;
}

bool HasOwnLog(const Connection &connection, const std::string &logPath)
{
    Page first, rows;
    const auto read = [&](Page &page, std::uint32_t number) {
        return connection.ReadFile(std::int64_t{number - 1} * std::int64_t{kPageSize}, page.data(), page.size());
    };
    const bool isWhole = read(first, 1) && Big16(&first[kPageSizeAt]) == kPageSize && read(rows, kRowsPage);
    Log log(logPath);
    Log::Frame frame;
    if (!isWhole || log.PageSize() != kPageSize) {
        Commit commit;
        return !NextCommit(log, frame, commit); // there is nothing to play back
    }
    const std::optional<Mark> mark = MarkOn(rows);
    return mark ? GoesOn(*mark, Big32(&first[kSchemaNumberAt]), log, frame) : BeginsMarks(log, frame);
}

} // namespace

void RequireOwnLog(const Connection &connection)
{
    const char *path = sqlite3_db_filename(connection.Handle(), "main");
    const std::string log = sqlite3_filename_wal(path);
    for (int tries = 0; !HasOwnLog(connection, log); std::this_thread::sleep_for(kBetweenTries))
        if (++tries == kTries)
            throw Error(Fault::ForeignLog,
                        "'" + log + "' was not written to '" + path +
                            "', which is another file or another copy of it; together they would be destroyed. Put the "
                            "file back that it belongs to, or move '" +
                            log + "' and its '-shm' away: what was written last to that other file is in it.");
}

} // namespace localmapi::storage
