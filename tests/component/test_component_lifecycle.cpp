// The component lifecycle: the state machine driven forward and back, calls
// out of order, failing hooks, the linkage registration and the
// registration at the supervisor's object registry.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <iterator>
#include <memory>
#include <string>

#include "CErrorObject.h"
#include "TestComponent.h"
#include "common/CatchError.h"
#include "common/CountingUnknown.h"

using namespace KxTamarind;
using KxTest::CatchError;
using KxTest::Hook_Connect;
using KxTest::Hook_CreateDynObjects;
using KxTest::Hook_Disconnect;
using KxTest::Hook_FinishConstruct;
using KxTest::Hook_InitializeOperation;
using KxTest::Hook_PutReferences;
using KxTest::Hook_ReleaseOperation;
using KxTest::Hook_ReleaseReferences;
using KxTest::Hook_StartDestruct;
using KxTest::MakeGuid;
using KxTest::MapLinkage;
using KxTest::SupervisorObject;
using KxTest::TestCoClass;
using KxTest::TestComponentObject;

namespace {

const char* const kSource = "Base/Interfaces/_Src/CBComponentManagement";
const GUID kObjectGuid = MakeGuid(0x0B1EC700, 1);

const char* StateCondition(InitializationState state) {
    switch (state) {
    case InitializationState_Created:
        return "m_pObjectData->m_eInitializationState == InitializationState_Created";
    case InitializationState_Constructed:
        return "m_pObjectData->m_eInitializationState == InitializationState_Constructed";
    case InitializationState_Initialized:
        return "m_pObjectData->m_eInitializationState == InitializationState_Initialized";
    case InitializationState_Connected:
        return "m_pObjectData->m_eInitializationState == InitializationState_Connected";
    }
    return "";
}

void ExpectRaised(const std::unique_ptr<CErrorObject>& error, const char* condition,
                  const char* message, long code) {
    ASSERT_NE(error, nullptr) << "expected a raised error: " << message;
    EXPECT_STREQ(error->GetCondition().GetString(), condition);
    EXPECT_STREQ(error->GetAdditionalInfo().GetString(), message);
    EXPECT_EQ(error->GetErrorCode(), code);
    EXPECT_STREQ(error->GetFileName().GetString(), kSource);
}

// A test component with one reference (the test's), released by the fixture.
class LifecycleTest : public ::testing::Test {
protected:
    void SetUp() override {
        object = TestComponentObject::Create(&coClass.data);
        ASSERT_NE(object, nullptr);
        SysFreeString(name);
        name = SysAllocString(L"Channel 1");
        ASSERT_EQ(object->SetObjectName(name), S_OK);
    }
    void TearDown() override {
        SysFreeString(name);
        if (object != nullptr) {
            EXPECT_EQ(object->Release(), 0u);
        }
        EXPECT_EQ(KxTest::TestComponent::Live().load(), 0);
    }

    // Created -> Constructed -> Initialized -> Connected (as far as `target`).
    void DriveTo(InitializationState target, IUnknown* supervisor = nullptr) {
        ASSERT_EQ(object->PutReferences(supervisor, &linkage, 7, 0x102), S_OK);
        GUID guid = kObjectGuid;
        ASSERT_EQ(object->SetObjectGuid(&guid), S_OK);
        if (target >= InitializationState_Constructed) {
            ASSERT_EQ(object->FinishConstruct(), S_OK);
        }
        if (target >= InitializationState_Initialized) {
            ASSERT_EQ(object->InitializeOperation(), S_OK);
        }
        if (target >= InitializationState_Connected) {
            ASSERT_EQ(object->Connect(), S_OK);
        }
        ASSERT_EQ(object->State(), target);
    }
    // Back to Created with the references dropped.
    void DriveDown() {
        if (object->State() == InitializationState_Connected) {
            ASSERT_EQ(object->Disconnect(), S_OK);
        }
        if (object->State() == InitializationState_Initialized) {
            ASSERT_EQ(object->ReleaseOperation(), S_OK);
        }
        if (object->State() == InitializationState_Constructed) {
            ASSERT_EQ(object->StartDestruct(), S_OK);
        }
        ASSERT_EQ(object->ReleaseReferences(), S_OK);
    }

