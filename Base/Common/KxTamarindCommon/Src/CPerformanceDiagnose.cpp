#include "CPerformanceDiagnose.h"

#include <cmath>
#include <cstdio>

#include "CStlExtensions.h"
#include "KxKernelRemote.h"

namespace KxTamarind {

LONG CPerformanceDiagnose::s_iKeyStrokeCounter = 0;
LONG CPerformanceDiagnose::s_iScpiCounter = 0;

namespace {

RemoteDiagnoseControl& Control() {
    return *get_RemoteDiagnoseControl();
}

bool ReadCounter(long long& value) {
    LARGE_INTEGER counter;
    if (!QueryPerformanceCounter(&counter)) {
        return false;
    }
    value = counter.QuadPart;
    return true;
}

// Seconds with microseconds; a zero frequency in the control block counts as
// one tick per second rather than dividing by zero.
std::string Seconds(long long ticks, long long frequency) {
    if (frequency <= 0) {
        frequency = 1;
    }
    char text[64];
    std::snprintf(text, sizeof text, "%.6f",
                  static_cast<double>(ticks) / static_cast<double>(frequency));
    return text;
}

} // namespace

// --- CStatistik ---------------------------------------------------------------

CPerformanceDiagnose::CStatistik::CStatistik() {
    Reset();
}

CPerformanceDiagnose::CStatistik::~CStatistik() = default;

void CPerformanceDiagnose::CStatistik::Push(long long ticks) {
    double frequency =
        static_cast<double>(Control().m_llPerformanceFrequency.load(std::memory_order_relaxed));
    double v = static_cast<double>(ticks) / frequency;
    m_lCount += 1;
    m_dSum += v;
    m_dSumOfSquares += v * v;
    if (m_dMin > v) {
        m_dMin = v;
    }
    if (v > m_dMax) {
        m_dMax = v;
    }
}

void CPerformanceDiagnose::CStatistik::Reset() {
    m_lCount = 0;
    m_dSum = 0.0;
    m_dSumOfSquares = 0.0;
    m_dMin = 0.0;
    m_dMax = 0.0;
}

double CPerformanceDiagnose::CStatistik::get_Mean() const {
    return m_dSum / static_cast<double>(m_lCount);
}

double CPerformanceDiagnose::CStatistik::get_Sdev() const {
    double mean = get_Mean();
    return std::sqrt(m_dSumOfSquares / static_cast<double>(m_lCount) - mean * mean);
}

// --- CRunControl ----------------------------------------------------------------

CPerformanceDiagnose::CRunControl::CRunControl()
    : m_bFlag(false), m_wWord(0), m_llFrequency(CPerformanceDiagnose::GetFrequency()),
      m_llCounter1(CPerformanceDiagnose::GetPerfCounter()),
      m_llCounter2(CPerformanceDiagnose::GetPerfCounter()) {}

CPerformanceDiagnose::CRunControl::~CRunControl() = default;

// --- CPerformanceDiagnose -------------------------------------------------------

CPerformanceDiagnose::CPerformanceDiagnose() : m_llStart(0), m_llEnd(0), m_pStatistik(nullptr) {}

CPerformanceDiagnose::~CPerformanceDiagnose() {
    if (m_pStatistik != nullptr) {
        m_llEnd = GetPerfCounter();
        m_pStatistik->Push(m_llEnd - m_llStart);
        m_pStatistik = nullptr;
    }
}

void CPerformanceDiagnose::DifferenceMeasurement(CStatistik& statistic) {
    m_llStart = GetPerfCounter();
    m_pStatistik = &statistic;
}

long long CPerformanceDiagnose::GetFrequency() {
    LARGE_INTEGER frequency;
    if (!QueryPerformanceFrequency(&frequency) || frequency.QuadPart == 0) {
        return 1;
    }
    return frequency.QuadPart;
}

long long CPerformanceDiagnose::GetPerfCounter() {
    long long value = 0;
    return ReadCounter(value) ? value : 0;
}

bool CPerformanceDiagnose::IsDebugStatisticModeActive() {
    return get_RemoteDiagnoseMode() && Control().m_bDebugStatistic.load(std::memory_order_relaxed);
}

bool CPerformanceDiagnose::IsDebugTraceModeActive() {
    return get_RemoteDiagnoseMode() && Control().m_bDebugTrace.load(std::memory_order_relaxed);
}

bool CPerformanceDiagnose::IsDebugRpcModeActive() {
    return get_RemoteDiagnoseMode() && Control().m_bDebugRpc.load(std::memory_order_relaxed);
}

bool CPerformanceDiagnose::IsDebugTimingActive() {
    return get_RemoteDiagnoseMode() && Control().m_bDebugTiming.load(std::memory_order_relaxed);
}

bool CPerformanceDiagnose::IsScpiChecksDisabled() {
    return Control().m_bScpiChecksDisabled.load(std::memory_order_relaxed);
}

void CPerformanceDiagnose::BeginDebugTiming() {
    Control().m_llDebugTimingStart.store(GetPerfCounter(), std::memory_order_relaxed);
}

void CPerformanceDiagnose::IncrementKeyStrokeCounter() {
    InterlockedIncrement(&s_iKeyStrokeCounter);
}

void CPerformanceDiagnose::IncrementScpiCounter() {
    InterlockedIncrement(&s_iScpiCounter);
}

long CPerformanceDiagnose::GetKeyStrokeCounter() {
    return __atomic_load_n(&s_iKeyStrokeCounter, __ATOMIC_RELAXED);
}

long CPerformanceDiagnose::GetScpiCounter() {
    return __atomic_load_n(&s_iScpiCounter, __ATOMIC_RELAXED);
}

// A read and a separate reset: an increment in between is lost by design.
long CPerformanceDiagnose::GetKeyStrokeCounterAndReset() {
    long value = __atomic_load_n(&s_iKeyStrokeCounter, __ATOMIC_RELAXED);
    __atomic_store_n(&s_iKeyStrokeCounter, 0, __ATOMIC_RELAXED);
    return value;
}

long CPerformanceDiagnose::GetScpiCounterAndReset() {
    long value = __atomic_load_n(&s_iScpiCounter, __ATOMIC_RELAXED);
    __atomic_store_n(&s_iScpiCounter, 0, __ATOMIC_RELAXED);
    return value;
}

std::string CPerformanceDiagnose::GetTimestampFromPerformanceCounter(long long counter) {
    return Seconds(counter, GetFrequency());
}

void CPerformanceDiagnose::DebugMessageTiming(const char* text) {
    if (!IsDebugTimingActive()) {
        return;
    }
    long long now = GetPerfCounter();
    long long start = Control().m_llDebugTimingStart.load(std::memory_order_relaxed);
    std::string message = "[RemoteTrace] t =" + GetTimestampFromPerformanceCounter(now) +
                          ": dt =" + Seconds(now - start, GetFrequency()) + " " +
                          (text != nullptr ? text : "") + "\n";
    CStlExtensions::DebugPrint(message);
}

void CPerformanceDiagnose::DebugMessageTrace(const char* text) {
    if (!IsDebugTraceModeActive()) {
        return;
    }
    if (IsDebugTimingActive()) {
        DebugMessageTiming(text);
        return;
    }
    CStlExtensions::DebugPrint(std::string("[RemoteTrace] ") + (text != nullptr ? text : "") +
                               "\n");
}

// --- CDeviceExecutionTime -------------------------------------------------------

CDeviceExecutionTime::CDeviceExecutionTime() : m_llStart(0), m_llEnd(0) {}

CDeviceExecutionTime::~CDeviceExecutionTime() = default;

void CDeviceExecutionTime::StartPerformanceCounter() {
    m_llStart = CPerformanceDiagnose::GetPerfCounter();
}

double CDeviceExecutionTime::GetExecutionTime() {
    if (!ReadCounter(m_llEnd)) {
        return 0.0;
    }
    return static_cast<double>(m_llEnd - m_llStart) * 1000.0 / static_cast<double>(GetFrequency());
}

long long CDeviceExecutionTime::GetFrequency() const {
    return CPerformanceDiagnose::GetFrequency();
}

} // namespace KxTamarind
