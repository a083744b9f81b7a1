// The operations and hooks of CBComponentManagement and CBCoClassInfo in
// table order: their positions in the virtual tables (modules built
// separately call them by position), their fixed results and the
// out-arguments each clears; then the getters, partial loading, tools and
// the property state.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>

#include "TestComponent.h"

using namespace KxTamarind;
using namespace KxTest;

namespace {

// In the Itanium C++ ABI (both targets) a pointer to a virtual member
// function holds one plus the byte offset of its slot, and the
// this-adjustment (0 for the primary table).
template <class F>
long SlotOf(F member) {
    static_assert(sizeof(F) == 2 * sizeof(ptrdiff_t), "Itanium member pointer");
    ptrdiff_t words[2];
    std::memcpy(words, &member, sizeof(words));
    const ptrdiff_t word = sizeof(void*);
    return (words[0] & 1) == 0 || words[1] != 0 ? -1L : static_cast<long>((words[0] - 1) / word);
}

// Out-arguments, poisoned before each call; a row names those its call must
// clear (to 0 or null), all others must keep their poison.
struct Outs {
    long count = 5;
    long* list = reinterpret_cast<long*>(8);
    wchar_t** names = reinterpret_cast<wchar_t**>(8);
    wchar_t** paths = reinterpret_cast<wchar_t**>(8);
    wchar_t* text = reinterpret_cast<wchar_t*>(8);
    GUID* ids = reinterpret_cast<GUID*>(8);
    IUnknown* object = reinterpret_cast<IUnknown*>(8);
    LinkageData* linkages = reinterpret_cast<LinkageData*>(8);
    GUID guid = MakeGuid(5, 5);
};

struct Row {
    const char* name;
    long slot;
    HRESULT (*call)(TestComponent*, Outs&); // null: position only
    HRESULT result;
    const char* cleared;
};
using CM = CBComponentManagement;
using CI = CBCoClassInfo;
// KXT_OP calls the operation as the component overrides it, KXT_HOOK the
// base class's own default.
// clang-format off
#define KXT_OP(Class, name, args, result, cleared) {#name, SlotOf(&Class::name),                   \
    [](TestComponent* o, [[maybe_unused]] Outs& x) { return o->name args; }, result, cleared}
#define KXT_HOOK(Class, name, args, result, cleared) {#name, SlotOf(&Class::name),                 \
    [](TestComponent* o, [[maybe_unused]] Outs& x) { return o->Class::name args; }, result, cleared}
#define KXT_SLOT(Class, name) {#name, SlotOf(&Class::name), nullptr, S_OK, ""}
// clang-format on

