// Property look-up by dispatch id, and the referenced-object map.
#include "CPropertyLookup.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "CCoClassData.h"
#include "CErrorObject.h"
#include "CObjectData.h"
#include "KxErrorReporting.h"
#include "KxLayoutChecks.h" // checked wherever the library is built
#include "KxResultCodes.h"

namespace KxTamarind {

namespace {

// The reports of this unit belong to the component management base.
const char kSource[] = "Base/Interfaces/_Src/CBComponentManagement";

// The three table kinds; they differ in record layout, and inside union maps
// nested maps are entered without the cycle guard.
enum class TableKind { Extended, Property, Union };

void AppendBstr(std::wstring& text, const BSTR value) {
    if (value != nullptr) {
        text.append(value, SysStringLen(value));
    }
}

std::string ToNarrow(const std::wstring& text) {
    const int needed =
        WideCharToMultiByte(CP_ACP, 0, text.c_str(), -1, nullptr, 0, nullptr, nullptr);
    if (needed <= 1) {
        return std::string();
    }
    std::string narrow(static_cast<size_t>(needed), '\0');
    WideCharToMultiByte(CP_ACP, 0, text.c_str(), -1, &narrow[0], needed, nullptr, nullptr);
    narrow.resize(static_cast<size_t>(needed - 1));
    return narrow;
}

} // namespace

// The search as a loop over an explicit stack of tables. Each frame is one
// table being searched, at one entry and one step of that entry; finishing a
// sub-map resumes its parent at the step after the descent. The work done
// and its order are those of the recursive depth-first search, step for
// step.
class CPropertyLookup::MapSearch {
public:
    MapSearch(CPropertyLookup& owner, long dispId, std::list<long>& searchList)
        : m_owner(owner), m_dispId(dispId), m_list(searchList) {}

    // Searches `table` (a non-null table of `kind`) and everything below it.
    tagPropertyEntry* Run(TableKind kind, std::uintptr_t getter, void* table) {
        const std::list<long> givenList = m_list; // restored if the search is abandoned
        Push(kind, getter, table);
        while (!m_stack.empty()) {
            if (m_abandoned) {
                m_list = givenList;
                return nullptr;
            }
            Frame& top = m_stack.back();
            tagPropertyEntry& entry = EntryOf(top);
            switch (top.step) {
            case Step::Match:
                if (entry.m_lMarker == 0) {
                    FinishTable();
                } else if (entry.m_lDispId == m_dispId) {
                    return Unwind(&entry);
                } else {
                    top.step = Step::Union;
                }
                break;
            case Step::Union:
                top.step = Step::Nested;
                if (entry.m_pfnUnionMap != nullptr && Add(top, entry.m_lDispId)) {
                    top.step = Step::AfterUnion;
                    EnterUnionMap(entry.m_pfnUnionMap); // may push: `top` is stale after it
                }
                break;
            case Step::AfterUnion:
                Remove(top, entry.m_lDispId);
                top.step = Step::Nested;
                break;
            case Step::Nested:
                top.step = Step::Next;
                // Inside a union map the nested map is entered unguarded, yet
                // the entry's id is removed all the same (see the header).
                if (entry.m_pfnNestedMap != nullptr &&
                    (top.kind == TableKind::Union || Add(top, entry.m_lDispId))) {
                    top.step = Step::AfterNested;
                    EnterNestedMap(entry.m_pfnNestedMap); // may push
                }
                break;
            case Step::AfterNested:
                Remove(top, entry.m_lDispId);
                top.step = Step::Next;
                break;
            case Step::Next:
                ++top.index;
                top.step = Step::Match;
                break;
            }
        }
        return nullptr;
    }

private:
    // What is left to do for the current entry of a table.
    enum class Step { Match, Union, AfterUnion, Nested, AfterNested, Next };

    struct Frame {
        TableKind kind;
        std::uintptr_t getter; // the getter that gave the table; 0 for the component's own
        void* table;
        std::size_t index;
        Step step;
        // Net change of the search list since this table was entered, per id
        // (its own steps and those of the sub-maps it finished).
        std::vector<std::pair<long, int>> moved;
    };

