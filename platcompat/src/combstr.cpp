// CComBSTR: ownership of one BSTR and the operations built on it.
#include "platcompat/atlbase.h"

#include <cstdint>
#include <cwchar>
#include <memory>
#include <new>

#include "casemap.h"
#include "platcompat/strconv.h"

namespace {

// Allocates a BSTR for `source` or throws; NULL stays NULL.
BSTR AllocOrThrow(const OLECHAR* source, unsigned int length) {
    BSTR result = SysAllocStringLen(source, length);
    if (result == nullptr) {
        throw std::bad_alloc();
    }
    return result;
}

BSTR FromWide(LPCOLESTR source) {
    return source == nullptr ? nullptr
                             : AllocOrThrow(source, static_cast<unsigned int>(std::wcslen(source)));
}

// Narrow text converted as code page 0 (UTF-8); NULL stays NULL.
BSTR FromNarrow(LPCSTR source) {
    if (source == nullptr) {
        return nullptr;
    }
    if (*source == '\0') {
        return AllocOrThrow(nullptr, 0);
    }
    const int n = MultiByteToWideChar(CP_ACP, 0, source, -1, nullptr, 0);
    if (n <= 0) {
        throw std::bad_alloc(); // only an oversized source fails here
    }
    BSTR result = AllocOrThrow(nullptr, static_cast<unsigned int>(n - 1));
    // The destination has room for the converted NUL as well.
    MultiByteToWideChar(CP_ACP, 0, source, -1, result, n);
    return result;
}

int Order(BSTR a, LPCOLESTR b, std::size_t bLen) {
    return PlatCompareWide(a, SysStringLen(a), b, bLen, false);
}

std::size_t LengthOf(LPCOLESTR s) {
    return s == nullptr ? 0 : std::wcslen(s);
}

} // namespace

CComBSTR::CComBSTR(LPCOLESTR source) : m_str(FromWide(source)) {}

CComBSTR::CComBSTR(int length, LPCOLESTR source)
    : m_str(AllocOrThrow(source, length > 0 ? static_cast<unsigned int>(length) : 0)) {}

CComBSTR::CComBSTR(int size)
    : m_str(size > 0 ? AllocOrThrow(nullptr, static_cast<unsigned int>(size)) : nullptr) {}

CComBSTR::CComBSTR(LPCSTR source) : m_str(FromNarrow(source)) {}

CComBSTR::CComBSTR(const CComBSTR& other)
    : m_str(other.m_str == nullptr ? nullptr : AllocOrThrow(other.m_str, other.Length())) {}

CComBSTR& CComBSTR::operator=(const CComBSTR& other) {
    if (std::addressof(other) != this) {
        BSTR fresh = other.m_str == nullptr ? nullptr : AllocOrThrow(other.m_str, other.Length());
        SysFreeString(m_str);
        m_str = fresh;
    }
    return *this;
}

CComBSTR& CComBSTR::operator=(CComBSTR&& other) noexcept {
    if (std::addressof(other) != this) {
        SysFreeString(m_str);
        m_str = other.m_str;
        other.m_str = nullptr;
    }
    return *this;
}

CComBSTR& CComBSTR::operator=(LPCOLESTR source) {
    if (source != m_str) {
        BSTR fresh = FromWide(source); // before freeing: source may point into m_str
        SysFreeString(m_str);
        m_str = fresh;
    }
    return *this;
}

CComBSTR& CComBSTR::operator=(LPCSTR source) {
    BSTR fresh = FromNarrow(source);
    SysFreeString(m_str);
    m_str = fresh;
    return *this;
}

BSTR CComBSTR::Copy() const {
    return m_str == nullptr ? nullptr : SysAllocStringLen(m_str, Length());
}

HRESULT CComBSTR::CopyTo(BSTR* dest) const {
    if (dest == nullptr) {
        return E_POINTER;
    }
    *dest = Copy();
    return (*dest == nullptr && m_str != nullptr) ? E_OUTOFMEMORY : S_OK;
}

