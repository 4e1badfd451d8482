// One step of a history: what is done, to what, with which values. Operations name what they work on, so that a history
// from which others were taken out still means the same; one whose object was never made is passed over.
#pragma once
#include "World.h"

namespace mapitest
{

class OperationKind;

struct Operation {
    const OperationKind *kind = nullptr;
    std::uint32_t index = 0; // in the history that it was made for
    int session = 0;
    Name target = 0; // the folder, message, draft or table
    Name other = 0;  // the other folder, the bookmark
    std::vector<Name> list;
    ULONG flags = 0;
    LONG number = 0;
    LONG size = 0;
    bool yes = false;
    Properties properties;
    std::vector<ULONG> tags;
    std::vector<Recipient> recipients;
    std::optional<Condition> condition;
    std::vector<SortKey> sort;
    std::string text;
    Bytes bytes;

    // What the operation makes; several things where it makes some at once.
    static constexpr Name kNamesEach = 16;
    Name Own(int which = 0) const { return (index + 2) * kNamesEach + static_cast<Name>(which); }
    std::string Text() const;
};

// The object was never made, or is gone for the client.
struct PassedOver {
};

class OperationKind
{
  public:
    const char *name;
    int weight;
    // Makes up an operation that can be done now; false when there is none.
    bool (*generate)(World &world, Random &random, Operation &operation);
    // Does it over MAPI and in the model. Throws Deviation or PassedOver.
    void (*perform)(World &world, const Operation &operation);
};

// In files of their own, by what they work on.
const std::vector<OperationKind> &SessionOperations();
const std::vector<OperationKind> &DraftOperations();
const std::vector<OperationKind> &PartOperations();
const std::vector<OperationKind> &SubmitOperations();
const std::vector<OperationKind> &FolderOperations();
const std::vector<OperationKind> &TableOperations();
const std::vector<OperationKind> &NoticeOperations();

Operation Generate(World &world, Random &random, std::uint32_t index);

// --- what generators and performers share ---

// A session that is logged on; -1 when there is none.
int SomeSession(World &world, Random &random);
// A folder that the session may use; 0 when there is none.
Name SomeFolder(World &world, Random &random, int session);
// A draft as the target; false when there is none.
bool ChoosesDraft(World &world, Random &random, Operation &operation);
Name SomeTable(World &world, Random &random);

inline Session &SessionOf(World &world, const Operation &operation)
{
    Session &session = world.sessions[operation.session];
    if (!session.IsOn())
        throw PassedOver();
    return session;
}
template <class Map> auto &Named(Map &map, Name name)
{
    const auto found = map.find(name);
    if (found == map.end())
        throw PassedOver();
    return found->second;
}

} // namespace mapitest
