// How tests wait for each other's threads: a gate that is opened once. Any thread may open it and pass it; a bound that
// is generous keeps a test that hangs from hanging for ever.
#pragma once
#include <chrono>
#include <condition_variable>
#include <mutex>

class Gate
{
  public:
    void Open()
    {
        {
            const std::lock_guard lock(m_lock);
            m_open = true;
        }
        m_opened.notify_all();
    }
    // Waits until it is open; false where nobody opens it.
    bool Pass()
    {
        std::unique_lock lock(m_lock);
        return m_opened.wait_for(lock, std::chrono::seconds(60), [&] { return m_open; });
    }

  private:
    std::mutex m_lock;
    std::condition_variable m_opened;
    bool m_open = false;
};