    static tagPropertyEntry& EntryOf(const Frame& frame) {
        switch (frame.kind) {
        case TableKind::Extended:
            return static_cast<ExtendedPropertyMapEntry*>(frame.table)[frame.index].m_Property;
        case TableKind::Union:
            return static_cast<tagUnionMapEntry*>(frame.table)[frame.index].m_Property;
        case TableKind::Property:
            break;
        }
        return static_cast<tagPropertyEntry*>(frame.table)[frame.index];
    }

    static void Move(std::vector<std::pair<long, int>>& moved, long dispId, int count) {
        for (auto it = moved.begin(); it != moved.end(); ++it) {
            if (it->first == dispId) {
                it->second += count;
                if (it->second == 0) {
                    moved.erase(it);
                }
                return;
            }
        }
        moved.emplace_back(dispId, count);
    }

    bool Add(Frame& frame, long dispId) {
        if (!AddToDispIDSearchList(dispId, m_list)) {
            return false;
        }
        Move(frame.moved, dispId, 1);
        return true;
    }

    void Remove(Frame& frame, long dispId) {
        const std::size_t before = m_list.size();
        RemoveFromDispIDSearchList(dispId, m_list);
        if (m_list.size() != before) {
            Move(frame.moved, dispId, -1);
        }
    }

    void Push(TableKind kind, std::uintptr_t getter, void* table) {
        m_stack.push_back(Frame{kind, getter, table, 0, Step::Match, {}});
    }

    // The table is done without a match: its parent resumes after the descent.
    void FinishTable() {
        std::vector<std::pair<long, int>> moved = std::move(m_stack.back().moved);
        m_stack.pop_back();
        if (!m_stack.empty()) {
            for (const auto& change : moved) {
                Move(m_stack.back().moved, change.first, change.second);
            }
        }
    }

    // A match ends the whole search; every enclosing level still takes the id
    // of the entry it descended through out of the list, innermost first.
    tagPropertyEntry* Unwind(tagPropertyEntry* found) {
        m_stack.pop_back();
        while (!m_stack.empty()) {
            Frame& parent = m_stack.back();
            Remove(parent, EntryOf(parent).m_lDispId);
            m_stack.pop_back();
        }
        return found;
    }

    void EnterUnionMap(UnionMapGetter getUnionMap) {
        const std::uintptr_t getter = reinterpret_cast<std::uintptr_t>(getUnionMap);
        if (RepeatsEnclosingSearch(TableKind::Union, getter)) {
            Abandon();
            return;
        }
        if (tagUnionMapEntry* table = m_owner.CallUnionMapGetter(getUnionMap)) {
            Push(TableKind::Union, getter, table);
        }
    }

    void EnterNestedMap(NestedMapAccessor accessor) {
        const tagNestedMapData* nested = accessor();
        if (nested == nullptr || nested->m_pfnGetPropertyMap == nullptr) {
            return;
        }
        const std::uintptr_t getter = reinterpret_cast<std::uintptr_t>(nested->m_pfnGetPropertyMap);
        if (RepeatsEnclosingSearch(TableKind::Property, getter)) {
            Abandon();
            return;
        }
        GUID mapGuid = GUID_NULL;
        if (tagPropertyEntry* table = nested->m_pfnGetPropertyMap(&mapGuid)) {
            Push(TableKind::Property, getter, table);
        }
    }

    // True when the table of `getter` is already being searched and was
    // entered with the search list as it is now (as a multiset): the search
    // would then repeat itself without end.
    bool RepeatsEnclosingSearch(TableKind kind, std::uintptr_t getter) const {
        const auto sameTable = [kind, getter](const Frame& frame) {
            return frame.getter == getter && frame.kind == kind;
        };
        if (std::none_of(m_stack.begin(), m_stack.end(), sameTable)) {
            return false;
        }
        // Walk outwards, summing the changes made since each level began.
        std::map<long, int> since;
        std::size_t changed = 0;
        for (auto frame = m_stack.rbegin(); frame != m_stack.rend(); ++frame) {
            for (const auto& change : frame->moved) {
                int& count = since[change.first];
                changed -= count != 0 ? 1 : 0;
                count += change.second;
                changed += count != 0 ? 1 : 0;
            }
            if (changed == 0 && sameTable(*frame)) {
                return true;
            }
        }
        return false;
    }

    void Abandon() {
        m_abandoned = true;
        m_owner.ReportRepaired(
            "false", L"property maps lead into themselves without end, search abandoned", __LINE__);
    }

