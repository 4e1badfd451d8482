// The lists of names, one each for tags, interfaces and results, and the looking up in them.
#include "support/Names.h"
#include "mapi/ExchangeMapi.h"
#include <mapiutil.h>
#include <objidl.h>

namespace mapi_double
{

namespace
{

struct TagName {
    ULONG tag;
    const char *name;
};

// Text properties carry the suffix of their width; a name without one has a single type.
constexpr TagName kTags[] = {
    {PR_NULL, "PR_NULL"},
    {PR_ENTRYID, "PR_ENTRYID"},
    {PR_PARENT_ENTRYID, "PR_PARENT_ENTRYID"},
    {PR_IPM_WASTEBASKET_ENTRYID, "PR_IPM_WASTEBASKET_ENTRYID"},
    {PR_IPM_OUTBOX_ENTRYID, "PR_IPM_OUTBOX_ENTRYID"},
    {PR_IPM_SENTMAIL_ENTRYID, "PR_IPM_SENTMAIL_ENTRYID"},
    {PR_SENTMAIL_ENTRYID, "PR_SENTMAIL_ENTRYID"},
    {PR_SPLUS_FREE_BUSY_ENTRYID, "PR_SPLUS_FREE_BUSY_ENTRYID"},
    {PR_DEFAULT_STORE, "PR_DEFAULT_STORE"},
    {PR_SERVICE_NAME_A, "PR_SERVICE_NAME_A"},
    {PR_SERVICE_UID, "PR_SERVICE_UID"},
    {PR_PROFILE_NAME_A, "PR_PROFILE_NAME_A"},
    {PR_PROFILE_HOME_SERVER, "PR_PROFILE_HOME_SERVER"},
    {PR_PROFILE_USER, "PR_PROFILE_USER"},
    {PR_PROFILE_UNRESOLVED_NAME, "PR_PROFILE_UNRESOLVED_NAME"},
    {PR_PROFILE_UNRESOLVED_SERVER, "PR_PROFILE_UNRESOLVED_SERVER"},
    {PR_DISPLAY_NAME_A, "PR_DISPLAY_NAME_A"},
    {PR_DISPLAY_NAME_W, "PR_DISPLAY_NAME_W"},
    {PR_DISPLAY_TYPE, "PR_DISPLAY_TYPE"},
    {PR_ANR_A, "PR_ANR_A"},
    {PR_ANR_W, "PR_ANR_W"},
    {PR_ACCOUNT_A, "PR_ACCOUNT_A"},
    {PR_ADDRTYPE_A, "PR_ADDRTYPE_A"},
    {PR_EMAIL_ADDRESS_A, "PR_EMAIL_ADDRESS_A"},
    {PR_RECIPIENT_TYPE, "PR_RECIPIENT_TYPE"},
    {PR_OBJECT_TYPE, "PR_OBJECT_TYPE"},
    {PR_MESSAGE_CLASS_A, "PR_MESSAGE_CLASS_A"},
    {PR_IMPORTANCE, "PR_IMPORTANCE"},
    {PR_SENSITIVITY, "PR_SENSITIVITY"},
    {PR_PRIORITY, "PR_PRIORITY"},
    {PR_DELETE_AFTER_SUBMIT, "PR_DELETE_AFTER_SUBMIT"},
    {PR_LAST_MODIFICATION_TIME, "PR_LAST_MODIFICATION_TIME"},
    {PR_LAST_VERB_EXECUTED, "PR_LAST_VERB_EXECUTED"},
    {PR_LAST_VERB_EXECUTION_TIME, "PR_LAST_VERB_EXECUTION_TIME"},
    {PR_ICON_INDEX, "PR_ICON_INDEX"},
    {PR_SENDER_NAME_A, "PR_SENDER_NAME_A"},
    {PR_SENDER_EMAIL_ADDRESS_A, "PR_SENDER_EMAIL_ADDRESS_A"},
    {PR_CREATOR_NAME_A, "PR_CREATOR_NAME_A"},
    {PR_CREATOR_NAME_W, "PR_CREATOR_NAME_W"},
    {PR_CLIENT_SUBMIT_TIME, "PR_CLIENT_SUBMIT_TIME"},
    {PR_MESSAGE_FLAGS, "PR_MESSAGE_FLAGS"},
    {PR_MESSAGE_SIZE, "PR_MESSAGE_SIZE"},
    {PR_COMMENT_A, "PR_COMMENT_A"},
    {PR_SUBJECT_A, "PR_SUBJECT_A"},
    {PR_SUBJECT_W, "PR_SUBJECT_W"},
    {PR_BODY_A, "PR_BODY_A"},
    {PR_BODY_W, "PR_BODY_W"},
    {PR_UM_DURATION, "PR_UM_DURATION"},
    {PR_UM_TELEPHONE_NUMBER_A, "PR_UM_TELEPHONE_NUMBER_A"},
    {PR_UM_SENDER_NAME_A, "PR_UM_SENDER_NAME_A"},
    {PR_UM_OFFSET, "PR_UM_OFFSET"},
    {PR_UM_MESSAGE_RECEIVED, "PR_UM_MESSAGE_RECEIVED"},
    {PR_UM_ATTACHMENT_ORDER_A, "PR_UM_ATTACHMENT_ORDER_A"},
    {PR_DISABLE_FULL_FIDELITY, "PR_DISABLE_FULL_FIDELITY"},
    {PR_ATTACH_NUM, "PR_ATTACH_NUM"},
    {PR_ATTACH_SIZE, "PR_ATTACH_SIZE"},
    {PR_ATTACH_METHOD, "PR_ATTACH_METHOD"},
    {PR_ATTACH_FILENAME_A, "PR_ATTACH_FILENAME_A"},
    {PR_ATTACH_LONG_FILENAME_A, "PR_ATTACH_LONG_FILENAME_A"},
    {PR_ATTACH_PATHNAME_A, "PR_ATTACH_PATHNAME_A"},
    {PR_ATTACH_LONG_PATHNAME_A, "PR_ATTACH_LONG_PATHNAME_A"},
    {PR_ATTACH_MIME_TAG_A, "PR_ATTACH_MIME_TAG_A"},
    {PR_RENDERING_POSITION, "PR_RENDERING_POSITION"},
    {PR_ATTACH_DATA_BIN, "PR_ATTACH_DATA_BIN"},
    {PR_ATTACH_DATA_OBJ, "PR_ATTACH_DATA_OBJ"},
};

struct ResultName {
    HRESULT hr;
    const char *name;
};

#define NAMED(code)                                                                                                    \
    {                                                                                                                  \
        static_cast<HRESULT>(code), #code                                                                              \
    }
constexpr ResultName kResults[] = {
    NAMED(S_OK),
    NAMED(S_FALSE),
    NAMED(E_FAIL),
    NAMED(E_POINTER),
    NAMED(E_ABORT),
    NAMED(E_UNEXPECTED),
    NAMED(E_ACCESSDENIED),
    NAMED(E_OUTOFMEMORY),
    NAMED(E_INVALIDARG),
    NAMED(MAPI_E_NO_SUPPORT),
    NAMED(MAPI_E_INTERFACE_NOT_SUPPORTED),
    NAMED(MAPI_E_UNKNOWN_FLAGS),
    NAMED(MAPI_E_NOT_FOUND),
    NAMED(MAPI_E_LOGON_FAILED),
    NAMED(MAPI_E_NETWORK_ERROR),
    NAMED(MAPI_E_NOT_INITIALIZED),
    NAMED(MAPI_E_INVALID_BOOKMARK),
    NAMED(MAPI_E_AMBIGUOUS_RECIP),
    NAMED(MAPI_E_NO_RECIPIENTS),
    NAMED(MAPI_E_TOO_COMPLEX),
    NAMED(MAPI_E_INVALID_ENTRYID),
    NAMED(MAPI_W_ERRORS_RETURNED),
    NAMED(MAPI_W_POSITION_CHANGED),
    NAMED(MAPI_W_APPROX_COUNT),
    NAMED(MAPI_W_PARTIAL_COMPLETION),
};
#undef NAMED

} // namespace

const char *NameOfTag(ULONG tag)
{
    for (const TagName &entry : kTags)
        if (entry.tag == tag)
            return entry.name;
    // The error value in a property's place carries the property's name too.
    if (PROP_TYPE(tag) == PT_ERROR)
        for (const TagName &entry : kTags)
            if (PROP_ID(entry.tag) == PROP_ID(tag))
                return entry.name;
    return nullptr;
}

const char *NameOfInterface(const IID &iid)
{
    static const struct {
        const IID &iid;
        const char *name;
    } names[] = {
        {IID_IUnknown, "IUnknown"},
        {IID_IMAPIProp, "IMAPIProp"},
        {IID_IMAPISession, "IMAPISession"},
        {IID_IMsgStore, "IMsgStore"},
        {IID_IExchangeManageStore, "IExchangeManageStore"},
        {IID_IMAPIContainer, "IMAPIContainer"},
        {IID_IMAPIFolder, "IMAPIFolder"},
        {IID_IABContainer, "IABContainer"},
        {IID_IMailUser, "IMailUser"},
        {IID_IMessage, "IMessage"},
        {IID_IAttachment, "IAttachment"},
        {IID_IMAPITable, "IMAPITable"},
        {IID_IAddrBook, "IAddrBook"},
        {IID_IProfAdmin, "IProfAdmin"},
        {IID_IMsgServiceAdmin, "IMsgServiceAdmin"},
        {IID_IProfSect, "IProfSect"},
        {IID_IStream, "IStream"},
        {IID_IStreamDocfile, "IStreamDocfile"},
        {IID_IStorage, "IStorage"},
    };
    for (const auto &entry : names)
        if (entry.iid == iid)
            return entry.name;
    return nullptr;
}

const char *NameOfResult(HRESULT hr)
{
    for (const ResultName &entry : kResults)
        if (entry.hr == hr)
            return entry.name;
    return nullptr;
}

} // namespace mapi_double
