// The reference driver's parser: the time SQLPrepare takes per octet of
// statement text, for a small statement, a large one (a thousand select
// items and a long operator chain), one nested as deep as the driver takes,
// and the same statement shape at sizes ten and three times apart. A parse
// without backtracking costs the same per octet at any size: the ratio
// printed at the end stays near 3. Calls the driver's entry points directly, as its
// tests do.
#include <benchmark/benchmark.h>

#include <sql.h>
#include <sqlext.h>

#include <string>

#include "bench_ratio.h"
#include "driver/query.h"

namespace {

std::string repeated(const std::string &piece, size_t times)
{
    std::string out;
    for (size_t i = 0; i < times; ++i)
        out += piece;
    return out;
}

const std::string kSmall =
    "SELECT a + 1, {fn UCASE(b)} FROM (VALUES (1, 'x'), (2, 'y')) AS t(a, b) WHERE a > 0";

std::string large()
{
    std::string items;
    for (int i = 0; i < 1000; ++i)
        items += (i ? ", " : "") + std::string("{fn SUBSTRING('abcdef', 2, 3)} || CAST(n AS CHAR(8)) AS c") +
                 std::to_string(i);
    return "SELECT " + items + ", 0" + repeated(" + n * 2", 20000) + " FROM SERIES(1, 10) AS s(n)";
}

std::string deepest()
{
    size_t depth = kxdrv::kMaxNesting - 1;
    return "SELECT " + repeated("{fn ABS(", depth) + "-1" + repeated(")}", depth);
}

// SQLPrepare of text, once per iteration, on one statement of a connection
// made without a data source; the counter is the time per octet.
void prepare(benchmark::State &state, const std::string &text)
{
    SQLHENV env;
    SQLHDBC dbc;
    SQLHSTMT stmt;
    SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env);
    SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
    SQLAllocHandle(SQL_HANDLE_DBC, env, &dbc);
    SQLDriverConnect(dbc, nullptr, reinterpret_cast<SQLCHAR *>(const_cast<char *>("DATABASE=bench")),
                     SQL_NTS, nullptr, 0, nullptr, SQL_DRIVER_NOPROMPT);
    SQLAllocHandle(SQL_HANDLE_STMT, dbc, &stmt);
    for (auto _ : state) {
        SQLRETURN rc = SQLPrepare(stmt, reinterpret_cast<SQLCHAR *>(const_cast<char *>(text.data())),
                                  static_cast<SQLINTEGER>(text.size()));
        if (!SQL_SUCCEEDED(rc)) {
            state.SkipWithError("the statement does not prepare");
            break;
        }
    }
    state.counters["octets"] = static_cast<double>(text.size());
    state.counters["per_octet"] =
        benchmark::Counter(static_cast<double>(text.size()),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    SQLFreeHandle(SQL_HANDLE_STMT, stmt);
    SQLDisconnect(dbc);
    SQLFreeHandle(SQL_HANDLE_DBC, dbc);
    SQLFreeHandle(SQL_HANDLE_ENV, env);
}

void BM_driver_prepare_small(benchmark::State &state) { prepare(state, kSmall); }
void BM_driver_prepare_large(benchmark::State &state)
{
    static const std::string text = large();
    prepare(state, text);
}
void BM_driver_prepare_deepest(benchmark::State &state)
{
    static const std::string text = deepest();
    prepare(state, text);
}
// n select items, each a function over a chain and a nested call
void BM_driver_prepare_items(benchmark::State &state)
{
    std::string text = "SELECT 1";
    for (int64_t i = 0; i < state.range(0); ++i)
        text += ", {fn LEFT({fn SUBSTRING('abcdef', 2, 3)} || 'x' || 'y', 2)} + 1 * 2 - 3 AS c" +
                std::to_string(i % 10);
    prepare(state, text);
}
// (the parse tree of 10,000 items no longer fits the processor's caches,
// which costs about twice per octet; from there on the cost per octet stays)
BENCHMARK(BM_driver_prepare_items)->Arg(1000)->Arg(10000)->Arg(30000)->Unit(benchmark::kMillisecond);
KX_RATIO("prepare of 3 times the text (3: linear)", "BM_driver_prepare_items/30000",
         "BM_driver_prepare_items/10000");

BENCHMARK(BM_driver_prepare_small);
BENCHMARK(BM_driver_prepare_large)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_driver_prepare_deepest)->Unit(benchmark::kMicrosecond);

}  // namespace
