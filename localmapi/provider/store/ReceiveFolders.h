// In which folder messages of which class arrive.
#pragma once
#include "localmapi/storage/Directory.h"
#include "localmapi/storage/Objects.h"

#include <string>
#include <vector>

namespace localmapi
{

// A message class and the folder in which messages of it, and of those it begins, arrive.
struct ReceiveFolder {
    std::string messageClass;
    storage::ObjectId folder = 0;
};

// Those of a mailbox that still are there; one of them is for every class.
std::vector<ReceiveFolder> ReceiveFoldersOf(const storage::Objects &objects, const storage::Mailbox &mailbox);
// The one for a class among them.
const ReceiveFolder &ReceiveFolderFor(const std::vector<ReceiveFolder> &folders, const std::string &messageClass);

} // namespace localmapi
