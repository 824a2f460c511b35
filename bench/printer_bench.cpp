// SQL text printer: a 200-node query tree printed through a callback that
// appends each piece to a buffer, against one snprintf of the same text
// from a single format string (its names and numbers as conversions), in
// the family's printing and in the standard one; and a row of 40 literals
// in the standard printing against one snprintf of its text.
//
// The query: SELECT of 27 columns FROM one table, WHERE a left-deep chain
// of 20 comparisons joined by AND, ORDER BY 4 columns. The row: INSERT INTO
// one table VALUES of 10 doubles, 10 strings, 10 timestamps with a
// fraction and 10 integers, in turn.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "bench_ratio.h"
#include "kxsupp/memory.h"
#include "kxsupp/parse.h"
#include "kxsupp/standard.h"
#include "kxsupp/values.h"

namespace {

constexpr int kItems = 27;
constexpr int kComparisons = 20;
constexpr int kSortKeys = 4;
constexpr int kLiterals = 40;

class TreeBuilder {
public:
    TreeBuilder() : handle_(kx_mem_alloc_handle(nullptr)) {}
    ~TreeBuilder() { kx_mem_release_handle(handle_); }

    ParseNode *node(uint32_t kind, intptr_t f1 = 0, intptr_t f2 = 0, intptr_t f3 = 0,
                    intptr_t f4 = 0, intptr_t f5 = 0)
    {
        auto *n = static_cast<ParseNode *>(
            newNode(sizeof(ParseNode) + 20 * sizeof(intptr_t), kind, handle_));
        n->field[0] = f1;
        n->field[1] = f2;
        n->field[2] = f3;
        n->field[3] = f4;
        n->field[4] = f5;
        ++count_;
        return n;
    }
    static intptr_t w(const void *p) { return reinterpret_cast<intptr_t>(p); }

    ParseNode *id(const char *prefix, int i)
    {
        char text[16];
        std::snprintf(text, sizeof text, "%s%d", prefix, i);
        char *copy = static_cast<char *>(kx_mem_alloc(handle_, std::strlen(text) + 1));
        std::strcpy(copy, text);
        return node(KX_NODE_IDENTIFIER, w(copy));
    }
    ParseNode *column(int i) { return node(KX_NODE_COLUMN_REFERENCE, 0, 0, 0, 0, w(id("c", i))); }
    ParseNode *integer(int i)
    {
        auto *v = static_cast<Value *>(newNode(sizeof(Value), NODE_VALUE, handle_));
        v->type = VALUE_INTEGER;
        v->payload.integer = i;
        ++count_;
        return reinterpret_cast<ParseNode *>(v);
    }
    ParseNode *expression(int32_t op_class, int32_t op_code, ParseNode *left, ParseNode *right)
    {
        auto *pair = static_cast<OperatorPair *>(kx_mem_alloc(handle_, sizeof(OperatorPair)));
        pair->op_class = op_class;
        pair->op_code = op_code;
        return node(KX_NODE_EXPRESSION, w(pair), 0, w(left), w(right));
    }
    ParseNode *list(List *l) { return node(KX_NODE_LIST, w(l)); }
    List *append(List *l, ParseNode *n) { return ListAppend(n, l, handle_); }

    // The benchmark's query (see the file's opening comment).
    ParseNode *query()
    {
        List *items = nullptr;
        for (int i = 0; i < kItems; ++i)
            items = append(items, node(KX_NODE_SELECT_ITEM, w(column(i))));
        ParseNode *table = node(KX_NODE_TABLE_NAME, 0, 0, 0, w(id("t", 0)));
        List *from = append(nullptr, node(KX_NODE_TABLE_REFERENCE, w(table)));
        ParseNode *where = nullptr;
        for (int i = 0; i < kComparisons; ++i) {
            ParseNode *c = expression(KX_OP_CLASS_COMPARISON, 11, column(i), integer(i));
            where = where ? expression(KX_OP_CLASS_AND, 0, where, c) : c;
        }
        ParseNode *select = node(KX_NODE_QUERY_SPECIFICATION, 0, 0, w(list(items)),
                                 w(list(from)), w(where));
        List *order = nullptr;
        for (int i = 0; i < kSortKeys; ++i)
            order = append(order, node(KX_NODE_SORT_SPECIFICATION, w(column(i)), 0, i == 2 ? 2 : 0));
        return node(KX_NODE_CURSOR_SPECIFICATION, w(select), w(list(order)));
    }

