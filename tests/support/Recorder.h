// The conversation: every call that reached MAPI, in order, from every thread.
#pragma once
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>
#include <windows.h>

namespace mapi_double
{

// One lock for the whole double; everything that is recorded, told or counted is guarded by it.
std::recursive_mutex &Mutex();

enum class Kind {
    Conversation, // a MAPI function or method
    Memory,       // MAPIAllocateBuffer, MAPIAllocateMore, MAPIFreeBuffer, FreeProws, FreePadrlist
    Release       // the last reference of an object was given back
};

struct Record {
    Kind kind = Kind::Conversation;
    std::string object; // "Table(stores)"; empty for a function
    std::string kindOfObject;
    std::string method;
    std::string arguments;
    int depth = 0; // 1 for a call that a MAPI helper function made on our behalf
    std::thread::id thread;
    HRESULT result = S_OK;

    // "Table(stores).Restrict(NULL, 0)"
    std::string Text() const;
    // Whether `name` names this call: its whole text, "Table(stores).Restrict", "Table.Restrict" or "MAPILogonEx".
    bool Is(const std::string &name) const;
};

class Recorder
{
  public:
    std::shared_ptr<Record> Add(Record record);
    void Forget();

    // The conversation proper, without what the helper functions did in turn.
    std::vector<std::string> Calls() const;
    std::vector<std::string> CallsOnThisThread() const;
    // The memory calls of the code under test, in order.
    std::vector<std::string> Memory() const;
    // All of it: nested calls are indented by two blanks.
    std::vector<std::string> Everything() const;
    std::vector<Record> Records() const;
    // How many recorded calls `name` names.
    int Count(const std::string &name) const;

  private:
    std::vector<std::shared_ptr<Record>> m_records;
};

// While one lives, the calls of this thread are recorded as made by a MAPI helper function.
class Nested
{
  public:
    Nested();
    ~Nested();
    Nested(const Nested &) = delete;
    Nested &operator=(const Nested &) = delete;
    static int Depth();
};

} // namespace mapi_double
