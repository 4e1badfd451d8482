// Lists are a count and the elements, numbers little-endian, texts and bytes each with their length before them.
#include "localmapi/storage/Codec.h"
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

namespace localmapi::storage
{

namespace
{

class ListWriter
{
  public:
    Bytes bytes;
    void raw(const void *from, std::size_t size)
    {
        auto data = static_cast<const std::uint8_t *>(from);
        bytes.insert(bytes.end(), data, data + size);
    }
    void length(std::size_t value) { number(static_cast<std::uint32_t>(value)); }
    template <class T> void number(T value) // little-endian on every machine
    {
        for (std::size_t i = 0; i < sizeof value; ++i)
            bytes.push_back(static_cast<std::uint8_t>(static_cast<std::uint64_t>(value) >> 8 * i));
    }
    void one(std::int16_t value) { number(value); }
    void one(std::int32_t value) { number(value); }
    void one(std::int64_t value) { number(value); }
    void one(float value) { number(std::bit_cast<std::uint32_t>(value)); }
    void one(double value) { number(std::bit_cast<std::uint64_t>(value)); }
    void one(const std::string &value)
    {
        length(value.size());
        raw(value.data(), value.size());
    }
    void one(const Bytes &value)
    {
        length(value.size());
        raw(value.data(), value.size());
    }
    void one(const Guid &value) { raw(value.data(), value.size()); }
};

class ListReader
{
  public:
    ListReader(const std::uint8_t *data, std::size_t size) : m_data(data), m_left(size) {}

    template <class T> std::vector<T> list()
    {
        std::uint32_t count = number<std::uint32_t>();
        std::vector<T> values;
        for (std::uint32_t i = 0; i < count; ++i)
            values.push_back(one(static_cast<T *>(nullptr)));
        if (m_left)
            damaged();
        return values;
    }

  private:
    [[noreturn]] static void damaged() { throw Error(Fault::Corrupt, "A list of values in the file is damaged."); }
    const std::uint8_t *take(std::size_t size)
    {
        if (size > m_left)
            damaged();
        m_left -= size;
        return std::exchange(m_data, m_data + size);
    }
    template <class T> T number()
    {
        const std::uint8_t *from = take(sizeof(T));
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < sizeof(T); ++i)
            value |= std::uint64_t{from[i]} << 8 * i;
        return static_cast<T>(value);
    }
    template <class T> T one(T *) { return number<T>(); }
    float one(float *) { return std::bit_cast<float>(number<std::uint32_t>()); }
    double one(double *) { return std::bit_cast<double>(number<std::uint64_t>()); }
    std::string one(std::string *)
    {
        auto length = number<std::uint32_t>();
        return std::string(reinterpret_cast<const char *>(take(length)), length);
    }
    Bytes one(Bytes *)
    {
        auto length = number<std::uint32_t>();
        auto from = take(length);
        return Bytes(from, from + length);
    }
    Guid one(Guid *)
    {
        Guid guid;
        std::memcpy(guid.data(), take(guid.size()), guid.size());
        return guid;
    }

    const std::uint8_t *m_data;
    std::size_t m_left;
};

template <class T> constexpr bool isList = false;
template <class T> constexpr bool isList<std::vector<T>> = !std::is_same_v<T, std::uint8_t>;

// SQLite keeps no value that isn't a number: it is held as the bytes of the double, which sort behind all numbers.
Bytes notANumber(double value)
{
    ListWriter writer;
    writer.one(value);
    return writer.bytes;
}

template <class T> T real(const Statement &row, int column)
{
    if (sqlite3_column_type(row.handle(), column) != SQLITE_BLOB)
        return static_cast<T>(row.real(column));
    return std::numeric_limits<T>::quiet_NaN();
}

int storageClass(Tag tag)
{
    if (isMultiple(tag))
        return SQLITE_BLOB;
    switch (tagType(tag)) {
    case Type::Float:
    case Type::Double:
    case Type::AppTime:
        return SQLITE_FLOAT;
    case Type::Text:
        return SQLITE_TEXT;
    case Type::Uid:
    case Type::Binary:
    case Type::Object:
        return SQLITE_BLOB;
    default:
        return SQLITE_INTEGER;
    }
}

} // namespace

