// BSTR allocation against a std::wstring of the same length.
#include <benchmark/benchmark.h>

#include <string>

#include "platcompat.h"

namespace {

const wchar_t kText[] = L"0123456789abcdef"; // 16 characters

void BM_SysAllocString16(benchmark::State& state) {
    for (auto _ : state) {
        BSTR s = SysAllocString(kText);
        benchmark::DoNotOptimize(s);
        SysFreeString(s);
    }
}
BENCHMARK(BM_SysAllocString16);

void BM_StdWstring16(benchmark::State& state) {
    for (auto _ : state) {
        std::wstring s(kText);
        benchmark::DoNotOptimize(s.data());
    }
}
BENCHMARK(BM_StdWstring16);

} // namespace