    CPropertyLookup& m_owner;
    const long m_dispId;
    std::list<long>& m_list;
    std::vector<Frame> m_stack;
    bool m_abandoned = false;
};

tagPropertyEntry* CPropertyLookup::FindProperty(long dispId) {
    std::list<long> searchList;
    ExtendedPropertyMapEntry* table = GetExtendedPropertyMap();
    if (table == nullptr) {
        return nullptr;
    }
    return MapSearch(*this, dispId, searchList).Run(TableKind::Extended, 0, table);
}

tagPropertyEntry* CPropertyLookup::FindProperty(long dispId, PropertyMapGetter getMap,
                                                std::list<long>& searchList) {
    if (getMap == nullptr) {
        return nullptr;
    }
    GUID mapGuid = GUID_NULL;
    tagPropertyEntry* table = getMap(&mapGuid);
    if (table == nullptr) {
        return nullptr;
    }
    return MapSearch(*this, dispId, searchList)
        .Run(TableKind::Property, reinterpret_cast<std::uintptr_t>(getMap), table);
}

tagPropertyEntry* CPropertyLookup::FindProperty(long dispId, UnionMapGetter getUnionMap,
                                                std::list<long>& searchList) {
    if (getUnionMap == nullptr) {
        return nullptr;
    }
    tagUnionMapEntry* table = CallUnionMapGetter(getUnionMap);
    if (table == nullptr) {
        return nullptr;
    }
    return MapSearch(*this, dispId, searchList)
        .Run(TableKind::Union, reinterpret_cast<std::uintptr_t>(getUnionMap), table);
}

tagUnionMapEntry* CPropertyLookup::CallUnionMapGetter(UnionMapGetter getUnionMap) {
    GUID mapGuid = GUID_NULL;
    EnumMapFunction enumFunction = nullptr;
    try {
        return getUnionMap(&mapGuid, &enumFunction);
    } catch (CErrorObject* error) {
        // A raised error record belongs to its catcher: do not leak it.
        delete error;
    } catch (...) {
    }
    ReportRepaired("false", L"exception when calling union map function", __LINE__);
    return nullptr;
}

void CPropertyLookup::ReportRepaired(const char* condition, const wchar_t* head, int line) const {
    // Plain concatenation: no break between the head and "Component: ".
    std::wstring message(head);
    message += L"Component: ";
    const CCoClassData* classData = GetCoClassData();
    if (classData != nullptr && classData->m_pbstrDescription != nullptr) {
        AppendBstr(message, *classData->m_pbstrDescription);
    }
    message += L"\nObjectName: ";
    const CObjectData* objectData = GetObjectData();
    GUID objectGuid = GUID_NULL;
    if (objectData != nullptr) {
        AppendBstr(message, objectData->m_bstrObjectName);
        objectGuid = objectData->ObjectGuid;
    }
    message += L"\nGuid: ";
    LPOLESTR guidText = nullptr;
    if (SUCCEEDED(StringFromCLSID(objectGuid, &guidText)) && guidText != nullptr) {
        message += guidText;
    }
    CoTaskMemFree(guidText);
    message += L"\n";
    RepairError(condition, kSource, KX_SOURCE_TIMESTAMP, line, this, nullptr, nullptr,
                ToNarrow(message).c_str(), E_KX_HRESULT_ASSERT_REPAIRED, nullptr);
}

bool CPropertyLookup::AddToDispIDSearchList(long dispId, std::list<long>& searchList) {
    for (long listed : searchList) {
        if (listed == dispId) {
            return false;
        }
    }
    searchList.push_back(dispId);
    return true;
}

void CPropertyLookup::RemoveFromDispIDSearchList(long dispId, std::list<long>& searchList) {
    for (auto it = searchList.begin(); it != searchList.end(); ++it) {
        if (*it == dispId) {
            searchList.erase(it);
            return;
        }
    }
}

ReferencedObjectMap& GetReferencedObjectMap() {
    // Built on first use, so no initialisation order between units matters.
    static ReferencedObjectMap s_referencedObjects;
    return s_referencedObjects;
}

void ClearReferencedObjectMap() {
    ReferencedObjectMap& map = GetReferencedObjectMap();
    if (!map.empty()) {
        map.clear();
    }
}

} // namespace KxTamarind
