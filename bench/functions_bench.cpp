// Scalar functions: the per-row cost of execute_function (the call, its new
// result value and the release of that value, as a driver pays per row)
// against SQLite's per-row cost of the same function in the same run.
// BM_Kx* run the family's catalogue on ASCII words; BM_Std* run the standard
// catalogue's string functions on UTF-8 words with some non-ASCII letters,
// against SQLite's counterparts (substr, upper, length, soundex, instr, ||)
// on the same words, each with a goal of half SQLite's time.
//
// SQLite's cost of f is measured as a driver's row loop would see it:
// `SELECT count(f(x)) FROM t` minus `SELECT count(x) FROM t` over an
// in-memory table of a million rows, divided by the row count, reported as
// the benchmark's manual time. TIMESTAMPDIFF has no SQLite counterpart; it
// is set against the julianday arithmetic that computes an hour difference.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <chrono>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "bench_ratio.h"
#include "kxsupp.h"

namespace {

constexpr int kRows = 1000000;
constexpr int kPool = 4096;  // distinct argument values our loop cycles through

// The short strings both sides work on: 8 to 15 letters, mixed case.
std::string word(int i)
{
    unsigned x = static_cast<unsigned>(i) * 2654435761u + 12345u;
    int length = 8 + static_cast<int>(x % 8);
    std::string w;
    for (int k = 0; k < length; ++k) {
        x = x * 1103515245u + 12345u;
        char c = static_cast<char>('a' + (x >> 16) % 26);
        w += (k % 3 == 0) ? static_cast<char>(c - 'a' + 'A') : c;
    }
    return w;
}

// The same kind of words in UTF-8: 8 to 15 characters, about one in four
// of them a two-octet letter and one word in eight with a three-octet one.
std::string utf8_word(int i)
{
    static const char *const kAccented[] = {"\xC3\xA9", "\xC3\xBC", "\xC3\x9F", "\xC3\xB1",
                                            "\xC3\x96", "\xC3\x85", "\xC4\x8D", "\xC5\x82"};
    unsigned x = static_cast<unsigned>(i) * 2246822519u + 374761393u;
    int length = 8 + static_cast<int>(x % 8);
    std::string w;
    for (int k = 0; k < length; ++k) {
        x = x * 1103515245u + 12345u;
        unsigned pick = (x >> 16) % 64;
        if (pick < 16)
            w += kAccented[pick % 8];
        else if (pick == 16 && i % 8 == 0)
            w += "\xE2\x82\xAC";  // U+20AC
        else
            w += static_cast<char>((k % 3 == 0 ? 'A' : 'a') + (x >> 8) % 26);
    }
    return w;
}

double number(int i)
{
    return (i % 100000) * 0.01357 - 500.0;
}

// ---- SQLite ----

sqlite3 *sqlite_table()
{
    static sqlite3 *db = [] {
        sqlite3 *d = nullptr;
        sqlite3_open(":memory:", &d);
        sqlite3_exec(d, "CREATE TABLE t(x TEXT, d REAL, a TEXT, b TEXT)", nullptr, nullptr,
                     nullptr);
        sqlite3_exec(d, "BEGIN", nullptr, nullptr, nullptr);
        sqlite3_stmt *insert = nullptr;
        sqlite3_prepare_v2(d, "INSERT INTO t VALUES(?, ?, ?, ?)", -1, &insert, nullptr);
        for (int i = 0; i < kRows; ++i) {
            std::string w = word(i);
            char a[32], b[32];
            std::snprintf(a, sizeof a, "2024-%02d-%02d 10:%02d:00", 1 + i % 12, 1 + i % 28,
                          i % 60);
            std::snprintf(b, sizeof b, "2025-%02d-%02d 08:%02d:30", 1 + i % 12, 1 + i % 28,
                          (i * 7) % 60);
            sqlite3_bind_text(insert, 1, w.c_str(), -1, SQLITE_TRANSIENT);
            sqlite3_bind_double(insert, 2, number(i));
            sqlite3_bind_text(insert, 3, a, -1, SQLITE_TRANSIENT);
            sqlite3_bind_text(insert, 4, b, -1, SQLITE_TRANSIENT);
            sqlite3_step(insert);
            sqlite3_reset(insert);
        }
        sqlite3_finalize(insert);
        // the UTF-8 words, in a table of their own
        sqlite3_exec(d, "CREATE TABLE u(x TEXT)", nullptr, nullptr, nullptr);
        sqlite3_prepare_v2(d, "INSERT INTO u VALUES(?)", -1, &insert, nullptr);
        for (int i = 0; i < kRows; ++i) {
            std::string w = utf8_word(i);
            sqlite3_bind_text(insert, 1, w.c_str(), -1, SQLITE_TRANSIENT);
            sqlite3_step(insert);
            sqlite3_reset(insert);
        }
        sqlite3_finalize(insert);
        sqlite3_exec(d, "COMMIT", nullptr, nullptr, nullptr);
        return d;
    }();
    return db;
}

// Seconds one run of a query takes, or a negative number when SQLite
// cannot prepare it (a function this build lacks).
double run_query(sqlite3 *db, const char *sql)
{
    sqlite3_stmt *stmt = nullptr;
    if (sqlite3_prepare_v2(db, sql, -1, &stmt, nullptr) != SQLITE_OK)
        return -1.0;
    auto start = std::chrono::steady_clock::now();
    while (sqlite3_step(stmt) == SQLITE_ROW)
        benchmark::DoNotOptimize(sqlite3_column_int64(stmt, 0));
    auto stop = std::chrono::steady_clock::now();
    sqlite3_finalize(stmt);
    return std::chrono::duration<double>(stop - start).count();
}

// Per-row cost of expression over column: the query with it minus the
// query that only counts the column.
void sqlite_per_row(benchmark::State &state, const char *expression, const char *column,
                    const char *table = "t")
{
    sqlite3 *db = sqlite_table();
    std::string with = std::string("SELECT count(") + expression + ") FROM " + table;
    std::string without = std::string("SELECT count(") + column + ") FROM " + table;
    for (auto _ : state) {
        double f = run_query(db, with.c_str());
        if (f < 0) {
            state.SkipWithError("this SQLite build lacks the function");
            return;
        }
        double base = run_query(db, without.c_str());
        double per_row = (f - base) / kRows;
        state.SetIterationTime(per_row > 0 ? per_row : 1e-12);
    }
}

// ---- the library ----

struct Driver {
    MemHandle *mem = kx_mem_alloc_handle(nullptr);
    DriverStatement statement{};
    EvalContext context{};
    std::vector<Value *> strings, utf8_strings, doubles, stamps_a, stamps_b;
    Value *two = nullptr, *three = nullptr;
    Value *hour_unit = nullptr;
    Value *letter_a = nullptr;

