// Objects with properties: what IMAPIProp asks of every one of them.
#pragma once
#include "support/Com.h"
#include "support/FakeStream.h"
#include "support/Print.h"
#include <map>
#include <memory>

namespace mapi_double
{

// The data of an object with properties; handed-out objects share it.
struct PropsData {
    explicit PropsData(std::string nameOf) : name(std::move(nameOf)) {}
    virtual ~PropsData() = default;
    // A new object for this data, with one reference; null where it cannot be opened by an entry ID.
    virtual IUnknown *Open() { return nullptr; }
    virtual ULONG ObjectType() const { return 0; }

    std::string name;    // the instance name in the conversation
    std::string entryId; // PR_ENTRYID, where it has one
    Row props;
    int saved = 0;                     // successful SaveChanges
    bool raw = false;                  // GetProps answers with `props` as they are, whatever was asked for
    std::map<std::string, USHORT> ids; // of named properties, by the name as it is printed
    std::map<ULONG, std::shared_ptr<StreamData>> streams;        // OpenProperty(tag, IID_IStream)
    std::map<ULONG, std::shared_ptr<StreamData>> docfileStreams; // OpenProperty(tag, IID_IStreamDocfile)
    std::map<ULONG, std::shared_ptr<StorageData>> storages;      // OpenProperty(tag, IID_IStorage)
};

HRESULT GiveProps(Call &call, const PropsData &data, const SPropTagArray *tags, ULONG *count, LPSPropValue *values);
// Names without an identifier are errors in the list.
HRESULT GiveIds(Call &call, const PropsData &data, ULONG count, MAPINAMEID *const *names, SPropTagArray **tags);
HRESULT GiveProperty(Call &call, const PropsData &data, ULONG tag, const IID *iid, IUnknown **object);

// What objects that can be changed answer to SetProps and SaveChanges.
HRESULT TakeProps(Call &call, PropsData &data, ULONG count, const SPropValue *values);
HRESULT TakeChanges(Call &call, PropsData &data);

template <class Interface> class PropObject : public ComObject<Interface>
{
  public:
    PropObject(const char *kind, std::shared_ptr<PropsData> data)
        : ComObject<Interface>(kind, data->name), m_props(std::move(data))
    {
    }

    STDMETHODIMP GetLastError(HRESULT hr, ULONG flags, LPMAPIERROR *error) override
    {
        return GiveLastError(*this, hr, flags, error);
    }
    STDMETHODIMP GetProps(LPSPropTagArray tags, ULONG flags, ULONG *count, LPSPropValue *values) override
    {
        Call call(*this, "GetProps", {Tags(tags), Hex(flags)});
        return GiveProps(call, *m_props, tags, count, values);
    }
    STDMETHODIMP OpenProperty(ULONG tag, LPCIID iid, ULONG options, ULONG flags, LPUNKNOWN *object) override
    {
        Call call(*this, "OpenProperty", {Tag(tag), mapi_double::Interface(iid), Hex(options), Hex(flags)});
        return GiveProperty(call, *m_props, tag, iid, object);
    }
    NOT_CALLED(SaveChanges, (ULONG))
    NOT_CALLED(GetPropList, (ULONG, LPSPropTagArray *))
    NOT_CALLED(SetProps, (ULONG, LPSPropValue, LPSPropProblemArray *))
    NOT_CALLED(DeleteProps, (LPSPropTagArray, LPSPropProblemArray *))
    NOT_CALLED(CopyTo,
               (ULONG, LPCIID, LPSPropTagArray, ULONG, LPMAPIPROGRESS, LPCIID, LPVOID, ULONG, LPSPropProblemArray *))
    NOT_CALLED(CopyProps, (LPSPropTagArray, ULONG, LPMAPIPROGRESS, LPCIID, LPVOID, ULONG, LPSPropProblemArray *))
    NOT_CALLED(GetNamesFromIDs, (LPSPropTagArray *, LPGUID, ULONG, ULONG *, LPMAPINAMEID **))
    STDMETHODIMP GetIDsFromNames(ULONG count, LPMAPINAMEID *names, ULONG flags, LPSPropTagArray *tags) override
    {
        Call call(*this, "GetIDsFromNames", {PropertyNames(count, names), Hex(flags)});
        return GiveIds(call, *m_props, count, names, tags);
    }

  protected:
    bool IsOwnInterface(REFIID riid) const override { return riid == IID_IMAPIProp; }
    std::shared_ptr<PropsData> m_props;
};

} // namespace mapi_double
