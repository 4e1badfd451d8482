// One table of either home, memory or storage: the rules of tables and restrictions hold for both, so their tests run
// over both.
#pragma once
#include "../messages/Mailbox.h"
#include "Properties.h"
#include "localmapi/provider/table/MemoryTable.h"

#include <gtest/gtest.h>

#include <limits>
#include <optional>

namespace localmapi::test
{

inline constexpr ULONG kLabel = PR_SUBJECT_A;
inline constexpr ULONG kNumber = Tag(0x6A00, PT_LONG);
inline constexpr ULONG kText = Tag(0x6A01, PT_STRING8);
inline constexpr ULONG kTextW = Tag(0x6A01, PT_UNICODE);
inline constexpr ULONG kBytes = Tag(0x6A02, PT_BINARY);
inline constexpr ULONG kNumbers = Tag(0x6A03, PT_MV_LONG);
inline constexpr ULONG kTexts = Tag(0x6A04, PT_MV_STRING8);
inline constexpr ULONG kShort = Tag(0x6A05, PT_I2);
inline constexpr ULONG kFloat = Tag(0x6A06, PT_R4);
inline constexpr ULONG kDouble = Tag(0x6A07, PT_DOUBLE);
inline constexpr ULONG kBool = Tag(0x6A08, PT_BOOLEAN);
inline constexpr ULONG kBig = Tag(0x6A09, PT_I8);
inline constexpr ULONG kTime = Tag(0x6A0A, PT_SYSTIME);
inline constexpr ULONG kGuid = Tag(0x6A0B, PT_CLSID);
inline constexpr ULONG kOtherNumber = Tag(0x6A0C, PT_LONG);
inline constexpr ULONG kOtherText = Tag(0x6A0D, PT_STRING8);
inline constexpr ULONG kAbsent = Tag(0x6AFF, PT_LONG);
inline constexpr ULONG kAbsentText = Tag(0x6AFE, PT_STRING8);

inline constexpr LONG kLongMin = std::numeric_limits<LONG>::min();
inline constexpr LONG kLongMax = std::numeric_limits<LONG>::max();

enum class Home { Memory, Storage };

inline std::string HomeName(const testing::TestParamInfo<Home> &info)
{
    return info.param == Home::Memory ? "Memory" : "Storage";
}

// A row whose label is `label`, with further values.
inline Props Row(const char *label, Props more = {})
{
    more.insert(more.begin(), Narrow(kLabel, label));
    return more;
}

// The labels of up to `count` rows from where the cursor stands, separated by blanks.
inline std::string Labels(const SRowSet *rows)
{
    std::string labels;
    for (ULONG row = 0; rows && row < rows->cRows; ++row) {
        const SPropValue *value = nullptr;
        for (ULONG column = 0; column < rows->aRow[row].cValues; ++column)
            if (rows->aRow[row].lpProps[column].ulPropTag == kLabel)
                value = &rows->aRow[row].lpProps[column];
        labels += (labels.empty() ? "" : " ") + std::string(value ? value->Value.lpszA : "?");
    }
    return labels;
}
inline std::string Read(IMAPITable &table, LONG count, ULONG flags = 0)
{
    Rows rows;
    const HRESULT hr = table.QueryRows(count, flags, rows.put());
    return hr == S_OK ? Labels(rows.get()) : "failed";
}
inline std::string Read(const ComPtr<IMAPITable> &table, LONG count, ULONG flags = 0)
{
    return Read(*table, count, flags);
}
// The labels of all rows, from the beginning.
inline std::string All(const ComPtr<IMAPITable> &table)
{
    EXPECT_EQ(table->SeekRow(BOOKMARK_BEGINNING, 0, nullptr), S_OK);
    return Read(table, 1000);
}

class AnyTable : public testing::TestWithParam<Home>
{
  protected:
    // A table of these rows with the columns label and number, ordered as the rows were given.
    ComPtr<IMAPITable> TableOf(const std::vector<Props> &rows)
    {
        ComPtr<IMAPITable> table;
        if (GetParam() == Home::Memory) {
            MemoryRows memory;
            for (const Props &row : rows)
                EXPECT_EQ(memory.Add(static_cast<ULONG>(row.size()), row.data()), S_OK);
            EXPECT_EQ(CreateMemoryTable(std::move(memory), {.columns = {kLabel, kNumber}}, table.put()), S_OK);
        } else {
            m_mailbox.emplace();
            for (const Props &row : rows)
                m_mailbox->Add(row);
            table = m_mailbox->Contents();
            EXPECT_EQ(table->SetColumns(Tags{kLabel, kNumber}, 0), S_OK);
        }
        return table;
    }
    ComPtr<IMAPITable> Letters(const char *letters = "abcde")
    {
        std::vector<Props> rows;
        static const char *const names[] = {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j"};
        for (const char *letter = letters; *letter; ++letter)
            rows.push_back(Row(names[*letter - 'a'], {Long(kNumber, *letter - 'a')}));
        return TableOf(rows);
    }
    // The labels of the rows that satisfy a restriction; a refusal by its name.
    static std::string Matching(const ComPtr<IMAPITable> &table, SRestriction *restriction)
    {
        const HRESULT hr = table->Restrict(restriction, 0);
        return hr == S_OK ? Read(table, 1000) : CodeName(hr);
    }
    static ULONG Position(const ComPtr<IMAPITable> &table)
    {
        ULONG row = 0;
        ULONG numerator = 0;
        ULONG denominator = 0;
        EXPECT_EQ(table->QueryPosition(&row, &numerator, &denominator), S_OK);
        return row;
    }

    LiveCountsAreZeroAtTheEnd m_counts;
    std::optional<Mailbox> m_mailbox;
};

// What happens to cursor and bookmarks when the folder changes under the table.
class ChangingTable : public testing::Test
{
  protected:
    ChangingTable()
    {
        for (const char *label : {"a", "b", "c", "d", "e"})
            m_ids.push_back(m_mailbox.Add(Row(label)));
        m_table = m_mailbox.Contents();
        EXPECT_EQ(m_table->SetColumns(Tags{kLabel}, 0), S_OK);
        EXPECT_EQ(m_table->SortTable(Sort{{kLabel, TABLE_SORT_ASCEND}}, 0), S_OK);
    }
    BOOKMARK MarkAt(LONG row)
    {
        BOOKMARK bookmark = 0;
        EXPECT_EQ(m_table->SeekRow(BOOKMARK_BEGINNING, row, nullptr), S_OK);
        EXPECT_EQ(m_table->CreateBookmark(&bookmark), S_OK);
        EXPECT_EQ(m_table->SeekRow(BOOKMARK_BEGINNING, 0, nullptr), S_OK);
        return bookmark;
    }

    LiveCountsAreZeroAtTheEnd m_counts;
    Mailbox m_mailbox;
    std::vector<EntryIdBytes> m_ids;
    ComPtr<IMAPITable> m_table;
};

} // namespace localmapi::test
