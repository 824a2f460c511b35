// Fuzz target for the SQL-92 printer: random parse trees of valid node
// kinds (expressions of every operator class, lists, CASE, NULLIF, COALESCE,
// WHEN clauses, identifiers, table names and references, select items,
// SELECT query blocks, literal leaves of every value type, parameter
// markers, unknown kinds, and long chains of nesting) are printed with
// sql92_print_parse_tree and sql92_print_expression_ex in every mode.
// Exports LLVMFuzzerTestOneInput.
//
// Input: a stream of choices read by the tree builder; texts (identifiers,
// string literals) end at a zero octet.
//
// Properties: every piece is a zero-terminated text shorter than
// KX_PRINT_PIECE_SIZE; the printer changes nothing in the tree; printing
// again gives the same text; the root prints its statements joined by "; ";
// every identifier's text appears in the output, quoted ones in double
// quotes; an unknown kind prints its "<unexpected node type ...>" text and
// printing goes on after it.
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "fuzz/fuzz_support.h"

namespace {

constexpr size_t kFieldCount = 20;

struct Sink {
    std::string text;
    size_t pieces = 0;
    static void collect(const char *piece, void *user_data)
    {
        auto *sink = static_cast<Sink *>(user_data);
        size_t length = std::strlen(piece);
        FUZZ_CHECK(length < KX_PRINT_PIECE_SIZE, "a piece of %zu octets", length);
        sink->text.append(piece, length);
        ++sink->pieces;
    }
};

class TreeBuilder {
public:
    TreeBuilder(kxfuzz::Reader &in, MemHandle *mem) : in_(in), mem_(mem) {}

    // Every record the tree is made of, to see that printing changes none.
    struct Snapshot {
        const void *record;
        size_t size;
        std::string octets;
    };
    std::vector<Snapshot> records;
    std::vector<std::string> identifiers;   // as they must appear in the text
    size_t unknown_nodes = 0;

    ParseNode *node(uint32_t kind)
    {
        auto *n = static_cast<ParseNode *>(
            newNode(sizeof(ParseNode) + kFieldCount * sizeof(intptr_t), kind, mem_));
        FUZZ_CHECK(n != nullptr, "newNode");
        records.push_back({n, sizeof(ParseNode) + kFieldCount * sizeof(intptr_t), ""});
        return n;
    }
    static intptr_t word(const void *p) { return reinterpret_cast<intptr_t>(p); }

    ParseNode *list(int count, int depth)
    {
        List *l = nullptr;
        for (int i = 0; i < count; ++i)
            l = ListAppend(expression(depth + 1), l, mem_);
        ParseNode *n = node(KX_NODE_LIST);
        n->field[0] = word(l);
        return n;
    }

    ParseNode *identifier()
    {
        std::string text = in_.until('\0');
        if (text.empty())
            text = "c";
        texts_.push_back(text);
        ParseNode *n = node(KX_NODE_IDENTIFIER);
        n->field[0] = word(texts_.back().c_str());
        n->field[1] = in_.byte() % 4 == 0 ? 1 : 0;
        identifiers.push_back(n->field[1] != 0 ? "\"" + text + "\"" : text);
        return n;
    }

    ParseNode *value_leaf()
    {
        auto *v = static_cast<Value *>(newNode(sizeof(Value), NODE_VALUE, mem_));
        FUZZ_CHECK(v != nullptr, "newNode");
        records.push_back({v, sizeof(Value), ""});
        const int32_t types[] = {VALUE_INTEGER, VALUE_DOUBLE, VALUE_STRING, VALUE_BIT,
                                 VALUE_BINARY, VALUE_DATE, VALUE_TIME, VALUE_TIMESTAMP,
                                 VALUE_NUMERIC, VALUE_NULL, VALUE_BIGINT, VALUE_INTERVAL_YM,
                                 VALUE_INTERVAL_DS, VALUE_USER, VALUE_CURRENT_DATE, 99};
        v->type = types[in_.byte() % 16];
        switch (v->type) {
        case VALUE_STRING: {
            texts_.push_back(in_.until('\0'));
            v->payload.text = const_cast<char *>(texts_.back().c_str());
            v->length = static_cast<int32_t>(texts_.back().size());
            break;
        }
        case VALUE_BINARY: {
            texts_.push_back(in_.text(64));
            v->payload.bytes =
                reinterpret_cast<unsigned char *>(const_cast<char *>(texts_.back().data()));
            v->length = v->data_length = static_cast<int32_t>(texts_.back().size());
            break;
        }
        case VALUE_DOUBLE: {
            uint64_t bits = in_.u64();
            std::memcpy(&v->payload.dbl, &bits, sizeof bits);
            break;
        }
        case VALUE_INTERVAL_YM: case VALUE_INTERVAL_DS:
            v->payload.interval.interval_type = static_cast<int32_t>(in_.in_range(1, 13));
            v->payload.interval.interval_sign = static_cast<int16_t>(in_.byte() & 1);
            v->payload.interval.intval.day_second =
                DaySecondStruct{in_.u16(), in_.byte(), in_.byte(), in_.byte(), in_.u32() % 1000000000u};
            v->attr[2] = 2;
            v->attr[3] = 6;
            break;
        case VALUE_NUMERIC: {
            std::string digits = in_.text(30);
            for (char &c : digits)
                c = static_cast<char>('0' + static_cast<uint8_t>(c) % 10);
            string_to_numeric(digits.data(), &v->payload.numeric, 38,
                              static_cast<int32_t>(in_.in_range(-3, 20)));
            break;
        }
        default: {
            std::string raw = in_.bytes(16);
            std::memcpy(v->payload.raw, raw.data(), raw.size());
            break;
        }
        }
        v->null_flag = in_.byte() % 16 == 0 ? -1 : 0;
        return reinterpret_cast<ParseNode *>(v);
    }

