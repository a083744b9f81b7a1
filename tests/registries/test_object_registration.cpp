// The object registry: results of each operation against an empty registry,
// a filled one and one without a list; hooks and the errors raised when a
// hook fails; duplicate keys.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "CErrorObject.h"
#include "common/CatchError.h"
#include "common/CountingUnknown.h"
#include "registries/TestRegistry.h"

using namespace KxTamarind;
using namespace KxTest;

namespace {

// A raised record of CBObjectRegistration: line, code, condition.
void ExpectRaised(std::unique_ptr<CErrorObject> error, long line, HRESULT code) {
    ASSERT_NE(error, nullptr) << "no error raised";
    EXPECT_EQ(error->GetLine(), line);
    EXPECT_EQ(error->GetErrorCode(), code);
    EXPECT_STREQ(error->GetCondition().GetString(), "HResult was invalid");
    EXPECT_STREQ(error->GetFileName().GetString(), "Base/Interfaces/_Src/CBObjectRegistration");
    EXPECT_STREQ(error->GetAdditionalInfo().GetString(), "");
}

void ExpectEmptyRecord(const ObjectIdentificationData& d) {
    EXPECT_EQ(d.pIUnknown, nullptr);
    EXPECT_TRUE(IsEqualGUID(d.ObjectGuid, GUID_NULL));
    EXPECT_TRUE(IsEqualGUID(d.CatId, GUID_ALL_ONES));
    EXPECT_EQ(d.SortIndex, -2);
    EXPECT_EQ(d.Name, nullptr);
    EXPECT_EQ(d.InstanceNumber, 0);
}

} // namespace

// Every query, against Key(5) instance 9 named "Scope" in kCatA.
TEST(CBObjectRegistration, QueryResults) {
    CountingUnknown unknown;
    TestRegistry registry;
    ASSERT_EQ(Register(registry, 5, &unknown, kCatA, L"Scope", 9), S_OK);
    GUID key = Key(5);
    GUID other = Key(6);
    wchar_t exact[] = L"Scope";
    wchar_t lower[] = L"scope";
    struct Case {
        const char* name;
        std::function<HRESULT(IUnknown**)> call;
        HRESULT result;
    } cases[] = {
        {"GetObject by key", [&](IUnknown** p) { return registry.GetObject(&key, 9, p); }, S_OK},
        {"GetObject, any instance", [&](IUnknown** p) { return registry.GetObject(&key, -1, p); },
         S_OK},
        {"GetObject, other instance", [&](IUnknown** p) { return registry.GetObject(&key, 8, p); },
         S_FALSE},
        {"GetObject, other key", [&](IUnknown** p) { return registry.GetObject(&other, -1, p); },
         S_FALSE},
        {"GetObjectByName", [&](IUnknown** p) { return registry.GetObjectByName(exact, p); }, S_OK},
        {"GetObjectByName, case", [&](IUnknown** p) { return registry.GetObjectByName(lower, p); },
         S_FALSE},
        {"GetObjectByName, null name",
         [&](IUnknown** p) { return registry.GetObjectByName(nullptr, p); }, S_FALSE},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        IUnknown* got = reinterpret_cast<IUnknown*>(1);
        EXPECT_EQ(c.call(&got), c.result);
        EXPECT_EQ(got, c.result == S_OK ? &unknown : nullptr);
        if (got != nullptr) {
            got->Release();
        }
        EXPECT_EQ(unknown.References(), 1);
    }
    EXPECT_EQ(registry.GetObjectByName(exact, nullptr), S_FALSE);

    CSmartObjectIdentificationData out;
    EXPECT_EQ(registry.GetObjectData(&key, 9, &out), S_OK);
    EXPECT_EQ(out.Data().pIUnknown, &unknown);
    EXPECT_EQ(std::wstring(out.Data().Name), L"Scope");
    EXPECT_TRUE(IsEqualGUID(out.Data().CatId, kCatA));
    out.Clear(); // an [out] record: what it held is not released
    EXPECT_EQ(registry.GetObjectData(&other, -1, &out), S_FALSE); // a miss resets it
    ExpectEmptyRecord(out.Data());
    EXPECT_EQ(registry.GetObjectDataByName(exact, &out), S_OK);
    EXPECT_EQ(unknown.References(), 2);
    out.Clear();
    EXPECT_EQ(registry.GetObjectDataByName(lower, &out), S_FALSE);
    ExpectEmptyRecord(out.Data());
    EXPECT_EQ(registry.GetObjectData(&key, 0, nullptr), E_POINTER);
    EXPECT_EQ(registry.GetObjectDataByName(exact, nullptr), S_FALSE);

    EXPECT_EQ(registry.UnregisterObject(&other, -1), S_FALSE);
    EXPECT_EQ(registry.unregistered.load(), 0); // no hook for a miss
    EXPECT_EQ(registry.UnregisterObject(&key, -1), S_OK);
    EXPECT_EQ(registry.lastUnregisteredInstance, -1);
    EXPECT_TRUE(IsEqualGUID(registry.lastUnregisteredGuid, key));
    EXPECT_EQ(unknown.References(), 0);
}