    // Declared first: it outlives the component that holds it.
    MapLinkage linkage;
    TestCoClass coClass;
    TestComponentObject* object = nullptr;
    BSTR name = nullptr;
};

TEST_F(LifecycleTest, ForwardAndBackWithRegistrations) {
    TestCoClass supervisorClass;
    SupervisorObject* supervisor = SupervisorObject::Create(&supervisorClass.data);
    ASSERT_NE(supervisor, nullptr);
    IUnknown* supervisorUnknown = static_cast<IKXComponentManagement*>(supervisor);

    EXPECT_EQ(object->State(), InitializationState_Created);
    ASSERT_EQ(object->PutReferences(supervisorUnknown, &linkage, 7, 0x102), S_OK);
    EXPECT_EQ(object->calls[Hook_PutReferences], 1);
    EXPECT_EQ(supervisor->AddRef(), 3u); // the test's, the component's, this one
    supervisor->Release();
    EXPECT_EQ(linkage.References(), 1);
    GUID guid = kObjectGuid;
    ASSERT_EQ(object->SetObjectGuid(&guid), S_OK);
    EXPECT_EQ(object->State(), InitializationState_Created);

    // Constructed: in the linkage under its GUID and navigation handle.
    ASSERT_EQ(object->FinishConstruct(), S_OK);
    EXPECT_EQ(object->State(), InitializationState_Constructed);
    EXPECT_EQ(object->calls[Hook_FinishConstruct], 1);
    EXPECT_EQ(object->calls[Hook_CreateDynObjects], 1);
    ASSERT_TRUE(linkage.IsRegistered(kObjectGuid));
    EXPECT_EQ(linkage.registered[kObjectGuid], 7);

    // Initialized: registered at the supervisor, holding one reference there.
    ASSERT_EQ(object->InitializeOperation(), S_OK);
    EXPECT_EQ(object->State(), InitializationState_Initialized);
    EXPECT_EQ(supervisor->list.GetCount(), 1);
    EXPECT_EQ(supervisor->registeredCalls, 1);
    IUnknown* registered = supervisor->list.GetIUnknown(kObjectGuid, 0x102);
    ASSERT_EQ(registered, object->Identity());
    registered->Release();

    // Connect and Disconnect may cycle.
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(object->Connect(), S_OK);
        EXPECT_EQ(object->State(), InitializationState_Connected);
        ASSERT_EQ(object->Disconnect(), S_OK);
        EXPECT_EQ(object->State(), InitializationState_Initialized);
    }
    EXPECT_EQ(object->calls[Hook_Connect], 2);
    EXPECT_EQ(object->calls[Hook_Disconnect], 2);

    // So may InitializeOperation and ReleaseOperation.
    ASSERT_EQ(object->ReleaseOperation(), S_OK);
    EXPECT_EQ(object->State(), InitializationState_Constructed);
    EXPECT_EQ(supervisor->list.GetCount(), 0);
    EXPECT_EQ(supervisor->unregisteredCalls, 1);
    EXPECT_TRUE(IsEqualGUID(supervisor->lastUnregisteredGuid, kObjectGuid));
    EXPECT_EQ(supervisor->lastUnregisteredInstance, 0x102);
    ASSERT_EQ(object->InitializeOperation(), S_OK);
    EXPECT_EQ(supervisor->list.GetCount(), 1);
    ASSERT_EQ(object->ReleaseOperation(), S_OK);
    EXPECT_EQ(supervisor->list.GetCount(), 0);
    EXPECT_EQ(object->calls[Hook_InitializeOperation], 2);
    EXPECT_EQ(object->calls[Hook_ReleaseOperation], 2);

