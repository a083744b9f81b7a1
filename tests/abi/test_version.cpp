// The compile-time version (KxTamarindVersion.h) agrees with the version the
// loaded library reports.
#include <gtest/gtest.h>

#include <cstdio>

#include "KxVersion.h"

TEST(Version, LoadedLibraryReportsTheVersionOfTheHeaders) {
    static_assert(KXTAMARIND_VERSION_MINOR < 100 && KXTAMARIND_VERSION_PATCH < 100, "two digits");
    EXPECT_EQ(KXTAMARIND_VERSION, KXTAMARIND_VERSION_MAJOR * 10000 +
                                      KXTAMARIND_VERSION_MINOR * 100 + KXTAMARIND_VERSION_PATCH);
    const char* loaded = KxTamarind::GetLibraryVersion();
    ASSERT_STREQ(loaded, KXTAMARIND_VERSION_STRING);
    int version[3] = {-1, -1, -1};
    char rest = 0;
    ASSERT_EQ(std::sscanf(loaded, "%d.%d.%d%c", &version[0], &version[1], &version[2], &rest), 3);
    EXPECT_EQ(version[0] * 10000 + version[1] * 100 + version[2], KXTAMARIND_VERSION);
}
