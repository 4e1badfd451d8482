// The one library thread: it initialises COM and MAPI for the process, dispatches window messages for as long as there
// are sessions, and ends MAPI and COM. Sessions do their own MAPI work on their callers' threads.
#include "ExchangeMapi.h"
#include "common/mapi/Operation.h"
#include "common/trace/debug.h"
#include "session/ModuleReference.h"
#include "session/RegistryLock.h"
#include <mapix.h>
#include <objbase.h>
#include <process.h>
#include <utility>

namespace
{

constexpr DWORD kPollMilliseconds = 100;
constexpr DWORD kMapiWaitMilliseconds = 5000;
constexpr DWORD kAllInput = 0x1FF;

// Written by one side and polled by the other.
std::atomic<bool> g_bService{false};
std::atomic<bool> g_bMapiInitialised{false};
std::atomic<bool> g_bThreadRunning{false};
// Only ever cleared, by the thread, so that waits for a start end at once, as the contract has it.
std::atomic<bool> g_bThreadStarting{false};
std::atomic<LONG> g_lInstances{0};

// The event lives as long as the thread, which waits on its own copy of the handle.
HANDLE g_hStopEvent GUARDED_BY(CMAPIImpl::m_CS) = nullptr;
HANDLE g_hThread GUARDED_BY(CMAPIImpl::m_CS) = nullptr;
std::atomic<bool> g_bThreadEnded{false}; // tells a thread that has ended from one that has not come to its start
void *g_pModule GUARDED_BY(CMAPIImpl::m_CS) = nullptr; // the sessions' reference to the library
std::atomic<void *> g_pGivenUp{nullptr};               // that reference, after the last session, for who takes it

constexpr char kNoMapi[] =
    "Possible causes are:\r\n"
    "   * No version of Extended MAPI is installed (Either Outlook or MAPICDO must be installed).\r\n"
    "   * The 64 bit version of Outlook 2010 is installed.\r\n"
    "   * Windows Mail or Outlook Express (which do not implement Extended MAPI) is registered as the Default Mail "
    "Client.";

void WaitForStart()
{
    while (g_bThreadStarting && !g_bThreadRunning)
        Sleep(kPollMilliseconds);
}

HRESULT InitialiseCom(const Operation &op, bool &bComInitialised)
{
    const HRESULT hr = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (FAILED(hr))
        // No full stop, as the contract has it.
        return op.Failed("CoInitializeEx", "trying to initialise COM support", hr);
    bComInitialised = true;
    return hr;
}

HRESULT InitialiseMapi(const Operation &op)
{
    const CDebugTraceFn trace(kTraceCall, "MAPIInitialize");
    MAPIINIT_0 init = {MAPI_INIT_VERSION, MAPI_MULTITHREAD_NOTIFICATIONS | MAPI_NO_COINIT};
    if (g_bService)
        init.ulFlags |= MAPI_NT_SERVICE;
    const HRESULT hr = MAPIInitialize(&init);
    if (FAILED(hr))
        return op.Failed("MAPIInitialize", kNoMapi, hr);
    g_bMapiInitialised = true;
    return hr;
}

void DispatchWaitingMessages(const Operation &op)
{
    MSG msg;
    while (PeekMessageA(&msg, nullptr, 0, 0, PM_NOREMOVE)) {
        if (!GetMessageA(&msg, nullptr, 0, 0)) {
            op.State("Exiting.");
            return;
        }
        DispatchMessageA(&msg);
    }
}

// A quit message does not end the pump, as the contract has it: only the stop event does.
HRESULT PumpUntilStopped(const Operation &op, HANDLE hStopEvent)
{
    while (MsgWaitForMultipleObjects(1, &hStopEvent, FALSE, INFINITE, kAllInput) == WAIT_OBJECT_0 + 1)
        DispatchWaitingMessages(op);
    op.State("Exiting.");
    return S_OK;
}

// Nothing that goes wrong in one stage keeps the next one from running.
void MAPIMessagePump(HANDLE hStopEvent)
{
    const Operation op("CMAPIImpl::MAPIMessagePump");
    bool bComInitialised = false;
    HRESULT hr = op.Stage([&] { return InitialiseCom(op, bComInitialised); });
    g_bThreadRunning = true;
    g_bThreadStarting = false;
    if (!g_bMapiInitialised)
        hr = op.Stage([&] { return InitialiseMapi(op); });
    if (SUCCEEDED(hr))
        op.Stage([&] { return PumpUntilStopped(op, hStopEvent); });
    if (g_bMapiInitialised) {
        op.Stage([] { return MAPIUninitialize(), S_OK; });
        g_bMapiInitialised = false;
    }
    if (bComInitialised)
        op.Stage([] { return CoUninitialize(), S_OK; });
}

unsigned __stdcall ThreadBody(void *hStopEvent)
{
    Contained({"CMAPIImpl::MAPIMessagePump", __LINE__}, [=] { MAPIMessagePump(hStopEvent); });
    void *const pModule = g_pGivenUp.exchange(nullptr);
    g_bThreadEnded = true;
    g_bThreadRunning = false;
    LeaveModule(pModule);
    return 0;
}

// A thread without a reference of its own to the library is waited for, to its last step.
void ForgetThread(bool bHasReference) REQUIRES(CMAPIImpl::m_CS)
{
    if (!g_hThread)
        return;
    if (!bHasReference)
        WaitForSingleObject(g_hThread, INFINITE);
    CloseHandle(g_hThread);
    g_hThread = nullptr;
}

void StartThread() REQUIRES(CMAPIImpl::m_CS)
{
    if (g_hThread && !g_bThreadEnded)
        return;
    ForgetThread(false);
    g_bThreadEnded = false;
    g_hThread = reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, ThreadBody, g_hStopEvent, 0, nullptr));
}

