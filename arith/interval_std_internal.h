// interval_std_internal.h - the interval kinds as the standard routines
// read them (evalint_std, parsehelp_std_datetime,
// functions_datetime_std): each kind is a run of fields from its first to
// its last, and two kinds of one family are covered by the run from the
// earlier first field to the later last one. Internal: not part of the
// public headers.
//
// Fields are numbered 0 YEAR, 1 MONTH, 2 DAY, 3 HOUR, 4 MINUTE, 5 SECOND;
// kinds are ODBC's 1 (YEAR) to 13 (MINUTE TO SECOND). The SQL_TSI_ unit
// keywords are read here too, for TIMESTAMPADD and TIMESTAMPDIFF.
#ifndef KXSUPP_ARITH_INTERVAL_STD_INTERNAL_H
#define KXSUPP_ARITH_INTERVAL_STD_INTERNAL_H

#include <stdint.h>
#include <string.h>

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

// ---- the SQL_TSI_ units of TIMESTAMPADD and TIMESTAMPDIFF ----

// The units' keywords, in the order the routines number the units.
inline constexpr const char *kTsiUnitNames[] = {
    "SQL_TSI_FRAC_SECOND", "SQL_TSI_SECOND", "SQL_TSI_MINUTE",  "SQL_TSI_HOUR", "SQL_TSI_DAY",
    "SQL_TSI_WEEK",        "SQL_TSI_MONTH",  "SQL_TSI_QUARTER", "SQL_TSI_YEAR",
};
inline constexpr int32_t kTsiUnitCount = 9;
static_assert(sizeof kTsiUnitNames / sizeof kTsiUnitNames[0] == kTsiUnitCount);


// The unit whose keyword the text is, letter for letter with a to z read as
// A to Z (any other octet as itself), or kTsiUnitCount for any other text
// or a null one: the rule, one letter at a time (constexpr; tsi_unit_of
// below gives the same answers faster).
constexpr int32_t tsi_unit_by_letters(const char *text)
{
    if (text == nullptr)
        return kTsiUnitCount;
    for (int32_t unit = 0; unit < kTsiUnitCount; ++unit) {
        const char *a = text;
        const char *b = kTsiUnitNames[unit];
        for (;; ++a, ++b) {
            char c = *a >= 'a' && *a <= 'z' ? static_cast<char>(*a - 'a' + 'A') : *a;
            if (c != *b)
                break;
            if (c == '\0')
                return unit;
        }
    }
    return kTsiUnitCount;
}

// tsi_unit_by_letters' answer, the keyword as it is usually written, in
// capitals, first: "SQL_TSI_" and the letter after it leave one keyword,
// whose rest is compared as it is; any other text is read by the rule.
inline int32_t tsi_unit_of(const char *text)
{
    if (text != nullptr && text[0] == 'S' && text[1] == 'Q' && text[2] == 'L' &&
        text[3] == '_' && text[4] == 'T' && text[5] == 'S' && text[6] == 'I' && text[7] == '_') {
        int32_t unit = kTsiUnitCount;
        switch (text[8]) {
        case 'F': unit = 0; break;
        case 'S': unit = 1; break;
        case 'M': unit = text[9] == 'I' ? 2 : 6; break;   // MINUTE, MONTH
        case 'H': unit = 3; break;
        case 'D': unit = 4; break;
        case 'W': unit = 5; break;
        case 'Q': unit = 7; break;
        case 'Y': unit = 8; break;
        default: break;
        }
        if (unit != kTsiUnitCount) {
            const char *a = text + 9;
            const char *b = kTsiUnitNames[unit] + 9;
            while (*a == *b && *b != '\0') {
                ++a;
                ++b;
            }
            if (*a == *b)
                return unit;
        }
    }
    return tsi_unit_by_letters(text);
}

static_assert(tsi_unit_by_letters("sql_tsi_minute") == 2 &&
              tsi_unit_by_letters("Sql_Tsi_Month") == 6 &&
              tsi_unit_by_letters("SQL_TSI_FRAC_SECOND") == 0 &&
              tsi_unit_by_letters("SQL_TSI_MON") == kTsiUnitCount &&
              tsi_unit_by_letters("SQL_TSI_SECONDS") == kTsiUnitCount &&
              tsi_unit_by_letters("") == kTsiUnitCount);

// kxstd_timestamp_add's arithmetic on the real fields t of a datetime of
// the given type (VALUE_DATE, VALUE_TIME or VALUE_TIMESTAMP; a time takes
// no months and wraps within its day): KXSTD_DATETIME_OVERFLOW outside the
// years 1 to 9999. Defined in arith/evalint_std.cpp.
int32_t shift_fields(TimestampStruct *t, int32_t type, int64_t months, int64_t seconds,
                     int64_t nanoseconds);

// kxstd_timestamp_diff with its unit already read (tsi_unit_of; any other
// number is KXSTD_INVALID_ARGUMENT). Defined in arith/evalint_std.cpp.
int32_t timestamp_diff_in(int32_t unit, const Value *from, const Value *to,
                          const DateStruct *today, int64_t *out);

static_assert(covering_kind(KX_IS_DAY_TO_HOUR, KX_IS_DAY_TO_MINUTE) == KX_IS_DAY_TO_MINUTE);
static_assert(covering_kind(KX_IS_HOUR, KX_IS_DAY) == KX_IS_DAY_TO_HOUR);
static_assert(covering_kind(KX_IS_YEAR, KX_IS_DAY) == 0);

}  // namespace kx::stdiv

#endif
