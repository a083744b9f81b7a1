// Reading of result codes in hexadecimal and decimal forms.
#include "NumberText.h"

#include <cstdio>

namespace KxTool {

namespace {

bool IsDecimalDigit(char c) {
    return c >= '0' && c <= '9';
}

int HexDigitValue(char c) {
    if (IsDecimalDigit(c)) {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

bool AllHex(const std::string& digits) {
    for (char c : digits) {
        if (HexDigitValue(c) < 0) {
            return false;
        }
    }
    return !digits.empty();
}

bool AllDecimal(const std::string& digits) {
    for (char c : digits) {
        if (!IsDecimalDigit(c)) {
            return false;
        }
    }
    return !digits.empty();
}

// The value of hexadecimal digits; false when it needs more than 64 bits.
bool HexValue(const std::string& digits, std::uint64_t& value) {
    value = 0;
    for (char c : digits) {
        if (value >> 60 != 0) {
            return false;
        }
        value = value << 4 | static_cast<std::uint64_t>(HexDigitValue(c));
    }
    return true;
}

// The value of decimal digits; false when it exceeds `limit`.
bool DecimalValue(const std::string& digits, std::uint64_t limit, std::uint64_t& value) {
    value = 0;
    for (char c : digits) {
        value = value * 10 + static_cast<std::uint64_t>(c - '0');
        if (value > limit) {
            return false;
        }
    }
    return true;
}

} // namespace

bool ReadResultCode(const std::string& text, CodeReading& reading, std::string& problem) {
    reading = CodeReading();
    if (text.empty()) {
        problem = "empty text";
        return false;
    }
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        const std::string digits = text.substr(2);
        std::uint64_t value = 0;
        if (!AllHex(digits)) {
            problem = "not hexadecimal after 0x";
            return false;
        }
        if (!HexValue(digits, value)) {
            problem = "more than 32 bits";
            return false;
        }
        if (value <= 0xFFFFFFFFull) {
            reading.value = static_cast<std::uint32_t>(value);
            reading.form = CodeForm::Hex;
            return true;
        }
        // A negative 32-bit code printed as a 64-bit long.
        if (value >> 32 == 0xFFFFFFFFull && (value & 0x80000000ull) != 0) {
            reading.value = static_cast<std::uint32_t>(value);
            reading.form = CodeForm::SignExtended;
            return true;
        }
        problem = "more than 32 bits";
        return false;
    }
    if (text[0] == '-') {
        std::uint64_t magnitude = 0;
        const std::string digits = text.substr(1);
        if (!AllDecimal(digits)) {
            problem = "not a decimal number after '-'";
            return false;
        }
        if (!DecimalValue(digits, 0x80000000ull, magnitude)) {
            problem = "below -2147483648";
            return false;
        }
        reading.value = static_cast<std::uint32_t>(0x100000000ull - magnitude);
        reading.form = CodeForm::Decimal;
        return true;
    }
    if (text.size() == 8 && AllHex(text)) {
        std::uint64_t value = 0;
        HexValue(text, value);
        reading.value = static_cast<std::uint32_t>(value);
        reading.form = CodeForm::BareHex;
        if (AllDecimal(text)) {
            std::uint64_t decimal = 0;
            DecimalValue(text, 0xFFFFFFFFull, decimal); // 8 digits always fit
            reading.decimalValue = static_cast<std::uint32_t>(decimal);
            reading.alsoDecimal = reading.decimalValue != reading.value;
        }
        return true;
    }
    if (AllDecimal(text)) {
        std::uint64_t value = 0;
        if (!DecimalValue(text, 0xFFFFFFFFull, value)) {
            problem = "above 4294967295 (0xffffffff)";
            return false;
        }
        reading.value = static_cast<std::uint32_t>(value);
        reading.form = CodeForm::Decimal;
        return true;
    }
    problem = AllHex(text) ? "hexadecimal needs 0x or exactly 8 digits"
                           : "not a number (0x80000008, 80000008 or -2147483640)";
    return false;
}

std::string HexCode(std::uint32_t code) {
    char text[16];
    std::snprintf(text, sizeof(text), "0x%08x", static_cast<unsigned>(code));
    return text;
}

} // namespace KxTool
