#include "localmapi/provider/table/ViewTable.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/table/RowSource.h"
#include "localmapi/provider/table/Table.h"

namespace localmapi
{

namespace
{

class ViewSource final : public RowSource
{
  public:
    ViewSource(const storage::Site &site, storage::Container container, TableSchema schema)
        : m_site(site), m_objects(site), m_container(container), m_schema(std::move(schema)), m_view(site, container)
    {
    }

    const TableSchema &Schema() const override { return m_schema; }
    ULONG Type() const override { return TBLTYPE_DYNAMIC; }
    void Arrange(storage::Filter filter, std::vector<storage::SortKey> sort) override
    {
        m_ahead.reset();
        m_view = storage::View(m_site, m_container, std::move(filter), std::move(sort));
    }
    std::uint64_t Count() const override { return m_view.Count(); }
    std::uint64_t CountBefore(const storage::Place &place) const override { return m_view.CountBefore(place); }
    storage::Moved Move(const storage::Place &from, std::int64_t rows) const override
    {
        return m_view.Move(from, rows);
    }
    // Who reads to the end asks once more to see that it is the end, and who has read a page asks for the row behind it
    // to mark the place. As long as nothing in the site has changed both answers are known.
    std::vector<storage::Row> Read(const storage::Place &from, storage::Direction direction, std::size_t rows,
                                   const std::vector<storage::Tag> &columns) const override
    {
        if (direction == storage::Direction::Backward)
            return m_view.Read(from, direction, rows, columns);
        if (m_ahead && m_ahead->place == from && (!m_ahead->row || (rows == 1 && columns.empty())) &&
            m_ahead->change == m_site.GetChangeNumber())
            return m_ahead->row ? std::vector{*m_ahead->row} : std::vector<storage::Row>{};
        storage::RowPage page = m_view.ReadPage(from, rows, columns);
        if (!page.rows.empty())
            m_ahead = Ahead{page.rows.back().After(), std::move(page.behind), page.change};
        return std::move(page.rows);
    }
    std::optional<storage::Row> Find(const storage::Place &from, storage::Direction direction,
                                     const storage::Filter &filter) const override
    {
        return m_view.Find(from, direction, filter);
    }
    bool Holds(const storage::Place &place) const override { return m_view.Holds(place); }
    std::unique_ptr<storage::Watch> MakeWatch() const override { return std::make_unique<storage::Watch>(m_view); }
    storage::PropertyBag ReadWhole(storage::ObjectId row) const override
    {
        // A row may go between the read of its page and this one.
        return m_objects.Find(row) ? m_objects.Read(row) : storage::PropertyBag{};
    }

  private:
    // The place behind the rows that were read last, and what follows there (nothing: the end), at a time when the site
    // had this change number.
    struct Ahead {
        storage::Place place;
        std::optional<storage::Row> row;
        storage::ChangeNumber change;
    };

    storage::Site m_site;
    storage::Objects m_objects;
    storage::Container m_container;
    TableSchema m_schema;
    storage::View m_view;
    mutable std::optional<Ahead> m_ahead; // under the table's lock, as every call
};

} // namespace

HRESULT CreateViewTable(const storage::Site &site, storage::Container container, TableSchema schema, IMAPITable **table,
                        std::shared_ptr<AdviseScope> scope)
{
    return Guarded([&]() -> HRESULT {
        return CreateTable(std::make_unique<ViewSource>(site, container, std::move(schema)), table, std::move(scope));
    });
}

} // namespace localmapi
