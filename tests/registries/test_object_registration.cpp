// The object registry's results, hooks and raised errors.
#include <gtest/gtest.h>

#include "CErrorObject.h"
#include "CSmartObjectIdentificationData.h"
#include "common/CountingUnknown.h"
#include "registries/TestRegistry.h"

using namespace KxTamarind;
using KxTest::CountingUnknown;
using KxTest::TestRegistry;

namespace {

GUID MakeGuid(std::uint32_t n) {
    return GUID{n, 0xABCD, 0xEF01, {1, 1, 1, 1, 1, 1, 1, 1}};
}
const GUID kCatA = {0xCA7A0000, 0, 0, {0, 0, 0, 0, 0, 0, 0, 1}};
const GUID kCatB = {0xCA7B0000, 0, 0, {0, 0, 0, 0, 0, 0, 0, 2}};

HRESULT Register(TestRegistry& registry, std::uint32_t id, IUnknown* unknown,
                 const wchar_t* name = nullptr, long instance = 0,
                 const GUID& catId = GUID_ALL_ONES) {
    CComBSTR bstr(name);
    ObjectIdentificationData r;
    r.pIUnknown = unknown;
    r.ObjectGuid = MakeGuid(id);
    r.CatId = catId;
    r.SortIndex = -2;
    r.Name = bstr.m_str;
    r.InstanceNumber = instance;
    return registry.RegisterObject(&r);
}

// Runs `call`, expects a raised error and checks it; the record is deleted.
template <class Call>
void ExpectRaised(Call call, long line, HRESULT code, const char* condition) {
    try {
        call();
        ADD_FAILURE() << "no error raised";
    } catch (CErrorObject* error) {
        EXPECT_EQ(error->GetLine(), line);
        EXPECT_EQ(error->GetErrorCode(), code);
        EXPECT_STREQ(error->GetCondition().GetString(), condition);
        EXPECT_STREQ(error->GetFileName().GetString(), "Base/Interfaces/_Src/CBObjectRegistration");
        EXPECT_STREQ(error->GetAdditionalInfo().GetString(), "");
        delete error;
    }
}

} // namespace

TEST(CBObjectRegistration, DuplicateKeysAreStoredAndRemovedOneByOne) {
    CountingUnknown first;
    CountingUnknown second;
    {
        TestRegistry registry;
        EXPECT_EQ(Register(registry, 1, &first), S_OK);
        EXPECT_EQ(Register(registry, 1, &second), S_OK);
        EXPECT_EQ(registry.registered.load(), 2);
        long count = 0;
        EXPECT_EQ(registry.GetObjectCount(&count), S_OK);
        EXPECT_EQ(count, 2);

        GUID key = MakeGuid(1);
        EXPECT_EQ(registry.UnregisterObject(&key, 0), S_OK);
        EXPECT_EQ(first.References(), 0);
        EXPECT_EQ(second.References(), 1);
        EXPECT_EQ(registry.unregistered.load(), 1);
        EXPECT_TRUE(IsEqualGUID(registry.lastUnregisteredGuid, key));
        EXPECT_EQ(registry.UnregisterObject(&key, 0), S_OK);
        EXPECT_EQ(second.References(), 0);
        EXPECT_EQ(registry.UnregisterObject(&key, 0), S_FALSE);
        EXPECT_EQ(registry.unregistered.load(), 2); // not called for a miss
    }
}

TEST(CBObjectRegistration, InstanceWildcardAndUnknownKeys) {
    CountingUnknown unknown;
    TestRegistry registry;
    ASSERT_EQ(Register(registry, 5, &unknown, L"five", 9), S_OK);
    GUID key = MakeGuid(5);
    GUID other = MakeGuid(6);
    EXPECT_EQ(registry.UnregisterObject(&other, -1), S_FALSE);
    EXPECT_EQ(registry.unregistered.load(), 0);

    IUnknown* got = nullptr;
    EXPECT_EQ(registry.GetObject(&key, 9, &got), S_OK);
    EXPECT_EQ(got, &unknown);
    got->Release();
    EXPECT_EQ(registry.GetObject(&key, 8, &got), S_FALSE);
    EXPECT_EQ(got, nullptr);

    EXPECT_EQ(registry.UnregisterObject(&key, -1), S_OK);
    EXPECT_EQ(registry.lastUnregisteredInstance, -1);
    EXPECT_EQ(unknown.References(), 0);
}

