// CSmartObjectIdentificationData: the record wrapper that components and
// callers use to describe themselves to a registry and to receive records.
//
// Ownership: the member record's non-null pIUnknown carries one reference of
// the wrapper and its non-null Name is freed by it. operator& and the
// conversion to ObjectIdentificationData& expose the member so the wrapper
// can be passed as an out-record: the callee overwrites it, so pass a
// cleared wrapper. Names are copied up to the first NUL (SysAllocString);
// allocation failures of names are not reported (the name stays null).
// The static helpers act on any record. Not synchronised.
// The destructor never lets an exception escape: it is reported as a
// repaired error and swallowed.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include "KxIdentificationData.h"

namespace KxTamarind {

class KXTAMARIND_API CSmartObjectIdentificationData {
public:
    // Writes the defaults (null pointer and name, ObjectGuid GUID_NULL, CatId
    // all ones, SortIndex -2, InstanceNumber 0) without releasing anything.
    static void InitData(ObjectIdentificationData& data);
    // Releases the interface, frees the name, then InitData.
    static void ClearData(ObjectIdentificationData& data);
    // Unless dst and src are the same record: ClearData(dst), then a deep
    // copy of src (AddRef, name up to the first NUL).
    static void CopyData(ObjectIdentificationData& dst, const ObjectIdentificationData& src);

    CSmartObjectIdentificationData();
    explicit CSmartObjectIdentificationData(const ObjectIdentificationData& source);
    CSmartObjectIdentificationData(const CSmartObjectIdentificationData& other);
    virtual ~CSmartObjectIdentificationData();

    CSmartObjectIdentificationData& operator=(const ObjectIdentificationData& source);
    CSmartObjectIdentificationData& operator=(const CSmartObjectIdentificationData& other);

    ObjectIdentificationData* operator&() { return &m_Data; }
    operator ObjectIdentificationData&() { return m_Data; }
    const ObjectIdentificationData& Data() const { return m_Data; }

    // Clears, then describes a new registration: a fresh ObjectGuid from
    // CoCreateGuid, `unknown` with an AddRef, `catId`, a copy of `name`;
    // SortIndex -2 and InstanceNumber 0.
    void Init(wchar_t* name, IUnknown* unknown, GUID catId);
    // Takes over src's reference and name (bitwise copy after clearing the
    // member); src is not reset, so the caller must not free them again.
    void Attach(const ObjectIdentificationData& src);
    // Hands the member over to `out` (not released first) and resets the
    // member to the defaults.
    void Detach(ObjectIdentificationData& out);
    // Same as Clear(): releases the interface and frees the name.
    void Detach();
    void Clear();
    // Deep copy into *dst after clearing it; nothing for null or the member.
    void CopyTo(ObjectIdentificationData* dst) const;

    // Registers this record with `target`'s IKXObjectRegistration (the
    // registry keeps its own copy) and returns RegisterObject's result;
    // E_INVALIDARG for a null target or one without an object registry.
    HRESULT Register(IUnknown* target);
    // Unregisters (ObjectGuid, InstanceNumber) from `target`'s registry and
    // returns UnregisterObject's result; E_INVALIDARG as for Register.
    HRESULT Unregister(IUnknown* target);

private:
    ObjectIdentificationData m_Data;
};

} // namespace KxTamarind
