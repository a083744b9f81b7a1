// A small printf format walker. Literal text is copied; each conversion is
// parsed, its argument fetched with the matching va_arg type, and formatted
// with snprintf of that one conversion. Wide strings and characters are
// converted to UTF-8 here, because the C library's own %ls depends on the
// process locale and fails on non-ASCII text under the C locale.
#include "format.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <type_traits>

#include "platcompat/strconv.h"

namespace {

enum class Length { None, HH, H, L, LL, BigL, Z, J, T };

struct Directive {
    std::string flags;
    bool hasWidth = false;
    int width = 0;
    bool hasPrecision = false;
    int precision = 0;
    Length length = Length::None;
    char conv = 0;
};

// Appends snprintf(fmt, value) to out without a length limit.
template <typename T>
void AppendOne(std::string& out, const std::string& fmt, T value) {
    char local[256];
    const int n = std::snprintf(local, sizeof(local), fmt.c_str(), value);
    if (n < 0) {
        return; // the C library rejected the conversion (e.g. huge width)
    }
    if (static_cast<std::size_t>(n) < sizeof(local)) {
        out.append(local, static_cast<std::size_t>(n));
        return;
    }
    const std::size_t start = out.size();
    out.resize(start + static_cast<std::size_t>(n) + 1);
    std::snprintf(&out[start], static_cast<std::size_t>(n) + 1, fmt.c_str(), value);
    out.resize(start + static_cast<std::size_t>(n));
}

// The conversion rebuilt for snprintf, with `*` values filled in and the
// length modifier given (I64 and friends are spelled the C way).
std::string CFormat(const Directive& dir, const char* length) {
    std::string fmt = "%" + dir.flags;
    if (dir.hasWidth) {
        fmt += std::to_string(dir.width);
    }
    if (dir.hasPrecision) {
        fmt += "." + std::to_string(dir.precision);
    }
    fmt += length;
    fmt += dir.conv;
    return fmt;
}

const char* LengthText(Length length) {
    switch (length) {
    case Length::HH:
        return "hh";
    case Length::H:
        return "h";
    case Length::L:
        return "l";
    case Length::LL:
        return "ll";
    case Length::BigL:
        return "L";
    case Length::Z:
        return "z";
    case Length::J:
        return "j";
    case Length::T:
        return "t";
    default:
        return "";
    }
}

// Appends `count` wide characters as UTF-8, padded to the width in characters.
void AppendWide(std::string& out, const Directive& dir, const wchar_t* text, std::size_t count) {
    std::string utf8;
    if (count > 0) {
        const int n = WideCharToMultiByte(CP_UTF8, 0, text, static_cast<int>(count), nullptr, 0,
                                          nullptr, nullptr);
        if (n > 0) {
            utf8.resize(static_cast<std::size_t>(n));
            WideCharToMultiByte(CP_UTF8, 0, text, static_cast<int>(count), &utf8[0], n, nullptr,
                                nullptr);
        }
    }
    const bool left = dir.flags.find('-') != std::string::npos;
    const std::size_t pad =
        dir.hasWidth && static_cast<std::size_t>(dir.width) > count ? dir.width - count : 0;
    if (!left) {
        out.append(pad, ' ');
    }
    out += utf8;
    if (left) {
        out.append(pad, ' ');
    }
}

void AppendWideString(std::string& out, const Directive& dir, const wchar_t* text) {
    if (text == nullptr) {
        text = L"(null)";
    }
    std::size_t count = 0;
    const std::size_t limit = dir.hasPrecision ? static_cast<std::size_t>(dir.precision) : SIZE_MAX;
    while (count < limit && text[count] != L'\0') {
        ++count; // stop at the precision: the text need not be terminated
    }
    AppendWide(out, dir, text, count);
}

template <typename Signed, typename Unsigned>
void AppendInteger(std::string& out, const Directive& dir, const std::string& fmt, va_list& args) {
    const bool isSigned = dir.conv == 'd' || dir.conv == 'i';
    if (isSigned) {
        // Types narrower than int arrive promoted to int.
        using Arg = std::conditional_t<(sizeof(Signed) < sizeof(int)), int, Signed>;
        AppendOne(out, fmt, static_cast<Arg>(va_arg(args, Arg)));
    } else {
        using Arg = std::conditional_t<(sizeof(Unsigned) < sizeof(int)), unsigned, Unsigned>;
        AppendOne(out, fmt, static_cast<Arg>(va_arg(args, Arg)));
    }
}

void AppendIntegerConv(std::string& out, const Directive& dir, va_list& args) {
    const std::string fmt = CFormat(dir, LengthText(dir.length));
    switch (dir.length) {
    case Length::L:
        AppendInteger<long, unsigned long>(out, dir, fmt, args);
        break;
    case Length::LL:
    case Length::BigL: // %Ld is treated as %lld
        AppendInteger<long long, unsigned long long>(out, dir, CFormat(dir, "ll"), args);
        break;
    case Length::Z:
        AppendInteger<std::make_signed_t<std::size_t>, std::size_t>(out, dir, fmt, args);
        break;
    case Length::J:
        AppendInteger<std::intmax_t, std::uintmax_t>(out, dir, fmt, args);
        break;
    case Length::T:
        AppendInteger<std::ptrdiff_t, std::make_unsigned_t<std::ptrdiff_t>>(out, dir, fmt, args);
        break;
    default: // None, H, HH: the value arrives as an int
        AppendInteger<int, unsigned>(out, dir, fmt, args);
        break;
    }
}

// Parses one conversion starting after '%'. Returns the position after it,
// or nullptr when the conversion is incomplete.
const char* ParseDirective(const char* p, Directive& dir, va_list& args) {
    while (*p != '\0' && std::strchr("-+ #0'", *p) != nullptr) {
        dir.flags += *p++;
    }
    if (*p == '*') {
        ++p;
        dir.hasWidth = true;
        dir.width = va_arg(args, int);
        if (dir.width < 0) { // a negative width means left-justified
            dir.flags += '-';
            dir.width = dir.width == INT32_MIN ? INT32_MAX : -dir.width;
        }
    } else {
        while (*p >= '0' && *p <= '9') {
            dir.hasWidth = true;
            dir.width = dir.width > 100000000 ? dir.width : dir.width * 10 + (*p - '0');
            ++p;
        }
    }
    if (*p == '.') {
        ++p;
        dir.hasPrecision = true;
        if (*p == '*') {
            ++p;
            dir.precision = va_arg(args, int);
            if (dir.precision < 0) { // a negative precision is taken as omitted
                dir.hasPrecision = false;
                dir.precision = 0;
            }
        } else {
            while (*p >= '0' && *p <= '9') {
                dir.precision =
                    dir.precision > 100000000 ? dir.precision : dir.precision * 10 + (*p - '0');
                ++p;
            }
        }
    }
    if (p[0] == 'h' && p[1] == 'h') {
        dir.length = Length::HH;
        p += 2;
    } else if (p[0] == 'l' && p[1] == 'l') {
        dir.length = Length::LL;
        p += 2;
    } else if (p[0] == 'I' && p[1] == '6' && p[2] == '4') {
        dir.length = Length::LL;
        p += 3;
    } else if (p[0] == 'I' && p[1] == '3' && p[2] == '2') {
        p += 3;
    } else if (*p == 'I') {
        dir.length = Length::Z; // pointer-sized
        ++p;
    } else if (*p == 'h' || *p == 'l' || *p == 'L' || *p == 'z' || *p == 'j' || *p == 't' ||
               *p == 'q') {
        static const Length kinds[] = {Length::H, Length::L, Length::BigL, Length::Z,
                                       Length::J, Length::T, Length::LL};
        dir.length = kinds[std::strchr("hlLzjtq", *p) - "hlLzjtq"];
        ++p;
    }
    if (*p == '\0') {
        return nullptr;
    }
    dir.conv = *p;
    return p + 1;
}

} // namespace

