// All kinds of operation, one chosen at random, and operations in words.
#include "Operation.h"
#include <algorithm>

namespace mapitest
{

namespace
{

const std::vector<OperationKind> &AllKinds()
{
    static const std::vector<OperationKind> kinds = [] {
        std::vector<OperationKind> all;
        for (const auto *some : {&SessionOperations(), &DraftOperations(), &PartOperations(), &SubmitOperations(),
                                 &FolderOperations(), &TableOperations(), &NoticeOperations()})
            all.insert(all.end(), some->begin(), some->end());
        return all;
    }();
    return kinds;
}

int TotalWeight()
{
    static const int total = [] {
        int sum = 0;
        for (const OperationKind &kind : AllKinds())
            sum += kind.weight;
        return sum;
    }();
    return total;
}

template <class Map> Name SomeOf(const Map &map, Random &random)
{
    if (map.empty())
        return 0;
    return std::next(map.begin(), random.Below(static_cast<int>(map.size())))->first;
}

} // namespace

Operation Generate(World &world, Random &random, std::uint32_t index)
{
    for (;;) {
        int left = random.Below(TotalWeight());
        for (const OperationKind &kind : AllKinds()) {
            left -= kind.weight;
            if (left >= 0)
                continue;
            Operation operation;
            operation.kind = &kind;
            operation.index = index;
            if (kind.generate(world, random, operation))
                return operation;
            break;
        }
    }
}

int SomeSession(World &world, Random &random)
{
    const int session = random.Below(kSessions);
    return world.sessions[session].IsOn() ? session : -1;
}

Name SomeFolder(World &world, Random &random, int session)
{
    for (int tries = 0; tries < 20; ++tries) {
        const Name folder = SomeOf(world.model.folders, random);
        if (World::MayUse(session, world.model.folders.at(folder).mailbox))
            return folder;
    }
    return 0;
}

bool ChoosesDraft(World &world, Random &random, Operation &operation)
{
    operation.target = SomeOf(world.drafts, random);
    return operation.target != 0;
}

Name SomeTable(World &world, Random &random)
{
    return SomeOf(world.tables, random);
}

std::string Operation::Text() const
{
    std::string line = "#" + std::to_string(index) + " s" + std::to_string(session) + " " + kind->name;
    const auto add = [&](const std::string &more) { line += " " + more; };
    if (target)
        add("on " + std::to_string(target));
    if (other)
        add("other " + std::to_string(other));
    for (const Name one : list)
        add(std::to_string(one));
    if (flags)
        add("flags " + std::to_string(flags));
    if (number)
        add("number " + std::to_string(number));
    if (size)
        add("size " + std::to_string(size));
    if (yes)
        add("yes");
    for (const auto &[tag, value] : properties)
        add(NameOf(tag) + "=" + TextOf(value));
    for (const ULONG tag : tags)
        add(NameOf(tag));
    for (const Recipient &recipient : recipients)
        add(recipient.name + "/" + std::to_string(recipient.type) + "#" + std::to_string(recipient.row));
    if (condition)
        add(condition->Text());
    for (const SortKey &key : sort)
        add("by " + NameOf(key.tag) + (key.descending ? " down" : ""));
    if (!text.empty())
        add("'" + text.substr(0, 40) + "'");
    if (!bytes.empty())
        add(TextOf(bytes));
    return line + " -> " + std::to_string(Own());
}

} // namespace mapitest
