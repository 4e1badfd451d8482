// How long the reserve is, and who may take of it or fill it up: its length is all that is known of it.
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

std::atomic<Reserve::AskedForRoom> g_asked{nullptr};

} // namespace

std::optional<std::uint64_t> Reserve::RoomFor(const std::string &site) noexcept
{
    const AskedForRoom asked = g_asked;
    try {
        return asked ? asked(site) : RoomBeside(site);
    } catch (const std::exception &) {
        return {};
    }
}

void Reserve::Ask(AskedForRoom asked) noexcept
{
    g_asked = asked;
}

bool Reserve::IsShort() const noexcept
{
    const std::uint64_t lacking = Lacking();
    return lacking > 0 && !IsRoomFor(lacking + kSize);
}

bool Reserve::IsLacking() const noexcept
{
    return Kept() < kSize;
}

bool Reserve::LeavesRoomFor(std::uint64_t bytes) const noexcept
{
    const std::uint64_t kept = Kept();
    return IsRoomFor(bytes + (kept < kSize ? kSize - kept : 0));
}

bool Reserve::IsRoomFor(std::uint64_t bytes) const noexcept
{
    const auto room = RoomFor(m_site);
    return !room || *room >= bytes;
}

bool Reserve::GiveUp(std::uint64_t bytes) noexcept
{
    try {
        const std::uint64_t size = Size().value_or(0);
        return size > 0 && (ShrinkFile(m_path, size - std::min(size, bytes)) || Size().value_or(0) < size);
    } catch (const std::bad_alloc &) {
        return false;
    }
}

void Reserve::FillUp() noexcept
{
    if (Lacking() == 0 || IsShort())
        return;
    try {
        AllocateFile(m_path, m_site, kSize);
    } catch (const std::bad_alloc &) { // another time
    }
}

std::optional<std::uint64_t> Reserve::Size() const
{
    const std::optional<std::uint64_t> size = FileSize(m_path);
    if (size)
        m_wasThere = true;
    return size;
}

// One that there never was room for is not missed; nor is one that can't be looked for.
std::uint64_t Reserve::Kept() const noexcept
{
    try {
        const std::optional<std::uint64_t> size = Size();
        return size ? *size : m_wasThere ? 0 : kSize;
    } catch (const std::bad_alloc &) {
        return kSize;
    }
}

std::uint64_t Reserve::Lacking() const noexcept
{
    try {
        const std::uint64_t size = Size().value_or(0);
        return size < kSize ? kSize - size : 0;
    } catch (const std::bad_alloc &) {
        return 0;
    }
}

} // namespace localmapi::storage
