// Looking up what a call is answered: the last rule that fits, and over it the failure of a counted call.
#include "support/Script.h"

namespace mapi_double
{

Answer &Answer::Nth(int n)
{
    from = n;
    times = 1;
    return *this;
}

Answer &Answer::Once()
{
    return Nth(1);
}

Answer &Answer::From(int n)
{
    from = n;
    return *this;
}

Answer &Answer::WithOutput()
{
    withOutput = true;
    return *this;
}

Answer &Answer::WithoutOutput()
{
    withoutOutput = true;
    return *this;
}

Answer Fails(HRESULT hr)
{
    Answer answer;
    answer.hr = hr;
    return answer;
}

Answer Warns(HRESULT hr)
{
    return Fails(hr);
}

Answer GivesNull()
{
    return Answer().WithoutOutput();
}

Answer Does(std::function<void()> meanwhile)
{
    Answer answer;
    answer.meanwhile = std::move(meanwhile);
    return answer;
}

void Script::Tell(const std::string &call, Answer answer)
{
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    m_rules.push_back({call, std::move(answer), 0});
}

void Script::SetLastError(const std::string &object, ExtendedError error)
{
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    m_errors.push_back({object, error});
}

void Script::Clear()
{
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    *this = Script();
}

void Script::FailAt(int at, HRESULT hr, bool onwards)
{
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    m_counting = true;
    m_failAt = at;
    m_onwards = onwards;
    m_hr = hr;
    m_fallible = 0;
    m_failed.clear();
}

void Script::StopFailing()
{
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    m_counting = false;
    m_failAt = 0;
}

int Script::FallibleCalls() const
{
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    return m_fallible;
}

std::vector<Record> Script::Failed() const
{
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    return m_failed;
}

Answer Script::Consult(const Record &record, bool fallible)
{
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    Answer result;
    for (Rule &rule : m_rules) {
        if (!record.Is(rule.call))
            continue;
        const int turn = ++rule.seen - rule.answer.from;
        if (turn >= 0 && turn < rule.answer.times)
            result = rule.answer;
    }
    if (m_counting && fallible && record.depth == 0) {
        ++m_fallible;
        if (m_failAt != 0 && (m_fallible == m_failAt || (m_onwards && m_fallible > m_failAt))) {
            result.hr = m_hr;
            m_failed.push_back(record);
        }
    }
    return result;
}

const ExtendedError *Script::LastErrorOf(const std::string &object, const std::string &kind) const
{
    for (auto found = m_errors.rbegin(); found != m_errors.rend(); ++found)
        if (found->object == object || found->object == kind || found->object == "*")
            return &found->error;
    return nullptr;
}

} // namespace mapi_double