    // The benchmark's row of literals (see the file's opening comment).
    ParseNode *literal_row()
    {
        List *values = nullptr;
        for (int i = 0; i < kLiterals; ++i) {
            auto *v = static_cast<Value *>(newNode(sizeof(Value), NODE_VALUE, handle_));
            ++count_;
            switch (i % 4) {
            case 0:
                v->type = VALUE_DOUBLE;
                v->payload.dbl = 1.25 + i;
                break;
            case 1: {
                char text[16];
                int n = std::snprintf(text, sizeof text, "name%d", i);
                v->type = VALUE_STRING;
                v->payload.text = static_cast<char *>(kx_mem_alloc(handle_, sizeof text));
                std::memcpy(v->payload.text, text, sizeof text);
                v->length = n;
                break;
            }
            case 2:
                v->type = VALUE_TIMESTAMP;
                v->payload.timestamp = TimestampStruct{2004, 6, 16, 10, 20,
                                                       static_cast<uint16_t>(i), 250000000};
                break;
            default:
                v->type = VALUE_INTEGER;
                v->payload.integer = i * 1000;
                break;
            }
            values = append(values, reinterpret_cast<ParseNode *>(v));
        }
        ParseNode *table = node(KX_NODE_TABLE_NAME, 0, 0, 0, w(id("t", 0)));
        ParseNode *source = node(KX_NODE_INSERT_SOURCE, 0, 0, 0, w(list(values)));
        return node(KX_NODE_INSERT, w(table), w(source));
    }

