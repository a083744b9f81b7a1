// The library's own result codes and their rendering as text.
//
// The E_KX_HRESULT_* codes are failure codes the library reports through its
// error records; error texts show every code as its hexadecimal value and its
// symbolic name, which AppendResultCodeText produces.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

namespace KxTamarind {

// Failure codes of the library (severity bit set). The first group has
// facility 0; the second FACILITY_ITF with codes above 0x1FF, the range an
// interface may define for itself.
constexpr HRESULT E_KX_HRESULT_INVALID_ERROR = (HRESULT)0x80001002u;
constexpr HRESULT E_KX_HRESULT_UNKNOWN_EXCEPTION = (HRESULT)0x80001003u;
constexpr HRESULT E_KX_HRESULT_INVALID_PROPERTY_MAP = (HRESULT)0x80001004u;
constexpr HRESULT E_KX_HRESULT_VALUE_OUT_OF_RANGE = (HRESULT)0x80001005u;
constexpr HRESULT E_KX_HRESULT_CHECK_FCT_FAILED = (HRESULT)0x80001006u;
constexpr HRESULT E_KX_HRESULT_ASSERT_FAILED = (HRESULT)0x80001007u;
constexpr HRESULT E_KX_HRESULT_ASSERT_REPAIRED = (HRESULT)0x80001008u;
constexpr HRESULT E_KX_HRESULT_INVALID_LINE = (HRESULT)0x80001009u;
constexpr HRESULT E_KX_HRESULT_INDEX_OUT_OF_BOUNDS = (HRESULT)0x8000100Au;
constexpr HRESULT E_KX_HRESULT_CONVERSION_NOT_SUPPORTED = (HRESULT)0x8000100Bu;
constexpr HRESULT E_KX_HRESULT_PRECONDITION_FAILED = (HRESULT)0x80040201u;
constexpr HRESULT E_KX_HRESULT_POSTCONDITION_FAILED = (HRESULT)0x80040202u;
constexpr HRESULT E_KX_HRESULT_NOT_IMPLEMENTED = (HRESULT)0x80040203u;
constexpr HRESULT E_KX_HRESULT_PRECONDITION_REPAIRED = (HRESULT)0x80040204u;
constexpr HRESULT E_KX_HRESULT_POSTCONDITION_REPAIRED = (HRESULT)0x80040205u;
constexpr HRESULT E_KX_HRESULT_PRINTING_NO_PRINTERCHANNEL = (HRESULT)0x80040A01u;
constexpr HRESULT E_KX_HRESULT_PRINTING_NOTHING_TO_PRINT = (HRESULT)0x80040A02u;
constexpr HRESULT E_KX_HRESULT_PRINTING_ITEM_LARGER_THAN_PAGE = (HRESULT)0x80040A03u;

// An exception was caught in a destructor. It has no name of its own in error
// texts (it renders with the fallback name).
constexpr HRESULT E_KX_HRESULT_DESTRUCTOR_EXCEPTION = (HRESULT)0x8000101Bu;

// Sentinel code of the record that replaces further errors once too many have
// been raised. Facility 0 without a name: it renders with the fallback name.
constexpr HRESULT E_KX_HRESULT_TOO_MANY_ERRORS = 1502;

// Appends "0x<code>: <name>" to `text` without clearing it first, where
// <code> is the 32-bit pattern of `code` in lower-case hexadecimal without
// leading zeros (an HRESULT passed as a negative `long` prints as 0x8...,
// not sign-extended). The name comes from, in order: the exact-code table;
// for FACILITY_WIN32 the Win32 number text ("14L"); for FACILITY_CONTROL
// above 0x257 and FACILITY_ITF above 0x1FF an empty name followed by a
// sentence saying the code is specific to the returning interface; else
// "Unknown or new error". No line break is added. The lookup does not
// allocate; only the append may, and then throws std::bad_alloc leaving
// `text` as CAtlStringA leaves it. Thread-safe for distinct `text` objects.
KXTAMARIND_API void AppendResultCodeText(CAtlStringA& text, long code);

} // namespace KxTamarind
