#include "localmapi/storage/Reserve.h"
#include "localmapi/storage/FileSystem.h"
#include <algorithm>
#include <atomic>
#include <exception>
#include <new>

namespace localmapi::storage
{

namespace
{

std::atomic<Reserve::Room> g_room{nullptr};

std::uint64_t RoomFor(const std::string &site) noexcept
{
    const Reserve::Room asked = g_room;
    try {
        return asked ? asked(site) : RoomBeside(site);
    } catch (const std::exception &) {
        return UINT64_MAX;
    }
}

} // namespace

void Reserve::Ask(Room room) noexcept
{
    g_room = room;
}

bool Reserve::IsShort() const noexcept
{
    const std::uint64_t size = Size();
    return size < kSize && RoomFor(m_site) < kSize - size + kSize;
}

// What was given up of it is still set aside. Where there was never room for one nothing is.
bool Reserve::LeavesRoomFor(std::uint64_t bytes) const noexcept
{
    const std::uint64_t size = Size();
    const std::uint64_t lacks = size < kSize && FileIdentity::At(m_path) ? kSize - size : 0;
    return RoomFor(m_site) >= lacks + bytes;
}

bool Reserve::GiveUp(std::uint64_t bytes) noexcept
{
    const std::uint64_t size = Size();
    try {
        return size > 0 && ShrinkFile(m_path, size - std::min(size, bytes));
    } catch (const std::bad_alloc &) {
        return false;
    }
}

void Reserve::FillUp() noexcept
{
    const std::uint64_t size = Size();
    if (size >= kSize || RoomFor(m_site) < kSize - size + kSize)
        return;
    try {
        AllocateFile(m_path, m_site, kSize);
    } catch (const std::bad_alloc &) { // another time
    }
}

std::uint64_t Reserve::Size() const noexcept
{
    try {
        return FileSize(m_path);
    } catch (const std::bad_alloc &) {
        return 0;
    }
}

} // namespace localmapi::storage
