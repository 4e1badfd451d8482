// The list of live blocks, and MAPI's functions of memory over it.
#include "support/Memory.h"
#include "support/Com.h"
#include "support/Print.h"
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>

namespace mapi_double
{

namespace
{

struct Block {
    std::string what;
    void *root = nullptr; // null for a root
    std::vector<void *> children;
};

std::map<const void *, Block> &Blocks()
{
    static auto *blocks = new std::map<const void *, Block>;
    return *blocks;
}

int g_lastNumber = 0;

void *NewBlock(Block block, ULONG size)
{
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    // Fresh memory is no block of zeros: a field that nobody set is seen.
    void *memory = std::malloc(size ? size : 1);
    std::memset(memory, 0xCD, size);
    Blocks()[memory] = std::move(block);
    return memory;
}

} // namespace

void *NewRoot(const std::string &what, ULONG size)
{
    Block block;
    block.what = what;
    return NewBlock(std::move(block), size);
}

void *NewChild(void *root, ULONG size)
{
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    const auto parent = Blocks().find(root);
    if (parent == Blocks().end()) {
        Misuse("an allocation for something that is no live block");
        return nullptr;
    }
    void *first = parent->second.root ? parent->second.root : root;
    Block block;
    block.what = "a part of " + Blocks()[first].what;
    block.root = first;
    void *child = NewBlock(std::move(block), size);
    Blocks()[first].children.push_back(child);
    return child;
}

void FreeBlock(void *block)
{
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    if (!block)
        return;
    const auto found = Blocks().find(block);
    if (found == Blocks().end()) {
        Misuse("something that is no live block was freed");
        return;
    }
    if (found->second.root) {
        Misuse(found->second.what + " was freed by itself");
        return;
    }
    for (void *child : found->second.children) {
        Blocks().erase(child);
        std::free(child);
    }
    Blocks().erase(found);
    std::free(block);
}

SRowSet *NewRowSet(const std::string &what, const std::vector<Row> &rows)
{
    auto *set = static_cast<SRowSet *>(
        NewRoot("rows of " + what, static_cast<ULONG>(CbNewSRowSet(std::max<size_t>(rows.size(), 1)))));
    set->cRows = static_cast<ULONG>(rows.size());
    for (size_t i = 0; i < rows.size(); ++i) {
        set->aRow[i].ulAdrEntryPad = 0;
        set->aRow[i].cValues = static_cast<ULONG>(rows[i].size());
        set->aRow[i].lpProps = NewProperties("row " + Number(static_cast<LONGLONG>(i)) + " of " + what, rows[i]);
    }
    return set;
}

SPropValue *NewProperties(const std::string &what, const Row &row)
{
    auto *values = static_cast<SPropValue *>(NewRoot(what, static_cast<ULONG>(row.size() * sizeof(SPropValue))));
    for (size_t i = 0; i < row.size(); ++i)
        Give(values[i], row[i], values);
    return values;
}

ENTRYID *NewEntryId(const std::string &what, const std::string &bytes)
{
    void *block = NewRoot(what, static_cast<ULONG>(bytes.size()));
    std::memcpy(block, bytes.data(), bytes.size());
    return static_cast<ENTRYID *>(block);
}

std::string BlockName(const void *block)
{
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    if (!block)
        return "NULL";
    const auto found = Blocks().find(block);
    return found == Blocks().end() ? "no live block" : found->second.what;
}

std::vector<std::string> LiveBlocks()
{
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    std::vector<std::string> result;
    for (const auto &[address, block] : Blocks())
        if (!block.root)
            result.push_back(block.what);
    return result;
}

void ForgetLiveBlocks()
{
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    Blocks().clear();
}

void ForgetBlockNumbers()
{
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    g_lastNumber = 0;
}

} // namespace mapi_double

// The entry points, as the system's mapi32.dll has them.

using namespace mapi_double;

extern "C" {

SCODE WINAPI MAPIAllocateBuffer(ULONG cbSize, LPVOID *lppBuffer)
{
    Call call("MAPIAllocateBuffer", {Number(cbSize)}, Kind::Memory);
    if (!call.Proceed())
        return call.Return(E_OUTOFMEMORY);
    *lppBuffer = call.GivesNull() ? nullptr : NewRoot("block " + Number(++g_lastNumber), cbSize);
    return call.Return(S_OK);
}

SCODE WINAPI MAPIAllocateMore(ULONG cbSize, LPVOID lpObject, LPVOID *lppBuffer)
{
    Call call("MAPIAllocateMore", {Number(cbSize), BlockName(lpObject)}, Kind::Memory);
    if (!call.Proceed())
        return call.Return(E_OUTOFMEMORY);
    *lppBuffer = call.GivesNull() ? nullptr : NewChild(lpObject, cbSize);
    return call.Return(S_OK);
}

ULONG WINAPI MAPIFreeBuffer(LPVOID lpBuffer)
{
    Call call("MAPIFreeBuffer", {BlockName(lpBuffer)}, Kind::Memory, Call::Infallible);
    FreeBlock(lpBuffer);
    return static_cast<ULONG>(call.Return(S_OK));
}

void WINAPI FreeProws(LPSRowSet lpRows)
{
    Call call("FreeProws", {BlockName(lpRows)}, Kind::Memory, Call::Infallible);
    if (!lpRows)
        return;
    for (ULONG i = 0; i < lpRows->cRows; ++i)
        FreeBlock(lpRows->aRow[i].lpProps);
    FreeBlock(lpRows);
}

void WINAPI FreePadrlist(LPADRLIST lpAdrlist)
{
    Call call("FreePadrlist", {BlockName(lpAdrlist)}, Kind::Memory, Call::Infallible);
    if (!lpAdrlist)
        return;
    for (ULONG i = 0; i < lpAdrlist->cEntries; ++i)
        FreeBlock(lpAdrlist->aEntries[i].rgPropVals);
    FreeBlock(lpAdrlist);
}

} // extern "C"
