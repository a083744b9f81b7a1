// BSTR allocation and comparison.
//
// Layout on this platform: a BSTR points at its first wchar_t. The 4 bytes
// just before it hold the string's length in BYTES as an unsigned 32-bit value
// (characters x 4, since a wchar_t is 4 bytes here); callers may read it
// there. The characters are always followed by a NUL wchar_t that the length
// does not count. A block may have room for more characters than its length
// (a capacity the layer keeps to itself, never visible in the lengths): a
// string grown with SysReAllocStringLen(NULL source) reallocates only when
// that room runs out, and then doubles it, so growing a string by repeated
// appends costs amortised constant time per character. The string stays
// 8-byte aligned on 32- and 64-bit hosts. Sizes are checked for overflow: a
// length whose byte count does not fit in 32 bits, or whose block does not
// fit in memory, yields NULL. Small strings are recycled through a
// per-thread cache (at most 64 KB per thread, given back when the thread
// ends); a BSTR may be freed on any thread.
//
// Ownership: every BSTR returned here belongs to the caller, who frees it
// with SysFreeString. The functions are thread-safe; one BSTR must not be
// freed or reallocated while another thread uses it.
#pragma once

#include "platcompat/hresult.h"
#include "platcompat/types.h"

// Allocation. NULL is returned when the source is NULL (SysAllocString only)
// or on allocation failure / size overflow.
// - SysAllocString copies up to the first NUL.
// - SysAllocStringLen copies exactly `length` characters, embedded NULs
//   included; a NULL source gives `length` zeroed characters.
// - SysAllocStringByteLen copies `length` bytes (NULL source: zero bytes);
//   the byte length is kept exactly, SysStringLen is length / 4, and the
//   bytes after the copied ones are zero.
PLATCOMPAT_API BSTR SysAllocString(const OLECHAR* source);
PLATCOMPAT_API BSTR SysAllocStringLen(const OLECHAR* source, UINT length);
PLATCOMPAT_API BSTR SysAllocStringByteLen(LPCSTR source, UINT length);

// Reallocation: *bstr is replaced by a new string and the old one freed; the
// source may point into the old string. They return TRUE on success and
// FALSE (leaving *bstr unchanged) for a NULL `bstr` or a failed allocation.
// - SysReAllocString with a NULL source frees *bstr and sets it to NULL.
// - SysReAllocStringLen with a NULL source keeps the old characters up to the
//   new length and zeroes any characters beyond them.
PLATCOMPAT_API INT SysReAllocString(BSTR* bstr, const OLECHAR* source);
PLATCOMPAT_API INT SysReAllocStringLen(BSTR* bstr, const OLECHAR* source, UINT length);

// Length in characters / bytes, read from the prefix; 0 for NULL.
PLATCOMPAT_API UINT SysStringLen(BSTR bstr);
PLATCOMPAT_API UINT SysStringByteLen(BSTR bstr);

// Frees a BSTR; NULL does nothing.
PLATCOMPAT_API void SysFreeString(BSTR bstr);

constexpr HRESULT VARCMP_LT = 0;
constexpr HRESULT VARCMP_EQ = 1;
constexpr HRESULT VARCMP_GT = 2;
constexpr HRESULT VARCMP_NULL = 3;
constexpr ULONG NORM_IGNORECASE = 0x1;

// Compares SysStringLen characters of both strings (embedded NULs count) by
// code point; a NULL BSTR is the empty string, so VARCMP_NULL is never
// returned. With NORM_IGNORECASE both sides are compared after the layer's
// locale-independent simple lowercase mapping. The locale id and any other
// flag bits are ignored.
PLATCOMPAT_API HRESULT VarBstrCmp(BSTR left, BSTR right, LCID lcid, ULONG flags);
