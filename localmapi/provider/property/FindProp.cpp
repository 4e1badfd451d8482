#include "localmapi/provider/property/FindProp.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/base/Memory.h"

namespace localmapi
{

HRESULT GetOneProp(IMAPIProp *object, ULONG tag, SPropValue **value) noexcept
{
    return Guarded([&]() -> HRESULT {
        if (value)
            *value = nullptr;
        Require(object != nullptr && value != nullptr, "HrGetOneProp");
        SPropTagArray tags = {1, {tag}};
        ULONG count = 0;
        Block<SPropValue> values;
        const HRESULT hr = object->GetProps(&tags, 0, &count, values.put());
        if (FAILED(hr))
            return hr;
        if (!values || count != 1)
            return MAPI_E_NOT_FOUND;
        if (PROP_TYPE(values->ulPropTag) == PT_ERROR)
            return values->Value.err;
        *value = values.release();
        return S_OK;
    });
}

SPropValue *FindProp(SPropValue *values, ULONG count, ULONG tag) noexcept
{
    if (!values || PROP_TYPE(tag) == PT_ERROR)
        return nullptr;
    const bool anyType = PROP_TYPE(tag) == PT_UNSPECIFIED;
    for (ULONG i = 0; i < count; ++i)
        if (values[i].ulPropTag == tag || (anyType && PROP_ID(values[i].ulPropTag) == PROP_ID(tag)))
            return &values[i];
    return nullptr;
}

} // namespace localmapi
