// What stores, folders, messages and attachments share: GetProps over what was read, and streams over properties.
#include "localmapi/provider/store/StoredObject.h"
#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/property/RowPacker.h"
#include "localmapi/provider/stream/Stream.h"
#include "localmapi/provider/stream/TextStream.h"
#include "localmapi/storage/Spool.h"
#include "platform/lifetime/Lasting.h"

#include <algorithm>

namespace localmapi
{

namespace
{

// Stands for a property that is to be had through OpenProperty only.
const storage::Value &g_onlyOpened = lifetime::LastingFrom([] { return storage::Value(storage::StoredStream{}); });

const storage::Value *ValueFor(const storage::PropertyBag &bag, ULONG tag)
{
    const storage::Property *property = bag.FindId(static_cast<std::uint16_t>(PROP_ID(tag)));
    if (!property)
        return nullptr;
    if (PROP_TYPE(tag) == PT_OBJECT)
        return storage::TagType(property->tag) == storage::Type::Object ? &g_onlyOpened : nullptr;
    return property->tag == StorageTag(tag) ? &property->value : nullptr;
}

} // namespace

bool IsComputedEverywhere(storage::Tag tag)
{
    switch (PROP_ID(tag)) {
    case PROP_ID(PR_RECORD_KEY):
    case PROP_ID(PR_INSTANCE_KEY):
    case PROP_ID(PR_STORE_ENTRYID):
    case PROP_ID(PR_STORE_RECORD_KEY):
    case PROP_ID(PR_STORE_SUPPORT_MASK):
    case PROP_ID(PR_MAPPING_SIGNATURE):
    case PROP_ID(PR_OBJECT_TYPE):
    case PROP_ID(PR_ACCESS):
    case PROP_ID(PR_ACCESS_LEVEL):
    case PROP_ID(PR_LAST_MODIFICATION_TIME):
    case storage::TagId(storage::kObjectId):
    case storage::TagId(storage::kParentId):
    case storage::TagId(storage::kChangeNumber):
        return true;
    default:
        return false;
    }
}

std::optional<std::vector<storage::Tag>> ReadableTags(const SPropTagArray *tags)
{
    std::vector<storage::Tag> readable;
    readable.reserve(tags->cValues);
    for (ULONG i = 0; i < tags->cValues; ++i) {
        const ULONG tag = tags->aulPropTag[i];
        if (PROP_TYPE(tag) == PT_UNSPECIFIED)
            return {};
        if (IsValueType(PROP_TYPE(tag)) || PROP_TYPE(tag) == PT_OBJECT)
            readable.push_back(StorageTag(tag));
    }
    return readable;
}

HRESULT GivePackedProps(const storage::PropertyBag &bag, const SPropTagArray *tags, ULONG flags, ULONG *count,
                        SPropValue **values)
{
    Require(count != nullptr && values != nullptr, "where the properties go");
    RequireFlags(flags, MAPI_UNICODE);
    const bool wide = (flags & MAPI_UNICODE) != 0;
    std::vector<Cell> cells;
    if (tags) {
        cells.reserve(tags->cValues);
        for (ULONG i = 0; i < tags->cValues; ++i) {
            ULONG tag = tags->aulPropTag[i];
            const auto *property = bag.FindId(static_cast<std::uint16_t>(PROP_ID(tag)));
            if (PROP_TYPE(tag) == PT_UNSPECIFIED && property)
                tag = ClientTag(property->tag, wide);
            cells.push_back({tag, ValueFor(bag, tag)});
        }
    } else {
        cells.reserve(bag.size());
        for (const storage::Property &property : bag) {
            const ULONG tag = ClientTag(property.tag, wide);
            cells.push_back({tag, ValueFor(bag, tag)});
        }
    }
    RowPacker packer;
    auto block = packer.Pack(cells);
    *count = static_cast<ULONG>(cells.size());
    *values = block.release();
    return packer.AnyError() ? MAPI_W_ERRORS_RETURNED : S_OK;
}

bool IsStreamInterface(const IID &iid)
{
    return iid == IID_IStream || iid == IID_IStreamDocfile || iid == IID_ISequentialStream;
}

namespace
{

// The stored bytes of a value; null for one that is no text, bytes or object.
std::shared_ptr<const storage::Stream> StoredBytes(storage::Objects &objects, const storage::Value &value)
{
    if (const auto *text = std::get_if<std::string>(&value))
        return StreamOfText(*text);
    if (const auto *bytes = std::get_if<storage::Bytes>(&value))
        return StreamOfBytes(*bytes);
    if (const auto *stream = std::get_if<storage::StoredStream>(&value))
        return std::shared_ptr<const storage::Stream>(objects.OpenStream(*stream));
    if (const auto *spool = std::get_if<storage::SpoolPtr>(&value))
        return *spool;
    return nullptr;
}

storage::Value BytesFromClient(const std::shared_ptr<const storage::Spool> &content)
{
    if (content->size() > storage::Objects::kLongest)
        return content;
    storage::Bytes bytes(static_cast<std::size_t>(content->size()));
    content->Read(0, bytes.data(), bytes.size());
    return bytes;
}

} // namespace

void OpenPropertyStream(StreamHost &host, IUnknown *owner, const IID &iid, const StreamRequest &request,
                        IUnknown **stream)
{
    const ULONG type = PROP_TYPE(request.tag);
    const bool text = type == PT_STRING8 || type == PT_UNICODE;
    const bool wide = type == PT_UNICODE;
    if (!IsStreamInterface(iid) || (!text && type != PT_BINARY && type != PT_OBJECT))
        throw Failure(MAPI_E_INTERFACE_NOT_SUPPORTED, "The property can not be opened as what was asked for.");
    const storage::Tag tag = StorageTag(request.tag);
    if (request.Writes())
        host.RequireStreamable(tag);

    const auto property = host.FindForStream(tag);
    const bool fits = property && (storage::TagType(property->tag) == storage::Type::Text) == text;
    if (!fits && !(request.flags & MAPI_CREATE))
        throw Failure(MAPI_E_NOT_FOUND, "The object does not have the property " + HexText(request.tag) + ".");

    StreamSettings settings;
    settings.owner = Share<IUnknown>(owner);
    settings.append = (request.flags & STREAM_APPEND) != 0;
    if (request.flags & MAPI_CREATE) {
        settings.changed = true;
    } else {
        settings.content = StoredBytes(host.StreamObjects(), property->value);
        if (!settings.content)
            throw Failure(MAPI_E_INTERFACE_NOT_SUPPORTED, "The property can not be opened as a stream.");
        if (text)
            settings.content = TextForClient(*settings.content, wide, !request.Writes());
    }
    settings.behaviour = host.StreamBehaviour();
    settings.opened = &host.StreamsForWriting();
    if (request.Writes()) {
        // The object outlives the stream, which holds a reference to it.
        settings.commit = [&host, tag, text, wide](const std::shared_ptr<const storage::Spool> &content) {
            host.TakeFromStream(tag, text ? TextFromClient(*content, wide) : BytesFromClient(content));
        };
    }
    *stream = MakeStream(std::move(settings)).release();
}

} // namespace localmapi