    // StartDestruct leaves the linkage; ReleaseReferences drops the wiring.
    ASSERT_EQ(object->StartDestruct(), S_OK);
    EXPECT_EQ(object->State(), InitializationState_Created);
    EXPECT_FALSE(linkage.IsRegistered(kObjectGuid));
    EXPECT_EQ(object->calls[Hook_StartDestruct], 1);
    ASSERT_EQ(object->ReleaseReferences(), S_OK);
    EXPECT_EQ(object->calls[Hook_ReleaseReferences], 1);
    EXPECT_EQ(object->State(), InitializationState_Created);
    EXPECT_EQ(linkage.References(), 0);
    EXPECT_EQ(object->Data().m_pIUnknownSupervisor, nullptr);
    EXPECT_EQ(object->Data().m_pIKXLinkage, nullptr);

    EXPECT_EQ(supervisor->Release(), 0u);
    EXPECT_EQ(KxTest::SupervisorComponent::Live().load(), 0);
}

// Every step called in a state it does not accept raises the step's state
// message with the condition of the state it requires; nothing changes.
struct StepCase {
    const char* name;
    HRESULT (IKXComponentManagement::*call)();
    InitializationState required;
    const char* message;
};

HRESULT CallPutReferences(IKXComponentManagement* o) {
    return o->PutReferences(nullptr, nullptr, 0, 0);
}

void ExpectRejectedSteps(TestComponentObject* object, InitializationState state) {
    const StepCase steps[] = {
        {"FinishConstruct", &IKXComponentManagement::FinishConstruct, InitializationState_Created,
         "invalid state while FinishConstruct"},
        {"InitializeOperation", &IKXComponentManagement::InitializeOperation,
         InitializationState_Constructed, "invalid state while InitializeOperation"},
        {"Connect", &IKXComponentManagement::Connect, InitializationState_Initialized,
         "invalid state while Connect"},
        {"Disconnect", &IKXComponentManagement::Disconnect, InitializationState_Connected,
         "invalid state while Disconnect"},
        {"ReleaseOperation", &IKXComponentManagement::ReleaseOperation,
         InitializationState_Initialized, "invalid state while ReleaseOperation"},
        {"StartDestruct", &IKXComponentManagement::StartDestruct, InitializationState_Constructed,
         "invalid state while StartDestruct"},
        {"ReleaseReferences", &IKXComponentManagement::ReleaseReferences,
         InitializationState_Created, "invalid state while ReleaseReferences"},
    };
    IKXComponentManagement* management = object;
    int hooksBefore[KxTest::Hook_Count];
    std::copy(std::begin(object->calls), std::end(object->calls), hooksBefore);
    for (const StepCase& step : steps) {
        if (step.required == state) {
            continue;
        }
        SCOPED_TRACE(step.name);
        auto error = CatchError([&] { (management->*step.call)(); });
        ExpectRaised(error, StateCondition(step.required), step.message,
                     E_KX_HRESULT_ASSERT_FAILED);
        EXPECT_EQ(object->State(), state);
    }
    if (state != InitializationState_Created) {
        SCOPED_TRACE("PutReferences");
        auto error = CatchError([&] { CallPutReferences(management); });
        ExpectRaised(error, StateCondition(InitializationState_Created),
                     "invalid state while PutReferences", E_KX_HRESULT_ASSERT_FAILED);
        EXPECT_EQ(object->State(), state);
    }
    // No hook ran for a rejected step.
    EXPECT_TRUE(std::equal(std::begin(object->calls), std::end(object->calls), hooksBefore));
}

TEST_F(LifecycleTest, StepsRejectedWhileCreated) {
    DriveTo(InitializationState_Created);
    ExpectRejectedSteps(object, InitializationState_Created); // 5 raised
    DriveDown();
}

TEST_F(LifecycleTest, StepsRejectedWhileConstructed) {
    DriveTo(InitializationState_Constructed);
    ExpectRejectedSteps(object, InitializationState_Constructed); // 5 raised
    DriveDown();
}

