// The historical per-bit decimal-string text conversions of the numeric
// module; see numeric_perbit_baseline.h. The table of the decimal texts of
// the powers of two is the library's own (kx::factors), which the numeric
// tests check digit by digit against an independent computation.

#include "bench/numeric_perbit_baseline.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

namespace perbit {

void add_string(char *accumulator, const char *addend) {
    size_t la = strlen(accumulator), lb = strlen(addend);
    if (la < 7 && lb < 7) {
        sprintf(accumulator, "%ld", atol(accumulator) + atol(addend));
        return;
    }
    char work[160];
    size_t n = 0;
    int carry = 0;
    size_t i = la, j = lb;
    while (i > 0 || j > 0) {
        int d = carry;
        if (i > 0) d += accumulator[--i] - '0';
        if (j > 0) d += addend[--j] - '0';
        carry = d >= 10;
        work[n++] = static_cast<char>('0' + (carry ? d - 10 : d));
    }
    if (carry) work[n++] = '1';
    for (size_t k = 0; k < n; k++) accumulator[k] = work[n - 1 - k];
    accumulator[n] = '\0';
}

void subtract_string(char *minuend, const char *subtrahend) {
    size_t la = strlen(minuend), lb = strlen(subtrahend);
    int borrow = 0;
    size_t i = la, j = lb;
    while (i > 0) {
        --i;
        int d = minuend[i] - '0' - borrow;
        if (j > 0) d -= subtrahend[--j] - '0';
        borrow = 0;
        if (d < 0) {
            d += 10;
            borrow = 1;
        }
        minuend[i] = static_cast<char>('0' + d);
    }
    size_t z = 0;
    while (z + 1 < la && minuend[z] == '0') z++;
    memmove(minuend, minuend + z, la - z + 1);
}

namespace {

// Joins integer part and fraction into out (144 characters), padding the
// fraction to frac_len digits.
void align(const char *s, size_t frac_len, char *out) {
    const char *dot = strchr(s, '.');
    size_t int_len = dot ? static_cast<size_t>(dot - s) : strlen(s);
    size_t own = dot ? strlen(dot + 1) : 0;
    size_t n = 0;
    for (size_t i = 0; i < int_len && n < 143; i++) out[n++] = s[i];
    for (size_t i = 0; i < own && n < 143; i++) out[n++] = dot[1 + i];
    for (size_t i = own; i < frac_len && n < 143; i++) out[n++] = '0';
    out[n] = '\0';
}

size_t fraction_length(const char *s) {
    const char *dot = strchr(s, '.');
    return dot ? strlen(dot + 1) : 0;
}

}  // namespace

int numeric_string_compare(const char *s1, const char *s2) {
    char w1[144], w2[144];
    size_t f1 = fraction_length(s1), f2 = fraction_length(s2);
    size_t f = f1 > f2 ? f1 : f2;
    align(s1, f, w1);
    align(s2, f, w2);
    size_t l1 = strlen(w1), l2 = strlen(w2);
    if (l1 != l2) return l1 > l2 ? 1 : -1;
    int c = strcmp(w1, w2);
    return c > 0 ? 1 : (c < 0 ? -1 : 0);
}

int32_t numeric_to_string(const NumericStruct *number, char *buffer,
                          int32_t buffer_length, int32_t *length_out) {
    char digits[1024] = "0";
    for (int byte = 0; byte < 16; byte++)
        for (int bit = 0; bit < 8; bit++)
            if (number->val[byte] & (1u << bit))
                add_string(digits, factors[8 * byte + bit]);
    size_t n = strlen(digits);
    int neg = number->sign == 0 ? 1 : 0;
    int scale = number->scale;
    char *text = static_cast<char *>(malloc(n + 300));
    if (text == nullptr) return 1;
    char *p = text;
    if (neg) *p++ = '-';
    if (scale > 0) {
        size_t s = static_cast<size_t>(scale);
        if (n > s) {
            memcpy(p, digits, n - s);
            p += n - s;
            *p++ = '.';
            memcpy(p, digits + n - s, s);
            p += s;
        } else {
            strcpy(p, "0.");
            p += 2;
            for (size_t i = 0; i < s - n; i++) *p++ = '0';
            memcpy(p, digits, n);
            p += n;
        }
        while (p[-1] == '0') p--;
        if (p[-1] == '.') p--;
    } else {
        memcpy(p, digits, n);
        p += n;
        for (int i = 0; i < -scale; i++) *p++ = '0';
    }
    *p = '\0';
    size_t len = strlen(text);
    if (length_out) *length_out = static_cast<int32_t>(len);
    int32_t rc = 0;
    if (len < static_cast<uint32_t>(buffer_length)) {
        if (buffer) strcpy(buffer, text);
    } else {
        if (buffer && buffer_length > 0) {
            memcpy(buffer, text, static_cast<size_t>(buffer_length) - 1);
            buffer[buffer_length - 1] = '\0';
        }
        rc = 1;
    }
    free(text);
    return rc;
}

int32_t string_to_numeric(char *text, NumericStruct *out, uint8_t precision,
                          int32_t scale) {
    char *point = strchr(text, '.');
    if (point != nullptr) {
        for (char *q = point; *q != '\0'; q++) {
            q[0] = q[1];
            if (q[0] != '\0') scale++;
        }
    }
    char *p = text;
    if (*p == ' ')
        while (*p == ' ') p++;
    if (*p == '-') {
        out->sign = 0;
        p++;
    } else if (*p == '+') {
        out->sign = 1;
        p++;
    } else {
        out->sign = 1;
    }
    while (*p == '0') p++;
    if (numeric_string_compare(p, max_num) > 0) return -2;
    memset(out->val, 0, sizeof out->val);
    out->precision = precision;
    out->scale = static_cast<int8_t>(scale);
    for (int k = 127; k >= 0; k--) {
        int c = numeric_string_compare(p, factors[k]);
        if (c > 0) {
            subtract_string(p, factors[k]);
            out->val[k / 8] |= static_cast<uint8_t>(1u << (k % 8));
        } else if (c == 0) {
            out->val[k / 8] |= static_cast<uint8_t>(1u << (k % 8));
            break;
        }
    }
    return 0;
}

}  // namespace perbit
