// CPropertyLookup: finds the property record of a dispatch id in a
// component's property tables, and the process-wide referenced-object map.
//
// A component mixes this class in beside its other base implementations
// (it shares the virtual base CObjectDataReferenceBase, from which it reads
// the component's ExtendedPropertyMapEntry table, its class data and its
// object data):
//
//     class CBComponentManagement : public IKXComponentManagement,
//                                   public CObjectDataReference,
//                                   public CPropertyLookup { ... };
//
// The search is depth-first through the component's own table and every
// property map and union map reachable from it, in table order:
// - an entry whose dispatch id matches is returned at once, before any of
//   its sub-maps is looked at;
// - otherwise its union map, then its nested property map are searched; a
//   match there wins over any later entry.
// A sub-map is entered only when the dispatch id of the entry leading to it
// can be added to the search list (the ids whose sub-maps are being searched
// right now), so tables that reach each other do not loop. One exception is
// kept on purpose, because component tables rely on the exact order: inside
// a union map, an entry's nested property map is searched without adding the
// entry's id, and the id is still removed afterwards, which can take out an
// equal id that an outer level added.
//
// Nesting depth costs no thread stack: the tables still being searched are
// kept on the heap, so a chain of any length is searched whole, also on a
// thread with a small stack.
//
// The union-map exception above can take out the very id that guards a way
// back, so tables can lead a search into itself without end. That happens
// exactly when a sub-map is about to be entered with the same search list
// (as a multiset of ids) that an enclosing search of the same map started
// with: the inner search would repeat the outer one step for step. There the
// search is abandoned: it answers null, leaves the caller's search list as
// it was given, and reports one repaired error naming the component. Up to
// that point it has done exactly the work of the depth-first order above;
// on tables where no search repeats itself, results and the list are
// exactly those of that order.
//
// Failures: a union-map getter that throws is reported as a repaired error
// (RepairError, E_KX_HRESULT_ASSERT_REPAIRED) naming the component, and its
// union map counts as not found. A getter or accessor that yields null counts
// as an empty table. A property-map getter or nested-map accessor that throws
// lets the exception through; ids added on the way stay in the list.
//
// Thread safety: the tables are read-only, and the search list belongs to the
// outermost call, so searches may run on several threads at once.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include <list>
#include <unordered_map>

#include "CObjectDataReferenceBase.h"
#include "KxPropertyMap.h"

namespace KxTamarind {

class KXTAMARIND_API CPropertyLookup : public virtual CObjectDataReferenceBase {
public:
    // Searches the component's own table with a fresh search list. Null when
    // the id is not found or the component has no table.
    tagPropertyEntry* FindProperty(long dispId);
    // Searches the property map `getMap` returns (null getter: not found).
    tagPropertyEntry* FindProperty(long dispId, PropertyMapGetter getMap,
                                   std::list<long>& searchList);
    // Searches the union map `getUnionMap` returns; a match yields the
    // embedded property entry (null getter: not found).
    tagPropertyEntry* FindProperty(long dispId, UnionMapGetter getUnionMap,
                                   std::list<long>& searchList);

    // Appends `dispId` and returns true, unless it is already in the list:
    // then returns false and changes nothing.
    static bool AddToDispIDSearchList(long dispId, std::list<long>& searchList);
    // Removes the first element equal to `dispId`, if there is one.
    static void RemoveFromDispIDSearchList(long dispId, std::list<long>& searchList);

private:
    // One search from one table down through everything reachable from it
    // (defined in the source file).
    class MapSearch;

    // Calls a union-map getter; reports a throwing one and yields null.
    tagUnionMapEntry* CallUnionMapGetter(UnionMapGetter getUnionMap);
    // Reports a repaired error: `head` followed by the component's class
    // name, object name and object GUID.
    void ReportRepaired(const char* condition, const wchar_t* head, int line) const;
};

// The process-wide referenced-object map: object id to the ids it references.
// Not locked: callers serialise all access (it is used on the component
// shell's thread).
typedef std::unordered_map<long, std::list<long>> ReferencedObjectMap;
KXTAMARIND_API ReferencedObjectMap& GetReferencedObjectMap();
// Removes all elements of the referenced-object map.
KXTAMARIND_API void ClearReferencedObjectMap();

} // namespace KxTamarind
