// Property tags, values and bags as the storage layer knows them. A tag is (id << 16 | type); the type numbers are
// those of MAPI, so that a tag is the same number on both sides, with one difference: text is stored once, as UTF-8,
// under the wide type (Text, 0x001F). The layer above turns narrow text tags into wide ones before it calls.
#pragma once
#include <array>
#include <compare>
#include <cstdint>
#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace localmapi::storage
{

class Spool;

using Tag = std::uint32_t;
using ObjectId = std::int64_t; // of folders, messages, attachments, users, ...; 0 is none; never used twice
using ChangeNumber = std::int64_t;
using Bytes = std::vector<std::uint8_t>;
using Guid = std::array<std::uint8_t, 16>;

enum class Type : std::uint16_t {
    Int16 = 0x0002,
    Int32 = 0x0003,
    Float = 0x0004,
    Double = 0x0005,
    Currency = 0x0006,  // held as std::int64_t
    AppTime = 0x0007,   // held as double
    ErrorCode = 0x000A, // held as std::int32_t
    Boolean = 0x000B,
    Int64 = 0x0014,
    Text = 0x001F, // UTF-8
    Time = 0x0040, // held as std::int64_t: 100 ns since 1601 UTC
    Uid = 0x0048,  // held as Guid
    Binary = 0x0102,
    Object = 0x000D // attachment data that is a storage or an embedded message; held as Bytes or a stream
};
constexpr std::uint16_t kMultiple = 0x1000; // added to a type: a list of such values

constexpr Tag MakeTag(std::uint16_t id, Type type)
{
    return static_cast<Tag>(id) << 16 | static_cast<std::uint16_t>(type);
}
constexpr std::uint16_t TagId(Tag tag)
{
    return static_cast<std::uint16_t>(tag >> 16);
}
constexpr bool IsMultiple(Tag tag)
{
    return (tag & kMultiple) != 0;
}
constexpr Type TagType(Tag tag) // of the single value
{
    return static_cast<Type>(tag & 0xFFFF & ~kMultiple);
}

// A value too long to be handed out at once: it is read through Objects::OpenStream.
struct StoredStream {
    std::int64_t id = 0;
    std::uint64_t size = 0;
    bool operator==(const StoredStream &) const = default;
};
using SpoolPtr = std::shared_ptr<const Spool>;

// An alternative that is never held. Where all of them can be moved without an exception, the standard library of GCC
// 12 takes a variant for one that always has a value, and where copying it fails it destroys one that is not there.
// This type is not counted among those.
struct NeverHeld {
    NeverHeld() = delete;
    NeverHeld(const NeverHeld &) noexcept {} // of its own, which is what counts
    NeverHeld &operator=(const NeverHeld &) = default;
    auto operator<=>(const NeverHeld &) const = default;
};

// One value. Which alternative holds it follows from the type in its tag; std::monostate says that there is none.
// StoredStream comes out for long values, and may be put in to copy one; a SpoolPtr is put in for data that was
// written in pieces.
using Value = std::variant<std::monostate, bool, std::int16_t, std::int32_t, std::int64_t, float, double, std::string,
                           Bytes, Guid, std::vector<std::int16_t>, std::vector<std::int32_t>, std::vector<std::int64_t>,
                           std::vector<float>, std::vector<double>, std::vector<std::string>, std::vector<Bytes>,
                           std::vector<Guid>, StoredStream, SpoolPtr, NeverHeld>;

inline bool IsAbsent(const Value &value)
{
    return std::holds_alternative<std::monostate>(value);
}

// Whether the alternative is the one for the tag's type (streams fit Text, Binary and Object).
bool Fits(Tag tag, const Value &value);

// The bytes a value takes: text without a terminator, lists summed, streams by their size.
std::uint64_t ByteSize(const Value &value);

struct Property {
    Tag tag;
    Value value;
};

// Properties by tag. An id is there once: setting it with another type replaces it. Kept in ascending order of tags.
class PropertyBag
{
  public:
    PropertyBag() = default;
    PropertyBag(std::initializer_list<Property> properties);

    void Set(Tag tag, Value value); // throws Invalid when the value doesn't fit the tag
    bool Erase(Tag tag);            // whatever type the id has
    void clear() { m_properties.clear(); }

    const Value *Find(Tag tag) const;               // exactly this tag
    const Property *FindId(std::uint16_t id) const; // whatever type
    template <class T> const T *get(Tag tag) const  // the value if it is there as a T
    {
        const Value *value = Find(tag);
        return value ? std::get_if<T>(value) : nullptr;
    }

    bool empty() const { return m_properties.empty(); }
    std::size_t size() const { return m_properties.size(); }
    auto begin() const { return m_properties.begin(); }
    auto end() const { return m_properties.end(); }

  private:
    std::vector<Property> m_properties;
};

} // namespace localmapi::storage
