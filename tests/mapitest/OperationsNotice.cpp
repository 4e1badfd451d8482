// Sinks: advised, awaited, let go.
#include "Operation.h"

namespace mapitest
{

namespace
{

bool GenerateAdvise(World &world, Random &random, Operation &operation)
{
    operation.target = SomeTable(world, random);
    return operation.target != 0 && !world.tables.at(operation.target).sink;
}

void PerformAdvise(World &world, const Operation &operation)
{
    OpenTable &open = Named(world.tables, operation.target);
    if (open.sink)
        throw PassedOver();
    auto sink = localmapi::MakeObject<Sink>();
    Expect(open.object->Advise(fnevTableModified, sink.get(), &open.connection), S_OK, "Advise");
    Expect(open.connection != 0, "Advise gave no connection");
    open.sink = sink;
    world.FillCopy(open);
}

bool OfAdvised(World &world, Random &random, Operation &operation)
{
    operation.target = SomeTable(world, random);
    return operation.target != 0 && world.tables.at(operation.target).sink;
}

OpenTable &Advised(World &world, const Operation &operation)
{
    OpenTable &open = Named(world.tables, operation.target);
    if (!open.sink)
        throw PassedOver();
    return open;
}

void PerformAwait(World &world, const Operation &operation)
{
    world.AwaitNotices(Advised(world, operation));
}

void PerformUnadvise(World &world, const Operation &operation)
{
    OpenTable &open = Advised(world, operation);
    Expect(open.object->Unadvise(open.connection), S_OK, "Unadvise");
    world.KeepClosed(open.sink);
    Expect(open.object->Unadvise(open.connection), MAPI_E_NOT_FOUND, "Unadvise a second time");
    open.sink.reset();
    open.copy = {};
}

} // namespace

const std::vector<OperationKind> &NoticeOperations()
{
    static const std::vector<OperationKind> kinds = {{"advise", 10, GenerateAdvise, PerformAdvise},
                                                     {"await notices", 40, OfAdvised, PerformAwait},
                                                     {"unadvise", 5, OfAdvised, PerformUnadvise}};
    return kinds;
}

} // namespace mapitest
