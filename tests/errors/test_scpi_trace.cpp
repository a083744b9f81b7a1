// Remote-control trace switches: the record layout and the flag-to-query
// mapping.
#include <gtest/gtest.h>

#include <cstddef>

#include "KxScpiTrace.h"

using namespace KxTamarind;

namespace {

static_assert(sizeof(ScpiTraceConfig) == 28, "fourteen 16-bit flags");
static_assert(offsetof(ScpiTraceConfig, m_usGeneral) == 0, "the general flag comes first");

// In record order, after the general flag.
const struct {
    const char* name;
    unsigned short ScpiTraceConfig::*flag;
    bool (*query)();
} kTopics[] = {
    {"Input", &ScpiTraceConfig::m_usInput, InputTraceEnabled},
    {"Output", &ScpiTraceConfig::m_usOutput, OutputTraceEnabled},
    {"Error", &ScpiTraceConfig::m_usError, ErrorTraceEnabled},
    {"Trigger", &ScpiTraceConfig::m_usTrigger, TriggerTraceEnabled},
    {"DClear", &ScpiTraceConfig::m_usDClear, DClearTraceEnabled},
    {"StatusRegister", &ScpiTraceConfig::m_usStatusRegister, StatusRegisterTraceEnabled},
    {"Connection", &ScpiTraceConfig::m_usConnection, ConnectionTraceEnabled},
    {"RemoteLocalSwitch", &ScpiTraceConfig::m_usRemoteLocalSwitch, RemoteLocalSwitchTraceEnabled},
    {"Parser", &ScpiTraceConfig::m_usParser, ParserTraceEnabled},
    {"Function", &ScpiTraceConfig::m_usFunction, FunctionTraceEnabled},
    {"RPC", &ScpiTraceConfig::m_usRPC, RPCTraceEnabled},
    {"DExecTime", &ScpiTraceConfig::m_usDExecTime, DExecTimeTraceEnabled},
    {"Locking", &ScpiTraceConfig::m_usLocking, LockingTraceEnabled},
};

int CountEnabled() {
    int n = 0;
    for (const auto& topic : kTopics) {
        n += topic.query() ? 1 : 0;
    }
    return n;
}

} // namespace

// Off before any configuration. Then each flag sits at its place in the
// record and switches exactly its query; any non-zero value is on; the
// general flag alone switches nothing.
TEST(ScpiTraceTest, EachFlagAtItsPlaceDrivesExactlyItsQuery) {
    EXPECT_EQ(CountEnabled(), 0);
    std::ptrdiff_t offset = 2;
    for (const auto& topic : kTopics) {
        SCOPED_TRACE(topic.name);
        ScpiTraceConfig config = {};
        EXPECT_EQ(reinterpret_cast<char*>(&(config.*topic.flag)) - reinterpret_cast<char*>(&config),
                  offset);
        offset += 2;
        for (unsigned short value : {1, 0x8000, 0xFFFF}) {
            config.*topic.flag = value;
            SetScpiTraceConfig(config);
            EXPECT_TRUE(topic.query());
            EXPECT_EQ(CountEnabled(), 1);
        }
    }
    ScpiTraceConfig general = {};
    general.m_usGeneral = 0xFFFF;
    SetScpiTraceConfig(general);
    EXPECT_EQ(CountEnabled(), 0);
}
