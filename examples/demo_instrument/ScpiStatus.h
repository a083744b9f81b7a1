// ScpiStatus: the IEEE 488.2 status of one remote session: the SCPI error
// queue and the standard event status register.
//
// The error queue keeps at most kScpiErrorQueueLength entries, oldest
// first. An error that finds it full replaces the newest entry by -350
// "Queue overflow", as SCPI requires; further errors are dropped until an
// entry has been read. Every error sets its class's bit in the event status
// register, also when the entry itself was dropped.
//
// Each connection has its own ScpiStatus (see README.md): a client reads
// only the errors its own commands caused.
// Thread safety: none; the status belongs to its connection's thread.
#pragma once

#include <deque>
#include <string>

namespace Demo {

constexpr size_t kScpiErrorQueueLength = 10;

class ScpiStatus {
public:
    // Queues error `code`; a non-empty `info` is appended to the standard
    // text after ';' (SCPI's device-dependent information). Returns the
    // queued entry as SYST:ERR? will answer it (empty when dropped).
    std::string PushError(int code, const std::string& info = std::string());
    // The oldest entry, removed: <code>,"<text>"; 0,"No error" when empty.
    std::string NextError();
    size_t ErrorCount() const { return m_Errors.size(); }

    void SetEventBits(unsigned bits) { m_uEsr |= bits; }
    // *ESR?: the register, cleared by the reading.
    unsigned ReadAndClearEsr();
    // *CLS: empties the error queue and clears the register.
    void Clear();

private:
    std::deque<std::string> m_Errors;
    unsigned m_uEsr = 0;
};

} // namespace Demo
