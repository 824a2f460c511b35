// functions_std.h - the routines of the standard catalogue
// (functions_std.cpp) where its results differ from the family's: hidden,
// like the family's func_ routines, and reached through kxstd_functions.
//
// Not part of the public interface. The routines follow the family's
// conventions (functions_internal.h) except that what they report is the
// standard's: SQLSTATEs of class 22 for data exceptions, "Memory allocation
// error" for memory, and the driver's component through a header in
// standard mode.
#ifndef KXSUPP_FUNCTIONS_FUNCTIONS_STD_H
#define KXSUPP_FUNCTIONS_FUNCTIONS_STD_H

#include "functions/functions_internal.h"

extern "C" {
}  // extern "C"

#endif
