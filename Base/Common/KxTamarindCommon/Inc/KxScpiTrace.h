// Remote-control (SCPI) trace switches.
//
// ScpiTraceConfig is the record of the fourteen per-topic switches that the
// configuring component sets as a whole with SetScpiTraceConfig; each
// tracing site asks its topic's query before it writes a trace line. A
// non-zero flag means on. Before the first SetScpiTraceConfig every switch
// is off.
//
// Thread safety: the process-wide copy is held flag by flag in relaxed
// atomics. A query racing with SetScpiTraceConfig sees the old or the new
// value of its own flag; the flags are independent, so no reader needs the
// record as a consistent whole. Each query is a single load and compare.
#pragma once

#include "KxExport.h"

namespace KxTamarind {

// The record layout is binding (fourteen 16-bit flags in this order).
struct ScpiTraceConfig {
    unsigned short m_usGeneral; // not queried inside the library
    unsigned short m_usInput;
    unsigned short m_usOutput;
    unsigned short m_usError;
    unsigned short m_usTrigger;
    unsigned short m_usDClear;
    unsigned short m_usStatusRegister;
    unsigned short m_usConnection;
    unsigned short m_usRemoteLocalSwitch;
    unsigned short m_usParser;
    unsigned short m_usFunction;
    unsigned short m_usRPC;
    unsigned short m_usDExecTime;
    unsigned short m_usLocking;
};
static_assert(sizeof(ScpiTraceConfig) == 28, "fourteen 16-bit flags, no padding");

// Copies all fourteen flags into the process-wide copy.
KXTAMARIND_API void SetScpiTraceConfig(const ScpiTraceConfig& config);

// Whether a topic's flag is non-zero: one relaxed load and a compare each.
KXTAMARIND_API bool InputTraceEnabled();
KXTAMARIND_API bool OutputTraceEnabled();
KXTAMARIND_API bool ErrorTraceEnabled();
KXTAMARIND_API bool TriggerTraceEnabled();
KXTAMARIND_API bool DClearTraceEnabled();
KXTAMARIND_API bool StatusRegisterTraceEnabled();
KXTAMARIND_API bool ConnectionTraceEnabled();
KXTAMARIND_API bool RemoteLocalSwitchTraceEnabled();
KXTAMARIND_API bool ParserTraceEnabled();
KXTAMARIND_API bool FunctionTraceEnabled();
KXTAMARIND_API bool RPCTraceEnabled();
KXTAMARIND_API bool DExecTimeTraceEnabled();
KXTAMARIND_API bool LockingTraceEnabled();

} // namespace KxTamarind
