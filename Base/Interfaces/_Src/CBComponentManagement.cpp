#include "CBComponentManagement.h"

#include <cassert>
#include <cstdint>
#include <cwchar>
#include <new>
#include <string>

#include "CCoClassData.h"
#include "IKXObjectRegistration.h"
#include "KxErrorReporting.h"
#include "KxInterfaces.h"
#include "KxRoot.h"

namespace KxTamarind {

namespace {

const char* const kSource = "Base/Interfaces/_Src/CBComponentManagement";

const char* const kObjectDataCondition = "m_pObjectData != NULL";
const char* const kObjectDataMessage = "m_pobjectData is not initialized";
const char* const kDuplicateGuidMessage =
    "object could not be registered due to duplicate 'ObjectGuid'";

const char* StateCondition(InitializationState state) {
    switch (state) {
    case InitializationState_Created:
        return "m_pObjectData->m_eInitializationState == "
               "InitializationState_Created";
    case InitializationState_Constructed:
        return "m_pObjectData->m_eInitializationState == "
               "InitializationState_Constructed";
    case InitializationState_Initialized:
        return "m_pObjectData->m_eInitializationState == "
               "InitializationState_Initialized";
    case InitializationState_Connected:
        return "m_pObjectData->m_eInitializationState == "
               "InitializationState_Connected";
    }
    return "false";
}

// Releases an interface obtained by QueryInterface when the scope ends, also
// when the registry raises an error through us.
template <class I>
class ReleaseOnExit {
public:
    explicit ReleaseOnExit(I* p) : m_p(p) {}
    ~ReleaseOnExit() {
        if (m_p != nullptr) {
            m_p->Release();
        }
    }
    ReleaseOnExit(const ReleaseOnExit&) = delete;
    ReleaseOnExit& operator=(const ReleaseOnExit&) = delete;

private:
    I* m_p;
};

void AppendText(std::wstring& out, const wchar_t* text) {
    if (text != nullptr) {
        out += text;
    }
}

} // namespace

CBComponentManagement::CBComponentManagement() = default;

CBComponentManagement::~CBComponentManagement() = default;

void CBComponentManagement::CheckObjectData() {
    if (m_pObjectData == nullptr) {
        ThrowError(kObjectDataCondition, kSource, KX_SOURCE_TIMESTAMP, __LINE__, Origin(), nullptr,
                   nullptr, kObjectDataMessage, E_POINTER);
    }
}

void CBComponentManagement::CheckState(InitializationState required, const char* message,
                                       int line) {
    if (m_pObjectData->m_eInitializationState != required) {
        ThrowError(StateCondition(required), kSource, KX_SOURCE_TIMESTAMP, line, Origin(), nullptr,
                   nullptr, message, E_KX_HRESULT_ASSERT_FAILED);
    }
}

void CBComponentManagement::CheckHook(HRESULT hr, const char* condition, const char* message,
                                      int line) {
    if (hr != S_OK) {
        ThrowError(condition, kSource, KX_SOURCE_TIMESTAMP, line, Origin(), nullptr, nullptr,
                   message, hr);
    }
}

void CBComponentManagement::RegisterToLinkageOrRaise(int line) {
    if (!m_pObjectData->RegisterToLinkage()) {
        ThrowError("stop on error", kSource, KX_SOURCE_TIMESTAMP, line, Origin(), nullptr, nullptr,
                   kDuplicateGuidMessage, E_KX_HRESULT_ASSERT_FAILED);
    }
}

// --- Wiring and identity ---

STDMETHODIMP CBComponentManagement::PutReferences(IUnknown* pSupervisor, IKXLinkage* pLinkage,
                                                  long navigationHandle, long logicalLocation) {
    CheckObjectData();
    CheckState(InitializationState_Created, "invalid state while PutReferences", __LINE__);
    // Take the new reference before dropping the old one: both may be the
    // same object.
    if (pSupervisor != nullptr) {
        pSupervisor->AddRef();
    }
    IUnknown* oldSupervisor = m_pObjectData->m_pIUnknownSupervisor;
    m_pObjectData->m_pIUnknownSupervisor = pSupervisor;
    if (oldSupervisor != nullptr) {
        oldSupervisor->Release();
    }
    if (pLinkage != nullptr) {
        pLinkage->AddRef();
    }
    IKXLinkage* oldLinkage = m_pObjectData->m_pIKXLinkage;
    m_pObjectData->m_pIKXLinkage = pLinkage;
    if (oldLinkage != nullptr) {
        oldLinkage->Release();
    }
    m_pObjectData->m_lNavigationHandle = navigationHandle;
    m_pObjectData->m_lLogicalLocation = logicalLocation;
    CheckHook(DoPutReferences(), "DoPutReferences() == S_OK",
              "DoPutReferences in component specific implementation failed", __LINE__);
    return S_OK;
}

STDMETHODIMP CBComponentManagement::GetRoot(IUnknown** ppRoot) {
    CheckObjectData();
    // A programming error of the caller; release builds answer E_POINTER
    // instead of writing through null.
    assert(ppRoot != nullptr);
    if (ppRoot == nullptr) {
        return E_POINTER;
    }
    *ppRoot = nullptr;
    IKXInterfaceRegistration* registry = nullptr;
    KxTamarind::GetRoot(&registry);
    if (registry != nullptr) {
        ReleaseOnExit<IKXInterfaceRegistration> release(registry);
        registry->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(ppRoot));
    }
    return S_OK;
}

