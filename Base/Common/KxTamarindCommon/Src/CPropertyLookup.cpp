// Property look-up by dispatch id, and the referenced-object map.
#include "CPropertyLookup.h"

#include <string>

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

// Nesting state of the search running on this thread. The outermost level
// clears `aborted`; once the depth limit is hit every level unwinds with null
// so that sibling entries do not start new descents.
struct SearchDepth {
    int depth = 0;
    bool aborted = false;
};
thread_local SearchDepth t_searchDepth;

class DepthScope {
public:
    DepthScope() {
        if (t_searchDepth.depth == 0) {
            t_searchDepth.aborted = false;
        }
        ++t_searchDepth.depth;
    }
    ~DepthScope() { --t_searchDepth.depth; }
    DepthScope(const DepthScope&) = delete;
    DepthScope& operator=(const DepthScope&) = delete;

    // Nested sub-map levels, the component's own table not counted.
    static int Levels() { return t_searchDepth.depth - 1; }
    static bool Aborted() { return t_searchDepth.aborted; }
    static void Abort() { t_searchDepth.aborted = true; }
};

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

tagPropertyEntry* CPropertyLookup::FindProperty(long dispId) {
    DepthScope scope;
    std::list<long> searchList;
    ExtendedPropertyMapEntry* table = GetExtendedPropertyMap();
    if (table == nullptr) {
        return nullptr;
    }
    for (ExtendedPropertyMapEntry* entry = table; entry->m_Property.m_lMarker != 0; ++entry) {
        tagPropertyEntry* found = SearchEntry(dispId, entry->m_Property, true, searchList);
        if (found != nullptr || DepthScope::Aborted()) {
            return found;
        }
    }
    return nullptr;
}

tagPropertyEntry* CPropertyLookup::FindProperty(long dispId, PropertyMapGetter getMap,
                                                std::list<long>& searchList) {
    DepthScope scope;
    if (getMap == nullptr || DepthScope::Aborted()) {
        return nullptr;
    }
    if (DepthScope::Levels() > kMaxMapNestingDepth) {
        DepthScope::Abort();
        ReportRepaired("nesting depth <= kMaxMapNestingDepth",
                       L"property maps nested too deeply, search abandoned", __LINE__);
        return nullptr;
    }
    GUID mapGuid = GUID_NULL;
    tagPropertyEntry* table = getMap(&mapGuid);
    if (table == nullptr) {
        return nullptr;
    }
    for (tagPropertyEntry* entry = table; entry->m_lMarker != 0; ++entry) {
        tagPropertyEntry* found = SearchEntry(dispId, *entry, true, searchList);
        if (found != nullptr || DepthScope::Aborted()) {
            return found;
        }
    }
    return nullptr;
}

tagPropertyEntry* CPropertyLookup::FindProperty(long dispId, UnionMapGetter getUnionMap,
                                                std::list<long>& searchList) {
    DepthScope scope;
    if (getUnionMap == nullptr || DepthScope::Aborted()) {
        return nullptr;
    }
    if (DepthScope::Levels() > kMaxMapNestingDepth) {
        DepthScope::Abort();
        ReportRepaired("nesting depth <= kMaxMapNestingDepth",
                       L"property maps nested too deeply, search abandoned", __LINE__);
        return nullptr;
    }
    tagUnionMapEntry* table = CallUnionMapGetter(getUnionMap);
    if (table == nullptr) {
        return nullptr;
    }
    for (tagUnionMapEntry* entry = table; entry->m_Property.m_lMarker != 0; ++entry) {
        tagPropertyEntry* found = SearchEntry(dispId, entry->m_Property, false, searchList);
        if (found != nullptr || DepthScope::Aborted()) {
            return found;
        }
    }
    return nullptr;
}

tagPropertyEntry* CPropertyLookup::SearchEntry(long dispId, tagPropertyEntry& entry,
                                               bool guardNested, std::list<long>& searchList) {
    if (entry.m_lDispId == dispId) {
        return &entry;
    }
    if (entry.m_pfnUnionMap != nullptr && AddToDispIDSearchList(entry.m_lDispId, searchList)) {
        tagPropertyEntry* found = FindProperty(dispId, entry.m_pfnUnionMap, searchList);
        RemoveFromDispIDSearchList(entry.m_lDispId, searchList);
        if (found != nullptr) {
            return found;
        }
    }
    if (entry.m_pfnNestedMap != nullptr) {
        // Inside a union map the nested map is entered unguarded, yet the
        // entry's id is removed all the same (see the class overview).
        if (!guardNested || AddToDispIDSearchList(entry.m_lDispId, searchList)) {
            tagPropertyEntry* found = SearchNestedMap(dispId, entry, searchList);
            RemoveFromDispIDSearchList(entry.m_lDispId, searchList);
            if (found != nullptr) {
                return found;
            }
        }
    }
    return nullptr;
}

tagPropertyEntry* CPropertyLookup::SearchNestedMap(long dispId, const tagPropertyEntry& entry,
                                                   std::list<long>& searchList) {
    const tagNestedMapData* nested = entry.m_pfnNestedMap();
    if (nested == nullptr) {
        return nullptr;
    }
    return FindProperty(dispId, nested->m_pfnGetPropertyMap, searchList);
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
