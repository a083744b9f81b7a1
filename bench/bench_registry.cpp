// Cost of the object registry as it grows: RegisterObject (register and
// unregister one object into a registry already holding N) and GetObject by
// GUID, at N = 10, 100 and 1000. The baseline is a plain linear search for
// a GUID in a std::vector of N, measured in the same run, so the ratio
// shows the registry's own overhead (lock, record copies, references) on
// top of the linear walk its list implies.
#include <benchmark/benchmark.h>

#include <platcompat.h>

#include <algorithm>
#include <atomic>
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

// A registered object: reference counting only.
class BenchObject : public IUnknown {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** ppv) override {
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_Refs; }
    ULONG STDMETHODCALLTYPE Release() override { return --m_Refs; }

private:
    std::atomic<ULONG> m_Refs{0};
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
BENCHMARK(BM_RegisterObject)->Arg(10)->Arg(100)->Arg(1000);

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
BENCHMARK(BM_GetObject)->Arg(10)->Arg(100)->Arg(1000);

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
BENCHMARK(BM_Baseline_LinearGuidSearch)->Arg(10)->Arg(100)->Arg(1000);

} // namespace
