// Calls into optional modules whose calling convention nobody wrote down. On x86 a callee may or may not take its
// arguments off the stack; the call restores the stack pointer itself, so both kinds work.
#pragma once
#include <cstddef>
#include <type_traits>
#include <windows.h>

using AnyFunction = void (*)();

// At most kMostAnyArguments arguments, each the size of a pointer; the result is what the callee left where integers
// and pointers are returned. Exceptions must not cross it.
constexpr std::size_t kMostAnyArguments = 4;
extern "C" ULONG_PTR CallAnyConvention(AnyFunction function, const ULONG_PTR *arguments, std::size_t count);

// A 32-bit result of a function that takes pointers and integers. The function is as GetProcAddress gave it.
template <class Function, class... Arguments> DWORD CallEitherConvention(Function function, Arguments... arguments)
{
    static_assert(sizeof...(Arguments) >= 1 && sizeof...(Arguments) <= kMostAnyArguments);
    const auto word = [](auto value) {
        if constexpr (std::is_pointer_v<decltype(value)>)
            return reinterpret_cast<ULONG_PTR>(value);
        else if constexpr (std::is_null_pointer_v<decltype(value)>)
            return ULONG_PTR{0};
        else
            return static_cast<ULONG_PTR>(value);
    };
    const ULONG_PTR words[] = {word(arguments)...};
    return static_cast<DWORD>(CallAnyConvention(reinterpret_cast<AnyFunction>(function), words, sizeof...(Arguments)));
}
