// Positions in the registry lists. A list of `count` records is a ring of
// count + 1 positions (the end is one of them). Every move is compared with
// a model: a step-by-step walk for small counts, modular arithmetic in a
// wider integer for the extreme ones (LONG_MIN, LONG_MAX and their
// neighbours), on the object list, the interface list and the interface
// enumerator that keeps its position as a number.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "CInterfaceList.h"
#include "CObjectList.h"
#include "common/CountingUnknown.h"
#include "common/HangWatchdog.h"
#include "registries/TestRegistry.h"

using namespace KxTamarind;
using namespace std::chrono_literals;
using KxTest::CountingUnknown;
using KxTest::TestInterfaceEnumeration;

namespace {

// An integer wide enough for the exact sum of two longs.
#if defined(__SIZEOF_INT128__)
__extension__ typedef __int128 Wide;
#else
typedef long long Wide;
#endif
static_assert(sizeof(Wide) > sizeof(long), "the model needs a wider integer");

// The end position of a ring of `count` records is `count`.
long WalkModel(long from, long n, long count) {
    long position = from;
    for (; n > 0; --n) {
        position = position == count ? 0 : position + 1;
    }
    for (; n < 0; ++n) {
        position = position == 0 ? count : position - 1;
    }
    return position;
}

long ModularModel(Wide from, Wide n, long count) {
    const Wide ring = static_cast<Wide>(count) + 1;
    Wide position = (from + n) % ring;
    if (position < 0) {
        position += ring;
    }
    return static_cast<long>(position);
}

std::vector<long> SmallCounts(long count) {
    std::vector<long> counts;
    for (long n = -3 * (count + 1); n <= 3 * (count + 1); ++n) {
        counts.push_back(n);
    }
    return counts;
}

const long kExtremes[] = {LONG_MIN, LONG_MIN + 1, LONG_MAX, LONG_MAX - 1};

// Records are named by their position: ObjectGuid.Data1 / Iid.Data1 = position + 1.
GUID Id(long position) {
    return GUID{static_cast<std::uint32_t>(position + 1), 0x2B2B, 0x3C3C, {4, 4, 4, 4, 4, 4, 4, 4}};
}

struct Lists {
    CObjectList objects;
    CInterfaceList interfaces;
    GUID iids[8];

    explicit Lists(long count) {
        for (long i = 0; i < count; ++i) {
            ObjectIdentificationData record{};
            record.ObjectGuid = Id(i);
            record.SortIndex = -2; // arrival order
            objects.Add(record);
            iids[i] = Id(i);
            interfaces.Add(nullptr, L"n", &iids[i]);
        }
    }

    CObjectList::iterator ObjectAt(long position) {
        CObjectList::iterator it = objects.End();
        objects.GetListStart(it);
        for (long i = 0; i < position; ++i) {
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

// The position a fetched record stands for: its name, or `count` for the
// end (an empty record).
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
            const bool objectFound = lists.objects.GetPointedData(n, &object);
            EXPECT_EQ(FetchedPosition(objectFound, object.ObjectGuid, count), expected);
            CInterfaceIdentificationData iface;
            const bool ifaceFound = lists.interfaces.GetPointedData(n, &iface);
            EXPECT_EQ(FetchedPosition(ifaceFound, iface.Iid, count), expected);
            if (!ifaceFound) {
                EXPECT_TRUE(IsEqualGUID(iface.Iid, GUID_ALL_ONES)); // the empty record
            }
        }
    }
}

} // namespace

TEST(RingPositions, SmallCountsMatchAStepByStepWalk) {
    for (long count : {0L, 1L, 3L}) {
        Lists lists(count);
        CheckListMoves(lists, count, SmallCounts(count), WalkModel);
        // The modular model used for the extreme counts agrees with the walk.
        for (long n : SmallCounts(count)) {
            for (long from = 0; from <= count; ++from) {
                ASSERT_EQ(ModularModel(from, n, count), WalkModel(from, n, count));
            }
        }
    }
}

TEST(RingPositions, InterfaceListSkipComparesTheExactSum) {
    CInterfaceList list;
    GUID iids[3] = {Id(0), Id(1), Id(2)};
    for (const GUID& iid : iids) {
        list.Add(nullptr, L"n", &iid);
    }
    const long indexes[] = {LONG_MIN, LONG_MIN + 1, -5, -2, -1, 0, 1, 2, 3, LONG_MAX - 1, LONG_MAX};
    std::vector<long> steps = SmallCounts(3);
    steps.insert(steps.end(), std::begin(kExtremes), std::end(kExtremes));
    for (long index : indexes) {
        for (long n : steps) {
            SCOPED_TRACE("index " + std::to_string(index) + ", n " + std::to_string(n));
            long kept = index;
            EXPECT_EQ(list.Skip(n, &kept), static_cast<Wide>(index) + n < 3);
            EXPECT_EQ(kept, index); // only answers, never moves
        }
    }
    EXPECT_FALSE(list.Skip(1, nullptr));
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
        const std::vector<long> steps(std::begin(kExtremes), std::end(kExtremes));
        for (auto& list : lists) {
            const long count = list->objects.GetCount();
            CheckListMoves(*list, count, steps, ModularModel);
        }
    });
}

