// The component's identity and wiring getters, the repaired report of
// StartDestruct, the root, partial loading, tools and the fixed defaults of
// the property operations and hooks.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "CErrorObject.h"
#include "KxRoot.h"
#include "TestComponent.h"
#include "common/CatchError.h"
#include "common/CountingUnknown.h"
#include "common/RecordingDeviceCallbacks.h"

using namespace KxTamarind;
using KxTest::CatchError;
using KxTest::MakeGuid;
using KxTest::MapLinkage;
using KxTest::PlainComponentObject;
using KxTest::TestCoClass;
using KxTest::TestComponentObject;

namespace {

const GUID kObjectGuid = MakeGuid(0x0B1EC700, 9);

// The report StartDestruct composes when the property-dependent objects
// could not be deleted.
std::string ExpectedDeleteReport(const std::string& name) {
    return "DeletePropertyDependentDynamicObbjects failedComponent: TestComp\nObjectName: " + name +
           "\nGuid: {0B1EC700-3C2D-4E5F-8A9B-0C1D2E3F4A09}\n";
}

class OperationsTest : public ::testing::Test {
protected:
    void SetUp() override {
        object = TestComponentObject::Create(&coClass.data);
        ASSERT_NE(object, nullptr);
    }
    void TearDown() override {
        EXPECT_EQ(object->Release(), 0u);
        EXPECT_EQ(KxTest::TestComponent::Live().load(), 0);
    }
    void Construct(const wchar_t* name) {
        ASSERT_EQ(object->SetObjectName(const_cast<wchar_t*>(name)), S_OK);
        ASSERT_EQ(object->PutReferences(nullptr, &linkage, 11, 0x101), S_OK);
        GUID guid = kObjectGuid;
        ASSERT_EQ(object->SetObjectGuid(&guid), S_OK);
        ASSERT_EQ(object->FinishConstruct(), S_OK);
    }

