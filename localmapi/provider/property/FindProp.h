// One property of an object and one of an array, as HrGetOneProp and PpropFindProp give them.
#pragma once
#include <mapiutil.h>
#include <mapix.h>

namespace localmapi
{

HRESULT GetOneProp(IMAPIProp *object, ULONG tag, SPropValue **value) noexcept;
SPropValue *FindProp(SPropValue *values, ULONG count, ULONG tag) noexcept;

} // namespace localmapi
