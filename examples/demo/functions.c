/*
 * Scalar functions, as a driver evaluates an ODBC {fn ...} call: the name is
 * resolved through the catalogue at parse time and the argument count
 * checked against its range; at execution the driver arms its exit point
 * with setjmp and calls execute_function once per row. A few functions of
 * each family run here, and one call (MOD by zero) takes the error exit,
 * whose diagnostic the application then reads.
 */
#include <setjmp.h>
#include <stdio.h>
#include <string.h>

#include "demo.h"

static int failures;

static void check(int condition, const char *what)
{
    if (!condition) {
        printf("  !! not as described: %s\n", what);
        failures++;
    }
}

/* The driver's side of one statement: memory, error header, context. */
struct statement {
    MemHandle *mem;
    DriverConnection connection;
    DriverStatement stmt;
    EvalContext context;
};

static Value *node(struct statement *s, int32_t type)
{
    Value *v = (Value *)newNode(sizeof(Value), NODE_VALUE, s->mem);
    if (v)
        v->type = type;
    return v;
}

static Value *text_value(struct statement *s, const char *text)
{
    Value *v = node(s, VALUE_STRING);
    if (v) {
        v->payload.text = string_duplicate(text, s->mem);
        v->length = (int32_t)strlen(text);
    }
    return v;
}

static Value *int_value(struct statement *s, int32_t i)
{
    Value *v = node(s, VALUE_INTEGER);
    if (v)
        v->payload.integer = i;
    return v;
}

static Value *double_value(struct statement *s, double d)
{
    Value *v = node(s, VALUE_DOUBLE);
    if (v)
        v->payload.dbl = d;
    return v;
}

static Value *date_value(struct statement *s, int y, int m, int d)
{
    Value *v = node(s, VALUE_DATE);
    if (v) {
        v->payload.date.year = (int16_t)y;
        v->payload.date.month = (uint16_t)m;
        v->payload.date.day = (uint16_t)d;
    }
    return v;
}

/* Evaluates name(args) as a driver would; prints the call and its result
   literal, and returns the result text in out ("" after an error exit). */
static int call(struct statement *s, const char *shown, const char *name, int argc,
                Value **argv, char *out)
{
    int32_t id = sql92_get_function_id(name, 0);
    int32_t min = 0, max = 0;
    const FunctionEntry *entry;
    Value *result;

    out[0] = '\0';
    if (id == -99) {
        printf("  %-38s unknown function\n", shown);
        return -1;
    }
    sql92_get_function_arg_range(id, &min, &max);
    if (argc < min || argc > max) {
        printf("  %-38s takes %d to %d arguments\n", shown, (int)min, (int)max);
        return -1;
    }
    entry = sql92_get_function_info(id);
    if (setjmp(s->context.exit) != 0) {
        char state[6], message[256];
        int32_t native = 0;
        int16_t length = 0;
        GetDiagRec(s->stmt.errors, 1, state, &native, message, sizeof message, &length);
        printf("  %-38s error %s %s\n", shown, state, message);
        return -1;
    }
    result = execute_function(entry, &s->context, argc, argv, 0, 0);
    if (result == NULL) {
        printf("  %-38s no value\n", shown);
        return -1;
    }
    {
        char literal[1024];
        strcpy(out, value_as_text(result, literal));
    }
    printf("  %-38s %s\n", shown, out);
    return 0;
}

int demo_functions(void)
{
    struct statement s;
    char out[1024];
    Value *args[4];

    failures = 0;
    printf("\n== Scalar functions ==\n");
    memset(&s, 0, sizeof s);
    s.mem = kx_mem_alloc_handle(NULL);
    if (s.mem == NULL) {
        printf("  !! no memory handle\n");
        return 1;
    }
    s.connection.kind = KX_KIND_CONNECTION;
    s.connection.database = "sales";
    s.stmt.kind = KX_KIND_STATEMENT;
    s.stmt.errors = CreateErrorHeader(s.mem, NULL);
    s.stmt.connection = &s.connection;
    s.stmt.start_time = 1086652800; /* the statement's captured clock */
    s.context.stmt = &s.stmt;
    s.context.mem = s.mem;

    printf("  strings\n");
    args[0] = text_value(&s, "Tymczak");
    call(&s, "{fn SOUNDEX('Tymczak')}", "SOUNDEX", 1, args, out);
    check(strcmp(out, "'T520'") == 0, "SOUNDEX('Tymczak') is T520");
    args[0] = text_value(&s, "abcdef");
    args[1] = int_value(&s, 2);
    args[2] = int_value(&s, 3);
    call(&s, "{fn SUBSTRING('abcdef', 2, 3)}", "substring", 3, args, out);
    check(strcmp(out, "'bcd'") == 0, "SUBSTRING('abcdef', 2, 3) is bcd");
    args[0] = text_value(&s, "abcdef");
    args[1] = int_value(&s, 3);
    args[2] = int_value(&s, 2);
    args[3] = text_value(&s, "XY");
    call(&s, "{fn INSERT('abcdef', 3, 2, 'XY')}", "INSERT", 4, args, out);
    check(strcmp(out, "'abcXYf'") == 0, "INSERT counts the tail from start + length");
    args[0] = text_value(&s, "ab  ");
    args[1] = text_value(&s, "cd ");
    call(&s, "{fn CONCAT('ab  ', 'cd ')}", "CONCAT", 2, args, out);
    check(strcmp(out, "'abcd'") == 0, "CONCAT trims both texts");

    printf("  numbers\n");
    args[0] = double_value(&s, -2.5);
    args[1] = int_value(&s, 0);
    call(&s, "{fn ROUND(-2.5, 0)}", "ROUND", 2, args, out);
    check(strcmp(out, "-2") == 0, "ROUND adds one half and truncates toward zero");
    call(&s, "{fn PI()}", "PI", 0, args, out);
    args[0] = int_value(&s, -7);
    args[1] = int_value(&s, 3);
    call(&s, "{fn MOD(-7, 3)}", "MOD", 2, args, out);
    check(strcmp(out, "-1") == 0, "MOD takes the dividend's sign");

    printf("  dates, times and the connection\n");
    args[0] = date_value(&s, 2004, 12, 31);
    call(&s, "{fn QUARTER({d '2004-12-31'})}", "QUARTER", 1, args, out);
    check(strcmp(out, "5") == 0, "QUARTER divides the month itself");
    args[0] = date_value(&s, 2004, 6, 13);
    call(&s, "{fn DAYNAME({d '2004-06-13'})}", "DAYNAME", 1, args, out);
    check(strcmp(out, "'Sunday'") == 0, "13 June 2004 was a Sunday");
    args[0] = text_value(&s, "SQL_TSI_DAY");
    args[1] = date_value(&s, 2004, 6, 1);
    args[2] = date_value(&s, 2004, 6, 16);
    call(&s, "{fn TIMESTAMPDIFF(SQL_TSI_DAY, ...)}", "TIMESTAMPDIFF", 3, args, out);
    check(strcmp(out, "15") == 0, "fifteen days apart");
    call(&s, "{fn DATABASE()}", "DATABASE", 0, args, out);
    check(strcmp(out, "'sales'") == 0, "DATABASE names the connection's database");

    printf("  an error exit\n");
    args[0] = int_value(&s, 7);
    args[1] = int_value(&s, 0);
    check(call(&s, "{fn MOD(7, 0)}", "MOD", 2, args, out) == -1 && s.context.result == -1,
          "MOD(7, 0) leaves through the exit point");

    kx_mem_release_handle(s.mem);
    return failures;
}
