#include "Failure.h"
#include "OrlMapi32.h"
#include "common/Text.h"
#include <cstdint>
#include <cstdio>

std::string NameOf(HRESULT hr)
{
    WCHAR name[64] = {};
    OrlGetErrorTextW(0, hr, name, 64);
    return tool::ToUtf8(name);
}

std::string Describe(HRESULT hr)
{
    char number[16];
    std::snprintf(number, sizeof number, "0x%08x", static_cast<unsigned>(hr));
    const std::string name = NameOf(hr);
    return name.empty() ? number : number + (" " + name);
}

Failure::Failure(const std::string &tried, HRESULT hr) : std::runtime_error(tried + ": " + Describe(hr)), m_hr(hr)
{
}

void Check(HRESULT hr, const std::string &tried)
{
    if (FAILED(hr))
        throw Failure(tried, hr);
}

void CheckDone(HRESULT hr, const std::string &tried)
{
    if (hr != S_OK)
        throw Failure(tried, hr);
}
