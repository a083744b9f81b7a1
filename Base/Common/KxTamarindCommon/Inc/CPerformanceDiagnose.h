// Performance diagnostics: the switches of the remote-diagnose modes, two
// process-wide activity counters, a scope timer feeding a running statistic,
// debug messages stamped with the performance counter, and an execution-time
// measurement in milliseconds.
//
// All times come from the platform's performance counter. The counters are
// incremented atomically from any thread; reading with reset is two steps,
// so an increment between them is lost. Statistics and measurement objects
// are not locked: each belongs to one thread.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include <string>

namespace KxTamarind {

// The diagnostics of the overview above as static members, with the
// statistic and its scope timer as nested classes.
class KXTAMARIND_API CPerformanceDiagnose {
public:
    // Running statistic of durations, in seconds. Minimum and maximum start
    // at 0.0, so the minimum of non-negative samples stays 0.0. Mean and
    // standard deviation of an empty statistic are not a number.
    class CStatistik {
    public:
        CStatistik();
        virtual ~CStatistik();
        // Adds one sample given in performance-counter ticks; converted with
        // the frequency kept in the remote-diagnose control block.
        void Push(long long ticks);
        void Reset();
        double get_Mean() const;
        // Population standard deviation.
        double get_Sdev() const;

        long m_lCount;
        double m_dSum;
        double m_dSumOfSquares;
        double m_dMin;
        double m_dMax;
    };

    // A flag and a word for the caller, and the counter's frequency and two
    // counter values taken at construction.
    class CRunControl {
    public:
        CRunControl();
        virtual ~CRunControl();

        bool m_bFlag;
        unsigned short m_wWord;
        long long m_llFrequency;
        long long m_llCounter1;
        long long m_llCounter2;
    };

    CPerformanceDiagnose();
    // Pushes the time since DifferenceMeasurement() into the remembered
    // statistic, if any.
    virtual ~CPerformanceDiagnose();

    CPerformanceDiagnose(const CPerformanceDiagnose&) = delete;
    CPerformanceDiagnose& operator=(const CPerformanceDiagnose&) = delete;

    // Starts a measurement that the destructor pushes into `statistic`
    // (not owned; it must outlive this object).
    void DifferenceMeasurement(CStatistik& statistic);

    // Ticks per second; 1 when the platform gives none.
    static long long GetFrequency();
    // The current counter; 0 when the platform gives none.
    static long long GetPerfCounter();

    // False unless the remote-diagnose mode is on; then the control block's
    // flag.
    static bool IsDebugStatisticModeActive();
    static bool IsDebugTraceModeActive();
    static bool IsDebugRpcModeActive();
    static bool IsDebugTimingActive();
    // The control block's flag, whatever the mode.
    static bool IsScpiChecksDisabled();
    // Stores the current counter in the control block (the reference of dt).
    static void BeginDebugTiming();

    static void IncrementKeyStrokeCounter();
    static void IncrementScpiCounter();
    static long GetKeyStrokeCounter();
    static long GetScpiCounter();
    static long GetKeyStrokeCounterAndReset();
    static long GetScpiCounterAndReset();

    // Seconds since counter 0, with microseconds: "12.345678".
    static std::string GetTimestampFromPerformanceCounter(long long counter);
    // With debug timing active: "[RemoteTrace] t =<time>: dt =<seconds since
    // BeginDebugTiming> <text>\n" to the debug output.
    static void DebugMessageTiming(const char* text);
    // With debug trace active: the timed message when debug timing is active
    // too, else "[RemoteTrace] <text>\n".
    static void DebugMessageTrace(const char* text);

private:
    long long m_llStart;
    long long m_llEnd;
    CStatistik* m_pStatistik;

    static LONG s_iKeyStrokeCounter;
    static LONG s_iScpiCounter;
};

// One execution time in milliseconds.
class KXTAMARIND_API CDeviceExecutionTime {
public:
    CDeviceExecutionTime();
    virtual ~CDeviceExecutionTime();

    void StartPerformanceCounter();
    // (now - start) * 1000 / frequency; 0.0 when the counter cannot be read.
    double GetExecutionTime();
    long long GetFrequency() const;

private:
    long long m_llStart;
    long long m_llEnd;
};

} // namespace KxTamarind