    ParseNode *column()
    {
        ParseNode *n = node(KX_NODE_COLUMN_REFERENCE);
        if (in_.flag())
            n->field[3] = word(identifier());
        n->field[4] = word(identifier());
        return n;
    }

    ParseNode *table_reference(int depth)
    {
        ParseNode *n = node(KX_NODE_TABLE_REFERENCE);
        if (depth < 6 && in_.byte() % 5 == 0) {
            n->field[3] = word(query(depth + 1));
        } else {
            ParseNode *name = node(KX_NODE_TABLE_NAME);
            name->field[3] = word(identifier());
            if (in_.flag())
                name->field[1] = word(identifier());
            n->field[0] = word(name);
        }
        if (in_.flag())
            n->field[1] = word(identifier());
        return n;
    }

    ParseNode *query(int depth)
    {
        ParseNode *n = node(KX_NODE_QUERY_SPECIFICATION);
        n->field[0] = in_.byte() % 3;
        if (in_.flag()) {
            List *items = nullptr;
            int count = 1 + in_.byte() % 4;
            for (int i = 0; i < count; ++i) {
                ParseNode *item = node(KX_NODE_SELECT_ITEM);
                item->field[0] = word(expression(depth + 1));
                if (in_.flag())
                    item->field[1] = word(identifier());
                items = ListAppend(item, items, mem_);
            }
            ParseNode *l = node(KX_NODE_LIST);
            l->field[0] = word(items);
            n->field[2] = word(l);
        }
        List *from = ListAppend(table_reference(depth), nullptr, mem_);
        if (in_.flag())
            from = ListAppend(table_reference(depth), from, mem_);
        ParseNode *l = node(KX_NODE_LIST);
        l->field[0] = word(from);
        n->field[3] = word(l);
        if (in_.flag())
            n->field[4] = word(expression(depth + 1));
        return n;
    }

    ParseNode *operation(int32_t op_class, int32_t op_code, ParseNode *left, ParseNode *right)
    {
        auto *pair = static_cast<OperatorPair *>(kx_mem_alloc(mem_, sizeof(OperatorPair)));
        FUZZ_CHECK(pair != nullptr, "kx_mem_alloc");
        pair->op_class = op_class;
        pair->op_code = op_code;
        records.push_back({pair, sizeof(OperatorPair), ""});
        ParseNode *n = node(KX_NODE_EXPRESSION);
        n->field[0] = word(pair);
        n->field[2] = word(left);
        n->field[3] = word(right);
        return n;
    }

    // A long chain of one operator class, built without recursion.
    ParseNode *chain()
    {
        int32_t op_class = static_cast<int32_t>(in_.in_range(1, 4));
        size_t length = static_cast<size_t>(in_.u16() % 3000);
        ParseNode *n = value_leaf();
        for (size_t i = 0; i < length; ++i)
            n = op_class == KX_OP_CLASS_NOT ? operation(op_class, 0, nullptr, n)
                                            : operation(op_class, 7 + static_cast<int32_t>(i % 6),
                                                        n, column());
        return n;
    }

