// Tests of kxstd_copy_nstr_bufferl beside copy_nstr_bufferl: UTF-8 decoded
// into UTF-16 code units (surrogate pairs for planes 1 to 16, U+FFFD for
// each maximal subpart of an ill-formed sequence) under the family's
// contract of counts, results and terminators, where the family widens
// each octet with sign extension.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "kxsupp/memory.h"
#include "kxsupp/standard.h"

namespace {

using Units = std::vector<uint16_t>;

constexpr uint16_t kGuard = 0xA5A5;
constexpr uint16_t kFffd = 0xFFFD;

// The copy into a buffer of room units (null for room < 0), with guard
// units after it: the units up to the terminator, the result and the count.
struct Copy {
    Units units;
    int32_t result;
    int32_t length;
    bool terminated;
    bool guard_intact;
};

template <typename Fn>
Copy copy_with(Fn fn, const char *source, int32_t room)
{
    Copy c{};
    std::vector<uint16_t> buffer(static_cast<size_t>(room > 0 ? room : 0) + 4, kGuard);
    c.length = -99;
    c.result = fn(room >= 0 ? buffer.data() : nullptr, room, &c.length, source);
    size_t i = 0;
    for (; i < static_cast<size_t>(room > 0 ? room : 0) && buffer[i] != 0; ++i)
        c.units.push_back(buffer[i]);
    c.terminated = room > 0 && i < static_cast<size_t>(room) && buffer[i] == 0;
    c.guard_intact = true;
    for (size_t g = static_cast<size_t>(room > 0 ? room : 0); g < buffer.size(); ++g)
        c.guard_intact = c.guard_intact && buffer[g] == kGuard;
    if (room == 0)
        c.guard_intact = c.guard_intact && buffer[0] == kGuard;
    return c;
}

Copy standard(const char *source, int32_t room)
{
    return copy_with(kxstd_copy_nstr_bufferl, source, room);
}

Copy family(const char *source, int32_t room)
{
    return copy_with(copy_nstr_bufferl, source, room);
}

// The UTF-8 and UTF-16 forms of a code point, written out by their
// definitions.
std::string utf8_of(uint32_t c)
{
    std::string s;
    if (c < 0x80) {
        s += static_cast<char>(c);
    } else if (c < 0x800) {
        s += static_cast<char>(0xC0 | (c >> 6));
        s += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        s += static_cast<char>(0xE0 | (c >> 12));
        s += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        s += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        s += static_cast<char>(0xF0 | (c >> 18));
        s += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        s += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        s += static_cast<char>(0x80 | (c & 0x3F));
    }
    return s;
}

Units utf16_of(uint32_t c)
{
    if (c < 0x10000)
        return {static_cast<uint16_t>(c)};
    c -= 0x10000;
    return {static_cast<uint16_t>(0xD800 + (c >> 10)), static_cast<uint16_t>(0xDC00 + (c & 0x3FF))};
}

TEST(StrfuncStd, NonAsciiIsDecodedWhereTheFamilySignExtends)
{
    // e acute: C3 A9 in UTF-8
    Copy f = family("\xC3\xA9", 8);
    Copy s = standard("\xC3\xA9", 8);
    EXPECT_EQ(f.units, (Units{0xFFC3, 0xFFA9}));
    EXPECT_EQ(f.length, 2);
    EXPECT_EQ(s.units, (Units{0x00E9}));
    EXPECT_EQ(s.length, 1);
    EXPECT_EQ(s.result, 0);
    EXPECT_TRUE(s.terminated);
    // a single octet E9 (Latin-1, not UTF-8) is ill-formed: U+FFFD
    EXPECT_EQ(family("\xE9", 8).units, (Units{0xFFE9}));
    EXPECT_EQ(standard("\xE9", 8).units, (Units{kFffd}));
}

TEST(StrfuncStd, AsciiCopiesAsTheFamilyDoes)
{
    for (const char *text : {"", "a", "hello", "ODBC 3.8 driver"})
        for (int32_t room : {-1, 0, 1, 2, 3, 5, 6, 16}) {
            Copy f = family(text, room);
            Copy s = standard(text, room);
            EXPECT_EQ(s.units, f.units) << text << " " << room;
            EXPECT_EQ(s.result, f.result) << text << " " << room;
            EXPECT_EQ(s.length, f.length) << text << " " << room;
            EXPECT_EQ(s.terminated, f.terminated) << text << " " << room;
            EXPECT_TRUE(s.guard_intact) << text << " " << room;
        }
    // a null source is the empty string
    Copy s = copy_with(kxstd_copy_nstr_bufferl, nullptr, 4);
    EXPECT_EQ(s.length, 0);
    EXPECT_EQ(s.result, 0);
    EXPECT_TRUE(s.terminated);
}

TEST(StrfuncStd, PlanesOneToSixteenBecomeSurrogatePairs)
{
    // U+1F600 (F0 9F 98 80) and U+10FFFF (F4 8F BF BF)
    Copy s = standard("\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF", 8);
    EXPECT_EQ(s.units, (Units{0xD83D, 0xDE00, 0xDBFF, 0xDFFF}));
    EXPECT_EQ(s.length, 4);
    EXPECT_EQ(s.result, 0);
}

// Every scalar value, written in UTF-8 between two letters, comes back as
// its UTF-16 form.
TEST(StrfuncStd, EveryScalarValueRoundTrips)
{
    std::vector<uint16_t> buffer(8);
    for (uint32_t c = 1; c <= 0x10FFFF; ++c) {
        if (c >= 0xD800 && c <= 0xDFFF)
            continue;
        std::string text = "a" + utf8_of(c) + "z";
        Units want = {'a'};
        for (uint16_t u : utf16_of(c))
            want.push_back(u);
        want.push_back('z');
        int32_t length = 0;
        ASSERT_EQ(kxstd_copy_nstr_bufferl(buffer.data(), 8, &length, text.c_str()), 0) << c;
        ASSERT_EQ(length, static_cast<int32_t>(want.size())) << c;
        ASSERT_EQ(Units(buffer.begin(), buffer.begin() + length), want) << std::hex << c;
        ASSERT_EQ(buffer[static_cast<size_t>(length)], 0) << c;
    }
}

// Ill-formed input: one U+FFFD per maximal subpart, the octet that broke a
// sequence off read again (the Unicode Standard's examples and Python's
// decode('utf-8', 'replace')).
TEST(StrfuncStd, IllFormedSequencesBecomeOneReplacementPerMaximalSubpart)
{
    struct Case {
        const char *octets;
        Units units;
    };
    const Case cases[] = {
        {"\x80", {kFffd}},
        {"\xBF", {kFffd}},
        {"\xC0\xAF", {kFffd, kFffd}},                  // overlong
        {"\xC1\xBF", {kFffd, kFffd}},
        {"\xE0\x80\xAF", {kFffd, kFffd, kFffd}},       // overlong
        {"\xED\xA0\x80", {kFffd, kFffd, kFffd}},       // a surrogate in UTF-8
        {"\xF4\x90\x80\x80", {kFffd, kFffd, kFffd, kFffd}},  // past U+10FFFF
        {"\xF5\x80", {kFffd, kFffd}},
        {"\xFF", {kFffd}},
        {"\xE2\x82", {kFffd}},                         // cut short by the end
        {"\xE2\x82" "a", {kFffd, 'a'}},                // cut short by a letter
        {"\xF0\x9F\x98", {kFffd}},
        {"a\xF0\x9F\x98" "b", {'a', kFffd, 'b'}},
        {"\xC3\xC3\xA9", {kFffd, 0xE9}},              // the breaking octet starts anew
        // the Unicode Standard's example of maximal subparts
        {"\x61\xF1\x80\x80\xE1\x80\xC2\x62\x80\x63\x80\xBF\x64",
         {0x61, kFffd, kFffd, kFffd, 0x62, kFffd, 0x63, kFffd, kFffd, 0x64}},
    };
    for (const Case &c : cases) {
        Copy s = standard(c.octets, 32);
        EXPECT_EQ(s.units, c.units) << c.octets;
        EXPECT_EQ(s.length, static_cast<int32_t>(c.units.size())) << c.octets;
        EXPECT_EQ(s.result, 0);
    }
}

// "a", U+1F600, "b" is four units: the cut never leaves half a pair, and
// the buffer is always terminated within its room.
TEST(StrfuncStd, ACutNeverSplitsASurrogatePair)
{
    const char *text = "a\xF0\x9F\x98\x80" "b";
    struct Case {
        int32_t room;
        Units units;
        int32_t result;
    };
    const Case cases[] = {
        {6, {'a', 0xD83D, 0xDE00, 'b'}, 0},
        {5, {'a', 0xD83D, 0xDE00, 'b'}, 0},
        {4, {'a', 0xD83D, 0xDE00}, 1},
        {3, {'a'}, 1},  // the pair does not fit whole
        {2, {'a'}, 1},
        {1, {}, 1},
    };
    for (const Case &c : cases) {
        Copy s = standard(text, c.room);
        EXPECT_EQ(s.units, c.units) << c.room;
        EXPECT_EQ(s.result, c.result) << c.room;
        EXPECT_EQ(s.length, 4) << c.room;
        EXPECT_TRUE(s.terminated) << c.room;
        EXPECT_TRUE(s.guard_intact) << c.room;
    }
    // no room, or no buffer: nothing written, the count still reported
    Copy none = standard(text, 0);
    EXPECT_EQ(none.result, 1);
    EXPECT_EQ(none.length, 4);
    EXPECT_TRUE(none.guard_intact);
    Copy null_buffer = standard(text, -1);
    EXPECT_EQ(null_buffer.length, 4);
    int32_t length = 0;
    EXPECT_EQ(kxstd_copy_nstr_bufferl(nullptr, 10, &length, text), 0);
    EXPECT_EQ(length, 4);
    EXPECT_EQ(kxstd_copy_nstr_bufferl(nullptr, 4, nullptr, text), 1);
}

}  // namespace
