// The one shape of error lines, letter by letter; what a failing object adds to it; exceptions; and that text of
// unknown origin stays harmless in every part of a line.
#include "common/errors/errors.h"
#include "MapiBuffers.h"
#include "common/base/Owners.h"
#include "support/TraceCapture.h"
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr HRESULT kNotFound = static_cast<HRESULT>(0x8004010F);
constexpr HRESULT kUnknown = static_cast<HRESULT>(0x80041234);

// An object with an extended error of its own; only GetLastError matters.
struct FailingObject {
    HRESULT GetLastError(HRESULT hr, ULONG flags, LPMAPIERROR *error)
    {
        askedFor = hr;
        askedFlags = flags;
        ++asked;
        if (throws)
            throw std::runtime_error("GetLastError");
        if (gives) {
            auto *record = static_cast<MAPIERROR *>(NewMapiBuffer(sizeof(MAPIERROR)));
            record->lpszError = const_cast<char *>(szError);
            record->lpszComponent = const_cast<char *>(szComponent);
            record->ulLowLevelError = 99;
            record->ulContext = context;
            *error = record;
        }
        return result;
    }

    bool throws = false;
    bool gives = true;
    HRESULT result = S_OK;
    const char *szError = "No such folder";
    const char *szComponent = "Store";
    ULONG context = 3000000000u;

    HRESULT askedFor = 0;
    ULONG askedFlags = 77;
    int asked = 0;
};

class ErrorLines : public testing::Test
{
  protected:
    ~ErrorLines() override { EXPECT_EQ(LiveMapiBuffers(), 0); }
    // The one line traced, or what there is instead of one.
    std::string Line() const
    {
        const auto texts = m_trace.Texts();
        return texts.size() == 1 ? texts.front() : std::to_string(texts.size()) + " lines";
    }

    TraceCapture m_trace;
    FailingObject m_object;
};

TEST_F(ErrorLines, AFailureWithoutContextEndsInAFullStop)
{
    TraceHResult("F", 7, kNotFound, "Call", nullptr);
    EXPECT_EQ(Line(), "F[7]: Error 0x8004010f [MAPI_E_NOT_FOUND] from Call.");
    EXPECT_EQ(m_trace.Lines().front().value, 0x00660002u);
}

TEST_F(ErrorLines, TheContextFollowsAfterABlank)
{
    TraceHResult("CMAPIImpl::Connect", 120, kNotFound, "MAPILogonEx", "trying to log on to \"%s\" (%d).", "Voice", 3);
    EXPECT_EQ(Line(), "CMAPIImpl::Connect[120]: Error 0x8004010f [MAPI_E_NOT_FOUND] from MAPILogonEx trying to log on "
                      "to \"Voice\" (3).");
}

TEST_F(ErrorLines, AnEmptyContextIsNone)
{
    TraceHResult("F", 7, kNotFound, "Call", "%s", "");
    EXPECT_EQ(Line(), "F[7]: Error 0x8004010f [MAPI_E_NOT_FOUND] from Call.");
}

TEST_F(ErrorLines, ACodeThatNobodyKnowsHasTwoPairsOfBrackets)
{
    TraceHResult("F", -7, kUnknown, "Call", nullptr);
    EXPECT_EQ(Line(), "F[-7]: Error 0x80041234 [[0x80041234]] from Call.");
}

TEST_F(ErrorLines, SmallCodesHaveEightCharacters)
{
    TraceHResult("F", 7, S_FALSE, "Call", nullptr);
    EXPECT_EQ(Line(), "F[7]: Error 0x000001 [S_FALSE] from Call.");
}

TEST_F(ErrorLines, ACodeThatOnlyTheSystemKnowsHasItsText)
{
    const tstring text = tstring().GetErrorText(static_cast<HRESULT>(0x80070006));
    TraceHResult("F", 7, static_cast<HRESULT>(0x80070006), "Call", nullptr);
    EXPECT_EQ(Line(), "F[7]: Error 0x80070006 [" + text + "] from Call.");
}

