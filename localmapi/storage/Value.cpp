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

template <class... Held> bool HoldsOneOf(const Value &value)
{
    return (std::holds_alternative<Held>(value) || ...);
}

bool FitsSingle(Type type, const Value &value)
{
    switch (type) {
    case Type::Int16:
        return HoldsOneOf<std::int16_t>(value);
    case Type::Int32:
    case Type::ErrorCode:
        return HoldsOneOf<std::int32_t>(value);
    case Type::Float:
        return HoldsOneOf<float>(value);
    case Type::Double:
    case Type::AppTime:
        return HoldsOneOf<double>(value);
    case Type::Currency:
    case Type::Int64:
    case Type::Time:
        return HoldsOneOf<std::int64_t>(value);
    case Type::Boolean:
        return HoldsOneOf<bool>(value);
    case Type::Text:
        return HoldsOneOf<std::string, StoredStream, SpoolPtr>(value);
    case Type::Uid:
        return HoldsOneOf<Guid>(value);
    case Type::Binary:
    case Type::Object:
        return HoldsOneOf<Bytes, StoredStream, SpoolPtr>(value);
    }
    return false;
}

bool FitsMultiple(Type type, const Value &value)
{
    switch (type) {
    case Type::Int16:
        return HoldsOneOf<std::vector<std::int16_t>>(value);
    case Type::Int32:
        return HoldsOneOf<std::vector<std::int32_t>>(value);
    case Type::Float:
        return HoldsOneOf<std::vector<float>>(value);
    case Type::Double:
    case Type::AppTime:
        return HoldsOneOf<std::vector<double>>(value);
    case Type::Currency:
    case Type::Int64:
    case Type::Time:
        return HoldsOneOf<std::vector<std::int64_t>>(value);
    case Type::Text:
        return HoldsOneOf<std::vector<std::string>>(value);
    case Type::Uid:
        return HoldsOneOf<std::vector<Guid>>(value);
    case Type::Binary:
        return HoldsOneOf<std::vector<Bytes>>(value);
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

bool Fits(Tag tag, const Value &value)
{
    return IsMultiple(tag) ? FitsMultiple(TagType(tag), value) : FitsSingle(TagType(tag), value);
}

std::uint64_t ByteSize(const Value &value)
{
    return std::visit(SizeOf{}, value);
}

PropertyBag::PropertyBag(std::initializer_list<Property> properties)
{
    for (const Property &property : properties)
        Set(property.tag, property.value);
}

namespace
{
template <class Properties> auto PlaceOf(Properties &properties, std::uint16_t id)
{
    return std::lower_bound(
        properties.begin(), properties.end(), id,
        [](const Property &property, std::uint16_t wanted) { return TagId(property.tag) < wanted; });
}
} // namespace

void PropertyBag::Set(Tag tag, Value value)
{
    if (!Fits(tag, value)) {
        char text[80];
        std::snprintf(text, sizeof text, "The value of property 0x%08x is not of its type.",
                      static_cast<unsigned>(tag));
        throw Error(Fault::Invalid, text);
    }
    auto at = PlaceOf(m_properties, TagId(tag));
    if (at != m_properties.end() && TagId(at->tag) == TagId(tag))
        *at = {tag, std::move(value)};
    else
        m_properties.insert(at, {tag, std::move(value)});
}

bool PropertyBag::Erase(Tag tag)
{
    auto at = PlaceOf(m_properties, TagId(tag));
    if (at == m_properties.end() || TagId(at->tag) != TagId(tag))
        return false;
    m_properties.erase(at);
    return true;
}

const Value *PropertyBag::Find(Tag tag) const
{
    const Property *property = FindId(TagId(tag));
    return property && property->tag == tag ? &property->value : nullptr;
}

const Property *PropertyBag::FindId(std::uint16_t id) const
{
    auto at = PlaceOf(m_properties, id);
    return at != m_properties.end() && TagId(at->tag) == id ? &*at : nullptr;
}

} // namespace localmapi::storage
