// An entry ID as a client hands it in: refused with one of two results, or understood and then made again as it was.
#include "localmapi/provider/base/EntryId.h"
#include "Fuzz.h"
#include "localmapi/provider/base/ErrorText.h"

using namespace localmapi;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static constexpr SiteUid kSite = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    const auto parse = [](const BYTE *bytes, std::size_t count) {
        return ParseEntryId(kSite, static_cast<ULONG>(count), reinterpret_cast<const ENTRYID *>(bytes));
    };
    EntryId id;
    try {
        id = parse(data, size);
    } catch (const Failure &failure) {
        Confirm(failure.Code() == MAPI_E_INVALID_ENTRYID || failure.Code() == MAPI_E_UNKNOWN_ENTRYID,
                "an entry ID is invalid or unknown");
        return 0;
    }
    const Bytes again = id.kind == EntryKind::OneOff  ? MakeOneOff(id.name, id.addressType, id.address, true)
                        : id.kind == EntryKind::Store ? MakeStoreEntryId(kSite, id.object, id.openFlags)
                                                      : MakeEntryId(kSite, id.kind, id.object);
    Confirm(SameObject(id, parse(again.data(), again.size())), "what was understood names the same object again");
    return 0;
}
