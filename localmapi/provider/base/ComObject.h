// The COM base of every object here: reference count, QueryInterface from a list of interfaces, and the count of
// live objects. Safe for any thread.
#pragma once
#include "ExchangeMapi.h"
#include "platform/com/ComPtr.h"

#include <atomic>
#include <mapiutil.h>
#include <mapix.h>
#include <utility>

namespace localmapi
{

// How many objects with a reference count exist in this process.
inline std::atomic<LONG> g_liveObjects{0};

// The identifiers that an interface answers to beside IUnknown: its own and those of the interfaces it extends.
template <class Interface> struct InterfaceIds;
// clang-format off
template <> struct InterfaceIds<IStream> { static inline const IID *const kIds[] = {&IID_IStream, &IID_ISequentialStream}; };
template <> struct InterfaceIds<IMAPITable> { static inline const IID *const kIds[] = {&IID_IMAPITable}; };
template <> struct InterfaceIds<IMAPISession> { static inline const IID *const kIds[] = {&IID_IMAPISession}; };
template <> struct InterfaceIds<IProfAdmin> { static inline const IID *const kIds[] = {&IID_IProfAdmin}; };
template <> struct InterfaceIds<IMsgServiceAdmin> { static inline const IID *const kIds[] = {&IID_IMsgServiceAdmin}; };
template <> struct InterfaceIds<IMAPIAdviseSink> { static inline const IID *const kIds[] = {&IID_IMAPIAdviseSink}; };
template <> struct InterfaceIds<IExchangeManageStore> { static inline const IID *const kIds[] = {&IID_IExchangeManageStore}; };
template <> struct InterfaceIds<IProfSect> { static inline const IID *const kIds[] = {&IID_IProfSect, &IID_IMAPIProp}; };
template <> struct InterfaceIds<IMsgStore> { static inline const IID *const kIds[] = {&IID_IMsgStore, &IID_IMAPIProp}; };
template <> struct InterfaceIds<IMessage> { static inline const IID *const kIds[] = {&IID_IMessage, &IID_IMAPIProp}; };
template <> struct InterfaceIds<IAttach> { static inline const IID *const kIds[] = {&IID_IAttachment, &IID_IMAPIProp}; };
template <> struct InterfaceIds<IAddrBook> { static inline const IID *const kIds[] = {&IID_IAddrBook, &IID_IMAPIProp}; };
template <> struct InterfaceIds<IMailUser> { static inline const IID *const kIds[] = {&IID_IMailUser, &IID_IMAPIProp}; };
template <> struct InterfaceIds<IMAPIFolder> { static inline const IID *const kIds[] = {&IID_IMAPIFolder, &IID_IMAPIContainer, &IID_IMAPIProp}; };
template <> struct InterfaceIds<IABContainer> { static inline const IID *const kIds[] = {&IID_IABContainer, &IID_IMAPIContainer, &IID_IMAPIProp}; };
// clang-format on

// Whether an interface identifier names Interface, something it extends, or IUnknown. A null pointer asks for the
// object's standard interface, as MAPI's lpInterface arguments do.
template <class Interface> bool Implements(LPCIID iid)
{
    if (!iid || *iid == IID_IUnknown)
        return true;
    for (const IID *known : InterfaceIds<Interface>::kIds)
        if (*iid == *known)
            return true;
    return false;
}

// The first interface is the object's identity: its pointer answers for IUnknown.
template <class First, class... More> class ComObject : public First, public More...
{
  public:
    ComObject() { ++g_liveObjects; }
    ComObject(const ComObject &) = delete;
    ComObject &operator=(const ComObject &) = delete;

    STDMETHODIMP QueryInterface(REFIID riid, void **object) override
    {
        if (!object)
            return MAPI_E_INVALID_PARAMETER;
        *object = nullptr;
        if (Implements<First>(&riid))
            *object = static_cast<First *>(this);
        else
            (void)((AnswersOnly<More>(riid) && (*object = static_cast<More *>(this))) || ...);
        if (!*object)
            return MAPI_E_INTERFACE_NOT_SUPPORTED;
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++m_references; }
    STDMETHODIMP_(ULONG) Release() override
    {
        const ULONG left = --m_references;
        if (left == 0)
            delete this;
        return left;
    }

  protected:
    virtual ~ComObject() { --g_liveObjects; }

  private:
    template <class Interface> static bool AnswersOnly(REFIID riid)
    {
        return !(riid == IID_IUnknown) && Implements<Interface>(&riid);
    }

    std::atomic<ULONG> m_references{1};
};

// A new object with one reference.
template <class T, class... Arguments> ComPtr<T> MakeObject(Arguments &&...arguments)
{
    return ComPtr<T>(new T(std::forward<Arguments>(arguments)...));
}

} // namespace localmapi
