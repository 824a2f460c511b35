// The driver's UTF-16/UTF-8 converter (driver/unicode.h): every scalar
// value both ways against an encoder written here from the definitions of
// UTF-8 and UTF-16, U+FFFD for every ill-formed piece, the same result from
// the piecewise decoder wherever the text is cut, and length functions that
// give exactly what the writers write.
#include "driver/unicode.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

using kxdrv::Utf16Decoder;
using Units = std::vector<uint16_t>;

// ---- an encoder of our own, straight from the definitions ----

// UTF-8: 1 octet up to U+007F, 2 up to U+07FF, 3 up to U+FFFF, 4 beyond;
// the lead carries n high 1 bits, a 0, then the top bits; each following
// octet is 10 and six bits, filled from the end.
std::string reference_utf8(char32_t c)
{
    int n = c <= 0x7F ? 1 : c <= 0x7FF ? 2 : c <= 0xFFFF ? 3 : 4;
    std::string out(static_cast<size_t>(n), '\0');
    for (int k = n - 1; k > 0; --k) {
        out[static_cast<size_t>(k)] = static_cast<char>(0x80 + c % 64);
        c /= 64;
    }
    unsigned lead_mark = n == 1 ? 0x00 : (0xFF00u >> n) & 0xFF;
    out[0] = static_cast<char>(lead_mark + c);
    return out;
}

// UTF-16: one unit below U+10000; beyond, c - 0x10000 is 20 bits, the top
// ten go after D800 and the bottom ten after DC00.
void append_reference_utf16(char32_t c, Units &out)
{
    if (c < 0x10000) {
        out.push_back(static_cast<uint16_t>(c));
        return;
    }
    uint32_t v = c - 0x10000;
    out.push_back(static_cast<uint16_t>(0xD800 + v / 1024));
    out.push_back(static_cast<uint16_t>(0xDC00 + v % 1024));
}

const std::string kReplacementUtf8 = "\xEF\xBF\xBD";

// ---- helpers that call the converter with exactly sized heap buffers, so
// that ASan sees a read or a write past the end ----

std::string to_utf8(const Units &units)
{
    std::vector<uint16_t> in(units.begin(), units.end());
    size_t length = kxdrv::utf16_to_utf8_length(in.data(), in.size());
    std::vector<char> out(length + 8, '#');
    size_t written = kxdrv::utf16_to_utf8(in.data(), in.size(), out.data());
    EXPECT_EQ(written, length);
    for (size_t k = length; k < out.size(); ++k)
        EXPECT_EQ(out[k], '#') << "written past the length at " << k;
    std::string convenient = kxdrv::utf16_to_utf8(in.data(), in.size());
    std::string result(out.data(), written);
    EXPECT_EQ(convenient, result);
    return result;
}

Units to_utf16(const std::string &octets)
{
    std::vector<char> in(octets.begin(), octets.end());
    size_t length = kxdrv::utf8_to_utf16_length(in.data(), in.size());
    std::vector<uint16_t> out(length + 8, 0x2323);
    size_t written = kxdrv::utf8_to_utf16(in.data(), in.size(), out.data());
    EXPECT_EQ(written, length);
    for (size_t k = length; k < out.size(); ++k)
        EXPECT_EQ(out[k], 0x2323) << "written past the length at " << k;
    std::u16string convenient = kxdrv::utf8_to_utf16(in.data(), in.size());
    Units result(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(written));
    EXPECT_EQ(Units(convenient.begin(), convenient.end()), result);
    return result;
}

Units units_from(std::u16string s)
{
    return Units(s.begin(), s.end());
}

std::string octets_from_hex(const std::string &hex)
{
    std::string out;
    for (size_t k = 0; k + 1 < hex.size(); k += 2)
        out += static_cast<char>(std::stoi(hex.substr(k, 2), nullptr, 16));
    return out;
}

std::string hex_of(const std::string &octets)
{
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (unsigned char c : octets) {
        out += digits[c >> 4];
        out += digits[c & 15];
    }
    return out;
}

bool is_scalar(char32_t c)
{
    return c < 0xD800 || (c > 0xDFFF && c <= 0x10FFFF);
}

// ---- well-formed text ----

