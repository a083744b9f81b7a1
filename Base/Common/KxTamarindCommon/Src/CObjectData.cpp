#include "CObjectData.h"

#include "CFwInfoTable.h"
#include "CObjectDataReferenceBase.h"
#include "IKXLinkage.h"
#include "KxErrorReporting.h"
#include "KxKernelRemote.h"
#include "KxLinkagePartner.h"

namespace KxTamarind {

namespace {
const char kSource[] = "Base/Common/KxTamarindCommon/Src/CObjectData";
} // namespace

CObjectData::CObjectData()
    : m_bstrObjectName(nullptr), ObjectGuid(GUID_NULL), m_lInstanceNumber(-2),
      m_bstrSecondName(nullptr), m_eInitializationState(InitializationState_Created),
      m_lReserved1(0), m_lReserved2(0), m_pIUnknownSupervisor(nullptr), m_pIKXLinkage(nullptr),
      m_bRegisteredToLinkage(false), m_lNavigationHandle(0), m_lLogicalLocation(0),
      m_lIdentification(0) {}

CObjectData::CObjectData(CObjectDataReferenceBase* base, CCoClassData* classData,
                         ExtendedPropertyMapEntry* propertyMap)
    : CObjectData() {
    if (base != nullptr) {
        base->SetObjectDataReference(this, classData, propertyMap);
    }
}

CObjectData::~CObjectData() {
    if (m_pIKXLinkage != nullptr) {
        IKXLinkage* linkage = m_pIKXLinkage;
        m_pIKXLinkage = nullptr;
        linkage->Release();
    }
    if (m_pIUnknownSupervisor != nullptr) {
        IUnknown* supervisor = m_pIUnknownSupervisor;
        m_pIUnknownSupervisor = nullptr;
        supervisor->Release();
    }
    m_lReserved1 = 0;
    m_lReserved2 = 0;
    m_lIdentification = 0;
    SysFreeString(m_bstrSecondName);
    m_bstrSecondName = nullptr;
    SysFreeString(m_bstrObjectName);
    m_bstrObjectName = nullptr;
}

bool CObjectData::RegisterToLinkage() {
    // Objects without a place in the tree or without identity are not
    // linked; that is no failure.
    if (m_bRegisteredToLinkage || m_lNavigationHandle == 0 || m_pIKXLinkage == nullptr ||
        IsEqualGUID(ObjectGuid, GUID_NULL)) {
        return true;
    }
    HRESULT hr = m_pIKXLinkage->RegisterObject(&ObjectGuid, m_lNavigationHandle);
    if (hr == S_OK) {
        m_bRegisteredToLinkage = true;
        return true;
    }
    if (hr == S_FALSE) {
        return false; // the GUID is taken: the caller reports the duplicate
    }
    CAtlStringA message;
    message.Format("Linkage registration failed for object '%S'",
                   m_bstrObjectName != nullptr ? m_bstrObjectName : L"");
    ThrowError("HResult was invalid", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr,
               nullptr, message.GetString(), hr);
}

void CObjectData::UnregisterFromLinkage() {
    if (!m_bRegisteredToLinkage) {
        return;
    }
    if (m_pIKXLinkage == nullptr) {
        ThrowError("m_pIKXLinkage == NULL", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr,
                   nullptr, nullptr, "", E_POINTER);
    }
    HRESULT hr = m_pIKXLinkage->UnregisterObject(&ObjectGuid);
    if (hr != S_OK) {
        ThrowError("HResult was invalid", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr,
                   nullptr, "", hr);
    }
    m_bRegisteredToLinkage = false;
}

unsigned short CObjectData::GetMyLiNumber() const {
    return static_cast<unsigned short>(m_lLogicalLocation & 0xFFFF);
}

bool CObjectData::GetMyFwAppName(wchar_t** pName) const {
    return GetFwInfoTable()->GetFwAppInfo(GetMyLiNumber(), nullptr, pName);
}

bool CObjectData::GetMyFwAppGUID(GUID* pGuid) const {
    return GetFwInfoTable()->GetFwAppInfo(GetMyLiNumber(), pGuid, nullptr);
}

KxPersistApplicType CObjectData::GetMyFwAppType() const {
    return GetFwInfoTable()->GetApplicType(GetMyLiNumber());
}

bool CObjectData::IsMyLiPartialLoaded() const {
    return GetFwInfoTable()->LiIsPartialLoaded(GetMyLiNumber());
}

bool CObjectData::GetMyLiId(LiId* pId) const {
    if (pId == nullptr) {
        return false;
    }
    pId->m_Guid = GUID_NULL;
    pId->m_ulIndex = static_cast<unsigned long>(-1);
    pId->m_Guid = GetFwInfoTable()->GetLiGuid(GetMyLiNumber());
    // The table counts instrument slots from 1, LiId indices from 0: a
    // location without an instrument gives index -1.
    pId->m_ulIndex = static_cast<unsigned long>((m_lLogicalLocation & 0xFF) - 1);
    return !IsEqualGUID(pId->m_Guid, GUID_NULL);
}

bool CObjectData::GetMyLiIUnknown(IUnknown** ppUnknown) const {
    if (ppUnknown == nullptr) {
        return false;
    }
    *ppUnknown = nullptr;
    if (m_pIKXLinkage == nullptr) {
        return false;
    }
    return m_pIKXLinkage->GetLocationObject(m_lLogicalLocation, 0, ppUnknown) == S_OK;
}

bool CObjectData::GetMyTwin(long level, IUnknown** ppUnknown) {
    if (m_pIKXLinkage == nullptr) {
        return false;
    }
    return m_pIKXLinkage->SearchFarPartner(&ObjectGuid, level, nullptr, ppUnknown, nullptr) == S_OK;
}

bool CObjectData::GetFwAppName(const LiId& id, wchar_t** pName) const {
    if (m_pIKXLinkage == nullptr) {
        return false;
    }
    GUID guid = id.m_Guid;
    IUnknown* object = nullptr;
    HRESULT hr = m_pIKXLinkage->SearchFarPartner(&guid, static_cast<long>(id.m_ulIndex), nullptr,
                                                 &object, pName);
    // Only the name is wanted; the object found with it is given back.
    if (object != nullptr) {
        object->Release();
    }
    return hr == S_OK;
}

HRESULT CObjectData::GetMyInstrumentInfo(KxPersistInstrumentInfo* pInfo) const {
    return GetInstrumentInfo(m_lLogicalLocation, pInfo);
}

long CObjectData::GetMyInstrumentNo() const {
    return GetInstrumentNo(m_lLogicalLocation);
}

long CObjectData::GetMyVirtualLINumber() const {
    return GetVirtualLINumber(m_lLogicalLocation);
}

long CObjectData::GetMyAbsoluteLINumber() const {
    return GetAbsoluteLINumber(m_lLogicalLocation);
}

HRESULT CObjectData::GetMyInstrumentInfo(const LiId& id, KxPersistInstrumentInfo* pInfo) {
    return GetInstrumentInfo(id, pInfo);
}

long CObjectData::GetMyInstrumentNo(const LiId& id) {
    return GetInstrumentNo(id);
}

long CObjectData::GetMyVirtualLINumber(const LiId& id) {
    return GetVirtualLINumber(id);
}

long CObjectData::GetMyAbsoluteLINumber(const LiId& id) {
    return GetAbsoluteLINumber(id);
}

} // namespace KxTamarind
