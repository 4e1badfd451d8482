// VarDateFromStr: dates and times as people write them, in the order of the locale, else in another one that fits.
#include "code_page.h"
#include "time_locale.h"
#include <cwctype>
#include <oleauto.h>
#include <optional>
#include <platform_test.h>
#include <span>
#include <vector>

namespace
{
using platform::TimeLocale;

struct Token {
    enum Kind { Number, Month, Weekday, Am, Pm, Separator } kind;
    unsigned value; // the number, the month, or the separator's character
};
using Tokens = std::vector<Token>;

bool IsBlank(WCHAR c)
{
    return c == ' ' || (c >= '\t' && c <= '\r') || c == 0xA0;
}
bool IsDigit(WCHAR c)
{
    return c >= '0' && c <= '9';
}
bool IsLetter(WCHAR c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c > 0xA0;
}

class Words
{
  public:
    explicit Words(const TimeLocale &locale) : m_locale(locale) {}
    std::optional<Token> Find(std::u16string word) const
    {
        Fold(word);
        if (word == u"am" || word == u"a")
            return Token{Token::Am, 0};
        if (word == u"pm" || word == u"p")
            return Token{Token::Pm, 0};
        for (int i = 0; i < 12; ++i)
            if (Is(word, MON_1, i) || Is(word, ABMON_1, i))
                return Token{Token::Month, static_cast<unsigned>(i + 1)};
        for (int i = 0; i < 7; ++i)
            if (Is(word, DAY_1, i) || Is(word, ABDAY_1, i))
                return Token{Token::Weekday, 0};
        return std::nullopt;
    }

  private:
    void Fold(std::u16string &text) const
    {
        for (char16_t &c : text)
            c = static_cast<char16_t>(m_locale.Lower(c));
    }
    bool Is(const std::u16string &folded, nl_item first, int index) const
    {
        const std::string name = m_locale.Item(first, index);
        std::u16string wide = platform::Widen(name.data(), name.size());
        Fold(wide);
        return wide == folded;
    }

    const TimeLocale &m_locale;
};

constexpr unsigned kTooLarge = 100000; // and no year, month, day or hour

// Nothing where the text holds something that belongs to no date.
std::optional<Tokens> Split(const WCHAR *text, const Words &words)
{
    Tokens tokens;
    while (*text) {
        if (IsBlank(*text)) {
            ++text;
        } else if (IsDigit(*text)) {
            unsigned value = 0;
            for (; IsDigit(*text); ++text)
                value = value >= kTooLarge ? kTooLarge : value * 10 + (*text - u'0');
            tokens.push_back({Token::Number, value});
        } else if (IsLetter(*text)) {
            std::u16string word;
            for (; IsLetter(*text); ++text)
                word += *text;
            const auto token = words.Find(word);
            if (!token)
                return std::nullopt;
            tokens.push_back(*token);
        } else if (std::u16string_view(u"/-,.:").find(*text) != std::u16string_view::npos) {
            tokens.push_back({Token::Separator, *text++});
        } else {
            return std::nullopt;
        }
    }
    return tokens;
}

struct Found {
    std::vector<Token> date; // numbers and at most one month's name, in the order of the text
    std::optional<SYSTEMTIME> time;
};

class Reader
{
  public:
    Reader(std::span<const Token> tokens, bool pointIsOfDates) : m_tokens(tokens), m_pointIsOfDates(pointIsOfDates) {}

    std::optional<Found> Read()
    {
        Found found;
        while (m_at < m_tokens.size())
            if (!(Is(Token::Number) && IsTime() ? ReadTime(found) : ReadDatePart(found)))
                return std::nullopt;
        return found;
    }

  private:
    bool Is(Token::Kind kind, std::size_t ahead = 0) const
    {
        return m_at + ahead < m_tokens.size() && m_tokens[m_at + ahead].kind == kind;
    }
    bool IsTimeSeparator(std::size_t ahead) const
    {
        if (!Is(Token::Separator, ahead))
            return false;
        const unsigned c = m_tokens[m_at + ahead].value;
        return c == ':' || (c == '.' && !m_pointIsOfDates);
    }
    bool IsTime() const { return IsTimeSeparator(1) || Is(Token::Am, 1) || Is(Token::Pm, 1); }

    bool ReadTime(Found &found)
    {
        unsigned parts[3] = {m_tokens[m_at++].value, 0, 0};
        for (int i = 1; i < 3 && IsTimeSeparator(0); ++i) {
            if (!Is(Token::Number, 1))
                return false;
            parts[i] = m_tokens[m_at + 1].value;
            m_at += 2;
        }
        if (found.time || parts[0] > 23 || parts[1] > 59 || parts[2] > 59)
            return false;
        if (Is(Token::Am) || Is(Token::Pm)) {
            if (Is(Token::Pm) && parts[0] < 12)
                parts[0] += 12;
            else if (Is(Token::Am) && parts[0] == 12)
                parts[0] = 0;
            ++m_at;
        }
        SYSTEMTIME time = {};
        time.wHour = static_cast<WORD>(parts[0]);
        time.wMinute = static_cast<WORD>(parts[1]);
        time.wSecond = static_cast<WORD>(parts[2]);
        found.time = time;
        return true;
    }

