// sqlparse.cpp - the driver's SQL scanner and recursive-descent parser.
//
// Exports (driver-internal) parse_query and print_query. The statement
// language is one query without tables:
//
//   SELECT item [, item ...]
//     [FROM (VALUES (e, ...), (e, ...)) [AS] t [(a, b, ...)]
//      | FROM SERIES(first, last) [AS] t [(n)]]
//     [WHERE condition] [ORDER BY e [ASC|DESC], ...]
//
// Expressions are library parse trees (ParseNode records of the printer's
// kinds, fields as the printer reads them) whose literal leaves come from
// the literal builders (MakeLiteral, MakeInteger, MakeNumeric, MakeFloat,
// MakeNull) and whose parameter markers come from MakeDynamic. Interval
// literals, which the builders leave to the driver, are built here. Scalar
// functions are resolved through the catalogue when parsed, in the ODBC
// escape form {fn NAME(...)}, as plain calls, and in the SQL-92 forms
// (POSITION(a IN b), SUBSTRING(a FROM b FOR c), EXTRACT(f FROM x),
// CHAR_LENGTH, UPPER, CURRENT_DATE, ...). An error posts 42000 with the
// position of the offending token (or 22xxx for a bad literal) and the parse
// gives up by returning null; the nodes made so far go with the handle.
//
// The parse is one pass without backtracking, so its time is linear in the
// statement's length; expressions nest at most kMaxNesting levels deep
// (54001 beyond), and the walks over the finished tree take chains of
// left-associative operators in a loop (chains_left). Lengths, precisions
// and scales are range-checked as they are read; a statement may have at
// most kMaxColumns columns (54011) and kMaxParameters parameter markers, and
// a name at most kMaxNameLength octets.
#include <cctype>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <strings.h>

#include "driver/evaluate.h"
#include "driver/query.h"

namespace kxdrv {

namespace {

enum class Tok { kEnd, kIdent, kQuotedIdent, kNumber, kString, kBitString, kHexString,
                 kParam, kSymbol };

struct Token {
    Tok kind = Tok::kEnd;
    std::string text;   // as written (strings with their quotes)
    size_t position = 0;
};

bool is_ident_start(char c) { return std::isalpha(static_cast<unsigned char>(c)) || c == '_'; }
bool is_ident_char(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }

std::string upper(std::string s)
{
    for (char &c : s)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return s;
}

// Splits the text into tokens; false with the error position and what is
// wrong when a string or quoted name is not closed, a character is unknown
// or a name is too long.
bool scan(const std::string &text, std::vector<Token> &tokens, size_t &error_at,
          const char *&problem)
{
    problem = "unclosed quote or unknown character";
    size_t i = 0, n = text.size();
    while (i < n) {
        char c = text[i];
        if (std::isspace(static_cast<unsigned char>(c))) {
            ++i;
            continue;
        }
        if (c == '-' && i + 1 < n && text[i + 1] == '-') {
            while (i < n && text[i] != '\n')
                ++i;
            continue;
        }
        Token t;
        t.position = i + 1;
        if ((c == 'B' || c == 'b' || c == 'X' || c == 'x') && i + 1 < n && text[i + 1] == '\'') {
            size_t j = i + 2;
            while (j < n && text[j] != '\'')
                ++j;
            if (j >= n) {
                error_at = i + 1;
                return false;
            }
            t.kind = (c == 'B' || c == 'b') ? Tok::kBitString : Tok::kHexString;
            t.text = text.substr(i, j + 1 - i);
            i = j + 1;
        } else if (is_ident_start(c)) {
            size_t j = i;
            while (j < n && is_ident_char(text[j]))
                ++j;
            t.kind = Tok::kIdent;
            t.text = text.substr(i, j - i);
            if (t.text.size() > kMaxNameLength) {
                error_at = i + 1;
                problem = "a name is longer than 128 characters";
                return false;
            }
            i = j;
        } else if (c == '"') {
            size_t j = i + 1;
            std::string name;
            for (;;) {
                if (j >= n) {
                    error_at = i + 1;
                    return false;
                }
                if (text[j] == '"') {
                    if (j + 1 < n && text[j + 1] == '"') {
                        name += '"';
                        j += 2;
                        continue;
                    }
                    break;
                }
                name += text[j++];
            }
            t.kind = Tok::kQuotedIdent;
            t.text = name;
            if (t.text.size() > kMaxNameLength) {
                error_at = i + 1;
                problem = "a name is longer than 128 characters";
                return false;
            }
            i = j + 1;
        } else if (std::isdigit(static_cast<unsigned char>(c)) ||
                   (c == '.' && i + 1 < n && std::isdigit(static_cast<unsigned char>(text[i + 1])))) {
            size_t j = i;
            while (j < n && std::isdigit(static_cast<unsigned char>(text[j])))
                ++j;
            if (j < n && text[j] == '.') {
                ++j;
                while (j < n && std::isdigit(static_cast<unsigned char>(text[j])))
                    ++j;
            }
            if (j < n && (text[j] == 'e' || text[j] == 'E')) {
                size_t k = j + 1;
                if (k < n && (text[k] == '+' || text[k] == '-'))
                    ++k;
                if (k < n && std::isdigit(static_cast<unsigned char>(text[k]))) {
                    while (k < n && std::isdigit(static_cast<unsigned char>(text[k])))
                        ++k;
                    j = k;
                }
            }
            t.kind = Tok::kNumber;
            t.text = text.substr(i, j - i);
            i = j;
        } else if (c == '\'') {
            size_t j = i + 1;
            for (;;) {
                if (j >= n) {
                    error_at = i + 1;
                    return false;
                }
                if (text[j] == '\'') {
                    if (j + 1 < n && text[j + 1] == '\'') {
                        j += 2;
                        continue;
                    }
                    break;
                }
                ++j;
            }
            t.kind = Tok::kString;
            t.text = text.substr(i, j + 1 - i);
            i = j + 1;
        } else if (c == '?') {
            t.kind = Tok::kParam;
            t.text = "?";
            ++i;
        } else {
            static const char *const two[] = {"<=", ">=", "<>", "!=", "||"};
            t.kind = Tok::kSymbol;
            t.text = std::string(1, c);
            for (const char *s : two)
                if (i + 1 < n && text[i] == s[0] && text[i + 1] == s[1])
                    t.text = s;
            if (std::strchr("()+-*/,;<>={}.|!", c) == nullptr) {
                error_at = i + 1;
                return false;
            }
            i += t.text.size();
        }
        tokens.push_back(t);
    }
    Token end;
    end.position = n + 1;
    tokens.push_back(end);
    return true;
}

// The text of a string token without its quotes, doubled quotes collapsed.
std::string string_body(const std::string &token)
{
    std::string out;
    for (size_t i = 1; i + 1 < token.size(); ++i) {
        out += token[i];
        if (token[i] == '\'' && token[i + 1] == '\'')
            ++i;
    }
    return out;
}

static_assert(kMaxNameLength == 128, "the scanner's message names the limit");

struct ParseError {
    std::string sqlstate;
    std::string message;
    bool posted = false;  // check_timeout posted it on the statement already
};

// A token's text as an error message shows it: long ones are cut, so that
// a message stays short however long the statement.
std::string shown(const std::string &text)
{
    constexpr size_t kShown = 40;
    if (text.size() <= kShown)
        return text;
    return text.substr(0, kShown) + "...";
}

std::string quoted_near(const Token &t)
{
    if (t.kind == Tok::kEnd)
        return "the end of the statement";
    return "'" + shown(t.text) + "'";
}

// Expression steps between two time-out checks while parsing.
constexpr unsigned kStepsPerCheck = 1024;

class Parser {
public:
    Parser(std::vector<Token> tokens, MemHandle *mem, Query &query, Statement *timed)
        : tokens_(std::move(tokens)), mem_(mem), query_(query), timed_(timed)
    {
    }

    bool parse_statement();
    ParseError error;

private:
    std::vector<Token> tokens_;
    size_t pos_ = 0;
    MemHandle *mem_;
    Query &query_;
    Statement *timed_;
    bool failed_ = false;
    int depth_ = 0;        // nesting levels in use on the current path
    unsigned steps_ = 0;   // expression steps since the last time-out check

