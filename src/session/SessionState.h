// What a Connect leaves behind in its session, shared by all threads that work on that. Work starts from references and
// copies, so that a Disconnect on another thread ends nothing under its feet. Any thread.
#pragma once
#include "common/base/Owners.h"
#include "common/text/tstring.h"
#include "platform/locks/Mutex.h"

class SessionState
{
  public:
    // Both null where there is none.
    ComPtr<IMAPISession> MapiSession() const;
    ComPtr<IMsgStore> DefaultStore() const;
    bool IsConnected() const;
    // The failure of work that needs a MAPI session where there is none: Connect's own, or E_FAIL.
    HRESULT NotConnected() const;

    void SetResult(HRESULT hr);
    // Puts what is given in the place of what stands here, which the caller gets.
    void Exchange(ComPtr<IMAPISession> &session, ComPtr<IMsgStore> &store);

    // What the fax product calls itself, learned by summary listings; the last writer wins.
    tstring FaxCreatorName() const { return Copy(&SessionState::m_strFaxCreatorName); }
    void SetFaxCreatorName(const tstring &name) { Set(&SessionState::m_strFaxCreatorName, name); }
    tstring Profile() const { return Copy(&SessionState::m_strProfile); }
    void SetProfile(const tstring &name) { Set(&SessionState::m_strProfile, name); }
    tstring Server() const { return Copy(&SessionState::m_strServer); }
    void SetServer(const tstring &name) { Set(&SessionState::m_strServer, name); }
    tstring DefaultMailbox() const { return Copy(&SessionState::m_strDefaultMailbox); }
    void SetDefaultMailbox(const tstring &name) { Set(&SessionState::m_strDefaultMailbox, name); }

  private:
    tstring Copy(tstring SessionState::*member) const;
    void Set(tstring SessionState::*member, const tstring &text);

    mutable locks::Mutex m_lock;
    tstring m_strFaxCreatorName GUARDED_BY(m_lock);
    tstring m_strProfile GUARDED_BY(m_lock);
    tstring m_strServer GUARDED_BY(m_lock);
    tstring m_strDefaultMailbox GUARDED_BY(m_lock);
    HRESULT m_hrLast GUARDED_BY(m_lock) = E_FAIL;
    ComPtr<IMsgStore> m_lpMDB GUARDED_BY(m_lock);
    ComPtr<IMAPISession> m_lpSession GUARDED_BY(m_lock);
};
