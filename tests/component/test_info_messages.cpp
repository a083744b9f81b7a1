// Registration of a firmware application's info messages and of the two
// system-error messages with the application's message component, found
// from the origin through its linkage or, failing that, through the root.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <vector>

#include "IKXInfoControlling.h"
#include "KxInfoMessages.h"
#include "KxResultCodes.h"
#include "KxRoot.h"
#include "common/CatchError.h"
#include "common/CountingUnknown.h"
#include "common/FakeComponentManagement.h"
#include "common/FakeLinkage.h"
#include "common/RecordingDeviceCallbacks.h"
#include "common/TestInterfaceRegistry.h"

using namespace KxTamarind;
using KxTest::CatchError;
using KxTest::CountingUnknown;
using KxTest::FakeComponentManagement;
using KxTest::FakeLinkage;
using KxTest::RecordingDeviceCallbacks;
using KxTest::TestInterfaceRegistry;

namespace {

const GUID kMessageGuid = {0x0E0E0E0E, 0x1111, 0x2222, {3, 3, 4, 4, 5, 5, 6, 6}};
const char kMissingText[] =
    "Message registration isn't possible! The component for the registration of firmware "
    "application specific messages hasn't been found. Please go back to the config mode, add a "
    "AddInfoMessages component to the controller of this firmware application and start the "
    "test mode again!";

// A message component that keeps copies of the records it receives.
class FakeInfoControlling : public IKXInfoControlling {
public:
    FakeInfoControlling() = default;
    FakeInfoControlling(const FakeInfoControlling&) = delete;
    FakeInfoControlling& operator=(const FakeInfoControlling&) = delete;
    virtual ~FakeInfoControlling() { EXPECT_EQ(References(), 0); }

    HRESULT result = S_OK;
    int calls = 0;
    std::vector<KxInfoMessageData> received;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        if (ppv == nullptr) {
            return E_POINTER;
        }
        if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, __uuidof(IKXInfoControlling))) {
            AddRef();
            *ppv = static_cast<IKXInfoControlling*>(this);
            return S_OK;
        }
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override {
        return static_cast<ULONG>(m_lRefs.fetch_add(1, std::memory_order_relaxed) + 1);
    }
    ULONG STDMETHODCALLTYPE Release() override {
        return static_cast<ULONG>(m_lRefs.fetch_sub(1, std::memory_order_relaxed) - 1);
    }
    long References() const { return m_lRefs.load(std::memory_order_relaxed); }

    STDMETHOD(RegisterMessages)(long count, KxInfoMessageData* pMessages) override {
        ++calls;
        received.assign(pMessages, pMessages + count);
        return result;
    }

private:
    std::atomic<long> m_lRefs{0};
};

void PublishComponent(TestInterfaceRegistry& registry, IUnknown* component) {
    InterfaceIdentificationData record = {component, __uuidof(IKXInfoControlling), nullptr};
    ASSERT_EQ(registry.RegisterInterface(&record), S_OK);
}

struct RootGuard {
    RootGuard() { ReleaseRoot(); }
    ~RootGuard() { ReleaseRoot(); }
};

KxInfoMessageData Message(long code, long value) {
    KxInfoMessageData data;
    data.MessageCode = code;
    data.MessageValue = value;
    data.MessageGuid = kMessageGuid;
    return data;
}

} // namespace

TEST(InfoMessages, NoMessagesIsARepairedErrorAndSucceeds) {
    RecordingDeviceCallbacks device;
    FakeInfoControlling component;
    TestInterfaceRegistry root;
    PublishComponent(root, &component);
    RootGuard guard;
    SetRoot(&root);

    KxInfoMessageData data = Message(1, 2);
    EXPECT_EQ(RegisterInfoMessages(0, &data, nullptr), 0);
    EXPECT_EQ(RegisterInfoMessages(-3, nullptr, nullptr), 0);
    ASSERT_EQ(device.sent.size(), 2u);
    EXPECT_TRUE(device.sent[0].GetIsRepairedError());
    EXPECT_STREQ(device.sent[0].GetCondition().GetString(), "iMsgCount > 0");
    EXPECT_STREQ(device.sent[0].GetAdditionalInfo().GetString(),
                 "There are messages at all to be registered!");
    EXPECT_EQ(device.sent[0].GetErrorCode(), static_cast<long>(E_KX_HRESULT_ASSERT_FAILED));
    EXPECT_EQ(component.calls, 0);
    ReleaseRoot();
}

