// parsehelp (printer): a parse tree printed back as SQL-92 text, for drivers
// that pass a statement, or a condition of one, on to a back end.
//
// Exports sql92_print_parse_tree, sql92_print_expression and
// sql92_print_expression_ex, the family's printing, and their kxstd_
// counterparts, the standard printing (include/kxsupp/standard.h): the same
// machinery, where a few node printers and the literals (in
// parsehelp_print_std.cpp) print valid SQL-92 in place of the family's
// texts. Everything else here has file scope.
//
// A tree is made of ParseNode records: a kind, then fields 1, 2, 3, ...
// (field N is field[N - 1]) holding children, List pointers, integers, flags
// or text pointers; literal leaves are Values (NODE_VALUE). Every node kind
// has one printer, found in a table indexed by kind. A printer describes its
// output as a short plan in reading order (fixed texts, children, formatted
// numbers, the entries of a list); the plan goes onto an explicit stack of
// steps, so the depth of a tree costs heap (beyond 128 pending steps), not C
// stack: at most 16 direct calls for children are active. In the family's
// printing only a plan's first child may be printed by a direct call (the
// rest of the plan waits on the stack); in the standard printing every child
// while the calls allow, a call performing what its subtree left on the
// stack before it returns. Leaves (values, identifiers, fixed words) and a
// plan's leading pieces print at once.
//
// In the family's printing every piece reaches the caller's callback through
// a KX_PRINT_PIECE_SIZE area: fixed texts of this file are checked to fit at
// compile time, texts taken from the tree (names, numbers) go in area-sized
// slices, and string literals go one character at a time. The standard
// printing gathers its text in one such area of the printer and hands it on
// when it is full and at the end. A null child prints nothing.
#include <cinttypes>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "kxsupp/functions.h"
#include "kxsupp/memory.h"
#include "kxsupp/parse.h"
#include "kxsupp/standard.h"
#include "kxsupp/values.h"
#include "parse/parsehelp_print_std.h"

namespace {

constexpr size_t kEmitArea = KX_PRINT_PIECE_SIZE;

// A fixed text of this printer. Only a string literal (or a table of them)
// converts to one, and the compiler checks that it fits the emit area, so a
// text from the tree can never be mistaken for a format.
struct Fixed {
    const char *text;
    uint16_t length;

    template <size_t N>
    consteval Fixed(const char (&literal)[N]) : text(literal), length(N - 1)
    {
        static_assert(N <= kEmitArea, "a fixed text must fit the emit area");
    }
};

// The format of a number or an operator piece: a fixed text with one "%d"
// or "%s" and no other '%', short enough that the longest text inserted
// (a number of eleven characters) still fits the emit area. Both are checked
// at compile time: a format that breaks them calls a function that is not
// constexpr, which stops the build.
constexpr size_t kLongestInsert = 11;

constexpr bool has_one_conversion(const char *text)
{
    int conversions = 0;
    for (const char *c = text; *c != '\0'; ++c) {
        if (*c != '%')
            continue;
        if (c[1] != 'd' && c[1] != 's')
            return false;
        ++conversions;
        ++c;
    }
    return conversions == 1;
}

inline void format_needs_one_conversion() {}
inline void format_needs_a_short_head_and_tail() {}

constexpr size_t conversion_at(const char *text)
{
    size_t at = 0;
    while (text[at] != '%')
        ++at;
    return at;
}

struct Format {
    const char *text;
    // Where the conversion is, for the standard printing: the length of
    // the text before it in the high octet, after it in the low one.
    uint16_t split;

