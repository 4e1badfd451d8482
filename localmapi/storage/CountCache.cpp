#include "localmapi/storage/CountCache.h"
#include <bit>

namespace localmapi::storage
{

namespace
{
constexpr std::size_t kMostCounts = 10000;
}

std::optional<std::uint64_t> CountCache::Find(const std::string &key, ChangeNumber change)
{
    const locks::Hold lock(m_lock);
    auto found = m_entries.find(key);
    if (found == m_entries.end() || found->second.change != change)
        return {};
    return found->second.count;
}

void CountCache::Store(const std::string &key, ChangeNumber change, std::uint64_t count)
{
    const locks::Hold lock(m_lock);
    if (m_entries.size() >= kMostCounts)
        m_entries.clear();
    m_entries.insert_or_assign(key, Entry{change, count});
}

std::string KeyOf(const SqlText &sql)
{
    std::string key = sql.text;
    auto append = [&](const auto &bytes) {
        key += std::to_string(bytes.size()) + ':';
        key.append(bytes.begin(), bytes.end());
    };
    for (const Value &value : sql.Values()) {
        key += '\0';
        key += std::to_string(value.index()) + ':';
        if (auto text = std::get_if<std::string>(&value))
            append(*text);
        else if (auto bytes = std::get_if<Bytes>(&value))
            append(*bytes);
        else if (auto guid = std::get_if<Guid>(&value))
            append(*guid);
        else
            std::visit(
                [&](const auto &number) {
                    using Number = std::decay_t<decltype(number)>;
                    if constexpr (std::is_floating_point_v<Number>)
                        key += std::to_string(std::bit_cast<std::uint64_t>(static_cast<double>(number)));
                    else if constexpr (std::is_integral_v<Number>)
                        key += std::to_string(number);
                },
                value);
    }
    return key;
}

} // namespace localmapi::storage
