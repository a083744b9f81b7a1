// Local time and the performance counter.
#include "platcompat.h"

#include <time.h>

void GetLocalTime(LPSYSTEMTIME st) {
    if (st == nullptr) {
        return;
    }
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    st->wYear = static_cast<WORD>(local.tm_year + 1900);
    st->wMonth = static_cast<WORD>(local.tm_mon + 1);
    st->wDayOfWeek = static_cast<WORD>(local.tm_wday);
    st->wDay = static_cast<WORD>(local.tm_mday);
    st->wHour = static_cast<WORD>(local.tm_hour);
    st->wMinute = static_cast<WORD>(local.tm_min);
    st->wSecond = static_cast<WORD>(local.tm_sec);
    st->wMilliseconds = static_cast<WORD>(now.tv_nsec / 1000000);
}

BOOL QueryPerformanceCounter(LARGE_INTEGER* count) {
    if (count == nullptr) {
        return FALSE;
    }
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    count->QuadPart = static_cast<LONGLONG>(now.tv_sec) * 1000000000LL + now.tv_nsec;
    return TRUE;
}

BOOL QueryPerformanceFrequency(LARGE_INTEGER* frequency) {
    if (frequency == nullptr) {
        return FALSE;
    }
    frequency->QuadPart = 1000000000LL;
    return TRUE;
}