    template <size_t N>
    consteval Format(const char (&literal)[N]) : text(literal), split(0)
    {
        static_assert(N + kLongestInsert <= kEmitArea, "a format must fit the emit area");
        if (!has_one_conversion(literal))
            format_needs_one_conversion();
        size_t head = conversion_at(literal);
        size_t tail = N - 1 - head - 2;
        if (head > 255 || tail > 255)
            format_needs_a_short_head_and_tail();
        split = static_cast<uint16_t>(head << 8 | tail);
    }
};

// ---- the output: emit and its slicing forms ----

// Expands format with its arguments into the area and hands the result to
// the callback; a longer expansion is cut at the area's end (the printer
// only formats numbers and short texts this way).
[[gnu::format(printf, 3, 4)]] void emit(PrintCallback callback,
                                        const PrintContext *context,
                                        const char *format, ...)
{
    char area[kEmitArea];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(area, sizeof area, format, arguments);
    va_end(arguments);
    callback(area, context->user_data);
}

// A text taken from the tree, of any length, in area-sized slices (the
// "%s" of an identifier or a function name, without formatting it).
void emit_text(PrintCallback callback, const PrintContext *context,
               const char *text, size_t length)
{
    char area[kEmitArea];
    while (length > 0) {
        size_t slice = length < kEmitArea - 1 ? length : kEmitArea - 1;
        std::memcpy(area, text, slice);
        area[slice] = '\0';
        callback(area, context->user_data);
        text += slice;
        length -= slice;
    }
}

// A piece whose format (the text of a Format) has its one conversion
// replaced by insert, as printf would expand it; insert is at most
// kLongestInsert octets, so the piece fits the area. Most numbers and
// operators go this way.
void emit_one(PrintCallback callback, const PrintContext *context, const char *format,
              const char *insert, size_t insert_length)
{
    char area[kEmitArea];
    const char *conversion = std::strchr(format, '%');
    size_t head = static_cast<size_t>(conversion - format);
    const char *tail = conversion + 2;
    size_t tail_length = std::strlen(tail);
    std::memcpy(area, format, head);
    std::memcpy(area + head, insert, insert_length);
    std::memcpy(area + head + insert_length, tail, tail_length);
    area[head + insert_length + tail_length] = '\0';
    callback(area, context->user_data);
}

// The decimal text of n at the end of digits; returns where it starts.
char *decimal_text(char (&digits)[12], int32_t n)
{
    char *start = digits + sizeof digits;
    uint32_t magnitude = n < 0 ? 0u - static_cast<uint32_t>(n) : static_cast<uint32_t>(n);
    do {
        *--start = static_cast<char>('0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude != 0);
    if (n < 0)
        *--start = '-';
    return start;
}

// A format with one "%d" expanded with n.
void emit_number(PrintCallback callback, const PrintContext *context, const char *format,
                 int32_t n)
{
    char digits[12];
    char *start = decimal_text(digits, n);
    emit_one(callback, context, format, start, static_cast<size_t>(digits + sizeof digits - start));
}

// Operator texts by operator code (1 to 12); codes 2 and 6 (binary and unary
// minus) print alike. Any other code has no text.
constexpr const char *kOperatorTexts[] = {
    nullptr, "+", "-", "||", "*", "/", "-", "<", ">", ">=", "<=", "=", "<>",
};
static_assert(sizeof kOperatorTexts / sizeof kOperatorTexts[0] == 13);

const char *get_oper_text(intptr_t code)
{
    if (code < 1 || code > 12)
        return nullptr;
    return kOperatorTexts[code];
}

// ---- the printer's work: a stack of steps ----

enum class StepKind : uint8_t {
    kText,            // text: a fixed text
    kNode,            // item: a node (never null on the stack)
    kNumber,          // text: a format with one %d; number: its argument
    kOperator,        // text: a format with one %s; number: an operator code
    kEntries,         // item: a list element; text: the separator after
                      // each entry but the last
    kExtractEntries,  // item: a list element of EXTRACT's arguments
};

struct Step {
    StepKind kind;
    uint16_t length;  // of text: a fixed text or kEntries' separator; a
                      // Format's split for kNumber and kOperator
    int32_t number;
    const char *text;
    const void *item;
};

// Pending steps that fit in the printer's own frame; deeper trees move the
// stack to the heap, doubling it as needed.
constexpr size_t kInlineSteps = 128;
// Direct calls for first children, at most this many active at a time.
constexpr int kMaxNesting = 16;

// Two printings share this machinery. The family's hands every piece to the
// callback as it is made. The standard one (kxstd_sql92_print_*) prints what
// the tree means as valid SQL-92 where the family keeps its own texts, and
// gathers its pieces in an area of the printer, handing it to the callback
// whenever the next piece does not fit and once at the end: a few calls for
// a whole statement, each with a text shorter than KX_PRINT_PIECE_SIZE.
class Printer {
public:
    Printer(PrintCallback callback, void *user_data, int32_t mode, bool standard)
        : callback_(callback), context_{user_data, mode}, standard_(standard)
    {
    }
    ~Printer()
    {
        if (steps_ != inline_steps_)
            std::free(steps_);
    }
    Printer(const Printer &) = delete;
    Printer &operator=(const Printer &) = delete;

    // Performs first, then every step it leads to, in order.
    void run(const Step &first);
    // False (and printing stops) when the stack cannot grow.
    bool push(const Step &step)
    {
        if (count_ == capacity_ && !grow())
            return false;
        steps_[count_++] = step;
        return true;
    }
    // Performs a step at once: for the pieces that come before anything
    // already on the stack.
    void perform(const Step &step);
    // A plan's first child may be printed by a direct call, once the rest
    // of the plan is on the stack, while few such calls are active: this
    // saves a trip through the stack and bounds the C stack used.
    // The standard printing goes on with a plan's next step once the direct
    // call returns, so what the call left on the stack (where nesting went
    // too deep) is performed before it returns.
    bool may_nest() const { return nesting_ < kMaxNesting; }
    void perform_nested(const Step &step)
    {
        ++nesting_;
        size_t base = count_;
        perform(step);
        if (standard_)
            perform_down_to(base);
        --nesting_;
    }
    // The entries of a list by a direct call, each entry's node and then
    // (unless it is the last) the separator, for the standard printing.
    void perform_entries_nested(const ListElement *first, const char *separator,
                                size_t separator_length);

    int32_t mode() const { return context_.mode; }
    bool standard() const { return standard_; }
    PrintCallback callback() const { return callback_; }
    const PrintContext *context() const { return &context_; }

    // ---- output ----

    // A fixed text of this file (zero-terminated, of the given length).
    void put(const char *text, size_t length)
    {
        if (standard_)
            append(text, length);
        else
            callback_(text, context_.user_data);
    }
    // A text taken from the tree, of any length: the family's slices or the
    // standard area.
    void put_tree_text(const char *text, size_t length);
    // A format of one "%d" or "%s" (a Format's text and split) with insert
    // in its place.
    void put_one(const char *format, uint16_t split, const char *insert, size_t insert_length);
    void put_number(const char *format, uint16_t split, int32_t n);

    // The standard printing's area: text added to it, room for n octets
    // (at most kEmitArea - 1) that a writer fills and then commits, and the
    // area handed to the callback. Once the printer has stopped (memory ran
    // out), nothing more is added: the text handed on is the start of the
    // whole text.
    void append(const char *text, size_t length)
    {
        if (stopped_)
            return;
        if (length < kEmitArea - used_) {
            copy(area_ + used_, text, length);
            used_ += length;
        } else {
            append_long(text, length);
        }
    }
    // A text of the tree up to its terminator, copied as it is read.
    void append_terminated(const char *text)
    {
        if (stopped_)
            return;
        char *out = area_ + used_;
        char *end = area_ + kEmitArea - 1;
        while (*text != '\0') {
            if (out == end) {
                used_ = kEmitArea - 1;
                flush();
                out = area_;
            }
            *out++ = *text++;
        }
        used_ = static_cast<size_t>(out - area_);
    }
    char *room(size_t n)
    {
        if (n >= kEmitArea - used_)
            flush();
        return area_ + used_;
    }
    void commit(size_t n)
    {
        if (!stopped_)
            used_ += n;
    }
    void flush()
    {
        if (used_ == 0)
            return;
        area_[used_] = '\0';
        callback_(area_, context_.user_data);
        used_ = 0;
    }

private:
    // Most pieces are a few octets: copied with fixed-size moves that never
    // read outside the text, rather than a call.
    static void copy(char *to, const char *from, size_t n)
    {
        if (n >= 8 && n <= 16) {
            std::memcpy(to, from, 8);
            std::memcpy(to + n - 8, from + n - 8, 8);
        } else if (n >= 4 && n < 8) {
            std::memcpy(to, from, 4);
            std::memcpy(to + n - 4, from + n - 4, 4);
        } else if (n > 0 && n < 4) {
            to[0] = from[0];
            to[n / 2] = from[n / 2];
            to[n - 1] = from[n - 1];
        } else if (n > 16) {
            std::memcpy(to, from, n);
        }
    }

    [[gnu::cold]] bool grow();
    // Performs the steps on the stack above base, and the steps they lead to.
    void perform_down_to(size_t base);
    void next_entry(const Step &step);
    void next_extract_entry(const Step &step);
    void append_long(const char *text, size_t length);

    PrintCallback callback_;
    PrintContext context_;
    bool standard_;
    Step *steps_ = inline_steps_;
    size_t count_ = 0;
    size_t capacity_ = kInlineSteps;
    bool stopped_ = false;
    int nesting_ = 0;
    // The standard printing's text not yet handed on: used_ octets, always
    // fewer than kEmitArea so that the terminator fits.
    size_t used_ = 0;
    Step inline_steps_[kInlineSteps];
    char area_[kEmitArea];
};

void Printer::append_long(const char *text, size_t length)
{
    while (length > 0) {
        size_t free = kEmitArea - 1 - used_;
        size_t slice = length < free ? length : free;
        std::memcpy(area_ + used_, text, slice);
        used_ += slice;
        text += slice;
        length -= slice;
        if (length > 0)
            flush();
    }
}

void Printer::put_tree_text(const char *text, size_t length)
{
    if (standard_)
        append(text, length);
    else
        emit_text(callback_, &context_, text, length);
}

void Printer::put_one(const char *format, uint16_t split, const char *insert,
                      size_t insert_length)
{
    if (!standard_) {
        emit_one(callback_, &context_, format, insert, insert_length);
        return;
    }
    size_t head = split >> 8;
    append(format, head);
    append(insert, insert_length);
    append(format + head + 2, split & 0xFFu);
}

void Printer::put_number(const char *format, uint16_t split, int32_t n)
{
    char digits[12];
    char *start = decimal_text(digits, n);
    put_one(format, split, start, static_cast<size_t>(digits + sizeof digits - start));
}

inline bool is_leaf_kind(uint32_t kind);

// What one node prints, written in reading order. Pieces before the plan's
// first child or list are printed at once (nothing pending can come before
// them); the rest go onto the printer's stack (last first) when the plan
// goes out of scope, so that the first of them is performed next. Null
// children are left out.
class Plan {
public:
    explicit Plan(Printer &printer) : printer_(printer) {}
    ~Plan()
    {
        int first = first_is_nested_ ? 1 : 0;
        for (int i = count_; i > first; --i)
            if (!printer_.push(steps_[i - 1]))
                return;
        if (first_is_nested_)
            printer_.perform_nested(steps_[0]);
    }
    Plan(const Plan &) = delete;
    Plan &operator=(const Plan &) = delete;

    Plan &text(Fixed fixed)
    {
        return add_piece({StepKind::kText, fixed.length, 0, fixed.text, nullptr});
    }
    [[gnu::always_inline]] Plan &node(intptr_t field)
    {
        if (field == 0)
            return *this;
        return add_node({StepKind::kNode, 0, 0, nullptr, reinterpret_cast<const void *>(field)});
    }
    Plan &number(Format format, intptr_t value)
    {
        return add_piece(
            {StepKind::kNumber, format.split, static_cast<int32_t>(value), format.text, nullptr});
    }
    Plan &oper(Format format, intptr_t code)
    {
        return add_piece(
            {StepKind::kOperator, format.split, static_cast<int32_t>(code), format.text, nullptr});
    }
    // The entries of a List, separator after each but the last.
    Plan &list(const List *list, Fixed separator)
    {
        const ListElement *first = ListFirst(list);
        if (first == nullptr)
            return *this;
        if (count_ == 0 && printer_.standard() && printer_.may_nest()) {
            printer_.perform_entries_nested(first, separator.text, separator.length);
            return *this;
        }
        return keep({StepKind::kEntries, separator.length, 0, separator.text, first});
    }
    // The entries of the list node in field; a child of another kind prints
    // as itself.
    Plan &entries(intptr_t field, Fixed separator);
    // EXTRACT's arguments: the field words, then the source.
    Plan &extract_entries(intptr_t field);

private:
    // The longest plan (a column reference with its outer-join marker) has
    // ten steps.
    static constexpr int kCapacity = 16;

    // A piece (text, number, operator) with nothing pending before it
    // prints at once.
    [[gnu::always_inline]] Plan &add_piece(const Step &step)
    {
        if (count_ == 0) {
            printer_.perform(step);
            return *this;
        }
        return keep(step);
    }
    // So does a leaf node; any other first node is printed by a direct call
    // while few are active: in the family's printing once the rest of the
    // plan is on the stack, in the standard printing at once, the plan going
    // on with its next step (so that a plan whose children may all nest
    // puts nothing on the stack).
    [[gnu::always_inline]] Plan &add_node(const Step &step)
    {
        if (count_ == 0) {
            if (is_leaf_kind(static_cast<const ParseNode *>(step.item)->kind)) {
                printer_.perform(step);
                return *this;
            }
            if (printer_.standard() && printer_.may_nest()) {
                printer_.perform_nested(step);
                return *this;
            }
            first_is_nested_ = printer_.may_nest();
        }
        return keep(step);
    }
    // A step left for the destructor to push (lists always are).
    Plan &keep(const Step &step)
    {
        if (count_ < kCapacity)
            steps_[count_++] = step;
        return *this;
    }

    Printer &printer_;
    Step steps_[kCapacity];
    int count_ = 0;
    // The first step is a child printed directly after the rest is pushed.
    bool first_is_nested_ = false;
};

// ---- reading nodes ----

// Kinds that print their text at once and leave nothing on the stack.
inline bool is_leaf_kind(uint32_t kind)
{
    return kind == KX_NODE_IDENTIFIER || kind == NODE_VALUE || kind == NODE_DYNAMIC_PARAM ||
           kind == KX_NODE_DEFAULT_OPTION || kind == KX_NODE_COMMIT || kind == KX_NODE_ROLLBACK;
}

intptr_t field(const ParseNode *node, int number)
{
    return node->field[number - 1];
}

const ParseNode *child(const ParseNode *node, int number)
{
    return reinterpret_cast<const ParseNode *>(field(node, number));
}

bool is_list_node(const ParseNode *node)
{
    return node != nullptr && node->kind == KX_NODE_LIST;
}

const List *list_of(const ParseNode *list_node)
{
    return reinterpret_cast<const List *>(field(list_node, 1));
}

// Entries of the list node in a field; 0 for a null child or another kind.
int32_t entry_count(intptr_t list_field)
{
    const ParseNode *node = reinterpret_cast<const ParseNode *>(list_field);
    return is_list_node(node) ? ListCount(list_of(node)) : 0;
}

Plan &Plan::entries(intptr_t list_field, Fixed separator)
{
    const ParseNode *node = reinterpret_cast<const ParseNode *>(list_field);
    if (!is_list_node(node))
        return this->node(list_field);
    return list(list_of(node), separator);
}

Plan &Plan::extract_entries(intptr_t list_field)
{
    const ParseNode *node = reinterpret_cast<const ParseNode *>(list_field);
    if (!is_list_node(node))
        return this->node(list_field);
    const ListElement *first = ListFirst(list_of(node));
    if (first == nullptr)
        return *this;
    return keep({StepKind::kExtractEntries, 0, 0, nullptr, first});
}

// ---- leaves ----

void emit_fixed(Printer &p, Fixed fixed)
{
    p.put(fixed.text, fixed.length);
}

// The longest "%f" of a double: a sign, 309 integer digits, the point and
// six decimals.
constexpr size_t kLongestFixedDouble = 317;
static_assert(kLongestFixedDouble < kEmitArea);

// A double as "%f" without its trailing zeros (never the first character)
// and without a point left at the end: 2.5, 3, 0.125. No trailing blank.
// "%f" of a finite double always has a point before the zeros it strips
// (so the stripping stops at it and the first character stays), and "inf"
// and "nan" end in no zero or point.
void print_double(Printer &p, double d)
{
    char area[kEmitArea];
    size_t length = static_cast<size_t>(std::snprintf(area, sizeof area, "%f", d));
    while (area[length - 1] == '0')
        --length;
    if (area[length - 1] == '.')
        --length;
    area[length] = '\0';
    p.callback()(area, p.context()->user_data);
}

// A string literal, one character a piece: quotes doubled, up to the
// value's length or its first zero byte, then "' ".
void print_string(Printer &p, const Value *value)
{
    emit_fixed(p, "'");
    const char *text = value->payload.text;
    char piece[2] = {0, 0};
    for (int32_t i = 0; text != nullptr && i < value->length && text[i] != '\0'; ++i) {
        if (text[i] == '\'') {
            emit_fixed(p, "''");
        } else {
            piece[0] = text[i];
            p.callback()(piece, p.context()->user_data);
        }
    }
    emit_fixed(p, "' ");
}

// Hexadecimal literal of the octets held (the data length), two digits each.
void print_binary(Printer &p, const Value *value)
{
    emit_fixed(p, "X'");
    for (int32_t i = 0; value->payload.bytes != nullptr && i < value->data_length; ++i)
        emit(p.callback(), p.context(), "%02X", value->payload.bytes[i]);
    emit_fixed(p, "'");
}

// The value's own rendering (numeric, bit, interval literal), bounded by
// the area.
void print_rendered(Printer &p, const Value *value, Fixed format)
{
    char area[kEmitArea];
    const char *text = value_as_text_n(value, area, sizeof area, nullptr);
    emit(p.callback(), p.context(), format.text, text);
}

void print_value(Printer &p, const Value *value)
{
    const ValuePayload &v = value->payload;
    switch (value->type) {
    case VALUE_INTEGER:
        emit_number(p.callback(), p.context(), Format("%d ").text, v.integer);
        return;
    case VALUE_DOUBLE:
        print_double(p, v.dbl);
        return;
    case VALUE_STRING:
        print_string(p, value);
        return;
    case VALUE_BIT:
        print_rendered(p, value, "B'%s' ");
        return;
    case VALUE_BINARY:
        print_binary(p, value);
        return;
    case VALUE_DATE:
        emit(p.callback(), p.context(), "{d'%04d-%02d-%02d'}", v.date.year,
             v.date.month, v.date.day);
        return;
    case VALUE_TIME:
        emit(p.callback(), p.context(), "{t'%02d:%02d:%02d'}", v.time.hour,
             v.time.minute, v.time.second);
        return;
    case VALUE_TIMESTAMP:
        emit(p.callback(), p.context(), "{ts'%04d-%02d-%02d %02d:%02d:%02d'}",
             v.timestamp.year, v.timestamp.month, v.timestamp.day, v.timestamp.hour,
             v.timestamp.minute, v.timestamp.second);
        return;
    case VALUE_NUMERIC:
        print_rendered(p, value, "%s");
        return;
    case VALUE_INTERVAL_YM:
    case VALUE_INTERVAL_DS: {
        char text[kEmitArea];
        interval_as_text(value, text, 1);
        emit(p.callback(), p.context(), "%s", text);
        return;
    }
    case VALUE_NULL:
        emit_fixed(p, " NULL ");
        return;
    case VALUE_CURRENT_DATE:
        emit_fixed(p, "CURRENT DATE ");
        return;
    case VALUE_USER:
        emit_fixed(p, "USER ");
        return;
    case VALUE_CURRENT_TIME:
        emit_fixed(p, "CURRENT TIME ");
        return;
    case VALUE_CURRENT_TIMESTAMP:
        emit_fixed(p, "CURRENT TIMESTAMP ");
        return;
    default:
        emit_fixed(p, "<unexpected value type>");
        return;
    }
}

// ---- standard leaves ----

// A string literal in the standard printing: the text up to the value's
// length or its first zero byte, every quote doubled, whole runs at a time.
void print_string_std(Printer &p, const Value *value)
{
    p.append("'", 1);
    const char *text = value->payload.text;
    size_t length = text != nullptr && value->length > 0 ? static_cast<size_t>(value->length) : 0;
    const void *zero = length > 0 ? std::memchr(text, '\0', length) : nullptr;
    if (zero != nullptr)
        length = static_cast<size_t>(static_cast<const char *>(zero) - text);
    while (length > 0) {
        const char *quote = static_cast<const char *>(std::memchr(text, '\'', length));
        if (quote == nullptr) {
            p.append(text, length);
            break;
        }
        size_t run = static_cast<size_t>(quote - text) + 1;  // the quote included
        p.append(text, run);
        p.append("'", 1);
        text += run;
        length -= run;
    }
    p.append("' ", 2);
}

// X'...' with two upper-case hexadecimal digits an octet.
void print_binary_std(Printer &p, const Value *value)
{
    static constexpr char kHex[] = "0123456789ABCDEF";
    constexpr size_t kChunk = 256;  // octets written into the area at a time
    p.append("X'", 2);
    const unsigned char *bytes = value->payload.bytes;
    size_t length = bytes != nullptr && value->data_length > 0
                        ? static_cast<size_t>(value->data_length) : 0;
    while (length > 0) {
        size_t n = length < kChunk ? length : kChunk;
        char *out = p.room(2 * n);
        for (size_t i = 0; i < n; ++i) {
            out[2 * i] = kHex[bytes[i] >> 4];
            out[2 * i + 1] = kHex[bytes[i] & 15];
        }
        p.commit(2 * n);
        bytes += n;
        length -= n;
    }
    p.append("'", 1);
}

void print_value_std(Printer &p, const Value *value)
{
    if (kx::sqlprint::literal_is_bounded(value)) {
        char *out = p.room(kx::sqlprint::kLiteralRoom);
        p.commit(kx::sqlprint::standard_literal(value, out));
    } else if (value->type == VALUE_STRING) {
        print_string_std(p, value);
    } else {
        print_binary_std(p, value);
    }
}

void print_value_node(Printer &p, const ParseNode *node)
{
    if (p.standard())
        print_value_std(p, reinterpret_cast<const Value *>(node));
    else
        print_value(p, reinterpret_cast<const Value *>(node));
}

void print_dynamic_parameter(Printer &p, const ParseNode *)
{
    emit_fixed(p, " ? ");
}

// Field 1 is the text, printed as it is, or in double quotes when field 2
// is set. A null text prints as an empty name.
void print_identifier(Printer &p, const ParseNode *node)
{
    const char *text = reinterpret_cast<const char *>(field(node, 1));
    if (p.standard() && field(node, 2) == 0) {
        if (text != nullptr)
            p.append_terminated(text);
        return;
    }
    size_t length = text != nullptr ? std::strlen(text) : 0;
    if (p.standard()) {
        // A delimited identifier: a double quote inside it is written twice.
        p.append("\"", 1);
        while (length > 0) {
            const char *quote = static_cast<const char *>(std::memchr(text, '"', length));
            if (quote == nullptr) {
                p.append(text, length);
                break;
            }
            size_t run = static_cast<size_t>(quote - text) + 1;
            p.append(text, run);
            p.append("\"", 1);
            text += run;
            length -= run;
        }
        p.append("\"", 1);
        return;
    }
    if (field(node, 2) == 0) {
        if (length < kEmitArea)
            p.callback()(text != nullptr ? text : "", p.context()->user_data);
        else
            emit_text(p.callback(), p.context(), text, length);
    } else if (length + 2 < kEmitArea) {
        emit(p.callback(), p.context(), "\"%s\"", text != nullptr ? text : "");
    } else {
        emit_fixed(p, "\"");
        emit_text(p.callback(), p.context(), text, length);
        emit_fixed(p, "\"");
    }
}

void print_default_option(Printer &p, const ParseNode *node)
{
    if (field(node, 1) == 1)
        emit_fixed(p, " NULL ");
    else if (field(node, 1) == 2)
        emit_fixed(p, " DEFAULT ");
}

// The standard printing leaves out the optional WORK, which some back ends
// (SQLite) do not take.
void print_commit(Printer &p, const ParseNode *)
{
    if (p.standard())
        emit_fixed(p, "COMMIT ");
    else
        emit_fixed(p, "COMMIT WORK ");
}

void print_rollback(Printer &p, const ParseNode *)
{
    if (p.standard())
        emit_fixed(p, "ROLLBACK ");
    else
        emit_fixed(p, "ROLLBACK WORK ");
}

// ---- statements ----

// " CASCADE " or " RESTRICT " for a drop behaviour of 1 or 2.
void plan_drop_behaviour(Plan &plan, intptr_t behaviour)
{
    if (behaviour == 1)
        plan.text(" CASCADE ");
    else if (behaviour == 2)
        plan.text(" RESTRICT ");
}

// A column list of two or more entries goes in parentheses.
void print_alter_table_add(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    plan.text("ALTER TABLE ").node(field(node, 1)).text(" ADD COLUMN ");
    if (entry_count(field(node, 2)) >= 2)
        plan.text(" ( ").node(field(node, 2)).text(" ) ");
    else
        plan.node(field(node, 2));
}

void print_alter_table_drop(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    plan.text("ALTER TABLE ").node(field(node, 1)).text(" DROP COLUMN ").node(field(node, 2));
    plan_drop_behaviour(plan, field(node, 3));
}

void print_create_index(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    plan.text("CREATE ");
    if (field(node, 1) != 0)
        plan.text("UNIQUE ");
    plan.text("INDEX ").node(field(node, 2)).text(" ON ").node(field(node, 3));
    plan.text(" ( ").node(field(node, 4)).text(" ) ");
}

// The storage clause (f4, "ON") or the source query (f3, "AS") comes before
// the element list.
void print_create_table(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    plan.text("CREATE TABLE ").node(field(node, 1));
    if (field(node, 4) != 0)
        plan.text(" ON ").node(field(node, 4));
    else if (field(node, 3) != 0)
        plan.text(" AS ").node(field(node, 3));
    plan.text(" ( ").node(field(node, 2)).text(" ) ");
}

void print_create_view(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    plan.text("CREATE VIEW ").node(field(node, 1));
    if (field(node, 2) != 0)
        plan.text(" ( ").node(field(node, 2)).text(" ) ");
    plan.text(" AS ").node(field(node, 3));
    if (field(node, 4) != 0)
        plan.text("WITH CHECK OPTION ");
}

void print_positioned_delete(Printer &p, const ParseNode *node)
{
    Plan(p).text("DELETE FROM ").node(field(node, 1)).text(" WHERE CURRENT OF ").node(field(node, 2));
}

void print_searched_delete(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    plan.text("DELETE FROM ").node(field(node, 1));
    if (field(node, 2) != 0)
        plan.text(" WHERE ").node(field(node, 2));
}

void print_drop_index(Printer &p, const ParseNode *node)
{
    Plan(p).text("DROP INDEX ").node(field(node, 1));
}

void print_drop_table(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    plan.text("DROP TABLE ").node(field(node, 1));
    plan_drop_behaviour(plan, field(node, 2));
}

void print_drop_view(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    plan.text("DROP VIEW ").node(field(node, 1));
    plan_drop_behaviour(plan, field(node, 2));
}

// No privilege list means all privileges, no grantee list PUBLIC.
void print_grant(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    plan.text("GRANT ");
    if (field(node, 1) != 0)
        plan.node(field(node, 1));
    else
        plan.text("ALL PRIVILEGES");
    plan.text(" ON TABLE ").node(field(node, 2)).text(" TO ");
    if (field(node, 3) != 0)
        plan.node(field(node, 3));
    else
        plan.text("PUBLIC ");
    if (field(node, 4) != 0)
        plan.text(" WITH GRANT OPTION");
}

void print_insert(Printer &p, const ParseNode *node)
{
    Plan(p).text("INSERT INTO ").node(field(node, 1)).node(field(node, 2));
}

// f1 the table, f2 the grantees, f3 the drop behaviour, f4 the privileges.
// The spelling "PRIVILIGES" is the family's own and is kept there.
void print_revoke(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    plan.text("REVOKE ");
    if (field(node, 4) != 0)
        plan.node(field(node, 4));
    else if (p.standard())
        plan.text("ALL PRIVILEGES ");
    else
        plan.text("ALL PRIVILIGES ");
    plan.text(" ON ").node(field(node, 1)).text(" FROM ");
    if (field(node, 2) != 0)
        plan.node(field(node, 2));
    else
        plan.text(" PUBLIC ");
    plan_drop_behaviour(plan, field(node, 3));
}

void print_cursor_specification(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    plan.node(field(node, 1));
    if (field(node, 2) != 0)
        plan.text(" ORDER BY ").node(field(node, 2));
}

// Without a column list the standard printing has no OF.
void print_for_update(Printer &p, const ParseNode *node)
{
    if (p.standard() && field(node, 2) == 0) {
        Plan(p).node(field(node, 1)).text(" FOR UPDATE ");
        return;
    }
    Plan(p).node(field(node, 1)).text(" FOR UPDATE OF ").node(field(node, 2));
}

// f1 the set quantifier (1 ALL, 2 DISTINCT), f3 the select list (null: *),
// f4 the FROM list, f5 the condition.
void print_query_specification(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    plan.text(" SELECT ");
    if (field(node, 1) == 1)
        plan.text("ALL ");
    else if (field(node, 1) == 2)
        plan.text("DISTINCT ");
    if (field(node, 3) != 0)
        plan.node(field(node, 3));
    else
        plan.text("* ");
    // Without a table list the standard printing has no FROM.
    if (!p.standard() || field(node, 4) != 0)
        plan.text(" FROM ").node(field(node, 4));
    if (field(node, 5) != 0)
        plan.text(" WHERE ").node(field(node, 5));
}

void print_positioned_update(Printer &p, const ParseNode *node)
{
    Plan(p).text("UPDATE ").node(field(node, 1)).text(" SET ").node(field(node, 2))
        .text(" WHERE CURRENT OF ").node(field(node, 3));
}

void print_searched_update(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    plan.text("UPDATE ").node(field(node, 1)).text(" SET ").node(field(node, 2));
    if (field(node, 3) != 0)
        plan.text(" WHERE ").node(field(node, 3));
}

// The escape form of a call; a zero f3 marks a call with a return value.
void print_procedure_call(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    plan.text("{ ");
    if (field(node, 3) == 0)
        plan.text("?= ");
    plan.text("call ").node(field(node, 1));
    if (field(node, 2) != 0)
        plan.text("(").node(field(node, 2)).text(")");
    plan.text("}");
}

// ---- names ----

// f1 outer qualifier, f2 schema, f3 catalog, f4 table. Once a higher part is
// present, every lower part keeps its dot even when empty.
void print_table_name(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    if (field(node, 1) != 0)
        plan.node(field(node, 1)).text(".").node(field(node, 3)).text(".").node(field(node, 2)).text(".");
    else if (field(node, 3) != 0)
        plan.node(field(node, 3)).text(".").node(field(node, 2)).text(".");
    else if (field(node, 2) != 0)
        plan.node(field(node, 2)).text(".");
    plan.node(field(node, 4));
}

// Fields of a column reference read for outer-join marks (mode 2 only).
constexpr int kOuterJoinField = 15;
constexpr int kOuterJoinAlternateField = 18;

// The table name's rule one level deeper: f1 outer qualifier, f2 schema,
// f3 catalog, f4 table, f5 column.
void print_column_name(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    if (field(node, 1) != 0)
        plan.node(field(node, 1)).text(".").node(field(node, 3)).text(".").node(field(node, 2))
            .text(".").node(field(node, 4)).text(".");
    else if (field(node, 3) != 0)
        plan.node(field(node, 3)).text(".").node(field(node, 2)).text(".").node(field(node, 4))
            .text(".");
    else if (field(node, 2) != 0)
        plan.node(field(node, 2)).text(".").node(field(node, 4)).text(".");
    else if (field(node, 4) != 0)
        plan.node(field(node, 4)).text(".");
    plan.node(field(node, 5));
    if (p.mode() == KX_PRINT_OUTER_JOIN_MARKS && field(node, kOuterJoinField) != 0) {
        if (field(node, kOuterJoinAlternateField) != 0)
            plan.text("(A) ");
        else
            plan.text("(*) ");
    }
}

// ---- query parts ----

// The column definition's constraints follow its type with nothing between.
void print_column_definition(Printer &p, const ParseNode *node)
{
    Plan(p).node(field(node, 1)).node(field(node, 2)).entries(field(node, 3), "");
}

void print_grouped_query(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    plan.node(field(node, 1));
    if (field(node, 2) != 0)
        plan.text(" GROUP BY ").node(field(node, 2));
    if (field(node, 3) != 0)
        plan.text(" HAVING ").node(field(node, 3));
}

// f4, when set, stands for the whole union.
void print_union(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    if (field(node, 4) != 0) {
        plan.node(field(node, 4));
        return;
    }
    plan.node(field(node, 1)).text(" UNION ");
    if (field(node, 3) != 0)
        plan.text("ALL ");
    plan.node(field(node, 2));
}

// f2 column list; then f1 DEFAULT VALUES, f3 a query, or f4 a value list.
void print_insert_source(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    if (field(node, 2) != 0)
        plan.text(" ( ").node(field(node, 2)).text(" ) ");
    if (field(node, 1) != 0)
        plan.text(" DEFAULT VALUES ");
    else if (field(node, 3) != 0)
        plan.node(field(node, 3));
    else
        plan.text(" VALUES ( ").node(field(node, 4)).text(" ) ");
}

// f3 a joined table, f4 a derived table, else f1 a table name; f2 the
// correlation name.
void print_table_reference(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    if (field(node, 3) != 0)
        plan.node(field(node, 3));
    else if (field(node, 4) != 0)
        plan.text("( ").node(field(node, 4)).text(" )");
    else
        plan.node(field(node, 1));
    if (field(node, 2) != 0)
        plan.text(" ").node(field(node, 2));
}

// f1 the column; then f2 NULL, f3 DEFAULT, f5 a subquery, or f4 a value.
void print_set_clause(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    plan.node(field(node, 1)).text(" = ");
    if (field(node, 2) != 0)
        plan.text("NULL ");
    else if (field(node, 3) != 0 && p.standard())
        plan.text("DEFAULT ");
    else if (field(node, 3) != 0)
        plan.text("DEFAULT VALUE ");
    else if (field(node, 5) != 0)
        plan.text("( ").node(field(node, 5)).text(" )");
    else
        plan.node(field(node, 4));
}

// GROUP BY has no order: the standard printing gives the item alone.
void print_grouping_item(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    plan.node(field(node, 1));
    if (p.standard())
        return;
    if (field(node, 2) == 2)
        plan.text(" DESC");
    else
        plan.text(" ASC ");
}

void print_either(Printer &p, const ParseNode *node)
{
    Plan(p).node(field(node, 1) != 0 ? field(node, 1) : field(node, 2));
}

// The spelling "REFERENCE" is the family's own and is kept there.
void print_privilege(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    switch (field(node, 1)) {
    case 1:
        plan.text("DELETE");
        return;
    case 2:
        plan.text("INSERT");
        return;
    case 3:
        plan.text("SELECT");
        return;
    case 4:
        plan.text("UPDATE");
        break;
    case 5:
        if (p.standard())
            plan.text("REFERENCES");
        else
            plan.text("REFERENCE");
        break;
    default:
        return;
    }
    if (field(node, 2) != 0)
        plan.text(" ( ").node(field(node, 2)).text(" ) ");
}

// f3 a qualifier for "qualifier.*"; else f1 the expression, f2 its alias.
void print_select_item(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    if (field(node, 3) != 0) {
        plan.node(field(node, 3)).text(".*");
        return;
    }
    plan.node(field(node, 1));
    if (field(node, 2) != 0)
        plan.text(" AS ").node(field(node, 2));
}

void print_sort_specification(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    plan.node(field(node, 1));
    if (field(node, 3) == 2)
        plan.text(" DESC ");
    else
        plan.text(" ASC ");
}

// f1 left table, f2 natural flag (1), f3 join type (4 left, 6 right, 8 full),
// f4 2 for inner, f5 right table, f6 condition, f7 USING column list.
void print_qualified_join(Printer &p, const ParseNode *node)
{
    bool natural = field(node, 2) == 1;
    bool inner = field(node, 4) == 2;
    Plan plan(p);
    plan.text(" ").node(field(node, 1));
    if (natural)
        plan.text(" NATURAL");
    if (!inner) {
        switch (field(node, 3)) {
        case 4:
            plan.text(" LEFT");
            break;
        case 6:
            plan.text(" RIGHT");
            break;
        case 8:
            plan.text(" FULL");
            break;
        default:
            break;
        }
    }
    if (inner)
        plan.text(" INNER");
    else
        plan.text(" OUTER");
    plan.text(" JOIN ").node(field(node, 5));
    if (field(node, 7) != 0)
        plan.text(" USING ( ").node(field(node, 7)).text(" )");
    else if (!natural)
        plan.text(" ON ").node(field(node, 6));
    plan.text(" ");
}

// ---- data types ----

void print_precision(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    plan.number(" ( %d", field(node, 1));
    if (field(node, 2) != 0)
        plan.number(", %d ) ", field(node, 2));
    else
        plan.text(" ) ");
}

// Two-field interval types (107 to 113): the leading keyword, then the
// trailing part; those ending in SECOND may carry the seconds precision.
struct IntervalTypeText {
    intptr_t code;
    Fixed leading;
    Fixed trailing;
    bool to_second;
};

constexpr IntervalTypeText kTwoFieldIntervals[] = {
    {107, " INTERVAL YEAR", " TO MONTH ", false},
    {108, " INTERVAL DAY", " TO HOUR ", false},
    {109, " INTERVAL DAY", " TO MINUTE ", false},
    {110, " INTERVAL DAY", " TO SECOND ", true},
    {111, " INTERVAL HOUR", " TO MINUTE ", false},
    {112, " INTERVAL HOUR", " TO SECOND ", true},
    {113, " INTERVAL MINUTE", " TO SECOND ", true},
};

constexpr bool two_field_intervals_in_order()
{
    for (size_t i = 0; i < sizeof kTwoFieldIntervals / sizeof kTwoFieldIntervals[0]; ++i)
        if (kTwoFieldIntervals[i].code != 107 + static_cast<intptr_t>(i))
            return false;
    return true;
}
static_assert(two_field_intervals_in_order());

void plan_two_field_interval(Plan &plan, const ParseNode *node)
{
    const IntervalTypeText &type = kTwoFieldIntervals[field(node, 1) - 107];
    plan.text(type.leading);
    if (field(node, 2) != 0)
        plan.number("( %d )", field(node, 2));
    plan.text(type.trailing);
    if (type.to_second && field(node, 3) != 0)
        plan.number("( %d )", field(node, 3));
}

// "( %d ) " after a type whose f2 (length or precision) is at least 1.
void plan_optional_length(Plan &plan, const ParseNode *node)
{
    if (field(node, 2) >= 1)
        plan.number("( %d ) ", field(node, 2));
}

// f1 the ODBC SQL type code, f2 length or leading precision, f3 seconds
// precision, f5 a precision node.
void print_data_type(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    intptr_t code = field(node, 1);
    switch (code) {
    case -7: plan.text(" BIT "); return;
    case -6: plan.text(" TINYINT "); return;
    case -5: plan.text(" BIGINT "); return;
    case -4: plan.text(" LONG VARBINARY "); return;
    case -1: plan.text(" LONG VARCHAR "); return;
    case 4: plan.text(" INTEGER "); return;
    case 5: plan.text(" SMALLINT "); return;
    case 7: plan.text(" REAL "); return;
    case 8: plan.text(" DOUBLE PRECISION "); return;
    case 9:
    case 91: plan.text(" DATE "); return;
    case -3: plan.number(" VARBINARY( %d ) ", field(node, 2)); return;
    case -2: plan.number(" BINARY( %d ) ", field(node, 2)); return;
    case 12: plan.number(" CHARACTER VARYING( %d ) ", field(node, 2)); return;
    case 1:
        if (field(node, 2) >= 1)
            plan.number(" CHARACTER( %d ) ", field(node, 2));
        else
            plan.text(" CHARACTER ");
        return;
    case 2: plan.text(" NUMERIC ").node(field(node, 5)); return;
    case 3: plan.text(" DECIMAL ").node(field(node, 5)); return;
    case 6: plan.text(" FLOAT "); break;
    case 10:
    case 92: plan.text(" TIME "); break;
    case 11:
    case 93: plan.text(" TIMESTAMP "); break;
    case 101: plan.text(" INTERVAL YEAR "); break;
    case 102: plan.text(" INTERVAL MONTH"); break;
    case 103: plan.text(" INTERVAL DAY"); break;
    case 104: plan.text(" INTERVAL HOUR"); break;
    case 105: plan.text(" INTERVAL MINUTE"); break;
    case 106:
        plan.text(" INTERVAL SECOND");
        if (field(node, 5) != 0)
            plan.node(field(node, 5));
        else
            plan.text(" ");
        return;
    default:
        if (code >= 107 && code <= 113)
            plan_two_field_interval(plan, node);
        return;
    }
    plan_optional_length(plan, node);
}

// f1 1 to 6 a field with an optional precision (f2), 7 SECOND with a
// precision node (f3).
struct IntervalFieldText {
    Fixed plain;
    Format with_precision;
};

constexpr IntervalFieldText kIntervalFields[] = {
    {" YEAR ", " YEAR( %d ) "},     {" MONTH ", " MONTH( %d ) "},
    {" DAY ", " DAY( %d ) "},       {" HOUR ", " HOUR( %d ) "},
    {" MINUTE ", " MINUTE( %d ) "}, {" SECOND ", " SECOND( %d ) "},
};
static_assert(sizeof kIntervalFields / sizeof kIntervalFields[0] == 6);

void print_interval_field(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    intptr_t which = field(node, 1);
    if (which >= 1 && which <= 6) {
        const IntervalFieldText &text = kIntervalFields[which - 1];
        if (field(node, 2) != 0)
            plan.number(text.with_precision, field(node, 2));
        else
            plan.text(text.plain);
    } else if (which == 7) {
        plan.text(" SECOND ").node(field(node, 3));
    }
}

void print_interval_qualifier(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    if (field(node, 3) != 0)
        plan.node(field(node, 3));
    else
        plan.node(field(node, 1)).text(" TO ").node(field(node, 2));
}

void print_column_constraint(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    switch (field(node, 1)) {
    case 1: plan.text("UNIQUE "); break;
    case 2: plan.text("PRIMARY KEY "); break;
    case 3:
        // The standard printing puts the condition in the parentheses
        // CHECK requires, whatever its kind.
        if (p.standard())
            plan.text("CHECK ( ").node(field(node, 4)).text(" ) ");
        else
            plan.text("CHECK ").node(field(node, 4));
        break;
    case 5: plan.text("NOT NULL "); break;
    case 6:
        plan.text("REFERENCES ").node(field(node, 2));
        if (field(node, 3) != 0)
            plan.text(" ( ").node(field(node, 3)).text(" ) ");
        break;
    case 7: plan.text("DEFAULT ").node(field(node, 5)); break;
    default: break;
    }
}

// Delete rules of a foreign key, 0 to 3.
constexpr Fixed kDeleteRules[] = {
    "ON DELETE NO ACTION ", "ON DELETE CASCADE ", "ON DELETE SET NULL ",
    "ON DELETE SET DEFAULT ",
};

// The spelling "FOERIGN" is the family's own and is kept there.
void print_table_constraint(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    switch (field(node, 1)) {
    case 1: plan.text(" UNIQUE ( ").node(field(node, 2)).text(" ) "); break;
    case 2: plan.text(" PRIMARY KEY ( ").node(field(node, 2)).text(" ) "); break;
    case 3: plan.text(" CHECK ( ").node(field(node, 3)).text(" ) "); break;
    case 4: {
        if (p.standard())
            plan.text(" FOREIGN KEY ( ");
        else
            plan.text(" FOERIGN KEY ( ");
        plan.node(field(node, 2)).text(" ) REFERENCES ");
        plan.node(field(node, 4)).text(" ( ").node(field(node, 5)).text(" ) ");
        intptr_t rule = field(node, 6);
        if (rule >= 0 && rule <= 3)
            plan.text(kDeleteRules[rule]);
        break;
    }
    default: break;
    }
}

// ---- expressions and predicates ----

void print_cast(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    plan.text(" CAST ( ");
    if (field(node, 1) != 0)
        plan.node(field(node, 1));
    else
        plan.text("NULL");
    plan.text(" AS ").node(field(node, 2)).text(") ");
}

constexpr intptr_t kFunctionExtract = 25;
constexpr intptr_t kFunctionPosition = 44;

// The SQL-92 forms, by negative function number -1 to -6.
void plan_sql92_function(Plan &plan, const ParseNode *node)
{
    switch (field(node, 1)) {
    case -1: plan.text(" CHARACTER_LENGTH( ").node(field(node, 3)).text(" ) "); break;
    case -2: plan.text(" OCTET_LENGTH( ").node(field(node, 3)).text(" ) "); break;
    case -3:
        plan.text(" POSITION( ").node(field(node, 3)).text(" IN ").node(field(node, 4)).text(" ) ");
        break;
    case -4:
        plan.text(" SUBSTRING( ").node(field(node, 3)).text(" FROM ").node(field(node, 4));
        if (field(node, 5) != 0)
            plan.text(" FOR ").node(field(node, 5));
        plan.text(" ) ");
        break;
    case -5: plan.text(" TRIM( ").node(field(node, 3)).text(" ) "); break;
    case -6: plan.text(" BIT_LENGTH( ").node(field(node, 3)).text(" ) "); break;
    default: break;
    }
}

// f1 the function number (catalogue id, or a negative SQL-92 form), f2 the
// argument list node, f3 to f5 the SQL-92 forms' operands. A catalogue
// number without a name prints its arguments alone.
void print_scalar_function(Printer &p, const ParseNode *node)
{
    intptr_t number = field(node, 1);
    if (number < 0) {
        Plan plan(p);
        plan_sql92_function(plan, node);
        return;
    }
    if (number == kFunctionExtract) {
        Plan(p).text(" EXTRACT( ").extract_entries(field(node, 2)).text(" )");
        return;
    }
    if (number == kFunctionPosition) {
        Plan(p).text(" POSITION( ").entries(field(node, 2), " IN ").text(" )");
        return;
    }
    const char *name = number <= INT32_MAX ? sql92_get_function_name(static_cast<int32_t>(number))
                                           : nullptr;
    if (name != nullptr)
        p.put_tree_text(name, std::strlen(name));
    Plan(p).text("( ").node(field(node, 2)).text(" ) ");
}

// Set functions 1 to 5 (COUNT, MAX, MIN, SUM, AVG); 6 is COUNT(*).
constexpr Fixed kDistinctSetFunctions[] = {
    " COUNT( DISTINCT ", " MAX( DISTINCT ", " MIN( DISTINCT ", " SUM( DISTINCT ",
    " AVG( DISTINCT ",
};
constexpr Fixed kAllSetFunctions[] = {
    " MAX( ALL ", " MIN( ALL ", " SUM( ALL ", " AVG( ALL ",
};

// f1 the function, f2 DISTINCT, f3 the argument with DISTINCT, f4 without.
// The family prints a plain COUNT as a row count, without its argument; the
// standard printing counts the argument's non-NULL values.
void print_set_function(Printer &p, const ParseNode *node)
{
    intptr_t function = field(node, 1);
    Plan plan(p);
    if (function == 6) {
        plan.text(" COUNT(*) ");
    } else if (field(node, 2) != 0) {
        if (function >= 1 && function <= 5)
            plan.text(kDistinctSetFunctions[function - 1]).node(field(node, 3)).text(" ) ");
    } else if (function == 1 && p.standard() && field(node, 4) != 0) {
        plan.text(" COUNT( ALL ").node(field(node, 4)).text(" ) ");
    } else if (function == 1) {
        plan.text(" COUNT(*)");
    } else if (function >= 2 && function <= 5) {
        plan.text(kAllSetFunctions[function - 2]).node(field(node, 4)).text(" ) ");
    }
}

void print_trim_operands(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    switch (field(node, 1)) {
    case 1: plan.text("LEADING "); break;
    case 2: plan.text("TRAILING "); break;
    case 3: plan.text("BOTH "); break;
    default: break;
    }
    plan.node(field(node, 2)).text(" FROM ").node(field(node, 3));
}

void print_exists(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    if (field(node, 2) != 0)
        plan.text(" NOT EXISTS ( ");
    else
        plan.text(" EXISTS ( ");
    plan.node(field(node, 1)).text(" ) ");
}

// The family prints the escape character (f4) after the pattern with no
// keyword before it; the standard printing with ESCAPE.
void print_like(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    plan.node(field(node, 1));
    if (field(node, 2) != 0)
        plan.text(" NOT ");
    plan.text(" LIKE ").node(field(node, 3));
    if (p.standard() && field(node, 4) != 0)
        plan.text(" ESCAPE ");
    plan.node(field(node, 4));
}

void print_null_test(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    plan.node(field(node, 1));
    if (field(node, 2) != 0)
        plan.text(" IS NOT NULL");
    else
        plan.text(" IS NULL");
}

// f1 operand, f2 NOT, f3 subquery, f6 value list. With neither a subquery
// nor a list the predicate is a constant: an empty IN list is false, an
// empty NOT IN list true.
void print_in_predicate(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    bool negated = field(node, 2) != 0;
    if (field(node, 3) == 0 && field(node, 6) == 0) {
        if (negated)
            plan.text(" 1 = 1 ");
        else
            plan.text(" 1 = 0 ");
        return;
    }
    plan.node(field(node, 1));
    if (negated)
        plan.text(" NOT ");
    plan.text(" IN ").text(" ( ");
    if (field(node, 3) != 0)
        plan.node(field(node, 3));
    else
        plan.entries(field(node, 6), ", ");
    plan.text(")");
}

// f1 operand, f2 operator code, f3 quantifier (1 ALL, 2 ANY, else SOME),
// f4 NOT, f5 subquery.
// The standard printing writes NOT before the whole comparison, where
// SQL-92 has it.
void print_quantified_comparison(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    bool negated = field(node, 4) != 0;
    if (p.standard() && negated)
        plan.text(" NOT ( ");
    plan.node(field(node, 1));
    if (negated && !p.standard())
        plan.oper(" NOT %s ", field(node, 2));
    else
        plan.oper(" %s ", field(node, 2));
    if (field(node, 3) == 1)
        plan.text(" ALL ");
    else if (field(node, 3) == 2)
        plan.text(" ANY ");
    else
        plan.text(" SOME ");
    plan.text(" ( ").node(field(node, 5)).text(" ) ");
    if (p.standard() && negated)
        plan.text(" ) ");
}

// Field of an expression node set when its comparison has been applied
// elsewhere.
constexpr int kAppliedField = 8;

// "( left WORD right)" for AND and OR, "(  NOT right)" for NOT (no left).
// Each plan lives in a function of its own: a plan's destructor does the
// printing, and its lifetime must not depend on how a caller's switch
// is compiled (Clang 14 at -O0 ran a temporary's destructor late there).
void print_connective(Printer &p, const ParseNode *left_of, Fixed word,
                      intptr_t right)
{
    Plan plan(p);
    plan.text("( ");
    if (left_of != nullptr)
        plan.node(field(left_of, 3));
    plan.text(word).node(right).text(")");
}

// A query as an operand of a comparison (a subquery) needs parentheses.
bool is_query(const ParseNode *node)
{
    return node != nullptr &&
           (node->kind == KX_NODE_GROUPED_QUERY || node->kind == KX_NODE_QUERY_SPECIFICATION ||
            node->kind == KX_NODE_UNION);
}

// The family parenthesises a grouped query on the right; the standard
// printing any query on either side.
void print_comparison(Printer &p, const ParseNode *node, int32_t op_code)
{
    Plan plan(p);
    plan.text("( ");
    if (p.standard() && is_query(child(node, 3)))
        plan.text("( ").node(field(node, 3)).text(" )");
    else
        plan.node(field(node, 3));
    plan.oper(" %s ", op_code);
    const ParseNode *right = child(node, 4);
    if (right != nullptr && (right->kind == KX_NODE_GROUPED_QUERY ||
                             (p.standard() && is_query(right))))
        plan.text("( ").node(field(node, 4)).text(" )");
    else
        plan.node(field(node, 4));
    plan.text(" )");
}

// f1 the operator pair, f3 left operand, f4 right operand. AND, OR and NOT
// close with ")" and comparisons with " )". A right operand that is a
// grouped query goes in its own parentheses.
void print_expression(Printer &p, const ParseNode *node)
{
    const OperatorPair *pair = reinterpret_cast<const OperatorPair *>(field(node, 1));
    if (pair == nullptr)
        return;
    switch (pair->op_class) {
    case KX_OP_CLASS_NOT:
        print_connective(p, nullptr, " NOT ", field(node, 4));
        return;
    case KX_OP_CLASS_AND:
        print_connective(p, node, " AND ", field(node, 4));
        return;
    case KX_OP_CLASS_OR:
        print_connective(p, node, " OR ", field(node, 4));
        return;
    case KX_OP_CLASS_COMPARISON:
        if (p.mode() == KX_PRINT_PLAIN && field(node, kAppliedField) != 0)
            emit_fixed(p, " (0=0) ");
        else
            print_comparison(p, node, pair->op_code);
        return;
    default:
        return;
    }
}

void print_list(Printer &p, const ParseNode *node)
{
    Plan(p).list(list_of(node), ", ");
}

// f1 the operand of a simple CASE, f2 the list of WHEN clauses, f3 ELSE.
void print_case(Printer &p, const ParseNode *node)
{
    Plan plan(p);
    plan.text(" CASE ");
    if (field(node, 1) != 0)
        plan.node(field(node, 1)).text(" ");
    plan.entries(field(node, 2), "");
    if (field(node, 3) != 0)
        plan.text(" ELSE ").node(field(node, 3));
    plan.text("END");
}

void print_nullif(Printer &p, const ParseNode *node)
{
    Plan(p).text("NULLIF( ").node(field(node, 1)).text(", ").node(field(node, 2)).text(")");
}

void print_coalesce(Printer &p, const ParseNode *node)
{
    Plan(p).text("COALESCE( ").node(field(node, 1)).text(")");
}

void print_when_clause(Printer &p, const ParseNode *node)
{
    Plan(p).text(" WHEN ").node(field(node, 1)).text(" THEN ").node(field(node, 2));
}

// ---- dispatch ----

using NodePrinter = void (*)(Printer &, const ParseNode *);

struct KindPrinter {
    uint32_t kind;
    NodePrinter print;  // null: not a printable kind
};

constexpr uint32_t kFirstKind = 100;

constexpr KindPrinter kPrinters[] = {
    {100, print_alter_table_add},      {101, print_alter_table_drop},
    {102, print_create_index},         {103, print_create_table},
    {104, print_create_view},          {105, print_positioned_delete},
    {106, print_searched_delete},      {107, print_drop_index},
    {108, print_drop_table},           {109, print_drop_view},
    {110, print_grant},                {111, print_insert},
    {112, print_revoke},               {113, print_cursor_specification},
    {114, print_for_update},           {115, print_query_specification},
    {116, print_positioned_update},    {117, print_searched_update},
    {118, print_procedure_call},       {119, print_table_name},
    {120, print_column_definition},    {121, print_identifier},
    {122, print_grouped_query},        {123, print_union},
    {124, print_insert_source},        {125, print_table_reference},
    {126, print_set_clause},           {127, print_grouping_item},
    {128, print_either},               {129, print_privilege},
    {130, print_select_item},          {131, nullptr},
    {132, print_column_name},          {133, print_sort_specification},
    {134, print_data_type},            {135, print_column_constraint},
    {136, print_table_constraint},     {137, print_default_option},
    {138, print_qualified_join},       {139, print_precision},
    {140, print_interval_qualifier},   {141, print_interval_field},
    {142, print_cast},                 {143, print_scalar_function},
    {144, print_set_function},         {145, print_trim_operands},
    {146, print_exists},               {147, print_like},
    {148, print_null_test},            {149, nullptr},
    {150, print_in_predicate},         {151, print_quantified_comparison},
    {152, print_expression},           {153, print_list},
    {154, print_value_node},           {155, print_dynamic_parameter},
    {156, nullptr},                    {157, print_case},
    {158, print_nullif},               {159, print_coalesce},
    {160, print_when_clause},          {161, print_commit},
    {162, print_rollback},
};

constexpr size_t kPrinterCount = sizeof kPrinters / sizeof kPrinters[0];

constexpr bool printers_in_kind_order()
{
    for (size_t i = 0; i < kPrinterCount; ++i)
        if (kPrinters[i].kind != kFirstKind + i)
            return false;
    return true;
}
static_assert(printers_in_kind_order());
static_assert(kPrinters[KX_NODE_EXPRESSION - kFirstKind].kind == KX_NODE_EXPRESSION);
static_assert(kFirstKind + kPrinterCount - 1 == KX_NODE_ROLLBACK);

// A node of a kind without a printer prints its address and kind, and
// nothing else.
void print_unexpected(Printer &p, const ParseNode *node)
{
    if (p.standard()) {
        constexpr size_t kRoom = 64;  // 16 hexadecimal digits and 10 decimal ones
        char *out = p.room(kRoom);
        int n = std::snprintf(out, kRoom, "<unexpected node type %" PRIxPTR "->%u>",
                              reinterpret_cast<uintptr_t>(node), node->kind);
        p.commit(static_cast<size_t>(n));
        return;
    }
    emit(p.callback(), p.context(), "<unexpected node type %" PRIxPTR "->%u>",
         reinterpret_cast<uintptr_t>(node), node->kind);
}

// One node: its printer plans (or prints) what it says.
void print_parse_tree(Printer &p, const ParseNode *node)
{
    uint32_t index = node->kind - kFirstKind;
    if (node->kind < kFirstKind || index >= kPrinterCount || kPrinters[index].print == nullptr) {
        print_unexpected(p, node);
        return;
    }
    kPrinters[index].print(p, node);
}

// Field words of EXTRACT's first arguments (0 to 5); any other number, or an
// entry that is not an integer value, gives " FROM " alone.
constexpr Fixed kExtractFields[] = {
    " YEAR ", " MONTH ", " DAY ", " HOUR ", " MINUTE ", " SECOND ",
};

// ---- the printer's loop ----

bool Printer::grow()
{
    if (stopped_ || capacity_ > SIZE_MAX / (2 * sizeof(Step))) {
        stopped_ = true;
        return false;
    }
    size_t capacity = capacity_ * 2;
    Step *bigger;
    if (steps_ == inline_steps_) {
        bigger = static_cast<Step *>(std::malloc(capacity * sizeof(Step)));
        if (bigger != nullptr)
            std::memcpy(bigger, inline_steps_, count_ * sizeof(Step));
    } else {
        bigger = static_cast<Step *>(std::realloc(steps_, capacity * sizeof(Step)));
    }
    if (bigger == nullptr) {
        stopped_ = true;
        return false;
    }
    steps_ = bigger;
    capacity_ = capacity;
    return true;
}

void Printer::run(const Step &first)
{
    perform(first);
    perform_down_to(0);
}

void Printer::perform_down_to(size_t base)
{
    // The commonest step, a fixed text, inline; one loop for each printing.
    if (standard_) {
        while (count_ > base && !stopped_) {
            Step step = steps_[--count_];
            if (step.kind == StepKind::kText)
                append(step.text, step.length);
            else
                perform(step);
        }
        return;
    }
    while (count_ > base && !stopped_) {
        Step step = steps_[--count_];
        if (step.kind == StepKind::kText)
            callback_(step.text, context_.user_data);
        else
            perform(step);
    }
}

// An entry of a list, then (unless it is the last) the separator and the
// rest of the list.
void Printer::next_entry(const Step &step)
{
    const ListElement *element = static_cast<const ListElement *>(step.item);
    const ListElement *next = ListNext(element);
    if (next != nullptr) {
        if (!push({StepKind::kEntries, step.length, 0, step.text, next}))
            return;
        if (step.length != 0 && !push({StepKind::kText, step.length, 0, step.text, nullptr}))
            return;
    }
    const void *data = ListData(element);
    if (data != nullptr)
        push({StepKind::kNode, 0, 0, nullptr, data});
}

void Printer::perform_entries_nested(const ListElement *element, const char *separator,
                                     size_t separator_length)
{
    ++nesting_;
    size_t base = count_;
    while (element != nullptr && !stopped_) {
        const ListElement *next = ListNext(element);
        const void *data = ListData(element);
        if (data != nullptr) {
            print_parse_tree(*this, static_cast<const ParseNode *>(data));
            perform_down_to(base);
        }
        if (next != nullptr && separator_length != 0)
            put(separator, separator_length);
        element = next;
    }
    --nesting_;
}

// EXTRACT's arguments: every entry but the last names a field, followed by
// " FROM "; the last is the source, printed as a node.
void Printer::next_extract_entry(const Step &step)
{
    const ListElement *element = static_cast<const ListElement *>(step.item);
    const ListElement *next = ListNext(element);
    const ParseNode *entry = static_cast<const ParseNode *>(ListData(element));
    if (next == nullptr) {
        if (entry != nullptr)
            push({StepKind::kNode, 0, 0, nullptr, entry});
        return;
    }
    const Value *word = reinterpret_cast<const Value *>(entry);
    if (word != nullptr && word->kind == NODE_VALUE && word->type == VALUE_INTEGER &&
        word->payload.integer >= 0 && word->payload.integer <= 5)
        emit_fixed(*this, kExtractFields[word->payload.integer]);
    emit_fixed(*this, " FROM ");
    push({StepKind::kExtractEntries, 0, 0, nullptr, next});
}

void Printer::perform(const Step &step)
{
    switch (step.kind) {
    case StepKind::kText:
        put(step.text, step.length);
        return;
    case StepKind::kNode:
        print_parse_tree(*this, static_cast<const ParseNode *>(step.item));
        return;
    case StepKind::kNumber:
        put_number(step.text, step.length, step.number);
        return;
    case StepKind::kOperator: {
        const char *text = get_oper_text(step.number);
        if (text == nullptr)
            text = "";
        put_one(step.text, step.length, text, std::strlen(text));
        return;
    }
    case StepKind::kEntries:
        next_entry(step);
        return;
    case StepKind::kExtractEntries:
        next_extract_entry(step);
        return;
    }
}

// A printer's first step for a node: nothing for a null node.
void print_subtree(const ParseNode *node, PrintCallback callback, void *user_data,
                   int32_t mode, bool standard)
{
    if (node == nullptr || callback == nullptr)
        return;
    Printer printer(callback, user_data, mode, standard);
    printer.run({StepKind::kNode, 0, 0, nullptr, node});
    printer.flush();
}

// The statements of a root's list, "; " between two.
void print_statements(const ParseNode *tree, PrintCallback callback, void *user_data,
                      bool standard)
{
    if (tree == nullptr || callback == nullptr)
        return;
    const ListElement *first = ListFirst(reinterpret_cast<const List *>(tree->field[0]));
    if (first == nullptr)
        return;
    Printer printer(callback, user_data, KX_PRINT_PLAIN, standard);
    printer.run({StepKind::kEntries, 2, 0, "; ", first});
    printer.flush();
}

}  // namespace

extern "C" {

KX_API void sql92_print_parse_tree(const ParseNode *tree, PrintCallback callback,
                                   void *user_data)
{
    print_statements(tree, callback, user_data, false);
}

KX_API void sql92_print_expression(const ParseNode *node, PrintCallback callback,
                                   void *user_data)
{
    print_subtree(node, callback, user_data, KX_PRINT_PLAIN, false);
}

KX_API void sql92_print_expression_ex(const ParseNode *node, PrintCallback callback,
                                      void *user_data, int32_t mode)
{
    print_subtree(node, callback, user_data, mode, false);
}

KX_API void kxstd_sql92_print_parse_tree(const ParseNode *tree, PrintCallback callback,
                                         void *user_data)
{
    print_statements(tree, callback, user_data, true);
}

KX_API void kxstd_sql92_print_expression(const ParseNode *node, PrintCallback callback,
                                         void *user_data)
{
    print_subtree(node, callback, user_data, KX_PRINT_PLAIN, true);
}

KX_API void kxstd_sql92_print_expression_ex(const ParseNode *node, PrintCallback callback,
                                            void *user_data, int32_t mode)
{
    print_subtree(node, callback, user_data, mode, true);
}

}  // extern "C"