STDMETHODIMP CBComponentManagement::GetSupervisor(IUnknown** ppSupervisor) {
    CheckObjectData();
    assert(ppSupervisor != nullptr);
    if (ppSupervisor == nullptr) {
        return E_POINTER;
    }
    *ppSupervisor = m_pObjectData->m_pIUnknownSupervisor;
    if (*ppSupervisor != nullptr) {
        (*ppSupervisor)->AddRef();
    }
    return S_OK;
}

STDMETHODIMP CBComponentManagement::GetIKXLinkage(IKXLinkage** ppLinkage) {
    CheckObjectData();
    assert(ppLinkage != nullptr);
    if (ppLinkage == nullptr) {
        return E_POINTER;
    }
    *ppLinkage = m_pObjectData->m_pIKXLinkage;
    if (*ppLinkage != nullptr) {
        (*ppLinkage)->AddRef();
    }
    return S_OK;
}

STDMETHODIMP CBComponentManagement::GetNavigationHandle(long* pHandle) {
    CheckObjectData();
    if (pHandle == nullptr) {
        return E_POINTER;
    }
    *pHandle = m_pObjectData->m_lNavigationHandle;
    return S_OK;
}

STDMETHODIMP CBComponentManagement::GetLogicalLocation(long* pLocation) {
    CheckObjectData();
    if (pLocation == nullptr) {
        return E_POINTER;
    }
    *pLocation = m_pObjectData->m_lLogicalLocation;
    return S_OK;
}

STDMETHODIMP CBComponentManagement::GetObjectInfo(wchar_t** pName, GUID* pGuid) {
    CheckObjectData();
    if (pName != nullptr) {
        BSTR name = m_pObjectData->m_bstrObjectName;
        *pName = SysAllocStringLen(name, SysStringLen(name));
        if (*pName == nullptr) {
            return E_OUTOFMEMORY;
        }
    }
    if (pGuid != nullptr) {
        *pGuid = m_pObjectData->ObjectGuid;
    }
    return S_OK;
}

STDMETHODIMP CBComponentManagement::SetObjectName(wchar_t* name) {
    CheckObjectData();
    // Copy before freeing: `name` may be the stored name itself.
    BSTR copy = SysAllocString(name);
    if (name != nullptr && copy == nullptr) {
        return E_OUTOFMEMORY;
    }
    SysFreeString(m_pObjectData->m_bstrObjectName);
    m_pObjectData->m_bstrObjectName = copy;
    return S_OK;
}

STDMETHODIMP CBComponentManagement::SetObjectGuid(GUID* pGuid) {
    if (pGuid == nullptr || m_pObjectData == nullptr) {
        return S_OK;
    }
    m_pObjectData->UnregisterFromLinkage();
    m_pObjectData->ObjectGuid = *pGuid;
    RegisterToLinkageOrRaise(__LINE__);
    return S_OK;
}

