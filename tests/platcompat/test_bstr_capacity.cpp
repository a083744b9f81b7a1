// BSTR blocks with room to grow, and the per-thread cache of small blocks:
// whatever room a block has, callers see exact lengths, a NUL after the
// last character and zeroed new characters; blocks freed on other threads
// and at thread exit are neither lost nor reused while in use.
#include <malloc.h>

#include <cstdint>
#include <cstring>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platcompat/oleauto.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#define KXT_TEST_LEAK_CHECK 1
#endif

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kOwnHeap = false; // the sanitizer's allocator does not report through mallinfo2
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool kOwnHeap = false;
#else
constexpr bool kOwnHeap = true;
#endif
#else
constexpr bool kOwnHeap = true;
#endif

std::uint32_t PrefixOf(BSTR s) {
    std::uint32_t bytes;
    std::memcpy(&bytes, reinterpret_cast<const unsigned char*>(s) - 4, 4);
    return bytes;
}

// What a caller may see of `s`, against the model text.
void ExpectExactly(BSTR s, const std::wstring& model) {
    ASSERT_NE(s, nullptr);
    ASSERT_EQ(SysStringLen(s), model.size());
    EXPECT_EQ(PrefixOf(s), model.size() * sizeof(wchar_t));
    EXPECT_EQ(std::wmemcmp(s, model.data(), model.size()), 0);
    EXPECT_EQ(s[model.size()], L'\0');
}

std::size_t HeapInUse() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

} // namespace

TEST(BstrCapacity, ResizingBehavesLikeAStringResizedWithZeros) {
    // Growth one character at a time through every small size and beyond,
    // shrinks (the dropped characters must not come back) and jumps; after
    // each step every character is overwritten, so stale ones would show.
    std::vector<unsigned> lengths;
    for (unsigned n = 1; n <= 300; ++n) {
        lengths.push_back(n);
    }
    const unsigned jumps[] = {3, 290, 0, 40, 41, 5000, 17, 16, 4999, 1, 2};
    lengths.insert(lengths.end(), std::begin(jumps), std::end(jumps));
    std::mt19937 random(4711u);
    for (int i = 0; i < 200; ++i) {
        lengths.push_back(random() % 700);
    }
    BSTR s = SysAllocStringLen(nullptr, 0);
    std::wstring model;
    wchar_t mark = 1;
    for (std::size_t step = 0; step < lengths.size(); ++step) {
        SCOPED_TRACE(testing::Message() << "step " << step << " to " << lengths[step]);
        ASSERT_EQ(SysReAllocStringLen(&s, nullptr, lengths[step]), TRUE);
        model.resize(lengths[step], L'\0');
        ExpectExactly(s, model);
        for (std::size_t c = 0; c < model.size(); ++c) {
            s[c] = model[c] = static_cast<wchar_t>(mark++ | 0x100);
        }
    }
    SysFreeString(s);
}

TEST(BstrCapacity, OddByteLengthsKeepTheirTailZero) {
    BSTR s = SysAllocStringByteLen("abcdefg", 7);
    ASSERT_NE(s, nullptr);
    // Growing by characters drops the partial last character.
    ASSERT_EQ(SysReAllocStringLen(&s, nullptr, 3), TRUE);
    EXPECT_EQ(SysStringByteLen(s), 12u);
    EXPECT_EQ(std::memcmp(s, "abcd", 4), 0);
    for (int i = 1; i <= 3; ++i) {
        EXPECT_EQ(s[i], L'\0') << i;
    }
    SysFreeString(s);

    // A fresh odd-length block of the size a previous string used: the
    // bytes after the copied ones are zero, whatever the block held.
    BSTR big = SysAllocString(L"\x1111\x2222\x3333\x4444\x5555");
    SysFreeString(big);
    BSTR odd = SysAllocStringByteLen("xyzw\x01", 5);
    ASSERT_NE(odd, nullptr);
    EXPECT_EQ(SysStringByteLen(odd), 5u);
    const auto* bytes = reinterpret_cast<const unsigned char*>(odd);
    for (int i = 5; i < 12; ++i) {
        EXPECT_EQ(bytes[i], 0) << i;
    }
    SysFreeString(odd);
}

TEST(BstrCapacity, RepeatedAppendsMoveTheStringRarely) {
    // Appending one character at a time: the block grows geometrically, so
    // the string moves (is copied) only a logarithmic number of times.
    BSTR s = SysAllocStringLen(nullptr, 0);
    int moves = 0;
    for (unsigned n = 1; n <= 20000; ++n) {
        BSTR before = s;
        ASSERT_EQ(SysReAllocStringLen(&s, nullptr, n), TRUE);
        s[n - 1] = L'a' + static_cast<wchar_t>(n % 26);
        moves += s != before;
    }
    EXPECT_LE(moves, 20);
    EXPECT_EQ(SysStringLen(s), 20000u);
    EXPECT_EQ(s[19999], L'a' + 20000 % 26);
    SysFreeString(s);
}

