// Property look-up by dispatch id over static tables. The order of the work
// (direct match, union map, nested map, the cycle guard and its exception in
// union maps) is compared with the search written as the plain recursion it
// is defined as, over many generated tables; the other tests cover the
// component's own table, failing getters, deep nesting and the
// referenced-object map.
#include <gtest/gtest.h>

#include <pthread.h>

#include <algorithm>
#include <list>
#include <stdexcept>
#include <string>
#include <vector>

#include "CCoClassData.h"
#include "CObjectData.h"
#include "CPropertyLookup.h"
#include "common/RecordingDeviceCallbacks.h"

using namespace KxTamarind;

namespace {

constexpr tagPropertyEntry Entry(long dispId, NestedMapAccessor nested = nullptr,
                                 UnionMapGetter unionMap = nullptr) {
    return tagPropertyEntry{1, dispId, 0, 0, 0, 0, 0, 0, 0, nested, 0, unionMap, 0, 0, 0, 0};
}
constexpr ExtendedPropertyMapEntry Ext(const tagPropertyEntry& entry) {
    return ExtendedPropertyMapEntry{entry, 0, 0, 0, 0, 0};
}
template <PropertyMapGetter G> // the accessor that leads to G's map
const tagNestedMapData* Access() {
    static const tagNestedMapData data{G};
    return &data;
}

// A component with its class, name and GUID; its reports are recorded.
struct PropertyLookupTest : ::testing::Test, CPropertyLookup {
    PropertyLookupTest() {
        classData.m_pbstrDescription = &description.m_str;
        objectData.m_bstrObjectName = SysAllocString(L"Probe1");
        objectData.ObjectGuid = {0x01234567, 0x89AB, 0xCDEF, {1, 2, 3, 4, 5, 6, 7, 8}};
    }
    void UseTable(ExtendedPropertyMapEntry* table) {
        SetObjectDataReference(&objectData, &classData, table);
    }
    void ExpectReports(size_t count, const char* head) {
        ASSERT_EQ(device.sent.size(), count);
        for (const CErrorObject& error : device.sent) {
            EXPECT_EQ(std::string(error.GetAdditionalInfo().GetString()),
                      std::string(head) + "Component: ProbeClass\nObjectName: Probe1\n"
                                          "Guid: {01234567-89AB-CDEF-0102-030405060708}\n");
            EXPECT_TRUE(error.GetIsRepairedError());
            EXPECT_STREQ(error.GetCondition().GetString(), "false");
            EXPECT_EQ(error.GetErrorCode(), E_KX_HRESULT_ASSERT_REPAIRED);
            EXPECT_STREQ(error.GetFileName().GetString(),
                         "Base/Interfaces/_Src/CBComponentManagement");
        }
    }
    KxTest::RecordingDeviceCallbacks device;
    CComBSTR description{L"ProbeClass"};
    CCoClassData classData{};
    CObjectData objectData{this, &classData, nullptr};
    std::list<long> list{8};
};

// --- Generated tables: kMaps property maps and kUnions union maps whose
// entries carry ids 1..4 and lead to any of the others. Getter calls are
// logged (maps as 0.., union maps as 100..) on threads that set t_log.
constexpr int kMaps = 4, kUnions = 2, kEntries = 3;
tagPropertyEntry g_maps[kMaps][kEntries + 1];
tagUnionMapEntry g_unions[kUnions][kEntries + 1];
thread_local std::vector<int>* t_log = nullptr;
bool g_enumOutWasSet = false;

template <int I>
tagPropertyEntry* GenMap(GUID*) {
    if (t_log != nullptr) {
        t_log->push_back(I);
    }
    return g_maps[I];
}
template <int I>
tagUnionMapEntry* GenUnion(GUID*, EnumMapFunction* ppEnum) {
    if (t_log != nullptr) {
        g_enumOutWasSet |= ppEnum != nullptr && *ppEnum != nullptr; // callers pass it null
        t_log->push_back(100 + I);
    }
    return g_unions[I];
}
const PropertyMapGetter kMapGetters[kMaps] = {GenMap<0>, GenMap<1>, GenMap<2>, GenMap<3>};
const NestedMapAccessor kAccess[kMaps] = {Access<GenMap<0>>, Access<GenMap<1>>, Access<GenMap<2>>,
                                          Access<GenMap<3>>};
const UnionMapGetter kUnionGetters[kUnions] = {GenUnion<0>, GenUnion<1>};

tagPropertyEntry& At(tagPropertyEntry* first, std::size_t stride, int index) {
    return *reinterpret_cast<tagPropertyEntry*>(reinterpret_cast<char*>(first) + index * stride);
}

void GenerateTables(std::uint32_t& seed) {
    auto next = [&seed](std::uint32_t bound) {
        seed = seed * 1664525u + 1013904223u; // a plain LCG: reproducible everywhere
        return static_cast<int>((seed >> 16) % bound);
    };
    auto fill = [&](tagPropertyEntry* first, std::size_t stride) {
        const int count = next(kEntries + 1);
        for (int e = 0; e <= kEntries; ++e) {
            const int nested = next(kMaps + 2) - 2, unionMap = next(kUnions + 3) - 3;
            At(first, stride, e) = e < count
                                       ? Entry(1 + next(4), nested >= 0 ? kAccess[nested] : nullptr,
                                               unionMap >= 0 ? kUnionGetters[unionMap] : nullptr)
                                       : tagPropertyEntry{};
        }
    };
    for (int i = 0; i < kMaps + kUnions; ++i) {
        i < kMaps ? fill(g_maps[i], sizeof(tagPropertyEntry))
                  : fill(&g_unions[i - kMaps][0].m_Property, sizeof(tagUnionMapEntry));
    }
}

// The search as the plain recursion it is defined as; past a depth of 64 the
// tables lead it into itself without end.
struct DepthExceeded {};
tagPropertyEntry* Recursive(long dispId, tagPropertyEntry* table, bool isUnion,
                            std::list<long>& list, int depth = 0) {
    if (depth > 64) {
        throw DepthExceeded();
    }
    const std::size_t stride = isUnion ? sizeof(tagUnionMapEntry) : sizeof(tagPropertyEntry);
    for (int i = 0; At(table, stride, i).m_lMarker != 0; ++i) {
        const tagPropertyEntry& entry = At(table, stride, i);
        const long id = entry.m_lDispId;
        if (id == dispId) {
            return &At(table, stride, i);
        }
        tagPropertyEntry* found = nullptr;
        if (entry.m_pfnUnionMap != nullptr && CPropertyLookup::AddToDispIDSearchList(id, list)) {
            EnumMapFunction enumFunction = nullptr;
            found = Recursive(dispId, &entry.m_pfnUnionMap(nullptr, &enumFunction)->m_Property,
                              true, list, depth + 1);
            CPropertyLookup::RemoveFromDispIDSearchList(id, list);
        }
        if (found == nullptr && entry.m_pfnNestedMap != nullptr &&
            (isUnion || CPropertyLookup::AddToDispIDSearchList(id, list))) {
            found = Recursive(dispId, entry.m_pfnNestedMap()->m_pfnGetPropertyMap(nullptr), false,
                              list, depth + 1);
            CPropertyLookup::RemoveFromDispIDSearchList(id, list);
        }
        if (found != nullptr) {
            return found;
        }
    }
    return nullptr;
}

TEST_F(PropertyLookupTest, MatchesTheRecursiveSearchOnGeneratedTables) {
    std::vector<int> log;
    t_log = &log;
    std::uint32_t seed = 12345;
    int compared = 0, endless = 0;
    for (int round = 0; round < 1000; ++round) {
        GenerateTables(seed);
        for (long dispId = 1; dispId <= 5; ++dispId) {
            for (int start = 0; start < kMaps + kUnions; ++start) {
                SCOPED_TRACE("round " + std::to_string(round) + ", id " + std::to_string(dispId) +
                             ", start " + std::to_string(start));
                const bool isUnion = start >= kMaps;
                std::list<long> expectedList{3}, ids{3};
                log.clear();
                tagPropertyEntry* expected = nullptr;
                bool repeats = false;
                try {
                    expected = Recursive(
                        dispId,
                        isUnion ? &kUnionGetters[start - kMaps](nullptr, nullptr)->m_Property
                                : kMapGetters[start](nullptr),
                        isUnion, expectedList);
                } catch (DepthExceeded&) {
                    repeats = true; // given up where it would repeat: the list as given
                    expectedList = ids;
                }
                const std::vector<int> expectedLog = log;
                const size_t reports = device.sent.size();
                log.clear();
                ASSERT_EQ(isUnion ? FindProperty(dispId, kUnionGetters[start - kMaps], ids)
                                  : FindProperty(dispId, kMapGetters[start], ids),
                          expected);
                ASSERT_EQ(ids, expectedList);
                if (!repeats) {
                    ++compared;
                    ASSERT_EQ(log, expectedLog);
                    ASSERT_EQ(device.sent.size(), reports);
                    continue;
                }
                // The same work up to the repetition, and one report (unless
                // the process's limit of repaired errors is used up).
                ++endless;
                ASSERT_LT(log.size(), expectedLog.size());
                ASSERT_TRUE(std::equal(log.begin(), log.end(), expectedLog.begin()));
                ASSERT_LE(device.sent.size(), reports + 1);
            }
        }
    }
    EXPECT_FALSE(g_enumOutWasSet);
    EXPECT_GT(compared, 10000); // both kinds came up often enough to mean something
    EXPECT_GT(endless, 100);
    device.sent.resize(std::min<size_t>(device.sent.size(), 1));
    ExpectReports(1, "property maps lead into themselves without end, search abandoned");
}

TEST_F(PropertyLookupTest, DispIdSearchListAddsOnceAndRemovesTheFirstEqual) {
    EXPECT_TRUE(AddToDispIDSearchList(-3, list));
    EXPECT_FALSE(AddToDispIDSearchList(8, list));
    EXPECT_TRUE(AddToDispIDSearchList(5, list));
    EXPECT_EQ(list, (std::list<long>{8, -3, 5})); // appended at the end
    list = {5, 6, 5};
    for (long id : {5L, 7L}) {
        RemoveFromDispIDSearchList(id, list);
    }
    EXPECT_EQ(list, (std::list<long>{6, 5}));
}

// The component's own table: its records are wider, the first of two
// siblings wins, a direct match opens no sub-map, and entries behind the
// terminator are never looked at.
TEST_F(PropertyLookupTest, TheComponentsOwnTable) {
    EXPECT_EQ(FindProperty(1), nullptr); // no table at all
    g_maps[0][0] = Entry(30);
    static ExtendedPropertyMapEntry table[] = {Ext(Entry(1)),           Ext(Entry(10, kAccess[0])),
                                               Ext(Entry(20)),          Ext(Entry(20)),
                                               Ext(tagPropertyEntry{}), Ext(Entry(40))};
    UseTable(table);
    std::vector<int> log;
    t_log = &log;
    EXPECT_EQ(FindProperty(20), &table[2].m_Property);
    EXPECT_EQ(FindProperty(10), &table[1].m_Property);
    EXPECT_EQ(FindProperty(30), &g_maps[0][0]);
    EXPECT_EQ(FindProperty(40), nullptr);
    EXPECT_EQ(log, (std::vector<int>{0, 0, 0})); // 20, 30, 40: each opened the map once
    UseTable(&table[4]);
    EXPECT_EQ(FindProperty(40), nullptr);
}

// A throwing union-map getter is reported as repaired; like every null
// table it counts as an empty one.
tagUnionMapEntry* Throwing(GUID*, EnumMapFunction*) {
    throw std::runtime_error("broken");
}
tagUnionMapEntry* ThrowingErrorRecord(GUID*, EnumMapFunction*) {
    throw new CErrorObject(); // the search owns it then and must free it
}
tagUnionMapEntry* NullUnion(GUID*, EnumMapFunction*) {
    return nullptr;
}
tagPropertyEntry* NullMap(GUID*) {
    return nullptr;
}
const tagNestedMapData* NullAccessor() {
    return nullptr;
}

TEST_F(PropertyLookupTest, FailingGettersCountAsEmptyTables) {
    static ExtendedPropertyMapEntry table[] = {Ext(Entry(1, nullptr, &Throwing)),
                                               Ext(Entry(2, &NullAccessor, &NullUnion)),
                                               Ext(Entry(3, Access<nullptr>)),
                                               Ext(Entry(4, Access<NullMap>)),
                                               Ext(Entry(10)),
                                               Ext(tagPropertyEntry{})};
    UseTable(table);
    EXPECT_EQ(FindProperty(10), &table[4].m_Property);
    EXPECT_EQ(FindProperty(1, &ThrowingErrorRecord, list), nullptr);
    EXPECT_EQ(FindProperty(1, static_cast<UnionMapGetter>(nullptr), list), nullptr);
    EXPECT_EQ(FindProperty(1, static_cast<PropertyMapGetter>(nullptr), list), nullptr);
    EXPECT_EQ(list, (std::list<long>{8}));
    ExpectReports(2, "exception when calling union map function");
}

// A chain of 1000 property maps, each leading to the next through an entry
// of its own id; the one getter hands out the next level at each call.
tagPropertyEntry g_chain[1000][2];
int g_level = 0;
tagPropertyEntry* NextLevel(GUID*) {
    return g_chain[g_level++];
}

TEST_F(PropertyLookupTest, DeepPropertyMapsAreNotCutOff) {
    for (long i = 0; i < 1000; ++i) {
        g_chain[i][0] = i < 999 ? Entry(100000 + i, Access<NextLevel>) : Entry(424242);
    }
    static ExtendedPropertyMapEntry table[] = {Ext(Entry(2, Access<NextLevel>)),
                                               Ext(tagPropertyEntry{})};
    UseTable(table);
    // On a 64 KiB stack: a search that recursed per level would overflow it
    // long before the bottom of the chain.
    tagPropertyEntry* found[3] = {};
    auto body = [&] {
        found[0] = FindProperty(424242);
        g_level = 0;
        found[1] = FindProperty(424243);
        g_level = 0;
        found[2] = FindProperty(424242, &NextLevel, list);
    };
    pthread_attr_t attr;
    pthread_t thread;
    ASSERT_EQ(pthread_attr_init(&attr), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attr, 64 * 1024), 0);
    auto run = [](void* arg) -> void* {
        (*static_cast<decltype(body)*>(arg))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attr, run, &body), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attr);
    EXPECT_EQ(std::vector<tagPropertyEntry*>(found, found + 3),
              (std::vector<tagPropertyEntry*>{&g_chain[999][0], nullptr, &g_chain[999][0]}));
    EXPECT_EQ(list, (std::list<long>{8})); // every id taken out again
}

TEST(ReferencedObjectMap, ClearRemovesEveryElement) {
    ClearReferencedObjectMap();        // clearing an empty map is harmless
    for (long i = 100; i < 150; ++i) { // past any rehash
        GetReferencedObjectMap()[i].push_back(i);
    }
    ClearReferencedObjectMap();
    EXPECT_TRUE(GetReferencedObjectMap().empty());
    GetReferencedObjectMap()[7].push_back(8);
    EXPECT_EQ(GetReferencedObjectMap().at(7), (std::list<long>{8}));
}

} // namespace
