// BSTR allocation (SysAllocStringLen, SysAllocStringByteLen,
// SysReAllocStringLen, VarBstrCmp) and printf-style formatting
// (CAtlStringA::Format/AppendFormat, CKxString::sprintf).
//
// Formats are never taken from the input as they are: the input picks safe
// pieces (literal text with '%' doubled, and one conversion per argument
// slot, of the slot's type, with flags, width and precision; never %n), and
// the expected text is computed piece by piece: narrow and numeric
// conversions by the C library's snprintf of that one conversion, wide ones
// by the UTF-8 reference (precision and width count characters). Checked:
// - Format gives the concatenation of the pieces, AppendFormat appends it,
//   also when an argument is the string's own text;
// - CKxString::sprintf gives the same text up to its first NUL, cut to 999
//   bytes without cutting a character in two, and read as UTF-8;
// - a BSTR holds exactly the characters and length asked for (length prefix
//   included), zeroed when made from nothing, and refuses lengths whose byte
//   count overflows 32 bits without reading the source;
// - VarBstrCmp orders by code point as unsigned 32-bit values, with the
//   lengths (embedded NULs included) deciding ties.
#include <platcompat.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

#include "CKxString.h"
#include "FuzzCheck.h"
#include "FuzzText.h"
#include "ReferenceText.h"

using KxFuzz::Holds;
using KxTamarind::CKxString;

