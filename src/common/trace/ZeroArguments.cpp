// Conversions are scanned as the runtime reads them; whatever it would read otherwise becomes text.
#include "common/trace/ZeroArguments.h"
#include <cstddef>
#include <cstring>
#include <string_view>

namespace
{

constexpr std::size_t kLongestField = 1024;

// A conversion specification in a line: where it ends, and how it reads with its numbers cut.
struct Conversion {
    std::string text;
    std::size_t length = 0;
};

class Scanner
{
  public:
    explicit Scanner(std::string_view rest) : m_rest(rest) {}

    // False when what stands here, after the percent sign, is not a conversion that reads an argument.
    bool Scan(Conversion &conversion)
    {
        m_text.assign(1, '%');
        TakeAll("-+ #0");
        TakeNumber();
        if (Take("."))
            TakeNumber();
        TakeModifier();
        if (!Take("cCdiouxXeEfgGaApsS"))
            return false;
        conversion.text = m_text;
        conversion.length = 1 + m_at;
        return true;
    }

  private:
    bool Take(const char *any)
    {
        if (m_at >= m_rest.size() || !std::strchr(any, m_rest[m_at]))
            return false;
        m_text += m_rest[m_at++];
        return true;
    }
    void TakeAll(const char *any)
    {
        while (Take(any)) {
        }
    }
    void TakeNumber()
    {
        if (Take("*"))
            return;
        std::size_t value = 0;
        const std::size_t start = m_at;
        for (; m_at < m_rest.size() && m_rest[m_at] >= '0' && m_rest[m_at] <= '9'; ++m_at)
            if (value < kLongestField)
                value = value * 10 + static_cast<std::size_t>(m_rest[m_at] - '0');
        if (m_at > start)
            m_text += std::to_string(value < kLongestField ? value : kLongestField);
    }
    void TakeModifier()
    {
        for (const std::string_view modifier : {"I64", "I32", "I", "hh", "h", "ll", "l", "L", "w"})
            if (m_rest.substr(m_at, modifier.size()) == modifier) {
                m_text += modifier;
                m_at += modifier.size();
                return;
            }
    }

    std::string_view m_rest;
    std::size_t m_at = 0;
    std::string m_text;
};

} // namespace

std::string FormatForZeroArguments(const char *line)
{
    const std::string_view text(line);
    std::string format;
    format.reserve(text.size() + 16);
    int conversions = 0;
    for (std::size_t i = 0; i < text.size();) {
        if (text[i] != '%') {
            format += text[i++];
            continue;
        }
        Conversion conversion;
        if (text.substr(i, 2) == "%%") {
            format += "%%";
            i += 2;
        } else if (conversions < kMostZeroConversions && Scanner(text.substr(i + 1)).Scan(conversion)) {
            format += conversion.text;
            i += conversion.length;
            ++conversions;
        } else {
            format += "%%";
            ++i;
        }
    }
    return format;
}
