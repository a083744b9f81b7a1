// CBStringMap: the ordered list of display-name/value pairs that describes
// the choices of a parameter, and BuildFactorial, which combines two maps
// into all pairs of their entries (a choice made of two independent parts
// offered as one list).
//
// Entries keep insertion order; duplicates are allowed and nothing is
// sorted. The map owns its entries. Not synchronised. Allocation failures of
// entries throw std::bad_alloc and leave the map as it was (Add of a map,
// BuildFactorial's temporaries are destroyed).
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include <list>

#include "CBStringMapEntry.h"

namespace KxTamarind {

class KXTAMARIND_API CBStringMap {
public:
    typedef std::list<CBStringMapEntry> entries;
    typedef entries::const_iterator const_iterator;

    CBStringMap();
    CBStringMap(const CBStringMap& other);
    virtual ~CBStringMap();

    // APPENDS copies of other's entries after the existing ones (no clear
    // first); assignment to itself does nothing. Existing callers rely on
    // this appending behaviour.
    virtual CBStringMap& operator=(CBStringMap& other);
    // Removes and destroys every entry.
    virtual void Clear();
    // Clear() through the virtual table.
    virtual void Destroy();

    // Appends a copy (nothing for a null entry).
    void Add(const CBStringMapEntry* entry);
    void Add(const CComBSTR& displayName, const CComBSTR& value);
    void Add(const char* displayName, const char* value);
    // Appends copies of all of other's entries in one step: a failure part
    // way leaves this map unchanged.
    void Add(const CBStringMap& other);

    // Empty map: false. A null name is valid if an entry has a null display
    // name; else valid if an entry's display name equals it (wcscmp).
    bool IsValidDisplayName(const CComBSTR& name) const;
    // The same on the values.
    bool IsValidValue(const CComBSTR& value) const;

    // Replaces this map by all pairs (a, b), a from this map as the outer
    // and b from `other` as the inner index, each a's texts joined with b's
    // by the separators (BSTRs, see CBStringMapEntry::Concat). An empty
    // `other` (or an empty map) gives an empty map. `other` may be this map.
    void BuildFactorial(CBStringMap& other, wchar_t* displaySeparator, wchar_t* valueSeparator);

    std::size_t GetCount() const { return m_Entries.size(); }
    const_iterator begin() const { return m_Entries.begin(); }
    const_iterator end() const { return m_Entries.end(); }

private:
    template <class Match>
    bool AnyEntry(Match match) const;

    entries m_Entries;
};

} // namespace KxTamarind
