// The component lifecycle: every step in every state, failing hooks, the
// linkage registration, the registration at the supervisor's object
// registry, StartDestruct's repaired report and the guard against a
// component without object data.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <numeric>
#include <string>

#include "CObjectIdentificationData.h"
#include "TestComponent.h"
#include "common/CatchError.h"
#include "common/RecordingDeviceCallbacks.h"

using namespace KxTamarind;
using namespace KxTest;

namespace {

const char kSource[] = "Base/Interfaces/_Src/CBComponentManagement";
const char kDuplicate[] = "object could not be registered due to duplicate 'ObjectGuid'";
const GUID kGuid = MakeGuid(0x0B1EC701, 1);
FakeLinkage* g_linkage = nullptr; // the running test's

std::string StateCondition(InitializationState state) {
    const char* const names[] = {"", "Created", "Constructed", "Initialized", "Connected"};
    return std::string("m_pObjectData->m_eInitializationState == InitializationState_") +
           names[state];
}

// The steps in lifecycle order, the state each requires and leaves and its
// hook; the texts follow from the name.
struct Step {
    const char* name;
    HRESULT (*call)(IKXComponentManagement*);
    InitializationState required, after;
    Hook hook;
};
// clang-format off
#define KXT_STEP(name, args, required, after) {#name, [](IKXComponentManagement* o) {             \
    return o->name args; }, InitializationState_##required, InitializationState_##after, Hook_##name}
// clang-format on
const Step kSteps[] = {
    KXT_STEP(PutReferences, (nullptr, g_linkage, 7, 0x102), Created, Created),
    KXT_STEP(FinishConstruct, (), Created, Constructed),
    KXT_STEP(InitializeOperation, (), Constructed, Initialized),
    KXT_STEP(Connect, (), Initialized, Connected),
    KXT_STEP(Disconnect, (), Connected, Initialized),
    KXT_STEP(ReleaseOperation, (), Initialized, Constructed),
    KXT_STEP(StartDestruct, (), Constructed, Created),
    KXT_STEP(ReleaseReferences, (), Created, Created),
};

class LifecycleTest : public ::testing::Test {
protected:
    void SetUp() override {
        g_linkage = &linkage;
        ASSERT_EQ(object->SetObjectName(const_cast<wchar_t*>(L"Channel 1")), S_OK);
    }
    void TearDown() override {
        EXPECT_EQ(object->Release(), 0u);
        EXPECT_EQ(TestComponent::Live().load(), 0);
    }
    // Up from Created as far as `target`, wired to the linkage and `supervisor`.
    void DriveTo(InitializationState target, IUnknown* supervisor = nullptr) {
        ASSERT_EQ(object->PutReferences(supervisor, &linkage, 7, 0x102), S_OK);
        ASSERT_EQ(object->SetObjectGuid(&guid), S_OK);
        for (int step = 1; step < target; ++step) {
            ASSERT_EQ(kSteps[step].call(object), S_OK);
        }
    }
    // Back to Created with the references dropped.
    void DriveDown() {
        for (int step = 4; step < 8; ++step) {
            if (object->State() == kSteps[step].required) {
                ASSERT_EQ(kSteps[step].call(object), S_OK);
            }
        }
    }
    int HookCalls() { return std::accumulate(object->calls, object->calls + Hook_Count, 0); }

    FakeLinkage linkage; // declared first: it outlives the component
    TestCoClass coClass;
    TestComponentObject* object = TestComponentObject::Create(&coClass.data);
    GUID guid = kGuid;
};

