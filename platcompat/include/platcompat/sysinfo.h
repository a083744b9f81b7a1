// Local time and the performance counter.
#pragma once

#include "platcompat/types.h"

// The current local time (wall clock, millisecond resolution). A null
// pointer is ignored.
PLATCOMPAT_API void GetLocalTime(LPSYSTEMTIME st);

// The performance counter is the monotonic clock in nanoseconds, so the
// frequency is the constant 1,000,000,000 and the counter never goes
// backwards. Both return FALSE for a null pointer.
PLATCOMPAT_API BOOL QueryPerformanceCounter(LARGE_INTEGER* count);
PLATCOMPAT_API BOOL QueryPerformanceFrequency(LARGE_INTEGER* frequency);
