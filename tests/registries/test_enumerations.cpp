// Positions in the registry lists and their enumerators. A list of `count`
// records is a ring of count + 1 positions (the end is one of them): every
// move is compared with a model, a step-by-step walk for small counts and
// modular arithmetic in a wider integer for LONG_MIN, LONG_MAX and their
// neighbours. Then the enumerators' filters, invalidation, Reset and Clone.
#include <gtest/gtest.h>

#include <climits>
#include <memory>
#include <string>
#include <vector>

#include "CErrorObject.h"
#include "CInterfaceList.h"
#include "common/CatchError.h"
#include "common/CountingUnknown.h"
#include "common/HangWatchdog.h"
#include "registries/TestRegistry.h"

using namespace KxTamarind;
using namespace KxTest;
using namespace std::chrono_literals;

namespace {

#if defined(__SIZEOF_INT128__)
__extension__ typedef __int128 Wide; // holds the exact sum of two longs
#else
typedef long long Wide;
#endif
static_assert(sizeof(Wide) > sizeof(long), "the model needs a wider integer");

long WalkModel(long from, long n, long count) {
    for (; n > 0; --n) {
        from = from == count ? 0 : from + 1;
    }
    for (; n < 0; ++n) {
        from = from == 0 ? count : from - 1;
    }
    return from;
}

long ModularModel(Wide from, Wide n, long count) {
    const Wide ring = static_cast<Wide>(count) + 1;
    const Wide position = (from + n) % ring;
    return static_cast<long>(position < 0 ? position + ring : position);
}

std::vector<long> SmallCounts(long count) {
    std::vector<long> counts;
    for (long n = -3 * (count + 1); n <= 3 * (count + 1); ++n) {
        counts.push_back(n);
    }
    return counts;
}

const std::vector<long> kExtremes = {LONG_MIN, LONG_MIN + 1, LONG_MAX, LONG_MAX - 1};

// Both lists with `count` records named Key(position + 1), in arrival order.
struct Lists {
    CObjectList objects;
    CInterfaceList interfaces;
    GUID iids[8];
    explicit Lists(long count) {
        for (long i = 0; i < count; ++i) {
            iids[i] = Key(static_cast<std::uint32_t>(i + 1));
            objects.Add(ObjectIdentificationData{nullptr, iids[i], GUID_ALL_ONES, -2, nullptr, 0});
            interfaces.Add(nullptr, L"n", &iids[i]);
        }
    }
    CObjectList::iterator ObjectAt(long position) {
        CObjectList::iterator it = objects.End();
        objects.GetListStart(it);
        while (position-- > 0) {
            ++it;
        }
        return it;
    }
    long PositionOf(CObjectList::iterator it) {
        long position = 0;
        for (CObjectList::iterator walk = ObjectAt(0); walk != it; ++walk) {
            ++position;
        }
        return position;
    }
};

// The position a fetched record stands for: its name, or `count` for the end.
long FetchedPosition(bool found, const GUID& id, long count) {
    return found ? static_cast<long>(id.Data1) - 1 : count;
}

// Compares every list move from every start with `model(from, n, count)`.
template <class Model>
void CheckListMoves(Lists& lists, long count, const std::vector<long>& steps, Model model) {
    for (long from = 0; from <= count; ++from) {
        for (long n : steps) {
            SCOPED_TRACE("count " + std::to_string(count) + ", from " + std::to_string(from) +
                         ", n " + std::to_string(n));
            const long expected = model(from, n, count);
            CObjectList::iterator to;
            EXPECT_EQ(lists.objects.Skip(n, lists.ObjectAt(from), to), expected != count);
            EXPECT_EQ(lists.PositionOf(to), expected);
            if (from != 0) {
                continue; // the pointed-data forms start at the first record
            }
            CObjectIdentificationData object;
            object.ObjectGuid = Key(99); // a miss must clear what the record held
            const bool objectFound = lists.objects.GetPointedData(n, &object);
            EXPECT_EQ(FetchedPosition(objectFound, object.ObjectGuid, count), expected);
            EXPECT_TRUE(objectFound || IsEqualGUID(object.ObjectGuid, GUID_NULL)); // cleared
            CInterfaceIdentificationData iface;
            iface.Iid = Key(99);
            const bool ifaceFound = lists.interfaces.GetPointedData(n, &iface);
            EXPECT_EQ(FetchedPosition(ifaceFound, iface.Iid, count), expected);
            EXPECT_TRUE(ifaceFound || IsEqualGUID(iface.Iid, GUID_ALL_ONES)); // empty record
        }
    }
}

// The interface enumerator keeps its position as a number (Skip adds, Next
// counts up; -2 means exhausted) and never delivers the last record of
// several. Model: the exact number, in a wider integer.
struct EnumeratorModel {
    long count;
    bool exhausted = false;
    Wide index = 0;
    bool Skip(long n) {
        if (!exhausted && index + n < count) {
            index += n;
            exhausted = index == -2;
            return true;
        }
        exhausted = true;
        return false;
    }
    std::vector<long> Next(long celt) {
        std::vector<long> positions;
        while (!exhausted && static_cast<long>(positions.size()) < celt) {
            positions.push_back(ModularModel(index, 0, count));
            index += 1;
            exhausted = !(index + 1 < count) || index == -2;
        }
        return positions;
    }
};

std::vector<std::uint32_t> DrainInterfaces(InterfaceIdentificationData* array, long fetched) {
    std::vector<std::uint32_t> ids;
    for (long i = 0; i < fetched; ++i) {
        ids.push_back(array[i].pIUnknown == nullptr ? 0 : array[i].Iid.Data1);
        if (array[i].pIUnknown != nullptr) {
            array[i].pIUnknown->Release();
        }
        SysFreeString(array[i].Name);
    }
    return ids;
}

IKXObjectEnumeration* Enumerate(TestRegistry& registry, GUID catId) {
    IKXObjectEnumeration* e = nullptr;
    EXPECT_EQ(registry.EnumObject(&catId, &e), S_OK);
    return e;
}

} // namespace

