// Fuzz target for the scalar functions: a catalogue entry chosen by the
// input is run by execute_function over an argument count within its range
// and argument values of the types its class words allow (texts, long texts
// in real long buffers behind a connection, integers, bigints, numerics,
// doubles, dates, times, timestamps, intervals, interval keywords, NULLs),
// with the exit point armed as a driver arms it. Exports
// LLVMFuzzerTestOneInput.
//
// Input: [catalogue] [entry] [argument count] then per argument [type
// choice] and its payload (octets for numbers, a text ended by \0).
//
// Properties: a call either returns (no diagnostic posted, context result
// untouched) or leaves through the exit with -1, the context's result -1
// and exactly one new diagnostic whose subclass origin is "ODBC3.0"; the
// arguments keep their values (a trimmed text only loses trailing spaces); a
// returned value is a value record whose text renders within any buffer
// (full length reported, cut and terminated, nothing past the capacity),
// and a text result is terminated at its length; releasing the result and
// the handle leaves no leak.
#include <csetjmp>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/fuzz_support.h"

namespace {

const char *const kKeywords[] = {
    "SQL_TSI_FRAC_SECOND", "SQL_TSI_SECOND", "SQL_TSI_MINUTE", "SQL_TSI_HOUR",
    "SQL_TSI_DAY", "SQL_TSI_WEEK", "SQL_TSI_MONTH", "SQL_TSI_QUARTER", "SQL_TSI_YEAR",
    "YEAR", "MONTH", "DAY", "HOUR", "MINUTE", "SECOND", "BOTH", "LEADING", "TRAILING", ""};

ProfileHandle *blob_profile()
{
    static ProfileHandle *config = nullptr;
    if (config == nullptr) {
        const std::string &dir = kxfuzz::process_temp_dir("kxfuzzfunc");
        if (dir.empty() ||
            !kxfuzz::write_whole_file(dir + "/odbc.ini", "{default}\nblob_path = " + dir + "\n"))
            return nullptr;
        config = open_registry();
        if (config != nullptr)
            set_config(config, (dir + "/odbc.ini").c_str());
    }
    return config;
}

int32_t rewind_long(LongBuffer *b, int32_t) { return rewind_long_buffer(b); }

int32_t read_long(LongBuffer *b, void *destination, int32_t size, int32_t *length, int32_t)
{
    int32_t remaining = 0;
    int32_t code = extract_from_long_buffer(b, destination, size, &remaining, 0);
    *length = remaining;
    return code < 0 ? 2 : code;
}

Value *blank_value(MemHandle *mem, int32_t type)
{
    auto *v = static_cast<Value *>(newNode(sizeof(Value), NODE_VALUE, mem));
    if (v != nullptr)
        v->type = type;
    return v;
}

Value *text_value(MemHandle *mem, const std::string &t)
{
    Value *v = NewValue(mem, static_cast<int32_t>(t.size()) + 1);
    if (v == nullptr)
        return nullptr;
    std::memset(reinterpret_cast<char *>(v) + sizeof(uint32_t), 0,
                offsetof(Value, payload) - sizeof(uint32_t));
    v->mem_handle = mem;
    v->inline_buffer = 1;
    v->type = VALUE_STRING;
    v->length = static_cast<int32_t>(t.size());
    v->data_length = v->length;
    std::memcpy(v->payload.text, t.c_str(), t.size() + 1);
    return v;
}

// One argument of a type its class word allows.
Value *make_argument(kxfuzz::Reader &in, uint32_t classes, MemHandle *mem,
                     ProfileHandle *config)
{
    uint8_t choice = in.byte();
    if ((choice & 0xF0) == 0xF0) {   // now and then an SQL NULL of any type
        Value *v = blank_value(mem, VALUE_INTEGER);
        if (v != nullptr)
            v->null_flag = -1;
        return v;
    }
    std::vector<int32_t> kinds;
    if ((classes & (KX_CLASS_CHAR | KX_CLASS_SPECIAL | KX_CLASS_ANY)) != 0 || classes == 0) {
        kinds.push_back(VALUE_STRING);
        kinds.push_back(VALUE_LONG_STRING);
    }
    if ((classes & (KX_CLASS_INTEGER | KX_CLASS_SPECIAL | KX_CLASS_ANY)) != 0) {
        kinds.push_back(VALUE_INTEGER);
        kinds.push_back(VALUE_BIGINT);
        kinds.push_back(VALUE_NUMERIC);
    }
    if ((classes & (KX_CLASS_DOUBLE | KX_CLASS_ANY)) != 0)
        kinds.push_back(VALUE_DOUBLE);
    if ((classes & (KX_CLASS_DATE | KX_CLASS_ANY)) != 0)
        kinds.push_back(VALUE_DATE);
    if ((classes & (KX_CLASS_TIME | KX_CLASS_ANY)) != 0)
        kinds.push_back(VALUE_TIME);
    if ((classes & (KX_CLASS_TIMESTAMP | KX_CLASS_DATE | KX_CLASS_TIME | KX_CLASS_ANY)) != 0)
        kinds.push_back(VALUE_TIMESTAMP);
    if ((classes & (KX_CLASS_INTERVAL | KX_CLASS_ANY)) != 0) {
        kinds.push_back(VALUE_INTERVAL_YM);
        kinds.push_back(VALUE_INTERVAL_DS);
    }
    if ((classes & KX_CLASS_KEYWORD) != 0)
        kinds.push_back(-1);   // an interval unit or field as a word
    if (kinds.empty())
        kinds.push_back(VALUE_STRING);
    int32_t type = kinds[choice % kinds.size()];

    Value *v = nullptr;
    switch (type) {
    case -1: {
        std::string word = kKeywords[in.byte() % (sizeof kKeywords / sizeof kKeywords[0])];
        if (word.empty())
            word = in.until('\0');
        return text_value(mem, word);
    }
    case VALUE_STRING:
        return text_value(mem, in.until('\0'));
    case VALUE_LONG_STRING: {
        LongBuffer *buffer = allocate_long_buffer(mem, 0, 0, config, -1);
        if (buffer == nullptr)
            return nullptr;
        std::string data = in.until('\0');
        append_to_long_buffer(buffer, data.data(), static_cast<int32_t>(data.size()));
        v = blank_value(mem, VALUE_LONG_STRING);
        if (v != nullptr)
            v->long_buffer = buffer;
        return v;
    }
    case VALUE_INTEGER:
        v = blank_value(mem, type);
        if (v != nullptr)
            v->payload.integer = (choice & 8) != 0 ? static_cast<int16_t>(in.u16())
                                                   : static_cast<int8_t>(in.byte());
        return v;
    case VALUE_BIGINT:
        v = blank_value(mem, type);
        if (v != nullptr) {
            int32_t low = static_cast<int16_t>(in.u16());
            v->payload.bigint.high = (choice & 8) != 0 ? static_cast<int32_t>(in.u32())
                                                       : (low < 0 ? -1 : 0);
            v->payload.bigint.low = static_cast<uint32_t>(low);
        }
        return v;
    case VALUE_NUMERIC: {
        v = blank_value(mem, type);
        if (v == nullptr)
            return nullptr;
        std::string digits = in.text(5);
        for (char &c : digits)
            c = static_cast<char>('0' + static_cast<uint8_t>(c) % 10);
        int32_t scale = static_cast<int32_t>(in.in_range(0, 20));
        string_to_numeric(digits.data(), &v->payload.numeric, 38, scale);
        v->payload.numeric.sign = in.flag() ? 0 : 1;
        v->attr[0] = 38;
        v->attr[1] = v->payload.numeric.scale;
        return v;
    }
    case VALUE_DOUBLE: {
        v = blank_value(mem, type);
        if (v == nullptr)
            return nullptr;
        if ((choice & 8) != 0) {
            uint64_t bits = in.u64();
            std::memcpy(&v->payload.dbl, &bits, sizeof bits);
            if (!(v->payload.dbl > -40000 && v->payload.dbl < 40000))
                v->payload.dbl = static_cast<int16_t>(bits) / 3.0;
        } else {
            v->payload.dbl = static_cast<int16_t>(in.u16()) / 8.0;
        }
        return v;
    }
    case VALUE_DATE:
        v = blank_value(mem, type);
        if (v != nullptr)
            v->payload.date = DateStruct{static_cast<int16_t>(in.u16()), in.u16(), in.u16()};
        return v;
    case VALUE_TIME:
        v = blank_value(mem, type);
        if (v != nullptr)
            v->payload.time = TimeStruct{in.u16(), in.u16(), in.u16()};
        return v;
    case VALUE_TIMESTAMP:
        v = blank_value(mem, type);
        if (v != nullptr)
            v->payload.timestamp = TimestampStruct{static_cast<int16_t>(in.u16()), in.u16(),
                                                   in.u16(), in.u16(), in.u16(), in.u16(),
                                                   in.u32()};
        return v;
    default: {   // intervals
        v = blank_value(mem, type);
        if (v == nullptr)
            return nullptr;
        IntervalStruct &i = v->payload.interval;
        i.interval_type = type == VALUE_INTERVAL_YM
                              ? (in.byte() % 3 == 0 ? KX_IS_YEAR : in.flag() ? KX_IS_MONTH : KX_IS_YEAR_TO_MONTH)
                              : static_cast<int32_t>(in.in_range(3, 13));
        if (type == VALUE_INTERVAL_DS && i.interval_type == KX_IS_YEAR_TO_MONTH)
            i.interval_type = KX_IS_DAY;
        i.interval_sign = static_cast<int16_t>(in.byte() & 1);
        i.intval.day_second = DaySecondStruct{in.u16(), in.byte(), in.byte(), in.byte(), in.u32() % 1000000000u};
        v->attr[2] = 2;
        v->attr[3] = 6;
        return v;
    }
    }
}

// Runs the function with the exit armed: 0 when it returned, -1 when it left.
int guarded_call(const FunctionEntry *entry, EvalContext *context, int32_t argc, Value **argv,
                 Value **result)
{
    if (setjmp(context->exit) != 0)
        return -1;
    *result = execute_function(entry, context, argc, argv, 0, 0);
    return 0;
}

std::string subclass_origin(ErrorHeader *errors, int32_t record)
{
    char origin[64] = {};
    int16_t length = 0;
    GetDiagField(3, errors, record, 9, origin, sizeof origin, &length);
    return origin;
}

void check_text(const Value *v, size_t capacity)
{
    size_t full_length = 0;
    value_as_text_n(v, nullptr, 0, &full_length);
    std::vector<char> whole(full_length + 1, 'x');
    const char *text = value_as_text_n(v, whole.data(), whole.size(), nullptr);
    FUZZ_CHECK(std::strlen(text) == full_length, "the text fills its reported length");
    kxfuzz::Guarded buffer(capacity);
    size_t length = 0;
    value_as_text_n(v, buffer.data(), capacity, &length);
    FUZZ_CHECK(buffer.guard_intact(), "value_as_text_n wrote past %zu octets", capacity);
    FUZZ_CHECK(length == full_length, "full length %zu, expected %zu", length, full_length);
    if (capacity > 0 && v->null_flag == 0) {
        size_t kept = full_length < capacity - 1 ? full_length : capacity - 1;
        FUZZ_CHECK(std::memcmp(buffer.data(), text, kept) == 0 && buffer.data()[kept] == '\0',
                   "the cut text is the first %zu octets and a terminator", kept);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    ProfileHandle *config = blob_profile();
    if (config == nullptr)
        return 0;
    kxfuzz::Reader in(data, size);
    bool sql92 = (in.byte() & 1) != 0;
    const FunctionEntry *entry = sql92 ? &scalar_functions[in.byte() % KX_SQL92_FUNCTION_COUNT]
                                       : &functions[in.byte() % KX_FUNCTION_COUNT];
    // An SQL-92 id reports the range of the first SQL-92 entry (1 to 1), so
    // those spellings take their own entry's count as the range's top.
    int32_t low = 0, high = 0;
    sql92_get_function_arg_range(entry->id, &low, &high);
    if (sql92) {
        low = entry->arg_count;
        high = entry->arg_count;
    }
    int32_t argc = static_cast<int32_t>(in.in_range(low, high));
    size_t capacity = in.byte();

    kxfuzz::Statement call;
    if (!call.ready())
        return 0;
    DriverConnection connection;
    std::memset(&connection, 0, sizeof connection);
    connection.kind = KX_KIND_CONNECTION;
    connection.database = "fuzzdb";
    connection.long_rewind = rewind_long;
    connection.long_read = read_long;
    call.statement.connection = &connection;
    call.context.result = 5;

    std::vector<Value *> args(static_cast<size_t>(argc));
    std::vector<Value> before(static_cast<size_t>(argc));
    for (int32_t i = 0; i < argc; ++i) {
        args[static_cast<size_t>(i)] =
            make_argument(in, entry->arg_class[i < 11 ? i : 10] & ~KX_CLASS_OPTIONAL, call.mem,
                          config);
        if (args[static_cast<size_t>(i)] == nullptr)
            return 0;
        before[static_cast<size_t>(i)] = *args[static_cast<size_t>(i)];
    }
    int32_t records = call.statement.errors->record_count;
    Value *result = nullptr;
    int left = guarded_call(entry, &call.context, argc, args.empty() ? nullptr : args.data(),
                            &result);
    if (left != 0) {
        FUZZ_CHECK(call.context.result == -1, "%s: context result %d after the exit",
                   entry->name, call.context.result);
        FUZZ_CHECK(call.statement.errors->record_count == records + 1,
                   "%s: %d diagnostics posted on the way out", entry->name,
                   call.statement.errors->record_count - records);
        FUZZ_CHECK(subclass_origin(call.statement.errors, records + 1) == "ODBC3.0",
                   "%s: subclass origin [%s]", entry->name,
                   subclass_origin(call.statement.errors, records + 1).c_str());
    } else {
        FUZZ_CHECK(call.statement.errors->record_count == records,
                   "%s returned with a diagnostic [%s]", entry->name, call.last_state().c_str());
        FUZZ_CHECK(call.context.result == 5, "%s: context result changed", entry->name);
        if (result != nullptr) {
            FUZZ_CHECK(result->kind == NODE_VALUE, "%s: result kind %u", entry->name,
                       result->kind);
            if (result->type == VALUE_STRING && result->null_flag == 0)
                FUZZ_CHECK(result->length >= 0 && result->payload.text != nullptr &&
                               result->payload.text[result->length] == '\0',
                           "%s: a text result is terminated at its length %d", entry->name,
                           result->length);
            check_text(result, capacity);
        }
    }
    // The arguments stay as given, but for the trimming functions, which
    // strip trailing spaces from a text argument in its own buffer and
    // shorten its length on purpose.
    for (int32_t i = 0; i < argc; ++i) {
        const Value &was = before[static_cast<size_t>(i)];
        const Value &now = *args[static_cast<size_t>(i)];
        bool trimmed = now.type == VALUE_STRING && now.length <= was.length;
        FUZZ_CHECK(was.type == now.type && was.null_flag == now.null_flag &&
                       (was.length == now.length || trimmed) &&
                       std::memcmp(&was.payload, &now.payload, sizeof was.payload) == 0,
                   "%s changed argument %d", entry->name, i + 1);
        if (trimmed && now.length < was.length)
            for (int32_t k = now.length; k < was.length; ++k)
                FUZZ_CHECK(now.payload.text[k] == ' ' || now.payload.text[k] == '\0',
                           "%s: only trailing spaces are trimmed", entry->name);
    }
    if (result != nullptr)
        release_value(call.mem, result);
    return 0;
}
