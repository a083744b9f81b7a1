// CKxStringList: an ordered, index-addressed list of owned CKxString
// elements, and KXStringListConv, which moves a list to and from a plain
// array of BSTRs as COM-style interfaces pass them.
//
// The list is written directly for CKxString elements: no generic
// accessor container is involved. Each slot holds a heap CKxString owned by
// the list; indexes run from 0 to GetSize() - 1 without gaps (a slot never
// holds a null pointer; an "empty" slot holds a null string).
//
// Errors: operator[] with an index that has no element, and operator+= of a
// list with such an element, raise "pData == NULL" (E_POINTER) through
// ThrowError, which throws a heap `CErrorObject*` that the catcher owns.
//
// Thread safety: none; share one list between threads only under a lock.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include <vector>

#include "CKxString.h"

namespace KxTamarind {

class KXTAMARIND_API CKxStringList {
public:
    CKxStringList() = default;
    // Copies of the other list's elements.
    CKxStringList(const CKxStringList& other);
    CKxStringList& operator=(const CKxStringList& other);
    CKxStringList(CKxStringList&& other) noexcept;
    CKxStringList& operator=(CKxStringList&& other) noexcept;
    // Deletes every element.
    ~CKxStringList();

    // Deletes every element and empties the list.
    void Clear();

    unsigned int GetSize() const { return static_cast<unsigned int>(m_elements.size()); }
    unsigned int getElementCount() const { return GetSize(); }

    // The element, or null when the index is not below the size. The
    // pointer stays owned by the list.
    CKxString* At(unsigned int index) const;
    CKxString* GetPointedData(unsigned int index) const { return At(index); }
    // The element; an index without element raises "pData == NULL",
    // E_POINTER.
    CKxString& operator[](unsigned int index) const;

    // Append a new null string; return it / its index.
    CKxString* CreateAndAppendData();
    unsigned int AppendData();
    // Insert a new null string at `index` (index == size appends); null and
    // no change when index > size.
    CKxString* CreateAndInsertData(unsigned int index);
    // Append a copy; returns the new element's index (size - 1).
    unsigned int AppendDataByCopy(const CKxString& value);
    // Store a copy at `index`, first growing the list with null strings to
    // index + 1 elements when needed. Returns true; false, with the list
    // unchanged, when it cannot grow that far: an index of INT_MAX or more
    // (a list holds at most INT_MAX elements, as IndexOf counts in int; an
    // index of -1 arrives as UINT_MAX) or memory exhausted.
    bool SetDataByCopy(const CKxString& value, unsigned int index);
    // Store `element` at `index` (growing as above); the list owns it from
    // then on and deletes the element it replaces. Returns false, owning
    // nothing, for a null pointer, an element that already sits at another
    // index (it would be owned twice) or an index the list cannot grow to.
    bool SetPointedData(CKxString* element, unsigned int index);
    // Copy the element at `index` into `value`; false (value unchanged)
    // when there is none.
    bool GetDataByCopy(CKxString& value, unsigned int index) const;

    // Delete the element with this address (found by pointer) and close the
    // gap; false when it is null or not in the list.
    bool DeleteData(CKxString* element);
    // Delete the element at `index`, moving the later ones down by one;
    // false when the index is not below the size.
    bool DeleteAt(unsigned int index);

    // Append a copy / copies of all elements of `other` in order (a list may
    // be appended to itself).
    CKxStringList& operator+=(const CKxString& value);
    CKxStringList& operator+=(const CKxStringList& other);

    // First index whose element is equal by operator== (a null string only
    // matches a null element), or -1.
    int IndexOf(const CKxString& value) const;

private:
    // Split reserves room for its pieces up front.
    friend class CKxString;

    std::vector<CKxString*> m_elements;
};

// Clears `list` and appends `count` elements, the i-th assigned from
// source[i] as a wide string up to its terminator (a null entry gives a null
// element). A count below 1 appends nothing. A null `source` with a positive
// count appends nothing and is reported as a repaired error "pbsSource !=
// NULL", E_POINTER.
KXTAMARIND_API void KXStringListConv(CKxStringList& list, BSTR* source, long count);

// Writes a new BSTR copy of each of the first `count` elements to
// destination[0..count-1]; the caller owns and frees them (the old array
// content is overwritten, not freed). Raises
// "kxSourceList.GetSize() >= static_cast<unsigned long>( iElementCount )"
// (E_KX_HRESULT_ASSERT_FAILED) when the list is shorter than `count`, then
// "pbsDest != NULL" (E_POINTER) for a null destination. A count below 0 is
// taken as 0.
KXTAMARIND_API void KXStringListConv(BSTR* destination, const CKxStringList& list, long count);

} // namespace KxTamarind
