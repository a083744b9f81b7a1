// The process-wide root and the search for linkage partners: references
// taken and given back, the root kept or replaced, and the raised errors of
// objects that cannot be navigated.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "IKXComponentManagement.h"
#include "IKXInterfaceRegistration.h"
#include "KxLinkagePartner.h"
#include "KxRoot.h"
#include "common/CatchError.h"
#include "common/CountingUnknown.h"
#include "common/FakeComponentManagement.h"
#include "common/FakeLinkage.h"
#include "common/TestInterfaceRegistry.h"

using namespace KxTamarind;
using KxTest::CatchError;
using KxTest::CountingUnknown;
using KxTest::FakeComponentManagement;
using KxTest::FakeLinkage;
using KxTest::TestInterfaceRegistry;

namespace {

const char kBaseLibSource[] = "Base/Common/KxTamarindCommon/Src/KxBaseLib";
const GUID kPartnerGuid = {0x5A5A5A5A, 0x1234, 0x5678, {1, 3, 5, 7, 9, 11, 13, 15}};
const GUID kSecondGuid = {0x6B6B6B6B, 0x4321, 0x8765, {2, 4, 6, 8, 10, 12, 14, 16}};

// Leaves no root behind, also when a test fails half-way.
struct RootGuard {
    RootGuard() { ReleaseRoot(); }
    ~RootGuard() { ReleaseRoot(); }
};

IKXInterfaceRegistration* CurrentRoot() {
    IKXInterfaceRegistration* root = nullptr;
    GetRoot(&root);
    if (root != nullptr) {
        root->Release(); // only its identity is wanted
    }
    return root;
}

} // namespace

TEST(Root, SetGetReleaseBalanceTheReferences) {
    TestInterfaceRegistry registry;
    {
        RootGuard guard;
        SetRoot(&registry);
        EXPECT_EQ(registry.References(), 1); // the library's own reference

        IKXInterfaceRegistration* root = reinterpret_cast<IKXInterfaceRegistration*>(0x1);
        GetRoot(&root);
        EXPECT_EQ(root, static_cast<IKXInterfaceRegistration*>(&registry));
        EXPECT_EQ(registry.References(), 2);
        root->Release();

        ReleaseRoot();
        EXPECT_EQ(registry.References(), 0);
        GetRoot(&root);
        EXPECT_EQ(root, nullptr);
        ReleaseRoot(); // nothing left to release
        EXPECT_EQ(registry.Releases(), 2);
    }
    EXPECT_EQ(registry.References(), 0);
}

TEST(Root, NullRootKeepsTheOldOne) {
    TestInterfaceRegistry registry;
    {
        RootGuard guard;
        SetRoot(&registry);
        SetRoot(nullptr);
        EXPECT_EQ(CurrentRoot(), static_cast<IKXInterfaceRegistration*>(&registry));
        EXPECT_EQ(registry.References(), 1);
    }
    EXPECT_EQ(registry.References(), 0);
}

TEST(Root, NewRootReleasesTheOldOne) {
    TestInterfaceRegistry first;
    TestInterfaceRegistry second;
    {
        RootGuard guard;
        SetRoot(&first);
        SetRoot(&second);
        EXPECT_EQ(first.References(), 0);
        EXPECT_EQ(second.References(), 1);
        EXPECT_EQ(CurrentRoot(), static_cast<IKXInterfaceRegistration*>(&second));
        // Setting the same root again keeps exactly one reference.
        SetRoot(&second);
        EXPECT_EQ(second.References(), 1);
    }
    EXPECT_EQ(first.References(), 0);
    EXPECT_EQ(second.References(), 0);
}

TEST(Root, RootIsTheObjectsInterfaceRegistry) {
    TestInterfaceRegistry registry;
    CountingUnknown shell; // offers its registry through QueryInterface
    shell.Answer(__uuidof(IKXInterfaceRegistration), &registry);
    {
        RootGuard guard;
        SetRoot(&shell);
        EXPECT_EQ(shell.References(), 0); // the shell itself is not kept
        EXPECT_EQ(CurrentRoot(), static_cast<IKXInterfaceRegistration*>(&registry));
    }
    EXPECT_EQ(registry.References(), 0);
}

TEST(Root, ObjectWithoutRegistryLeavesNoRoot) {
    TestInterfaceRegistry registry;
    CountingUnknown plain;
    {
        RootGuard guard;
        SetRoot(&registry);
        SetRoot(&plain);
        EXPECT_EQ(CurrentRoot(), nullptr);
        EXPECT_EQ(registry.References(), 0);
        EXPECT_EQ(plain.References(), 0);
        GetRoot(nullptr); // allowed, does nothing
    }
}

