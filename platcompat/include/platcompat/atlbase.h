// CComBSTR: owner of one BSTR.
//
// m_str is the owned BSTR (NULL for an empty-and-unallocated string); the
// destructor frees it. Copy() and CopyTo() hand out a new BSTR that the caller
// frees; Detach() hands over m_str itself; Attach() takes ownership of a BSTR.
// Not thread-safe: share an instance between threads only under a lock.
//
// Failures: members returning HRESULT return E_OUTOFMEMORY when an allocation
// fails (or the length would overflow) and leave the value unchanged.
// Constructors, assignments and operator+= cannot return a result, so they
// throw std::bad_alloc instead, also leaving the value unchanged.
//
// Comparisons treat NULL as the empty string and compare by code point, as
// VarBstrCmp does; embedded NULs count for the CComBSTR operands.
#pragma once

#include "platcompat/hresult.h"
#include "platcompat/oleauto.h"
#include "platcompat/types.h"

class PLATCOMPAT_API CComBSTR {
public:
    BSTR m_str;

    CComBSTR() noexcept : m_str(nullptr) {}
    // A NULL source gives m_str NULL.
    CComBSTR(LPCOLESTR source);
    // `length` characters; a NULL source gives that many zeroed characters.
    CComBSTR(int length, LPCOLESTR source);
    // `size` zeroed characters; 0 or less gives m_str NULL.
    explicit CComBSTR(int size);
    // Narrow text converted as code page 0 (UTF-8); NULL gives m_str NULL.
    CComBSTR(LPCSTR source);
    CComBSTR(const CComBSTR& other);
    CComBSTR(CComBSTR&& other) noexcept : m_str(other.m_str) { other.m_str = nullptr; }
    ~CComBSTR() { SysFreeString(m_str); }

    CComBSTR& operator=(const CComBSTR& other);
    CComBSTR& operator=(CComBSTR&& other) noexcept;
    CComBSTR& operator=(LPCOLESTR source);
    CComBSTR& operator=(LPCSTR source);

    unsigned int Length() const { return SysStringLen(m_str); }
    unsigned int ByteLength() const { return SysStringByteLen(m_str); }

    // A new BSTR with the same characters (NULL for NULL or on failure).
    BSTR Copy() const;
    // *dest = Copy(). E_POINTER for a NULL dest, E_OUTOFMEMORY when the copy
    // of a non-NULL string fails, otherwise S_OK.
    HRESULT CopyTo(BSTR* dest) const;

    // Frees the current string (unless it is `source`) and owns `source`.
    void Attach(BSTR source);
    // Hands m_str to the caller and leaves this object NULL.
    BSTR Detach() {
        BSTR s = m_str;
        m_str = nullptr;
        return s;
    }
    void Empty() {
        SysFreeString(m_str);
        m_str = nullptr;
    }

    // Appends; S_OK or E_OUTOFMEMORY. Append(LPCOLESTR, int) appends exactly
    // `length` characters (E_INVALIDARG for a negative length; a NULL source
    // appends nothing); Append(char)/Append(wchar_t) append ONE character.
    HRESULT Append(const CComBSTR& other);
    HRESULT Append(LPCOLESTR source);
    HRESULT Append(LPCOLESTR source, int length);
    HRESULT Append(char ch);
    HRESULT Append(wchar_t ch);
    HRESULT AppendBSTR(BSTR source);
    CComBSTR& operator+=(const CComBSTR& other);
    CComBSTR& operator+=(LPCOLESTR source);

    // In place with the layer's locale-independent case mapping; S_OK.
    HRESULT ToLower();
    HRESULT ToUpper();

    operator BSTR() const { return m_str; }
    // Address of m_str, for out-parameters; the caller must not leak a value
    // that m_str already holds.
    BSTR* operator&() { return &m_str; }
    bool operator!() const { return m_str == nullptr; }

    bool operator==(const CComBSTR& other) const;
    bool operator==(LPCOLESTR other) const;
    bool operator!=(const CComBSTR& other) const { return !(*this == other); }
    bool operator!=(LPCOLESTR other) const { return !(*this == other); }
    bool operator<(const CComBSTR& other) const;
    bool operator<(LPCOLESTR other) const;

private:
    HRESULT AppendChars(const OLECHAR* source, unsigned int length);
};
