// A client's values as the storage has them.
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/property/PropertyConvert.h"

#include <cstring>
#include <string>

namespace localmapi
{

namespace
{

using storage::Guid;
using storage::Value;

[[noreturn]] void BadValue(ULONG tag)
{
    throw Failure(MAPI_E_INVALID_PARAMETER, "The value of property " + HexText(tag) + " has a null pointer.");
}

Guid GuidFromClient(const GUID &guid)
{
    Guid value;
    static_assert(sizeof(GUID) == sizeof(value));
    std::memcpy(value.data(), &guid, value.size());
    return value;
}

std::int64_t CurrencyFromClient(const CURRENCY &value)
{
    return value.int64;
}

storage::Bytes BytesFromClient(ULONG tag, const SBinary &binary)
{
    if (!binary.lpb && binary.cb)
        BadValue(tag);
    return storage::Bytes(binary.lpb, binary.lpb + binary.cb);
}

// A client's list as the storage's vector, element by element.
template <class Element, class From, class Convert>
std::vector<Element> ListFromClient(ULONG tag, ULONG count, const From *from, Convert convert)
{
    if (!from && count)
        BadValue(tag);
    std::vector<Element> list;
    list.reserve(count);
    for (ULONG i = 0; i < count; ++i)
        list.push_back(convert(from[i]));
    return list;
}

Value SingleFromProp(const SPropValue &prop)
{
    const auto &value = prop.Value;
    switch (PROP_TYPE(prop.ulPropTag)) {
    case PT_NULL:
        return {};
    case PT_I2:
        return static_cast<std::int16_t>(value.i);
    case PT_LONG:
        return static_cast<std::int32_t>(value.l);
    case PT_ERROR:
        return static_cast<std::int32_t>(value.err);
    case PT_R4:
        return value.flt;
    case PT_DOUBLE:
        return value.dbl;
    case PT_APPTIME:
        return value.at;
    case PT_CURRENCY:
        return CurrencyFromClient(value.cur);
    case PT_BOOLEAN:
        return value.b != 0;
    case PT_I8:
        return static_cast<std::int64_t>(value.li.QuadPart);
    case PT_SYSTIME:
        return TimeFromFileTime(value.ft);
    case PT_STRING8:
        if (!value.lpszA)
            BadValue(prop.ulPropTag);
        return Utf8FromAnsi(value.lpszA);
    case PT_UNICODE:
        if (!value.lpszW)
            BadValue(prop.ulPropTag);
        return Utf8FromWide(value.lpszW);
    case PT_CLSID:
        if (!value.lpguid)
            BadValue(prop.ulPropTag);
        return GuidFromClient(*value.lpguid);
    case PT_BINARY:
        return BytesFromClient(prop.ulPropTag, value.bin);
    default:
        throw Failure(MAPI_E_INVALID_TYPE, "The type of property " + HexText(prop.ulPropTag) + " is not valid.");
    }
}

Value ListFromProp(const SPropValue &prop)
{
    const auto &value = prop.Value;
    const ULONG tag = prop.ulPropTag;
    const auto list = [tag]<class Element>(std::in_place_type_t<Element>, const auto &array, const auto *from,
                                           auto convert) {
        return ListFromClient<Element>(tag, array.cValues, from, convert);
    };
    constexpr auto same = [](auto one) { return one; };
    switch (PROP_TYPE(tag)) {
    case PT_MV_I2:
        return list(std::in_place_type<std::int16_t>, value.MVi, value.MVi.lpi, same);
    case PT_MV_LONG:
        return list(std::in_place_type<std::int32_t>, value.MVl, value.MVl.lpl, same);
    case PT_MV_R4:
        return list(std::in_place_type<float>, value.MVflt, value.MVflt.lpflt, same);
    case PT_MV_DOUBLE:
        return list(std::in_place_type<double>, value.MVdbl, value.MVdbl.lpdbl, same);
    case PT_MV_APPTIME:
        return list(std::in_place_type<double>, value.MVat, value.MVat.lpat, same);
    case PT_MV_CURRENCY:
        return list(std::in_place_type<std::int64_t>, value.MVcur, value.MVcur.lpcur, CurrencyFromClient);
    case PT_MV_I8:
        return list(std::in_place_type<std::int64_t>, value.MVli, value.MVli.lpli,
                    [](const LARGE_INTEGER &one) -> std::int64_t { return one.QuadPart; });
    case PT_MV_SYSTIME:
        return list(std::in_place_type<std::int64_t>, value.MVft, value.MVft.lpft, TimeFromFileTime);
    case PT_MV_CLSID:
        return list(std::in_place_type<Guid>, value.MVguid, value.MVguid.lpguid, GuidFromClient);
    case PT_MV_BINARY:
        return list(std::in_place_type<storage::Bytes>, value.MVbin, value.MVbin.lpbin,
                    [tag](const SBinary &one) { return BytesFromClient(tag, one); });
    case PT_MV_STRING8:
        return list(std::in_place_type<std::string>, value.MVszA, value.MVszA.lppszA, [tag](const char *one) {
            if (!one)
                BadValue(tag);
            return Utf8FromAnsi(one);
        });
    case PT_MV_UNICODE:
        return list(std::in_place_type<std::string>, value.MVszW, value.MVszW.lppszW, [tag](const WCHAR *one) {
            if (!one)
                BadValue(tag);
            return Utf8FromWide(one);
        });
    default:
        throw Failure(MAPI_E_INVALID_TYPE, "The type of property " + HexText(tag) + " is not valid.");
    }
}

} // namespace

storage::Value ValueFromProp(const SPropValue &prop)
{
    return prop.ulPropTag & MV_FLAG ? ListFromProp(prop) : SingleFromProp(prop);
}

storage::PropertyBag BagFromProps(ULONG count, const SPropValue *props)
{
    Require(props != nullptr || count == 0, "the property array");
    storage::PropertyBag bag;
    for (ULONG i = 0; i < count; ++i)
        if (PROP_TYPE(props[i].ulPropTag) != PT_NULL && PROP_TYPE(props[i].ulPropTag) != PT_ERROR)
            bag.Set(StorageTag(props[i].ulPropTag), ValueFromProp(props[i]));
    return bag;
}

} // namespace localmapi
