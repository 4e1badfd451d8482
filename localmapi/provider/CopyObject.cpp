#include "CopyObject.h"

#include "Memory.h"
#include "RowPacker.h"
#include "StoredObject.h"
#include "Stream.h"
#include "Text.h"
#include "TextStream.h"

#include <algorithm>

namespace localmapi
{

using storage::PropertyBag;

namespace
{

constexpr std::size_t kPiece = 64 * 1024;
constexpr ULONG kTagLimit = 0x10000;

std::shared_ptr<const storage::Stream> BytesOf(const storage::Value &value, storage::Objects &objects)
{
    if (const auto *stream = std::get_if<storage::StoredStream>(&value))
        return objects.openStream(*stream);
    if (const auto *spool = std::get_if<storage::SpoolPtr>(&value))
        return *spool;
    if (const auto *bytes = std::get_if<storage::Bytes>(&value))
        return StreamOfBytes(*bytes);
    return nullptr;
}

void Pump(const storage::Stream &from, IStream &to)
{
    std::vector<BYTE> piece(kPiece);
    std::uint64_t offset = 0;
    while (const std::size_t read = from.read(offset, piece.data(), piece.size())) {
        for (std::size_t done = 0; done < read;) {
            ULONG written = 0;
            Check(to.Write(piece.data() + done, static_cast<ULONG>(read - done), &written), "IStream::Write");
            if (written == 0)
                throw Failure(STG_E_MEDIUMFULL, "The target takes no more.");
            done += written;
        }
        offset += read;
    }
    Check(to.Commit(0), "IStream::Commit");
}

} // namespace

CopyJob::CopyJob(IUnknown *source, const Arguments &arguments)
    : m_everything(arguments.everything), m_flags(arguments.flags)
{
    RequireFlags(m_flags, MAPI_MOVE | MAPI_NOREPLACE | MAPI_DIALOG | MAPI_DECLINE_OK);
    if (m_flags & MAPI_MOVE)
        NoSupport("copying that deletes what was copied");
    Require(arguments.target != nullptr && arguments.iid != nullptr, "the target");
    const SPropTagArray *tags = arguments.tags;
    Require(m_everything || (tags && tags->cValues > 0), "the properties to copy");
    Require(!tags || tags->cValues <= kTagLimit, "the list of properties");
    for (ULONG i = 0; tags && i < tags->cValues; ++i) {
        m_tags.push_back(tags->aulPropTag[i]);
        m_ids.insert(static_cast<std::uint16_t>(PROP_ID(tags->aulPropTag[i])));
    }
    auto *target = static_cast<IUnknown *>(arguments.target);
    Ref<IUnknown> asked, self, other;
    if (FAILED(target->QueryInterface(*arguments.iid, reinterpret_cast<void **>(asked.put()))) ||
        FAILED(target->QueryInterface(IID_IMAPIProp, reinterpret_cast<void **>(m_target.put()))))
        throw Failure(MAPI_E_INTERFACE_NOT_SUPPORTED, "The target does not have the interface that was named.");
    Check(source->QueryInterface(IID_IUnknown, reinterpret_cast<void **>(self.put())), "IUnknown::QueryInterface");
    Check(target->QueryInterface(IID_IUnknown, reinterpret_cast<void **>(other.put())), "IUnknown::QueryInterface");
    if (self.get() == other.get())
        throw Failure(MAPI_E_NO_ACCESS, "The target is the source itself.");
}

void CopyJob::Problem(ULONG tag, SCODE code)
{
    ULONG index = 0;
    for (ULONG i = 0; !m_everything && i < m_tags.size(); ++i)
        if (PROP_ID(m_tags[i]) == PROP_ID(tag))
            index = i;
    m_problems.Add(index, tag, code);
}

void CopyJob::CopyProperties(const PropertyBag &bag, storage::Objects &objects)
{
    std::set<ULONG> there;
    if (!replaces()) {
        Block<SPropTagArray> list;
        Check(m_target->GetPropList(MAPI_UNICODE, list.put()), "IMAPIProp::GetPropList");
        for (ULONG i = 0; i < list->cValues; ++i)
            there.insert(PROP_ID(list->aulPropTag[i]));
    }
    std::vector<const storage::Property *> few, many;
    for (const storage::Property &property : bag) {
        if (!Wants(property.tag) || there.count(PROP_ID(property.tag)))
            continue;
        const bool streamed = std::holds_alternative<storage::StoredStream>(property.value) ||
                              std::holds_alternative<storage::SpoolPtr>(property.value) ||
                              storage::tagType(property.tag) == storage::Type::Object;
        (streamed ? many : few).push_back(&property);
    }
    CopyShort(few);
    for (const storage::Property *property : many)
        CopyLong(*property, objects);
}

void CopyJob::CopyShort(const std::vector<const storage::Property *> &properties)
{
    if (properties.empty())
        return;
    std::vector<Cell> cells;
    cells.reserve(properties.size());
    for (const storage::Property *property : properties)
        cells.push_back({ClientTag(property->tag, true), &property->value});
    RowPacker packer;
    const auto values = packer.Pack(cells);
    Block<SPropProblemArray> refused;
    Check(m_target->SetProps(static_cast<ULONG>(cells.size()), values.get(), refused.put()), "IMAPIProp::SetProps");
    for (ULONG i = 0; refused && i < refused->cProblem; ++i)
        if (refused->aProblem[i].scode != MAPI_E_COMPUTED || !m_everything)
            Problem(refused->aProblem[i].ulPropTag, refused->aProblem[i].scode);
}

void CopyJob::CopyLong(const storage::Property &property, storage::Objects &objects)
{
    auto content = BytesOf(property.value, objects);
    if (!content)
        return;
    const ULONG tag = ClientTag(property.tag, true);
    Ref<IStream> stream;
    const HRESULT hr = m_target->OpenProperty(tag, &IID_IStream, STGM_READWRITE, MAPI_CREATE | MAPI_MODIFY,
                                              reinterpret_cast<LPUNKNOWN *>(stream.put()));
    if (FAILED(hr)) {
        if (hr != MAPI_E_COMPUTED || !m_everything)
            Problem(tag, hr);
        return;
    }
    if (PROP_TYPE(tag) == PT_UNICODE)
        content = TextForClient(*content, true, false);
    Pump(*content, *stream.get());
}

void CopyJob::Missing(const PropertyBag &bag, const std::set<std::uint16_t> &parts)
{
    for (ULONG i = 0; !m_everything && i < m_tags.size(); ++i) {
        const auto id = static_cast<std::uint16_t>(PROP_ID(m_tags[i]));
        if (!bag.findId(id) && !parts.count(id))
            m_problems.Add(i, m_tags[i], MAPI_E_NOT_FOUND);
    }
}

} // namespace localmapi
