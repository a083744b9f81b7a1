// Object and interface enumerators: walks, filters, invalidation by changes
// of the registry, Reset, Skip and Clone.
#include <gtest/gtest.h>

#include <vector>

#include "CErrorObject.h"
#include "CSmartObjectIdentificationData.h"
#include "common/CountingUnknown.h"
#include "registries/TestRegistry.h"

using namespace KxTamarind;
using KxTest::CountingUnknown;
using KxTest::TestInterfaceEnumeration;
using KxTest::TestObjectEnumeration;
using KxTest::TestRegistry;

namespace {

GUID MakeGuid(std::uint32_t n) {
    return GUID{n, 0x0E0E, 0x0F0F, {2, 2, 2, 2, 2, 2, 2, 2}};
}
const GUID kCatA = {0xCA7A0000, 0, 0, {0, 0, 0, 0, 0, 0, 0, 1}};
const GUID kCatB = {0xCA7B0000, 0, 0, {0, 0, 0, 0, 0, 0, 0, 2}};

void Register(TestRegistry& registry, std::uint32_t id, IUnknown* unknown,
              const GUID& catId = GUID_ALL_ONES) {
    ObjectIdentificationData r;
    CSmartObjectIdentificationData::InitData(r);
    r.pIUnknown = unknown;
    r.ObjectGuid = MakeGuid(id);
    r.CatId = catId;
    CComBSTR name(L"object");
    r.Name = name.m_str;
    ASSERT_EQ(registry.RegisterObject(&r), S_OK);
}

// Takes the records out of `array`, releasing what they own; returns the ids.
std::vector<std::uint32_t> Drain(ObjectIdentificationData* array, long fetched) {
    std::vector<std::uint32_t> ids;
    for (long i = 0; i < fetched; ++i) {
        ids.push_back(array[i].ObjectGuid.Data1);
        CSmartObjectIdentificationData::ClearData(array[i]);
    }
    return ids;
}

IKXObjectEnumeration* Enumerate(TestRegistry& registry, GUID catId) {
    IKXObjectEnumeration* e = nullptr;
    EXPECT_EQ(registry.EnumObject(&catId, &e), S_OK);
    return e;
}

} // namespace

TEST(CBObjectEnumeration, WalksTheCategoryInOrder) {
    CountingUnknown unknown;
    {
        TestRegistry registry;
        Register(registry, 1, &unknown, kCatB);
        Register(registry, 2, &unknown, kCatA);
        Register(registry, 3, &unknown, kCatB);
        Register(registry, 4, &unknown, kCatA);

        IKXObjectEnumeration* e = Enumerate(registry, kCatA);
        ASSERT_NE(e, nullptr);
        ObjectIdentificationData array[4];
        long fetched = -1;
        EXPECT_EQ(e->Next(4, &fetched, array), S_FALSE);
        EXPECT_EQ(Drain(array, fetched), (std::vector<std::uint32_t>{2, 4}));
        EXPECT_EQ(e->Next(1, &fetched, array), S_FALSE);
        EXPECT_EQ(fetched, 0);
        e->Release();

        e = Enumerate(registry, GUID_ALL_ONES);
        ASSERT_NE(e, nullptr);
        EXPECT_EQ(e->Next(2, &fetched, array), S_OK);
        EXPECT_EQ(Drain(array, fetched), (std::vector<std::uint32_t>{1, 2}));
        EXPECT_EQ(e->Next(0, &fetched, array), S_OK); // celt 0: nothing fetched
        EXPECT_EQ(fetched, 0);
        EXPECT_EQ(e->Next(1, nullptr, array), S_OK); // a null count is allowed
        EXPECT_EQ(Drain(array, 1), (std::vector<std::uint32_t>{3}));
        EXPECT_EQ(e->Next(1, &fetched, nullptr), E_POINTER);
        e->Release();
        EXPECT_EQ(unknown.References(), 4);
    }
    EXPECT_EQ(unknown.References(), 0);
    EXPECT_EQ(TestObjectEnumeration::Live().load(), 0);
}

