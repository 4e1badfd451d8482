// A site of a few people in a file of its own, found through LOCALMAPI_FILE, and what the tests of sessions, profiles
// and the address book use again and again. At the end of each test no object and no block of MAPI's is left.
#pragma once
#include "Environment.h"
#include "localmapi/provider/base/ComObject.h"
#include "localmapi/provider/base/Memory.h"
#include "localmapi/storage/Directory.h"
#include "localmapi/storage/Profiles.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace localmapi::test
{

// A row set, owned.
class Rows
{
  public:
    Rows() = default;
    Rows(Rows &&other) noexcept : m_rows(other.m_rows) { other.m_rows = nullptr; }
    Rows &operator=(Rows &&) = delete;
    ~Rows() { FreeProws(m_rows); }
    SRowSet **put() { return &m_rows; }
    ULONG Count() const { return m_rows ? m_rows->cRows : 0; }
    const SRow &operator[](ULONG row) const { return m_rows->aRow[row]; }

  private:
    SRowSet *m_rows = nullptr;
};

// The value of a property in an array by its whole tag; null when it is not there.
const SPropValue *Find(const SPropValue *values, ULONG count, ULONG tag);
// Text of either width as UTF-8; "(none)" when there is no such property.
std::string TextIn(const SPropValue *values, ULONG count, ULONG tag);
std::string TextIn(const SRow &row, ULONG tag);
// One property of an object, as UTF-8 text; its error's name in brackets when it has none.
std::string TextOf(IMAPIProp *object, ULONG tag);
std::vector<BYTE> BytesOf(IMAPIProp *object, ULONG tag);
LONG LongOf(IMAPIProp *object, ULONG tag);
std::vector<BYTE> BytesIn(const SRow &row, ULONG tag);

// A client's texts as LPTSTR.
LPTSTR Narrow(const char *text);
LPTSTR Wide(LPCWSTR text);

// All rows of a table with these columns.
Rows AllRows(IMAPITable *table, const std::vector<ULONG> &columns, SRestriction *restriction = nullptr);
// The text of an object's last error of a code; empty when there is none.
template <class Object> std::string LastError(Object *object, HRESULT code)
{
    Block<MAPIERROR> error;
    EXPECT_EQ(object->GetLastError(code, 0, error.put()), S_OK);
    return error ? std::string(reinterpret_cast<const char *>(error->lpszError)) : std::string();
}

// Codes by name in messages of failed tests.
std::string CodeName(HRESULT code);
#define EXPECT_CODE(actual, expected) EXPECT_EQ(CodeName(actual), CodeName(expected))
#define ASSERT_CODE(actual, expected) ASSERT_EQ(CodeName(actual), CodeName(expected))

class SiteTest : public testing::Test
{
  protected:
    void SetUp() override;
    void TearDown() override;

    std::string PathOf(const std::string &name) const;
    storage::Site OpenedSite() const { return storage::Site::Open(m_file); }
    // A profile "Work" or of another name for a user, ready to log on with.
    void AddProfile(const std::string &name = "Work", const std::string &user = "alice", bool makeDefault = false);
    ComPtr<IMAPISession> LogOn(const std::string &profile = "Work");
    ComPtr<IAddrBook> OpenBook(const ComPtr<IMAPISession> &session);
    ComPtr<IProfAdmin> Admin();
    ComPtr<IMsgServiceAdmin> Services(const ComPtr<IProfAdmin> &admin, const char *profile);
    // The first service of the profile.
    MAPIUID ServiceUid(const ComPtr<IMsgServiceAdmin> &services);
    std::vector<std::string> ProfileNames();

    std::filesystem::path m_folder;
    std::string m_file;
    std::optional<ScopedVariable> m_variable;
    // Without it, the site is not made: for tests of what happens without one.
    bool m_makeSite = true;

  private:
    LONG m_objects = 0;
    LONG m_blocks = 0;
};

} // namespace localmapi::test
