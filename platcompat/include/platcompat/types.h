// Fundamental Win32/COM types of the platform layer.
//
// Widths are those of Win32 on every host: LONG, ULONG, DWORD and HRESULT are
// 32 bits also on LP64 Linux, where the C `long` is 64 bits. Code that the
// Win32 headers declare with `long` keeps writing `long`; the layer's own
// signatures use the fixed-width names below.
//
// wchar_t is 32 bits on this platform (one UTF-32 code unit per character);
// OLECHAR, WCHAR and BSTR characters are wchar_t.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platcompat/export.h"

typedef int BOOL;
#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

typedef unsigned char BYTE;
typedef unsigned short WORD;
typedef std::uint32_t DWORD;
typedef std::int32_t LONG;
typedef std::uint32_t ULONG;
typedef int INT;
typedef unsigned int UINT;
typedef short SHORT;
typedef unsigned short USHORT;
typedef char CHAR;
typedef unsigned char UCHAR;
typedef std::int64_t LONGLONG;
typedef std::uint64_t ULONGLONG;
typedef std::intptr_t INT_PTR;
typedef std::uintptr_t UINT_PTR;
typedef std::intptr_t LONG_PTR;
typedef std::uintptr_t ULONG_PTR;
typedef std::uintptr_t DWORD_PTR;
typedef std::size_t SIZE_T;
typedef DWORD LCID;
typedef void* LPVOID;
typedef const void* LPCVOID;
typedef DWORD* LPDWORD;
typedef LONG* PLONG;

typedef wchar_t WCHAR;
typedef wchar_t OLECHAR;
typedef char* LPSTR;
typedef const char* LPCSTR;
typedef wchar_t* LPWSTR;
typedef const wchar_t* LPCWSTR;
typedef OLECHAR* LPOLESTR;
typedef const OLECHAR* LPCOLESTR;
typedef OLECHAR* BSTR;

typedef std::int32_t HRESULT;
typedef short VARIANT_BOOL;
#define VARIANT_TRUE ((VARIANT_BOOL)-1)
#define VARIANT_FALSE ((VARIANT_BOOL)0)

typedef void* HANDLE;
typedef HANDLE* LPHANDLE;
#define INVALID_HANDLE_VALUE ((HANDLE)(LONG_PTR)-1)

static_assert(sizeof(DWORD) == 4 && sizeof(LONG) == 4 && sizeof(ULONG) == 4, "Win32 widths");
static_assert(sizeof(HRESULT) == 4, "HRESULT is a signed 32-bit value");
static_assert(sizeof(wchar_t) == 4, "wchar_t is 32 bits on this platform");
static_assert(sizeof(BOOL) == 4, "BOOL is a 32-bit int");

// A signed 64-bit value with its two 32-bit halves (the performance counter).
typedef union _LARGE_INTEGER {
    struct {
        DWORD LowPart;
        LONG HighPart;
    } u;
    LONGLONG QuadPart;
} LARGE_INTEGER;
typedef LARGE_INTEGER* PLARGE_INTEGER;

// A calendar date and time of day to the millisecond (GetLocalTime).
typedef struct _SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
} SYSTEMTIME, *LPSYSTEMTIME;

// Opaque records: the layer passes pointers to them through and never reads
// them, so their contents are not declared.
typedef struct _SECURITY_ATTRIBUTES SECURITY_ATTRIBUTES;
typedef SECURITY_ATTRIBUTES* LPSECURITY_ATTRIBUTES;
typedef struct _CONTEXT CONTEXT;
typedef CONTEXT* PCONTEXT;

// Method declaration helpers. There is one calling convention on this
// platform, so STDMETHODCALLTYPE expands to nothing.
#define STDMETHODCALLTYPE
#define STDMETHOD(method) virtual HRESULT STDMETHODCALLTYPE method
#define STDMETHOD_(type, method) virtual type STDMETHODCALLTYPE method
#define STDMETHODIMP HRESULT STDMETHODCALLTYPE
#define STDMETHODIMP_(type) type STDMETHODCALLTYPE
#define PURE = 0
