// A table's columns, and rows made of them.
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/base/Memory.h"
#include "localmapi/provider/property/PropertyConvert.h"
#include "localmapi/provider/table/CutValue.h"
#include "localmapi/provider/table/Table.h"

#include <algorithm>
#include <span>

namespace localmapi
{

std::size_t Table::ColumnRead(storage::Tag tag)
{
    const auto found = std::find(m_read.begin(), m_read.end(), tag);
    if (found != m_read.end())
        return static_cast<std::size_t>(found - m_read.begin());
    m_read.push_back(tag);
    return m_read.size() - 1;
}

Table::Column Table::MakeColumn(ULONG tag)
{
    using Kind = Column::Kind;
    const TableSchema &schema = m_source->Schema();
    Column column;
    column.tag = tag;
    if (tag == PR_NULL) {
        column.kind = Kind::Null;
        return column;
    }
    const ULONG id = PROP_ID(tag);
    const bool open = PROP_TYPE(tag) == PT_UNSPECIFIED;
    const storage::Tag stored = StorageTag(tag);
    if (const auto *constant = schema.constants.FindId(static_cast<std::uint16_t>(id))) {
        if (open)
            column.tag = ClientTag(constant->tag, true);
        if (open || constant->tag == stored) {
            column.kind = Kind::Constant;
            column.constant = &constant->value;
        }
        return column;
    }
    for (const DerivedColumn &derived : schema.derived) {
        if (storage::TagId(derived.tag) != id)
            continue;
        if (open)
            column.tag = ClientTag(derived.tag, true);
        if (open || derived.tag == stored) {
            column.kind = Kind::Derived;
            column.derived = &derived;
            // The values it is made of stand side by side.
            column.at = m_read.size();
            m_read.insert(m_read.end(), derived.from.begin(), derived.from.end());
        }
        return column;
    }
    if (open) {
        column.kind = Kind::AnyType;
        m_anyType = true;
    } else if (IsValueType(PROP_TYPE(tag))) {
        column.kind = Kind::Stored;
        column.at = ColumnRead(stored);
    }
    return column;
}

void Table::SetColumnTags(std::vector<ULONG> tags)
{
    m_read.clear();
    m_anyType = false;
    m_columns.clear();
    for (const ULONG tag : tags)
        m_columns.push_back(MakeColumn(tag));
    m_cells.resize(m_columns.size());
    m_made.resize(m_columns.size());
    if (m_behaviour && m_behaviour->CutTo())
        m_cut.resize(m_columns.size());
}

STDMETHODIMP Table::SetColumns(LPSPropTagArray lpPropTagArray, ULONG ulFlags)
{
    return Do("IMAPITable::SetColumns", [&]() REQUIRES(m_lock) {
        RequireFlags(ulFlags, TBL_ASYNC | TBL_BATCH);
        Require(lpPropTagArray && lpPropTagArray->cValues > 0 && lpPropTagArray->cValues <= kColumnLimit,
                "the columns");
        std::vector<ULONG> tags(lpPropTagArray->aulPropTag, lpPropTagArray->aulPropTag + lpPropTagArray->cValues);
        for (const ULONG tag : tags)
            if ((tag & MVI_FLAG) == MVI_FLAG)
                NoSupport("a row for each value of a multi-valued column");
        SetColumnTags(std::move(tags));
        return S_OK;
    });
}

std::vector<ULONG> Table::AvailableColumns() const
{
    const TableSchema &schema = m_source->Schema();
    std::vector<ULONG> tags;
    const auto add = [&](storage::Tag tag) {
        const ULONG clientTag = ClientTag(tag, schema.unicode);
        if (std::find(tags.begin(), tags.end(), clientTag) == tags.end())
            tags.push_back(clientTag);
    };
    for (const storage::Tag tag : schema.columns)
        add(tag);
    for (const DerivedColumn &derived : schema.derived)
        add(derived.tag);
    for (const storage::Property &constant : schema.constants)
        add(constant.tag);
    for (const storage::Tag tag : schema.furtherColumns)
        add(tag);
    return tags;
}

STDMETHODIMP Table::QueryColumns(ULONG ulFlags, LPSPropTagArray *lpPropTagArray)
{
    return Do("IMAPITable::QueryColumns", [&]() REQUIRES(m_lock) {
        Require(lpPropTagArray != nullptr, "where the columns go");
        *lpPropTagArray = nullptr;
        RequireFlags(ulFlags, TBL_ALL_COLUMNS);
        std::vector<ULONG> tags;
        if (ulFlags & TBL_ALL_COLUMNS)
            tags = AvailableColumns();
        else
            for (const Column &column : m_columns)
                tags.push_back(column.tag);
        Block<SPropTagArray> block(static_cast<SPropTagArray *>(AllocateRootBytes(CbNewSPropTagArray(tags.size()))));
        block->cValues = static_cast<ULONG>(tags.size());
        std::copy(tags.begin(), tags.end(), block->aulPropTag);
        *lpPropTagArray = block.release();
        return S_OK;
    });
}

Block<SPropValue> Table::PackRow(const storage::Row &row)
{
    using Kind = Column::Kind;
    const storage::PropertyBag whole = m_anyType ? m_source->ReadWhole(row.id) : storage::PropertyBag{};
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        const Column &column = m_columns[i];
        Cell &cell = m_cells[i];
        cell = {column.tag, nullptr};
        switch (column.kind) {
        case Kind::Null:
        case Kind::Missing:
            break;
        case Kind::Stored:
            cell.value = &row.values[column.at];
            break;
        case Kind::Constant:
            cell.value = column.constant;
            break;
        case Kind::Derived:
            m_made[i] = column.derived->make(std::span(row.values).subspan(column.at, column.derived->from.size()));
            cell.value = &m_made[i];
            break;
        case Kind::AnyType:
            if (const auto *property = whole.FindId(static_cast<std::uint16_t>(PROP_ID(column.tag))))
                cell = {ClientTag(property->tag, true), &property->value};
            break;
        }
    }
    for (std::size_t i = 0; i < m_cut.size(); ++i)
        CutCell(m_cells[i], m_behaviour->CutTo(), m_cut[i]);
    return m_packer.Pack(m_cells);
}

} // namespace localmapi
