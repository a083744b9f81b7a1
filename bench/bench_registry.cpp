// Cost of the object registry as it grows: RegisterObject (register and
// unregister one object into a registry already holding N) and GetObject by
// GUID, at N = 10, 100, 1000 and 10000; the registry's index should keep
// both flat. Baselines measured in the same run: a plain linear search for a
// GUID in a std::vector of N (what a registry without an index costs at
// least), and a std::unordered_map look-up among 1000 GUIDs (about what an
// indexed look-up can cost, before the registry's lock and references).
#include <benchmark/benchmark.h>

#include <platcompat.h>

#include <malloc.h>

#include <algorithm>
#include <functional>
#include <list>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "CBObjectRegistration.h"
#include "CObjectList.h"
#include "CSmartObjectIdentificationData.h"
#include "KxInterfaces.h"

using namespace KxTamarind;

namespace {

// A registry component with trivial hooks; lives on the stack.
class BenchRegistry : public CBObjectRegistration {
public:
    BenchRegistry() { SetObjectList(&m_List); }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** ppv) override {
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

protected:
    HRESULT OnObjectRegistered(ObjectIdentificationData*) override { return S_OK; }
    HRESULT OnObjectUnregistered(GUID*, long) override { return S_OK; }
    IKXObjectEnumeration* CreateObjectEnumeration(GUID*) override { return nullptr; }

private:
    CObjectList m_List;
};

// A registered object: reference counting only, with a plain counter. The
// benchmarks run on one thread, and what they measure is the registry: the
// object's own AddRef and Release (an interlocked pair costs about as much
// as the registry's whole look-up on these machines) are not part of it.
class BenchObject : public IUnknown {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** ppv) override {
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_Refs; }
    ULONG STDMETHODCALLTYPE Release() override { return --m_Refs; }

private:
    ULONG m_Refs = 0;
};

GUID Key(std::uint32_t n) {
    return GUID{n, 0x5A5A, 0xA5A5, {1, 2, 3, 4, 5, 6, 7, 8}};
}

void Fill(BenchRegistry& registry, BenchObject& object, long n) {
    CComBSTR name(L"benchmark object");
    for (long i = 0; i < n; ++i) {
        ObjectIdentificationData r;
        CSmartObjectIdentificationData::InitData(r);
        r.pIUnknown = &object;
        r.ObjectGuid = Key(static_cast<std::uint32_t>(i));
        r.Name = name.m_str;
        registry.RegisterObject(&r);
    }
}

void BM_RegisterObject(benchmark::State& state) {
    BenchObject object;
    BenchRegistry registry;
    Fill(registry, object, state.range(0));
    CComBSTR name(L"newcomer");
    ObjectIdentificationData r;
    CSmartObjectIdentificationData::InitData(r);
    r.pIUnknown = &object;
    r.ObjectGuid = Key(0xFFFFFFF0u);
    r.Name = name.m_str;
    for (auto _ : state) {
        registry.RegisterObject(&r);
        registry.UnregisterObject(&r.ObjectGuid, 0);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_RegisterObject)->Arg(10)->Arg(100)->Arg(1000)->Arg(10000);

void BM_GetObject(benchmark::State& state) {
    BenchObject object;
    BenchRegistry registry;
    Fill(registry, object, state.range(0));
    // The middle record: an average linear look-up.
    GUID key = Key(static_cast<std::uint32_t>(state.range(0) / 2));
    for (auto _ : state) {
        IUnknown* found = nullptr;
        registry.GetObject(&key, 0, &found);
        benchmark::DoNotOptimize(found);
        found->Release();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_GetObject)->Arg(10)->Arg(100)->Arg(1000)->Arg(10000);

// Baseline: the same look-up as a bare linear search.
void BM_Baseline_LinearGuidSearch(benchmark::State& state) {
    std::vector<GUID> keys;
    for (long i = 0; i < state.range(0); ++i) {
        keys.push_back(Key(static_cast<std::uint32_t>(i)));
    }
    GUID key = Key(static_cast<std::uint32_t>(state.range(0) / 2));
    for (auto _ : state) {
        auto it = std::find_if(keys.begin(), keys.end(),
                               [&](const GUID& g) { return IsEqualGUID(g, key); });
        benchmark::DoNotOptimize(it);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Baseline_LinearGuidSearch)->Arg(10)->Arg(100)->Arg(1000)->Arg(10000);

// Baseline: a hash map from GUID to object, hashed over the identifier's 16
// bytes by the standard library; the same middle key as BM_GetObject.
struct GuidBytesHash {
    std::size_t operator()(const GUID& guid) const {
        return std::hash<std::string_view>()(
            std::string_view(reinterpret_cast<const char*>(&guid), sizeof guid));
    }
};
struct GuidEqual {
    bool operator()(const GUID& a, const GUID& b) const { return IsEqualGUID(a, b); }
};

void BM_Baseline_UnorderedMapGuid(benchmark::State& state) {
    BenchObject object;
    std::unordered_map<GUID, IUnknown*, GuidBytesHash, GuidEqual> map;
    for (long i = 0; i < state.range(0); ++i) {
        map.emplace(Key(static_cast<std::uint32_t>(i)), &object);
    }
    GUID key = Key(static_cast<std::uint32_t>(state.range(0) / 2));
    for (auto _ : state) {
        auto it = map.find(key);
        benchmark::DoNotOptimize(it->second);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Baseline_UnorderedMapGuid)->Arg(1000);

// Memory, not time: heap bytes per registered object (mallinfo2 of the main
// arena and the mapped blocks, around registering N objects with a
// 16-character name), and the
// same records in a plain list of copies, as the registry kept them before
// it had an index. The difference is what the index costs per object.
std::size_t HeapInUse() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

void BM_RegistryMemory(benchmark::State& state) {
    const long n = state.range(0);
    double registryBytes = 0;
    double listBytes = 0;
    for (auto _ : state) {
        BenchObject object;
        CComBSTR name(L"benchmark object");
        const std::size_t before = HeapInUse();
        {
            auto registry = std::make_unique<BenchRegistry>();
            Fill(*registry, object, n);
            registryBytes = static_cast<double>(HeapInUse() - before) / n;
        }
        const std::size_t beforeList = HeapInUse();
        {
            std::list<CObjectIdentificationData> records;
            for (long i = 0; i < n; ++i) {
                ObjectIdentificationData r;
                CSmartObjectIdentificationData::InitData(r);
                r.pIUnknown = &object;
                r.ObjectGuid = Key(static_cast<std::uint32_t>(i));
                r.Name = name.m_str;
                records.emplace_back(r);
            }
            listBytes = static_cast<double>(HeapInUse() - beforeList) / n;
        }
    }
    state.counters["registry_bytes_per_object"] = registryBytes;
    state.counters["list_bytes_per_object"] = listBytes;
}
BENCHMARK(BM_RegistryMemory)->Arg(10000)->Iterations(1);

} // namespace
