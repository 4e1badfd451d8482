#include "PropertyConvert.h"

#include "ErrorText.h"
#include "Memory.h"
#include "Text.h"

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

GUID GuidForClient(const Guid &value)
{
    GUID guid;
    std::memcpy(&guid, value.data(), value.size());
    return guid;
}

std::int64_t CurrencyFromClient(const CURRENCY &value)
{
    return value.int64;
}

CURRENCY CurrencyForClient(std::int64_t value)
{
    CURRENCY currency;
    currency.int64 = value;
    return currency;
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

template <class Array, class To, class From, class Convert>
void FillList(Array &array, To *Array::*to, const std::vector<From> &from, void *root, Convert convert)
{
    array.cValues = static_cast<ULONG>(from.size());
    array.*to = NewChild<To>(root, from.size());
    for (std::size_t i = 0; i < from.size(); ++i)
        (array.*to)[i] = convert(from[i]);
}

SBinary BinaryForClient(const storage::Bytes &bytes, void *root)
{
    SBinary binary{};
    binary.cb = static_cast<ULONG>(bytes.size());
    binary.lpb = CopyBytes(root, bytes.data(), bytes.size());
    return binary;
}

void FillSingle(SPropValue &target, const Value &value, void *root)
{
    auto &to = target.Value;
    switch (PROP_TYPE(target.ulPropTag)) {
    case PT_I2:
        to.i = std::get<std::int16_t>(value);
        break;
    case PT_LONG:
        to.l = std::get<std::int32_t>(value);
        break;
    case PT_R4:
        to.flt = std::get<float>(value);
        break;
    case PT_DOUBLE:
        to.dbl = std::get<double>(value);
        break;
    case PT_APPTIME:
        to.at = std::get<double>(value);
        break;
    case PT_CURRENCY:
        to.cur = CurrencyForClient(std::get<std::int64_t>(value));
        break;
    case PT_BOOLEAN:
        to.b = std::get<bool>(value) ? TRUE : FALSE;
        break;
    case PT_I8:
        to.li.QuadPart = std::get<std::int64_t>(value);
        break;
    case PT_SYSTIME:
        to.ft = FileTimeFromTime(std::get<std::int64_t>(value));
        break;
    case PT_STRING8:
        to.lpszA = AnsiCopy(root, std::get<std::string>(value));
        break;
    case PT_UNICODE:
        to.lpszW = WideCopy(root, std::get<std::string>(value));
        break;
    case PT_CLSID:
        to.lpguid = NewChild<GUID>(root);
        *to.lpguid = GuidForClient(std::get<Guid>(value));
        break;
    default:
        to.bin = BinaryForClient(std::get<storage::Bytes>(value), root);
    }
}

void FillMultiple(SPropValue &target, const Value &value, void *root)
{
    auto &to = target.Value;
    constexpr auto same = [](auto one) { return one; };
    switch (PROP_TYPE(target.ulPropTag)) {
    case PT_MV_I2:
        return FillList(to.MVi, &SShortArray::lpi, std::get<std::vector<std::int16_t>>(value), root, same);
    case PT_MV_LONG:
        return FillList(to.MVl, &SLongArray::lpl, std::get<std::vector<std::int32_t>>(value), root, same);
    case PT_MV_R4:
        return FillList(to.MVflt, &SRealArray::lpflt, std::get<std::vector<float>>(value), root, same);
    case PT_MV_DOUBLE:
        return FillList(to.MVdbl, &SDoubleArray::lpdbl, std::get<std::vector<double>>(value), root, same);
    case PT_MV_APPTIME:
        return FillList(to.MVat, &SAppTimeArray::lpat, std::get<std::vector<double>>(value), root, same);
    case PT_MV_CURRENCY:
        return FillList(to.MVcur, &SCurrencyArray::lpcur, std::get<std::vector<std::int64_t>>(value), root,
                        CurrencyForClient);
    case PT_MV_I8:
        return FillList(to.MVli, &SLargeIntegerArray::lpli, std::get<std::vector<std::int64_t>>(value), root,
                        [](std::int64_t one) {
                            LARGE_INTEGER integer;
                            integer.QuadPart = one;
                            return integer;
                        });
    case PT_MV_SYSTIME:
        return FillList(to.MVft, &SDateTimeArray::lpft, std::get<std::vector<std::int64_t>>(value), root,
                        FileTimeFromTime);
    case PT_MV_CLSID:
        return FillList(to.MVguid, &SGuidArray::lpguid, std::get<std::vector<Guid>>(value), root, GuidForClient);
    case PT_MV_BINARY:
        return FillList(to.MVbin, &SBinaryArray::lpbin, std::get<std::vector<storage::Bytes>>(value), root,
                        [root](const storage::Bytes &one) { return BinaryForClient(one, root); });
    case PT_MV_STRING8:
        return FillList(to.MVszA, &SLPSTRArray::lppszA, std::get<std::vector<std::string>>(value), root,
                        [root](const std::string &one) { return AnsiCopy(root, one); });
    default:
        return FillList(to.MVszW, &SWStringArray::lppszW, std::get<std::vector<std::string>>(value), root,
                        [root](const std::string &one) { return WideCopy(root, one); });
    }
}

} // namespace

