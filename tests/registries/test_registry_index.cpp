// The index beside the registry lists, against a model: random insertions
// (appended and by sort index), removals by every key and position moves on
// lists full of duplicate keys, with a fixed seed. After each step every
// look-up must name the record a walk of the list in order names: the first
// match, any instance for -1, the insertion place of each sort index, and
// the record at positions far beyond the short walks.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "CInterfaceList.h"
#include "CObjectList.h"
#include "common/CountingUnknown.h"

using namespace KxTamarind;
using KxTest::CountingUnknown;

namespace {

// Few distinct keys, so that most records share their key with others.
constexpr std::uint32_t kGuids = 6;
const long kInstances[] = {-1, 0, 1, 2};
constexpr long kSortIndexes = 7; // sort indexes 0..6, besides -2

GUID Guid(std::uint32_t n) {
    return GUID{n, 0x600D, 0xF00D, {1, 2, 3, 4, 5, 6, 7, 8}};
}

// A record of the model; `id` is also the record's name, so results can be
// told apart even when their keys are equal.
struct Model {
    std::uint32_t guid;
    long instance;
    long sortIndex;
    int id;
};

std::wstring Name(int id) {
    return L"r" + std::to_wstring(id);
}

// The model's answer for a position n steps from position `from` (count is
// the end) on the ring of count + 1 positions.
long RingModel(long from, long n, long count) {
    const long long ring = count + 1;
    long long r = (static_cast<long long>(from) + n % ring) % ring;
    return static_cast<long>(r < 0 ? r + ring : r);
}

// Positions worth checking: both ends, the middle and far beyond the ring.
std::vector<long> Moves(long count) {
    return {0,  1,  9,      count / 2,    count - 1, count,    count + 1,   3 * count + 2,
            -1, -9, -count, -(count + 1), LONG_MAX,  LONG_MIN, LONG_MIN + 1};
}

class ObjectListModel {
public:
    explicit ObjectListModel(CountingUnknown& unknown) : m_unknown(unknown) {}

    void Add(std::uint32_t guid, long instance, long sortIndex) {
        const int id = m_next++;
        const std::wstring name = Name(id);
        ObjectIdentificationData data{};
        data.pIUnknown = &m_unknown;
        data.ObjectGuid = Guid(guid);
        data.CatId = GUID_ALL_ONES;
        data.SortIndex = sortIndex;
        data.Name = const_cast<wchar_t*>(name.c_str()); // copied by Add
        data.InstanceNumber = instance;
        m_list.Add(data);
        // Where the list says a record goes: before the insertion record.
        std::size_t at = m_model.size();
        if (sortIndex != -2) {
            at = InsertionModel(sortIndex);
        }
        m_model.insert(m_model.begin() + static_cast<long>(at),
                       Model{guid, instance, sortIndex, id});
    }

    // The first record whose key matches, removed from both.
    void RemoveKey(std::uint32_t guid, long instance) {
        const long found = FirstModel(guid, instance);
        EXPECT_EQ(m_list.Remove(Guid(guid), instance), found >= 0);
        if (found >= 0) {
            m_model.erase(m_model.begin() + found);
        }
    }

    void RemoveByName(int id) {
        long found = -1;
        for (std::size_t i = 0; i < m_model.size() && found < 0; ++i) {
            if (m_model[i].id == id) {
                found = static_cast<long>(i);
            }
        }
        EXPECT_EQ(m_list.Remove(Name(id).c_str()), found >= 0);
        if (found >= 0) {
            m_model.erase(m_model.begin() + found);
        }
    }

    void RemoveBySortIndex(long sortIndex) {
        long found = -1;
        for (std::size_t i = 0; i < m_model.size() && found < 0; ++i) {
            if (m_model[i].sortIndex == sortIndex) {
                found = static_cast<long>(i);
            }
        }
        EXPECT_EQ(m_list.Remove(sortIndex), found >= 0);
        if (found >= 0) {
            m_model.erase(m_model.begin() + found);
        }
    }

    // Every key look-up, every insertion place and the positions.
    void Check() {
        const long count = static_cast<long>(m_model.size());
        ASSERT_EQ(m_list.GetCount(), count);
        CCritSectionLocker locker(m_list);
        for (std::uint32_t guid = 0; guid < kGuids; ++guid) {
            for (long instance : kInstances) {
                SCOPED_TRACE(testing::Message() << "key " << guid << "/" << instance);
                EXPECT_EQ(IdAt(m_list.FindIndex(Guid(guid), instance)),
                          IdOf(FirstModel(guid, instance)));
            }
        }
        for (long sortIndex = -3; sortIndex <= kSortIndexes; ++sortIndex) {
            SCOPED_TRACE(testing::Message() << "insertion of sort index " << sortIndex);
            EXPECT_EQ(IdAt(m_list.FindIndexForInsert(sortIndex)),
                      IdOf(static_cast<long>(InsertionModel(sortIndex))));
        }
        const long froms[] = {0, count / 3, count - 1, count};
        for (long from : froms) {
            if (from < 0) {
                continue;
            }
            const CObjectList::iterator start = Position(from);
            for (long n : Moves(count)) {
                SCOPED_TRACE(testing::Message() << "from " << from << " by " << n);
                CObjectList::iterator to;
                m_list.Skip(n, start, to);
                EXPECT_EQ(IdAt(to), IdOf(RingModel(from, n, count)));
            }
        }
        for (long n : Moves(count)) {
            CObjectIdentificationData out;
            m_list.GetPointedData(n, &out);
            const long at = RingModel(0, n, count);
            EXPECT_EQ(out.Name == nullptr ? -1 : std::stoi(std::wstring(out.Name).substr(1)),
                      IdOf(at))
                << "GetPointedData(" << n << ")";
        }
    }

