// Code-page conversions of the platform layer (MultiByteToWideChar,
// WideCharToMultiByte) in code pages 0, 1252, 28591 and 65001.
//
// Checked against the reference conversions of ReferenceText.h:
// - the converted text is the reference text, the size query (destination
//   size 0) answers its exact size, a destination of exactly that size is
//   filled completely and one character smaller fails with
//   ERROR_INSUFFICIENT_BUFFER (the buffers are heap blocks of exactly the
//   size given, so AddressSanitizer sees any write beyond them);
// - UTF-8: invalid input becomes one U+FFFD per maximal ill-formed subpart,
//   or fails with ERROR_NO_UNICODE_TRANSLATION under MB_ERR_INVALID_CHARS;
//   wide text that is not Unicode is written as U+FFFD or fails under
//   WC_ERR_INVALID_CHARS;
// - round trips: 1252 and 28591 are bijective over their bytes, UTF-8 over
//   valid text;
// - a source length of -1 converts up to and including the terminator.
#include <platcompat.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "FuzzCheck.h"
#include "FuzzText.h"
#include "ReferenceText.h"

namespace {

using KxFuzz::kReplacement;

bool IsUtf8(UINT codePage) {
    return codePage == 0 || codePage == 65001;
}

// Reference narrow-to-wide conversion; `valid` false when the input holds
// something the code page cannot decode.
std::wstring ReferenceToWide(UINT codePage, const std::string& bytes, bool& valid) {
    if (IsUtf8(codePage)) {
        return KxFuzz::DecodeUtf8(bytes, valid);
    }
    valid = true;
    std::wstring out;
    for (char c : bytes) {
        const auto b = static_cast<unsigned char>(c);
        out += static_cast<wchar_t>(codePage == 1252 ? KxFuzz::Cp1252ToUnicode(b) : b);
    }
    return out;
}

// Reference wide-to-narrow conversion; `valid` false when a character has
// no form in the code page (UTF-8: no Unicode scalar value).
std::string ReferenceToNarrow(UINT codePage, const std::wstring& text, char fallback, bool& valid) {
    valid = true;
    if (IsUtf8(codePage)) {
        for (wchar_t c : text) {
            valid = valid && KxFuzz::IsScalarValue(static_cast<std::uint32_t>(c));
        }
        return KxFuzz::Utf8Of(text);
    }
    std::string out;
    for (wchar_t c : text) {
        const auto cp = static_cast<std::uint32_t>(c);
        const int b = codePage == 1252 ? KxFuzz::UnicodeToCp1252(cp) : (cp <= 0xFF ? int(cp) : -1);
        if (b < 0) {
            valid = false;
            out += fallback;
        } else {
            out += static_cast<char>(b);
        }
    }
    return out;
}

void CheckToWide(UINT codePage, bool strict, bool terminated, std::string bytes) {
    const DWORD flags = strict ? MB_ERR_INVALID_CHARS : 0;
    if (terminated) {
        bytes = std::string(bytes.c_str()) + '\0'; // up to the first NUL, with it
    }
    // The source in a heap block of its exact size (no terminator unless
    // the length is -1), so that a read beyond it is seen.
    std::unique_ptr<char[]> source(new char[bytes.size() + 1]);
    std::copy(bytes.begin(), bytes.end(), source.get());
    const int srcLen = terminated ? -1 : static_cast<int>(bytes.size());
    if (!terminated && bytes.empty()) {
        SetLastError(0);
        FUZZ_CHECK(MultiByteToWideChar(codePage, flags, source.get(), 0, nullptr, 0) == 0,
                   "a source length of 0 is refused");
        FUZZ_CHECK(GetLastError() == ERROR_INVALID_PARAMETER, "length 0: ERROR_INVALID_PARAMETER");
        return;
    }
    bool valid = true;
    const std::wstring expected = ReferenceToWide(codePage, bytes, valid);

    SetLastError(0);
    const int needed = MultiByteToWideChar(codePage, flags, source.get(), srcLen, nullptr, 0);
    if (strict && !valid) {
        FUZZ_CHECK(needed == 0, "invalid UTF-8 under MB_ERR_INVALID_CHARS fails");
        FUZZ_CHECK(GetLastError() == ERROR_NO_UNICODE_TRANSLATION,
                   "invalid UTF-8: ERROR_NO_UNICODE_TRANSLATION");
        return;
    }
    FUZZ_CHECK(needed == static_cast<int>(expected.size()), "size query = reference size");

    std::unique_ptr<wchar_t[]> exact(new wchar_t[expected.size()]);
    const int written = MultiByteToWideChar(codePage, flags, source.get(), srcLen, exact.get(),
                                            static_cast<int>(expected.size()));
    FUZZ_CHECK(written == needed, "a destination of the queried size is enough");
    FUZZ_CHECK(std::wstring(exact.get(), expected.size()) == expected,
               "narrow-to-wide equals the reference conversion");

    if (expected.size() > 1) {
        std::unique_ptr<wchar_t[]> small(new wchar_t[expected.size() - 1]);
        SetLastError(0);
        FUZZ_CHECK(MultiByteToWideChar(codePage, flags, source.get(), srcLen, small.get(),
                                       static_cast<int>(expected.size() - 1)) == 0,
                   "a destination one character short fails");
        FUZZ_CHECK(GetLastError() == ERROR_INSUFFICIENT_BUFFER,
                   "short destination: ERROR_INSUFFICIENT_BUFFER");
    }

    // Back to narrow: the same bytes where the code page is bijective (and,
    // for UTF-8, the input was valid); otherwise the reference encoding of
    // what was decoded (U+FFFD for every broken piece).
    const int back =
        WideCharToMultiByte(codePage, 0, exact.get(), written, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<std::size_t>(back), '\0');
    FUZZ_CHECK(back > 0 && WideCharToMultiByte(codePage, 0, exact.get(), written, &narrow[0], back,
                                               nullptr, nullptr) == back,
               "the decoded text converts back");
    if (valid) {
        FUZZ_CHECK(narrow == bytes, "round trip gives the original bytes");
    } else {
        FUZZ_CHECK(narrow == KxFuzz::Utf8Of(expected), "round trip of repaired UTF-8");
    }
}

void CheckToNarrow(UINT codePage, DWORD flags, bool terminated, std::wstring text,
                   bool customDefault, char defaultChar) {
    if (terminated) {
        text = std::wstring(text.c_str()) + L'\0';
    }
    std::unique_ptr<wchar_t[]> source(new wchar_t[text.size() + 1]);
    std::copy(text.begin(), text.end(), source.get());
    const int srcLen = terminated ? -1 : static_cast<int>(text.size());
    const bool utf8 = IsUtf8(codePage);
    const char* fallback = customDefault ? &defaultChar : nullptr;
    BOOL usedDefault = 7;
    BOOL* used = utf8 ? nullptr : &usedDefault;

    if (!terminated && text.empty()) {
        SetLastError(0);
        FUZZ_CHECK(
            WideCharToMultiByte(codePage, flags, source.get(), 0, nullptr, 0, fallback, used) == 0,
            "a source length of 0 is refused");
        FUZZ_CHECK(GetLastError() == ERROR_INVALID_PARAMETER, "length 0: ERROR_INVALID_PARAMETER");
        return;
    }
    if (utf8) {
        // UTF-8 takes no default character.
        BOOL ignored = FALSE;
        SetLastError(0);
        FUZZ_CHECK(
            WideCharToMultiByte(codePage, 0, source.get(), srcLen, nullptr, 0, "?", &ignored) == 0,
            "UTF-8 refuses a default character");
        FUZZ_CHECK(GetLastError() == ERROR_INVALID_PARAMETER,
                   "UTF-8 default character: ERROR_INVALID_PARAMETER");
    }
    const bool strict = (flags & WC_ERR_INVALID_CHARS) != 0;
    if (strict && !utf8) {
        SetLastError(0);
        FUZZ_CHECK(WideCharToMultiByte(codePage, flags, source.get(), srcLen, nullptr, 0, fallback,
                                       used) == 0,
                   "WC_ERR_INVALID_CHARS is refused by single-byte code pages");
        FUZZ_CHECK(GetLastError() == ERROR_INVALID_FLAGS, "single byte: ERROR_INVALID_FLAGS");
        flags = 0;
    }
    bool valid = true;
    const std::string expected =
        ReferenceToNarrow(codePage, text, customDefault ? defaultChar : '?', valid);

    SetLastError(0);
    const int needed =
        WideCharToMultiByte(codePage, flags, source.get(), srcLen, nullptr, 0, fallback, used);
    if (utf8 && strict && !valid) {
        FUZZ_CHECK(needed == 0, "text that is not Unicode fails under WC_ERR_INVALID_CHARS");
        FUZZ_CHECK(GetLastError() == ERROR_NO_UNICODE_TRANSLATION,
                   "not Unicode: ERROR_NO_UNICODE_TRANSLATION");
        return;
    }
    FUZZ_CHECK(needed == static_cast<int>(expected.size()), "size query = reference size");
    if (!utf8) {
        FUZZ_CHECK(usedDefault == (valid ? FALSE : TRUE),
                   "usedDefault tells whether a character had no byte");
    }

    std::unique_ptr<char[]> exact(new char[expected.size()]);
    usedDefault = 7;
    const int written = WideCharToMultiByte(codePage, flags, source.get(), srcLen, exact.get(),
                                            needed, fallback, used);
    FUZZ_CHECK(written == needed, "a destination of the queried size is enough");
    FUZZ_CHECK(std::string(exact.get(), expected.size()) == expected,
               "wide-to-narrow equals the reference conversion");
    if (expected.size() > 1) {
        std::unique_ptr<char[]> small(new char[expected.size() - 1]);
        SetLastError(0);
        FUZZ_CHECK(WideCharToMultiByte(codePage, flags, source.get(), srcLen, small.get(),
                                       needed - 1, fallback, used) == 0,
                   "a destination one byte short fails");
        FUZZ_CHECK(GetLastError() == ERROR_INSUFFICIENT_BUFFER,
                   "short destination: ERROR_INSUFFICIENT_BUFFER");
    }
    if (valid) {
        // Every character had a form: converting back gives the text again.
        std::unique_ptr<wchar_t[]> back(new wchar_t[text.size()]);
        FUZZ_CHECK(MultiByteToWideChar(codePage, MB_ERR_INVALID_CHARS, exact.get(), written,
                                       back.get(), static_cast<int>(text.size())) ==
                       static_cast<int>(text.size()),
                   "the converted text converts back");
        FUZZ_CHECK(std::wstring(back.get(), text.size()) == text,
                   "round trip gives the original wide text");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    const UINT codePage = in.PickValueInArray<UINT>({0u, 1252u, 28591u, 65001u});
    const bool strict = in.ConsumeBool();
    const bool terminated = in.ConsumeBool();
    const bool noBestFit = in.ConsumeBool();
    const bool customDefault = in.ConsumeBool();
    const char defaultChar = in.ConsumeIntegral<char>();
    const std::string bytes = in.ConsumeRandomLengthString(4096);
    const std::wstring wide = KxFuzz::WideFromBytes(in.ConsumeRemainingBytesAsString());

    CheckToWide(codePage, strict, terminated, bytes);
    DWORD flags = strict ? WC_ERR_INVALID_CHARS : 0;
    if (!IsUtf8(codePage) && noBestFit) {
        flags |= WC_NO_BEST_FIT_CHARS;
    }
    CheckToNarrow(codePage, flags, terminated, wide, customDefault && !IsUtf8(codePage),
                  defaultChar);
    // The bytes read as wide text too: this reaches every byte value and the
    // 1252 characters without escapes.
    std::wstring byteText;
    for (char c : bytes) {
        byteText += static_cast<wchar_t>(static_cast<unsigned char>(c));
    }
    CheckToNarrow(codePage, flags, terminated, byteText, false, 0);
    return 0;
}
