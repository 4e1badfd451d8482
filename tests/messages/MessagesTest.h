// The fixture of the conversation tests about messages: a connection, Alice's mailbox on the scripted double of MAPI,
// and every trace line. A test ends with nothing left: no object, no block, and the open-object counter at 0.
#pragma once
#include "OrlMapi32.h"
#include "session/CMAPIImpl.h"
#include "session/SessionGuard.h"
#include "support/MapiDouble.h"
#include <optional>
#include <string>
#include <vector>

namespace messages_test
{

using namespace mapi_double;

struct TraceLine {
    char level = '?';
    std::string text; // without prefix and indentation; "[123]" after the function's name is "[n]"
};

// A listing's arguments, as a test changes them, and what came back.
template <class Record, class Char> struct ListingCall {
    DWORD hTable = 0;
    DWORD hOrigin = 0;
    bool withOrigin = true;
    LONG rows = 10;
    BYTE read = 0;
    BYTE forward = 1;
    ULONG bookmark = ORL_BOOKMARK_CURRENT;
    BYTE withAttachments = 0;
    BYTE priority = 0;
    BYTE fax = 0;
    BYTE summary = 0;
    BYTE um = 0;
    std::vector<const Char *> servers;

    Record *headers = nullptr;
    ULONG count = 0xEEEEEEEE;
    ULONG total = 0xEEEEEEEE;
    HRESULT hr = E_FAIL;

    ~ListingCall() { OrlMapiFreeBuffer(headers); }
};
using ListingA = ListingCall<EmailHeaderA, char>;
using ListingW = ListingCall<EmailHeaderW, WCHAR>;

class MessagesTest : public MapiDoubleTest
{
  protected:
    MessagesTest();
    ~MessagesTest() override;
    void TearDown() override;

    // Runs a listing with what it says; its outputs start afresh.
    void Run(ListingA &listing);
    void Run(ListingW &listing);
    // Gives the handles of a listing back.
    void Release(ListingA &listing);
    // Runs a listing and gives its one header.
    const EmailHeaderA &Only(ListingA &listing);

    // A message of Alice's Inbox that every filter leaves, unless it is changed.
    MessageData &Deliver(const std::string &name, Row more = {});
    // Messages "1", "2" and so on.
    void DeliverMany(int count);
    // Whether Alice's Inbox's table was called so.
    bool Asked(const std::string &call) const;
    static std::string IdOf(const std::string &message) { return EntryIdOf("message:" + message); }
    static const BYTE *AsBytes(const std::string &id) { return reinterpret_cast<const BYTE *>(id.data()); }
    static ULONG SizeOf(const std::string &id) { return static_cast<ULONG>(id.size()); }

    // A connection beside the fixture's own; closed at the end of the test.
    DWORD AnotherConnection();
    // The open-object counter of the fixture's session.
    LONG OpenObjects() const;

    // Trace lines since the last ForgetTrace.
    static std::vector<TraceLine> Trace();
    static std::vector<std::string> Lines();
    static std::vector<std::string> ErrorLines(); // of failed calls
    static int CountLines(const std::string &text);
    static void ForgetTrace();
    void Forget()
    {
        m_mapi.recorder.Forget();
        ForgetTrace();
    }

    DWORD m_connection = 0;
    OrlMailbox m_mailbox = 0;

  private:
    std::vector<DWORD> m_more;
};

// Names of a page's messages in order, from their entry IDs.
std::vector<std::string> NamesOf(const ListingA &listing);

} // namespace messages_test