TEST(Unicode, KnownEncodings)
{
    // the examples every description of the two forms gives
    EXPECT_EQ(to_utf8(units_from(u"A")), "A");
    EXPECT_EQ(to_utf8(units_from(u"\u00E9")), "\xC3\xA9");
    EXPECT_EQ(to_utf8(units_from(u"\u20AC")), "\xE2\x82\xAC");
    EXPECT_EQ(to_utf8({0xD83D, 0xDE00}), "\xF0\x9F\x98\x80");
    EXPECT_EQ(to_utf8({0xDBFF, 0xDFFF}), "\xF4\x8F\xBF\xBF");
    EXPECT_EQ(to_utf16("\xF0\x9F\x98\x80"), Units({0xD83D, 0xDE00}));
    EXPECT_EQ(to_utf16("\xF0\x90\x80\x80"), Units({0xD800, 0xDC00}));
    EXPECT_EQ(to_utf16(std::string("a\0b", 3)), Units({'a', 0, 'b'}));
    EXPECT_EQ(to_utf8({}), "");
    EXPECT_EQ(to_utf16(""), Units());
}

TEST(Unicode, ReferenceEncoderAgreesWithKnownEncodings)
{
    // the test's own encoder is checked too, or the big round trip below
    // would prove nothing
    EXPECT_EQ(reference_utf8(0x41), "A");
    EXPECT_EQ(reference_utf8(0x7FF), "\xDF\xBF");
    EXPECT_EQ(reference_utf8(0x20AC), "\xE2\x82\xAC");
    EXPECT_EQ(reference_utf8(0x1F600), "\xF0\x9F\x98\x80");
    EXPECT_EQ(reference_utf8(0x10FFFF), "\xF4\x8F\xBF\xBF");
    Units pair;
    append_reference_utf16(0x1F600, pair);
    EXPECT_EQ(pair, Units({0xD83D, 0xDE00}));
}

// Every scalar value of every plane in one text each way.
struct AllScalars {
    Units utf16;
    std::string utf8;
};

AllScalars all_scalars(bool descending)
{
    AllScalars text;
    text.utf16.reserve(0x110000 * 2);
    text.utf8.reserve(0x110000 * 4);
    for (char32_t k = 0; k <= 0x10FFFF; ++k) {
        char32_t c = descending ? 0x10FFFF - k : k;
        if (!is_scalar(c))
            continue;
        append_reference_utf16(c, text.utf16);
        text.utf8 += reference_utf8(c);
    }
    return text;
}

TEST(Unicode, EveryScalarValueBothWays)
{
    // ascending, ASCII comes first and takes the fast copy; descending it
    // comes last, after every other form, and takes the general reader
    for (bool descending : {false, true}) {
        SCOPED_TRACE(descending ? "descending" : "ascending");
        AllScalars text = all_scalars(descending);
        ASSERT_EQ(text.utf16.size(), 0x10FFFFu + 1 - 0x800 + 0x100000);
        std::string utf8 = to_utf8(text.utf16);
        EXPECT_TRUE(utf8 == text.utf8);
        Units utf16 = to_utf16(text.utf8);
        EXPECT_TRUE(utf16 == text.utf16);
        // and back again
        EXPECT_TRUE(to_utf16(utf8) == text.utf16);
        EXPECT_TRUE(to_utf8(utf16) == text.utf8);
    }
}

TEST(Unicode, EveryScalarValueAlone)
{
    // one character at a time, so a character next to another cannot hide a
    // mistake; an ASCII letter after it is read by the general reader
    for (char32_t c = 0; c <= 0x10FFFF; ++c) {
        if (!is_scalar(c))
            continue;
        Units u16;
        append_reference_utf16(c, u16);
        u16.push_back('z');
        std::string u8 = reference_utf8(c) + "z";
        ASSERT_EQ(kxdrv::utf16_to_utf8(u16.data(), u16.size()), u8)
            << std::hex << static_cast<uint32_t>(c);
        std::u16string back = kxdrv::utf8_to_utf16(u8.data(), u8.size());
        ASSERT_TRUE(Units(back.begin(), back.end()) == u16) << std::hex << static_cast<uint32_t>(c);
    }
}

// ---- ill-formed UTF-16 ----

