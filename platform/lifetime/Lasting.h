// Objects that outlive everything else of their library. Any thread.
#pragma once
#include <memory>

namespace lifetime
{

// `end` is called with `object` when a host has unloaded the library, after the library's other objects were destroyed,
// the last one first. Not when the process ends, where other threads were stopped wherever they were, and never on
// Linux, where the libraries are linked to stay.
void AtUnload(void (*end)(void *object), void *object);

// The one T of its kind, made when it is first asked for: for what other threads, or the host, may still use while the
// process ends and destroys its objects.
template <class T, class Kind = T> T &Lasting()
{
    static T *const object = [] {
        auto made = std::make_unique<T>();
        AtUnload([](void *ended) { delete static_cast<T *>(ended); }, made.get());
        return made.release();
    }();
    return *object;
}

} // namespace lifetime
