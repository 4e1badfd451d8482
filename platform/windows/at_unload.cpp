#include "exclusive.h"
#include "platform/lifetime/Lasting.h"
#include "runtime.h"
#include <utility>

namespace
{

struct Ending {
    void (*end)(void *);
    void *object;
    Ending *before;
};
SRWLOCK s_lock = SRWLOCK_INIT;
Ending *s_last; // guarded by it

} // namespace

void lifetime::AtUnload(void (*end)(void *), void *object)
{
    auto *const ending = new Ending{end, object, nullptr};
    const windows::Exclusive hold(s_lock);
    ending->before = std::exchange(s_last, ending);
}

void windows::RunAtUnload()
{
    while (s_last) {
        const std::unique_ptr<Ending> ending(std::exchange(s_last, s_last->before));
        ending->end(ending->object);
    }
}
