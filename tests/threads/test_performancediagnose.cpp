// CPerformanceDiagnose and CDeviceExecutionTime: the statistic, the scope
// measurement, the mode switches, the counters and the debug messages.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "CPerformanceDiagnose.h"
#include "KxKernelRemote.h"

using namespace KxTamarind;

namespace {

struct Captured {
    std::mutex lock;
    std::string text;
};

void Capture(const char* text, void* context) {
    auto* captured = static_cast<Captured*>(context);
    std::lock_guard<std::mutex> guard(captured->lock);
    captured->text += text;
}

// Restores the diagnose switches a test changed.
struct DiagnoseSwitches {
    ~DiagnoseSwitches() {
        RemoteDiagnoseControl* control = get_RemoteDiagnoseControl();
        set_RemoteDiagnoseMode(false);
        control->m_bDebugStatistic = false;
        control->m_bDebugTrace = false;
        control->m_bDebugRpc = false;
        control->m_bDebugTiming = false;
        control->m_bScpiChecksDisabled = false;
    }
};

} // namespace

TEST(PerformanceDiagnose, StatisticOfTwoAndFourSeconds) {
    long long frequency = get_RemoteDiagnoseControl()->m_llPerformanceFrequency.load();
    ASSERT_GT(frequency, 0);
    CPerformanceDiagnose::CStatistik statistic;
    EXPECT_EQ(statistic.m_lCount, 0);
    EXPECT_TRUE(std::isnan(statistic.get_Mean()));
    statistic.Push(2 * frequency);
    statistic.Push(4 * frequency);
    EXPECT_EQ(statistic.m_lCount, 2);
    EXPECT_DOUBLE_EQ(statistic.get_Mean(), 3.0);
    EXPECT_DOUBLE_EQ(statistic.get_Sdev(), 1.0);
    EXPECT_DOUBLE_EQ(statistic.m_dMin, 0.0);
    EXPECT_DOUBLE_EQ(statistic.m_dMax, 4.0);
    statistic.Reset();
    EXPECT_EQ(statistic.m_lCount, 0);
    EXPECT_DOUBLE_EQ(statistic.m_dMax, 0.0);
    EXPECT_DOUBLE_EQ(statistic.m_dSum, 0.0);
}

TEST(PerformanceDiagnose, ScopeMeasurementPushesOnlyWhenStarted) {
    CPerformanceDiagnose::CStatistik statistic;
    { CPerformanceDiagnose idle; }
    EXPECT_EQ(statistic.m_lCount, 0);
    {
        CPerformanceDiagnose measured;
        measured.DifferenceMeasurement(statistic);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(statistic.m_lCount, 1);
    EXPECT_GE(statistic.m_dSum, 0.004);
}

// Each debug mode answers true only with the remote diagnose mode on and its
// own switch set; the SCPI-checks switch does not need the mode.
TEST(PerformanceDiagnose, ModeQueriesNeedTheRemoteDiagnoseMode) {
    DiagnoseSwitches restore;
    RemoteDiagnoseControl* control = get_RemoteDiagnoseControl();
    struct Case {
        const char* name;
        std::atomic<bool> RemoteDiagnoseControl::*flag;
        bool (*query)();
        bool needsMode;
    } cases[] = {
        {"statistic", &RemoteDiagnoseControl::m_bDebugStatistic,
         &CPerformanceDiagnose::IsDebugStatisticModeActive, true},
        {"trace", &RemoteDiagnoseControl::m_bDebugTrace,
         &CPerformanceDiagnose::IsDebugTraceModeActive, true},
        {"rpc", &RemoteDiagnoseControl::m_bDebugRpc, &CPerformanceDiagnose::IsDebugRpcModeActive,
         true},
        {"timing", &RemoteDiagnoseControl::m_bDebugTiming,
         &CPerformanceDiagnose::IsDebugTimingActive, true},
        {"scpi checks", &RemoteDiagnoseControl::m_bScpiChecksDisabled,
         &CPerformanceDiagnose::IsScpiChecksDisabled, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        for (int mode = 0; mode < 2; ++mode) {
            for (int flag = 0; flag < 2; ++flag) {
                set_RemoteDiagnoseMode(mode == 1);
                control->*c.flag = flag == 1;
                EXPECT_EQ(c.query(), flag == 1 && (mode == 1 || !c.needsMode));
            }
        }
        control->*c.flag = false;
    }
}

TEST(PerformanceDiagnose, CountersCountEveryIncrement) {
    CPerformanceDiagnose::GetKeyStrokeCounterAndReset();
    CPerformanceDiagnose::GetScpiCounterAndReset();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([] {
            for (int i = 0; i < 1000; ++i) {
                CPerformanceDiagnose::IncrementKeyStrokeCounter();
                CPerformanceDiagnose::IncrementScpiCounter();
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(CPerformanceDiagnose::GetKeyStrokeCounter(), 4000);
    EXPECT_EQ(CPerformanceDiagnose::GetScpiCounterAndReset(), 4000);
    EXPECT_EQ(CPerformanceDiagnose::GetScpiCounter(), 0);
    EXPECT_EQ(CPerformanceDiagnose::GetKeyStrokeCounterAndReset(), 4000);
    EXPECT_EQ(CPerformanceDiagnose::GetKeyStrokeCounter(), 0);
}

TEST(PerformanceDiagnose, DebugMessages) {
    DiagnoseSwitches restore;
    Captured captured;
    SetDebugOutputSink(&Capture, &captured);
    RemoteDiagnoseControl* control = get_RemoteDiagnoseControl();

    CPerformanceDiagnose::DebugMessageTiming("off");
    CPerformanceDiagnose::DebugMessageTrace("off");
    EXPECT_EQ(captured.text, "");

    set_RemoteDiagnoseMode(true);
    control->m_bDebugTrace = true;
    CPerformanceDiagnose::DebugMessageTrace("plain");
    EXPECT_EQ(captured.text, "[RemoteTrace] plain\n");

    captured.text.clear();
    control->m_bDebugTiming = true;
    CPerformanceDiagnose::BeginDebugTiming();
    CPerformanceDiagnose::DebugMessageTrace("timed");
    SetDebugOutputSink(nullptr, nullptr);
    EXPECT_EQ(captured.text.rfind("[RemoteTrace] t =", 0), 0u) << captured.text;
    EXPECT_NE(captured.text.find(": dt =0.0"), std::string::npos) << captured.text;
    EXPECT_EQ(captured.text.substr(captured.text.size() - 7), " timed\n");
    EXPECT_EQ(CPerformanceDiagnose::GetTimestampFromPerformanceCounter(
                  3 * CPerformanceDiagnose::GetFrequency() / 2),
              "1.500000");
}

TEST(PerformanceDiagnose, ExecutionTimeInMilliseconds) {
    CDeviceExecutionTime timer;
    EXPECT_EQ(timer.GetFrequency(), CPerformanceDiagnose::GetFrequency());
    timer.StartPerformanceCounter();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    double ms = timer.GetExecutionTime();
    EXPECT_GE(ms, 19.0);
    EXPECT_GT(CPerformanceDiagnose::GetPerfCounter(), 0);
}
