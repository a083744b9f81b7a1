// The process-wide copy of the remote-control trace switches.
#include "KxScpiTrace.h"

#include <atomic>

namespace KxTamarind {

namespace {

enum Flag {
    General,
    Input,
    Output,
    Error,
    Trigger,
    DClear,
    StatusRegister,
    Connection,
    RemoteLocalSwitch,
    Parser,
    Function,
    RPC,
    DExecTime,
    Locking,
    FlagCount
};

// Zero-initialised before any code runs: all tracing is off until configured.
std::atomic<unsigned short> s_Flags[FlagCount] = {};

inline bool IsOn(Flag flag) {
    return s_Flags[flag].load(std::memory_order_relaxed) != 0;
}

} // namespace

void SetScpiTraceConfig(const ScpiTraceConfig& config) {
    const unsigned short values[FlagCount] = {
        config.m_usGeneral,        config.m_usInput,      config.m_usOutput,
        config.m_usError,          config.m_usTrigger,    config.m_usDClear,
        config.m_usStatusRegister, config.m_usConnection, config.m_usRemoteLocalSwitch,
        config.m_usParser,         config.m_usFunction,   config.m_usRPC,
        config.m_usDExecTime,      config.m_usLocking};
    for (int i = 0; i < FlagCount; ++i) {
        s_Flags[i].store(values[i], std::memory_order_relaxed);
    }
}

bool InputTraceEnabled() {
    return IsOn(Input);
}
bool OutputTraceEnabled() {
    return IsOn(Output);
}
bool ErrorTraceEnabled() {
    return IsOn(Error);
}
bool TriggerTraceEnabled() {
    return IsOn(Trigger);
}
bool DClearTraceEnabled() {
    return IsOn(DClear);
}
bool StatusRegisterTraceEnabled() {
    return IsOn(StatusRegister);
}
bool ConnectionTraceEnabled() {
    return IsOn(Connection);
}
bool RemoteLocalSwitchTraceEnabled() {
    return IsOn(RemoteLocalSwitch);
}
bool ParserTraceEnabled() {
    return IsOn(Parser);
}
bool FunctionTraceEnabled() {
    return IsOn(Function);
}
bool RPCTraceEnabled() {
    return IsOn(RPC);
}
bool DExecTimeTraceEnabled() {
    return IsOn(DExecTime);
}
bool LockingTraceEnabled() {
    return IsOn(Locking);
}

} // namespace KxTamarind