    MapLinkage linkage;
    TestCoClass coClass;
    TestComponentObject* object = nullptr;
};

TEST_F(OperationsTest, StartDestructReportsFailedDeletionAndGoesOn) {
    KxTest::RecordingDeviceCallbacks device;
    Construct(L"Channel 1");
    object->results[KxTest::Hook_DeleteDynObjects] = E_FAIL;
    EXPECT_EQ(object->StartDestruct(), S_OK);
    EXPECT_EQ(object->State(), InitializationState_Created);
    EXPECT_FALSE(linkage.IsRegistered(kObjectGuid));
    ASSERT_EQ(device.sent.size(), 1u);
    const CErrorObject& report = device.sent[0];
    EXPECT_TRUE(report.GetIsRepairedError());
    EXPECT_STREQ(report.GetCondition().GetString(), "false");
    EXPECT_EQ(std::string(report.GetAdditionalInfo().GetString()),
              ExpectedDeleteReport("Channel 1"));
    EXPECT_EQ(report.GetErrorCode(), E_KX_HRESULT_ASSERT_REPAIRED);
    EXPECT_STREQ(report.GetFileName().GetString(), "Base/Interfaces/_Src/CBComponentManagement");
    ASSERT_EQ(object->ReleaseReferences(), S_OK);
}

TEST_F(OperationsTest, StartDestructReportKeepsLongNamesWhole) {
    KxTest::RecordingDeviceCallbacks device;
    // Longer than the stack buffer, with characters that take several bytes.
    std::wstring longName(150, L'x');
    longName += L" \u00e9\u20ac";
    Construct(longName.c_str());
    object->results[KxTest::Hook_DeleteDynObjects] = S_FALSE;
    EXPECT_EQ(object->StartDestruct(), S_OK);
    ASSERT_EQ(device.sent.size(), 1u);
    EXPECT_EQ(std::string(device.sent[0].GetAdditionalInfo().GetString()),
              ExpectedDeleteReport(std::string(150, 'x') + " \xC3\xA9\xE2\x82\xAC"));
    ASSERT_EQ(object->ReleaseReferences(), S_OK);
}

TEST_F(OperationsTest, StartDestructWithoutFailureReportsNothing) {
    KxTest::RecordingDeviceCallbacks device;
    Construct(L"Channel 1");
    EXPECT_EQ(object->StartDestruct(), S_OK);
    EXPECT_TRUE(device.sent.empty());
    EXPECT_EQ(object->calls[KxTest::Hook_DeleteDynObjects], 1);
    ASSERT_EQ(object->ReleaseReferences(), S_OK);
}

TEST_F(OperationsTest, IdentityAndWiringGetters) {
    KxTest::CountingUnknown supervisor;
    ASSERT_EQ(object->PutReferences(&supervisor, &linkage, 11, 0x203), S_OK);

    IUnknown* gotSupervisor = nullptr;
    ASSERT_EQ(object->GetSupervisor(&gotSupervisor), S_OK);
    EXPECT_EQ(gotSupervisor, &supervisor);
    EXPECT_EQ(supervisor.References(), 2);
    gotSupervisor->Release();
    IKXLinkage* gotLinkage = nullptr;
    ASSERT_EQ(object->GetIKXLinkage(&gotLinkage), S_OK);
    EXPECT_EQ(gotLinkage, &linkage);
    EXPECT_EQ(linkage.References(), 2);
    gotLinkage->Release();

    long value = 0;
    EXPECT_EQ(object->GetNavigationHandle(&value), S_OK);
    EXPECT_EQ(value, 11);
    EXPECT_EQ(object->GetLogicalLocation(&value), S_OK);
    EXPECT_EQ(value, 0x203);
    EXPECT_EQ(object->GetNavigationHandle(nullptr), E_POINTER);
    EXPECT_EQ(object->GetLogicalLocation(nullptr), E_POINTER);

    // The name: copies in, copies out, embedded characters counted by length.
    wchar_t name[] = L"Marker 2";
    ASSERT_EQ(object->SetObjectName(name), S_OK);
    name[0] = L'X'; // the stored name is a copy
    BSTR out = nullptr;
    GUID guid = MakeGuid(1, 1);
    ASSERT_EQ(object->GetObjectInfo(&out, &guid), S_OK);
    ASSERT_NE(out, nullptr);
    EXPECT_NE(out, object->Data().m_bstrObjectName);
    EXPECT_STREQ(out, L"Marker 2");
    EXPECT_EQ(SysStringLen(out), 8u);
    EXPECT_TRUE(IsEqualGUID(guid, GUID_NULL));
    SysFreeString(out);
    // Setting the stored name itself works (the copy is made first).
    ASSERT_EQ(object->SetObjectName(object->Data().m_bstrObjectName), S_OK);
    EXPECT_STREQ(object->Data().m_bstrObjectName, L"Marker 2");
    ASSERT_EQ(object->SetObjectName(nullptr), S_OK);
    EXPECT_EQ(object->Data().m_bstrObjectName, nullptr);

    ASSERT_EQ(object->ReleaseReferences(), S_OK);
    EXPECT_EQ(supervisor.References(), 0);
    IUnknown* none = &supervisor;
    ASSERT_EQ(object->GetSupervisor(&none), S_OK);
    EXPECT_EQ(none, nullptr);
}

class RootRegistry : public KxTest::CountingUnknown {};

TEST_F(OperationsTest, GetRootHandsOutTheRootObject) {
    IUnknown* root = reinterpret_cast<IUnknown*>(1);
    ASSERT_EQ(object->GetRoot(&root), S_OK); // no root set yet
    EXPECT_EQ(root, nullptr);

    RootRegistry registry;
    registry.Answer(IID_IKXInterfaceRegistration, &registry);
    SetRoot(&registry);
    EXPECT_EQ(registry.References(), 1); // the library's
    ASSERT_EQ(object->GetRoot(&root), S_OK);
    EXPECT_EQ(root, static_cast<IUnknown*>(&registry));
    EXPECT_EQ(registry.References(), 2); // the library's and ours
    root->Release();
    ReleaseRoot();
    EXPECT_EQ(registry.References(), 0);
    ASSERT_EQ(object->GetRoot(&root), S_OK);
    EXPECT_EQ(root, nullptr);
}

// A null out-pointer for GetRoot, GetSupervisor or GetIKXLinkage is a
// programming error: asserted in debug builds, E_POINTER in release builds.
TEST_F(OperationsTest, NullOutPointersOfTheReferenceGetters) {
    IKXComponentManagement* management = object;
    EXPECT_DEBUG_DEATH({ EXPECT_EQ(management->GetRoot(nullptr), E_POINTER); }, "ppRoot");
    EXPECT_DEBUG_DEATH({ EXPECT_EQ(management->GetSupervisor(nullptr), E_POINTER); },
                       "ppSupervisor");
    EXPECT_DEBUG_DEATH({ EXPECT_EQ(management->GetIKXLinkage(nullptr), E_POINTER); }, "ppLinkage");
}

TEST_F(OperationsTest, PartialLoadReachesTheLinkageOnlyForTrue) {
    ASSERT_EQ(object->PutReferences(nullptr, &linkage, 11, 0x101), S_OK);
    EXPECT_EQ(object->SetPartialLoadable(1), S_OK);
    EXPECT_EQ(object->SetPartialLoadable(0), S_OK);
    EXPECT_TRUE(linkage.setPartialCalls.empty());
    EXPECT_EQ(object->SetPartialLoadable(-1), S_OK);
    ASSERT_EQ(linkage.setPartialCalls.size(), 1u);
    EXPECT_EQ(linkage.setPartialCalls[0].first, 11);
    EXPECT_EQ(linkage.setPartialCalls[0].second, 0);

    EXPECT_EQ(object->GetPartialLoadable(nullptr), S_OK);
    EXPECT_EQ(linkage.getPartialCalls, 0);
    linkage.partialLoad[11] = -1;
    short value = 0;
    EXPECT_EQ(object->GetPartialLoadable(&value), S_OK);
    EXPECT_EQ(value, -1);
    EXPECT_EQ(linkage.getPartialCalls, 1);

    // Without a linkage the flag reads 0.
    ASSERT_EQ(object->PutReferences(nullptr, nullptr, 11, 0x101), S_OK);
    value = 7;
    EXPECT_EQ(object->GetPartialLoadable(&value), S_OK);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(object->SetPartialLoadable(-1), S_OK);
    EXPECT_EQ(linkage.setPartialCalls.size(), 1u);
}

TEST_F(OperationsTest, ToolsAttachOnlyAtTheFirstLocationOfAnInstrument) {
    object->results[KxTest::Hook_AttachTool] = S_FALSE;
    object->results[KxTest::Hook_DetachTool] = E_FAIL;
    ASSERT_EQ(object->PutReferences(nullptr, nullptr, 1, 0x100), S_OK);
    EXPECT_EQ(object->AttachTool(), S_OK);
    EXPECT_EQ(object->DetachTool(), S_OK);
    EXPECT_EQ(object->calls[KxTest::Hook_AttachTool], 0);
    EXPECT_EQ(object->calls[KxTest::Hook_DetachTool], 0);
    ASSERT_EQ(object->PutReferences(nullptr, nullptr, 1, 0x101), S_OK);
    EXPECT_EQ(object->AttachTool(), S_FALSE); // the hook's result
    EXPECT_EQ(object->DetachTool(), E_FAIL);
    EXPECT_EQ(object->calls[KxTest::Hook_AttachTool], 1);
    EXPECT_EQ(object->calls[KxTest::Hook_DetachTool], 1);
    // Only the low 8 bits count.
    ASSERT_EQ(object->PutReferences(nullptr, nullptr, 1, 0x7F01), S_OK);
    EXPECT_EQ(object->AttachTool(), S_FALSE);
    EXPECT_EQ(object->calls[KxTest::Hook_AttachTool], 2);
}

TEST_F(OperationsTest, CreatePropDependentDynObjectsReportsTheErrorCount) {
    long state = -1;
    object->SetToolEditAborted(); // cleared first
    EXPECT_EQ(object->CreatePropDependentDynObjects(&state), S_OK);
    EXPECT_EQ(state, 0);
    EXPECT_EQ(object->calls[KxTest::Hook_CreateDynObjects], 1);

    object->reportPropertyError = true;
    object->results[KxTest::Hook_CreateDynObjects] = E_FAIL; // not used
    EXPECT_EQ(object->CreatePropDependentDynObjects(&state), S_FALSE);
    EXPECT_EQ(state, 0x01);
    EXPECT_EQ(object->PropertyErrorCount(), 1);
    EXPECT_EQ(object->CreatePropDependentDynObjects(nullptr), S_FALSE);
    EXPECT_EQ(object->PropertyErrorCount(), 1); // cleared, then counted again

    object->results[KxTest::Hook_DeleteDynObjects] = E_ABORT;
    EXPECT_EQ(object->DeletePropDependentDynObjects(), E_ABORT);
}

// --- Fixed defaults of a component that overrides nothing ---

class DefaultsTest : public ::testing::Test {
protected:
    void SetUp() override {
        object = PlainComponentObject::Create(&coClass.data);
        ASSERT_NE(object, nullptr);
        management = object;
    }
    void TearDown() override { EXPECT_EQ(object->Release(), 0u); }

