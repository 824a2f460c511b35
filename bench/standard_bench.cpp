// The standard family against the family's own operations on the same
// operands: what a driver pays for right answers. Each pair prints the
// ratio standard / family with a goal of 1.10 (at most 10% more):
//  - numeric + and * of two exact numerics (numeric_operation);
//  - numeric / of two exact numerics (the family divides through a double);
//  - 64-bit + (bigint_operation);
//  - timestamp + INTERVAL '1' MONTH and timestamp - timestamp
//    (interval_operation);
//  - timestamp_add by seconds;
//  - compare_values of a date and a date, and of two numerics;
//  - exact numeric literals (MakeNumeric, a short one and a long one);
//  - TIMESTAMPDIFF(SQL_TSI_SECOND) through execute_function.
// Operands cycle through a small pool, so no call sees the same input twice
// in a row and the branch predictor cannot learn one answer.
#include <benchmark/benchmark.h>

#include <csetjmp>
#include <cstdint>
#include <cstring>

#include "bench_ratio.h"
#include "kxsupp.h"

namespace {

constexpr int kPool = 64;  // a power of two

Value blank(int32_t type)
{
    Value v;
    std::memset(&v, 0, sizeof v);
    v.kind = NODE_VALUE;
    v.type = type;
    return v;
}

Value numeric_of(const char *text, int32_t scale)
{
    Value v = blank(VALUE_NUMERIC);
    char copy[64];
    std::snprintf(copy, sizeof copy, "%s", text);
    string_to_numeric(copy, &v.payload.numeric, 38, scale);
    v.attr[0] = 38;
    v.attr[1] = scale;
    return v;
}

Value timestamp_of(int y, int mo, int d, int h, int mi, int s, uint32_t fraction)
{
    Value v = blank(VALUE_TIMESTAMP);
    v.payload.timestamp = TimestampStruct{static_cast<int16_t>(y), static_cast<uint16_t>(mo),
                                          static_cast<uint16_t>(d), static_cast<uint16_t>(h),
                                          static_cast<uint16_t>(mi), static_cast<uint16_t>(s),
                                          fraction};
    return v;
}

// Operand pools built once: numerics of 14 and 11 digits, bigints,
// timestamps over 1900-2100 on days 1 to 28, dates.
struct Pools {
    Value left[kPool], right[kPool];
    Value big_left[kPool], big_right[kPool];
    Value stamps[kPool], later[kPool];
    Value dates[kPool], other_dates[kPool];
    Value month;
    Pools()
    {
        uint32_t x = 2024;
        for (int i = 0; i < kPool; ++i) {
            x = x * 1664525u + 1013904223u;
            char text[40];
            std::snprintf(text, sizeof text, "%u%05u", x % 100000000u + 1u, (x >> 7) % 100000u);
            left[i] = numeric_of(text, 4);
            std::snprintf(text, sizeof text, "%u", (x >> 3) % 1000000000u + 7u);
            right[i] = numeric_of(text, 2);
            big_left[i] = blank(VALUE_BIGINT);
            int64_t a = static_cast<int64_t>(x) * 1000003;
            big_left[i].payload.bigint.high = static_cast<int32_t>(a >> 32);
            big_left[i].payload.bigint.low = static_cast<uint32_t>(a);
            big_right[i] = blank(VALUE_BIGINT);
            big_right[i].payload.bigint.low = x >> 4;
            int y = 1900 + static_cast<int>(x % 200), mo = 1 + static_cast<int>((x >> 8) % 12);
            int d = 1 + static_cast<int>((x >> 12) % 28);
            stamps[i] = timestamp_of(y, mo, d, static_cast<int>(x % 24), static_cast<int>(x % 60),
                                     static_cast<int>((x >> 5) % 60), (x % 1000) * 1000000u);
            later[i] = timestamp_of(y + 1, mo, d, 3, 4, 5, 0);
            dates[i] = blank(VALUE_DATE);
            dates[i].payload.date = DateStruct{static_cast<int16_t>(y), static_cast<uint16_t>(mo),
                                               static_cast<uint16_t>(d)};
            other_dates[i] = dates[i];
            other_dates[i].payload.date.day = static_cast<uint16_t>(1 + (d + 3) % 28);
        }
        month = blank(VALUE_INTERVAL_YM);
        month.payload.interval.interval_type = KX_IS_MONTH;
        month.payload.interval.intval.year_month.month = 1;
    }
};

const Pools &pools()
{
    static const Pools p;
    return p;
}

// One operator call per iteration over the pools; `operate` is the
// family's or the standard's operation with the numeric_operation shape.
using Operation = void (*)(Value *, Value *, Value *, EvalContext *, int32_t);

void run_operator(benchmark::State &state, Operation operate, const Value *lefts,
                  const Value *rights, int32_t op)
{
    Value a[kPool], b[kPool];
    std::memcpy(a, lefts, sizeof a);
    std::memcpy(b, rights, sizeof b);
    Value result = blank(VALUE_NULL);
    int i = 0;
    for (auto _ : state) {
        operate(&a[i], &b[i], &result, nullptr, op);
        benchmark::DoNotOptimize(result.payload.numeric.val[0]);
        i = (i + 1) & (kPool - 1);
    }
}

void family_interval(Value *a, Value *b, Value *result, EvalContext *, int32_t op)
{
    interval_operation(a, b, result, 0, op);
}

void BM_std_pair_numeric_add_family(benchmark::State &s) { run_operator(s, numeric_operation, pools().left, pools().right, KX_OP_ADD); }
void BM_std_pair_numeric_add_standard(benchmark::State &s) { run_operator(s, kxstd_numeric_operation, pools().left, pools().right, KX_OP_ADD); }
void BM_std_pair_numeric_multiply_family(benchmark::State &s) { run_operator(s, numeric_operation, pools().left, pools().right, KX_OP_MULTIPLY); }
void BM_std_pair_numeric_multiply_standard(benchmark::State &s) { run_operator(s, kxstd_numeric_operation, pools().left, pools().right, KX_OP_MULTIPLY); }
void BM_std_pair_numeric_divide_family(benchmark::State &s) { run_operator(s, numeric_operation, pools().left, pools().right, KX_OP_DIVIDE); }
void BM_std_pair_numeric_divide_standard(benchmark::State &s) { run_operator(s, kxstd_numeric_operation, pools().left, pools().right, KX_OP_DIVIDE); }
void BM_std_pair_bigint_add_family(benchmark::State &s) { run_operator(s, bigint_operation, pools().big_left, pools().big_right, KX_OP_ADD); }
void BM_std_pair_bigint_add_standard(benchmark::State &s) { run_operator(s, kxstd_bigint_operation, pools().big_left, pools().big_right, KX_OP_ADD); }
void BM_std_pair_timestamp_difference_family(benchmark::State &s) { run_operator(s, family_interval, pools().later, pools().stamps, KX_OP_SUBTRACT); }
void BM_std_pair_timestamp_difference_standard(benchmark::State &s) { run_operator(s, kxstd_interval_operation, pools().later, pools().stamps, KX_OP_SUBTRACT); }
BENCHMARK(BM_std_pair_numeric_add_family);
BENCHMARK(BM_std_pair_numeric_add_standard);
BENCHMARK(BM_std_pair_numeric_multiply_family);
BENCHMARK(BM_std_pair_numeric_multiply_standard);
BENCHMARK(BM_std_pair_numeric_divide_family);
BENCHMARK(BM_std_pair_numeric_divide_standard);
BENCHMARK(BM_std_pair_bigint_add_family);
BENCHMARK(BM_std_pair_bigint_add_standard);
BENCHMARK(BM_std_pair_timestamp_difference_family);
BENCHMARK(BM_std_pair_timestamp_difference_standard);

// timestamp + INTERVAL '1' MONTH: the interval on the right
void run_month(benchmark::State &state, Operation operate)
{
    Value a[kPool];
    std::memcpy(a, pools().stamps, sizeof a);
    Value month = pools().month;
    Value result = blank(VALUE_NULL);
    int i = 0;
    for (auto _ : state) {
        operate(&a[i], &month, &result, nullptr, KX_OP_ADD);
        benchmark::DoNotOptimize(result.payload.timestamp.day);
        i = (i + 1) & (kPool - 1);
    }
}
void BM_std_pair_plus_month_family(benchmark::State &s) { run_month(s, family_interval); }
void BM_std_pair_plus_month_standard(benchmark::State &s) { run_month(s, kxstd_interval_operation); }
BENCHMARK(BM_std_pair_plus_month_family);
BENCHMARK(BM_std_pair_plus_month_standard);

void BM_std_pair_timestamp_add_family(benchmark::State &state)
{
    const Value *stamps = pools().stamps;
    Value result = blank(VALUE_NULL);
    int i = 0;
    for (auto _ : state) {
        timestamp_add(&result, &stamps[i], 0, 86400 * 3 + 7, 250000000);
        benchmark::DoNotOptimize(result.payload.timestamp.day);
        i = (i + 1) & (kPool - 1);
    }
}
void BM_std_pair_timestamp_add_standard(benchmark::State &state)
{
    const Value *stamps = pools().stamps;
    Value result = blank(VALUE_NULL);
    int i = 0;
    for (auto _ : state) {
        kxstd_timestamp_add(&result, &stamps[i], 0, 86400 * 3 + 7, 250000000);
        benchmark::DoNotOptimize(result.payload.timestamp.day);
        i = (i + 1) & (kPool - 1);
    }
}
BENCHMARK(BM_std_pair_timestamp_add_family);
BENCHMARK(BM_std_pair_timestamp_add_standard);

void run_compare(benchmark::State &state, bool standard, const Value *lefts, const Value *rights)
{
    int i = 0;
    for (auto _ : state) {
        int32_t order = standard ? kxstd_compare_values(&lefts[i], &rights[i], nullptr)
                                 : compare_values(&lefts[i], &rights[i]);
        benchmark::DoNotOptimize(order);
        i = (i + 1) & (kPool - 1);
    }
}
void BM_std_pair_compare_dates_family(benchmark::State &s) { run_compare(s, false, pools().dates, pools().other_dates); }
void BM_std_pair_compare_dates_standard(benchmark::State &s) { run_compare(s, true, pools().dates, pools().other_dates); }
void BM_std_pair_compare_numerics_family(benchmark::State &s) { run_compare(s, false, pools().left, pools().right); }
void BM_std_pair_compare_numerics_standard(benchmark::State &s) { run_compare(s, true, pools().left, pools().right); }
BENCHMARK(BM_std_pair_compare_dates_family);
BENCHMARK(BM_std_pair_compare_dates_standard);
BENCHMARK(BM_std_pair_compare_numerics_family);
BENCHMARK(BM_std_pair_compare_numerics_standard);

// Literals: each made in a pool's memory handle, released every 256.
void run_literal(benchmark::State &state, bool standard, const char *integer_digits,
                 const char *fraction_digits)
{
    MemHandle *mem = kx_mem_alloc_handle(nullptr);
    int made = 0;
    for (auto _ : state) {
        int32_t status = 0;
        Value *v = standard ? kxstd_make_numeric(integer_digits, fraction_digits, mem, &status)
                            : MakeNumeric(integer_digits, fraction_digits, mem);
        benchmark::DoNotOptimize(v);
        if (++made == 256) {
            state.PauseTiming();
            kx_mem_release_handle(mem);
            mem = kx_mem_alloc_handle(nullptr);
            made = 0;
            state.ResumeTiming();
        }
    }
    kx_mem_release_handle(mem);
}
void BM_std_pair_short_literal_family(benchmark::State &s) { run_literal(s, false, "12", "75"); }
void BM_std_pair_short_literal_standard(benchmark::State &s) { run_literal(s, true, "12", "75"); }
void BM_std_pair_long_literal_family(benchmark::State &s) { run_literal(s, false, "123456789012", "123456"); }
void BM_std_pair_long_literal_standard(benchmark::State &s) { run_literal(s, true, "123456789012", "123456"); }
BENCHMARK(BM_std_pair_short_literal_family);
BENCHMARK(BM_std_pair_short_literal_standard);
BENCHMARK(BM_std_pair_long_literal_family);
BENCHMARK(BM_std_pair_long_literal_standard);

// TIMESTAMPDIFF(SQL_TSI_SECOND, a, b) through execute_function, the way a
// driver calls a catalogue entry.
void run_timestampdiff(benchmark::State &state, const FunctionEntry *entry)
{
    MemHandle *mem = kx_mem_alloc_handle(nullptr);
    DriverStatement statement{};
    statement.kind = KX_KIND_STATEMENT;
    statement.errors = CreateErrorHeader(mem, nullptr);
    EvalContext context{};
    context.stmt = &statement;
    context.mem = mem;
    Value unit = blank(VALUE_STRING);
    char unit_text[] = "SQL_TSI_SECOND";
    unit.payload.text = unit_text;
    unit.length = static_cast<int32_t>(sizeof unit_text - 1);
    Value a[kPool], b[kPool];
    std::memcpy(a, pools().stamps, sizeof a);
    std::memcpy(b, pools().later, sizeof b);
    if (setjmp(context.exit) != 0) {
        state.SkipWithError("the function took its error exit");
        kx_mem_release_handle(mem);
        return;
    }
    int i = 0;
    for (auto _ : state) {
        Value *argv[3] = {&unit, &a[i], &b[i]};
        Value *result = execute_function(entry, &context, 3, argv, 0, 0);
        benchmark::DoNotOptimize(result);
        release_value(mem, result);
        i = (i + 1) & (kPool - 1);
    }
    kx_mem_release_handle(mem);
}
void BM_std_pair_timestampdiff_family(benchmark::State &s)
{
    run_timestampdiff(s, sql92_get_function_info(sql92_get_function_id("TIMESTAMPDIFF", 0)));
}
void BM_std_pair_timestampdiff_standard(benchmark::State &s)
{
    run_timestampdiff(s, kxstd_get_function_info(kxstd_get_function_id("TIMESTAMPDIFF", 0)));
}
BENCHMARK(BM_std_pair_timestampdiff_family);
BENCHMARK(BM_std_pair_timestampdiff_standard);

#define KX_STD_GOAL(label, name)                                                          \
    KX_RATIO_GOAL("standard / family: " label, "BM_std_pair_" name "_standard",          \
                  "BM_std_pair_" name "_family", 1.10)

KX_STD_GOAL("numeric +", "numeric_add");
KX_STD_GOAL("numeric *", "numeric_multiply");
KX_STD_GOAL("numeric /", "numeric_divide");
KX_STD_GOAL("bigint +", "bigint_add");
KX_STD_GOAL("timestamp - timestamp", "timestamp_difference");
KX_STD_GOAL("timestamp + 1 month", "plus_month");
KX_STD_GOAL("timestamp_add", "timestamp_add");
KX_STD_GOAL("compare_values, dates", "compare_dates");
KX_STD_GOAL("compare_values, numerics", "compare_numerics");
KX_STD_GOAL("numeric literal, 4 digits", "short_literal");
KX_STD_GOAL("numeric literal, 18 digits", "long_literal");
KX_STD_GOAL("TIMESTAMPDIFF seconds", "timestampdiff");

}  // namespace