TEST(CBObjectRegistration, DuplicateKeysAreStoredAndRemovedOneByOne) {
    CountingUnknown first;
    CountingUnknown second;
    TestRegistry registry;
    EXPECT_EQ(Register(registry, 1, &first), S_OK);
    EXPECT_EQ(Register(registry, 1, &second), S_OK);
    EXPECT_EQ(registry.registered.load(), 2);
    long count = 0;
    EXPECT_EQ(registry.GetObjectCount(&count), S_OK);
    EXPECT_EQ(count, 2);
    GUID key = Key(1);
    EXPECT_EQ(registry.UnregisterObject(&key, 0), S_OK);
    EXPECT_EQ(first.References(), 0); // the first registered goes first
    EXPECT_EQ(second.References(), 1);
    EXPECT_EQ(registry.UnregisterObject(&key, 0), S_OK);
    EXPECT_EQ(registry.UnregisterObject(&key, 0), S_FALSE);
    EXPECT_EQ(registry.unregistered.load(), 2);
}

TEST(CBObjectRegistration, BulkQueriesAndEnumObject) {
    CountingUnknown a;
    CountingUnknown b;
    TestRegistry registry;
    long count = -1;
    ObjectIdentificationData* array = reinterpret_cast<ObjectIdentificationData*>(1);
    EXPECT_EQ(registry.GetObjects(nullptr, &count, &array), S_OK);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(array, nullptr);
    GUID any = GUID_ALL_ONES;
    GUID catA = kCatA;
    GUID catB = kCatB;
    IKXObjectEnumeration* e = reinterpret_cast<IKXObjectEnumeration*>(1);
    EXPECT_EQ(registry.EnumObject(&any, &e), S_FALSE); // no match: no enumerator
    EXPECT_EQ(e, nullptr);

    ASSERT_EQ(Register(registry, 1, &a, kCatA, L"a"), S_OK);
    ASSERT_EQ(Register(registry, 2, &b, kCatA, L"b"), S_OK);
    EXPECT_EQ(registry.GetObjects(&catA, &count, &array), S_OK);
    EXPECT_EQ(Drain(array, count), (std::vector<std::uint32_t>{1, 2}));
    CoTaskMemFree(array);
    EXPECT_EQ(registry.GetObjects(&catB, &count, &array), S_OK);
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

    EXPECT_EQ(registry.EnumObject(&catB, &e), S_FALSE);
    EXPECT_EQ(e, nullptr);
    for (GUID* category : {&catA, &any}) {
        EXPECT_EQ(registry.EnumObject(category, &e), S_OK);
        ASSERT_NE(e, nullptr);
        e->Release();
    }
    EXPECT_EQ(TestObjectEnumeration::Live().load(), 0);
    EXPECT_EQ(registry.refs.load(), 0);
    registry.list.Remove(static_cast<IUnknown*>(&a));
}

TEST(CBObjectRegistration, WithoutAListResultsAndRaises) {
    CountingUnknown unknown;
    TestRegistry registry;
    registry.SetObjectList(nullptr);
    EXPECT_EQ(Register(registry, 1, &unknown), E_FAIL);
    EXPECT_EQ(unknown.References(), 0);
    long count = 5;
    EXPECT_EQ(registry.GetObjectCount(&count), E_FAIL);
    GUID key = Key(1);
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
    ExpectRaised(CatchError([&] { registry.GetObject(&key, 0, &got); }), 74, E_FAIL);
    CSmartObjectIdentificationData out;
    ExpectRaised(CatchError([&] { registry.GetObjectData(&key, 0, &out); }), 132, E_FAIL);
}

TEST(CBObjectRegistration, FailingHooksAreRaisedAfterTheChange) {
    CountingUnknown unknown;
    TestRegistry registry;
    registry.registeredResult = E_ACCESSDENIED;
    ExpectRaised(CatchError([&] { Register(registry, 1, &unknown); }), 42, E_ACCESSDENIED);
    EXPECT_EQ(registry.list.GetCount(), 1); // stored, not rolled back
    registry.unregisteredResult = E_UNEXPECTED;
    GUID key = Key(1);
    ExpectRaised(CatchError([&] { registry.UnregisterObject(&key, 0); }), 64, E_UNEXPECTED);
    EXPECT_EQ(registry.list.GetCount(), 0); // removed, not rolled back
    registry.registeredResult = S_FALSE;    // not a failure
    EXPECT_EQ(Register(registry, 2, &unknown), S_OK);
    EXPECT_EQ(registry.RegisterObject(nullptr), E_POINTER);
}