TEST(RingPositions, SmallCountsMatchAStepByStepWalk) {
    for (long count : {0L, 1L, 3L}) {
        Lists lists(count);
        CheckListMoves(lists, count, SmallCounts(count), WalkModel);
        for (long n : SmallCounts(count)) { // the model of the extreme counts agrees
            for (long from = 0; from <= count; ++from) {
                ASSERT_EQ(ModularModel(from, n, count), WalkModel(from, n, count));
            }
        }
    }
}

TEST(RingPositions, InterfaceListSkipComparesTheExactSum) {
    Lists lists(3);
    std::vector<long> steps = SmallCounts(3);
    steps.insert(steps.end(), kExtremes.begin(), kExtremes.end());
    for (long index : {LONG_MIN, LONG_MIN + 1, -5L, -2L, -1L, 0L, 2L, 3L, LONG_MAX - 1, LONG_MAX}) {
        for (long n : steps) {
            SCOPED_TRACE("index " + std::to_string(index) + ", n " + std::to_string(n));
            long kept = index;
            EXPECT_EQ(lists.interfaces.Skip(n, &kept), static_cast<Wide>(index) + n < 3);
            EXPECT_EQ(kept, index); // only answers, never moves
        }
    }
    EXPECT_FALSE(lists.interfaces.Skip(1, nullptr));
}

// Issue 11, fault 2: huge skips overflowed (Skip(LONG_MAX) from index 1
// answered true) and a position moved by a huge count was then walked one
// link per unit under the list's lock, for centuries. Each move must give
// the modular position and return at once.
TEST(RingPositions, HugeSkipsNeitherOverflowNorWalkForEver) {
    std::vector<std::unique_ptr<Lists>> lists;
    for (long count : {0L, 1L, 3L}) {
        lists.push_back(std::make_unique<Lists>(count));
    }
    KxTest::RunWithHangWatchdog(60s, [&lists] {
        for (auto& list : lists) {
            CheckListMoves(*list, list->objects.GetCount(), kExtremes, ModularModel);
        }
    });
}

