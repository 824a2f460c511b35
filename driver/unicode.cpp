// unicode.cpp - the driver's one converter between UTF-16 and UTF-8.
//
// Exports (driver-internal) utf16_to_utf8_length, utf16_to_utf8,
// utf8_to_utf16_length, utf8_to_utf16 and Utf16Decoder, declared in
// unicode.h together with the rule for ill-formed input: each ill-formed
// piece becomes one U+FFFD. UTF-16 is handled as 16-bit code units in the
// machine's order, UTF-8 as octets. Each conversion reads its input one
// character at a time with a single reader (next_utf16_scalar,
// next_utf8_scalar) that the length function and the writer share, so both
// see the same characters and the same replacements. A run of ASCII, the
// common case in a result column, is copied by a plain loop before the
// general reader is used.
#include "driver/unicode.h"

#include <cstring>

namespace kxdrv {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool is_high_surrogate(uint16_t u)
{
    return (u & 0xFC00) == 0xD800;
}

bool is_low_surrogate(uint16_t u)
{
    return (u & 0xFC00) == 0xDC00;
}

char32_t join_surrogates(uint16_t high, uint16_t low)
{
    return 0x10000 + ((static_cast<char32_t>(high) - 0xD800) << 10) + (low - 0xDC00u);
}

// The scalar value at units[i], moving i past it: a surrogate that is not
// half of a pair reads as U+FFFD and takes one unit.
char32_t next_utf16_scalar(const uint16_t *units, size_t count, size_t &i)
{
    uint16_t u = units[i++];
    if (is_high_surrogate(u) && i < count && is_low_surrogate(units[i]))
        return join_surrogates(u, units[i++]);
    if (is_high_surrogate(u) || is_low_surrogate(u))
        return kReplacement;
    return u;
}

size_t utf8_octets_of(char32_t c)
{
    return c < 0x80 ? 1 : c < 0x800 ? 2 : c < 0x10000 ? 3 : 4;
}

char *put_utf8(char32_t c, char *out)
{
    if (c < 0x80) {
        *out++ = static_cast<char>(c);
    } else if (c < 0x800) {
        *out++ = static_cast<char>(0xC0 | (c >> 6));
        *out++ = static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        *out++ = static_cast<char>(0xE0 | (c >> 12));
        *out++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        *out++ = static_cast<char>(0x80 | (c & 0x3F));
    } else {
        *out++ = static_cast<char>(0xF0 | (c >> 18));
        *out++ = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        *out++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        *out++ = static_cast<char>(0x80 | (c & 0x3F));
    }
    return out;
}

// How a lead octet starts a sequence: the continuation octets it needs, the
// bits it gives, and the range the first continuation must fall in. The
// narrowed ranges after E0, ED, F0 and F4 turn away overlong forms,
// surrogates and code points past U+10FFFF at the second octet, which is
// what makes the lead alone the maximal subpart in those cases.
struct Utf8Lead {
    uint8_t continuations; // 0 for ASCII and for an octet that cannot lead
    uint8_t bits;
    uint8_t second_low;
    uint8_t second_high;
};

constexpr Utf8Lead utf8_lead(unsigned char lead)
{
    if (lead < 0x80)
        return {0, lead, 0, 0};
    if (lead < 0xC2 || lead > 0xF4)
        return {0, 0, 0, 0};
    if (lead < 0xE0)
        return {1, static_cast<uint8_t>(lead & 0x1F), 0x80, 0xBF};
    if (lead < 0xF0) {
        uint8_t low = lead == 0xE0 ? 0xA0 : 0x80;  // E0 80..9F is overlong
        uint8_t high = lead == 0xED ? 0x9F : 0xBF; // ED A0..BF is a surrogate
        return {2, static_cast<uint8_t>(lead & 0x0F), low, high};
    }
    uint8_t low = lead == 0xF0 ? 0x90 : 0x80;  // F0 80..8F is overlong
    uint8_t high = lead == 0xF4 ? 0x8F : 0xBF; // F4 90.. is past U+10FFFF
    return {3, static_cast<uint8_t>(lead & 0x07), low, high};
}

// The scalar value at s[i], moving i past it. An ill-formed sequence reads
// as U+FFFD and i stops at the octet that broke it off (or past a lead that
// cannot start one), so that octet is read again next time.
char32_t next_utf8_scalar(const unsigned char *s, size_t count, size_t &i)
{
    unsigned char lead = s[i++];
    if (lead < 0x80)
        return lead;
    Utf8Lead form = utf8_lead(lead);
    if (form.continuations == 0)
        return kReplacement;
    char32_t c = form.bits;
    unsigned char low = form.second_low, high = form.second_high;
    for (unsigned k = 0; k < form.continuations; ++k) {
        if (i == count || s[i] < low || s[i] > high)
            return kReplacement;
        c = (c << 6) | (s[i++] & 0x3F);
        low = 0x80, high = 0xBF;
    }
    return c;
}

size_t utf16_units_of(char32_t c)
{
    return c < 0x10000 ? 1 : 2;
}

// Unit is uint16_t or char16_t: the same code units, written without a copy
// into the caller's buffer or into a std::u16string.
template <typename Unit>
Unit *put_utf16(char32_t c, Unit *out)
{
    if (c < 0x10000) {
        *out++ = static_cast<Unit>(c);
    } else {
        c -= 0x10000;
        *out++ = static_cast<Unit>(0xD800 + (c >> 10));
        *out++ = static_cast<Unit>(0xDC00 + (c & 0x3FF));
    }
    return out;
}

template <typename Unit>
size_t write_utf16(const unsigned char *s, size_t count, Unit *out)
{
    Unit *start = out;
    size_t i = 0;
    for (; i < count && s[i] < 0x80; ++i)
        *out++ = static_cast<Unit>(s[i]);
    while (i < count)
        out = put_utf16(next_utf8_scalar(s, count, i), out);
    return static_cast<size_t>(out - start);
}

const unsigned char *as_octets(const char *s)
{
    return reinterpret_cast<const unsigned char *>(s);
}

void append_utf8_scalar(char32_t c, std::string &out)
{
    size_t start = out.size();
    out.resize(start + utf8_octets_of(c));
    put_utf8(c, out.data() + start);
}

// Appends the UTF-8 of units that form a whole text (a surrogate at the end
// is not waiting for anything) to out.
void append_utf8(const uint16_t *units, size_t count, std::string &out)
{
    size_t start = out.size();
    out.resize(start + utf16_to_utf8_length(units, count));
    utf16_to_utf8(units, count, out.data() + start);
}

}  // namespace

