// Long data on their way into the file, ahead of the transaction that they belong to: whoever else wants to write waits
// for a piece of them at most.
#pragma once
#include "localmapi/storage/Changes.h"
#include "localmapi/storage/Database.h"
#include <functional>

namespace localmapi::storage
{

// Does something about each value that is to lie in a stream, of the message, its attachments and what they hold: what
// `replaced` gives takes its place, unless that is nothing.
void ReplaceLongValues(MessageChanges &content, const std::function<Value(Tag, const Value &)> &replaced);

// What has more bytes of spools than this is written ahead, and so many bytes a transaction.
constexpr std::uint64_t kWrittenAtOnce = 8 * 1024 * 1024;

// What nobody came to name goes again. What a process that ended left goes when it is an hour old.
class Staging
{
  public:
    // Writes what has to be written ahead.
    Staging(Database &database, const MessageChanges &content);

    // What is to be written, with what lies in the file already.
    const MessageChanges &Content() const { return m_staged ? *m_staged : m_given; }
    // The bytes of it that are still to be written, without its recipients.
    std::uint64_t Rest() const;

  private:
    StoredStream Write(Tag tag, const Spool &spool);

    // Streams that were begun; those that still are go with it.
    struct Begun {
        explicit Begun(Database &of) : database(of) {}
        ~Begun();
        Begun(const Begun &) = delete;
        Begun &operator=(const Begun &) = delete;
        Database &database;
        std::vector<std::int64_t> streams;
    };

    const MessageChanges &m_given;
    std::optional<MessageChanges> m_staged;
    Begun m_begun;
};

// Removes what was begun and is no longer gone on with.
void RemoveForgotten(Database &database);

} // namespace localmapi::storage
