// CObjectIdentificationData: the owning form of an ObjectIdentificationData
// record, as stored in an object registry's list.
//
// It is the record plus member functions (no virtual table, no further
// data), so its address may be handed on as an ObjectIdentificationData*.
// Ownership: a non-null pIUnknown carries one reference of this object and a
// non-null Name is freed by it. Copies take their own reference and their
// own name. Note the two ways of copying a Name: the constructor from a
// record copies up to the first NUL (SysAllocString); assignment and Copy()
// copy length-exactly (SysAllocStringLen), embedded NULs kept. Allocation
// failures of names are not reported: the name stays null.
// Not synchronised: owned by one thread at a time (the registry's lock
// protects the records it stores).
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include "KxIdentificationData.h"

namespace KxTamarind {

class KXTAMARIND_API CObjectIdentificationData : public ObjectIdentificationData {
public:
    // All fields at their defaults: null pointer and name, ObjectGuid
    // GUID_NULL, CatId all ones, SortIndex -2, InstanceNumber 0.
    CObjectIdentificationData();
    // Deep copy of a record: AddRef on its interface, name up to the first NUL.
    explicit CObjectIdentificationData(const ObjectIdentificationData& source);
    CObjectIdentificationData(const CObjectIdentificationData& other);
    // Frees the name, then releases the interface.
    ~CObjectIdentificationData();

    // AddRef the source's interface before releasing the own one; the name
    // is copied length-exactly unless both hold the very same BSTR.
    CObjectIdentificationData& operator=(const CObjectIdentificationData& other);

    // Releases the interface, frees the name and restores the defaults.
    void Clear();
    // Moves the interface and the name into `out` (whatever `out` held is
    // overwritten, not released); the other fields are copied and kept here.
    void Detach(ObjectIdentificationData& out);
    // Deep copy into `out` without releasing what it held: an AddRef on the
    // interface and a length-exact copy of the name.
    void Copy(ObjectIdentificationData& out) const;
};

static_assert(sizeof(CObjectIdentificationData) == sizeof(ObjectIdentificationData),
              "CObjectIdentificationData is laid out as the record");

} // namespace KxTamarind