TEST_F(LifecycleTest, ForwardAndBackWithRegistrations) {
    RegistryObject* supervisor = RegistryObject::Create(&coClass.data);
    object->Data().m_lInstanceNumber = 4;
    // Failing property-dependent objects do not stop construction: S_FALSE.
    object->results[Hook_CreateDynObjects] = E_OUTOFMEMORY;
    DriveTo(InitializationState_Created, supervisor->Identity());
    EXPECT_EQ(object->FinishConstruct(), S_FALSE);
    EXPECT_EQ(Ref(supervisor->Identity()), 2u); // the test's and the component's
    // Initialize/Release and Connect/Disconnect cycle; while initialized the
    // object is in the supervisor's registry with its identification.
    for (int round = 0; round < 2; ++round) {
        ASSERT_EQ(object->InitializeOperation(), S_OK);
        CObjectIdentificationData record;
        ASSERT_TRUE(supervisor->list.GetData(kGuid, 0x102, &record));
        EXPECT_EQ(std::make_tuple(record.pIUnknown, record.SortIndex, std::wstring(record.Name)),
                  std::make_tuple(object->Identity(), 4L, std::wstring(L"Channel 1")));
        EXPECT_TRUE(IsEqualGUID(record.CatId, coClass.implemented[0]));
        ASSERT_EQ(object->Connect(), S_OK);
        EXPECT_EQ(object->State(), InitializationState_Connected);
        ASSERT_EQ(object->Disconnect(), S_OK);
        ASSERT_EQ(object->ReleaseOperation(), S_OK);
        EXPECT_EQ(supervisor->list.GetCount(), 0);
        EXPECT_TRUE(IsEqualGUID(supervisor->lastUnregistered, kGuid));
        EXPECT_EQ(supervisor->lastUnregisteredInstance, 0x102);
    }
    DriveDown();
    EXPECT_EQ(linkage.calls, (Calls{"Register 0B1EC701 7", "Unregister 0B1EC701"}));
    EXPECT_EQ(std::make_tuple(supervisor->calls[Hook_ObjectRegistered], object->calls[Hook_Connect],
                              linkage.References(), object->Data().m_pIUnknownSupervisor),
              std::make_tuple(2, 2, 0L, static_cast<IUnknown*>(nullptr)));
    EXPECT_EQ(supervisor->Release(), 0u);
}

// Every step called in a state it does not accept raises its state message
// with the condition of the state it requires; no hook runs, nothing changes.
// One test per state: the process-wide limit of ten thrown errors.
class StateTableTest : public LifecycleTest,
                       public ::testing::WithParamInterface<InitializationState> {};

TEST_P(StateTableTest, StepsOutOfTheirStateAreRaised) {
    DriveTo(GetParam());
    for (const Step& step : kSteps) {
        if (step.required != GetParam()) {
            SCOPED_TRACE(step.name);
            const int hooks = HookCalls();
            ExpectError(CatchError([&] { step.call(object); }),
                        StateCondition(step.required).c_str(),
                        (std::string("invalid state while ") + step.name).c_str(),
                        E_KX_HRESULT_ASSERT_FAILED, kSource);
            EXPECT_EQ(std::make_pair(object->State(), HookCalls()),
                      std::make_pair(GetParam(), hooks));
        }
    }
    DriveDown();
}

INSTANTIATE_TEST_SUITE_P(EveryState, StateTableTest,
                         ::testing::Values(InitializationState_Created,
                                           InitializationState_Constructed,
                                           InitializationState_Initialized,
                                           InitializationState_Connected));

// A failing hook (S_FALSE included) raises its own code with the step's hook
// texts; state, references and linkage stay, and the step succeeds once the
// hook does.
TEST_F(LifecycleTest, FailingHooksAreRaisedWithTheirCode) {
    const HRESULT failures[] = {E_FAIL,         static_cast<HRESULT>(0x80040001),
                                S_FALSE,        E_NOTIMPL,
                                E_ABORT,        E_UNEXPECTED,
                                E_ACCESSDENIED, E_PENDING};
    DriveTo(InitializationState_Created); // PutReferences keeps what it was given before
    for (size_t i = 0; i < std::size(kSteps); ++i) {
        const Step& step = kSteps[i];
        SCOPED_TRACE(step.name);
        object->results[step.hook] = failures[i];
        const auto before = std::make_tuple(object->State(), HookCalls() + 1, linkage.References(),
                                            linkage.registered);
        const std::string name = std::string("Do") + step.name;
        ExpectError(CatchError([&] { step.call(object); }), (name + "() == S_OK").c_str(),
                    (name + " in component specific implementation failed").c_str(), failures[i],
                    kSource);
        EXPECT_EQ(
            std::make_tuple(object->State(), HookCalls(), linkage.References(), linkage.registered),
            before);
        object->results[step.hook] = S_OK;
        ASSERT_EQ(step.call(object), S_OK);
        EXPECT_EQ(object->State(), step.after);
    }
    EXPECT_EQ(linkage.References(), 0);
}

