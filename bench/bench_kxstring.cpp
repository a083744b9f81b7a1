// CKxString against std::wstring, measured in the same run: appending,
// searching and splitting. Each BM_KxString_X has a BM_StdWString_X baseline
// doing the same work, so a script can pair them by name and print ratios.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "CKxString.h"
#include "CKxStringList.h"

using KxTamarind::CKxString;
using KxTamarind::CKxStringList;

namespace {

constexpr int kAppends = 1000;
const wchar_t kPiece[] = L"0123456789abcdef"; // 16 characters

// 10,000 characters with the needle only at the very end.
std::wstring SearchText() {
    std::wstring text(10000 - 10, L'a');
    text += L"needle0123";
    return text;
}
const wchar_t kNeedle[] = L"needle0123";

// 10,000 characters with 1000 separators (every tenth character).
std::wstring SplitText() {
    std::wstring text;
    for (int i = 0; i < 1000; ++i) {
        text += L"abcdefghi,";
    }
    return text;
}

void BM_KxString_Append(benchmark::State& state) {
    const CKxString piece(kPiece);
    for (auto _ : state) {
        CKxString s;
        for (int i = 0; i < kAppends; ++i) {
            s += piece;
        }
        benchmark::DoNotOptimize(static_cast<wchar_t*>(s));
    }
}
BENCHMARK(BM_KxString_Append);

void BM_StdWString_Append(benchmark::State& state) {
    const std::wstring piece(kPiece);
    for (auto _ : state) {
        std::wstring s;
        for (int i = 0; i < kAppends; ++i) {
            s += piece;
        }
        benchmark::DoNotOptimize(s.data());
    }
}
BENCHMARK(BM_StdWString_Append);

void BM_KxString_Find(benchmark::State& state) {
    const CKxString text(SearchText());
    const CKxString needle(kNeedle);
    for (auto _ : state) {
        benchmark::DoNotOptimize(text.Find(needle));
    }
}
BENCHMARK(BM_KxString_Find);

void BM_StdWString_Find(benchmark::State& state) {
    const std::wstring text(SearchText());
    const std::wstring needle(kNeedle);
    for (auto _ : state) {
        benchmark::DoNotOptimize(text.find(needle));
    }
}
BENCHMARK(BM_StdWString_Find);

void BM_KxString_Split(benchmark::State& state) {
    const CKxString text(SplitText());
    const CKxString separator(L",");
    for (auto _ : state) {
        CKxStringList list;
        text.Split(list, separator, true);
        benchmark::DoNotOptimize(list.GetSize());
    }
}
BENCHMARK(BM_KxString_Split);

void BM_StdWString_Split(benchmark::State& state) {
    const std::wstring text(SplitText());
    for (auto _ : state) {
        std::vector<std::wstring> parts;
        std::size_t pos = 0;
        while (pos < text.size()) {
            std::size_t next = text.find(L',', pos);
            if (next == std::wstring::npos) {
                next = text.size();
            }
            parts.emplace_back(text, pos, next - pos);
            pos = next + 1;
        }
        benchmark::DoNotOptimize(parts.data());
    }
}
BENCHMARK(BM_StdWString_Split);

} // namespace
