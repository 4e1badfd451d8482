// A JSON array on standard output that is written as it grows: a list of a million is never in memory. One that is not
// ended lacks its last lines, so that nobody takes it for a whole one. One thread.
#pragma once
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

namespace tool
{

class JsonList
{
  public:
    JsonList() = default;
    JsonList(const JsonList &) = delete;
    JsonList &operator=(const JsonList &) = delete;

    // What is written meanwhile ends with a line: the last item waits for what comes after it.
    void Add(const nlohmann::ordered_json &item)
    {
        Write(m_isEmpty ? "[\n" : m_last + ",\n");
        m_isEmpty = false;
        m_last = "  ";
        for (const char one : item.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace))
            m_last += one == '\n' ? std::string("\n  ") : std::string(1, one);
    }
    void End() { Write(m_isEmpty ? "[]\n" : m_last + "\n]\n"); }

  private:
    static void Write(const std::string &text) { std::fwrite(text.data(), 1, text.size(), stdout); }

    bool m_isEmpty = true;
    std::string m_last;
};

} // namespace tool