// The new references are taken before the old ones are given up: they may
// be the same objects, held by nobody else.
TEST_F(LifecycleTest, PutReferencesReplacesTheWiring) {
    RegistryObject* supervisor = RegistryObject::Create(&coClass.data);
    CountingUnknown second;
    FakeLinkage other;
    ASSERT_EQ(object->PutReferences(supervisor->Identity(), &linkage, 1, 2), S_OK);
    EXPECT_EQ(supervisor->Release(), 1u); // the component's is the last one
    ASSERT_EQ(object->PutReferences(supervisor->Identity(), &linkage, 3, 4), S_OK);
    EXPECT_EQ(std::make_pair(Ref(supervisor->Identity()), linkage.References()),
              std::make_pair(1u, 1L));
    ASSERT_EQ(object->PutReferences(&second, &other, 5, 6), S_OK);
    long handle = 0, location = 0;
    ASSERT_EQ(object->GetNavigationHandle(&handle), S_OK);
    ASSERT_EQ(object->GetLogicalLocation(&location), S_OK);
    EXPECT_EQ(std::make_tuple(TestComponent::Live().load(), linkage.References(),
                              second.References(), other.References(), handle, location),
              std::make_tuple(1L, 0L, 1L, 1L, 5L, 6L));
    ASSERT_EQ(object->PutReferences(nullptr, nullptr, 0, 0), S_OK); // null clears the wiring
    EXPECT_EQ(second.References() + other.References(), 0);
}

