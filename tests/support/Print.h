// Every argument of a MAPI call as text that reads well and can be compared.
#pragma once
#include "support/Values.h"
#include <initializer_list>

namespace mapi_double
{

std::string Hex(ULONGLONG value); // "0x111", and "0" for zero
std::string Number(LONGLONG value);
std::string Result(HRESULT hr);                   // "MAPI_E_NOT_FOUND", or the number
std::string Quoted(const char *text);             // NULL for a null pointer
std::string Quoted(const WCHAR *text);            // L"…", anything beyond ASCII as \uXXXX
std::string EntryId(ULONG count, const void *id); // eid(name) for the double's own, else its bytes
std::string Interface(const IID *iid);            // NULL or the interface's name
std::string Tag(ULONG tag);                       // PR_ENTRYID, PR_SUBJECT_A, or the number
std::string Tags(const SPropTagArray *tags);      // [PR_ENTRYID, PR_SUBJECT_A]
std::string PropertyName(const MAPINAMEID &name); // {00062002-0000-0000-c000-000000000046}/0x8205
std::string PropertyNames(ULONG count, const MAPINAMEID *const *names);
std::string Property(const SPropValue &value); // PR_SUBJECT_A="text"
std::string Properties(ULONG count, const SPropValue *values);
std::string Restriction(const SRestriction *restriction); // AND(PROPERTY(PR_X == 1), …), NULL
std::string SortOrder(const SSortOrderSet *order);        // SORT(PR_CLIENT_SUBMIT_TIME ASC)
std::string AddressList(const ADRLIST *list);             // [PR_DISPLAY_NAME_A="a", …; …]
std::string EntryList(const SBinaryArray *list);          // [eid(a), eid(b)]
std::string Uid(const MAPIUID *uid);
std::string Joined(std::initializer_list<std::string> arguments);

} // namespace mapi_double
