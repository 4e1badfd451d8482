// Resolving what stands in an address list: a client's names become the directory's entries or one-off recipients.
// Functions throw Failure or storage::Error.
#pragma once
#include "localmapi/provider/site/SessionContext.h"
#include "localmapi/storage/Value.h"

#include <mapix.h>

#include <optional>
#include <string>
#include <string_view>

namespace localmapi
{

enum class Resolution { Resolved, NotFound, Ambiguous };

// "Name [SMTP:a@b]" with any address type, and bare "a@b": a recipient that needs no directory.
std::optional<EntryId> ParseOneOffText(std::string_view text);

// One name against the directory and then, if `oneOffs`, as a one-off recipient; its properties go to `found`.
Resolution ResolveOne(const SessionContext &session, std::string_view name, bool oneOffs, storage::PropertyBag &found);

// The display name of an entry as UTF-8, narrow or wide; nothing when it has none.
std::optional<std::string> DisplayNameOf(const ADRENTRY &entry);
// Whether the entry is resolved: it has a long enough PR_ENTRYID.
bool IsResolved(const ADRENTRY &entry);

// Replaces the entry's array by a new one: the tags wanted (null: those that resolving gives) with what `found` knows
// of them, then every other property the entry had. The old array is freed.
void ReplaceEntry(ADRENTRY &entry, const storage::PropertyBag &found, const SPropTagArray *tags, bool unicode);

} // namespace localmapi
