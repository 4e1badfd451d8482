// A site's file made as small as what is in it, while others have it open.
#pragma once
#include "localmapi/storage/Site.h"
#include <chrono>
#include <functional>

namespace localmapi::storage
{

struct Compacted {
    std::int64_t before = 0, after = 0; // bytes of the file
    bool isDone = true; // false: others hold on to pages beyond its new end; it shrinks once they let go
};

// The file is packed in one transaction, which a power cut leaves done or undone. Others read on meanwhile, writers
// wait; nobody is told of a change, because there is none. What is in the file has to have room twice: once in its log,
// once where the system has temporary files. Full where the log has none; Busy where others would wait longer than
// `longest` before the new pages begin to be written, which takes about as long again; Failed where `goOn`, which is
// asked now and then with the seconds since the beginning, says no. Then nothing has changed.
Compacted Compact(const Site &site, std::optional<std::chrono::seconds> longest,
                  const std::function<bool(std::chrono::seconds)> &goOn = {});

} // namespace localmapi::storage
