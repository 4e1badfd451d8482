// What a site does where the disk is full or nearly so: who may write, when the log is written back, and what is taken
// from the reserve.
#include "localmapi/storage/Database.h"
#include "localmapi/storage/Time.h"
#include <sqlite3.h>

namespace localmapi::storage
{

bool Database::MakeRoom(Tried &tried) noexcept
{
    const locks::Hold lock(m_roomLock);
    if (tried.made == m_roomMade) {
        if (!MakeRoomOnce(tried.times++))
            return false;
        ++m_roomMade;
    }
    tried.made = m_roomMade;
    return true;
}

bool Database::MakeRoomOnce(int times) noexcept
{
    constexpr std::uint64_t kForLogons = 1 << 20;
    m_isLow = true;
    if (times == 0 && WriteLogBack())
        return true;
    if (times > 2)
        return false;
    // Where that is enough, what it takes to write the log back, so that all of its own room is used again.
    const std::uint64_t beyond = LogBeyondFile();
    const std::uint64_t some = kForLogons + (beyond < Reserve::kSize ? beyond : 0);
    // What another process has given up meanwhile is room as well.
    if (!m_reserve.GiveUp(times < 2 ? some : Reserve::kSize) && !m_reserve.IsRoomFor(some))
        return false;
    WriteLogBack();
    return true;
}

std::uint64_t Database::LogBeyondFile() noexcept
{
    const locks::Hold lock(m_lock);
    try {
        return m_idle.empty() ? 0 : m_idle.back()->LogBeyondFile();
    } catch (const std::exception &) {
        return 0;
    }
}

bool Database::WriteLogBack() noexcept
{
    const locks::Hold lock(m_lock);
    return !m_idle.empty() && WriteBack(*m_idle.back());
}

bool Database::HasRoomToWriteBack(Connection &connection) const noexcept
{
    try {
        const std::uint64_t beyond = connection.LogBeyondFile();
        return beyond == 0 || m_reserve.IsRoomFor(beyond);
    } catch (const std::exception &) {
        return false;
    }
}

// Whether the log is all in the file now: the next writer begins it anew where nobody reads from it. One that the file
// has no room for stays where it is: half of it in the file would take what room there is and free none.
bool Database::WriteBack(Connection &connection) const noexcept
{
    if (!HasRoomToWriteBack(connection))
        return false;
    int frames = 0, written = 0;
    return sqlite3_wal_checkpoint_v2(connection.Handle(), "main", SQLITE_CHECKPOINT_PASSIVE, &frames, &written) ==
               SQLITE_OK &&
           frames > 0 && frames == written;
}

// How much of the file's end the log may have, and how long one may be that is idle on a full disk.
constexpr std::uint64_t kMostInLog = Reserve::kSize / 2;

// What the next one writes may have room in the log where it begins anew. A long one, as what was too large leaves it
// behind, is of more use as room on the disk.
void Database::AfterFullDisk(Connection &connection) noexcept
{
    m_isLow = m_reserve.IsShort();
    if (WriteBack(connection))
        connection.ShortenLog(kMostInLog);
}

// While room is short the log is kept short. What it has for the file's end always is: somebody else may take the room
// on the disk.
void Database::AfterCommit(Connection &connection) noexcept
{
    constexpr int kLongLog = 4000; // pages
    try {
        if (m_isLow || connection.LogPages() >= kLongLog || connection.LogBeyondFile() > kMostInLog)
            WriteBack(connection);
    } catch (const std::exception &) { // the next one does
    }
    constexpr std::int64_t kBetween = 10 * kTicksPerSecond;
    const std::int64_t now = CurrentTime();
    const auto isDue = [&](std::atomic<std::int64_t> &next) {
        if (now < next && now > next - kBetween)
            return false;
        next = now + kBetween;
        return true;
    };
    if (isDue(m_lookNext) && m_reserve.IsLacking()) // whoever gave it up may be gone
        m_isLow = true;
    if (!m_isLow || !isDue(m_fillUpNext))
        return;
    m_reserve.FillUp();
    m_isLow = m_reserve.IsShort();
}

// What the log has for the file's end could be written back when it was written. A log that can't be is not begun anew
// either, and what frees room has to be written to it.
void Database::RequireRoomToGrow(Connection &connection, std::uint64_t bytes)
{
    const std::uint64_t wanted = connection.LogBeyondFile() + bytes;
    if (m_reserve.IsLacking())
        m_isLow = true;
    if (m_reserve.LeavesRoomFor(wanted))
        return;
    m_isLow = true;
    connection.MetFullDisk();
    throw Error(Fault::Full, "'" + m_path + "' (" + FaultName(Fault::Full) + "): this wants " +
                                 std::to_string(wanted / 1024) +
                                 " KB beside what is kept for deleting. 'localmapi purge' makes room.");
}

} // namespace localmapi::storage