    std::size_t Size() const { return m_model.size(); }
    int IdOfIndex(std::size_t i) const { return m_model[i].id; }

private:
    long FirstModel(std::uint32_t guid, long instance) const {
        for (std::size_t i = 0; i < m_model.size(); ++i) {
            if (m_model[i].guid == guid && (instance == -1 || m_model[i].instance == instance)) {
                return static_cast<long>(i);
            }
        }
        return -1;
    }

    // The list's rule, as a walk: the first record if the key is below the
    // first record's; else the last record of the leading run of records
    // whose sort index is not greater than the key.
    std::size_t InsertionModel(long key) const {
        if (m_model.empty() || key < m_model[0].sortIndex) {
            return 0;
        }
        std::size_t at = 0;
        while (at + 1 < m_model.size() && m_model[at + 1].sortIndex <= key) {
            ++at;
        }
        return at;
    }

    // The id at a model position, -1 for the end.
    int IdOf(long position) const {
        return position < 0 || position >= static_cast<long>(m_model.size())
                   ? -1
                   : m_model[static_cast<std::size_t>(position)].id;
    }

    int IdAt(CObjectList::iterator it) {
        return it == m_list.End() ? -1 : std::stoi(std::wstring(it->Name).substr(1));
    }

    // The iterator of a model position, by walking the list.
    CObjectList::iterator Position(long position) {
        CObjectList::iterator it = m_list.End();
        m_list.GetListStart(it);
        for (long i = 0; i < position; ++i) {
            ++it;
        }
        return it;
    }

    CountingUnknown& m_unknown;
    CObjectList m_list;
    std::vector<Model> m_model;
    int m_next = 0;
};

} // namespace

TEST(RegistryIndex, ObjectListAgreesWithAWalkAfterRandomChanges) {
    CountingUnknown unknown; // outlives the list: its count ends at 0
    ObjectListModel lists(unknown);
    std::mt19937 random(20240515u);
    auto pick = [&random](long below) {
        return static_cast<long>(std::uniform_int_distribution<long>(0, below - 1)(random));
    };
    std::size_t largest = 0;
    for (int step = 0; step < 1500; ++step) {
        largest = std::max(largest, lists.Size());
        // Grow to about 120 records, then hover around that size.
        const long choice = pick(10);
        const bool grow = lists.Size() < 120 ? choice < 7 : choice < 5;
        if (grow) {
            const long sortIndex = pick(3) == 0 ? -2 : pick(kSortIndexes);
            lists.Add(static_cast<std::uint32_t>(pick(kGuids)), kInstances[pick(4)], sortIndex);
        } else if (choice % 3 == 0 && lists.Size() > 0) {
            lists.RemoveByName(
                lists.IdOfIndex(static_cast<std::size_t>(pick(static_cast<long>(lists.Size())))));
        } else if (choice % 3 == 1) {
            lists.RemoveBySortIndex(pick(kSortIndexes));
        } else {
            lists.RemoveKey(static_cast<std::uint32_t>(pick(kGuids)), kInstances[pick(4)]);
        }
        if (step % 10 == 0 || lists.Size() < 3) {
            SCOPED_TRACE(testing::Message() << "after step " << step);
            lists.Check();
            if (HasFailure()) {
                return;
            }
        }
    }
    EXPECT_GE(largest, 100u) << "the walk never reached a list where long moves use the index";
}

TEST(RegistryIndex, InterfaceListAgreesWithAWalkAfterRandomChanges) {
    CountingUnknown unknown;
    CInterfaceList list;
    std::vector<std::pair<std::uint32_t, int>> model; // Iid number and id
    std::mt19937 random(77u);
    int next = 0;
    std::size_t largest = 0;
    for (int step = 0; step < 1500; ++step) {
        largest = std::max(largest, model.size());
        const std::uint32_t iid = random() % kGuids;
        if (random() % 10 < (model.size() < 100 ? 7u : 5u)) {
            const GUID key = Guid(iid);
            list.Add(&unknown, Name(next).c_str(), &key);
            model.emplace_back(iid, next++);
        } else {
            std::size_t found = model.size();
            for (std::size_t i = 0; i < model.size() && found == model.size(); ++i) {
                found = model[i].first == iid ? i : found;
            }
            const GUID key = Guid(iid);
            EXPECT_EQ(list.Remove(&key), found < model.size());
            if (found < model.size()) {
                model.erase(model.begin() + static_cast<long>(found));
            }
        }
        if (step % 10 != 0) {
            continue;
        }
        SCOPED_TRACE(testing::Message() << "after step " << step);
        CCritSectionLocker locker(list);
        for (std::uint32_t k = 0; k < kGuids; ++k) {
            const GUID key = Guid(k);
            int expected = -1;
            for (std::size_t i = 0; i < model.size() && expected < 0; ++i) {
                expected = model[i].first == k ? model[i].second : -1;
            }
            CInterfaceList::iterator it = list.FindIndex(&key);
            EXPECT_EQ(it == list.End() ? -1 : std::stoi(std::wstring(it->Name).substr(1)), expected)
                << "Iid " << k;
        }
        const long count = static_cast<long>(model.size());
        for (long n : Moves(count)) {
            CInterfaceIdentificationData out;
            list.GetPointedData(n, &out);
            const long at = RingModel(0, n, count);
            EXPECT_EQ(out.Name == nullptr ? -1 : std::stoi(std::wstring(out.Name).substr(1)),
                      at < count ? model[static_cast<std::size_t>(at)].second : -1)
                << "GetPointedData(" << n << ")";
        }
        if (HasFailure()) {
            return;
        }
    }
    EXPECT_GE(largest, 80u) << "the walk never reached a list where long moves use the index";
}
