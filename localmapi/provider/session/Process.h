// What MAPIInitialize counts. For any thread.
#pragma once
#include <mapix.h>

namespace localmapi
{

HRESULT Initialize(const MAPIINIT_0 *settings) noexcept;
void Uninitialize() noexcept;
bool IsInitialized() noexcept;

} // namespace localmapi
