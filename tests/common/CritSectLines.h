// Parts of the lock's messages.
#pragma once
#include "common/lock/CritSect.h"
#include <cstdint>
#include <cstdio>
#include <string>

constexpr DWORD kClass2 = 0x0002FFFF;
constexpr DWORD kClass3 = 0x0003FFFF;

inline std::string Hex(DWORD value)
{
    char text[16];
    std::snprintf(text, sizeof(text), "%x", static_cast<unsigned>(value));
    return text;
}

inline std::string Address(const void *pointer)
{
    char text[32];
    std::snprintf(text, sizeof(text), sizeof(void *) == 4 ? "%08llX" : "%016llX",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(pointer)));
    return text;
}

// "(name, address, TID=..., owner=...": what every message begins its parentheses with.
inline std::string Who(const char *szName, const CriticalSection &lock, DWORD owner)
{
    return std::string("(") + szName + ", " + Address(&lock) + ", TID=" + Hex(GetCurrentThreadId()) +
           ", owner=" + Hex(owner);
}