    // Takes levels nesting levels for what is parsed next; false after
    // posting 54001 when that would pass kMaxNesting.
    bool enter(int levels)
    {
        if (depth_ + levels > kMaxNesting)
            return too_deep();
        depth_ += levels;
        return true;
    }
    [[gnu::noinline, gnu::cold]] bool too_deep()
    {
        return fail_state("54001", "Statement too complex: expressions nest more than " +
                                       std::to_string(kMaxNesting) + " levels deep");
    }
    void leave(int levels) { depth_ -= levels; }
    // One step of work; every kStepsPerCheck steps the statement's time-out
    // and cancellation are checked. False once the parse must stop.
    bool step()
    {
        if (failed_)
            return false;
        if (++steps_ % kStepsPerCheck != 0 || timed_ == nullptr)
            return true;
        return still_in_time();
    }
    [[gnu::noinline]] bool still_in_time()
    {
        if (check_timeout(timed_) == 0)
            return true;
        failed_ = true;
        error = {"HYT00", "", true};
        return false;
    }

    const Token &peek(size_t ahead = 0) const
    {
        size_t i = pos_ + ahead;
        return i < tokens_.size() ? tokens_[i] : tokens_.back();
    }
    bool is_keyword(const char *word, size_t ahead = 0) const
    {
        const Token &t = peek(ahead);
        return t.kind == Tok::kIdent && strcasecmp(t.text.c_str(), word) == 0;
    }
    bool is_symbol(const char *s, size_t ahead = 0) const
    {
        const Token &t = peek(ahead);
        return t.kind == Tok::kSymbol && t.text == s;
    }
    bool accept_keyword(const char *word)
    {
        if (!is_keyword(word))
            return false;
        ++pos_;
        return true;
    }
    bool accept_symbol(const char *s)
    {
        if (!is_symbol(s))
            return false;
        ++pos_;
        return true;
    }
    // The error paths are kept out of line: the parser recurses through the
    // functions that call them, and their message texts would otherwise take
    // room in every one of those frames.
    [[gnu::noinline, gnu::cold]] bool fail(const char *what) { return fail_at(peek(), what); }
    [[gnu::noinline, gnu::cold]] bool fail(const std::string &what) { return fail_at(peek(), what); }
    [[gnu::noinline, gnu::cold]] bool fail_at(const Token &t, const char *what)
    {
        return fail_at(t, std::string(what));
    }
    [[gnu::noinline, gnu::cold]] bool fail_at(const Token &t, const std::string &what)
    {
        if (!failed_) {
            failed_ = true;
            error = {"42000", "Syntax error at position " + std::to_string(t.position) + " near " +
                                  quoted_near(t) + ": " + what};
        }
        return false;
    }
    [[gnu::noinline, gnu::cold]] bool fail_state(const char *state, const std::string &message)
    {
        if (!failed_) {
            failed_ = true;
            error = {state, message};
        }
        return false;
    }
    [[gnu::noinline, gnu::cold]] bool too_many_columns()
    {
        return fail_state("54011", "Too many columns: a statement may have at most " +
                                       std::to_string(kMaxColumns));
    }
    bool expect_symbol(const char *s) { return accept_symbol(s) || expected_symbol(s); }
    bool expect_keyword(const char *word) { return accept_keyword(word) || expected_keyword(word); }
    [[gnu::noinline, gnu::cold]] bool expected_symbol(const char *s)
    {
        return fail(std::string("expected '") + s + "'");
    }
    [[gnu::noinline, gnu::cold]] bool expected_keyword(const char *word)
    {
        return fail(std::string("expected ") + word);
    }

    // The library's allocations fail with null; the parser has no longjmp
    // frames, so running out of memory leaves it as std::bad_alloc, which the
    // entry point turns into HY001.
    template <typename T>
    static T *must(T *allocated)
    {
        if (allocated == nullptr)
            throw std::bad_alloc();
        return allocated;
    }
    ParseNode *node(uint32_t kind)
    {
        return must(static_cast<ParseNode *>(
            newNode(sizeof(ParseNode) + kNodeFields * sizeof(intptr_t), kind, mem_)));
    }
    // ListAppend gives back the list as it was when memory runs out
    List *append(void *item, List *list)
    {
        int32_t before = list != nullptr ? list->count : 0;
        List *after = ListAppend(item, list, mem_);
        if (after == nullptr || after->count == before)
            throw std::bad_alloc();
        return after;
    }
    ParseNode *list_node(List *list)
    {
        ParseNode *n = node(KX_NODE_LIST);
        n->field[0] = reinterpret_cast<intptr_t>(list);
        return n;
    }
    ParseNode *operation(int32_t op_class, int32_t op_code, ParseNode *left, ParseNode *right)
    {
        OperatorPair *pair = must(static_cast<OperatorPair *>(kx_mem_alloc(mem_, sizeof(OperatorPair))));
        pair->op_class = op_class;
        pair->op_code = op_code;
        ParseNode *n = node(KX_NODE_EXPRESSION);
        n->field[0] = reinterpret_cast<intptr_t>(pair);
        n->field[2] = reinterpret_cast<intptr_t>(left);
        n->field[3] = reinterpret_cast<intptr_t>(right);
        if (chains_left(n))
            ++query_.chain_nodes;
        return n;
    }
    ParseNode *identifier(const std::string &name)
    {
        ParseNode *n = node(KX_NODE_IDENTIFIER);
        n->field[0] = reinterpret_cast<intptr_t>(must(string_duplicate(name.c_str(), mem_)));
        return n;
    }
    ParseNode *leaf(Value *v) { return reinterpret_cast<ParseNode *>(v); }
    // A string leaf whose every field is set (a recycled block keeps what
    // it held otherwise).
    Value *text_value(const std::string &text) { return must(make_text(mem_, text.data(), text.size())); }
    Value *int_value(int32_t i)
    {
        Value *v = must(static_cast<Value *>(newNode(sizeof(Value), NODE_VALUE, mem_)));
        v->type = VALUE_INTEGER;
        v->payload.integer = i;
        return v;
    }