// --- Lifecycle ---

STDMETHODIMP CBComponentManagement::FinishConstruct() {
    CheckObjectData();
    CheckState(InitializationState_Created, "invalid state while FinishConstruct", __LINE__);
    RegisterToLinkageOrRaise(__LINE__);
    CheckHook(DoFinishConstruct(), "DoFinishConstruct() == S_OK",
              "DoFinishConstruct in component specific implementation failed", __LINE__);
    m_pObjectData->m_eInitializationState = InitializationState_Constructed;
    // The object is constructed even when its property-dependent objects
    // could not be made; the caller learns it from S_FALSE.
    return DoCreatePropDependentDynObjects() == S_OK ? S_OK : S_FALSE;
}

STDMETHODIMP CBComponentManagement::InitializeOperation() {
    CheckObjectData();
    CheckState(InitializationState_Constructed, "invalid state while InitializeOperation",
               __LINE__);
    CheckHook(DoInitializeOperation(), "DoInitializeOperation() == S_OK",
              "DoInitializeOperation in component specific implementation failed", __LINE__);
    m_pObjectData->m_eInitializationState = InitializationState_Initialized;
    return S_OK;
}

STDMETHODIMP CBComponentManagement::Connect() {
    CheckObjectData();
    CheckState(InitializationState_Initialized, "invalid state while Connect", __LINE__);
    CheckHook(DoConnect(), "DoConnect() == S_OK",
              "DoConnect in component specific implementation failed", __LINE__);
    m_pObjectData->m_eInitializationState = InitializationState_Connected;
    return S_OK;
}

STDMETHODIMP CBComponentManagement::Disconnect() {
    CheckObjectData();
    CheckState(InitializationState_Connected, "invalid state while Disconnect", __LINE__);
    CheckHook(DoDisconnect(), "DoDisconnect() == S_OK",
              "DoDisconnect in component specific implementation failed", __LINE__);
    m_pObjectData->m_eInitializationState = InitializationState_Initialized;
    return S_OK;
}

STDMETHODIMP CBComponentManagement::ReleaseOperation() {
    CheckObjectData();
    CheckState(InitializationState_Initialized, "invalid state while ReleaseOperation", __LINE__);
    CheckHook(DoReleaseOperation(), "DoReleaseOperation() == S_OK",
              "DoReleaseOperation in component specific implementation failed", __LINE__);
    m_pObjectData->m_eInitializationState = InitializationState_Constructed;
    return S_OK;
}

STDMETHODIMP CBComponentManagement::StartDestruct() {
    CheckObjectData();
    CheckState(InitializationState_Constructed, "invalid state while StartDestruct", __LINE__);
    CheckHook(DoStartDestruct(), "DoStartDestruct() == S_OK",
              "DoStartDestruct in component specific implementation failed", __LINE__);
    m_pObjectData->m_eInitializationState = InitializationState_Created;
    // Tear-down goes on after this failure: it is reported, not raised.
    if (DoDeletePropDependentDynObjects() != S_OK) {
        ReportDeleteDynObjectsFailed();
    }
    m_pObjectData->UnregisterFromLinkage();
    return S_OK;
}

