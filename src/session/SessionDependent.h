// What stands above the sessions and holds something that must end with one, such as the mailboxes that are watched: a
// session ends it before it logs off, without knowing what it is.
#pragma once

class CMAPIImpl;

class SessionDependent
{
  public:
    SessionDependent(const SessionDependent &) = delete;
    SessionDependent &operator=(const SessionDependent &) = delete;

    // Ends what it holds for a session and waits until it is over. Called on the thread that disconnects or closes
    // the session, without a lock held unless the session never got a handle; also on several threads at once, and for
    // a session that it holds nothing for. Does not throw: the next one would not be told.
    virtual void EndFor(const CMAPIImpl &session) = 0;

  protected:
    constexpr SessionDependent() = default;
    ~SessionDependent() = default;

  private:
    friend void RegisterDependent(SessionDependent &dependent) noexcept;
    friend // Ends all of them for a session that is about to log off. Any thread.
        void
        EndDependentsOf(const CMAPIImpl &session);
    SessionDependent *m_pNext = nullptr;
};

// From here on every session tells the object of its end. Once for an object, which lasts as long as the process. Any
// thread.
void RegisterDependent(SessionDependent &dependent) noexcept;
void EndDependentsOf(const CMAPIImpl &session);