TEST(CBObjectRegistration, GetObjectDataMovesOrResetsTheOutRecord) {
    CountingUnknown unknown;
    TestRegistry registry;
    GUID key = MakeGuid(3);
    CSmartObjectIdentificationData out;
    // Empty registry: defaults, S_FALSE.
    EXPECT_EQ(registry.GetObjectData(&key, 0, &out), S_FALSE);
    EXPECT_EQ(out.Data().SortIndex, -2);

    ASSERT_EQ(Register(registry, 3, &unknown, L"three", 0, kCatA), S_OK);
    EXPECT_EQ(registry.GetObjectData(&key, 0, &out), S_OK);
    EXPECT_EQ(out.Data().pIUnknown, &unknown);
    EXPECT_EQ(std::wstring(out.Data().Name), L"three");
    EXPECT_TRUE(IsEqualGUID(out.Data().CatId, kCatA));
    EXPECT_EQ(unknown.References(), 2);
    out.Clear();

    GUID missing = MakeGuid(4);
    EXPECT_EQ(registry.GetObjectData(&missing, -1, &out), S_FALSE);
    EXPECT_EQ(out.Data().pIUnknown, nullptr);
    EXPECT_TRUE(IsEqualGUID(out.Data().ObjectGuid, GUID_NULL));
    EXPECT_TRUE(IsEqualGUID(out.Data().CatId, GUID_ALL_ONES));
    EXPECT_EQ(out.Data().SortIndex, -2);
    EXPECT_EQ(out.Data().InstanceNumber, 0);
    EXPECT_EQ(out.Data().Name, nullptr);
    EXPECT_EQ(unknown.References(), 1);
    EXPECT_EQ(registry.GetObjectData(&key, 0, nullptr), E_POINTER);
}

TEST(CBObjectRegistration, LookupsByName) {
    CountingUnknown unknown;
    TestRegistry registry;
    ASSERT_EQ(Register(registry, 1, &unknown, L"Scope"), S_OK);
    wchar_t exact[] = L"Scope";
    wchar_t lower[] = L"scope";
    IUnknown* got = reinterpret_cast<IUnknown*>(1);
    EXPECT_EQ(registry.GetObjectByName(lower, &got), S_FALSE);
    EXPECT_EQ(got, nullptr);
    EXPECT_EQ(registry.GetObjectByName(exact, &got), S_OK);
    EXPECT_EQ(got, &unknown);
    got->Release();
    EXPECT_EQ(registry.GetObjectByName(exact, nullptr), S_FALSE);
    EXPECT_EQ(registry.GetObjectByName(nullptr, &got), S_FALSE);

    CSmartObjectIdentificationData out;
    EXPECT_EQ(registry.GetObjectDataByName(exact, &out), S_OK);
    EXPECT_EQ(out.Data().pIUnknown, &unknown);
    EXPECT_TRUE(IsEqualGUID(out.Data().ObjectGuid, MakeGuid(1)));
    out.Clear();
    EXPECT_EQ(registry.GetObjectDataByName(lower, &out), S_FALSE);
    EXPECT_EQ(out.Data().pIUnknown, nullptr);
    EXPECT_EQ(out.Data().SortIndex, -2);
    EXPECT_EQ(registry.GetObjectDataByName(exact, nullptr), S_FALSE);
    EXPECT_EQ(unknown.References(), 1);
}

TEST(CBObjectRegistration, BulkQueries) {
    CountingUnknown a;
    CountingUnknown b;
    TestRegistry registry;
    long count = -1;
    ObjectIdentificationData* array = reinterpret_cast<ObjectIdentificationData*>(1);
    EXPECT_EQ(registry.GetObjects(nullptr, &count, &array), S_OK);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(array, nullptr);

    ASSERT_EQ(Register(registry, 1, &a, L"a", 0, kCatA), S_OK);
    ASSERT_EQ(Register(registry, 2, &b, L"b", 0, kCatB), S_OK);
    GUID filterB = kCatB;
    EXPECT_EQ(registry.GetObjects(&filterB, &count, &array), S_OK);
    ASSERT_EQ(count, 1);
    EXPECT_EQ(array[0].pIUnknown, &b);
    EXPECT_EQ(std::wstring(array[0].Name), L"b");
    array[0].pIUnknown->Release();
    SysFreeString(array[0].Name);
    CoTaskMemFree(array);

    GUID nothing = {0x12345678, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};
    EXPECT_EQ(registry.GetObjects(&nothing, &count, &array), S_OK);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(array, nullptr);

    IUnknown** pointers = nullptr;
    EXPECT_EQ(registry.GetObjectsIUnknown(nullptr, &count, &pointers), S_OK);
    ASSERT_EQ(count, 2);
    EXPECT_EQ(pointers[0], &a);
    EXPECT_EQ(pointers[1], &b);
    pointers[0]->Release();
    pointers[1]->Release();
    CoTaskMemFree(pointers);
    EXPECT_EQ(a.References(), 1);
    EXPECT_EQ(b.References(), 1);
}