void CBComponentManagement::ReportDeleteDynObjectsFailed() {
    const wchar_t* componentName = nullptr;
    if (m_pCoClassData != nullptr && m_pCoClassData->m_pbstrDescription != nullptr) {
        componentName = *m_pCoClassData->m_pbstrDescription;
    }
    LPOLESTR guidText = nullptr;
    if (FAILED(StringFromCLSID(m_pObjectData->ObjectGuid, &guidText))) {
        guidText = nullptr;
    }
    // The first two texts run together without a break; readers of the
    // device log rely on this exact text.
    std::wstring text = L"DeletePropertyDependentDynamicObbjects failed";
    text += L"Component: ";
    AppendText(text, componentName);
    text += L"\n";
    text += L"ObjectName: ";
    AppendText(text, m_pObjectData->m_bstrObjectName);
    text += L"\n";
    text += L"Guid: ";
    AppendText(text, guidText);
    text += L"\n";
    CoTaskMemFree(guidText);

    // Most reports fit the stack buffer; longer ones get a heap buffer, and
    // if even that fails the report is cut to the stack buffer rather than
    // lost.
    char stackBuffer[128] = {};
    char* narrow = stackBuffer;
    int size = WideCharToMultiByte(CP_ACP, 0, text.c_str(), -1, nullptr, 0, nullptr, nullptr);
    char* heapBuffer = nullptr;
    if (size > static_cast<int>(sizeof(stackBuffer))) {
        heapBuffer = new (std::nothrow) char[static_cast<size_t>(size)];
    }
    int capacity = static_cast<int>(sizeof(stackBuffer));
    if (heapBuffer != nullptr) {
        narrow = heapBuffer;
        capacity = size;
    }
    int written =
        WideCharToMultiByte(CP_ACP, 0, text.c_str(), -1, narrow, capacity, nullptr, nullptr);
    if (written <= 0) {
        // Too long for the buffer: keep what fits, terminated.
        narrow[capacity - 1] = '\0';
    }
    RepairError("false", kSource, KX_SOURCE_TIMESTAMP, __LINE__, Origin(), nullptr, nullptr, narrow,
                E_KX_HRESULT_ASSERT_REPAIRED, nullptr);
    delete[] heapBuffer;
}

STDMETHODIMP CBComponentManagement::ReleaseReferences() {
    CheckObjectData();
    CheckState(InitializationState_Created, "invalid state while ReleaseReferences", __LINE__);
    CheckHook(DoReleaseReferences(), "DoReleaseReferences() == S_OK",
              "DoReleaseReferences in component specific implementation failed", __LINE__);
    // Clear each field before the release, so that a release that calls
    // back into this object finds no stale pointer.
    if (m_pObjectData->m_pIUnknownSupervisor != nullptr) {
        IUnknown* supervisor = m_pObjectData->m_pIUnknownSupervisor;
        m_pObjectData->m_pIUnknownSupervisor = nullptr;
        supervisor->Release();
    }
    if (m_pObjectData->m_pIKXLinkage != nullptr) {
        IKXLinkage* linkage = m_pObjectData->m_pIKXLinkage;
        m_pObjectData->m_pIKXLinkage = nullptr;
        linkage->Release();
    }
    return S_OK;
}

// --- Property and XML defaults ---

STDMETHODIMP CBComponentManagement::LoadPropertiesByXMLString(unsigned char*, unsigned long,
                                                              unsigned long*) {
    return S_FALSE;
}

STDMETHODIMP CBComponentManagement::SetPropertiesByXMLString(unsigned char*, unsigned long,
                                                             unsigned long*, long*) {
    return S_FALSE;
}

STDMETHODIMP CBComponentManagement::GetPropertiesAsXMLString(unsigned char**, unsigned long*) {
    return S_FALSE;
}

STDMETHODIMP CBComponentManagement::SetPropertyByXMLString(wchar_t*, short, long*) {
    return S_FALSE;
}

STDMETHODIMP CBComponentManagement::GetPropertyAsXMLString(wchar_t*, wchar_t**) {
    return S_FALSE;
}

STDMETHODIMP CBComponentManagement::SetMarkedPropertiesByXMLString(wchar_t*) {
    return S_FALSE;
}

STDMETHODIMP CBComponentManagement::GetMarkedPropertiesAsXMLString(wchar_t**) {
    return S_FALSE;
}

STDMETHODIMP CBComponentManagement::DeleteAllMarkedProperties() {
    return S_OK;
}

STDMETHODIMP CBComponentManagement::GetPropertyInfo(long, wchar_t**, long*, wchar_t***, wchar_t***,
                                                    wchar_t***) {
    return S_FALSE;
}

STDMETHODIMP CBComponentManagement::GetPropertyInfoXMLPath(wchar_t*, wchar_t**, long*, wchar_t***,
                                                           wchar_t***, wchar_t***) {
    return S_FALSE;
}

STDMETHODIMP CBComponentManagement::DeletePropertyIndex(long, wchar_t*, long*) {
    return S_FALSE;
}

STDMETHODIMP CBComponentManagement::InsertPropertyIndex(long, wchar_t*, wchar_t*, long*) {
    return S_FALSE;
}

