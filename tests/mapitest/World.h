// A run's site and everything that is open in it, beside the model of both. One thread uses it; what others tell comes
// through sinks.
#pragma once
#include "Sink.h"
#include "TableModel.h"
#include "localmapi/provider/base/ComObject.h"
#include "localmapi/provider/base/Memory.h"
#include <stdexcept>

namespace mapitest
{

using localmapi::Block;

// The site does not do what the model does.
class Deviation : public std::runtime_error
{
  public:
    using std::runtime_error::runtime_error;
};
void Expect(bool holds, const std::string &what);
void Expect(HRESULT got, HRESULT wanted, const std::string &call);

// Alice and Bob, each in a mailbox of their own, and a service account that works in both.
inline constexpr int kSessions = 3;
inline constexpr int kService = 2;
enum class Special { Inbox = 1, Outbox, Sent, Deleted };
inline Name SpecialFolder(int mailbox, Special which)
{
    return static_cast<Name>(mailbox * 8 + static_cast<int>(which));
}

struct Session {
    ComPtr<IMAPISession> session;
    ComPtr<IMsgStore> stores[kMailboxes];
    std::map<Name, ComPtr<IMAPIFolder>> folders;
    bool IsOn() const { return static_cast<bool>(session); }
};

struct OpenDraft {
    int session = 0;
    ComPtr<IMessage> object;
    Draft draft;
};

struct OpenTable {
    int session = 0;
    ComPtr<IMAPITable> object;
    TableModel model;
    std::map<Name, BOOKMARK> bookmarks;
    // While a sink is advised.
    ComPtr<Sink> sink;
    ULONG connection = 0;
    TableCopy copy;
};

class World
{
  public:
    // Works in a copy of the template in this folder; waits so long for notices that are due.
    explicit World(const std::string &folder, std::chrono::seconds patience = std::chrono::seconds(30));
    World(const World &) = delete;
    World &operator=(const World &) = delete;
    ~World();

    Model model;
    Session sessions[kSessions];
    std::map<Name, OpenDraft> drafts;
    std::map<Name, OpenTable> tables;
    std::map<Name, Bytes> folderIds;

    void LogOn(int session);
    // Lets go of all that the session has.
    void LogOff(int session, int manner);
    static bool MayUse(int session, int mailbox) { return session == kService || session == mailbox; }
    IMAPIFolder *FolderOf(int session, Name folder);
    ComPtr<IMessage> OpenMessage(int session, const Message &message, ULONG flags, HRESULT expected);
    const std::string &AddressOf(int user) const { return m_addresses[user]; }
    // An entry ID that no message has any more; null when there is none.
    const Bytes *SomeForgotten(LONG which) const;
    // A sink that nobody may call any more; the last ones are looked at again and again.
    void KeepClosed(const ComPtr<Sink> &sink);
    void LookAtClosed();
    // Lets go of a table, which ends its advise.
    std::map<Name, OpenTable>::iterator Close(std::map<Name, OpenTable>::iterator table);
    // Learns the entry IDs of what was made in the folder, and compares the folder with the model.
    void Bind(Name folder, int session);
    // An entry ID that must be new in the site.
    void Learn(Message &message, const Bytes &entryId, const Bytes &instanceKey);
    // Tells the copies of advised tables what happened.
    void Follow();
    // Waits until the table's sink was told what happened to it, and compares.
    void AwaitNotices(OpenTable &table);
    // The copy of an advised table begins with what the table shows.
    void FillCopy(OpenTable &table);
    void Compare(const SPropValue *values, ULONG count, const Message &message, const std::string &where);

  private:
    std::string m_path;
    const std::chrono::seconds m_patience;
    std::string m_addresses[kMailboxes];
    std::set<Bytes> m_seen;
    std::vector<ComPtr<Sink>> m_closed;
    std::vector<std::string> ColumnTexts(const Message &message) const;
};

// The columns of every table, the instance key first.
const std::vector<ULONG> &Columns();
// What drafts are asked for.
const std::vector<ULONG> &ReadTags();

// MAPI's list of tags.
class Tags
{
  public:
    explicit Tags(const std::vector<ULONG> &tags)
    {
        m_array.push_back(static_cast<ULONG>(tags.size()));
        m_array.insert(m_array.end(), tags.begin(), tags.end());
    }
    operator SPropTagArray *() { return reinterpret_cast<SPropTagArray *>(m_array.data()); }

  private:
    std::vector<ULONG> m_array;
};

// The rows of one QueryRows.
class RowSet
{
  public:
    RowSet() = default;
    RowSet(const RowSet &) = delete;
    RowSet &operator=(const RowSet &) = delete;
    ~RowSet() { localmapi::FreeRows(m_rows); }
    SRowSet **put() { return &m_rows; }
    ULONG size() const { return m_rows ? m_rows->cRows : 0; }
    const SRow &operator[](ULONG row) const { return m_rows->aRow[row]; }

  private:
    SRowSet *m_rows = nullptr;
};

Bytes BytesIn(const SPropValue &value);
Bytes BytesOf(IMAPIProp *object, ULONG tag);
// A property against what it should be (null: absent); what differs, or nothing.
std::string Difference(const SPropValue &got, ULONG tag, const Value *wanted);

} // namespace mapitest
