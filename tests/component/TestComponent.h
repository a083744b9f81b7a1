// The component kit of the component tests.
//
// MakeGuid(first, last): fixed test GUIDs; FakeLinkage logs them by `first`.
// Ref(p): the reference count of a CKxComObject (one AddRef and Release).
// TestCoClass: a class description (CCoClassData) with its texts and
//   category tables, owned by the test; Refresh() after changing a table.
// TestComponent: CBComponentManagement, CBCoClassInfo, CBObjectRegistration
//   and CBInterfaceRegistration over its own CObjectData (whose lists the
//   registries serve). Every hook of the enum below counts its calls in
//   calls[] and answers results[] (S_OK runs the base's default where there
//   is one); GetIKXLinkage answers linkageResult once the base has answered.
//   Made only through CKxComObject and deleted by its last Release; Live()
//   counts the objects alive. TestComponentObject exposes
//   IKXComponentManagement and IKXCoClassInfo, RegistryObject both
//   registries too.
#pragma once

#include <platcompat.h>

#include <atomic>
#include <cstdint>
#include <vector>

#include "CBCoClassInfo.h"
#include "CBComponentManagement.h"
#include "CBInterfaceEnumeration.h"
#include "CBInterfaceRegistration.h"
#include "CBObjectRegistration.h"
#include "CCoClassData.h"
#include "CObjectData.h"
#include "CObjectList.h"
#include "KxComObject.h"
#include "KxInterfaces.h"
#include "common/FakeLinkage.h"

namespace KxTest {

inline GUID MakeGuid(uint32_t first, unsigned char last) {
    return GUID{first, 0x3C2D, 0x4E5F, {0x8A, 0x9B, 0x0C, 0x1D, 0x2E, 0x3F, 0x4A, last}};
}

inline ULONG Ref(IUnknown* object) {
    object->AddRef();
    return object->Release();
}

struct TestCoClass {
    TestCoClass() { Refresh(); }
    // clang-format off
    void Refresh() {
        data = {&name.m_str, &clsid, &description.m_str, Count(characteristics),
                Data(characteristics), &image.m_str, Count(implemented), Data(implemented),
                nullptr, nullptr, Count(parents), Data(parents)};
    }
    // clang-format on
    static long Count(const std::vector<GUID>& v) { return static_cast<long>(v.size()); }
    static const GUID* Data(const std::vector<GUID>& v) { return v.empty() ? nullptr : v.data(); }