TEST_F(LifecycleTest, LinkageRegistrationFollowsTheGuid) {
    // Nothing to register without handle, linkage or GUID: no call.
    const struct {
        FakeLinkage* linkage;
        long handle;
        GUID guid;
    } skipped[] = {{&linkage, 0, kGuid}, {nullptr, 7, kGuid}, {&linkage, 7, GUID_NULL}};
    for (auto c : skipped) {
        ASSERT_EQ(object->PutReferences(nullptr, c.linkage, c.handle, 1), S_OK);
        ASSERT_EQ(object->SetObjectGuid(&c.guid), S_OK);
        ASSERT_EQ(object->FinishConstruct(), S_OK);
        ASSERT_EQ(object->StartDestruct(), S_OK);
    }
    EXPECT_EQ(linkage.calls, Calls{});
    EXPECT_EQ(object->SetObjectGuid(nullptr), S_OK); // changes nothing

    // FinishConstruct registers (the GUID is set before the handle); a GUID
    // already taken is raised, and SetObjectGuid moves the registration in
    // any state.
    ASSERT_EQ(object->PutReferences(nullptr, &linkage, 0, 1), S_OK);
    ASSERT_EQ(object->SetObjectGuid(&guid), S_OK);
    ASSERT_EQ(object->PutReferences(nullptr, &linkage, 7, 1), S_OK);
    ASSERT_EQ(object->SetObjectName(const_cast<wchar_t*>(L"Mixer\u00E4")), S_OK);
    linkage.registered[kGuid] = 99; // another object holds it
    ExpectError(CatchError([&] { object->FinishConstruct(); }), "stop on error", kDuplicate,
                E_KX_HRESULT_ASSERT_FAILED, kSource);
    EXPECT_EQ(std::make_pair(object->State(), object->calls[Hook_FinishConstruct]),
              std::make_pair(InitializationState_Created, 3));
    linkage.registered.clear();
    ASSERT_EQ(object->FinishConstruct(), S_OK);
    GUID second = MakeGuid(0x0B1EC702, 2), out = GUID_NULL;
    ASSERT_EQ(object->SetObjectGuid(&second), S_OK);
    ASSERT_EQ(object->GetObjectInfo(nullptr, &out), S_OK);
    EXPECT_TRUE(IsEqualGUID(out, second));
    GUID taken = MakeGuid(0x0B1EC703, 3);
    linkage.registered[taken] = 99;
    ExpectError(CatchError([&] { object->SetObjectGuid(&taken); }), "stop on error", kDuplicate,
                E_KX_HRESULT_ASSERT_FAILED, kSource);
    EXPECT_TRUE(IsEqualGUID(object->Data().ObjectGuid, taken)); // stored, out of the linkage

    // Other answers of the linkage are raised, with the object's name.
    GUID third = MakeGuid(0x0B1EC704, 4);
    linkage.registerResult = E_OUTOFMEMORY;
    ExpectError(CatchError([&] { object->SetObjectGuid(&third); }), "HResult was invalid",
                "Linkage registration failed for object 'Mixer\xC3\xA4'", E_OUTOFMEMORY);
    linkage.registerResult = S_OK;
    ASSERT_EQ(object->SetObjectGuid(&third), S_OK);
    linkage.registered.erase(third); // unregistering answers S_FALSE: raised after the change
    ExpectError(CatchError([&] { object->StartDestruct(); }), "HResult was invalid", "", S_FALSE);
    EXPECT_EQ(object->State(), InitializationState_Created);
    linkage.registered[third] = 7;
    object->Data().UnregisterFromLinkage(); // still registered: it tries again
    EXPECT_EQ(linkage.calls,
              (Calls{"Register 0B1EC701 7", "Register 0B1EC701 7", "Unregister 0B1EC701",
                     "Register 0B1EC702 7", "Unregister 0B1EC702", "Register 0B1EC703 7",
                     "Register 0B1EC704 7", "Register 0B1EC704 7", "Unregister 0B1EC704",
                     "Unregister 0B1EC704"}));
    EXPECT_EQ(linkage.registered.size(), 1u); // only the other object's
    ASSERT_EQ(object->ReleaseReferences(), S_OK);
}

TEST_F(LifecycleTest, SupervisorsThatCannotRegisterAreRaised) {
    RegistryObject* supervisor = RegistryObject::Create(&coClass.data);
    CountingUnknown plain; // no object registry
    DriveTo(InitializationState_Constructed, supervisor->Identity());
    const struct {
        const char* message;
        std::function<void()> call;
    } cases[] = {
        {"UnregisterFromOtherObject failed: IKXObjectRegistration not avalable",
         [&] { object->UnregisterFromOtherObject(&plain); }},
        {"RegisterToOtherObject failed: IKXObjectRegistration not avalable",
         [&] { object->RegisterToOtherObject(&plain); }},
        {"RegisterToOtherObject failed: wrong parameter pIUnkOther",
         [&] { object->RegisterToOtherObject(nullptr); }},
        {"UnregisterFromOtherObject failed: wrong parameter pIUnkOther",
         [&] { object->UnregisterFromOtherObject(nullptr); }},
    };
    for (const auto& c : cases) {
        ExpectError(CatchError(c.call),
                    std::strstr(c.message, "wrong") ? "pIUnkOther != NULL"
                                                    : "pIKXObjectRegistration != NULL",
                    c.message, E_POINTER, kSource);
    }
    // The default hooks raise what the registry answers: E_FAIL from a
    // registry without its list, S_FALSE for a record it no longer holds.
    supervisor->SetObjectList(nullptr);
    ExpectError(CatchError([&] { object->InitializeOperation(); }),
                "RegisterToOtherObject(m_pObjectData->m_pIUnknownSupervisor) == S_OK",
                "RegisterToOtherObject failed", E_FAIL, kSource);
    supervisor->SetObjectList(&supervisor->list);
    ASSERT_EQ(object->InitializeOperation(), S_OK);
    ASSERT_EQ(object->UnregisterFromOtherObject(supervisor->Identity()), S_OK);
    ExpectError(CatchError([&] { object->ReleaseOperation(); }),
                "UnregisterFromOtherObject(m_pObjectData->m_pIUnknownSupervisor) == S_OK",
                "UnregisterToOtherObject failed", S_FALSE, kSource);
    EXPECT_EQ(object->State(), InitializationState_Initialized);
    ASSERT_EQ(object->RegisterToOtherObject(supervisor->Identity()), S_OK);
    DriveDown();
    EXPECT_EQ(supervisor->list.GetCount() + plain.References(), 0);
    EXPECT_EQ(supervisor->Release(), 0u);
}

