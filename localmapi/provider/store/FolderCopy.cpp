// CopyTo and CopyProps of folders.
#include "localmapi/provider/base/Memory.h"
#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/store/CopyObject.h"
#include "localmapi/provider/store/Folder.h"
#include "localmapi/provider/store/StoreTags.h"
#include "localmapi/storage/View.h"

namespace localmapi
{

using storage::ObjectId;
using storage::PropertyBag;

namespace
{

std::vector<ObjectId> MessagesIn(const storage::Site &site, const storage::Container &container)
{
    const storage::View view(site, container);
    std::vector<ObjectId> ids;
    storage::Place place = storage::Place::Beginning();
    for (auto rows = view.Read(place, storage::Direction::Forward, kRowsAtOnce, {}); !rows.empty();
         rows = view.Read(place, storage::Direction::Forward, kRowsAtOnce, {})) {
        for (const storage::Row &row : rows)
            ids.push_back(row.id);
        place = rows.back().After();
    }
    return ids;
}

} // namespace

// A folder keeps its own name: beside the source, or instead of it, it is another folder.
PropertyBag Folder::Copyable()
{
    PropertyBag bag = StoredObject::Copyable();
    bag.Erase(PR_DISPLAY_NAME_W);
    return bag;
}

void Folder::CopyContents(const storage::Container &container, ObjectId to)
{
    m_store->objects.CopyMessages(MessagesIn(m_store->site, container), to);
}

void Folder::Copy(CopyJob &job)
{
    const auto target = job.TargetAs<IMAPIFolder>(IID_IMAPIFolder);
    const ObjectId to = target ? DestinationOf(&IID_IMAPIFolder, target.get()) : 0;
    for (ObjectId folder = to; folder;) {
        if (folder == m_id)
            throw Failure(folder == to ? MAPI_E_NO_ACCESS : MAPI_E_FOLDER_CYCLE,
                          "The target is the folder itself or lies in it.");
        const auto info = m_store->objects.Find(folder);
        folder = info ? info->parent : 0;
    }
    PropertyBag bag;
    std::vector<ObjectId> subfolders;
    {
        const locks::Hold hold(m_lock);
        bag = Copyable();
        subfolders = Subfolders(m_id);
    }
    job.CopyProperties(bag, m_store->objects);
    job.Missing(
        bag, {PROP_ID(PR_CONTAINER_CONTENTS), PROP_ID(PR_FOLDER_ASSOCIATED_CONTENTS), PROP_ID(PR_CONTAINER_HIERARCHY)});
    if (!target)
        return;
    if (job.Wants(PR_CONTAINER_CONTENTS))
        CopyContents({storage::Container::Kind::Contents, m_id}, to);
    if (job.Wants(PR_FOLDER_ASSOCIATED_CONTENTS))
        CopyContents({storage::Container::Kind::Associated, m_id}, to);
    if (!job.Wants(PR_CONTAINER_HIERARCHY))
        return;
    for (const ObjectId id : subfolders) {
        const auto from = MakeFolder(m_store, m_store->objects.Info(id), false);
        const PropertyBag names = m_store->objects.Read(id, {PR_DISPLAY_NAME_W});
        const auto *name = names.get<std::string>(PR_DISPLAY_NAME_W);
        WideText wide = WideFromUtf8(name ? *name : std::string());
        ComPtr<IMAPIFolder> copy;
        Check(target->CreateFolder(FOLDER_GENERIC, reinterpret_cast<LPTSTR>(wide.data()), nullptr, nullptr,
                                   MAPI_UNICODE | OPEN_IF_EXISTS, copy.put()),
              "IMAPIFolder::CreateFolder");
        Check(from->CopyTo(0, nullptr, nullptr, 0, nullptr, &IID_IMAPIFolder, copy.get(), job.Flags(), nullptr),
              "IMAPIFolder::CopyTo");
    }
}

} // namespace localmapi
