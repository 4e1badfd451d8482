// The one place where the interface identifiers that this project names are defined.
#include "ExchangeMapi.h"

#include <initguid.h>

#define USES_IID_IABContainer
#define USES_IID_IAddrBook
#define USES_IID_IAttachment
#define USES_IID_IMAPIAdviseSink
#define USES_IID_IMAPIContainer
#define USES_IID_IMAPIFolder
#define USES_IID_IMAPIProp
#define USES_IID_IMAPISession
#define USES_IID_IMAPITable
#define USES_IID_IMailUser
#define USES_IID_IMessage
#define USES_IID_IMsgServiceAdmin
#define USES_IID_IMsgStore
#define USES_IID_IProfAdmin
#define USES_IID_IProfSect
#define USES_IID_IStreamDocfile
#define USES_PS_MAPI
#define USES_PS_PUBLIC_STRINGS
#include <mapiguid.h>

DEFINE_GUID(IID_IExchangeManageStore, 0x559D10B0, 0xA772, 0x11CD, 0x9B, 0xC8, 0x00, 0xAA, 0x00, 0x2F, 0xC4, 0x5A);

extern "C" const MAPIUID kGlobalProfileSection = {
    {0x13, 0xDB, 0xB0, 0xC8, 0xAA, 0x05, 0x10, 0x1A, 0x9B, 0xB0, 0x00, 0xAA, 0x00, 0x2F, 0xC4, 0x5A}};
