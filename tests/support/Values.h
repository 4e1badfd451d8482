// Property values and rows as tests write them, and their copies in MAPI's own form.
#pragma once
#include "mapi/ExchangeMapi.h"
#include <mapiutil.h>
#include <mapix.h>
#include <string>
#include <vector>

namespace mapi_double
{

using WideText = std::basic_string<WCHAR>;

struct Value {
    ULONG tag = 0;
    LONGLONG number = 0; // PT_LONG, PT_BOOLEAN, PT_SYSTIME, PT_ERROR and the like
    std::string bytes;   // PT_STRING8, PT_BINARY, PT_CLSID
    WideText wide;       // PT_UNICODE
    bool null = false;   // a text or binary value whose pointer is null
};
using Row = std::vector<Value>;

Value Text(ULONG tag, std::string text);
Value Wide(ULONG tag, WideText text);
Value Long(ULONG tag, LONGLONG number);
Value Bool(ULONG tag, bool value);
Value Time(ULONG tag, ULONGLONG fileTime);
Value Binary(ULONG tag, std::string bytes);
// What a table or GetProps gives in the place of a value that it cannot give.
Value Missing(ULONG tag, SCODE reason = MAPI_E_NOT_FOUND);
// A text or binary value with a null pointer.
Value Null(ULONG tag);

// Entry IDs of the double: four flag bytes of zero, then a readable name.
std::string EntryIdOf(const std::string &name);
std::string Bytes(const void *data, ULONG count);

const Value *Find(const Row &row, ULONG tag);
void Set(Row &row, Value value);

// Writes `value` to `out`; what it points to is allocated with the block `root`.
void Give(SPropValue &out, const Value &value, void *root);
// A value as MAPI was given it.
Value Taken(const SPropValue &value);
// The values asked for, in the order asked for, each missing one as PT_ERROR; all values for no tags.
Row Project(const Row &row, const SPropTagArray *tags);
bool HasErrors(const Row &row);

} // namespace mapi_double