    int count() const { return count_; }

private:
    MemHandle *handle_;
    int count_ = 0;
};

// The printed text's format: names and numbers as conversions.
std::string query_format()
{
    std::string f = " SELECT ";
    for (int i = 0; i < kItems; ++i)
        f += i + 1 < kItems ? "c%d, " : "c%d";
    f += " FROM t0 WHERE ";
    for (int i = 1; i < kComparisons; ++i)
        f += "( ";
    f += "( c%d = %d  )";
    for (int i = 1; i < kComparisons; ++i)
        f += " AND ( c%d = %d  ))";
    f += " ORDER BY c%d ASC , c%d ASC , c%d DESC , c%d ASC ";
    return f;
}

#define KX_SEQ9(b) b, b + 1, b + 2, b + 3, b + 4, b + 5, b + 6, b + 7, b + 8
#define KX_PAIRS5(b) b, b, b + 1, b + 1, b + 2, b + 2, b + 3, b + 3, b + 4, b + 4
// The arguments of query_format, in order: 27 item numbers, 20 pairs of
// column and value, 4 sort keys.
#define KX_QUERY_ARGUMENTS                                                         \
    KX_SEQ9(0), KX_SEQ9(9), KX_SEQ9(18), KX_PAIRS5(0), KX_PAIRS5(5), KX_PAIRS5(10), \
        KX_PAIRS5(15), 0, 1, 2, 3

// The row's text: the literals as conversions, as the standard printing
// writes them ("%.17g" and an exponent for a double, the fraction's
// significant digits).
std::string literal_row_format()
{
    std::string f = "INSERT INTO t0 VALUES ( ";
    for (int i = 0; i < kLiterals; ++i) {
        const char *literal[] = {"%.17gE0", "'%s' ", "TIMESTAMP '2004-06-16 10:20:%02d.25'", "%d "};
        f += literal[i % 4];
        f += i + 1 < kLiterals ? ", " : " ) ";
    }
    return f;
}

// The strings of the row (its entries 1, 5, 9, ...).
constexpr const char *kRowNames[] = {"name1",  "name5",  "name9",  "name13", "name17",
                                     "name21", "name25", "name29", "name33", "name37"};
// The arguments of literal_row_format, four a group: a double, a string, a
// second and an integer.
#define KX_ROW_GROUP(g) \
    1.25 + 4 * (g), kRowNames[g], 4 * (g) + 2, (4 * (g) + 3) * 1000
#define KX_ROW_ARGUMENTS                                                                  \
    KX_ROW_GROUP(0), KX_ROW_GROUP(1), KX_ROW_GROUP(2), KX_ROW_GROUP(3), KX_ROW_GROUP(4), \
        KX_ROW_GROUP(5), KX_ROW_GROUP(6), KX_ROW_GROUP(7), KX_ROW_GROUP(8), KX_ROW_GROUP(9)

struct Buffer {
    char data[8192];
    size_t length;
};

void append_piece(const char *piece, void *user_data)
{
    auto *b = static_cast<Buffer *>(user_data);
    size_t n = std::strlen(piece);
    if (b->length + n < sizeof b->data) {
        std::memcpy(b->data + b->length, piece, n);
        b->length += n;
    }
}

std::string printed(const ParseNode *tree)
{
    Buffer buffer{};
    sql92_print_expression(tree, append_piece, &buffer);
    return std::string(buffer.data, buffer.length);
}

void BM_PrintQueryTree(benchmark::State &state)
{
    TreeBuilder builder;
    ParseNode *tree = builder.query();
    if (builder.count() < 195 || builder.count() > 205) {
        state.SkipWithError("the tree is not about 200 nodes");
        return;
    }
    Buffer buffer;
    for (auto _ : state) {
        buffer.length = 0;
        sql92_print_expression(tree, append_piece, &buffer);
        benchmark::DoNotOptimize(buffer.data);
        benchmark::ClobberMemory();
    }
    state.counters["nodes"] = builder.count();
    state.counters["octets"] = static_cast<double>(buffer.length);
}
BENCHMARK(BM_PrintQueryTree);

void BM_SnprintfQueryText(benchmark::State &state)
{
    TreeBuilder builder;
    std::string format = query_format();
    char text[8192];
    std::snprintf(text, sizeof text, format.c_str(), KX_QUERY_ARGUMENTS);
    if (printed(builder.query()) != text) {
        state.SkipWithError("the format does not give the printer's text");
        return;
    }
    for (auto _ : state) {
        int n = std::snprintf(text, sizeof text, format.c_str(), KX_QUERY_ARGUMENTS);
        benchmark::DoNotOptimize(n);
        benchmark::DoNotOptimize(text);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_SnprintfQueryText);

KX_RATIO("sql92_print_expression / snprintf (200-node query, goal <= 3)",
         "BM_PrintQueryTree", "BM_SnprintfQueryText");

// The standard printing of the same tree: the same text (nothing in it is
// printed otherwise), handed on in gathered pieces.
void BM_StdPrintQueryTree(benchmark::State &state)
{
    TreeBuilder builder;
    ParseNode *tree = builder.query();
    Buffer buffer{};
    kxstd_sql92_print_expression(tree, append_piece, &buffer);
    if (std::string(buffer.data, buffer.length) != printed(tree)) {
        state.SkipWithError("the standard printing differs from the family's on this tree");
        return;
    }
    for (auto _ : state) {
        buffer.length = 0;
        kxstd_sql92_print_expression(tree, append_piece, &buffer);
        benchmark::DoNotOptimize(buffer.data);
        benchmark::ClobberMemory();
    }
    state.counters["nodes"] = builder.count();
    state.counters["octets"] = static_cast<double>(buffer.length);
}
BENCHMARK(BM_StdPrintQueryTree);

KX_RATIO_GOAL("kxstd_sql92_print_expression / snprintf (200-node query)",
              "BM_StdPrintQueryTree", "BM_SnprintfQueryText", 2.0);

// ---- a row of literals, standard printing ----

void BM_StdPrintLiteralRow(benchmark::State &state)
{
    TreeBuilder builder;
    ParseNode *tree = builder.literal_row();
    std::string format = literal_row_format();
    char text[8192];
    std::snprintf(text, sizeof text, format.c_str(), KX_ROW_ARGUMENTS);
    Buffer buffer{};
    kxstd_sql92_print_expression(tree, append_piece, &buffer);
    if (std::string(buffer.data, buffer.length) != text) {
        state.SkipWithError("the format does not give the standard printing's text");
        return;
    }
    for (auto _ : state) {
        buffer.length = 0;
        kxstd_sql92_print_expression(tree, append_piece, &buffer);
        benchmark::DoNotOptimize(buffer.data);
        benchmark::ClobberMemory();
    }
    state.counters["literals"] = kLiterals;
    state.counters["octets"] = static_cast<double>(buffer.length);
}
BENCHMARK(BM_StdPrintLiteralRow);

void BM_SnprintfLiteralRow(benchmark::State &state)
{
    std::string format = literal_row_format();
    char text[8192];
    for (auto _ : state) {
        int n = std::snprintf(text, sizeof text, format.c_str(), KX_ROW_ARGUMENTS);
        benchmark::DoNotOptimize(n);
        benchmark::DoNotOptimize(text);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_SnprintfLiteralRow);

KX_RATIO_GOAL("kxstd_sql92_print_expression / snprintf (row of 40 literals)",
              "BM_StdPrintLiteralRow", "BM_SnprintfLiteralRow", 2.0);

}  // namespace
