// What a running operation holds of MAPI, counted in the session's open-object counter while it does: an object, and
// the properties of one. Each belongs to its operation's thread.
#pragma once
#include "common/base/Owners.h"

template <class Interface> struct Counted {
    ComPtr<Interface> object;
    ScopedCount count;

    Interface *operator->() const { return object.get(); }
    Interface *get() const { return object.get(); }
    explicit operator bool() const { return static_cast<bool>(object); }

    // Counts what a successful call has put into object. A call that succeeds and gives nothing has failed.
    HRESULT Count(HRESULT hr, std::atomic<LONG> &counter)
    {
        if (FAILED(hr)) {
            object.reset();
            return hr;
        }
        if (!object)
            return E_FAIL;
        count = ScopedCount(counter);
        return hr;
    }

    // What is held lives on in a registry and stays counted, until it is taken back with Adopt.
    Interface *Keep()
    {
        count.Keep();
        return object.release();
    }
    void Adopt(Interface *kept, std::atomic<LONG> &counter)
    {
        object.reset(kept);
        count = kept ? ScopedCount::Adopt(counter) : ScopedCount();
    }
};

// Values in the order in which they were asked for; none where the object gave none.
class CountedProperties
{
  public:
    HRESULT Get(IMAPIProp *pObject, LPSPropTagArray tags, std::atomic<LONG> &counter)
    {
        const HRESULT hr = pObject->GetProps(tags, 0, &m_cValues, m_values.put());
        if (SUCCEEDED(hr))
            m_count = ScopedCount(counter);
        return hr;
    }
    const SPropValue *begin() const { return m_values.get(); }
    const SPropValue *end() const { return m_values.get() + size(); }
    ULONG size() const { return m_values ? m_cValues : 0; }
    const SPropValue &operator[](ULONG i) const { return m_values.get()[i]; }

  private:
    ULONG m_cValues = 0;
    MapiBuffer<SPropValue> m_values;
    ScopedCount m_count;
};
