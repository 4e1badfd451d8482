// Room that is set aside on the disk beside a site's file, for what frees room and for logons when there is none left:
// the file "<site>-reserve", which nothing is in. How long it is says how much is set aside; any process of the site
// may take from it and fill it up, at any time, and a killed one leaves it at some length. Any thread.
#pragma once
#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

namespace localmapi::storage
{

class Reserve
{
  public:
    // For the logs of what frees room: deleting 2,000 messages writes less.
    static constexpr std::uint64_t kSize = 16 << 20;

    explicit Reserve(const std::string &sitePath) : m_site(sitePath), m_path(sitePath + "-reserve") {}

    std::optional<std::uint64_t> Size() const; // nothing where there is none
    // Whether it is not whole because the disk has no room for it.
    bool IsShort() const noexcept;
    // Whether some of it was given up.
    bool IsLacking() const noexcept;
    // Whether the disk has so many bytes for others than those whom it is set aside for, as far as the system tells.
    bool LeavesRoomFor(std::uint64_t bytes) const noexcept;
    // Whether it has so many bytes at all.
    bool IsRoomFor(std::uint64_t bytes) const noexcept;
    // So many bytes of it, or what there is, are free for whoever writes next; somebody else may have seen to it.
    // False: there is nothing.
    bool GiveUp(std::uint64_t bytes) noexcept;
    // Fills it up where the disk has room for it and for as much again, which is left to those who write; or does not
    // tell.
    void FillUp() noexcept;

    // Whom to ask for the room beside a file instead of the system; for tests. Null: the system. Nothing: it does not
    // tell.
    using AskedForRoom = std::optional<std::uint64_t> (*)(const std::string &path);
    static std::optional<std::uint64_t> RoomFor(const std::string &site) noexcept;
    static void Ask(AskedForRoom asked) noexcept;

  private:
    std::uint64_t Lacking() const noexcept;
    std::uint64_t Kept() const noexcept;
    const std::string m_site, m_path;
    mutable std::atomic<bool> m_wasThere{false};
};

} // namespace localmapi::storage
