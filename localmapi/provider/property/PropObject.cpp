#include "localmapi/provider/property/PropObject.h"
#include "localmapi/provider/base/Memory.h"

#include <algorithm>

namespace localmapi
{

void Problems::Give(SPropProblemArray **problems) const
{
    if (!problems || m_problems.empty())
        return;
    Block<SPropProblemArray> block(
        static_cast<SPropProblemArray *>(AllocateRootBytes(CbNewSPropProblemArray(m_problems.size()))));
    block->cProblem = static_cast<ULONG>(m_problems.size());
    std::copy(m_problems.begin(), m_problems.end(), block->aProblem);
    *problems = block.release();
}

storage::PropertyBag BagToSet(ULONG count, const SPropValue *values, const std::function<bool(storage::Tag)> &computed,
                              Problems &problems)
{
    storage::PropertyBag bag;
    for (ULONG i = 0; i < count; ++i) {
        const ULONG tag = values[i].ulPropTag;
        const ULONG type = PROP_TYPE(tag);
        if (type == PT_NULL || type == PT_ERROR)
            continue;
        if (PROP_ID(tag) == PROP_ID_NULL || PROP_ID(tag) == PROP_ID_INVALID || !IsValueType(type))
            problems.Add(i, tag, type == PT_OBJECT ? MAPI_E_NO_ACCESS : MAPI_E_INVALID_TYPE);
        else if (computed(StorageTag(tag)))
            problems.Add(i, tag, MAPI_E_COMPUTED);
        else
            bag.Set(StorageTag(tag), ValueFromProp(values[i]));
    }
    return bag;
}

} // namespace localmapi
