#include "session/SessionState.h"

ComPtr<IMAPISession> SessionState::MapiSession() const
{
    const locks::Hold lock(m_lock);
    return Share(m_lpSession.get());
}

ComPtr<IMsgStore> SessionState::DefaultStore() const
{
    const locks::Hold lock(m_lock);
    return Share(m_lpMDB.get());
}

bool SessionState::IsConnected() const
{
    const locks::Hold lock(m_lock);
    return m_lpSession && m_lpMDB;
}

HRESULT SessionState::NotConnected() const
{
    const locks::Hold lock(m_lock);
    return FAILED(m_hrLast) ? m_hrLast : E_FAIL;
}

void SessionState::SetResult(HRESULT hr)
{
    const locks::Hold lock(m_lock);
    m_hrLast = hr;
}

void SessionState::Exchange(ComPtr<IMAPISession> &session, ComPtr<IMsgStore> &store)
{
    const locks::Hold lock(m_lock);
    std::swap(m_lpSession, session);
    std::swap(m_lpMDB, store);
}

tstring SessionState::Copy(tstring SessionState::*member) const
{
    const locks::Hold lock(m_lock);
    return this->*member;
}

void SessionState::Set(tstring SessionState::*member, const tstring &text)
{
    const locks::Hold lock(m_lock);
    this->*member = text;
}
