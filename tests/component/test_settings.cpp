// Process-wide settings: defaults, set/get round trips and the GUI
// serialisation token.
#include <gtest/gtest.h>

#include <unistd.h>

#include <string>
#include <thread>

#include "CFwInfoTable.h"
#include "KxKernelRemote.h"

using namespace KxTamarind;

namespace {

// An IUnknown that only counts; it is never destroyed through Release.
class CountingUnknown : public IUnknown {
public:
    STDMETHODIMP QueryInterface(REFIID, void** ppv) override {
        if (ppv) {
            *ppv = nullptr;
        }
        ++m_queries;
        return E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return static_cast<ULONG>(++m_refs); }
    STDMETHODIMP_(ULONG) Release() override {
        ++m_releases;
        return static_cast<ULONG>(--m_refs);
    }
    int m_refs = 1;
    int m_releases = 0;
    int m_queries = 0;
};

} // namespace

TEST(KernelRemoteTest, DefaultsBeforeAnySetter) {
    EXPECT_EQ(GetThreadStackSize(), 0u);
    EXPECT_EQ(CKernelRemote::GetHiSlipServer(), nullptr);
    EXPECT_EQ(CKernelRemote::GetScpiAdministrationTemplate(), nullptr);
    EXPECT_FALSE(get_RemoteDiagnoseMode());
    EXPECT_EQ(get_KernelRemoteAdmin(), nullptr);
    EXPECT_EQ(GetRawTimerManagement(), nullptr);
    EXPECT_EQ(GetMainSTAThreadId(), 0);
}

TEST(KernelRemoteTest, SettersStoreTheirArgumentUnchanged) {
    int a = 0;
    int b = 0;
    SetThreadStackSize(256 * 1024);
    EXPECT_EQ(GetThreadStackSize(), 256u * 1024u);
    SetThreadStackSize(0);
    EXPECT_EQ(GetThreadStackSize(), 0u);
    set_RemoteDiagnoseMode(true);
    EXPECT_TRUE(get_RemoteDiagnoseMode());
    set_RemoteDiagnoseMode(false);
    EXPECT_FALSE(get_RemoteDiagnoseMode());
    set_KernelRemoteAdmin(&a);
    EXPECT_EQ(get_KernelRemoteAdmin(), &a);
    SetRawTimerManagement(&b);
    EXPECT_EQ(GetRawTimerManagement(), &b);
    SetRawTimerManagement(nullptr);
    EXPECT_EQ(GetRawTimerManagement(), nullptr);
    EXPECT_EQ(get_KernelRemoteAdmin(), &a); // independent values
    set_KernelRemoteAdmin(nullptr);
    EXPECT_EQ(get_KernelRemoteAdmin(), nullptr);
}

TEST(KernelRemoteTest, ServerPointersAreStoredWithoutReferences) {
    CountingUnknown server;
    CountingUnknown administration;
    IHiSlipServer* asServer = reinterpret_cast<IHiSlipServer*>(static_cast<IUnknown*>(&server));
    CScpiAdministrationTemplate* asAdmin =
        reinterpret_cast<CScpiAdministrationTemplate*>(static_cast<IUnknown*>(&administration));
    CKernelRemote::SetHiSlipServerInterface(asServer);
    CKernelRemote::SetScpiAdministrationTemplate(asAdmin);
    EXPECT_EQ(CKernelRemote::GetHiSlipServer(), asServer);
    EXPECT_EQ(CKernelRemote::GetScpiAdministrationTemplate(), asAdmin);
    CKernelRemote::SetHiSlipServerInterface(nullptr);
    EXPECT_EQ(CKernelRemote::GetHiSlipServer(), nullptr);
    EXPECT_EQ(CKernelRemote::GetScpiAdministrationTemplate(), asAdmin);
    CKernelRemote::SetScpiAdministrationTemplate(nullptr);
    EXPECT_EQ(CKernelRemote::GetScpiAdministrationTemplate(), nullptr);
    EXPECT_EQ(server.m_refs, 1);
    EXPECT_EQ(server.m_releases, 0);
    EXPECT_EQ(server.m_queries, 0);
    EXPECT_EQ(administration.m_refs, 1);
    EXPECT_EQ(administration.m_releases, 0);
}

