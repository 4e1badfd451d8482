// MAPI's memory: every live block is known, with what it is and its children.
#pragma once
#include "support/Values.h"

namespace mapi_double
{

// Blocks that the double itself hands out; `what` names the block in the failure of a test that leaves it.
void *NewRoot(const std::string &what, ULONG size);
void *NewChild(void *root, ULONG size);
void FreeBlock(void *block);

SRowSet *NewRowSet(const std::string &what, const std::vector<Row> &rows);
SPropValue *NewProperties(const std::string &what, const Row &row);
// An entry ID as a root block of its own.
ENTRYID *NewEntryId(const std::string &what, const std::string &bytes);

// How the conversation names a block: "block 1" for the first that the code under test allocated, or what it is.
std::string BlockName(const void *block);
std::vector<std::string> LiveBlocks();
void ForgetLiveBlocks();
void ForgetBlockNumbers();

} // namespace mapi_double
