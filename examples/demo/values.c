/*
 * Values and their text forms, as a driver prints literals into the SQL it
 * sends to its back end: exact numerics, dates, times, timestamps and
 * intervals in the ODBC escape form (value_as_text) and in a back end's own
 * syntax (value_as_text_ex), strings with their quotes doubled, binaries,
 * and a bounded rendering of a text too long for the buffer at hand.
 */
#include <stdio.h>
#include <string.h>

#include "demo.h"

static int failures;

static void show(const char *label, const char *text, const char *expected)
{
    printf("  %-46s %s\n", label, text);
    if (strcmp(text, expected) != 0) {
        printf("  !! not as described: expected %s\n", expected);
        failures++;
    }
}

/* A value record filled directly, as a driver fills one from a row. */
static Value *new_value(MemHandle *handle, int32_t type)
{
    Value *v = (Value *)newNode(sizeof(Value), NODE_VALUE, handle);
    if (v) {
        v->type = type;
        v->attr[2] = 2; /* interval leading precision (default) */
        v->attr[3] = 6; /* interval seconds precision (default) */
    }
    return v;
}

static Value *new_numeric(MemHandle *handle, uint32_t magnitude, int scale,
                          int negative)
{
    Value *v = new_value(handle, VALUE_NUMERIC);
    int i;
    if (v) {
        v->payload.numeric.precision = 10;
        v->payload.numeric.scale = (int8_t)scale;
        v->payload.numeric.sign = negative ? 0 : 1;
        for (i = 0; i < 4; i++)
            v->payload.numeric.val[i] = (uint8_t)(magnitude >> (8 * i));
    }
    return v;
}

static Value *new_interval(MemHandle *handle, int32_t kind, int negative,
                           uint32_t first, uint32_t second, uint32_t minute,
                           uint32_t seconds, uint32_t fraction)
{
    int32_t type = (kind == KX_IS_YEAR || kind == KX_IS_MONTH ||
                    kind == KX_IS_YEAR_TO_MONTH)
                       ? VALUE_INTERVAL_YM
                       : VALUE_INTERVAL_DS;
    Value *v = new_value(handle, type);
    if (v) {
        IntervalStruct *iv = &v->payload.interval;
        iv->interval_type = kind;
        iv->interval_sign = negative ? 1 : 0;
        iv->intval.day_second.day = first; /* or the years */
        iv->intval.day_second.hour = second; /* or the months */
        iv->intval.day_second.minute = minute;
        iv->intval.day_second.second = seconds;
        iv->intval.day_second.fraction = fraction;
    }
    return v;
}

/* The delimiters of a back end that writes DATE '...' and X'...'. */
static char *backend_text(const Value *v, char *buf)
{
    return value_as_text_ex(v, buf, "DATE '", "'", "TIME '", "'",
                            "TIMESTAMP '", "'", "X'", "'", 1);
}

