// What a site does where the disk is full or nearly so: who may write, when the log is written back, and what is taken
// from the reserve.
#include "localmapi/storage/Database.h"
#include "localmapi/storage/Time.h"
#include <sqlite3.h>

namespace localmapi::storage
{

bool Database::MakeRoom(int times) noexcept
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
    if (!m_reserve.GiveUp(times < 2 ? some : Reserve::kSize))
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

// Whether the log is all in the file now: the next writer begins it anew where nobody reads from it. One that the file
// has no room for stays where it is: half of it in the file would take what room there is and free none.
bool Database::WriteBack(Connection &connection) const noexcept
{
    try {
        if (!m_reserve.IsRoomFor(connection.LogBeyondFile()))
            return false;
    } catch (const std::exception &) {
        return false;
    }
    int frames = 0, written = 0;
    return sqlite3_wal_checkpoint_v2(connection.Handle(), "main", SQLITE_CHECKPOINT_PASSIVE, &frames, &written) ==
               SQLITE_OK &&
           frames > 0 && frames == written;
}

// What the next one writes may have room in the log where it begins anew.
void Database::AfterFullDisk(Connection &connection) noexcept
{
    m_isLow = m_reserve.IsShort();
    WriteBack(connection);
}

// While room is short the log is kept short. What it has for the file's end always is: somebody else may take the room
// on the disk.
void Database::AfterCommit(Connection &connection) noexcept
{
    constexpr std::uint64_t kMostBeyondFile = Reserve::kSize / 2;
    try {
        if (m_isLow || connection.LogBeyondFile() > kMostBeyondFile)
            WriteBack(connection);
    } catch (const std::exception &) { // the next one does
    }
    if (!m_isLow)
        return;
    constexpr std::int64_t kBetween = 10 * kTicksPerSecond;
    const std::int64_t now = CurrentTime();
    if (now < m_fillUpNext && now > m_fillUpNext - kBetween)
        return;
    m_fillUpNext = now + kBetween;
    m_reserve.FillUp();
    m_isLow = m_reserve.IsShort();
}

// What the log has for the file's end could be written back when it was written. A log that can't be is not begun anew
// either, and what frees room has to be written to it.
void Database::RequireRoomToGrow(Connection &connection, std::uint64_t bytes)
{
    const std::uint64_t wanted = connection.LogBeyondFile() + bytes;
    if (m_reserve.LeavesRoomFor(wanted))
        return;
    m_isLow = true;
    throw Error(Fault::Full, "'" + m_path + "' (" + FaultName(Fault::Full) + "): this wants " +
                                 std::to_string(wanted / 1024) +
                                 " KB beside what is kept for deleting. 'localmapi purge' makes room.");
}

} // namespace localmapi::storage