TEST(KernelRemoteTest, PlatformQueries) {
    EXPECT_TRUE(CKernelRemote::IsEmbedded());
    EXPECT_FALSE(CKernelRemote::IsWow64Process());
    EXPECT_EQ(CKernelRemote::CompareWindowsVersionTo(10, 0, 1, 2), 0);
    EXPECT_EQ(CKernelRemote::IsAdminUserAccount(), geteuid() == 0);
    std::wstring path = L"C:\\Windows";
    CKernelRemote::GetSpecialFolder(0x1A, path);
    EXPECT_TRUE(path.empty());
    CKernelRemote::SyncGui();
}

TEST(KernelRemoteTest, RemoteDiagnoseControlBlock) {
    RemoteDiagnoseControl* control = get_RemoteDiagnoseControl();
    ASSERT_NE(control, nullptr);
    EXPECT_EQ(get_RemoteDiagnoseControl(), control);
    LARGE_INTEGER frequency;
    ASSERT_TRUE(QueryPerformanceFrequency(&frequency));
    EXPECT_EQ(control->m_llPerformanceFrequency.load(), frequency.QuadPart);
    EXPECT_FALSE(control->m_bDebugStatistic.load());
    EXPECT_FALSE(control->m_bDebugTrace.load());
    EXPECT_FALSE(control->m_bDebugRpc.load());
    EXPECT_FALSE(control->m_bDebugTiming.load());
    EXPECT_FALSE(control->m_bScpiChecksDisabled.load());
    EXPECT_EQ(control->m_llDebugTimingStart.load(), 0);
    // Switching a flag does not touch the remote-diagnose mode.
    control->m_bDebugTrace.store(true, std::memory_order_relaxed);
    EXPECT_TRUE(get_RemoteDiagnoseControl()->m_bDebugTrace.load());
    EXPECT_FALSE(get_RemoteDiagnoseMode());
}

TEST(KernelRemoteTest, MainSTAThreadIdIsSeenByOtherThreads) {
    SetMainSTAThreadId(4711);
    long seen = 0;
    std::thread reader([&] { seen = GetMainSTAThreadId(); });
    reader.join();
    EXPECT_EQ(seen, 4711);
    SetMainSTAThreadId(0);
    EXPECT_EQ(GetMainSTAThreadId(), 0);
}

TEST(KernelRemoteTest, ProcessWideFwInfoTableExistsFromLoad) {
    CFwInfoTable* table = GetFwInfoTable();
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(GetFwInfoTable(), table);
    EXPECT_EQ(table->GetFwAppCount(), 0);
    EXPECT_TRUE(table->GetFwInfo(0)->IsInUse()); // constructed: slot 0 reserved
    EXPECT_EQ(table->NewFwAppId(0), 0x0100);
}

TEST(GuiSerializationLockerTest, TokenIsMinusOneAndNothingHeld) {
    CGuiSerializationLocker locker;
    EXPECT_EQ(locker.GetLockToken(), -1);
    EXPECT_EQ(locker.GetHeldObject(), nullptr);
}

TEST(GuiSerializationLockerTest, ReleasesHeldObjectExactlyOnce) {
    CountingUnknown object;
    object.AddRef(); // the reference handed to the token
    {
        CGuiSerializationLocker locker;
        locker.AttachHeldObject(&object);
        EXPECT_EQ(locker.GetHeldObject(), &object);
        EXPECT_EQ(object.m_releases, 0);
    }
    EXPECT_EQ(object.m_releases, 1);
    EXPECT_EQ(object.m_refs, 1);
}

TEST(GuiSerializationLockerTest, ReplacingHeldObjectReleasesThePreviousOne) {
    CountingUnknown first;
    CountingUnknown second;
    first.AddRef();
    second.AddRef();
    {
        CGuiSerializationLocker locker;
        locker.AttachHeldObject(&first);
        locker.AttachHeldObject(&second);
        EXPECT_EQ(first.m_releases, 1);
        EXPECT_EQ(second.m_releases, 0);
        locker.AttachHeldObject(nullptr);
        EXPECT_EQ(second.m_releases, 1);
    }
    EXPECT_EQ(first.m_releases, 1);
    EXPECT_EQ(second.m_releases, 1);
    EXPECT_EQ(first.m_refs, 1);
    EXPECT_EQ(second.m_refs, 1);
}
