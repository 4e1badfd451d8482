// Logging on and off, and entry IDs.
#include "Operation.h"

namespace mapitest
{

namespace
{

bool GenerateLogOff(World &world, Random &random, Operation &operation)
{
    operation.session = SomeSession(world, random);
    operation.number = random.Below(3);
    return operation.session >= 0;
}

void PerformLogOff(World &world, const Operation &operation)
{
    SessionOf(world, operation);
    world.LogOff(operation.session, operation.number);
}

bool GenerateLogOn(World &world, Random &random, Operation &operation)
{
    operation.session = random.Below(kSessions);
    return !world.sessions[operation.session].IsOn();
}

void PerformLogOn(World &world, const Operation &operation)
{
    if (world.sessions[operation.session].IsOn())
        throw PassedOver();
    world.LogOn(operation.session);
}

// Two messages' entry IDs compared, and one of a message that is not there any more.
bool GenerateEntryIds(World &world, Random &random, Operation &operation)
{
    operation.session = SomeSession(world, random);
    if (operation.session < 0 || world.model.messages.empty())
        return false;
    for (int i = 0; i < 2; ++i)
        operation.list.push_back(
            std::next(world.model.messages.begin(), random.Below(static_cast<int>(world.model.messages.size())))
                ->first);
    return true;
}

void PerformEntryIds(World &world, const Operation &operation)
{
    Session &session = SessionOf(world, operation);
    const Message &left = Named(world.model.messages, operation.list[0]);
    const Message &right = Named(world.model.messages, operation.list[1]);
    IMsgStore *store = session.stores[operation.session == kService ? 0 : operation.session].get();
    Bytes a = left.entryId, b = right.entryId;
    ULONG same = 7;
    Expect(store->CompareEntryIDs(static_cast<ULONG>(a.size()), reinterpret_cast<ENTRYID *>(a.data()),
                                  static_cast<ULONG>(b.size()), reinterpret_cast<ENTRYID *>(b.data()), 0, &same),
           S_OK, "CompareEntryIDs");
    Expect(same == (left.name == right.name), "CompareEntryIDs says " + std::to_string(same));
    // Another's mailbox is closed, whatever one knows of it.
    const int mailbox = world.model.folders.at(left.folder).mailbox;
    ComPtr<IUnknown> object;
    ULONG type = 0;
    IMsgStore *own = session.stores[World::MayUse(operation.session, mailbox) ? mailbox : operation.session].get();
    const HRESULT hr = own->OpenEntry(static_cast<ULONG>(a.size()), reinterpret_cast<ENTRYID *>(a.data()), nullptr, 0,
                                      &type, object.put());
    Expect(hr, World::MayUse(operation.session, mailbox) ? S_OK : MAPI_E_NOT_FOUND, "OpenEntry");
}

// An entry ID that was given once is never given again, nor does it open anything.
bool GenerateForgotten(World &world, Random &random, Operation &operation)
{
    operation.session = SomeSession(world, random);
    operation.number = random.Below(1000);
    return operation.session >= 0;
}

void PerformForgotten(World &world, const Operation &operation)
{
    Session &session = SessionOf(world, operation);
    const Bytes *gone = world.SomeForgotten(operation.number);
    if (!gone)
        throw PassedOver();
    Bytes id = *gone;
    ComPtr<IUnknown> object;
    ULONG type = 0;
    IMsgStore *store = session.stores[operation.session == kService ? 0 : operation.session].get();
    Expect(store->OpenEntry(static_cast<ULONG>(id.size()), reinterpret_cast<ENTRYID *>(id.data()), nullptr, 0, &type,
                            object.put()),
           MAPI_E_NOT_FOUND, "OpenEntry of a message that is gone");
}

} // namespace

const std::vector<OperationKind> &SessionOperations()
{
    static const std::vector<OperationKind> kinds = {{"log off", 4, GenerateLogOff, PerformLogOff},
                                                     {"log on", 60, GenerateLogOn, PerformLogOn},
                                                     {"entry IDs", 15, GenerateEntryIds, PerformEntryIds},
                                                     {"forgotten entry ID", 15, GenerateForgotten, PerformForgotten}};
    return kinds;
}

} // namespace mapitest