TEST_F(LifecycleTest, StepsRejectedWhileInitialized) {
    DriveTo(InitializationState_Initialized);
    ExpectRejectedSteps(object, InitializationState_Initialized); // 6 raised
    DriveDown();
}

TEST_F(LifecycleTest, StepsRejectedWhileConnected) {
    DriveTo(InitializationState_Connected);
    ExpectRejectedSteps(object, InitializationState_Connected); // 7 raised
    DriveDown();
}

// A failing hook raises its own code with the step's hook texts; the state
// stays, and the step succeeds once the hook does.
TEST_F(LifecycleTest, FailingHooksOnTheWayUp) {
    object->results[Hook_PutReferences] = E_FAIL;
    ExpectRaised(CatchError([&] { object->PutReferences(nullptr, &linkage, 7, 0x102); }),
                 "DoPutReferences() == S_OK",
                 "DoPutReferences in component specific implementation failed", E_FAIL);
    EXPECT_EQ(object->State(), InitializationState_Created);
    object->results[Hook_PutReferences] = S_OK;
    DriveTo(InitializationState_Created);

    object->results[Hook_FinishConstruct] = static_cast<HRESULT>(0x80040001);
    ExpectRaised(CatchError([&] { object->FinishConstruct(); }), "DoFinishConstruct() == S_OK",
                 "DoFinishConstruct in component specific implementation failed",
                 static_cast<HRESULT>(0x80040001));
    EXPECT_EQ(object->State(), InitializationState_Created);
    EXPECT_EQ(object->calls[Hook_CreateDynObjects], 0);
    object->results[Hook_FinishConstruct] = S_OK;
    ASSERT_EQ(object->FinishConstruct(), S_OK);

    // S_FALSE from a hook is a failure too.
    object->results[Hook_InitializeOperation] = S_FALSE;
    ExpectRaised(CatchError([&] { object->InitializeOperation(); }),
                 "DoInitializeOperation() == S_OK",
                 "DoInitializeOperation in component specific implementation failed", S_FALSE);
    EXPECT_EQ(object->State(), InitializationState_Constructed);
    object->results[Hook_InitializeOperation] = S_OK;
    ASSERT_EQ(object->InitializeOperation(), S_OK);

    object->results[Hook_Connect] = E_NOTIMPL;
    ExpectRaised(CatchError([&] { object->Connect(); }), "DoConnect() == S_OK",
                 "DoConnect in component specific implementation failed", E_NOTIMPL);
    EXPECT_EQ(object->State(), InitializationState_Initialized);
    object->results[Hook_Connect] = S_OK;
    ASSERT_EQ(object->Connect(), S_OK);
    DriveDown();
}

TEST_F(LifecycleTest, FailingHooksOnTheWayDown) {
    DriveTo(InitializationState_Connected);
    object->results[Hook_Disconnect] = E_ABORT;
    ExpectRaised(CatchError([&] { object->Disconnect(); }), "DoDisconnect() == S_OK",
                 "DoDisconnect in component specific implementation failed", E_ABORT);
    EXPECT_EQ(object->State(), InitializationState_Connected);
    object->results[Hook_Disconnect] = S_OK;
    ASSERT_EQ(object->Disconnect(), S_OK);

    object->results[Hook_ReleaseOperation] = E_UNEXPECTED;
    ExpectRaised(CatchError([&] { object->ReleaseOperation(); }), "DoReleaseOperation() == S_OK",
                 "DoReleaseOperation in component specific implementation failed", E_UNEXPECTED);
    EXPECT_EQ(object->State(), InitializationState_Initialized);
    object->results[Hook_ReleaseOperation] = S_OK;
    ASSERT_EQ(object->ReleaseOperation(), S_OK);

    object->results[Hook_StartDestruct] = E_ACCESSDENIED;
    ExpectRaised(CatchError([&] { object->StartDestruct(); }), "DoStartDestruct() == S_OK",
                 "DoStartDestruct in component specific implementation failed", E_ACCESSDENIED);
    EXPECT_EQ(object->State(), InitializationState_Constructed);
    EXPECT_TRUE(linkage.IsRegistered(kObjectGuid)); // still in the linkage
    object->results[Hook_StartDestruct] = S_OK;
    ASSERT_EQ(object->StartDestruct(), S_OK);

    object->results[Hook_ReleaseReferences] = E_PENDING;
    ExpectRaised(CatchError([&] { object->ReleaseReferences(); }), "DoReleaseReferences() == S_OK",
                 "DoReleaseReferences in component specific implementation failed", E_PENDING);
    EXPECT_EQ(linkage.References(), 1); // the references are kept
    object->results[Hook_ReleaseReferences] = S_OK;
    ASSERT_EQ(object->ReleaseReferences(), S_OK);
    EXPECT_EQ(linkage.References(), 0);
}

