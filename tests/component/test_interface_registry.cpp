// The interface registry (CBInterfaceRegistration over an object data's
// interface list) and the free functions that publish in a given registry
// or in the root's.
#include <gtest/gtest.h>

#include "IKXInterfaceRegistration.h"
#include "KxInterfaceRegistry.h"
#include "KxResultCodes.h"
#include "KxRoot.h"
#include "common/CatchError.h"
#include "common/CountingUnknown.h"
#include "common/TestInterfaceRegistry.h"

using namespace KxTamarind;
using KxTest::CatchError;
using KxTest::CountingUnknown;
using KxTest::TestInterfaceRegistry;

namespace {

const char kRegistrationSource[] = "Base/Interfaces/_Src/CBInterfaceRegistration";
const GUID kIidA = {0xAAAA0001, 0x0001, 0x0001, {1, 0, 0, 0, 0, 0, 0, 1}};
const GUID kIidB = {0xBBBB0002, 0x0002, 0x0002, {2, 0, 0, 0, 0, 0, 0, 2}};
const GUID kIidUnknown = {0xCCCC0003, 0x0003, 0x0003, {3, 0, 0, 0, 0, 0, 0, 3}};

// Owns a BSTR for the length of a call, also when the call raises.
struct ScopedBstr {
    explicit ScopedBstr(const wchar_t* text) : value(SysAllocString(text)) {}
    ~ScopedBstr() { SysFreeString(value); }
    ScopedBstr(const ScopedBstr&) = delete;
    ScopedBstr& operator=(const ScopedBstr&) = delete;
    BSTR value;
};

HRESULT Publish(IKXInterfaceRegistration& registry, IUnknown* unknown, const GUID& iid,
                const wchar_t* name) {
    ScopedBstr ownName(name); // freed right after: the registry keeps its own copy
    InterfaceIdentificationData record;
    record.pIUnknown = unknown;
    record.Iid = iid;
    record.Name = ownName.value;
    return registry.RegisterInterface(&record);
}

void ExpectRaised(const std::unique_ptr<CErrorObject>& error, const char* condition, long code,
                  long line) {
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->GetCondition().GetString(), condition);
    EXPECT_STREQ(error->GetAdditionalInfo().GetString(), "");
    EXPECT_EQ(error->GetErrorCode(), code);
    EXPECT_EQ(error->GetLine(), line);
    EXPECT_STREQ(error->GetFileName().GetString(), kRegistrationSource);
}

struct RootGuard {
    RootGuard() { ReleaseRoot(); }
    ~RootGuard() { ReleaseRoot(); }
};

} // namespace

TEST(InterfaceRegistration, RegistryKeepsItsOwnReferenceAndName) {
    CountingUnknown published;
    {
        TestInterfaceRegistry registry;
        published.AddRef(); // the caller's own reference
        EXPECT_EQ(Publish(registry, &published, kIidA, L"Display"), S_OK);
        published.Release(); // ... given up right after registering
        EXPECT_EQ(published.References(), 1);
        EXPECT_EQ(registry.registeredCalls, 1);

        long count = 0;
        EXPECT_EQ(registry.GetInterfaceCount(&count), S_OK);
        EXPECT_EQ(count, 1);

        InterfaceIdentificationData data = {nullptr, GUID_NULL, nullptr};
        EXPECT_EQ(registry.GetInterfaceData(&kIidA, &data), S_OK);
        EXPECT_EQ(data.pIUnknown, &published);
        EXPECT_TRUE(IsEqualGUID(data.Iid, kIidA));
        ASSERT_NE(data.Name, nullptr);
        EXPECT_STREQ(data.Name, L"Display");
        EXPECT_EQ(SysStringLen(data.Name), 7u);
        data.pIUnknown->Release();
        SysFreeString(data.Name);

        IUnknown* found = nullptr;
        EXPECT_EQ(registry.GetInterface(&kIidA, &found), S_OK);
        EXPECT_EQ(found, &published);
        found->Release();
    }
    EXPECT_EQ(published.References(), 0); // the list gave its reference back
}