    std::string name_token();
    bool parse_select_list();
    bool parse_source();
    bool parse_order_by();
    ParseNode *expression();
    ParseNode *or_expression();
    ParseNode *and_expression();
    ParseNode *not_expression();
    ParseNode *predicate();
    ParseNode *additive();
    ParseNode *multiplicative();
    ParseNode *unary();
    ParseNode *primary();
    ParseNode *number_literal(bool negative);
    bool small_number(int32_t &out, int32_t low, int32_t high, const char *what);
    bool check_arity(size_t name_at, int32_t id, int32_t count);
    bool wrong_arity(size_t name_at, int32_t min, int32_t max, int32_t count);
    ParseNode *substring_call();
    ParseNode *datetime_literal(int32_t kind, const Token &t);
    ParseNode *interval_literal();
    ParseNode *escape_clause();
    ParseNode *case_expression();
    ParseNode *cast_expression();
    ParseNode *data_type();
    ParseNode *function_call(size_t name_at, bool in_escape);
    ParseNode *keyword_argument(int32_t id);
    ParseNode *literal_token();
    ParseNode *word_expression();
    ParseNode *function_node(int32_t id, List *args);
    ParseNode *sql92_function(const std::string &name);
    ParseNode *column_reference(const std::string &name, const Token &at);
    bool interval_qualifier(int32_t &kind, int32_t &leading_precision, int32_t &seconds_precision);
};

std::string Parser::name_token()
{
    const Token &t = peek();
    if (t.kind == Tok::kIdent || t.kind == Tok::kQuotedIdent) {
        ++pos_;
        return t.text;
    }
    fail("expected a name");
    return std::string();
}

bool Parser::parse_statement()
{
    if (!expect_keyword("SELECT"))
        return false;
    ParseNode *select_block = node(KX_NODE_QUERY_SPECIFICATION);
    ParseNode *cursor = node(KX_NODE_CURSOR_SPECIFICATION);
    cursor->field[0] = reinterpret_cast<intptr_t>(select_block);
    query_.tree = cursor;
    if (accept_keyword("ALL"))
        select_block->field[0] = 1;
    if (!parse_select_list())
        return false;
    List *items = nullptr;
    for (size_t i = 0; i < query_.items.size(); ++i) {
        ParseNode *item = node(KX_NODE_SELECT_ITEM);
        item->field[0] = reinterpret_cast<intptr_t>(query_.items[i]);
        if (!query_.names[i].empty())
            item->field[1] = reinterpret_cast<intptr_t>(identifier(query_.names[i]));
        items = append(item, items);
    }
    select_block->field[2] = reinterpret_cast<intptr_t>(list_node(items));
    if (accept_keyword("FROM") && !parse_source())
        return false;
    if (accept_keyword("WHERE")) {
        query_.where = expression();
        if (query_.where == nullptr)
            return false;
        select_block->field[4] = reinterpret_cast<intptr_t>(query_.where);
    }
    if (is_keyword("ORDER")) {
        ++pos_;
        if (!expect_keyword("BY") || !parse_order_by())
            return false;
        List *sorts = nullptr;
        for (const SortKey &key : query_.order) {
            ParseNode *sort = node(KX_NODE_SORT_SPECIFICATION);
            sort->field[0] = reinterpret_cast<intptr_t>(key.expression);
            sort->field[2] = key.descending ? 2 : 1;
            sorts = append(sort, sorts);
        }
        cursor->field[1] = reinterpret_cast<intptr_t>(list_node(sorts));
    }
    accept_symbol(";");
    if (peek().kind != Tok::kEnd)
        return fail("unexpected text after the statement");
    return !failed_;
}

bool Parser::parse_select_list()
{
    do {
        if (query_.items.size() >= kMaxColumns)
            return too_many_columns();
        ParseNode *e = expression();
        if (e == nullptr)
            return false;
        std::string name;
        if (accept_keyword("AS")) {
            name = name_token();
            if (failed_)
                return false;
        } else if (peek().kind == Tok::kQuotedIdent ||
                   (peek().kind == Tok::kIdent && !is_keyword("FROM") && !is_keyword("WHERE") &&
                    !is_keyword("ORDER"))) {
            name = name_token();
        }
        query_.items.push_back(e);
        query_.names.push_back(name);
    } while (accept_symbol(","));
    return true;
}

bool Parser::parse_source()
{
    if (accept_keyword("SERIES")) {
        if (!expect_symbol("("))
            return false;
        query_.series_from = expression();
        if (query_.series_from == nullptr || !expect_symbol(","))
            return false;
        query_.series_to = expression();
        if (query_.series_to == nullptr)
            return false;
        // SERIES(first, last, start_date) adds a date column: start_date
        // plus n - first days
        if (accept_symbol(",") && (query_.series_date = expression()) == nullptr)
            return false;
        if (!expect_symbol(")"))
            return false;
        query_.source = Query::Source::kSeries;
    } else {
        if (!expect_symbol("(") || !expect_keyword("VALUES"))
            return false;
        do {
            if (!expect_symbol("("))
                return false;
            std::vector<ParseNode *> row;
            do {
                if (row.size() >= kMaxColumns)
                    return too_many_columns();
                ParseNode *e = expression();
                if (e == nullptr)
                    return false;
                row.push_back(e);
            } while (accept_symbol(","));
            if (!expect_symbol(")"))
                return false;
            if (!query_.rows.empty() && row.size() != query_.rows[0].size())
                return fail("every VALUES row must have the same number of values");
            query_.rows.push_back(std::move(row));
        } while (accept_symbol(","));
        if (!expect_symbol(")"))
            return false;
        query_.source = Query::Source::kValues;
    }
    accept_keyword("AS");
    if (peek().kind == Tok::kIdent || peek().kind == Tok::kQuotedIdent) {
        if (!is_keyword("WHERE") && !is_keyword("ORDER"))
            query_.source_alias = name_token();
    }
    size_t width = query_.source == Query::Source::kSeries ? (query_.series_date ? 2 : 1)
                                                           : query_.rows[0].size();
    if (accept_symbol("(")) {
        do {
            std::string name = name_token();
            if (failed_)
                return false;
            query_.source_columns.push_back(name);
        } while (accept_symbol(","));
        if (!expect_symbol(")"))
            return false;
        if (query_.source_columns.size() != width)
            return fail("the column list must name every column of the row source");
    } else {
        // unnamed columns are C1, C2, ... (a series' column is N)
        for (size_t i = 0; i < width; ++i)
            query_.source_columns.push_back(query_.source == Query::Source::kSeries
                                                ? std::string(i == 0 ? "N" : "D")
                                                : "C" + std::to_string(i + 1));
    }
    // now that the columns are known, resolve the references made so far
    return true;
}

bool Parser::parse_order_by()
{
    do {
        SortKey key;
        key.expression = expression();
        if (key.expression == nullptr)
            return false;
        if (accept_keyword("DESC"))
            key.descending = true;
        else
            accept_keyword("ASC");
        query_.order.push_back(key);
    } while (accept_symbol(","));
    return true;
}

ParseNode *Parser::expression()
{
    if (!step() || !enter(1))
        return nullptr;
    ParseNode *e = or_expression();
    leave(1);
    return e;
}

ParseNode *Parser::or_expression()
{
    ParseNode *left = and_expression();
    while (left != nullptr && step() && accept_keyword("OR")) {
        ParseNode *right = and_expression();
        if (right == nullptr)
            return nullptr;
        left = operation(KX_OP_CLASS_OR, 0, left, right);
    }
    return left;
}

ParseNode *Parser::and_expression()
{
    ParseNode *left = not_expression();
    while (left != nullptr && step() && accept_keyword("AND")) {
        ParseNode *right = not_expression();
        if (right == nullptr)
            return nullptr;
        left = operation(KX_OP_CLASS_AND, 0, left, right);
    }
    return left;
}

ParseNode *Parser::not_expression()
{
    // NOT NOT ... x: each NOT is a level of the tree, counted here rather
    // than recursed into
    int nots = 0;
    while (accept_keyword("NOT"))
        ++nots;
    if (nots > 0 && !enter(nots))
        return nullptr;
    ParseNode *operand = predicate();
    if (nots > 0)
        leave(nots);
    for (int i = 0; operand != nullptr && i < nots; ++i)
        operand = operation(KX_OP_CLASS_NOT, 0, nullptr, operand);
    return operand;
}

ParseNode *Parser::predicate()
{
    ParseNode *left = additive();
    if (left == nullptr)
        return nullptr;
    static const struct {
        const char *text;
        int32_t code;
    } comparisons[] = {{"<", KX_OP_LESS},           {">", KX_OP_GREATER},
                       {">=", KX_OP_GREATER_EQUAL}, {"<=", KX_OP_LESS_EQUAL},
                       {"=", KX_OP_EQUAL},          {"<>", KX_OP_NOT_EQUAL},
                       {"!=", KX_OP_NOT_EQUAL}};
    for (const auto &c : comparisons) {
        if (accept_symbol(c.text)) {
            ParseNode *right = additive();
            return right == nullptr
                       ? nullptr
                       : operation(KX_OP_CLASS_COMPARISON, c.code, left, right);
        }
    }
    if (accept_keyword("IS")) {
        bool negated = accept_keyword("NOT");
        if (!expect_keyword("NULL"))
            return nullptr;
        ParseNode *test = node(KX_NODE_NULL_TEST);
        test->field[0] = reinterpret_cast<intptr_t>(left);
        test->field[1] = negated ? 1 : 0;
        return test;
    }
    bool negated = false;
    if (is_keyword("NOT") && (is_keyword("BETWEEN", 1) || is_keyword("IN", 1))) {
        ++pos_;
        negated = true;
    }
    if (accept_keyword("BETWEEN")) {
        ParseNode *low = additive();
        if (low == nullptr || !expect_keyword("AND"))
            return nullptr;
        ParseNode *high = additive();
        if (high == nullptr)
            return nullptr;
        // x BETWEEN a AND b is (x >= a AND x <= b)
        ParseNode *both = operation(
            KX_OP_CLASS_AND, 0, operation(KX_OP_CLASS_COMPARISON, KX_OP_GREATER_EQUAL, left, low),
            operation(KX_OP_CLASS_COMPARISON, KX_OP_LESS_EQUAL, left, high));
        return negated ? operation(KX_OP_CLASS_NOT, 0, nullptr, both) : both;
    }
    if (accept_keyword("IN")) {
        if (!expect_symbol("("))
            return nullptr;
        List *values = nullptr;
        do {
            ParseNode *e = expression();
            if (e == nullptr)
                return nullptr;
            values = append(e, values);
        } while (accept_symbol(","));
        if (!expect_symbol(")"))
            return nullptr;
        ParseNode *in = node(KX_NODE_IN_PREDICATE);
        in->field[0] = reinterpret_cast<intptr_t>(left);
        in->field[1] = negated ? 1 : 0;
        in->field[5] = reinterpret_cast<intptr_t>(list_node(values));
        return in;
    }
    return left;
}

ParseNode *Parser::additive()
{
    ParseNode *left = multiplicative();
    while (left != nullptr && step()) {
        int32_t code = accept_symbol("+")    ? KX_OP_ADD
                       : accept_symbol("-")  ? KX_OP_SUBTRACT
                       : accept_symbol("||") ? KX_OP_CONCAT
                                             : 0;
        if (code == 0)
            break;
        ParseNode *right = multiplicative();
        if (right == nullptr)
            return nullptr;
        left = operation(KX_OP_CLASS_COMPARISON, code, left, right);
    }
    return left;
}

ParseNode *Parser::multiplicative()
{
    ParseNode *left = unary();
    while (left != nullptr && step()) {
        int32_t code = accept_symbol("*")   ? KX_OP_MULTIPLY
                       : accept_symbol("/") ? KX_OP_DIVIDE
                                            : 0;
        if (code == 0)
            break;
        ParseNode *right = unary();
        if (right == nullptr)
            return nullptr;
        left = operation(KX_OP_CLASS_COMPARISON, code, left, right);
    }
    return left;
}

ParseNode *Parser::unary()
{
    // the signs before an operand: a plus changes nothing, each minus but
    // one right before a number literal (which is part of the literal) is a
    // negation and a level of the tree
    int minuses = 0;
    bool minus_last = false;
    for (;;) {
        if (accept_symbol("-"))
            ++minuses, minus_last = true;
        else if (accept_symbol("+"))
            minus_last = false;
        else
            break;
    }
    bool negative_literal = minus_last && peek().kind == Tok::kNumber;
    int negations = minuses - (negative_literal ? 1 : 0);
    if (negations > 0 && !enter(negations))
        return nullptr;
    ParseNode *operand = negative_literal ? number_literal(true) : primary();
    if (negations > 0)
        leave(negations);
    for (int i = 0; operand != nullptr && i < negations; ++i)
        operand = operation(KX_OP_CLASS_COMPARISON, KX_OP_NEGATE, nullptr, operand);
    return operand;
}

// The number token at the current position as a literal leaf; negative
// when a minus came right before it. The token itself is never changed.
ParseNode *Parser::number_literal(bool negative)
{
    Token t = peek();
    ++pos_;
    std::string digits = t.text;
    std::string text = negative ? "-" + digits : digits;
    Value *v = nullptr;
    if (digits.find_first_of("eE") != std::string::npos) {
        v = MakeFloat(text.c_str(), mem_);
    } else {
        size_t point = digits.find('.');
        std::string whole = point == std::string::npos ? digits : digits.substr(0, point);
        std::string fraction = point == std::string::npos ? std::string() : digits.substr(point + 1);
        // leading zeros carry no precision
        size_t first = whole.find_first_not_of('0');
        whole = first == std::string::npos ? std::string() : whole.substr(first);
        if (whole.size() + fraction.size() > 38) {
            fail_state("22003", "Numeric value out of range: " + shown(text) +
                                    " has more than 38 digits");
            return nullptr;
        }
        if (point == std::string::npos || (whole.empty() && fraction.empty())) {
            v = MakeInteger(whole.empty() ? "0" : whole.c_str(), mem_);
        } else {
            // an exact literal is an exact number, however short (0.1 + 0.2
            // is 0.3)
            int32_t status = KXSTD_OK;
            v = kxstd_make_numeric(whole.empty() ? nullptr : whole.c_str(),
                                   fraction.empty() ? nullptr : fraction.c_str(), mem_, &status);
            if (v == nullptr && status == KXSTD_NO_MEMORY)
                throw std::bad_alloc();
        }
        if (v != nullptr && negative) {
            if (v->type == VALUE_INTEGER)
                v->payload.integer = -v->payload.integer;
            else if (v->type == VALUE_DOUBLE)
                v->payload.dbl = -v->payload.dbl;
            else if (v->type == VALUE_NUMERIC && !numeric_is_zero(&v->payload.numeric))
                v->payload.numeric.sign = 0;  // zero keeps its one sign
        }
    }
    if (v == nullptr) {
        fail_at(t, "not a number");
        return nullptr;
    }
    return leaf(v);
}

ParseNode *Parser::datetime_literal(int32_t kind, const Token &t)
{
    // the library's checked builder: fields in range, a fraction kept
    int32_t status = KXSTD_OK;
    Value *v = kxstd_make_literal(kind, t.text.c_str(), mem_, &status);
    if (v == nullptr) {
        if (status == KXSTD_NO_MEMORY)
            throw std::bad_alloc();
        fail_state("22007", "Invalid datetime format: " + shown(t.text));
        return nullptr;
    }
    return leaf(v);
}

// The fields of an interval qualifier: YEAR, YEAR TO MONTH, DAY(3) TO
// SECOND(2), ... with the kinds numbered as ODBC numbers them.
bool Parser::interval_qualifier(int32_t &kind, int32_t &leading, int32_t &seconds)
{
    static const char *const fields[] = {"YEAR", "MONTH", "DAY", "HOUR", "MINUTE", "SECOND"};
    auto field_of = [&](const Token &t) {
        for (int i = 0; i < 6; ++i)
            if (t.kind == Tok::kIdent && upper(t.text) == fields[i])
                return i + 1;
        return 0;
    };
    int first = field_of(peek());
    if (first == 0)
        return fail("expected an interval field");
    ++pos_;
    leading = 2;
    seconds = 6;
    // a leading field has 1 to 9 digits, a fraction 0 to 9 (the fields of
    // an interval literal are read as at most nine digits)
    auto precision = [&](int32_t &out) {
        if (!accept_symbol("("))
            return true;
        if (!small_number(out, 1, 9, "a leading precision"))
            return false;
        if (first == 6 && accept_symbol(",") &&
            !small_number(seconds, 0, 9, "a seconds precision"))
            return false;
        return expect_symbol(")");
    };
    if (!precision(leading))
        return false;
    int last = first;
    if (accept_keyword("TO")) {
        last = field_of(peek());
        if (last <= first)
            return fail("expected a later interval field");
        ++pos_;
        if (last == 6 && accept_symbol("(")) {
            if (!small_number(seconds, 0, 9, "a seconds precision") || !expect_symbol(")"))
                return false;
        }
    }
    static const int kinds[7][7] = {
        {0, 0, 0, 0, 0, 0, 0},
        {0, KX_IS_YEAR, KX_IS_YEAR_TO_MONTH, 0, 0, 0, 0},
        {0, 0, KX_IS_MONTH, 0, 0, 0, 0},
        {0, 0, 0, KX_IS_DAY, KX_IS_DAY_TO_HOUR, KX_IS_DAY_TO_MINUTE, KX_IS_DAY_TO_SECOND},
        {0, 0, 0, 0, KX_IS_HOUR, KX_IS_HOUR_TO_MINUTE, KX_IS_HOUR_TO_SECOND},
        {0, 0, 0, 0, 0, KX_IS_MINUTE, KX_IS_MINUTE_TO_SECOND},
        {0, 0, 0, 0, 0, 0, KX_IS_SECOND},
    };
    kind = kinds[first][last];
    if (kind == 0)
        return fail("not an interval qualifier");
    return true;
}

ParseNode *Parser::interval_literal()
{
    // INTERVAL [+|-] 'text' qualifier
    bool negative = false;
    if (accept_symbol("-"))
        negative = true;
    else
        accept_symbol("+");
    if (peek().kind != Tok::kString) {
        fail("expected the interval's text in quotes");
        return nullptr;
    }
    Token t = peek();
    ++pos_;
    int32_t kind = 0, leading = 2, seconds = 6;
    if (!interval_qualifier(kind, leading, seconds))
        return nullptr;
    int32_t status = KXSTD_OK;
    Value *v = kxstd_make_interval(t.text.c_str(), kind, leading, seconds, mem_, &status);
    if (v == nullptr) {
        if (status == KXSTD_NO_MEMORY)
            throw std::bad_alloc();
        // the state says what went wrong (a bad form, a field beyond its
        // precision); the message says which literal
        fail_state(kxstd_status_state(status), "Invalid interval literal: " + shown(t.text));
        return nullptr;
    }
    if (negative)
        v->payload.interval.interval_sign = v->payload.interval.interval_sign ? 0 : 1;
    return leaf(v);
}

ParseNode *Parser::escape_clause()
{
    // after '{': fn call, d/t/ts literal, INTERVAL literal
    if (accept_keyword("FN")) {
        const Token &t = peek();
        if (t.kind != Tok::kIdent) {
            fail("expected a function name");
            return nullptr;
        }
        // the escape takes EXTRACT(f FROM x), POSITION(a IN b) and
        // SUBSTRING(x FROM a FOR b) in their SQL-92 shapes too
        for (const char *form_name : {"EXTRACT", "POSITION", "SUBSTRING"}) {
            if (!is_keyword(form_name))
                continue;
            ParseNode *form = sql92_function(form_name);
            if (form != nullptr)
                return expect_symbol("}") ? form : nullptr;
            if (failed_)
                return nullptr;
        }
        size_t name_at = pos_++;
        ParseNode *call = function_call(name_at, true);
        if (call == nullptr || !expect_symbol("}"))
            return nullptr;
        return call;
    }
    int32_t kind = accept_keyword("D")    ? KX_LITERAL_DATE
                   : accept_keyword("T")  ? KX_LITERAL_TIME
                   : accept_keyword("TS") ? KX_LITERAL_TIMESTAMP
                                          : 0;
    ParseNode *result = nullptr;
    if (kind != 0) {
        if (peek().kind != Tok::kString) {
            fail("expected a quoted date or time");
            return nullptr;
        }
        Token t = peek();
        ++pos_;
        result = datetime_literal(kind, t);
    } else if (accept_keyword("INTERVAL")) {
        result = interval_literal();
    } else {
        fail("unknown escape clause");
        return nullptr;
    }
    if (result == nullptr || !expect_symbol("}"))
        return nullptr;
    return result;
}

ParseNode *Parser::case_expression()
{
    ParseNode *c = node(KX_NODE_CASE);
    if (!is_keyword("WHEN")) {
        ParseNode *operand = expression();
        if (operand == nullptr)
            return nullptr;
        c->field[0] = reinterpret_cast<intptr_t>(operand);
    }
    List *whens = nullptr;
    while (accept_keyword("WHEN")) {
        ParseNode *when = node(KX_NODE_WHEN_CLAUSE);
        ParseNode *condition = expression();
        if (condition == nullptr || !expect_keyword("THEN"))
            return nullptr;
        ParseNode *result = expression();
        if (result == nullptr)
            return nullptr;
        when->field[0] = reinterpret_cast<intptr_t>(condition);
        when->field[1] = reinterpret_cast<intptr_t>(result);
        whens = append(when, whens);
    }
    if (whens == nullptr) {
        fail("expected WHEN");
        return nullptr;
    }
    c->field[1] = reinterpret_cast<intptr_t>(list_node(whens));
    if (accept_keyword("ELSE")) {
        ParseNode *otherwise = expression();
        if (otherwise == nullptr)
            return nullptr;
        c->field[2] = reinterpret_cast<intptr_t>(otherwise);
    }
    if (!expect_keyword("END"))
        return nullptr;
    return c;
}

// A data type of CAST: the node the printer reads (kind 134: SQL type,
// length or leading precision, seconds precision, precision node).
ParseNode *Parser::data_type()
{
    const Token &t = peek();
    if (t.kind != Tok::kIdent) {
        fail("expected a data type");
        return nullptr;
    }
    std::string word = upper(t.text);
    ++pos_;
    ParseNode *type = node(KX_NODE_DATA_TYPE);
    // a length counts octets of a value, which ODBC measures in SQLINTEGERs
    auto optional_length = [&](intptr_t fallback, int32_t high = INT32_MAX,
                               const char *what = "a length") -> bool {
        type->field[1] = fallback;
        if (!accept_symbol("("))
            return true;
        int32_t length = 0;
        if (!small_number(length, 1, high, what))
            return false;
        type->field[1] = length;
        return expect_symbol(")");
    };
    // the SQL_ names CONVERT takes are accepted too
    if (word.rfind("SQL_", 0) == 0)
        word = word.substr(4);
    if (word == "CHAR" || word == "CHARACTER") {
        if (accept_keyword("VARYING")) {
            type->field[0] = SQL_VARCHAR;
            if (!optional_length(255))
                return nullptr;
        } else {
            type->field[0] = SQL_CHAR;
            if (!optional_length(1))
                return nullptr;
        }
    } else if (word == "VARCHAR") {
        type->field[0] = SQL_VARCHAR;
        if (!optional_length(255))
            return nullptr;
    } else if (word == "LONGVARCHAR") {
        type->field[0] = SQL_LONGVARCHAR;
    } else if (word == "INTEGER" || word == "INT") {
        type->field[0] = SQL_INTEGER;
    } else if (word == "SMALLINT") {
        type->field[0] = SQL_SMALLINT;
    } else if (word == "TINYINT") {
        type->field[0] = SQL_TINYINT;
    } else if (word == "BIGINT") {
        type->field[0] = SQL_BIGINT;
    } else if (word == "DOUBLE") {
        accept_keyword("PRECISION");
        type->field[0] = SQL_DOUBLE;
    } else if (word == "FLOAT" || word == "REAL") {
        type->field[0] = word == "REAL" ? SQL_REAL : SQL_FLOAT;
        if (!optional_length(0, 53, "a binary precision"))
            return nullptr;
    } else if (word == "NUMERIC" || word == "DECIMAL" || word == "DEC") {
        type->field[0] = word == "NUMERIC" ? SQL_NUMERIC : SQL_DECIMAL;
        ParseNode *precision = node(KX_NODE_PRECISION);
        precision->field[0] = 38;
        precision->field[1] = 0;
        if (accept_symbol("(")) {
            int32_t digits = 0, scale = 0;
            if (!small_number(digits, 1, 38, "a precision"))
                return nullptr;
            if (accept_symbol(",") && !small_number(scale, 0, digits, "a scale"))
                return nullptr;
            if (!expect_symbol(")"))
                return nullptr;
            precision->field[0] = digits;
            precision->field[1] = scale;
        }
        type->field[4] = reinterpret_cast<intptr_t>(precision);
    } else if (word == "DATE" || word == "TYPE_DATE") {
        type->field[0] = SQL_TYPE_DATE;
    } else if (word == "TIME" || word == "TYPE_TIME") {
        type->field[0] = SQL_TYPE_TIME;
    } else if (word == "TIMESTAMP" || word == "TYPE_TIMESTAMP") {
        type->field[0] = SQL_TYPE_TIMESTAMP;
    } else if (word == "BIT") {
        type->field[0] = SQL_BIT;
    } else if (word == "BINARY" || word == "VARBINARY") {
        type->field[0] = word == "BINARY" ? SQL_BINARY : SQL_VARBINARY;
        if (!optional_length(255))
            return nullptr;
    } else if (word == "INTERVAL") {
        int32_t kind = 0, leading = 2, seconds = 6;
        if (!interval_qualifier(kind, leading, seconds))
            return nullptr;
        type->field[0] = 100 + kind;
        type->field[1] = leading;
        type->field[2] = seconds;
    } else {
        fail_at(t, "unknown data type");
        return nullptr;
    }
    return type;
}

ParseNode *Parser::cast_expression()
{
    if (!expect_symbol("("))
        return nullptr;
    ParseNode *operand = expression();
    if (operand == nullptr || !expect_keyword("AS"))
        return nullptr;
    ParseNode *type = data_type();
    if (type == nullptr || !expect_symbol(")"))
        return nullptr;
    ParseNode *cast = node(KX_NODE_CAST);
    cast->field[0] = reinterpret_cast<intptr_t>(operand);
    cast->field[1] = reinterpret_cast<intptr_t>(type);
    return cast;
}

ParseNode *Parser::function_node(int32_t id, List *args)
{
    ParseNode *call = node(KX_NODE_SCALAR_FUNCTION);
    call->field[0] = id;
    call->field[1] = reinterpret_cast<intptr_t>(list_node(args));
    call->field[kFunctionEntry] = reinterpret_cast<intptr_t>(kxstd_get_function_info(id));
    int32_t count = ListCount(args);
    if (count > 0) {
        auto *array = must(static_cast<ParseNode **>(kx_mem_alloc(mem_, sizeof(ParseNode *) * static_cast<size_t>(count))));
        int32_t i = 0;
        for (ListElement *el = ListFirst(args); el != nullptr && i < count; el = ListNext(el))
            array[i++] = static_cast<ParseNode *>(ListData(el));
        call->field[kFunctionArgs] = reinterpret_cast<intptr_t>(array);
        call->field[kFunctionArgCount] = i;
    }
    return call;
}

// The catalogue id of a function name written in any case.
[[gnu::noinline]] int32_t function_id(const std::string &name)
{
    return kxstd_get_function_id(upper(name).c_str(), 0);
}

ParseNode *Parser::function_call(size_t name_at, bool in_escape)
{
    int32_t id = function_id(tokens_[name_at].text);
    const FunctionEntry *entry = id == KX_FUNCTION_NOT_FOUND ? nullptr : kxstd_get_function_info(id);
    if (entry == nullptr) {
        fail_at(tokens_[name_at], "unknown function " + tokens_[name_at].text);
        return nullptr;
    }
    int32_t min = 0, max = 0;
    kxstd_get_function_arg_range(id, &min, &max);
    List *args = nullptr;
    int32_t count = 0;
    bool parenthesised = accept_symbol("(");
    if (!parenthesised && (max > 0 || in_escape)) {
        fail("expected '('");
        return nullptr;
    }
    if (parenthesised && !accept_symbol(")")) {
        do {
            uint32_t cls = count < 11 ? entry->arg_class[count] : 0;
            // keyword arguments (SQL_TSI_DAY, SQL_INTEGER) are names
            bool keyword = (cls & KX_CLASS_KEYWORD) != 0 || (id == 11 && count == 1);
            ParseNode *arg = nullptr;
            if (keyword && peek().kind == Tok::kIdent) {
                arg = keyword_argument(id);
            } else if (id == 11 && count == 1) {
                fail("expected an SQL type name such as SQL_INTEGER");
                return nullptr;
            } else {
                arg = expression();
            }
            if (arg == nullptr)
                return nullptr;
            args = append(arg, args);
            ++count;
        } while (accept_symbol(","));
        if (!expect_symbol(")"))
            return nullptr;
    }
    if (!check_arity(name_at, id, count))
        return nullptr;
    if (id == 11) {
        // CONVERT(x, SQL_type) is a cast
        ParseNode *cast = node(KX_NODE_CAST);
        ListElement *first = ListFirst(args);
        cast->field[0] = reinterpret_cast<intptr_t>(ListData(first));
        cast->field[1] = reinterpret_cast<intptr_t>(ListData(ListNext(first)));
        return cast;
    }
    return function_node(id, args);
}

// A name given as a function's keyword argument (SQL_TSI_DAY), or CONVERT's
// type name, read as a CAST's data type.
ParseNode *Parser::keyword_argument(int32_t id)
{
    if (id == 11)
        return data_type();
    std::string word = upper(peek().text);
    ++pos_;
    ParseNode *arg = identifier(word);
    arg->field[kKeywordValue] = reinterpret_cast<intptr_t>(text_value(word));
    return arg;
}

bool Parser::check_arity(size_t name_at, int32_t id, int32_t count)
{
    int32_t min = 0, max = 0;
    kxstd_get_function_arg_range(id, &min, &max);
    return (count >= min && count <= max) || wrong_arity(name_at, min, max, count);
}

[[gnu::noinline, gnu::cold]] bool Parser::wrong_arity(size_t name_at, int32_t min, int32_t max,
                                                      int32_t count)
{
    std::string range =
        min == max ? std::to_string(min) : std::to_string(min) + " to " + std::to_string(max);
    return fail_at(tokens_[name_at], "function " + upper(tokens_[name_at].text) + " takes " + range +
                                         " argument" + (max == 1 ? "" : "s") + ", not " +
                                         std::to_string(count));
}

// Reads the current token as a whole number from low to high; false after a
// syntax error that says what was expected.
bool Parser::small_number(int32_t &out, int32_t low, int32_t high, const char *what)
{
    const Token &t = peek();
    if (t.kind != Tok::kNumber)
        return fail(std::string("expected ") + what);
    int64_t n = 0;
    bool whole = true;
    for (char c : t.text) {
        if (!std::isdigit(static_cast<unsigned char>(c))) {
            whole = false;
            break;
        }
        // past high it stays out of range: stop before the sum can overflow
        if (n <= high)
            n = n * 10 + (c - '0');
    }
    if (!whole || n < low || n > high)
        return fail(std::string(what) + " must be a whole number from " + std::to_string(low) +
                    " to " + std::to_string(high));
    out = static_cast<int32_t>(n);
    ++pos_;
    return true;
}

// SUBSTRING(x FROM a [FOR b]) or the ODBC call SUBSTRING(x, a, b): the first
// operand is read once, and what follows it tells the form.
ParseNode *Parser::substring_call()
{
    size_t name_at = pos_++;
    if (!expect_symbol("("))
        return nullptr;
    ParseNode *source = expression();
    if (source == nullptr)
        return nullptr;
    if (accept_keyword("FROM")) {
        ParseNode *from = expression();
        if (from == nullptr)
            return nullptr;
        ParseNode *length = nullptr;
        if (accept_keyword("FOR") && (length = expression()) == nullptr)
            return nullptr;
        if (!expect_symbol(")"))
            return nullptr;
        ParseNode *call = node(KX_NODE_SCALAR_FUNCTION);
        call->field[0] = -4;
        call->field[2] = reinterpret_cast<intptr_t>(source);
        call->field[3] = reinterpret_cast<intptr_t>(from);
        call->field[4] = reinterpret_cast<intptr_t>(length);
        call->field[kFunctionEntry] = reinterpret_cast<intptr_t>(kxstd_get_function_info(-4));
        return call;
    }
    List *args = append(source, nullptr);
    int32_t count = 1;
    while (accept_symbol(",")) {
        ParseNode *arg = expression();
        if (arg == nullptr)
            return nullptr;
        args = append(arg, args);
        ++count;
    }
    if (!expect_symbol(")"))
        return nullptr;
    int32_t id = kxstd_get_function_id("SUBSTRING", 0);
    if (!check_arity(name_at, id, count))
        return nullptr;
    return function_node(id, args);
}

// The SQL-92 forms; null with nothing consumed when the name is not one.
ParseNode *Parser::sql92_function(const std::string &word)
{
    auto one_operand = [&](int32_t sql92_id) -> ParseNode * {
        ++pos_;
        if (!expect_symbol("("))
            return nullptr;
        ParseNode *operand = expression();
        if (operand == nullptr || !expect_symbol(")"))
            return nullptr;
        ParseNode *call = node(KX_NODE_SCALAR_FUNCTION);
        call->field[0] = sql92_id;
        call->field[2] = reinterpret_cast<intptr_t>(operand);
        call->field[kFunctionEntry] = reinterpret_cast<intptr_t>(kxstd_get_function_info(sql92_id));
        return call;
    };
    if (!is_symbol("(", 1) && word != "CURRENT_DATE" && word != "CURRENT_TIME" &&
        word != "CURRENT_TIMESTAMP" && word != "USER")
        return nullptr;
    if (word == "CHAR_LENGTH" || word == "CHARACTER_LENGTH")
        return one_operand(-1);
    if (word == "OCTET_LENGTH")
        return one_operand(-2);
    if (word == "BIT_LENGTH")
        return one_operand(-6);
    if (word == "POSITION") {
        ++pos_;
        expect_symbol("(");
        ParseNode *needle = failed_ ? nullptr : additive();
        if (needle == nullptr || !expect_keyword("IN"))
            return nullptr;
        ParseNode *haystack = expression();
        if (haystack == nullptr || !expect_symbol(")"))
            return nullptr;
        ParseNode *call = node(KX_NODE_SCALAR_FUNCTION);
        call->field[0] = -3;
        call->field[2] = reinterpret_cast<intptr_t>(needle);
        call->field[3] = reinterpret_cast<intptr_t>(haystack);
        call->field[kFunctionEntry] = reinterpret_cast<intptr_t>(kxstd_get_function_info(-3));
        return call;
    }
    if (word == "SUBSTRING")
        return substring_call();
    if (word == "EXTRACT") {
        ++pos_;
        if (!expect_symbol("("))
            return nullptr;
        static const char *const fields[] = {"YEAR", "MONTH", "DAY", "HOUR", "MINUTE", "SECOND"};
        int32_t field = -1;
        for (int32_t i = 0; i < 6; ++i)
            if (is_keyword(fields[i]))
                field = i;
        if (field < 0) {
            fail("expected YEAR, MONTH, DAY, HOUR, MINUTE or SECOND");
            return nullptr;
        }
        ++pos_;
        if (!expect_keyword("FROM"))
            return nullptr;
        ParseNode *source = expression();
        if (source == nullptr || !expect_symbol(")"))
            return nullptr;
        List *args = append(int_value(field), nullptr);
        args = append(source, args);
        return function_node(25, args);
    }
    if (word == "UPPER" || word == "LOWER") {
        ++pos_;
        if (!expect_symbol("("))
            return nullptr;
        ParseNode *operand = expression();
        if (operand == nullptr || !expect_symbol(")"))
            return nullptr;
        int32_t id = kxstd_get_function_id(word.c_str(), 1);
        // printed as the ODBC spelling of the same function
        ParseNode *call = function_node(word == "UPPER" ? 65 : 30,
                                        append(operand, nullptr));
        call->field[kFunctionEntry] = reinterpret_cast<intptr_t>(kxstd_get_function_info(id));
        return call;
    }
    if (word == "CURRENT_DATE" || word == "CURRENT_TIME" || word == "CURRENT_TIMESTAMP" ||
        word == "USER") {
        if (is_symbol("(", 1))
            return nullptr;  // USER(), CURRENT_DATE(), CURRENT_TIME(3): the catalogue's call form
        ++pos_;
        int32_t kind = word == "CURRENT_DATE"   ? KX_LITERAL_CURRENT_DATE
                       : word == "CURRENT_TIME" ? KX_LITERAL_CURRENT_TIME
                       : word == "USER"         ? KX_LITERAL_USER
                                                : KX_LITERAL_CURRENT_TIMESTAMP;
        return leaf(must(MakeLiteral(kind, nullptr, mem_)));
    }
    if (word == "NULLIF" || word == "COALESCE") {
        ++pos_;
        if (!expect_symbol("("))
            return nullptr;
        List *args = nullptr;
        int count = 0;
        do {
            ParseNode *e = expression();
            if (e == nullptr)
                return nullptr;
            args = append(e, args);
            ++count;
        } while (accept_symbol(","));
        if (!expect_symbol(")"))
            return nullptr;
        if (word == "NULLIF") {
            if (count != 2) {
                fail("NULLIF takes 2 arguments");
                return nullptr;
            }
            ParseNode *n = node(KX_NODE_NULLIF);
            n->field[0] = reinterpret_cast<intptr_t>(ListData(ListFirst(args)));
            n->field[1] = reinterpret_cast<intptr_t>(ListData(ListLast(args)));
            return n;
        }
        ParseNode *n = node(KX_NODE_COALESCE);
        n->field[0] = reinterpret_cast<intptr_t>(list_node(args));
        return n;
    }
    return nullptr;
}

ParseNode *Parser::column_reference(const std::string &name, const Token &at)
{
    ParseNode *ref = node(KX_NODE_COLUMN_REFERENCE);
    // the printer prints field 5 as a node: the column's identifier
    ref->field[4] = reinterpret_cast<intptr_t>(identifier(name));
    ref->field[kColumnName] = reinterpret_cast<intptr_t>(must(string_duplicate(name.c_str(), mem_)));
    // the column is found once the FROM clause is known (resolve_columns)
    ref->field[kColumnIndex] = -1;
    ref->field[kColumnIndex + 1] = static_cast<intptr_t>(at.position);
    return ref;
}

ParseNode *Parser::primary()
{
    const Token &t = peek();
    if (t.kind == Tok::kIdent)
        return word_expression();
    if (t.kind != Tok::kSymbol)
        return literal_token();
    if (accept_symbol("(")) {
        ParseNode *inner = expression();
        if (inner == nullptr || !expect_symbol(")"))
            return nullptr;
        return inner;
    }
    if (accept_symbol("{"))
        return escape_clause();
    fail("expected an expression");
    return nullptr;
}

// A primary that is one token: a literal, a parameter marker or a quoted
// name. Out of line: its texts take no room in the frames the parser
// recurses through.
[[gnu::noinline]] ParseNode *Parser::literal_token()
{
    const Token &t = peek();
    switch (t.kind) {
    case Tok::kNumber:
        return number_literal(false);
    case Tok::kString: {
        std::string token = t.text;
        ++pos_;
        Value *v = must(MakeLiteral(KX_LITERAL_STRING, token.data(), mem_));
        // the builder keeps doubled quotes (and stops at a zero octet); SQL
        // means one quote and every octet
        std::string body = string_body(token);
        if (body.size() != static_cast<size_t>(v->length))
            v = text_value(body);
        return leaf(v);
    }
    case Tok::kBitString: {
        std::string token = t.text;
        ++pos_;
        Value *v = MakeLiteral(KX_LITERAL_BIT, token.data(), mem_);
        if (v == nullptr || token.size() != 4) {
            fail_state("22018", "Invalid bit literal: " + shown(token));
            return nullptr;
        }
        return leaf(v);
    }
    case Tok::kHexString: {
        std::string token = t.text;
        ++pos_;
        for (size_t i = 2; i + 1 < token.size(); ++i)
            if (!std::isxdigit(static_cast<unsigned char>(token[i]))) {
                fail_state("22018", "Invalid hexadecimal literal: " + shown(token));
                return nullptr;
            }
        Value *v = MakeLiteral(KX_LITERAL_HEX, token.data(), mem_);
        return leaf(v);
    }
    case Tok::kParam: {
        if (static_cast<size_t>(query_.parameter_count) >= kMaxParameters) {
            fail_state("54001", "Statement too complex: more than " +
                                    std::to_string(kMaxParameters) + " parameter markers");
            return nullptr;
        }
        ++pos_;
        ParseNode *marker = must(MakeDynamic(++query_.parameter_count, mem_));
        query_.parameters.push_back(marker);
        return marker;
    }
    case Tok::kQuotedIdent: {
        size_t at = pos_++;
        return column_reference(tokens_[at].text, tokens_[at]);
    }
    default:
        fail("expected an expression");
        return nullptr;
    }
}

// A primary that starts with a word: NULL, CASE, CAST, a datetime or
// interval literal, an SQL-92 form, a function call or a column.
ParseNode *Parser::word_expression()
{
    const Token &t = peek();
    size_t at = pos_;
    std::string word = upper(t.text);
    if (word == "NULL") {
        ++pos_;
        return leaf(must(MakeNull(mem_)));
    }
    if (word == "CASE") {
        ++pos_;
        return case_expression();
    }
    if (word == "CAST") {
        ++pos_;
        return cast_expression();
    }
    if ((word == "DATE" || word == "TIME" || word == "TIMESTAMP") &&
        peek(1).kind == Tok::kString) {
        ++pos_;
        size_t literal_at = pos_++;
        return datetime_literal(word == "DATE"   ? KX_LITERAL_DATE
                                : word == "TIME" ? KX_LITERAL_TIME
                                                 : KX_LITERAL_TIMESTAMP,
                                tokens_[literal_at]);
    }
    if (word == "INTERVAL") {
        ++pos_;
        return interval_literal();
    }
    if (ParseNode *form = sql92_function(word))
        return form;
    if (failed_)
        return nullptr;
    if (is_symbol("(", 1)) {
        ++pos_;
        return function_call(at, false);
    }
    ++pos_;
    // t.a is the column a of the row source t
    if (accept_symbol(".")) {
        std::string column = name_token();
        if (failed_)
            return nullptr;
        return column_reference(column, tokens_[at]);
    }
    return column_reference(tokens_[at].text, tokens_[at]);
}

// Finds every column reference's position among the row source's columns.
bool resolve_columns(Query &query, ParseNode *node, ParseError &error);

bool resolve_list(Query &query, intptr_t list_node, ParseError &error)
{
    if (list_node == 0)
        return true;
    List *list = reinterpret_cast<List *>(reinterpret_cast<ParseNode *>(list_node)->field[0]);
    for (ListElement *e = ListFirst(list); e != nullptr; e = ListNext(e))
        if (!resolve_columns(query, static_cast<ParseNode *>(ListData(e)), error))
            return false;
    return true;
}

// A chain's operands from left to right: the innermost left operand, then
// the right operand of each link upwards.
std::vector<ParseNode *> chain_operands(ParseNode *top)
{
    std::vector<ParseNode *> links;
    ParseNode *n = top;
    for (; chains_left(n); n = reinterpret_cast<ParseNode *>(n->field[2]))
        links.push_back(n);
    std::vector<ParseNode *> operands{n};
    for (size_t i = links.size(); i-- > 0;)
        operands.push_back(reinterpret_cast<ParseNode *>(links[i]->field[3]));
    return operands;
}

bool resolve_columns(Query &query, ParseNode *node, ParseError &error)
{
    if (node == nullptr)
        return true;
    if (chains_left(node)) {
        for (ParseNode *operand : chain_operands(node))
            if (!resolve_columns(query, operand, error))
                return false;
        return true;
    }
    auto child = [&](int i) {
        return resolve_columns(query, reinterpret_cast<ParseNode *>(node->field[i]), error);
    };
    switch (node->kind) {
    case KX_NODE_COLUMN_REFERENCE: {
        const char *name = reinterpret_cast<const char *>(node->field[kColumnName]);
        for (size_t i = 0; i < query.source_columns.size(); ++i)
            if (string_compare(name, query.source_columns[i].c_str()) == 0) {
                node->field[kColumnIndex] = static_cast<intptr_t>(i);
                return true;
            }
        error = {"42S22", "Column not found: " + std::string(name) + " at position " +
                              std::to_string(node->field[kColumnIndex + 1])};
        return false;
    }
    case KX_NODE_EXPRESSION:
        return child(2) && child(3);
    case KX_NODE_SCALAR_FUNCTION:
        return resolve_list(query, node->field[1], error) && child(2) && child(3) && child(4);
    case KX_NODE_CASE:
        return child(0) && resolve_list(query, node->field[1], error) && child(2);
    case KX_NODE_WHEN_CLAUSE:
    case KX_NODE_NULLIF:
        return child(0) && child(1);
    case KX_NODE_CAST:
    case KX_NODE_NULL_TEST:
        return child(0);
    case KX_NODE_COALESCE:
        return resolve_list(query, node->field[0], error);
    case KX_NODE_IN_PREDICATE:
        return child(0) && resolve_list(query, node->field[5], error);
    default:
        return true;
    }
}

// A select item's column name when it has no AS: a column's own name, else
// EXPR_n.
std::string default_name(ParseNode *node, size_t index)
{
    if (node != nullptr && node->kind == KX_NODE_COLUMN_REFERENCE)
        return reinterpret_cast<const char *>(node->field[kColumnName]);
    return "EXPR_" + std::to_string(index + 1);
}

}  // namespace

Query *parse_query(const std::string &text, MemHandle *mem, ErrorHeader *errors,
                   Statement *timed)
{
    std::vector<Token> tokens;
    size_t error_at = 0;
    const char *problem = nullptr;
    if (!scan(text, tokens, error_at, problem)) {
        post_error(errors, "42000",
                   ("Syntax error at position " + std::to_string(error_at) + ": " + problem).c_str());
        return nullptr;
    }
    auto query = std::make_unique<Query>();
    query->mem = mem;
    Parser parser(std::move(tokens), mem, *query, timed);
    if (!parser.parse_statement()) {
        if (!parser.error.posted)
            post_error(errors, parser.error.sqlstate.c_str(), parser.error.message.c_str());
        return nullptr;
    }
    ParseError error;
    bool resolved = true;
    for (ParseNode *item : query->items)
        resolved = resolved && resolve_columns(*query, item, error);
    resolved = resolved && resolve_columns(*query, query->where, error);
    for (SortKey &key : query->order) {
        // ORDER BY 2 names the second item; ORDER BY alias an item by name
        ParseNode *e = key.expression;
        Value *leaf = e->kind == NODE_VALUE ? reinterpret_cast<Value *>(e) : nullptr;
        if (leaf != nullptr && leaf->type == VALUE_INTEGER) {
            int32_t n = leaf->payload.integer;
            if (n < 1 || static_cast<size_t>(n) > query->items.size()) {
                post_error(errors, "42000", "ORDER BY position out of range");
                return nullptr;
            }
            key.item = n - 1;
            continue;
        }
        if (e->kind == KX_NODE_COLUMN_REFERENCE) {
            const char *name = reinterpret_cast<const char *>(e->field[kColumnName]);
            for (size_t i = 0; i < query->names.size(); ++i)
                if (!query->names[i].empty() && string_compare(name, query->names[i].c_str()) == 0)
                    key.item = static_cast<int>(i);
            if (key.item >= 0)
                continue;
        }
        resolved = resolved && resolve_columns(*query, key.expression, error);
    }
    // the row source's own expressions see no columns: a VALUES row cannot
    // refer to its own columns, nor SERIES' bounds to n
    Query none;
    for (const auto &row : query->rows)
        for (ParseNode *e : row)
            resolved = resolved && resolve_columns(none, e, error);
    if (resolved && query->series_from != nullptr) {
        resolved = resolve_columns(none, query->series_from, error) &&
                   resolve_columns(none, query->series_to, error) &&
                   resolve_columns(none, query->series_date, error);
    }
    if (!resolved) {
        post_error(errors, error.sqlstate.c_str(), error.message.c_str());
        return nullptr;
    }
    for (size_t i = 0; i < query->names.size(); ++i)
        if (query->names[i].empty())
            query->names[i] = default_name(query->items[i], i);
    return query.release();
}

namespace {

void append_piece(const char *text, void *user_data)
{
    static_cast<std::string *>(user_data)->append(text);
}

std::string print_node(const ParseNode *node)
{
    std::string out;
    kxstd_sql92_print_expression(node, append_piece, &out);
    return out;
}

}  // namespace

std::string print_query(const Query &query)
{
    // the select block through the printer; the row source, which has no
    // node kind of its own, is joined from its printed rows
    const ParseNode *select_block = reinterpret_cast<const ParseNode *>(query.tree->field[0]);
    std::string out = " SELECT " + print_node(reinterpret_cast<const ParseNode *>(select_block->field[2]));
    if (query.source == Query::Source::kValues) {
        out += " FROM ( VALUES ";
        for (size_t r = 0; r < query.rows.size(); ++r) {
            out += r == 0 ? "( " : ", ( ";
            for (size_t c = 0; c < query.rows[r].size(); ++c)
                out += (c == 0 ? "" : ", ") + print_node(query.rows[r][c]);
            out += " )";
        }
        out += " )";
    } else if (query.source == Query::Source::kSeries) {
        out += " FROM SERIES( " + print_node(query.series_from) + ", " +
               print_node(query.series_to) +
               (query.series_date ? ", " + print_node(query.series_date) : std::string()) + " )";
    }
    if (query.source != Query::Source::kNone) {
        out += " AS " + (query.source_alias.empty() ? std::string("T") : query.source_alias) + " ( ";
        for (size_t i = 0; i < query.source_columns.size(); ++i)
            out += (i == 0 ? "" : ", ") + query.source_columns[i];
        out += " )";
    }
    if (query.where != nullptr)
        out += " WHERE " + print_node(query.where);
    if (query.tree->field[1] != 0)
        out += " ORDER BY " + print_node(reinterpret_cast<const ParseNode *>(query.tree->field[1]));
    return out;
}

}  // namespace kxdrv