// The interface enumerator keeps its position as a number (Skip adds, Next
// counts up); Next fetches the record at that number's ring position. Model:
// the exact number, in a wider integer.
struct EnumeratorModel {
    long count;
    bool exhausted = false;
    Wide index = 0;

    bool Skip(long n) {
        if (exhausted) {
            return false;
        }
        if (index + n < count) {
            index += n;
            exhausted = index == -2; // the number that means exhausted
            return true;
        }
        exhausted = true;
        return false;
    }
    // Ring positions of the records Next(celt) delivers.
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

TEST(RingPositions, InterfaceEnumeratorSkipsByExtremeCountsLikeTheModel) {
    const long count = 3;
    CountingUnknown unknown;
    CInterfaceList list;
    const GUID iids[count] = {Id(0), Id(1), Id(2)};
    for (const GUID& iid : iids) {
        list.Add(&unknown, L"n", &iid);
    }
    KxTest::RunWithHangWatchdog(60s, [&] {
        const long counts[] = {LONG_MIN, LONG_MIN + 1, LONG_MAX, LONG_MAX - 1, -5, -4, -1, 0, 1, 2,
                               3};
        TestInterfaceEnumeration* e = TestInterfaceEnumeration::Make(nullptr, &list);
        for (long first : counts) {
            for (long second : counts) {
                SCOPED_TRACE("Skip(" + std::to_string(first) + ") then Skip(" +
                             std::to_string(second) + ")");
                EnumeratorModel model{count};
                ASSERT_EQ(e->Reset(), S_OK);
                EXPECT_EQ(e->Skip(first) == S_OK, model.Skip(first));
                EXPECT_EQ(e->Skip(second) == S_OK, model.Skip(second));
                if (!model.exhausted) {
                    // The kept number has the model's ring position; it is
                    // exact whenever long can hold it, else the nearest
                    // value with that position.
                    EXPECT_EQ(ModularModel(e->GetIndex(), 0, count),
                              ModularModel(model.index, 0, count));
                    if (model.index >= LONG_MIN) {
                        EXPECT_EQ(e->GetIndex(), static_cast<long>(model.index));
                    } else {
                        EXPECT_LE(e->GetIndex(), LONG_MIN + count);
                    }
                }
                InterfaceIdentificationData array[5] = {};
                long fetched = -1;
                e->Next(5, &fetched, array);
                std::vector<long> positions;
                for (long i = 0; i < fetched; ++i) {
                    positions.push_back(
                        FetchedPosition(array[i].pIUnknown != nullptr, array[i].Iid, count));
                    if (array[i].pIUnknown != nullptr) {
                        array[i].pIUnknown->Release();
                    }
                    SysFreeString(array[i].Name);
                }
                EXPECT_EQ(positions, model.Next(5));
            }
        }
        e->Release();
    });
}

TEST(RingPositions, ObjectEnumeratorSkipsByExtremeCounts) {
    CountingUnknown unknown;
    KxTest::TestRegistry registry;
    for (long i = 0; i < 3; ++i) {
        ObjectIdentificationData record{};
        record.pIUnknown = &unknown;
        record.ObjectGuid = Id(i);
        record.CatId = GUID_ALL_ONES;
        record.SortIndex = -2;
        registry.RegisterObject(&record);
    }
    GUID any = GUID_ALL_ONES;
    KxTest::TestObjectEnumeration* e =
        KxTest::TestObjectEnumeration::Make(&any, nullptr, &registry.list);
    EXPECT_EQ(e->Skip(LONG_MIN), S_OK); // no move for n <= 0
    EXPECT_EQ(e->Skip(LONG_MAX), S_FALSE);
    ObjectIdentificationData out{};
    long fetched = -1;
    EXPECT_EQ(e->Next(1, &fetched, &out), S_FALSE); // exhausted
    EXPECT_EQ(fetched, 0);
    EXPECT_EQ(e->Reset(), S_OK);
    EXPECT_EQ(e->Skip(LONG_MAX - 1), S_FALSE);
    EXPECT_EQ(e->Reset(), S_OK);
    EXPECT_EQ(e->Skip(LONG_MIN + 1), S_OK);
    EXPECT_EQ(e->Next(1, &fetched, &out), S_OK);
    EXPECT_EQ(out.ObjectGuid.Data1, 1u); // still at the first record
    out.pIUnknown->Release();
    SysFreeString(out.Name);
    e->Release();
    EXPECT_EQ(unknown.References(), 3); // the registry's own
}
