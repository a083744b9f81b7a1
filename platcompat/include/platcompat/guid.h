// GUIDs, IUnknown and the per-interface identifier holder.
#pragma once

#include "platcompat/types.h"

// 128-bit identifier in its Win32 storage layout (16 bytes, little-endian
// first three fields on this target).
typedef struct _GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];
} GUID;
static_assert(sizeof(GUID) == 16, "GUID is 16 bytes");

typedef GUID IID;
typedef GUID CLSID;
typedef GUID* LPGUID;
typedef IID* LPIID;
typedef CLSID* LPCLSID;
typedef const GUID& REFGUID;
typedef const IID& REFIID;
typedef const CLSID& REFCLSID;

extern PLATCOMPAT_API const GUID GUID_NULL;
extern PLATCOMPAT_API const IID IID_IUnknown; // {00000000-0000-0000-C000-000000000046}

// Byte-wise equality of all 16 bytes.
inline bool IsEqualGUID(REFGUID a, REFGUID b) {
    return std::memcmp(&a, &b, sizeof(GUID)) == 0;
}
inline bool IsEqualIID(REFIID a, REFIID b) {
    return IsEqualGUID(a, b);
}
inline bool IsEqualCLSID(REFCLSID a, REFCLSID b) {
    return IsEqualGUID(a, b);
}
inline bool operator==(REFGUID a, REFGUID b) {
    return IsEqualGUID(a, b);
}
inline bool operator!=(REFGUID a, REFGUID b) {
    return !IsEqualGUID(a, b);
}

// The root of every interface. It has exactly its three virtual operations
// and no virtual destructor, so that every interface's table of operations
// starts with QueryInterface, AddRef, Release and nothing else: the slot
// orders are binary contracts with modules built separately. Objects are
// destroyed by their own Release, never by `delete` through this type.
struct PLATCOMPAT_API IUnknown {
    virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) = 0;
    virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE Release() = 0;

protected:
    ~IUnknown() = default;
};
typedef IUnknown* LPUNKNOWN;

// Attaches an identifier to an interface type. Each interface's identifier
// is one explicit specialisation of the static member, defined once (with
// constant initialisation, so it is valid before any constructor runs):
//
//   header: template <> const GUID hold_uuidof<IFoo>::__IID;
//   source: template <> const GUID hold_uuidof<IFoo>::__IID = {...};
template <class T>
struct PLATCOMPAT_API hold_uuidof {
    static const GUID __IID;
};
template <>
PLATCOMPAT_API const GUID hold_uuidof<IUnknown>::__IID;

// __uuidof(Type) names the identifier of an interface type.
#define __uuidof(T) (hold_uuidof<T>::__IID)