    Driver()
    {
        statement.kind = KX_KIND_STATEMENT;
        statement.errors = CreateErrorHeader(mem, nullptr);
        context.stmt = &statement;
        context.mem = mem;
        for (int i = 0; i < kPool; ++i) {
            strings.push_back(text(word(i)));
            utf8_strings.push_back(text(utf8_word(i)));
            doubles.push_back(dbl(number(i)));
            stamps_a.push_back(stamp(2024, 1 + i % 12, 1 + i % 28, 10, i % 60, 0));
            stamps_b.push_back(stamp(2025, 1 + i % 12, 1 + i % 28, 8, (i * 7) % 60, 30));
        }
        two = integer(2);
        three = integer(3);
        hour_unit = text("SQL_TSI_HOUR");
        letter_a = text("a");
    }
    ~Driver() { kx_mem_release_handle(mem); }

    Value *node(int32_t type)
    {
        Value *v = static_cast<Value *>(newNode(sizeof(Value), NODE_VALUE, mem));
        v->type = type;
        return v;
    }
    Value *text(const std::string &s)
    {
        Value *v = NewValue(mem, static_cast<int32_t>(s.size()) + 1);
        char *t = v->payload.text;
        std::memset(v, 0, offsetof(Value, payload));
        v->kind = NODE_VALUE;
        v->mem_handle = mem;
        v->inline_buffer = 1;
        v->type = VALUE_STRING;
        v->length = static_cast<int32_t>(s.size());
        std::memcpy(t, s.c_str(), s.size() + 1);
        return v;
    }
    Value *dbl(double d)
    {
        Value *v = node(VALUE_DOUBLE);
        v->payload.dbl = d;
        return v;
    }
    Value *integer(int32_t i)
    {
        Value *v = node(VALUE_INTEGER);
        v->payload.integer = i;
        return v;
    }
    Value *stamp(int y, int mo, int d, int h, int mi, int s)
    {
        Value *v = node(VALUE_TIMESTAMP);
        v->payload.timestamp = TimestampStruct{static_cast<int16_t>(y), static_cast<uint16_t>(mo),
                                               static_cast<uint16_t>(d), static_cast<uint16_t>(h),
                                               static_cast<uint16_t>(mi), static_cast<uint16_t>(s),
                                               0};
        return v;
    }
};

// One call per iteration, cycling through the argument pool; make_args
// fills the argument array for row i. The entry comes from the family's
// catalogue, or from the standard one when standard is set.
template <typename MakeArgs>
void per_call(benchmark::State &state, const char *name, MakeArgs make_args,
              bool standard = false)
{
    static Driver driver;
    const FunctionEntry *entry =
        standard ? kxstd_get_function_info(kxstd_get_function_id(name, 0))
                 : sql92_get_function_info(sql92_get_function_id(name, 0));
    Value *argv[3];
    int i = 0;
    if (setjmp(driver.context.exit) != 0) {
        state.SkipWithError("the function took its error exit");
        return;
    }
    for (auto _ : state) {
        int32_t argc = make_args(driver, i, argv);
        Value *result = execute_function(entry, &driver.context, argc, argv, 0, 0);
        benchmark::DoNotOptimize(result);
        release_value(driver.mem, result);
        i = (i + 1) & (kPool - 1);
    }
}

void BM_KxSubstring(benchmark::State &state)
{
    per_call(state, "SUBSTRING", [](Driver &d, int i, Value **argv) {
        argv[0] = d.strings[i];
        argv[1] = d.two;
        argv[2] = d.three;
        return 3;
    });
}
void BM_KxUcase(benchmark::State &state)
{
    per_call(state, "UCASE", [](Driver &d, int i, Value **argv) {
        argv[0] = d.strings[i];
        return 1;
    });
}
void BM_KxSoundex(benchmark::State &state)
{
    per_call(state, "SOUNDEX", [](Driver &d, int i, Value **argv) {
        argv[0] = d.strings[i];
        return 1;
    });
}
void BM_KxLength(benchmark::State &state)
{
    per_call(state, "LENGTH", [](Driver &d, int i, Value **argv) {
        argv[0] = d.strings[i];
        return 1;
    });
}
void BM_KxRound(benchmark::State &state)
{
    per_call(state, "ROUND", [](Driver &d, int i, Value **argv) {
        argv[0] = d.doubles[i];
        argv[1] = d.two;
        return 2;
    });
}
void BM_KxTimestampdiff(benchmark::State &state)
{
    per_call(state, "TIMESTAMPDIFF", [](Driver &d, int i, Value **argv) {
        argv[0] = d.hour_unit;
        argv[1] = d.stamps_a[i];
        argv[2] = d.stamps_b[i];
        return 3;
    });
}

// ---- the standard catalogue on UTF-8 words ----

void BM_StdSubstring(benchmark::State &state)
{
    per_call(
        state, "SUBSTRING",
        [](Driver &d, int i, Value **argv) {
            argv[0] = d.utf8_strings[i];
            argv[1] = d.two;
            argv[2] = d.three;
            return 3;
        },
        true);
}
void BM_StdLeft(benchmark::State &state)
{
    per_call(
        state, "LEFT",
        [](Driver &d, int i, Value **argv) {
            argv[0] = d.utf8_strings[i];
            argv[1] = d.three;
            return 2;
        },
        true);
}
void BM_StdUcase(benchmark::State &state)
{
    per_call(
        state, "UCASE",
        [](Driver &d, int i, Value **argv) {
            argv[0] = d.utf8_strings[i];
            return 1;
        },
        true);
}
void BM_StdLength(benchmark::State &state)
{
    per_call(
        state, "LENGTH",
        [](Driver &d, int i, Value **argv) {
            argv[0] = d.utf8_strings[i];
            return 1;
        },
        true);
}
void BM_StdSoundex(benchmark::State &state)
{
    per_call(
        state, "SOUNDEX",
        [](Driver &d, int i, Value **argv) {
            argv[0] = d.utf8_strings[i];
            return 1;
        },
        true);
}
void BM_StdConcat(benchmark::State &state)
{
    per_call(
        state, "CONCAT",
        [](Driver &d, int i, Value **argv) {
            argv[0] = d.utf8_strings[i];
            argv[1] = d.utf8_strings[(i + 1) & (kPool - 1)];
            return 2;
        },
        true);
}
void BM_StdLocate(benchmark::State &state)
{
    per_call(
        state, "LOCATE",
        [](Driver &d, int i, Value **argv) {
            argv[0] = d.letter_a;
            argv[1] = d.utf8_strings[i];
            return 2;
        },
        true);
}

void BM_SqliteUtf8Substr(benchmark::State &state)
{
    sqlite_per_row(state, "substr(x, 2, 3)", "x", "u");
}
void BM_SqliteUtf8Left(benchmark::State &state)
{
    sqlite_per_row(state, "substr(x, 1, 3)", "x", "u");
}
void BM_SqliteUtf8Upper(benchmark::State &state) { sqlite_per_row(state, "upper(x)", "x", "u"); }
void BM_SqliteUtf8Length(benchmark::State &state) { sqlite_per_row(state, "length(x)", "x", "u"); }
void BM_SqliteUtf8Soundex(benchmark::State &state)
{
    sqlite_per_row(state, "soundex(x)", "x", "u");
}
// two words of one kind joined, as the standard's CONCAT joins a word and
// the next one (reading the next row would cost SQLite a window function)
void BM_SqliteUtf8Concat(benchmark::State &state) { sqlite_per_row(state, "x || x", "x", "u"); }
void BM_SqliteUtf8Instr(benchmark::State &state)
{
    sqlite_per_row(state, "instr(x, 'a')", "x", "u");
}

void BM_SqliteSubstr(benchmark::State &state) { sqlite_per_row(state, "substr(x, 2, 3)", "x"); }
void BM_SqliteUpper(benchmark::State &state) { sqlite_per_row(state, "upper(x)", "x"); }
void BM_SqliteSoundex(benchmark::State &state) { sqlite_per_row(state, "soundex(x)", "x"); }
void BM_SqliteLength(benchmark::State &state) { sqlite_per_row(state, "length(x)", "x"); }
void BM_SqliteRound(benchmark::State &state) { sqlite_per_row(state, "round(d, 2)", "d"); }
void BM_SqliteHourDifference(benchmark::State &state)
{
    sqlite_per_row(state, "CAST((julianday(b) - julianday(a)) * 24 AS INTEGER)", "a");
}

BENCHMARK(BM_KxSubstring);
BENCHMARK(BM_KxUcase);
BENCHMARK(BM_KxSoundex);
BENCHMARK(BM_KxLength);
BENCHMARK(BM_KxRound);
BENCHMARK(BM_KxTimestampdiff);
BENCHMARK(BM_SqliteSubstr)->UseManualTime()->Iterations(3);
BENCHMARK(BM_SqliteUpper)->UseManualTime()->Iterations(3);
BENCHMARK(BM_SqliteSoundex)->UseManualTime()->Iterations(3);
BENCHMARK(BM_SqliteLength)->UseManualTime()->Iterations(3);
BENCHMARK(BM_SqliteRound)->UseManualTime()->Iterations(3);
BENCHMARK(BM_SqliteHourDifference)->UseManualTime()->Iterations(3);
BENCHMARK(BM_StdSubstring);
BENCHMARK(BM_StdLeft);
BENCHMARK(BM_StdUcase);
BENCHMARK(BM_StdLength);
BENCHMARK(BM_StdSoundex);
BENCHMARK(BM_StdConcat);
BENCHMARK(BM_StdLocate);
BENCHMARK(BM_SqliteUtf8Substr)->UseManualTime()->Iterations(3);
BENCHMARK(BM_SqliteUtf8Left)->UseManualTime()->Iterations(3);
BENCHMARK(BM_SqliteUtf8Upper)->UseManualTime()->Iterations(3);
BENCHMARK(BM_SqliteUtf8Length)->UseManualTime()->Iterations(3);
BENCHMARK(BM_SqliteUtf8Soundex)->UseManualTime()->Iterations(3);
BENCHMARK(BM_SqliteUtf8Concat)->UseManualTime()->Iterations(3);
BENCHMARK(BM_SqliteUtf8Instr)->UseManualTime()->Iterations(3);

KX_RATIO("SUBSTRING per row / SQLite substr per row", "BM_KxSubstring",
         "BM_SqliteSubstr/iterations:3/manual_time");
KX_RATIO("UCASE per row / SQLite upper per row", "BM_KxUcase",
         "BM_SqliteUpper/iterations:3/manual_time");
KX_RATIO_GOAL("SOUNDEX per row / SQLite soundex per row", "BM_KxSoundex",
              "BM_SqliteSoundex/iterations:3/manual_time", 0.5);
KX_RATIO_GOAL("LENGTH per row / SQLite length per row", "BM_KxLength",
              "BM_SqliteLength/iterations:3/manual_time", 0.5);
KX_RATIO("ROUND per row / SQLite round per row", "BM_KxRound",
         "BM_SqliteRound/iterations:3/manual_time");
KX_RATIO("TIMESTAMPDIFF(HOUR) per row / SQLite julianday hour difference per row",
         "BM_KxTimestampdiff", "BM_SqliteHourDifference/iterations:3/manual_time");

}  // namespace

