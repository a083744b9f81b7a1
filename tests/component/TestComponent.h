// The component kit of the lifecycle, co-class and IUnknown-helper tests.
//
// TestCoClass: a class description (CCoClassData) with its texts and
//   category tables, owned by the test.
// MapLinkage: FakeLinkage plus a real registration map (GUID to navigation
//   handle: a GUID already taken answers S_FALSE, removing an unknown one
//   S_FALSE) and a recorded partial-load flag per navigation handle.
// TestComponent: CBComponentManagement + CBCoClassInfo over its own
//   CObjectData; every hook counts its calls and answers what the test set
//   (S_OK runs the base's default). Made through CKxComObject
//   (TestComponentObject), deleted by its last Release; Live() counts the
//   objects alive.
// SupervisorComponent: the same plus CBObjectRegistration over its own
//   CObjectList, i.e. a supervisor whose object registry the tests watch.
#pragma once

#include <platcompat.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <map>
#include <utility>
#include <vector>

#include "CBCoClassInfo.h"
#include "CBComponentManagement.h"
#include "CBObjectRegistration.h"
#include "CCoClassData.h"
#include "CObjectData.h"
#include "CObjectList.h"
#include "KxComObject.h"
#include "KxInterfaces.h"
#include "common/FakeLinkage.h"

namespace KxTest {

// {6B1E0A10-3C2D-4E5F-8A9B-0C1D2E3F4A01} and neighbours: fixed test values.
inline GUID MakeGuid(uint32_t first, unsigned char last) {
    return GUID{first, 0x3C2D, 0x4E5F, {0x8A, 0x9B, 0x0C, 0x1D, 0x2E, 0x3F, 0x4A, last}};
}

class TestCoClass {
public:
    TestCoClass()
        : m_name(SysAllocString(L"KxTest.Component")), m_description(SysAllocString(L"TestComp")),
          m_image(SysAllocString(L"libKxTestComponent.so")), m_clsid(MakeGuid(0xC1A55000, 1)) {
        implemented = {MakeGuid(0xCA700000, 1), MakeGuid(0xCA700000, 2)};
        characteristics = {MakeGuid(0xC4A50000, 1), MakeGuid(0xC4A50000, 2),
                           MakeGuid(0xC4A50000, 3)};
        parents = {MakeGuid(0xBA500000, 1)};
        Refresh();
    }
    ~TestCoClass() {
        SysFreeString(m_name);
        SysFreeString(m_description);
        SysFreeString(m_image);
    }
    TestCoClass(const TestCoClass&) = delete;
    TestCoClass& operator=(const TestCoClass&) = delete;

    // Points the description at the current tables (call after changing them).
    void Refresh() {
        data.m_pbstrName = &m_name;
        data.m_pClsid = &m_clsid;
        data.m_pbstrDescription = &m_description;
        data.m_lCharacteristicsCount = static_cast<long>(characteristics.size());
        data.m_pCharacteristics = characteristics.empty() ? nullptr : characteristics.data();
        data.m_pbstrImageName = &m_image;
        data.m_lImplementedCatIdCount = static_cast<long>(implemented.size());
        data.m_pImplementedCatIds = implemented.empty() ? nullptr : implemented.data();
        data.m_pReserved9 = nullptr;
        data.m_pReserved10 = nullptr;
        data.m_lParentCatIdCount = static_cast<long>(parents.size());
        data.m_pParentCatIds = parents.empty() ? nullptr : parents.data();
    }

    const CLSID& Clsid() const { return m_clsid; }
    const GUID& MainCategory() const { return implemented.front(); }

    std::vector<GUID> implemented;
    std::vector<GUID> characteristics;
    std::vector<GUID> parents;
    KxTamarind::CCoClassData data{};

private:
    BSTR m_name;
    BSTR m_description;
    BSTR m_image;
    CLSID m_clsid;
};

class MapLinkage : public FakeLinkage {
public:
    STDMETHOD(RegisterObject)(GUID* pObjectGuid, long navigationHandle) override {
        HRESULT hr = FakeLinkage::RegisterObject(pObjectGuid, navigationHandle);
        if (hr != S_OK) {
            return hr;
        }
        return registered.emplace(*pObjectGuid, navigationHandle).second ? S_OK : S_FALSE;
    }
    STDMETHOD(UnregisterObject)(GUID* pObjectGuid) override {
        HRESULT hr = FakeLinkage::UnregisterObject(pObjectGuid);
        if (hr != S_OK) {
            return hr;
        }
        return registered.erase(*pObjectGuid) == 1 ? S_OK : S_FALSE;
    }
    STDMETHOD(SetPartialLoad)(long navigationHandle, short value) override {
        setPartialCalls.emplace_back(navigationHandle, value);
        partialLoad[navigationHandle] = value;
        return S_OK;
    }
    STDMETHOD(GetPartialLoad)(long navigationHandle, short* pValue) override {
        ++getPartialCalls;
        auto it = partialLoad.find(navigationHandle);
        *pValue = it == partialLoad.end() ? 0 : it->second;
        return S_OK;
    }

    bool IsRegistered(const GUID& guid) const { return registered.count(guid) != 0; }

