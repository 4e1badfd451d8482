// Proves that a site that is open can't be deleted, replaced or moved: nothing else sees to it on Windows. (Its folder
// can't be moved either; Wine lets it be.)
#include "Fixture.h"

namespace localmapi::storage
{

namespace
{

namespace fs = std::filesystem;

TEST_F(SiteTest, IsNotDeletedReplacedOrMovedWhileItIsOpen)
{
    const fs::path site = std::u8string_view(reinterpret_cast<const char8_t *>(m_folder.File("site.db").c_str()));
    Site::Create(m_folder.File("other.db"), "OTHER", "Norvik");
    std::error_code error;
    EXPECT_FALSE(fs::remove(site, error));
    EXPECT_TRUE(error);
    fs::rename(site, site.parent_path() / "elsewhere.db", error);
    EXPECT_TRUE(error);
    fs::rename(site.parent_path() / "other.db", site, error);
    EXPECT_TRUE(error);
    EXPECT_EQ(m_site.Info().server, "NORVIK1");
    EXPECT_TRUE(m_site.IsInPlace());
    Add("after");
    ExpectSound();
}

} // namespace

} // namespace localmapi::storage
