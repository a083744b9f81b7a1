// The demo shell's linkage: GUID to navigation handle to object.
#include "Linkage.h"

#include <new>

using namespace KxTamarind;

namespace Demo {

DemoLinkage* DemoLinkage::Create() {
    DemoLinkage* linkage = new (std::nothrow) DemoLinkage();
    if (linkage != nullptr) {
        linkage->AddRef();
    }
    return linkage;
}

void DemoLinkage::Attach(long navigationHandle, IUnknown* object) {
    CCritSectionLocker lock(m_Lock);
    if (object == nullptr) {
        m_Objects.erase(navigationHandle);
    } else {
        m_Objects[navigationHandle] = object;
    }
}

size_t DemoLinkage::RegisteredCount() const {
    CCritSectionLocker lock(m_Lock);
    return m_Registered.size();
}

HRESULT STDMETHODCALLTYPE DemoLinkage::QueryInterface(REFIID riid, void** ppv) {
    if (ppv == nullptr) {
        return E_POINTER;
    }
    // The linkage has no identifier of its own: it is reached as IUnknown.
    if (IsEqualIID(riid, IID_IUnknown)) {
        *ppv = static_cast<IUnknown*>(this);
        AddRef();
        return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
}

ULONG STDMETHODCALLTYPE DemoLinkage::AddRef() {
    return m_ulRefs.fetch_add(1, std::memory_order_relaxed) + 1;
}

ULONG STDMETHODCALLTYPE DemoLinkage::Release() {
    ULONG refs = m_ulRefs.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (refs == 0) {
        delete this;
    }
    return refs;
}

HRESULT DemoLinkage::RegisterObject(GUID* pObjectGuid, long navigationHandle) {
    if (pObjectGuid == nullptr) {
        return E_POINTER;
    }
    CCritSectionLocker lock(m_Lock);
    return m_Registered.emplace(*pObjectGuid, navigationHandle).second ? S_OK : S_FALSE;
}

HRESULT DemoLinkage::UnregisterObject(GUID* pObjectGuid) {
    if (pObjectGuid == nullptr) {
        return E_POINTER;
    }
    CCritSectionLocker lock(m_Lock);
    return m_Registered.erase(*pObjectGuid) == 1 ? S_OK : S_FALSE;
}

HRESULT DemoLinkage::SearchPartner(GUID* pGuid, IUnknown** ppPartner) {
    if (pGuid == nullptr || ppPartner == nullptr) {
        return E_POINTER;
    }
    *ppPartner = nullptr;
    CCritSectionLocker lock(m_Lock);
    auto registered = m_Registered.find(*pGuid);
    if (registered == m_Registered.end()) {
        return S_FALSE;
    }
    auto object = m_Objects.find(registered->second);
    if (object == m_Objects.end()) {
        return S_FALSE;
    }
    object->second->AddRef();
    *ppPartner = object->second;
    return S_OK;
}

HRESULT DemoLinkage::GetLocationObject(long, long, IUnknown** ppObject) {
    if (ppObject != nullptr) {
        *ppObject = nullptr;
    }
    return E_NOTIMPL;
}

HRESULT DemoLinkage::SetPartialLoad(long navigationHandle, short value) {
    CCritSectionLocker lock(m_Lock);
    m_PartialLoad[navigationHandle] = value;
    return S_OK;
}

HRESULT DemoLinkage::GetPartialLoad(long navigationHandle, short* pValue) {
    if (pValue == nullptr) {
        return E_POINTER;
    }
    CCritSectionLocker lock(m_Lock);
    auto it = m_PartialLoad.find(navigationHandle);
    *pValue = it == m_PartialLoad.end() ? 0 : it->second;
    return S_OK;
}

} // namespace Demo
