// IStream over a property. Reading goes to where the bytes are; the first write begins a copy of its own, which
// becomes the property's value at Commit, with the object's SaveChanges, or with the stream's last release. Clones
// share bytes and have places of their own.
#pragma once
#include "localmapi/provider/base/Behaviour.h"
#include "localmapi/provider/base/ComObject.h"
#include "localmapi/storage/Spool.h"
#include "localmapi/storage/Stream.h"
#include "localmapi/storage/Value.h"

#include "platform/locks/Mutex.h"
#include <functional>
#include <memory>
#include <vector>

namespace localmapi
{

// A property holds no more than this: what IStream counts in a ULONG.
inline constexpr std::uint64_t kStreamLimit = 0xFFFFFFFF;

// What an object has open for writing. Its SaveChanges takes over what was written until then: a client need not commit
// or release a stream before.
class OpenStreams
{
  public:
    class Writer
    {
      public:
        virtual HRESULT CommitNow() = 0; // may throw

      protected:
        ~Writer() = default;
    };
    void Add(std::weak_ptr<Writer> writer);
    // Under no lock of the object, which each stream takes after its own. May throw.
    HRESULT Commit();

  private:
    locks::Mutex m_lock;
    std::vector<std::weak_ptr<Writer>> m_writers GUARDED_BY(m_lock);
};

struct StreamSettings {
    // The bytes as they are; null for none.
    std::shared_ptr<const storage::Stream> content;
    // Takes new content over; without it the stream can only be read. May throw.
    std::function<void(const std::shared_ptr<const storage::Spool> &content)> commit;
    // Content counts as changed from the beginning, as of a property that is made.
    bool changed = false;
    // The place to begin at is the end.
    bool append = false;
    // Where a stream that can be written is entered; part of the owner.
    OpenStreams *opened = nullptr;
    // Of the session, if the stream is of an object of one.
    BehaviourPtr behaviour = {};
    // Kept until the stream goes.
    ComPtr<IUnknown> owner;
};

ComPtr<IStream> MakeStream(StreamSettings settings);

// Bytes in memory as a stream.
std::shared_ptr<const storage::Stream> StreamOfBytes(storage::Bytes bytes);
std::shared_ptr<const storage::Stream> StreamOfText(std::string text);

} // namespace localmapi
