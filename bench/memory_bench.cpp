// Benchmarks of the memory pools against the system allocator: recycled
// value-sized nodes, ordinary blocks, and releasing a whole handle.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <vector>

#include "bench_ratio.h"
#include "kxsupp/memory.h"

namespace {

constexpr size_t kValueSize = sizeof(Value);

// One node in, one node out: the cache hands back the same block each time.
void BM_mem_node_steady(benchmark::State &state)
{
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    for (auto _ : state) {
        void *p = kx_mem_alloc_node(h, kValueSize, NODE_VALUE);
        benchmark::DoNotOptimize(p);
        kx_mem_free(h, p);
    }
    kx_mem_release_handle(h);
}
BENCHMARK(BM_mem_node_steady);

void BM_malloc_value_steady(benchmark::State &state)
{
    for (auto _ : state) {
        void *p = std::malloc(kValueSize);
        benchmark::DoNotOptimize(p);
        std::free(p);
    }
}
BENCHMARK(BM_malloc_value_steady);

// Ten allocations then ten frees, the cache's depth; one iteration is ten
// pairs.
void BM_mem_node_batch10(benchmark::State &state)
{
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    void *p[10];
    for (auto _ : state) {
        for (int i = 0; i < 10; i++)
            p[i] = kx_mem_alloc_node(h, kValueSize, NODE_VALUE);
        benchmark::DoNotOptimize(p);
        for (int i = 0; i < 10; i++)
            kx_mem_free(h, p[i]);
    }
    kx_mem_release_handle(h);
}
BENCHMARK(BM_mem_node_batch10);

void BM_malloc_value_batch10(benchmark::State &state)
{
    void *p[10];
    for (auto _ : state) {
        for (int i = 0; i < 10; i++)
            p[i] = std::malloc(kValueSize);
        benchmark::DoNotOptimize(p);
        for (int i = 0; i < 10; i++)
            std::free(p[i]);
    }
}
BENCHMARK(BM_malloc_value_batch10);

// Ordinary blocks: one system allocation each, plus the handle's list.
void BM_mem_alloc_free(benchmark::State &state)
{
    size_t size = static_cast<size_t>(state.range(0));
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    for (auto _ : state) {
        void *p = kx_mem_alloc(h, size);
        benchmark::DoNotOptimize(p);
        kx_mem_free(h, p);
    }
    kx_mem_release_handle(h);
}
BENCHMARK(BM_mem_alloc_free)->Arg(32)->Arg(200)->Arg(1000);

void BM_malloc_free(benchmark::State &state)
{
    size_t size = static_cast<size_t>(state.range(0));
    for (auto _ : state) {
        void *p = std::malloc(size);
        benchmark::DoNotOptimize(p);
        std::free(p);
    }
}
BENCHMARK(BM_malloc_free)->Arg(32)->Arg(200)->Arg(1000);

// Ten ordinary blocks alive at once, as a statement holds them.
void BM_mem_alloc_batch10(benchmark::State &state)
{
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    void *p[10];
    for (auto _ : state) {
        for (int i = 0; i < 10; i++)
            p[i] = kx_mem_alloc(h, 64);
        benchmark::DoNotOptimize(p);
        for (int i = 0; i < 10; i++)
            kx_mem_free(h, p[i]);
    }
    kx_mem_release_handle(h);
}
BENCHMARK(BM_mem_alloc_batch10);

void BM_malloc_batch10(benchmark::State &state)
{
    void *p[10];
    for (auto _ : state) {
        for (int i = 0; i < 10; i++)
            p[i] = std::malloc(64);
        benchmark::DoNotOptimize(p);
        for (int i = 0; i < 10; i++)
            std::free(p[i]);
    }
}
BENCHMARK(BM_malloc_batch10);

// 10,000 blocks freed by releasing their handle, against the same blocks
// freed one by one (oldest first). Allocation is outside the timing.
constexpr int kManyBlocks = 10000;

void BM_mem_release_10000(benchmark::State &state)
{
    for (auto _ : state) {
        state.PauseTiming();
        MemHandle *h = kx_mem_alloc_handle(nullptr);
        for (int i = 0; i < kManyBlocks; i++)
            benchmark::DoNotOptimize(kx_mem_alloc(h, 48));
        state.ResumeTiming();
        kx_mem_release_handle(h);
    }
}
BENCHMARK(BM_mem_release_10000);

void BM_mem_free_each_10000(benchmark::State &state)
{
    std::vector<void *> blocks(kManyBlocks);
    for (auto _ : state) {
        state.PauseTiming();
        MemHandle *h = kx_mem_alloc_handle(nullptr);
        for (int i = 0; i < kManyBlocks; i++)
            blocks[i] = kx_mem_alloc(h, 48);
        state.ResumeTiming();
        for (int i = 0; i < kManyBlocks; i++)
            kx_mem_free(h, blocks[i]);
        state.PauseTiming();
        kx_mem_release_handle(h);
        state.ResumeTiming();
    }
}
BENCHMARK(BM_mem_free_each_10000);

}  // namespace

KX_RATIO("node alloc+free, steady (kx / malloc)", "BM_mem_node_steady",
         "BM_malloc_value_steady");
KX_RATIO("node alloc+free, batches of 10 (kx / malloc)", "BM_mem_node_batch10",
         "BM_malloc_value_batch10");
KX_RATIO_GOAL("kx_mem_alloc+free 32 bytes (kx / malloc)", "BM_mem_alloc_free/32",
              "BM_malloc_free/32", 1.1);
KX_RATIO_GOAL("kx_mem_alloc+free 200 bytes (kx / malloc)", "BM_mem_alloc_free/200",
              "BM_malloc_free/200", 1.1);
KX_RATIO_GOAL("kx_mem_alloc+free 1000 bytes (kx / malloc)", "BM_mem_alloc_free/1000",
              "BM_malloc_free/1000", 1.1);
KX_RATIO("kx_mem_alloc+free, batches of 10 (kx / malloc)", "BM_mem_alloc_batch10",
         "BM_malloc_batch10");
KX_RATIO("10,000 blocks: release handle / free one by one", "BM_mem_release_10000",
         "BM_mem_free_each_10000");
