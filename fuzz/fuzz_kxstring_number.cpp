// CKxString number text: SetNum/Number of integers (bases 2..36) and
// doubles (e, E, f, F, g, G), and ToInt/ToLong/ToULong/ToLongLong/
// ToULongLong/ToDouble.
//
// Checked against the standard library as the independent reference:
// - integer text equals std::to_chars in the same base, a bad base gives a
//   null string, and the text parses back to the same value;
// - double text equals snprintf with the same conversion and precision
//   (negative precision 6, above 1100 cut to 1100); %.17g text parses back
//   to the same bits;
// - parsing any text agrees with strtoll/strtoull/strtod of the C library on
//   whether the whole text is a number in range and on its value (the
//   documented differences are taken out first: only ASCII, no '-' for
//   unsigned types, no hexadecimal floats, no out-of-range results).
#include <fuzzer/FuzzedDataProvider.h>

#include <cerrno>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

#include "CKxString.h"
#include "FuzzCheck.h"
#include "FuzzText.h"

using KxFuzz::Chars;
using KxFuzz::Holds;
using KxTamarind::CKxString;

namespace {

template <typename T>
std::wstring ToCharsText(T value, int base) {
    char buffer[80];
    const std::to_chars_result r = std::to_chars(buffer, buffer + sizeof buffer, value, base);
    return std::wstring(buffer, r.ptr);
}

template <typename T>
void CheckInteger(T value, int base) {
    const CKxString text = CKxString::Number(value, base);
    CKxString set;
    set.SetNum(value, base);
    if (base < 2 || base > 36) {
        FUZZ_CHECK(text.IsNull() && set.IsNull(), "a bad base gives a null string");
        return;
    }
    const std::wstring expected = ToCharsText(value, base);
    FUZZ_CHECK(Holds(text, expected) && Holds(set, expected), "Number/SetNum = std::to_chars");
    bool ok = false;
    if (std::is_signed<T>::value) {
        const long long back = text.ToLongLong(&ok, base);
        FUZZ_CHECK(ok && back == static_cast<long long>(value), "signed text parses back");
    } else {
        const unsigned long long back = text.ToULongLong(&ok, base);
        FUZZ_CHECK(ok && back == static_cast<unsigned long long>(value),
                   "unsigned text parses back");
    }
}

bool SameDouble(double a, double b) {
    return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, sizeof a) == 0;
}

void CheckDouble(double value, char format, int precision) {
    const CKxString text = CKxString::Number(value, format, precision);
    if (std::strchr("eEfFgG", format) == nullptr || format == 0) {
        FUZZ_CHECK(text.IsNull(), "an unknown format gives a null string");
        return;
    }
    const int used = precision < 0 ? 6 : precision > 1100 ? 1100 : precision;
    const char conversion[] = {'%', '.', '*', format, '\0'};
    const int n = std::snprintf(nullptr, 0, conversion, used, value);
    std::string expected(static_cast<std::size_t>(n) + 1, '\0');
    std::snprintf(&expected[0], expected.size(), conversion, used, value);
    expected.resize(static_cast<std::size_t>(n));
    FUZZ_CHECK(Holds(text, std::wstring(expected.begin(), expected.end())),
               "Number(double) = snprintf with the same conversion");
}

// The text trimmed of ASCII white space as narrow text, or false when it
// holds a character that is not ASCII or a NUL (never a number then).
bool AsciiTrimmed(const std::wstring& text, std::string& out) {
    out.clear();
    for (wchar_t c : text) {
        if (c <= 0 || c > 0x7F) {
            return false;
        }
        out += static_cast<char>(c);
    }
    const char* space = " \t\n\v\f\r";
    const std::size_t first = out.find_first_not_of(space);
    if (first == std::string::npos) {
        return false;
    }
    out = out.substr(first, out.find_last_not_of(space) - first + 1);
    return true;
}

