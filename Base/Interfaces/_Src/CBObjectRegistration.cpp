// The base implementation of the object registry; see CBObjectRegistration.h.
#include "CBObjectRegistration.h"

#include <mutex>

#include "CSmartObjectIdentificationData.h"
#include "KxObjectListIndex.h"

namespace KxTamarind {

namespace {
const char* const kSource = "Base/Interfaces/_Src/CBObjectRegistration";
} // namespace

CBObjectRegistration::CBObjectRegistration() : m_pObjectList(nullptr) {}

CBObjectRegistration::~CBObjectRegistration() {
    m_pObjectList = nullptr;
}

STDMETHODIMP CBObjectRegistration::RegisterObject(ObjectIdentificationData* pData) {
    if (m_pObjectList == nullptr) {
        return E_FAIL;
    }
    if (pData == nullptr) {
        return E_POINTER;
    }
    m_pObjectList->Add(*pData);
    HRESULT hr = OnObjectRegistered(pData);
    if (FAILED(hr)) {
        ThrowError("HResult was invalid", kSource, KX_SOURCE_TIMESTAMP, 42, this, nullptr, nullptr,
                   "", hr);
    }
    return S_OK;
}

STDMETHODIMP CBObjectRegistration::UnregisterObject(GUID* pObjectGuid, long instanceNumber) {
    if (m_pObjectList == nullptr) {
        return S_FALSE;
    }
    if (pObjectGuid == nullptr) {
        return E_POINTER;
    }
    // One locked step: a record found here cannot vanish before Remove.
    if (!m_pObjectList->Remove(*pObjectGuid, instanceNumber)) {
        return S_FALSE;
    }
    HRESULT hr = OnObjectUnregistered(pObjectGuid, instanceNumber);
    if (FAILED(hr)) {
        ThrowError("HResult was invalid", kSource, KX_SOURCE_TIMESTAMP, 64, this, nullptr, nullptr,
                   "", hr);
    }
    return S_OK;
}

STDMETHODIMP CBObjectRegistration::GetObject(GUID* pObjectGuid, long instanceNumber,
                                             IUnknown** ppUnknown) {
    long count = 0;
    HRESULT hr = GetObjectCount(&count);
    if (FAILED(hr)) {
        ThrowError("HResult was invalid", kSource, KX_SOURCE_TIMESTAMP, 74, this, nullptr, nullptr,
                   "", hr);
    }
    if (ppUnknown == nullptr || pObjectGuid == nullptr) {
        return E_POINTER;
    }
    *ppUnknown = nullptr;
    if (count == 0) {
        return S_FALSE;
    }
    // Existence and pointer in one locked step (and one walk), so a
    // concurrent removal cannot turn a found record into a null result.
    std::lock_guard<CCritSection> guard(*m_pObjectList);
    CObjectList::iterator it =
        CObjectListIndex::Of(*m_pObjectList).FindKey(*pObjectGuid, instanceNumber);
    if (it == m_pObjectList->End()) {
        return S_FALSE;
    }
    if (it->pIUnknown != nullptr) {
        it->pIUnknown->AddRef();
    }
    *ppUnknown = it->pIUnknown;
    return S_OK;
}

STDMETHODIMP CBObjectRegistration::GetObjectData(GUID* pObjectGuid, long instanceNumber,
                                                 ObjectIdentificationData* pData) {
    long count = 0;
    HRESULT hr = GetObjectCount(&count);
    if (FAILED(hr)) {
        ThrowError("HResult was invalid", kSource, KX_SOURCE_TIMESTAMP, 132, this, nullptr, nullptr,
                   "", hr);
    }
    if (pData == nullptr || pObjectGuid == nullptr) {
        return E_POINTER;
    }
    CObjectIdentificationData found;
    if (count != 0 && m_pObjectList->GetData(*pObjectGuid, instanceNumber, &found)) {
        found.Detach(*pData);
        return S_OK;
    }
    CSmartObjectIdentificationData::InitData(*pData);
    return S_FALSE;
}

STDMETHODIMP CBObjectRegistration::GetObjectCount(long* pCount) {
    if (m_pObjectList == nullptr) {
        return E_FAIL;
    }
    if (pCount == nullptr) {
        return E_POINTER;
    }
    *pCount = CObjectListIndex::CountOf(*m_pObjectList);
    return S_OK;
}

STDMETHODIMP CBObjectRegistration::EnumObject(GUID* pCatId, IKXObjectEnumeration** ppEnum) {
    if (ppEnum == nullptr) {
        return E_POINTER;
    }
    *ppEnum = nullptr;
    if (m_pObjectList == nullptr) {
        return S_FALSE;
    }
    if (pCatId == nullptr) {
        return E_POINTER;
    }
    const bool any = IsEqualGUID(*pCatId, GUID_ALL_ONES);
    bool matched = false;
    // The count is read again after each step: the registry may change
    // between the locked fetches.
    for (long index = 0; index < m_pObjectList->GetCount(); ++index) {
        CObjectIdentificationData record;
        m_pObjectList->GetPointedData(index, &record);
        if (any || IsEqualGUID(record.CatId, *pCatId)) {
            matched = true;
            break;
        }
    }
    if (!matched) {
        return S_FALSE;
    }
    *ppEnum = CreateObjectEnumeration(pCatId);
    return *ppEnum != nullptr ? S_OK : S_FALSE;
}

STDMETHODIMP CBObjectRegistration::GetObjects(GUID* pFilter, long* pCount,
                                              ObjectIdentificationData** ppArray) {
    if (m_pObjectList == nullptr) {
        if (pCount != nullptr) {
            *pCount = 0;
        }
        if (ppArray != nullptr) {
            *ppArray = nullptr;
        }
        return S_OK;
    }
    return m_pObjectList->GetFilteredObjects_CoTaskMemAlloc(pFilter, pCount, ppArray);
}

STDMETHODIMP CBObjectRegistration::GetObjectsIUnknown(GUID* pFilter, long* pCount,
                                                      IUnknown*** ppArray) {
    if (m_pObjectList == nullptr) {
        if (pCount != nullptr) {
            *pCount = 0;
        }
        if (ppArray != nullptr) {
            *ppArray = nullptr;
        }
        return S_OK;
    }
    return m_pObjectList->GetFilteredObjectsIUnknown_CoTaskMemAlloc(pFilter, pCount, ppArray);
}

STDMETHODIMP CBObjectRegistration::GetObjectDataByName(wchar_t* name,
                                                       ObjectIdentificationData* pData) {
    if (pData == nullptr) {
        return S_FALSE;
    }
    CObjectIdentificationData found;
    if (m_pObjectList != nullptr && m_pObjectList->GetData(name, &found)) {
        found.Detach(*pData);
        return S_OK;
    }
    found.Detach(*pData); // an empty record: the defaults, nothing owned
    return S_FALSE;
}

STDMETHODIMP CBObjectRegistration::GetObjectByName(wchar_t* name, IUnknown** ppUnknown) {
    if (ppUnknown == nullptr) {
        return S_FALSE;
    }
    *ppUnknown = nullptr;
    if (m_pObjectList == nullptr) {
        return S_FALSE;
    }
    *ppUnknown = m_pObjectList->GetIUnknown(name);
    return *ppUnknown != nullptr ? S_OK : S_FALSE;
}

} // namespace KxTamarind
