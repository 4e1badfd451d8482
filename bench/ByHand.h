// The references: what a host would write itself.
#pragma once
#include "OrlMapi32.h"
#include <functional>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace bench
{

enum class Listed { Mail, UrgentVoiceMail };

// The MAPI calls of a listing of unread messages, mail that is not urgent or urgent voice mail, written by hand and
// copied into the same records. Gives the number of headers. `called` hears the name of each call when it has returned.
ULONG ListByHand(
    OrlMailbox mailbox, LONG rows, Listed listed = Listed::Mail,
    const std::function<void(const char *)> &called = [](const char *) {});

// A page of unread urgent voice mails and their number, in plain SQL on the site's file.
class PlainSql
{
  public:
    explicit PlainSql(const std::string &site);
    ~PlainSql();
    PlainSql(const PlainSql &) = delete;
    PlainSql &operator=(const PlainSql &) = delete;
    // The number of rows of the page; every property of them is read.
    int Page(int rows);

  private:
    sqlite3 *m_database = nullptr;
    sqlite3_stmt *m_inbox = nullptr, *m_page = nullptr, *m_count = nullptr, *m_properties = nullptr;
    long long m_folder = 0;
};

} // namespace bench