TEST(Root, ConcurrentSetAndReleaseNeverReleaseARootTwice) {
    // Each root taken out of the pointer is released by exactly one caller:
    // a double release would drive a count below zero.
    constexpr int kThreads = 4;
    constexpr int kRounds = 2000;
    TestInterfaceRegistry roots[kThreads];
    {
        RootGuard guard;
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([&roots, t] {
                for (int i = 0; i < kRounds; ++i) {
                    SetRoot(&roots[t]);
                    if (i % 3 == 0) {
                        ReleaseRoot();
                    }
                }
            });
        }
        for (auto& thread : threads) {
            thread.join();
        }
        long held = 0;
        for (const auto& root : roots) {
            EXPECT_GE(root.References(), 0);
            held += root.References();
        }
        EXPECT_LE(held, 1); // at most the one root still set
    }
    for (const auto& root : roots) {
        EXPECT_EQ(root.References(), 0);
    }
}

TEST(LinkagePartner, SearchInALinkage) {
    CountingUnknown partner;
    FakeLinkage linkage;
    linkage.AddPartner(kPartnerGuid, &partner);
    GUID guid = kPartnerGuid;
    IUnknown* found = nullptr;
    EXPECT_EQ(SearchLinkagePartner(static_cast<IKXLinkage*>(nullptr), &guid, &found), E_POINTER);
    EXPECT_EQ(SearchLinkagePartner(&linkage, nullptr, &found), E_POINTER);
    EXPECT_EQ(SearchLinkagePartner(&linkage, &guid, nullptr), E_POINTER);
    EXPECT_EQ(linkage.searchCalls, 0);

    EXPECT_EQ(SearchLinkagePartner(&linkage, &guid, &found), S_OK);
    EXPECT_EQ(found, &partner);
    found->Release();
    GUID other = kSecondGuid;
    EXPECT_EQ(SearchLinkagePartner(&linkage, &other, &found), S_FALSE);
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(partner.References(), 0);
    EXPECT_EQ(linkage.References(), 0);
}

TEST(LinkagePartner, SearchThroughAnObjectsLinkage) {
    CountingUnknown partner;
    FakeLinkage linkage;
    FakeComponentManagement object;
    linkage.AddPartner(kPartnerGuid, &partner);
    object.linkage = &linkage;
    GUID guid = kPartnerGuid;
    IUnknown* found = nullptr;
    EXPECT_EQ(SearchLinkagePartner(static_cast<IUnknown*>(&object), &guid, &found), S_OK);
    EXPECT_EQ(found, &partner);
    found->Release();
    // The first form's checks apply after the navigation.
    EXPECT_EQ(SearchLinkagePartner(static_cast<IUnknown*>(&object), &guid, nullptr), E_POINTER);
    EXPECT_EQ(partner.References(), 0);
    EXPECT_EQ(linkage.References(), 0);
    EXPECT_EQ(object.References(), 0);
}

TEST(LinkagePartner, ObjectsThatCannotBeNavigatedAreRaised) {
    CountingUnknown plain;
    FakeComponentManagement unlinked;
    GUID guid = kPartnerGuid;
    IUnknown* found = nullptr;

    auto error =
        CatchError([&] { SearchLinkagePartner(static_cast<IUnknown*>(nullptr), &guid, &found); });
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->GetCondition().GetString(), "pICM == NULL");
    EXPECT_STREQ(error->GetAdditionalInfo().GetString(), "");
    EXPECT_EQ(error->GetErrorCode(), static_cast<long>(E_POINTER));
    EXPECT_STREQ(error->GetFileName().GetString(), kBaseLibSource);

    error =
        CatchError([&] { SearchLinkagePartner(static_cast<IUnknown*>(&plain), &guid, &found); });
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->GetCondition().GetString(), "pICM == NULL");

    error =
        CatchError([&] { SearchLinkagePartner(static_cast<IUnknown*>(&unlinked), &guid, &found); });
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->GetCondition().GetString(), "pIKXLinkage == NULL");
    EXPECT_STREQ(error->GetAdditionalInfo().GetString(), "");
    EXPECT_EQ(error->GetErrorCode(), static_cast<long>(E_POINTER));

    // A failing linkage getter counts as no linkage.
    FakeLinkage linkage;
    unlinked.linkage = &linkage;
    unlinked.linkageResult = E_FAIL;
    error = CatchError(
        [&] { SearchFarLinkagePartner(static_cast<IUnknown*>(&unlinked), &guid, 1, &found); });
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->GetCondition().GetString(), "pIKXLinkage == NULL");
    EXPECT_EQ(linkage.farCalls, 0);
    EXPECT_EQ(linkage.References(), 0); // what the failing getter handed out was given back

    EXPECT_EQ(plain.References(), 0);
    EXPECT_EQ(unlinked.References(), 0);
}

