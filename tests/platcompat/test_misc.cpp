// Task memory, apartments, time, debug output, last error and the start-up object.
#include <platcompat.h>

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace {

TEST(TaskMemory, ZeroSizeGivesUniqueFreeablePointers) {
    void* a = CoTaskMemAlloc(0);
    void* b = CoTaskMemAlloc(0);
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    EXPECT_NE(a, b);
    CoTaskMemFree(a);
    CoTaskMemFree(b);
    CoTaskMemFree(nullptr);
    void* grown = CoTaskMemRealloc(nullptr, 8);
    ASSERT_NE(grown, nullptr);
    EXPECT_EQ(CoTaskMemRealloc(grown, 0), nullptr);
}

TEST(Apartment, CountsEntriesPerThreadAndRefusesModelChange) {
    std::thread([] {
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_FALSE);
        EXPECT_EQ(CoInitialize(nullptr), RPC_E_CHANGED_MODE);
        CoUninitialize();
        CoUninitialize();
        // Fully left: a new model may be entered.
        EXPECT_EQ(CoInitialize(nullptr), S_OK);
        CoUninitialize();
        CoUninitialize(); // unmatched: ignored
        EXPECT_EQ(CoInitialize(nullptr), S_OK);
        CoUninitialize();
    }).join();
}

TEST(Clock, PerformanceCounterIsNanosecondsAndMonotonicAndLocalTimeInRange) {
    LARGE_INTEGER frequency, previous, now;
    ASSERT_TRUE(QueryPerformanceFrequency(&frequency));
    EXPECT_EQ(frequency.QuadPart, 1000000000LL);
    ASSERT_TRUE(QueryPerformanceCounter(&previous));
    for (int i = 0; i < 10000; ++i) {
        ASSERT_TRUE(QueryPerformanceCounter(&now));
        ASSERT_GE(now.QuadPart, previous.QuadPart);
        previous = now;
    }
    EXPECT_FALSE(QueryPerformanceCounter(nullptr));
    EXPECT_FALSE(QueryPerformanceFrequency(nullptr));
    SYSTEMTIME st;
    GetLocalTime(&st);
    const int fields[][3] = {{st.wYear, 2020, 9999},    {st.wMonth, 1, 12},  {st.wDay, 1, 31},
                             {st.wHour, 0, 23},         {st.wMinute, 0, 59}, {st.wSecond, 0, 60},
                             {st.wMilliseconds, 0, 999}};
    for (const auto& f : fields) {
        EXPECT_GE(f[0], f[1]) << &f - fields;
        EXPECT_LE(f[0], f[2]) << &f - fields;
    }
    GetLocalTime(nullptr);
}

void Collect(const char* text, void* context) {
    *static_cast<std::string*>(context) += text;
}

TEST(DebugOutput, InstalledSinkReceivesNarrowAndWideText) {
    std::string seen;
    EXPECT_EQ(SetDebugOutputSink(&Collect, &seen), nullptr);
    OutputDebugStringA("plain ");
    OutputDebugString(L"caf\u00e9 \u20ac");
    OutputDebugStringA(nullptr);
    EXPECT_EQ(SetDebugOutputSink(nullptr, nullptr), &Collect);
    EXPECT_EQ(seen, "plain caf\xC3\xA9 \xE2\x82\xAC");
    OutputDebugStringA(""); // standard error again: nothing reaches the old sink
    EXPECT_EQ(seen, "plain caf\xC3\xA9 \xE2\x82\xAC");
}

TEST(LastError, IsKeptPerThread) {
    SetLastError(ERROR_INVALID_HANDLE);
    std::thread([] {
        EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
        SetLastError(ERROR_INVALID_PARAMETER);
    }).join();
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

class RecordingStartup : public ISwpStartup {
public:
    void FatalError(const char* condition, const char*, const char*, int line, const char* message,
                    long code) override {
        seen = std::string(condition) + "|" + message + "|" + std::to_string(line) + "|" +
               std::to_string(code);
    }
    std::string seen;
};

TEST(StartupObject, InstalledObjectIsReturnedAndCalledThroughThirdSlot) {
    EXPECT_EQ(getSwpStartup(), nullptr);
    RecordingStartup startup;
    EXPECT_EQ(setSwpStartup(&startup), nullptr);
    ASSERT_EQ(getSwpStartup(), &startup);
    // The fatal-error operation is the third entry of the table of operations.
    using FatalFn =
        void (*)(ISwpStartup*, const char*, const char*, const char*, int, const char*, long);
    void** table = *reinterpret_cast<void***>(getSwpStartup());
    reinterpret_cast<FatalFn>(table[2])(getSwpStartup(), "cond", "f", "d", 7, "msg", -5);
    EXPECT_EQ(startup.seen, "cond|msg|7|-5");
    EXPECT_EQ(setSwpStartup(nullptr), &startup);
}

} // namespace