int demo_values(void)
{
    MemHandle *handle = kx_mem_alloc_handle(NULL);
    char buf[1024];
    Value *v;
    static const unsigned char octets[] = {0x00, 0xFF, 0x05};
    char long_text[301];
    size_t full_length = 0;

    failures = 0;
    printf("\n== Values and their literal forms ==\n");
    if (handle == NULL)
        return 1;

    printf(" Exact numerics print as decimal text, without trailing zeros:\n");
    show("magnitude 123450 at scale 2:",
         value_as_text(new_numeric(handle, 123450, 2, 0), buf), "1234.5");
    show("magnitude 5 at scale 3, negative:",
         value_as_text(new_numeric(handle, 5, 3, 1), buf), "-0.005");
    show("magnitude 12 at scale -2:",
         value_as_text(new_numeric(handle, 12, -2, 0), buf), "1200");
    v = new_value(handle, VALUE_DOUBLE);
    v->payload.dbl = 100.0;
    show("the double 100.0:", value_as_text(v, buf), "100");

    printf(" Dates, times and timestamps, as ODBC escapes and as a back end's"
           " literals:\n");
    v = new_value(handle, VALUE_DATE);
    v->payload.date.year = 2004;
    v->payload.date.month = 6;
    v->payload.date.day = 16;
    show("a date:", value_as_text(v, buf), "{d'2004-06-16'}");
    show("the same for the back end:", backend_text(v, buf),
         "DATE '2004-06-16'");
    v = new_value(handle, VALUE_TIME);
    v->payload.time.hour = 9;
    v->payload.time.minute = 5;
    v->payload.time.second = 30;
    show("a time:", value_as_text(v, buf), "{t'09:05:30'}");
    show("the same for the back end:", backend_text(v, buf), "TIME '09:05:30'");
    v = new_value(handle, VALUE_TIMESTAMP);
    v->payload.timestamp.year = 2004;
    v->payload.timestamp.month = 6;
    v->payload.timestamp.day = 16;
    v->payload.timestamp.second = 59;
    v->payload.timestamp.fraction = 250000000;
    show("a timestamp (the fraction is never shown):", value_as_text(v, buf),
         "{ts'2004-06-16 00:00:59'}");
    show("the same for the back end:", backend_text(v, buf),
         "TIMESTAMP '2004-06-16 00:00:59'");
    v->payload.timestamp.second = 0;
    show("at midnight, collapsed to its date:", backend_text(v, buf),
         "TIMESTAMP '2004-06-16'");
    v->payload.timestamp.year = 0;
    v->payload.timestamp.month = 0;
    v->payload.timestamp.day = 0;
    v->payload.timestamp.hour = 10;
    v->payload.timestamp.minute = 20;
    v->payload.timestamp.second = 30;
    show("without a date, its time (with hyphens):", backend_text(v, buf),
         "TIMESTAMP '10-20-30'");

    printf(" Intervals, as literals and bare:\n");
    v = new_interval(handle, KX_IS_YEAR, 0, 3, 0, 0, 0, 0);
    show("three years:", value_as_text(v, buf), "{INTERVAL '3' YEAR}");
    v = new_interval(handle, KX_IS_YEAR_TO_MONTH, 1, 1, 6, 0, 0, 0);
    show("minus one year six months:", interval_as_text(v, buf, 1),
         "INTERVAL -'1-06' YEAR TO MONTH");
    show("the same, bare:", interval_as_text(v, buf, 0), "-1-06");
    v = new_interval(handle, KX_IS_DAY_TO_SECOND, 0, 2, 3, 4, 5, 250000000);
    show("two days and a bit:", interval_as_text(v, buf, 1),
         "INTERVAL '2 03:04:05.25' DAY TO SECOND");
    v = new_interval(handle, KX_IS_MINUTE_TO_SECOND, 0, 0, 0, 12, 30,
                     500000000);
    v->attr[2] = 5;
    v->attr[3] = 3;
    show("with precisions 5 and 3:", interval_as_text(v, buf, 1),
         "INTERVAL '12:30.5' MINUTE(5) TO SECOND(3)");

    printf(" Strings and binaries:\n");
    v = new_value(handle, VALUE_STRING);
    v->payload.text = (char *)"O'Brien";
    v->length = 7;
    show("a name with a quote:", value_as_text(v, buf), "'O''Brien'");
    v = new_value(handle, VALUE_BINARY);
    v->payload.bytes = (unsigned char *)octets;
    v->length = v->data_length = 3;
    show("octets 00 FF 05 (hexadecimal, unpadded):", value_as_text(v, buf),
         "B'0FF5'");
    show("the same for the back end:", backend_text(v, buf), "X'0FF5'");

    printf(" A text longer than the buffer, rendered within its capacity:\n");
    memset(long_text, 'a', 300);
    long_text[300] = '\0';
    v = new_value(handle, VALUE_STRING);
    v->payload.text = long_text;
    v->length = 300;
    {
        char small[16];
        value_as_text_n(v, small, sizeof small, &full_length);
        show("the first 15 characters:", small, "'aaaaaaaaaaaaaa");
        printf("  %-46s %zu\n", "the full literal would take:", full_length);
        if (full_length != 302)
            failures++;
    }

    kx_mem_release_handle(handle);
    return failures;
}