TEST(LinkagePartner, FarSearchThroughAnObject) {
    CountingUnknown partner;
    FakeLinkage linkage;
    FakeComponentManagement object;
    object.linkage = &linkage;
    linkage.farPartner = &partner;
    linkage.farResult = S_OK;
    GUID guid = kPartnerGuid;
    GUID second = kSecondGuid;
    IUnknown* found = nullptr;

    EXPECT_EQ(SearchFarLinkagePartner(&object, &guid, 3, &second, &found), S_OK);
    EXPECT_EQ(found, &partner);
    found->Release();
    EXPECT_TRUE(IsEqualGUID(linkage.lastGuid, kPartnerGuid));
    EXPECT_EQ(linkage.lastLevel, 3);
    EXPECT_FALSE(linkage.lastGuid2WasNull);
    EXPECT_TRUE(linkage.lastNameSlotWasNull);

    linkage.farResult = S_FALSE;
    linkage.farPartner = nullptr;
    EXPECT_EQ(SearchFarLinkagePartner(&object, &guid, -1, &found), S_FALSE);
    EXPECT_EQ(linkage.lastLevel, -1);
    EXPECT_TRUE(linkage.lastGuid2WasNull);

    EXPECT_EQ(partner.References(), 0);
    EXPECT_EQ(linkage.References(), 0);
    EXPECT_EQ(object.References(), 0);
}

TEST(LinkagePartner, FarSearchWithoutObjectUsesTheRoot) {
    CountingUnknown partner;
    FakeLinkage linkage;
    FakeComponentManagement rootComponent;
    TestInterfaceRegistry registry;
    rootComponent.linkage = &linkage;
    registry.Answer(__uuidof(IKXComponentManagement), &rootComponent);
    linkage.farPartner = &partner;
    GUID guid = kPartnerGuid;
    IUnknown* found = nullptr;
    {
        RootGuard guard;
        EXPECT_EQ(SearchFarLinkagePartner(nullptr, &guid, 2, &found), E_POINTER); // no root
        EXPECT_EQ(found, nullptr);

        SetRoot(&registry);
        EXPECT_EQ(SearchFarLinkagePartner(nullptr, &guid, 2, &found), S_OK);
        EXPECT_EQ(found, &partner);
        found->Release();
        EXPECT_EQ(linkage.farCalls, 1);
        EXPECT_EQ(registry.References(), 1); // only the root pointer's
    }
    EXPECT_EQ(partner.References(), 0);
    EXPECT_EQ(linkage.References(), 0);
    EXPECT_EQ(rootComponent.References(), 0);
    EXPECT_EQ(registry.References(), 0);
}

TEST(LinkagePartner, FarSearchFromARootWithoutManagementIsRaised) {
    TestInterfaceRegistry registry;
    GUID guid = kPartnerGuid;
    IUnknown* found = nullptr;
    {
        RootGuard guard;
        SetRoot(&registry);
        auto error = CatchError([&] { SearchFarLinkagePartner(nullptr, &guid, 0, &found); });
        ASSERT_NE(error, nullptr);
        EXPECT_STREQ(error->GetCondition().GetString(), "pICM == NULL");
        EXPECT_EQ(error->GetErrorCode(), static_cast<long>(E_POINTER));
        EXPECT_EQ(registry.References(), 1); // the search gave its reference back
    }
    EXPECT_EQ(registry.References(), 0);
}

TEST(LinkagePartner, ParentSearchAlwaysFindsNothing) {
    CountingUnknown object;
    GUID guid = kPartnerGuid;
    IUnknown* found = nullptr;
    EXPECT_EQ(SearchParent(&object, &guid, &guid, &found), S_FALSE);
    EXPECT_EQ(SearchParent(nullptr, nullptr, nullptr, nullptr), S_FALSE);
    EXPECT_EQ(object.References(), 0);
    EXPECT_EQ(object.Queries(), 0);
}

TEST(InstrumentInfo, EveryKeyGetsTheFixedDescription) {
    KxPersistInstrumentInfo info = {9, 9, 9, 9, 9, 9, 9, 9, 9};
    EXPECT_EQ(GetInstrumentInfo(0x0305L, &info), S_OK);
    EXPECT_EQ(info.InstrumentType, 0);
    EXPECT_EQ(info.InstrumentFamily, 6);
    EXPECT_EQ(info.InstrumentNo, -1);
    EXPECT_EQ(info.Options, 0);
    EXPECT_EQ(info.VirtualLINumber, -1);
    EXPECT_EQ(info.AbsoluteLINumber, -1);
    EXPECT_EQ(info.Flags, 0);
    EXPECT_EQ(info.ParentInstrumentNo, -1);
    EXPECT_EQ(info.InstrumentCount, 1);
    EXPECT_EQ(GetInstrumentInfo(0L, nullptr), S_OK);
    EXPECT_EQ(GetInstrumentNo(0x0101L), -1);
    EXPECT_EQ(GetVirtualLINumber(0x0101L), -1);
    EXPECT_EQ(GetAbsoluteLINumber(0x0101L), -1);
}
