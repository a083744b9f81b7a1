// The display-name/value string map; see CBStringMap.h.
#include "CBStringMap.h"

#include <cwchar>

namespace KxTamarind {

namespace {
// Null-aware equality of the lookups: a null key matches a null text only.
bool TextMatches(BSTR text, BSTR key) {
    if (key == nullptr) {
        return text == nullptr;
    }
    return text != nullptr && std::wcscmp(text, key) == 0;
}
} // namespace

CBStringMap::CBStringMap() = default;

CBStringMap::CBStringMap(const CBStringMap& other) : m_Entries(other.m_Entries) {}

CBStringMap::~CBStringMap() = default;

CBStringMap& CBStringMap::operator=(CBStringMap& other) {
    if (this != &other) {
        Add(other);
    }
    return *this;
}

void CBStringMap::Clear() {
    m_Entries.clear();
}

void CBStringMap::Destroy() {
    Clear();
}

void CBStringMap::Add(const CBStringMapEntry* entry) {
    if (entry != nullptr) {
        m_Entries.push_back(*entry);
    }
}

void CBStringMap::Add(const CComBSTR& displayName, const CComBSTR& value) {
    m_Entries.emplace_back(displayName, value);
}

void CBStringMap::Add(const char* displayName, const char* value) {
    m_Entries.emplace_back(displayName, value);
}

void CBStringMap::Add(const CBStringMap& other) {
    entries copies(other.m_Entries); // a failure here leaves this map unchanged
    m_Entries.splice(m_Entries.end(), copies);
}

template <class Match>
bool CBStringMap::AnyEntry(Match match) const {
    for (const CBStringMapEntry& entry : m_Entries) {
        if (match(entry)) {
            return true;
        }
    }
    return false;
}

bool CBStringMap::IsValidDisplayName(const CComBSTR& name) const {
    return AnyEntry([&](const CBStringMapEntry& entry) {
        return TextMatches(entry.GetDisplayName(), name.m_str);
    });
}

bool CBStringMap::IsValidValue(const CComBSTR& value) const {
    return AnyEntry(
        [&](const CBStringMapEntry& entry) { return TextMatches(entry.GetValue(), value.m_str); });
}

void CBStringMap::BuildFactorial(CBStringMap& other, wchar_t* displaySeparator,
                                 wchar_t* valueSeparator) {
    // Combining a map with itself pairs it with its entries before the call.
    entries inner;
    if (&other == this) {
        inner = m_Entries;
    }
    const entries& right = (&other == this) ? inner : other.m_Entries;
    entries outer;
    outer.swap(m_Entries); // this map is now empty
    entries result;
    try {
        for (const CBStringMapEntry& a : outer) {
            for (const CBStringMapEntry& b : right) {
                result.push_back(a);
                result.back().Concat(b, displaySeparator, valueSeparator);
            }
        }
    } catch (...) {
        m_Entries.swap(outer); // keep the map as it was
        throw;
    }
    m_Entries.swap(result);
}

} // namespace KxTamarind
