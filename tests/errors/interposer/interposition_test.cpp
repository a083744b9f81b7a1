// The reporters reach an error manager that is loaded ahead of the library.
#include "NotifyInterposer.h"

#include <gtest/gtest.h>

#include "common/CountingUnknown.h"

namespace {

using KxTamarind::CObjectDataReferenceBase;

class Reporter : public CObjectDataReferenceBase {};

const int kProperty = 0;

TEST(NotifyErrorInterposition, ReportersReachTheInterposedSinkWithTypesEventsAndTexts) {
    auto& calls = InterposedNotifications();
    calls.clear();
    KxTest::CountingUnknown partner;
    Reporter reporter;

    reporter.SubsysError(static_cast<IUnknown*>(&partner), "a<b");
    reporter.SubsysError(static_cast<const void*>(&kProperty), "x&y");
    reporter.PropertyInfo(&kProperty, "info", true, &partner);
    reporter.PropertyInfo(&kProperty, "info", false, nullptr);
    reporter.PropertyWarning(&kProperty, "warn'", &partner);
    reporter.PropertyError(&kProperty, "\"err\"", &partner);
    CObjectDataReferenceBase::RepairedError(&reporter, &kProperty, &partner, "repaired <raw>");
    CObjectDataReferenceBase::FatalError(&reporter, nullptr, nullptr, "fatal one");
    // Only the first fatal error is notified, and no repaired one after it.
    CObjectDataReferenceBase::FatalError(nullptr, nullptr, nullptr, "fatal two");
    CObjectDataReferenceBase::RepairedError(&reporter, nullptr, nullptr, "after fatal");
    CObjectDataReferenceBase::RepairedError(nullptr, nullptr, nullptr, "after fatal");

    const struct {
        int type;
        int event;
        const void* property;
        IUnknown* partner;
        const char* text;
    } expected[] = {
        {3, 2, nullptr, &partner, "<Description>a&lt;b</Description>"},
        {3, 2, &kProperty, nullptr, "<Description>x&amp;y</Description>"},
        {1, 1, &kProperty, &partner,
         "<Description>info</Description><PropertiesChanged>1</PropertiesChanged>"},
        {1, 1, &kProperty, nullptr, "<Description>info</Description>"},
        {2, 1, &kProperty, &partner, "<Description>warn&apos;</Description>"},
        {3, 1, &kProperty, &partner, "<Description>&quot;err&quot;</Description>"},
        {5, 4, &kProperty, &partner, "repaired <raw>"},
        {6, 4, nullptr, nullptr, "fatal one"},
    };
    ASSERT_EQ(calls.size(), std::size(expected));
    for (std::size_t i = 0; i < calls.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(calls[i].origin, &reporter);
        EXPECT_EQ(calls[i].type, expected[i].type);
        EXPECT_EQ(calls[i].event, expected[i].event);
        EXPECT_EQ(calls[i].property, expected[i].property);
        EXPECT_EQ(calls[i].partner, expected[i].partner);
        EXPECT_EQ(calls[i].text, expected[i].text);
    }
    // Only PropertyError counts, until the property state is cleared.
    EXPECT_EQ(reporter.PropertyErrorCount(), 1);
    reporter.ClearPropertyState();
    EXPECT_EQ(reporter.PropertyErrorCount(), 0);
}

} // namespace
