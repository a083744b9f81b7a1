// CBStringMapEntry: one pair of a display-name/value string map: the text
// shown to the user and the value used internally.
//
// Owns both BSTRs (either may be null); copies are length-exact. Not
// synchronised.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

namespace KxTamarind {

class KXTAMARIND_API CBStringMapEntry {
public:
    CBStringMapEntry();
    // Length-exact copies; null strings stay null.
    CBStringMapEntry(const CComBSTR& displayName, const CComBSTR& value);
    // Narrow texts converted with the platform's code page 0; null stays null.
    CBStringMapEntry(const char* displayName, const char* value);
    CBStringMapEntry(const CBStringMapEntry& other);
    // Frees the value, then the display name.
    virtual ~CBStringMapEntry();

    // Copies each string only when the two BSTR pointers differ.
    CBStringMapEntry& operator=(const CBStringMapEntry& other);

    // In place: display name += displaySeparator + other's display name;
    // value += valueSeparator + other's value. The separators' lengths are
    // read from their BSTR prefix, so pass BSTRs (null counts as empty). A
    // failed allocation skips that append and keeps the previous text.
    void Concat(CBStringMapEntry other, wchar_t* displaySeparator, wchar_t* valueSeparator);
    // 0 if both display names are null or equal; a null one sorts first;
    // otherwise -1 or 1 by wcscmp (case-sensitive, by code point).
    int CompareDisplayNames(const CBStringMapEntry& other) const;

    BSTR GetDisplayName() const { return m_bstrDisplayName; }
    BSTR GetValue() const { return m_bstrValue; }

private:
    BSTR m_bstrDisplayName;
    BSTR m_bstrValue;
};

} // namespace KxTamarind
