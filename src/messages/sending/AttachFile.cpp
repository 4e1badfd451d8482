// Attaching a file to a message.
#include "common/mapi/Counted.h"
#include "common/mapi/CountedOperation.h"
#include "common/mapi/PropertyValues.h"
#include "session/CMAPIImpl.h"
#include <cstdlib>
#include <cstring>
#include <mbstring.h>

namespace
{

constexpr size_t kLongestShortName = 8;
constexpr size_t kLongestShortExtension = 3; // with its dot, as the contract has it: "message.wav" is a long name

size_t Characters(const char *szText)
{
    return _mbslen(reinterpret_cast<const unsigned char *>(szText));
}

// A name with a part that no buffer takes is a long one.
bool IsShortName(const char *szName)
{
    char szBase[_MAX_FNAME];
    char szExtension[_MAX_EXT];
    if (_splitpath_s(szName, nullptr, 0, nullptr, 0, szBase, sizeof szBase, szExtension, sizeof szExtension) != 0)
        return false;
    return Characters(szBase) <= kLongestShortName && Characters(szExtension) <= kLongestShortExtension;
}

SPropValue NameProperty(const char *szFilename, const char *szDisplayName)
{
    const char *szName = szDisplayName ? szDisplayName : szFilename;
    if (!szName)
        return TextProperty(PR_ATTACH_FILENAME_A, "");
    return TextProperty(IsShortName(szName) ? PR_ATTACH_FILENAME_A : PR_ATTACH_LONG_FILENAME_A, szName);
}

// The whole source, piece by piece.
HRESULT CopyContent(const Operation &operation, IStream *pSourceStream, IStream *pTarget)
{
    STATSTG stat = {};
    HRESULT hr = pSourceStream->Stat(&stat, STATFLAG_NONAME);
    if (FAILED(hr))
        // No full stop here and in the sentences up to the properties, as the contract has it.
        return operation.Failed("Stat", "trying to determine information about the file to be attached", hr);
    hr = pSourceStream->CopyTo(pTarget, stat.cbSize, nullptr, nullptr);
    if (FAILED(hr))
        return operation.Failed("CopyTo", "trying to copy file to attachment", hr);
    return hr;
}

} // namespace

HRESULT CMAPIImpl::AttachFile(IMessage *pMsg, IStream *pSourceStream, const char *szFilename, const char *szDisplayName)
{
    CountedOperation operation(OpenObjects(), "CMAPIImpl::AttachFile",
                               "pMsg: %p, pSourceStream: %p, szFilename: \"%s\", szDisplayName: \"%s\"",
                               static_cast<void *>(pMsg), static_cast<void *>(pSourceStream), szFilename,
                               szDisplayName);
    operation.ShowCounter(kAtEntry, kAtExitCapital);

    HRESULT hr = pSourceStream->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, nullptr);
    if (FAILED(hr))
        return operation.Failed("Seek", "trying to seek to the beginning of the file to attach", hr);

    ULONG ulAttachNum = 0;
    Counted<IAttach> attach;
    hr = attach.Count(pMsg->CreateAttach(nullptr, 0, &ulAttachNum, attach.object.put()), OpenObjects());
    if (FAILED(hr))
        return operation.Failed("CreateAttach", "trying to create the attachment", pMsg, hr);

    Counted<IStream> data;
    hr = data.Count(attach->OpenProperty(PR_ATTACH_DATA_BIN, &IID_IStream, 0, MAPI_CREATE | MAPI_MODIFY,
                                         reinterpret_cast<IUnknown **>(data.object.put())),
                    OpenObjects());
    if (FAILED(hr))
        return operation.Failed("OpenProperty", "trying to open the attachment property for storing the binary data",
                                attach.get(), hr);
    hr = CopyContent(operation, pSourceStream, data.get());
    if (FAILED(hr))
        return hr;

    SPropValue values[] = {
        NameProperty(szFilename, szDisplayName),
        LongProperty(PR_ATTACH_METHOD, ATTACH_BY_VALUE),
        LongProperty(PR_RENDERING_POSITION, -1),
    };
    hr = attach->SetProps(3, values, nullptr);
    if (FAILED(hr))
        return operation.Failed("SetProps", "trying to set properties for the attachment.", attach.get(), hr);
    hr = attach->SaveChanges(0);
    if (FAILED(hr))
        return operation.Failed("SaveChanges", "trying to save changes to the attachment.", attach.get(), hr);
    return hr;
}
