// The cost of one trace line with tracing on: log_message (profile look-up
// of "log_file", line formatting, one append) against writing the same
// bytes with fprintf to the same file, both reopening the file per line as
// a tracer that keeps nothing open must, and against fprintf + fflush on a
// stream kept open (the cheapest line-at-a-time writer there is).
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>

#include "bench_ratio.h"
#include "kxsupp/diagnostics.h"

namespace {

// A temporary directory holding "odbc.ini" (whose "{settings}" name the
// log) and the log itself. While a benchmark runs it is the current
// directory; the previous one is restored afterwards.
class TraceDirectory {
public:
    TraceDirectory()
    {
        char pattern[] = "/tmp/kxtrace_bench.XXXXXX";
        if (mkdtemp(pattern) == nullptr)
            abort();
        dir_ = pattern;
        log_ = dir_ + "/trace.log";
        ini_ = dir_ + "/odbc.ini";
        FILE *f = fopen(ini_.c_str(), "w");
        if (f == nullptr)
            abort();
        // A few other sections first, as a real profile has.
        for (int s = 0; s < 10; ++s) {
            fprintf(f, "[dsn%d]\n", s);
            for (int k = 0; k < 10; ++k)
                fprintf(f, "key%d = value %d.%d\n", k, s, k);
        }
        fprintf(f, "{settings}\nlog_file = %s\n", log_.c_str());
        fclose(f);
        saved_cwd_ = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (saved_cwd_ < 0 || chdir(dir_.c_str()) != 0)
            abort();
    }
    ~TraceDirectory()
    {
        if (fchdir(saved_cwd_) != 0)
            abort();
        close(saved_cwd_);
        unlink(log_.c_str());
        unlink(ini_.c_str());
        rmdir(dir_.c_str());
    }
    const char *log() const { return log_.c_str(); }
    // Keeps the log from growing without end over a long run.
    void trim() const
    {
        int result = truncate(log_.c_str(), 0);
        (void)result;
    }

private:
    std::string dir_, log_, ini_;
    int saved_cwd_ = -1;
};

const char kTag[] = "SQLExecDirect";
constexpr int kNumber = 17;
const char kSql[] = "select name, price from items where id = 42";

void BM_trace_log_message(benchmark::State &state)
{
    TraceDirectory directory;
    uint32_t saved_mask = error_mask;
    error_mask = 1;
    void *hstmt = &directory;
    int64_t n = 0;
    for (auto _ : state) {
        log_message(kTag, kNumber, 1, "hstmt=%h sql=%S rows=%I rc=%e", hstmt,
                    kSql, -3, 12, 0);
        if (++n % 65536 == 0) {
            state.PauseTiming();
            directory.trim();
            state.ResumeTiming();
        }
    }
    error_mask = saved_mask;
}

// The same bytes as the line above: "[pid]tag@0017", padded to 30, ":".
int header_padding()
{
    char header[64];
    int length = snprintf(header, sizeof header, "[%d]%s@%04d",
                          static_cast<int>(getpid()), kTag, kNumber);
    return length < 30 ? 30 - length : 0;
}

void BM_trace_fprintf_reopen(benchmark::State &state)
{
    TraceDirectory directory;
    void *hstmt = &directory;
    int pad = header_padding();
    int pid = static_cast<int>(getpid());
    int64_t n = 0;
    for (auto _ : state) {
        FILE *f = fopen(directory.log(), "a+");
        fprintf(f, "[%d]%s@%04d%*s:hstmt=%p sql=\"%s\"{SQL_NTS} rows=%d rc=%s\n",
                pid, kTag, kNumber, pad, "", hstmt, kSql, 12, "SQL_SUCCESS");
        fclose(f);
        if (++n % 65536 == 0) {
            state.PauseTiming();
            directory.trim();
            state.ResumeTiming();
        }
    }
}

void BM_trace_fprintf_open_stream(benchmark::State &state)
{
    TraceDirectory directory;
    void *hstmt = &directory;
    int pad = header_padding();
    int pid = static_cast<int>(getpid());
    FILE *f = fopen(directory.log(), "a+");
    int64_t n = 0;
    for (auto _ : state) {
        fprintf(f, "[%d]%s@%04d%*s:hstmt=%p sql=\"%s\"{SQL_NTS} rows=%d rc=%s\n",
                pid, kTag, kNumber, pad, "", hstmt, kSql, 12, "SQL_SUCCESS");
        fflush(f);
        if (++n % 65536 == 0) {
            state.PauseTiming();
            directory.trim();
            state.ResumeTiming();
        }
    }
    fclose(f);
}

// With tracing off a call costs one test of the mask.
void BM_trace_log_message_off(benchmark::State &state)
{
    uint32_t saved_mask = error_mask;
    error_mask = 0;
    void *hstmt = &state;
    for (auto _ : state)
        benchmark::DoNotOptimize(log_message(kTag, kNumber, 1,
                                             "hstmt=%h sql=%S rows=%I rc=%e",
                                             hstmt, kSql, -3, 12, 0));
    error_mask = saved_mask;
}

}  // namespace

BENCHMARK(BM_trace_log_message);
BENCHMARK(BM_trace_fprintf_reopen);
BENCHMARK(BM_trace_fprintf_open_stream);
BENCHMARK(BM_trace_log_message_off);

KX_RATIO("trace: log_message line / fopen+fprintf+fclose line",
         "BM_trace_log_message", "BM_trace_fprintf_reopen");
KX_RATIO_GOAL("trace: log_message line / fprintf+fflush on an open stream",
              "BM_trace_log_message", "BM_trace_fprintf_open_stream", 2.0);
