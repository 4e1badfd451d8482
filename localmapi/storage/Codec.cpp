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
    void Raw(const void *from, std::size_t size)
    {
        auto data = static_cast<const std::uint8_t *>(from);
        bytes.insert(bytes.end(), data, data + size);
    }
    void Length(std::size_t value) { Number(static_cast<std::uint32_t>(value)); }
    template <class T> void Number(T value) // little-endian on every machine
    {
        for (std::size_t i = 0; i < sizeof value; ++i)
            bytes.push_back(static_cast<std::uint8_t>(static_cast<std::uint64_t>(value) >> 8 * i));
    }
    void One(std::int16_t value) { Number(value); }
    void One(std::int32_t value) { Number(value); }
    void One(std::int64_t value) { Number(value); }
    void One(float value) { Number(std::bit_cast<std::uint32_t>(value)); }
    void One(double value) { Number(std::bit_cast<std::uint64_t>(value)); }
    void One(const std::string &value)
    {
        Length(value.size());
        Raw(value.data(), value.size());
    }
    void One(const Bytes &value)
    {
        Length(value.size());
        Raw(value.data(), value.size());
    }
    void One(const Guid &value) { Raw(value.data(), value.size()); }
};

class ListReader
{
  public:
    ListReader(const std::uint8_t *data, std::size_t size) : m_data(data), m_left(size) {}

    template <class T> std::vector<T> List()
    {
        std::uint32_t count = Number<std::uint32_t>();
        std::vector<T> values;
        for (std::uint32_t i = 0; i < count; ++i)
            values.push_back(One(static_cast<T *>(nullptr)));
        if (m_left)
            Damaged();
        return values;
    }

  private:
    [[noreturn]] static void Damaged() { throw Error(Fault::Corrupt, "A list of values in the file is damaged."); }
    const std::uint8_t *Take(std::size_t size)
    {
        if (size > m_left)
            Damaged();
        m_left -= size;
        return std::exchange(m_data, m_data + size);
    }
    template <class T> T Number()
    {
        const std::uint8_t *from = Take(sizeof(T));
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < sizeof(T); ++i)
            value |= std::uint64_t{from[i]} << 8 * i;
        return static_cast<T>(value);
    }
    template <class T> T One(T *) { return Number<T>(); }
    float One(float *) { return std::bit_cast<float>(Number<std::uint32_t>()); }
    double One(double *) { return std::bit_cast<double>(Number<std::uint64_t>()); }
    std::string One(std::string *)
    {
        auto length = Number<std::uint32_t>();
        return std::string(reinterpret_cast<const char *>(Take(length)), length);
    }
    Bytes One(Bytes *)
    {
        auto length = Number<std::uint32_t>();
        auto from = Take(length);
        return Bytes(from, from + length);
    }
    Guid One(Guid *)
    {
        Guid guid;
        std::memcpy(guid.data(), Take(guid.size()), guid.size());
        return guid;
    }

    const std::uint8_t *m_data;
    std::size_t m_left;
};

template <class T> constexpr bool kIsList = false;
template <class T> constexpr bool kIsList<std::vector<T>> = !std::is_same_v<T, std::uint8_t>;

// SQLite keeps no value that isn't a number: it is held as the bytes of the double, which sort behind all numbers.
Bytes NotANumber(double value)
{
    ListWriter writer;
    writer.One(value);
    return writer.bytes;
}

template <class T> T Real(const Statement &row, int column)
{
    if (sqlite3_column_type(row.Handle(), column) != SQLITE_BLOB)
        return static_cast<T>(row.Real(column));
    return std::numeric_limits<T>::quiet_NaN();
}

