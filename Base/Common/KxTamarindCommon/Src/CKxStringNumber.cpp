// CKxString: number text in both directions (SetNum, Number, To...).
//
// Parsing and formatting never depend on the process locale: integers are
// handled digit by digit, doubles with std::to_chars / std::from_chars, which
// always use '.' as decimal point.
#include "CKxString.h"

#include <charconv>
#include <limits>
#include <string>
#include <system_error>
#include <vector>

namespace KxTamarind {

namespace {

bool IsValidBase(int base) {
    return base >= 2 && base <= 36;
}

bool IsAsciiSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// The text without surrounding ASCII white space, as narrow ASCII; false
// when a character is not ASCII (an embedded NUL counts as garbage too).
bool TrimmedAscii(const CKxString& text, std::string& out) {
    const int length = text.Length();
    const wchar_t* chars = text;
    out.clear();
    for (int i = 0; i < length; ++i) {
        const wchar_t c = chars[i];
        if (c <= 0 || c > 0x7F) {
            return false;
        }
        out += static_cast<char>(c);
    }
    std::size_t first = 0;
    while (first < out.size() && IsAsciiSpace(out[first])) {
        ++first;
    }
    std::size_t last = out.size();
    while (last > first && IsAsciiSpace(out[last - 1])) {
        --last;
    }
    out = out.substr(first, last - first);
    return !out.empty();
}

int DigitValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'z') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'Z') {
        return c - 'A' + 10;
    }
    return 99;
}

// Sign and magnitude of the whole text; false on any syntax error, a bad
// base or a magnitude beyond 64 bits.
bool ParseInteger(const CKxString& text, int base, bool& negative, unsigned long long& magnitude) {
    negative = false;
    magnitude = 0;
    if (base != 0 && !IsValidBase(base)) {
        return false;
    }
    std::string s;
    if (!TrimmedAscii(text, s)) {
        return false;
    }
    std::size_t i = 0;
    if (s[i] == '+' || s[i] == '-') {
        negative = s[i] == '-';
        ++i;
    }
    const bool hexPrefix = i + 1 < s.size() && s[i] == '0' && (s[i + 1] == 'x' || s[i + 1] == 'X');
    if (base == 0) {
        base = hexPrefix ? 16 : (i < s.size() && s[i] == '0') ? 8 : 10;
    }
    if (base == 16 && hexPrefix) {
        i += 2;
    }
    if (i >= s.size()) {
        return false;
    }
    const unsigned long long limit = std::numeric_limits<unsigned long long>::max();
    for (; i < s.size(); ++i) {
        const int digit = DigitValue(s[i]);
        if (digit >= base) {
            return false;
        }
        const unsigned long long b = static_cast<unsigned long long>(base);
        const unsigned long long d = static_cast<unsigned long long>(digit);
        if (magnitude > (limit - d) / b) {
            return false;
        }
        magnitude = magnitude * b + d;
    }
    return true;
}

template <typename T>
T ToSigned(const CKxString& text, bool* ok, int base) {
    bool negative = false;
    unsigned long long magnitude = 0;
    bool good = ParseInteger(text, base, negative, magnitude);
    T value = 0;
    if (good) {
        const unsigned long long max =
            static_cast<unsigned long long>(std::numeric_limits<T>::max());
        if (!negative && magnitude <= max) {
            value = static_cast<T>(magnitude);
        } else if (negative && magnitude <= max + 1) {
            // -(max + 1) is the minimum; build it without overflowing.
            value = magnitude == max + 1 ? std::numeric_limits<T>::min()
                                         : static_cast<T>(-static_cast<T>(magnitude));
        } else {
            good = false;
        }
    }
    if (ok != nullptr) {
        *ok = good;
    }
    return good ? value : 0;
}

template <typename T>
T ToUnsigned(const CKxString& text, bool* ok, int base) {
    bool negative = false;
    unsigned long long magnitude = 0;
    bool good = ParseInteger(text, base, negative, magnitude) && !negative &&
                magnitude <= static_cast<unsigned long long>(std::numeric_limits<T>::max());
    if (ok != nullptr) {
        *ok = good;
    }
    return good ? static_cast<T>(magnitude) : 0;
}

CKxString FormatInteger(bool negative, unsigned long long magnitude, int base) {
    if (!IsValidBase(base)) {
        return CKxString();
    }
    static const char kDigits[] = "0123456789abcdefghijklmnopqrstuvwxyz";
    char buffer[72];
    char* p = buffer + sizeof(buffer);
    *--p = '\0';
    do {
        *--p = kDigits[magnitude % static_cast<unsigned long long>(base)];
        magnitude /= static_cast<unsigned long long>(base);
    } while (magnitude != 0);
    if (negative) {
        *--p = '-';
    }
    return CKxString(static_cast<const char*>(p));
}