namespace {

KX_RATIO_GOAL("standard SUBSTRING / SQLite substr, UTF-8", "BM_StdSubstring",
              "BM_SqliteUtf8Substr/iterations:3/manual_time", 0.5);
KX_RATIO_GOAL("standard LEFT / SQLite substr(x, 1, n), UTF-8", "BM_StdLeft",
              "BM_SqliteUtf8Left/iterations:3/manual_time", 0.5);
KX_RATIO_GOAL("standard UCASE / SQLite upper, UTF-8", "BM_StdUcase",
              "BM_SqliteUtf8Upper/iterations:3/manual_time", 0.5);
KX_RATIO_GOAL("standard LENGTH / SQLite length, UTF-8", "BM_StdLength",
              "BM_SqliteUtf8Length/iterations:3/manual_time", 0.5);
KX_RATIO_GOAL("standard SOUNDEX / SQLite soundex, UTF-8", "BM_StdSoundex",
              "BM_SqliteUtf8Soundex/iterations:3/manual_time", 0.5);
KX_RATIO_GOAL("standard CONCAT / SQLite ||, UTF-8", "BM_StdConcat",
              "BM_SqliteUtf8Concat/iterations:3/manual_time", 0.5);
KX_RATIO_GOAL("standard LOCATE / SQLite instr, UTF-8", "BM_StdLocate",
              "BM_SqliteUtf8Instr/iterations:3/manual_time", 0.5);

}  // namespace
