// Benchmarks of the configuration subsystem.
//
// Profile reads: an odbc.ini of 50 data-source sections of 10 keys each,
// reading the last key of the last section, against unixODBC's
// SQLGetPrivateProfileString on the same file (named by ODBCINI).
//  - warm: the file does not change; we answer from our stat-validated
//    cache, unixODBC from its own cache (which never looks at the file).
//  - cold: every iteration sets a new modification time on the file
//    (utimensat, in both benchmarks) so that our cache must read it again,
//    and passes a default of its own, because unixODBC caches answers by
//    their arguments and would otherwise not read the file at all.
//  - line by line: our reader with the cache turned off (fopen + fgets scan).
// Connection strings: parse_connection_string + generate_connection_string
// of a typical 6-attribute string in a fresh memory handle, against a
// strlen + memcpy of the same text.
#include "kxsupp/config.h"
#include "kxsupp/memory.h"
#include "config/registry_internal.h"
#include "bench_ratio.h"

#include <benchmark/benchmark.h>
#include <odbcinst.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct ProfileFixture {
    std::string dir;
    std::string path;
    ProfileFixture()
    {
        char pattern[] = "/tmp/kx_config_bench_XXXXXX";
        dir = mkdtemp(pattern);
        path = dir + "/odbc.ini";
        std::string text = "[ODBC Data Sources]\n";
        for (int s = 0; s < 50; s++)
            text += "DSN" + std::to_string(s) + " = Text Driver\n";
        for (int s = 0; s < 50; s++) {
            text += "\n[DSN" + std::to_string(s) + "]\n";
            for (int k = 0; k < 10; k++)
                text += "Key" + std::to_string(k) + " = value_" + std::to_string(s) +
                        "_" + std::to_string(k) + "\n";
        }
        FILE *f = std::fopen(path.c_str(), "w");
        std::fputs(text.c_str(), f);
        std::fclose(f);
        std::string sys = dir + "/sys";
        mkdir(sys.c_str(), 0755);
        setenv("ODBCSYSINI", sys.c_str(), 1);
        setenv("ODBCINI", path.c_str(), 1);
        SQLSetConfigMode(ODBC_BOTH_DSN);
        usleep(50 * 1000);   // let the file age past the timestamp granularity
    }
    ~ProfileFixture()
    {
        unlink(path.c_str());
        rmdir((dir + "/sys").c_str());
        rmdir(dir.c_str());
    }
    void touch(long i) const
    {
        struct timespec times[2];
        times[0].tv_sec = 1000000000 + i;
        times[0].tv_nsec = 0;
        times[1] = times[0];
        utimensat(AT_FDCWD, path.c_str(), times, 0);
    }
};

ProfileFixture &fixture()
{
    static ProfileFixture f;
    return f;
}

void BM_ProfileWarm_Ours(benchmark::State &state)
{
    ProfileFixture &f = fixture();
    ProfileHandle *h = open_registry();
    set_config(h, f.path.c_str());
    char out[128];
    for (auto _ : state) {
        get_profile_string(h, 2, "DSN49", "Key9", "none", out, sizeof out);
        benchmark::DoNotOptimize(out);
    }
    if (std::strcmp(out, "value_49_9") != 0)
        state.SkipWithError("wrong value");
    close_registry(h);
}
BENCHMARK(BM_ProfileWarm_Ours);

void BM_ProfileWarm_UnixOdbc(benchmark::State &state)
{
    fixture();
    char out[128];
    for (auto _ : state) {
        SQLGetPrivateProfileString("DSN49", "Key9", "none", out, sizeof out, "odbc.ini");
        benchmark::DoNotOptimize(out);
    }
    if (std::strcmp(out, "value_49_9") != 0)
        state.SkipWithError("wrong value");
}
BENCHMARK(BM_ProfileWarm_UnixOdbc);