TEST(InfoMessages, NullOriginUsesTheRootsMessageComponent) {
    RecordingDeviceCallbacks device;
    FakeInfoControlling component;
    {
        TestInterfaceRegistry root;
        PublishComponent(root, &component);
        RootGuard guard;
        SetRoot(&root);

        KxInfoMessageData data[2] = {Message(10, 1), Message(11, 2)};
        EXPECT_EQ(RegisterInfoMessages(2, data, nullptr), S_OK);
        ASSERT_EQ(component.received.size(), 2u);
        EXPECT_EQ(component.received[1].MessageCode, 11);
        EXPECT_EQ(component.received[1].MessageValue, 2);
        EXPECT_TRUE(IsEqualGUID(component.received[1].MessageGuid, kMessageGuid));
        EXPECT_EQ(component.References(), 1); // only the registry's record
        EXPECT_TRUE(device.sent.empty());

        // An origin that is no component also ends up at the root.
        CountingUnknown plain;
        EXPECT_EQ(RegisterInfoMessages(1, data, &plain), S_OK);
        EXPECT_EQ(component.calls, 2);
        EXPECT_EQ(plain.References(), 0);
    }
    EXPECT_EQ(component.References(), 0);
}

TEST(InfoMessages, OriginFindsItsApplicationsComponentThroughTheLinkage) {
    RecordingDeviceCallbacks device;
    FakeInfoControlling applicationComponent;
    FakeInfoControlling rootComponent;
    FakeLinkage linkage;
    FakeComponentManagement origin;
    {
        TestInterfaceRegistry application; // the application's own object
        TestInterfaceRegistry root;
        PublishComponent(application, &applicationComponent);
        PublishComponent(root, &rootComponent);
        RootGuard guard;
        SetRoot(&root);
        linkage.AddLocationObject(0x0300, &application);
        origin.linkage = &linkage;
        origin.logicalLocation = 0x20305; // instrument 5 of application 3

        KxInfoMessageData data = Message(77, 3);
        EXPECT_EQ(RegisterInfoMessages(1, &data, &origin), S_OK);
        EXPECT_EQ(applicationComponent.calls, 1);
        EXPECT_EQ(rootComponent.calls, 0);
        EXPECT_EQ(linkage.lastLocation, 0x0300);
        EXPECT_EQ(linkage.lastReserved, 0);
        EXPECT_EQ(application.References(), 0);
        EXPECT_EQ(applicationComponent.References(), 1);
        EXPECT_TRUE(device.sent.empty());
    }
    EXPECT_EQ(origin.References(), 0);
    EXPECT_EQ(linkage.References(), 0);
}

TEST(InfoMessages, ApplicationWithoutComponentIsRepairedWithoutFallBack) {
    RecordingDeviceCallbacks device;
    FakeInfoControlling rootComponent;
    FakeLinkage linkage;
    FakeComponentManagement origin;
    CountingUnknown notAComponent; // published under the key, but no IKXInfoControlling
    {
        TestInterfaceRegistry application;
        TestInterfaceRegistry root;
        PublishComponent(root, &rootComponent);
        InterfaceIdentificationData record = {&notAComponent, __uuidof(IKXInfoControlling),
                                              nullptr};
        application.RegisterInterface(&record);
        RootGuard guard;
        SetRoot(&root);
        linkage.AddLocationObject(0x0400, &application);
        origin.linkage = &linkage;
        origin.logicalLocation = 0x0401;

        KxInfoMessageData data = Message(1, 1);
        EXPECT_EQ(RegisterInfoMessages(1, &data, &origin), E_NOINTERFACE);
        // An instrument whose application object is not in the linkage.
        origin.logicalLocation = 0x0501;
        EXPECT_EQ(RegisterInfoMessages(1, &data, &origin), E_NOINTERFACE);
        EXPECT_EQ(rootComponent.calls, 0);
        ASSERT_EQ(device.sent.size(), 2u);
        EXPECT_STREQ(device.sent[0].GetCondition().GetString(), "pIControl != __null");
        EXPECT_STREQ(device.sent[0].GetAdditionalInfo().GetString(), kMissingText);
        EXPECT_EQ(device.sent[0].GetErrorCode(), static_cast<long>(E_KX_HRESULT_ASSERT_FAILED));
        EXPECT_EQ(notAComponent.References(), 1);
        ReleaseRoot();
    }
    EXPECT_EQ(origin.References(), 0);
    EXPECT_EQ(linkage.References(), 0);
}

