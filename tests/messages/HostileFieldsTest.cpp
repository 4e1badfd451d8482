// Names that look like formats in the error lines about recordings: each line is read a second time as a format, and
// whatever it holds must do no harm.
#include "messages/MessagesTest.h"
#include <cstdio>
#include <filesystem>

using namespace messages_test;
using testing::ElementsAre;
using testing::StartsWith;

namespace
{

const char *const kHostile[] = {"%s%s%s%s%n%1000000d", "%n", "%hhn%lln", "%*d%*.*f", "%5$s%1$n", "100%", "%ls%S%hs%C"};

class HostileFieldsTest : public MessagesTest, public testing::WithParamInterface<const char *>
{
  protected:
    const std::string m_hostile = GetParam();
    const std::string m_id = IdOf("m");

    HRESULT Save(const std::string &file) const
    {
        return OrlDownloadAttachmentA(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id), 0, file.c_str());
    }
};

TEST_P(HostileFieldsTest, InTheNamesAndTheMimeTagOfAnAttachment)
{
    m_mapi.world.AddAttachment(Deliver("m"),
                               {Long(PR_ATTACH_METHOD, 2), Text(PR_ATTACH_FILENAME_A, m_hostile),
                                Text(PR_ATTACH_PATHNAME_A, m_hostile), Text(PR_ATTACH_LONG_PATHNAME_A, m_hostile),
                                Text(PR_ATTACH_MIME_TAG_A, m_hostile)},
                               "");
    m_mapi.script.SetLastError("*", {GetParam(), GetParam(), 1});
    EXPECT_EQ(Save("nowhere"), E_FAIL);
    EXPECT_THAT(ErrorLines(), ElementsAre(StartsWith("CMAPIImpl::HrStreamInAttachment[n]: Error 0x80004005 "
                                                     "[MAPI_E_CALL_FAILED] from OpenAttach (")));
}

TEST_P(HostileFieldsTest, InTheNameOfAFileThatCannotBeCreated)
{
    const std::string wave = std::string("RIFF\0\0\0\0WAVEfmt \x02\0\0\0\x01\0", 22);
    m_mapi.world.AddAttachment(Deliver("m"), {Long(PR_ATTACH_METHOD, 1)}, wave);
    const std::string folder = "orlmapi_there_is_no_such_folder";
    ASSERT_FALSE(std::filesystem::exists(folder));
    EXPECT_EQ(Save(folder + "/" + m_hostile), E_FAIL);
    EXPECT_THAT(ErrorLines(), ElementsAre(StartsWith("SaveStreamToFile[n]: Error 0x80004005 [MAPI_E_CALL_FAILED] from "
                                                     "fopen_s trying to create the file \"" +
                                                     folder + "/")));
}

INSTANTIATE_TEST_SUITE_P(Formats, HostileFieldsTest, testing::ValuesIn(kHostile),
                         [](const auto &format) { return "Format" + std::to_string(format.index); });

} // namespace
