// Table notifications of the double: who is registered on which table, and the firing of notifications as MAPI does it,
// on a thread that is not the code's under test.
#pragma once
#include <initializer_list>
#include <mapix.h>
#include <string>
#include <thread>
#include <vector>

namespace mapi_double
{

// "Table(unread) 0x100", in the order of registration.
std::vector<std::string> Registrations();
// Those of all tables of that name: notifies each with these event types, in one batch and on the calling thread.
// Gives the results in the order of registration.
std::vector<HRESULT> NotifyHere(const std::string &table,
                                std::initializer_list<ULONG> eventTypes = {fnevTableModified});
// The same on a new thread, and waits for it.
std::vector<HRESULT> Notify(const std::string &table, std::initializer_list<ULONG> eventTypes = {fnevTableModified});
// The same without waiting. Join the thread.
std::thread NotifyMeanwhile(const std::string &table);

// From now on Unadvise waits until OnNotify of that registration has returned on every other thread, as a provider
// does that promises no call after Unadvise; otherwise it returns at once. Double::Reset ends it.
void LetUnadviseWait();
// References that MAPI still holds after Unadvise, as a provider does that has something on its way.
void KeepSinksAfterUnadvise();
// Notifies the sinks kept so, and lets them go.
std::vector<HRESULT> NotifyKeptSinks();

// Used by the tables.
ULONG EnterRegistration(const void *table, const std::string &tableName, ULONG events, IMAPIAdviseSink *sink);
bool EndRegistration(const void *table, ULONG connection);
void ForgetRegistrations();

} // namespace mapi_double
