// Owners over the library's handles: a connection, a mailbox, a listing, a result block.
#pragma once
#include "OrlMapi32.h"
#include "common/Text.h"
#include <string>
#include <utility>
#include <vector>

struct LogonOptions {
    std::string profile;
    std::string server;
    std::string mailbox;
};

using EntryId = std::vector<std::uint8_t>;

// The bytes of an identifier in hexadecimal; Misuse where it is none.
EntryId ParseEntryId(const std::string &hex);

class Connection
{
  public:
    Connection();
    ~Connection();
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    void LogOn(const LogonOptions &options);
    DWORD Handle() const { return m_handle; }

  private:
    DWORD m_handle = 0;
};

class Mailbox
{
  public:
    Mailbox(const LogonOptions &options, const std::string &name);
    ~Mailbox();
    Mailbox(const Mailbox &) = delete;
    Mailbox &operator=(const Mailbox &) = delete;

    DWORD ConnectionHandle() const { return m_connection.Handle(); }
    OrlMailbox Handle() const { return m_mailbox; }

  private:
    Connection m_connection;
    OrlMailbox m_mailbox = 0;
};

// A block that the library gave out.
template <class Record> class Result
{
  public:
    Result() = default;
    ~Result() { OrlMapiFreeBuffer(m_block); }
    Result(const Result &) = delete;
    Result &operator=(const Result &) = delete;
    Record **put()
    {
        OrlMapiFreeBuffer(std::exchange(m_block, nullptr));
        return &m_block;
    }
    const Record &operator[](std::size_t i) const { return m_block[i]; }
    const Record *operator->() const { return m_block; }

  private:
    Record *m_block = nullptr;
};
