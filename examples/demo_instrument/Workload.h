// The demo's workload: sender threads that send measurement commands through
// the executor's message queue and time every round trip.
//
// Each sender sends `commands` messages (channel, sample) with SendMessage
// and checks the reading that comes back against SimulatedReading. Round
// trips are measured in performance-counter ticks and pushed into one
// CPerformanceDiagnose::CStatistik (seconds) after the senders are done.
// A progress line ("\rprogress: done/total") is kept up to date on standard
// output while the senders run.
#pragma once

#include <KxTamarindCommon.h>

namespace Demo {

struct WorkloadResult {
    long sent = 0;
    long verified = 0; // replies equal to the expected reading
    long failed = 0;   // wrong replies and failed sends
    double seconds = 0.0;
    KxTamarind::CPerformanceDiagnose::CStatistik roundTrip; // seconds
};

// Runs the workload against `queue`, whose consumer serves `channels`
// channels. Returns when every sender is done.
void RunWorkload(KxTamarind::CMessageQueue& queue, int channels, int senders, int commands,
                 WorkloadResult& result);

} // namespace Demo
