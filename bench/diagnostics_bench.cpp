// Diagnostics: the cost of one failing ODBC call's diagnostics (start the
// call, post a typical message, read it back) against formatting the same
// message alone with snprintf.
#include <cstdio>

#include <benchmark/benchmark.h>

#include "bench_ratio.h"
#include "kxsupp/diagnostics.h"
#include "kxsupp/memory.h"

namespace {

// SetupErrorHeader + PostError + GetDiagRec of one message with one string
// argument, as a driver does for a failing call.
void BM_diag_post_and_read(benchmark::State &state)
{
    MemHandle *handle = kx_mem_alloc_handle(nullptr);
    DriverEnvironment environment{1, 3};
    ErrorHeader *header = CreateErrorHeader(handle, &environment);
    const char *table = "orders";
    char sqlstate[6];
    int32_t native = 0;
    char message[512];
    int16_t length = 0;
    for (auto _ : state) {
        SetupErrorHeader(header, 85);
        PostError(header, 2, 0, nullptr, 208, 0, "ISO 9075", "42S02",
                  "Table '%s' not found", table);
        int16_t result = GetDiagRec(header, 1, sqlstate, &native, message,
                                    sizeof message, &length);
        benchmark::DoNotOptimize(result);
        benchmark::DoNotOptimize(message[0]);
    }
    kx_mem_release_handle(handle);
}
BENCHMARK(BM_diag_post_and_read);

// The same message formatted into a 1024-byte buffer, nothing else.
void BM_diag_snprintf_baseline(benchmark::State &state)
{
    const char *table = "orders";
    char message[1024];
    for (auto _ : state) {
        benchmark::DoNotOptimize(table);
        int length = std::snprintf(message, sizeof message,
                                   "[%s]Table '%s' not found", "Varnel ODBC",
                                   table);
        benchmark::DoNotOptimize(length);
        benchmark::DoNotOptimize(message[0]);
    }
}
BENCHMARK(BM_diag_snprintf_baseline);

KX_RATIO("diagnostics: Setup + PostError + GetDiagRec / snprintf of the message",
         "BM_diag_post_and_read", "BM_diag_snprintf_baseline");

}  // namespace