Bytes encodeList(const Value &list)
{
    ListWriter writer;
    std::visit(
        [&](const auto &values) {
            if constexpr (isList<std::decay_t<decltype(values)>>) {
                writer.length(values.size());
                for (const auto &value : values)
                    writer.one(value);
            }
        },
        list);
    return std::move(writer.bytes);
}

Value decodeList(Tag tag, const std::uint8_t *data, std::size_t size)
{
    ListReader reader(data, size);
    switch (tagType(tag)) {
    case Type::Int16:
        return reader.list<std::int16_t>();
    case Type::Int32:
        return reader.list<std::int32_t>();
    case Type::Float:
        return reader.list<float>();
    case Type::Double:
    case Type::AppTime:
        return reader.list<double>();
    case Type::Currency:
    case Type::Int64:
    case Type::Time:
        return reader.list<std::int64_t>();
    case Type::Text:
        return reader.list<std::string>();
    case Type::Uid:
        return reader.list<Guid>();
    case Type::Binary:
        return reader.list<Bytes>();
    default:
        throw Error(Fault::Corrupt, "A list of values in the file has a type that has no lists.");
    }
}

Encoded::Encoded(const Value &value) : m_value(value)
{
    std::visit(
        [&](const auto &held) {
            using Held = std::decay_t<decltype(held)>;
            if constexpr (isList<Held>)
                m_list = encodeList(value);
            else if constexpr (std::is_floating_point_v<Held>)
                m_list = std::isnan(held) ? notANumber(held) : Bytes();
        },
        value);
}

void Encoded::bind(Statement &statement, int at) const
{
    std::visit(
        [&](const auto &held) {
            using Held = std::decay_t<decltype(held)>;
            if constexpr (isList<Held>) {
                statement.bindAt(at, m_list);
            } else if constexpr (std::is_floating_point_v<Held>) {
                if (m_list.empty())
                    statement.bindAt(at, static_cast<double>(held));
                else
                    statement.bindAt(at, m_list);
            } else if constexpr (std::is_same_v<Held, std::monostate> || std::is_same_v<Held, StoredStream> ||
                                 std::is_same_v<Held, SpoolPtr>) {
                statement.bindAt(at, nullptr);
            } else if constexpr (std::is_same_v<Held, std::int16_t>) {
                statement.bindAt(at, std::int64_t{held});
            } else {
                statement.bindAt(at, held);
            }
        },
        m_value);
}

Value decode(const Statement &row, int column, Tag tag)
{
    int held = sqlite3_column_type(row.handle(), column);
    if (held == SQLITE_NULL)
        return {};
    int expected = storageClass(tag);
    if (held != expected && !(expected == SQLITE_FLOAT && held == SQLITE_BLOB))
        throw Error(Fault::Corrupt, "A property in the file is not of its type.");
    if (isMultiple(tag)) {
        auto data = static_cast<const std::uint8_t *>(sqlite3_column_blob(row.handle(), column));
        return decodeList(tag, data, static_cast<std::size_t>(sqlite3_column_bytes(row.handle(), column)));
    }
    switch (tagType(tag)) {
    case Type::Int16:
        return static_cast<std::int16_t>(row.integer(column));
    case Type::Int32:
    case Type::ErrorCode:
        return row.integer32(column);
    case Type::Float:
        return real<float>(row, column);
    case Type::Double:
    case Type::AppTime:
        return real<double>(row, column);
    case Type::Boolean:
        return row.integer(column) != 0;
    case Type::Currency:
    case Type::Int64:
    case Type::Time:
        return row.integer(column);
    case Type::Text:
        return row.text(column);
    case Type::Uid:
        return row.guid(column);
    case Type::Binary:
    case Type::Object:
        return row.bytes(column);
    }
    throw Error(Fault::Corrupt, "A property in the file has an unknown type.");
}

} // namespace localmapi::storage
