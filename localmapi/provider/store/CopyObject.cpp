// Writing to the target of a copy: short properties in one SetProps, long ones as streams, piece by piece.
#include "localmapi/provider/store/CopyObject.h"
#include "localmapi/provider/base/Memory.h"
#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/property/RowPacker.h"
#include "localmapi/provider/store/StoredObject.h"
#include "localmapi/provider/stream/Stream.h"
#include "localmapi/provider/stream/TextStream.h"

#include <algorithm>

namespace localmapi
{

using storage::PropertyBag;

namespace
{

constexpr std::size_t kPiece = 64 * 1024;
constexpr ULONG kTagLimit = 0x10000;
constexpr std::uint16_t kFirstNamed = 0x8000;

// What objects have in common whose named properties have the same identifiers; no bytes where there is none.
storage::Bytes MappingOf(IMAPIProp &object)
{
    SizedSPropTagArray(1, tags) = {1, {PR_MAPPING_SIGNATURE}};
    ULONG count = 0;
    Block<SPropValue> values;
    if (FAILED(object.GetProps(reinterpret_cast<SPropTagArray *>(&tags), 0, &count, values.put())) || count != 1 ||
        values->ulPropTag != PR_MAPPING_SIGNATURE)
        return {};
    return {values->Value.bin.lpb, values->Value.bin.lpb + values->Value.bin.cb};
}

std::shared_ptr<const storage::Stream> BytesOf(const storage::Value &value, storage::Objects &objects)
{
    if (const auto *stream = std::get_if<storage::StoredStream>(&value))
        return objects.OpenStream(*stream);
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
    while (const std::size_t read = from.Read(offset, piece.data(), piece.size())) {
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
    ComPtr<IUnknown> asked, self, other;
    if (FAILED(target->QueryInterface(*arguments.iid, reinterpret_cast<void **>(asked.put()))) ||
        FAILED(target->QueryInterface(IID_IMAPIProp, reinterpret_cast<void **>(m_target.put()))))
        throw Failure(MAPI_E_INTERFACE_NOT_SUPPORTED, "The target does not have the interface that was named.");
    Check(source->QueryInterface(IID_IUnknown, reinterpret_cast<void **>(self.put())), "IUnknown::QueryInterface");
    Check(source->QueryInterface(IID_IMAPIProp, reinterpret_cast<void **>(m_source.put())), "IUnknown::QueryInterface");
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
    if (!Replaces()) {
        Block<SPropTagArray> list;
        Check(m_target->GetPropList(MAPI_UNICODE, list.put()), "IMAPIProp::GetPropList");
        for (ULONG i = 0; i < list->cValues; ++i)
            there.insert(PROP_ID(list->aulPropTag[i]));
    }
    std::vector<std::uint16_t> named;
    for (const storage::Property &property : bag)
        if (storage::TagId(property.tag) >= kFirstNamed && Wants(property.tag))
            named.push_back(storage::TagId(property.tag));
    MapNames(named);
    std::vector<const storage::Property *> few, many;
    for (const storage::Property &property : bag) {
        const ULONG tag = Wants(property.tag) ? TargetTag(property.tag) : 0;
        if (!tag || there.count(PROP_ID(tag)))
            continue;
        const bool streamed = std::holds_alternative<storage::StoredStream>(property.value) ||
                              std::holds_alternative<storage::SpoolPtr>(property.value) ||
                              storage::TagType(property.tag) == storage::Type::Object;
        (streamed ? many : few).push_back(&property);
    }
    CopyShort(few);
    for (const storage::Property *property : many)
        CopyLong(*property, objects);
}

void CopyJob::MapNames(const std::vector<std::uint16_t> &ids)
{
    const storage::Bytes mapping = ids.empty() ? storage::Bytes() : MappingOf(*m_source.get());
    if (ids.empty() || mapping == MappingOf(*m_target.get()))
        return;
    Block<SPropTagArray> tags(static_cast<SPropTagArray *>(AllocateRootBytes(CbNewSPropTagArray(ids.size()))));
    tags->cValues = static_cast<ULONG>(ids.size());
    for (std::size_t i = 0; i < ids.size(); ++i)
        tags->aulPropTag[i] = PROP_TAG(PT_UNSPECIFIED, ULONG{ids[i]});
    SPropTagArray *asked = tags.get();
    ULONG count = 0;
    Block<MAPINAMEID *> names;
    Check(m_source->GetNamesFromIDs(&asked, nullptr, 0, &count, names.put()), "IMAPIProp::GetNamesFromIDs");
    std::vector<MAPINAMEID *> known;
    std::vector<std::uint16_t> knownIds;
    for (ULONG i = 0; i < count; ++i) {
        m_names[ids[i]] = 0;
        if (names[i]) {
            known.push_back(names[i]);
            knownIds.push_back(ids[i]);
        }
    }
    Block<SPropTagArray> given;
    HRESULT hr = MAPI_E_NOT_FOUND;
    if (!known.empty())
        hr = m_target->GetIDsFromNames(static_cast<ULONG>(known.size()), known.data(), MAPI_CREATE, given.put());
    for (std::size_t i = 0; SUCCEEDED(hr) && i < known.size() && i < given->cValues; ++i)
        if (PROP_TYPE(given->aulPropTag[i]) != PT_ERROR)
            m_names[knownIds[i]] = static_cast<std::uint16_t>(PROP_ID(given->aulPropTag[i]));
    for (const auto &[id, there] : m_names)
        if (!there)
            Problem(PROP_TAG(PT_UNSPECIFIED, ULONG{id}), FAILED(hr) ? hr : MAPI_E_NOT_FOUND);
}

ULONG CopyJob::TargetTag(storage::Tag tag) const
{
    const auto named = m_names.find(storage::TagId(tag));
    const ULONG same = ClientTag(tag, true);
    if (named == m_names.end())
        return same;
    return named->second ? PROP_TAG(PROP_TYPE(same), ULONG{named->second}) : 0;
}

void CopyJob::CopyShort(const std::vector<const storage::Property *> &properties)
{
    if (properties.empty())
        return;
    std::vector<Cell> cells;
    cells.reserve(properties.size());
    for (const storage::Property *property : properties)
        cells.push_back({TargetTag(property->tag), &property->value});
    RowPacker packer;
    const auto values = packer.Pack(cells);
    Block<SPropProblemArray> refused;
    Check(m_target->SetProps(static_cast<ULONG>(cells.size()), values.get(), refused.put()), "IMAPIProp::SetProps");
    for (ULONG i = 0; refused && i < refused->cProblem; ++i) {
        const SPropProblem &problem = refused->aProblem[i];
        if (problem.ulIndex < properties.size() && (problem.scode != MAPI_E_COMPUTED || !m_everything))
            Problem(ClientTag(properties[problem.ulIndex]->tag, true), problem.scode);
    }
}

void CopyJob::CopyLong(const storage::Property &property, storage::Objects &objects)
{
    auto content = BytesOf(property.value, objects);
    if (!content)
        return;
    const ULONG tag = TargetTag(property.tag);
    ComPtr<IStream> stream;
    const HRESULT hr = m_target->OpenProperty(tag, &IID_IStream, STGM_READWRITE, MAPI_CREATE | MAPI_MODIFY,
                                              reinterpret_cast<LPUNKNOWN *>(stream.put()));
    if (FAILED(hr)) {
        if (hr != MAPI_E_COMPUTED || !m_everything)
            Problem(ClientTag(property.tag, true), hr);
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
        if (!bag.FindId(id) && !parts.count(id))
            m_problems.Add(i, m_tags[i], MAPI_E_NOT_FOUND);
    }
}

} // namespace localmapi
