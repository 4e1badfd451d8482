// A site of its own for every test, in a folder that goes with it, and short ways to fill it.
#pragma once
#include "localmapi/storage/Check.h"
#include "localmapi/storage/Directory.h"
#include "localmapi/storage/Path.h"
#include "localmapi/storage/Profiles.h"
#include "localmapi/storage/Spool.h"
#include "localmapi/storage/View.h"
#include <filesystem>
#include <functional>
#include <gmock/gmock.h>

namespace localmapi::storage
{

// Tags that the tests use beside those of Tags.h.
constexpr Tag kSubject = 0x0037001F;
constexpr Tag kBody = 0x1000001F;
constexpr Tag kSenderName = 0x0C1A001F;
constexpr Tag kSensitivity = 0x00360003;
constexpr Tag kAttachData = 0x37010102;
constexpr Tag kAttachName = 0x3707001F;
constexpr Tag kKeywords = 0x8001101F; // a list of texts

constexpr auto kForward = Direction::Forward, kBackward = Direction::Backward;

using Subjects = std::vector<std::string>;

class Folder
{
  public:
    Folder();
    ~Folder();
    std::string File(const std::string &name) const;

  private:
    std::filesystem::path m_path;
};

// Makes of a site's file one as programs wrote it that knew formats up to this one.
void MakeOlder(const std::string &file, std::int64_t version);

// UTF-8 as the storage layer takes it.
std::string Utf8(const std::filesystem::path &path);

class SiteTest : public testing::Test
{
  protected:
    SiteTest();
    ~SiteTest() override;

    // A message of these properties, with what a message always has.
    static MessageChanges MakeMessage(const std::string &subject, const PropertyBag &more = {});
    ObjectId Add(const std::string &subject, const PropertyBag &more = {});
    Container Inbox() const { return {Container::Kind::Contents, m_box.inbox}; }
    std::vector<std::string> SubjectsIn(const View &view) const;
    void ExpectSound() const; // Check() has nothing to say

    Folder m_folder;
    Site m_site;
    Objects m_objects;
    User m_alice;
    Mailbox m_box;
};

std::vector<std::string> SubjectsOf(const std::vector<Row> &rows);

// The fault of what `work` throws; nothing when it doesn't.
std::optional<Fault> FaultOf(const std::function<void()> &work);

// So many bytes to write, other ones in each megabyte.
SpoolPtr MakeSpool(std::uint64_t size);

} // namespace localmapi::storage
