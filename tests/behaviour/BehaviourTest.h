// A site with a few users, and a host's session on it.
#pragma once
#include <windows.h>

#include <objbase.h>

#include "OrlMapi32.h"
#include "behaviour/Environment.h"
#include "localmapi/delivery/Compose.h"
#include "localmapi/storage/Profiles.h"
#include "localmapi/storage/Time.h"
#include <functional>
#include <gmock/gmock.h>
#include <optional>
#include <string>
#include <vector>

// HRESULTs with their names in failures.
std::string NameOf(HRESULT hr);
#define EXPECT_HR(wanted, call) EXPECT_EQ(NameOf(wanted), NameOf(call))
#define ASSERT_HR(wanted, call) ASSERT_EQ(NameOf(wanted), NameOf(call))

using Id = std::vector<BYTE>;

struct Page {
    HRESULT hr = 0;
    ULONG count = 0;
    ULONG total = 0;
    std::vector<std::string> names; // callers' names, in order
    std::vector<Id> ids;
    std::vector<std::vector<ULONG>> attachments; // their numbers
};

struct Filter {
    BYTE read = 0, priority = 0, fax = 0, summary = 0, um = 1, attachments = 0;
};

class BehaviourTest : public testing::Test
{
  protected:
    BehaviourTest();
    ~BehaviourTest() override;

    // Every user has a mailbox; vm may open them all.
    localmapi::storage::User AddUser(const std::string &alias, const std::string &name);
    // A profile of vm's, made as any client makes one.
    void AddProfile(const char *name);
    void DeliverVoicemail(const std::string &alias, const std::string &caller, bool urgent = false,
                          const std::string &wav = {}, bool isPrivate = false);
    localmapi::storage::ObjectId Deliver(const std::string &alias, const localmapi::storage::MessageChanges &message);
    std::filesystem::path File(const std::string &name) const { return m_folder / name; }
    // A PCM WAVE file with this many bytes of sound.
    std::string Wave(const std::string &name, std::size_t bytes);
    std::string Bytes(const std::filesystem::path &file) const;

    // Logged on through the temporary service profile, with the mailbox open; undone at the end.
    void Connect();
    OrlMailbox Open(const std::string &alias);
    Page List(OrlMailbox mailbox, DWORD &table, DWORD &bookmark, LONG rows, BYTE forward, ULONG start,
              const Filter &filter = {});
    Page ListAll(OrlMailbox mailbox, const Filter &filter);

    localmapi::storage::Site &GetSite() { return *m_site; }

    DWORD m_connection = 0;
    std::vector<OrlMailbox> m_mailboxes;

  private:
    std::filesystem::path m_folder;
    std::optional<localmapi::storage::Site> m_site;
    std::int64_t m_time = localmapi::storage::CurrentTime();
};
