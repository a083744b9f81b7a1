// Standard SCPI error texts and their event status bits.
#include "ScpiErrors.h"

namespace Demo {

const char* ScpiErrorText(int code) {
    static const struct {
        int code;
        const char* text;
    } kTexts[] = {
        {kScpiNoError, "No error"},
        {kScpiInvalidCharacter, "Invalid character"},
        {kScpiSyntaxError, "Syntax error"},
        {kScpiInvalidSeparator, "Invalid separator"},
        {kScpiDataTypeError, "Data type error"},
        {kScpiParameterNotAllowed, "Parameter not allowed"},
        {kScpiMissingParameter, "Missing parameter"},
        {kScpiMnemonicTooLong, "Program mnemonic too long"},
        {kScpiUndefinedHeader, "Undefined header"},
        {kScpiExecutionError, "Execution error"},
        {kScpiDataOutOfRange, "Data out of range"},
        {kScpiTooMuchData, "Too much data"},
        {kScpiIllegalParameterValue, "Illegal parameter value"},
        {kScpiDeviceSpecificError, "Device-specific error"},
        {kScpiQueueOverflow, "Queue overflow"},
    };
    for (const auto& entry : kTexts) {
        if (entry.code == code) {
            return entry.text;
        }
    }
    return "Unknown error";
}

unsigned ScpiErrorEsrBit(int code) {
    if (code == 0) {
        return 0;
    }
    if (code > 0 || (code <= -300 && code > -400)) {
        return kEsrDeviceDependentError;
    }
    if (code <= -100 && code > -200) {
        return kEsrCommandError;
    }
    if (code <= -200 && code > -300) {
        return kEsrExecutionError;
    }
    if (code <= -400 && code > -500) {
        return kEsrQueryError;
    }
    return kEsrDeviceDependentError;
}

} // namespace Demo