    struct Less {
        bool operator()(const GUID& a, const GUID& b) const {
            return std::memcmp(&a, &b, sizeof(GUID)) < 0;
        }
    };
    std::map<GUID, long, Less> registered;
    std::map<long, short> partialLoad;
    std::vector<std::pair<long, short>> setPartialCalls;
    int getPartialCalls = 0;
};

// The hooks a test can watch and make fail.
enum Hook {
    Hook_PutReferences,
    Hook_ReleaseReferences,
    Hook_InitializeOperation,
    Hook_ReleaseOperation,
    Hook_Connect,
    Hook_Disconnect,
    Hook_FinishConstruct,
    Hook_StartDestruct,
    Hook_CreateDynObjects,
    Hook_DeleteDynObjects,
    Hook_AttachTool,
    Hook_DetachTool,
    Hook_QueryImplementedCatIds,
    Hook_QueryCharacteristics,
    Hook_Count
};

class TestComponent : public KxTamarind::CBComponentManagement, public KxTamarind::CBCoClassInfo {
public:
    static std::atomic<long>& Live() {
        static std::atomic<long> live{0};
        return live;
    }

    // With withObjectData false the component has no CObjectData (to drive
    // the checks that guard against that).
    explicit TestComponent(KxTamarind::CCoClassData* classData, bool withObjectData = true)
        : m_ObjectData(withObjectData ? static_cast<KxTamarind::CObjectDataReferenceBase*>(this)
                                      : nullptr,
                       classData, nullptr) {
        if (!withObjectData) {
            SetObjectDataReference(nullptr, classData, nullptr);
        }
        // The identification word carries the object's IUnknown, which the
        // supervisor's registry stores with its record.
        m_ObjectData.m_lIdentification = static_cast<long>(reinterpret_cast<uintptr_t>(
            static_cast<IUnknown*>(static_cast<KxTamarind::IKXComponentManagement*>(this))));
        Live().fetch_add(1);
    }
    ~TestComponent() override { Live().fetch_sub(1); }

    KxTamarind::CObjectData& Data() { return m_ObjectData; }
    KxTamarind::InitializationState State() const { return m_ObjectData.m_eInitializationState; }
    IUnknown* Identity() {
        return static_cast<IUnknown*>(static_cast<KxTamarind::IKXComponentManagement*>(this));
    }

    HRESULT results[Hook_Count] = {};
    int calls[Hook_Count] = {};
    // Makes DoCreatePropDependentDynObjects count one property error.
    bool reportPropertyError = false;

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
    HRESULT DoQueryImplementedCatIdList(long* pCount, GUID** ppCatIds) override {
        HRESULT hr = Called(Hook_QueryImplementedCatIds);
        return hr != S_OK ? hr : CBCoClassInfo::DoQueryImplementedCatIdList(pCount, ppCatIds);
    }
    HRESULT DoQueryCharacteristicsList(long* pCount, GUID** ppCharacteristics) override {
        HRESULT hr = Called(Hook_QueryCharacteristics);
        return hr != S_OK ? hr
                          : CBCoClassInfo::DoQueryCharacteristicsList(pCount, ppCharacteristics);
    }
    // Claims free threading only, which must not change the threading model
    // that CBCoClassInfo reports.
    bool IsApartmentThreaded() override { return false; }

private:
    HRESULT Called(Hook hook) {
        ++calls[hook];
        return results[hook];
    }

    KxTamarind::CObjectData m_ObjectData;
};

typedef KxTamarind::CKxComObject<TestComponent, KxTamarind::IKXComponentManagement,
                                 KxTamarind::IKXCoClassInfo>
    TestComponentObject;

// A component with every default of the base classes (no hook overridden).
class PlainComponent : public KxTamarind::CBComponentManagement, public KxTamarind::CBCoClassInfo {
public:
    explicit PlainComponent(KxTamarind::CCoClassData* classData)
        : m_ObjectData(static_cast<KxTamarind::CObjectDataReferenceBase*>(this), classData,
                       nullptr) {}
    KxTamarind::CObjectData& Data() { return m_ObjectData; }

private:
    KxTamarind::CObjectData m_ObjectData;
};

typedef KxTamarind::CKxComObject<PlainComponent, KxTamarind::IKXComponentManagement,
                                 KxTamarind::IKXCoClassInfo>
    PlainComponentObject;

class SupervisorComponent : public KxTamarind::CBComponentManagement,
                            public KxTamarind::CBCoClassInfo,
                            public KxTamarind::CBObjectRegistration {
public:
    static std::atomic<long>& Live() {
        static std::atomic<long> live{0};
        return live;
    }
    explicit SupervisorComponent(KxTamarind::CCoClassData* classData)
        : m_ObjectData(static_cast<KxTamarind::CObjectDataReferenceBase*>(this), classData,
                       nullptr) {
        SetObjectList(&list);
        Live().fetch_add(1);
    }
    ~SupervisorComponent() override { Live().fetch_sub(1); }

    KxTamarind::CObjectList list;
    int registeredCalls = 0;
    int unregisteredCalls = 0;
    GUID lastUnregisteredGuid = GUID_NULL;
    long lastUnregisteredInstance = 0;

protected:
    HRESULT OnObjectRegistered(KxTamarind::ObjectIdentificationData*) override {
        ++registeredCalls;
        return S_OK;
    }
    HRESULT OnObjectUnregistered(GUID* pObjectGuid, long instanceNumber) override {
        ++unregisteredCalls;
        lastUnregisteredGuid = *pObjectGuid;
        lastUnregisteredInstance = instanceNumber;
        return S_OK;
    }
    KxTamarind::IKXObjectEnumeration* CreateObjectEnumeration(GUID*) override { return nullptr; }

private:
    KxTamarind::CObjectData m_ObjectData;
};

typedef KxTamarind::CKxComObject<SupervisorComponent, KxTamarind::IKXComponentManagement,
                                 KxTamarind::IKXCoClassInfo, KxTamarind::IKXObjectRegistration>
    SupervisorObject;

} // namespace KxTest
