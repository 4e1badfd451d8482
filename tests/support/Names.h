// The names of the property tags, interfaces and results that conversations with MAPI are written in.
#pragma once
#include <windows.h>

namespace mapi_double
{

// Null for one without a name.
const char *NameOfTag(ULONG tag);
const char *NameOfInterface(const IID &iid);
const char *NameOfResult(HRESULT hr);

} // namespace mapi_double