TEST_F(LifecycleTest, PutReferencesReplacesTheWiring) {
    KxTest::CountingUnknown first;
    KxTest::CountingUnknown second;
    MapLinkage otherLinkage;
    ASSERT_EQ(object->PutReferences(&first, &linkage, 1, 2), S_OK);
    EXPECT_EQ(first.References(), 1);
    EXPECT_EQ(linkage.References(), 1);
    // The same objects again: still one reference each.
    ASSERT_EQ(object->PutReferences(&first, &linkage, 3, 4), S_OK);
    EXPECT_EQ(first.References(), 1);
    EXPECT_EQ(linkage.References(), 1);
    ASSERT_EQ(object->PutReferences(&second, &otherLinkage, 5, 6), S_OK);
    EXPECT_EQ(first.References(), 0);
    EXPECT_EQ(linkage.References(), 0);
    EXPECT_EQ(second.References(), 1);
    EXPECT_EQ(otherLinkage.References(), 1);
    long value = 0;
    ASSERT_EQ(object->GetNavigationHandle(&value), S_OK);
    EXPECT_EQ(value, 5);
    ASSERT_EQ(object->GetLogicalLocation(&value), S_OK);
    EXPECT_EQ(value, 6);
    // Null references clear the wiring.
    ASSERT_EQ(object->PutReferences(nullptr, nullptr, 0, 0), S_OK);
    EXPECT_EQ(second.References(), 0);
    EXPECT_EQ(otherLinkage.References(), 0);
    EXPECT_EQ(object->calls[Hook_PutReferences], 4);
}

// --- Linkage registration ---

TEST_F(LifecycleTest, NoLinkageRegistrationWithoutHandleLinkageOrGuid) {
    GUID guid = kObjectGuid;
    struct Case {
        const char* name;
        bool withLinkage;
        long handle;
        bool withGuid;
    } cases[] = {{"no navigation handle", true, 0, true},
                 {"no linkage", false, 7, true},
                 {"null GUID", true, 7, false}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_EQ(object->PutReferences(nullptr, c.withLinkage ? &linkage : nullptr, c.handle, 1),
                  S_OK);
        GUID value = c.withGuid ? guid : GUID_NULL;
        ASSERT_EQ(object->SetObjectGuid(&value), S_OK);
        ASSERT_EQ(object->FinishConstruct(), S_OK);
        EXPECT_EQ(object->State(), InitializationState_Constructed);
        ASSERT_EQ(object->StartDestruct(), S_OK);
        EXPECT_EQ(object->State(), InitializationState_Created);
        EXPECT_EQ(linkage.registerCalls, 0);
        EXPECT_EQ(linkage.unregisterCalls, 0);
    }
    ASSERT_EQ(object->ReleaseReferences(), S_OK);
}

