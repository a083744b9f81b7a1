// KxPropertyMap: the static property tables a component describes its
// properties with, and the function types that lead from one table to the
// next.
//
// Three record kinds: tagPropertyEntry (one property), tagUnionMapEntry (one
// alternative of a union map) and ExtendedPropertyMapEntry (one entry of the
// component's own, top-level table). Every field is 32 bits wide on the
// 32-bit target; the field order is a binary contract with tables built into
// separately compiled components. A table ends with an entry whose marker
// (first field of the property part) is zero.
//
// Only the marker, the dispatch id, the nested-map accessor and the union-map
// getter are read by this library (CPropertyLookup); the other fields belong
// to the property machinery of the concrete components and are carried
// unchanged. The tables are read-only after start-up and may be read from any
// thread.
#pragma once

#include <platcompat.h>

namespace KxTamarind {

struct tagPropertyEntry;
struct tagUnionMapEntry;
// Owned by the enumeration machinery of the components; only passed through.
struct tagEnumMapEntry;
class CPropertyHelper;

// Returns the first entry of a property map and writes the map's GUID into
// `pOut`.
typedef tagPropertyEntry* (*PropertyMapGetter)(GUID* pOut);

// The enumeration function a union map comes with.
typedef tagEnumMapEntry* (*EnumMapFunction)(tagEnumMapEntry*, void*, bool*, CPropertyHelper*);

// Returns the first entry of a union map and writes the map's GUID and its
// enumeration function into the out arguments. Callers set `*ppEnumFunction`
// to null before the call.
typedef tagUnionMapEntry* (*UnionMapGetter)(GUID* pOut, EnumMapFunction* ppEnumFunction);

// What a nested-map accessor returns: a record whose first member is the
// getter of the nested property map. Only that member is read here.
struct tagNestedMapData {
    PropertyMapGetter m_pfnGetPropertyMap;
};

// Leads from an entry to its nested property map (null: no nested map).
typedef const tagNestedMapData* (*NestedMapAccessor)();

// One property (16 fields).
struct tagPropertyEntry {
    long m_lMarker;                   // 1: non-zero for a valid entry, zero ends the table
    long m_lDispId;                   // 2: dispatch id
    long m_lField3;                   // 3 to 9: property machinery
    long m_lField4;                   //
    long m_lField5;                   //
    long m_lField6;                   //
    long m_lField7;                   //
    long m_lField8;                   //
    long m_lField9;                   //
    NestedMapAccessor m_pfnNestedMap; // 10: nested property map, or null
    long m_lField11;                  // 11: property machinery
    UnionMapGetter m_pfnUnionMap;     // 12: union map, or null
    long m_lField13;                  // 13 to 16: property machinery
    long m_lField14;                  //
    long m_lField15;                  //
    long m_lField16;                  //
};

// One alternative of a union map (17 fields). The table ends where the
// embedded entry's marker is zero; a look-up yields &m_Property.
struct tagUnionMapEntry {
    long m_lField1; // enumeration machinery, not read here
    tagPropertyEntry m_Property;
};

// One entry of a component's own property table (21 fields): the property
// followed by five fields of the property machinery.
struct ExtendedPropertyMapEntry {
    tagPropertyEntry m_Property;
    long m_lField17;
    long m_lField18;
    long m_lField19;
    long m_lField20;
    long m_lField21;
};

// The layouts above are binding on the 32-bit target, where long and every
// pointer are 4 bytes: check them there.
#if defined(__i386__)
static_assert(sizeof(tagPropertyEntry) == 64, "tagPropertyEntry: 16 fields of 32 bits");
static_assert(sizeof(tagUnionMapEntry) == 68, "tagUnionMapEntry: 17 fields of 32 bits");
static_assert(sizeof(ExtendedPropertyMapEntry) == 84,
              "ExtendedPropertyMapEntry: 21 fields of 32 bits");
#endif
// On every target each field is one machine word, so the relative layout holds.
static_assert(sizeof(tagPropertyEntry) == 16 * sizeof(long), "16 word-sized fields");
static_assert(sizeof(tagUnionMapEntry) == sizeof(long) + sizeof(tagPropertyEntry),
              "marker field + embedded entry");
static_assert(sizeof(ExtendedPropertyMapEntry) == sizeof(tagPropertyEntry) + 5 * sizeof(long),
              "embedded entry + five fields");

} // namespace KxTamarind
