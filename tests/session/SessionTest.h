// What the session tests share: a connection over the scripted MAPI, its conversation and its trace lines.
#pragma once
#include "OrlMapi32.h"
#include "session/CMAPIImpl.h"
#include "session/MailboxIdentity.h"
#include "session/OpenOptions.h"
#include "session/Profile.h"
#include "session/SessionGuard.h"
#include "support/MapiDouble.h"
#include "support/TraceCapture.h"
#include <gmock/gmock.h>

using namespace mapi_double;
using testing::_;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::StartsWith;

inline const std::string kAliceDN = "/o=Norvik/ou=First Administrative Group/cn=Recipients/cn=alice";

// A text where every "*" of the pattern stands for any run of characters.
bool IsLike(const std::string &text, const std::string &pattern);
MATCHER_P(Like, pattern, "is like \"" + std::string(pattern) + "\"")
{
    return IsLike(arg, pattern);
}

// The line of a failed call, as Lines() gives it: "F[#]: Error 0x8004010f [MAPI_E_NOT_FOUND] from Call sentence", or
// just "... from Call." for no sentence.
std::string ErrorLine(const std::string &function, HRESULT hr, const std::string &call, const std::string &sentence);

// The narrow form that the process's ANSI code page gives a wide text, and the other way round.
std::string InAnsi(const WideText &text);
WideText FromAnsi(const std::string &text);
WideText FromUtf8(const std::string &text);

class SessionTest : public MapiDoubleTest
{
  protected:
    void SetUp() override;
    void TearDown() override;

    // Logs on to the default world's profile and forgets that it did.
    void Connect(const char *server = "NORVIK1", const char *mailbox = "vm", const char *profile = "Voicemail");
    void Forget();
    void Close();
    SessionGuard Session() const { return CMAPIImpl::Locate(m_hConnection); }
    LONG Counter() const { return Session()->OpenObjects().load(); }

    // The calls of this thread, and its lines of the library's trace class with "[#]" in the place of each source
    // line's number.
    std::vector<std::string> Calls() const { return m_mapi.recorder.CallsOnThisThread(); }
    std::vector<std::string> Lines() const;
    std::vector<std::string> IndentedLines() const;
    std::vector<std::string> Errors() const;

    DWORD m_hConnection = 0;
    TraceCapture m_trace;

  private:
    std::vector<std::string> Select(bool errorsOnly, bool indented) const;
};