TEST_F(LifecycleTest, FinishConstructRaisesForADuplicateGuid) {
    GUID guid = kObjectGuid;
    // Set the GUID while the object has no navigation handle (no
    // registration yet), then give it the handle.
    ASSERT_EQ(object->PutReferences(nullptr, &linkage, 0, 1), S_OK);
    ASSERT_EQ(object->SetObjectGuid(&guid), S_OK);
    ASSERT_EQ(object->PutReferences(nullptr, &linkage, 7, 1), S_OK);
    GUID taken = kObjectGuid;
    ASSERT_EQ(linkage.RegisterObject(&taken, 99), S_OK); // another object holds it

    ExpectRaised(CatchError([&] { object->FinishConstruct(); }), "stop on error",
                 "object could not be registered due to duplicate 'ObjectGuid'",
                 E_KX_HRESULT_ASSERT_FAILED);
    EXPECT_EQ(object->State(), InitializationState_Created);
    EXPECT_EQ(object->calls[Hook_FinishConstruct], 0);
    EXPECT_EQ(linkage.registered[kObjectGuid], 99); // the holder keeps it
    ASSERT_EQ(object->ReleaseReferences(), S_OK);
}

TEST_F(LifecycleTest, FinishConstructAnswersSFalseWhenDynamicObjectsFail) {
    object->results[Hook_CreateDynObjects] = E_OUTOFMEMORY;
    ASSERT_EQ(object->PutReferences(nullptr, &linkage, 7, 1), S_OK);
    GUID guid = kObjectGuid;
    ASSERT_EQ(object->SetObjectGuid(&guid), S_OK);
    EXPECT_EQ(object->FinishConstruct(), S_FALSE);
    EXPECT_EQ(object->State(), InitializationState_Constructed);
    EXPECT_EQ(object->calls[Hook_CreateDynObjects], 1);
    EXPECT_TRUE(linkage.IsRegistered(kObjectGuid));
    DriveDown();
    EXPECT_FALSE(linkage.IsRegistered(kObjectGuid));
}

TEST_F(LifecycleTest, SetObjectGuidMovesTheRegistration) {
    ASSERT_EQ(object->PutReferences(nullptr, &linkage, 7, 1), S_OK);
    EXPECT_EQ(object->SetObjectGuid(nullptr), S_OK); // nothing changes
    EXPECT_TRUE(IsEqualGUID(object->Data().ObjectGuid, GUID_NULL));
    EXPECT_EQ(linkage.registerCalls, 0);

    GUID first = kObjectGuid;
    ASSERT_EQ(object->SetObjectGuid(&first), S_OK);
    EXPECT_TRUE(linkage.IsRegistered(first));
    ASSERT_EQ(object->FinishConstruct(), S_OK);
    EXPECT_EQ(linkage.registerCalls, 1); // already registered: not again

    // Any state: the registration follows the GUID.
    GUID second = MakeGuid(0x0B1EC700, 2);
    ASSERT_EQ(object->SetObjectGuid(&second), S_OK);
    EXPECT_FALSE(linkage.IsRegistered(first));
    EXPECT_TRUE(linkage.IsRegistered(second));
    GUID out = GUID_NULL;
    ASSERT_EQ(object->GetObjectInfo(nullptr, &out), S_OK);
    EXPECT_TRUE(IsEqualGUID(out, second));

    // A GUID held by another object is raised; the object is then out of
    // the linkage with the new GUID stored.
    GUID taken = MakeGuid(0x0B1EC700, 3);
    ASSERT_EQ(linkage.RegisterObject(&taken, 99), S_OK);
    ExpectRaised(CatchError([&] { object->SetObjectGuid(&taken); }), "stop on error",
                 "object could not be registered due to duplicate 'ObjectGuid'",
                 E_KX_HRESULT_ASSERT_FAILED);
    EXPECT_FALSE(linkage.IsRegistered(second));
    EXPECT_EQ(linkage.registered[taken], 99);
    EXPECT_EQ(object->State(), InitializationState_Constructed);

    GUID third = MakeGuid(0x0B1EC700, 4);
    ASSERT_EQ(object->SetObjectGuid(&third), S_OK);
    DriveDown();
    EXPECT_FALSE(linkage.IsRegistered(third));
}