template <typename T>
void CheckParseInteger(const CKxString& s, const std::string& ascii, bool asciiOk, int base,
                       T (CKxString::*parse)(bool*, int) const) {
    bool ok = true;
    const T value = (s.*parse)(&ok, base);
    bool expectedOk = asciiOk && (base == 0 || (base >= 2 && base <= 36)) &&
                      !std::isspace(static_cast<unsigned char>(ascii[0]));
    T expected = 0;
    if (expectedOk) {
        char* end = nullptr;
        errno = 0;
        if (std::is_signed<T>::value) {
            const long long v = std::strtoll(ascii.c_str(), &end, base);
            expectedOk = errno == 0 && *end == '\0' && end != ascii.c_str() &&
                         v >= static_cast<long long>(std::numeric_limits<T>::min()) &&
                         v <= static_cast<long long>(std::numeric_limits<T>::max());
            expected = static_cast<T>(v);
        } else {
            const unsigned long long v = std::strtoull(ascii.c_str(), &end, base);
            expectedOk = errno == 0 && *end == '\0' && end != ascii.c_str() && ascii[0] != '-' &&
                         v <= static_cast<unsigned long long>(std::numeric_limits<T>::max());
            expected = static_cast<T>(v);
        }
    }
    FUZZ_CHECK(ok == expectedOk, "integer parse succeeds exactly where strtoll/strtoull does");
    FUZZ_CHECK(value == (ok ? expected : 0), "integer parse value (0 on failure)");
}

void CheckParseDouble(const CKxString& s, const std::string& ascii, bool asciiOk) {
    bool ok = true;
    const double value = s.ToDouble(&ok);
    if (asciiOk && ascii.find_first_of("xX") != std::string::npos) {
        return; // hexadecimal floats: the C library reads them, ToDouble does not
    }
    bool expectedOk = asciiOk && !std::isspace(static_cast<unsigned char>(ascii[0]));
    double expected = 0;
    if (expectedOk) {
        char* end = nullptr;
        errno = 0;
        expected = std::strtod(ascii.c_str(), &end);
        // Out of range: overflow, or underflow all the way to zero.
        const bool outOfRange = errno == ERANGE && (std::isinf(expected) || expected == 0.0);
        expectedOk = *end == '\0' && end != ascii.c_str() && !outOfRange;
    }
    FUZZ_CHECK(ok == expectedOk, "ToDouble succeeds exactly where strtod reads a double");
    FUZZ_CHECK(SameDouble(value, ok ? expected : 0.0), "ToDouble value (0 on failure)");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    const int base = in.ConsumeIntegralInRange(-1, 38);
    const long long integer = in.ConsumeIntegral<long long>();
    const double real = in.ConsumeFloatingPoint<double>();
    double raw;
    const std::uint64_t bits = in.ConsumeIntegral<std::uint64_t>();
    std::memcpy(&raw, &bits, sizeof raw);
    const char format = in.PickValueInArray({'e', 'E', 'f', 'F', 'g', 'G', 'a', 'd', '\0'});
    const int precision = in.ConsumeIntegralInRange(-2, 1200);

    CheckInteger(static_cast<int>(integer), base);
    CheckInteger(static_cast<unsigned int>(integer), base);
    CheckInteger(static_cast<long>(integer), base);
    CheckInteger(static_cast<unsigned long>(integer), base);
    CheckInteger(integer, base);
    CheckInteger(static_cast<unsigned long long>(integer), base);

    CheckDouble(real, format, precision);
    CheckDouble(raw, format, precision);
    for (double value : {real, raw}) {
        bool ok = false;
        const double back = CKxString::Number(value, 'g', 17).ToDouble(&ok);
        FUZZ_CHECK(ok && SameDouble(back, value), "%.17g text parses back to the same double");
    }

    const std::wstring text = KxFuzz::WideFromBytes(in.ConsumeRemainingBytesAsString());
    const CKxString s(text);
    std::string ascii;
    const bool asciiOk = AsciiTrimmed(text, ascii);
    CheckParseInteger<int>(s, ascii, asciiOk, base, &CKxString::ToInt);
    CheckParseInteger<long>(s, ascii, asciiOk, base, &CKxString::ToLong);
    CheckParseInteger<unsigned long>(s, ascii, asciiOk, base, &CKxString::ToULong);
    CheckParseInteger<long long>(s, ascii, asciiOk, base, &CKxString::ToLongLong);
    CheckParseInteger<unsigned long long>(s, ascii, asciiOk, base, &CKxString::ToULongLong);
    CheckParseDouble(s, ascii, asciiOk);
    return 0;
}
