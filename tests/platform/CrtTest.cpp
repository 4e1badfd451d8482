// Proves the runtime's bounded copies, comparisons, paths, files and tokens, with their limits.
#include "Text.h"
#include <cerrno>
#include <cstdlib>
#include <gtest/gtest.h>
#include <mbstring.h>

namespace
{
TEST(BoundedCopy, TakesTextThatFitsWithItsTerminator)
{
    char narrow[5];
    EXPECT_EQ(0, strcpy_s(narrow, sizeof narrow, "four"));
    EXPECT_STREQ("four", narrow);
    WCHAR wide[5];
    EXPECT_EQ(0, wcscpy_s(wide, 5, OLESTR("four")));
    EXPECT_EQ(OLESTR("four"), WideText(wide));
}

TEST(BoundedCopy, EmptiesTheTargetWhenTheTextDoesNotFit)
{
    char narrow[4] = "ZZZ";
    EXPECT_EQ(ERANGE, strcpy_s(narrow, sizeof narrow, "four"));
    EXPECT_STREQ("", narrow);
    WCHAR wide[4] = {'Z', 0};
    EXPECT_EQ(ERANGE, wcscpy_s(wide, 4, OLESTR("four")));
    EXPECT_EQ(0, wide[0]);
}

TEST(BoundedCopy, SaysEINVALForBadArguments)
{
    char target[4] = "ZZZ";
    const char *none = nullptr;
    EXPECT_EQ(EINVAL, strcpy_s(nullptr, 4, "x"));
    EXPECT_EQ(EINVAL, strcpy_s(target, 0, "x"));
    EXPECT_STREQ("ZZZ", target);
    EXPECT_EQ(EINVAL, strcpy_s(target, 4, none));
    EXPECT_STREQ("", target);
}

TEST(Comparison, KnowsNoCase)
{
    EXPECT_EQ(0, _stricmp("MixedCase", "mIXEDcASE"));
    EXPECT_GT(0, _stricmp("a", "B"));
    EXPECT_LT(0, _stricmp("b", "A"));
    EXPECT_LT(0, _stricmp("ab", "a"));
    EXPECT_EQ(0,
              _mbsicmp(reinterpret_cast<const unsigned char *>("One"), reinterpret_cast<const unsigned char *>("oNE")));
    EXPECT_NE(0,
              _mbsicmp(reinterpret_cast<const unsigned char *>("One"), reinterpret_cast<const unsigned char *>("Two")));
}

TEST(Copy, OfATextIsATextOfItsOwn)
{
    const char *text = "text";
    char *copy = _strdup(text);
    EXPECT_STREQ(text, copy);
    EXPECT_NE(text, copy);
    std::free(copy);
}

struct Parts {
    char drive[_MAX_DRIVE];
    char dir[_MAX_DIR];
    char fname[_MAX_FNAME];
    char ext[_MAX_EXT];
    errno_t Split(const std::string &path)
    {
        return _splitpath_s(path.c_str(), drive, sizeof drive, dir, sizeof dir, fname, sizeof fname, ext, sizeof ext);
    }
    std::string All() const { return std::string(drive) + "|" + dir + "|" + fname + "|" + ext; }
};

TEST(Path, SplitsIntoFolderNameAndExtension)
{
    const struct {
        const char *path, *parts;
    } cases[] = {
        {"/usr/lib/libOrlMapi32.so", "|/usr/lib/|libOrlMapi32|.so"},
        {"name.ext", "||name|.ext"},
        {"name", "||name|"},
        {"folder/", "|folder/||"},
        {"a.b/c", "|a.b/|c|"},
        {"archive.tar.gz", "||archive.tar|.gz"},
        {".hidden", "|||.hidden"},
        {"name.", "||name|."},
        {"", "|||"},
        {"/", "|/||"},
    };
    for (const auto &example : cases) {
        Parts parts;
        EXPECT_EQ(0, parts.Split(example.path)) << example.path;
        EXPECT_EQ(example.parts, parts.All()) << example.path;
    }
}

TEST(Path, PartsMayHave255BytesAndNoMore)
{
    const std::string fits(255, 'n'), tooLong(256, 'n');
    Parts parts;
    EXPECT_EQ(0, parts.Split(fits + "." + std::string(254, 'e')));
    EXPECT_EQ(fits, parts.fname);
    EXPECT_EQ(ERANGE, parts.Split(tooLong));
    EXPECT_EQ("|||", parts.All());
    EXPECT_EQ(ERANGE, parts.Split("a." + fits));
    EXPECT_EQ(0, parts.Split(std::string(254, 'd') + "/name"));
    EXPECT_EQ(ERANGE, parts.Split(fits + "/name"));
    EXPECT_EQ("|||", parts.All());
}

TEST(Path, PartsThatAreNotWantedAreLeftOut)
{
    char name[16];
    EXPECT_EQ(0, _splitpath_s("/a/b.c", nullptr, 0, nullptr, 0, name, sizeof name, nullptr, 0));
    EXPECT_STREQ("b", name);
    EXPECT_EQ(EINVAL, _splitpath_s("/a/b.c", nullptr, 0, nullptr, 0, name, 0, nullptr, 0));
    EXPECT_EQ(EINVAL, _splitpath_s(nullptr, nullptr, 0, nullptr, 0, name, sizeof name, nullptr, 0));
}

TEST(File, OpensOrSaysWhyNot)
{
    FILE *file = nullptr;
    ASSERT_EQ(0, fopen_s(&file, "crt_test.tmp", "w+b"));
    EXPECT_EQ(3u, fwrite("abc", 1, 3, file));
    fclose(file);
    ASSERT_EQ(0, _wfopen_s(&file, OLESTR("crt_test.tmp"), OLESTR("rb")));
    char bytes[8];
    EXPECT_EQ(3u, fread(bytes, 1, 8, file));
    fclose(file);
    std::remove("crt_test.tmp");
    EXPECT_EQ(ENOENT, fopen_s(&file, "no/such/folder/file", "w+b"));
    EXPECT_EQ(nullptr, file);
    EXPECT_EQ(EINVAL, fopen_s(nullptr, "x", "r"));
    EXPECT_EQ(EINVAL, fopen_s(&file, nullptr, "r"));
}

std::string Tokens(std::string text, const char *delimiters)
{
    std::string result;
    unsigned char *context = nullptr;
    auto *rest = reinterpret_cast<unsigned char *>(text.data());
    while (unsigned char *token = _mbstok_s(rest, reinterpret_cast<const unsigned char *>(delimiters), &context)) {
        result += "[" + std::string(reinterpret_cast<char *>(token)) + "]";
        rest = nullptr;
    }
    return result;
}

TEST(Tokens, AreWhatStandsBetweenDelimiters)
{
    EXPECT_EQ("[a][b][c]", Tokens("a;b;c", ";"));
    EXPECT_EQ("[a][b]", Tokens(";;a,;b;", ";,"));
    EXPECT_EQ("", Tokens("", ";"));
    EXPECT_EQ("", Tokens(";;;", ";"));
    EXPECT_EQ("[whole]", Tokens("whole", ";"));
    EXPECT_EQ("[a;b]", Tokens("a;b", ""));
}

TEST(Length, IsCountedInCharacters)
{
    const auto length = [](const char *text) { return _mbslen(reinterpret_cast<const unsigned char *>(text)); };
    EXPECT_EQ(0u, length(""));
    EXPECT_EQ(4u, length("text"));
    // Two letters, of two bytes each where the code page is UTF-8.
    EXPECT_EQ(4u, length(GetACP() == CP_UTF8 ? "a\xC3\xA9\xC3\xA9z" : "a\xE9\xE9z"));
}

TEST(Lowering, ChangesTheTextInPlace)
{
    unsigned char text[] = "MiXeD 123";
    EXPECT_EQ(0, _mbslwr_s(text, sizeof text));
    EXPECT_STREQ("mixed 123", reinterpret_cast<char *>(text));
    EXPECT_EQ(EINVAL, _mbslwr_s(nullptr, 4));
    unsigned char unterminated[] = {'A', 'B', 'C'};
    EXPECT_EQ(EINVAL, _mbslwr_s(unterminated, sizeof unterminated));
}
} // namespace
