// What stands above the sessions and holds something that must end with one, such as the mailboxes that are watched: a
// session ends it before it logs off, without knowing what it is.
#pragma once

class CMAPIImpl;

class SessionDependent
{
  public:
    SessionDependent(const SessionDependent &) = delete;
    SessionDependent &operator=(const SessionDependent &) = delete;

    // Ends what it holds for a session and waits until it is over. Called on the thread that connects, disconnects or
    // closes the session or gives back its last reference, without a lock held; also on several threads at once, for a
    // session that it holds nothing for or that never was connected, and again for one that it was called for. Does not
    // throw: the next one would not be told.
    virtual void EndFor(const CMAPIImpl &session) = 0;

  protected:
    constexpr SessionDependent() = default;
    ~SessionDependent() = default;

  private:
    friend void RegisterDependent(SessionDependent &dependent) noexcept;
    friend void EndDependentsOf(const CMAPIImpl &session);
    SessionDependent *m_pNext = nullptr;
};

// From here on every session tells the object of its end; an end that is already under way may not. Once for an object,
// which lasts as long as the process. Any thread, also one that is just being told.
void RegisterDependent(SessionDependent &dependent) noexcept;
// Ends all of them for a session that is about to log off, the last registered first. Any thread.
void EndDependentsOf(const CMAPIImpl &session);
