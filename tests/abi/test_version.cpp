// The compile-time version (KxTamarindVersion.h) agrees with the version the
// loaded library reports.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "KxVersion.h"

namespace {

TEST(Version, CombinedNumberIsMajorMinorPatch) {
    static_assert(KXTAMARIND_VERSION_MINOR < 100 && KXTAMARIND_VERSION_PATCH < 100,
                  "minor and patch fit two decimal digits");
    EXPECT_EQ(KXTAMARIND_VERSION, KXTAMARIND_VERSION_MAJOR * 10000 +
                                      KXTAMARIND_VERSION_MINOR * 100 + KXTAMARIND_VERSION_PATCH);
}

TEST(Version, LoadedLibraryReportsTheVersionOfTheHeaders) {
    const char* loaded = KxTamarind::GetLibraryVersion();
    ASSERT_NE(loaded, nullptr);
    EXPECT_STREQ(loaded, KXTAMARIND_VERSION_STRING);

    int major = -1;
    int minor = -1;
    int patch = -1;
    char rest = 0;
    ASSERT_EQ(std::sscanf(loaded, "%d.%d.%d%c", &major, &minor, &patch, &rest), 3) << loaded;
    EXPECT_EQ(major, KXTAMARIND_VERSION_MAJOR);
    EXPECT_EQ(minor, KXTAMARIND_VERSION_MINOR);
    EXPECT_EQ(patch, KXTAMARIND_VERSION_PATCH);
}

} // namespace