int StorageClass(Tag tag)
{
    if (IsMultiple(tag))
        return SQLITE_BLOB;
    switch (TagType(tag)) {
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

Bytes EncodeList(const Value &list)
{
    ListWriter writer;
    std::visit(
        [&](const auto &values) {
            if constexpr (kIsList<std::decay_t<decltype(values)>>) {
                writer.Length(values.size());
                for (const auto &value : values)
                    writer.One(value);
            }
        },
        list);
    return std::move(writer.bytes);
}

Value DecodeList(Tag tag, const std::uint8_t *data, std::size_t size)
{
    ListReader reader(data, size);
    switch (TagType(tag)) {
    case Type::Int16:
        return reader.List<std::int16_t>();
    case Type::Int32:
        return reader.List<std::int32_t>();
    case Type::Float:
        return reader.List<float>();
    case Type::Double:
    case Type::AppTime:
        return reader.List<double>();
    case Type::Currency:
    case Type::Int64:
    case Type::Time:
        return reader.List<std::int64_t>();
    case Type::Text:
        return reader.List<std::string>();
    case Type::Uid:
        return reader.List<Guid>();
    case Type::Binary:
        return reader.List<Bytes>();
    default:
        throw Error(Fault::Corrupt, "A list of values in the file has a type that has no lists.");
    }
}

Encoded::Encoded(const Value &value) : m_value(value)
{
    std::visit(
        [&](const auto &held) {
            using Held = std::decay_t<decltype(held)>;
            if constexpr (kIsList<Held>)
                m_list = EncodeList(value);
            else if constexpr (std::is_floating_point_v<Held>)
                m_list = std::isnan(held) ? NotANumber(held) : Bytes();
        },
        value);
}

void Encoded::Bind(Statement &statement, int at) const
{
    std::visit(
        [&](const auto &held) {
            using Held = std::decay_t<decltype(held)>;
            if constexpr (kIsList<Held>) {
                statement.BindAt(at, m_list);
            } else if constexpr (std::is_floating_point_v<Held>) {
                if (m_list.empty())
                    statement.BindAt(at, static_cast<double>(held));
                else
                    statement.BindAt(at, m_list);
            } else if constexpr (std::is_same_v<Held, std::monostate> || std::is_same_v<Held, StoredStream> ||
                                 std::is_same_v<Held, SpoolPtr> || std::is_same_v<Held, NeverHeld>) {
                statement.BindAt(at, nullptr);
            } else if constexpr (std::is_same_v<Held, std::int16_t>) {
                statement.BindAt(at, std::int64_t{held});
            } else {
                statement.BindAt(at, held);
            }
        },
        m_value);
}

Value Decode(const Statement &row, int column, Tag tag)
{
    int held = sqlite3_column_type(row.Handle(), column);
    if (held == SQLITE_NULL)
        return {};
    int expected = StorageClass(tag);
    if (held != expected && !(expected == SQLITE_FLOAT && held == SQLITE_BLOB))
        throw Error(Fault::Corrupt, "A property in the file is not of its type.");
    if (IsMultiple(tag)) {
        auto data = static_cast<const std::uint8_t *>(sqlite3_column_blob(row.Handle(), column));
        return DecodeList(tag, data, static_cast<std::size_t>(sqlite3_column_bytes(row.Handle(), column)));
    }
    switch (TagType(tag)) {
    case Type::Int16:
        return static_cast<std::int16_t>(row.Integer(column));
    case Type::Int32:
    case Type::ErrorCode:
        return row.Integer32(column);
    case Type::Float:
        return Real<float>(row, column);
    case Type::Double:
    case Type::AppTime:
        return Real<double>(row, column);
    case Type::Boolean:
        return row.Integer(column) != 0;
    case Type::Currency:
    case Type::Int64:
    case Type::Time:
        return row.Integer(column);
    case Type::Text:
        return row.Text(column);
    case Type::Uid:
        return row.GetGuid(column);
    case Type::Binary:
    case Type::Object:
        return row.GetBytes(column);
    }
    throw Error(Fault::Corrupt, "A property in the file has an unknown type.");
}

} // namespace localmapi::storage
