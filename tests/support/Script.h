// What the double was told to answer, and the failing of the k-th fallible call of all.
#pragma once
#include "support/Recorder.h"
#include <functional>
#include <optional>

namespace mapi_double
{

// An answer other than the usual one.
struct Answer {
    std::optional<HRESULT> hr;       // replaces the result
    bool withOutput = false;         // hands the output back together with a failure
    bool withoutOutput = false;      // hands nothing back together with a success
    std::function<void()> meanwhile; // runs first, with no lock held
    int from = 1;                    // of the calls so named, the first to be answered so
    int times = 0x7fffffff;          // and how many of them

    Answer &Nth(int n);  // just the n-th
    Answer &Once();      // just the first
    Answer &From(int n); // the n-th and every later one
    Answer &WithOutput();
    Answer &WithoutOutput();
};
Answer Fails(HRESULT hr);
Answer Warns(HRESULT hr); // a success code other than S_OK, with the usual output
Answer GivesNull();
Answer Does(std::function<void()> meanwhile);

// An object's extended error text; a null pointer is given as such.
struct ExtendedError {
    const char *error = nullptr;
    const char *component = nullptr;
    ULONG context = 0;
};

class Script
{
  public:
    // `call` as Record::Is takes it. The latest rule that fits a call holds.
    void Tell(const std::string &call, Answer answer);
    // `object` is an object's name or kind; "*" is every object.
    void SetLastError(const std::string &object, ExtendedError error);
    void Clear();

    // From now on counts fallible calls of the code under test, and fails the `at`-th with `hr` (0 fails none),
    // and all after it when `onwards`.
    void FailAt(int at, HRESULT hr, bool onwards);
    void StopFailing();
    int FallibleCalls() const;
    // The calls that were failed, in order, and their number.
    std::vector<Record> Failed() const;

    // Used by the calls themselves: what holds for `record`.
    Answer Consult(const Record &record, bool fallible);
    const ExtendedError *LastErrorOf(const std::string &object, const std::string &kind) const;

  private:
    struct Rule {
        std::string call;
        Answer answer;
        int seen = 0;
    };
    struct ObjectError {
        std::string object;
        ExtendedError error;
    };
    std::vector<Rule> m_rules;
    std::vector<ObjectError> m_errors;
    bool m_counting = false;
    int m_failAt = 0;
    bool m_onwards = false;
    HRESULT m_hr = S_OK;
    int m_fallible = 0;
    std::vector<Record> m_failed;
};

} // namespace mapi_double
