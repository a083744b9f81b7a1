// CInterfaceIdentificationData: the owning form of an
// InterfaceIdentificationData record, used as the element of an interface
// registry's list and as a temporary.
//
// Laid out exactly as the record. Ownership: a non-null pIUnknown carries
// one reference of this object and a non-null Name is freed by it.
// Default state: null pointer, Iid GUID_NULL, null name. Empty state (after
// a failed look-up): null pointer, Iid all ones, null name.
// Not synchronised: owned by one thread at a time.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include "KxIdentificationData.h"

namespace KxTamarind {

class KXTAMARIND_API CInterfaceIdentificationData : public InterfaceIdentificationData {
public:
    CInterfaceIdentificationData();
    // A record of its own: an AddRef on `unknown`, a copy of `name` up to
    // the first NUL.
    CInterfaceIdentificationData(IUnknown* unknown, const GUID& iid, const wchar_t* name);
    CInterfaceIdentificationData(const CInterfaceIdentificationData& other);
    // Frees the name, then releases the pointer.
    ~CInterfaceIdentificationData();

    // AddRef on the new pointer before the old one is released; the name is
    // copied length-exactly unless both hold the same BSTR.
    CInterfaceIdentificationData& operator=(const CInterfaceIdentificationData& other);

    // Releases the pointer, frees the name and sets the empty state.
    void SetEmpty();
};

static_assert(sizeof(CInterfaceIdentificationData) == sizeof(InterfaceIdentificationData),
              "CInterfaceIdentificationData is laid out as the record");

} // namespace KxTamarind
