// Types and sizes of values, and the bag, which is a sorted array: objects have few properties.
#include "localmapi/storage/Value.h"
#include "localmapi/storage/Error.h"
#include "localmapi/storage/Spool.h"
#include "localmapi/storage/Stream.h"
#include <algorithm>
#include <cstdio>

namespace localmapi::storage
{

namespace
{

template <class... Held> bool holdsOneOf(const Value &value)
{
    return (std::holds_alternative<Held>(value) || ...);
}

bool fitsSingle(Type type, const Value &value)
{
    switch (type) {
    case Type::Int16:
        return holdsOneOf<std::int16_t>(value);
    case Type::Int32:
    case Type::ErrorCode:
        return holdsOneOf<std::int32_t>(value);
    case Type::Float:
        return holdsOneOf<float>(value);
    case Type::Double:
    case Type::AppTime:
        return holdsOneOf<double>(value);
    case Type::Currency:
    case Type::Int64:
    case Type::Time:
        return holdsOneOf<std::int64_t>(value);
    case Type::Boolean:
        return holdsOneOf<bool>(value);
    case Type::Text:
        return holdsOneOf<std::string, StoredStream, SpoolPtr>(value);
    case Type::Uid:
        return holdsOneOf<Guid>(value);
    case Type::Binary:
    case Type::Object:
        return holdsOneOf<Bytes, StoredStream, SpoolPtr>(value);
    }
    return false;
}

bool fitsMultiple(Type type, const Value &value)
{
    switch (type) {
    case Type::Int16:
        return holdsOneOf<std::vector<std::int16_t>>(value);
    case Type::Int32:
        return holdsOneOf<std::vector<std::int32_t>>(value);
    case Type::Float:
        return holdsOneOf<std::vector<float>>(value);
    case Type::Double:
    case Type::AppTime:
        return holdsOneOf<std::vector<double>>(value);
    case Type::Currency:
    case Type::Int64:
    case Type::Time:
        return holdsOneOf<std::vector<std::int64_t>>(value);
    case Type::Text:
        return holdsOneOf<std::vector<std::string>>(value);
    case Type::Uid:
        return holdsOneOf<std::vector<Guid>>(value);
    case Type::Binary:
        return holdsOneOf<std::vector<Bytes>>(value);
    default:
        return false;
    }
}

struct SizeOf {
    std::uint64_t operator()(std::monostate) const { return 0; }
    std::uint64_t operator()(bool) const { return 2; }
    std::uint64_t operator()(const std::string &text) const { return text.size(); }
    std::uint64_t operator()(const Bytes &bytes) const { return bytes.size(); }
    std::uint64_t operator()(const StoredStream &stream) const { return stream.size; }
    std::uint64_t operator()(const SpoolPtr &spool) const { return spool ? spool->size() : 0; }
    template <class T> std::uint64_t operator()(const T &) const { return sizeof(T); }
    template <class T> std::uint64_t operator()(const std::vector<T> &list) const
    {
        std::uint64_t sum = 0;
        for (const T &one : list)
            sum += (*this)(one);
        return sum;
    }
};

} // namespace

bool fits(Tag tag, const Value &value)
{
    return isMultiple(tag) ? fitsMultiple(tagType(tag), value) : fitsSingle(tagType(tag), value);
}

std::uint64_t byteSize(const Value &value)
{
    return std::visit(SizeOf{}, value);
}

PropertyBag::PropertyBag(std::initializer_list<Property> properties)
{
    for (const Property &property : properties)
        set(property.tag, property.value);
}

namespace
{
template <class Properties> auto place(Properties &properties, std::uint16_t id)
{
    return std::lower_bound(
        properties.begin(), properties.end(), id,
        [](const Property &property, std::uint16_t wanted) { return tagId(property.tag) < wanted; });
}
} // namespace

void PropertyBag::set(Tag tag, Value value)
{
    if (!fits(tag, value)) {
        char text[80];
        std::snprintf(text, sizeof text, "The value of property 0x%08x is not of its type.",
                      static_cast<unsigned>(tag));
        throw Error(Fault::Invalid, text);
    }
    auto at = place(m_properties, tagId(tag));
    if (at != m_properties.end() && tagId(at->tag) == tagId(tag))
        *at = {tag, std::move(value)};
    else
        m_properties.insert(at, {tag, std::move(value)});
}

bool PropertyBag::erase(Tag tag)
{
    auto at = place(m_properties, tagId(tag));
    if (at == m_properties.end() || tagId(at->tag) != tagId(tag))
        return false;
    m_properties.erase(at);
    return true;
}

const Value *PropertyBag::find(Tag tag) const
{
    const Property *property = findId(tagId(tag));
    return property && property->tag == tag ? &property->value : nullptr;
}

const Property *PropertyBag::findId(std::uint16_t id) const
{
    auto at = place(m_properties, id);
    return at != m_properties.end() && tagId(at->tag) == id ? &*at : nullptr;
}

} // namespace localmapi::storage
