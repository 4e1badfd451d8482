// A site whose disk is as large as a test says, or fails.
#pragma once
#include "DiskVfs.h"
#include "Fixture.h"
#include "localmapi/storage/Reserve.h"

namespace localmapi::storage
{

// Which writes fail, and which of the sizes are tried: every so many. Most calls are writes.
inline std::size_t g_every = 3;

class Disks : public SiteTest
{
  protected:
    ~Disks() override
    {
        SetDeviceFault(DeviceFault::None);
        SetDiskRoom(m_folder.File(""), {});
    }
    std::string Path() const { return m_folder.File("site.db"); }
    std::uintmax_t ReserveSize() const { return std::filesystem::file_size(PathOf(Path() + "-reserve")); }
    std::vector<ObjectId> AddMany(int count, std::size_t size)
    {
        std::vector<NewMessage> messages;
        for (int i = 0; i < count; ++i)
            messages.push_back(
                {m_box.inbox, MakeMessage(std::to_string(i), {{kMessageDeliveryTime, std::int64_t{1} << 40},
                                                              {kAttachData, Bytes(size, 7)}})});
        return m_objects.CreateMessages(messages);
    }
    // Nobody has the site open: what a process left that ended in peace.
    void CloseEverything()
    {
        m_site = Site::Create(m_folder.File("elsewhere/other.db"), "S", "O");
        m_objects = Objects(m_site);
    }
    void SetUp() override { std::filesystem::create_directory(PathOf(m_folder.File("elsewhere"))); }
};

// The text of what `work` throws.
inline std::string TextOf(const std::function<void()> &work)
{
    try {
        work();
    } catch (const Error &error) {
        return error.what();
    }
    return "(nothing)";
}

} // namespace localmapi::storage