TEST_F(LifecycleTest, LinkageFailuresAreRaised) {
    ASSERT_EQ(object->PutReferences(nullptr, &linkage, 7, 1), S_OK);
    GUID guid = kObjectGuid;
    linkage.registerResult = E_OUTOFMEMORY;
    auto error = CatchError([&] { object->SetObjectGuid(&guid); });
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->GetCondition().GetString(), "HResult was invalid");
    EXPECT_EQ(error->GetErrorCode(), E_OUTOFMEMORY);
    linkage.registerResult = S_OK;
    ASSERT_EQ(object->FinishConstruct(), S_OK);
    ASSERT_TRUE(linkage.IsRegistered(kObjectGuid));

    // A failing unregistration stops StartDestruct after the state change.
    linkage.unregisterResult = E_FAIL;
    error = CatchError([&] { object->StartDestruct(); });
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->GetErrorCode(), E_FAIL);
    linkage.unregisterResult = S_OK;
    object->Data().UnregisterFromLinkage();
    EXPECT_FALSE(linkage.IsRegistered(kObjectGuid));
    ASSERT_EQ(object->ReleaseReferences(), S_OK);
}

// --- Registration at the supervisor ---

TEST_F(LifecycleTest, SupervisorWithoutRegistryIsRaised) {
    KxTest::CountingUnknown plain;
    DriveTo(InitializationState_Constructed, &plain);
    ExpectRaised(CatchError([&] { object->InitializeOperation(); }),
                 "pIKXObjectRegistration != NULL",
                 "RegisterToOtherObject failed: IKXObjectRegistration not avalable", E_POINTER);
    EXPECT_EQ(object->State(), InitializationState_Constructed);
    ExpectRaised(CatchError([&] { object->UnregisterFromOtherObject(&plain); }),
                 "pIKXObjectRegistration != NULL",
                 "UnregisterFromOtherObject failed: IKXObjectRegistration not avalable", E_POINTER);
    ExpectRaised(CatchError([&] { object->RegisterToOtherObject(nullptr); }), "pIUnkOther != NULL",
                 "RegisterToOtherObject failed: wrong parameter pIUnkOther", E_POINTER);
    ExpectRaised(CatchError([&] { object->UnregisterFromOtherObject(nullptr); }),
                 "pIUnkOther != NULL",
                 "UnregisterFromOtherObject failed: wrong parameter pIUnkOther", E_POINTER);
    DriveDown();
    EXPECT_EQ(plain.References(), 0);
}

TEST_F(LifecycleTest, RegistryFailuresAreRaisedByTheDefaultHooks) {
    TestCoClass supervisorClass;
    SupervisorObject* supervisor = SupervisorObject::Create(&supervisorClass.data);
    ASSERT_NE(supervisor, nullptr);
    IUnknown* supervisorUnknown = static_cast<IKXObjectRegistration*>(supervisor);
    DriveTo(InitializationState_Constructed, supervisorUnknown);

    // A registry without its list answers E_FAIL.
    supervisor->SetObjectList(nullptr);
    EXPECT_EQ(object->RegisterToOtherObject(supervisorUnknown), E_FAIL);
    ExpectRaised(CatchError([&] { object->InitializeOperation(); }),
                 "RegisterToOtherObject(m_pObjectData->m_pIUnknownSupervisor) == S_OK",
                 "RegisterToOtherObject failed", E_FAIL);
    EXPECT_EQ(object->State(), InitializationState_Constructed);
    supervisor->SetObjectList(&supervisor->list);
    ASSERT_EQ(object->InitializeOperation(), S_OK);

    // A record the registry no longer holds: S_FALSE, raised as it stands.
    ASSERT_EQ(object->UnregisterFromOtherObject(supervisorUnknown), S_OK);
    EXPECT_EQ(object->UnregisterFromOtherObject(supervisorUnknown), S_FALSE);
    ExpectRaised(CatchError([&] { object->ReleaseOperation(); }),
                 "UnregisterFromOtherObject(m_pObjectData->m_pIUnknownSupervisor) == S_OK",
                 "UnregisterToOtherObject failed", S_FALSE);
    EXPECT_EQ(object->State(), InitializationState_Initialized);
    ASSERT_EQ(object->RegisterToOtherObject(supervisorUnknown), S_OK);
    DriveDown();
    EXPECT_EQ(supervisor->list.GetCount(), 0);
    EXPECT_EQ(supervisor->Release(), 0u);
}

