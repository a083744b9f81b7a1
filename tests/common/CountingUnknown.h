// CountingUnknown: an IUnknown test double that counts AddRef and Release
// and answers QueryInterface for the interfaces a test gives it.
//
// It never deletes itself: tests own it (usually on the stack, declared
// before the registries that hold it) and its destructor checks that
// References() is back at 0. QueryInterface answers
// IID_IUnknown with itself and any identifier registered with Answer() with
// the given pointer (AddRef'd through that pointer); everything else is
// E_NOINTERFACE. Counts are relaxed atomics so stress tests may share one.
// ThrowOnRelease() makes the next Release throw (after counting), to drive
// the error paths of destructors.
#pragma once

#include <gtest/gtest.h>

#include <platcompat.h>

#include <atomic>
#include <utility>
#include <vector>

namespace KxTest {

class CountingUnknown : public IUnknown {
public:
    CountingUnknown() = default;
    CountingUnknown(const CountingUnknown&) = delete;
    CountingUnknown& operator=(const CountingUnknown&) = delete;
    // Every test ends with the counts back where they started: a double
    // that dies with references still held (or released too often) fails
    // the running test.
    virtual ~CountingUnknown() {
        EXPECT_EQ(References(), 0) << "CountingUnknown destroyed with unbalanced references";
    }

    // QueryInterface(iid) hands out `target` (with an AddRef on it).
    void Answer(const IID& iid, IUnknown* target) { m_Answers.emplace_back(iid, target); }
    void ThrowOnRelease(bool enable = true) { m_bThrowOnRelease = enable; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        if (ppv == nullptr) {
            return E_POINTER;
        }
        *ppv = nullptr;
        m_lQueries.fetch_add(1, std::memory_order_relaxed);
        if (IsEqualIID(riid, IID_IUnknown)) {
            AddRef();
            *ppv = static_cast<IUnknown*>(this);
            return S_OK;
        }
        for (const auto& answer : m_Answers) {
            if (IsEqualIID(answer.first, riid) && answer.second != nullptr) {
                answer.second->AddRef();
                *ppv = answer.second;
                return S_OK;
            }
        }
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override {
        m_lAddRefs.fetch_add(1, std::memory_order_relaxed);
        return static_cast<ULONG>(m_lRefs.fetch_add(1, std::memory_order_relaxed) + 1);
    }
    ULONG STDMETHODCALLTYPE Release() override {
        m_lReleases.fetch_add(1, std::memory_order_relaxed);
        long refs = m_lRefs.fetch_sub(1, std::memory_order_relaxed) - 1;
        if (m_bThrowOnRelease) {
            m_bThrowOnRelease = false;
            throw 42;
        }
        return static_cast<ULONG>(refs);
    }

    // AddRefs minus Releases since construction.
    long References() const { return m_lRefs.load(std::memory_order_relaxed); }
    long AddRefs() const { return m_lAddRefs.load(std::memory_order_relaxed); }
    long Releases() const { return m_lReleases.load(std::memory_order_relaxed); }
    long Queries() const { return m_lQueries.load(std::memory_order_relaxed); }

private:
    std::vector<std::pair<IID, IUnknown*>> m_Answers;
    std::atomic<long> m_lRefs{0};
    std::atomic<long> m_lAddRefs{0};
    std::atomic<long> m_lReleases{0};
    std::atomic<long> m_lQueries{0};
    bool m_bThrowOnRelease = false;
};

} // namespace KxTest
