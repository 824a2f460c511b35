// A small builder of parse trees for the SQL text printer's tests, in the
// shape a driver's parser makes them: nodes from newNode in one memory
// handle, fields filled by number (field N is field[N - 1]), lists as List
// records inside list nodes, literal leaves as Values. The builder records
// every node kind it makes, so a test can check which kinds a set of trees
// covers. Also: a print sink that gathers the pieces the printer hands to
// its callback.
#ifndef KXSUPP_TESTS_PARSE_SQLPRINT_TREE_H
#define KXSUPP_TESTS_PARSE_SQLPRINT_TREE_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <deque>
#include <initializer_list>
#include <set>
#include <string>
#include <vector>

#include <kxsupp.h>

namespace sqltree {

// Nodes get this many fields, enough for every field the printer reads
// (a column reference's outer-join marks are fields 15 and 18).
constexpr size_t kFieldCount = 20;

// A field word from a pointer, an integer or nothing.
inline intptr_t word(std::nullptr_t) { return 0; }
inline intptr_t word(int i) { return i; }
inline intptr_t word(const void *p) { return reinterpret_cast<intptr_t>(p); }

class Builder {
public:
    Builder() : handle_(kx_mem_alloc_handle(nullptr)) {}
    ~Builder() { kx_mem_release_handle(handle_); }
    Builder(const Builder &) = delete;
    Builder &operator=(const Builder &) = delete;

    // A node of kind with fields 1, 2, ... as given (the rest zero).
    template <typename... Fields>
    ParseNode *node(uint32_t kind, Fields... fields)
    {
        static_assert(sizeof...(fields) <= kFieldCount);
        auto *n = static_cast<ParseNode *>(
            newNode(sizeof(ParseNode) + kFieldCount * sizeof(intptr_t), kind, handle_));
        intptr_t values[] = {0, word(fields)...};
        for (size_t i = 0; i < sizeof...(fields); ++i)
            n->field[i] = values[i + 1];
        kinds_.insert(kind);
        return n;
    }

    // Sets field number (1-based) of a node after the fact.
    template <typename T>
    static ParseNode *set(ParseNode *n, int number, T value)
    {
        n->field[number - 1] = word(value);
        return n;
    }

    // ---- names ----
    ParseNode *id(const char *text, bool quoted = false)
    {
        return node(KX_NODE_IDENTIFIER, keep(text), quoted ? 1 : 0);
    }
    // A table name: f4 the table; optional schema (f2).
    ParseNode *table(const char *name, const char *schema = nullptr)
    {
        return node(KX_NODE_TABLE_NAME, nullptr, schema ? id(schema) : nullptr, nullptr, id(name));
    }
    // A column reference: f5 the column, f4 an optional table qualifier.
    ParseNode *col(const char *name) { return col(nullptr, name); }
    ParseNode *col(const char *qualifier, const char *name)
    {
        return node(KX_NODE_COLUMN_REFERENCE, nullptr, nullptr, nullptr,
                    qualifier ? id(qualifier) : nullptr, id(name));
    }
    // A table reference to a named table, with an optional correlation name.
    ParseNode *ref(const char *name, const char *alias = nullptr)
    {
        return node(KX_NODE_TABLE_REFERENCE, table(name), alias ? id(alias) : nullptr);
    }
    // A table reference standing for a joined table.
    ParseNode *joined(ParseNode *join)
    {
        return node(KX_NODE_TABLE_REFERENCE, nullptr, nullptr, join);
    }

    // ---- lists ----
    ParseNode *list(std::initializer_list<const void *> entries)
    {
        List *l = nullptr;
        for (const void *e : entries)
            l = ListAppend(const_cast<void *>(e), l, handle_);
        return node(KX_NODE_LIST, l);
    }
    // A statement tree's root: field 1 is the List of statements.
    ParseNode *root(std::initializer_list<const void *> statements)
    {
        List *l = nullptr;
        for (const void *s : statements)
            l = ListAppend(const_cast<void *>(s), l, handle_);
        auto *n = static_cast<ParseNode *>(
            newNode(sizeof(ParseNode) + kFieldCount * sizeof(intptr_t), 0, handle_));
        n->field[0] = word(l);
        return n;
    }

