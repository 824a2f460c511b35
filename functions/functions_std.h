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

// string functions (functions_string_std.cpp)
KX_SCALAR_FUNCTION(kxstd_func_ascii);
KX_SCALAR_FUNCTION(kxstd_func_bit_length);
KX_SCALAR_FUNCTION(kxstd_func_char);
KX_SCALAR_FUNCTION(kxstd_func_char_length);
KX_SCALAR_FUNCTION(kxstd_func_concat);
KX_SCALAR_FUNCTION(kxstd_func_difference);
KX_SCALAR_FUNCTION(kxstd_func_insert);
KX_SCALAR_FUNCTION(kxstd_func_lcase);
KX_SCALAR_FUNCTION(kxstd_func_left);
KX_SCALAR_FUNCTION(kxstd_func_length);
KX_SCALAR_FUNCTION(kxstd_func_locate);
KX_SCALAR_FUNCTION(kxstd_func_octet_length);
KX_SCALAR_FUNCTION(kxstd_func_position);
KX_SCALAR_FUNCTION(kxstd_func_repeat);
KX_SCALAR_FUNCTION(kxstd_func_replace);
KX_SCALAR_FUNCTION(kxstd_func_right);
KX_SCALAR_FUNCTION(kxstd_func_soundex);
KX_SCALAR_FUNCTION(kxstd_func_substring);
KX_SCALAR_FUNCTION(kxstd_func_ucase);
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
// system functions (functions_datetime.cpp, beside the family's)
KX_SCALAR_FUNCTION(kxstd_func_database);
// numeric functions (functions_numeric_std.cpp)
KX_SCALAR_FUNCTION(kxstd_func_abs);
KX_SCALAR_FUNCTION(kxstd_func_acos);
KX_SCALAR_FUNCTION(kxstd_func_asin);
KX_SCALAR_FUNCTION(kxstd_func_atan);
KX_SCALAR_FUNCTION(kxstd_func_atan2);
KX_SCALAR_FUNCTION(kxstd_func_ceiling);
KX_SCALAR_FUNCTION(kxstd_func_cos);
KX_SCALAR_FUNCTION(kxstd_func_cot);
KX_SCALAR_FUNCTION(kxstd_func_degrees);
KX_SCALAR_FUNCTION(kxstd_func_exp);
KX_SCALAR_FUNCTION(kxstd_func_floor);
KX_SCALAR_FUNCTION(kxstd_func_log);
KX_SCALAR_FUNCTION(kxstd_func_log10);
KX_SCALAR_FUNCTION(kxstd_func_mod);
KX_SCALAR_FUNCTION(kxstd_func_pi);
KX_SCALAR_FUNCTION(kxstd_func_power);
KX_SCALAR_FUNCTION(kxstd_func_radians);
KX_SCALAR_FUNCTION(kxstd_func_rand);
KX_SCALAR_FUNCTION(kxstd_func_round);
KX_SCALAR_FUNCTION(kxstd_func_sign);
KX_SCALAR_FUNCTION(kxstd_func_sin);
KX_SCALAR_FUNCTION(kxstd_func_sqrt);
KX_SCALAR_FUNCTION(kxstd_func_tan);
KX_SCALAR_FUNCTION(kxstd_func_truncate);

}  // extern "C"

#endif
