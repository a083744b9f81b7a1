#include "CBCoClassInfo.h"

#include <cstdint>
#include <cstring>

#include "CCoClassData.h"
#include "KxErrorReporting.h"

namespace KxTamarind {

namespace {

const char* const kSource = "Base/Interfaces/_Src/CBCoClassInfo";

// A new BSTR of the same length as the text a class-data field points at;
// null when the class has no such text.
BSTR CopyText(const BSTR* text) {
    if (text == nullptr || *text == nullptr) {
        return nullptr;
    }
    return SysAllocStringLen(*text, SysStringLen(*text));
}

} // namespace

CBCoClassInfo::CBCoClassInfo() = default;

CBCoClassInfo::~CBCoClassInfo() = default;

// --- IKXCoClassInfo ---

STDMETHODIMP CBCoClassInfo::GetIdentification(wchar_t** pName, GUID* pClsid, wchar_t** pText) {
    return DoGetIdentification(pName, pClsid, pText);
}

STDMETHODIMP
CBCoClassInfo::QueryAllInterfacesDescription(long*, GUID**, wchar_t*** ppDescriptions) {
    if (ppDescriptions != nullptr) {
        *ppDescriptions = nullptr;
    }
    return S_OK;
}

STDMETHODIMP CBCoClassInfo::QueryAllInterfaces(long*, GUID** ppIids) {
    if (ppIids != nullptr) {
        *ppIids = nullptr;
    }
    return S_OK;
}

STDMETHODIMP CBCoClassInfo::QueryLinkageList(long*, LinkageData**) {
    return S_OK;
}

STDMETHODIMP CBCoClassInfo::QueryOutgoingCatIdList(long*, GUID**) {
    return S_OK;
}

STDMETHODIMP CBCoClassInfo::QueryImplementedCatIdList(long* pCount, GUID** ppCatIds) {
    HRESULT hr = DoQueryImplementedCatIdList(pCount, ppCatIds);
    if (hr != S_OK) {
        ThrowError("HResult was invalid", kSource, KX_SOURCE_TIMESTAMP, __LINE__, Origin(), nullptr,
                   nullptr, "", hr);
    }
    return S_OK;
}

STDMETHODIMP CBCoClassInfo::ImplementsCatId(GUID catId) {
    return DoImplementsCatId(catId);
}

STDMETHODIMP CBCoClassInfo::QueryCharacteristicsList(long* pCount, GUID** ppCharacteristics) {
    HRESULT hr = DoQueryCharacteristicsList(pCount, ppCharacteristics);
    if (hr != S_OK) {
        ThrowError("HResult was invalid", kSource, KX_SOURCE_TIMESTAMP, __LINE__, Origin(), nullptr,
                   nullptr, "", hr);
    }
    return S_OK;
}

STDMETHODIMP CBCoClassInfo::GetImageName(wchar_t** pName) {
    return DoGetImageName(pName);
}

STDMETHODIMP CBCoClassInfo::GetComponentInfo(wchar_t**, GUID*, wchar_t**, long*, GUID**, long*,
                                             GUID**, long*, GUID**, long*, GUID**, long*,
                                             LinkageData**, wchar_t**, wchar_t**,
                                             ConfigFrequency*) {
    return S_OK;
}

STDMETHODIMP CBCoClassInfo::GetMainCatid(GUID* pCatId) {
    return DoGetMainCatid(pCatId);
}

// --- Hooks ---

HRESULT CBCoClassInfo::DoGetIdentification(wchar_t** pName, GUID* pClsid, wchar_t** pText) {
    if (m_pCoClassData == nullptr) {
        return E_POINTER;
    }
    if (pName != nullptr) {
        *pName = CopyText(m_pCoClassData->m_pbstrName);
    }
    if (pClsid != nullptr) {
        *pClsid = m_pCoClassData->m_pClsid != nullptr ? *m_pCoClassData->m_pClsid : GUID_NULL;
    }
    if (pText != nullptr) {
        *pText = CopyText(m_pCoClassData->m_pbstrDescription);
    }
    return S_OK;
}

HRESULT CBCoClassInfo::DoImplementsCatId(GUID& catId) {
    if (m_pCoClassData == nullptr || m_pCoClassData->m_pImplementedCatIds == nullptr) {
        return S_FALSE;
    }
    for (long i = 0; i < m_pCoClassData->m_lImplementedCatIdCount; ++i) {
        if (std::memcmp(&m_pCoClassData->m_pImplementedCatIds[i], &catId, sizeof(GUID)) == 0) {
            return S_OK;
        }
    }
    return S_FALSE;
}

HRESULT CBCoClassInfo::DoQueryOutgoingCatIdList(long*, GUID**) {
    return S_OK;
}

HRESULT CBCoClassInfo::DoQueryImplementedCatIdList(long* pCount, GUID** ppCatIds) {
    if (m_pCoClassData == nullptr) {
        return E_POINTER;
    }
    return CopyArray(m_pCoClassData->m_lImplementedCatIdCount, m_pCoClassData->m_pImplementedCatIds,
                     "*ppImplementedCatIdArray == NULL", __LINE__, pCount, ppCatIds);
}

HRESULT CBCoClassInfo::DoQueryCharacteristicsList(long* pCount, GUID** ppCharacteristics) {
    if (m_pCoClassData == nullptr) {
        return E_POINTER;
    }
    return CopyArray(m_pCoClassData->m_lCharacteristicsCount, m_pCoClassData->m_pCharacteristics,
                     "*ppCharacteristicsArray == NULL", __LINE__, pCount, ppCharacteristics);
}

HRESULT CBCoClassInfo::DoGetImageName(wchar_t** pName) {
    if (pName == nullptr || m_pCoClassData == nullptr) {
        return E_POINTER;
    }
    *pName = CopyText(m_pCoClassData->m_pbstrImageName);
    return S_OK;
}

HRESULT CBCoClassInfo::DoGetMainCatid(GUID* pCatId) {
    if (pCatId == nullptr || m_pCoClassData == nullptr ||
        m_pCoClassData->m_pImplementedCatIds == nullptr) {
        return E_POINTER;
    }
    // The first entry is the main category; it is there even in tables that
    // declare no implemented category.
    *pCatId = m_pCoClassData->m_pImplementedCatIds[0];
    return S_OK;
}

HRESULT CBCoClassInfo::DoGetParentCatIdList(long* pCount, GUID** ppCatIds) {
    if (m_pCoClassData == nullptr) {
        return E_POINTER;
    }
    return CopyArray(m_pCoClassData->m_lParentCatIdCount, m_pCoClassData->m_pParentCatIds,
                     "*ppParentCatIdArray == NULL", __LINE__, pCount, ppCatIds);
}

HRESULT CBCoClassInfo::GetThreadingModel(wchar_t** pModel) {
    if (pModel == nullptr) {
        return E_POINTER;
    }
    *pModel = SysAllocString(L"Apartment");
    return *pModel != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT CBCoClassInfo::GetParentCatIdList(long* pCount, GUID** ppCatIds) {
    return DoGetParentCatIdList(pCount, ppCatIds);
}

HRESULT CBCoClassInfo::CopyArray(long count, const GUID* source, const char* allocationCondition,
                                 int line, long* pCount, GUID** ppArray) {
    if (pCount == nullptr || ppArray == nullptr) {
        return E_POINTER;
    }
    if (count < 0) {
        return E_INVALIDARG;
    }
    if (count > 0 && source == nullptr) {
        return E_POINTER;
    }
    *pCount = count;
    // A count whose byte size does not fit is an allocation that cannot
    // succeed.
    const size_t n = static_cast<size_t>(count);
    *ppArray = n <= SIZE_MAX / sizeof(GUID) ? static_cast<GUID*>(CoTaskMemAlloc(n * sizeof(GUID)))
                                            : nullptr;
    if (*ppArray == nullptr) {
        ThrowError(allocationCondition, kSource, KX_SOURCE_TIMESTAMP, line, Origin(), nullptr,
                   nullptr, "", E_POINTER);
    }
    if (n > 0) {
        std::memcpy(*ppArray, source, n * sizeof(GUID));
    }
    return S_OK;
}

} // namespace KxTamarind
