// unicode.h - the driver's one converter between UTF-16 and UTF-8.
//
// Internal to driver/ (unicode.cpp). The application's wide text
// (SQL_C_WCHAR) is UTF-16 in 16-bit code units in the machine's own order,
// as SQLWCHAR is on unixODBC; the driver's own text is UTF-8 octets. Every
// path that crosses between them - bound parameters, SQLPutData, results,
// diagnostics, the W entry points - goes through these functions so that
// they all treat bad input the same way.
//
// Exports:
//   utf16_to_utf8_length, utf16_to_utf8 (into a caller's buffer or a
//     std::string) - UTF-16 code units to UTF-8 octets;
//   utf8_to_utf16_length, utf8_to_utf16 (into a caller's buffer or a
//     std::u16string) - UTF-8 octets to UTF-16 code units;
//   Utf16Decoder - UTF-16 given in pieces (SQLPutData), as code units or as
//     octets, to UTF-8.
// A *_length function gives the exact size the writer of the same name
// produces for the same input; the writer writes that many elements into a
// buffer the caller provides, never more, and never reads past count.
//
// Policy: well-formed input converts exactly, and every ill-formed piece
// becomes one U+FFFD, whichever way the text goes.
//   UTF-16: a high surrogate that is not followed by a low one, and a low
//     surrogate that does not follow a high one, each become U+FFFD (an
//     application that sends "a", D800, "b" gets "a", U+FFFD, "b"). Given
//     as octets, a final odd octet (half a code unit) becomes U+FFFD too.
//   UTF-8: each maximal subpart of an ill-formed sequence becomes one
//     U+FFFD, the practice the Unicode Standard recommends and Python's
//     bytes.decode('utf-8', 'replace') follows: a lead octet that cannot
//     start a sequence (80..C1, F5..FF), or a well begun sequence cut short
//     by an octet that cannot continue it or by the end of the text, gives
//     one U+FFFD, and the octet that broke it off is read again as the start
//     of what follows. So an overlong form (C0 AF), a surrogate written in
//     UTF-8 (ED A0 80) and a code point past U+10FFFF (F4 90 80 80) give one
//     U+FFFD per octet, while a truncated E2 82 gives a single one.
#ifndef KXEVALDRV_UNICODE_H
#define KXEVALDRV_UNICODE_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace kxdrv {

// ---- UTF-16 to UTF-8 ----

// The UTF-8 octets that count code units convert to.
size_t utf16_to_utf8_length(const uint16_t *units, size_t count);
// Writes the UTF-8 of count code units to out, which has room for
// utf16_to_utf8_length(units, count) octets; returns that number.
size_t utf16_to_utf8(const uint16_t *units, size_t count, char *out);
std::string utf16_to_utf8(const uint16_t *units, size_t count);

// ---- UTF-8 to UTF-16 ----

// The UTF-16 code units that count octets convert to.
size_t utf8_to_utf16_length(const char *octets, size_t count);
// Writes the UTF-16 of count octets to out, which has room for
// utf8_to_utf16_length(octets, count) code units; returns that number.
size_t utf8_to_utf16(const char *octets, size_t count, uint16_t *out);
// The units in the machine's order, as an application reads SQLWCHAR from
// memory: a caller that wants octets copies size() * 2 of them.
std::u16string utf8_to_utf16(const char *octets, size_t count);

// ---- UTF-16 in pieces ----

// Converts UTF-16 that arrives in pieces, appending the UTF-8 to a string
// the caller gives. A piece may end between a high and a low surrogate, and
// with feed_octets inside a code unit: what cannot be converted yet is kept
// for the next call. finish() ends the text (a high surrogate or half a unit
// still kept becomes U+FFFD) and makes the decoder ready for a new text.
// Use one of feed_units or feed_octets for a given text.
struct Utf16Decoder {
    void feed_units(const uint16_t *units, size_t count, std::string &out);
    // Code units as octets in the machine's order; count may be odd.
    void feed_octets(const void *octets, size_t count, std::string &out);
    void finish(std::string &out);
    // True while part of a character is kept for the next piece.
    bool pending() const { return high_surrogate != 0 || has_odd_octet; }

    uint16_t high_surrogate = 0; // a high surrogate that ended the last piece
    bool has_odd_octet = false;  // the first half of a unit ended it
    unsigned char odd_octet = 0;
};

}  // namespace kxdrv

#endif  // KXEVALDRV_UNICODE_H