STDMETHODIMP CBComponentManagement::MovePropertyIndex(long, long, wchar_t*, long*) {
    return S_FALSE;
}

STDMETHODIMP CBComponentManagement::PerformPropertiesLoaded(long*) {
    return S_OK;
}

STDMETHODIMP CBComponentManagement::PerformCheckAllProperties(long*) {
    return S_OK;
}

STDMETHODIMP
CBComponentManagement::CreatePropDependentDynObjects(long* pModificationState) {
    ClearPropertyState();
    DoCreatePropDependentDynObjects();
    if (pModificationState != nullptr) {
        *pModificationState = static_cast<long>(ModificationState());
    }
    return PropertyErrorCount() > 0 ? S_FALSE : S_OK;
}

STDMETHODIMP CBComponentManagement::DeletePropDependentDynObjects() {
    return DoDeletePropDependentDynObjects();
}

STDMETHODIMP CBComponentManagement::FilterLinkageList(wchar_t*, long, long*, long*, long**) {
    return S_FALSE;
}

STDMETHODIMP CBComponentManagement::GetDefaultLinkage(wchar_t*, GUID*) {
    return S_FALSE;
}

STDMETHODIMP CBComponentManagement::RegisterReferencedObjects() {
    return S_FALSE;
}

STDMETHODIMP CBComponentManagement::UnregisterReferencedObjects() {
    return S_FALSE;
}

STDMETHODIMP CBComponentManagement::GetReferencingObjects(long*, long**) {
    return S_FALSE;
}

STDMETHODIMP CBComponentManagement::GetReferencedObjects(long*, long**) {
    return S_FALSE;
}

STDMETHODIMP CBComponentManagement::IsClassPlugable(GUID clsid) {
    return DoIsClassPlugable(clsid);
}

STDMETHODIMP CBComponentManagement::GetFilterCatids(wchar_t*, long*, GUID**) {
    return S_FALSE;
}

STDMETHODIMP CBComponentManagement::SaveTranslator() {
    return DoSaveTranslator();
}

STDMETHODIMP CBComponentManagement::GetModificationState(long* pState) {
    return DoGetModificationState(pState);
}

STDMETHODIMP CBComponentManagement::SelectObject(wchar_t*) {
    return S_OK;
}

STDMETHODIMP CBComponentManagement::DeselectObject() {
    return S_OK;
}

STDMETHODIMP CBComponentManagement::GetObjectsOfInterest(wchar_t*, long* pCount, long** ppList) {
    if (pCount != nullptr) {
        *pCount = 0;
    }
    if (ppList != nullptr) {
        *ppList = nullptr;
    }
    return S_OK;
}

STDMETHODIMP CBComponentManagement::GetJumpData(wchar_t*, long* pCount, long** ppList,
                                                wchar_t*** pNames, wchar_t***) {
    if (pCount != nullptr) {
        *pCount = 0;
    }
    if (ppList != nullptr) {
        *ppList = nullptr;
    }
    if (pNames != nullptr) {
        *pNames = nullptr;
    }
    return S_OK;
}

STDMETHODIMP CBComponentManagement::GetSelectableObjects(wchar_t*, long* pCount, wchar_t*** pNames,
                                                         wchar_t***) {
    if (pCount != nullptr) {
        *pCount = 0;
    }
    if (pNames != nullptr) {
        *pNames = nullptr;
    }
    return S_OK;
}

STDMETHODIMP CBComponentManagement::StartPropertyTool(wchar_t*, wchar_t*) {
    return S_OK;
}

STDMETHODIMP CBComponentManagement::GetPropertyToolResult(wchar_t*, long*, wchar_t**) {
    return S_OK;
}

STDMETHODIMP CBComponentManagement::StopPropertyTool(wchar_t*) {
    return S_OK;
}

STDMETHODIMP CBComponentManagement::AttachTool() {
    if (m_pObjectData != nullptr && (m_pObjectData->m_lLogicalLocation & 0xFF) == 1) {
        return DoAttachTool();
    }
    return S_OK;
}