    std::vector<GUID> implemented = {MakeGuid(0xCA700001, 1), MakeGuid(0xCA700002, 2)};
    std::vector<GUID> characteristics = {MakeGuid(0xC4A50001, 1), MakeGuid(0xC4A50002, 2),
                                         MakeGuid(0xC4A50003, 3)};
    std::vector<GUID> parents = {MakeGuid(0xBA500001, 1)};
    const CLSID clsid = MakeGuid(0xC1A55000, 1);
    CComBSTR name{L"KxTest.Component"}, description{L"TestComp"}, image{L"libKxTest.so"};
    KxTamarind::CCoClassData data{};
};

// clang-format off
enum Hook {
    Hook_PutReferences, Hook_FinishConstruct, Hook_InitializeOperation, Hook_Connect,
    Hook_Disconnect, Hook_ReleaseOperation, Hook_StartDestruct, Hook_ReleaseReferences,
    Hook_CreateDynObjects, Hook_DeleteDynObjects, Hook_AttachTool, Hook_DetachTool,
    Hook_QueryImplementedCatIds, Hook_QueryCharacteristics, Hook_ObjectRegistered,
    Hook_ObjectUnregistered, Hook_InterfaceRegistered, Hook_InterfaceUnregistered, Hook_Count
};
// clang-format on

// The interface enumerator the registry hands out.
class TestInterfaceEnumerator : public KxTamarind::CBInterfaceEnumeration {
protected:
    KxTamarind::IKXInterfaceEnumeration* CreateEnumeration() override { return nullptr; }
};

class TestComponent : public KxTamarind::CBComponentManagement,
                      public KxTamarind::CBCoClassInfo,
                      public KxTamarind::CBObjectRegistration,
                      public KxTamarind::CBInterfaceRegistration {
public:
    static std::atomic<long>& Live() {
        static std::atomic<long> live{0};
        return live;
    }
    // Without object data the component drives the checks against its absence.
    explicit TestComponent(KxTamarind::CCoClassData* classData, bool withObjectData = true)
        : m_ObjectData(this, classData, nullptr) {
        if (!withObjectData) {
            SetObjectDataReference(nullptr, classData, nullptr);
        }
        SetObjectList(&list);
        // The identification word carries the object's IUnknown, which a
        // supervisor's registry stores with its record.
        m_ObjectData.m_lIdentification = static_cast<long>(reinterpret_cast<uintptr_t>(Identity()));
        Live().fetch_add(1);
    }
    ~TestComponent() override { Live().fetch_sub(1); }

    KxTamarind::CObjectData& Data() { return m_ObjectData; }
    KxTamarind::InitializationState State() const { return m_ObjectData.m_eInitializationState; }
    IUnknown* Identity() { return static_cast<KxTamarind::IKXComponentManagement*>(this); }

    KxTamarind::CObjectList list;
    HRESULT results[Hook_Count] = {};
    int calls[Hook_Count] = {};
    HRESULT linkageResult = S_OK;
    GUID lastUnregistered = GUID_NULL; // by either registry
    long lastUnregisteredInstance = 0;
    bool reportPropertyError = false; // DoCreatePropDependentDynObjects counts one

    HRESULT DoPutReferences() override { return Called(Hook_PutReferences); }
    HRESULT DoReleaseReferences() override { return Called(Hook_ReleaseReferences); }
    HRESULT DoInitializeOperation() override {
        HRESULT hr = Called(Hook_InitializeOperation);
        return hr != S_OK ? hr : CBComponentManagement::DoInitializeOperation();
    }
    HRESULT DoReleaseOperation() override {
        HRESULT hr = Called(Hook_ReleaseOperation);
        return hr != S_OK ? hr : CBComponentManagement::DoReleaseOperation();
    }
    HRESULT DoConnect() override { return Called(Hook_Connect); }
    HRESULT DoDisconnect() override { return Called(Hook_Disconnect); }
    HRESULT DoFinishConstruct() override { return Called(Hook_FinishConstruct); }
    HRESULT DoStartDestruct() override { return Called(Hook_StartDestruct); }
    HRESULT DoCreatePropDependentDynObjects() override {
        if (reportPropertyError) {
            SetSubtreeChanged();
            PropertyError(nullptr, CAtlStringA("bad value"), nullptr);
        }
        return Called(Hook_CreateDynObjects);
    }
    HRESULT DoDeletePropDependentDynObjects() override { return Called(Hook_DeleteDynObjects); }
    HRESULT DoAttachTool() override { return Called(Hook_AttachTool); }
    HRESULT DoDetachTool() override { return Called(Hook_DetachTool); }
    HRESULT DoQueryImplementedCatIdList(long* pCount, GUID** ppIds) override {
        HRESULT hr = Called(Hook_QueryImplementedCatIds);
        return hr != S_OK ? hr : CBCoClassInfo::DoQueryImplementedCatIdList(pCount, ppIds);
    }
    HRESULT DoQueryCharacteristicsList(long* pCount, GUID** ppIds) override {
        HRESULT hr = Called(Hook_QueryCharacteristics);
        return hr != S_OK ? hr : CBCoClassInfo::DoQueryCharacteristicsList(pCount, ppIds);
    }
    // Claims free threading only, which must not change the threading model
    // that CBCoClassInfo reports.
    bool IsApartmentThreaded() override { return false; }
    STDMETHOD(GetIKXLinkage)(KxTamarind::IKXLinkage** ppLinkage) override {
        HRESULT hr = CBComponentManagement::GetIKXLinkage(ppLinkage);
        return linkageResult != S_OK ? linkageResult : hr;
    }

protected:
    HRESULT OnObjectRegistered(KxTamarind::ObjectIdentificationData*) override {
        return Called(Hook_ObjectRegistered);
    }
    HRESULT OnObjectUnregistered(GUID* pGuid, long instance) override {
        lastUnregistered = *pGuid;
        lastUnregisteredInstance = instance;
        return Called(Hook_ObjectUnregistered);
    }
    HRESULT OnInterfaceRegistered(KxTamarind::InterfaceIdentificationData*) override {
        return Called(Hook_InterfaceRegistered);
    }
    HRESULT OnInterfaceUnregistered(GUID const* pIid) override {
        lastUnregistered = *pIid;
        return Called(Hook_InterfaceUnregistered);
    }
    KxTamarind::IKXObjectEnumeration* CreateObjectEnumeration(GUID*) override { return nullptr; }
    KxTamarind::IKXInterfaceEnumeration* CreateInterfaceEnumeration() override {
        auto* made = KxTamarind::CKxComObject<TestInterfaceEnumerator,
                                              KxTamarind::IKXInterfaceEnumeration>::Create();
        made->SetMember(Identity(), &m_ObjectData.GetInterfaceList());
        m_ObjectData.GetInterfaceList().AddEnumeration(made);
        return made;
    }

private:
    HRESULT Called(Hook hook) {
        ++calls[hook];
        return results[hook];
    }
    KxTamarind::CObjectData m_ObjectData;
};

using TestComponentObject =
    KxTamarind::CKxComObject<TestComponent, KxTamarind::IKXComponentManagement,
                             KxTamarind::IKXCoClassInfo>;
using RegistryObject =
    KxTamarind::CKxComObject<TestComponent, KxTamarind::IKXComponentManagement,
                             KxTamarind::IKXCoClassInfo, KxTamarind::IKXObjectRegistration,
                             KxTamarind::IKXInterfaceRegistration>;

} // namespace KxTest
