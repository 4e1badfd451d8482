// What goes wrong in the storage layer: every function of it either does its work whole or throws an Error and has
// changed nothing.
#pragma once
#include <stdexcept>
#include <string>

namespace localmapi::storage
{

enum class Fault {
    NotFound,    // no such object, user, profile, stream or file
    Collision,   // the name, number or file is there already
    Changed,     // the object was changed by somebody else since it was read
    Replaced,    // the path names another file than the one that was opened, or none
    NoAccess,    // the file can't be read or written by this user, or was opened for reading only
    Busy,        // another process held the file longer than the busy timeout
    Full,        // the disk is full
    OverQuota,   // a mailbox would hold more than it may
    Disk,        // the device can't be read or written
    Corrupt,     // the file is damaged
    CorruptData, // the data of a property are not what was written
    ForeignLog,  // the log beside the file was not written to it
    NotASite,    // the file belongs to another application
    TooNew,      // the file was written by a newer version
    TooBig,      // more than the file format can hold
    TooComplex,  // a filter or a folder is nested too deeply
    Invalid,     // an argument makes no sense
    Failed       // anything else; the text tells
};

const char *FaultName(Fault fault);

class Error : public std::runtime_error
{
  public:
    Error(Fault fault, const std::string &text) : std::runtime_error(text), m_fault(fault) {}
    Fault GetFault() const noexcept { return m_fault; }

  private:
    Fault m_fault;
};

} // namespace localmapi::storage
