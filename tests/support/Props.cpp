#include "support/Props.h"
#include "support/Memory.h"

namespace mapi_double
{

HRESULT GiveProps(Call &call, const PropsData &data, const SPropTagArray *tags, ULONG *count, LPSPropValue *values)
{
    if (!call.Proceed())
        return call.Return(E_FAIL);
    if (call.GivesNull()) {
        *count = 0;
        *values = nullptr;
        return call.Return(S_OK);
    }
    const Row given = data.raw ? data.props : Project(data.props, tags);
    *count = static_cast<ULONG>(given.size());
    *values = NewProperties("properties of " + data.name, given);
    return call.Return(HasErrors(given) ? MAPI_W_ERRORS_RETURNED : S_OK);
}

HRESULT TakeProps(Call &call, PropsData &data, ULONG count, const SPropValue *values)
{
    if (!call.Proceed())
        return call.Return(E_FAIL);
    for (ULONG i = 0; i < count; ++i)
        Set(data.props, Taken(values[i]));
    return call.Return(S_OK);
}

HRESULT TakeChanges(Call &call, PropsData &data)
{
    if (call.Proceed())
        ++data.saved;
    return call.Return(S_OK);
}

HRESULT GiveIds(Call &call, const PropsData &data, ULONG count, MAPINAMEID *const *names, SPropTagArray **tags)
{
    if (!call.Proceed())
        return call.Return(E_FAIL);
    *tags = nullptr;
    if (call.GivesNull())
        return call.Return(S_OK);
    auto *given = static_cast<SPropTagArray *>(NewRoot("property tags", CbNewSPropTagArray(count)));
    given->cValues = count;
    bool all = true;
    for (ULONG i = 0; i < count; ++i) {
        const auto found = data.ids.find(PropertyName(*names[i]));
        all = all && found != data.ids.end();
        given->aulPropTag[i] =
            found == data.ids.end() ? PROP_TAG(PT_ERROR, 0) : PROP_TAG(PT_UNSPECIFIED, found->second);
    }
    *tags = given;
    return call.Return(all ? S_OK : MAPI_W_ERRORS_RETURNED);
}

HRESULT GiveProperty(Call &call, const PropsData &data, ULONG tag, const IID *iid, IUnknown **object)
{
    if (!call.Proceed())
        return call.Return(E_FAIL);
    *object = nullptr;
    if (call.GivesNull())
        return call.Return(S_OK);
    const std::string name = data.name + "." + Tag(tag);
    if (iid && *iid == IID_IStorage) {
        const auto found = data.storages.find(tag);
        if (found == data.storages.end())
            return call.Return(MAPI_E_NOT_FOUND);
        *object = NewStorage(name, found->second);
        return call.Return(S_OK);
    }
    const bool docfile = iid && *iid == IID_IStreamDocfile;
    if (!docfile && !(iid && *iid == IID_IStream))
        return call.Return(MAPI_E_INTERFACE_NOT_SUPPORTED);
    const auto &streams = docfile ? data.docfileStreams : data.streams;
    const auto found = streams.find(tag);
    if (found == streams.end())
        return call.Return(MAPI_E_NOT_FOUND);
    *object = NewStream(name, found->second);
    return call.Return(S_OK);
}

} // namespace mapi_double
