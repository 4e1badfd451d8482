// The layouts that callers rely on. On 32 bits they are fixed to the byte; on 64 bits the same fields follow each
// other with 8-byte pointers.
#include "OrlMapi32.h"
#include <cstddef>
#include <string_view>
#include <windows.h>

// What the header says of its version, as a text and as numbers, is the same.
#define TEXT_OF(number) #number
#define DOTTED(major, minor, patch) TEXT_OF(major) "." TEXT_OF(minor) "." TEXT_OF(patch)
static_assert(std::string_view(ORLMAPI_VERSION) ==
              DOTTED(ORLMAPI_VERSION_MAJOR, ORLMAPI_VERSION_MINOR, ORLMAPI_VERSION_PATCH));

static_assert(sizeof(SYSTEMTIME) == 16);
static_assert(sizeof(WCHAR) == 2);
static_assert(sizeof(DWORD) == 4 && sizeof(ULONG) == 4 && sizeof(LONG) == 4 && sizeof(HRESULT) == 4);
static_assert(sizeof(BOOL) == 4 && sizeof(BYTE) == 1);
static_assert(sizeof(OrlMailbox) == sizeof(void *));

// A field's offset is what stands before it: so many bytes and so many pointers.
constexpr std::size_t At(std::size_t bytes, std::size_t pointers)
{
    return bytes + pointers * sizeof(void *);
}

template <class Header, class Attachment, class Text, class Server, class Profile> constexpr bool LayoutsHold()
{
    static_assert(offsetof(Header, cbEntryID) == 0);
    static_assert(offsetof(Header, pEntryID) == At(4, 0));
    static_assert(offsetof(Header, pszSenderName) == At(4, 1));
    static_assert(offsetof(Header, pszCreatorName) == At(4, 2));
    static_assert(offsetof(Header, pszComment) == At(4, 3));
    static_assert(offsetof(Header, stSubmitTime) == At(4, 4));
    static_assert(offsetof(Header, bRead) == At(20, 4));
    static_assert(offsetof(Header, bPrivate) == At(21, 4));
    static_assert(offsetof(Header, bHighPriority) == At(22, 4));
    static_assert(offsetof(Header, ulSize) == At(23, 4));
    static_assert(offsetof(Header, cAttachments) == At(27, 4));
    static_assert(offsetof(Header, pAttachments) == At(31, 4));
    static_assert(offsetof(Header, lSecs) == At(31, 5));
    static_assert(offsetof(Header, pszNumber) == At(35, 5));
    static_assert(offsetof(Header, pszName) == At(35, 6));
    static_assert(offsetof(Header, offset) == At(35, 7));
    static_assert(offsetof(Header, ulMsgReceived) == At(39, 7));
    static_assert(sizeof(Header) == At(43, 7));

    static_assert(offsetof(Attachment, ulSize) == 0);
    static_assert(offsetof(Attachment, ulAttachNum) == 4);
    static_assert(offsetof(Attachment, pszMimeTag) == 8);
    static_assert(offsetof(Attachment, pszFilename) == At(8, 1));
    static_assert(sizeof(Attachment) == At(8, 2));

    static_assert(offsetof(Text, pszBody) == 0 && offsetof(Text, pszSubject) == At(0, 1));
    static_assert(sizeof(Text) == At(0, 2));

    static_assert(offsetof(Server, bProfileMatched) == 0 && offsetof(Server, pszHomeServer) == 1);
    static_assert(offsetof(Server, pszProfileUser) == At(1, 1));
    static_assert(sizeof(Server) == At(1, 2));

    static_assert(offsetof(Profile, bFlag) == 0 && offsetof(Profile, pszDisplayName) == 1);
    static_assert(sizeof(Profile) == At(1, 1));
    return true;
}

template <class Event> constexpr bool EventLayoutHolds()
{
    static_assert(offsetof(Event, bBusy) == 0 && offsetof(Event, bOutOfOffice) == 1 &&
                  offsetof(Event, bTentative) == 2);
    static_assert(offsetof(Event, lDuration) == 3);
    static_assert(offsetof(Event, pszLocation) == At(7, 0));
    static_assert(offsetof(Event, pszSubject) == At(7, 1));
    static_assert(offsetof(Event, pszBody) == At(7, 2));
    static_assert(offsetof(Event, stStart) == At(7, 3));
    static_assert(offsetof(Event, stEnd) == At(23, 3));
    static_assert(sizeof(Event) == At(39, 3));
    return true;
}
static_assert(EventLayoutHolds<CalendarEventA>() && EventLayoutHolds<CalendarEventW>());

static_assert(LayoutsHold<EmailHeaderA, AttachmentInfoA, EmailTextA, ExchangeServerNameA, ExchangeProfileA>());
static_assert(LayoutsHold<EmailHeaderW, AttachmentInfoW, EmailTextW, ExchangeServerNameW, ExchangeProfileW>());
static_assert(sizeof(void *) != 4 ||
              (sizeof(EmailHeaderA) == 71 && sizeof(AttachmentInfoA) == 16 && sizeof(EmailTextA) == 8 &&
               sizeof(ExchangeServerNameA) == 9 && sizeof(ExchangeProfileA) == 5 && sizeof(CalendarEventA) == 51));
