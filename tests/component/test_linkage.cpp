// The process-wide root, the search for linkage partners, and the object
// data's logical-instrument queries (answered by the firmware info table and
// by the linkage): references taken and given back, and the raised errors of
// objects that cannot be navigated. (The object data's own linkage
// registration is driven by the lifecycle tests.)
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <thread>
#include <vector>

#include "CFwInfoTable.h"
#include "KxKernelRemote.h"
#include "KxLinkagePartner.h"
#include "KxRoot.h"
#include "TestComponent.h"
#include "common/CatchError.h"

using namespace KxTamarind;
using namespace KxTest;

namespace {

const GUID kPartnerGuid = MakeGuid(0x5A5A5A5A, 1);

// Leaves no root behind, also when a test fails half-way.
struct RootGuard {
    RootGuard() { ReleaseRoot(); }
    ~RootGuard() { ReleaseRoot(); }
};

// A root candidate: offers `registry` as its IKXInterfaceRegistration.
struct RootObject : CountingUnknown {
    explicit RootObject(IUnknown* registry = nullptr) {
        Answer(IID_IKXInterfaceRegistration, registry != nullptr ? registry : this);
    }
};

IUnknown* CurrentRoot() {
    IKXInterfaceRegistration* root = reinterpret_cast<IKXInterfaceRegistration*>(1);
    GetRoot(&root);
    if (root != nullptr) {
        root->Release(); // only its identity is wanted
    }
    return root;
}

TEST(Root, HoldsOneReferenceOnTheRegistryOfTheLastObjectSet) {
    RootObject first, second, shell(&second);
    CountingUnknown plain; // offers no registry
    RootGuard guard;
    GetRoot(nullptr); // allowed, does nothing
    EXPECT_EQ(CurrentRoot(), nullptr);
    SetRoot(&first);
    SetRoot(nullptr); // keeps the old one
    SetRoot(&first);  // the same root again: still one reference
    EXPECT_EQ(CurrentRoot(), &first);
    EXPECT_EQ(first.References(), 1);
    SetRoot(&shell); // the root is the registry the object offers
    EXPECT_EQ(CurrentRoot(), &second);
    EXPECT_EQ(std::make_tuple(first.References(), second.References(), shell.References()),
              std::make_tuple(0L, 1L, 0L));
    SetRoot(&plain); // no registry: no root, the old one released
    EXPECT_EQ(CurrentRoot(), nullptr);
    EXPECT_EQ(second.References() + plain.References(), 0);
    SetRoot(&first);
    ReleaseRoot();
    ReleaseRoot(); // nothing left to release
    EXPECT_EQ(first.References(), 0);
}

TEST(Root, ConcurrentSetAndReleaseNeverReleaseARootTwice) {
    // Each root taken out of the pointer is released by exactly one caller:
    // a double release would drive a count below zero.
    RootObject roots[4];
    RootGuard guard;
    std::vector<std::thread> threads;
    for (RootObject& root : roots) {
        threads.emplace_back([&root] {
            for (int i = 0; i < 2000; ++i) {
                SetRoot(&root);
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
    for (const RootObject& root : roots) {
        EXPECT_GE(root.References(), 0);
        held += root.References();
    }
    EXPECT_LE(held, 1); // at most the one root still set
}

class LinkagePartnerTest : public ::testing::Test {
protected:
    void SetUp() override {
        linkage.partners[kPartnerGuid] = &partner;
        linkage.farPartner = &partner;
        ASSERT_EQ(object->PutReferences(nullptr, &linkage, 1, 1), S_OK);
    }
    void TearDown() override {
        ReleaseRoot();
        ASSERT_EQ(object->ReleaseReferences(), S_OK);
        EXPECT_EQ(object->Release(), 0u);
    }
    CountingUnknown partner;
    FakeLinkage linkage;
    TestCoClass coClass;
    RegistryObject* object = RegistryObject::Create(&coClass.data);
    GUID guid = kPartnerGuid, second = MakeGuid(0x6B6B6B6B, 2);
    IUnknown* found = nullptr;
    RootGuard guard;
};

TEST_F(LinkagePartnerTest, SearchInALinkageOrThroughAnObjectsLinkage) {
    EXPECT_EQ(SearchLinkagePartner(static_cast<IKXLinkage*>(nullptr), &guid, &found), E_POINTER);
    EXPECT_EQ(SearchLinkagePartner(&linkage, nullptr, &found), E_POINTER);
    EXPECT_EQ(SearchLinkagePartner(&linkage, &guid, nullptr), E_POINTER);
    EXPECT_EQ(SearchLinkagePartner(&linkage, &second, &found), S_FALSE);
    EXPECT_EQ(found, nullptr);
    for (IUnknown* through : {static_cast<IUnknown*>(nullptr), object->Identity()}) {
        EXPECT_EQ(through ? SearchLinkagePartner(through, &guid, &found)
                          : SearchLinkagePartner(&linkage, &guid, &found),
                  S_OK);
        EXPECT_EQ(found, &partner);
        found->Release();
    }
    // The first form's checks apply after the navigation.
    EXPECT_EQ(SearchLinkagePartner(object->Identity(), &guid, nullptr), E_POINTER);
    EXPECT_EQ(linkage.calls, (Calls{"Search 6B6B6B6B", "Search 5A5A5A5A", "Search 5A5A5A5A"}));
    EXPECT_EQ(SearchParent(&partner, &guid, &guid, &found), S_FALSE); // never finds anything
    EXPECT_EQ(Ref(object->Identity()), 1u);
    EXPECT_EQ(linkage.References() + partner.References(), 1); // the component's linkage
}

TEST_F(LinkagePartnerTest, FarSearchThroughAnObjectOrFromTheRoot) {
    EXPECT_EQ(SearchFarLinkagePartner(nullptr, &guid, 2, &found), E_POINTER); // no root
    EXPECT_EQ(object->GetRoot(&found), S_OK);
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(SearchFarLinkagePartner(object->Identity(), &guid, 3, &second, &found), S_OK);
    EXPECT_EQ(found, &partner);
    found->Release();
    linkage.farResult = S_FALSE;
    EXPECT_EQ(SearchFarLinkagePartner(object->Identity(), &guid, -1, &found), S_FALSE);
    linkage.farResult = S_OK;
    SetRoot(object->Identity()); // the root registry is itself a component
    EXPECT_EQ(SearchFarLinkagePartner(nullptr, &guid, 2, &found), S_OK);
    found->Release();
    EXPECT_EQ(linkage.calls,
              (Calls{"Far 5A5A5A5A 3 guid2 -", "Far 5A5A5A5A -1 - -", "Far 5A5A5A5A 2 - -"}));
    // A component hands out the root as its IUnknown.
    EXPECT_EQ(object->GetRoot(&found), S_OK);
    EXPECT_EQ(found, object->Identity());
    EXPECT_EQ(found->Release(), 2u); // the test's and the root's
}

TEST_F(LinkagePartnerTest, ObjectsThatCannotBeNavigatedAreRaised) {
    RootObject managementless;
    CountingUnknown plain;
    auto* unlinked = TestComponentObject::Create(&coClass.data);
    object->linkageResult = E_FAIL; // a failing getter counts as no linkage
    const std::function<void()> searches[] = {
        [&] { SearchLinkagePartner(static_cast<IUnknown*>(nullptr), &guid, &found); },
        [&] { SearchLinkagePartner(&plain, &guid, &found); },
        [&] { SetRoot(&managementless), SearchFarLinkagePartner(nullptr, &guid, 0, &found); },
        [&] { SearchLinkagePartner(unlinked->Identity(), &guid, &found); },
        [&] { SearchFarLinkagePartner(object->Identity(), &guid, 1, &found); },
    };
    for (int i = 0; i < 5; ++i) {
        ExpectError(CatchError(searches[i]), i < 3 ? "pICM == NULL" : "pIKXLinkage == NULL", "",
                    E_POINTER, "Base/Common/KxTamarindCommon/Src/KxBaseLib");
    }
    EXPECT_EQ(linkage.calls, Calls{});
    EXPECT_EQ(linkage.References(), 1); // what the failing getter handed out was given back
    EXPECT_EQ(managementless.References() + plain.References(), 1); // the root's only
    EXPECT_EQ(unlinked->Release(), 0u);
    ReleaseRoot();
}

// --- The object data's logical-instrument queries ---

const GUID kObjectGuid = MakeGuid(0x11111111, 1);
const GUID kAppGuid = MakeGuid(0xA0A0A0A0, 2);
const GUID kLiGuid = MakeGuid(0xB1B1B1B1, 3);

// An application "Spectrum" (type 7) with one logical instrument in the
// process-wide table; removed again at the end of the test.
struct TableEntry {
    TableEntry() {
        table->GetFwInfo(fw)->SetFwAppName(L"Spectrum");
        table->GetFwInfo(fw)->SetFwAppGuid(kAppGuid);
        table->GetFwInfo(fw)->SetApplicType(static_cast<KxPersistApplicType>(7));
        table->SetLiGuid(li, kLiGuid);
    }
    ~TableEntry() { table->RemoveFw(fw); }
    CFwInfoTable* table = GetFwInfoTable();
    unsigned short fw = table->NewFwAppId(0);
    unsigned short li = table->NewLiId(fw);
};

TEST(ObjectData, ApplicationQueriesUseTheLowSixteenBitsOfTheLocation) {
    TableEntry entry;
    CObjectData data;
    data.m_lLogicalLocation = 0x7A0000L | entry.li; // the bits above belong to others
    wchar_t* name = nullptr;
    GUID guid = GUID_NULL;
    EXPECT_TRUE(data.GetMyFwAppName(&name));
    EXPECT_STREQ(name, L"Spectrum");
    SysFreeString(name);
    EXPECT_TRUE(data.GetMyFwAppGUID(&guid));
    EXPECT_TRUE(IsEqualGUID(guid, kAppGuid));
    EXPECT_EQ(data.GetMyFwAppType(), static_cast<KxPersistApplicType>(7));
    EXPECT_FALSE(data.IsMyLiPartialLoaded());
    entry.table->SetLiIsPartialLoaded(entry.li, true);
    EXPECT_TRUE(data.IsMyLiPartialLoaded());

    data.m_lLogicalLocation = 0x7E01; // application slot 126: never allocated here
    name = reinterpret_cast<wchar_t*>(0x1);
    EXPECT_FALSE(data.GetMyFwAppName(&name));
    EXPECT_EQ(name, nullptr);
    EXPECT_FALSE(data.GetMyFwAppGUID(&guid));
    data.m_lLogicalLocation = 0x8001; // outside the table: raised by the table
    EXPECT_NE(CatchError([&] { data.GetMyFwAppType(); }), nullptr);
}

TEST(ObjectData, LiIdCarriesTheInstrumentGuidAndZeroBasedIndex) {
    TableEntry entry;
    CObjectData data;
    const struct {
        long location;
        GUID tableGuid; // of the instrument the location names
        unsigned long index;
    } cases[] = {{entry.li, kLiGuid, (entry.li & 0xFFu) - 1u},
                 {entry.li, GUID_NULL, (entry.li & 0xFFu) - 1u},
                 // Location 0: index -1, the answer is the table's for number 0.
                 {0, GUID_NULL, static_cast<unsigned long>(-1)},
                 {0, kLiGuid, static_cast<unsigned long>(-1)}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.location);
        data.m_lLogicalLocation = c.location;
        entry.table->SetLiGuid(static_cast<unsigned short>(c.location), c.tableGuid);
        LiId id = {kAppGuid, 99};
        EXPECT_EQ(data.GetMyLiId(&id), !IsEqualGUID(c.tableGuid, GUID_NULL));
        EXPECT_TRUE(IsEqualGUID(id.m_Guid, c.tableGuid));
        EXPECT_EQ(id.m_ulIndex, c.index);
    }
    entry.table->SetLiGuid(0, GUID_NULL);
    EXPECT_FALSE(data.GetMyLiId(nullptr));
}

// The instrument object by the full location; the twin and the application
// name of a LiId by the far search, whose object is given back.
TEST(ObjectData, LinkageQueries) {
    CountingUnknown instrument, partner;
    FakeLinkage linkage;
    CObjectData data;
    IUnknown* found = &instrument;
    wchar_t* name = nullptr;
    const LiId id = {kLiGuid, 3};
    EXPECT_FALSE(data.GetMyLiIUnknown(&found)); // no linkage
    EXPECT_EQ(found, nullptr);
    EXPECT_FALSE(data.GetMyTwin(2, &found) || data.GetFwAppName(id, &name));
    EXPECT_FALSE(data.GetMyLiIUnknown(nullptr));
    linkage.AddRef();
    data.m_pIKXLinkage = &linkage; // the object data's reference
    data.ObjectGuid = kObjectGuid;
    data.m_lLogicalLocation = 0x10203;
    EXPECT_FALSE(data.GetMyLiIUnknown(&found)); // nothing at that location
    linkage.locations[0x10203] = &instrument;
    EXPECT_TRUE(data.GetMyLiIUnknown(&found));
    EXPECT_EQ(found, &instrument);
    found->Release();
    linkage.farPartner = &partner;
    linkage.farName = L"Analyzer";
    EXPECT_TRUE(data.GetMyTwin(2, &found));
    EXPECT_EQ(found, &partner);
    found->Release();
    EXPECT_TRUE(data.GetFwAppName(id, &name));
    EXPECT_STREQ(name, L"Analyzer");
    SysFreeString(name);
    linkage.farResult = E_FAIL;
    EXPECT_FALSE(data.GetMyTwin(1, &found) || data.GetFwAppName(id, &name));
    EXPECT_EQ(partner.References(), 0);
    EXPECT_EQ(linkage.calls,
              (Calls{"Location 10203 0", "Location 10203 0", "Far 11111111 2 - -",
                     "Far B1B1B1B1 3 - name", "Far 11111111 1 - -", "Far B1B1B1B1 3 - name"}));
}

TEST(ObjectData, EveryKeyGetsTheOneFixedInstrumentDescription) {
    CObjectData data;
    data.m_lLogicalLocation = 0x0203;
    const int32_t expected[9] = {0, 6, -1, 0, -1, -1, 0, -1, 1};
    static_assert(sizeof(KxPersistInstrumentInfo) == sizeof(expected), "nine 32-bit fields");
    const LiId id = {kLiGuid, 0};
    KxPersistInstrumentInfo info[3];
    std::memset(info, 0x5A, sizeof(info));
    const HRESULT results[] = {data.GetMyInstrumentInfo(&info[0]),
                               CObjectData::GetMyInstrumentInfo(id, &info[1]),
                               GetInstrumentInfo(0x0305L, &info[2]),
                               data.GetMyInstrumentInfo(nullptr), GetInstrumentInfo(id, nullptr)};
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(results[i], S_OK);
        EXPECT_TRUE(i > 2 || std::memcmp(&info[i], expected, sizeof(expected)) == 0);
    }
    const long numbers[] = {data.GetMyInstrumentNo(),
                            data.GetMyVirtualLINumber(),
                            data.GetMyAbsoluteLINumber(),
                            CObjectData::GetMyInstrumentNo(id),
                            CObjectData::GetMyVirtualLINumber(id),
                            CObjectData::GetMyAbsoluteLINumber(id),
                            GetInstrumentNo(0x0101L),
                            GetVirtualLINumber(0x0101L),
                            GetAbsoluteLINumber(0x0101L)};
    EXPECT_EQ(std::vector<long>(numbers, numbers + 9), std::vector<long>(9, -1));
}

TEST(ObjectData, UnregisterWithoutLinkageIsRaised) {
    CObjectData data;
    data.m_bRegisteredToLinkage = true;
    ExpectError(CatchError([&] { data.UnregisterFromLinkage(); }), "m_pIKXLinkage == NULL", "",
                E_POINTER, "Base/Common/KxTamarindCommon/Src/CObjectData");
    EXPECT_TRUE(data.m_bRegisteredToLinkage);
}

} // namespace
