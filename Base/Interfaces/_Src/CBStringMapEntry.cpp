// One display-name/value pair; see CBStringMapEntry.h.
#include "CBStringMapEntry.h"

#include <cwchar>

namespace KxTamarind {

namespace {
BSTR CopyExact(BSTR source) {
    return source == nullptr ? nullptr : SysAllocStringLen(source, SysStringLen(source));
}

// Code page 0: the length is asked first (with the terminator), then a BSTR
// of that length minus one is filled.
BSTR FromNarrow(const char* text) {
    if (text == nullptr) {
        return nullptr;
    }
    int length = MultiByteToWideChar(0, 0, text, -1, nullptr, 0);
    if (length <= 0) {
        return nullptr;
    }
    BSTR result = SysAllocStringLen(nullptr, static_cast<UINT>(length - 1));
    if (result != nullptr) {
        MultiByteToWideChar(0, 0, text, -1, result, length);
    }
    return result;
}

// Appends `added` (length `addedLength`) to *text; on a failed allocation
// *text keeps its previous value.
void Append(BSTR* text, const wchar_t* added, UINT addedLength) {
    UINT oldLength = SysStringLen(*text);
    BSTR joined = SysAllocStringLen(nullptr, oldLength + addedLength);
    if (joined == nullptr) {
        return;
    }
    if (oldLength != 0) {
        std::wmemcpy(joined, *text, oldLength);
    }
    if (addedLength != 0) {
        std::wmemcpy(joined + oldLength, added, addedLength);
    }
    joined[oldLength + addedLength] = L'\0';
    SysFreeString(*text);
    *text = joined;
}
} // namespace

CBStringMapEntry::CBStringMapEntry() : m_bstrDisplayName(nullptr), m_bstrValue(nullptr) {}

CBStringMapEntry::CBStringMapEntry(const CComBSTR& displayName, const CComBSTR& value)
    : m_bstrDisplayName(CopyExact(displayName.m_str)), m_bstrValue(CopyExact(value.m_str)) {}

CBStringMapEntry::CBStringMapEntry(const char* displayName, const char* value)
    : m_bstrDisplayName(FromNarrow(displayName)), m_bstrValue(FromNarrow(value)) {}

CBStringMapEntry::CBStringMapEntry(const CBStringMapEntry& other)
    : m_bstrDisplayName(CopyExact(other.m_bstrDisplayName)),
      m_bstrValue(CopyExact(other.m_bstrValue)) {}

CBStringMapEntry::~CBStringMapEntry() {
    SysFreeString(m_bstrValue);
    SysFreeString(m_bstrDisplayName);
}

CBStringMapEntry& CBStringMapEntry::operator=(const CBStringMapEntry& other) {
    if (this == &other) {
        return *this;
    }
    if (m_bstrDisplayName != other.m_bstrDisplayName) {
        SysFreeString(m_bstrDisplayName);
        m_bstrDisplayName = CopyExact(other.m_bstrDisplayName);
    }
    if (m_bstrValue != other.m_bstrValue) {
        SysFreeString(m_bstrValue);
        m_bstrValue = CopyExact(other.m_bstrValue);
    }
    return *this;
}

void CBStringMapEntry::Concat(CBStringMapEntry other, wchar_t* displaySeparator,
                              wchar_t* valueSeparator) {
    Append(&m_bstrDisplayName, displaySeparator, SysStringLen(displaySeparator));
    Append(&m_bstrDisplayName, other.m_bstrDisplayName, SysStringLen(other.m_bstrDisplayName));
    Append(&m_bstrValue, valueSeparator, SysStringLen(valueSeparator));
    Append(&m_bstrValue, other.m_bstrValue, SysStringLen(other.m_bstrValue));
}

int CBStringMapEntry::CompareDisplayNames(const CBStringMapEntry& other) const {
    if (m_bstrDisplayName == nullptr) {
        return other.m_bstrDisplayName == nullptr ? 0 : -1;
    }
    if (other.m_bstrDisplayName == nullptr) {
        return 1;
    }
    int result = std::wcscmp(m_bstrDisplayName, other.m_bstrDisplayName);
    return result < 0 ? -1 : (result > 0 ? 1 : 0);
}

} // namespace KxTamarind
