// The owning form of an object record; see CObjectIdentificationData.h.
#include "CObjectIdentificationData.h"

#include <cassert>

#include "KxDestructorGuard.h"

namespace KxTamarind {

namespace {
const char* const kSource = "Base/Common/KxTamarindCommon/Src/CObjectIdentificationData";

BSTR CopyExact(BSTR source) {
    return source == nullptr ? nullptr : SysAllocStringLen(source, SysStringLen(source));
}

// Not inlined into a comparison of a reference's address, which compilers
// fold away; catches a null record handed in through a pointer.
void CheckRecordAddress(const void* record) {
    assert(record != nullptr && "Copy into a null record");
    (void)record;
}
} // namespace

CObjectIdentificationData::CObjectIdentificationData() : ObjectIdentificationData() {
    pIUnknown = nullptr;
    ObjectGuid = GUID_NULL;
    CatId = GUID_ALL_ONES;
    SortIndex = -2;
    Name = nullptr;
    InstanceNumber = 0;
}

CObjectIdentificationData::CObjectIdentificationData(const ObjectIdentificationData& source)
    : CObjectIdentificationData() {
    if (source.pIUnknown != nullptr) {
        source.pIUnknown->AddRef();
    }
    pIUnknown = source.pIUnknown;
    ObjectGuid = source.ObjectGuid;
    CatId = source.CatId;
    SortIndex = source.SortIndex;
    InstanceNumber = source.InstanceNumber;
    Name = source.Name == nullptr ? nullptr : SysAllocString(source.Name);
}

CObjectIdentificationData::CObjectIdentificationData(const CObjectIdentificationData& other)
    : CObjectIdentificationData() {
    *this = other;
}

CObjectIdentificationData::~CObjectIdentificationData() {
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

CObjectIdentificationData&
CObjectIdentificationData::operator=(const CObjectIdentificationData& other) {
    if (this == &other) {
        return *this;
    }
    // AddRef first: releasing the own interface may destroy an object that
    // also holds the source's last other reference.
    if (other.pIUnknown != nullptr) {
        other.pIUnknown->AddRef();
    }
    IUnknown* old = pIUnknown;
    pIUnknown = other.pIUnknown;
    if (old != nullptr) {
        old->Release();
    }
    ObjectGuid = other.ObjectGuid;
    CatId = other.CatId;
    SortIndex = other.SortIndex;
    InstanceNumber = other.InstanceNumber;
    if (Name != other.Name) {
        SysFreeString(Name);
        Name = CopyExact(other.Name);
    }
    return *this;
}

void CObjectIdentificationData::Clear() {
    IUnknown* unknown = pIUnknown;
    BSTR name = Name;
    // The record is reset before the call: Release may re-enter or throw.
    pIUnknown = nullptr;
    ObjectGuid = GUID_NULL;
    CatId = GUID_ALL_ONES;
    SortIndex = -2;
    Name = nullptr;
    InstanceNumber = 0;
    if (unknown != nullptr) {
        try {
            unknown->Release();
        } catch (...) {
            SysFreeString(name);
            throw;
        }
    }
    SysFreeString(name);
}

void CObjectIdentificationData::Detach(ObjectIdentificationData& out) {
    out = static_cast<const ObjectIdentificationData&>(*this);
    pIUnknown = nullptr;
    Name = nullptr;
}

void CObjectIdentificationData::Copy(ObjectIdentificationData& out) const {
    CheckRecordAddress(&out);
    if (pIUnknown != nullptr) {
        pIUnknown->AddRef();
    }
    out.pIUnknown = pIUnknown;
    out.ObjectGuid = ObjectGuid;
    out.CatId = CatId;
    out.SortIndex = SortIndex;
    out.InstanceNumber = InstanceNumber;
    out.Name = CopyExact(Name);
}

} // namespace KxTamarind
