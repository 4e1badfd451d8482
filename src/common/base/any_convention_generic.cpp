#include "common/base/AnyConvention.h"

// Where every function has the one convention, the call is an ordinary one.
extern "C" ULONG_PTR CallAnyConvention(AnyFunction function, const ULONG_PTR *arguments, std::size_t count)
{
    using Word = ULONG_PTR;
    switch (count) {
    case 1:
        return reinterpret_cast<Word (*)(Word)>(function)(arguments[0]);
    case 2:
        return reinterpret_cast<Word (*)(Word, Word)>(function)(arguments[0], arguments[1]);
    case 3:
        return reinterpret_cast<Word (*)(Word, Word, Word)>(function)(arguments[0], arguments[1], arguments[2]);
    case 4:
        return reinterpret_cast<Word (*)(Word, Word, Word, Word)>(function)(arguments[0], arguments[1], arguments[2],
                                                                            arguments[3]);
    default:
        return 0;
    }
}