STDMETHODIMP CBComponentManagement::DetachTool() {
    if (m_pObjectData != nullptr && (m_pObjectData->m_lLogicalLocation & 0xFF) == 1) {
        return DoDetachTool();
    }
    return S_OK;
}

STDMETHODIMP CBComponentManagement::GetDependencyGraph(wchar_t* path, wchar_t** pGraph) {
    return DoGetDependencyGraph(path, pGraph);
}

STDMETHODIMP CBComponentManagement::CalculatePartialLoad() {
    return DoCalculatePartialLoad();
}

STDMETHODIMP CBComponentManagement::SetPartialLoadable(short value) {
    // Only VARIANT_TRUE is passed on; the linkage is told (handle, 0).
    if (value == -1 && m_pObjectData != nullptr && m_pObjectData->m_pIKXLinkage != nullptr) {
        m_pObjectData->m_pIKXLinkage->SetPartialLoad(m_pObjectData->m_lNavigationHandle, 0);
    }
    return S_OK;
}

STDMETHODIMP CBComponentManagement::GetPartialLoadable(short* pValue) {
    if (pValue == nullptr) {
        return S_OK;
    }
    *pValue = 0;
    if (m_pObjectData != nullptr && m_pObjectData->m_pIKXLinkage != nullptr) {
        m_pObjectData->m_pIKXLinkage->GetPartialLoad(m_pObjectData->m_lNavigationHandle, pValue);
    }
    return S_OK;
}

STDMETHODIMP
CBComponentManagement::RequestTemplateInstantiation(IUnknown* pTemplate, IUnknown** ppInstance) {
    return DoRequestTemplateInstantiation(pTemplate, ppInstance);
}

STDMETHODIMP
CBComponentManagement::ReleaseTemplateInstantiation(IUnknown* pInstance) {
    return DoReleaseTemplateInstantiation(pInstance);
}

STDMETHODIMP CBComponentManagement::ReportUnallowedLinkages(wchar_t*, long, GUID*) {
    return S_FALSE;
}

// --- Hook defaults ---

HRESULT CBComponentManagement::DoPutReferences() {
    return S_OK;
}

HRESULT CBComponentManagement::DoReleaseReferences() {
    return S_OK;
}

HRESULT CBComponentManagement::DoInitializeOperation() {
    CheckObjectData();
    if (m_pObjectData->m_pIUnknownSupervisor != nullptr) {
        HRESULT hr = RegisterToOtherObject(m_pObjectData->m_pIUnknownSupervisor);
        if (hr != S_OK) {
            ThrowError("RegisterToOtherObject(m_pObjectData->m_pIUnknownSupervisor) == S_OK",
                       kSource, KX_SOURCE_TIMESTAMP, __LINE__, Origin(), nullptr, nullptr,
                       "RegisterToOtherObject failed", hr);
        }
    }
    return S_OK;
}

HRESULT CBComponentManagement::DoReleaseOperation() {
    CheckObjectData();
    if (m_pObjectData->m_pIUnknownSupervisor != nullptr) {
        HRESULT hr = UnregisterFromOtherObject(m_pObjectData->m_pIUnknownSupervisor);
        if (hr != S_OK) {
            ThrowError("UnregisterFromOtherObject(m_pObjectData->m_"
                       "pIUnknownSupervisor) == S_OK",
                       kSource, KX_SOURCE_TIMESTAMP, __LINE__, Origin(), nullptr, nullptr,
                       "UnregisterToOtherObject failed", hr);
        }
    }
    return S_OK;
}

HRESULT CBComponentManagement::DoConnect() {
    return S_OK;
}

HRESULT CBComponentManagement::DoDisconnect() {
    return S_OK;
}

HRESULT CBComponentManagement::DoFinishConstruct() {
    return S_OK;
}

HRESULT CBComponentManagement::DoStartDestruct() {
    return S_OK;
}

HRESULT CBComponentManagement::CheckAllProperties() {
    return S_OK;
}

HRESULT CBComponentManagement::PropertiesCopied() {
    return S_OK;
}

HRESULT CBComponentManagement::PropertiesLoaded() {
    return S_OK;
}

HRESULT CBComponentManagement::DoCreatePropDependentDynObjects() {
    return S_OK;
}

