// A message's attachments: their numbers, what a listing shows of one, and saving the recording in one, wherever its
// bytes are stored.
#include "common/mapi/Counted.h"
#include "common/mapi/CountedOperation.h"
#include "common/mapi/MapiArguments.h"
#include "messages/reading/Attachment.h"
#include "messages/reading/AttachmentStorage.h"
#include "messages/reading/VoiceStream.h"
#include "session/CMAPIImpl.h"
#include <mapiguid.h>

OpenReferencedFile g_pfnOpenReferencedFile = &StgCreateDocfile;

namespace
{

constexpr char kWindowsMediaTag[] = "audio/x-ms-wma";
constexpr char kWaveTag[] = "audio/wav";
constexpr OLECHAR kContents[] = OLESTR("CONTENTS");

HRESULT OpenAttachment(const CountedOperation &operation, IMessage *pmsg, ULONG ulAttachNum, Counted<IAttach> &attach)
{
    const HRESULT hr =
        attach.Count(pmsg->OpenAttach(ulAttachNum, nullptr, 0, attach.object.put()), operation.OpenObjects());
    if (FAILED(hr))
        return operation.Failed("OpenAttach", "trying to open the attachment.", pmsg, hr);
    return hr;
}

// What the properties of an attachment say about its content.
struct AttachmentSource {
    LONG lMethod = NO_ATTACHMENT;
    tstring strFilename;
    tstring strPathname;
    tstring strLongPathname;
    tstring strMimeTag;

    const tstring &Path() const { return strLongPathname.empty() ? strPathname : strLongPathname; }
    bool IsVoice() const { return strMimeTag == kWindowsMediaTag || strMimeTag == kWaveTag || strMimeTag.empty(); }
};

// A stream and, where it lies in one, its storage.
struct AttachmentStream {
    Counted<IStorage> storage;
    Counted<IStream> stream;
};

template <class Interface>
HRESULT OpenAs(IAttach *pAttach, ULONG ulPropTag, const IID &iid, std::atomic<LONG> &counter,
               Counted<Interface> &opened)
{
    return opened.Count(
        pAttach->OpenProperty(ulPropTag, &iid, 0, 0, reinterpret_cast<IUnknown **>(opened.object.put())), counter);
}

HRESULT OpenContents(AttachmentStream &source, std::atomic<LONG> &counter)
{
    return source.stream.Count(
        source.storage->OpenStream(kContents, nullptr, STGM_SHARE_EXCLUSIVE, 0, source.stream.object.put()), counter);
}

HRESULT OpenReference(const tstring &path, std::atomic<LONG> &counter, AttachmentStream &source)
{
    // A storage without a name would be a new, temporary one.
    if (path.empty())
        return E_FAIL;
    wtext wide;
    path.ToWide(wide, 65001);
    const HRESULT hr = source.storage.Count(
        g_pfnOpenReferencedFile(wide.c_str(), STGM_CONVERT | STGM_TRANSACTED | STGM_SHARE_EXCLUSIVE | STGM_READWRITE, 0,
                                source.storage.object.put()),
        counter);
    return FAILED(hr) ? hr : OpenContents(source, counter);
}

HRESULT OpenOle(IAttach *pAttach, std::atomic<LONG> &counter, AttachmentStream &source)
{
    HRESULT hr = OpenAs(pAttach, PR_ATTACH_DATA_OBJ, IID_IStreamDocfile, counter, source.stream);
    if (FAILED(hr))
        hr = OpenAs(pAttach, PR_ATTACH_DATA_BIN, IID_IStreamDocfile, counter, source.stream);
    if (SUCCEEDED(hr))
        return hr;
    hr = OpenAs(pAttach, PR_ATTACH_DATA_OBJ, IID_IStorage, counter, source.storage);
    return FAILED(hr) ? hr : OpenContents(source, counter);
}

HRESULT OpenByMethod(IAttach *pAttach, const AttachmentSource &attachment, std::atomic<LONG> &counter,
                     AttachmentStream &source)
{
    switch (attachment.lMethod) {
    case ATTACH_BY_VALUE:
        return OpenAs(pAttach, PR_ATTACH_DATA_BIN, IID_IStream, counter, source.stream);
    case ATTACH_BY_REFERENCE:
    case ATTACH_BY_REF_RESOLVE:
    case ATTACH_BY_REF_ONLY:
        return OpenReference(attachment.Path(), counter, source);
    case ATTACH_EMBEDDED_MSG:
        return OpenAs(pAttach, PR_ATTACH_DATA_OBJ, IID_IStream, counter, source.stream);
    case ATTACH_OLE:
        return OpenOle(pAttach, counter, source);
    default:
        return E_FAIL;
    }
}

void FillSource(const SPropValue *values, ULONG cValues, AttachmentSource &attachment)
{
    for (ULONG i = 0; values && i < cValues; ++i) {
        const SPropValue &value = values[i];
        if (value.ulPropTag == PR_ATTACH_METHOD)
            attachment.lMethod = value.Value.l;
        else if (value.ulPropTag == PR_ATTACH_FILENAME_A)
            attachment.strFilename = value.Value.lpszA;
        else if (value.ulPropTag == PR_ATTACH_PATHNAME_A)
            attachment.strPathname = value.Value.lpszA;
        else if (value.ulPropTag == PR_ATTACH_LONG_PATHNAME_A)
            attachment.strLongPathname = value.Value.lpszA;
        else if (value.ulPropTag == PR_ATTACH_MIME_TAG_A)
            attachment.strMimeTag = value.Value.lpszA;
    }
}

} // namespace

