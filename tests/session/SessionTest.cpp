// Matching and composing the texts of trace lines, conversions of text, and the connection's start and end.
#include "session/SessionTest.h"
#include <regex>

bool IsLike(const std::string &text, const std::string &pattern)
{
    const auto star = pattern.find('*');
    if (star == std::string::npos)
        return text == pattern;
    if (text.compare(0, star, pattern, 0, star) != 0)
        return false;
    const std::string rest = pattern.substr(star + 1);
    for (size_t from = star; from <= text.size(); ++from)
        if (IsLike(text.substr(from), rest))
            return true;
    return false;
}

std::string ErrorLine(const std::string &function, HRESULT hr, const std::string &call, const std::string &sentence)
{
    static const struct {
        HRESULT hr;
        const char *text;
    } names[] = {
        {E_FAIL, "0x80004005 [MAPI_E_CALL_FAILED]"},
        {E_ACCESSDENIED, "0x80070005 [MAPI_E_NO_ACCESS]"},
        {E_OUTOFMEMORY, "0x8007000e [MAPI_E_NOT_ENOUGH_MEMORY]"},
        {MAPI_E_NOT_FOUND, "0x8004010f [MAPI_E_NOT_FOUND]"},
        {MAPI_E_NETWORK_ERROR, "0x80040115 [MAPI_E_NETWORK_ERROR]"},
        {MAPI_E_LOGON_FAILED, "0x80040111 [MAPI_E_LOGON_FAILED]"},
        {MAPI_E_INTERFACE_NOT_SUPPORTED, "0x80004002 [MAPI_E_INTERFACE_NOT_SUPPORTED]"},
        {MAPI_E_UNKNOWN_FLAGS, "0x80040106 [MAPI_E_UNKNOWN_FLAGS]"},
        {MAPI_E_TIMEOUT, "0x80040401 [MAPI_E_TIMEOUT]"},
        {MAPI_E_AMBIGUOUS_RECIP, "0x80040700 [MAPI_E_AMBIGUOUS_RECIP]"},
    };
    for (const auto &name : names)
        if (name.hr == hr)
            return function + "[#]: Error " + name.text + " from " + call + (sentence.empty() ? "." : " " + sentence);
    ADD_FAILURE() << "no name for " << Result(hr);
    return "";
}

std::string InAnsi(const WideText &text)
{
    const int units = static_cast<int>(text.size());
    std::string result(text.size() * 4 + 1, '\0');
    const int count = WideCharToMultiByte(CP_ACP, 0, text.data(), units, result.data(), static_cast<int>(result.size()),
                                          nullptr, nullptr);
    result.resize(static_cast<size_t>(count));
    return result;
}

namespace
{

WideText Widened(UINT codePage, const std::string &text)
{
    WideText result(text.size() + 1, 0);
    const int count = MultiByteToWideChar(codePage, 0, text.data(), static_cast<int>(text.size()), result.data(),
                                          static_cast<int>(result.size()));
    result.resize(static_cast<size_t>(count));
    return result;
}

// Keeps the MAPI thread alive between tests, so that each one's connection is there at once.
class Anchor : public testing::Environment
{
  public:
    void SetUp() override { ASSERT_EQ(OrlCreateConnection(&m_hConnection, 0), S_OK); }
    void TearDown() override { EXPECT_EQ(OrlCloseConnection(&m_hConnection), S_OK); }

  private:
    DWORD m_hConnection = 0;
};
[[maybe_unused]] testing::Environment *const kAnchor = testing::AddGlobalTestEnvironment(new Anchor);

} // namespace

WideText FromAnsi(const std::string &text)
{
    return Widened(CP_ACP, text);
}

WideText FromUtf8(const std::string &text)
{
    return Widened(CP_UTF8, text);
}

void SessionTest::SetUp()
{
    ASSERT_EQ(OrlCreateConnection(&m_hConnection, 0), S_OK);
    ASSERT_EQ(OrlIsMAPIAvailable(m_hConnection), 1);
    Forget();
}

void SessionTest::TearDown()
{
    Close();
    MapiDoubleTest::TearDown();
}

void SessionTest::Connect(const char *server, const char *mailbox, const char *profile)
{
    ASSERT_EQ(OrlMapiConnectA(m_hConnection, server, mailbox, profile), S_OK);
    Forget();
}

void SessionTest::Forget()
{
    m_mapi.recorder.Forget();
    ForgetBlockNumbers();
    m_trace.Clear();
}

void SessionTest::Close()
{
    if (m_hConnection) {
        EXPECT_EQ(OrlCloseConnection(&m_hConnection), S_OK);
    }
}

std::vector<std::string> SessionTest::Select(bool errorsOnly, bool indented) const
{
    static const std::regex prefix(R"(^.*\([0-9a-f]+,.\) *[0-9a-f]+, *([0-9a-f]+): [\s\S]*$)");
    static const std::regex lineNumber(R"(^([\w:~]*)\[\d+\])");
    std::vector<std::string> result;
    for (const TraceCapture::Line &line : m_trace.Lines()) {
        std::smatch parts;
        const std::string head = line.whole.substr(0, line.whole.find(": ") + 2);
        if (!std::regex_match(head, parts, prefix) || std::stoul(parts[1].str(), nullptr, 16) != GetCurrentThreadId())
            continue;
        if (line.value >> 16 != kTraceError >> 16 && line.value != kTraceAlways)
            continue;
        if (errorsOnly && line.value != kTraceError)
            continue;
        result.push_back((indented ? std::string(line.indent, ' ') : "") +
                         std::regex_replace(line.text, lineNumber, "$1[#]"));
    }
    return result;
}

std::vector<std::string> SessionTest::Lines() const
{
    return Select(false, false);
}

std::vector<std::string> SessionTest::IndentedLines() const
{
    return Select(false, true);
}

std::vector<std::string> SessionTest::Errors() const
{
    return Select(true, false);
}
