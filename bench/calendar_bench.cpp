// Benchmarks of the calendar and of interval arithmetic: a date to a day
// number and back (against a days-from-civil baseline written here),
// interval_operation of two day-second intervals, timestamp_add by seconds.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>

#include "bench_ratio.h"
#include "kxsupp/arith.h"

namespace {

constexpr int kDates = 1024;

struct Ymd {
    int32_t y, m, d;
};

// Dates spread over 1800-2300, fixed by a small linear congruential walk.
const Ymd *sample_dates()
{
    static Ymd dates[kDates];
    static bool ready = false;
    if (!ready) {
        uint32_t x = 12345;
        for (Ymd &date : dates) {
            x = x * 1664525u + 1013904223u;
            date.y = 1800 + static_cast<int32_t>(x % 500);
            date.m = 1 + static_cast<int32_t>((x >> 9) % 12);
            date.d = 1 + static_cast<int32_t>((x >> 17) % 28);
        }
        ready = true;
    }
    return dates;
}

// Baseline: Howard Hinnant's days_from_civil and civil_from_days, shifted
// to Julian Day Numbers.
inline int32_t baseline_days_from_civil(int32_t y, int32_t m, int32_t d)
{
    y -= m <= 2;
    const int32_t era = (y >= 0 ? y : y - 399) / 400;
    const uint32_t yoe = static_cast<uint32_t>(y - era * 400);
    const uint32_t doy = (153 * static_cast<uint32_t>(m > 2 ? m - 3 : m + 9) + 2) / 5 +
                         static_cast<uint32_t>(d) - 1;
    const uint32_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<int32_t>(doe) - 719468 + 2440588;
}

inline void baseline_civil_from_days(int32_t jdn, int32_t *y, int32_t *m, int32_t *d)
{
    int32_t z = jdn - 2440588 + 719468;
    const int32_t era = (z >= 0 ? z : z - 146096) / 146097;
    const uint32_t doe = static_cast<uint32_t>(z - era * 146097);
    const uint32_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const uint32_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const uint32_t mp = (5 * doy + 2) / 153;
    *d = static_cast<int32_t>(doy - (153 * mp + 2) / 5 + 1);
    *m = static_cast<int32_t>(mp < 10 ? mp + 3 : mp - 9);
    *y = static_cast<int32_t>(yoe) + era * 400 + (*m <= 2);
}

void BM_calendar_roundtrip(benchmark::State &state)
{
    const Ymd *dates = sample_dates();
    const int32_t calendar = static_cast<int32_t>(state.range(0));
    int i = 0;
    for (auto _ : state) {
        const Ymd &date = dates[i++ & (kDates - 1)];
        int32_t y, m, d;
        int32_t jdn = ymd_to_jdnl(date.y, date.m, date.d, calendar);
        jdnl_to_ymd(jdn, &y, &m, &d, calendar);
        benchmark::DoNotOptimize(y);
        benchmark::DoNotOptimize(m);
        benchmark::DoNotOptimize(d);
    }
}
BENCHMARK(BM_calendar_roundtrip)->Arg(0)->Arg(-1);

void BM_calendar_roundtrip_civil_baseline(benchmark::State &state)
{
    const Ymd *dates = sample_dates();
    int i = 0;
    for (auto _ : state) {
        const Ymd &date = dates[i++ & (kDates - 1)];
        int32_t y, m, d;
        int32_t jdn = baseline_days_from_civil(date.y, date.m, date.d);
        benchmark::DoNotOptimize(jdn);
        baseline_civil_from_days(jdn, &y, &m, &d);
        benchmark::DoNotOptimize(y);
        benchmark::DoNotOptimize(m);
        benchmark::DoNotOptimize(d);
    }
}
BENCHMARK(BM_calendar_roundtrip_civil_baseline);

KX_RATIO("ymd_to_jdnl + jdnl_to_ymd (Gregorian) / days-from-civil baseline",
         "BM_calendar_roundtrip/0", "BM_calendar_roundtrip_civil_baseline");
KX_RATIO("ymd_to_jdnl + jdnl_to_ymd (automatic) / days-from-civil baseline",
         "BM_calendar_roundtrip/-1", "BM_calendar_roundtrip_civil_baseline");

Value make_value(int32_t type)
{
    Value v;
    std::memset(&v, 0, sizeof v);
    v.kind = NODE_VALUE;
    v.type = type;
    return v;
}

void BM_interval_operation_day_second(benchmark::State &state)
{
    Value a = make_value(VALUE_INTERVAL_DS);
    a.payload.interval.interval_type = KX_IS_DAY_TO_SECOND;
    a.payload.interval.intval.day_second = DaySecondStruct{3, 4, 5, 6, 700000000};
    Value b = make_value(VALUE_INTERVAL_DS);
    b.payload.interval.interval_type = KX_IS_HOUR_TO_SECOND;
    b.payload.interval.intval.day_second = DaySecondStruct{0, 20, 59, 59, 400000000};
    Value r = make_value(0);
    int32_t op = 1;
    for (auto _ : state) {
        interval_operation(&a, &b, &r, 0, op);
        benchmark::DoNotOptimize(r);
        op = 3 - op;
    }
}
BENCHMARK(BM_interval_operation_day_second);

void BM_timestamp_add_seconds(benchmark::State &state)
{
    Value t = make_value(VALUE_TIMESTAMP);
    t.payload.timestamp = TimestampStruct{2004, 6, 16, 10, 20, 30, 0};
    Value r = make_value(0);
    int32_t seconds = 1;
    for (auto _ : state) {
        timestamp_add(&r, &t, 0, seconds, 0);
        benchmark::DoNotOptimize(r);
        seconds = seconds * 7 % 1000003;  // varies the carries
    }
}
BENCHMARK(BM_timestamp_add_seconds);

}  // namespace