    TestCoClass coClass;
    PlainComponentObject* object = nullptr;
    IKXComponentManagement* management = nullptr;
};

TEST_F(DefaultsTest, PropertyOperationsAnswerTheirFixedResults) {
    EXPECT_EQ(management->LoadPropertiesByXMLString(nullptr, 0, nullptr), S_FALSE);
    EXPECT_EQ(management->SetPropertiesByXMLString(nullptr, 0, nullptr, nullptr), S_FALSE);
    EXPECT_EQ(management->GetPropertiesAsXMLString(nullptr, nullptr), S_FALSE);
    EXPECT_EQ(management->SetPropertyByXMLString(nullptr, 0, nullptr), S_FALSE);
    EXPECT_EQ(management->GetPropertyAsXMLString(nullptr, nullptr), S_FALSE);
    EXPECT_EQ(management->SetMarkedPropertiesByXMLString(nullptr), S_FALSE);
    EXPECT_EQ(management->GetMarkedPropertiesAsXMLString(nullptr), S_FALSE);
    EXPECT_EQ(management->DeleteAllMarkedProperties(), S_OK);
    EXPECT_EQ(management->GetPropertyInfo(1, nullptr, nullptr, nullptr, nullptr, nullptr), S_FALSE);
    EXPECT_EQ(
        management->GetPropertyInfoXMLPath(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
        S_FALSE);
    EXPECT_EQ(management->DeletePropertyIndex(1, nullptr, nullptr), S_FALSE);
    EXPECT_EQ(management->InsertPropertyIndex(1, nullptr, nullptr, nullptr), S_FALSE);
    EXPECT_EQ(management->MovePropertyIndex(1, 2, nullptr, nullptr), S_FALSE);
    EXPECT_EQ(management->PerformPropertiesLoaded(nullptr), S_OK);
    EXPECT_EQ(management->PerformCheckAllProperties(nullptr), S_OK);
    EXPECT_EQ(management->DeletePropDependentDynObjects(), S_OK);
    EXPECT_EQ(management->FilterLinkageList(nullptr, 0, nullptr, nullptr, nullptr), S_FALSE);
    EXPECT_EQ(management->GetDefaultLinkage(nullptr, nullptr), S_FALSE);
    EXPECT_EQ(management->RegisterReferencedObjects(), S_FALSE);
    EXPECT_EQ(management->UnregisterReferencedObjects(), S_FALSE);
    EXPECT_EQ(management->GetReferencingObjects(nullptr, nullptr), S_FALSE);
    EXPECT_EQ(management->GetReferencedObjects(nullptr, nullptr), S_FALSE);
    EXPECT_EQ(management->IsClassPlugable(GUID_NULL), S_OK);
    EXPECT_EQ(management->GetFilterCatids(nullptr, nullptr, nullptr), S_FALSE);
    EXPECT_EQ(management->SaveTranslator(), S_OK);
    EXPECT_EQ(management->SelectObject(nullptr), S_OK);
    EXPECT_EQ(management->DeselectObject(), S_OK);
    EXPECT_EQ(management->StartPropertyTool(nullptr, nullptr), S_OK);
    EXPECT_EQ(management->GetPropertyToolResult(nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(management->StopPropertyTool(nullptr), S_OK);
    EXPECT_EQ(management->CalculatePartialLoad(), S_OK);
    EXPECT_EQ(management->ReportUnallowedLinkages(nullptr, 0, nullptr), S_FALSE);
    EXPECT_EQ(management->ReleaseTemplateInstantiation(nullptr), E_NOTIMPL);
}

TEST_F(DefaultsTest, OutArgumentsAreClearedWhereTheTableSaysSo) {
    long marker = 0x5A5A;
    long count = 5;
    long* list = &marker;
    wchar_t** names = reinterpret_cast<wchar_t**>(&marker);
    wchar_t** paths = reinterpret_cast<wchar_t**>(&marker);
    EXPECT_EQ(management->GetObjectsOfInterest(nullptr, &count, &list), S_OK);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(management->GetObjectsOfInterest(nullptr, nullptr, nullptr), S_OK);

    count = 5;
    list = &marker;
    EXPECT_EQ(management->GetJumpData(nullptr, &count, &list, &names, &paths), S_OK);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(names, nullptr);
    EXPECT_EQ(paths, reinterpret_cast<wchar_t**>(&marker)); // left alone

    count = 5;
    names = reinterpret_cast<wchar_t**>(&marker);
    EXPECT_EQ(management->GetSelectableObjects(nullptr, &count, &names, &paths), S_OK);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(names, nullptr);
    EXPECT_EQ(paths, reinterpret_cast<wchar_t**>(&marker)); // left alone

    wchar_t* graph = reinterpret_cast<wchar_t*>(&marker);
    EXPECT_EQ(management->GetDependencyGraph(nullptr, &graph), S_FALSE);
    EXPECT_EQ(graph, nullptr);
    KxTest::CountingUnknown templ;
    IUnknown* instance = &templ;
    EXPECT_EQ(management->RequestTemplateInstantiation(&templ, &instance), E_NOTIMPL);
    EXPECT_EQ(instance, nullptr);
    EXPECT_EQ(templ.References(), 0);

    long state = -1;
    object->SetSubtreeChanged().SetOtherPropertiesChanged();
    EXPECT_EQ(management->GetModificationState(&state), S_OK);
    EXPECT_EQ(state, 0x05);
    EXPECT_EQ(management->GetModificationState(nullptr), S_OK);
}

TEST_F(DefaultsTest, HooksAnswerTheirFixedResults) {
    EXPECT_EQ(object->DoPutReferences(), S_OK);
    EXPECT_EQ(object->DoReleaseReferences(), S_OK);
    EXPECT_EQ(object->DoInitializeOperation(), S_OK); // no supervisor: nothing to do
    EXPECT_EQ(object->DoReleaseOperation(), S_OK);
    EXPECT_EQ(object->DoConnect(), S_OK);
    EXPECT_EQ(object->DoDisconnect(), S_OK);
    EXPECT_EQ(object->DoFinishConstruct(), S_OK);
    EXPECT_EQ(object->DoStartDestruct(), S_OK);
    EXPECT_EQ(object->CheckAllProperties(), S_OK);
    EXPECT_EQ(object->PropertiesCopied(), S_OK);
    EXPECT_EQ(object->PropertiesLoaded(), S_OK);
    EXPECT_EQ(object->DoCreatePropDependentDynObjects(), S_OK);
    EXPECT_EQ(object->DoDeletePropDependentDynObjects(), S_OK);
    EXPECT_EQ(object->DoPreparePropertyChange(nullptr), S_OK);
    EXPECT_EQ(object->DoPropertyChanged(nullptr), S_OK);
    EXPECT_EQ(object->DoMarkedPropertiesSet(), S_OK);
    EXPECT_EQ(object->DoFilterLinkageList(nullptr, 0, nullptr, nullptr, nullptr), S_FALSE);
    GUID guid = MakeGuid(2, 2);
    EXPECT_EQ(object->DoGetDefaultLinkage(nullptr, guid), S_FALSE);
    EXPECT_EQ(object->DoCheckPropertyValidity(nullptr), S_OK);
    EXPECT_EQ(object->DoIsClassPlugable(guid), S_OK);
    EXPECT_EQ(object->DoSaveTranslator(), S_OK);
    EXPECT_EQ(object->DoSelectObject(nullptr), S_OK);
    EXPECT_EQ(object->DoDeselectObject(), S_OK);
    EXPECT_EQ(object->DoStopPropertyTool(nullptr), S_OK);
    EXPECT_EQ(object->DoStartPropertyTool(nullptr, nullptr), S_FALSE);
    EXPECT_EQ(object->DoAttachTool(), S_OK);
    EXPECT_EQ(object->DoDetachTool(), S_OK);
    EXPECT_EQ(object->DoCalculatePartialLoad(), S_OK);
    EXPECT_EQ(object->DoReleaseTemplateInstantiation(nullptr), E_NOTIMPL);
    EXPECT_TRUE(object->IsApartmentThreaded());
    EXPECT_TRUE(object->IsFreeThreaded());

    long marker = 3;
    long count = 9;
    long* list = &marker;
    wchar_t** names = reinterpret_cast<wchar_t**>(&marker);
    wchar_t** paths = reinterpret_cast<wchar_t**>(&marker);
    EXPECT_EQ(object->DoGetObjectsOfInterest(nullptr, &count, &list), S_OK);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(list, nullptr);
    count = 9;
    list = &marker;
    EXPECT_EQ(object->DoGetJumpData(nullptr, &count, &list, &names, &paths), S_FALSE);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(names, nullptr);
    EXPECT_EQ(paths, nullptr);
    count = 9;
    names = paths = reinterpret_cast<wchar_t**>(&marker);
    EXPECT_EQ(object->DoGetSelectableObjects(nullptr, &count, &names, &paths), S_OK);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(names, nullptr);
    EXPECT_EQ(paths, nullptr);
    count = 9;
    GUID* ids = &guid;
    EXPECT_EQ(object->DoGetFilterCatids(nullptr, &count, &ids), S_OK);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(ids, nullptr);

    wchar_t* result = reinterpret_cast<wchar_t*>(&marker);
    object->ClearPropertyState();
    EXPECT_EQ(object->DoGetPropertyToolResult(nullptr, &result), S_OK);
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(object->ModificationState(), 0x10u); // tool edit finished
    long state = 0;
    EXPECT_EQ(object->DoGetModificationState(&state), S_OK);
    EXPECT_EQ(state, 0x10);
}

} // namespace
