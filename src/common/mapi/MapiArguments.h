// Arguments and values as MAPI wants and gives them: pointers to non-const for what it only reads, tag arrays of fixed
// contents, and values that may be errors.
#pragma once
#include "common/text/tstring.h"
#include <mapix.h>

template <class T> T *MapiIn(const T *argument)
{
    return const_cast<T *>(argument);
}
// Text parameters are narrow: no call of this library passes MAPI_UNICODE.
inline char *MapiIn(const tstring &text)
{
    return const_cast<char *>(text.c_str());
}
inline ENTRYID *MapiEntryID(const void *bytes)
{
    return static_cast<ENTRYID *>(const_cast<void *>(bytes));
}

// A tag array of fixed contents.
template <ULONG... tags> LPSPropTagArray PropTags()
{
    static const struct {
        ULONG cValues;
        ULONG aulPropTag[sizeof...(tags)];
    } array = {sizeof...(tags), {tags...}};
    return reinterpret_cast<LPSPropTagArray>(const_cast<ULONG *>(&array.cValues));
}

// A value's narrow text; null where the value is anything else, above all an error that stands in for it.
inline const char *TextOf(const SPropValue &value)
{
    return PROP_TYPE(value.ulPropTag) == PT_STRING8 ? value.Value.lpszA : nullptr;
}
// A value's bytes; null where the value is anything else.
inline const SBinary *BinaryOf(const SPropValue &value)
{
    return PROP_TYPE(value.ulPropTag) == PT_BINARY ? &value.Value.bin : nullptr;
}
// The bytes in a column of the first row; null where there is no row or something else stands there.
inline const SBinary *FirstBinary(const SRowSet *pRows, ULONG ulColumn)
{
    if (!pRows || pRows->cRows == 0 || pRows->aRow[0].cValues <= ulColumn)
        return nullptr;
    return BinaryOf(pRows->aRow[0].lpProps[ulColumn]);
}
