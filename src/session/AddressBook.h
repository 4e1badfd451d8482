// The address book of a session, and lists of names for it to resolve. A failing step is reported under the operation's
// name, and its HRESULT is given back.
#pragma once
#include "common/base/Owners.h"

class Operation;

HRESULT OpenAddressBook(const Operation &op, IMAPISession *pSession, ComPtr<IAddrBook> &addressBook);

// A list without entries, and with room for so many.
HRESULT AllocateAddressList(const Operation &op, ULONG cEntries, LPADRLIST *ppList);
// Adds an entry with a display name and, unless it is to be looked up only, the recipient type. An entry counts from
// then on, so that freeing the list frees it.
HRESULT AddAddress(const Operation &op, ADRLIST *pList, const char *szName, bool bRecipient);
