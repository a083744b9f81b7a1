// The base implementation of the interface registry; see
// CBInterfaceRegistration.h.
#include "CBInterfaceRegistration.h"

#include <mutex>

#include "CInterfaceIdentificationData.h"
#include "CObjectData.h"

namespace KxTamarind {

namespace {
const char* const kSource = "Base/Interfaces/_Src/CBInterfaceRegistration";
} // namespace

CBInterfaceRegistration::CBInterfaceRegistration() = default;

CBInterfaceRegistration::~CBInterfaceRegistration() = default;

CInterfaceList* CBInterfaceRegistration::GetInterfaceList() const {
    return m_pObjectData != nullptr ? &m_pObjectData->GetInterfaceList() : nullptr;
}

STDMETHODIMP CBInterfaceRegistration::RegisterInterface(InterfaceIdentificationData* pData) {
    if (pData == nullptr) {
        return E_POINTER;
    }
    CInterfaceList* list = GetInterfaceList();
    if (list == nullptr) {
        return E_FAIL;
    }
    HRESULT hr = list->Add(pData->pIUnknown, pData->Name, &pData->Iid);
    if (FAILED(hr)) {
        return hr;
    }
    hr = OnInterfaceRegistered(pData);
    if (FAILED(hr)) {
        ThrowError("HResult was invalid", kSource, KX_SOURCE_TIMESTAMP, 29, this, nullptr, nullptr,
                   "", hr);
    }
    return S_OK;
}

STDMETHODIMP CBInterfaceRegistration::UnregisterInterface(GUID const* pIid) {
    if (pIid == nullptr) {
        return E_POINTER;
    }
    long count = 0;
    HRESULT hr = GetInterfaceCount(&count);
    if (FAILED(hr)) {
        ThrowError("HResult was invalid", kSource, KX_SOURCE_TIMESTAMP, 38, this, nullptr, nullptr,
                   "", hr);
    }
    if (count < 1) {
        ThrowError("iInterfaceCount > 0", kSource, KX_SOURCE_TIMESTAMP, 39, this, nullptr, nullptr,
                   "", E_KX_HRESULT_ASSERT_FAILED);
    }
    // One locked step: a record found here cannot vanish before it is removed.
    if (!GetInterfaceList()->Remove(pIid)) {
        return S_FALSE;
    }
    hr = OnInterfaceUnregistered(pIid);
    if (FAILED(hr)) {
        ThrowError("HResult was invalid", kSource, KX_SOURCE_TIMESTAMP, 53, this, nullptr, nullptr,
                   "", hr);
    }
    return S_OK;
}

STDMETHODIMP CBInterfaceRegistration::GetInterface(GUID const* pIid, IUnknown** ppUnknown) {
    if (pIid == nullptr || ppUnknown == nullptr) {
        return E_POINTER;
    }
    *ppUnknown = nullptr;
    long count = 0;
    HRESULT hr = GetInterfaceCount(&count);
    if (FAILED(hr)) {
        ThrowError("HResult was invalid", kSource, KX_SOURCE_TIMESTAMP, 63, this, nullptr, nullptr,
                   "", hr);
    }
    // Found and referenced in one locked step, without copying the record.
    CInterfaceList& list = *GetInterfaceList();
    std::lock_guard<CCritSection> guard(list);
    CInterfaceList::iterator it = list.FindIndex(pIid);
    if (it == list.End()) {
        return S_FALSE;
    }
    if (it->pIUnknown != nullptr) {
        it->pIUnknown->AddRef();
    }
    *ppUnknown = it->pIUnknown;
    return S_OK;
}

STDMETHODIMP CBInterfaceRegistration::GetInterfaceData(GUID const* pIid,
                                                       InterfaceIdentificationData* pData) {
    if (pIid == nullptr || pData == nullptr) {
        return E_POINTER;
    }
    long count = 0;
    HRESULT hr = GetInterfaceCount(&count);
    if (FAILED(hr)) {
        ThrowError("HResult was invalid", kSource, KX_SOURCE_TIMESTAMP, 85, this, nullptr, nullptr,
                   "", hr);
    }
    if (count < 1) {
        ThrowError("iInterfaceCount > 0", kSource, KX_SOURCE_TIMESTAMP, 86, this, nullptr, nullptr,
                   "", E_KX_HRESULT_ASSERT_FAILED);
    }
    CInterfaceIdentificationData found;
    if (!GetInterfaceList()->GetData(pIid, &found)) {
        pData->pIUnknown = nullptr;
        pData->Iid = GUID_ALL_ONES;
        pData->Name = nullptr;
        return S_FALSE;
    }
    pData->Iid = found.Iid;
    pData->pIUnknown = found.pIUnknown;
    if (pData->pIUnknown != nullptr) {
        pData->pIUnknown->AddRef();
    }
    pData->Name =
        found.Name != nullptr ? SysAllocStringLen(found.Name, SysStringLen(found.Name)) : nullptr;
    return S_OK;
}

STDMETHODIMP CBInterfaceRegistration::GetInterfaceCount(long* pCount) {
    if (pCount == nullptr) {
        return E_POINTER;
    }
    CInterfaceList* list = GetInterfaceList();
    if (list == nullptr) {
        return E_FAIL;
    }
    *pCount = list->GetCount();
    return S_OK;
}

STDMETHODIMP CBInterfaceRegistration::EnumInterface(IKXInterfaceEnumeration** ppEnum) {
    if (ppEnum == nullptr) {
        return E_POINTER;
    }
    *ppEnum = nullptr;
    long count = 0;
    HRESULT hr = GetInterfaceCount(&count);
    if (FAILED(hr)) {
        ThrowError("HResult was invalid", kSource, KX_SOURCE_TIMESTAMP, 124, this, nullptr, nullptr,
                   "", hr);
    }
    if (count == 0) {
        return S_FALSE;
    }
    *ppEnum = CreateInterfaceEnumeration();
    return S_OK;
}

} // namespace KxTamarind
