// Streams and storages.
#pragma once
#include "support/Com.h"
#include <map>
#include <objidl.h>
#include <optional>

namespace mapi_double
{

struct StreamData {
    StreamData() = default;
    explicit StreamData(std::string content) : bytes(std::move(content)) {}
    std::string bytes;
    std::optional<ULONGLONG> claimedSize; // what Stat says, where that is not the number of bytes
    ULONG mostPerRead = 0xFFFFFFFF;       // a read gives no more than this
};

struct StorageData {
    std::map<std::string, std::shared_ptr<StreamData>> streams;
};

IStream *NewStream(const std::string &name, std::shared_ptr<StreamData> data);
IStorage *NewStorage(const std::string &name, std::shared_ptr<StorageData> data);

} // namespace mapi_double
