// The forms and names of dates.
#pragma once
#include "locale_names.h"
#include <cstring>
#include <ctime>
#include <langinfo.h>
#include <string>
#include <wctype.h>

namespace platform
{
// The locale that dates are written and read in, for the time of a call.
class TimeLocale
{
  public:
    TimeLocale()
    {
        const char *name = LocaleName("LC_TIME");
        m_american = IsNeutralLocale(name) || std::strncmp(name, "en_US", 5) == 0;
        m_locale = newlocale(LC_TIME_MASK | LC_CTYPE_MASK, name, nullptr);
        if (!m_locale) { // not installed
            m_american = true;
            m_locale = newlocale(LC_TIME_MASK | LC_CTYPE_MASK, "C", nullptr);
        }
    }
    ~TimeLocale() { freelocale(m_locale); }
    TimeLocale(const TimeLocale &) = delete;
    TimeLocale &operator=(const TimeLocale &) = delete;
    bool IsAmerican() const { return m_american; }
    std::string Item(nl_item first, int index) const { return nl_langinfo_l(first + index, m_locale); }
    wint_t Lower(wint_t c) const { return towlower_l(c, m_locale); }
    std::string Format(const char *pattern, const tm &time) const
    {
        char text[256];
        const std::size_t length = strftime_l(text, sizeof text, pattern, &time, m_locale);
        return std::string(text, length);
    }
    std::string Format(nl_item pattern, const tm &time) const { return Format(Item(pattern, 0).c_str(), time); }

  private:
    bool m_american;
    locale_t m_locale;
};
} // namespace platform