TEST(BstrCapacity, ReassigningFromInsideTheStringWithinItsRoom) {
    BSTR s = SysAllocString(L"0123456789");
    ASSERT_EQ(SysReAllocStringLen(&s, s + 3, 4), TRUE); // overlapping, shorter
    ExpectExactly(s, L"3456");
    ASSERT_EQ(SysReAllocString(&s, L"ab"), TRUE);
    ExpectExactly(s, L"ab");
    ASSERT_EQ(SysReAllocStringLen(&s, nullptr, 6), TRUE); // the old 3456 stays gone
    ExpectExactly(s, std::wstring(L"ab\0\0\0\0", 6));
    SysFreeString(s);
}

TEST(BstrSmallBlocks, CachedBlocksAreNotReportedAsLeaks) {
#if defined(KXT_TEST_LEAK_CHECK)
    // Several blocks of one size in the cache: each is reachable only
    // through the one cached before it, as a leak check in the middle of a
    // run (a fuzzer's, after every input) must see.
    std::vector<BSTR> strings;
    for (int i = 0; i < 8; ++i) {
        strings.push_back(SysAllocStringLen(nullptr, 20));
    }
    for (BSTR& s : strings) {
        SysFreeString(s);
        s = nullptr; // no pointer of the test's own keeps them reachable
    }
    EXPECT_EQ(__lsan_do_recoverable_leak_check(), 0);
#else
    GTEST_SKIP() << "needs LeakSanitizer (the asan preset)";
#endif
}

TEST(BstrSmallBlocks, FreedOnAnotherThreadAndGivenBackWhenItEnds) {
    std::vector<BSTR> strings(3000);
    const std::size_t before = HeapInUse();
    for (std::size_t i = 0; i < strings.size(); ++i) {
        strings[i] = SysAllocStringLen(nullptr, static_cast<UINT>(i % 70));
        ASSERT_NE(strings[i], nullptr);
    }
    // The worker caches what it frees; when it ends, its cache goes back.
    std::thread worker([&strings] {
        for (BSTR s : strings) {
            SysFreeString(s);
        }
    });
    worker.join();
    if (kOwnHeap) {
        // The heap's own per-thread caches make the figure move by a few
        // chunks; a cache that was not given back holds up to 64 KB.
        EXPECT_LT(HeapInUse(), before + 16 * 1024);
    }
}

TEST(BstrSmallBlocks, AThreadLocalStringFreedAfterTheThreadsCacheIsGone) {
    // Thread-local objects die in reverse order of construction: this one,
    // made before the thread's first free, is destroyed after the cache has
    // been given back, and its free must go straight to the heap.
    struct Holder {
        BSTR s = SysAllocString(L"outlives the cache");
        ~Holder() { SysFreeString(s); }
    };
    std::thread worker([] {
        thread_local Holder holder;
        EXPECT_EQ(SysStringLen(holder.s), 18u);
        for (int i = 0; i < 100; ++i) {
            SysFreeString(SysAllocString(L"cached"));
        }
    });
    worker.join();
}

TEST(BstrSmallBlocks, StringsHandedBetweenThreadsKeepTheirText) {
    // Each thread makes strings of its own text, trades them through a
    // shared pool and frees what it takes: a block reused while still in
    // use would show as another thread's text.
    constexpr int kThreads = 4;
    constexpr int kRounds = 2000;
    std::mutex mutex;
    std::vector<std::wstring> texts;
    std::vector<std::pair<BSTR, int>> pool;
    for (int t = 0; t < kThreads; ++t) {
        texts.push_back(std::wstring(static_cast<std::size_t>(5 + 9 * t), L'a' + t));
    }
    std::vector<std::thread> threads;
    std::vector<int> bad(kThreads, 0);
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int round = 0; round < kRounds; ++round) {
                BSTR mine = SysAllocString(texts[static_cast<std::size_t>(t)].c_str());
                std::pair<BSTR, int> taken{nullptr, 0};
                {
                    std::lock_guard<std::mutex> lock(mutex);
                    pool.emplace_back(mine, t);
                    if (pool.size() > 8) {
                        taken = pool.front();
                        pool.erase(pool.begin());
                    }
                }
                if (taken.first != nullptr) {
                    bad[static_cast<std::size_t>(t)] +=
                        std::wstring(taken.first, SysStringLen(taken.first)) !=
                        texts[static_cast<std::size_t>(taken.second)];
                    SysFreeString(taken.first);
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const auto& entry : pool) {
        EXPECT_EQ(std::wstring(entry.first, SysStringLen(entry.first)),
                  texts[static_cast<std::size_t>(entry.second)]);
        SysFreeString(entry.first);
    }
    for (int t = 0; t < kThreads; ++t) {
        EXPECT_EQ(bad[static_cast<std::size_t>(t)], 0) << "thread " << t;
    }
}