void CComBSTR::Attach(BSTR source) {
    if (source != m_str) {
        SysFreeString(m_str);
        m_str = source;
    }
}

HRESULT CComBSTR::AppendChars(const OLECHAR* source, unsigned int length) {
    const unsigned int old = Length();
    const std::uint64_t total = std::uint64_t{old} + length;
    if (total > UINT32_MAX) {
        return E_OUTOFMEMORY;
    }
    if (m_str == nullptr) {
        BSTR fresh = SysAllocStringLen(source, static_cast<UINT>(total));
        if (fresh == nullptr) {
            return E_OUTOFMEMORY;
        }
        m_str = fresh;
        return S_OK;
    }
    // The block grows within its capacity (doubling it when needed), so
    // repeated appends are amortised constant time. `source` may be our own
    // string: its offset survives the reallocation.
    const auto start = reinterpret_cast<std::uintptr_t>(m_str);
    const auto at = reinterpret_cast<std::uintptr_t>(source);
    const bool inside = source != nullptr && at >= start && at <= start + old * sizeof(OLECHAR);
    const std::size_t offset = inside ? static_cast<std::size_t>(source - m_str) : 0;
    if (!SysReAllocStringLen(&m_str, nullptr, static_cast<UINT>(total))) {
        return E_OUTOFMEMORY;
    }
    if (length > 0 && source != nullptr) {
        std::wmemmove(m_str + old, inside ? m_str + offset : source, length);
    }
    return S_OK;
}

HRESULT CComBSTR::Append(const CComBSTR& other) {
    return AppendChars(other.m_str, other.Length());
}

HRESULT CComBSTR::Append(LPCOLESTR source) {
    if (source == nullptr) {
        return S_OK;
    }
    return AppendChars(source, static_cast<unsigned int>(std::wcslen(source)));
}

HRESULT CComBSTR::Append(LPCOLESTR source, int length) {
    if (length < 0) {
        return E_INVALIDARG;
    }
    if (source == nullptr || length == 0) {
        return S_OK;
    }
    return AppendChars(source, static_cast<unsigned int>(length));
}

HRESULT CComBSTR::Append(char ch) {
    // One byte of code page 0: ASCII maps to itself, other single bytes are
    // not complete UTF-8 and become U+FFFD.
    const OLECHAR wide = static_cast<unsigned char>(ch) < 0x80 ? static_cast<OLECHAR>(ch) : 0xFFFD;
    return AppendChars(&wide, 1);
}

HRESULT CComBSTR::Append(wchar_t ch) {
    return AppendChars(&ch, 1);
}

HRESULT CComBSTR::AppendBSTR(BSTR source) {
    return AppendChars(source, SysStringLen(source));
}

CComBSTR& CComBSTR::operator+=(const CComBSTR& other) {
    if (Append(other) != S_OK) {
        throw std::bad_alloc();
    }
    return *this;
}

CComBSTR& CComBSTR::operator+=(LPCOLESTR source) {
    if (Append(source) != S_OK) {
        throw std::bad_alloc();
    }
    return *this;
}

HRESULT CComBSTR::ToLower() {
    CharLowerBuffW(m_str, Length());
    return S_OK;
}

HRESULT CComBSTR::ToUpper() {
    CharUpperBuffW(m_str, Length());
    return S_OK;
}

bool CComBSTR::operator==(const CComBSTR& other) const {
    return VarBstrCmp(m_str, other.m_str, 0, 0) == VARCMP_EQ;
}

bool CComBSTR::operator==(LPCOLESTR other) const {
    return Order(m_str, other, LengthOf(other)) == 0;
}

bool CComBSTR::operator<(const CComBSTR& other) const {
    return VarBstrCmp(m_str, other.m_str, 0, 0) == VARCMP_LT;
}

bool CComBSTR::operator<(LPCOLESTR other) const {
    return Order(m_str, other, LengthOf(other)) < 0;
}
