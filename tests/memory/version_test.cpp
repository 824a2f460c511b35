// The version macros of the generated header and the library's version calls.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>

#include <kxsupp.h>

TEST(Version, LibraryAnswersWithTheHeadersVersion)
{
    EXPECT_STREQ(kxsupp_version(), KXSUPP_VERSION_STRING);
    EXPECT_EQ(kxsupp_version_number(), KXSUPP_VERSION_NUMBER);
}

TEST(Version, StringIsMajorMinorPatch)
{
    char expected[32];
    std::snprintf(expected, sizeof expected, "%d.%d.%d", KXSUPP_VERSION_MAJOR,
                  KXSUPP_VERSION_MINOR, KXSUPP_VERSION_PATCH);
    EXPECT_STREQ(kxsupp_version(), expected);
}

TEST(Version, NumberOrdersVersions)
{
    EXPECT_EQ(KXSUPP_VERSION_NUMBER, KXSUPP_VERSION_MAJOR * 10000 +
                                         KXSUPP_VERSION_MINOR * 100 +
                                         KXSUPP_VERSION_PATCH);
#if KXSUPP_VERSION_NUMBER < 100
#error "the version number must be usable in #if"
#endif
}

TEST(Version, StringIsStatic)
{
    EXPECT_EQ(kxsupp_version(), kxsupp_version());
}
