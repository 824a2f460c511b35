// What the SQL text printer takes from parse/parsehelp_print_std.cpp: the
// literal texts of the standard printing (kxstd_sql92_print_*). Not part of
// the public headers.
#ifndef KXSUPP_PARSE_PARSEHELP_PRINT_STD_H
#define KXSUPP_PARSE_PARSEHELP_PRINT_STD_H

#include <stddef.h>

#include "kxsupp/common.h"

namespace kx::sqlprint {

// Room that standard_literal may fill: the longest literal it writes (a
// numeric of scale -128 or 127, an interval of 20-digit fields) is shorter.
inline constexpr size_t kLiteralRoom = 256;

// The text of a value as the standard printing gives it, a literal that
// reads back as the same value: written into out (at least kLiteralRoom
// octets, not terminated), its length returned. Every value but a non-NULL
// character string or binary string, whose texts have no bound and which
// the printer writes itself (literal_is_bounded tells them apart).
//  - a NULL (the type VALUE_NULL or a nonzero null flag): " NULL ";
//  - an integer "%d " and a bigint its 64-bit number, then a blank;
//  - a double "%.17g" with an exponent always, written E and without a
//    sign or leading zeros when positive (2.5E0, 1.5E-7, 1E300); an
//    infinite or NaN double, which no literal writes, the unexpected-value
//    text;
//  - a numeric every digit of its magnitude at its own scale (1.50 stays
//    1.50, scale -2 appends two zeros), "-" first when negative and not
//    zero;
//  - a bit B'0' or B'1' and a blank;
//  - DATE 'yyyy-mm-dd', TIME 'hh:mm:ss', TIMESTAMP 'yyyy-mm-dd hh:mm:ss'
//    and the fraction's significant digits after a point (a fraction of
//    10^9 or more is no fraction: the unexpected-value text);
//  - an interval INTERVAL '[-]fields' and its qualifier, the sign inside the
//    quotes, trailing fields within their ranges (what lies beyond carries
//    into the field before), the leading precision widened to the leading
//    field's digits and the seconds precision to the fraction's (a leaf
//    whose leading precision is outside 1 to 9 keeps no precisions: the
//    defaults 2 and 6);
//  - CURRENT_DATE, CURRENT_TIME, CURRENT_TIMESTAMP and USER, then a blank;
//  - any other type "<unexpected value type>".
size_t standard_literal(const Value *value, char *out);

// True for the values standard_literal writes; false for a non-NULL
// character string or binary string.
bool literal_is_bounded(const Value *value);

}  // namespace kx::sqlprint

#endif