const Row kComponentManagement[] = {
    // IKXComponentManagement, after IUnknown's three.
    KXT_OP(CM, PutReferences, (nullptr, nullptr, 0, 0), S_OK, ""),
    KXT_OP(CM, GetRoot, (&x.object), S_OK, "object"), // no root set
    KXT_OP(CM, GetSupervisor, (&x.object), S_OK, "object"),
    KXT_SLOT(CM, GetIKXLinkage),
    KXT_OP(CM, GetNavigationHandle, (nullptr), E_POINTER, ""),
    KXT_OP(CM, GetLogicalLocation, (nullptr), E_POINTER, ""),
    KXT_OP(CM, GetObjectInfo, (nullptr, &x.guid), S_OK, "guid"), // the object's: none yet
    KXT_SLOT(CM, SetObjectName),
    KXT_OP(CM, SetObjectGuid, (nullptr), S_OK, ""),
    KXT_SLOT(CM, FinishConstruct),
    KXT_SLOT(CM, InitializeOperation),
    KXT_SLOT(CM, Connect),
    KXT_SLOT(CM, Disconnect),
    KXT_SLOT(CM, ReleaseOperation),
    KXT_SLOT(CM, StartDestruct),
    KXT_SLOT(CM, ReleaseReferences),
    KXT_OP(CM, LoadPropertiesByXMLString, (nullptr, 0, nullptr), S_FALSE, ""),
    KXT_OP(CM, SetPropertiesByXMLString, (nullptr, 0, nullptr, nullptr), S_FALSE, ""),
    KXT_OP(CM, GetPropertiesAsXMLString, (nullptr, nullptr), S_FALSE, ""),
    KXT_OP(CM, SetPropertyByXMLString, (nullptr, 0, nullptr), S_FALSE, ""),
    KXT_OP(CM, GetPropertyAsXMLString, (nullptr, &x.text), S_FALSE, ""),
    KXT_OP(CM, SetMarkedPropertiesByXMLString, (nullptr), S_FALSE, ""),
    KXT_OP(CM, GetMarkedPropertiesAsXMLString, (&x.text), S_FALSE, ""),
    KXT_OP(CM, DeleteAllMarkedProperties, (), S_OK, ""),
    KXT_OP(CM, GetPropertyInfo, (1, nullptr, nullptr, nullptr, nullptr, nullptr), S_FALSE, ""),
    KXT_OP(CM, GetPropertyInfoXMLPath, (nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
           S_FALSE, ""),
    KXT_OP(CM, DeletePropertyIndex, (1, nullptr, nullptr), S_FALSE, ""),
    KXT_OP(CM, InsertPropertyIndex, (1, nullptr, nullptr, nullptr), S_FALSE, ""),
    KXT_OP(CM, MovePropertyIndex, (1, 2, nullptr, nullptr), S_FALSE, ""),
    KXT_OP(CM, PerformPropertiesLoaded, (nullptr), S_OK, ""),
    KXT_OP(CM, PerformCheckAllProperties, (nullptr), S_OK, ""),
    KXT_OP(CM, CreatePropDependentDynObjects, (&x.count), S_OK, "count"),
    KXT_OP(CM, DeletePropDependentDynObjects, (), S_OK, ""),
    KXT_OP(CM, FilterLinkageList, (nullptr, 0, nullptr, &x.count, &x.list), S_FALSE, ""),
    KXT_OP(CM, GetDefaultLinkage, (nullptr, &x.guid), S_FALSE, ""),
    KXT_OP(CM, RegisterReferencedObjects, (), S_FALSE, ""),
    KXT_OP(CM, UnregisterReferencedObjects, (), S_FALSE, ""),
    KXT_OP(CM, GetReferencingObjects, (&x.count, &x.list), S_FALSE, ""),
    KXT_OP(CM, GetReferencedObjects, (&x.count, &x.list), S_FALSE, ""),
    KXT_OP(CM, IsClassPlugable, (GUID_NULL), S_OK, ""),
    KXT_OP(CM, GetFilterCatids, (nullptr, &x.count, &x.ids), S_FALSE, ""),
    KXT_OP(CM, SaveTranslator, (), S_OK, ""),
    KXT_OP(CM, GetModificationState, (&x.count), S_OK, "count"),
    KXT_OP(CM, SelectObject, (nullptr), S_OK, ""),
    KXT_OP(CM, DeselectObject, (), S_OK, ""),
    KXT_OP(CM, GetObjectsOfInterest, (nullptr, &x.count, &x.list), S_OK, "count list"),
    KXT_OP(CM, GetJumpData, (nullptr, &x.count, &x.list, &x.names, &x.paths), S_OK,
           "count list names"),
    KXT_OP(CM, GetSelectableObjects, (nullptr, &x.count, &x.names, &x.paths), S_OK, "count names"),
    KXT_OP(CM, StartPropertyTool, (nullptr, nullptr), S_OK, ""),
    KXT_OP(CM, GetPropertyToolResult, (nullptr, &x.count, &x.text), S_OK, ""),
    KXT_OP(CM, StopPropertyTool, (nullptr), S_OK, ""),
    KXT_OP(CM, AttachTool, (), S_OK, ""), // location 0: no hook
    KXT_OP(CM, DetachTool, (), S_OK, ""),
    KXT_OP(CM, GetDependencyGraph, (nullptr, &x.text), S_FALSE, "text"),
    KXT_OP(CM, CalculatePartialLoad, (), S_OK, ""),
    KXT_OP(CM, SetPartialLoadable, (-1), S_OK, ""), // no linkage
    KXT_OP(CM, GetPartialLoadable, (nullptr), S_OK, ""),
    KXT_OP(CM, RequestTemplateInstantiation, (nullptr, &x.object), E_NOTIMPL, "object"),
    KXT_OP(CM, ReleaseTemplateInstantiation, (nullptr), E_NOTIMPL, ""),
    KXT_OP(CM, ReportUnallowedLinkages, (nullptr, 0, nullptr), S_FALSE, ""),
    // The hooks CBComponentManagement adds.
    KXT_HOOK(CM, DoPutReferences, (), S_OK, ""),
    KXT_HOOK(CM, DoReleaseReferences, (), S_OK, ""),
    KXT_HOOK(CM, DoInitializeOperation, (), S_OK, ""), // no supervisor: nothing to register
    KXT_HOOK(CM, DoReleaseOperation, (), S_OK, ""),
    KXT_HOOK(CM, DoConnect, (), S_OK, ""),
    KXT_HOOK(CM, DoDisconnect, (), S_OK, ""),
    KXT_HOOK(CM, DoFinishConstruct, (), S_OK, ""),
    KXT_HOOK(CM, DoStartDestruct, (), S_OK, ""),
    KXT_HOOK(CM, CheckAllProperties, (), S_OK, ""),
    KXT_HOOK(CM, PropertiesCopied, (), S_OK, ""),
    KXT_HOOK(CM, PropertiesLoaded, (), S_OK, ""),
    KXT_HOOK(CM, DoCreatePropDependentDynObjects, (), S_OK, ""),
    KXT_HOOK(CM, DoDeletePropDependentDynObjects, (), S_OK, ""),
    KXT_HOOK(CM, DoPreparePropertyChange, (nullptr), S_OK, ""),
    KXT_HOOK(CM, DoPropertyChanged, (nullptr), S_OK, ""),
    KXT_HOOK(CM, DoMarkedPropertiesSet, (), S_OK, ""),
    KXT_HOOK(CM, DoFilterLinkageList, (nullptr, 0, nullptr, &x.count, &x.list), S_FALSE, ""),
    KXT_HOOK(CM, DoGetDefaultLinkage, (nullptr, x.guid), S_FALSE, ""),
    KXT_HOOK(CM, DoCheckPropertyValidity, (nullptr), S_OK, ""),
    KXT_HOOK(CM, DoIsClassPlugable, (GUID_NULL), S_OK, ""),
    KXT_HOOK(CM, DoSaveTranslator, (), S_OK, ""),
    KXT_HOOK(CM, DoGetModificationState, (&x.count), S_OK, "count"),
    KXT_HOOK(CM, DoSelectObject, (nullptr), S_OK, ""),
    KXT_HOOK(CM, DoDeselectObject, (), S_OK, ""),
    KXT_HOOK(CM, DoGetObjectsOfInterest, (nullptr, &x.count, &x.list), S_OK, "count list"),
    KXT_HOOK(CM, DoGetJumpData, (nullptr, &x.count, &x.list, &x.names, &x.paths), S_FALSE,
             "count list names paths"),
    KXT_HOOK(CM, DoGetSelectableObjects, (nullptr, &x.count, &x.names, &x.paths), S_OK,
             "count names paths"),
    KXT_HOOK(CM, DoStartPropertyTool, (nullptr, nullptr), S_FALSE, ""),
    KXT_HOOK(CM, DoGetPropertyToolResult, (nullptr, &x.text), S_OK, "text"),
    KXT_HOOK(CM, DoStopPropertyTool, (nullptr), S_OK, ""),
    KXT_HOOK(CM, DoAttachTool, (), S_OK, ""),
    KXT_HOOK(CM, DoDetachTool, (), S_OK, ""),
    KXT_HOOK(CM, DoGetDependencyGraph, (nullptr, &x.text), S_FALSE, "text"),
    KXT_HOOK(CM, DoCalculatePartialLoad, (), S_OK, ""),
    KXT_HOOK(CM, DoGetFilterCatids, (nullptr, &x.count, &x.ids), S_OK, "count ids"),
    KXT_HOOK(CM, DoRequestTemplateInstantiation, (nullptr, &x.object), E_NOTIMPL, "object"),
    KXT_HOOK(CM, DoReleaseTemplateInstantiation, (nullptr), E_NOTIMPL, ""),
    KXT_HOOK(CM, IsApartmentThreaded, () ? S_OK : S_FALSE, S_OK, ""), // true
    KXT_HOOK(CM, IsFreeThreaded, () ? S_OK : S_FALSE, S_OK, ""),
};
const Row kCoClassInfo[] = {
    // IKXCoClassInfo, after IUnknown's three, then the hooks CBCoClassInfo adds.
    KXT_SLOT(CI, GetIdentification),
    KXT_OP(CI, QueryAllInterfacesDescription, (&x.count, &x.ids, &x.names), S_OK, "names"),
    KXT_OP(CI, QueryAllInterfaces, (&x.count, &x.ids), S_OK, "ids"),
    KXT_OP(CI, QueryLinkageList, (&x.count, &x.linkages), S_OK, ""),
    KXT_OP(CI, QueryOutgoingCatIdList, (&x.count, &x.ids), S_OK, ""),
    KXT_SLOT(CI, QueryImplementedCatIdList),
    KXT_SLOT(CI, ImplementsCatId),
    KXT_SLOT(CI, QueryCharacteristicsList),
    KXT_SLOT(CI, GetImageName),
    KXT_OP(CI, GetComponentInfo,
           (&x.text, &x.guid, &x.text, &x.count, &x.ids, nullptr, nullptr, nullptr, nullptr,
            nullptr, nullptr, nullptr, &x.linkages, nullptr, nullptr, nullptr),
           S_OK, ""),
    KXT_SLOT(CI, GetMainCatid),
    KXT_SLOT(CI, DoGetIdentification),
    KXT_SLOT(CI, DoImplementsCatId),
    KXT_HOOK(CI, DoQueryOutgoingCatIdList, (&x.count, &x.ids), S_OK, ""),
    KXT_SLOT(CI, DoQueryImplementedCatIdList),
    KXT_SLOT(CI, DoQueryCharacteristicsList),
    KXT_SLOT(CI, DoGetImageName),
    KXT_SLOT(CI, DoGetMainCatid),
    KXT_SLOT(CI, DoGetParentCatIdList),
    KXT_SLOT(CI, GetThreadingModel),
};

void CheckRows(const Row* rows, size_t count) {
    TestCoClass coClass;
    auto* object = TestComponentObject::Create(&coClass.data);
    for (size_t i = 0; i < count; ++i) {
        const Row& row = rows[i];
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.slot, static_cast<long>(3 + i));
        Outs x;
        const Outs poison;
        if (row.call != nullptr) {
            EXPECT_EQ(row.call(object, x), row.result);
        }
        const std::string cleared = std::string(" ") + row.cleared + " ";
        auto check = [&](const char* field, bool isCleared, bool isPoison) {
            const bool named = cleared.find(std::string(" ") + field + " ") != std::string::npos;
            EXPECT_TRUE(named ? isCleared : isPoison) << field;
        };
        check("count", x.count == 0, x.count == poison.count);
        check("list", x.list == nullptr, x.list == poison.list);
        check("names", x.names == nullptr, x.names == poison.names);
        check("paths", x.paths == nullptr, x.paths == poison.paths);
        check("text", x.text == nullptr, x.text == poison.text);
        check("ids", x.ids == nullptr, x.ids == poison.ids);
        check("object", x.object == nullptr, x.object == poison.object);
        check("linkages", x.linkages == nullptr, x.linkages == poison.linkages);
        check("guid", IsEqualGUID(x.guid, GUID_NULL), IsEqualGUID(x.guid, poison.guid));
    }
    EXPECT_EQ(object->Release(), 0u);
}

