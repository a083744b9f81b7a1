// The interface registry (CBInterfaceRegistration over an object data's
// interface list), the free functions that publish in a given registry or in
// the root's, and the registration of info messages with the message
// component found in such a registry.
#include <gtest/gtest.h>

#include <vector>

#include "IKXInfoControlling.h"
#include "KxInfoMessages.h"
#include "KxInterfaceRegistry.h"
#include "KxRoot.h"
#include "TestComponent.h"
#include "common/CatchError.h"
#include "common/RecordingDeviceCallbacks.h"

using namespace KxTamarind;
using namespace KxTest;

namespace {

const char kSource[] = "Base/Interfaces/_Src/CBInterfaceRegistration";
const GUID kIidA = MakeGuid(0xAAAA0001, 1), kIidB = MakeGuid(0xBBBB0002, 2);

struct InterfaceRegistryTest : ::testing::Test {
    void TearDown() override {
        ReleaseRoot();
        EXPECT_EQ(registry->Release(), 0u);
        EXPECT_EQ(TestComponent::Live().load(), 0);
    }
    // The name is the caller's: the registry keeps a copy of its own.
    HRESULT Publish(IUnknown* unknown, const GUID& iid, const wchar_t* name = L"Display") {
        CComBSTR callersName(name);
        InterfaceIdentificationData record = {unknown, iid, callersName.m_str};
        return registry->RegisterInterface(&record);
    }
    long Count() {
        long count = -1;
        EXPECT_EQ(registry->GetInterfaceCount(&count), S_OK);
        return count;
    }
    CountingUnknown first, second; // outlive the registry
    TestCoClass coClass;
    RegistryObject* registry = RegistryObject::Create(&coClass.data);
};

TEST_F(InterfaceRegistryTest, KeepsItsOwnReferenceAndNameAndHandsOutCopies) {
    EXPECT_EQ(Publish(&first, kIidA), S_OK);
    EXPECT_EQ(
        std::make_tuple(first.References(), Count(), registry->calls[Hook_InterfaceRegistered]),
        std::make_tuple(1L, 1L, 1));
    InterfaceIdentificationData data = {}, next = {};
    IUnknown* found = nullptr;
    IKXInterfaceEnumeration* enumeration = nullptr;
    long fetched = 0;
    EXPECT_EQ(registry->GetInterfaceData(&kIidA, &data), S_OK);
    EXPECT_EQ(registry->GetInterface(&kIidA, &found), S_OK);
    ASSERT_EQ(registry->EnumInterface(&enumeration), S_OK);
    EXPECT_EQ(enumeration->Next(1, &fetched, &next), S_OK);
    for (const InterfaceIdentificationData& record : {data, next}) {
        EXPECT_TRUE(IsEqualGUID(record.Iid, kIidA));
        EXPECT_EQ(
            std::make_pair(record.pIUnknown, std::wstring(record.Name, SysStringLen(record.Name))),
            std::make_pair(static_cast<IUnknown*>(&first), std::wstring(L"Display")));
        record.pIUnknown->Release();
        SysFreeString(record.Name);
    }
    EXPECT_EQ(found, &first);
    found->Release();
    enumeration->Release();
    EXPECT_EQ(first.References(), 1); // given back when the registry goes

    // Unknown identifiers find nothing and call no hook; an out-record is
    // overwritten, not freed.
    data = {&first, GUID_NULL, reinterpret_cast<BSTR>(0x1)};
    EXPECT_EQ(registry->UnregisterInterface(&kIidB), S_FALSE);
    EXPECT_EQ(registry->GetInterface(&kIidB, &found), S_FALSE);
    EXPECT_EQ(registry->GetInterfaceData(&kIidB, &data), S_FALSE);
    EXPECT_EQ(std::make_tuple(found, data.pIUnknown, data.Name,
                              registry->calls[Hook_InterfaceUnregistered]),
              std::make_tuple(nullptr, nullptr, nullptr, 0));
    EXPECT_TRUE(IsEqualGUID(data.Iid, GUID_ALL_ONES));
}

TEST_F(InterfaceRegistryTest, DuplicatesAreStoredAndRemovedOneAtATime) {
    EXPECT_EQ(Publish(&first, kIidA, L"first"), S_OK);
    EXPECT_EQ(Publish(&second, kIidA, L"second"), S_OK);
    for (CountingUnknown* expected : {&first, &second}) {
        IUnknown* found = nullptr;
        EXPECT_EQ(registry->GetInterface(&kIidA, &found), S_OK); // look-ups see the first
        EXPECT_EQ(found, expected);
        found->Release();
        EXPECT_EQ(registry->UnregisterInterface(&kIidA), S_OK);
        EXPECT_EQ(expected->References(), 0);
        EXPECT_TRUE(IsEqualGUID(registry->lastUnregistered, kIidA));
    }
    EXPECT_EQ(Count(), 0);
}

// The raised failures, with the line numbers the device log shows.
TEST_F(InterfaceRegistryTest, EmptyRegistryAndFailingHooksAreRaised) {
    IUnknown* found = reinterpret_cast<IUnknown*>(0x1);
    IKXInterfaceEnumeration* enumeration = reinterpret_cast<IKXInterfaceEnumeration*>(0x1);
    InterfaceIdentificationData data;
    EXPECT_EQ(registry->GetInterface(&kIidA, &found), S_FALSE); // empty: look-ups answer
    EXPECT_EQ(registry->EnumInterface(&enumeration), S_FALSE);
    EXPECT_EQ(std::make_tuple(found, enumeration), std::make_tuple(nullptr, nullptr));
    ExpectError(CatchError([&] { registry->UnregisterInterface(&kIidA); }), "iInterfaceCount > 0",
                "", E_KX_HRESULT_ASSERT_FAILED, kSource, 39);
    ExpectError(CatchError([&] { registry->GetInterfaceData(&kIidA, &data); }),
                "iInterfaceCount > 0", "", E_KX_HRESULT_ASSERT_FAILED, kSource, 86);
    // A failing hook is raised after the change, which stays; S_FALSE is no
    // failure.
    registry->results[Hook_InterfaceRegistered] = E_ACCESSDENIED;
    ExpectError(CatchError([&] { Publish(&first, kIidA); }), "HResult was invalid", "",
                E_ACCESSDENIED, kSource, 29);
    registry->results[Hook_InterfaceRegistered] = S_FALSE;
    EXPECT_EQ(Publish(&first, kIidB), S_OK);
    registry->results[Hook_InterfaceUnregistered] = E_UNEXPECTED;
    ExpectError(CatchError([&] { registry->UnregisterInterface(&kIidA); }), "HResult was invalid",
                "", E_UNEXPECTED, kSource, 53);
    EXPECT_EQ(std::make_pair(Count(), first.References()), std::make_pair(1L, 1L));
    // Without object data there is no list: counted as E_FAIL and raised.
    auto* bare = RegistryObject::Create(&coClass.data, false);
    long count = 0;
    EXPECT_EQ(bare->GetInterfaceCount(&count), E_FAIL);
    ExpectError(CatchError([&] { bare->GetInterface(&kIidA, &found); }), "HResult was invalid", "",
                E_FAIL, kSource, 63);
    EXPECT_EQ(bare->Release(), 0u);
}

TEST_F(InterfaceRegistryTest, NullArgumentsAreRejected) {
    IUnknown* found = nullptr;
    InterfaceIdentificationData data;
    const HRESULT results[] = {registry->RegisterInterface(nullptr),
                               registry->UnregisterInterface(nullptr),
                               registry->GetInterface(nullptr, &found),
                               registry->GetInterface(&kIidA, nullptr),
                               registry->GetInterfaceData(nullptr, &data),
                               registry->GetInterfaceData(&kIidA, nullptr),
                               registry->GetInterfaceCount(nullptr),
                               registry->EnumInterface(nullptr),
                               KxRegisterInterface(registry->Identity(), &first, nullptr, nullptr),
                               KxUnregisterInterface(registry->Identity(), nullptr)};
    EXPECT_EQ(std::vector<HRESULT>(results, results + 10), std::vector<HRESULT>(10, E_POINTER));
    EXPECT_EQ(Count(), 0);
}

TEST_F(InterfaceRegistryTest, FreeFunctionsPublishInTheGivenRegistryOrInTheRoots) {
    wchar_t name[] = L"Tuner";
    CountingUnknown plain; // no registry: E_POINTER, no fall-back to the root
    EXPECT_EQ(KxRegisterInterface(&first, &kIidA, name), E_POINTER); // no root yet
    EXPECT_EQ(KxUnregisterInterface(&kIidA), E_POINTER);
    SetRoot(registry->Identity());
    EXPECT_EQ(KxRegisterInterface(&plain, &first, &kIidA, name), E_POINTER);
    EXPECT_EQ(KxUnregisterInterface(&plain, &kIidA), E_POINTER);
    EXPECT_EQ(KxRegisterInterface(nullptr, &first, &kIidA, name), S_OK); // null: the root's
    EXPECT_EQ(KxRegisterInterface(&first, &kIidB, name), S_OK);
    EXPECT_EQ(KxRegisterInterface(registry->Identity(), &second, &kIidA, name), S_OK);
    EXPECT_EQ(std::make_tuple(Count(), first.References(), second.References(),
                              Ref(registry->Identity())),
              std::make_tuple(3L, 2L, 1L, 2u)); // one per record; the test's and the root's
    EXPECT_EQ(KxUnregisterInterface(nullptr, &kIidA), S_OK);
    EXPECT_EQ(KxUnregisterInterface(registry->Identity(), &kIidA), S_OK);
    EXPECT_EQ(KxUnregisterInterface(&kIidA), S_FALSE);
    EXPECT_EQ(KxUnregisterInterface(&kIidB), S_OK);
    EXPECT_EQ(first.References() + second.References() + plain.References(), 0);
}

// --- Info messages and system errors ---

// A message component that keeps copies of the records it receives.
struct FakeInfoControlling : Counted<IKXInfoControlling> {
    FakeInfoControlling() { Answer(__uuidof(IKXInfoControlling), this); }
    STDMETHOD(RegisterMessages)(long count, KxInfoMessageData* pMessages) override {
        ++calls;
        received.assign(pMessages, pMessages + count);
        return result;
    }
    HRESULT result = S_OK;
    std::vector<KxInfoMessageData> received; // by the last call
    int calls = 0;
};

struct InfoMessagesTest : InterfaceRegistryTest {
    void SetUp() override {
        ASSERT_EQ(Publish(&rootComponent, __uuidof(IKXInfoControlling)), S_OK);
        SetRoot(registry->Identity());
    }
    RecordingDeviceCallbacks device;
    FakeInfoControlling rootComponent;
    KxInfoMessageData data[2] = {{10, 110, kIidA}, {11, 111, kIidB}};
};

TEST_F(InfoMessagesTest, WithoutAnOriginTheRootsComponentRegistersThem) {
    CountingUnknown plain; // an origin that is no component ends up at the root too
    EXPECT_EQ(RegisterInfoMessages(2, data, nullptr), S_OK);
    EXPECT_EQ(RegisterInfoMessages(2, data, &plain), S_OK);
    ASSERT_EQ(rootComponent.received.size(), 2u);
    EXPECT_EQ(std::make_pair(rootComponent.received[1].MessageCode,
                             rootComponent.received[1].MessageValue),
              std::make_pair(11L, 111L));
    EXPECT_TRUE(IsEqualGUID(rootComponent.received[1].MessageGuid, kIidB));
    EXPECT_EQ(rootComponent.References() + plain.References(), 1); // the registry's record
    // No messages: a repaired error, and success; null records with a count
    // are refused before any search.
    EXPECT_EQ(RegisterInfoMessages(0, data, nullptr), S_OK);
    EXPECT_EQ(RegisterInfoMessages(-3, nullptr, nullptr), S_OK);
    EXPECT_EQ(RegisterInfoMessages(2, nullptr, nullptr), E_POINTER);
    EXPECT_EQ(rootComponent.calls, 2);
    ASSERT_EQ(device.sent.size(), 2u);
    EXPECT_TRUE(device.sent[1].GetIsRepairedError());
    EXPECT_STREQ(device.sent[1].GetCondition().GetString(), "iMsgCount > 0");
    EXPECT_STREQ(device.sent[1].GetAdditionalInfo().GetString(),
                 "There are messages at all to be registered!");
    EXPECT_EQ(device.sent[1].GetErrorCode(), E_KX_HRESULT_ASSERT_FAILED);
}

// An origin finds the component of its own application, the object at the
// application's location (instrument slot 0) in its linkage, and no other;
// a refusal is raised.
TEST_F(InfoMessagesTest, AnOriginFindsItsApplicationsComponentAndNoOther) {
    FakeInfoControlling applicationComponent;
    CountingUnknown notAComponent; // published under the key, without IKXInfoControlling
    FakeLinkage linkage;
    auto* application = RegistryObject::Create(&coClass.data);
    auto* other = RegistryObject::Create(&coClass.data);
    auto* origin = TestComponentObject::Create(&coClass.data);
    InterfaceIdentificationData records[] = {
        {&applicationComponent, __uuidof(IKXInfoControlling), nullptr},
        {&notAComponent, __uuidof(IKXInfoControlling), nullptr}};
    ASSERT_EQ(application->RegisterInterface(&records[0]), S_OK);
    ASSERT_EQ(other->RegisterInterface(&records[1]), S_OK);
    linkage.locations = {{0x0300, application->Identity()}, {0x0400, other->Identity()}};
    for (long location : {0x20305L, 0x0401L, 0x0501L}) {
        ASSERT_EQ(origin->PutReferences(nullptr, &linkage, 1, location), S_OK);
        EXPECT_EQ(RegisterInfoMessages(1, data, origin->Identity()),
                  location == 0x20305 ? S_OK : E_NOINTERFACE);
    }
    ASSERT_EQ(origin->PutReferences(nullptr, &linkage, 1, 0x0301), S_OK);
    applicationComponent.result = S_FALSE; // no success either
    ExpectError(CatchError([&] { RegisterInfoMessages(1, data, origin->Identity()); }),
                "pIAddInfoMessages->RegisterMessages(iMsgCount,pMsgData) == S_OK",
                "Unable to add the new messages to the message list of this firmware application",
                S_FALSE);
    EXPECT_EQ(std::make_pair(applicationComponent.calls, rootComponent.calls),
              std::make_pair(2, 0));
    EXPECT_EQ(linkage.calls,
              (Calls{"Location 300 0", "Location 400 0", "Location 500 0", "Location 300 0"}));
    ASSERT_EQ(device.sent.size(), 2u);
    EXPECT_STREQ(device.sent[1].GetCondition().GetString(), "pIControl != __null");
    EXPECT_STREQ(device.sent[1].GetAdditionalInfo().GetString(),
                 "Message registration isn't possible! The component for the registration of "
                 "firmware application specific messages hasn't been found. Please go back to the "
                 "config mode, add a AddInfoMessages component to the controller of this firmware "
                 "application and start the test mode again!");
    EXPECT_EQ(device.sent[1].GetErrorCode(), E_KX_HRESULT_ASSERT_FAILED);
    ASSERT_EQ(origin->ReleaseReferences(), S_OK);
    EXPECT_EQ(application->Release() + other->Release() + origin->Release(), 0u);
    EXPECT_EQ(applicationComponent.References() + notAComponent.References(), 0);
}

TEST_F(InfoMessagesTest, OnlyTheTwoSystemErrorsAreRegisteredWithTheirGuidAndValue) {
    EXPECT_EQ(std::make_tuple(RegisterSysError(256), RegisterSysError(0), SetSysErrorValue(259, 1),
                              GetSysErrorValue(259), GetSysErrorValue(257)),
              std::make_tuple(E_POINTER, E_POINTER, E_INVALIDARG, 0L, 0L));
    EXPECT_EQ(SetSysErrorValue(257, 31), S_OK);
    EXPECT_EQ(RegisterSysError(257), S_OK);
    EXPECT_EQ(rootComponent.received[0].MessageValue, 31);
    EXPECT_TRUE(IsEqualGUID(
        rootComponent.received[0].MessageGuid,
        {0xE86824BE, 0x644B, 0x408C, {0xB2, 0x3A, 0x16, 0x2D, 0x95, 0x77, 0x8D, 0xE1}}));
    rootComponent.result = S_FALSE; // the component's answer is returned
    EXPECT_EQ(RegisterSysError(258), S_FALSE);
    EXPECT_EQ(std::make_pair(rootComponent.received[0].MessageCode,
                             rootComponent.received[0].MessageValue),
              std::make_pair(258L, 0L));
    EXPECT_TRUE(IsEqualGUID(
        rootComponent.received[0].MessageGuid,
        {0x62CAC29C, 0x0E30, 0x4CF1, {0xA6, 0x90, 0x49, 0x3D, 0xC8, 0x10, 0x01, 0x95}}));
    ReleaseRoot();
    EXPECT_EQ(RegisterSysError(257), E_NOINTERFACE);                  // no root: no component
    EXPECT_EQ(RegisterInfoMessages(1, data, nullptr), E_NOINTERFACE); // repaired
    EXPECT_EQ(device.sent.size(), 1u);
}

} // namespace
