// The benchmark program's main: runs every registered benchmark, then prints
// each registered comparison as a ratio of the two times of this run.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "bench_ratio.h"

namespace kxbench {
namespace {

struct Ratio {
    std::string label, numerator, denominator;
    double goal;  // 0: none
};

std::vector<Ratio> &ratios()
{
    static std::vector<Ratio> all;
    return all;
}

// Keeps the time per iteration, in nanoseconds, of every finished run.
class RecordingReporter : public benchmark::ConsoleReporter {
public:
    std::map<std::string, double> nanoseconds;
    std::set<std::string> medians;

    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            if (run.error_occurred)
                continue;
            // With repetitions, the median stands for the benchmark; a
            // single run is its own figure.
            bool median = run.run_type == Run::RT_Aggregate &&
                          run.aggregate_name == "median";
            if (!median && run.run_type != Run::RT_Iteration)
                continue;
            std::string name = run.run_name.str();
            if (!median && medians.count(name))
                continue;
            double scale = 1.0;
            switch (run.time_unit) {
            case benchmark::kNanosecond: scale = 1.0; break;
            case benchmark::kMicrosecond: scale = 1e3; break;
            case benchmark::kMillisecond: scale = 1e6; break;
            case benchmark::kSecond: scale = 1e9; break;
            }
            nanoseconds[name] = run.GetAdjustedRealTime() * scale;
            if (median)
                medians.insert(name);
        }
        ConsoleReporter::ReportRuns(runs);
    }
};

}  // namespace

int register_ratio(const char *label, const char *numerator,
                   const char *denominator)
{
    ratios().push_back({label, numerator, denominator, 0.0});
    return 0;
}

int register_ratio_goal(const char *label, const char *numerator,
                        const char *denominator, double goal)
{
    ratios().push_back({label, numerator, denominator, goal});
    return 0;
}

}  // namespace kxbench

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    kxbench::RecordingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    std::printf("\nComparisons (time of the first / time of the second, same run):\n");
    for (const auto &ratio : kxbench::ratios()) {
        auto a = reporter.nanoseconds.find(ratio.numerator);
        auto b = reporter.nanoseconds.find(ratio.denominator);
        if (a == reporter.nanoseconds.end() || b == reporter.nanoseconds.end() ||
            b->second <= 0)
            continue;
        double value = a->second / b->second;
        std::printf("  %-58s %8.3f  (%.1f ns / %.1f ns)", ratio.label.c_str(), value,
                    a->second, b->second);
        if (ratio.goal > 0)
            std::printf("  goal at most %.1f: %s", ratio.goal,
                        value <= ratio.goal ? "met" : "MISSED");
        std::printf("\n");
    }
    return 0;
}
