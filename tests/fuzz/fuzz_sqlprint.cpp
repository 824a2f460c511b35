// Fuzz target for the SQL-92 printer: random parse trees of valid node
// kinds (expressions of every operator class, lists, CASE, NULLIF, COALESCE,
// WHEN clauses, identifiers, table names and references, select items,
// SELECT query blocks, literal leaves of every value type, parameter
// markers, unknown kinds, and long chains of nesting) are printed with
// sql92_print_parse_tree and sql92_print_expression_ex in every mode, and
// in the standard printing with kxstd_sql92_print_parse_tree and
// kxstd_sql92_print_expression_ex. Exports LLVMFuzzerTestOneInput.
//
// Input: a stream of choices read by the tree builder; texts (identifiers,
// string literals) end at a zero octet.
//
// Properties: every piece is a zero-terminated text shorter than
// KX_PRINT_PIECE_SIZE; the printer changes nothing in the tree; printing
// again gives the same text; the root prints its statements joined by "; ";
// every identifier's text appears in the output, quoted ones in double
// quotes; an unknown kind prints its "<unexpected node type ...>" text and
// printing goes on after it. The same for the standard printing, where a
// quoted identifier's double quotes are doubled; and there every literal
// leaf, printed alone, reads back as the same value: integers, bigints and
// doubles by the C library (an infinite or NaN double prints the
// unexpected-value text), numerics by kxstd_text_to_numeric, strings and
// binaries undone by hand, real dates, times and timestamps by
// kxstd_make_literal, intervals by kxstd_make_interval at the precisions
// their qualifier names (kxstd_interval_length the same).
#include <cmath>
#include <cstdlib>
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
    std::vector<std::string> std_identifiers;   // the same in the standard printing
    std::vector<const Value *> values;      // every literal leaf
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
        std::string doubled;
        for (char c : text)
            doubled += c == '"' ? "\"\"" : std::string(1, c);
        std_identifiers.push_back(n->field[1] != 0 ? "\"" + doubled + "\"" : text);
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
        values.push_back(v);
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

std::string std_print(const void *node, int32_t mode)
{
    Sink sink;
    kxstd_sql92_print_expression_ex(static_cast<const ParseNode *>(node), Sink::collect, &sink,
                                    mode);
    return sink.text;
}

// ---- standard literals read back ----

bool starts_with(const std::string &text, const char *prefix)
{
    return text.compare(0, std::strlen(prefix), prefix) == 0;
}

// The text between the first two single quotes of an interval or datetime
// literal (none of these has a quote inside).
std::string quoted_body(const std::string &text)
{
    size_t open = text.find('\'');
    size_t close = text.find('\'', open + 1);
    FUZZ_CHECK(open != std::string::npos && close != std::string::npos, "[%s] has no quotes",
               text.c_str());
    return text.substr(open + 1, close - open - 1);
}

// The precisions an interval literal's qualifier names: "(p)" or "(p, s)"
// after the leading field, "(s)" after TO SECOND; 2 and 6 where none is.
void qualifier_precisions(const std::string &text, int32_t *leading, int32_t *seconds)
{
    *leading = 2;
    *seconds = 6;
    size_t at = text.find('\'', text.find('\'') + 1) + 2;
    size_t to = text.find(" TO ", at);
    std::string first = text.substr(at, to == std::string::npos ? std::string::npos : to - at);
    size_t paren = first.find('(');
    if (paren != std::string::npos) {
        char *end = nullptr;
        *leading = static_cast<int32_t>(std::strtol(first.c_str() + paren + 1, &end, 10));
        if (*end == ',')
            *seconds = static_cast<int32_t>(std::strtol(end + 1, nullptr, 10));
    }
    if (to != std::string::npos) {
        size_t second = text.find('(', to);
        if (second != std::string::npos)
            *seconds = static_cast<int32_t>(std::strtol(text.c_str() + second + 1, nullptr, 10));
    }
}

