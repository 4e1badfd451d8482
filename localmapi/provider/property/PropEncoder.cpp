// The encoder: one branch for each type, once for single values and once for lists.
#include "localmapi/provider/property/PropEncoder.h"
#include "localmapi/provider/property/PropertyConvert.h"

#include <cstring>
#include <type_traits>

namespace localmapi
{

namespace
{

GUID GuidForClient(const storage::Guid &value)
{
    GUID guid;
    std::memcpy(&guid, value.data(), sizeof(guid));
    return guid;
}

LARGE_INTEGER IntegerForClient(std::int64_t value)
{
    LARGE_INTEGER integer;
    integer.QuadPart = value;
    return integer;
}

SBinary BinaryForClient(const storage::Bytes &bytes, PropMemory &memory)
{
    SBinary binary{};
    binary.cb = static_cast<ULONG>(bytes.size());
    binary.lpb = static_cast<BYTE *>(memory.Take(bytes.size()));
    if (binary.lpb && !bytes.empty())
        std::memcpy(binary.lpb, bytes.data(), bytes.size());
    return binary;
}

void EncodeSingle(SPropValue &target, const storage::Value &value, PropMemory &memory)
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
        to.lpszA = memory.Narrow(std::get<std::string>(value));
        return;
    case PT_UNICODE:
        to.lpszW = memory.Wide(std::get<std::string>(value));
        return;
    case PT_CLSID:
        to.lpguid = static_cast<GUID *>(memory.Take(sizeof(GUID)));
        if (to.lpguid)
            *to.lpguid = GuidForClient(std::get<storage::Guid>(value));
        return;
    default:
        to.bin = BinaryForClient(std::get<storage::Bytes>(value), memory);
    }
}

void EncodeList(SPropValue &target, const storage::Value &value, PropMemory &memory)
{
    auto &to = target.Value;
    // Every list begins with its count; `make` turns an element into what the client gets.
    const auto list = [&](auto &array, auto pointer, const auto &from, auto make) {
        using Element = std::remove_pointer_t<std::remove_reference_t<decltype(array.*pointer)>>;
        array.cValues = static_cast<ULONG>(from.size());
        auto *elements = static_cast<Element *>(memory.Take(from.size() * sizeof(Element)));
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
        return list(to.MVli, &SLargeIntegerArray::lpli, std::get<std::vector<std::int64_t>>(value), IntegerForClient);
    case PT_MV_SYSTIME:
        return list(to.MVft, &SDateTimeArray::lpft, std::get<std::vector<std::int64_t>>(value), FileTimeFromTime);
    case PT_MV_CLSID:
        return list(to.MVguid, &SGuidArray::lpguid, std::get<std::vector<storage::Guid>>(value), GuidForClient);
    case PT_MV_STRING8:
        return list(to.MVszA, &SLPSTRArray::lppszA, std::get<std::vector<std::string>>(value),
                    [&](const std::string &one) { return memory.Narrow(one); });
    case PT_MV_UNICODE:
        return list(to.MVszW, &SWStringArray::lppszW, std::get<std::vector<std::string>>(value),
                    [&](const std::string &one) { return memory.Wide(one); });
    default:
        return list(to.MVbin, &SBinaryArray::lpbin, std::get<std::vector<storage::Bytes>>(value),
                    [&](const storage::Bytes &one) { return BinaryForClient(one, memory); });
    }
}

} // namespace

bool EncodeProp(SPropValue &target, ULONG tag, const storage::Value *value, PropMemory &memory)
{
    const bool streamed = value && (std::holds_alternative<storage::StoredStream>(*value) ||
                                    std::holds_alternative<storage::SpoolPtr>(*value));
    if (streamed) {
        FillError(target, tag, MAPI_E_NOT_ENOUGH_MEMORY);
        return false;
    }
    if (!value || storage::IsAbsent(*value) || !IsValueType(PROP_TYPE(tag)) ||
        !storage::Fits(StorageTag(tag), *value)) {
        FillError(target, tag, MAPI_E_NOT_FOUND);
        return false;
    }
    target = SPropValue{};
    target.ulPropTag = tag;
    if (tag & MV_FLAG)
        EncodeList(target, *value, memory);
    else
        EncodeSingle(target, *value, memory);
    return true;
}

} // namespace localmapi
