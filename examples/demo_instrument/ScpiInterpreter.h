// ScpiInterpreter: executes the program messages of one remote session.
//
// Units of a message run in order. A header without a leading ':' is
// looked up below the current path, the path of the previous compound
// header of the same message (SCPI's rule: "MEAS:VOLT? 1;TEMP? 1" measures
// both); each message starts at the root, and common commands ("*IDN?")
// leave the path alone. The answers of a message's queries form one
// response line, separated by ';' (IEEE 488.2).
//
// A command error (-1xx) ends the message: its later units are skipped.
// Other errors fail their unit only. Every error goes to the session's
// error queue (ScpiStatus).
// Thread safety: none; an interpreter belongs to one connection's thread.
#pragma once

#include <string>
#include <vector>

#include "ScpiCommands.h"
#include "ScpiStatus.h"

namespace Demo {

class ScpiInterpreter {
public:
    explicit ScpiInterpreter(ScpiInstrument& instrument) : m_Instrument(instrument) {}

    // Executes one program message (a line without its terminator). True
    // with the response (without terminator) when a query answered.
    bool Execute(const std::string& line, std::string& response);
    // Queues an error found by the connection itself (too much data).
    void ReportError(int code, const std::string& info = std::string());

private:
    // 0, or the error of the unit (already queued).
    int ExecuteUnit(const std::string& text, std::vector<std::string>& path, std::string& response,
                    bool& answered);

    ScpiInstrument& m_Instrument;
    ScpiStatus m_Status;
};

} // namespace Demo
