// GUID text: CStlExtensions::GUID2String/String2GUID, CComGUID's ToString/
// FromString/ordering and the platform's StringFromGUID2/CLSIDFromString.
//
// Checked:
// - printing: the three printers give the same 38 characters, and every
//   parser reads them (and their lower-case, brace-less, blank-padded forms
//   where a parser accepts those) back to the same identifier;
// - String2GUID of any text agrees with the C library's sscanf of the same
//   format (where the text has no "0x" prefix, whose handling differs
//   between C libraries), answers GUID_NULL on failure, and what it reads
//   prints and reads back unchanged;
// - FromString accepts exactly the texts an independent check of its rule
//   accepts, reads the same identifier as the platform's parser, and leaves
//   the object unchanged on failure;
// - CLSIDFromString accepts exactly the canonical braced form (either case)
//   and StringFromGUID2 gives that text back in upper case;
// - LessGuid, CComGUID's operator< and == follow the 16 bytes in storage
//   order.
#include <platcompat.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "CComGUID.h"
#include "CStlExtensions.h"
#include "FuzzCheck.h"
#include "FuzzText.h"

using KxTamarind::CComGUID;
using KxTamarind::CStlExtensions;

namespace {

bool SameBytes(const GUID& a, const GUID& b) {
    return std::memcmp(&a, &b, sizeof(GUID)) == 0;
}

std::string Narrow(const wchar_t* text) {
    std::string out;
    for (; *text != 0; ++text) {
        out += *text < 0x80 ? static_cast<char>(*text) : '?';
    }
    return out;
}

std::wstring Widen(const std::string& text) {
    std::wstring out;
    for (char c : text) {
        out += static_cast<wchar_t>(static_cast<unsigned char>(c));
    }
    return out;
}

std::string Lower(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

bool IsHex(wchar_t c) {
    return (c >= L'0' && c <= L'9') || (c >= L'a' && c <= L'f') || (c >= L'A' && c <= L'F');
}

// The 36 characters "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX" at `text`.
bool IsCanonicalBody(const std::wstring& text, std::size_t at) {
    if (text.size() < at + 36) {
        return false;
    }
    for (std::size_t i = 0; i < 36; ++i) {
        const wchar_t c = text[at + i];
        const bool hyphen = i == 8 || i == 13 || i == 18 || i == 23;
        if (hyphen ? c != L'-' : !IsHex(c)) {
            return false;
        }
    }
    return true;
}

void CheckPrinted(const GUID& g) {
    const std::string text = CStlExtensions::GUID2String(g);
    FUZZ_CHECK(text.size() == 38, "GUID2String gives 38 characters");
    wchar_t platform[39];
    FUZZ_CHECK(StringFromGUID2(g, platform, 39) == 39, "StringFromGUID2 writes 39 characters");
    FUZZ_CHECK(Narrow(platform) == text, "GUID2String and StringFromGUID2 agree");
    FUZZ_CHECK(CComGUID(g).ToString() == text, "CComGUID::ToString and GUID2String agree");
    FUZZ_CHECK(IsCanonicalBody(Widen(text), 1) && text.front() == '{' && text.back() == '}',
               "the printed form is the canonical braced form");
    for (char c : text) {
        FUZZ_CHECK(!(c >= 'a' && c <= 'f'), "the printed form is upper case");
    }

    GUID back;
    FUZZ_CHECK(CStlExtensions::String2GUID(text, back) && SameBytes(back, g),
               "String2GUID reads the printed form back");
    FUZZ_CHECK(CStlExtensions::String2GUID(Lower(text), back) && SameBytes(back, g),
               "String2GUID reads the lower-case form back");
    FUZZ_CHECK(CLSIDFromString(platform, &back) == S_OK && SameBytes(back, g),
               "CLSIDFromString reads StringFromGUID2 back");
    FUZZ_CHECK(CLSIDFromString(Widen(Lower(text)).c_str(), &back) == S_OK && SameBytes(back, g),
               "CLSIDFromString reads the lower-case form back");
    const std::string variants[] = {text, Lower(text), text.substr(1, 36),
                                    "  " + Lower(text.substr(1, 36)) + " ", " {" + text + "} "};
    for (const std::string& variant : variants) {
        CComGUID parsed;
        FUZZ_CHECK(parsed.FromString(variant) && parsed == g,
                   "FromString reads the printed form, lower case, without braces, padded");
    }
}

// String2GUID against sscanf with the same format.
void CheckString2Guid(const std::string& text) {
    GUID parsed;
    std::memset(&parsed, 0xAB, sizeof parsed);
    const bool ok = CStlExtensions::String2GUID(text, parsed);
    if (!ok) {
        FUZZ_CHECK(SameBytes(parsed, GUID_NULL), "String2GUID gives GUID_NULL on failure");
    } else {
        GUID again;
        FUZZ_CHECK(CStlExtensions::String2GUID(CStlExtensions::GUID2String(parsed), again) &&
                       SameBytes(again, parsed),
                   "what String2GUID reads prints and reads back unchanged");
    }
    if (text.find_first_of("xX") != std::string::npos) {
        return;
    }
    unsigned long d1 = 0;
    unsigned short d2 = 0;
    unsigned short d3 = 0;
    unsigned int b[8] = {};
    const int fields =
        std::sscanf(text.c_str(), "{%8lX-%4hX-%4hX-%2X%2X-%2X%2X%2X%2X%2X%2X}", &d1, &d2, &d3,
                    &b[0], &b[1], &b[2], &b[3], &b[4], &b[5], &b[6], &b[7]);
    FUZZ_CHECK(ok == (fields == 11), "String2GUID succeeds exactly when sscanf reads all fields");
    if (ok) {
        GUID expected;
        expected.Data1 = static_cast<std::uint32_t>(d1);
        expected.Data2 = d2;
        expected.Data3 = d3;
        for (int i = 0; i < 8; ++i) {
            expected.Data4[i] = static_cast<std::uint8_t>(b[i]);
        }
        FUZZ_CHECK(SameBytes(parsed, expected), "String2GUID reads what sscanf reads");
    }
}

// FromString against its rule, checked independently: trim blanks and
// braces from both ends, then exactly the canonical 36 characters.
void CheckFromString(const std::string& text, const GUID& before) {
    std::size_t first = 0;
    std::size_t last = text.size();
    const auto trimmed = [](char c) { return c == ' ' || c == '{' || c == '}'; };
    while (first < last && trimmed(text[first])) {
        ++first;
    }
    while (last > first && trimmed(text[last - 1])) {
        --last;
    }
    const std::wstring body = Widen(text.substr(first, last - first));
    const bool expected = body.size() == 36 && IsCanonicalBody(body, 0);

    CComGUID object(before);
    const bool ok = object.FromString(text);
    FUZZ_CHECK(ok == expected, "FromString accepts exactly the canonical form");
    if (!ok) {
        FUZZ_CHECK(object == before, "a refused text leaves the object unchanged");
        return;
    }
    GUID platform;
    FUZZ_CHECK(CLSIDFromString((L"{" + body + L"}").c_str(), &platform) == S_OK,
               "the platform reads the same body");
    FUZZ_CHECK(object == platform, "FromString and CLSIDFromString read the same identifier");
}

// CLSIDFromString accepts exactly "{" canonical body "}" and nothing after.
void CheckClsidFromString(const std::wstring& text) {
    const bool expected = text.size() == 38 && text.front() == L'{' && text.back() == L'}' &&
                          IsCanonicalBody(text, 1);
    GUID parsed;
    std::memset(&parsed, 0xAB, sizeof parsed);
    const HRESULT hr = CLSIDFromString(text.c_str(), &parsed);
    FUZZ_CHECK(hr == (expected ? S_OK : CO_E_CLASSSTRING),
               "CLSIDFromString accepts exactly the canonical braced form");
    if (!expected) {
        FUZZ_CHECK(SameBytes(parsed, GUID_NULL), "a refused text gives GUID_NULL");
        return;
    }
    wchar_t printed[39];
    StringFromGUID2(parsed, printed, 39);
    std::wstring upper = text;
    for (wchar_t& c : upper) {
        if (c >= L'a' && c <= L'f') {
            c = static_cast<wchar_t>(c - L'a' + L'A');
        }
    }
    FUZZ_CHECK(upper == printed, "the parsed identifier prints as the text in upper case");
}

void CheckOrder(const GUID& a, const GUID& b) {
    const int bytes = std::memcmp(&a, &b, sizeof(GUID));
    FUZZ_CHECK(CStlExtensions::LessGuid()(a, b) == (bytes < 0), "LessGuid is the byte order");
    FUZZ_CHECK((CComGUID(a) < CComGUID(b)) == (bytes < 0), "CComGUID::operator< is the byte order");
    FUZZ_CHECK((CComGUID(a) == CComGUID(b)) == (bytes == 0),
               "CComGUID::operator== is byte equality");
    FUZZ_CHECK(CComGUID(a).IsNull() == SameBytes(a, GUID_NULL),
               "IsNull is equality with GUID_NULL");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    GUID a;
    GUID b;
    std::memset(&a, 0, sizeof a);
    std::memset(&b, 0, sizeof b);
    std::memcpy(&a, data, std::min(size, sizeof a));
    if (size > sizeof a) {
        std::memcpy(&b, data + sizeof a, std::min(size - sizeof a, sizeof b));
    }
    CheckPrinted(a);
    CheckOrder(a, b);
    CheckOrder(a, a);
    CheckString2Guid(text);
    CheckFromString(text, b);
    // The platform parser reads wide text up to its terminator.
    CheckClsidFromString(KxFuzz::WideFromBytes(text).c_str());
    return 0;
}