    // A number, a month, or a weekday, which says nothing; with the separator behind it.
    bool ReadDatePart(Found &found)
    {
        if (Is(Token::Number) || Is(Token::Month))
            found.date.push_back(m_tokens[m_at]);
        else if (!Is(Token::Weekday))
            return false;
        ++m_at;
        if (!Is(Token::Separator))
            return true;
        const unsigned separator = m_tokens[m_at++].value;
        if (separator == ':' || (separator == '.' && !m_pointIsOfDates))
            return false;
        // A comma may stand before anything, what joins only before another part of the date.
        const bool joins = separator != ',';
        return m_at < m_tokens.size() && !(joins && Is(Token::Number) && IsTime());
    }

    std::span<const Token> m_tokens;
    const bool m_pointIsOfDates;
    std::size_t m_at = 0;
};

WORD DaysOf(unsigned year, unsigned month)
{
    static constexpr WORD kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    return month == 2 && leap ? 29 : kDays[month - 1];
}

// A form has a letter a part: the date, if the parts make one in that order.
bool Fits(std::span<const Token> parts, const char *form, SYSTEMTIME &date)
{
    unsigned year = date.wYear, month = 1, day = 1;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const unsigned value = parts[i].value;
        if ((parts[i].kind == Token::Month) != (form[i] == 'N'))
            return false;
        if (form[i] == 'Y')
            year = value < 50 ? 2000 + value : value < 100 ? 1900 + value : value;
        else
            (form[i] == 'D' ? day : month) = value;
    }
    if (year > 9999 || month < 1 || month > 12 || day < 1 || day > DaysOf(year, month))
        return false;
    date.wYear = static_cast<WORD>(year);
    date.wMonth = static_cast<WORD>(month);
    date.wDay = static_cast<WORD>(day);
    return true;
}

// The forms tried one after the other; N is a month's name. Those of a number of parts other than the date's do not
// count.
constexpr const char *kMonthFirst[] = {"MDY", "YMD", "DMY", "YDM", "MD",  "DM",  "MY",  "YM",  "ND",
                                       "DN",  "NY",  "YN",  "NDY", "NYD", "DNY", "YND", "DYN", "YDN"};
constexpr const char *kDayFirst[] = {"DMY", "MDY", "YMD", "YDM", "DM",  "MD",  "MY",  "YM",  "ND",
                                     "DN",  "NY",  "YN",  "NDY", "NYD", "DNY", "YND", "DYN", "YDN"};
constexpr const char *kYearFirst[] = {"YMD", "MDY", "DMY", "YDM", "MD",  "DM",  "MY",  "YM",  "ND",
                                      "DN",  "NY",  "YN",  "NDY", "NYD", "YND", "DNY", "YDN", "DYN"};

// How a locale writes dates in figures: the order of their parts, and whether points separate them.
struct DateHabits {
    std::span<const char *const> forms;
    bool points;
};

DateHabits HabitsOf(const std::string &form)
{
    const bool points = form.find('.') != std::string::npos;
    for (std::size_t at = form.find('%'); at != std::string::npos && at + 1 < form.size();
         at = form.find('%', at + 1)) {
        if (form[at + 1] == '-') // figures without zeros in front
            ++at;
        switch (form[at + 1]) {
        case 'd':
        case 'e':
            return {kDayFirst, points};
        case 'y':
        case 'Y':
        case 'F':
            return {kYearFirst, points};
        case 'm':
        case 'b':
        case 'B':
        case 'D':
            return {kMonthFirst, points};
        default:
            break;
        }
    }
    return {kMonthFirst, points};
}

bool ReadDate(std::span<const Token> parts, const DateHabits &habits, SYSTEMTIME &date)
{
    SYSTEMTIME today;
    GetLocalTime(&today);
    for (const char *form : habits.forms) {
        date = {};
        date.wYear = today.wYear;
        if (std::strlen(form) == parts.size() && Fits(parts, form, date))
            return true;
    }
    return false;
}

HRESULT Read(const OLECHAR *text, const TimeLocale &locale, const DateHabits &habits, DATE *date)
{
    const auto tokens = Split(text, Words(locale));
    if (!tokens)
        return DISP_E_TYPEMISMATCH;
    const auto found = Reader(*tokens, habits.points).Read();
    if (!found || (found->date.empty() && !found->time))
        return DISP_E_TYPEMISMATCH;

    // A time without a date is one of the first day.
    SYSTEMTIME time = {1899, 12, 0, 30, 0, 0, 0, 0};
    if (!found->date.empty() && !ReadDate(found->date, habits, time))
        return DISP_E_TYPEMISMATCH;
    if (found->time) {
        time.wHour = found->time->wHour;
        time.wMinute = found->time->wMinute;
        time.wSecond = found->time->wSecond;
    }
    return SystemTimeToVariantTime(&time, date) ? S_OK : DISP_E_TYPEMISMATCH;
}
} // namespace

HRESULT VarDateFromStr(OLECHAR *strIn, LCID, ULONG dwFlags, DATE *pdateOut)
{
    if (!strIn || !pdateOut || (dwFlags & ~ULONG{LOCALE_NOUSEROVERRIDE}))
        return E_INVALIDARG;
    const TimeLocale locale;
    return Read(strIn, locale, HabitsOf(locale.IsAmerican() ? "%m/%d/%Y" : locale.Item(D_FMT, 0)), pdateOut);
}

HRESULT PlatformReadDateAs(const char *form, const OLECHAR *text, DATE *date)
{
    return Read(text, TimeLocale(), HabitsOf(form), date);
}
