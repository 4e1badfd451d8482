// Collects what the library traces, from every thread, while it lives. The filter lets everything through meanwhile;
// afterwards filter and hooks are as the registry and nobody had set them. One at a time.
#pragma once
#include "common/trace/DebugTrace.h"
#include "common/trace/debug.h"
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

class TraceCapture
{
  public:
    // A line in its parts: "21/11 08:51:34.156 host     (66,2)   20,  24:   text\n".
    struct Line {
        std::string whole; // without the line feed
        std::string text;  // without prefix and indentation
        DWORD value = 0;   // class and level; 0xFFFF for the level sign "?"
        std::size_t indent = 0;
    };

    // Lines up to this level; 9 are all.
    explicit TraceCapture(DWORD level = 9)
    {
        BYTE allClasses[TraceSettings::kMapBytes];
        for (BYTE &classes : allClasses)
            classes = 0xFF;
        const std::lock_guard lock(Shared().mutex);
        Shared().lines = &m_lines;
        SetOutputHooks(&TraceCapture::Collect, nullptr);
        PinDebugFilter(level, allClasses);
    }
    ~TraceCapture()
    {
        ReleaseDebugFilter();
        SetOutputHooks(nullptr, nullptr);
        const std::lock_guard lock(Shared().mutex);
        Shared().lines = nullptr;
    }
    TraceCapture(const TraceCapture &) = delete;
    TraceCapture &operator=(const TraceCapture &) = delete;

    std::vector<Line> Lines() const
    {
        const std::lock_guard lock(Shared().mutex);
        std::vector<Line> lines;
        for (const std::string &whole : m_lines)
            lines.push_back(Parse(whole));
        return lines;
    }
    // The texts of all lines, or of those of one class and level.
    std::vector<std::string> Texts() const
    {
        return Select([](const Line &) { return true; });
    }
    std::vector<std::string> Texts(DWORD value) const
    {
        return Select([value](const Line &line) { return line.value == value; });
    }
    std::vector<std::string> Errors() const { return Texts(kTraceError); }
    // Whether a line has just this text.
    bool Has(std::string_view text) const
    {
        return !Select([text](const Line &line) { return line.text == text; }).empty();
    }
    std::vector<std::string> Containing(std::string_view part) const
    {
        return Select([part](const Line &line) { return line.text.find(part) != std::string::npos; });
    }
    void Clear()
    {
        const std::lock_guard lock(Shared().mutex);
        m_lines.clear();
    }

  private:
    struct Target {
        std::mutex mutex;
        std::vector<std::string> *lines = nullptr;
    };
    static Target &Shared()
    {
        static Target target;
        return target;
    }
    static void Collect(const char *szText, int nLength)
    {
        const std::lock_guard lock(Shared().mutex);
        if (Shared().lines)
            Shared().lines->emplace_back(szText, static_cast<std::size_t>(nLength));
    }
    template <class Wanted> std::vector<std::string> Select(Wanted wanted) const
    {
        std::vector<std::string> texts;
        for (const Line &line : Lines())
            if (wanted(line))
                texts.push_back(line.text);
        return texts;
    }
    static Line Parse(std::string whole)
    {
        if (!whole.empty() && whole.back() == '\n')
            whole.pop_back();
        Line line;
        const auto prefixEnd = whole.find(": ");
        const auto comma = whole.rfind(',', prefixEnd);
        const auto open = whole.rfind('(', comma);
        if (prefixEnd != std::string::npos && open != std::string::npos) {
            const DWORD id = static_cast<DWORD>(std::stoul(whole.substr(open + 1), nullptr, 16));
            const char level = whole[whole.find(',', open) + 1];
            line.value = id << 16 | (level == '?' ? 0xFFFF : static_cast<DWORD>(level - '0'));
            const auto start = whole.find_first_not_of(' ', prefixEnd + 2);
            line.indent = (start == std::string::npos ? whole.size() : start) - prefixEnd - 2;
            line.text = whole.substr(prefixEnd + 2 + line.indent);
        }
        line.whole = std::move(whole);
        return line;
    }

    std::vector<std::string> m_lines;
};