TEST(CBObjectEnumeration, WithoutMatchingRecords) {
    CountingUnknown unknown;
    TestRegistry registry;
    Register(registry, 1, &unknown, kCatB);
    GUID catA = kCatA;
    TestObjectEnumeration* e = TestObjectEnumeration::Make(
        &catA, static_cast<IKXObjectRegistration*>(&registry), &registry.list);
    EXPECT_FALSE(e->CurrentObjectIsValid());
    ObjectIdentificationData array[1];
    long fetched = -1;
    EXPECT_EQ(e->Next(1, &fetched, array), S_FALSE);
    EXPECT_EQ(fetched, 0);
    EXPECT_EQ(e->Skip(1), S_FALSE);
    EXPECT_EQ(e->Reset(), S_FALSE);
    e->Release();
}

TEST(CBObjectEnumeration, RegistrationHalfWayInvalidatesUntilReset) {
    CountingUnknown unknown;
    TestRegistry registry;
    Register(registry, 1, &unknown);
    Register(registry, 2, &unknown);
    IKXObjectEnumeration* e = Enumerate(registry, GUID_ALL_ONES);
    ASSERT_NE(e, nullptr);
    ObjectIdentificationData array[3];
    long fetched = 0;
    ASSERT_EQ(e->Next(1, &fetched, array), S_OK);
    Drain(array, fetched);

    Register(registry, 3, &unknown);
    fetched = -1;
    EXPECT_EQ(e->Next(1, &fetched, array), S_FALSE);
    EXPECT_EQ(fetched, 0);
    EXPECT_EQ(e->Skip(1), S_FALSE);
    IKXObjectEnumeration* clone = reinterpret_cast<IKXObjectEnumeration*>(0x10);
    EXPECT_EQ(e->Clone(&clone), S_FALSE);
    EXPECT_EQ(clone, reinterpret_cast<IKXObjectEnumeration*>(0x10)); // untouched

    EXPECT_EQ(e->Reset(), S_OK);
    EXPECT_EQ(e->Next(3, &fetched, array), S_OK);
    EXPECT_EQ(Drain(array, fetched), (std::vector<std::uint32_t>{1, 2, 3}));

    // A removal invalidates too; Reset walks the changed list.
    GUID key = MakeGuid(2);
    ASSERT_EQ(registry.UnregisterObject(&key, 0), S_OK);
    EXPECT_EQ(e->Next(1, &fetched, array), S_FALSE);
    EXPECT_EQ(fetched, 0);
    EXPECT_EQ(e->Reset(), S_OK);
    EXPECT_EQ(e->Next(3, &fetched, array), S_FALSE);
    EXPECT_EQ(Drain(array, fetched), (std::vector<std::uint32_t>{1, 3}));
    e->Release();
    EXPECT_EQ(registry.list.GetCount(), 2);
}

TEST(CBObjectEnumeration, SkipAndClonePositions) {
    CountingUnknown unknown;
    TestRegistry registry;
    for (std::uint32_t id = 1; id <= 3; ++id) {
        Register(registry, id, &unknown);
    }
    IKXObjectEnumeration* e = Enumerate(registry, GUID_ALL_ONES);
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(e->Skip(0), S_OK);
    EXPECT_EQ(e->Skip(-3), S_OK);
    EXPECT_EQ(e->Skip(1), S_OK);

    IKXObjectEnumeration* clone = nullptr;
    ASSERT_EQ(e->Clone(&clone), S_OK);
    ASSERT_NE(clone, nullptr);
    ObjectIdentificationData array[3];
    long fetched = 0;
    // The clone starts at the first match, the original stays at its place.
    EXPECT_EQ(clone->Next(1, &fetched, array), S_OK);
    EXPECT_EQ(Drain(array, fetched), (std::vector<std::uint32_t>{1}));
    EXPECT_EQ(e->Next(1, &fetched, array), S_OK);
    EXPECT_EQ(Drain(array, fetched), (std::vector<std::uint32_t>{2}));

    EXPECT_EQ(e->Skip(5), S_FALSE); // past the last match: exhausted
    EXPECT_EQ(e->Next(1, &fetched, array), S_FALSE);
    EXPECT_EQ(fetched, 0);
    EXPECT_EQ(e->Skip(1), S_FALSE);
    EXPECT_EQ(e->Clone(nullptr), E_POINTER);
    clone->Release();
    e->Release();
    EXPECT_EQ(TestObjectEnumeration::Live().load(), 0);
    EXPECT_EQ(unknown.References(), 3);
}