void BM_ProfileCold_Ours(benchmark::State &state)
{
    ProfileFixture &f = fixture();
    ProfileHandle *h = open_registry();
    set_config(h, f.path.c_str());
    char out[128];
    char def[32];
    long i = 0;
    for (auto _ : state) {
        f.touch(++i);
        std::snprintf(def, sizeof def, "none%ld", i);
        get_profile_string(h, 2, "DSN49", "Key9", def, out, sizeof out);
        benchmark::DoNotOptimize(out);
    }
    if (std::strcmp(out, "value_49_9") != 0)
        state.SkipWithError("wrong value");
    close_registry(h);
}
BENCHMARK(BM_ProfileCold_Ours);

void BM_ProfileCold_UnixOdbc(benchmark::State &state)
{
    ProfileFixture &f = fixture();
    char out[128];
    char def[32];
    static long i = 0;   // defaults never repeat, even across runs
    for (auto _ : state) {
        f.touch(++i);
        std::snprintf(def, sizeof def, "odbc%ld", i);
        SQLGetPrivateProfileString("DSN49", "Key9", def, out, sizeof out, "odbc.ini");
        benchmark::DoNotOptimize(out);
    }
    if (std::strcmp(out, "value_49_9") != 0)
        state.SkipWithError("wrong value");
}
BENCHMARK(BM_ProfileCold_UnixOdbc);

void BM_ProfileLineByLine_Ours(benchmark::State &state)
{
    ProfileFixture &f = fixture();
    ProfileHandle *h = open_registry();
    set_config(h, f.path.c_str());
    kx::profile_cache_enable(false);
    char out[128];
    for (auto _ : state) {
        get_profile_string(h, 2, "DSN49", "Key9", "none", out, sizeof out);
        benchmark::DoNotOptimize(out);
    }
    kx::profile_cache_enable(true);
    if (std::strcmp(out, "value_49_9") != 0)
        state.SkipWithError("wrong value");
    close_registry(h);
}
BENCHMARK(BM_ProfileLineByLine_Ours);

KX_RATIO("profile read, warm: ours / unixODBC", "BM_ProfileWarm_Ours",
         "BM_ProfileWarm_UnixOdbc");
KX_RATIO("profile read, cold: ours / unixODBC", "BM_ProfileCold_Ours",
         "BM_ProfileCold_UnixOdbc");
KX_RATIO("profile read, warm / line by line (ours)", "BM_ProfileWarm_Ours",
         "BM_ProfileLineByLine_Ours");

const char kConnectionText[] =
    "DSN=Sales;UID=bob;PWD=secret;SERVER=db.example.com;PORT=5432;DATABASE=accounts";

void BM_ConnString_ParseGenerate(benchmark::State &state)
{
    MemHandle *root = kx_mem_alloc_handle(nullptr);
    char out[512];
    for (auto _ : state) {
        MemHandle *mem = kx_mem_alloc_handle(root);
        ConnectionString cs;
        parse_connection_string(&cs, mem, kConnectionText, KX_NTS, 0);
        generate_connection_string(&cs, out, sizeof out - 1);
        benchmark::DoNotOptimize(out);
        kx_mem_release_handle(mem);
    }
    if (std::strcmp(out, "DSN=Sales;UID=bob;PWD=secret;SERVER=db.example.com;PORT=5432;"
                         "DATABASE=accounts;") != 0)
        state.SkipWithError("wrong text");
    kx_mem_release_handle(root);
}
BENCHMARK(BM_ConnString_ParseGenerate);

void BM_ConnString_Copy(benchmark::State &state)
{
    char out[512];
    const char *text = kConnectionText;
    for (auto _ : state) {
        benchmark::DoNotOptimize(text);
        size_t n = std::strlen(text);
        std::memcpy(out, text, n + 1);
        benchmark::DoNotOptimize(out);
    }
}
BENCHMARK(BM_ConnString_Copy);

KX_RATIO("connection string parse + generate / strlen + memcpy",
         "BM_ConnString_ParseGenerate", "BM_ConnString_Copy");

}  // namespace
