// MAPI's entry points and helper functions, in the place of the system's library. (Those for memory are with the
// blocks that they count.)
#include "support/Memory.h"
#include "support/World.h"
#include <fstream>
#include <sstream>

using namespace mapi_double;

namespace
{

// The failure with which a helper function gives up, and nothing left in its out pointer.
HRESULT QueryAll(IMAPITable *table, SPropTagArray *tags, SRestriction *restriction, SSortOrderSet *order, LONG most,
                 SRowSet **rows)
{
    HRESULT hr = tags ? table->SetColumns(tags, TBL_BATCH) : S_OK;
    if (SUCCEEDED(hr) && restriction)
        hr = table->Restrict(restriction, TBL_BATCH);
    if (SUCCEEDED(hr) && order)
        hr = table->SortTable(order, TBL_BATCH);
    if (SUCCEEDED(hr))
        hr = table->SeekRow(BOOKMARK_BEGINNING, 0, nullptr);
    return SUCCEEDED(hr) ? table->QueryRows(most ? most : 0x7fffffff, 0, rows) : hr;
}

} // namespace

extern "C" {

HRESULT WINAPI MAPIInitialize(LPVOID lpMapiInit)
{
    const auto *init = static_cast<const MAPIINIT_0 *>(lpMapiInit);
    Call call("MAPIInitialize", {init ? "version " + Number(init->ulVersion) : "NULL", init ? Hex(init->ulFlags) : ""});
    if (call.Proceed())
        TheWorld().initialised = true;
    return call.Return(S_OK);
}

void WINAPI MAPIUninitialize()
{
    Call call("MAPIUninitialize", {}, Kind::Conversation, Call::Infallible);
    if (!TheWorld().initialised)
        Misuse("MAPIUninitialize without MAPIInitialize");
    TheWorld().initialised = false;
}

HRESULT WINAPI MAPILogonEx(ULONG_PTR ui, LPTSTR profile, LPTSTR password, ULONG flags, LPMAPISESSION *session)
{
    Call call("MAPILogonEx", {Hex(ui), Quoted(profile), Quoted(password), Hex(flags)});
    return call.Give(session, [] { return NewSession(); });
}

HRESULT WINAPI MAPIAdminProfiles(ULONG flags, LPPROFADMIN *admin)
{
    Call call("MAPIAdminProfiles", {Hex(flags)});
    return call.Give(admin, [] { return NewProfAdmin(); });
}

HRESULT WINAPI HrQueryAllRows(LPMAPITABLE table, LPSPropTagArray tags, LPSRestriction restriction,
                              LPSSortOrderSet order, LONG most, LPSRowSet *rows)
{
    Call call("HrQueryAllRows",
              {ObjectName(table), Tags(tags), Restriction(restriction), SortOrder(order), Number(most)});
    if (!call.Proceed())
        return call.Return(E_FAIL);
    *rows = nullptr;
    if (call.GivesNull())
        return call.Return(S_OK);
    if (!table) {
        Misuse("HrQueryAllRows of no table");
        return call.Return(E_INVALIDARG);
    }
    const Nested nested;
    return call.Return(QueryAll(table, tags, restriction, order, most, rows));
}

HRESULT WINAPI HrGetOneProp(LPMAPIPROP object, ULONG tag, LPSPropValue *value)
{
    Call call("HrGetOneProp", {ObjectName(object), Tag(tag)});
    if (!call.Proceed())
        return call.Return(E_FAIL);
    *value = nullptr;
    if (call.GivesNull())
        return call.Return(S_OK);
    if (!object) {
        Misuse("HrGetOneProp of no object");
        return call.Return(E_INVALIDARG);
    }
    const Nested nested;
    SPropTagArray tags = {1, {tag}};
    ULONG count = 0;
    HRESULT hr = object->GetProps(&tags, 0, &count, value);
    if (SUCCEEDED(hr) && (*value)->ulPropTag != tag && PROP_TYPE((*value)->ulPropTag) == PT_ERROR)
        hr = (*value)->Value.err;
    if (FAILED(hr)) {
        FreeBlock(*value);
        *value = nullptr;
        return call.Return(hr);
    }
    return call.Return(S_OK);
}

LPSPropValue WINAPI PpropFindProp(LPSPropValue values, ULONG count, ULONG tag)
{
    Call call("PpropFindProp", {Properties(count, values), Tag(tag)});
    call.Return(S_OK);
    for (ULONG i = 0; call.Proceed() && !call.GivesNull() && values && i < count; ++i)
        if (values[i].ulPropTag == tag)
            return &values[i];
    return nullptr;
}

HRESULT WINAPI OpenStreamOnFile(LPALLOCATEBUFFER, LPFREEBUFFER, ULONG flags, LPTSTR file, LPTSTR prefix,
                                LPSTREAM *stream)
{
    Call call("OpenStreamOnFile", {Hex(flags), Quoted(file), Quoted(prefix)});
    std::ifstream content(file ? file : "", std::ios::binary);
    if (!content)
        return call.Return(MAPI_E_NOT_FOUND);
    std::ostringstream bytes;
    bytes << content.rdbuf();
    return call.Give(stream, [&] { return NewStream("file", std::make_shared<StreamData>(bytes.str())); });
}

} // extern "C"