TEST(Unicode, EveryLoneSurrogateIsReplaced)
{
    const std::string r = kReplacementUtf8;
    for (uint32_t s = 0xD800; s <= 0xDFFF; ++s) {
        SCOPED_TRACE(s);
        uint16_t u = static_cast<uint16_t>(s);
        EXPECT_EQ(to_utf8({u}), r);
        EXPECT_EQ(to_utf8({'a', u, 'b'}), "a" + r + "b");
        EXPECT_EQ(to_utf8({'a', u}), "a" + r);
        EXPECT_EQ(to_utf8({u, 'b'}), r + "b");
        EXPECT_EQ(to_utf8({u, 0x00E9}), r + "\xC3\xA9");
        EXPECT_EQ(to_utf8({u, 0xE000}), r + "\xEE\x80\x80");
        EXPECT_EQ(to_utf8({u, u}), r + r);
        // a surrogate next to a whole pair does not take a half of it
        EXPECT_EQ(to_utf8({u, 0xD83D, 0xDE00}), r + "\xF0\x9F\x98\x80");
        EXPECT_EQ(to_utf8({0xD83D, 0xDE00, u}), "\xF0\x9F\x98\x80" + r);
    }
}

TEST(Unicode, SurrogatesOutOfOrder)
{
    const std::string r = kReplacementUtf8;
    // a low before a high: neither is half of a pair
    EXPECT_EQ(to_utf8({0xDC00, 0xD800}), r + r);
    // two highs then a low: the first is alone, the second pairs
    EXPECT_EQ(to_utf8({0xD800, 0xD800, 0xDC00}), r + "\xF0\x90\x80\x80");
    // a pair then a low: the low is alone
    EXPECT_EQ(to_utf8({0xD800, 0xDC00, 0xDC00}), "\xF0\x90\x80\x80" + r);
    // a high surrogate does not swallow the letter after it
    EXPECT_EQ(to_utf8({'a', 0xD800, 'b'}), "a" + r + "b");
}

// ---- ill-formed UTF-8 ----

struct Utf8Case {
    const char *name;
    const char *hex;
    Units expected;
};

// The expected units are what Python 3 gives for the same octets:
//   bytes.fromhex(hex).decode('utf-8', 'replace').encode('utf-16-le')
// Python's 'replace' decoder substitutes one U+FFFD per maximal subpart,
// the same practice as ours.
const Utf8Case kUtf8Cases[] = {
    {"overlong 2-octet slash", "c0af", {0xFFFD, 0xFFFD}},
    {"overlong 2-octet NUL", "c080", {0xFFFD, 0xFFFD}},
    {"C1 lead", "c1bf", {0xFFFD, 0xFFFD}},
    {"overlong 3-octet", "e080af", {0xFFFD, 0xFFFD, 0xFFFD}},
    {"overlong 3-octet at the top", "e09fbf", {0xFFFD, 0xFFFD, 0xFFFD}},
    {"overlong 4-octet", "f08080af", {0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD}},
    {"overlong 4-octet at the top", "f08fbfbf", {0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD}},
    {"high surrogate written in UTF-8", "eda080", {0xFFFD, 0xFFFD, 0xFFFD}},
    {"low surrogate written in UTF-8", "edbfbf", {0xFFFD, 0xFFFD, 0xFFFD}},
    {"pair written as two UTF-8 surrogates",
     "eda0bdedb2a9",
     {0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD}},
    {"past U+10FFFF", "f4908080", {0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD}},
    {"F5 lead", "f5808080", {0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD}},
    {"F7 lead", "f7bfbfbf", {0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD}},
    {"5-octet form", "f888808080", {0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD}},
    {"6-octet form", "fc8480808080", {0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD}},
    {"FE and FF", "fe41ff", {0xFFFD, 0x0041, 0xFFFD}},
    {"stray continuations", "80bf41", {0xFFFD, 0xFFFD, 0x0041}},
    {"continuation after ASCII", "41804142", {0x0041, 0xFFFD, 0x0041, 0x0042}},
    {"truncated 2-octet at end", "41c3", {0x0041, 0xFFFD}},
    {"truncated 3-octet at end", "41e282", {0x0041, 0xFFFD}},
    {"truncated 3-octet lead only", "e2", {0xFFFD}},
    {"truncated 4-octet at end", "41f09f98", {0x0041, 0xFFFD}},
    {"truncated 3-octet before ASCII", "e28241", {0xFFFD, 0x0041}},
    {"truncated 4-octet before ASCII", "f09f9841", {0xFFFD, 0x0041}},
    {"truncated 3-octet twice", "e282e282", {0xFFFD, 0xFFFD}},
    {"truncated 3-octet before a whole one", "e282e282ac", {0xFFFD, 0x20AC}},
    {"truncated 4-octet before a lead", "f09fc3a9", {0xFFFD, 0x00E9}},
    {"E0 followed by a low continuation", "e08041", {0xFFFD, 0xFFFD, 0x0041}},
    {"ED followed by A0 then ASCII", "eda041", {0xFFFD, 0xFFFD, 0x0041}},
    {"F4 followed by 90", "f49041", {0xFFFD, 0xFFFD, 0x0041}},
    {"F0 followed by 8F", "f08f41", {0xFFFD, 0xFFFD, 0x0041}},
    {"lead followed by a lead", "c2c2a9", {0xFFFD, 0x00A9}},
    {"too many continuations", "c3a9a9", {0x00E9, 0xFFFD}},
    {"mixed",
     "61f4908080e282ac62eda080",
     {0x0061, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0x20AC, 0x0062, 0xFFFD, 0xFFFD, 0xFFFD}},
    {"cut sequences and impossible leads, back to back",
     "c0e080f08080f8808080fc80808080dfefbff7bfbffbbfbfbffdbfbfbfbf",
     {0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD,
      0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD,
      0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD}},
    {"boundaries that are well formed",
     "c280dfbfe0a080efbfbff0908080f48fbfbfefbfbd",
     {0x0080, 0x07FF, 0x0800, 0xFFFF, 0xD800, 0xDC00, 0xDBFF, 0xDFFF, 0xFFFD}},
    {"edges next to surrogates", "ed9fbfee8080", {0xD7FF, 0xE000}},
    {"NUL inside", "410042", {0x0041, 0x0000, 0x0042}},
    {"truncations and strays between letters",
     "61f18080e180c262806380bf64",
     {0x0061, 0xFFFD, 0xFFFD, 0xFFFD, 0x0062, 0xFFFD, 0x0063, 0xFFFD, 0xFFFD, 0x0064}},
};

