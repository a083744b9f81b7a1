// Result codes, Win32 error numbers and structured-exception codes.
//
// The general codes (E_*, S_*) and the EXCEPTION_* codes carry this
// platform's values, which are not the values Windows uses: E_FAIL is
// 0x80000008 here, not 0x80004005. Every module of the process uses these.
#pragma once

#include "platcompat/types.h"

#define SUCCEEDED(hr) (((HRESULT)(hr)) >= 0)
#define FAILED(hr) (((HRESULT)(hr)) < 0)
#define IS_ERROR(status) (((std::uint32_t)(status)) >> 31 == 1)
#define HRESULT_CODE(hr) ((hr)&0xFFFF)
#define HRESULT_FACILITY(hr) (((hr) >> 16) & 0x1FFF)
#define HRESULT_SEVERITY(hr) (((hr) >> 31) & 0x1)
#define MAKE_HRESULT(sev, fac, code)                                                               \
    ((HRESULT)(((std::uint32_t)(sev) << 31) | ((std::uint32_t)(fac) << 16) |                       \
               ((std::uint32_t)(code))))

constexpr int FACILITY_NULL = 0;
constexpr int FACILITY_RPC = 1;
constexpr int FACILITY_DISPATCH = 2;
constexpr int FACILITY_STORAGE = 3;
constexpr int FACILITY_ITF = 4;
constexpr int FACILITY_WIN32 = 7;
constexpr int FACILITY_WINDOWS = 8;
constexpr int FACILITY_CONTROL = 10;

// Maps a Win32 error number into the FACILITY_WIN32 range (0 stays S_OK).
constexpr HRESULT HRESULT_FROM_WIN32(std::uint32_t x) {
    return (HRESULT)x <= 0 ? (HRESULT)x : (HRESULT)((x & 0x0000FFFFu) | (7u << 16) | 0x80000000u);
}

constexpr HRESULT S_OK = 0x00000000;
constexpr HRESULT S_FALSE = 0x00000001;
constexpr HRESULT E_NOTIMPL = (HRESULT)0x80000001u;
constexpr HRESULT E_OUTOFMEMORY = (HRESULT)0x80000002u;
constexpr HRESULT E_INVALIDARG = (HRESULT)0x80000003u;
constexpr HRESULT E_NOINTERFACE = (HRESULT)0x80000004u;
constexpr HRESULT E_POINTER = (HRESULT)0x80000005u;
constexpr HRESULT E_HANDLE = (HRESULT)0x80000006u;
constexpr HRESULT E_ABORT = (HRESULT)0x80000007u;
constexpr HRESULT E_FAIL = (HRESULT)0x80000008u;
constexpr HRESULT E_ACCESSDENIED = (HRESULT)0x80000009u;
constexpr HRESULT E_PENDING = (HRESULT)0x8000000Au;
constexpr HRESULT E_UNEXPECTED = (HRESULT)0x8000FFFFu;

// Apartment results of CoInitialize(Ex).
constexpr HRESULT RPC_E_CHANGED_MODE = (HRESULT)0x80010106u;
constexpr HRESULT CO_E_NOTINITIALIZED = (HRESULT)0x800401F0u;

// Structured-exception codes, platform values.
constexpr DWORD EXCEPTION_GUARD_PAGE = 0x80000101u;
constexpr DWORD EXCEPTION_DATATYPE_MISALIGNMENT = 0x80000102u;
constexpr DWORD EXCEPTION_BREAKPOINT = 0x80000103u;
constexpr DWORD EXCEPTION_SINGLE_STEP = 0x80000104u;
constexpr DWORD EXCEPTION_ACCESS_VIOLATION = 0xC0000105u;
constexpr DWORD EXCEPTION_IN_PAGE_ERROR = 0xC0000106u;
constexpr DWORD EXCEPTION_INVALID_HANDLE = 0xC0000108u;
constexpr DWORD EXCEPTION_ILLEGAL_INSTRUCTION = 0xC000011Du;
constexpr DWORD EXCEPTION_NONCONTINUABLE_EXCEPTION = 0xC0000125u;
constexpr DWORD EXCEPTION_INVALID_DISPOSITION = 0xC0000126u;
constexpr DWORD EXCEPTION_ARRAY_BOUNDS_EXCEEDED = 0xC000018Cu;
constexpr DWORD EXCEPTION_FLT_DENORMAL_OPERAND = 0xC000018Du;
constexpr DWORD EXCEPTION_FLT_DIVIDE_BY_ZERO = 0xC000018Eu;
constexpr DWORD EXCEPTION_FLT_INEXACT_RESULT = 0xC000018Fu;
constexpr DWORD EXCEPTION_FLT_INVALID_OPERATION = 0xC0000190u;
constexpr DWORD EXCEPTION_FLT_OVERFLOW = 0xC0000191u;
constexpr DWORD EXCEPTION_FLT_STACK_CHECK = 0xC0000192u;
constexpr DWORD EXCEPTION_FLT_UNDERFLOW = 0xC0000193u;
constexpr DWORD EXCEPTION_INT_DIVIDE_BY_ZERO = 0xC0000194u;
constexpr DWORD EXCEPTION_INT_OVERFLOW = 0xC0000195u;
constexpr DWORD EXCEPTION_PRIV_INSTRUCTION = 0xC0000196u;
constexpr DWORD EXCEPTION_STACK_OVERFLOW = 0xC00001FDu;

// Win32 error numbers that the layer sets as the thread's last error.
constexpr DWORD ERROR_SUCCESS = 0;
constexpr DWORD ERROR_INVALID_FUNCTION = 1;
constexpr DWORD ERROR_ACCESS_DENIED = 5;
constexpr DWORD ERROR_INVALID_HANDLE = 6;
constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr DWORD ERROR_OUTOFMEMORY = 14;
constexpr DWORD ERROR_NOT_SUPPORTED = 50;
constexpr DWORD ERROR_INVALID_PARAMETER = 87;
constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
constexpr DWORD ERROR_INVALID_FLAGS = 1004;
constexpr DWORD ERROR_NO_UNICODE_TRANSLATION = 1113;
constexpr DWORD ERROR_TIMEOUT = 1460;

// The calling thread's last error, kept per thread as on Win32.
PLATCOMPAT_API DWORD GetLastError();
PLATCOMPAT_API void SetLastError(DWORD error);
