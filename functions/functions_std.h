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

// date and time functions (functions_datetime_std.cpp)
KX_SCALAR_FUNCTION(kxstd_func_curdate);
KX_SCALAR_FUNCTION(kxstd_func_curtime);
KX_SCALAR_FUNCTION(kxstd_func_curtstamp);
KX_SCALAR_FUNCTION(kxstd_func_now);
KX_SCALAR_FUNCTION(kxstd_func_dayname);
KX_SCALAR_FUNCTION(kxstd_func_monthname);
KX_SCALAR_FUNCTION(kxstd_func_dayofmonth);
KX_SCALAR_FUNCTION(kxstd_func_dayofweek);
KX_SCALAR_FUNCTION(kxstd_func_dayofyear);
KX_SCALAR_FUNCTION(kxstd_func_hour);
KX_SCALAR_FUNCTION(kxstd_func_minute);
KX_SCALAR_FUNCTION(kxstd_func_second);
KX_SCALAR_FUNCTION(kxstd_func_month);
KX_SCALAR_FUNCTION(kxstd_func_quarter);
KX_SCALAR_FUNCTION(kxstd_func_week);
KX_SCALAR_FUNCTION(kxstd_func_year);
KX_SCALAR_FUNCTION(kxstd_func_extract);
KX_SCALAR_FUNCTION(kxstd_func_timestampadd);
KX_SCALAR_FUNCTION(kxstd_func_timestampdiff);

}  // extern "C"

#endif