TEST(Unicode, IllFormedUtf8AsPythonReplaces)
{
    for (const Utf8Case &c : kUtf8Cases) {
        SCOPED_TRACE(c.name);
        std::string octets = octets_from_hex(c.hex);
        EXPECT_EQ(to_utf16(octets), c.expected);
    }
}

TEST(Unicode, IllFormedUtf8CutAnywhereReadsNoFurther)
{
    // each case cut at every length, in a buffer of exactly that length: the
    // reader must stop at count (ASan would see it go on) and a cut never
    // gives more replacements than octets
    for (const Utf8Case &c : kUtf8Cases) {
        std::string octets = octets_from_hex(c.hex);
        for (size_t n = 0; n <= octets.size(); ++n) {
            SCOPED_TRACE(std::string(c.name) + " cut at " + std::to_string(n));
            Units units = to_utf16(octets.substr(0, n));
            EXPECT_LE(units.size(), n);
        }
    }
}

TEST(Unicode, ReplacementsRoundTrip)
{
    // what comes out of ill-formed UTF-8 is well-formed UTF-16: through
    // UTF-8 and back it stays the same
    for (const Utf8Case &c : kUtf8Cases) {
        SCOPED_TRACE(c.name);
        Units units = to_utf16(octets_from_hex(c.hex));
        EXPECT_EQ(to_utf16(to_utf8(units)), units);
    }
}

// ---- lengths and writers on random input ----