TEST_F(ErrorLines, TheFilterHoldsForErrorsToo)
{
    PinDebugFilter(1, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
    TraceHResult("F", 7, kNotFound, "Call", nullptr);
    EXPECT_THAT(m_trace.Texts(), IsEmpty());
}

TEST_F(ErrorLines, TheObjectsOwnErrorStandsBeforeTheFullStop)
{
    TraceError("F", 7, "OpenEntry", "", &m_object, kNotFound);
    EXPECT_EQ(Line(), "F[7]: Error 0x8004010f [MAPI_E_NOT_FOUND] from OpenEntry (No such folder : Store[3000000000]).");
    EXPECT_EQ(m_object.askedFor, kNotFound);
    EXPECT_EQ(m_object.askedFlags, 0u);
    EXPECT_EQ(m_object.asked, 1);
    EXPECT_EQ(m_trace.Lines().front().value, 0x00660002u);
}

TEST_F(ErrorLines, TheObjectsOwnErrorStandsBeforeTheContext)
{
    TraceError("F", 7, "OpenEntry", "trying to open the %s number %lu.", &m_object, kNotFound, "folder", ULONG{5});
    EXPECT_EQ(Line(), "F[7]: Error 0x8004010f [MAPI_E_NOT_FOUND] from OpenEntry (No such folder : Store[3000000000]) "
                      "trying to open the folder number 5.");
}

TEST_F(ErrorLines, AnObjectWithoutARecordAddsNothing)
{
    m_object.gives = false;
    TraceError("F", 7, "OpenEntry", "trying.", &m_object, kNotFound);
    EXPECT_EQ(Line(), "F[7]: Error 0x8004010f [MAPI_E_NOT_FOUND] from OpenEntry trying.");
}

TEST_F(ErrorLines, AnObjectThatCannotTellAddsNothing)
{
    for (const HRESULT result : {E_FAIL, S_FALSE}) {
        m_trace.Clear();
        m_object.result = result;
        TraceError("F", 7, "OpenEntry", "trying.", &m_object, kNotFound);
        EXPECT_EQ(Line(), "F[7]: Error 0x8004010f [MAPI_E_NOT_FOUND] from OpenEntry trying.");
    }
}

TEST_F(ErrorLines, TextsThatTheRecordLacksShowAsNull)
{
    m_object.szError = nullptr;
    m_object.szComponent = nullptr;
    TraceError("F", 7, "OpenEntry", "trying.", &m_object, kNotFound);
    EXPECT_EQ(m_trace.Texts(), std::vector<std::string>{"F[7]: Error 0x8004010f [MAPI_E_NOT_FOUND] from OpenEntry "
                                                        "((null) : (null)[3000000000]) trying."});
}

TEST_F(ErrorLines, AnExceptionOfTheObjectIsReportedAndTheLineStillComes)
{
    m_object.throws = true;
    TraceError("F", 7, "OpenEntry", "trying.", &m_object, kNotFound);
    EXPECT_THAT(m_trace.Texts(), ElementsAre("Exception has occurred in TraceError (OrlMapi32[1613])",
                                             "F[7]: Error 0x8004010f [MAPI_E_NOT_FOUND] from OpenEntry trying."));
}

TEST_F(ErrorLines, ANullObjectAddsNothing)
{
    TraceError("F", 7, "OpenEntry", "trying.", static_cast<FailingObject *>(nullptr), kNotFound);
    EXPECT_EQ(Line(), "F[7]: Error 0x8004010f [MAPI_E_NOT_FOUND] from OpenEntry trying.");
}

TEST_F(ErrorLines, AnExceptionReportNamesFunctionFileAndLine)
{
    ReportException("OrlMapi32", "CMAPIImpl::Connect", 1234);
    EXPECT_EQ(Line(), "Exception has occurred in CMAPIImpl::Connect (OrlMapi32[1234])");
    EXPECT_EQ(m_trace.Lines().front().value, 0x0000FFFFu);
}

TEST_F(ErrorLines, AnExceptionReportPassesEveryFilter)
{
    PinDebugFilter(0, {});
    ReportException("OrlMapi32", "F", 1);
    EXPECT_EQ(Line(), "Exception has occurred in F (OrlMapi32[1])");
}

std::string g_hooked;
void Hook(const char *szSourceFile, const char *szFunction, int nLine)
{
    g_hooked = std::string(szSourceFile) + "|" + szFunction + "|" + std::to_string(nLine);
}

TEST_F(ErrorLines, AnExceptionHookTakesTheReportInPlaceOfTheTrace)
{
    EXPECT_EQ(GetExceptionHook(), nullptr);
    SetExceptionHooks(Hook, nullptr);
    ReportException("OrlMapi32", "F", 42);
    SetExceptionHooks(nullptr, nullptr);
    EXPECT_EQ(g_hooked, "OrlMapi32|F|42");
    EXPECT_THAT(m_trace.Texts(), IsEmpty());
}

TEST_F(ErrorLines, BadNamesAreReportedAndTheLineStillComes)
{
    TraceHResult(nullptr, 7, kNotFound, "Call", nullptr);
    EXPECT_THAT(m_trace.Errors(), ElementsAre("[7]: Error 0x8004010f [MAPI_E_NOT_FOUND] from Call."));
}

constexpr const char *kHostile = "%s%s%s%s%n%1000000d";

// The line starts as given, then comes what the hostile text makes of it: four null texts, an inert %n, and blanks.
void ExpectHarmless(const TraceCapture &trace, const std::string &start)
{
    ASSERT_EQ(trace.Errors().size(), 1u);
    const std::string line = trace.Errors().front();
    const std::string expected = start + "(null)(null)(null)(null)%n";
    EXPECT_EQ(line.substr(0, expected.size()), expected);
    EXPECT_EQ(line.find_first_not_of(' ', expected.size()), std::string::npos);
}

TEST_F(ErrorLines, ConversionsInTheContextAreReadASecondTimeWithoutHarm)
{
    TraceHResult("F", 7, kNotFound, "Call", "subject %s", kHostile);
    ExpectHarmless(m_trace, "F[7]: Error 0x8004010f [MAPI_E_NOT_FOUND] from Call subject ");
    m_trace.Clear();
    TraceError("F", 7, "Call", "subject %s", &m_object, kNotFound, kHostile);
    ExpectHarmless(m_trace, "F[7]: Error 0x8004010f [MAPI_E_NOT_FOUND] from Call (No such folder : Store[3000000000]) "
                            "subject ");
}

TEST_F(ErrorLines, ConversionsInTheNamesAreReadASecondTimeWithoutHarm)
{
    TraceHResult(kHostile, 7, kNotFound, "Call", nullptr);
    ExpectHarmless(m_trace, "");
    m_trace.Clear();
    TraceHResult("F", 7, kNotFound, kHostile, nullptr);
    ExpectHarmless(m_trace, "F[7]: Error 0x8004010f [MAPI_E_NOT_FOUND] from ");
}

TEST_F(ErrorLines, ConversionsInTheObjectsTextsAreReadASecondTimeWithoutHarm)
{
    m_object.szError = kHostile;
    TraceError("F", 7, "Call", "", &m_object, kNotFound);
    ExpectHarmless(m_trace, "F[7]: Error 0x8004010f [MAPI_E_NOT_FOUND] from Call (");
    m_trace.Clear();
    m_object.szError = "e";
    m_object.szComponent = kHostile;
    TraceError("F", 7, "Call", "", &m_object, kNotFound);
    ExpectHarmless(m_trace, "F[7]: Error 0x8004010f [MAPI_E_NOT_FOUND] from Call (e : ");
}

TEST_F(ErrorLines, ALineReadASecondTimeKeepsPercentSignsThatConvertNothing)
{
    TraceHResult("F", 7, kNotFound, "Call", "the quota is used to 100%%");
    EXPECT_EQ(Line(), "F[7]: Error 0x8004010f [MAPI_E_NOT_FOUND] from Call the quota is used to 100%");
}

TEST_F(ErrorLines, LongLinesAreCutByTheTrace)
{
    TraceHResult("F", 7, kNotFound, "Call", "%s", std::string(5000, 'x').c_str());
    ASSERT_EQ(m_trace.Lines().size(), 1u);
    EXPECT_EQ(m_trace.Lines().front().whole.size(), 1022u); // and its line feed
}

} // namespace