// Also the walk over one, two and three records (the last of several is
// never delivered).
TEST(RingPositions, InterfaceEnumeratorSkipsByExtremeCountsLikeTheModel) {
    CountingUnknown unknown;
    KxTest::RunWithHangWatchdog(60s, [&] {
        const long counts[] = {LONG_MIN, LONG_MIN + 1, LONG_MAX, LONG_MAX - 1, -5, -4, -1, 0, 1, 2,
                               3};
        for (long count : {1L, 2L, 3L}) {
            Lists lists(0);
            for (long i = 0; i < count; ++i) {
                lists.iids[i] = Key(static_cast<std::uint32_t>(i + 1));
                lists.interfaces.Add(&unknown, L"n", &lists.iids[i]);
            }
            TestInterfaceEnumeration* e =
                TestInterfaceEnumeration::Make(nullptr, &lists.interfaces);
            for (long first : counts) {
                for (long second : counts) {
                    SCOPED_TRACE(std::to_string(count) + " records, Skip(" + std::to_string(first) +
                                 ") then Skip(" + std::to_string(second) + ")");
                    EnumeratorModel model{count};
                    ASSERT_EQ(e->Reset(), S_OK);
                    EXPECT_EQ(e->Skip(first) == S_OK, model.Skip(first));
                    EXPECT_EQ(e->Skip(second) == S_OK, model.Skip(second));
                    if (!model.exhausted && model.index >= LONG_MIN) {
                        EXPECT_EQ(e->GetIndex(), static_cast<long>(model.index));
                    } else if (!model.exhausted) { // the nearest value with that position
                        EXPECT_EQ(ModularModel(e->GetIndex(), 0, count),
                                  ModularModel(model.index, 0, count));
                        EXPECT_LE(e->GetIndex(), LONG_MIN + count);
                    }
                    InterfaceIdentificationData array[5] = {};
                    long fetched = -1;
                    e->Next(5, &fetched, array);
                    std::vector<long> positions;
                    for (std::uint32_t id : DrainInterfaces(array, fetched)) {
                        positions.push_back(FetchedPosition(id != 0, Key(id), count));
                    }
                    EXPECT_EQ(positions, model.Next(5));
                }
            }
            e->Release();
        }
    });
}

TEST(RingPositions, ObjectEnumeratorSkipsByExtremeCounts) {
    CountingUnknown unknown;
    TestRegistry registry;
    for (std::uint32_t id = 1; id <= 3; ++id) {
        Register(registry, id, &unknown);
    }
    IKXObjectEnumeration* e = Enumerate(registry, GUID_ALL_ONES);
    EXPECT_EQ(e->Skip(LONG_MIN), S_OK); // no move for n <= 0
    EXPECT_EQ(e->Skip(LONG_MAX), S_FALSE);
    ObjectIdentificationData out[3];
    long fetched = -1;
    EXPECT_EQ(e->Next(1, &fetched, out), S_FALSE); // exhausted
    EXPECT_EQ(fetched, 0);
    EXPECT_EQ(e->Reset(), S_OK);
    EXPECT_EQ(e->Skip(LONG_MAX - 1), S_FALSE);
    EXPECT_EQ(e->Reset(), S_OK);
    EXPECT_EQ(e->Skip(LONG_MIN + 1), S_OK);
    EXPECT_EQ(e->Skip(1), S_OK);
    IKXObjectEnumeration* clone = nullptr;
    ASSERT_EQ(e->Clone(&clone), S_OK);
    EXPECT_EQ(clone->Next(1, &fetched, out), S_OK); // the clone starts at the first match
    EXPECT_EQ(e->Next(1, &fetched, out + 1), S_OK); // the original stays at its place
    EXPECT_EQ(Drain(out, 2), (std::vector<std::uint32_t>{1, 2}));
    EXPECT_EQ(e->Skip(5), S_FALSE); // past the last match: exhausted
    EXPECT_EQ(e->Skip(1), S_FALSE);
    EXPECT_EQ(e->Clone(nullptr), E_POINTER);
    clone->Release();
    e->Release();
    EXPECT_EQ(TestObjectEnumeration::Live().load(), 0);
    EXPECT_EQ(unknown.References(), 3); // the registry's own
    registry.list.Remove(static_cast<IUnknown*>(&unknown));
    registry.list.Remove(static_cast<IUnknown*>(&unknown));
}

