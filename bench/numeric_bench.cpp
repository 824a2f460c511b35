// Text conversions of the exact numeric module against two baselines: the
// historical per-bit decimal-string algorithm (numeric_perbit_baseline.cpp)
// and a plain unsigned __int128 with std::to_chars / std::from_chars.
// Each benchmark walks a pool of 1024 magnitudes: the argument 128 means
// random 128-bit magnitudes, 32 means magnitudes below 2^32. Every routine
// writes or parses scale-0 text into a buffer of the caller.

#include <benchmark/benchmark.h>
#include <string.h>

#include <charconv>
#include <random>
#include <vector>

#include "bench/numeric_perbit_baseline.h"
#include "bench_ratio.h"
#include "kxsupp/arith.h"

namespace {

typedef unsigned __int128 u128;

constexpr size_t kPool = 1024;

struct Pool {
    std::vector<NumericStruct> numbers;
    std::vector<std::vector<char>> texts;
};

const Pool &pool(int bits) {
    static Pool full, small;
    Pool &p = bits == 128 ? full : small;
    if (p.numbers.empty()) {
        std::mt19937_64 rng(bits);
        for (size_t i = 0; i < kPool; i++) {
            u128 m = bits == 128 ? (static_cast<u128>(rng()) << 64) | rng()
                                 : static_cast<u128>(rng() & 0xFFFFFFFFu);
            NumericStruct n;
            n.precision = 38;
            n.scale = 0;
            n.sign = 1;
            for (int b = 0; b < 16; b++) n.val[b] = static_cast<uint8_t>(m >> (8 * b));
            p.numbers.push_back(n);
            char text[64];
            auto r = std::to_chars(text, text + sizeof text, m);
            p.texts.emplace_back(text, r.ptr);
            p.texts.back().push_back('\0');
        }
    }
    return p;
}

u128 load(const NumericStruct &n) {
    u128 m;
    memcpy(&m, n.val, sizeof m);  // little-endian hosts
    return m;
}

void BM_numeric_to_string(benchmark::State &state) {
    const Pool &p = pool(static_cast<int>(state.range(0)));
    char buffer[128];
    size_t i = 0;
    for (auto _ : state) {
        int32_t length;
        numeric_to_string(&p.numbers[i++ % kPool], buffer, sizeof buffer, &length);
        benchmark::DoNotOptimize(buffer);
        benchmark::DoNotOptimize(length);
    }
}

void BM_perbit_to_string(benchmark::State &state) {
    const Pool &p = pool(static_cast<int>(state.range(0)));
    char buffer[128];
    size_t i = 0;
    for (auto _ : state) {
        int32_t length;
        perbit::numeric_to_string(&p.numbers[i++ % kPool], buffer, sizeof buffer, &length);
        benchmark::DoNotOptimize(buffer);
        benchmark::DoNotOptimize(length);
    }
}

void BM_int128_to_chars(benchmark::State &state) {
    const Pool &p = pool(static_cast<int>(state.range(0)));
    char buffer[128];
    size_t i = 0;
    for (auto _ : state) {
        const NumericStruct &n = p.numbers[i++ % kPool];
        char *q = buffer;
        if (n.sign == 0) *q++ = '-';
        auto r = std::to_chars(q, buffer + sizeof buffer - 1, load(n));
        *r.ptr = '\0';
        int32_t length = static_cast<int32_t>(r.ptr - buffer);
        benchmark::DoNotOptimize(buffer);
        benchmark::DoNotOptimize(length);
    }
}

void BM_string_to_numeric(benchmark::State &state) {
    const Pool &p = pool(static_cast<int>(state.range(0)));
    char work[64];
    NumericStruct n;
    size_t i = 0;
    for (auto _ : state) {
        const std::vector<char> &t = p.texts[i++ % kPool];
        memcpy(work, t.data(), t.size());  // the text is consumed in place
        string_to_numeric(work, &n, 38, 0);
        benchmark::DoNotOptimize(n);
    }
}

void BM_perbit_string_to_numeric(benchmark::State &state) {
    const Pool &p = pool(static_cast<int>(state.range(0)));
    char work[64];
    NumericStruct n;
    size_t i = 0;
    for (auto _ : state) {
        const std::vector<char> &t = p.texts[i++ % kPool];
        memcpy(work, t.data(), t.size());
        perbit::string_to_numeric(work, &n, 38, 0);
        benchmark::DoNotOptimize(n);
    }
}

void BM_int128_from_chars(benchmark::State &state) {
    const Pool &p = pool(static_cast<int>(state.range(0)));
    char work[64];
    NumericStruct n;
    size_t i = 0;
    for (auto _ : state) {
        const std::vector<char> &t = p.texts[i++ % kPool];
        memcpy(work, t.data(), t.size());
        u128 m = 0;
        std::from_chars(work, work + t.size() - 1, m);
        n.precision = 38;
        n.scale = 0;
        n.sign = 1;
        memcpy(n.val, &m, sizeof m);
        benchmark::DoNotOptimize(n);
    }
}

}  // namespace

BENCHMARK(BM_numeric_to_string)->Arg(128)->Arg(32);
BENCHMARK(BM_perbit_to_string)->Arg(128)->Arg(32);
BENCHMARK(BM_int128_to_chars)->Arg(128)->Arg(32);
BENCHMARK(BM_string_to_numeric)->Arg(128)->Arg(32);
BENCHMARK(BM_perbit_string_to_numeric)->Arg(128)->Arg(32);
BENCHMARK(BM_int128_from_chars)->Arg(128)->Arg(32);

KX_RATIO("numeric_to_string 128-bit / per-bit", "BM_numeric_to_string/128",
         "BM_perbit_to_string/128");
KX_RATIO("numeric_to_string 32-bit / per-bit", "BM_numeric_to_string/32",
         "BM_perbit_to_string/32");
KX_RATIO("numeric_to_string 128-bit / __int128", "BM_numeric_to_string/128",
         "BM_int128_to_chars/128");
KX_RATIO("numeric_to_string 32-bit / __int128", "BM_numeric_to_string/32",
         "BM_int128_to_chars/32");
KX_RATIO("string_to_numeric 128-bit / per-bit", "BM_string_to_numeric/128",
         "BM_perbit_string_to_numeric/128");
KX_RATIO("string_to_numeric 32-bit / per-bit", "BM_string_to_numeric/32",
         "BM_perbit_string_to_numeric/32");
KX_RATIO("string_to_numeric 128-bit / __int128", "BM_string_to_numeric/128",
         "BM_int128_from_chars/128");
KX_RATIO("string_to_numeric 32-bit / __int128", "BM_string_to_numeric/32",
         "BM_int128_from_chars/32");
