// By the facets of the Outboxes: the other messages of a site are not looked at.
#include "localmapi/storage/Unsent.h"
#include "localmapi/storage/Database.h"

namespace localmapi::storage
{

std::vector<Unsent> UnsentMessages(Site site)
{
    constexpr std::int64_t kUnsentFlag = 0x08;
    constexpr Tag kSubject = 0x0037001F;
    Reader reader(site.GetDatabase());
    Statement rows = reader->Prepare(
        "SELECT p.alias, o.id, o.modified, (SELECT value FROM property WHERE object = o.id AND tag = ?2) "
        "FROM mailbox b JOIN person p ON p.id = b.owner CROSS JOIN facet f ON f.container = b.outbox "
        "AND f.flags & (?1 | ?3) = ?1 CROSS JOIN object o ON o.facet = f.id ORDER BY p.alias_key, o.modified, o.id");
    rows.Bind(kUnsentFlag, kSubject, kFlagAssociated);
    std::vector<Unsent> unsent;
    while (rows.Step())
        unsent.push_back({rows.Text(0), rows.Integer(1), rows.Integer(2), rows.Text(3)});
    return unsent;
}

} // namespace localmapi::storage
