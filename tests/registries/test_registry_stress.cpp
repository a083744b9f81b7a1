// Bounded stress: threads register and unregister objects while others
// enumerate and look up the same registry. Run under ThreadSanitizer; no
// crash, no race, and the registry ends with exactly what was left.
#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

#include "CSmartObjectIdentificationData.h"
#include "common/CountingUnknown.h"
#include "registries/TestRegistry.h"

using namespace KxTamarind;
using KxTest::CountingUnknown;
using KxTest::TestRegistry;

namespace {

constexpr int kOperations = 2000;
constexpr std::uint32_t kWriters = 2;
constexpr int kKeepEvery = 10; // every 10th object stays registered

GUID Key(std::uint32_t writer, std::uint32_t i) {
    return GUID{writer,
                static_cast<std::uint16_t>(i & 0xFFFF),
                static_cast<std::uint16_t>(i >> 16),
                {7, 7, 7, 7, 7, 7, 7, 7}};
}

void Writer(TestRegistry& registry, CountingUnknown& unknown, std::uint32_t writer,
            std::atomic<bool>& go) {
    CComBSTR name(L"stress");
    while (!go.load()) {
        std::this_thread::yield();
    }
    for (int i = 0; i < kOperations / 2; ++i) {
        ObjectIdentificationData r;
        CSmartObjectIdentificationData::InitData(r);
        r.pIUnknown = &unknown;
        r.ObjectGuid = Key(writer, static_cast<std::uint32_t>(i));
        r.SortIndex = (i % 3 == 0) ? -2 : i % 7;
        r.Name = name.m_str;
        ASSERT_EQ(registry.RegisterObject(&r), S_OK);
        std::this_thread::yield(); // let the readers see the record
        if (i % kKeepEvery != 0) {
            ASSERT_EQ(registry.UnregisterObject(&r.ObjectGuid, 0), S_OK);
        }
        std::this_thread::yield();
    }
}

void Reader(TestRegistry& registry, std::atomic<bool>& writersDone, long& delivered, long& resets,
            std::atomic<bool>& go) {
    while (!go.load()) {
        std::this_thread::yield();
    }
    GUID any = GUID_ALL_ONES;
    ObjectIdentificationData array[4];
    // At least kOperations rounds, and on until the writers are done, so the
    // readers overlap the whole writing phase.
    for (int op = 0; op < kOperations || !writersDone.load(); ++op) {
        IKXObjectEnumeration* e = nullptr;
        if (registry.EnumObject(&any, &e) != S_OK) {
            continue; // empty for a moment
        }
        for (int step = 0; step < 8; ++step) {
            long fetched = 0;
            HRESULT hr = e->Next(4, &fetched, array);
            for (long i = 0; i < fetched; ++i) {
                CSmartObjectIdentificationData::ClearData(array[i]);
            }
            delivered += fetched;
            if (hr == S_FALSE) {
                e->Reset(); // invalidated (0 fetched) or at the end
                ++resets;
            }
        }
        e->Release();
        GUID probe = Key(0, static_cast<std::uint32_t>(op));
        IUnknown* got = nullptr;
        if (registry.GetObject(&probe, 0, &got) == S_OK && got != nullptr) {
            got->Release();
        }
    }
}

} // namespace

TEST(RegistryStress, RegisterUnregisterWhileEnumerating) {
    CountingUnknown unknown;
    {
        TestRegistry registry;
        std::atomic<bool> writersDone{false};
        std::atomic<bool> go{false}; // all threads start together
        long delivered[2] = {0, 0};
        long resets[2] = {0, 0};
        std::vector<std::thread> threads;
        for (std::uint32_t w = 0; w < kWriters; ++w) {
            threads.emplace_back(Writer, std::ref(registry), std::ref(unknown), w, std::ref(go));
        }
        threads.emplace_back(Reader, std::ref(registry), std::ref(writersDone),
                             std::ref(delivered[0]), std::ref(resets[0]), std::ref(go));
        threads.emplace_back(Reader, std::ref(registry), std::ref(writersDone),
                             std::ref(delivered[1]), std::ref(resets[1]), std::ref(go));
        go.store(true);
        threads[0].join();
        threads[1].join();
        writersDone.store(true);
        threads[2].join();
        threads[3].join();
        EXPECT_GT(delivered[0] + delivered[1], 0);

        const long kept = static_cast<long>(kWriters) * (kOperations / 2 / kKeepEvery);
        long count = 0;
        ASSERT_EQ(registry.GetObjectCount(&count), S_OK);
        EXPECT_EQ(count, kept);
        EXPECT_EQ(unknown.References(), kept);

        // Exactly the kept keys, each once.
        ObjectIdentificationData* array = nullptr;
        ASSERT_EQ(registry.GetObjects(nullptr, &count, &array), S_OK);
        ASSERT_EQ(count, kept);
        std::set<std::pair<std::uint32_t, std::uint32_t>> keys;
        for (long i = 0; i < count; ++i) {
            const GUID& g = array[i].ObjectGuid;
            keys.insert({g.Data1, static_cast<std::uint32_t>(g.Data2) |
                                      (static_cast<std::uint32_t>(g.Data3) << 16)});
            CSmartObjectIdentificationData::ClearData(array[i]);
        }
        CoTaskMemFree(array);
        EXPECT_EQ(static_cast<long>(keys.size()), kept);

        for (std::uint32_t w = 0; w < kWriters; ++w) {
            for (int i = 0; i < kOperations / 2; i += kKeepEvery) {
                EXPECT_EQ(keys.count({w, static_cast<std::uint32_t>(i)}), 1u);
            }
        }
        EXPECT_EQ(KxTest::TestObjectEnumeration::Live().load(), 0);
        EXPECT_EQ(registry.refs.load(), 0);
    }
    EXPECT_EQ(unknown.References(), 0);
}