namespace {

// --- BSTR ----------------------------------------------------------------------

std::uint32_t BytePrefix(BSTR b) {
    std::uint32_t length;
    std::memcpy(&length, reinterpret_cast<const unsigned char*>(b) - 4, 4);
    return length;
}

void CheckBstr(FuzzedDataProvider& in) {
    const std::wstring text = KxFuzz::ConsumeWide(in, 128);
    const UINT n = static_cast<UINT>(text.size());
    BSTR b = SysAllocStringLen(text.data(), n);
    FUZZ_CHECK(b != nullptr, "SysAllocStringLen of a short text");
    FUZZ_CHECK(SysStringLen(b) == n && SysStringByteLen(b) == 4 * n && BytePrefix(b) == 4 * n,
               "length, byte length and the prefix before the string");
    FUZZ_CHECK(std::wmemcmp(b, text.data(), n) == 0 && b[n] == 0,
               "the characters (embedded NULs kept) and the terminator");
    FUZZ_CHECK(reinterpret_cast<std::uintptr_t>(b) % alignof(wchar_t) == 0, "wchar_t alignment");

    // Part of the string itself as the new content (the source lies inside
    // the block that is replaced).
    const UINT from = in.ConsumeIntegralInRange<UINT>(0, n);
    const UINT count = in.ConsumeIntegralInRange<UINT>(0, n - from);
    FUZZ_CHECK(SysReAllocStringLen(&b, b + from, count) == TRUE, "SysReAllocStringLen");
    FUZZ_CHECK(SysStringLen(b) == count && std::wmemcmp(b, text.data() + from, count) == 0 &&
                   b[count] == 0,
               "SysReAllocStringLen from inside the old string");
    // Grow or shrink keeping the characters: new ones are zero.
    const UINT grown = in.ConsumeIntegralInRange<UINT>(0, 300);
    FUZZ_CHECK(SysReAllocStringLen(&b, nullptr, grown) == TRUE, "SysReAllocStringLen(NULL)");
    FUZZ_CHECK(SysStringLen(b) == grown && b[grown] == 0, "resized length");
    for (UINT i = 0; i < grown; ++i) {
        FUZZ_CHECK(b[i] == (i < count ? text[from + i] : 0), "kept and zeroed characters");
    }
    SysFreeString(b);

    BSTR zeroed = SysAllocStringLen(nullptr, grown);
    FUZZ_CHECK(zeroed != nullptr && SysStringLen(zeroed) == grown, "SysAllocStringLen(NULL, n)");
    for (UINT i = 0; i <= grown; ++i) {
        FUZZ_CHECK(zeroed[i] == 0, "SysAllocStringLen(NULL, n) is zeroed");
    }
    SysFreeString(zeroed);

    // A length whose byte count does not fit 32 bits: NULL, and the source
    // (a short text) is not read.
    const UINT huge = in.ConsumeIntegralInRange<UINT>(0x40000000u, 0xFFFFFFFFu);
    FUZZ_CHECK(SysAllocStringLen(text.data(), huge) == nullptr, "an overflowing length is refused");

    const std::string bytes = in.ConsumeRandomLengthString(64);
    BSTR raw = SysAllocStringByteLen(bytes.data(), static_cast<UINT>(bytes.size()));
    FUZZ_CHECK(raw != nullptr && SysStringByteLen(raw) == bytes.size() &&
                   SysStringLen(raw) == bytes.size() / 4 &&
                   std::memcmp(raw, bytes.data(), bytes.size()) == 0,
               "SysAllocStringByteLen keeps the bytes and their exact count");
    const std::size_t whole = (bytes.size() / 4 + 1) * 4; // up to the terminator
    for (std::size_t i = bytes.size(); i < whole; ++i) {
        FUZZ_CHECK(reinterpret_cast<const unsigned char*>(raw)[i] == 0,
                   "the bytes after the copied ones are zero");
    }
    SysFreeString(raw);

    const std::wstring other = KxFuzz::ConsumeWide(in, 16);
    BSTR left = SysAllocStringLen(text.data(), n);
    BSTR right = SysAllocStringLen(other.data(), static_cast<UINT>(other.size()));
    int order = 0;
    for (std::size_t i = 0; i < std::min(text.size(), other.size()) && order == 0; ++i) {
        const auto a = static_cast<std::uint32_t>(text[i]);
        const auto c = static_cast<std::uint32_t>(other[i]);
        order = a < c ? -1 : a > c ? 1 : 0;
    }
    if (order == 0 && text.size() != other.size()) {
        order = text.size() < other.size() ? -1 : 1;
    }
    const HRESULT expected = order < 0 ? VARCMP_LT : order == 0 ? VARCMP_EQ : VARCMP_GT;
    FUZZ_CHECK(VarBstrCmp(left, right, 0, 0) == expected, "VarBstrCmp is the code-point order");
    FUZZ_CHECK(VarBstrCmp(nullptr, right, 0, 0) == (other.empty() ? VARCMP_EQ : VARCMP_LT),
               "a NULL BSTR is the empty string");
    SysFreeString(left);
    SysFreeString(right);
}

// --- Formatting ----------------------------------------------------------------

enum class Slot { Int, Narrow, Double, Wide, LongLong, Long, WideChar, Size };

// One cycle of argument types; a call passes two cycles.
const Slot kCycle[] = {Slot::Int,      Slot::Narrow, Slot::Double,   Slot::Wide,
                       Slot::LongLong, Slot::Long,   Slot::WideChar, Slot::Size};

struct Args {
    int i[2];
    std::string narrow[2];
    double d[2];
    std::wstring wide[2];
    long long ll[2];
    long l[2];
    wint_t wc[2];
    std::size_t z[2];
};

struct Built {
    std::string format;
    std::string expected;
};

std::string Snprintf(const char* conversion, ...) {
    va_list args;
    va_start(args, conversion);
    va_list again;
    va_copy(again, args);
    const int n = std::vsnprintf(nullptr, 0, conversion, args);
    va_end(args);
    std::string out(n < 0 ? 0 : static_cast<std::size_t>(n) + 1, '\0');
    if (n >= 0) {
        std::vsnprintf(&out[0], out.size(), conversion, again);
        out.resize(static_cast<std::size_t>(n));
    }
    va_end(again);
    return out;
}

std::string Flags(FuzzedDataProvider& in, const char* allowed) {
    std::string flags;
    for (const char* f = allowed; *f != 0; ++f) {
        if (in.ConsumeBool()) {
            flags += *f;
        }
    }
    return flags;
}

// "[width][.precision]" with small values, each present or not.
std::string WidthPrecision(FuzzedDataProvider& in, bool precision, int& width, int& digits) {
    std::string out;
    width = -1;
    digits = -1;
    if (in.ConsumeBool()) {
        width = in.ConsumeIntegralInRange(0, 48);
        out += std::to_string(width);
    }
    if (precision && in.ConsumeBool()) {
        digits = in.ConsumeIntegralInRange(0, 48);
        out += "." + std::to_string(digits);
    }
    return out;
}

// The UTF-8 of a wide conversion: `text` cut to the precision, padded with
// blanks to the width in characters.
std::string WideExpected(std::wstring text, const std::string& flags, int width, int precision) {
    if (precision >= 0 && text.size() > static_cast<std::size_t>(precision)) {
        text.resize(static_cast<std::size_t>(precision));
    }
    const std::size_t pad = width > 0 && static_cast<std::size_t>(width) > text.size()
                                ? static_cast<std::size_t>(width) - text.size()
                                : 0;
    const std::string body = KxFuzz::Utf8Of(text);
    return flags.find('-') != std::string::npos ? body + std::string(pad, ' ')
                                                : std::string(pad, ' ') + body;
}

// Literal text without a '%' of its own, or with it doubled.
std::string Literal(FuzzedDataProvider& in, Built& built) {
    std::string text = in.ConsumeRandomLengthString(24);
    text = text.c_str(); // a NUL would end the format
    std::string escaped;
    for (char c : text) {
        escaped += c;
        if (c == '%') {
            escaped += '%';
        }
    }
    built.format += escaped;
    built.expected += text;
    return text;
}

// Builds a format for the first `count` slots of `cycle` (two cycles of
// arguments in `args`), and its expected output. `platformOnly` allows the
// forms only the platform's formatter knows (I64, %S, %C).
Built Build(FuzzedDataProvider& in, const Slot* cycle, std::size_t cycleLength, const Args& args,
            bool platformOnly) {
    Built built;
    const std::size_t slots = in.ConsumeIntegralInRange<std::size_t>(0, 2 * cycleLength);
    bool widthFromPrevious = false;
    int starWidth = 0;
    for (std::size_t k = 0; k < slots; ++k) {
        const Slot slot = cycle[k % cycleLength];
        const int copy = static_cast<int>(k / cycleLength);
        if (!widthFromPrevious) {
            Literal(in, built);
        }
        int width = -1;
        int precision = -1;
        std::string conversion;
        if (slot == Slot::Int && k + 1 < slots && cycle[(k + 1) % cycleLength] == Slot::Narrow &&
            args.i[copy] > -64 && args.i[copy] < 64 && in.ConsumeBool()) {
            // This int is the '*' width of the next conversion (a negative
            // one left-justifies).
            widthFromPrevious = true;
            starWidth = args.i[copy];
            continue;
        }
        switch (slot) {
        case Slot::Int: {
            const char conv = in.PickValueInArray({'d', 'i', 'u', 'x', 'X', 'o', 'c'});
            const std::string flags = Flags(in, conv == 'c' ? "-" : "-+ #0");
            const std::string wp = WidthPrecision(in, conv != 'c', width, precision);
            const char* length = conv == 'c' ? "" : in.PickValueInArray({"", "h", "hh"});
            conversion = "%" + flags + wp + length + conv;
            built.expected += Snprintf(conversion.c_str(), args.i[copy]);
            break;
        }
        case Slot::Narrow: {
            const std::string flags = Flags(in, "-");
            std::string wp;
            if (widthFromPrevious) {
                wp = "*";
                if (in.ConsumeBool()) {
                    precision = in.ConsumeIntegralInRange(0, 48);
                    wp += "." + std::to_string(precision);
                }
            } else {
                wp = WidthPrecision(in, true, width, precision);
            }
            const char* length = platformOnly ? in.PickValueInArray({"", "h"}) : "";
            conversion = "%" + flags + wp + length + "s";
            const std::string plain = "%" + flags + wp + "s";
            built.expected += widthFromPrevious
                                  ? Snprintf(plain.c_str(), starWidth, args.narrow[copy].c_str())
                                  : Snprintf(plain.c_str(), args.narrow[copy].c_str());
            widthFromPrevious = false;
            break;
        }
        case Slot::Double: {
            const char conv = in.PickValueInArray({'f', 'F', 'e', 'E', 'g', 'G', 'a', 'A'});
            conversion =
                "%" + Flags(in, "-+ #0") + WidthPrecision(in, true, width, precision) + conv;
            built.expected += Snprintf(conversion.c_str(), args.d[copy]);
            break;
        }
        case Slot::Wide: {
            const std::string flags = Flags(in, "-");
            const std::string wp = WidthPrecision(in, true, width, precision);
            conversion = "%" + flags + wp + (platformOnly && in.ConsumeBool() ? "S" : "ls");
            built.expected += WideExpected(args.wide[copy].c_str(), flags, width, precision);
            break;
        }
        case Slot::LongLong: {
            const char conv = in.PickValueInArray({'d', 'u', 'x', 'X', 'o'});
            const std::string flags = Flags(in, "-+ #0");
            const std::string wp = WidthPrecision(in, true, width, precision);
            const char* length = platformOnly ? in.PickValueInArray({"ll", "I64"}) : "ll";
            conversion = "%" + flags + wp + length + conv;
            built.expected += Snprintf(("%" + flags + wp + "ll" + conv).c_str(), args.ll[copy]);
            break;
        }
        case Slot::Long: {
            const char conv = in.PickValueInArray({'d', 'i', 'u', 'x', 'X', 'o'});
            conversion =
                "%" + Flags(in, "-+ #0") + WidthPrecision(in, true, width, precision) + "l" + conv;
            built.expected += Snprintf(conversion.c_str(), args.l[copy]);
            break;
        }
        case Slot::WideChar: {
            const std::string flags = Flags(in, "-");
            const std::string wp = WidthPrecision(in, false, width, precision);
            conversion = "%" + flags + wp + (platformOnly && in.ConsumeBool() ? "C" : "lc");
            built.expected += WideExpected(std::wstring(1, static_cast<wchar_t>(args.wc[copy])),
                                           flags, width, -1);
            break;
        }
        case Slot::Size: {
            const char conv = in.PickValueInArray({'u', 'x', 'X', 'o'});
            conversion =
                "%" + Flags(in, "-#0") + WidthPrecision(in, true, width, precision) + "z" + conv;
            built.expected += Snprintf(conversion.c_str(), args.z[copy]);
            break;
        }
        }
        built.format += conversion;
    }
    Literal(in, built);
    return built;
}

Args ConsumeArgs(FuzzedDataProvider& in) {
    Args a;
    for (int c = 0; c < 2; ++c) {
        a.i[c] = in.ConsumeBool() ? in.ConsumeIntegralInRange(-70, 70) : in.ConsumeIntegral<int>();
        a.narrow[c] = in.ConsumeRandomLengthString(32);
        a.d[c] = in.ConsumeFloatingPoint<double>();
        a.wide[c] = KxFuzz::ConsumeWide(in, 32);
        a.ll[c] = in.ConsumeIntegral<long long>();
        a.l[c] = in.ConsumeIntegral<long>();
        a.wc[c] = static_cast<wint_t>(KxFuzz::WideFromBytes(in.ConsumeBytesAsString(5)).c_str()[0]);
        a.z[c] = in.ConsumeIntegral<std::size_t>();
    }
    return a;
}

std::string Text(const CAtlStringA& s) {
    return std::string(s.GetString(), static_cast<std::size_t>(s.GetLength()));
}

void CheckAtlFormat(FuzzedDataProvider& in, const Args& a) {
    const Built b = Build(in, kCycle, 8, a, true);
    CAtlStringA s("old text");
    s.Format(b.format.c_str(), a.i[0], a.narrow[0].c_str(), a.d[0], a.wide[0].c_str(), a.ll[0],
             a.l[0], a.wc[0], a.z[0], a.i[1], a.narrow[1].c_str(), a.d[1], a.wide[1].c_str(),
             a.ll[1], a.l[1], a.wc[1], a.z[1]);
    FUZZ_CHECK(Text(s) == b.expected, "CAtlStringA::Format = the pieces formatted one by one");

    CAtlStringA appended("prefix|");
    appended.AppendFormat(b.format.c_str(), a.i[0], a.narrow[0].c_str(), a.d[0], a.wide[0].c_str(),
                          a.ll[0], a.l[0], a.wc[0], a.z[0], a.i[1], a.narrow[1].c_str(), a.d[1],
                          a.wide[1].c_str(), a.ll[1], a.l[1], a.wc[1], a.z[1]);
    FUZZ_CHECK(Text(appended) == "prefix|" + b.expected, "AppendFormat appends the same text");

    // The string's own text as an argument.
    const std::string before = Text(s);
    s.AppendFormat("%s|%ls", s.GetString(), a.wide[0].c_str());
    FUZZ_CHECK(Text(s) ==
                   before + std::string(before.c_str()) + "|" + KxFuzz::Utf8Of(a.wide[0].c_str()),
               "AppendFormat with the string's own text as argument");
}

// True when a well-formed UTF-8 sequence starts at `at`; its length in `length`.
bool WellFormedAt(const std::string& text, std::size_t at, std::size_t& length) {
    bool valid = true;
    for (length = 1; length <= 4 && at + length <= text.size(); ++length) {
        const std::wstring decoded = KxFuzz::DecodeUtf8(text.substr(at, length), valid);
        if (valid) {
            return static_cast<unsigned char>(text[at]) >= 0xC0;
        }
        if (decoded.size() > 1) {
            return false; // already broken before its end
        }
    }
    return false;
}

// CKxString::sprintf keeps the output up to its first NUL, then at most
// `limit` bytes; a UTF-8 character the limit would cut in two is left out
// whole. Bytes that form no character may be kept (as U+FFFD) or left out
// with the character they started.
bool SprintfResult(const CKxString& s, std::string text, std::size_t limit) {
    bool valid = true;
    text = text.c_str();
    if (text.size() <= limit) {
        return Holds(s, KxFuzz::DecodeUtf8(text, valid));
    }
    for (std::size_t start = limit > 3 ? limit - 3 : 0; start < limit; ++start) {
        std::size_t length = 0;
        if (WellFormedAt(text, start, length) && start + length > limit) {
            return Holds(s, KxFuzz::DecodeUtf8(text.substr(0, start), valid));
        }
    }
    if (Holds(s, KxFuzz::DecodeUtf8(text.substr(0, limit), valid))) {
        return true;
    }
    for (std::size_t cut = limit > 3 ? limit - 3 : 0; cut < limit; ++cut) {
        bool continued = static_cast<unsigned char>(text[cut]) >= 0xC0;
        for (std::size_t i = cut + 1; i < limit && continued; ++i) {
            continued = (static_cast<unsigned char>(text[i]) & 0xC0) == 0x80;
        }
        if (continued && Holds(s, KxFuzz::DecodeUtf8(text.substr(0, cut), valid))) {
            return true;
        }
    }
    return false;
}

void CheckKxSprintf(FuzzedDataProvider& in, const Args& a) {
    const Built b = Build(in, kCycle, 8, a, true);
    CKxString s(L"old");
    s.sprintf(b.format.c_str(), a.i[0], a.narrow[0].c_str(), a.d[0], a.wide[0].c_str(), a.ll[0],
              a.l[0], a.wc[0], a.z[0], a.i[1], a.narrow[1].c_str(), a.d[1], a.wide[1].c_str(),
              a.ll[1], a.l[1], a.wc[1], a.z[1]);
    FUZZ_CHECK(SprintfResult(s, b.expected, 999),
               "CKxString::sprintf = the pieces up to a NUL, cut to 999 bytes, read as UTF-8");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    CheckBstr(in);
    const Args args = ConsumeArgs(in);
    CheckAtlFormat(in, args);
    CheckKxSprintf(in, args);
    return 0;
}