TEST(InterfaceRegistration, DuplicateIidsAreStoredAndRemovedOneAtATime) {
    CountingUnknown first;
    CountingUnknown second;
    TestInterfaceRegistry registry;
    EXPECT_EQ(Publish(registry, &first, kIidA, L"first"), S_OK);
    EXPECT_EQ(Publish(registry, &second, kIidA, L"second"), S_OK);
    long count = 0;
    registry.GetInterfaceCount(&count);
    EXPECT_EQ(count, 2);

    IUnknown* found = nullptr;
    EXPECT_EQ(registry.GetInterface(&kIidA, &found), S_OK);
    EXPECT_EQ(found, &first); // look-ups see the first
    found->Release();

    EXPECT_EQ(registry.UnregisterInterface(&kIidA), S_OK);
    EXPECT_EQ(registry.unregisteredCalls, 1);
    EXPECT_TRUE(IsEqualGUID(registry.lastUnregistered, kIidA));
    EXPECT_EQ(first.References(), 0);
    EXPECT_EQ(registry.GetInterface(&kIidA, &found), S_OK);
    EXPECT_EQ(found, &second);
    found->Release();
    registry.GetInterfaceCount(&count);
    EXPECT_EQ(count, 1);
}

TEST(InterfaceRegistration, UnknownIidsFindNothingAndCallNoHook) {
    CountingUnknown published;
    TestInterfaceRegistry registry;
    Publish(registry, &published, kIidA, L"a");

    EXPECT_EQ(registry.UnregisterInterface(&kIidUnknown), S_FALSE);
    EXPECT_EQ(registry.unregisteredCalls, 0);

    IUnknown* found = &published;
    EXPECT_EQ(registry.GetInterface(&kIidUnknown, &found), S_FALSE);
    EXPECT_EQ(found, nullptr);

    InterfaceIdentificationData data = {&published, GUID_NULL,
                                        reinterpret_cast<BSTR>(0x1)}; // overwritten, not freed
    EXPECT_EQ(registry.GetInterfaceData(&kIidUnknown, &data), S_FALSE);
    EXPECT_EQ(data.pIUnknown, nullptr);
    EXPECT_TRUE(IsEqualGUID(data.Iid, GUID_ALL_ONES));
    EXPECT_EQ(data.Name, nullptr);
    EXPECT_EQ(published.References(), 1);
}

TEST(InterfaceRegistration, EmptyRegistryRaisesForUnregisterAndDataButNotForLookups) {
    TestInterfaceRegistry registry;
    IUnknown* found = reinterpret_cast<IUnknown*>(0x1);
    EXPECT_EQ(registry.GetInterface(&kIidA, &found), S_FALSE);
    EXPECT_EQ(found, nullptr);
    IKXInterfaceEnumeration* enumeration = reinterpret_cast<IKXInterfaceEnumeration*>(0x1);
    EXPECT_EQ(registry.EnumInterface(&enumeration), S_FALSE);
    EXPECT_EQ(enumeration, nullptr);

    ExpectRaised(CatchError([&] { registry.UnregisterInterface(&kIidA); }), "iInterfaceCount > 0",
                 static_cast<long>(static_cast<HRESULT>(0x80001007u)), 39);
    InterfaceIdentificationData data;
    ExpectRaised(CatchError([&] { registry.GetInterfaceData(&kIidA, &data); }),
                 "iInterfaceCount > 0", static_cast<long>(E_KX_HRESULT_ASSERT_FAILED), 86);
    EXPECT_EQ(registry.unregisteredCalls, 0);
}