TEST(CBObjectEnumeration, DestroyedEnumeratorsLeaveTheFlagSet) {
    CountingUnknown unknown;
    TestRegistry registry;
    Register(registry, 1, &unknown);
    IKXObjectEnumeration* e = Enumerate(registry, GUID_ALL_ONES);
    ASSERT_NE(e, nullptr);
    e->Release();
    // A change after the enumerator died must not touch its freed flag
    // (AddressSanitizer would report it).
    Register(registry, 2, &unknown);
    GUID key = MakeGuid(1);
    EXPECT_EQ(registry.UnregisterObject(&key, 0), S_OK);
    EXPECT_EQ(unknown.References(), 1);
}

// ---- interface enumerator ----

namespace {

// Identifiers that live as long as the test (lists take their address).
const GUID* Iid(std::uint32_t n) {
    static GUID ids[16];
    ids[n] = GUID{n, 0x1F1F, 0x2E2E, {3, 3, 3, 3, 3, 3, 3, 3}};
    return &ids[n];
}

std::vector<std::uint32_t> DrainInterfaces(InterfaceIdentificationData* array, long fetched) {
    std::vector<std::uint32_t> ids;
    for (long i = 0; i < fetched; ++i) {
        ids.push_back(array[i].Iid.Data1);
        if (array[i].pIUnknown != nullptr) {
            array[i].pIUnknown->Release();
        }
        SysFreeString(array[i].Name);
    }
    return ids;
}

std::vector<std::uint32_t> WalkOf(std::uint32_t n, CountingUnknown& unknown) {
    CInterfaceList list;
    for (std::uint32_t i = 1; i <= n; ++i) {
        list.Add(&unknown, L"name", Iid(i));
    }
    TestInterfaceEnumeration* e = TestInterfaceEnumeration::Make(nullptr, &list);
    InterfaceIdentificationData array[10];
    long fetched = -1;
    EXPECT_EQ(e->Next(10, &fetched, array), S_FALSE);
    std::vector<std::uint32_t> ids = DrainInterfaces(array, fetched);
    e->Release();
    return ids;
}

} // namespace

TEST(CBInterfaceEnumeration, WalkNeverDeliversTheLastOfSeveral) {
    CountingUnknown unknown;
    EXPECT_EQ(WalkOf(1, unknown), (std::vector<std::uint32_t>{1}));
    EXPECT_EQ(WalkOf(2, unknown), (std::vector<std::uint32_t>{1}));
    EXPECT_EQ(WalkOf(3, unknown), (std::vector<std::uint32_t>{1, 2}));
    EXPECT_EQ(unknown.References(), 0);
}

TEST(CBInterfaceEnumeration, RecordsAreCopiesOwnedByTheCaller) {
    CountingUnknown unknown;
    CInterfaceList list;
    list.Add(&unknown, L"first", Iid(1));
    list.Add(nullptr, nullptr, Iid(2));
    list.Add(&unknown, L"third", Iid(3));
    TestInterfaceEnumeration* e = TestInterfaceEnumeration::Make(nullptr, &list);
    InterfaceIdentificationData array[2];
    long fetched = 0;
    EXPECT_EQ(e->Next(2, &fetched, array), S_OK);
    ASSERT_EQ(fetched, 2);
    EXPECT_EQ(array[0].pIUnknown, &unknown);
    EXPECT_EQ(std::wstring(array[0].Name), L"first");
    EXPECT_EQ(array[1].pIUnknown, nullptr);
    EXPECT_EQ(array[1].Name, nullptr);
    EXPECT_EQ(unknown.References(), 3);
    DrainInterfaces(array, fetched);
    EXPECT_EQ(e->Next(1, &fetched, array), S_FALSE);
    EXPECT_EQ(fetched, 0);
    e->Release();
}

