// One call of many: what a thread of some process asked of the shared folders, when it began and ended, and what it was
// answered. Steps are written down as they happen, so that what a killed process did is known up to its last call.
#pragma once
#include <cstdint>
#include <fstream>
#include <mapix.h>
#include <optional>
#include <string>
#include <vector>

namespace mapitest
{

// The folders that everybody works in: Alice's Inbox, her Sent Items, Bob's Inbox.
inline constexpr int kSharedFolders = 3;
enum class SharedFolder { Inbox, Sent, BobsInbox };

struct SeenRow {
    std::int64_t id = 0; // the message's number in the site
    std::string label;
    std::int32_t flags = 0;
    std::int32_t status = 0;
    std::int32_t value = 0;
    bool operator==(const SeenRow &) const = default;
    auto operator<=>(const SeenRow &) const = default;
};

struct Step {
    enum class Kind { Create, Rows, Count, Open, Get, Save, Mark, MarkList, Delete, Copy, Move, Status, Send, AllRead };
    // Asked
    int thread = 0; // of all processes
    int number = 0;
    Kind kind = Kind::Rows;
    int folder = 0;
    int to = 0;
    std::int32_t value = 0; // to be saved; the status
    std::int32_t mask = 0;
    bool read = false; // how to mark; count the unread only
    std::string label;
    std::vector<std::int64_t> ids;
    std::int64_t began = 0;
    // Answered; not at all when the process was killed meanwhile.
    bool answered = false;
    std::int64_t ended = 0;
    HRESULT result = S_OK;
    std::int64_t id = 0;
    std::int32_t old = 0; // the count; the former status
    std::vector<SeenRow> rows;

    std::string Text() const;
};

std::int64_t Now(); // the same clock in all processes

// One thread's own file.
class StepLog
{
  public:
    explicit StepLog(const std::string &path) : m_file(path, std::ios::binary) {}
    void Begin(Step &step);
    void End(Step &step);

  private:
    std::ofstream m_file;
};
// What a thread did; a step without an answer, if there is one, is its last.
std::vector<Step> ReadSteps(const std::string &path, int thread);

} // namespace mapitest
