// Process-wide settings: the server pointers kept without references, the
// administrator check and the GUI serialisation token.
#include <gtest/gtest.h>

#include <unistd.h>

#include "KxKernelRemote.h"
#include "common/CountingUnknown.h"

using namespace KxTamarind;
using KxTest::CountingUnknown;

TEST(KernelRemote, SettingsBeforeAndAfterTheSetters) {
    EXPECT_EQ(std::make_tuple(GetThreadStackSize(), CKernelRemote::GetHiSlipServer()),
              std::make_tuple(0ul, static_cast<IHiSlipServer*>(nullptr)));
    CountingUnknown server; // stored without a reference taken or given
    auto* asServer = reinterpret_cast<IHiSlipServer*>(static_cast<IUnknown*>(&server));
    CKernelRemote::SetHiSlipServerInterface(asServer);
    EXPECT_EQ(CKernelRemote::GetHiSlipServer(), asServer);
    CKernelRemote::SetHiSlipServerInterface(nullptr);
    EXPECT_EQ(CKernelRemote::GetHiSlipServer(), nullptr);
    EXPECT_EQ(server.Releases(), 0);
    EXPECT_EQ(CKernelRemote::IsAdminUserAccount(), geteuid() == 0); // the effective user
    std::wstring path = L"C:\\Windows";
    CKernelRemote::GetSpecialFolder(0x1A, path);
    EXPECT_TRUE(path.empty());
}

TEST(GuiSerializationLocker, ReleasesWhatItHoldsExactlyOnce) {
    CountingUnknown first, second;
    first.AddRef(); // the references handed to the token
    second.AddRef();
    {
        CGuiSerializationLocker locker;
        EXPECT_EQ(std::make_pair(locker.GetLockToken(), locker.GetHeldObject()),
                  std::make_pair(-1L, static_cast<IUnknown*>(nullptr)));
        locker.AttachHeldObject(&first);
        locker.AttachHeldObject(&second); // the previous one is released
        EXPECT_EQ(std::make_pair(first.References(), second.References()), std::make_pair(0L, 1L));
    }
    EXPECT_EQ(first.Releases() + second.Releases(), 2);
}
