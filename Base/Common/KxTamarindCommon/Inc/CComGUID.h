// CComGUID: a value class around one GUID with its text forms.
//
// The text form is "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" in upper case.
// Ordering (operator<) compares the 16 bytes in storage order as unsigned
// bytes, like CStlExtensions::LessGuid; it is not the order of the texts.
// A plain value: copy freely; one object is not safe to change from two
// threads at once.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include <string>

namespace KxTamarind {

class KXTAMARIND_API CComGUID {
public:
    CComGUID() : m_guid(GUID_NULL) {}
    CComGUID(const GUID& guid) : m_guid(guid) {}
    CComGUID(const CComGUID& other) = default;
    CComGUID& operator=(const CComGUID& other) = default;
    CComGUID& operator=(const GUID& guid) {
        m_guid = guid;
        return *this;
    }

    // The braced upper-case text (empty when the platform cannot format it).
    std::string ToString() const;
    // Accepts the 36-character form, upper or lower case, with or without
    // braces and surrounding blanks: after trimming blanks and braces from
    // both ends, exactly 36 characters with "-" at positions 8, 13, 18 and 23
    // and a hexadecimal digit everywhere else. True and the new value on
    // success; false and the object unchanged otherwise.
    bool FromString(std::string text);
    // A new random identifier (CoCreateGuid); its result is returned and the
    // object is unchanged on failure.
    HRESULT Create();
    void Empty() { m_guid = GUID_NULL; }
    bool IsNull() const;

    bool operator==(const CComGUID& other) const;
    bool operator!=(const CComGUID& other) const { return !(*this == other); }
    bool operator==(const GUID& other) const;
    bool operator!=(const GUID& other) const { return !(*this == other); }
    bool operator<(const CComGUID& other) const;

    operator GUID() const { return m_guid; }
    // The size of an identifier in bytes: always 16.
    operator unsigned int() const { return sizeof(GUID); }
    // The member's address, for out-parameters (use std::addressof for the
    // object's own address).
    GUID* operator&() { return &m_guid; }
    const GUID* operator&() const { return &m_guid; }

private:
    GUID m_guid;
};

inline bool operator==(const GUID& a, const CComGUID& b) {
    return b == a;
}
inline bool operator!=(const GUID& a, const CComGUID& b) {
    return b != a;
}

} // namespace KxTamarind