    ParseNode *expression(int depth)
    {
        if (in_.empty() || depth > 40)
            return in_.flag() ? value_leaf() : column();
        switch (in_.byte() % 16) {
        case 0: case 1: return value_leaf();
        case 2: case 3: return column();
        case 4: return MakeDynamic(in_.byte(), mem_);
        case 5: case 6: {
            int32_t op_class = static_cast<int32_t>(in_.in_range(1, 4));
            int32_t op_code = static_cast<int32_t>(in_.in_range(1, 12));
            ParseNode *left = op_class == KX_OP_CLASS_NOT ? nullptr : expression(depth + 1);
            return operation(op_class, op_code, left, expression(depth + 1));
        }
        case 7: return list(1 + in_.byte() % 4, depth);
        case 8: {
            ParseNode *n = node(KX_NODE_CASE);
            if (in_.flag())
                n->field[0] = word(expression(depth + 1));
            List *whens = nullptr;
            int count = 1 + in_.byte() % 3;
            for (int i = 0; i < count; ++i) {
                ParseNode *when = node(KX_NODE_WHEN_CLAUSE);
                when->field[0] = word(expression(depth + 1));
                when->field[1] = word(expression(depth + 1));
                whens = ListAppend(when, whens, mem_);
            }
            ParseNode *l = node(KX_NODE_LIST);
            l->field[0] = word(whens);
            n->field[1] = word(l);
            if (in_.flag())
                n->field[2] = word(expression(depth + 1));
            return n;
        }
        case 9: {
            ParseNode *n = node(KX_NODE_NULLIF);
            n->field[0] = word(expression(depth + 1));
            n->field[1] = word(expression(depth + 1));
            return n;
        }
        case 10: {
            ParseNode *n = node(KX_NODE_COALESCE);
            n->field[0] = word(list(1 + in_.byte() % 3, depth));
            return n;
        }
        case 11: {
            // Kinds the printer does not know: 131, 149 and 156 lie inside
            // its range, 99 and 163 outside it.
            const uint32_t unknown[] = {131, 149, 156, 99, 163};
            ++unknown_nodes;
            return node(unknown[in_.byte() % 5]);
        }
        case 12: return depth < 8 ? query(depth + 1) : column();
        case 13: return chain();
        default: return in_.flag() ? value_leaf() : column();
        }
    }

    void take_snapshots()
    {
        for (Snapshot &s : records)
            s.octets = image_of(s);
    }
    bool unchanged() const
    {
        for (const Snapshot &s : records)
            if (s.octets != image_of(s))
                return false;
        return true;
    }

private:
    static std::string image_of(const Snapshot &s)
    {
        return std::string(static_cast<const char *>(s.record), s.size);
    }

    kxfuzz::Reader &in_;
    MemHandle *mem_;
    // Texts the tree points at; a deque-like list so that pointers stay put.
    struct TextList {
        std::vector<std::unique_ptr<std::string>> items;
        void push_back(std::string s) { items.push_back(std::make_unique<std::string>(std::move(s))); }
        std::string &back() { return *items.back(); }
    } texts_;
};

std::string print(const ParseNode *node, int32_t mode)
{
    Sink sink;
    sql92_print_expression_ex(node, Sink::collect, &sink, mode);
    return sink.text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    kxfuzz::Reader in(data, size);
    MemHandle *mem = kx_mem_alloc_handle(nullptr);
    if (mem == nullptr)
        return 0;
    {
        TreeBuilder tree(in, mem);
        int32_t mode = in.byte() % 3;
        std::vector<ParseNode *> statements;
        int count = 1 + in.byte() % 3;
        for (int i = 0; i < count; ++i)
            statements.push_back(in.flag() ? tree.query(0) : tree.expression(0));
        List *l = nullptr;
        for (ParseNode *s : statements)
            l = ListAppend(s, l, mem);
        ParseNode *root = tree.node(0);
        root->field[0] = TreeBuilder::word(l);
        tree.take_snapshots();

        Sink whole;
        sql92_print_parse_tree(root, Sink::collect, &whole);
        FUZZ_CHECK(tree.unchanged(), "printing changed the tree");

        std::string joined;
        for (size_t i = 0; i < statements.size(); ++i)
            joined += (i > 0 ? "; " : "") + print(statements[i], KX_PRINT_PLAIN);
        FUZZ_CHECK(whole.text == joined, "the root prints its statements joined by \"; \"");

        std::string text = print(statements[0], mode);
        FUZZ_CHECK(text == print(statements[0], mode), "printing again gives the same text");
        for (const std::string &id : tree.identifiers)
            FUZZ_CHECK(whole.text.find(id) != std::string::npos,
                       "identifier [%s] is missing from the text", id.c_str());
        if (tree.unknown_nodes > 0)
            FUZZ_CHECK(whole.text.find("<unexpected node type ") != std::string::npos,
                       "an unknown kind prints its unexpected text");
        FUZZ_CHECK(tree.unchanged(), "printing changed the tree");
    }
    kx_mem_release_handle(mem);
    return 0;
}