HRESULT CBComponentManagement::DoDeletePropDependentDynObjects() {
    return S_OK;
}

HRESULT CBComponentManagement::DoPreparePropertyChange(CPropertyHelper*) {
    return S_OK;
}

HRESULT CBComponentManagement::DoPropertyChanged(CPropertyHelper*) {
    return S_OK;
}

HRESULT CBComponentManagement::DoMarkedPropertiesSet() {
    return S_OK;
}

HRESULT CBComponentManagement::DoFilterLinkageList(CPropertyHelper*, long, long*, long*, long**) {
    return S_FALSE;
}

HRESULT CBComponentManagement::DoGetDefaultLinkage(CPropertyHelper*, GUID&) {
    return S_FALSE;
}

HRESULT CBComponentManagement::DoCheckPropertyValidity(CPropertyHelper*) {
    return S_OK;
}

HRESULT CBComponentManagement::DoIsClassPlugable(GUID) {
    return S_OK;
}

HRESULT CBComponentManagement::DoSaveTranslator() {
    return S_OK;
}

HRESULT CBComponentManagement::DoGetModificationState(long* pState) {
    if (pState != nullptr) {
        *pState = static_cast<long>(ModificationState());
    }
    return S_OK;
}

HRESULT CBComponentManagement::DoSelectObject(CPropertyHelper*) {
    return S_OK;
}

HRESULT CBComponentManagement::DoDeselectObject() {
    return S_OK;
}

HRESULT CBComponentManagement::DoGetObjectsOfInterest(CPropertyHelper*, long* pCount,
                                                      long** ppList) {
    if (pCount != nullptr) {
        *pCount = 0;
    }
    if (ppList != nullptr) {
        *ppList = nullptr;
    }
    return S_OK;
}

HRESULT CBComponentManagement::DoGetJumpData(CPropertyHelper*, long* pCount, long** ppList,
                                             wchar_t*** pNames, wchar_t*** pPaths) {
    if (pCount != nullptr) {
        *pCount = 0;
    }
    if (ppList != nullptr) {
        *ppList = nullptr;
    }
    if (pNames != nullptr) {
        *pNames = nullptr;
    }
    if (pPaths != nullptr) {
        *pPaths = nullptr;
    }
    return S_FALSE;
}

HRESULT CBComponentManagement::DoGetSelectableObjects(CPropertyHelper*, long* pCount,
                                                      wchar_t*** pNames, wchar_t*** pPaths) {
    if (pCount != nullptr) {
        *pCount = 0;
    }
    if (pNames != nullptr) {
        *pNames = nullptr;
    }
    if (pPaths != nullptr) {
        *pPaths = nullptr;
    }
    return S_OK;
}

HRESULT CBComponentManagement::DoStartPropertyTool(CPropertyHelper*, wchar_t*) {
    return S_FALSE;
}

HRESULT CBComponentManagement::DoGetPropertyToolResult(CPropertyHelper*, wchar_t** pResult) {
    SetToolEditFinished();
    if (pResult != nullptr) {
        *pResult = nullptr;
    }
    return S_OK;
}

HRESULT CBComponentManagement::DoStopPropertyTool(CPropertyHelper*) {
    return S_OK;
}

HRESULT CBComponentManagement::DoAttachTool() {
    return S_OK;
}

HRESULT CBComponentManagement::DoDetachTool() {
    return S_OK;
}

HRESULT CBComponentManagement::DoGetDependencyGraph(wchar_t*, wchar_t** pGraph) {
    if (pGraph != nullptr) {
        *pGraph = nullptr;
    }
    return S_FALSE;
}

HRESULT CBComponentManagement::DoCalculatePartialLoad() {
    return S_OK;
}

HRESULT CBComponentManagement::DoGetFilterCatids(CPropertyHelper*, long* pCount, GUID** ppIds) {
    if (pCount != nullptr) {
        *pCount = 0;
    }
    if (ppIds != nullptr) {
        *ppIds = nullptr;
    }
    return S_OK;
}

HRESULT
CBComponentManagement::DoRequestTemplateInstantiation(IUnknown*, IUnknown** ppInstance) {
    if (ppInstance != nullptr) {
        *ppInstance = nullptr;
    }
    return E_NOTIMPL;
}

