// COM task memory, GUID creation and text, and apartments.
#pragma once

#include "platcompat/guid.h"
#include "platcompat/hresult.h"

// Task memory: the allocator for arrays and strings handed across interfaces.
// CoTaskMemAlloc(0) returns a valid, unique pointer (as on Windows) that
// CoTaskMemFree accepts; a failed allocation returns NULL. CoTaskMemFree(NULL)
// does nothing. Thread-safe.
PLATCOMPAT_API void* CoTaskMemAlloc(SIZE_T size);
PLATCOMPAT_API void* CoTaskMemRealloc(void* p, SIZE_T size);
PLATCOMPAT_API void CoTaskMemFree(void* p);

// A random (version 4) GUID. E_POINTER for a null out-pointer. Thread-safe.
PLATCOMPAT_API HRESULT CoCreateGuid(GUID* pguid);

// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" in upper-case hexadecimal, 38
// characters. StringFromCLSID allocates the text with CoTaskMemAlloc (the
// caller frees it with CoTaskMemFree) and returns E_POINTER for a null
// out-pointer. StringFromGUID2 writes into the caller's buffer and returns
// the number of characters written including the terminator, or 0 when the
// buffer holds fewer than 39 characters.
PLATCOMPAT_API HRESULT StringFromCLSID(REFCLSID clsid, LPOLESTR* ppsz);
PLATCOMPAT_API HRESULT StringFromIID(REFIID iid, LPOLESTR* ppsz);
PLATCOMPAT_API int StringFromGUID2(REFGUID guid, LPOLESTR psz, int cchMax);

// Parses the braced form above (hexadecimal digits of either case). A null or
// malformed text answers CO_E_CLASSSTRING and leaves *pclsid at GUID_NULL;
// a null out-pointer answers E_INVALIDARG.
constexpr HRESULT CO_E_CLASSSTRING = (HRESULT)0x800401F3u;
PLATCOMPAT_API HRESULT CLSIDFromString(LPCOLESTR psz, LPCLSID pclsid);
PLATCOMPAT_API HRESULT IIDFromString(LPCOLESTR psz, LPIID piid);

// Apartments. The layer keeps, per thread, the apartment model and how often
// it was entered: the first CoInitialize(Ex) of a thread answers S_OK, later
// ones with the same model S_FALSE, one with the other model
// RPC_E_CHANGED_MODE (and is not counted). Each successful call must be
// matched by one CoUninitialize; an unmatched CoUninitialize does nothing.
// The reserved argument is ignored.
enum tagCOINIT {
    COINIT_MULTITHREADED = 0x0,
    COINIT_APARTMENTTHREADED = 0x2,
    COINIT_DISABLE_OLE1DDE = 0x4,
    COINIT_SPEED_OVER_MEMORY = 0x8
};
PLATCOMPAT_API HRESULT CoInitialize(LPVOID reserved);
PLATCOMPAT_API HRESULT CoInitializeEx(LPVOID reserved, DWORD coInit);
PLATCOMPAT_API void CoUninitialize();
