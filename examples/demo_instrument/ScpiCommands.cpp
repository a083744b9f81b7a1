// The SCPI command table and the instrument it drives.
#include "ScpiCommands.h"

#include <chrono>
#include <cstdio>
#include <cstring>

#include "DeviceLayer.h"
#include "ScpiErrors.h"
#include "ScpiTrace.h"

using namespace KxTamarind;

namespace Demo {

ScpiInstrument::ScpiInstrument(ExecutorComponent& executor, ControllerComponent& controller,
                               int channels, const std::string& serial)
    : m_Executor(executor), m_Controller(controller), m_iChannels(channels),
      m_strIdentity(std::string("KxTamarind,Demo Instrument,") + serial + "," +
                    GetLibraryVersion()) {}

HRESULT ScpiInstrument::CallExecutor(unsigned long message, int param1, int param2) {
    auto start = std::chrono::steady_clock::now();
    HRESULT hr = m_Executor.Queue().SendMessage(message, param1, param2);
    SCPI_TRACE(FunctionTraceEnabled(), "Executor message " + std::to_string(message) + "(" +
                                           std::to_string(param1) + "," + std::to_string(param2) +
                                           ") = " + std::to_string(hr));
    SCPI_TRACE(DExecTimeTraceEnabled(),
               "Executor message " + std::to_string(message) + " took " +
                   std::to_string(std::chrono::duration_cast<std::chrono::microseconds>(
                                      std::chrono::steady_clock::now() - start)
                                      .count()) +
                   " us");
    return hr;
}

std::string ScpiInstrument::ComponentList() {
    GUID any;
    std::memset(&any, 0xFF, sizeof(any)); // the wildcard category
    IKXObjectEnumeration* enumeration = nullptr;
    std::string list;
    if (m_Controller.EnumObject(&any, &enumeration) != S_OK || enumeration == nullptr) {
        return list;
    }
    ObjectIdentificationData record{};
    long fetched = 0;
    while (enumeration->Next(1, &fetched, &record) == S_OK && fetched == 1) {
        std::string name = record.Name != nullptr ? ToUtf8(record.Name) : std::string();
        list += list.empty() ? "\"" : ",\"";
        for (char c : name) {
            list += c == '"' ? std::string("\"\"") : std::string(1, c);
        }
        list += '"';
        if (record.pIUnknown != nullptr) {
            record.pIUnknown->Release();
        }
        SysFreeString(record.Name);
        record = ObjectIdentificationData{};
    }
    enumeration->Release();
    return list;
}

namespace {

// The 0-based index of the channel named by parameter `i` (1-based, 1 when
// absent).
int ChannelParam(ScpiCall& call, size_t i, int& index) {
    long channel = 1;
    if (i < call.params.size()) {
        int error = ParseInteger(call.params[i], 1, call.instrument.Channels(), channel);
        if (error != kScpiNoError) {
            return error;
        }
    }
    index = static_cast<int>(channel - 1);
    return kScpiNoError;
}

int ComponentFailure(ScpiCall& call, HRESULT hr) {
    CAtlStringA text("component error ");
    AppendResultCodeText(text, hr);
    call.info = text.GetString();
    return kScpiDeviceSpecificError;
}

// A channel operation whose result is `scale`-ths of a unit, answered with
// `decimals` digits (scale is 10^decimals).
int ChannelValue(ScpiCall& call, unsigned long message, int scale, int decimals) {
    int index = 0;
    int error = ChannelParam(call, 0, index);
    if (error != kScpiNoError) {
        return error;
    }
    HRESULT hr = call.instrument.CallExecutor(message, index, 0);
    if (FAILED(hr)) {
        return ComponentFailure(call, hr);
    }
    char text[32];
    std::snprintf(text, sizeof(text), "%d.%0*d", hr / scale, decimals, hr % scale);
    call.answer = text;
    return kScpiNoError;
}

int Identify(ScpiCall& call) {
    call.answer = call.instrument.Identity();
    return kScpiNoError;
}

int Reset(ScpiCall& call) {
    short result = 0;
    HRESULT hr = CEmbeddedShell::ExecuteScpiReset(result);
    return FAILED(hr) ? ComponentFailure(call, hr) : kScpiNoError;
}

int ClearStatus(ScpiCall& call) {
    call.status.Clear();
    SCPI_TRACE(StatusRegisterTraceEnabled(), "status cleared");
    return kScpiNoError;
}

int EventStatus(ScpiCall& call) {
    unsigned esr = call.status.ReadAndClearEsr();
    SCPI_TRACE(StatusRegisterTraceEnabled(), "ESR read: " + std::to_string(esr));
    call.answer = std::to_string(esr);
    return kScpiNoError;
}

// Every command has finished before the next one is parsed, so nothing is
// pending when *OPC or *OPC? is reached.
int OperationComplete(ScpiCall& call) {
    call.status.SetEventBits(kEsrOperationComplete);
    return kScpiNoError;
}

int OperationCompleteQuery(ScpiCall& call) {
    call.answer = "1";
    return kScpiNoError;
}

int Wait(ScpiCall&) {
    return kScpiNoError;
}

int NextError(ScpiCall& call) {
    call.answer = call.status.NextError();
    return kScpiNoError;
}

int ErrorCount(ScpiCall& call) {
    call.answer = std::to_string(call.status.ErrorCount());
    return kScpiNoError;
}

int ComponentList(ScpiCall& call) {
    call.answer = call.instrument.ComponentList();
    return kScpiNoError;
}

// Switches every topic the server traces; the others stay off.
int SetTrace(ScpiCall& call) {
    bool on = false;
    int error = ParseBoolean(call.params[0], on);
    if (error != kScpiNoError) {
        return error;
    }
    unsigned short flag = on ? 1 : 0;
    ScpiTraceConfig config{};
    config.m_usGeneral = config.m_usInput = config.m_usOutput = config.m_usError = flag;
    config.m_usStatusRegister = config.m_usConnection = config.m_usParser = flag;
    config.m_usFunction = config.m_usDExecTime = flag;
    SetScpiTraceConfig(config);
    return kScpiNoError;
}

int TraceQuery(ScpiCall& call) {
    call.answer = InputTraceEnabled() ? "1" : "0";
    return kScpiNoError;
}

int Voltage(ScpiCall& call) {
    return ChannelValue(call, kVoltageMessage, 1000000, 6);
}

int Temperature(ScpiCall& call) {
    return ChannelValue(call, kTemperatureMessage, 1000, 3);
}

int Echo(ScpiCall& call) {
    long value = 0;
    int error = ParseInteger(call.params[0], 0, 2147483647L, value);
    if (error != kScpiNoError) {
        return error;
    }
    HRESULT hr = call.instrument.CallExecutor(kEchoMessage, static_cast<int>(value), 0);
    if (FAILED(hr)) {
        return ComponentFailure(call, hr);
    }
    call.answer = std::to_string(hr);
    return kScpiNoError;
}

int Fail(ScpiCall& call) {
    int index = 0;
    int error = ChannelParam(call, 0, index);
    if (error != kScpiNoError) {
        return error;
    }
    HRESULT hr = call.instrument.CallExecutor(kFailMessage, index, 0);
    return FAILED(hr) ? ComponentFailure(call, hr) : kScpiNoError;
}

const ScpiCommand kCommands[] = {
    {ScpiHeaderPattern("*IDN?"), "*IDN?", 0, 0, Identify},
    {ScpiHeaderPattern("*RST"), "*RST", 0, 0, Reset},
    {ScpiHeaderPattern("*CLS"), "*CLS", 0, 0, ClearStatus},
    {ScpiHeaderPattern("*ESR?"), "*ESR?", 0, 0, EventStatus},
    {ScpiHeaderPattern("*OPC"), "*OPC", 0, 0, OperationComplete},
    {ScpiHeaderPattern("*OPC?"), "*OPC?", 0, 0, OperationCompleteQuery},
    {ScpiHeaderPattern("*WAI"), "*WAI", 0, 0, Wait},
    {ScpiHeaderPattern("SYSTem:ERRor[:NEXT]?"), "SYST:ERR?", 0, 0, NextError},
    {ScpiHeaderPattern("SYSTem:ERRor:COUNt?"), "SYST:ERR:COUN?", 0, 0, ErrorCount},
    {ScpiHeaderPattern("SYSTem:COMPonent:LIST?"), "SYST:COMP:LIST?", 0, 0, ComponentList},
    {ScpiHeaderPattern("SYSTem:TRACe:SCPI"), "SYST:TRAC:SCPI", 1, 1, SetTrace},
    {ScpiHeaderPattern("SYSTem:TRACe:SCPI?"), "SYST:TRAC:SCPI?", 0, 0, TraceQuery},
    {ScpiHeaderPattern("MEASure[:SCALar]:VOLTage[:DC]?"), "MEAS:VOLT?", 0, 1, Voltage},
    {ScpiHeaderPattern("MEASure[:SCALar]:TEMPerature?"), "MEAS:TEMP?", 0, 1, Temperature},
    {ScpiHeaderPattern("DIAGnostic:ECHO?"), "DIAG:ECHO?", 1, 1, Echo},
    {ScpiHeaderPattern("DIAGnostic:FAIL"), "DIAG:FAIL", 0, 1, Fail},
};

} // namespace

const ScpiCommand* FindScpiCommand(const std::vector<std::string>& nodes, bool query) {
    for (const ScpiCommand& command : kCommands) {
        if (command.header.Matches(nodes, query)) {
            return &command;
        }
    }
    return nullptr;
}

} // namespace Demo
