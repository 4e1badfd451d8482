// IMAPIProp over a bag of properties: what profile sections, mail users, address book containers and the address book
// itself have in common. A class above says where the bag comes from and, if it can be written, where changes go.
#pragma once
#include "localmapi/provider/base/ComObject.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/property/PropertyConvert.h"

#include <functional>
#include <vector>

namespace localmapi
{

// The problems of SetProps and DeleteProps, one for each property that was not taken.
class Problems
{
  public:
    void Add(ULONG index, ULONG tag, SCODE code) { m_problems.push_back({index, tag, code}); }
    // Null for the client when there are none, or when it does not want them.
    void Give(SPropProblemArray **problems) const;

  private:
    std::vector<SPropProblem> m_problems;
};

// Splits what a client sets into what can be stored and what can not: values of a bad type are problems, as are the
// properties that `computed` knows; PT_ERROR and PT_NULL are left out. A null pointer fails the whole call.
storage::PropertyBag BagToSet(ULONG count, const SPropValue *values, const std::function<bool(storage::Tag)> &computed,
                              Problems &problems);

template <class Interface, class... More> class PropObject : public ComObject<Interface, More...>
{
  public:
    STDMETHODIMP GetLastError(HRESULT code, ULONG flags, LPMAPIERROR *error) override
    {
        return m_errors.GetLastError(code, flags, error);
    }
    STDMETHODIMP SaveChanges(ULONG flags) override
    {
        return Run("IMAPIProp::SaveChanges", [&]() -> HRESULT {
            RequireFlags(flags, KEEP_OPEN_READONLY | KEEP_OPEN_READWRITE | FORCE_SAVE | MAPI_DEFERRED_ERRORS);
            return S_OK;
        });
    }
    STDMETHODIMP GetProps(LPSPropTagArray tags, ULONG flags, ULONG *count, LPSPropValue *values) override
    {
        return Run("IMAPIProp::GetProps", [&] { return GiveProps(Load(), tags, flags, count, values); });
    }
    STDMETHODIMP GetPropList(ULONG flags, LPSPropTagArray *tags) override
    {
        return Run("IMAPIProp::GetPropList", [&] { return GivePropList(Load(), flags, tags); });
    }
    STDMETHODIMP OpenProperty(ULONG tag, LPCIID iid, ULONG options, ULONG flags, LPUNKNOWN *object) override
    {
        return Run("IMAPIProp::OpenProperty", [&]() -> HRESULT {
            Require(object != nullptr && iid != nullptr, "where the property's interface goes");
            *object = nullptr;
            return Open(tag, *iid, options, flags, object);
        });
    }
    STDMETHODIMP SetProps(ULONG count, LPSPropValue values, LPSPropProblemArray *problems) override
    {
        return Run("IMAPIProp::SetProps", [&]() -> HRESULT {
            if (problems)
                *problems = nullptr;
            Require(count > 0 && values != nullptr, "the properties to set");
            Problems found;
            Change(BagToSet(
                       count, values, [this](storage::Tag tag) { return IsComputed(tag); }, found),
                   {});
            found.Give(problems);
            return S_OK;
        });
    }
    STDMETHODIMP DeleteProps(LPSPropTagArray tags, LPSPropProblemArray *problems) override
    {
        return Run("IMAPIProp::DeleteProps", [&]() -> HRESULT {
            if (problems)
                *problems = nullptr;
            Require(tags != nullptr && tags->cValues > 0, "the properties to delete");
            Problems found;
            std::vector<storage::Tag> remove;
            const storage::PropertyBag bag = Load();
            for (ULONG i = 0; i < tags->cValues; ++i) {
                const ULONG tag = tags->aulPropTag[i];
                if (IsComputed(StorageTag(tag)))
                    found.Add(i, tag, MAPI_E_COMPUTED);
                else if (!bag.FindId(static_cast<std::uint16_t>(PROP_ID(tag))))
                    found.Add(i, tag, MAPI_E_NOT_FOUND);
                else
                    remove.push_back(StorageTag(tag));
            }
            Change({}, remove);
            found.Give(problems);
            return S_OK;
        });
    }
    STDMETHODIMP CopyTo(ULONG, LPCIID, LPSPropTagArray, ULONG, LPMAPIPROGRESS, LPCIID, LPVOID, ULONG,
                        LPSPropProblemArray *) override
    {
        return Unsupported("IMAPIProp::CopyTo");
    }
    STDMETHODIMP CopyProps(LPSPropTagArray, ULONG, LPMAPIPROGRESS, LPCIID, LPVOID, ULONG,
                           LPSPropProblemArray *) override
    {
        return Unsupported("IMAPIProp::CopyProps");
    }
    STDMETHODIMP GetNamesFromIDs(LPSPropTagArray *, LPGUID, ULONG, ULONG *, LPMAPINAMEID **) override
    {
        return Unsupported("IMAPIProp::GetNamesFromIDs");
    }
    STDMETHODIMP GetIDsFromNames(ULONG, LPMAPINAMEID *, ULONG, LPSPropTagArray *) override
    {
        return Unsupported("IMAPIProp::GetIDsFromNames");
    }

  protected:
    // All of these may throw. At the beginning of each method.
    virtual void Enter() {}
    virtual storage::PropertyBag Load() = 0;
    virtual void Change(const storage::PropertyBag &, const std::vector<storage::Tag> &)
    {
        throw Failure(MAPI_E_NO_ACCESS, "The object is open for reading only.");
    }
    virtual bool IsComputed(storage::Tag) { return false; }
    virtual HRESULT Open(ULONG tag, const IID &, ULONG, ULONG, IUnknown **)
    {
        if (!Load().FindId(static_cast<std::uint16_t>(PROP_ID(tag))))
            return MAPI_E_NOT_FOUND;
        NoSupport("opening a property of this object");
    }

    template <class Body> HRESULT Run(const char *method, Body &&body)
    {
        return Guarded(m_errors, method, [&]() -> HRESULT {
            Enter();
            return body();
        });
    }
    HRESULT Unsupported(const char *method)
    {
        return Run(method, [&]() -> HRESULT { NoSupport(method); });
    }

    ErrorTexts m_errors;
};

} // namespace localmapi