bool real_time(uint32_t hour, uint32_t minute, uint32_t second)
{
    return hour < 24 && minute < 60 && second < 60;
}

void check_datetime(const Value *v, const std::string &text, int32_t kind, size_t size,
                    MemHandle *mem)
{
    int32_t status = -1;
    Value *back = kxstd_make_literal(kind, text.c_str(), mem, &status);
    FUZZ_CHECK(back != nullptr, "[%s] is not read back (status %d)", text.c_str(), status);
    FUZZ_CHECK(std::memcmp(&back->payload, &v->payload, size) == 0,
               "[%s] reads back as other fields", text.c_str());
}

// Every literal leaf, printed alone, reads back as the same value.
void check_literal(const Value *v, MemHandle *mem)
{
    std::string text = std_print(v, KX_PRINT_PLAIN);
    const ValuePayload &p = v->payload;
    if (v->null_flag != 0 || v->type == VALUE_NULL) {
        FUZZ_CHECK(text == " NULL ", "a NULL prints [%s]", text.c_str());
        return;
    }
    switch (v->type) {
    case VALUE_INTEGER:
        FUZZ_CHECK(std::strtol(text.c_str(), nullptr, 10) == p.integer && text.back() == ' ',
                   "integer %d prints [%s]", p.integer, text.c_str());
        break;
    case VALUE_BIGINT: {
        int64_t n = static_cast<int64_t>(
            (static_cast<uint64_t>(static_cast<uint32_t>(p.bigint.high)) << 32) | p.bigint.low);
        FUZZ_CHECK(std::strtoll(text.c_str(), nullptr, 10) == n, "bigint prints [%s]",
                   text.c_str());
        break;
    }
    case VALUE_DOUBLE:
        if (!std::isfinite(p.dbl)) {
            FUZZ_CHECK(text == "<unexpected value>", "a non-finite double prints [%s]",
                       text.c_str());
        } else {
            char *end = nullptr;
            double back = std::strtod(text.c_str(), &end);
            FUZZ_CHECK(*end == '\0' && text.find('E') != std::string::npos,
                       "[%s] is no approximate literal", text.c_str());
            FUZZ_CHECK(std::memcmp(&back, &p.dbl, sizeof back) == 0, "[%s] reads back as %.17g",
                       text.c_str(), back);
        }
        break;
    case VALUE_NUMERIC: {
        NumericStruct back;
        if (p.numeric.scale >= 0 && p.numeric.scale <= 38) {
            int32_t status = kxstd_text_to_numeric(text.c_str(), &back);
            FUZZ_CHECK(status == KXSTD_OK, "[%s] is not read back (status %d)", text.c_str(),
                       status);
            FUZZ_CHECK(kxstd_numeric_compare(&back, &p.numeric) == 0,
                       "[%s] reads back as another number", text.c_str());
        }
        break;
    }
    case VALUE_STRING: {
        FUZZ_CHECK(text.size() >= 3 && text[0] == '\'' && text.compare(text.size() - 2, 2, "' ") == 0,
                   "a string prints [%s]", text.c_str());
        std::string body;
        for (size_t i = 1; i + 2 < text.size(); ++i) {
            body += text[i];
            if (text[i] == '\'') {
                FUZZ_CHECK(text[i + 1] == '\'', "a lone quote in [%s]", text.c_str());
                ++i;
            }
        }
        std::string held(p.text, static_cast<size_t>(v->length));
        FUZZ_CHECK(body == held.substr(0, std::strlen(held.c_str())),
                   "a string reads back as another text");
        break;
    }
    case VALUE_BINARY: {
        std::string hex = "X'";
        static const char digits[] = "0123456789ABCDEF";
        for (int32_t i = 0; i < v->data_length; ++i) {
            hex += digits[p.bytes[i] >> 4];
            hex += digits[p.bytes[i] & 15];
        }
        FUZZ_CHECK(text == hex + "'", "a binary prints [%s]", text.c_str());
        break;
    }
    case VALUE_DATE:
        if (kxstd_valid_date(p.date.year, p.date.month, p.date.day))
            check_datetime(v, text, KX_LITERAL_DATE, sizeof(DateStruct), mem);
        break;
    case VALUE_TIME:
        if (real_time(p.time.hour, p.time.minute, p.time.second))
            check_datetime(v, text, KX_LITERAL_TIME, sizeof(TimeStruct), mem);
        break;
    case VALUE_TIMESTAMP:
        if (p.timestamp.fraction >= 1000000000u)
            FUZZ_CHECK(text == "<unexpected value>", "a fraction of a whole second prints [%s]",
                       text.c_str());
        else if (kxstd_valid_date(p.timestamp.year, p.timestamp.month, p.timestamp.day) &&
                 real_time(p.timestamp.hour, p.timestamp.minute, p.timestamp.second))
            check_datetime(v, text, KX_LITERAL_TIMESTAMP, sizeof(TimestampStruct), mem);
        break;
    case VALUE_INTERVAL_YM:
    case VALUE_INTERVAL_DS: {
        int32_t kind = p.interval.interval_type;
        if (kind < 1 || kind > 13) {
            FUZZ_CHECK(text == "<unexpected value>", "interval kind %d prints [%s]", kind,
                       text.c_str());
            break;
        }
        FUZZ_CHECK(starts_with(text, "INTERVAL '"), "an interval prints [%s]", text.c_str());
        int32_t leading, seconds;
        qualifier_precisions(text, &leading, &seconds);
        if (leading > 9)
            break;   // beyond the precisions the standard reader takes
        int32_t status = -1;
        std::string body = "'" + quoted_body(text) + "'";
        Value *back = kxstd_make_interval(body.c_str(), kind, leading, seconds, mem, &status);
        FUZZ_CHECK(back != nullptr, "[%s] is not read back (status %d)", text.c_str(), status);
        int64_t units = 0, back_units = 0;
        int32_t nanos = 0, back_nanos = 0;
        FUZZ_CHECK(kxstd_interval_length(&p.interval, &units, &nanos) == KXSTD_OK &&
                       kxstd_interval_length(&back->payload.interval, &back_units,
                                             &back_nanos) == KXSTD_OK,
                   "interval lengths");
        FUZZ_CHECK(units == back_units && nanos == back_nanos,
                   "[%s] reads back as another length", text.c_str());
        break;
    }
    default:
        break;
    }
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

        // The standard printing, with the same properties.
        Sink standard;
        kxstd_sql92_print_parse_tree(root, Sink::collect, &standard);
        FUZZ_CHECK(tree.unchanged(), "the standard printing changed the tree");
        std::string std_joined;
        for (size_t i = 0; i < statements.size(); ++i)
            std_joined += (i > 0 ? "; " : "") + std_print(statements[i], KX_PRINT_PLAIN);
        FUZZ_CHECK(standard.text == std_joined,
                   "the standard root prints its statements joined by \"; \"");
        std::string std_text = std_print(statements[0], mode);
        FUZZ_CHECK(std_text == std_print(statements[0], mode),
                   "standard printing again gives the same text");
        for (const std::string &id : tree.std_identifiers)
            FUZZ_CHECK(standard.text.find(id) != std::string::npos,
                       "identifier [%s] is missing from the standard text", id.c_str());
        if (tree.unknown_nodes > 0)
            FUZZ_CHECK(standard.text.find("<unexpected node type ") != std::string::npos,
                       "an unknown kind prints its unexpected text in the standard printing");
        for (const Value *v : tree.values)
            check_literal(v, mem);
        FUZZ_CHECK(tree.unchanged(), "the standard printing changed the tree");
    }
    kx_mem_release_handle(mem);
    return 0;
}
