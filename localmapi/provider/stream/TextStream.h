// Stored text (UTF-8) as the bytes of a client's narrow or wide text stream, and back, in pieces. The stream of a text
// property that is read carries the terminator, as the value does that a client gets whole; one that a client writes
// may carry it.
#pragma once
#include "localmapi/storage/Stream.h"
#include "localmapi/storage/Value.h"

#include <memory>

namespace localmapi
{

std::shared_ptr<const storage::Stream> TextForClient(const storage::Stream &stored, bool wide, bool terminated);

// Short text as a value, longer text as a spool.
storage::Value TextFromClient(const storage::Stream &content, bool wide);

} // namespace localmapi