TEST_F(LifecycleTest, CopyObjectIdentificationDataFillsTheRecord) {
    ASSERT_EQ(object->PutReferences(nullptr, nullptr, 7, 0x0305), S_OK);
    GUID guid = kObjectGuid;
    ASSERT_EQ(object->SetObjectGuid(&guid), S_OK);
    object->Data().m_lInstanceNumber = 4;
    ObjectIdentificationData record;
    std::memset(&record, 0xAB, sizeof(record));
    ASSERT_EQ(object->CopyObjectIdentificationData(&record), S_OK);
    EXPECT_EQ(record.pIUnknown, object->Identity());
    EXPECT_TRUE(IsEqualGUID(record.ObjectGuid, kObjectGuid));
    EXPECT_TRUE(IsEqualGUID(record.CatId, coClass.MainCategory()));
    EXPECT_EQ(record.SortIndex, 4);
    EXPECT_EQ(record.Name, object->Data().m_bstrObjectName); // borrowed, not copied
    EXPECT_EQ(record.InstanceNumber, 0x0305);
    EXPECT_EQ(object->CopyObjectIdentificationData(nullptr), E_POINTER);

    // The initial instance number appends the record at the end of a registry.
    TestComponentObject* fresh = TestComponentObject::Create(&coClass.data);
    ASSERT_NE(fresh, nullptr);
    ASSERT_EQ(fresh->CopyObjectIdentificationData(&record), S_OK);
    EXPECT_EQ(record.SortIndex, -2);
    EXPECT_EQ(record.Name, nullptr);
    EXPECT_TRUE(IsEqualGUID(record.ObjectGuid, GUID_NULL));
    EXPECT_EQ(fresh->Release(), 0u);
    ASSERT_EQ(object->ReleaseReferences(), S_OK);
}

// --- The common check ---

TEST(ComponentWithoutObjectData, EveryGuardedOperationRaises) {
    TestCoClass coClass;
    auto* object = TestComponentObject::Create(&coClass.data, false);
    ASSERT_NE(object, nullptr);
    IKXComponentManagement* management = object;
    IUnknown* out = nullptr;
    long value = 0;
    const std::function<void()> calls[] = {
        [&] { management->PutReferences(nullptr, nullptr, 0, 0); },
        [&] { management->FinishConstruct(); },
        [&] { management->Connect(); },
        [&] { management->GetRoot(&out); },
        [&] { management->GetSupervisor(&out); },
        [&] { management->GetNavigationHandle(&value); },
        [&] { management->GetObjectInfo(nullptr, nullptr); },
        [&] { management->SetObjectName(nullptr); },
        [&] { object->DoInitializeOperation(); },
    };
    for (const auto& call : calls) {
        ExpectRaised(CatchError(call), "m_pObjectData != NULL", "m_pobjectData is not initialized",
                     E_POINTER);
    }
    EXPECT_EQ(out, nullptr);
    // Not guarded: these answer S_OK and do nothing.
    GUID guid = kObjectGuid;
    EXPECT_EQ(management->SetObjectGuid(&guid), S_OK);
    EXPECT_EQ(management->AttachTool(), S_OK);
    EXPECT_EQ(management->SetPartialLoadable(-1), S_OK);
    short flag = 5;
    EXPECT_EQ(management->GetPartialLoadable(&flag), S_OK);
    EXPECT_EQ(flag, 0);
    EXPECT_EQ(object->calls[KxTest::Hook_AttachTool], 0);
    EXPECT_EQ(object->Release(), 0u);
}

} // namespace
