// Property values, restrictions and row sets for the tests of localmapi, written as the tests read them.
#pragma once
#include "localmapi/provider/base/ComObject.h"
#include "localmapi/provider/base/Memory.h"

#include <mapix.h>

#include <cstdint>
#include <deque>
#include <initializer_list>
#include <list>
#include <string>
#include <utility>
#include <vector>

namespace localmapi::test
{

constexpr ULONG Tag(ULONG id, ULONG type)
{
    return PROP_TAG(type, id);
}

// The rows of one QueryRows, freed row by row.
class Rows
{
  public:
    Rows() = default;
    Rows(Rows &&other) noexcept : m_rows(std::exchange(other.m_rows, nullptr)) {}
    ~Rows() { reset(); }
    LPSRowSet *put()
    {
        reset();
        return &m_rows;
    }
    LPSRowSet get() const { return m_rows; }
    ULONG size() const { return m_rows ? m_rows->cRows : 0; }
    const SRow &operator[](std::size_t index) const { return m_rows->aRow[index]; }
    void reset() { FreeRows(std::exchange(m_rows, nullptr)); }

  private:
    LPSRowSet m_rows = nullptr;
};

inline SPropValue Long(ULONG tag, LONG value)
{
    SPropValue result{};
    result.ulPropTag = tag;
    result.Value.l = value;
    return result;
}
inline SPropValue Short(ULONG tag, short value)
{
    SPropValue result{};
    result.ulPropTag = tag;
    result.Value.i = value;
    return result;
}
inline SPropValue Bool(ULONG tag, bool value)
{
    SPropValue result{};
    result.ulPropTag = tag;
    result.Value.b = value ? 1 : 0;
    return result;
}
inline SPropValue Big(ULONG tag, LONGLONG value)
{
    SPropValue result{};
    result.ulPropTag = tag;
    result.Value.li.QuadPart = value;
    return result;
}
inline SPropValue Double(ULONG tag, double value)
{
    SPropValue result{};
    result.ulPropTag = tag;
    result.Value.dbl = value;
    return result;
}
inline SPropValue Float(ULONG tag, float value)
{
    SPropValue result{};
    result.ulPropTag = tag;
    result.Value.flt = value;
    return result;
}
inline SPropValue Time(ULONG tag, std::uint64_t ticks)
{
    SPropValue result{};
    result.ulPropTag = tag;
    result.Value.ft.dwLowDateTime = static_cast<DWORD>(ticks);
    result.Value.ft.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
    return result;
}
// Text and bytes are not copied: they are literals or outlive the value.
inline SPropValue Narrow(ULONG tag, const char *text)
{
    SPropValue result{};
    result.ulPropTag = tag;
    result.Value.lpszA = const_cast<char *>(text);
    return result;
}
inline SPropValue Wide(ULONG tag, const WCHAR *text)
{
    SPropValue result{};
    result.ulPropTag = tag;
    result.Value.lpszW = const_cast<WCHAR *>(text);
    return result;
}
inline SPropValue Binary(ULONG tag, const void *bytes, ULONG size)
{
    SPropValue result{};
    result.ulPropTag = tag;
    result.Value.bin.cb = size;
    result.Value.bin.lpb = static_cast<LPBYTE>(const_cast<void *>(bytes));
    return result;
}
inline SPropValue Guid(ULONG tag, const GUID &guid)
{
    SPropValue result{};
    result.ulPropTag = tag;
    result.Value.lpguid = const_cast<GUID *>(&guid);
    return result;
}
inline SPropValue Longs(ULONG tag, std::vector<LONG> &values)
{
    SPropValue result{};
    result.ulPropTag = tag;
    result.Value.MVl.cValues = static_cast<ULONG>(values.size());
    result.Value.MVl.lpl = values.data();
    return result;
}
inline SPropValue Narrows(ULONG tag, std::vector<char *> &values)
{
    SPropValue result{};
    result.ulPropTag = tag;
    result.Value.MVszA.cValues = static_cast<ULONG>(values.size());
    result.Value.MVszA.lppszA = values.data();
    return result;
}

using Props = std::vector<SPropValue>;

// A list of tags in the layout MAPI takes it.
class Tags
{
  public:
    Tags(std::initializer_list<ULONG> tags) : Tags(std::vector<ULONG>(tags)) {}
    explicit Tags(const std::vector<ULONG> &tags)
    {
        m_array.push_back(static_cast<ULONG>(tags.size()));
        m_array.insert(m_array.end(), tags.begin(), tags.end());
    }
    operator LPSPropTagArray() { return reinterpret_cast<LPSPropTagArray>(m_array.data()); }

