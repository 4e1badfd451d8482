// The owner of one reference to a COM object, for whatever here acquires objects. One owner at a time by one thread;
// the object itself may be shared by any.
#pragma once
#include <utility>

// put() gives back what is held before it hands out its address, so that an owner can be passed where a call puts an
// object out.
template <class T> class ComPtr
{
  public:
    ComPtr() = default;
    // Takes over a reference that the caller holds.
    explicit ComPtr(T *object) noexcept : m_object(object) {}
    // Copies hold references of their own.
    ComPtr(const ComPtr &other) noexcept : m_object(other.m_object)
    {
        if (m_object)
            m_object->AddRef();
    }
    ComPtr(ComPtr &&other) noexcept : m_object(other.release()) {}
    ComPtr &operator=(ComPtr other) noexcept
    {
        std::swap(m_object, other.m_object);
        return *this;
    }
    ~ComPtr() { reset(); }

    T *get() const noexcept { return m_object; }
    T *operator->() const noexcept { return m_object; }
    T &operator*() const noexcept { return *m_object; }
    explicit operator bool() const noexcept { return m_object != nullptr; }
    T **put() noexcept
    {
        reset();
        return &m_object;
    }
    // The reference is the caller's from here on.
    T *release() noexcept { return std::exchange(m_object, nullptr); }
    void reset(T *object = nullptr) noexcept
    {
        if (T *old = std::exchange(m_object, object))
            old->Release();
    }

  private:
    T *m_object = nullptr;
};

// Another reference to an object, or nothing.
template <class T> ComPtr<T> Share(T *object) noexcept
{
    if (object)
        object->AddRef();
    return ComPtr<T>(object);
}
