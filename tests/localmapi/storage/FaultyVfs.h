// SQLite's own access to files, with a fault at the n-th write of a run: an error, or the end of the process.
#pragma once

namespace localmapi::storage
{

enum class WriteFault { None, DiskFull, Exit };

// Makes it the file access of every connection opened from now on in this process; call once, before the first one.
void InstallFaultyVfs();

// The fault strikes at the n-th call from now on that writes, syncs, truncates or deletes (1 is the next one), and
// with DiskFull at every further one too. Starts the count anew.
void SetWriteFault(WriteFault fault, int n);

// How many such calls there were since.
int WritesSeen();
// How many of them synced.
int SyncsSeen();

// As long as it is there, nothing is synced: who wants to waits.
class SyncsHeld
{
  public:
    SyncsHeld();
    ~SyncsHeld();
    SyncsHeld(const SyncsHeld &) = delete;
    SyncsHeld &operator=(const SyncsHeld &) = delete;
    void WaitForOne() const; // until somebody waits
};

} // namespace localmapi::storage