bool IsValueType(ULONG type)
{
    switch (type & ~ULONG{MV_FLAG}) {
    case PT_I2:
    case PT_LONG:
    case PT_R4:
    case PT_DOUBLE:
    case PT_CURRENCY:
    case PT_APPTIME:
    case PT_I8:
    case PT_STRING8:
    case PT_UNICODE:
    case PT_SYSTIME:
    case PT_CLSID:
    case PT_BINARY:
        return true;
    case PT_BOOLEAN:
        return (type & MV_FLAG) == 0;
    default:
        return false;
    }
}

bool IsTextTag(ULONG tag)
{
    const ULONG type = PROP_TYPE(tag) & ~ULONG{MVI_FLAG};
    return type == PT_STRING8 || type == PT_UNICODE;
}

storage::Tag StorageTag(ULONG tag)
{
    tag &= ~ULONG{MV_INSTANCE};
    return IsTextTag(tag) ? CHANGE_PROP_TYPE(tag, (PROP_TYPE(tag) & MV_FLAG) | PT_UNICODE) : tag;
}

ULONG ClientTag(storage::Tag tag, bool wide)
{
    const auto text = wide ? PT_UNICODE : PT_STRING8;
    return IsTextTag(tag) ? CHANGE_PROP_TYPE(tag, (PROP_TYPE(tag) & MV_FLAG) | text) : tag;
}

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
            bag.set(StorageTag(props[i].ulPropTag), ValueFromProp(props[i]));
    return bag;
}

bool FillProp(SPropValue &target, ULONG tag, const storage::Value &value, void *root)
{
    target = SPropValue{};
    target.ulPropTag = tag;
    if (std::holds_alternative<storage::StoredStream>(value) || std::holds_alternative<storage::SpoolPtr>(value)) {
        FillError(target, tag, MAPI_E_NOT_ENOUGH_MEMORY);
        return false;
    }
    if (!IsValueType(PROP_TYPE(tag)) || storage::isAbsent(value) || !storage::fits(StorageTag(tag), value)) {
        FillError(target, tag, MAPI_E_NOT_FOUND);
        return false;
    }
    if (tag & MV_FLAG)
        FillMultiple(target, value, root);
    else
        FillSingle(target, value, root);
    return true;
}

void FillError(SPropValue &target, ULONG tag, SCODE code)
{
    target = SPropValue{};
    target.ulPropTag = CHANGE_PROP_TYPE(tag, PT_ERROR);
    target.Value.err = code;
}

HRESULT GiveProps(const storage::PropertyBag &bag, const SPropTagArray *tags, ULONG flags, ULONG *count,
                  SPropValue **values)
{
    Require(count != nullptr && values != nullptr, "where the properties go");
    *count = 0;
    *values = nullptr;
    RequireFlags(flags, MAPI_UNICODE);
    Require(!tags || tags->cValues > 0, "a list of no properties");
    const bool wide = (flags & MAPI_UNICODE) != 0;
    const std::size_t size = tags ? tags->cValues : bag.size();
    auto block = NewRoot<SPropValue>(size);
    bool all = true;
    if (tags) {
        for (std::size_t i = 0; i < size; ++i) {
            ULONG tag = tags->aulPropTag[i];
            const storage::Property *property = bag.findId(static_cast<std::uint16_t>(PROP_ID(tag)));
            if (property && PROP_TYPE(tag) == PT_UNSPECIFIED)
                tag = ClientTag(property->tag, wide);
            all &= FillProp(block[i], tag, property ? property->value : storage::Value{}, block.get());
        }
    } else {
        std::size_t i = 0;
        for (const storage::Property &property : bag)
            all &= FillProp(block[i++], ClientTag(property.tag, wide), property.value, block.get());
    }
    *count = static_cast<ULONG>(size);
    *values = block.release();
    return all ? S_OK : MAPI_W_ERRORS_RETURNED;
}

HRESULT GivePropList(const storage::PropertyBag &bag, ULONG flags, SPropTagArray **tags)
{
    Require(tags != nullptr, "where the tags go");
    *tags = nullptr;
    RequireFlags(flags, MAPI_UNICODE);
    Block<SPropTagArray> block(static_cast<SPropTagArray *>(AllocateRootBytes(CbNewSPropTagArray(bag.size()))));
    for (const storage::Property &property : bag)
        block->aulPropTag[block->cValues++] = ClientTag(property.tag, (flags & MAPI_UNICODE) != 0);
    *tags = block.release();
    return S_OK;
}

std::int64_t TimeFromFileTime(const FILETIME &time)
{
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime);
}

FILETIME FileTimeFromTime(std::int64_t time)
{
    const auto bits = static_cast<std::uint64_t>(time);
    return {static_cast<DWORD>(bits), static_cast<DWORD>(bits >> 32)};
}

} // namespace localmapi
