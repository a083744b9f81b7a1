// The SCPI error numbers the demo instrument reports, with their standard
// texts (IEEE 488.2 and SCPI), and the bit each sets in the standard event
// status register.
#pragma once

namespace Demo {

// The codes used by the instrument. 0 is "No error".
enum ScpiError : int {
    kScpiNoError = 0,
    kScpiInvalidCharacter = -101,
    kScpiSyntaxError = -102,
    kScpiInvalidSeparator = -103,
    kScpiDataTypeError = -104,
    kScpiParameterNotAllowed = -108,
    kScpiMissingParameter = -109,
    kScpiMnemonicTooLong = -112,
    kScpiUndefinedHeader = -113,
    kScpiExecutionError = -200,
    kScpiDataOutOfRange = -222,
    kScpiTooMuchData = -223,
    kScpiIllegalParameterValue = -224,
    kScpiDeviceSpecificError = -300,
    kScpiQueueOverflow = -350,
};

// The standard text of a code ("Undefined header"); "Unknown error" for a
// code not in the table.
const char* ScpiErrorText(int code);

// The standard event status register bits.
constexpr unsigned kEsrOperationComplete = 1u << 0;
constexpr unsigned kEsrQueryError = 1u << 2;
constexpr unsigned kEsrDeviceDependentError = 1u << 3;
constexpr unsigned kEsrExecutionError = 1u << 4;
constexpr unsigned kEsrCommandError = 1u << 5;

// The event status bit an error sets by its class: -1xx command, -2xx
// execution, -3xx and positive device-dependent, -4xx query error; 0 for
// "No error".
unsigned ScpiErrorEsrBit(int code);

} // namespace Demo
