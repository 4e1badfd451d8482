#include "localmapi/provider/stream/FileStream.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/stream/FileBytes.h"
#include "localmapi/provider/stream/Stream.h"

namespace localmapi
{

HRESULT OpenFileStream(ULONG flags, const TCHAR *name, const TCHAR *prefix, IStream **stream) noexcept
{
    // How others may open the file meanwhile is left to them.
    constexpr ULONG kShareModes = 0x70;
    return Guarded([&]() -> HRESULT {
        if (stream)
            *stream = nullptr;
        Require(stream != nullptr && name != nullptr && *name != 0, "OpenStreamOnFile");
        if (flags & ~kShareModes || prefix)
            NoSupport("files that are written");
        StreamSettings settings;
        settings.content = OpenFileBytes(name);
        *stream = MakeStream(std::move(settings)).release();
        return S_OK;
    });
}

} // namespace localmapi
