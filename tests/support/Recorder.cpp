// The records and their selections, and each thread's depth in MAPI's helper functions.
#include "support/Recorder.h"

namespace mapi_double
{

std::recursive_mutex &Mutex()
{
    // Never destroyed: a thread of the code under test may outlive main's statics.
    static auto *mutex = new std::recursive_mutex;
    return *mutex;
}

std::string Record::Text() const
{
    return (object.empty() ? method : object + "." + method) + "(" + arguments + ")";
}

bool Record::Is(const std::string &name) const
{
    if (object.empty())
        return name == method || name == Text();
    return name == object + "." + method || name == kindOfObject + "." + method || name == Text();
}

std::shared_ptr<Record> Recorder::Add(Record record)
{
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    record.depth = Nested::Depth();
    record.thread = std::this_thread::get_id();
    m_records.push_back(std::make_shared<Record>(std::move(record)));
    return m_records.back();
}

void Recorder::Forget()
{
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    m_records.clear();
}

std::vector<Record> Recorder::Records() const
{
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    std::vector<Record> result;
    for (const auto &record : m_records)
        result.push_back(*record);
    return result;
}

std::vector<std::string> Recorder::Calls() const
{
    std::vector<std::string> result;
    for (const Record &record : Records())
        if (record.kind == Kind::Conversation && record.depth == 0)
            result.push_back(record.Text());
    return result;
}

std::vector<std::string> Recorder::CallsOnThisThread() const
{
    std::vector<std::string> result;
    for (const Record &record : Records())
        if (record.kind == Kind::Conversation && record.depth == 0 && record.thread == std::this_thread::get_id())
            result.push_back(record.Text());
    return result;
}

std::vector<std::string> Recorder::Memory() const
{
    std::vector<std::string> result;
    for (const Record &record : Records())
        if (record.kind == Kind::Memory && record.depth == 0)
            result.push_back(record.Text());
    return result;
}

std::vector<std::string> Recorder::Everything() const
{
    std::vector<std::string> result;
    for (const Record &record : Records())
        result.push_back(std::string(static_cast<size_t>(record.depth) * 2, ' ') + record.Text());
    return result;
}

int Recorder::Count(const std::string &name) const
{
    int count = 0;
    for (const Record &record : Records())
        count += record.Is(name) ? 1 : 0;
    return count;
}

namespace
{
thread_local int t_depth = 0;
}

Nested::Nested()
{
    ++t_depth;
}

Nested::~Nested()
{
    --t_depth;
}

int Nested::Depth()
{
    return t_depth;
}

} // namespace mapi_double
