// Types and tags on both sides, and IMAPIProp's reading methods over a bag.
#include "localmapi/provider/property/PropertyConvert.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/base/Memory.h"
#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/property/PropEncoder.h"

#include <string>

namespace localmapi
{

namespace
{

// Children of a block of the client's.
class Children final : public PropMemory
{
  public:
    explicit Children(void *root) : m_root(root) {}
    void *Take(std::size_t size) override { return AllocateChildBytes(m_root, size); }
    char *Narrow(const std::string &text) override { return AnsiCopy(m_root, text); }
    WCHAR *Wide(const std::string &text) override { return WideCopy(m_root, text); }

  private:
    void *m_root;
};

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
    Children children(root);
    return EncodeProp(target, tag, &value, children);
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
            const storage::Property *property = bag.FindId(static_cast<std::uint16_t>(PROP_ID(tag)));
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