TEST(Unicode, RandomInputLengthsMatchWriters)
{
    std::mt19937 random(20240611);
    for (int round = 0; round < 3000; ++round) {
        size_t n = random() % 40;
        std::string octets;
        for (size_t k = 0; k < n; ++k) {
            // mostly the octets that make UTF-8 interesting
            static const unsigned char picks[] = {0x41, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0,
                                                  0xC2, 0xDF, 0xE0, 0xE1, 0xED, 0xEF, 0xF0, 0xF4,
                                                  0xF5, 0xFF, 0x00};
            octets += static_cast<char>(random() % 3 == 0 ? random() % 256
                                                          : picks[random() % sizeof picks]);
        }
        SCOPED_TRACE(hex_of(octets));
        Units units = to_utf16(octets);
        // the result is well-formed: no surrogate without its other half
        for (size_t k = 0; k < units.size(); ++k) {
            if (units[k] >= 0xD800 && units[k] < 0xDC00) {
                ASSERT_LT(k + 1, units.size());
                ASSERT_GE(units[k + 1], 0xDC00);
                ASSERT_LT(units[k + 1], 0xE000);
                ++k;
            } else {
                ASSERT_FALSE(units[k] >= 0xDC00 && units[k] < 0xE000);
            }
        }
        EXPECT_EQ(to_utf16(to_utf8(units)), units);

        Units wide;
        for (size_t k = 0; k < n; ++k) {
            static const uint16_t picks[] = {0x41, 0xE9, 0x7FF, 0x800, 0xD7FF, 0xD800, 0xDBFF,
                                             0xDC00, 0xDFFF, 0xE000, 0xFFFD, 0xFFFF, 0};
            wide.push_back(static_cast<uint16_t>(random() % 3 == 0 ? random() % 65536
                                                                  : picks[random() % 13]));
        }
        std::string utf8 = to_utf8(wide);
        // and the UTF-8 made of any units reads back without a replacement
        // the units did not cause
        Units back = to_utf16(utf8);
        EXPECT_EQ(to_utf8(back), utf8);
    }
}

// ---- UTF-16 in pieces ----

// A text with every kind of character and every kind of bad surrogate,
// ending in a lone high surrogate.
const Units kMixed = {'a', 0x00E9, 0x20AC, 0xD83D, 0xDE00, 'b', 0xD800, 'c', 0xDC00,
                      0xDBFF, 0xDFFF, 0xD800, 0xD800, 0xDC00, 0x07FF, 0xFFFF, 0xDFFF,
                      0xD83D, 0xDE00, 0xD83D};

std::string decode_in_pieces(const Units &text, std::vector<size_t> cuts)
{
    Utf16Decoder decoder;
    std::string out;
    size_t from = 0;
    cuts.push_back(text.size());
    for (size_t to : cuts) {
        // each piece in its own exactly sized buffer
        Units piece(text.begin() + static_cast<std::ptrdiff_t>(from),
                    text.begin() + static_cast<std::ptrdiff_t>(to));
        decoder.feed_units(piece.data(), piece.size(), out);
        from = to;
    }
    decoder.finish(out);
    EXPECT_FALSE(decoder.pending());
    return out;
}

std::string as_native_octets(const Units &units)
{
    std::string out(units.size() * 2, '\0');
    std::memcpy(out.data(), units.data(), out.size());
    return out;
}

std::string decode_octets_in_pieces(const std::string &octets, std::vector<size_t> cuts)
{
    Utf16Decoder decoder;
    std::string out;
    size_t from = 0;
    cuts.push_back(octets.size());
    for (size_t to : cuts) {
        std::vector<char> piece(octets.begin() + static_cast<std::ptrdiff_t>(from),
                                octets.begin() + static_cast<std::ptrdiff_t>(to));
        decoder.feed_octets(piece.data(), piece.size(), out);
        from = to;
    }
    decoder.finish(out);
    EXPECT_FALSE(decoder.pending());
    return out;
}

TEST(Unicode, OneShotOfTheMixedText)
{
    // Python's bytes.decode('utf-16-le', 'replace') of the same units gives
    // the same text: one U+FFFD for each surrogate that is not half a pair
    const std::string r = kReplacementUtf8;
    EXPECT_EQ(to_utf8(kMixed), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80" "b" + r + "c" + r +
                                   "\xF4\x8F\xBF\xBF" + r + "\xF0\x90\x80\x80\xDF\xBF\xEF\xBF\xBF" +
                                   r + "\xF0\x9F\x98\x80" + r);
}

