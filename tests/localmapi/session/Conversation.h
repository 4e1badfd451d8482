// What a client says to MAPI from its first call to its last, through whatever stands behind the functions given: a
// profile is made and configured, logged on with, the mailbox found in the address book and opened, all is released.
#pragma once
#include <mapiutil.h>
#include <mapix.h>

namespace localmapi::test
{

struct MapiFunctions {
    LPMAPIINITIALIZE initialize;
    LPMAPIUNINITIALIZE uninitialize;
    LPMAPILOGONEX logonEx;
    LPMAPIADMINPROFILES adminProfiles;
    LPMAPIALLOCATEBUFFER allocateBuffer;
    LPMAPIALLOCATEMORE allocateMore;
    LPMAPIFREEBUFFER freeBuffer;
    decltype(&HrQueryAllRows) queryAllRows;
};

// On a site with the server NORVIK1 and the user alice, named Alice Archer. Failures are those of the test running.
void Converse(const MapiFunctions &mapi);

} // namespace localmapi::test