    // ---- literal leaves ----
    Value *value(int32_t type)
    {
        auto *v = static_cast<Value *>(newNode(sizeof(Value), NODE_VALUE, handle_));
        v->type = type;
        kinds_.insert(NODE_VALUE);
        return v;
    }
    Value *integer(int32_t i)
    {
        Value *v = value(VALUE_INTEGER);
        v->payload.integer = i;
        return v;
    }
    Value *dbl(double d)
    {
        Value *v = value(VALUE_DOUBLE);
        v->payload.dbl = d;
        return v;
    }
    // A string literal holding text as it is (quotes not doubled).
    Value *str(const char *text)
    {
        Value *v = value(VALUE_STRING);
        v->payload.text = const_cast<char *>(keep(text));
        v->length = static_cast<int32_t>(std::strlen(text));
        return v;
    }
    Value *binary(std::initializer_list<unsigned char> octets)
    {
        Value *v = value(VALUE_BINARY);
        bytes_.emplace_back(octets);
        v->payload.bytes = bytes_.back().data();
        v->length = v->data_length = static_cast<int32_t>(octets.size());
        return v;
    }
    ParseNode *param(int32_t ordinal)
    {
        kinds_.insert(NODE_DYNAMIC_PARAM);
        return MakeDynamic(ordinal, handle_);
    }
    template <typename T>
    static ParseNode *leaf(T *v) { return reinterpret_cast<ParseNode *>(v); }

    // ---- expressions ----
    ParseNode *expr(int32_t op_class, int32_t op_code, const void *left, const void *right)
    {
        auto *pair = static_cast<OperatorPair *>(kx_mem_alloc(handle_, sizeof(OperatorPair)));
        pair->op_class = op_class;
        pair->op_code = op_code;
        return node(KX_NODE_EXPRESSION, pair, nullptr, left, right);
    }
    ParseNode *cmp(int32_t op_code, const void *left, const void *right)
    {
        return expr(KX_OP_CLASS_COMPARISON, op_code, left, right);
    }
    ParseNode *both(const void *left, const void *right)
    {
        return expr(KX_OP_CLASS_AND, 0, left, right);
    }
    ParseNode *either(const void *left, const void *right)
    {
        return expr(KX_OP_CLASS_OR, 0, left, right);
    }
    ParseNode *negate(const void *operand)
    {
        return expr(KX_OP_CLASS_NOT, 0, nullptr, operand);
    }

    // ---- queries ----
    // A SELECT query block: quantifier (0, 1 ALL, 2 DISTINCT), select list
    // (null: *), FROM list, condition.
    ParseNode *select(int quantifier, const void *items, const void *from,
                      const void *where = nullptr)
    {
        return node(KX_NODE_QUERY_SPECIFICATION, quantifier, nullptr, items, from, where);
    }
    ParseNode *item(const void *expression, const char *alias = nullptr)
    {
        return node(KX_NODE_SELECT_ITEM, expression, alias ? id(alias) : nullptr);
    }

    const std::set<uint32_t> &kinds() const { return kinds_; }
    MemHandle *handle() const { return handle_; }

private:
    const char *keep(const char *text)
    {
        texts_.emplace_back(text);
        return texts_.back().c_str();
    }

    MemHandle *handle_;
    std::deque<std::string> texts_;
    std::deque<std::vector<unsigned char>> bytes_;
    std::set<uint32_t> kinds_;
};

// Gathers the printer's pieces; every piece must be shorter than the
// printer's area.
struct Sink {
    std::string text;
    std::vector<std::string> pieces;
    size_t longest = 0;

    static void collect(const char *piece, void *user_data)
    {
        auto *sink = static_cast<Sink *>(user_data);
        size_t length = std::strlen(piece);
        if (length > sink->longest)
            sink->longest = length;
        sink->text += piece;
        sink->pieces.emplace_back(piece);
    }
};

inline std::string print_tree(const ParseNode *root, Sink *sink_out = nullptr)
{
    Sink sink;
    sql92_print_parse_tree(root, Sink::collect, &sink);
    EXPECT_LT(sink.longest, static_cast<size_t>(KX_PRINT_PIECE_SIZE));
    if (sink_out != nullptr)
        *sink_out = sink;
    return sink.text;
}

inline std::string print(const void *node, int32_t mode = KX_PRINT_PLAIN,
                         Sink *sink_out = nullptr)
{
    Sink sink;
    sql92_print_expression_ex(static_cast<const ParseNode *>(node), Sink::collect, &sink, mode);
    EXPECT_LT(sink.longest, static_cast<size_t>(KX_PRINT_PIECE_SIZE));
    if (sink_out != nullptr)
        *sink_out = sink;
    return sink.text;
}

}  // namespace sqltree

#endif