TEST(CBObjectEnumeration, WalksTheCategoryInOrder) {
    CountingUnknown unknown;
    TestRegistry registry;
    for (std::uint32_t id = 1; id <= 4; ++id) {
        Register(registry, id, &unknown, id % 2 == 0 ? kCatA : kCatB);
    }
    IKXObjectEnumeration* e = Enumerate(registry, kCatA);
    ObjectIdentificationData array[4];
    long fetched = -1;
    EXPECT_EQ(e->Next(4, &fetched, array), S_FALSE);
    EXPECT_EQ(Drain(array, fetched), (std::vector<std::uint32_t>{2, 4}));
    e->Release();
    e = Enumerate(registry, GUID_ALL_ONES);
    EXPECT_EQ(e->Next(2, &fetched, array), S_OK);
    EXPECT_EQ(Drain(array, fetched), (std::vector<std::uint32_t>{1, 2}));
    EXPECT_EQ(e->Next(0, &fetched, array), S_OK); // celt 0: nothing fetched
    EXPECT_EQ(fetched, 0);
    EXPECT_EQ(e->Next(1, nullptr, array), S_OK); // a null count is allowed
    EXPECT_EQ(Drain(array, 1), (std::vector<std::uint32_t>{3}));
    EXPECT_EQ(e->Next(1, &fetched, nullptr), E_POINTER);
    e->Release();
    GUID key = Key(1); // an enumerator gone: a change must not touch its freed flag
    EXPECT_EQ(registry.UnregisterObject(&key, 0), S_OK);
    GUID catC = {0xCA7C, 0, 0, {0}}; // no match: everything S_FALSE
    TestObjectEnumeration* none = TestObjectEnumeration::Make(&catC, nullptr, &registry.list);
    EXPECT_EQ(none->Next(1, &fetched, array), S_FALSE);
    EXPECT_EQ(fetched, 0);
    EXPECT_EQ(none->Skip(1), S_FALSE);
    EXPECT_EQ(none->Reset(), S_FALSE);
    none->Release();
    registry.list.Remove(static_cast<IUnknown*>(&unknown));
    registry.list.Remove(static_cast<IUnknown*>(&unknown));
}

// Registration and removal half-way, and a removal between the set-up and
// the adding of the flag: invalid (nothing fetched, no clone) until Reset.
TEST(CBObjectEnumeration, ChangesInvalidateUntilReset) {
    CountingUnknown unknown;
    TestRegistry registry;
    Register(registry, 1, &unknown);
    Register(registry, 2, &unknown);
    auto* e = new TestObjectEnumeration();
    GUID any = GUID_ALL_ONES;
    e->SetMember(&any, nullptr, &registry.list);
    GUID key = Key(1);
    ASSERT_EQ(registry.UnregisterObject(&key, 0), S_OK);
    registry.list.AddEnumeration(e);
    ObjectIdentificationData array[3];
    long fetched = -1;
    for (std::uint32_t change : {0, 3, 2}) {
        SCOPED_TRACE(change);
        if (change == 3) {
            Register(registry, 3, &unknown);
        } else if (change == 2) {
            key = Key(2);
            ASSERT_EQ(registry.UnregisterObject(&key, 0), S_OK);
        }
        EXPECT_EQ(e->Next(1, &fetched, array), S_FALSE);
        EXPECT_EQ(fetched, 0);
        EXPECT_EQ(e->Skip(1), S_FALSE);
        IKXObjectEnumeration* clone = reinterpret_cast<IKXObjectEnumeration*>(0x10);
        EXPECT_EQ(e->Clone(&clone), S_FALSE);
        EXPECT_EQ(clone, reinterpret_cast<IKXObjectEnumeration*>(0x10)); // untouched
        EXPECT_EQ(e->Reset(), S_OK);
        EXPECT_EQ(e->Next(1, &fetched, array), S_OK);
        EXPECT_EQ(Drain(array, fetched), (std::vector<std::uint32_t>{change == 2 ? 3u : 2u}));
    }
    e->Release();
}