TEST(CBInterfaceEnumeration, SkipResetCloneAndInvalidation) {
    CountingUnknown unknown;
    CInterfaceList list;
    for (std::uint32_t i = 1; i <= 3; ++i) {
        list.Add(&unknown, L"n", Iid(i));
    }
    TestInterfaceEnumeration* e = TestInterfaceEnumeration::Make(nullptr, &list);
    EXPECT_EQ(e->GetIndex(), 0);
    EXPECT_EQ(e->Skip(2), S_OK);
    EXPECT_EQ(e->GetIndex(), 2);
    EXPECT_EQ(e->Skip(1), S_FALSE);
    EXPECT_EQ(e->GetIndex(), -2);
    EXPECT_EQ(e->Skip(0), S_FALSE); // exhausted
    EXPECT_EQ(e->Reset(), S_OK);

    IKXInterfaceEnumeration* clone = nullptr;
    ASSERT_EQ(e->Clone(&clone), S_OK);
    ASSERT_NE(clone, nullptr);

    list.Add(&unknown, L"n", Iid(4));
    InterfaceIdentificationData array[4];
    long fetched = -1;
    EXPECT_EQ(e->Next(1, &fetched, array), S_FALSE);
    EXPECT_EQ(fetched, 0);
    EXPECT_EQ(e->Skip(1), S_FALSE);
    IKXInterfaceEnumeration* untouched = reinterpret_cast<IKXInterfaceEnumeration*>(0x20);
    EXPECT_EQ(clone->Clone(&untouched), S_FALSE);
    EXPECT_EQ(untouched, reinterpret_cast<IKXInterfaceEnumeration*>(0x20));
    EXPECT_EQ(e->Reset(), S_OK);
    EXPECT_EQ(e->Next(4, &fetched, array), S_FALSE);
    EXPECT_EQ(DrainInterfaces(array, fetched), (std::vector<std::uint32_t>{1, 2, 3}));

    EXPECT_TRUE(list.Remove(Iid(1)));
    EXPECT_EQ(e->Next(1, &fetched, array), S_FALSE);
    EXPECT_EQ(fetched, 0);
    clone->Release();
    e->Release();
    EXPECT_EQ(unknown.References(), 3);
}

TEST(CBInterfaceEnumeration, CannotBeSetUpOverAnEmptyList) {
    CountingUnknown unknown; // outlives the list, which releases it
    CInterfaceList list;
    try {
        TestInterfaceEnumeration::Make(nullptr, &list);
        ADD_FAILURE() << "no error raised";
    } catch (CErrorObject* error) {
        EXPECT_STREQ(error->GetCondition().GetString(), "HResult was invalid");
        EXPECT_EQ(error->GetErrorCode(), S_FALSE);
        EXPECT_EQ(error->GetLine(), 42);
        EXPECT_STREQ(error->GetFileName().GetString(),
                     "Base/Interfaces/_Src/CBInterfaceEnumeration");
        delete error;
    }
    // The list holds no dangling flag: a change must not touch freed memory.
    list.Add(&unknown, L"late", Iid(1));
    EXPECT_EQ(list.GetCount(), 1);
}

TEST(CBObjectEnumeration, RemovalBeforeTheFlagIsAddedStillInvalidates) {
    CountingUnknown unknown;
    TestRegistry registry;
    Register(registry, 1, &unknown);
    Register(registry, 2, &unknown);
    // A maker sets the enumerator up; before it adds the flag, another
    // party removes the record the enumerator stands on.
    auto* e = new TestObjectEnumeration();
    GUID any = GUID_ALL_ONES;
    e->SetMember(&any, nullptr, &registry.list);
    GUID key = MakeGuid(1);
    ASSERT_EQ(registry.UnregisterObject(&key, 0), S_OK);
    registry.list.AddEnumeration(e);

    ObjectIdentificationData array[2];
    long fetched = -1;
    EXPECT_EQ(e->Next(2, &fetched, array), S_FALSE);
    EXPECT_EQ(fetched, 0);
    EXPECT_EQ(e->Reset(), S_OK);
    EXPECT_EQ(e->Next(2, &fetched, array), S_FALSE);
    EXPECT_EQ(Drain(array, fetched), (std::vector<std::uint32_t>{2}));
    e->Release();
    EXPECT_EQ(unknown.References(), 1);
}