TEST(InterfaceRegistration, FailingHooksAreRaisedAfterTheChange) {
    CountingUnknown published;
    TestInterfaceRegistry registry;
    registry.registeredResult = E_ACCESSDENIED;
    ExpectRaised(CatchError([&] { Publish(registry, &published, kIidA, L"a"); }),
                 "HResult was invalid", static_cast<long>(E_ACCESSDENIED), 29);
    long count = 0;
    registry.GetInterfaceCount(&count);
    EXPECT_EQ(count, 1); // the record stays

    // S_FALSE from a hook is no failure.
    registry.registeredResult = S_FALSE;
    EXPECT_EQ(Publish(registry, &published, kIidB, L"b"), S_OK);

    registry.unregisteredResult = E_UNEXPECTED;
    ExpectRaised(CatchError([&] { registry.UnregisterInterface(&kIidA); }), "HResult was invalid",
                 static_cast<long>(E_UNEXPECTED), 53);
    registry.GetInterfaceCount(&count);
    EXPECT_EQ(count, 1); // the removal stays
    EXPECT_EQ(published.References(), 1);
}

TEST(InterfaceRegistration, RegistryWithoutObjectDataRaisesItsCountFailure) {
    TestInterfaceRegistry registry;
    registry.DropObjectData();
    long count = 7;
    EXPECT_EQ(registry.GetInterfaceCount(&count), E_FAIL);
    CountingUnknown published;
    EXPECT_EQ(Publish(registry, &published, kIidA, L"a"), E_FAIL);
    EXPECT_EQ(registry.registeredCalls, 0);

    IUnknown* found = nullptr;
    ExpectRaised(CatchError([&] { registry.GetInterface(&kIidA, &found); }), "HResult was invalid",
                 static_cast<long>(E_FAIL), 63);
    ExpectRaised(CatchError([&] { registry.UnregisterInterface(&kIidA); }), "HResult was invalid",
                 static_cast<long>(E_FAIL), 38);
    InterfaceIdentificationData data;
    ExpectRaised(CatchError([&] { registry.GetInterfaceData(&kIidA, &data); }),
                 "HResult was invalid", static_cast<long>(E_FAIL), 85);
    IKXInterfaceEnumeration* enumeration = nullptr;
    ExpectRaised(CatchError([&] { registry.EnumInterface(&enumeration); }), "HResult was invalid",
                 static_cast<long>(E_FAIL), 124);
    EXPECT_EQ(published.References(), 0);
}

TEST(InterfaceRegistration, NullArgumentsAreRejected) {
    TestInterfaceRegistry registry;
    IUnknown* found = nullptr;
    InterfaceIdentificationData data;
    EXPECT_EQ(registry.RegisterInterface(nullptr), E_POINTER);
    EXPECT_EQ(registry.UnregisterInterface(nullptr), E_POINTER);
    EXPECT_EQ(registry.GetInterface(nullptr, &found), E_POINTER);
    EXPECT_EQ(registry.GetInterface(&kIidA, nullptr), E_POINTER);
    EXPECT_EQ(registry.GetInterfaceData(nullptr, &data), E_POINTER);
    EXPECT_EQ(registry.GetInterfaceData(&kIidA, nullptr), E_POINTER);
    EXPECT_EQ(registry.GetInterfaceCount(nullptr), E_POINTER);
    EXPECT_EQ(registry.EnumInterface(nullptr), E_POINTER);
    EXPECT_EQ(registry.registeredCalls + registry.unregisteredCalls, 0);
}

TEST(InterfaceRegistration, EnumeratorWalksTheRegistry) {
    CountingUnknown published;
    TestInterfaceRegistry registry;
    Publish(registry, &published, kIidA, L"only");
    IKXInterfaceEnumeration* enumeration = nullptr;
    ASSERT_EQ(registry.EnumInterface(&enumeration), S_OK);
    ASSERT_NE(enumeration, nullptr);

    InterfaceIdentificationData data = {nullptr, GUID_NULL, nullptr};
    long fetched = 0;
    EXPECT_EQ(enumeration->Next(1, &fetched, &data), S_OK);
    EXPECT_EQ(fetched, 1);
    EXPECT_EQ(data.pIUnknown, &published);
    EXPECT_TRUE(IsEqualGUID(data.Iid, kIidA));
    EXPECT_STREQ(data.Name, L"only");
    data.pIUnknown->Release();
    SysFreeString(data.Name);
    enumeration->Release();
    EXPECT_EQ(published.References(), 1);
}