TEST(ComponentTables, ComponentManagementOperationsThenHooks) {
    CheckRows(kComponentManagement, std::size(kComponentManagement));
}

TEST(ComponentTables, CoClassInfoOperationsThenHooks) {
    CheckRows(kCoClassInfo, std::size(kCoClassInfo));
}

// --- Behaviour beyond the fixed defaults ---

class OperationsTest : public ::testing::Test {
protected:
    void TearDown() override {
        ASSERT_EQ(object->ReleaseReferences(), S_OK);
        EXPECT_EQ(object->Release(), 0u);
    }
    FakeLinkage linkage;
    TestCoClass coClass;
    TestComponentObject* object = TestComponentObject::Create(&coClass.data);
};

TEST_F(OperationsTest, GettersHandOutReferencesAndCopies) {
    CountingUnknown supervisor;
    ASSERT_EQ(object->PutReferences(&supervisor, &linkage, 11, 0x203), S_OK);
    IUnknown* got = nullptr;
    IKXLinkage* gotLinkage = nullptr;
    ASSERT_EQ(object->GetSupervisor(&got), S_OK);
    ASSERT_EQ(object->GetIKXLinkage(&gotLinkage), S_OK);
    EXPECT_EQ(std::make_tuple(got, gotLinkage, supervisor.References(), linkage.References()),
              std::make_tuple(&supervisor, &linkage, 2L, 2L));
    got->Release();
    gotLinkage->Release();
    wchar_t name[] = L"Marker 2";
    ASSERT_EQ(object->SetObjectName(name), S_OK);
    name[0] = L'X'; // the stored name is a copy
    // Setting the stored name itself works (the copy is made first).
    ASSERT_EQ(object->SetObjectName(object->Data().m_bstrObjectName), S_OK);
    BSTR out = nullptr;
    ASSERT_EQ(object->GetObjectInfo(&out, nullptr), S_OK);
    EXPECT_NE(out, object->Data().m_bstrObjectName);
    EXPECT_EQ(std::wstring(out, SysStringLen(out)), L"Marker 2");
    SysFreeString(out);
    ASSERT_EQ(object->SetObjectName(nullptr), S_OK);
    EXPECT_EQ(object->Data().m_bstrObjectName, nullptr);
    ASSERT_EQ(object->ReleaseReferences(), S_OK);
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

// Only -1 (VARIANT_TRUE) is passed on to the linkage; tools are attached
// only where the low 8 bits of the location are 1.
TEST_F(OperationsTest, PartialLoadingAndTools) {
    object->results[Hook_AttachTool] = S_FALSE;
    object->results[Hook_DetachTool] = E_FAIL;
    short value = 7;
    for (long location : {0x100L, 0x101L, 0x7F01L, 0x102L}) {
        SCOPED_TRACE(location);
        ASSERT_EQ(object->PutReferences(nullptr, &linkage, 11, location), S_OK);
        const bool first = (location & 0xFF) == 1;
        EXPECT_EQ(object->AttachTool(), first ? S_FALSE : S_OK);
        EXPECT_EQ(object->DetachTool(), first ? E_FAIL : S_OK);
        EXPECT_EQ(object->SetPartialLoadable(static_cast<short>(location & 1 ? 1 : 0)), S_OK);
    }
    EXPECT_EQ(object->SetPartialLoadable(-1), S_OK);
    EXPECT_EQ(object->GetPartialLoadable(nullptr), S_OK);
    linkage.partialLoad[11] = -1;
    EXPECT_EQ(object->GetPartialLoadable(&value), S_OK);
    EXPECT_EQ(value, -1);
    EXPECT_EQ(linkage.calls, (Calls{"SetPartial 11 0", "GetPartial 11"}));
    EXPECT_EQ(object->calls[Hook_AttachTool] + object->calls[Hook_DetachTool], 4);
}

TEST_F(OperationsTest, PropertyStateAndErrorCountReachTheCaller) {
    long state = -1;
    object->SetToolEditAborted(); // cleared first
    object->reportPropertyError = true;
    object->results[Hook_CreateDynObjects] = E_FAIL; // not used
    EXPECT_EQ(object->CreatePropDependentDynObjects(&state), S_FALSE);
    EXPECT_EQ(state, 0x01);
    EXPECT_EQ(object->CreatePropDependentDynObjects(nullptr), S_FALSE);
    EXPECT_EQ(object->PropertyErrorCount(), 1); // cleared, then counted again
    object->SetOtherPropertiesChanged();
    EXPECT_EQ(object->GetModificationState(&state), S_OK);
    EXPECT_EQ(state, 0x05);
    object->ClearPropertyState();
    EXPECT_EQ(object->CBComponentManagement::DoGetPropertyToolResult(nullptr, nullptr), S_OK);
    EXPECT_EQ(object->ModificationState(), 0x10u); // tool edit finished
    object->results[Hook_DeleteDynObjects] = E_ABORT;
    EXPECT_EQ(object->DeletePropDependentDynObjects(), E_ABORT);
}

} // namespace
