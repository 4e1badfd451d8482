// How an object reports what went wrong: failures inside are thrown or returned as HRESULTs, the boundary helper turns
// every one into an HRESULT, and the object remembers the last texts for GetLastError. No exception leaves a method.
#pragma once
#include <mapiutil.h>
#include <mapix.h>

#include "platform/locks/Mutex.h"
#include <exception>
#include <list>
#include <string>
#include <utility>

namespace localmapi
{

// A failure with the code that the client gets and a sentence (UTF-8) for a person.
class Failure : public std::exception
{
  public:
    Failure(HRESULT code, std::string text, ULONG lowLevel = 0) : m_code(code), m_text(std::move(text)), m_low(lowLevel)
    {
    }
    HRESULT Code() const noexcept { return m_code; }
    const std::string &Text() const noexcept { return m_text; }
    ULONG LowLevel() const noexcept { return m_low; }
    const char *what() const noexcept override { return m_text.c_str(); }

  private:
    HRESULT m_code;
    std::string m_text;
    ULONG m_low;
};

// Throws Failure(MAPI_E_INVALID_PARAMETER) unless `condition`; `what` names the argument.
void Require(bool condition, const char *what);
// Throws Failure(MAPI_E_UNKNOWN_FLAGS) when `flags` holds others than those of `known`.
void RequireFlags(ULONG flags, ULONG known);
// What a client may call that is not here: throws Failure(MAPI_E_NO_SUPPORT) that names it.
[[noreturn]] void NoSupport(const char *what);
// Throws Failure when `code` is one; a success code passes.
void Check(HRESULT code, const char *what);

// The sentence that a code stands for when there is nothing better to say.
const char *DescribeCode(HRESULT code) noexcept;

// What the exception being handled means to a MAPI client.
Failure CurrentFailure();

// The last errors of one object, the newest for each code. For any thread.
class ErrorTexts
{
  public:
    // Remembers a failure of `method` ("IMAPISession::OpenMsgStore") and gives back its code. Never throws.
    HRESULT Remember(const char *method, const Failure &failure) noexcept;
    HRESULT RememberCurrent(const char *method) noexcept;

    // IMAPISession::GetLastError and its siblings: S_OK with the text of the newest error of that code, or with null
    // when the object gave no such code. Texts are wide with MAPI_UNICODE.
    HRESULT GetLastError(HRESULT code, ULONG flags, MAPIERROR **error) noexcept;

  private:
    struct Entry {
        HRESULT code;
        std::string text;
        ULONG lowLevel;
    };
    locks::Mutex m_lock;
    std::list<Entry> m_entries GUARDED_BY(m_lock);
};

// Runs the body of a method: its HRESULT is the method's, a failure is remembered under the method's name, an
// exception becomes an HRESULT.
template <class Body> HRESULT Guarded(ErrorTexts &errors, const char *method, Body &&body) noexcept
{
    try {
        const HRESULT result = body();
        return FAILED(result) ? errors.Remember(method, Failure(result, DescribeCode(result))) : result;
    } catch (...) {
        return errors.RememberCurrent(method);
    }
}

// The same where there is no object to ask for a text.
template <class Body> HRESULT Guarded(Body &&body) noexcept
{
    try {
        return body();
    } catch (...) {
        try {
            return CurrentFailure().Code();
        } catch (...) {
            return MAPI_E_NOT_ENOUGH_MEMORY;
        }
    }
}

} // namespace localmapi
