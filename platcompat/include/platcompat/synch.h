// Events, waits and handles.
//
// A HANDLE names an object in a process-wide handle table by index and
// generation; it is never a pointer. A null, garbage or closed handle is
// therefore detected: the call fails (WAIT_FAILED or FALSE) with last error
// ERROR_INVALID_HANDLE, it never crashes.
//
// Decisions of this platform:
// - Events have no names: CreateEvent with a non-null name returns NULL
//   (ERROR_NOT_SUPPORTED). Security attributes are ignored everywhere.
// - WaitForMultipleObjects waits for ANY object only; waiting for all is
//   refused with WAIT_FAILED (ERROR_NOT_SUPPORTED).
// - Timeouts run on the monotonic clock: changing the wall clock does not
//   shorten or lengthen them.
// - Closing a handle that another thread waits on is safe: the waiter keeps
//   the object alive and is not woken by the close (it times out or is
//   signalled through another handle of the same object, if any).
// All functions may be called from any thread.
#pragma once

#include <type_traits>

#include "platcompat/hresult.h"
#include "platcompat/types.h"

constexpr DWORD WAIT_OBJECT_0 = 0;
constexpr DWORD WAIT_ABANDONED_0 = 0x80;
constexpr DWORD WAIT_TIMEOUT = 258;
constexpr DWORD WAIT_FAILED = 0xFFFFFFFFu;
constexpr DWORD INFINITE = 0xFFFFFFFFu;
constexpr DWORD MAXIMUM_WAIT_OBJECTS = 64;

// Closes a handle. The object lives on while other handles or running waits
// refer to it. FALSE (ERROR_INVALID_HANDLE) for NULL, INVALID_HANDLE_VALUE,
// garbage and handles closed before.
PLATCOMPAT_API BOOL CloseHandle(HANDLE handle);

// Creates an event: manual reset when `manualReset` is TRUE (stays signalled
// until ResetEvent), automatic reset otherwise (a satisfied wait consumes the
// signal). Returns NULL on failure: a non-null name (ERROR_NOT_SUPPORTED),
// no memory or a full handle table (ERROR_NOT_ENOUGH_MEMORY). `security` is
// ignored. The caller closes the handle with CloseHandle.
PLATCOMPAT_API HANDLE CreateEventW(LPSECURITY_ATTRIBUTES security, BOOL manualReset,
                                   BOOL initialState, LPCWSTR name);
PLATCOMPAT_API HANDLE CreateEventA(LPSECURITY_ATTRIBUTES security, BOOL manualReset,
                                   BOOL initialState, LPCSTR name);

// CreateEvent takes either kind of name, and NULL or nullptr for none. The
// narrow form is a template so that NULL, which is an integer constant here,
// picks the wide form instead of being ambiguous.
inline HANDLE CreateEvent(LPSECURITY_ATTRIBUTES security, BOOL manualReset, BOOL initialState,
                          LPCWSTR name) {
    return CreateEventW(security, manualReset, initialState, name);
}
template <class Char, std::enable_if_t<std::is_same<Char, char>::value, int> = 0>
HANDLE CreateEvent(LPSECURITY_ATTRIBUTES security, BOOL manualReset, BOOL initialState,
                   const Char* name) {
    return CreateEventA(security, manualReset, initialState, name);
}

// SetEvent: an automatic-reset event wakes exactly one waiter, or stays
// signalled until one comes; a manual-reset event wakes all waiters and stays
// signalled. Signals do not accumulate.
// ResetEvent: makes the event not signalled (TRUE also if it was not).
// PulseEvent: wakes every thread waiting at that moment (manual reset) or at
// most one (automatic reset) and leaves the event not signalled.
// All three return FALSE (ERROR_INVALID_HANDLE) for a handle that is not an
// open event.
PLATCOMPAT_API BOOL SetEvent(HANDLE event);
PLATCOMPAT_API BOOL ResetEvent(HANDLE event);
PLATCOMPAT_API BOOL PulseEvent(HANDLE event);

// Waits until the object is signalled or `milliseconds` passed (INFINITE:
// no limit; 0: test without blocking). Returns WAIT_OBJECT_0 (an automatic-
// reset event is consumed), WAIT_TIMEOUT (nothing consumed) or WAIT_FAILED
// (ERROR_INVALID_HANDLE). Events and thread handles are waitable.
PLATCOMPAT_API DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);

// Waits until any of `count` objects is signalled. Returns WAIT_OBJECT_0 + i
// for the lowest index i among the objects found signalled; only that object
// is consumed. WAIT_FAILED with ERROR_INVALID_PARAMETER for count 0 or above
// MAXIMUM_WAIT_OBJECTS or a NULL array, ERROR_INVALID_HANDLE for any invalid
// handle in the array, ERROR_NOT_SUPPORTED when `waitAll` is TRUE.
PLATCOMPAT_API DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll,
                                            DWORD milliseconds);

// Suspends the calling thread for at least `milliseconds` (monotonic clock);
// Sleep(0) yields the processor; Sleep(INFINITE) never returns.
PLATCOMPAT_API void Sleep(DWORD milliseconds);