// Ends the thread, also one that has not come to its start yet. Without a limit, as the contract has it.
void StopThread() REQUIRES(CMAPIImpl::m_CS)
{
    SetEvent(g_hStopEvent);
    while (g_bThreadRunning || (g_hThread && !g_bThreadEnded))
        Sleep(kPollMilliseconds);
    void *const pModule = g_pGivenUp.exchange(nullptr);
    ForgetThread(!pModule);
    if (pModule) // no thread has taken it: it had ended by itself, or never began
        LeaveModuleLater(pModule);
}

} // namespace

bool CMAPIImpl::IsMapiInitialised()
{
    return g_bMapiInitialised;
}

bool CMAPIImpl::IsService()
{
    return g_bService;
}

// Start and stop exclude each other, whichever thread lets the last session go. A thread that creates a connection
// holds the lock already.
void CMAPIImpl::Initialise(bool fService)
{
    const CDebugTraceFn trace(kTraceCall, "CMAPIImpl::Initialise", "Service: <%s>", fService ? "true" : "false");
    const RegistryLock lock(__LINE__);
    g_bService = fService;
    if (!g_pModule)
        g_pModule = HoldModule();
    if (!g_hStopEvent)
        g_hStopEvent = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    if (!g_bThreadStarting && !g_bThreadRunning) {
        StartThread();
        WaitForStart();
        const DWORD dwStart = GetTickCount();
        while (!g_bMapiInitialised && GetTickCount() - dwStart <= kMapiWaitMilliseconds)
            Sleep(kPollMilliseconds);
    }
    ++g_lInstances;
}

void CMAPIImpl::Uninitialise()
{
    const CDebugTraceFn trace(kTraceCall, "CMAPIImpl::Uninitialise");
    const RegistryLock lock(__LINE__);
    if (--g_lInstances != 0)
        return;
    WaitForStart();
    g_pGivenUp = std::exchange(g_pModule, nullptr);
    StopThread();
    CloseHandle(g_hStopEvent);
    g_hStopEvent = nullptr;
}
