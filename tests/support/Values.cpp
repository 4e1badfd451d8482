// Making values, finding them in a row, and copying them into MAPI's memory and out of it.
#include "support/Values.h"
#include "support/Memory.h"
#include <cstring>

namespace mapi_double
{

Value Text(ULONG tag, std::string text)
{
    Value value;
    value.tag = tag;
    value.bytes = std::move(text);
    return value;
}

Value Wide(ULONG tag, WideText text)
{
    Value value;
    value.tag = tag;
    value.wide = std::move(text);
    return value;
}

Value Long(ULONG tag, LONGLONG number)
{
    Value value;
    value.tag = tag;
    value.number = number;
    return value;
}

Value Bool(ULONG tag, bool value)
{
    return Long(tag, value ? 1 : 0);
}

Value Time(ULONG tag, ULONGLONG fileTime)
{
    return Long(tag, static_cast<LONGLONG>(fileTime));
}

Value Binary(ULONG tag, std::string bytes)
{
    return Text(tag, std::move(bytes));
}

Value Missing(ULONG tag, SCODE reason)
{
    return Long(CHANGE_PROP_TYPE(tag, PT_ERROR), reason);
}

Value Null(ULONG tag)
{
    Value value;
    value.tag = tag;
    value.null = true;
    return value;
}

std::string EntryIdOf(const std::string &name)
{
    return std::string(4, '\0') + name;
}

std::string Bytes(const void *data, ULONG count)
{
    return data ? std::string(static_cast<const char *>(data), count) : std::string();
}

const Value *Find(const Row &row, ULONG tag)
{
    for (const Value &value : row)
        if (value.tag == tag)
            return &value;
    return nullptr;
}

void Set(Row &row, Value value)
{
    for (Value &old : row)
        if (PROP_ID(old.tag) == PROP_ID(value.tag)) {
            old = std::move(value);
            return;
        }
    row.push_back(std::move(value));
}

namespace
{

template <class Character> Character *Copied(const std::basic_string<Character> &text, void *root)
{
    const size_t bytes = (text.size() + 1) * sizeof(Character);
    void *block = NewChild(root, static_cast<ULONG>(bytes));
    std::memcpy(block, text.c_str(), bytes);
    return static_cast<Character *>(block);
}

} // namespace

void Give(SPropValue &out, const Value &value, void *root)
{
    std::memset(&out, 0, sizeof(out));
    out.ulPropTag = value.tag;
    switch (PROP_TYPE(value.tag)) {
    case PT_STRING8:
        out.Value.lpszA = value.null ? nullptr : Copied(value.bytes, root);
        break;
    case PT_UNICODE:
        out.Value.lpszW = value.null ? nullptr : Copied(value.wide, root);
        break;
    case PT_BINARY:
        out.Value.bin.cb = static_cast<ULONG>(value.bytes.size());
        out.Value.bin.lpb = value.null ? nullptr : reinterpret_cast<BYTE *>(Copied(value.bytes, root));
        break;
    case PT_BOOLEAN:
        out.Value.b = static_cast<unsigned short>(value.number);
        break;
    case PT_SYSTIME:
        out.Value.ft.dwLowDateTime = static_cast<DWORD>(value.number);
        out.Value.ft.dwHighDateTime = static_cast<DWORD>(value.number >> 32);
        break;
    case PT_I8:
        out.Value.li.QuadPart = value.number;
        break;
    case PT_I2:
        out.Value.i = static_cast<short>(value.number);
        break;
    default:
        out.Value.l = static_cast<LONG>(value.number);
        break;
    }
}

Value Taken(const SPropValue &value)
{
    switch (PROP_TYPE(value.ulPropTag)) {
    case PT_STRING8:
        return value.Value.lpszA ? Text(value.ulPropTag, value.Value.lpszA) : Null(value.ulPropTag);
    case PT_UNICODE:
        return value.Value.lpszW ? Wide(value.ulPropTag, value.Value.lpszW) : Null(value.ulPropTag);
    case PT_BINARY:
        return Binary(value.ulPropTag, Bytes(value.Value.bin.lpb, value.Value.bin.cb));
    case PT_BOOLEAN:
        return Bool(value.ulPropTag, value.Value.b != 0);
    case PT_SYSTIME:
        return Time(value.ulPropTag,
                    (static_cast<ULONGLONG>(value.Value.ft.dwHighDateTime) << 32) | value.Value.ft.dwLowDateTime);
    default:
        return Long(value.ulPropTag, value.Value.l);
    }
}

Row Project(const Row &row, const SPropTagArray *tags)
{
    if (!tags)
        return row;
    Row result;
    for (ULONG i = 0; i < tags->cValues; ++i) {
        const Value *value = Find(row, tags->aulPropTag[i]);
        if (!value) // one that was programmed as an error value
            value = Find(row, CHANGE_PROP_TYPE(tags->aulPropTag[i], PT_ERROR));
        result.push_back(value ? *value : Missing(tags->aulPropTag[i]));
    }
    return result;
}

bool HasErrors(const Row &row)
{
    for (const Value &value : row)
        if (PROP_TYPE(value.tag) == PT_ERROR)
            return true;
    return false;
}

} // namespace mapi_double
