#include "localmapi/provider/property/RowPacker.h"
#include "localmapi/provider/base/Text.h"

#include <algorithm>
#include <cstring>

namespace localmapi
{

namespace
{

constexpr std::size_t kAlignment = 8;

bool IsAscii(const std::string &text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

} // namespace

// Gives out the memory behind the array; without a block it only measures.
class RowPacker::Arena
{
  public:
    Arena(char *block, std::size_t used) : m_block(block), m_used(used) {}

    bool measuring() const { return !m_block; }
    std::size_t used() const { return m_used; }
    template <class T> T *Take(std::size_t count)
    {
        m_used = (m_used + kAlignment - 1) / kAlignment * kAlignment;
        const std::size_t at = m_used;
        m_used += count * sizeof(T);
        return m_block ? reinterpret_cast<T *>(m_block + at) : nullptr;
    }

  private:
    char *m_block;
    std::size_t m_used;
};

Block<SPropValue> RowPacker::Pack(std::span<const Cell> cells)
{
    m_converted.clear();
    SPropValue unused;
    Arena measure(nullptr, cells.size() * sizeof(SPropValue));
    for (const Cell &cell : cells)
        PackOne(unused, cell, measure);
    Block<SPropValue> block(static_cast<SPropValue *>(AllocateRootBytes(measure.used())));
    Arena write(reinterpret_cast<char *>(block.get()), cells.size() * sizeof(SPropValue));
    m_next = 0;
    m_anyError = false;
    for (std::size_t i = 0; i < cells.size(); ++i)
        PackOne(block[i], cells[i], write);
    return block;
}

void RowPacker::PackOne(SPropValue &target, const Cell &cell, Arena &arena)
{
    target.ulPropTag = cell.tag;
    target.dwAlignPad = 0;
    if (cell.tag == PR_NULL)
        return;
    const auto error = [&](SCODE code) {
        target.ulPropTag = CHANGE_PROP_TYPE(cell.tag, PT_ERROR);
        target.Value.err = code;
        m_anyError = true;
    };
    if (!cell.value || storage::isAbsent(*cell.value))
        return error(MAPI_E_NOT_FOUND);
    if (std::holds_alternative<storage::StoredStream>(*cell.value) ||
        std::holds_alternative<storage::SpoolPtr>(*cell.value))
        return error(MAPI_E_NOT_ENOUGH_MEMORY);
    if (!IsValueType(PROP_TYPE(cell.tag)) || !storage::fits(StorageTag(cell.tag), *cell.value))
        return error(MAPI_E_NOT_FOUND);
    if (cell.tag & MV_FLAG)
        PackList(target, *cell.value, arena);
    else
        PackSingle(target, *cell.value, arena);
}

char *RowPacker::Narrow(const std::string &text, Arena &arena)
{
    const std::string *source = &text;
    if (!IsAscii(text)) {
        if (arena.measuring())
            m_converted.push_back(AnsiFromUtf8(text));
        source = arena.measuring() ? &m_converted.back() : &m_converted[m_next++];
    }
    char *to = arena.Take<char>(source->size() + 1);
    if (to)
        std::memcpy(to, source->c_str(), source->size() + 1);
    return to;
}

WCHAR *RowPacker::Wide(const std::string &text, Arena &arena)
{
    if (IsAscii(text)) {
        WCHAR *to = arena.Take<WCHAR>(text.size() + 1);
        if (to)
            *std::copy(text.begin(), text.end(), to) = 0;
        return to;
    }
    if (arena.measuring()) {
        const WideText wide = WideFromUtf8(text);
        m_converted.emplace_back(reinterpret_cast<const char *>(wide.data()), wide.size() * sizeof(WCHAR));
    }
    const std::string &units = arena.measuring() ? m_converted.back() : m_converted[m_next++];
    WCHAR *to = arena.Take<WCHAR>(units.size() / sizeof(WCHAR) + 1);
    if (to) {
        std::memcpy(to, units.data(), units.size());
        to[units.size() / sizeof(WCHAR)] = 0;
    }
    return to;
}

namespace
{

GUID GuidOf(const storage::Guid &value)
{
    GUID guid;
    std::memcpy(&guid, value.data(), sizeof(guid));
    return guid;
}

} // namespace

void RowPacker::PackSingle(SPropValue &target, const storage::Value &value, Arena &arena)
{
    auto &to = target.Value;
    switch (PROP_TYPE(target.ulPropTag)) {
    case PT_I2:
        to.i = std::get<std::int16_t>(value);
        return;
    case PT_LONG:
        to.l = std::get<std::int32_t>(value);
        return;
    case PT_R4:
        to.flt = std::get<float>(value);
        return;
    case PT_DOUBLE:
    case PT_APPTIME:
        to.dbl = std::get<double>(value);
        return;
    case PT_BOOLEAN:
        to.b = std::get<bool>(value) ? TRUE : FALSE;
        return;
    case PT_CURRENCY:
    case PT_I8:
        to.li.QuadPart = std::get<std::int64_t>(value);
        return;
    case PT_SYSTIME:
        to.ft = FileTimeFromTime(std::get<std::int64_t>(value));
        return;
    case PT_STRING8:
        to.lpszA = Narrow(std::get<std::string>(value), arena);
        return;
    case PT_UNICODE:
        to.lpszW = Wide(std::get<std::string>(value), arena);
        return;
    case PT_CLSID:
        to.lpguid = arena.Take<GUID>(1);
        if (to.lpguid)
            *to.lpguid = GuidOf(std::get<storage::Guid>(value));
        return;
    default: {
        const auto &bytes = std::get<storage::Bytes>(value);
        to.bin.cb = static_cast<ULONG>(bytes.size());
        to.bin.lpb = arena.Take<BYTE>(bytes.size());
        if (to.bin.lpb && !bytes.empty())
            std::memcpy(to.bin.lpb, bytes.data(), bytes.size());
    }
    }
}

void RowPacker::PackList(SPropValue &target, const storage::Value &value, Arena &arena)
{
    auto &to = target.Value;
    // Every list begins with its count; `make` turns an element into what the client gets.
    const auto list = [&](auto &array, auto pointer, const auto &from, auto make) {
        using Element = std::remove_pointer_t<std::remove_reference_t<decltype(array.*pointer)>>;
        array.cValues = static_cast<ULONG>(from.size());
        Element *elements = arena.Take<Element>(from.size());
        array.*pointer = elements;
        for (std::size_t i = 0; i < from.size(); ++i) {
            const Element element = make(from[i]);
            if (elements)
                elements[i] = element;
        }
    };
    constexpr auto same = [](auto one) { return one; };
    switch (PROP_TYPE(target.ulPropTag)) {
    case PT_MV_I2:
        return list(to.MVi, &SShortArray::lpi, std::get<std::vector<std::int16_t>>(value), same);
    case PT_MV_LONG:
        return list(to.MVl, &SLongArray::lpl, std::get<std::vector<std::int32_t>>(value), same);
    case PT_MV_R4:
        return list(to.MVflt, &SRealArray::lpflt, std::get<std::vector<float>>(value), same);
    case PT_MV_DOUBLE:
    case PT_MV_APPTIME:
        return list(to.MVdbl, &SDoubleArray::lpdbl, std::get<std::vector<double>>(value), same);
    case PT_MV_CURRENCY:
    case PT_MV_I8:
        return list(to.MVli, &SLargeIntegerArray::lpli, std::get<std::vector<std::int64_t>>(value),
                    [](std::int64_t one) {
                        LARGE_INTEGER integer;
                        integer.QuadPart = one;
                        return integer;
                    });
    case PT_MV_SYSTIME:
        return list(to.MVft, &SDateTimeArray::lpft, std::get<std::vector<std::int64_t>>(value), FileTimeFromTime);
    case PT_MV_CLSID:
        return list(to.MVguid, &SGuidArray::lpguid, std::get<std::vector<storage::Guid>>(value), GuidOf);
    case PT_MV_STRING8:
        return list(to.MVszA, &SLPSTRArray::lppszA, std::get<std::vector<std::string>>(value),
                    [&](const std::string &one) { return Narrow(one, arena); });
    case PT_MV_UNICODE:
        return list(to.MVszW, &SWStringArray::lppszW, std::get<std::vector<std::string>>(value),
                    [&](const std::string &one) { return Wide(one, arena); });
    default:
        return list(to.MVbin, &SBinaryArray::lpbin, std::get<std::vector<storage::Bytes>>(value),
                    [&](const storage::Bytes &one) {
                        SBinary binary{};
                        binary.cb = static_cast<ULONG>(one.size());
                        binary.lpb = arena.Take<BYTE>(one.size());
                        if (binary.lpb && !one.empty())
                            std::memcpy(binary.lpb, one.data(), one.size());
                        return binary;
                    });
    }
}

} // namespace localmapi
