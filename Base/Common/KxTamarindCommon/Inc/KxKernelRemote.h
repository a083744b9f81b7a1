// Process-wide settings of the library: the kernel's remote-control server
// objects, the remote-diagnose mode and its control block, the kernel remote
// administration object, the stack size of new threads, the raw timer
// management, the main single-threaded-apartment thread and the process-wide
// firmware info table.
//
// The firmware's start-up code sets these values once, before the threads
// that read them exist. None of them is reference-counted: stored pointers
// are not owned, and setters store their argument unchanged (null too).
// Every value is held in a relaxed std::atomic, so a reader on another thread
// sees the old or the new value and never a torn one; no ordering with other
// data is implied.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include <atomic>
#include <string>

namespace KxTamarind {

struct IHiSlipServer;
class CScpiAdministrationTemplate;
class CFwInfoTable;

// The kernel's remote side. Has no data of its own; all operations are
// static and thread-safe.
class KXTAMARIND_API CKernelRemote {
public:
    CKernelRemote() = default;
    CKernelRemote(const CKernelRemote&) = default;
    CKernelRemote& operator=(const CKernelRemote&) = default;
    virtual ~CKernelRemote() = default;

    static IHiSlipServer* GetHiSlipServer();
    static void SetHiSlipServerInterface(IHiSlipServer* server);
    static CScpiAdministrationTemplate* GetScpiAdministrationTemplate();
    static void SetScpiAdministrationTemplate(CScpiAdministrationTemplate* administration);

    // The firmware always runs embedded, natively, and has no Windows version
    // to compare: true, false and 0.
    static bool IsEmbedded();
    static bool IsWow64Process();
    static int CompareWindowsVersionTo(int major, int minor, int servicePackMajor,
                                       int servicePackMinor);
    // True exactly when the effective user id is 0; false when the user ids
    // cannot be queried.
    static bool IsAdminUserAccount();
    // No special folders exist on the device: empties `path`.
    static void GetSpecialFolder(int folder, std::wstring& path);
    // There is no GUI thread to synchronise with: does nothing.
    static void SyncGui();
};

// A GUI serialisation token. The device has no GUI lock, so the token takes
// none (its lock token is -1). It may hold one reference to an object, which
// its destructor releases once. Not copyable; use on one thread.
class KXTAMARIND_API CGuiSerializationLocker {
public:
    CGuiSerializationLocker() : m_lLockToken(-1), m_pHeld(nullptr) {}
    CGuiSerializationLocker(const CGuiSerializationLocker&) = delete;
    CGuiSerializationLocker& operator=(const CGuiSerializationLocker&) = delete;
    virtual ~CGuiSerializationLocker();

    long GetLockToken() const { return m_lLockToken; }
    // Hands one reference to the token (no AddRef is taken here); a
    // previously held object is released first.
    void AttachHeldObject(IUnknown* object);
    IUnknown* GetHeldObject() const { return m_pHeld; }

private:
    long m_lLockToken;
    IUnknown* m_pHeld;
};

// Control block of the remote-diagnose switches. The four debug flags and
// the SCPI-checks flag are switched at run time by the diagnostics side;
// the frequency is taken when the library is loaded, the debug-timing start
// by BeginDebugTiming.
struct RemoteDiagnoseControl {
    std::atomic<bool> m_bDebugStatistic{false};
    std::atomic<bool> m_bDebugTrace{false};
    std::atomic<bool> m_bDebugRpc{false};
    std::atomic<bool> m_bDebugTiming{false};
    std::atomic<bool> m_bScpiChecksDisabled{false};
    std::atomic<long long> m_llPerformanceFrequency{0};
    std::atomic<long long> m_llDebugTimingStart{0};
};

KXTAMARIND_API bool get_RemoteDiagnoseMode();
KXTAMARIND_API void set_RemoteDiagnoseMode(bool mode);
// The process-wide control block (never null). Access its members with
// relaxed loads and stores.
KXTAMARIND_API RemoteDiagnoseControl* get_RemoteDiagnoseControl();

// The kernel remote administration object (not owned; null until set). The
// setter is for the library's own start-up code.
KXTAMARIND_API void* get_KernelRemoteAdmin();
KXTAMARIND_API void set_KernelRemoteAdmin(void* admin);

// Stack size in bytes for new threads; 0 (the platform default) until set.
KXTAMARIND_API void SetThreadStackSize(unsigned long size);
KXTAMARIND_API unsigned long GetThreadStackSize();

// The raw timer management object (not owned; null until set).
KXTAMARIND_API void SetRawTimerManagement(void* management);
KXTAMARIND_API void* GetRawTimerManagement();

// The thread id of the process's main single-threaded-apartment thread; 0
// (the default) means there is none.
KXTAMARIND_API void SetMainSTAThreadId(long threadId);
KXTAMARIND_API long GetMainSTAThreadId();

// The process-wide firmware info table, constructed when the library is
// loaded (never null). Its access is serialised by its owner.
KXTAMARIND_API CFwInfoTable* GetFwInfoTable();

} // namespace KxTamarind