size_t utf16_to_utf8_length(const uint16_t *units, size_t count)
{
    size_t i = 0;
    while (i < count && units[i] < 0x80)
        ++i;
    size_t octets = i;
    while (i < count)
        octets += utf8_octets_of(next_utf16_scalar(units, count, i));
    return octets;
}

size_t utf16_to_utf8(const uint16_t *units, size_t count, char *out)
{
    char *start = out;
    size_t i = 0;
    for (; i < count && units[i] < 0x80; ++i)
        *out++ = static_cast<char>(units[i]);
    while (i < count)
        out = put_utf8(next_utf16_scalar(units, count, i), out);
    return static_cast<size_t>(out - start);
}

std::string utf16_to_utf8(const uint16_t *units, size_t count)
{
    std::string out;
    append_utf8(units, count, out);
    return out;
}

size_t utf8_to_utf16_length(const char *octets, size_t count)
{
    const unsigned char *s = as_octets(octets);
    size_t i = 0;
    while (i < count && s[i] < 0x80)
        ++i;
    size_t units = i;
    while (i < count)
        units += utf16_units_of(next_utf8_scalar(s, count, i));
    return units;
}

size_t utf8_to_utf16(const char *octets, size_t count, uint16_t *out)
{
    return write_utf16(as_octets(octets), count, out);
}

std::u16string utf8_to_utf16(const char *octets, size_t count)
{
    std::u16string out(utf8_to_utf16_length(octets, count), u'\0');
    write_utf16(as_octets(octets), count, out.data());
    return out;
}

void Utf16Decoder::feed_units(const uint16_t *units, size_t count, std::string &out)
{
    if (count == 0)
        return;
    if (high_surrogate != 0) {
        uint16_t high = high_surrogate;
        high_surrogate = 0;
        if (is_low_surrogate(units[0])) {
            append_utf8_scalar(join_surrogates(high, units[0]), out);
            ++units, --count;
        } else {
            append_utf8_scalar(kReplacement, out);
        }
    }
    // a high surrogate at the end of the piece may find its low half in the
    // next one
    if (count > 0 && is_high_surrogate(units[count - 1]))
        high_surrogate = units[--count];
    append_utf8(units, count, out);
}

void Utf16Decoder::feed_octets(const void *octets, size_t count, std::string &out)
{
    const unsigned char *s = static_cast<const unsigned char *>(octets);
    if (count == 0)
        return;
    if (has_odd_octet) {
        unsigned char pair[2] = {odd_octet, s[0]};
        uint16_t unit;
        std::memcpy(&unit, pair, 2);
        has_odd_octet = false;
        feed_units(&unit, 1, out);
        ++s, --count;
    }
    // the octets need not be aligned for uint16_t (after an odd piece they
    // are not): they are copied into whole units a block at a time
    uint16_t block[512];
    constexpr size_t kBlockUnits = sizeof block / sizeof block[0];
    while (count >= 2) {
        size_t n = count / 2 < kBlockUnits ? count / 2 : kBlockUnits;
        std::memcpy(block, s, n * 2);
        feed_units(block, n, out);
        s += n * 2, count -= n * 2;
    }
    if (count == 1) {
        odd_octet = s[0];
        has_odd_octet = true;
    }
}

void Utf16Decoder::finish(std::string &out)
{
    // a high surrogate kept from the last piece, and half a unit after it,
    // are two ill-formed pieces
    if (high_surrogate != 0)
        append_utf8_scalar(kReplacement, out);
    if (has_odd_octet)
        append_utf8_scalar(kReplacement, out);
    high_surrogate = 0;
    has_odd_octet = false;
    odd_octet = 0;
}

}  // namespace kxdrv
