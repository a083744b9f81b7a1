// The notification sink base: results of Execute and the refusing default
// of DetachNotificationSink.
#include <gtest/gtest.h>

#include <vector>

#include "CBNotificationSink.h"
#include "CErrorObject.h"

using namespace KxTamarind;

namespace {

class TestSink : public CBNotificationSink {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** ppv) override {
        if (ppv != nullptr) {
            *ppv = nullptr;
        }
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

    std::vector<long> executed;
    HRESULT executeResult = E_FAIL;

protected:
    HRESULT DoExecute(long code) override {
        executed.push_back(code);
        return executeResult;
    }
};

class DetachableSink : public TestSink {
public:
    std::vector<long> detached;

protected:
    HRESULT DoDetachNotificationSink(long code) override {
        detached.push_back(code);
        return E_FAIL;
    }
};

} // namespace

TEST(CBNotificationSink, ExecuteIgnoresTheHookResult) {
    TestSink sink;
    IKXNotificationSink* itf = &sink;
    EXPECT_EQ(itf->Execute(7), S_OK);
    sink.executeResult = S_FALSE;
    EXPECT_EQ(itf->Execute(-1), S_OK);
    EXPECT_EQ(sink.executed, (std::vector<long>{7, -1}));
}

TEST(CBNotificationSink, DetachWithoutOverrideRaises) {
    TestSink sink;
    IKXNotificationSink* itf = &sink;
    try {
        itf->DetachNotificationSink(3);
        ADD_FAILURE() << "no error raised";
    } catch (CErrorObject* error) {
        EXPECT_STREQ(error->GetCondition().GetString(), "stop on error");
        EXPECT_STREQ(error->GetAdditionalInfo().GetString(),
                     "DetachNotificationSink is not implemented");
        EXPECT_EQ(error->GetErrorCode(), E_KX_HRESULT_ASSERT_FAILED);
        EXPECT_EQ(error->GetLine(), 35);
        EXPECT_STREQ(error->GetFileName().GetString(), "Base/Interfaces/_Src/CBNotificationSink");
        delete error;
    }
}

TEST(CBNotificationSink, DetachWithOverrideAnswersOk) {
    DetachableSink sink;
    IKXNotificationSink* itf = &sink;
    EXPECT_EQ(itf->DetachNotificationSink(9), S_OK);
    EXPECT_EQ(sink.detached, (std::vector<long>{9}));
}
