// IStream over a property. Reading goes to where the bytes are; the first write begins a copy of its own, which
// becomes the property's value at Commit or with the stream's last release. Clones share bytes and have places of
// their own.
#pragma once
#include "ComObject.h"

#include "localmapi/storage/stream.h"

#include <functional>
#include <memory>

namespace localmapi
{

// A property holds no more than this: what IStream counts in a ULONG.
inline constexpr std::uint64_t kStreamLimit = 0xFFFFFFFF;

struct StreamSettings {
    // The bytes as they are; null for none.
    std::shared_ptr<const storage::Stream> content;
    // Takes new content over; without it the stream can only be read. May throw.
    std::function<void(const std::shared_ptr<const storage::Spool> &content)> commit;
    // Content counts as changed from the beginning, as of a property that is made.
    bool changed = false;
    // The place to begin at is the end.
    bool append = false;
    // Kept until the stream goes.
    Ref<IUnknown> owner;
};

Ref<IStream> MakeStream(StreamSettings settings);

// Bytes in memory as a stream.
std::shared_ptr<const storage::Stream> StreamOfBytes(storage::Bytes bytes);
std::shared_ptr<const storage::Stream> StreamOfText(std::string text);

} // namespace localmapi
