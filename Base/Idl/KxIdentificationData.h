// The records that name a registered object and a published interface. They
// travel by value through the registry and enumeration interfaces; their
// layout is part of the binary contract with modules built separately.
//
// Ownership when a record is owned (by a registry, a wrapper or a caller that
// received it): pIUnknown carries one reference, Name was allocated with
// SysAllocString(Len) and is freed by the owner.
#pragma once

#include <platcompat.h>

namespace KxTamarind {

// One registered object. The registry key is (ObjectGuid, InstanceNumber);
// an InstanceNumber of -1 in a look-up means any instance.
struct ObjectIdentificationData {
    IUnknown* pIUnknown; // the registered object
    GUID ObjectGuid;     // identity of the object instance
    GUID CatId;          // category; all ones means no (any) category
    long SortIndex;      // ordering key in a registry; -2 appends at the end
    BSTR Name;           // display name
    long InstanceNumber; // tells apart registrations under one ObjectGuid
};

// One published interface, keyed by Iid.
struct InterfaceIdentificationData {
    IUnknown* pIUnknown; // the published interface
    GUID Iid;            // the identifier it is published under
    BSTR Name;           // display name
};

// The all-ones GUID {FFFFFFFF-FFFF-FFFF-FFFF-FFFFFFFFFFFF}: the "any category"
// value of a record's CatId and the enumeration wildcard, and the Iid of an
// interface record after a failed look-up.
inline constexpr GUID GUID_ALL_ONES = {
    0xFFFFFFFFu, 0xFFFFu, 0xFFFFu, {0xFFu, 0xFFu, 0xFFu, 0xFFu, 0xFFu, 0xFFu, 0xFFu, 0xFFu}};

} // namespace KxTamarind