TEST(InfoMessages, NoRootAndNoOriginIsRepaired) {
    RecordingDeviceCallbacks device;
    RootGuard guard;
    KxInfoMessageData data = Message(1, 1);
    EXPECT_EQ(RegisterInfoMessages(1, &data, nullptr), E_NOINTERFACE);
    ASSERT_EQ(device.sent.size(), 1u);
    EXPECT_STREQ(device.sent[0].GetCondition().GetString(), "pIControl != __null");
    // Null records with a count are refused before any search.
    EXPECT_EQ(RegisterInfoMessages(2, nullptr, nullptr), E_POINTER);
    EXPECT_EQ(device.sent.size(), 1u);
}

TEST(InfoMessages, RefusedMessagesAreRaisedAndTheComponentReleased) {
    FakeInfoControlling component;
    component.result = E_OUTOFMEMORY;
    {
        TestInterfaceRegistry root;
        PublishComponent(root, &component);
        RootGuard guard;
        SetRoot(&root);
        KxInfoMessageData data = Message(5, 5);
        auto error = CatchError([&] { RegisterInfoMessages(1, &data, nullptr); });
        ASSERT_NE(error, nullptr);
        EXPECT_STREQ(error->GetCondition().GetString(),
                     "pIAddInfoMessages->RegisterMessages(iMsgCount,pMsgData) == S_OK");
        EXPECT_STREQ(error->GetAdditionalInfo().GetString(),
                     "Unable to add the new messages to the message list of this firmware "
                     "application");
        EXPECT_EQ(error->GetErrorCode(), static_cast<long>(E_OUTOFMEMORY));
        EXPECT_EQ(component.References(), 1);

        // S_FALSE is no success either.
        component.result = S_FALSE;
        error = CatchError([&] { RegisterInfoMessages(1, &data, nullptr); });
        ASSERT_NE(error, nullptr);
        EXPECT_EQ(error->GetErrorCode(), static_cast<long>(S_FALSE));
        EXPECT_EQ(component.References(), 1);
    }
    EXPECT_EQ(component.References(), 0);
}

TEST(SysErrors, OnlyTheTwoCodesAreRegisteredWithTheirGuidAndValue) {
    FakeInfoControlling component;
    {
        TestInterfaceRegistry root;
        PublishComponent(root, &component);
        RootGuard guard;
        EXPECT_EQ(RegisterSysError(257), E_NOINTERFACE); // no root: no component
        SetRoot(&root);

        EXPECT_EQ(RegisterSysError(256), E_POINTER);
        EXPECT_EQ(RegisterSysError(0), E_POINTER);
        EXPECT_EQ(component.calls, 0);

        EXPECT_EQ(GetSysErrorValue(257), 0); // default
        EXPECT_EQ(SetSysErrorValue(257, 31), S_OK);
        EXPECT_EQ(RegisterSysError(257), S_OK);
        ASSERT_EQ(component.received.size(), 1u);
        EXPECT_EQ(component.received[0].MessageCode, 257);
        EXPECT_EQ(component.received[0].MessageValue, 31);
        const GUID guid257 = {
            0xE86824BE, 0x644B, 0x408C, {0xB2, 0x3A, 0x16, 0x2D, 0x95, 0x77, 0x8D, 0xE1}};
        EXPECT_TRUE(IsEqualGUID(component.received[0].MessageGuid, guid257));

        component.result = S_FALSE; // the component's answer is returned
        EXPECT_EQ(RegisterSysError(258), S_FALSE);
        ASSERT_EQ(component.received.size(), 1u);
        EXPECT_EQ(component.received[0].MessageCode, 258);
        EXPECT_EQ(component.received[0].MessageValue, 0);
        const GUID guid258 = {
            0x62CAC29C, 0x0E30, 0x4CF1, {0xA6, 0x90, 0x49, 0x3D, 0xC8, 0x10, 0x01, 0x95}};
        EXPECT_TRUE(IsEqualGUID(component.received[0].MessageGuid, guid258));

        EXPECT_EQ(SetSysErrorValue(259, 1), E_INVALIDARG);
        EXPECT_EQ(GetSysErrorValue(259), 0);
        SetSysErrorValue(257, 0);
        EXPECT_EQ(component.References(), 1);
    }
    EXPECT_EQ(component.References(), 0);
}
