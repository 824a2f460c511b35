/*
 * version.cpp - the version of the library as built.
 *
 * Exports kxsupp_version and kxsupp_version_number. Both answer from the
 * generated kxsupp/version.h that this object was compiled with, so they
 * give the version of the library that is loaded, which a driver compares
 * with the KXSUPP_VERSION_* macros of the headers it was built with.
 */
#include "kxsupp/version.h"

static_assert(KXSUPP_VERSION_MINOR < 100 && KXSUPP_VERSION_PATCH < 100,
              "the version number keeps two decimal digits for each part");

extern "C" KX_API const char *kxsupp_version(void)
{
    return KXSUPP_VERSION_STRING;
}

extern "C" KX_API int32_t kxsupp_version_number(void)
{
    return KXSUPP_VERSION_NUMBER;
}