// StartDestruct reports property-dependent objects it could not delete, and
// goes on; the report keeps long and non-ASCII names whole.
TEST_F(LifecycleTest, StartDestructReportsFailedDeletionAndGoesOn) {
    const std::wstring longName = std::wstring(150, L'x') + L" \u00e9\u20ac";
    const struct {
        const wchar_t* name;
        HRESULT result;
        std::string reported; // empty: no report
    } cases[] = {{L"Channel 1", S_OK, ""},
                 {L"Channel 1", E_FAIL, "Channel 1"},
                 {longName.c_str(), S_FALSE, std::string(150, 'x') + " \xC3\xA9\xE2\x82\xAC"}};
    for (const auto& c : cases) {
        RecordingDeviceCallbacks device;
        ASSERT_EQ(object->SetObjectName(const_cast<wchar_t*>(c.name)), S_OK);
        DriveTo(InitializationState_Constructed);
        object->results[Hook_DeleteDynObjects] = c.result;
        EXPECT_EQ(object->StartDestruct(), S_OK);
        EXPECT_EQ(object->State(), InitializationState_Created);
        EXPECT_TRUE(linkage.registered.empty());
        ASSERT_EQ(device.sent.size(), c.reported.empty() ? 0u : 1u);
        for (const CErrorObject& report : device.sent) {
            EXPECT_EQ(std::string(report.GetAdditionalInfo().GetString()),
                      "DeletePropertyDependentDynamicObbjects failedComponent: TestComp\n"
                      "ObjectName: " +
                          c.reported + "\nGuid: {0B1EC701-3C2D-4E5F-8A9B-0C1D2E3F4A01}\n");
            EXPECT_TRUE(report.GetIsRepairedError());
            EXPECT_STREQ(report.GetCondition().GetString(), "false");
            EXPECT_EQ(report.GetErrorCode(), E_KX_HRESULT_ASSERT_REPAIRED);
            EXPECT_STREQ(report.GetFileName().GetString(), kSource);
        }
    }
    DriveDown();
}

TEST(ComponentWithoutObjectData, EveryGuardedOperationRaises) {
    TestCoClass coClass;
    auto* object = TestComponentObject::Create(&coClass.data, false);
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
        ExpectError(CatchError(call), "m_pObjectData != NULL", "m_pobjectData is not initialized",
                    E_POINTER, kSource);
    }
    // Not guarded: these answer and do nothing.
    ObjectIdentificationData record;
    short flag = 5;
    GUID guid = kGuid;
    const HRESULT results[] = {management->SetObjectGuid(&guid), management->AttachTool(),
                               management->SetPartialLoadable(-1),
                               management->GetPartialLoadable(&flag),
                               object->CopyObjectIdentificationData(&record)};
    EXPECT_EQ(std::vector<HRESULT>(results, results + 5),
              (std::vector<HRESULT>{S_OK, S_OK, S_OK, S_OK, E_POINTER}));
    EXPECT_EQ(std::make_tuple(out, flag, object->calls[Hook_AttachTool]),
              std::make_tuple(static_cast<IUnknown*>(nullptr), short{0}, 0));
    EXPECT_EQ(object->Release(), 0u);
}

} // namespace
