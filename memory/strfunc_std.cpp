// strfunc_std.cpp - the 16-bit string copy of the standard family.
//
// Exports kxstd_copy_nstr_bufferl: copy_nstr_bufferl's contract (a count
// of the whole source, 0 or 1 for fitted or cut, the buffer always
// terminated) over UTF-16 code units decoded from UTF-8, where the family
// widens each octet with sign extension (0xE9 gives 0xFFE9).
//
// Decoding follows the reference driver's policy: well-formed UTF-8
// converts exactly, a code point of planes 1 to 16 as a surrogate pair,
// and each maximal subpart of an ill-formed sequence becomes one U+FFFD
// (the Unicode Standard's recommended practice, as Python's
// decode('utf-8', 'replace')). The narrowed ranges of the second octet
// after E0, ED, F0 and F4 turn away overlong forms, surrogates and code
// points past U+10FFFF at that octet, so the lead alone is the subpart.
#include <cstring>

#include "kxsupp/memory.h"
#include "kxsupp/standard.h"

namespace {

constexpr uint32_t kReplacement = 0xFFFD;

// How a lead octet starts a sequence: the continuation octets it needs, the
// bits it gives and the range its first continuation must fall in.
struct Lead {
    uint8_t continuations;  // 0 for ASCII and for an octet that cannot lead
    uint8_t bits;
    uint8_t second_low;
    uint8_t second_high;
};

constexpr Lead lead_of(unsigned char lead)
{
    if (lead < 0x80)
        return {0, lead, 0, 0};
    if (lead < 0xC2 || lead > 0xF4)
        return {0, 0, 0, 0};
    if (lead < 0xE0)
        return {1, static_cast<uint8_t>(lead & 0x1F), 0x80, 0xBF};
    if (lead < 0xF0)
        return {2, static_cast<uint8_t>(lead & 0x0F), static_cast<uint8_t>(lead == 0xE0 ? 0xA0 : 0x80),
                static_cast<uint8_t>(lead == 0xED ? 0x9F : 0xBF)};
    return {3, static_cast<uint8_t>(lead & 0x07), static_cast<uint8_t>(lead == 0xF0 ? 0x90 : 0x80),
            static_cast<uint8_t>(lead == 0xF4 ? 0x8F : 0xBF)};
}

static_assert(lead_of(0xC1).continuations == 0 && lead_of(0xF5).continuations == 0);
static_assert(lead_of(0xE0).second_low == 0xA0 && lead_of(0xED).second_high == 0x9F);
static_assert(lead_of(0xF0).second_low == 0x90 && lead_of(0xF4).second_high == 0x8F);

// The code point at *s, moving *s past it; an ill-formed sequence reads as
// U+FFFD and *s stops at the octet that broke it off (read again next).
uint32_t next_code_point(const unsigned char **s)
{
    const unsigned char *p = *s;
    unsigned char lead = *p++;
    Lead form = lead_of(lead);
    if (lead < 0x80 || form.continuations == 0) {
        *s = p;
        return lead < 0x80 ? lead : kReplacement;
    }
    uint32_t c = form.bits;
    unsigned char low = form.second_low, high = form.second_high;
    for (unsigned k = 0; k < form.continuations; ++k) {
        // the terminator is below 0x80 and so breaks off a sequence too
        if (*p < low || *p > high) {
            *s = p;
            return kReplacement;
        }
        c = (c << 6) | (*p++ & 0x3Fu);
        low = 0x80, high = 0xBF;
    }
    *s = p;
    return c;
}

}  // namespace

extern "C" {

KX_API int32_t kxstd_copy_nstr_bufferl(uint16_t *destination, int32_t buffer_length,
                                       int32_t *length_out, const char *source)
{
    if (source == nullptr)
        source = "";
    // Room for code units before the terminator; a pair that does not fit
    // whole is left out, and what follows it too.
    int64_t room = destination != nullptr && buffer_length >= 1 ? int64_t{buffer_length} - 1 : 0;
    int64_t written = 0;
    int64_t total = 0;
    bool cut = false;
    const unsigned char *s = reinterpret_cast<const unsigned char *>(source);
    while (*s != '\0') {
        uint32_t c = next_code_point(&s);
        int units = c >= 0x10000 ? 2 : 1;
        total += units;
        if (cut || written + units > room) {
            cut = true;
            continue;
        }
        if (units == 1) {
            destination[written++] = static_cast<uint16_t>(c);
        } else {
            c -= 0x10000;
            destination[written++] = static_cast<uint16_t>(0xD800 | (c >> 10));
            destination[written++] = static_cast<uint16_t>(0xDC00 | (c & 0x3FF));
        }
    }
    if (destination != nullptr && buffer_length >= 1)
        destination[written] = 0;
    if (length_out != nullptr)
        *length_out = total > INT32_MAX ? INT32_MAX : static_cast<int32_t>(total);
    return total < int64_t{buffer_length} ? 0 : 1;
}

}  // extern "C"
