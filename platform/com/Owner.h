// The owner of one thing that is acquired through an out pointer and freed by a function. For one thread at a time.
#pragma once
#include <cstddef>
#include <utility>

// put() frees what is held before it hands out its address.
template <class T, void (*Close)(T *)> class Owner
{
  public:
    Owner() = default;
    explicit Owner(T *held) noexcept : m_held(held) {}
    Owner(Owner &&other) noexcept : m_held(other.release()) {}
    Owner &operator=(Owner &&other) noexcept
    {
        if (this != &other)
            reset(other.release());
        return *this;
    }
    ~Owner() { reset(); }

    T *get() const noexcept { return m_held; }
    T *operator->() const noexcept { return m_held; }
    T &operator[](std::size_t index) const noexcept { return m_held[index]; }
    explicit operator bool() const noexcept { return m_held != nullptr; }
    T **put() noexcept
    {
        reset();
        return &m_held;
    }
    T *release() noexcept { return std::exchange(m_held, nullptr); }
    void reset(T *held = nullptr) noexcept
    {
        if (T *old = std::exchange(m_held, held))
            Close(old);
    }

  private:
    T *m_held = nullptr;
};
