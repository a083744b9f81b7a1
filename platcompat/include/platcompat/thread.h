// Threads: creation, identity, exit code, priority and affinity.
//
// A thread handle from _beginthreadex is waitable (see synch.h): it is not
// signalled while the thread runs and signalled for good once the thread
// function returned, for any number of waiters, until CloseHandle. Closing
// the handle of a running thread does not stop the thread.
//
// Decisions of this platform:
// - Thread ids are the kernel thread ids (gettid).
// - _beginthreadex accepts the flags 0 and STACK_SIZE_PARAM_IS_A_RESERVATION;
//   CREATE_SUSPENDED and any other flag fail with errno EINVAL. The security
//   argument is ignored.
// - Priorities map to the thread's nice value: IDLE 19, LOWEST 10,
//   BELOW_NORMAL 5, NORMAL 0, ABOVE_NORMAL -5, HIGHEST -10, TIME_CRITICAL -20.
//   Raising a priority may need privileges; without them SetThreadPriority
//   returns FALSE (ERROR_ACCESS_DENIED).
#pragma once

#include <pthread.h>

#include "platcompat/hresult.h"
#include "platcompat/synch.h"
#include "platcompat/types.h"

constexpr int THREAD_PRIORITY_IDLE = -15;
constexpr int THREAD_PRIORITY_LOWEST = -2;
constexpr int THREAD_PRIORITY_BELOW_NORMAL = -1;
constexpr int THREAD_PRIORITY_NORMAL = 0;
constexpr int THREAD_PRIORITY_ABOVE_NORMAL = 1;
constexpr int THREAD_PRIORITY_HIGHEST = 2;
constexpr int THREAD_PRIORITY_TIME_CRITICAL = 15;
constexpr int THREAD_PRIORITY_ERROR_RETURN = 0x7FFFFFFF;
constexpr unsigned STACK_SIZE_PARAM_IS_A_RESERVATION = 0x10000;
constexpr unsigned CREATE_SUSPENDED = 4;
constexpr DWORD STILL_ACTIVE = 259;

// Starts `start(arg)` on a new thread and returns its handle as an integer,
// or 0 on failure with errno set (EINVAL for a null start function or an
// unsupported flag, EAGAIN/ENOMEM when the system or the handle table is
// exhausted). `stackSize` 0 takes the platform default; other sizes are
// rounded up to the system minimum and the page size. `*threadId`, if not
// null, holds the new thread's id when the call returns. The caller closes
// the handle with CloseHandle.
PLATCOMPAT_API uintptr_t _beginthreadex(void* security, unsigned stackSize,
                                        unsigned (*start)(void*), void* arg, unsigned initFlag,
                                        unsigned* threadId);

// The exit code of the thread, or STILL_ACTIVE while it runs. FALSE
// (ERROR_INVALID_HANDLE / ERROR_INVALID_PARAMETER) for a bad handle or a null
// out-pointer.
PLATCOMPAT_API BOOL GetExitCodeThread(HANDLE thread, LPDWORD exitCode);

// Kernel id of the calling thread.
PLATCOMPAT_API DWORD GetCurrentThreadId();

// A pseudo-handle, (HANDLE)-2, that stands for the calling thread in the
// priority, affinity and GetThreadPosixHandle calls. It needs no closing.
PLATCOMPAT_API HANDLE GetCurrentThread();

// Sets one of the seven THREAD_PRIORITY_* values; other values fail with
// ERROR_INVALID_PARAMETER. FALSE with ERROR_ACCESS_DENIED when the system
// refuses, ERROR_INVALID_HANDLE for a bad handle or a thread that ended.
PLATCOMPAT_API BOOL SetThreadPriority(HANDLE thread, int priority);
// The last priority set successfully (THREAD_PRIORITY_NORMAL at first), or
// THREAD_PRIORITY_ERROR_RETURN for a bad handle.
PLATCOMPAT_API int GetThreadPriority(HANDLE thread);

// Restricts the thread to the processors whose bits are set in `mask`.
// Returns the previous mask, or 0 on failure (mask 0, processors that do not
// exist, bad handle).
PLATCOMPAT_API DWORD_PTR SetThreadAffinityMask(HANDLE thread, DWORD_PTR mask);

// The POSIX thread behind a thread handle (or behind GetCurrentThread()), for
// calls such as pthread_setname_np. The value stays valid while the handle is
// open. FALSE (ERROR_INVALID_HANDLE) for a bad handle or a null out-pointer.
PLATCOMPAT_API BOOL GetThreadPosixHandle(HANDLE thread, pthread_t* out);
