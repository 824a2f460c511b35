// Comparisons printed after a benchmark run: each is the time of one
// benchmark divided by the time of another measured in the same run.
#ifndef KXSUPP_BENCH_RATIO_H
#define KXSUPP_BENCH_RATIO_H

namespace kxbench {

// Registers "label: numerator / denominator". The names are the benchmarks'
// names as Google Benchmark prints them (with arguments, e.g. "BM_x/64").
int register_ratio(const char *label, const char *numerator,
                   const char *denominator);

// The same, for a comparison with a goal: the ratio must stay at or below
// `goal`, and the printout says whether this run met it.
int register_ratio_goal(const char *label, const char *numerator,
                        const char *denominator, double goal);

}  // namespace kxbench

#define KX_BENCH_CONCAT2(a, b) a##b
#define KX_BENCH_CONCAT(a, b) KX_BENCH_CONCAT2(a, b)
#define KX_RATIO(label, numerator, denominator)                              \
    static const int KX_BENCH_CONCAT(kx_ratio_, __LINE__) =                  \
        kxbench::register_ratio(label, numerator, denominator)

#define KX_RATIO_GOAL(label, numerator, denominator, goal)                   \
    static const int KX_BENCH_CONCAT(kx_ratio_, __LINE__) =                  \
        kxbench::register_ratio_goal(label, numerator, denominator, goal)

#endif
