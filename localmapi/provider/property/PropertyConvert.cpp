#include "localmapi/provider/property/PropertyConvert.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/base/Memory.h"
#include "localmapi/provider/base/Text.h"

#include <cstring>
#include <string>

namespace localmapi
{

namespace
{

using storage::Guid;
using storage::Value;

GUID GuidForClient(const Guid &value)
{
    GUID guid;
    std::memcpy(&guid, value.data(), value.size());
    return guid;
}

CURRENCY CurrencyForClient(std::int64_t value)
{
    CURRENCY currency;
    currency.int64 = value;
    return currency;
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
