// The record wrapper of components and callers; see
// CSmartObjectIdentificationData.h.
#include "CSmartObjectIdentificationData.h"

#include "IKXObjectRegistration.h"
#include "KxDestructorGuard.h"

namespace KxTamarind {

namespace {
const char* const kSource = "Base/Common/KxTamarindCommon/Src/CSmartObjectIdentificationData";

IKXObjectRegistration* QueryRegistry(IUnknown* target) {
    if (target == nullptr) {
        return nullptr;
    }
    IKXObjectRegistration* registry = nullptr;
    HRESULT hr = target->QueryInterface(__uuidof(IKXObjectRegistration),
                                        reinterpret_cast<void**>(&registry));
    if (FAILED(hr)) {
        return nullptr;
    }
    return registry;
}

// Releases the registry interface also when the registry raises an error.
class RegistryHolder {
public:
    explicit RegistryHolder(IKXObjectRegistration* registry) : m_pRegistry(registry) {}
    ~RegistryHolder() {
        if (m_pRegistry != nullptr) {
            m_pRegistry->Release();
        }
    }
    RegistryHolder(const RegistryHolder&) = delete;
    RegistryHolder& operator=(const RegistryHolder&) = delete;

private:
    IKXObjectRegistration* m_pRegistry;
};
} // namespace

void CSmartObjectIdentificationData::InitData(ObjectIdentificationData& data) {
    data.pIUnknown = nullptr;
    data.ObjectGuid = GUID_NULL;
    data.CatId = GUID_ALL_ONES;
    data.SortIndex = -2;
    data.Name = nullptr;
    data.InstanceNumber = 0;
}

void CSmartObjectIdentificationData::ClearData(ObjectIdentificationData& data) {
    IUnknown* unknown = data.pIUnknown;
    BSTR name = data.Name;
    InitData(data); // first, so a Release that re-enters sees a clean record
    if (unknown != nullptr) {
        try {
            unknown->Release();
        } catch (...) {
            SysFreeString(name); // the record is cleared even if Release throws
            throw;
        }
    }
    SysFreeString(name);
}

void CSmartObjectIdentificationData::CopyData(ObjectIdentificationData& dst,
                                              const ObjectIdentificationData& src) {
    if (&dst == &src) {
        return;
    }
    // Take the new reference before the old one goes: both may be the same
    // object, held only by dst.
    IUnknown* unknown = src.pIUnknown;
    if (unknown != nullptr) {
        unknown->AddRef();
    }
    BSTR name = src.Name == nullptr ? nullptr : SysAllocString(src.Name);
    GUID objectGuid = src.ObjectGuid;
    GUID catId = src.CatId;
    long sortIndex = src.SortIndex;
    long instance = src.InstanceNumber;
    ClearData(dst);
    dst.pIUnknown = unknown;
    dst.Name = name;
    dst.ObjectGuid = objectGuid;
    dst.CatId = catId;
    dst.SortIndex = sortIndex;
    dst.InstanceNumber = instance;
}

CSmartObjectIdentificationData::CSmartObjectIdentificationData() {
    InitData(m_Data);
}

CSmartObjectIdentificationData::CSmartObjectIdentificationData(
    const ObjectIdentificationData& source) {
    InitData(m_Data);
    CopyData(m_Data, source);
}

CSmartObjectIdentificationData::CSmartObjectIdentificationData(
    const CSmartObjectIdentificationData& other) {
    InitData(m_Data);
    CopyData(m_Data, other.m_Data);
}

CSmartObjectIdentificationData::~CSmartObjectIdentificationData() {
    KxGuardDestructor(kSource, 45, nullptr, [this] { ClearData(m_Data); });
}

CSmartObjectIdentificationData&
CSmartObjectIdentificationData::operator=(const ObjectIdentificationData& source) {
    if (&source != &m_Data) {
        CopyData(m_Data, source);
    }
    return *this;
}

CSmartObjectIdentificationData&
CSmartObjectIdentificationData::operator=(const CSmartObjectIdentificationData& other) {
    if (this != &other) {
        CopyData(m_Data, other.m_Data);
    }
    return *this;
}

void CSmartObjectIdentificationData::Init(wchar_t* name, IUnknown* unknown, GUID catId) {
    ClearData(m_Data);
    CoCreateGuid(&m_Data.ObjectGuid);
    if (unknown != nullptr) {
        unknown->AddRef();
    }
    m_Data.pIUnknown = unknown;
    m_Data.CatId = catId;
    m_Data.Name = name == nullptr ? nullptr : SysAllocString(name);
}

void CSmartObjectIdentificationData::Attach(const ObjectIdentificationData& src) {
    if (&src == &m_Data) {
        return;
    }
    ClearData(m_Data);
    m_Data = src;
}

void CSmartObjectIdentificationData::Detach(ObjectIdentificationData& out) {
    if (&out == &m_Data) {
        return; // handing the record to itself keeps it
    }
    out = m_Data;
    InitData(m_Data);
}

void CSmartObjectIdentificationData::Detach() {
    ClearData(m_Data);
}

void CSmartObjectIdentificationData::Clear() {
    ClearData(m_Data);
}

void CSmartObjectIdentificationData::CopyTo(ObjectIdentificationData* dst) const {
    if (dst != nullptr && dst != &m_Data) {
        CopyData(*dst, m_Data);
    }
}

HRESULT CSmartObjectIdentificationData::Register(IUnknown* target) {
    IKXObjectRegistration* registry = QueryRegistry(target);
    if (registry == nullptr) {
        return E_INVALIDARG;
    }
    RegistryHolder holder(registry);
    return registry->RegisterObject(&m_Data);
}

HRESULT CSmartObjectIdentificationData::Unregister(IUnknown* target) {
    IKXObjectRegistration* registry = QueryRegistry(target);
    if (registry == nullptr) {
        return E_INVALIDARG;
    }
    RegistryHolder holder(registry);
    return registry->UnregisterObject(&m_Data.ObjectGuid, m_Data.InstanceNumber);
}

} // namespace KxTamarind
