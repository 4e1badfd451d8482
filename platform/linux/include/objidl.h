// Structured storage and streams, in the slot order of the published interfaces.
#pragma once
#include <windows.h>

#define STGM_READ 0x00000000
#define STGM_WRITE 0x00000001
#define STGM_READWRITE 0x00000002
#define STGM_SHARE_EXCLUSIVE 0x00000010
#define STGM_SHARE_DENY_WRITE 0x00000020
#define STGM_CREATE 0x00001000
#define STGM_TRANSACTED 0x00010000
#define STGM_CONVERT 0x00020000

enum STREAM_SEEK { STREAM_SEEK_SET = 0, STREAM_SEEK_CUR = 1, STREAM_SEEK_END = 2 };
enum STATFLAG { STATFLAG_DEFAULT = 0, STATFLAG_NONAME = 1 };
enum STGTY { STGTY_STORAGE = 1, STGTY_STREAM = 2 };
enum STGC { STGC_DEFAULT = 0 };

typedef OLECHAR **SNB;

typedef struct tagSTATSTG {
    LPOLESTR pwcsName;
    DWORD type;
    ULARGE_INTEGER cbSize;
    FILETIME mtime;
    FILETIME ctime;
    FILETIME atime;
    DWORD grfMode;
    DWORD grfLocksSupported;
    CLSID clsid;
    DWORD grfStateBits;
    DWORD reserved;
} STATSTG;

DEFINE_GUID(IID_ISequentialStream, 0x0C733A30, 0x2A1C, 0x11CE, 0xAD, 0xE5, 0x00, 0xAA, 0x00, 0x44, 0x77, 0x3D);
DEFINE_OLEGUID(IID_IStream, 0x0000000C, 0, 0);
DEFINE_OLEGUID(IID_IStorage, 0x0000000B, 0, 0);

struct ISequentialStream : public IUnknown {
    virtual HRESULT Read(void *pv, ULONG cb, ULONG *pcbRead) = 0;
    virtual HRESULT Write(const void *pv, ULONG cb, ULONG *pcbWritten) = 0;
};

struct IStream : public ISequentialStream {
    virtual HRESULT Seek(LARGE_INTEGER dlibMove, DWORD dwOrigin, ULARGE_INTEGER *plibNewPosition) = 0;
    virtual HRESULT SetSize(ULARGE_INTEGER libNewSize) = 0;
    virtual HRESULT CopyTo(IStream *pstm, ULARGE_INTEGER cb, ULARGE_INTEGER *pcbRead, ULARGE_INTEGER *pcbWritten) = 0;
    virtual HRESULT Commit(DWORD grfCommitFlags) = 0;
    virtual HRESULT Revert() = 0;
    virtual HRESULT LockRegion(ULARGE_INTEGER libOffset, ULARGE_INTEGER cb, DWORD dwLockType) = 0;
    virtual HRESULT UnlockRegion(ULARGE_INTEGER libOffset, ULARGE_INTEGER cb, DWORD dwLockType) = 0;
    virtual HRESULT Stat(STATSTG *pstatstg, DWORD grfStatFlag) = 0;
    virtual HRESULT Clone(IStream **ppstm) = 0;
};
using LPSTREAM = IStream *;

struct IEnumSTATSTG;
struct IStorage : public IUnknown {
    virtual HRESULT CreateStream(LPCOLESTR pwcsName, DWORD grfMode, DWORD reserved1, DWORD reserved2,
                                 IStream **ppstm) = 0;
    virtual HRESULT OpenStream(LPCOLESTR pwcsName, void *reserved1, DWORD grfMode, DWORD reserved2,
                               IStream **ppstm) = 0;
    virtual HRESULT CreateStorage(LPCOLESTR pwcsName, DWORD grfMode, DWORD reserved1, DWORD reserved2,
                                  IStorage **ppstg) = 0;
    virtual HRESULT OpenStorage(LPCOLESTR pwcsName, IStorage *pstgPriority, DWORD grfMode, SNB snbExclude,
                                DWORD reserved, IStorage **ppstg) = 0;
    virtual HRESULT CopyTo(DWORD ciidExclude, const IID *rgiidExclude, SNB snbExclude, IStorage *pstgDest) = 0;
    virtual HRESULT MoveElementTo(LPCOLESTR pwcsName, IStorage *pstgDest, LPCOLESTR pwcsNewName, DWORD grfFlags) = 0;
    virtual HRESULT Commit(DWORD grfCommitFlags) = 0;
    virtual HRESULT Revert() = 0;
    virtual HRESULT EnumElements(DWORD reserved1, void *reserved2, DWORD reserved3, IEnumSTATSTG **ppenum) = 0;
    virtual HRESULT DestroyElement(LPCOLESTR pwcsName) = 0;
    virtual HRESULT RenameElement(LPCOLESTR pwcsOldName, LPCOLESTR pwcsNewName) = 0;
    virtual HRESULT SetElementTimes(LPCOLESTR pwcsName, const FILETIME *pctime, const FILETIME *patime,
                                    const FILETIME *pmtime) = 0;
    virtual HRESULT SetClass(REFCLSID clsid) = 0;
    virtual HRESULT SetStateBits(DWORD grfStateBits, DWORD grfMask) = 0;
    virtual HRESULT Stat(STATSTG *pstatstg, DWORD grfStatFlag) = 0;
};
using LPSTORAGE = IStorage *;
