// Values: the cost of a short string value. NewValue + release_value of a
// short text (one recycled block of kind 166 holding record and text)
// against malloc + free of the same octets.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>

#include "bench_ratio.h"
#include "kxsupp/memory.h"
#include "kxsupp/values.h"

namespace {

constexpr char kText[] = "short text";
constexpr int32_t kLength = sizeof kText - 1;

void BM_NewValueReleaseShortString(benchmark::State &state)
{
    MemHandle *handle = kx_mem_alloc_handle(nullptr);
    for (auto _ : state) {
        Value *v = NewValue(handle, kLength + 1);
        v->type = VALUE_STRING;
        v->length = kLength;
        v->null_flag = 0;
        v->share_block = 0;
        v->long_buffer = nullptr;
        std::memcpy(v->payload.text, kText, kLength + 1);
        benchmark::DoNotOptimize(v);
        release_value(handle, v);
    }
    kx_mem_release_handle(handle);
}
BENCHMARK(BM_NewValueReleaseShortString);

void BM_MallocFreeShortString(benchmark::State &state)
{
    for (auto _ : state) {
        Value *v = static_cast<Value *>(std::malloc(sizeof(Value) + kLength + 1));
        v->type = VALUE_STRING;
        v->length = kLength;
        v->null_flag = 0;
        v->share_block = 0;
        v->long_buffer = nullptr;
        v->payload.text = reinterpret_cast<char *>(v + 1);
        std::memcpy(v->payload.text, kText, kLength + 1);
        benchmark::DoNotOptimize(v);
        std::free(v);
    }
}
BENCHMARK(BM_MallocFreeShortString);

KX_RATIO("NewValue+release_value / malloc+free (short string)",
         "BM_NewValueReleaseShortString", "BM_MallocFreeShortString");

}  // namespace
