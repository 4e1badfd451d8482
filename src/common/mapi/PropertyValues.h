// Property values as they are handed to SetProps. They point to the texts and bytes that they are made from.
#pragma once
#include "common/mapi/MapiArguments.h"

inline SPropValue PropertyOf(ULONG ulPropTag)
{
    SPropValue value = {};
    value.ulPropTag = ulPropTag;
    return value;
}
inline SPropValue LongProperty(ULONG ulPropTag, LONG lValue)
{
    SPropValue value = PropertyOf(ulPropTag);
    value.Value.l = lValue;
    return value;
}
inline SPropValue TrueProperty(ULONG ulPropTag)
{
    SPropValue value = PropertyOf(ulPropTag);
    value.Value.b = TRUE;
    return value;
}
inline SPropValue TextProperty(ULONG ulPropTag, const char *szText)
{
    SPropValue value = PropertyOf(ulPropTag);
    value.Value.lpszA = MapiIn(szText);
    return value;
}
inline SPropValue TextProperty(ULONG ulPropTag, const tstring &text)
{
    return TextProperty(ulPropTag, text.c_str());
}
inline SPropValue TimeProperty(ULONG ulPropTag, const FILETIME &time)
{
    SPropValue value = PropertyOf(ulPropTag);
    value.Value.ft = time;
    return value;
}
inline SPropValue BinaryProperty(ULONG ulPropTag, const SBinary &bytes)
{
    SPropValue value = PropertyOf(ulPropTag);
    value.Value.bin = bytes;
    return value;
}