HRESULT CBComponentManagement::DoReleaseTemplateInstantiation(IUnknown*) {
    return E_NOTIMPL;
}

bool CBComponentManagement::IsApartmentThreaded() {
    return true;
}

bool CBComponentManagement::IsFreeThreaded() {
    return true;
}

// --- Registration at another object ---

HRESULT CBComponentManagement::RegisterToOtherObject(IUnknown* pIUnkOther) {
    if (pIUnkOther == nullptr) {
        ThrowError("pIUnkOther != NULL", kSource, KX_SOURCE_TIMESTAMP, __LINE__, Origin(), nullptr,
                   nullptr, "RegisterToOtherObject failed: wrong parameter pIUnkOther", E_POINTER);
    }
    IKXObjectRegistration* pIKXObjectRegistration = nullptr;
    pIUnkOther->QueryInterface(__uuidof(IKXObjectRegistration),
                               reinterpret_cast<void**>(&pIKXObjectRegistration));
    if (pIKXObjectRegistration == nullptr) {
        ThrowError("pIKXObjectRegistration != NULL", kSource, KX_SOURCE_TIMESTAMP, __LINE__,
                   Origin(), nullptr, nullptr,
                   "RegisterToOtherObject failed: IKXObjectRegistration not avalable", E_POINTER);
    }
    ReleaseOnExit<IKXObjectRegistration> release(pIKXObjectRegistration);
    ObjectIdentificationData data;
    HRESULT hr = CopyObjectIdentificationData(&data);
    if (FAILED(hr)) {
        return hr;
    }
    return pIKXObjectRegistration->RegisterObject(&data);
}

HRESULT CBComponentManagement::UnregisterFromOtherObject(IUnknown* pIUnkOther) {
    if (pIUnkOther == nullptr) {
        ThrowError("pIUnkOther != NULL", kSource, KX_SOURCE_TIMESTAMP, __LINE__, Origin(), nullptr,
                   nullptr, "UnregisterFromOtherObject failed: wrong parameter pIUnkOther",
                   E_POINTER);
    }
    IKXObjectRegistration* pIKXObjectRegistration = nullptr;
    pIUnkOther->QueryInterface(__uuidof(IKXObjectRegistration),
                               reinterpret_cast<void**>(&pIKXObjectRegistration));
    if (pIKXObjectRegistration == nullptr) {
        ThrowError("pIKXObjectRegistration != NULL", kSource, KX_SOURCE_TIMESTAMP, __LINE__,
                   Origin(), nullptr, nullptr,
                   "UnregisterFromOtherObject failed: IKXObjectRegistration not avalable",
                   E_POINTER);
    }
    ReleaseOnExit<IKXObjectRegistration> release(pIKXObjectRegistration);
    if (m_pObjectData == nullptr) {
        return E_POINTER;
    }
    return pIKXObjectRegistration->UnregisterObject(&m_pObjectData->ObjectGuid,
                                                    m_pObjectData->m_lLogicalLocation);
}

HRESULT CBComponentManagement::CopyObjectIdentificationData(ObjectIdentificationData* p) {
    if (p == nullptr || m_pObjectData == nullptr) {
        return E_POINTER;
    }
    // The identification word carries the object's registered IUnknown.
    p->pIUnknown =
        reinterpret_cast<IUnknown*>(static_cast<uintptr_t>(m_pObjectData->m_lIdentification));
    p->ObjectGuid = m_pObjectData->ObjectGuid;
    // The main category is the first implemented one; a class without a
    // category table is registered under no category (all ones).
    if (m_pCoClassData != nullptr && m_pCoClassData->m_pImplementedCatIds != nullptr) {
        p->CatId = m_pCoClassData->m_pImplementedCatIds[0];
    } else {
        p->CatId = GUID_ALL_ONES;
    }
    p->SortIndex = m_pObjectData->m_lInstanceNumber;
    p->Name = m_pObjectData->m_bstrObjectName;
    p->InstanceNumber = m_pObjectData->m_lLogicalLocation;
    return S_OK;
}

} // namespace KxTamarind
