// A stored value as a client gets it: the one place where an SPropValue is made of a storage::Value.
#pragma once
#include "localmapi/storage/Value.h"
#include <mapix.h>
#include <string>

namespace localmapi
{

// Where the bytes go that a value points to. Each may throw, and each may give null: then nothing is written there, for
// memory that only measures.
class PropMemory
{
  public:
    virtual void *Take(std::size_t size) = 0;
    // UTF-8 in the client's narrow or wide form, with a terminator.
    virtual char *Narrow(const std::string &text) = 0;
    virtual WCHAR *Wide(const std::string &text) = 0;

  protected:
    ~PropMemory() = default;
};

// Writes a value under `tag`, whose type must be the value's or, for text, of either width. No value, or one of another
// type, gives PT_ERROR with MAPI_E_NOT_FOUND; a value that is only to be had as a stream PT_ERROR with
// MAPI_E_NOT_ENOUGH_MEMORY. Returns whether it was written.
bool EncodeProp(SPropValue &target, ULONG tag, const storage::Value *value, PropMemory &memory);

} // namespace localmapi
