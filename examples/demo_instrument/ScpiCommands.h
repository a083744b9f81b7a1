// The instrument behind the SCPI server and its command table.
//
// ScpiInstrument is what remote commands act on: every channel operation is
// a message to the executor's CMessageQueue and runs on the executor's
// worker; the component list comes from the controller's object registry;
// the identity is fixed at start. The components must outlive it.
// Thread safety: every member may be called from any connection's thread
// (the queue and the registry are thread-safe; the rest is immutable).
//
// The command table maps each header pattern to a handler. Commands:
//   *IDN?  *RST  *CLS  *ESR?  *OPC  *OPC?  *WAI
//   SYSTem:ERRor[:NEXT]?  SYSTem:ERRor:COUNt?  SYSTem:COMPonent:LIST?
//   SYSTem:TRACe:SCPI <bool>  SYSTem:TRACe:SCPI?
//   MEASure[:SCALar]:VOLTage[:DC]? [<channel>]
//   MEASure[:SCALar]:TEMPerature? [<channel>]
//   DIAGnostic:ECHO? <0..2147483647>  DIAGnostic:FAIL [<channel>]
#pragma once

#include <KxTamarindCommon.h>

#include <string>
#include <vector>

#include "Components.h"
#include "ScpiParser.h"
#include "ScpiStatus.h"

namespace Demo {

class ScpiInstrument {
public:
    ScpiInstrument(ExecutorComponent& executor, ControllerComponent& controller, int channels,
                   const std::string& serial);

    // "KxTamarind,Demo Instrument,<serial>,<library version>".
    const std::string& Identity() const { return m_strIdentity; }
    int Channels() const { return m_iChannels; }
    // Runs one message on the executor's worker (traced as a function
    // call and by its execution time); the worker's result.
    HRESULT CallExecutor(unsigned long message, int param1, int param2);
    // The names of the objects registered at the controller, as a list of
    // SCPI strings ("Executor","Channel1",...).
    std::string ComponentList();

private:
    ExecutorComponent& m_Executor;
    ControllerComponent& m_Controller;
    const int m_iChannels;
    const std::string m_strIdentity;
};

// One command being executed.
struct ScpiCall {
    ScpiInstrument& instrument;
    ScpiStatus& status;
    const std::vector<std::string>& params;
    std::string answer; // the response of a query
    std::string info;   // device-dependent text of an error
};

struct ScpiCommand {
    ScpiHeaderPattern header;
    const char* name; // short form, for traces and error texts
    size_t minParams;
    size_t maxParams;
    int (*handler)(ScpiCall& call); // an SCPI error code, 0 on success
};

// The table entry for a full header (upper-case nodes), or null.
const ScpiCommand* FindScpiCommand(const std::vector<std::string>& nodes, bool query);

} // namespace Demo