CKxString FormatSigned(long long value, int base) {
    const bool negative = value < 0;
    // 0 - x in unsigned arithmetic gives the magnitude also for the minimum.
    const unsigned long long magnitude = negative ? 0ull - static_cast<unsigned long long>(value)
                                                  : static_cast<unsigned long long>(value);
    return FormatInteger(negative, magnitude, base);
}

CKxString FormatDouble(double value, char format, int precision) {
    std::chars_format kind;
    bool upper = false;
    switch (format) {
    case 'e':
    case 'E':
        kind = std::chars_format::scientific;
        break;
    case 'f':
    case 'F':
        kind = std::chars_format::fixed;
        break;
    case 'g':
    case 'G':
        kind = std::chars_format::general;
        break;
    default:
        return CKxString();
    }
    upper = format == 'E' || format == 'F' || format == 'G';
    if (precision < 0) {
        precision = 6;
    }
    // Beyond 1100 digits no double has anything left to show.
    if (precision > 1100) {
        precision = 1100;
    }
    // Room for the 309 integer digits of the largest double in fixed
    // notation plus sign, point, exponent and the requested digits.
    std::vector<char> buffer(static_cast<std::size_t>(precision) + 400);
    const std::to_chars_result r =
        std::to_chars(buffer.data(), buffer.data() + buffer.size() - 1, value, kind, precision);
    if (r.ec != std::errc()) {
        return CKxString();
    }
    *r.ptr = '\0';
    if (upper) {
        for (char* c = buffer.data(); c != r.ptr; ++c) {
            if (*c >= 'a' && *c <= 'z') {
                *c = static_cast<char>(*c - 'a' + 'A');
            }
        }
    }
    return CKxString(static_cast<const char*>(buffer.data()));
}

} // namespace

CKxString& CKxString::SetNum(int value, int base) {
    return *this = FormatSigned(value, base);
}

CKxString& CKxString::SetNum(unsigned int value, int base) {
    return *this = FormatInteger(false, value, base);
}

CKxString& CKxString::SetNum(long value, int base) {
    return *this = FormatSigned(value, base);
}

CKxString& CKxString::SetNum(unsigned long value, int base) {
    return *this = FormatInteger(false, value, base);
}

CKxString& CKxString::SetNum(long long value, int base) {
    return *this = FormatSigned(value, base);
}

CKxString& CKxString::SetNum(unsigned long long value, int base) {
    return *this = FormatInteger(false, value, base);
}

CKxString& CKxString::SetNum(double value, char format, int precision) {
    return *this = FormatDouble(value, format, precision);
}

CKxString CKxString::Number(int value, int base) {
    return FormatSigned(value, base);
}

CKxString CKxString::Number(unsigned int value, int base) {
    return FormatInteger(false, value, base);
}

CKxString CKxString::Number(long value, int base) {
    return FormatSigned(value, base);
}

CKxString CKxString::Number(unsigned long value, int base) {
    return FormatInteger(false, value, base);
}

CKxString CKxString::Number(long long value, int base) {
    return FormatSigned(value, base);
}

CKxString CKxString::Number(unsigned long long value, int base) {
    return FormatInteger(false, value, base);
}

CKxString CKxString::Number(double value, char format, int precision) {
    return FormatDouble(value, format, precision);
}

int CKxString::ToInt(bool* ok, int base) const {
    return ToSigned<int>(*this, ok, base);
}

long CKxString::ToLong(bool* ok, int base) const {
    return ToSigned<long>(*this, ok, base);
}

unsigned long CKxString::ToULong(bool* ok, int base) const {
    return ToUnsigned<unsigned long>(*this, ok, base);
}

long long CKxString::ToLongLong(bool* ok, int base) const {
    return ToSigned<long long>(*this, ok, base);
}

unsigned long long CKxString::ToULongLong(bool* ok, int base) const {
    return ToUnsigned<unsigned long long>(*this, ok, base);
}

double CKxString::ToDouble(bool* ok) const {
    std::string s;
    bool good = TrimmedAscii(*this, s);
    double value = 0.0;
    if (good) {
        std::size_t start = 0;
        // from_chars takes no '+'; accept one, but not "+-1".
        if (s[0] == '+') {
            start = 1;
            good = s.size() > 1 && s[1] != '-';
        }
        if (good) {
            const char* first = s.data() + start;
            const char* last = s.data() + s.size();
            const std::from_chars_result r =
                std::from_chars(first, last, value, std::chars_format::general);
            good = r.ec == std::errc() && r.ptr == last;
        }
    }
    if (ok != nullptr) {
        *ok = good;
    }
    return good ? value : 0.0;
}

} // namespace KxTamarind