HRESULT CMAPIImpl::HrPopulateAttachList(IMessage *pmsg, std::vector<ULONG> &attachNums)
{
    const CountedOperation operation(OpenObjects(), "CMAPIImpl::HrPopulateAttachList", "pmsg: %p",
                                     static_cast<void *>(pmsg));
    Counted<IMAPITable> table;
    HRESULT hr = table.Count(pmsg->GetAttachmentTable(0, table.object.put()), OpenObjects());
    if (FAILED(hr))
        return operation.Failed("GetAttachmentTable", "trying to get the attachment table for the message.", pmsg, hr);

    RowSet rows;
    hr = Acquired(HrQueryAllRows(table.get(), PropTags<PR_ATTACH_NUM>(), nullptr, nullptr, 0, rows.put()), rows);
    if (FAILED(hr))
        return operation.Failed("HrQueryAllRows", "trying to get the list of attachments for the message.", table.get(),
                                hr);
    const ScopedCount counted(OpenObjects());
    for (ULONG i = 0; i < rows->cRows; ++i) {
        const SRow &row = rows->aRow[i];
        for (ULONG column = 0; row.lpProps && column < row.cValues; ++column) {
            if (row.lpProps[column].ulPropTag != PR_ATTACH_NUM)
                continue;
            const ULONG ulAttachNum = static_cast<ULONG>(row.lpProps[column].Value.l);
            // A name without class and line number, as the contract has it.
            DebugOutputA(kTraceCall, "HrPopulateAttachList - adding attachment entry %lu, PR_ATTACH_NUM=%lu", i,
                         ulAttachNum);
            attachNums.push_back(ulAttachNum);
        }
    }
    return hr;
}

HRESULT CMAPIImpl::HrProcessAttachment(IMessage *pmsg, ULONG ulAttachNum, Attachment &attachment)
{
    const CountedOperation operation(OpenObjects(), "CMAPIImpl::HrProcessAttachment", "pmsg: %p, ulAttachNum: %u",
                                     static_cast<void *>(pmsg), ulAttachNum);
    Counted<IAttach> attach;
    HRESULT hr = OpenAttachment(operation, pmsg, ulAttachNum, attach);
    if (FAILED(hr))
        return hr;
    ULONG cValues = 0;
    MapiBuffer<SPropValue> values;
    hr = attach->GetProps(PropTags<PR_ATTACH_SIZE, PR_ATTACH_FILENAME_A, PR_ATTACH_MIME_TAG_A>(), 0, &cValues,
                          values.put());
    if (FAILED(hr))
        return operation.Failed("GetProps", "trying to get the properties for the attachment.", attach.get(), hr);
    for (ULONG i = 0; values && i < cValues; ++i) {
        const SPropValue &value = values.get()[i];
        if (value.ulPropTag == PR_ATTACH_SIZE)
            attachment.ulSize = static_cast<ULONG>(value.Value.l);
        else if (value.ulPropTag == PR_ATTACH_FILENAME_A)
            attachment.strFilename = value.Value.lpszA;
        else if (value.ulPropTag == PR_ATTACH_MIME_TAG_A)
            attachment.strMimeTag = value.Value.lpszA;
    }
    return hr;
}

HRESULT CMAPIImpl::HrStreamInAttachment(IMessage *pmsg, ULONG ulAttachNum, const tstring &szFilename)
{
    const CountedOperation operation(OpenObjects(), "CMAPIImpl::HrStreamInAttachment",
                                     "pmsg: %p, ulAttachNum: %u, szFilename: \"%s\"", static_cast<void *>(pmsg),
                                     ulAttachNum, szFilename.c_str());
    Counted<IAttach> attach;
    HRESULT hr = OpenAttachment(operation, pmsg, ulAttachNum, attach);
    if (FAILED(hr))
        return hr;

    AttachmentSource attachment;
    {
        ULONG cValues = 0;
        MapiBuffer<SPropValue> values;
        hr = attach->GetProps(PropTags<PR_ATTACH_METHOD, PR_ATTACH_FILENAME_A, PR_ATTACH_LONG_FILENAME_A,
                                       PR_ATTACH_PATHNAME_A, PR_ATTACH_LONG_PATHNAME_A, PR_ATTACH_MIME_TAG_A>(),
                              0, &cValues, values.put());
        if (FAILED(hr))
            return operation.Failed("GetProps", "trying to get the properties for the attachment.", attach.get(), hr);
        FillSource(values.get(), cValues, attachment);
    }

    AttachmentStream source;
    hr = attachment.IsVoice() ? OpenByMethod(attach.get(), attachment, OpenObjects(), source) : E_FAIL;
    if (FAILED(hr))
        return operation.Failed(
            "OpenAttach",
            // Under this name whatever call gave no stream, as the contract has it.
            "trying to open the attachment (method=%08lx, filename=\"%s\", pathname=\"%s\", mimetag=\"%s\").",
            attach.get(), hr, attachment.lMethod, attachment.strFilename.c_str(), attachment.strPathname.c_str(),
            attachment.strMimeTag.c_str());
    return SaveStreamToFile(source.stream.get(), attachment.strMimeTag == kWindowsMediaTag, szFilename.c_str());
}
