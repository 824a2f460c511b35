// The historical per-bit decimal-string text conversions of the numeric
// module; see numeric_perbit_baseline.h.

#include "bench/numeric_perbit_baseline.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

namespace perbit {

const char *const factors[128] = {
    "1",
    "2",
    "4",
    "8",
    "16",
    "32",
    "64",
    "128",
    "256",
    "512",
    "1024",
    "2048",
    "4096",
    "8192",
    "16384",
    "32768",
    "65536",
    "131072",
    "262144",
    "524288",
    "1048576",
    "2097152",
    "4194304",
    "8388608",
    "16777216",
    "33554432",
    "67108864",
    "134217728",
    "268435456",
    "536870912",
    "1073741824",
    "2147483648",
    "4294967296",
    "8589934592",
    "17179869184",
    "34359738368",
    "68719476736",
    "137438953472",
    "274877906944",
    "549755813888",
    "1099511627776",
    "2199023255552",
    "4398046511104",
    "8796093022208",
    "17592186044416",
    "35184372088832",
    "70368744177664",
    "140737488355328",
    "281474976710656",
    "562949953421312",
    "1125899906842624",
    "2251799813685248",
    "4503599627370496",
    "9007199254740992",
    "18014398509481984",
    "36028797018963968",
    "72057594037927936",
    "144115188075855872",
    "288230376151711744",
    "576460752303423488",
    "1152921504606846976",
    "2305843009213693952",
    "4611686018427387904",
    "9223372036854775808",
    "18446744073709551616",
    "36893488147419103232",
    "73786976294838206464",
    "147573952589676412928",
    "295147905179352825856",
    "590295810358705651712",
    "1180591620717411303424",
    "2361183241434822606848",
    "4722366482869645213696",
    "9444732965739290427392",
    "18889465931478580854784",
    "37778931862957161709568",
    "75557863725914323419136",
    "151115727451828646838272",
    "302231454903657293676544",
    "604462909807314587353088",
    "1208925819614629174706176",
    "2417851639229258349412352",
    "4835703278458516698824704",
    "9671406556917033397649408",
    "19342813113834066795298816",
    "38685626227668133590597632",
    "77371252455336267181195264",
    "154742504910672534362390528",
    "309485009821345068724781056",
    "618970019642690137449562112",
    "1237940039285380274899124224",
    "2475880078570760549798248448",
    "4951760157141521099596496896",
    "9903520314283042199192993792",
    "19807040628566084398385987584",
    "39614081257132168796771975168",
    "79228162514264337593543950336",
    "158456325028528675187087900672",
    "316912650057057350374175801344",
    "633825300114114700748351602688",
    "1267650600228229401496703205376",
    "2535301200456458802993406410752",
    "5070602400912917605986812821504",
    "10141204801825835211973625643008",
    "20282409603651670423947251286016",
    "40564819207303340847894502572032",
    "81129638414606681695789005144064",
    "162259276829213363391578010288128",
    "324518553658426726783156020576256",
    "649037107316853453566312041152512",
    "1298074214633706907132624082305024",
    "2596148429267413814265248164610048",
    "5192296858534827628530496329220096",
    "10384593717069655257060992658440192",
    "20769187434139310514121985316880384",
    "41538374868278621028243970633760768",
    "83076749736557242056487941267521536",
    "166153499473114484112975882535043072",
    "332306998946228968225951765070086144",
    "664613997892457936451903530140172288",
    "1329227995784915872903807060280344576",
    "2658455991569831745807614120560689152",
    "5316911983139663491615228241121378304",
    "10633823966279326983230456482242756608",
    "21267647932558653966460912964485513216",
    "42535295865117307932921825928971026432",
    "85070591730234615865843651857942052864",
    "170141183460469231731687303715884105728",
};

const char *const max_num = "340282366920938463463374607431768211455";

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
