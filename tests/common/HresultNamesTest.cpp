// Each name of the table by its code, and nothing else: no name for the gaps, for the codes beside those that have
// one, or anywhere in the facilities that the table knows.
#include "common/errors/errors.h"
#include <cstdint>
#include <gtest/gtest.h>
#include <map>
#include <string>

namespace
{

const std::map<std::string, std::uint32_t> &Names()
{
    static const std::map<std::string, std::uint32_t> names = {
        {"CO_E_CLASSSTRING", 0x800401F3},
        {"E_ACCT_NOT_FOUND", 0x800C8101},
        {"E_ACCT_WRONG_SORT_ORDER", 0x800C8105},
        {"E_ERROR_PROC_NOT_FOUND", 0x8007007F},
        {"E_FILE_NOT_FOUND", 0x80070002},
        {"E_OLK_ALREADY_INITIALIZED", 0x800C8002},
        {"E_OLK_NOT_INITIALIZED", 0x800C8005},
        {"E_OLK_PARAM_NOT_SUPPORTED", 0x800C8003},
        {"E_OLK_PROP_READ_ONLY", 0x800C800D},
        {"E_OLK_REGISTRY", 0x800C8001},
        {"MAPI_E_ACCOUNT_DISABLED", 0x80040124},
        {"MAPI_E_AMBIGUOUS_RECIP", 0x80040700},
        {"MAPI_E_BAD_CHARWIDTH", 0x80040103},
        {"MAPI_E_BAD_COLUMN", 0x80040118},
        {"MAPI_E_BAD_VALUE", 0x80040301},
        {"MAPI_E_BUSY", 0x8004010B},
        {"MAPI_E_CALL_FAILED", 0x80004005},
        {"MAPI_E_CANCEL", 0x80040501},
        {"MAPI_E_COLLISION", 0x80040604},
        {"MAPI_E_COMPUTED", 0x8004011A},
        {"MAPI_E_CORRUPT_DATA", 0x8004011B},
        {"MAPI_E_CORRUPT_STORE", 0x80040600},
        {"MAPI_E_DECLINE_COPY", 0x80040306},
        {"MAPI_E_DISK_ERROR", 0x80040116},
        {"MAPI_E_END_OF_SESSION", 0x80040200},
        {"MAPI_E_EXTENDED_ERROR", 0x80040119},
        {"MAPI_E_FAILONEPROVIDER", 0x8004011D},
        {"MAPI_E_FOLDER_CYCLE", 0x8004060B},
        {"MAPI_E_HAS_FOLDERS", 0x80040609},
        {"MAPI_E_HAS_MESSAGES", 0x8004060A},
        {"MAPI_E_INTERFACE_NOT_SUPPORTED", 0x80004002},
        {"MAPI_E_INVALID_ACCESS_TIME", 0x80040123},
        {"MAPI_E_INVALID_BOOKMARK", 0x80040405},
        {"MAPI_E_INVALID_ENTRYID", 0x80040107},
        {"MAPI_E_INVALID_OBJECT", 0x80040108},
        {"MAPI_E_INVALID_PARAMETER", 0x80070057},
        {"MAPI_E_INVALID_TYPE", 0x80040302},
        {"MAPI_E_INVALID_WORKSTATION_ACCOUNT", 0x80040122},
        {"MAPI_E_LOCKID_LIMIT", 0x8004060D},
        {"MAPI_E_LOGON_FAILED", 0x80040111},
        {"MAPI_E_MISSING_REQUIRED_COLUMN", 0x80040202},
        {"MAPI_E_NAMED_PROP_QUOTA_EXCEEDED", 0x80040900},
        {"MAPI_E_NETWORK_ERROR", 0x80040115},
        {"MAPI_E_NON_STANDARD", 0x80040606},
        {"MAPI_E_NOT_ENOUGH_DISK", 0x8004010D},
        {"MAPI_E_NOT_ENOUGH_MEMORY", 0x8007000E},
        {"MAPI_E_NOT_ENOUGH_RESOURCES", 0x8004010E},
        {"MAPI_E_NOT_FOUND", 0x8004010F},
        {"MAPI_E_NOT_INITIALIZED", 0x80040605},
        {"MAPI_E_NOT_IN_QUEUE", 0x80040601},
        {"MAPI_E_NOT_ME", 0x80040502},
        {"MAPI_E_NO_ACCESS", 0x80070005},
        {"MAPI_E_NO_RECIPIENTS", 0x80040607},
        {"MAPI_E_NO_SUPPORT", 0x80040102},
        {"MAPI_E_NO_SUPPRESS", 0x80040602},
        {"MAPI_E_OBJECT_CHANGED", 0x80040109},
        {"MAPI_E_OBJECT_DELETED", 0x8004010A},
        {"MAPI_E_PASSWORD_CHANGE_REQUIRED", 0x80040120},
        {"MAPI_E_PASSWORD_EXPIRED", 0x80040121},
        {"MAPI_E_PROFILE_DELETED", 0x80040204},
        {"MAPI_E_SESSION_LIMIT", 0x80040112},
        {"MAPI_E_STORE_FULL", 0x8004060C},
        {"MAPI_E_STRING_TOO_LONG", 0x80040105},
        {"MAPI_E_SUBMITTED", 0x80040608},
        {"MAPI_E_TABLE_EMPTY", 0x80040402},
        {"MAPI_E_TABLE_TOO_BIG", 0x80040403},
        {"MAPI_E_TIMEOUT", 0x80040401},
        {"MAPI_E_TOO_BIG", 0x80040305},
        {"MAPI_E_TOO_COMPLEX", 0x80040117},
        {"MAPI_E_TYPE_NO_SUPPORT", 0x80040303},
        {"MAPI_E_UNABLE_TO_ABORT", 0x80040114},
        {"MAPI_E_UNABLE_TO_COMPLETE", 0x80040400},
        {"MAPI_E_UNCONFIGURED", 0x8004011C},
        {"MAPI_E_UNEXPECTED_ID", 0x80040307},
        {"MAPI_E_UNEXPECTED_TYPE", 0x80040304},
        {"MAPI_E_UNKNOWN_CPID", 0x8004011E},
        {"MAPI_E_UNKNOWN_ENTRYID", 0x80040201},
        {"MAPI_E_UNKNOWN_FLAGS", 0x80040106},
        {"MAPI_E_UNKNOWN_LCID", 0x8004011F},
        {"MAPI_E_USER_CANCEL", 0x80040113},
        {"MAPI_E_VERSION", 0x80040110},
        {"MAPI_E_WAIT", 0x80040500},
        {"MAPI_W_APPROX_COUNT", 0x00040482},
        {"MAPI_W_CANCEL_MESSAGE", 0x00040580},
        {"MAPI_W_ERRORS_RETURNED", 0x00040380},
        {"MAPI_W_NO_SERVICE", 0x00040203},
        {"MAPI_W_PARTIAL_COMPLETION", 0x00040680},
        {"MAPI_W_POSITION_CHANGED", 0x00040481},
        {"OLEOBJ_S_CANNOT_DOVERB_NOW", 0x00040181},
        {"REGDB_E_CLASSNOTREG", 0x80040154},
        {"REGDB_E_WRITEREGDB", 0x80040151},
        {"STG_E_ABNORMALAPIEXIT", 0x800300FA},
        {"STG_E_ACCESSDENIED", 0x80030005},
        {"STG_E_BADBASEADDRESS", 0x80030110},
        {"STG_E_CANTSAVE", 0x80030103},
        {"STG_E_DISKISWRITEPROTECTED", 0x80030013},
        {"STG_E_DOCFILECORRUPT", 0x80030109},
        {"STG_E_DOCFILETOOLARGE", 0x80030111},
        {"STG_E_EXTANTMARSHALLINGS", 0x80030108},
        {"STG_E_FILEALREADYEXISTS", 0x80030050},
        {"STG_E_FILENOTFOUND", 0x80030002},
        {"STG_E_INCOMPLETE", 0x80030201},
        {"STG_E_INSUFFICIENTMEMORY", 0x80030008},
        {"STG_E_INUSE", 0x80030100},
        {"STG_E_INVALIDFLAG", 0x800300FF},
        {"STG_E_INVALIDFUNCTION", 0x80030001},
        {"STG_E_INVALIDHANDLE", 0x80030006},
        {"STG_E_INVALIDHEADER", 0x800300FB},
        {"STG_E_INVALIDNAME", 0x800300FC},
        {"STG_E_INVALIDPARAMETER", 0x80030057},
        {"STG_E_INVALIDPOINTER", 0x80030009},
        {"STG_E_LOCKVIOLATION", 0x80030021},
        {"STG_E_MEDIUMFULL", 0x80030070},
        {"STG_E_NOMOREFILES", 0x80030012},
        {"STG_E_NOTCURRENT", 0x80030101},
        {"STG_E_NOTFILEBASEDSTORAGE", 0x80030107},
        {"STG_E_NOTSIMPLEFORMAT", 0x80030112},
        {"STG_E_OLDDLL", 0x80030105},
        {"STG_E_OLDFORMAT", 0x80030104},
        {"STG_E_PATHNOTFOUND", 0x80030003},
        {"STG_E_PROPSETMISMATCHED", 0x800300F0},
        {"STG_E_READFAULT", 0x8003001E},
        {"STG_E_REVERTED", 0x80030102},
        {"STG_E_SEEKERROR", 0x80030019},
        {"STG_E_SHAREREQUIRED", 0x80030106},
        {"STG_E_SHAREVIOLATION", 0x80030020},
        {"STG_E_TERMINATED", 0x80030202},
        {"STG_E_TOOMANYOPENFILES", 0x80030004},
        {"STG_E_UNIMPLEMENTEDFUNCTION", 0x800300FE},
        {"STG_E_UNKNOWN", 0x800300FD},
        {"STG_E_WRITEFAULT", 0x8003001D},
        {"STG_S_BLOCK", 0x00030201},
        {"STG_S_CANNOTCONSOLIDATE", 0x00030206},
        {"STG_S_CONVERTED", 0x00030200},
        {"STG_S_MONITORING", 0x00030203},
        {"STG_S_MULTIPLEOPENS", 0x00030204},
        {"STG_S_RETRYNOW", 0x00030202},
        {"STRSAFE_E_END_OF_FILE", 0x80070026},
        {"STRSAFE_E_INSUFFICIENT_BUFFER", 0x8007007A},
        {"SYNC_E_CONFLICT", 0x80040802},
        {"SYNC_E_CYCLE", 0x80040804},
        {"SYNC_E_IGNORE", 0x80040801},
        {"SYNC_E_NO_PARENT", 0x80040803},
        {"SYNC_E_OBJECT_DELETED", 0x80040800},
        {"SYNC_E_UNSYNCHRONIZED", 0x80040805},
        {"SYNC_W_CLIENT_CHANGE_NEWER", 0x00040821},
        {"SYNC_W_PROGRESS", 0x00040820},
        {"S_FALSE", 0x00000001},
    };
    return names;
}

std::string NameOf(std::uint32_t code)
{
    const char *szName = GetHResultName(static_cast<HRESULT>(code));
    return szName ? szName : "(no text at all)";
}

TEST(HResultNames, EachOfThe148CodesHasItsName)
{
    EXPECT_EQ(Names().size(), 148u);
    for (const auto &[name, code] : Names())
        EXPECT_EQ(NameOf(code), name);
}

TEST(HResultNames, SuccessHasNoNameAndOneIsFalse)
{
    EXPECT_EQ(NameOf(0), "");
    EXPECT_EQ(NameOf(1), "S_FALSE");
}

TEST(HResultNames, TheGapsHaveNoName)
{
    for (const std::uint32_t code : {0x80040104u, 0x8004010Cu, 0x80040203u, 0x80040300u, 0x80040404u, 0x80040603u,
                                     0x80030007u, 0x800C8004u, 0x800300F1u, 0x800300F2u, 0x800300F3u, 0x800300F4u,
                                     0x800300F5u, 0x800300F6u, 0x800300F7u, 0x800300F8u, 0x800300F9u})
        EXPECT_EQ(NameOf(code), "") << std::hex << code;
}

TEST(HResultNames, GenericNamesGiveWayToTheirMapiAliases)
{
    EXPECT_EQ(NameOf(static_cast<std::uint32_t>(E_NOINTERFACE)), "MAPI_E_INTERFACE_NOT_SUPPORTED");
    EXPECT_EQ(NameOf(static_cast<std::uint32_t>(E_FAIL)), "MAPI_E_CALL_FAILED");
    EXPECT_EQ(NameOf(static_cast<std::uint32_t>(E_INVALIDARG)), "MAPI_E_INVALID_PARAMETER");
    EXPECT_EQ(NameOf(static_cast<std::uint32_t>(E_OUTOFMEMORY)), "MAPI_E_NOT_ENOUGH_MEMORY");
    EXPECT_EQ(NameOf(static_cast<std::uint32_t>(E_UNEXPECTED)), "");
    EXPECT_EQ(NameOf(static_cast<std::uint32_t>(E_POINTER)), "");
}

TEST(HResultNames, WhateverStandsBesideANameOrInItsFacilityHasNone)
{
    std::map<std::uint32_t, std::string> byCode;
    for (const auto &[name, code] : Names())
        byCode[code] = name;
    std::size_t named = 0;
    for (const std::uint32_t high :
         {0x0000u, 0x0003u, 0x0004u, 0x8000u, 0x8003u, 0x8004u, 0x8007u, 0x800Cu, 0x8002u, 0x800Du, 0xFFFFu, 0x7FFFu})
        for (std::uint32_t low = 0; low <= 0xFFFF; ++low) {
            const std::uint32_t code = high << 16 | low;
            const auto found = byCode.find(code);
            const std::string name = NameOf(code);
            ASSERT_EQ(name, found == byCode.end() ? "" : found->second) << std::hex << code;
            named += !name.empty();
        }
    EXPECT_EQ(named, 148u);
}

TEST(HResultNames, TheTextIsTheSameObjectEveryTime)
{
    EXPECT_EQ(GetHResultName(static_cast<HRESULT>(0x8004010F)), GetHResultName(static_cast<HRESULT>(0x8004010F)));
}

} // namespace
