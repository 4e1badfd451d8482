// Property values as the model has them, their order, and the way to MAPI's values and back. Nothing here asks
// localmapi: the meaning of values is written down a second time.
#pragma once
#include "Random.h"
#include <deque>
#include <map>
#include <mapix.h>
#include <string>
#include <variant>
#include <vector>

namespace mapitest
{

using Bytes = std::vector<BYTE>;
// PT_LONG, PT_BOOLEAN, PT_SYSTIME, PT_UNICODE (as UTF-8), PT_BINARY, PT_MV_LONG.
using Value = std::variant<std::int32_t, bool, std::int64_t, std::string, Bytes, std::vector<std::int32_t>>;
// By whole tag; text by its wide tag.
using Properties = std::map<ULONG, Value>;

// Properties of no meaning to MAPI.
inline constexpr ULONG kNumber = PROP_TAG(PT_LONG, 0x6801);
inline constexpr ULONG kText = PROP_TAG(PT_UNICODE, 0x6802);
inline constexpr ULONG kBytes = PROP_TAG(PT_BINARY, 0x6803);
inline constexpr ULONG kFlag = PROP_TAG(PT_BOOLEAN, 0x6804);
inline constexpr ULONG kOtherNumber = PROP_TAG(PT_LONG, 0x6805);
inline constexpr ULONG kNumbers = PROP_TAG(PT_MV_LONG, 0x6806);
// Longer values come from GetProps as MAPI_E_NOT_ENOUGH_MEMORY.
inline constexpr std::size_t kLongest = 32 * 1024;

// What a client sets on messages here.
const std::vector<ULONG> &SettableTags();
// What tables are filtered and sorted by.
const std::vector<ULONG> &ComparableTags();
Value RandomValue(Random &random, ULONG tag);

const Value *Find(const Properties &properties, ULONG tag);
template <class T> const T *FindAs(const Properties &properties, ULONG tag)
{
    const Value *value = Find(properties, tag);
    return value ? std::get_if<T>(value) : nullptr;
}

// The order of values of one type; what is absent (null) comes first.
int Compare(const Value *left, const Value *right);
std::string Folded(const std::string &text, bool ignoreCase, bool ignoreNonSpace);

std::string NameOf(ULONG tag);
std::string TextOf(const Value &value);
std::string TextOf(const Bytes &bytes);
std::string NameOf(HRESULT code);

std::u16string Utf16(const std::string &text);
std::string Utf8(const std::u16string &text);
Value ValueOf(const SPropValue &property);
bool IsLong(const Value &value);

// Values in MAPI's form; they live as long as the list.
class PropList
{
  public:
    PropList() = default;
    explicit PropList(const Properties &properties)
    {
        for (const auto &[tag, value] : properties)
            Add(tag, value);
    }
    PropList(const PropList &) = delete;
    PropList &operator=(const PropList &) = delete;
    // With `narrow`, text as PT_STRING8.
    void Add(ULONG tag, const Value &value, bool narrow = false);
    SPropValue *data() { return m_values.data(); }
    ULONG size() const { return static_cast<ULONG>(m_values.size()); }

  private:
    std::vector<SPropValue> m_values;
    std::deque<std::u16string> m_wide;
    std::deque<std::string> m_narrow;
    std::deque<Bytes> m_bytes;
    std::deque<std::vector<LONG>> m_lists;
};

} // namespace mapitest
