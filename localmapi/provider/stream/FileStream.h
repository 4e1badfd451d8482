// A file of the host's as a stream, for OpenStreamOnFile.
#pragma once
#include <mapiutil.h>
#include <mapix.h>

namespace localmapi
{

// The stream can be read only: `prefix` and what writes, makes or deletes files are MAPI_E_NO_SUPPORT.
HRESULT OpenFileStream(ULONG flags, const TCHAR *name, const TCHAR *prefix, IStream **stream) noexcept;

} // namespace localmapi
