// interval_std_internal.h - the interval kinds as the standard routines
// read them (evalint_std, parsehelp_std_datetime,
// functions_datetime_std): each kind is a run of fields from its first to
// its last, and two kinds of one family are covered by the run from the
// earlier first field to the later last one. Internal: not part of the
// public headers.
//
// Fields are numbered 0 YEAR, 1 MONTH, 2 DAY, 3 HOUR, 4 MINUTE, 5 SECOND;
// kinds are ODBC's 1 (YEAR) to 13 (MINUTE TO SECOND).
#ifndef KXSUPP_ARITH_INTERVAL_STD_INTERNAL_H
#define KXSUPP_ARITH_INTERVAL_STD_INTERNAL_H

#include <stdint.h>

#include "kxsupp/common.h"

namespace kx::stdiv {

inline constexpr int8_t kFirstField[14] = {-1, 0, 1, 2, 3, 4, 5, 0, 2, 2, 2, 3, 3, 4};
inline constexpr int8_t kLastField[14] = {-1, 0, 1, 2, 3, 4, 5, 1, 3, 4, 5, 4, 5, 5};
// Months per unit of YEAR and MONTH, seconds per unit of DAY to SECOND.
inline constexpr int64_t kFieldUnit[6] = {12, 1, 86400, 3600, 60, 1};
// The range of a field when it is not the leading one (0: always leading).
inline constexpr int64_t kFieldRange[6] = {0, 12, 0, 24, 60, 60};
inline constexpr int32_t kYearField = 0;
inline constexpr int32_t kSecondField = 5;

constexpr bool valid_kind(int32_t kind)
{
    return kind >= KX_IS_YEAR && kind <= KX_IS_MINUTE_TO_SECOND;
}

constexpr bool year_month_kind(int32_t kind)
{
    return kind == KX_IS_YEAR || kind == KX_IS_MONTH || kind == KX_IS_YEAR_TO_MONTH;
}

// Whether field lies in kind's run of fields.
constexpr bool has_field(int32_t kind, int32_t field)
{
    return valid_kind(kind) && field >= kFirstField[kind] && field <= kLastField[kind];
}

// The kind made of the fields first..last, or 0 when there is none.
constexpr int32_t kind_of_fields(int32_t first, int32_t last)
{
    for (int32_t kind = KX_IS_YEAR; kind <= KX_IS_MINUTE_TO_SECOND; ++kind)
        if (kFirstField[kind] == first && kLastField[kind] == last)
            return kind;
    return 0;
}

// The covering kind of two kinds of one family, or 0 for a year-month kind
// with a day-time one (or a kind outside 1..13).
constexpr int32_t covering_kind(int32_t a, int32_t b)
{
    if (!valid_kind(a) || !valid_kind(b) || year_month_kind(a) != year_month_kind(b))
        return 0;
    int32_t first = kFirstField[a] < kFirstField[b] ? kFirstField[a] : kFirstField[b];
    int32_t last = kLastField[a] > kLastField[b] ? kLastField[a] : kLastField[b];
    return kind_of_fields(first, last);
}

static_assert(covering_kind(KX_IS_DAY_TO_HOUR, KX_IS_DAY_TO_MINUTE) == KX_IS_DAY_TO_MINUTE);
static_assert(covering_kind(KX_IS_HOUR, KX_IS_DAY) == KX_IS_DAY_TO_HOUR);
static_assert(covering_kind(KX_IS_YEAR, KX_IS_DAY) == 0);

}  // namespace kx::stdiv

#endif
