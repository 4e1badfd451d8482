#include "localmapi/storage/EntryReader.h"
#include "localmapi/storage/ChangeEntry.h"
#include "localmapi/storage/Database.h"

namespace localmapi::storage
{

bool EntrySummary::Concerns(const Container &container) const
{
    if (lost)
        return true;
    switch (container.kind) {
    case Container::Kind::Contents:
    case Container::Kind::Associated:
        return contents.count(container.of) != 0;
    case Container::Kind::Folders:
        return hierarchy.count(container.of) != 0;
    case Container::Kind::FoldersDeep:
        return folders;
    case Container::Kind::Directory:
        return directory;
    default:
        return false;
    }
}

EntryReader::EntryReader(Site site) : m_site(std::move(site))
{
    Reader reader(m_site.GetDatabase());
    m_position = LastEntry(*reader);
}

EntrySummary EntryReader::Next()
{
    Reader reader(m_site.GetDatabase());
    EntrySummary summary;
    summary.upTo = LastEntry(*reader);
    if (summary.upTo == m_position)
        return summary;
    summary.lost = !HoldsEntriesAfter(*reader, m_position);
    if (!summary.lost) {
        Statement rows =
            reader->Prepare("SELECT DISTINCT kind, container FROM change_entry WHERE number > ? ORDER BY kind");
        rows.Bind(m_position);
        while (rows.Step())
            switch (static_cast<ObjectKind>(rows.Integer(0))) {
            case ObjectKind::Message:
                summary.contents.insert(rows.Integer(1));
                break;
            case ObjectKind::Folder:
                summary.folders = true;
                summary.hierarchy.insert(rows.Integer(1));
                break;
            default:
                summary.directory = true;
                break;
            }
    }
    m_position = summary.upTo;
    return summary;
}

} // namespace localmapi::storage
