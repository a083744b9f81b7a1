// Text forms, creation and comparison of CComGUID.
#include "CComGUID.h"

#include "CStlExtensions.h"

#include <cctype>
#include <cstdint>
#include <cstring>

namespace KxTamarind {

namespace {

unsigned HexValue(char c) {
    if (c >= '0' && c <= '9') {
        return static_cast<unsigned>(c - '0');
    }
    if (c >= 'a' && c <= 'f') {
        return static_cast<unsigned>(c - 'a' + 10);
    }
    return static_cast<unsigned>(c - 'A' + 10);
}

// The value of `count` hexadecimal digits at `text + position` (checked
// beforehand).
std::uint32_t HexPiece(const std::string& text, std::size_t position, std::size_t count) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < count; ++i) {
        value = (value << 4) | HexValue(text[position + i]);
    }
    return value;
}

} // namespace

std::string CComGUID::ToString() const {
    LPOLESTR text = nullptr;
    if (FAILED(StringFromCLSID(m_guid, &text)) || text == nullptr) {
        return std::string();
    }
    std::string result(CStlExtensions::wstring2string(std::wstring(text)));
    CoTaskMemFree(text);
    CStlExtensions::MakeUppercase(result);
    return result;
}

bool CComGUID::FromString(std::string text) {
    CStlExtensions::Trim(text, " {}");
    CStlExtensions::MakeUppercase(text);
    if (text.size() != 36) {
        return false;
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool hyphenPlace = i == 8 || i == 13 || i == 18 || i == 23;
        if (hyphenPlace ? text[i] != '-'
                        : std::isxdigit(static_cast<unsigned char>(text[i])) == 0) {
            return false;
        }
    }
    GUID parsed;
    parsed.Data1 = HexPiece(text, 0, 8);
    parsed.Data2 = static_cast<std::uint16_t>(HexPiece(text, 9, 4));
    parsed.Data3 = static_cast<std::uint16_t>(HexPiece(text, 14, 4));
    static const std::size_t kBytePositions[8] = {19, 21, 24, 26, 28, 30, 32, 34};
    for (unsigned i = 0; i < 8; ++i) {
        parsed.Data4[i] = static_cast<std::uint8_t>(HexPiece(text, kBytePositions[i], 2));
    }
    m_guid = parsed;
    return true;
}

HRESULT CComGUID::Create() {
    GUID created;
    const HRESULT hr = CoCreateGuid(&created);
    if (SUCCEEDED(hr)) {
        m_guid = created;
    }
    return hr;
}

bool CComGUID::IsNull() const {
    return std::memcmp(&m_guid, &GUID_NULL, sizeof(GUID)) == 0;
}

bool CComGUID::operator==(const CComGUID& other) const {
    return std::memcmp(&m_guid, &other.m_guid, sizeof(GUID)) == 0;
}

bool CComGUID::operator==(const GUID& other) const {
    return std::memcmp(&m_guid, &other, sizeof(GUID)) == 0;
}

bool CComGUID::operator<(const CComGUID& other) const {
    return CStlExtensions::LessGuid()(m_guid, other.m_guid);
}

} // namespace KxTamarind
