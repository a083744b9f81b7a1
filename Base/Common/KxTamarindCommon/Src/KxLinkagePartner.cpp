#include "KxLinkagePartner.h"

#include "IKXComponentManagement.h"
#include "IKXInterfaceRegistration.h"
#include "IKXLinkage.h"
#include "KxErrorReporting.h"
#include "KxRoot.h"

namespace KxTamarind {

namespace {

const char kSource[] = "Base/Common/KxTamarindCommon/Src/KxBaseLib";

// The linkage of `object` (one reference for the caller), reached through
// its IKXComponentManagement. Raises when the object cannot be navigated;
// every reference taken here is given back before raising.
IKXLinkage* LinkageOf(IUnknown* object) {
    void* icm = nullptr;
    if (object == nullptr ||
        FAILED(object->QueryInterface(__uuidof(IKXComponentManagement), &icm)) || icm == nullptr) {
        ThrowError("pICM == NULL", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr,
                   nullptr, "", E_POINTER);
    }
    IKXComponentManagement* management = static_cast<IKXComponentManagement*>(icm);
    IKXLinkage* linkage = nullptr;
    HRESULT hr = management->GetIKXLinkage(&linkage);
    management->Release();
    if (FAILED(hr) && linkage != nullptr) {
        // A failing getter counts as no linkage; what it handed out anyway
        // is given back.
        linkage->Release();
        linkage = nullptr;
    }
    if (linkage == nullptr) {
        ThrowError("pIKXLinkage == NULL", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr,
                   nullptr, "", E_POINTER);
    }
    return linkage;
}

// Releases the linkage also when the far search throws.
class LinkageHolder {
public:
    explicit LinkageHolder(IKXLinkage* linkage) : m_pLinkage(linkage) {}
    LinkageHolder(const LinkageHolder&) = delete;
    LinkageHolder& operator=(const LinkageHolder&) = delete;
    ~LinkageHolder() { m_pLinkage->Release(); }
    IKXLinkage* Get() const { return m_pLinkage; }

private:
    IKXLinkage* m_pLinkage;
};

void FillFixedInstrumentInfo(KxPersistInstrumentInfo* pInfo) {
    if (pInfo == nullptr) {
        return;
    }
    pInfo->InstrumentType = 0;
    pInfo->InstrumentFamily = 6;
    pInfo->InstrumentNo = -1;
    pInfo->Options = 0;
    pInfo->VirtualLINumber = -1;
    pInfo->AbsoluteLINumber = -1;
    pInfo->Flags = 0;
    pInfo->ParentInstrumentNo = -1;
    pInfo->InstrumentCount = 1;
}

} // namespace

HRESULT SearchLinkagePartner(IKXLinkage* pLinkage, GUID* pGuid, IUnknown** ppPartner) {
    if (pLinkage == nullptr || pGuid == nullptr || ppPartner == nullptr) {
        return E_POINTER;
    }
    return pLinkage->SearchPartner(pGuid, ppPartner);
}

HRESULT SearchLinkagePartner(IUnknown* pObject, GUID* pGuid, IUnknown** ppPartner) {
    LinkageHolder linkage(LinkageOf(pObject));
    return SearchLinkagePartner(linkage.Get(), pGuid, ppPartner);
}

HRESULT SearchFarLinkagePartner(IUnknown* pObject, GUID* pGuid, long level, GUID* pGuid2,
                                IUnknown** ppPartner) {
    IKXLinkage* found = nullptr;
    if (pObject != nullptr) {
        found = LinkageOf(pObject);
    } else {
        // No object: search from the root of the whole system.
        IKXInterfaceRegistration* root = nullptr;
        GetRoot(&root);
        if (root == nullptr) {
            return E_POINTER;
        }
        try {
            found = LinkageOf(root);
        } catch (...) {
            root->Release();
            throw;
        }
        root->Release();
    }
    LinkageHolder linkage(found);
    return linkage.Get()->SearchFarPartner(pGuid, level, pGuid2, ppPartner, nullptr);
}

HRESULT SearchFarLinkagePartner(IUnknown* pObject, GUID* pGuid, long level, IUnknown** ppPartner) {
    return SearchFarLinkagePartner(pObject, pGuid, level, nullptr, ppPartner);
}

HRESULT SearchParent(IUnknown*, GUID*, GUID*, IUnknown**) {
    return S_FALSE;
}

HRESULT GetInstrumentInfo(const LiId&, KxPersistInstrumentInfo* pInfo) {
    FillFixedInstrumentInfo(pInfo);
    return S_OK;
}

HRESULT GetInstrumentInfo(long, KxPersistInstrumentInfo* pInfo) {
    FillFixedInstrumentInfo(pInfo);
    return S_OK;
}

long GetInstrumentNo(const LiId&) {
    return -1;
}
long GetInstrumentNo(long) {
    return -1;
}
long GetVirtualLINumber(const LiId&) {
    return -1;
}
long GetVirtualLINumber(long) {
    return -1;
}
long GetAbsoluteLINumber(const LiId&) {
    return -1;
}
long GetAbsoluteLINumber(long) {
    return -1;
}

} // namespace KxTamarind
