// Packs in two passes: the first one measures and converts text, the second one writes into a block of that size.
#include "localmapi/provider/property/RowPacker.h"
#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/property/PropEncoder.h"

#include <algorithm>
#include <cstring>

namespace localmapi
{

namespace
{

constexpr std::size_t kAlignment = 8;

bool IsAscii(const std::string &text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

} // namespace

// Gives out the memory behind the array; without a block it only measures.
class RowPacker::Arena final : public PropMemory
{
  public:
    Arena(RowPacker &packer, char *block, std::size_t used) : m_packer(packer), m_block(block), m_used(used) {}

    std::size_t Used() const { return m_used; }
    void *Take(std::size_t size) override
    {
        m_used = (m_used + kAlignment - 1) / kAlignment * kAlignment;
        const std::size_t at = m_used;
        m_used += size;
        return m_block ? m_block + at : nullptr;
    }
    char *Narrow(const std::string &text) override
    {
        const std::string *source = &text;
        if (!IsAscii(text)) {
            if (!m_block)
                m_packer.m_converted.push_back(AnsiFromUtf8(text));
            source = &Converted();
        }
        auto *to = static_cast<char *>(Take(source->size() + 1));
        if (to)
            std::memcpy(to, source->c_str(), source->size() + 1);
        return to;
    }
    WCHAR *Wide(const std::string &text) override
    {
        if (IsAscii(text)) {
            auto *to = static_cast<WCHAR *>(Take((text.size() + 1) * sizeof(WCHAR)));
            if (to)
                *std::copy(text.begin(), text.end(), to) = 0;
            return to;
        }
        if (!m_block) {
            const WideText wide = WideFromUtf8(text);
            m_packer.m_converted.emplace_back(reinterpret_cast<const char *>(wide.data()), wide.size() * sizeof(WCHAR));
        }
        const std::string &units = Converted();
        auto *to = static_cast<WCHAR *>(Take(units.size() + sizeof(WCHAR)));
        if (to) {
            std::memcpy(to, units.data(), units.size());
            to[units.size() / sizeof(WCHAR)] = 0;
        }
        return to;
    }

  private:
    // What was converted just now, or while measuring.
    const std::string &Converted()
    {
        return m_block ? m_packer.m_converted[m_packer.m_next++] : m_packer.m_converted.back();
    }

    RowPacker &m_packer;
    char *m_block;
    std::size_t m_used;
};

Block<SPropValue> RowPacker::Pack(std::span<const Cell> cells)
{
    m_converted.clear();
    SPropValue unused;
    Arena measure(*this, nullptr, cells.size() * sizeof(SPropValue));
    for (const Cell &cell : cells)
        PackOne(unused, cell, measure);
    Block<SPropValue> block(static_cast<SPropValue *>(AllocateRootBytes(measure.Used())));
    Arena write(*this, reinterpret_cast<char *>(block.get()), cells.size() * sizeof(SPropValue));
    m_next = 0;
    m_anyError = false;
    for (std::size_t i = 0; i < cells.size(); ++i)
        PackOne(block[i], cells[i], write);
    return block;
}

void RowPacker::PackOne(SPropValue &target, const Cell &cell, Arena &arena)
{
    target = SPropValue{};
    target.ulPropTag = cell.tag;
    if (cell.tag != PR_NULL && !EncodeProp(target, cell.tag, cell.value, arena))
        m_anyError = true;
}

} // namespace localmapi
