// Objects that outlive everything else of their library. Any thread.
#pragma once
#include <memory>
#include <type_traits>

namespace lifetime
{

// `end` is called with `object` when a host has unloaded the library, after the library's other objects were destroyed,
// the last one first. Not when the process ends, where other threads were stopped wherever they were, and never on
// Linux, where the libraries are linked to stay.
void AtUnload(void (*end)(void *object), void *object);

// What `make` makes, once for each place that calls this: for what other threads, or the host, may still use while the
// process ends and destroys its objects. A host may return from its main function while another thread is inside a
// call.
template <class Make> auto &LastingFrom(Make make)
{
    static_assert(std::is_class_v<Make>, "each lambda is a type of its own, functions are not");
    using T = decltype(make());
    static T *const object = [&make] {
        std::unique_ptr<T> made(new T(make()));
        AtUnload([](void *ended) { delete static_cast<T *>(ended); }, made.get());
        return made.release();
    }();
    return *object;
}

// The one T of its kind, made when it is first asked for.
template <class T, class Kind = T> T &Lasting()
{
    return LastingFrom([] { return T(); });
}

} // namespace lifetime
