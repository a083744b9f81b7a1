// The owning form of an interface record; see CInterfaceIdentificationData.h.
#include "CInterfaceIdentificationData.h"

#include "KxDestructorGuard.h"

namespace KxTamarind {

namespace {
const char* const kSource = "Base/Common/KxTamarindCommon/Src/CInterfaceIdentificationData";
} // namespace

CInterfaceIdentificationData::CInterfaceIdentificationData() : InterfaceIdentificationData() {
    pIUnknown = nullptr;
    Iid = GUID_NULL;
    Name = nullptr;
}

CInterfaceIdentificationData::CInterfaceIdentificationData(IUnknown* unknown, const GUID& iid,
                                                           const wchar_t* name)
    : CInterfaceIdentificationData() {
    if (unknown != nullptr) {
        unknown->AddRef();
    }
    pIUnknown = unknown;
    Iid = iid;
    Name = name == nullptr ? nullptr : SysAllocString(name);
}

CInterfaceIdentificationData::CInterfaceIdentificationData(
    const CInterfaceIdentificationData& other)
    : CInterfaceIdentificationData() {
    *this = other;
}

CInterfaceIdentificationData::~CInterfaceIdentificationData() {
    KxGuardDestructor(kSource, __LINE__, nullptr, [this] {
        BSTR name = Name;
        Name = nullptr;
        SysFreeString(name);
        IUnknown* unknown = pIUnknown;
        pIUnknown = nullptr;
        if (unknown != nullptr) {
            unknown->Release();
        }
    });
}

CInterfaceIdentificationData&
CInterfaceIdentificationData::operator=(const CInterfaceIdentificationData& other) {
    if (this == &other) {
        return *this;
    }
    if (other.pIUnknown != nullptr) {
        other.pIUnknown->AddRef();
    }
    IUnknown* old = pIUnknown;
    pIUnknown = other.pIUnknown;
    if (old != nullptr) {
        old->Release();
    }
    Iid = other.Iid;
    if (Name != other.Name) {
        SysFreeString(Name);
        Name = other.Name == nullptr ? nullptr
                                     : SysAllocStringLen(other.Name, SysStringLen(other.Name));
    }
    return *this;
}

void CInterfaceIdentificationData::SetEmpty() {
    IUnknown* old = pIUnknown;
    pIUnknown = nullptr;
    if (old != nullptr) {
        old->Release();
    }
    SysFreeString(Name);
    Name = nullptr;
    Iid = GUID_ALL_ONES;
}

} // namespace KxTamarind
