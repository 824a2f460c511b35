/*
 * timefunc - today's date and the comparisons of date, time and timestamp
 * records.
 *
 * Exports current_year, current_month, current_day, date_compare,
 * time_compare and timestamp_compare.  The records have the layouts of
 * ODBC's SQL_DATE_STRUCT, SQL_TIME_STRUCT and SQL_TIMESTAMP_STRUCT.  A
 * comparison returns the raw difference a - b of the first field that
 * differs, in 32-bit signed arithmetic (the year signed, the other fields
 * unsigned and widened), not -1 or 1: callers look only at the sign.
 */
#include <time.h>

#include "kxsupp/arith.h"

namespace {

// The local broken-down time of now; each caller reads the clock anew.
struct tm local_now()
{
    struct tm parts = {};
    time_t now = time(nullptr);
    localtime_r(&now, &parts);
    return parts;
}

inline int32_t difference(uint32_t a, uint32_t b)
{
    return static_cast<int32_t>(a - b);
}

// year, month, day of a date or timestamp record, in that order: the
// difference of the first that differs, 0 when all three are equal.
template <typename Record>
inline int32_t compare_date_fields(const Record *a, const Record *b)
{
    if (a->year != b->year)
        return int32_t{a->year} - int32_t{b->year};
    if (a->month != b->month)
        return int32_t{a->month} - int32_t{b->month};
    return int32_t{a->day} - int32_t{b->day};
}

// hour, minute, second of a time or timestamp record, the same way.
template <typename Record>
inline int32_t compare_time_fields(const Record *a, const Record *b)
{
    if (a->hour != b->hour)
        return int32_t{a->hour} - int32_t{b->hour};
    if (a->minute != b->minute)
        return int32_t{a->minute} - int32_t{b->minute};
    return int32_t{a->second} - int32_t{b->second};
}

}  // namespace

extern "C" {

KX_API int32_t current_year(void)
{
    return local_now().tm_year + 1900;
}

KX_API int32_t current_month(void)
{
    return local_now().tm_mon + 1;
}

KX_API int32_t current_day(void)
{
    return local_now().tm_mday;
}

KX_API int32_t date_compare(const DateStruct *a, const DateStruct *b)
{
    if (a == nullptr || b == nullptr)
        return 0;
    return compare_date_fields(a, b);
}

KX_API int32_t time_compare(const TimeStruct *a, const TimeStruct *b)
{
    if (a == nullptr || b == nullptr)
        return 0;
    return compare_time_fields(a, b);
}

KX_API int32_t timestamp_compare(const TimestampStruct *a,
                                 const TimestampStruct *b)
{
    if (a == nullptr || b == nullptr)
        return 0;
    if (int32_t r = compare_date_fields(a, b))
        return r;
    if (int32_t r = compare_time_fields(a, b))
        return r;
    return difference(a->fraction, b->fraction);
}

}  // extern "C"