  private:
    std::vector<ULONG> m_array;
};

// A sort order in the layout MAPI takes it.
class Sort
{
  public:
    Sort(std::initializer_list<SSortOrder> keys, ULONG categories = 0, ULONG expanded = 0)
    {
        m_words = {static_cast<ULONG>(keys.size()), categories, expanded};
        for (const SSortOrder &key : keys)
            m_words.insert(m_words.end(), {key.ulPropTag, key.ulOrder});
    }
    operator LPSSortOrderSet() { return reinterpret_cast<LPSSortOrderSet>(m_words.data()); }

  private:
    std::vector<ULONG> m_words;
};

// Builds restrictions; everything that it gave out lives as long as it does.
class Tree
{
  public:
    SRestriction *And(std::initializer_list<SRestriction *> children) { return List(RES_AND, children); }
    SRestriction *Or(std::initializer_list<SRestriction *> children) { return List(RES_OR, children); }
    SRestriction *Not(SRestriction *child)
    {
        SRestriction *node = Node(RES_NOT);
        node->res.resNot.lpRes = child;
        return node;
    }
    SRestriction *Property(ULONG relop, ULONG tag, SPropValue value)
    {
        SRestriction *node = Node(RES_PROPERTY);
        node->res.resProperty = {relop, tag, Keep(value)};
        return node;
    }
    SRestriction *Property(ULONG relop, SPropValue value) { return Property(relop, value.ulPropTag, value); }
    SRestriction *Content(ULONG fuzzy, ULONG tag, SPropValue value)
    {
        SRestriction *node = Node(RES_CONTENT);
        node->res.resContent = {fuzzy, tag, Keep(value)};
        return node;
    }
    SRestriction *Content(ULONG fuzzy, SPropValue value) { return Content(fuzzy, value.ulPropTag, value); }
    SRestriction *Bits(ULONG relation, ULONG tag, ULONG mask)
    {
        SRestriction *node = Node(RES_BITMASK);
        node->res.resBitMask = {relation, tag, mask};
        return node;
    }
    SRestriction *Size(ULONG relop, ULONG tag, ULONG bytes)
    {
        SRestriction *node = Node(RES_SIZE);
        node->res.resSize = {relop, tag, bytes};
        return node;
    }
    SRestriction *Exist(ULONG tag)
    {
        SRestriction *node = Node(RES_EXIST);
        node->res.resExist.ulPropTag = tag;
        return node;
    }
    SRestriction *Compare(ULONG relop, ULONG left, ULONG right)
    {
        SRestriction *node = Node(RES_COMPAREPROPS);
        node->res.resCompareProps = {relop, left, right};
        return node;
    }
    SRestriction *Sub(ULONG object, SRestriction *child)
    {
        SRestriction *node = Node(RES_SUBRESTRICTION);
        node->res.resSub = {object, child};
        return node;
    }
    SRestriction *Comment(SRestriction *child)
    {
        SRestriction *node = Node(RES_COMMENT);
        node->res.resComment.lpRes = child;
        return node;
    }
    SRestriction *Node(ULONG kind)
    {
        SRestriction node{};
        node.rt = kind;
        m_nodes.push_back({node});
        return m_nodes.back().data();
    }

  private:
    SRestriction *List(ULONG kind, std::initializer_list<SRestriction *> children)
    {
        std::vector<SRestriction> list;
        for (SRestriction *child : children)
            list.push_back(*child);
        m_nodes.push_back(std::move(list));
        SRestriction *first = m_nodes.back().data();
        const auto count = static_cast<ULONG>(m_nodes.back().size());
        SRestriction *node = Node(kind);
        node->res.resAnd = {count, first};
        return node;
    }
    SPropValue *Keep(const SPropValue &value)
    {
        m_values.push_back(value);
        return &m_values.back();
    }

    std::list<std::vector<SRestriction>> m_nodes;
    std::deque<SPropValue> m_values;
};

} // namespace localmapi::test