void PlatAppendFormatV(std::string& out, const char* format, va_list args) {
    if (format == nullptr) {
        return;
    }
    va_list ap;
    va_copy(ap, args);
    const char* p = format;
    while (*p != '\0') {
        if (*p != '%') {
            const char* next = std::strchr(p, '%');
            if (next == nullptr) {
                out.append(p);
                break;
            }
            out.append(p, static_cast<std::size_t>(next - p));
            p = next;
            continue;
        }
        const char* start = p;
        if (p[1] == '%') {
            out += '%';
            p += 2;
            continue;
        }
        Directive dir;
        const char* end = ParseDirective(p + 1, dir, ap);
        if (end == nullptr) {
            out.append(start); // incomplete conversion at the end: copy it as text
            break;
        }
        p = end;
        const bool narrowForced = dir.length == Length::H;
        const bool wideLength = dir.length == Length::L;
        switch (dir.conv) {
        case 'd':
        case 'i':
        case 'o':
        case 'u':
        case 'x':
        case 'X':
            AppendIntegerConv(out, dir, ap);
            break;
        case 'f':
        case 'F':
        case 'e':
        case 'E':
        case 'g':
        case 'G':
        case 'a':
        case 'A':
            if (dir.length == Length::BigL) {
                AppendOne(out, CFormat(dir, "L"), va_arg(ap, long double));
            } else {
                AppendOne(out, CFormat(dir, ""), va_arg(ap, double));
            }
            break;
        case 'p':
            AppendOne(out, CFormat(dir, ""), va_arg(ap, void*));
            break;
        case 'c':
        case 'C':
            if ((dir.conv == 'C' && !narrowForced) || wideLength) {
                const auto ch = static_cast<wchar_t>(va_arg(ap, std::wint_t));
                AppendWide(out, dir, &ch, 1);
            } else {
                dir.conv = 'c'; // %hC is narrow; the C library's %C is not
                AppendOne(out, CFormat(dir, ""), va_arg(ap, int));
            }
            break;
        case 's':
        case 'S':
            if ((dir.conv == 'S' && !narrowForced) || wideLength) {
                AppendWideString(out, dir, va_arg(ap, const wchar_t*));
            } else {
                dir.conv = 's'; // %hS is narrow; the C library's %S is not
                const char* text = va_arg(ap, const char*);
                AppendOne(out, CFormat(dir, ""), text != nullptr ? text : "(null)");
            }
            break;
        case 'n':
            // Not supported: the pointer argument is consumed (so later
            // arguments stay in place) but nothing is written through it.
            (void)va_arg(ap, void*);
            break;
        default:
            out.append(start, static_cast<std::size_t>(p - start)); // unknown: copy as text
            break;
        }
    }
    va_end(ap);
}
