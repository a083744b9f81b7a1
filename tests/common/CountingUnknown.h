// Counted<Interface>: IUnknown for a test double of Interface that lives on
// the test's stack. AddRef and Release only count (it never deletes itself)
// and its destructor fails the running test unless References() is back at
// 0. QueryInterface answers IID_IUnknown with itself and every identifier
// given to Answer() with the given pointer (AddRef'd through it); anything
// else E_NOINTERFACE. Counts are relaxed atomics, so stress tests may share
// one double. ThrowOnRelease() makes the next Release throw (after
// counting), to drive the error paths of destructors.
// CountingUnknown: the plain IUnknown of that kind.
#pragma once

#include <gtest/gtest.h>

#include <platcompat.h>

#include <atomic>
#include <utility>
#include <vector>

namespace KxTest {

template <class Interface>
class Counted : public Interface {
public:
    Counted() = default;
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
    virtual ~Counted() { EXPECT_EQ(References(), 0) << "test double dies with references held"; }

    // QueryInterface(iid) hands out `target` (with an AddRef on it).
    void Answer(const IID& iid, IUnknown* target) { m_Answers.emplace_back(iid, target); }
    void ThrowOnRelease(bool enable = true) { m_bThrowOnRelease = enable; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        if (ppv == nullptr) {
            return E_POINTER;
        }
        *ppv = nullptr;
        IUnknown* target = IsEqualIID(riid, IID_IUnknown) ? static_cast<IUnknown*>(this) : nullptr;
        for (auto answer = m_Answers.begin(); target == nullptr && answer != m_Answers.end();
             ++answer) {
            target = IsEqualIID(answer->first, riid) ? answer->second : nullptr;
        }
        if (target == nullptr) {
            return E_NOINTERFACE;
        }
        target->AddRef();
        *ppv = target;
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override {
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
    long Releases() const { return m_lReleases.load(std::memory_order_relaxed); }

private:
    std::vector<std::pair<IID, IUnknown*>> m_Answers;
    std::atomic<long> m_lRefs{0};
    std::atomic<long> m_lReleases{0};
    bool m_bThrowOnRelease = false;
};

class CountingUnknown : public Counted<IUnknown> {};

} // namespace KxTest
