// A folder's table that is watched, messages saved into it by this process or by another one, and when the sink hears.
#pragma once
#include "Sites.h"
#include <condition_variable>
#include <cstdio>
#include <functional>
#include <mapiutil.h>
#include <mapix.h>
#include <mutex>
#include <string>
#include <vector>

namespace bench
{

std::int64_t Nanoseconds(); // of the clock that all processes share

// A mailbox through MAPI's interfaces, as far as it is measured here.
class Inbox
{
  public:
    explicit Inbox(OrlMailbox mailbox); // throws std::runtime_error
    ~Inbox();
    Inbox(const Inbox &) = delete;
    Inbox &operator=(const Inbox &) = delete;
    IMAPIFolder *Folder() { return m_folder; }
    IMAPITable *Table();       // a new one over the Inbox
    IMAPITable *OutboxTable(); // and over the Outbox
    // Saves a new message; when SaveChanges was called and when it returned.
    std::pair<std::int64_t, std::int64_t> Save();

  private:
    IMAPIFolder *m_folder = nullptr, *m_outbox = nullptr;
};

// Remembers when it was called last.
class ClockSink final : public IMAPIAdviseSink
{
  public:
    STDMETHODIMP QueryInterface(REFIID, void **object) override;
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP_(ULONG) OnNotify(ULONG, LPNOTIFICATION) override;
    // The time of the call after `calls` ones; 0 when none comes within a minute.
    std::int64_t Await(std::uint64_t calls);
    std::uint64_t Calls();

  private:
    std::mutex m_lock;
    std::condition_variable m_called;
    std::uint64_t m_calls = 0;
    std::int64_t m_when = 0;
};

// A table over the Inbox with a sink, and as many more over another folder as there are to be.
class Advised
{
  public:
    Advised(Inbox &inbox, std::size_t count);
    ~Advised();
    Advised(const Advised &) = delete;
    Advised &operator=(const Advised &) = delete;
    ClockSink sink;

  private:
    ClockSink m_others;
    std::vector<std::pair<IMAPITable *, ULONG>> m_tables;
};

// This program started a second time with "OPTION SITE", which saves or sends a message when it is told to.
class OtherProcess
{
  public:
    explicit OtherProcess(const std::string &site, const std::string &option = "--save");
    ~OtherProcess();
    OtherProcess(const OtherProcess &) = delete;
    OtherProcess &operator=(const OtherProcess &) = delete;
    std::pair<std::int64_t, std::int64_t> Save();

  private:
    std::FILE *m_to = nullptr, *m_from = nullptr;
    int m_id = 0;
};

// What the second process does: "orlmapi_bench --save SITE", and how it answers: with the times that `save` gives.
int SaveWhenTold(const std::string &site);
int AnswerSaves(const std::function<std::pair<std::int64_t, std::int64_t>()> &save);

} // namespace bench
