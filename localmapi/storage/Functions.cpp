// SQL functions and collations. No exception passes through SQLite: each becomes the statement's error.
#include "localmapi/storage/Functions.h"
#include "localmapi/storage/Codec.h"
#include "localmapi/storage/FilterMatch.h"
#include "localmapi/storage/NameIndex.h"
#include "localmapi/storage/Streams.h"
#include "localmapi/storage/Text.h"
#include <algorithm>
#include <limits>

namespace localmapi::storage
{

namespace
{

std::string_view TextArgument(sqlite3_value *argument)
{
    auto data = static_cast<const char *>(sqlite3_value_blob(argument));
    return data ? std::string_view(data, static_cast<std::size_t>(sqlite3_value_bytes(argument))) : std::string_view();
}

Value ListArgument(sqlite3_value *argument, Tag tag)
{
    std::string_view bytes = TextArgument(argument);
    return DecodeList(tag, reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size());
}

// The single value that a list's values are compared with.
Value SingleArgument(sqlite3_value *argument, Tag tag)
{
    switch (TagType(tag)) {
    case Type::Int16:
        return static_cast<std::int16_t>(sqlite3_value_int(argument));
    case Type::Int32:
        return static_cast<std::int32_t>(sqlite3_value_int(argument));
    case Type::Float:
    case Type::Double:
    case Type::AppTime: {
        bool number = sqlite3_value_type(argument) != SQLITE_BLOB;
        double value = number ? sqlite3_value_double(argument) : std::numeric_limits<double>::quiet_NaN();
        return TagType(tag) == Type::Float ? Value(static_cast<float>(value)) : Value(value);
    }
    case Type::Text:
        return std::string(TextArgument(argument));
    case Type::Binary: {
        std::string_view bytes = TextArgument(argument);
        return Bytes(bytes.begin(), bytes.end());
    }
    case Type::Uid: {
        std::string_view bytes = TextArgument(argument);
        Guid guid{};
        std::copy_n(bytes.begin(), std::min(bytes.size(), guid.size()), guid.begin());
        return guid;
    }
    default:
        return std::int64_t{sqlite3_value_int64(argument)};
    }
}

// No exception may pass through SQLite: it becomes the statement's error.
template <class Work> void Guarded(sqlite3_context *context, Work work)
{
    try {
        work();
    } catch (const std::bad_alloc &) {
        sqlite3_result_error_nomem(context);
    } catch (const Error &error) {
        sqlite3_result_error(context, error.what(), -1);
        sqlite3_result_error_code(context, error.GetFault() == Fault::Corrupt ? SQLITE_CORRUPT : SQLITE_ERROR);
    } catch (const std::exception &error) {
        sqlite3_result_error(context, error.what(), -1);
    }
}

Tag TagArgument(sqlite3_value *argument)
{
    return static_cast<Tag>(sqlite3_value_int64(argument));
}

void ListRelates(sqlite3_context *context, int, sqlite3_value **arguments)
{
    Guarded(context, [&] {
        if (sqlite3_value_type(arguments[0]) == SQLITE_NULL)
            return;
        Tag tag = TagArgument(arguments[1]);
        auto relation = static_cast<Relation>(sqlite3_value_int(arguments[2]));
        PropertyBag bag;
        bag.Set(tag, ListArgument(arguments[0], tag));
        bool is = Matches(Filter::Compare(tag, relation, SingleArgument(arguments[3], tag)), bag);
        sqlite3_result_int(context, is);
    });
}

void ValueSize(sqlite3_context *context, int, sqlite3_value **arguments)
{
    Guarded(context, [&] {
        if (sqlite3_value_type(arguments[0]) != SQLITE_NULL)
            sqlite3_result_int64(context, static_cast<sqlite3_int64>(StoredSize(arguments[0], TagArgument(arguments[1]),
                                                                                sqlite3_value_int(arguments[2]) != 0)));
    });
}

void Content(sqlite3_context *context, int, sqlite3_value **arguments)
{
    Guarded(context, [&] {
        if (sqlite3_value_type(arguments[0]) == SQLITE_NULL)
            return;
        Tag tag = TagArgument(arguments[1]);
        int flags = sqlite3_value_int(arguments[2]);
        Filter how;
        how.match = static_cast<Filter::Match>(flags & 0xFF);
        how.ignoreCase = (flags & 0x100) != 0;
        how.ignoreNonSpace = (flags & 0x200) != 0;
        std::string_view pattern = TextArgument(arguments[3]);
        auto has = [&](std::string_view value) {
            return how.ignoreCase || how.ignoreNonSpace ? Contains(Folded(how, value), pattern, how.match)
                                                        : Contains(value, pattern, how.match);
        };
        if (!IsMultiple(tag))
            return sqlite3_result_int(context, has(TextArgument(arguments[0])));
        Value list = ListArgument(arguments[0], tag);
        bool found = false;
        if (auto texts = std::get_if<std::vector<std::string>>(&list))
            found = std::any_of(texts->begin(), texts->end(), has);
        else if (auto blobs = std::get_if<std::vector<Bytes>>(&list))
            found = std::any_of(blobs->begin(), blobs->end(), [&](const Bytes &bytes) {
                return has({reinterpret_cast<const char *>(bytes.data()), bytes.size()});
            });
        sqlite3_result_int(context, found);
    });
}

void ChecksumOfChunk(sqlite3_context *context, int, sqlite3_value **arguments)
{
    const std::string_view data = TextArgument(arguments[0]);
    sqlite3_result_int64(context, ChecksumOf(data.data(), data.size()));
}

void ChecksumOfNames(sqlite3_context *context, int, sqlite3_value **arguments)
{
    Guarded(context, [&] {
        sqlite3_result_int64(context, NamesChecksum({TextArgument(arguments[0]), TextArgument(arguments[1]),
                                                     TextArgument(arguments[2])}));
    });
}

void StreamValue(sqlite3_context *context, int, sqlite3_value **arguments)
{
    Guarded(context, [&] {
        sqlite3_stmt *statement = nullptr;
        int result = sqlite3_prepare_v2(sqlite3_context_db_handle(context),
                                        "SELECT c.data FROM stream s JOIN chunk c ON c.stream = IFNULL(s.data, s.id) "
                                        "WHERE s.object = ? AND s.tag = ? ORDER BY c.number",
                                        -1, &statement, nullptr);
        if (result != SQLITE_OK)
            return sqlite3_result_error_code(context, result);
        std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt *)> owner(statement, sqlite3_finalize);
        sqlite3_bind_value(statement, 1, arguments[0]);
        sqlite3_bind_value(statement, 2, arguments[1]);
        std::string whole;
        while ((result = sqlite3_step(statement)) == SQLITE_ROW)
            whole.append(static_cast<const char *>(sqlite3_column_blob(statement, 0)),
                         static_cast<std::size_t>(sqlite3_column_bytes(statement, 0)));
        if (result != SQLITE_DONE)
            return sqlite3_result_error_code(context, result);
        if (TagType(TagArgument(arguments[1])) == Type::Text)
            sqlite3_result_text64(context, whole.data(), whole.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
        else
            sqlite3_result_blob64(context, whole.data(), whole.size(), SQLITE_TRANSIENT);
    });
}

int CollateText(void *, int leftSize, const void *left, int rightSize, const void *right)
{
    return CompareText({static_cast<const char *>(left), static_cast<std::size_t>(leftSize)},
                       {static_cast<const char *>(right), static_cast<std::size_t>(rightSize)});
}

int CollateLists(void *tagOfLists, int leftSize, const void *left, int rightSize, const void *right)
{
    Tag tag = *static_cast<const Tag *>(tagOfLists);
    try {
        auto list = [&](const void *data, int size) {
            return DecodeList(tag, static_cast<const std::uint8_t *>(data), static_cast<std::size_t>(size));
        };
        return CompareValues(list(left, leftSize), list(right, rightSize));
    } catch (const std::exception &) { // damaged lists are ordered by their bytes
        return std::string_view(static_cast<const char *>(left), static_cast<std::size_t>(leftSize))
            .compare({static_cast<const char *>(right), static_cast<std::size_t>(rightSize)});
    }
}

struct ListCollation {
    Tag tag;
    const char *name;
};
constexpr Tag ListTag(Type type)
{
    return MakeTag(0, type) | kMultiple;
}
const ListCollation kListCollations[] = {
    {ListTag(Type::Int16), "list_int16"},    {ListTag(Type::Int32), "list_int32"},
    {ListTag(Type::Float), "list_float"},    {ListTag(Type::Double), "list_double"},
    {ListTag(Type::AppTime), "list_double"}, {ListTag(Type::Currency), "list_int64"},
    {ListTag(Type::Int64), "list_int64"},    {ListTag(Type::Time), "list_int64"},
    {ListTag(Type::Text), "list_text"},      {ListTag(Type::Uid), "list_uid"},
    {ListTag(Type::Binary), "list_binary"},
};

} // namespace

std::uint64_t StoredSize(sqlite3_value *value, Tag tag, bool wide)
{
    if (IsMultiple(tag)) {
        const Value list = ListArgument(value, tag);
        if (!wide || TagType(tag) != Type::Text)
            return ByteSize(list);
        std::uint64_t size = 0;
        for (const std::string &text : std::get<std::vector<std::string>>(list))
            size += Utf16Size(text);
        return size;
    }
    switch (TagType(tag)) {
    case Type::Text:
        return wide ? Utf16Size(TextArgument(value)) : TextArgument(value).size();
    case Type::Binary:
    case Type::Object:
        return TextArgument(value).size();
    case Type::Uid:
        return sizeof(Guid);
    case Type::Int16:
    case Type::Boolean:
        return 2;
    case Type::Int32:
    case Type::ErrorCode:
    case Type::Float:
        return 4;
    default:
        return 8;
    }
}

const char *CollationOf(Tag tag)
{
    if (!IsMultiple(tag))
        return TagType(tag) == Type::Text ? "text_order" : nullptr;
    for (const ListCollation &one : kListCollations)
        if (one.tag == (tag & 0xFFFF))
            return one.name;
    throw Error(Fault::Invalid, "Lists of this type can't be compared.");
}

int ContentFlags(const Filter &filter)
{
    return static_cast<int>(filter.match) | (filter.ignoreCase ? 0x100 : 0) | (filter.ignoreNonSpace ? 0x200 : 0);
}

void RegisterFunctions(sqlite3 *connection)
{
    constexpr int kPure = SQLITE_UTF8 | SQLITE_DETERMINISTIC;
    auto add = [&](const char *name, int arguments, int flags,
                   void (*function)(sqlite3_context *, int, sqlite3_value **)) {
        if (sqlite3_create_function_v2(connection, name, arguments, flags, nullptr, function, nullptr, nullptr,
                                       nullptr) != SQLITE_OK)
            throw std::bad_alloc();
    };
    add("list_relates", 4, kPure, ListRelates);
    add("value_size", 3, kPure, ValueSize);
    add("content", 4, kPure, Content);
    add("stream_value", 2, SQLITE_UTF8, StreamValue);
    add("checksum_of", 1, SQLITE_UTF8, ChecksumOfChunk);
    add("names_checksum", 3, SQLITE_UTF8, ChecksumOfNames);
    auto collate = [&](const char *name, void *argument,
                       int (*function)(void *, int, const void *, int, const void *)) {
        if (sqlite3_create_collation_v2(connection, name, SQLITE_UTF8, argument, function, nullptr) != SQLITE_OK)
            throw std::bad_alloc();
    };
    collate("text_order", nullptr, CollateText);
    for (const ListCollation &one : kListCollations)
        collate(one.name, const_cast<Tag *>(&one.tag), CollateLists);
}

} // namespace localmapi::storage