TEST(InterfaceRegistryFunctions, PublishInAGivenRegistry) {
    CountingUnknown published;
    TestInterfaceRegistry registry;
    CountingUnknown component; // offers the registry through QueryInterface
    component.Answer(__uuidof(IKXInterfaceRegistration), &registry);
    wchar_t name[] = L"Tuner";

    EXPECT_EQ(KxRegisterInterface(&registry, &published, &kIidA, name), S_OK);
    EXPECT_EQ(KxRegisterInterface(&component, &published, &kIidB, name), S_OK);
    EXPECT_EQ(published.References(), 2); // one per record, none kept by the call
    EXPECT_EQ(registry.References(), 0);
    EXPECT_EQ(component.References(), 0);

    EXPECT_EQ(KxUnregisterInterface(&component, &kIidA), S_OK);
    EXPECT_EQ(KxUnregisterInterface(&registry, &kIidA), S_FALSE);
    EXPECT_EQ(KxUnregisterInterface(&registry, &kIidB), S_OK);
    EXPECT_EQ(published.References(), 0);
    EXPECT_EQ(registry.References(), 0);
}

TEST(InterfaceRegistryFunctions, ObjectWithoutRegistryGivesEPointerAndChangesNothing) {
    CountingUnknown published;
    CountingUnknown plain;
    TestInterfaceRegistry root;
    wchar_t name[] = L"x";
    RootGuard guard;
    SetRoot(&root);

    EXPECT_EQ(KxRegisterInterface(&plain, &published, &kIidA, name), E_POINTER);
    EXPECT_EQ(KxUnregisterInterface(&plain, &kIidA), E_POINTER);
    long count = 0;
    root.GetInterfaceCount(&count);
    EXPECT_EQ(count, 0); // no fall-back to the root
    EXPECT_EQ(published.References(), 0);
    EXPECT_EQ(plain.References(), 0);
    // A null iid reaches no registry either.
    EXPECT_EQ(KxRegisterInterface(&root, &published, nullptr, name), E_POINTER);
    EXPECT_EQ(KxUnregisterInterface(&root, nullptr), E_POINTER);
    EXPECT_EQ(root.registeredCalls, 0);
    ReleaseRoot();
    EXPECT_EQ(root.References(), 0);
}

TEST(InterfaceRegistryFunctions, NullRegistryPublishesInTheRoots) {
    CountingUnknown published;
    TestInterfaceRegistry root;
    wchar_t name[] = L"Root published";
    {
        RootGuard guard;
        EXPECT_EQ(KxRegisterInterface(&published, &kIidA, name), E_POINTER); // no root yet
        EXPECT_EQ(KxUnregisterInterface(&kIidA), E_POINTER);
        EXPECT_EQ(published.References(), 0);

        SetRoot(&root);
        EXPECT_EQ(KxRegisterInterface(nullptr, &published, &kIidA, name), S_OK);
        EXPECT_EQ(KxRegisterInterface(&published, &kIidB, name), S_OK);
        IUnknown* found = nullptr;
        EXPECT_EQ(root.GetInterface(&kIidA, &found), S_OK);
        EXPECT_EQ(found, &published);
        found->Release();
        EXPECT_EQ(root.References(), 1); // only the root pointer's

        EXPECT_EQ(KxUnregisterInterface(nullptr, &kIidA), S_OK);
        EXPECT_EQ(KxUnregisterInterface(&kIidUnknown), S_FALSE);
        EXPECT_EQ(KxUnregisterInterface(&kIidB), S_OK);
    }
    EXPECT_EQ(published.References(), 0);
    EXPECT_EQ(root.References(), 0);
}
