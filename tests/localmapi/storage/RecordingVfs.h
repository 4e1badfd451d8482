// SQLite's own access to files, which writes down what it does to those of one site, in its order.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

namespace localmapi::storage
{

enum class Part { Site, Log };

struct DiskCall {
    enum class Kind { Write, Truncate, Sync, Delete };
    Kind kind;
    Part part;
    std::int64_t at = 0;          // of a write; the new size of what is truncated
    std::vector<char> bytes = {}; // of a write
};

// Makes it the file access of every connection opened from now on in this process; call once, before the first one.
// Nothing is really synced.
void InstallRecordingVfs();

// Writes down what is done to a site and its log from now on, both of which are no longer open. One at a time.
void BeginRecording(const std::string &sitePath);
std::vector<DiskCall> EndRecording();
std::size_t RecordedSoFar();

} // namespace localmapi::storage
