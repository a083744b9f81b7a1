// GUID constants, creation and text forms.
#include "platcompat.h"

#include <unistd.h>

#include <cstdio>
#include <random>

const GUID GUID_NULL = {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};
const IID IID_IUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
template <>
const GUID hold_uuidof<IUnknown>::__IID = {0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

namespace {

// One generator per thread, seeded from the system's entropy source; it is
// reseeded in a child after fork so parent and child never share a sequence.
std::uint64_t NextRandom() {
    thread_local std::mt19937_64 engine;
    thread_local pid_t seededFor = 0;
    const pid_t pid = getpid();
    if (seededFor != pid) {
        std::random_device device;
        std::seed_seq seed{device(), device(), device(), device(), device(), device(), device(),
                           device()};
        engine.seed(seed);
        seededFor = pid;
    }
    return engine();
}

constexpr int kGuidTextLength = 38;

void FormatGuid(REFGUID g, wchar_t* out) {
    char text[kGuidTextLength + 1];
    std::snprintf(text, sizeof text, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                  static_cast<unsigned>(g.Data1), g.Data2, g.Data3, g.Data4[0], g.Data4[1],
                  g.Data4[2], g.Data4[3], g.Data4[4], g.Data4[5], g.Data4[6], g.Data4[7]);
    for (int i = 0; i <= kGuidTextLength; ++i) {
        out[i] = static_cast<unsigned char>(text[i]);
    }
}

int HexValue(wchar_t c) {
    if (c >= L'0' && c <= L'9') {
        return c - L'0';
    }
    if (c >= L'a' && c <= L'f') {
        return c - L'a' + 10;
    }
    if (c >= L'A' && c <= L'F') {
        return c - L'A' + 10;
    }
    return -1;
}

// Reads `digits` hexadecimal digits at `p`; false on any other character
// (including the terminator, so the text is never read past its end).
bool ReadHex(const wchar_t*& p, int digits, std::uint32_t& value) {
    value = 0;
    for (int i = 0; i < digits; ++i) {
        const int v = HexValue(p[i]);
        if (v < 0) {
            return false;
        }
        value = (value << 4) | static_cast<std::uint32_t>(v);
    }
    p += digits;
    return true;
}

bool Expect(const wchar_t*& p, wchar_t c) {
    if (*p != c) {
        return false;
    }
    ++p;
    return true;
}

bool ParseGuid(const wchar_t* p, GUID& g) {
    std::uint32_t v = 0;
    if (!Expect(p, L'{') || !ReadHex(p, 8, v)) {
        return false;
    }
    g.Data1 = v;
    if (!Expect(p, L'-') || !ReadHex(p, 4, v)) {
        return false;
    }
    g.Data2 = static_cast<std::uint16_t>(v);
    if (!Expect(p, L'-') || !ReadHex(p, 4, v)) {
        return false;
    }
    g.Data3 = static_cast<std::uint16_t>(v);
    if (!Expect(p, L'-')) {
        return false;
    }
    for (int i = 0; i < 8; ++i) {
        if (i == 2 && !Expect(p, L'-')) {
            return false;
        }
        if (!ReadHex(p, 2, v)) {
            return false;
        }
        g.Data4[i] = static_cast<std::uint8_t>(v);
    }
    return Expect(p, L'}') && *p == L'\0';
}

} // namespace

HRESULT CoCreateGuid(GUID* pguid) {
    if (pguid == nullptr) {
        return E_POINTER;
    }
    const std::uint64_t a = NextRandom();
    const std::uint64_t b = NextRandom();
    std::memcpy(pguid, &a, 8);
    std::memcpy(reinterpret_cast<unsigned char*>(pguid) + 8, &b, 8);
    pguid->Data3 = static_cast<std::uint16_t>((pguid->Data3 & 0x0FFF) | 0x4000); // version 4
    pguid->Data4[0] = static_cast<std::uint8_t>((pguid->Data4[0] & 0x3F) | 0x80); // RFC 4122 variant
    return S_OK;
}

int StringFromGUID2(REFGUID guid, LPOLESTR psz, int cchMax) {
    if (psz == nullptr || cchMax < kGuidTextLength + 1) {
        return 0;
    }
    FormatGuid(guid, psz);
    return kGuidTextLength + 1;
}

HRESULT StringFromCLSID(REFCLSID clsid, LPOLESTR* ppsz) {
    if (ppsz == nullptr) {
        return E_POINTER;
    }
    *ppsz = static_cast<LPOLESTR>(CoTaskMemAlloc((kGuidTextLength + 1) * sizeof(OLECHAR)));
    if (*ppsz == nullptr) {
        return E_OUTOFMEMORY;
    }
    FormatGuid(clsid, *ppsz);
    return S_OK;
}

HRESULT StringFromIID(REFIID iid, LPOLESTR* ppsz) { return StringFromCLSID(iid, ppsz); }

HRESULT CLSIDFromString(LPCOLESTR psz, LPCLSID pclsid) {
    if (pclsid == nullptr) {
        return E_INVALIDARG;
    }
    GUID parsed;
    if (psz == nullptr || !ParseGuid(psz, parsed)) {
        *pclsid = GUID_NULL;
        return CO_E_CLASSSTRING;
    }
    *pclsid = parsed;
    return S_OK;
}

HRESULT IIDFromString(LPCOLESTR psz, LPIID piid) { return CLSIDFromString(psz, piid); }
