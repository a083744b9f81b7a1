// Process-wide settings and the kernel's remote side.
#include "KxKernelRemote.h"

#include <unistd.h>

#include "CFwInfoTable.h"

namespace KxTamarind {

namespace {

// Every value is written at start-up and read from any thread later; relaxed
// atomics make those reads race-free without ordering anything else.
std::atomic<IHiSlipServer*> s_p_HiSlipServer{nullptr};
std::atomic<CScpiAdministrationTemplate*> s_p_ScpiAdministrationTemplate{nullptr};
std::atomic<bool> s_bRemoteDiagnoseMode{false};
std::atomic<void*> s_pKernelRemoteAdmin{nullptr};
std::atomic<unsigned long> s_ulThreadStackSize{0};
std::atomic<void*> s_pRawTimerManagement{nullptr};
std::atomic<long> s_lMainSTAThreadId{0};

long long QueryFrequency() {
    LARGE_INTEGER frequency;
    frequency.QuadPart = 0;
    if (!QueryPerformanceFrequency(&frequency) || frequency.QuadPart <= 0) {
        return 1; // keeps divisions by the frequency defined
    }
    return frequency.QuadPart;
}

RemoteDiagnoseControl& ControlBlock() {
    static RemoteDiagnoseControl s_Control;
    return s_Control;
}

// Takes the frequency when the library is loaded.
const bool s_bControlInitialised = [] {
    ControlBlock().m_llPerformanceFrequency.store(QueryFrequency(), std::memory_order_relaxed);
    return true;
}();

CFwInfoTable s_FwInfoTable;

} // namespace

// ------------------------------------------------------------ CKernelRemote

IHiSlipServer* CKernelRemote::GetHiSlipServer() {
    return s_p_HiSlipServer.load(std::memory_order_relaxed);
}

void CKernelRemote::SetHiSlipServerInterface(IHiSlipServer* server) {
    s_p_HiSlipServer.store(server, std::memory_order_relaxed);
}

CScpiAdministrationTemplate* CKernelRemote::GetScpiAdministrationTemplate() {
    return s_p_ScpiAdministrationTemplate.load(std::memory_order_relaxed);
}

void CKernelRemote::SetScpiAdministrationTemplate(CScpiAdministrationTemplate* administration) {
    s_p_ScpiAdministrationTemplate.store(administration, std::memory_order_relaxed);
}

bool CKernelRemote::IsEmbedded() {
    return true;
}

bool CKernelRemote::IsWow64Process() {
    return false;
}

int CKernelRemote::CompareWindowsVersionTo(int, int, int, int) {
    return 0;
}

bool CKernelRemote::IsAdminUserAccount() {
    uid_t real = 0;
    uid_t effective = 0;
    uid_t saved = 0;
    if (getresuid(&real, &effective, &saved) != 0) {
        return false;
    }
    return effective == 0;
}

void CKernelRemote::GetSpecialFolder(int, std::wstring& path) {
    path.clear();
}

void CKernelRemote::SyncGui() {}

// -------------------------------------------------- CGuiSerializationLocker

CGuiSerializationLocker::~CGuiSerializationLocker() {
    if (m_pHeld) {
        IUnknown* held = m_pHeld;
        m_pHeld = nullptr;
        held->Release();
    }
}

void CGuiSerializationLocker::AttachHeldObject(IUnknown* object) {
    IUnknown* previous = m_pHeld;
    m_pHeld = object;
    if (previous) {
        previous->Release();
    }
}

// ------------------------------------------------------- process-wide values

bool get_RemoteDiagnoseMode() {
    return s_bRemoteDiagnoseMode.load(std::memory_order_relaxed);
}

void set_RemoteDiagnoseMode(bool mode) {
    s_bRemoteDiagnoseMode.store(mode, std::memory_order_relaxed);
}

RemoteDiagnoseControl* get_RemoteDiagnoseControl() {
    return &ControlBlock();
}

void* get_KernelRemoteAdmin() {
    return s_pKernelRemoteAdmin.load(std::memory_order_relaxed);
}

void set_KernelRemoteAdmin(void* admin) {
    s_pKernelRemoteAdmin.store(admin, std::memory_order_relaxed);
}

void SetThreadStackSize(unsigned long size) {
    s_ulThreadStackSize.store(size, std::memory_order_relaxed);
}

unsigned long GetThreadStackSize() {
    return s_ulThreadStackSize.load(std::memory_order_relaxed);
}

void SetRawTimerManagement(void* management) {
    s_pRawTimerManagement.store(management, std::memory_order_relaxed);
}

void* GetRawTimerManagement() {
    return s_pRawTimerManagement.load(std::memory_order_relaxed);
}

void SetMainSTAThreadId(long threadId) {
    s_lMainSTAThreadId.store(threadId, std::memory_order_relaxed);
}

long GetMainSTAThreadId() {
    return s_lMainSTAThreadId.load(std::memory_order_relaxed);
}

CFwInfoTable* GetFwInfoTable() {
    return &s_FwInfoTable;
}

} // namespace KxTamarind