TEST(CBInterfaceEnumeration, CopiesSkipCloneAndInvalidation) {
    CountingUnknown unknown;
    Lists lists(0);
    for (std::uint32_t i = 0; i < 3; ++i) {
        lists.iids[i] = Key(i + 1);
        lists.interfaces.Add(i == 1 ? nullptr : &unknown, i == 1 ? nullptr : L"n", &lists.iids[i]);
    }
    TestInterfaceEnumeration* e = TestInterfaceEnumeration::Make(nullptr, &lists.interfaces);
    InterfaceIdentificationData array[4];
    long fetched = -1;
    EXPECT_EQ(e->Next(2, &fetched, array), S_OK); // copies owned by the caller
    EXPECT_EQ(array[0].pIUnknown, &unknown);
    EXPECT_EQ(std::wstring(array[0].Name), L"n");
    EXPECT_EQ(array[1].Name, nullptr);
    EXPECT_EQ(DrainInterfaces(array, fetched), (std::vector<std::uint32_t>{1, 0}));
    EXPECT_EQ(e->Skip(0), S_FALSE); // exhausted: index -2
    EXPECT_EQ(e->GetIndex(), -2);
    EXPECT_EQ(e->Reset(), S_OK);
    IKXInterfaceEnumeration* clone = nullptr;
    ASSERT_EQ(e->Clone(&clone), S_OK);
    lists.iids[3] = Key(4);
    lists.interfaces.Add(&unknown, L"n", &lists.iids[3]);
    EXPECT_EQ(e->Next(1, &fetched, array), S_FALSE);
    EXPECT_EQ(fetched, 0);
    EXPECT_EQ(e->Skip(1), S_FALSE);
    IKXInterfaceEnumeration* untouched = reinterpret_cast<IKXInterfaceEnumeration*>(0x20);
    EXPECT_EQ(clone->Clone(&untouched), S_FALSE);
    EXPECT_EQ(untouched, reinterpret_cast<IKXInterfaceEnumeration*>(0x20));
    EXPECT_EQ(e->Reset(), S_OK);
    EXPECT_EQ(e->Next(4, &fetched, array), S_FALSE);
    EXPECT_EQ(DrainInterfaces(array, fetched), (std::vector<std::uint32_t>{1, 0, 3}));
    clone->Release();
    e->Release();
    EXPECT_EQ(unknown.References(), 3);
}

TEST(CBInterfaceEnumeration, CannotBeSetUpOverAnEmptyList) {
    CountingUnknown unknown; // outlives the list, which releases it
    Lists lists(0);
    auto error = CatchError([&] { TestInterfaceEnumeration::Make(nullptr, &lists.interfaces); });
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->GetCondition().GetString(), "HResult was invalid");
    EXPECT_EQ(error->GetErrorCode(), S_FALSE);
    EXPECT_EQ(error->GetLine(), 42);
    EXPECT_STREQ(error->GetFileName().GetString(), "Base/Interfaces/_Src/CBInterfaceEnumeration");
    lists.iids[0] = Key(1); // no dangling flag: a change must not touch freed memory
    lists.interfaces.Add(&unknown, L"late", &lists.iids[0]);
}
