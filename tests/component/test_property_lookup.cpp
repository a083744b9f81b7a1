// Property look-up by dispatch id over static tables: table order, sub-map
// order, the cycle guard and the union-map exception to it, failing getters,
// deep and self-repeating nesting and the referenced-object map.
#include <gtest/gtest.h>

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "CCoClassData.h"
#include "CErrorObject.h"
#include "CObjectData.h"
#include "CPropertyLookup.h"
#include "KxResultCodes.h"
#include "common/RecordingDeviceCallbacks.h"

using namespace KxTamarind;

namespace {

// ---- table building ------------------------------------------------------

constexpr tagPropertyEntry Entry(long dispId, NestedMapAccessor nested = nullptr,
                                 UnionMapGetter unionMap = nullptr) {
    return tagPropertyEntry{1, dispId, 0, 0, 0, 0, 0, 0, 0, nested, 0, unionMap, 0, 0, 0, 0};
}
constexpr tagPropertyEntry End() {
    return tagPropertyEntry{};
}
constexpr ExtendedPropertyMapEntry Ext(const tagPropertyEntry& entry) {
    return ExtendedPropertyMapEntry{entry, 0, 0, 0, 0, 0};
}
constexpr tagUnionMapEntry Alt(const tagPropertyEntry& entry) {
    return tagUnionMapEntry{0, entry};
}

// Accessor leading to the property map of getter `G`.
template <PropertyMapGetter G>
const tagNestedMapData* Access() {
    static const tagNestedMapData data{G};
    return &data;
}

// How often each getter ran. Relaxed atomics: the threaded test shares them.
enum Counter { kA, kB, kU50, kX, kY, kP, kQ, kUR, kN1, kN2, kM, kM2, kDeep, kCount };
std::atomic<int> g_calls[kCount];
std::atomic<bool> g_enumOutWasNull{true};
void ResetCalls() {
    for (auto& c : g_calls) {
        c.store(0, std::memory_order_relaxed);
    }
    g_enumOutWasNull.store(true, std::memory_order_relaxed);
}
int Calls(Counter c) {
    return g_calls[c].load(std::memory_order_relaxed);
}
void Count(Counter c) {
    g_calls[c].fetch_add(1, std::memory_order_relaxed);
}

// ---- the maps ------------------------------------------------------------

tagPropertyEntry* GetA(GUID*);
tagPropertyEntry* GetB(GUID*);
tagUnionMapEntry* GetU50(GUID*, EnumMapFunction*);
tagPropertyEntry* GetL1(GUID*);
tagPropertyEntry* GetL2(GUID*);
tagPropertyEntry* GetL3(GUID*);
tagPropertyEntry* GetL4(GUID*);
tagPropertyEntry* GetX(GUID*);
tagPropertyEntry* GetY(GUID*);
tagPropertyEntry* GetP(GUID*);
tagPropertyEntry* GetQ(GUID*);
tagUnionMapEntry* GetUR(GUID*, EnumMapFunction*);
tagUnionMapEntry* GetUAsym(GUID*, EnumMapFunction*);
tagPropertyEntry* GetN1(GUID*);
tagPropertyEntry* GetN2(GUID*);
tagPropertyEntry* GetM(GUID*);
tagPropertyEntry* GetM2(GUID*);
tagUnionMapEntry* GetUInf(GUID*, EnumMapFunction*);

tagPropertyEntry g_mapA[] = {Entry(30), Entry(40), Entry(30), End()};
tagPropertyEntry g_mapB[] = {Entry(50), End()};
tagUnionMapEntry g_unionU50[] = {Alt(Entry(51)), Alt(Entry(50)), Alt(End())};
// Four levels deep; 99 only at the bottom.
tagPropertyEntry g_mapL1[] = {Entry(61, Access<GetL2>), End()};
tagPropertyEntry g_mapL2[] = {Entry(62), Entry(63, Access<GetL3>), End()};
tagPropertyEntry g_mapL3[] = {Entry(64, Access<GetL4>), End()};
tagPropertyEntry g_mapL4[] = {Entry(65), Entry(99), End()};
// X and Y reach each other through entries with the same id 7.
tagPropertyEntry g_mapX[] = {Entry(7, Access<GetY>), End()};
tagPropertyEntry g_mapY[] = {Entry(7, Access<GetX>), Entry(8), End()};
// P and Q reach each other through entries with different ids.
tagPropertyEntry g_mapP[] = {Entry(11, Access<GetQ>), End()};
tagPropertyEntry g_mapQ[] = {Entry(12, Access<GetP>), End()};
// A union map that leads to itself.
tagUnionMapEntry g_unionUR[] = {Alt(Entry(13, nullptr, &GetUR)), Alt(End())};
// The union map whose nested maps are searched unguarded: its first entry
// carries the id (5) of the entry leading to it, so searching N1 takes 5 out
// of the list again, and N2's entry 5 can then open M.
tagUnionMapEntry g_unionUAsym[] = {Alt(Entry(5, Access<GetN1>)), Alt(Entry(9, Access<GetN2>)),
                                   Alt(End())};
tagPropertyEntry g_mapN1[] = {Entry(60), End()};
tagPropertyEntry g_mapN2[] = {Entry(5, Access<GetM>), End()};
tagPropertyEntry g_mapM[] = {Entry(77), End()};
// M2 and UInf recurse without bound: each round through the union map takes
// the guarding id 5 out of the list again.
tagPropertyEntry g_mapM2[] = {Entry(5, nullptr, &GetUInf), End()};
tagUnionMapEntry g_unionUInf[] = {Alt(Entry(5, Access<GetM2>)), Alt(Entry(7, Access<GetM2>)),
                                  Alt(End())};

tagPropertyEntry* GetA(GUID*) {
    Count(kA);
    return g_mapA;
}
tagPropertyEntry* GetB(GUID*) {
    Count(kB);
    return g_mapB;
}
tagUnionMapEntry* GetU50(GUID*, EnumMapFunction* ppEnum) {
    Count(kU50);
    if (*ppEnum != nullptr) {
        g_enumOutWasNull.store(false, std::memory_order_relaxed);
    }
    return g_unionU50;
}
tagPropertyEntry* GetL1(GUID*) {
    Count(kDeep);
    return g_mapL1;
}
tagPropertyEntry* GetL2(GUID*) {
    Count(kDeep);
    return g_mapL2;
}
tagPropertyEntry* GetL3(GUID*) {
    Count(kDeep);
    return g_mapL3;
}
tagPropertyEntry* GetL4(GUID*) {
    Count(kDeep);
    return g_mapL4;
}
tagPropertyEntry* GetX(GUID*) {
    Count(kX);
    return g_mapX;
}
tagPropertyEntry* GetY(GUID*) {
    Count(kY);
    return g_mapY;
}
tagPropertyEntry* GetP(GUID*) {
    Count(kP);
    return g_mapP;
}
tagPropertyEntry* GetQ(GUID*) {
    Count(kQ);
    return g_mapQ;
}
tagUnionMapEntry* GetUR(GUID*, EnumMapFunction*) {
    Count(kUR);
    return g_unionUR;
}
tagUnionMapEntry* GetUAsym(GUID*, EnumMapFunction*) {
    return g_unionUAsym;
}
tagPropertyEntry* GetN1(GUID*) {
    Count(kN1);
    return g_mapN1;
}
tagPropertyEntry* GetN2(GUID*) {
    Count(kN2);
    return g_mapN2;
}
tagPropertyEntry* GetM(GUID*) {
    Count(kM);
    return g_mapM;
}
tagPropertyEntry* GetM2(GUID*) {
    Count(kM2);
    return g_mapM2;
}
tagUnionMapEntry* GetUInf(GUID*, EnumMapFunction*) {
    return g_unionUInf;
}

// Getters that fail.
tagUnionMapEntry* ThrowingUnion(GUID*, EnumMapFunction*) {
    throw std::runtime_error("broken");
}
tagUnionMapEntry* ThrowingErrorRecord(GUID*, EnumMapFunction*) {
    throw new CErrorObject();
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
const tagNestedMapData* AccessorWithoutGetter() {
    static const tagNestedMapData data{nullptr};
    return &data;
}

// ---- a component ---------------------------------------------------------

class ProbeComponent : public CPropertyLookup {
public:
    ProbeComponent() {
        m_bstrDescription = SysAllocString(L"ProbeClass");
        m_classData.m_pbstrDescription = &m_bstrDescription;
        m_objectData.reset(new CObjectData(this, &m_classData, nullptr));
        m_objectData->m_bstrObjectName = SysAllocString(L"Probe1");
        m_objectData->ObjectGuid = {0x01234567, 0x89AB, 0xCDEF, {1, 2, 3, 4, 5, 6, 7, 8}};
    }
    ~ProbeComponent() override {
        m_objectData.reset();
        SysFreeString(m_bstrDescription);
    }
    ProbeComponent(const ProbeComponent&) = delete;
    ProbeComponent& operator=(const ProbeComponent&) = delete;

    void UseTable(ExtendedPropertyMapEntry* table) {
        SetObjectDataReference(m_objectData.get(), &m_classData, table);
    }

private:
    BSTR m_bstrDescription = nullptr;
    CCoClassData m_classData{};
    std::unique_ptr<CObjectData> m_objectData;
};

const char kReportTail[] =
    "Component: ProbeClass\nObjectName: Probe1\nGuid: {01234567-89AB-CDEF-0102-030405060708}\n";

class PropertyLookupTest : public ::testing::Test {
protected:
    void SetUp() override { ResetCalls(); }
    ProbeComponent component;
    std::list<long> list;
};

// ---- the search list -----------------------------------------------------

TEST(DispIdSearchListTest, AddAppendsOnceAndRemoveTakesTheFirstEqual) {
    std::list<long> ids;
    EXPECT_TRUE(CPropertyLookup::AddToDispIDSearchList(5, ids));
    EXPECT_TRUE(CPropertyLookup::AddToDispIDSearchList(-3, ids));
    EXPECT_FALSE(CPropertyLookup::AddToDispIDSearchList(5, ids));
    EXPECT_EQ(ids, (std::list<long>{5, -3}));

    std::list<long> twice{5, 6, 5};
    CPropertyLookup::RemoveFromDispIDSearchList(5, twice);
    EXPECT_EQ(twice, (std::list<long>{6, 5}));
    CPropertyLookup::RemoveFromDispIDSearchList(7, twice);
    EXPECT_EQ(twice, (std::list<long>{6, 5}));
    CPropertyLookup::RemoveFromDispIDSearchList(5, twice);
    CPropertyLookup::RemoveFromDispIDSearchList(6, twice);
    EXPECT_TRUE(twice.empty());
}

// ---- table order -----------------------------------------------------------

TEST_F(PropertyLookupTest, NoTableOrEmptyTableFindsNothing) {
    EXPECT_EQ(component.FindProperty(1), nullptr); // no table installed at all

    // Entries behind the terminator are never looked at.
    static ExtendedPropertyMapEntry table[] = {Ext(End()), Ext(Entry(1, Access<GetA>))};
    component.UseTable(table);
    EXPECT_EQ(component.FindProperty(1), nullptr);
    EXPECT_EQ(Calls(kA), 0);
}

TEST_F(PropertyLookupTest, FirstOfTwoSiblingsWithTheSameIdWins) {
    static ExtendedPropertyMapEntry table[] = {Ext(Entry(1)), Ext(Entry(20)), Ext(Entry(20)),
                                               Ext(End())};
    component.UseTable(table);
    EXPECT_EQ(component.FindProperty(20), &table[1].m_Property);

    EXPECT_EQ(component.FindProperty(30, &GetA, list), &g_mapA[0]);
    EXPECT_EQ(component.FindProperty(50, &GetU50, list), &g_unionU50[1].m_Property);
    EXPECT_TRUE(list.empty());
}

TEST_F(PropertyLookupTest, DirectMatchReturnsBeforeAnySubMapIsSearched) {
    static ExtendedPropertyMapEntry table[] = {Ext(Entry(10, Access<GetA>, &GetU50)), Ext(End())};
    component.UseTable(table);
    EXPECT_EQ(component.FindProperty(10), &table[0].m_Property);
    EXPECT_EQ(Calls(kA), 0);
    EXPECT_EQ(Calls(kU50), 0);
}

TEST_F(PropertyLookupTest, SubMapMatchWinsOverLaterDirectMatch) {
    static ExtendedPropertyMapEntry table[] = {Ext(Entry(1, Access<GetA>)), Ext(Entry(40)),
                                               Ext(End())};
    component.UseTable(table);
    EXPECT_EQ(component.FindProperty(40), &g_mapA[1]);
    EXPECT_EQ(Calls(kA), 1);
}

TEST_F(PropertyLookupTest, UnionMapIsSearchedBeforeNestedMap) {
    // Both sub-maps hold 50; the union map wins and the nested one is not
    // opened. The enumeration-function out argument starts out null.
    static ExtendedPropertyMapEntry table[] = {Ext(Entry(2, Access<GetB>, &GetU50)), Ext(End())};
    component.UseTable(table);
    EXPECT_EQ(component.FindProperty(50), &g_unionU50[1].m_Property);
    EXPECT_EQ(Calls(kU50), 1);
    EXPECT_EQ(Calls(kB), 0);
    EXPECT_TRUE(g_enumOutWasNull.load());

    // Absent id: both were searched, union map first, each once.
    EXPECT_EQ(component.FindProperty(52), nullptr);
    EXPECT_EQ(Calls(kU50), 2);
    EXPECT_EQ(Calls(kB), 1);
}

TEST_F(PropertyLookupTest, NestedMapsSeveralLevelsDeep) {
    static ExtendedPropertyMapEntry table[] = {Ext(Entry(3)), Ext(Entry(60, Access<GetL1>)),
                                               Ext(End())};
    component.UseTable(table);
    EXPECT_EQ(component.FindProperty(99), &g_mapL4[1]);
    EXPECT_EQ(Calls(kDeep), 4);
    EXPECT_EQ(component.FindProperty(64), &g_mapL3[0]);

    // The search list is back to what the caller gave.
    list = {1000};
    EXPECT_EQ(component.FindProperty(99, &GetL1, list), &g_mapL4[1]);
    EXPECT_EQ(list, (std::list<long>{1000}));
}

// ---- the cycle guard -------------------------------------------------------

TEST_F(PropertyLookupTest, MapsReachingEachOtherThroughTheSameIdTerminate) {
    static ExtendedPropertyMapEntry table[] = {Ext(Entry(1, Access<GetX>)), Ext(End())};
    component.UseTable(table);
    EXPECT_EQ(component.FindProperty(4242), nullptr);
    EXPECT_EQ(Calls(kX), 1);
    EXPECT_EQ(Calls(kY), 1); // Y's entry 7 is not followed back into X
    EXPECT_EQ(component.FindProperty(8), &g_mapY[1]);
}

TEST_F(PropertyLookupTest, MapsReachingEachOtherThroughDifferentIdsTerminate) {
    static ExtendedPropertyMapEntry table[] = {Ext(Entry(1, Access<GetP>)), Ext(End())};
    component.UseTable(table);
    EXPECT_EQ(component.FindProperty(4242), nullptr);
    EXPECT_EQ(Calls(kP), 2); // P, Q, P again: its entry 11 is then guarded
    EXPECT_EQ(Calls(kQ), 1);
}

TEST_F(PropertyLookupTest, UnionMapLeadingToItselfTerminates) {
    static ExtendedPropertyMapEntry table[] = {Ext(Entry(14, nullptr, &GetUR)), Ext(End())};
    component.UseTable(table);
    EXPECT_EQ(component.FindProperty(4242), nullptr);
    EXPECT_EQ(Calls(kUR), 2);
    EXPECT_EQ(component.FindProperty(13), &g_unionUR[0].m_Property);
}

TEST_F(PropertyLookupTest, SubMapsOfAnIdAlreadyInTheListAreSkipped) {
    list = {11};
    EXPECT_EQ(component.FindProperty(12, &GetP, list), nullptr); // Q is never opened
    EXPECT_EQ(Calls(kP), 1);
    EXPECT_EQ(Calls(kQ), 0);
    EXPECT_EQ(list, (std::list<long>{11}));
}

// ---- union maps search their nested maps unguarded -------------------------

TEST_F(PropertyLookupTest, UnionLevelRemovesTheOuterIdAndOpensTheWayBack) {
    static ExtendedPropertyMapEntry table[] = {Ext(Entry(5, nullptr, &GetUAsym)), Ext(End())};
    component.UseTable(table);
    // 5 is in the list while the union map is searched, yet N1 (behind an
    // entry with id 5) is searched, and afterwards N2's entry 5 may open M.
    EXPECT_EQ(component.FindProperty(77), &g_mapM[0]);
    EXPECT_EQ(Calls(kN1), 1);
    EXPECT_EQ(Calls(kN2), 1);
    EXPECT_EQ(Calls(kM), 1);
}

TEST_F(PropertyLookupTest, UnionLevelTakesAnOuterIdOutOfTheCallersList) {
    list = {5, 42};
    EXPECT_EQ(component.FindProperty(1000, &GetUAsym, list), nullptr);
    EXPECT_EQ(list, (std::list<long>{42}));
    EXPECT_EQ(Calls(kN1), 1);
    EXPECT_EQ(Calls(kM), 1);
}

// ---- failing getters ---------------------------------------------------------

TEST_F(PropertyLookupTest, ThrowingUnionMapGetterIsRepairedAndCountsAsNotFound) {
    KxTest::RecordingDeviceCallbacks device;
    static ExtendedPropertyMapEntry table[] = {Ext(Entry(1, nullptr, &ThrowingUnion)),
                                               Ext(Entry(2)), Ext(End())};
    component.UseTable(table);

    EXPECT_EQ(component.FindProperty(2), &table[1].m_Property);
    ASSERT_EQ(device.sent.size(), 1u);
    const CErrorObject& error = device.sent[0];
    EXPECT_TRUE(error.GetIsRepairedError());
    EXPECT_STREQ(error.GetCondition().GetString(), "false");
    EXPECT_EQ(error.GetErrorCode(), static_cast<long>(E_KX_HRESULT_ASSERT_REPAIRED));
    EXPECT_EQ(std::string(error.GetAdditionalInfo().GetString()),
              std::string("exception when calling union map function") + kReportTail);
    EXPECT_STREQ(error.GetFileName().GetString(), "Base/Interfaces/_Src/CBComponentManagement");

    EXPECT_EQ(component.FindProperty(3), nullptr);
    EXPECT_EQ(device.sent.size(), 2u);
}

TEST_F(PropertyLookupTest, UnionMapGetterThrowingAnErrorRecordIsRepaired) {
    KxTest::RecordingDeviceCallbacks device;
    list = {8};
    EXPECT_EQ(component.FindProperty(1, &ThrowingErrorRecord, list), nullptr);
    ASSERT_EQ(device.sent.size(), 1u);
    EXPECT_EQ(std::string(device.sent[0].GetAdditionalInfo().GetString()),
              std::string("exception when calling union map function") + kReportTail);
    EXPECT_EQ(list, (std::list<long>{8}));
}

TEST_F(PropertyLookupTest, NullTablesCountAsEmpty) {
    KxTest::RecordingDeviceCallbacks device;
    static ExtendedPropertyMapEntry table[] = {Ext(Entry(1, &NullAccessor)),
                                               Ext(Entry(2, &AccessorWithoutGetter)),
                                               Ext(Entry(3, nullptr, &NullUnion)),
                                               Ext(Entry(4, Access<NullMap>)),
                                               Ext(Entry(10)),
                                               Ext(End())};
    component.UseTable(table);
    EXPECT_EQ(component.FindProperty(10), &table[4].m_Property);
    EXPECT_EQ(component.FindProperty(11), nullptr);
    EXPECT_EQ(component.FindProperty(11, static_cast<PropertyMapGetter>(nullptr), list), nullptr);
    EXPECT_EQ(component.FindProperty(11, static_cast<UnionMapGetter>(nullptr), list), nullptr);
    EXPECT_TRUE(device.sent.empty());
}

// ---- deep and unbounded nesting ---------------------------------------------

// A chain of kChainDepth property maps, each leading to the next through an
// entry of its own id; kChainTarget sits only in the last one. Every level
// has a getter of its own, so no two levels look alike to the search.
constexpr std::size_t kChainDepth = 1000;
constexpr long kChainTarget = 424242;
tagPropertyEntry g_chain[kChainDepth][2];
std::atomic<int> g_chainCalls{0};

template <std::size_t I>
tagPropertyEntry* GetChainLevel(GUID*) {
    g_chainCalls.fetch_add(1, std::memory_order_relaxed);
    return g_chain[I];
}
template <std::size_t I>
const tagNestedMapData* AccessChainLevel() {
    static const tagNestedMapData data{&GetChainLevel<I>};
    return &data;
}
template <std::size_t... I>
std::vector<NestedMapAccessor> ChainAccessors(std::index_sequence<I...>) {
    return {&AccessChainLevel<I>...};
}

// Links the chain; returns the accessor of its first level.
NestedMapAccessor BuildChain() {
    const std::vector<NestedMapAccessor> access =
        ChainAccessors(std::make_index_sequence<kChainDepth>());
    for (std::size_t i = 0; i + 1 < kChainDepth; ++i) {
        g_chain[i][0] = Entry(100000 + static_cast<long>(i), access[i + 1]);
        g_chain[i][1] = End();
    }
    g_chain[kChainDepth - 1][0] = Entry(kChainTarget);
    g_chain[kChainDepth - 1][1] = End();
    g_chainCalls.store(0, std::memory_order_relaxed);
    return access[0];
}

// Runs `body` on a thread whose stack is only `stackBytes` large, and waits
// for it.
template <typename Body>
void RunOnSmallStack(std::size_t stackBytes, Body body) {
    pthread_attr_t attr;
    ASSERT_EQ(pthread_attr_init(&attr), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attr, stackBytes), 0);
    pthread_t thread;
    const int created = pthread_create(
        &thread, &attr,
        [](void* arg) -> void* {
            (*static_cast<Body*>(arg))();
            return nullptr;
        },
        &body);
    pthread_attr_destroy(&attr);
    ASSERT_EQ(created, 0);
    pthread_join(thread, nullptr);
}

TEST_F(PropertyLookupTest, DeepPropertyMapsAreNotCutOff) {
    KxTest::RecordingDeviceCallbacks device;
    const NestedMapAccessor first = BuildChain();
    static ExtendedPropertyMapEntry table[] = {Ext(Entry(1)), Ext(End()), Ext(End())};
    table[1] = Ext(Entry(2, first));
    component.UseTable(table);

    // On a 64 KiB stack: a search that recursed per level would overflow it
    // long before the bottom of the chain.
    tagPropertyEntry* found = nullptr;
    tagPropertyEntry* absent = reinterpret_cast<tagPropertyEntry*>(&found);
    std::list<long> callerList{-7};
    tagPropertyEntry* viaGetter = nullptr;
    RunOnSmallStack(64 * 1024, [&] {
        found = component.FindProperty(kChainTarget);
        absent = component.FindProperty(kChainTarget + 1);
        viaGetter = component.FindProperty(kChainTarget, &GetChainLevel<0>, callerList);
    });
    EXPECT_EQ(found, &g_chain[kChainDepth - 1][0]);
    EXPECT_EQ(absent, nullptr);
    EXPECT_EQ(viaGetter, &g_chain[kChainDepth - 1][0]);
    EXPECT_EQ(g_chainCalls.load(), 3 * static_cast<int>(kChainDepth)); // every level, once each
    EXPECT_EQ(callerList, (std::list<long>{-7}));                      // every id taken out again
    EXPECT_TRUE(device.sent.empty());
}

TEST_F(PropertyLookupTest, SearchThatWouldRepeatItselfIsAbandonedWithOneReport) {
    KxTest::RecordingDeviceCallbacks device;
    static ExtendedPropertyMapEntry table[] = {Ext(Entry(1, Access<GetM2>)), Ext(Entry(4242)),
                                               Ext(End())};
    component.UseTable(table);

    // M2 (entered with {1}) -> UInf -> M2 ({1, 5}: searched) and, once UInf
    // took 5 out again, M2 with {1} a second time: that search would repeat
    // the outer one without end, so the whole search ends there, the later
    // direct match included.
    EXPECT_EQ(component.FindProperty(4242), nullptr);
    EXPECT_EQ(Calls(kM2), 2);
    ASSERT_EQ(device.sent.size(), 1u);
    EXPECT_EQ(std::string(device.sent[0].GetAdditionalInfo().GetString()),
              std::string("property maps lead into themselves without end, search abandoned") +
                  kReportTail);
    EXPECT_EQ(device.sent[0].GetErrorCode(), static_cast<long>(E_KX_HRESULT_ASSERT_REPAIRED));
    EXPECT_STREQ(device.sent[0].GetCondition().GetString(), "false");

    // Through the union map's own entry point: {5, 1} comes round again as
    // {1, 5}. The caller's list is left as it was given.
    list = {5, 1};
    EXPECT_EQ(component.FindProperty(4242, &GetUInf, list), nullptr);
    EXPECT_EQ(list, (std::list<long>{5, 1}));
    EXPECT_EQ(device.sent.size(), 2u);

    // A search that finds its id before any repetition reports nothing.
    EXPECT_EQ(component.FindProperty(5), &g_mapM2[0]);
    EXPECT_EQ(device.sent.size(), 2u);
}

// ---- the order, checked against the recursive search -----------------------

// Small generated tables: kGenMaps property maps and kGenUnions union maps
// whose entries carry ids 1..4 and lead to any of the others. Each getter
// call is logged, so that the order of the work can be compared.
constexpr int kGenMaps = 4;
constexpr int kGenUnions = 2;
constexpr int kGenEntries = 3;
tagPropertyEntry g_genMaps[kGenMaps][kGenEntries + 1];
tagUnionMapEntry g_genUnions[kGenUnions][kGenEntries + 1];
std::vector<int> g_genLog;

template <int I>
tagPropertyEntry* GenMap(GUID*) {
    g_genLog.push_back(I);
    return g_genMaps[I];
}
template <int I>
tagUnionMapEntry* GenUnion(GUID*, EnumMapFunction*) {
    g_genLog.push_back(100 + I);
    return g_genUnions[I];
}
const NestedMapAccessor kGenAccess[kGenMaps] = {Access<GenMap<0>>, Access<GenMap<1>>,
                                                Access<GenMap<2>>, Access<GenMap<3>>};
const UnionMapGetter kGenUnionGetters[kGenUnions] = {GenUnion<0>, GenUnion<1>};

// The search written as the plain recursion it is defined as, with a depth
// limit past which it gives up (the tables then lead it into itself).
struct DepthExceeded {};
tagPropertyEntry* Recursive(long dispId, tagPropertyEntry* entry, std::size_t stride,
                            bool guardNested, std::list<long>& list, int depth) {
    if (depth > 64) {
        throw DepthExceeded();
    }
    for (; entry->m_lMarker != 0;
         entry = reinterpret_cast<tagPropertyEntry*>(reinterpret_cast<char*>(entry) + stride)) {
        if (entry->m_lDispId == dispId) {
            return entry;
        }
        const long id = entry->m_lDispId;
        if (entry->m_pfnUnionMap != nullptr && CPropertyLookup::AddToDispIDSearchList(id, list)) {
            EnumMapFunction enumFunction = nullptr;
            tagUnionMapEntry* table = entry->m_pfnUnionMap(nullptr, &enumFunction);
            tagPropertyEntry* found = Recursive(dispId, &table->m_Property,
                                                sizeof(tagUnionMapEntry), false, list, depth + 1);
            CPropertyLookup::RemoveFromDispIDSearchList(id, list);
            if (found != nullptr) {
                return found;
            }
        }
        if (entry->m_pfnNestedMap != nullptr &&
            (!guardNested || CPropertyLookup::AddToDispIDSearchList(id, list))) {
            tagPropertyEntry* table = entry->m_pfnNestedMap()->m_pfnGetPropertyMap(nullptr);
            tagPropertyEntry* found =
                Recursive(dispId, table, sizeof(tagPropertyEntry), true, list, depth + 1);
            CPropertyLookup::RemoveFromDispIDSearchList(id, list);
            if (found != nullptr) {
                return found;
            }
        }
    }
    return nullptr;
}

void GenerateTables(std::uint32_t& seed) {
    auto next = [&seed](std::uint32_t bound) {
        seed = seed * 1664525u + 1013904223u; // a plain LCG: reproducible everywhere
        return static_cast<int>((seed >> 16) % bound);
    };
    auto fill = [&](tagPropertyEntry& entry) {
        const int nested = next(kGenMaps + 2) - 2; // no sub-map twice as often
        const int unionMap = next(kGenUnions + 3) - 3;
        entry = Entry(1 + next(4), nested >= 0 ? kGenAccess[nested] : nullptr,
                      unionMap >= 0 ? kGenUnionGetters[unionMap] : nullptr);
    };
    for (auto& map : g_genMaps) {
        const int count = next(kGenEntries + 1);
        for (int e = 0; e <= kGenEntries; ++e) {
            map[e] = End();
            if (e < count) {
                fill(map[e]);
            }
        }
    }
    for (auto& unionMap : g_genUnions) {
        const int count = next(kGenEntries + 1);
        for (int e = 0; e <= kGenEntries; ++e) {
            unionMap[e] = Alt(End());
            if (e < count) {
                fill(unionMap[e].m_Property);
            }
        }
    }
}

TEST_F(PropertyLookupTest, MatchesTheRecursiveSearchOnGeneratedTables) {
    KxTest::RecordingDeviceCallbacks device;
    std::uint32_t seed = 12345;
    int compared = 0;
    int repeating = 0;
    for (int round = 0; round < 3000; ++round) {
        GenerateTables(seed);
        for (long dispId = 1; dispId <= 5; ++dispId) {
            SCOPED_TRACE("round " + std::to_string(round) + ", id " + std::to_string(dispId));
            for (int start = 0; start < kGenMaps + kGenUnions; ++start) {
                const bool fromUnion = start >= kGenMaps;
                std::list<long> expectedList{3};
                g_genLog.clear();
                tagPropertyEntry* expected = nullptr;
                try {
                    expected =
                        fromUnion
                            ? Recursive(
                                  dispId,
                                  &kGenUnionGetters[start - kGenMaps](nullptr, nullptr)->m_Property,
                                  sizeof(tagUnionMapEntry), false, expectedList, 0)
                            : Recursive(dispId, kGenAccess[start]()->m_pfnGetPropertyMap(nullptr),
                                        sizeof(tagPropertyEntry), true, expectedList, 0);
                } catch (DepthExceeded&) {
                    // Endless by definition: the search gives up where it
                    // would repeat itself, after the same work up to there.
                    ++repeating;
                    const std::vector<int> endlessLog = g_genLog;
                    const std::size_t reportsBefore = device.sent.size();
                    std::list<long> ids{3};
                    g_genLog.clear();
                    tagPropertyEntry* found =
                        fromUnion ? component.FindProperty(dispId,
                                                           kGenUnionGetters[start - kGenMaps], ids)
                                  : component.FindProperty(
                                        dispId, kGenAccess[start]()->m_pfnGetPropertyMap, ids);
                    ASSERT_EQ(found, nullptr);
                    ASSERT_EQ(ids, (std::list<long>{3}));
                    ASSERT_LT(g_genLog.size(), endlessLog.size());
                    ASSERT_TRUE(std::equal(g_genLog.begin(), g_genLog.end(), endlessLog.begin()));
                    // One report (unless the process's limit of repaired
                    // errors is used up).
                    ASSERT_LE(device.sent.size(), reportsBefore + 1);
                    continue;
                }
                const std::vector<int> expectedLog = g_genLog;
                const std::size_t reportsBefore = device.sent.size();
                std::list<long> ids{3};
                g_genLog.clear();
                tagPropertyEntry* found =
                    fromUnion
                        ? component.FindProperty(dispId, kGenUnionGetters[start - kGenMaps], ids)
                        : component.FindProperty(dispId, kGenAccess[start]()->m_pfnGetPropertyMap,
                                                 ids);
                ASSERT_EQ(found, expected);
                ASSERT_EQ(ids, expectedList);
                ASSERT_EQ(g_genLog, expectedLog);
                ASSERT_EQ(device.sent.size(), reportsBefore);
                ++compared;
            }
        }
    }
    // Both kinds of tables came up often enough to mean something.
    EXPECT_GT(compared, 10000);
    EXPECT_GT(repeating, 100);
}

// ---- several threads ---------------------------------------------------------

TEST_F(PropertyLookupTest, SearchesOnSeveralThreadsAtOnce) {
    static ExtendedPropertyMapEntry table[] = {Ext(Entry(1, Access<GetX>)),
                                               Ext(Entry(60, Access<GetL1>)), Ext(End())};
    component.UseTable(table);
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 500; ++i) {
                if (component.FindProperty(99) != &g_mapL4[1] ||
                    component.FindProperty(8) != &g_mapY[1] ||
                    component.FindProperty(4242) != nullptr) {
                    wrong.fetch_add(1, std::memory_order_relaxed);
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(Calls(kDeep), 4 * 500 * 2 * 4); // L1..L4 for 99 and for 4242
}

// ---- the referenced-object map -----------------------------------------------

TEST(ReferencedObjectMapTest, ClearRemovesEveryElement) {
    ClearReferencedObjectMap(); // clearing an empty map is harmless
    EXPECT_TRUE(GetReferencedObjectMap().empty());
    GetReferencedObjectMap()[1] = {2, 3};
    GetReferencedObjectMap()[4] = {};
    for (long i = 100; i < 150; ++i) { // past any rehash
        GetReferencedObjectMap()[i].push_back(i);
    }
    ASSERT_EQ(GetReferencedObjectMap().size(), 52u);
    ClearReferencedObjectMap();
    EXPECT_TRUE(GetReferencedObjectMap().empty());
    GetReferencedObjectMap()[7].push_back(8);
    EXPECT_EQ(GetReferencedObjectMap().at(7), (std::list<long>{8}));
    ClearReferencedObjectMap();
    EXPECT_EQ(GetReferencedObjectMap().count(7), 0u);
}

} // namespace