TEST(CBObjectRegistration, EnumObjectNeedsAMatch) {
    CountingUnknown unknown;
    TestRegistry registry;
    GUID any = GUID_ALL_ONES;
    GUID catA = kCatA;
    GUID catB = kCatB;
    IKXObjectEnumeration* e = reinterpret_cast<IKXObjectEnumeration*>(1);
    EXPECT_EQ(registry.EnumObject(&any, &e), S_FALSE);
    EXPECT_EQ(e, nullptr);

    ASSERT_EQ(Register(registry, 1, &unknown, L"x", 0, kCatA), S_OK);
    EXPECT_EQ(registry.EnumObject(&catB, &e), S_FALSE);
    EXPECT_EQ(e, nullptr);
    EXPECT_EQ(registry.EnumObject(&catA, &e), S_OK);
    ASSERT_NE(e, nullptr);
    e->Release();
    EXPECT_EQ(registry.EnumObject(&any, &e), S_OK);
    ASSERT_NE(e, nullptr);
    e->Release();
    EXPECT_EQ(KxTest::TestObjectEnumeration::Live().load(), 0);
    EXPECT_EQ(registry.refs.load(), 0);
}

TEST(CBObjectRegistration, WithoutAListResultsAndRaises) {
    TestRegistry registry;
    registry.SetObjectList(nullptr);
    CountingUnknown unknown;
    ObjectIdentificationData r;
    CSmartObjectIdentificationData::InitData(r);
    r.pIUnknown = &unknown;
    EXPECT_EQ(registry.RegisterObject(&r), E_FAIL);
    EXPECT_EQ(unknown.References(), 0);
    long count = 5;
    EXPECT_EQ(registry.GetObjectCount(&count), E_FAIL);
    GUID key = MakeGuid(1);
    EXPECT_EQ(registry.UnregisterObject(&key, 0), S_FALSE);
    IKXObjectEnumeration* e = reinterpret_cast<IKXObjectEnumeration*>(1);
    GUID any = GUID_ALL_ONES;
    EXPECT_EQ(registry.EnumObject(&any, &e), S_FALSE);
    EXPECT_EQ(e, nullptr);
    ObjectIdentificationData* array = reinterpret_cast<ObjectIdentificationData*>(1);
    EXPECT_EQ(registry.GetObjects(nullptr, &count, &array), S_OK);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(array, nullptr);

    IUnknown* got = nullptr;
    ExpectRaised([&] { registry.GetObject(&key, 0, &got); }, 74, E_FAIL, "HResult was invalid");
    CSmartObjectIdentificationData out;
    ExpectRaised([&] { registry.GetObjectData(&key, 0, &out); }, 132, E_FAIL,
                 "HResult was invalid");
}

TEST(CBObjectRegistration, FailingHooksAreRaisedAfterTheChange) {
    CountingUnknown unknown;
    TestRegistry registry;
    registry.registeredResult = E_ACCESSDENIED;
    ExpectRaised([&] { Register(registry, 1, &unknown); }, 42, E_ACCESSDENIED,
                 "HResult was invalid");
    EXPECT_EQ(registry.list.GetCount(), 1); // stored, not rolled back
    registry.unregisteredResult = E_UNEXPECTED;
    GUID key = MakeGuid(1);
    ExpectRaised([&] { registry.UnregisterObject(&key, 0); }, 64, E_UNEXPECTED,
                 "HResult was invalid");
    EXPECT_EQ(registry.list.GetCount(), 0); // removed, not rolled back
    EXPECT_EQ(unknown.References(), 0);

    // S_FALSE is not a failure.
    registry.registeredResult = S_FALSE;
    EXPECT_EQ(Register(registry, 2, &unknown), S_OK);
    EXPECT_EQ(registry.RegisterObject(nullptr), E_POINTER);
    registry.list.Remove(static_cast<IUnknown*>(&unknown));
    EXPECT_EQ(unknown.References(), 0);
}