TEST(Unicode, UnitsCutAtEveryPlace)
{
    std::string whole = to_utf8(kMixed);
    for (size_t i = 0; i <= kMixed.size(); ++i) {
        EXPECT_EQ(decode_in_pieces(kMixed, {i}), whole) << "cut at " << i;
        for (size_t j = i; j <= kMixed.size(); ++j)
            EXPECT_EQ(decode_in_pieces(kMixed, {i, j}), whole) << "cut at " << i << ", " << j;
    }
    std::vector<size_t> every;
    for (size_t i = 0; i <= kMixed.size(); ++i)
        every.push_back(i);
    EXPECT_EQ(decode_in_pieces(kMixed, every), whole);
}

TEST(Unicode, OctetsCutAtEveryPlace)
{
    std::string octets = as_native_octets(kMixed);
    std::string whole = to_utf8(kMixed);
    for (size_t i = 0; i <= octets.size(); ++i) {
        EXPECT_EQ(decode_octets_in_pieces(octets, {i}), whole) << "cut at " << i;
        for (size_t j = i; j <= octets.size(); ++j)
            EXPECT_EQ(decode_octets_in_pieces(octets, {i, j}), whole)
                << "cut at " << i << ", " << j;
    }
    std::vector<size_t> every;
    for (size_t i = 0; i <= octets.size(); ++i)
        every.push_back(i);
    EXPECT_EQ(decode_octets_in_pieces(octets, every), whole);
}

TEST(Unicode, HalfAUnitLeftAtTheEndIsReplaced)
{
    const std::string r = kReplacementUtf8;
    std::string octets = as_native_octets({'a', 0x20AC});
    octets += 'x';
    EXPECT_EQ(decode_octets_in_pieces(octets, {}), "a\xE2\x82\xAC" + r);
    EXPECT_EQ(decode_octets_in_pieces(octets, {3}), "a\xE2\x82\xAC" + r);
    // a high surrogate and then half a unit: two pieces that are wrong
    std::string high = as_native_octets({'a', 0xD83D});
    EXPECT_EQ(decode_octets_in_pieces(high + "x", {}), "a" + r + r);
    EXPECT_EQ(decode_octets_in_pieces(high + "x", {4}), "a" + r + r);
    // one odd octet alone
    EXPECT_EQ(decode_octets_in_pieces("x", {}), r);
}

TEST(Unicode, DecoderKeepsWhatItCannotConvertYet)
{
    Utf16Decoder decoder;
    std::string out;
    const uint16_t first[] = {'a', 0xD83D};
    decoder.feed_units(first, 2, out);
    EXPECT_EQ(out, "a");
    EXPECT_TRUE(decoder.pending());
    const uint16_t second[] = {0xDE00};
    decoder.feed_units(second, 1, out);
    EXPECT_EQ(out, "a\xF0\x9F\x98\x80");
    EXPECT_FALSE(decoder.pending());
    // an empty piece changes nothing
    decoder.feed_units(first, 2, out);
    decoder.feed_units(nullptr, 0, out);
    decoder.feed_octets(nullptr, 0, out);
    EXPECT_TRUE(decoder.pending());
    decoder.finish(out);
    EXPECT_EQ(out, "a\xF0\x9F\x98\x80" "a" + kReplacementUtf8);
    // after finish the decoder starts a new text: nothing carries over
    std::string next;
    const uint16_t low[] = {0xDE00};
    decoder.feed_units(low, 1, next);
    decoder.finish(next);
    EXPECT_EQ(next, kReplacementUtf8);
}

TEST(Unicode, LongTextInOctetsAcrossBlocks)
{
    // pairs throughout, so that wherever the decoder splits a long piece
    // some pair is split; once with the pairs on even units and once on odd
    // ones, each fed whole and after an odd first octet
    for (size_t lead : {0u, 1u}) {
        Units text(lead, 'q');
        for (int k = 0; k < 3000; ++k) {
            char32_t c = 0x10000 + static_cast<char32_t>(k) * 331;
            append_reference_utf16(c, text);
            if (k % 97 == 0)
                text.push_back(0x00E9);
        }
        std::string whole = to_utf8(text);
        std::string octets = as_native_octets(text);
        EXPECT_EQ(decode_octets_in_pieces(octets, {}), whole);
        EXPECT_EQ(decode_octets_in_pieces(octets, {1}), whole);
        EXPECT_EQ(decode_octets_in_pieces(octets, {3, 1025, 2047}), whole);
        EXPECT_EQ(decode_in_pieces(text, {511, 512, 1024}), whole);
    }
}

}  // namespace
