// How a session is worse to its client than this provider has to be, as other Extended MAPI providers are: rows with
// short values, few rows at a time, a connection that is lost, slow answers. For tests of clients; a session has one
// only where the environment asks for it (see docs/localmapi.md). For any thread.
#pragma once
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string_view>

namespace localmapi
{

class Behaviour;
// Null for a session that behaves as usual.
using BehaviourPtr = std::shared_ptr<Behaviour>;

class Behaviour
{
  public:
    // Of a text like "cut=255,rows=10,drop=200,slow=30", each part at most once. Failure(MAPI_E_BAD_VALUE) that quotes
    // what can't be understood.
    static BehaviourPtr FromText(std::string_view text);

    // At the beginning of each call of the session's own methods, and of each call on what was opened through it.
    // Failure(MAPI_E_NETWORK_ERROR) once the session is dropped.
    void OnSessionCall();
    void OnObjectCall();
    // The same failure; counts no call.
    void RequireConnected() const;

    // How many bytes of text or binary a row shows of a value; 0 for all of them.
    std::size_t CutTo() const { return m_cut; }
    // How many rows one call gives.
    std::int64_t MostRows() const { return m_rows; }

  private:
    Behaviour() = default;
    void Set(std::string_view part);

    std::size_t m_cut = 0;
    std::int64_t m_rows = std::numeric_limits<std::int64_t>::max();
    std::int64_t m_drop = std::numeric_limits<std::int64_t>::max(); // the calls that are answered
    std::int64_t m_slow = 0;                                        // in ms
    std::atomic<std::int64_t> m_calls{0};
};

} // namespace localmapi
