// What a site does where the disk is full or nearly so: who may write, when the log is written back, and what is taken
// from the reserve.
#include "localmapi/storage/Database.h"
#include "localmapi/storage/Rights.h"
#include "localmapi/storage/Time.h"
#include <sqlite3.h>

namespace localmapi::storage
{

bool Database::MakeRoom(Tried &tried) noexcept
{
    constexpr int kMostByOthers = 8; // what they do takes room again
    const locks::Hold lock(m_roomLock);
    if (tried.made != m_roomMade && tried.byOthers < kMostByOthers) {
        ++tried.byOthers;
    } else {
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
    if (times > 2)
        return false;
    std::unique_ptr<Connection> connection = TakeToMakeRoom();
    const bool isMade = [&] {
        if (times == 0 && connection && WriteBack(*connection).value_or(0) > 0)
            return true;
        // Where that is enough, what it takes to write the log back, so that all of its own room is used again.
        const std::uint64_t beyond = connection ? connection->LogBeyondFile().value_or(0) : 0;
        const std::uint64_t some = kForLogons + (beyond < Reserve::kSize ? beyond : 0);
        // What another process has given up meanwhile is room as well.
        if (!m_reserve.GiveUp(times < 2 ? some : Reserve::kSize) && !m_reserve.IsRoomFor(some))
            return false;
        if (connection)
            WriteBack(*connection);
        return true;
    }();
    if (connection)
        GiveBack(std::move(connection));
    return isMade;
}

// Nothing where there is too little room even for that.
std::unique_ptr<Connection> Database::TakeToMakeRoom() noexcept
{
    try {
        return Take();
    } catch (const std::exception &) {
        return nullptr;
    }
}

bool Database::HasRoomToWriteBack(Connection &connection) const noexcept
{
    const std::optional<std::uint64_t> beyond = connection.LogBeyondFile();
    return beyond && (*beyond == 0 || m_reserve.IsRoomFor(*beyond));
}

// How much was in the log that is all in the file now: the next writer begins it anew where nobody reads from it. One
// that the file has no room for stays where it is: half of it in the file would take what room there is and free none.
std::optional<int> Database::WriteBack(Connection &connection) const noexcept
{
    int frames = 0, written = 0;
    if (!HasRoomToWriteBack(connection) ||
        sqlite3_wal_checkpoint_v2(connection.Handle(), "main", SQLITE_CHECKPOINT_PASSIVE, &frames, &written) !=
            SQLITE_OK ||
        frames != written)
        return {};
    return frames;
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
    if (m_isLow || connection.LogPages() >= kLongLog || connection.LogBeyondFile().value_or(0) > kMostInLog)
        WriteBack(connection);
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
    if (m_isLow && isDue(m_fillUpNext))
        FillReserveUp();
}

void Database::FillReserveUp() noexcept
{
    m_reserve.FillUp();
    try {
        ShareRights(m_file);
    } catch (const std::exception &) { // another time
    }
    m_isLow = m_reserve.IsShort();
}

// What the log has for the file's end could be written back when it was written. A log that can't be is not begun anew
// either, and what frees room has to be written to it.
void Database::RequireRoomToGrow(Connection &connection, std::uint64_t bytes)
{
    const std::uint64_t wanted = connection.LogBeyondFile().value_or(0) + bytes;
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
