// What went wrong is told twice: by the HRESULT, and by the object's last error in either width. No exception leaves a
// method.
#include "localmapi/provider/base/ErrorText.h"
#include "ExchangeMapi.h"
#include "SiteFixture.h"
#include "localmapi/provider/base/Text.h"
#include "localmapi/storage/Error.h"

#include <gtest/gtest.h>

#include <new>

using namespace localmapi;
using namespace localmapi::test;

namespace
{

class ErrorText : public testing::Test
{
  protected:
    // The narrow text of the last error of a code; empty when there is none.
    std::string TextFor(HRESULT code)
    {
        Block<MAPIERROR> error;
        EXPECT_CODE(m_errors.GetLastError(code, 0, error.put()), S_OK);
        return error ? std::string(reinterpret_cast<const char *>(error->lpszError)) : std::string();
    }

    ErrorTexts m_errors;
};

TEST_F(ErrorText, AFailureIsRememberedWithItsMethod)
{
    const HRESULT hr =
        Guarded(m_errors, "IObject::Method", []() -> HRESULT { throw Failure(MAPI_E_NOT_FOUND, "It is not there."); });
    EXPECT_CODE(hr, MAPI_E_NOT_FOUND);
    EXPECT_EQ(TextFor(hr), "IObject::Method: It is not there.");
}

TEST_F(ErrorText, ACodeThatIsReturnedHasATextToo)
{
    const HRESULT hr = Guarded(m_errors, "IObject::Method", [] { return MAPI_E_NO_ACCESS; });
    EXPECT_CODE(hr, MAPI_E_NO_ACCESS);
    EXPECT_EQ(TextFor(hr), "IObject::Method: The user has no right to do this.");
}

TEST_F(ErrorText, SuccessesAndWarningsPass)
{
    EXPECT_CODE(Guarded(m_errors, "m", [] { return S_OK; }), S_OK);
    EXPECT_CODE(Guarded(m_errors, "m", [] { return MAPI_W_ERRORS_RETURNED; }), MAPI_W_ERRORS_RETURNED);
    EXPECT_EQ(TextFor(MAPI_W_ERRORS_RETURNED), "");
}

TEST_F(ErrorText, EveryExceptionBecomesACode)
{
    const auto thrown = [&](auto exception) { return Guarded(m_errors, "m", [&]() -> HRESULT { throw exception; }); };
    using storage::Error;
    using storage::Fault;
    EXPECT_CODE(thrown(std::bad_alloc()), MAPI_E_NOT_ENOUGH_MEMORY);
    EXPECT_CODE(thrown(std::runtime_error("x")), MAPI_E_CALL_FAILED);
    EXPECT_CODE(thrown(5), MAPI_E_CALL_FAILED);
    EXPECT_CODE(thrown(Error(Fault::NotFound, "x")), MAPI_E_NOT_FOUND);
    EXPECT_CODE(thrown(Error(Fault::Collision, "x")), MAPI_E_COLLISION);
    EXPECT_CODE(thrown(Error(Fault::Changed, "x")), MAPI_E_OBJECT_CHANGED);
    EXPECT_CODE(thrown(Error(Fault::NoAccess, "x")), MAPI_E_NO_ACCESS);
    EXPECT_CODE(thrown(Error(Fault::Busy, "x")), MAPI_E_BUSY);
    EXPECT_CODE(thrown(Error(Fault::Full, "x")), MAPI_E_NOT_ENOUGH_DISK);
    EXPECT_CODE(thrown(Error(Fault::OverQuota, "x")), MAPI_E_STORE_FULL);
    EXPECT_CODE(thrown(Error(Fault::Disk, "x")), MAPI_E_DISK_ERROR);
    EXPECT_CODE(thrown(Error(Fault::Corrupt, "x")), MAPI_E_CORRUPT_STORE);
    EXPECT_CODE(thrown(Error(Fault::CorruptData, "x")), MAPI_E_CORRUPT_DATA);
    EXPECT_CODE(thrown(Error(Fault::NotASite, "x")), MAPI_E_CORRUPT_DATA);
    EXPECT_CODE(thrown(Error(Fault::TooNew, "x")), MAPI_E_VERSION);
    EXPECT_CODE(thrown(Error(Fault::TooBig, "x")), MAPI_E_TOO_BIG);
    EXPECT_CODE(thrown(Error(Fault::Invalid, "x")), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(thrown(Error(Fault::Failed, "The disk is on fire.")), MAPI_E_DISK_ERROR);
    EXPECT_EQ(TextFor(MAPI_E_DISK_ERROR), "m: The disk is on fire.");
}

TEST_F(ErrorText, WithoutAnObjectThereIsStillACode)
{
    EXPECT_CODE(Guarded([]() -> HRESULT { throw Failure(MAPI_E_VERSION, "x"); }), MAPI_E_VERSION);
    EXPECT_CODE(Guarded([]() -> HRESULT { throw 5; }), MAPI_E_CALL_FAILED);
}

TEST_F(ErrorText, TheNewestTextOfACodeIsGiven)
{
    m_errors.Remember("m", Failure(MAPI_E_NOT_FOUND, "First."));
    m_errors.Remember("m", Failure(MAPI_E_NO_ACCESS, "Second."));
    m_errors.Remember("m", Failure(MAPI_E_NOT_FOUND, "Third."));
    EXPECT_EQ(TextFor(MAPI_E_NOT_FOUND), "m: Third.");
    EXPECT_EQ(TextFor(MAPI_E_NO_ACCESS), "m: Second.");
}

TEST_F(ErrorText, ACodeThatTheObjectDidNotGiveHasNone)
{
    MAPIERROR *error = reinterpret_cast<MAPIERROR *>(this);
    EXPECT_CODE(m_errors.GetLastError(MAPI_E_NOT_FOUND, 0, &error), S_OK);
    EXPECT_EQ(error, nullptr);
}

TEST_F(ErrorText, TheErrorIsOneBlockInEitherWidth)
{
    const LONG before = LiveBlocks();
    m_errors.Remember("m", Failure(MAPI_E_NOT_FOUND, "No \xE6\x9D\xB1.", 7));
    MAPIERROR *error = nullptr;
    ASSERT_CODE(m_errors.GetLastError(MAPI_E_NOT_FOUND, MAPI_UNICODE, &error), S_OK);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->ulVersion, ULONG{MAPI_ERROR_VERSION});
    EXPECT_EQ(error->ulLowLevelError, 7u);
    EXPECT_EQ(error->ulContext, 0u);
    EXPECT_EQ(Utf8FromWide(reinterpret_cast<WCHAR *>(error->lpszError)), "m: No \xE6\x9D\xB1.");
    EXPECT_EQ(Utf8FromWide(reinterpret_cast<WCHAR *>(error->lpszComponent)), "localmapi");
    MAPIFreeBuffer(error);
    ASSERT_CODE(m_errors.GetLastError(MAPI_E_NOT_FOUND, 0, &error), S_OK);
    EXPECT_STREQ(reinterpret_cast<char *>(error->lpszComponent), "localmapi");
    MAPIFreeBuffer(error);
    EXPECT_EQ(LiveBlocks(), before);
}

TEST_F(ErrorText, BadArgumentsAreRefused)
{
    MAPIERROR *error = nullptr;
    EXPECT_CODE(m_errors.GetLastError(MAPI_E_NOT_FOUND, 0, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(m_errors.GetLastError(MAPI_E_NOT_FOUND, 1, &error), MAPI_E_UNKNOWN_FLAGS);
}

TEST_F(ErrorText, WhatIsNotThereIsNamed)
{
    const HRESULT hr = Guarded(m_errors, "IObject::Method", []() -> HRESULT { NoSupport("IObject::Method"); });
    EXPECT_CODE(hr, MAPI_E_NO_SUPPORT);
    EXPECT_EQ(TextFor(hr), "IObject::Method: Not supported by localmapi: IObject::Method.");
}

} // namespace
