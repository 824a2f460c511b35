// Operators and comparisons on the evaluator's hot paths:
//  - compare_values of two 40-character texts of different declared length
//    (the blank-padded rule) against strcmp of the same texts, once with
//    equal texts and once where 10 trailing blanks meet the padding;
//  - numeric_operation add and compare of two numerics against the bare
//    add_numeric / numeric_compare they rest on;
//  - compare_dm of two numeric row buffers against numeric_compare.
#include <cstring>
#include <string>

#include <benchmark/benchmark.h>

#include "bench_ratio.h"
#include "kxsupp/arith.h"
#include "kxsupp/values.h"

namespace {

constexpr char kForty[] = "customer-name-0123456789-abcdefghijklmno";
static_assert(sizeof kForty == 41);  // 40 characters

// Two separate copies of the same 40 characters, so that neither call can
// short-cut on equal pointers.
struct Texts {
    char left[48];
    char right[48];
    Texts()
    {
        std::memcpy(left, kForty, sizeof kForty);
        std::memcpy(right, kForty, sizeof kForty);
    }
};

Value text_value(char *text, int32_t declared)
{
    Value v;
    std::memset(&v, 0, sizeof v);
    v.kind = NODE_VALUE;
    v.type = VALUE_STRING;
    v.payload.text = text;
    v.length = declared;
    return v;
}

Value numeric_value(const char *digits, int8_t scale)
{
    Value v;
    std::memset(&v, 0, sizeof v);
    v.kind = NODE_VALUE;
    v.type = VALUE_NUMERIC;
    std::string copy(digits);
    string_to_numeric(copy.data(), &v.payload.numeric, 18, scale);
    return v;
}

void BM_ops_compare_values_padded40(benchmark::State &state)
{
    Texts t;
    Value left = text_value(t.left, 40);
    Value right = text_value(t.right, 50);  // padded to 50 with blanks
    for (auto _ : state) {
        benchmark::DoNotOptimize(&left);
        benchmark::DoNotOptimize(&right);
        int32_t r = compare_values(&left, &right);
        benchmark::DoNotOptimize(r);
    }
}
BENCHMARK(BM_ops_compare_values_padded40);

void BM_ops_strcmp40(benchmark::State &state)
{
    Texts t;
    const char *a = t.left;
    const char *b = t.right;
    for (auto _ : state) {
        benchmark::DoNotOptimize(a);
        benchmark::DoNotOptimize(b);
        int r = std::strcmp(a, b);
        benchmark::DoNotOptimize(r);
    }
}
BENCHMARK(BM_ops_strcmp40);

KX_RATIO_GOAL("compare_values, 40-char texts of different declared length / strcmp",
              "BM_ops_compare_values_padded40", "BM_ops_strcmp40", 2.0);

// The padding decides: the right text carries 10 trailing blanks inside its
// declared length of 50, the left is the bare 40 characters.
struct BlankTexts {
    char left[48];
    char right[56];
    BlankTexts()
    {
        std::memcpy(left, kForty, sizeof kForty);
        std::memcpy(right, kForty, 40);
        std::memset(right + 40, ' ', 10);
        right[50] = '\0';
    }
};

void BM_ops_compare_values_trailing_blanks(benchmark::State &state)
{
    BlankTexts t;
    Value left = text_value(t.left, 40);
    Value right = text_value(t.right, 50);
    for (auto _ : state) {
        benchmark::DoNotOptimize(&left);
        benchmark::DoNotOptimize(&right);
        int32_t r = compare_values(&left, &right);
        benchmark::DoNotOptimize(r);
    }
}
BENCHMARK(BM_ops_compare_values_trailing_blanks);

void BM_ops_strcmp_trailing_blanks(benchmark::State &state)
{
    BlankTexts t;
    const char *a = t.left;
    const char *b = t.right;
    for (auto _ : state) {
        benchmark::DoNotOptimize(a);
        benchmark::DoNotOptimize(b);
        int r = std::strcmp(a, b);
        benchmark::DoNotOptimize(r);
    }
}
BENCHMARK(BM_ops_strcmp_trailing_blanks);

KX_RATIO_GOAL("compare_values, 40 chars against 40 chars + 10 blanks / strcmp",
              "BM_ops_compare_values_trailing_blanks", "BM_ops_strcmp_trailing_blanks", 2.0);

void BM_ops_numeric_operation_add(benchmark::State &state)
{
    Value a = numeric_value("12345678901234", 4);
    Value b = numeric_value("98765432109", 2);
    Value result = numeric_value("0", 0);
    for (auto _ : state) {
        benchmark::DoNotOptimize(&a);
        numeric_operation(&a, &b, &result, nullptr, KX_OP_ADD);
        benchmark::DoNotOptimize(result.payload.numeric.val[0]);
    }
}
BENCHMARK(BM_ops_numeric_operation_add);

void BM_ops_add_numeric_bare(benchmark::State &state)
{
    Value a = numeric_value("12345678901234", 4);
    Value b = numeric_value("98765432109", 2);
    for (auto _ : state) {
        NumericStruct r = b.payload.numeric;
        benchmark::DoNotOptimize(&a);
        add_numeric(&r, &a.payload.numeric);
        benchmark::DoNotOptimize(r.val[0]);
    }
}
BENCHMARK(BM_ops_add_numeric_bare);

KX_RATIO("numeric_operation add / add_numeric", "BM_ops_numeric_operation_add",
         "BM_ops_add_numeric_bare");

void BM_ops_numeric_operation_compare(benchmark::State &state)
{
    Value a = numeric_value("12345678901234", 4);
    Value b = numeric_value("12345678901299", 4);
    Value result = numeric_value("0", 0);
    for (auto _ : state) {
        benchmark::DoNotOptimize(&a);
        numeric_operation(&a, &b, &result, nullptr, KX_OP_LESS);
        benchmark::DoNotOptimize(result.payload.integer);
    }
}
BENCHMARK(BM_ops_numeric_operation_compare);

void BM_ops_numeric_compare_bare(benchmark::State &state)
{
    Value a = numeric_value("12345678901234", 4);
    Value b = numeric_value("12345678901299", 4);
    for (auto _ : state) {
        benchmark::DoNotOptimize(&a);
        int32_t r = numeric_compare(&a.payload.numeric, &b.payload.numeric);
        benchmark::DoNotOptimize(r);
    }
}
BENCHMARK(BM_ops_numeric_compare_bare);

KX_RATIO("numeric_operation compare / numeric_compare",
         "BM_ops_numeric_operation_compare", "BM_ops_numeric_compare_bare");

void BM_ops_compare_dm_numeric(benchmark::State &state)
{
    Value a = numeric_value("12345678901234", 4);
    Value b = numeric_value("12345678901299", 4);
    alignas(8) unsigned char left[12 + 19 + 1];
    alignas(8) unsigned char right[12 + 19 + 1];
    value_to_dm(reinterpret_cast<DmBuffer *>(left), &a);
    value_to_dm(reinterpret_cast<DmBuffer *>(right), &b);
    for (auto _ : state) {
        benchmark::DoNotOptimize(left);
        int32_t r = compare_dm(reinterpret_cast<DmBuffer *>(left),
                               reinterpret_cast<DmBuffer *>(right));
        benchmark::DoNotOptimize(r);
    }
}
BENCHMARK(BM_ops_compare_dm_numeric);

KX_RATIO("compare_dm of two numerics / numeric_compare", "BM_ops_compare_dm_numeric",
         "BM_ops_numeric_compare_bare");

}  // namespace
