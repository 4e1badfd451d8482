#include "localmapi/provider/session/Process.h"
#include "ExchangeMapi.h"
#include "localmapi/provider/notify/Notifier.h"

#include <atomic>

namespace localmapi
{

namespace
{
std::atomic<LONG> g_initialized{0};
}

HRESULT Initialize(const MAPIINIT_0 *settings) noexcept
{
    // Nothing here needs COM's runtime, so MAPI_NO_COINIT changes nothing, and notifications always come on a thread
    // of their own, so MAPI_MULTITHREAD_NOTIFICATIONS doesn't either.
    if (settings) {
        if (settings->ulVersion != MAPI_INIT_VERSION)
            return MAPI_E_VERSION;
        if (settings->ulFlags & ~(MAPI_MULTITHREAD_NOTIFICATIONS | MAPI_NO_COINIT | MAPI_NT_SERVICE))
            return MAPI_E_UNKNOWN_FLAGS;
    }
    ++g_initialized;
    return S_OK;
}

void Uninitialize() noexcept
{
    // One call too many changes nothing.
    LONG count = g_initialized;
    while (count > 0 && !g_initialized.compare_exchange_weak(count, count - 1)) {
    }
    if (count == 1) {
        Notifier::Get().Stop();
        // Whoever initialised meanwhile may have advised a sink that was stopped along.
        if (IsInitialized())
            Notifier::Get().Resume();
    }
}

bool IsInitialized() noexcept
{
    return g_initialized > 0;
}

} // namespace localmapi
