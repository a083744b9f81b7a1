// Remote-control trace switches: the record layout and the flag-to-query
// mapping.
#include <gtest/gtest.h>

#include <cstddef>

#include "KxScpiTrace.h"

using namespace KxTamarind;

namespace {

static_assert(sizeof(ScpiTraceConfig) == 28, "fourteen 16-bit flags");

struct Topic {
    const char* name;
    unsigned short ScpiTraceConfig::*flag;
    bool (*query)();
};

// In record order, general flag excluded.
const Topic kTopics[] = {
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
    for (const Topic& topic : kTopics) {
        n += topic.query() ? 1 : 0;
    }
    return n;
}

} // namespace

TEST(ScpiTraceTest, RecordLayoutIsFourteenFlagsInOrder) {
    EXPECT_EQ(sizeof(ScpiTraceConfig), 28u);
    EXPECT_EQ(offsetof(ScpiTraceConfig, m_usGeneral), 0u);
    EXPECT_EQ(offsetof(ScpiTraceConfig, m_usDClear), 10u);
    EXPECT_EQ(offsetof(ScpiTraceConfig, m_usStatusRegister), 12u);
    EXPECT_EQ(offsetof(ScpiTraceConfig, m_usConnection), 14u);
    EXPECT_EQ(offsetof(ScpiTraceConfig, m_usLocking), 26u);
}

TEST(ScpiTraceTest, EverythingOffBeforeConfiguration) {
    EXPECT_EQ(CountEnabled(), 0);
}

TEST(ScpiTraceTest, GeneralFlagAloneEnablesNothing) {
    ScpiTraceConfig config = {};
    config.m_usGeneral = 1;
    SetScpiTraceConfig(config);
    EXPECT_EQ(CountEnabled(), 0);
}

TEST(ScpiTraceTest, EachFlagDrivesExactlyItsQuery) {
    for (const Topic& topic : kTopics) {
        SCOPED_TRACE(topic.name);
        ScpiTraceConfig config = {};
        config.*topic.flag = 1;
        SetScpiTraceConfig(config);
        EXPECT_TRUE(topic.query());
        EXPECT_EQ(CountEnabled(), 1);
    }
}

TEST(ScpiTraceTest, AnyNonZeroValueCountsAsOnAndZeroSwitchesOff) {
    for (unsigned short value :
         {static_cast<unsigned short>(1), static_cast<unsigned short>(0x8000),
          static_cast<unsigned short>(0xFFFF)}) {
        SCOPED_TRACE(value);
        ScpiTraceConfig config = {};
        for (const Topic& topic : kTopics) {
            config.*topic.flag = value;
        }
        SetScpiTraceConfig(config);
        EXPECT_EQ(CountEnabled(), 13);
    }
    SetScpiTraceConfig(ScpiTraceConfig{});
    EXPECT_EQ(CountEnabled(), 0);
}
