// Tests of compare_values: NULL ordering, every type rule, blank-padded text
// and zero-padded binary comparison of any length.
#include <gtest/gtest.h>

#include "values/values_internal.h"

#include <climits>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

#include "kxsupp/arith.h"
#include "kxsupp/values.h"
#include "support/kx_test_support.h"

namespace {

using namespace kxtest;

Value numeric(const char *digits, int8_t scale, bool negative = false)
{
    return numeric_value(digits, scale, 20, negative);
}

Value binary(const unsigned char *octets, int32_t data_length, int32_t length)
{
    Value v = blank(VALUE_BINARY);
    v.payload.bytes = const_cast<unsigned char *>(octets);
    v.data_length = data_length;
    v.length = length;
    return v;
}

Value null_of(int32_t type)
{
    Value v = integer(5, type);
    v.null_flag = -1;
    return v;
}

int sign(int32_t r)
{
    return r > 0 ? 1 : (r < 0 ? -1 : 0);
}

struct Case {
    const char *label;
    Value left;
    Value right;
    int expected_sign;
};

void check(const std::vector<Case> &cases)
{
    for (const Case &c : cases)
        EXPECT_EQ(sign(compare_values(&c.left, &c.right)), c.expected_sign) << c.label;
}

TEST(CompareValues, NullSortsFirstAndEqualsNull)
{
    check({
        {"NULL = NULL", null_of(VALUE_INTEGER), null_of(VALUE_STRING), 0},
        {"NULL < 5", null_of(VALUE_INTEGER), integer(5), -1},
        {"5 > NULL", integer(5), null_of(VALUE_INTEGER), 1},
        {"any nonzero flag is NULL", [] { Value v = integer(1); v.null_flag = 7; return v; }(),
         integer(-100), -1},
        {"NULL text < text", null_of(VALUE_STRING), text("a"), -1},
    });
}

TEST(CompareValues, MissingValuesSortAsNull)
{
    Value five = integer(5);
    Value null = null_of(VALUE_INTEGER);
    EXPECT_EQ(compare_values(nullptr, nullptr), 0);
    EXPECT_LT(compare_values(nullptr, &five), 0);
    EXPECT_GT(compare_values(&five, nullptr), 0);
    EXPECT_EQ(compare_values(nullptr, &null), 0);
    EXPECT_EQ(compare_values(&null, nullptr), 0);
}

TEST(CompareValues, IntegerAndBit)
{
    Value twelve = integer(12);
    Value five = integer(5);
    EXPECT_EQ(compare_values(&twelve, &five), 7);  // the difference itself
    EXPECT_EQ(compare_values(&five, &twelve), -7);
    check({
        {"integer vs text by atoi", integer(12), text("12"), 0},
        {"integer vs text with junk", integer(12), text("  12abc"), 0},
        {"integer vs double truncated", integer(2), dbl(2.9), 0},
        {"integer vs bigint low word", integer(1), bigint(4294967297LL), 0},
        {"integer vs numeric", integer(3), numeric("375", 2), 0},
        {"bit", integer(1, VALUE_BIT), integer(0), 1},
        {"bit equal", integer(0, VALUE_BIT), integer(0, VALUE_BIT), 0},
        // A difference that overflows 32 bits has the wrong sign, as designed.
        {"INT_MIN - 1 wraps", integer(INT32_MIN), integer(1), 1},
        {"INT_MAX - (-1) wraps", integer(INT32_MAX), integer(-1), -1},
    });
    Value min = integer(INT32_MIN);
    Value one = integer(1);
    EXPECT_EQ(compare_values(&min, &one), INT32_MAX);
}

TEST(CompareValues, BigintComparesLowWordsOnly)
{
    check({
        {"4294967296 vs 0", bigint(4294967296LL), bigint(0), 0},
        {"5 vs 3", bigint(5), bigint(3), 1},
        {"-1 vs 0: low words 0xFFFFFFFF - 0", bigint(-1), bigint(0), -1},
        {"vs integer", bigint(7), integer(7), 0},
        {"vs text", bigint(8589934593LL), text("1"), 0},
    });
    Value a = bigint(10);
    Value b = bigint(4);
    EXPECT_EQ(compare_values(&a, &b), 6);
}

TEST(CompareValues, DoubleAndNumeric)
{
    check({
        {"1.5 < 2", dbl(1.5), dbl(2.0), -1},
        {"2.5 > 2", dbl(2.5), integer(2), 1},
        {"1.5 = '1.5'", dbl(1.5), text("1.5"), 0},
        {"NaN gives 0", dbl(std::nan("")), dbl(1.0), 0},
        {"numeric 150 > 1.5", numeric("150", 0), numeric("15", 1), 1},
        {"numeric 1.50 (scale 2) = 1.5 (scale 1)", numeric("150", 2), numeric("15", 1), 0},
        {"numeric +0 vs -0 uses numeric_compare", numeric("0", 0), numeric("0", 0, true), 1},
        {"numeric vs double uses the double rule", numeric("15", 1), dbl(1.5), 0},
        {"numeric +0 vs double -0.0 is equal", numeric("0", 0), dbl(-0.0), 0},
        {"numeric vs integer", numeric("25", 1), integer(3), -1},
        {"numeric vs text", numeric("25", 1), text("2.5"), 0},
    });
    Value a = dbl(10.0);
    Value b = dbl(1.0);
    EXPECT_EQ(compare_values(&a, &b), 1);  // -1, 0 or 1, not the difference
}

TEST(CompareValues, TextAgainstText)
{
    check({
        {"'abc'(3) = 'abc  '(5)", text("abc"), text("abc  "), 0},
        {"'abc'(3) < 'abd'(5)", text("abc"), text("abd", 5), -1},
        {"'abc  '(5) = 'abc'(3)", text("abc  "), text("abc"), 0},
        {"equal lengths: plain strcmp", text("abc"), text("abd"), -1},
        {"case-sensitive", text("ABC"), text("abc"), -1},
        {"octet-wise, high octets after", text("\xe9"), text("z"), 1},
        {"equal lengths, trailing blank matters", text("ab "), text("abc"), -1},
        // Padding is with blanks: a character below the blank sorts first.
        {"'abc'(3) > 'abc\\x01'(5)", text("abc"), text("abc\x01", 5), 1},
        {"'abc\\t'(4) < 'abc'(3)", text("abc\t"), text("abc"), -1},
        {"'ab'(2) < 'abc'(4)", text("ab"), text("abc", 4), -1},
        {"empty(0) = blanks(3)", text(""), text("   "), 0},
        {"empty(0) < 'a'(1)", text(""), text("a", 1), -1},
        // A text longer than both length fields is taken whole.
        {"'abcd'(2) > 'abc'(3)", text("abcd", 2), text("abc", 3), 1},
    });
}

// A string value without its text reads as the empty text, padded or not.
TEST(CompareValues, MissingTextReadsAsEmpty)
{
    auto missing = [](int32_t length) {
        Value v = text("", length);
        v.payload.text = nullptr;
        return v;
    };
    check({
        {"missing(3) = blanks(5)", missing(3), text("     "), 0},
        {"blanks(5) = missing(3)", text("     "), missing(3), 0},
        {"missing(3) < 'a'(5)", missing(3), text("a", 5), -1},
        {"'a'(5) > missing(3)", text("a", 5), missing(3), 1},
        {"missing(3) > '\\x01'(5)", missing(3), text("\x01", 5), 1},
        {"missing(2) = missing(4)", missing(2), missing(4), 0},
        {"equal lengths: missing(3) < 'a'(3)", missing(3), text("a", 3), -1},
        {"equal lengths: missing(3) = ''(3)", missing(3), text("", 3), 0},
    });
}

// Texts in blocks of exactly their size, compared blank-padded to lengths
// of 1024 and beyond: nothing is read past a terminator.
TEST(CompareValues, PaddedTextsAroundTheOldBufferSize)
{
    for (int32_t declared : {1023, 1024, 1025, 4096}) {
        std::vector<char> shorter(4, 'a');
        shorter[3] = '\0';  // "aaa"
        std::vector<char> longer(static_cast<size_t>(declared) + 1, ' ');
        longer[0] = longer[1] = longer[2] = 'a';
        longer[static_cast<size_t>(declared)] = '\0';
        Value left = text(shorter.data(), 3);
        Value right = text(longer.data(), declared);
        EXPECT_EQ(compare_values(&left, &right), 0) << declared;
        EXPECT_EQ(compare_values(&right, &left), 0) << declared;
        longer[static_cast<size_t>(declared) - 1] = '\t';  // below the blank
        EXPECT_GT(compare_values(&left, &right), 0) << declared;
        EXPECT_LT(compare_values(&right, &left), 0) << declared;
    }
}

TEST(CompareValues, TextOfAnyLengthNeedsNoFixedBuffer)
{
    std::string base(5000, 'x');
    std::string padded = base + std::string(3000, ' ');
    std::string more = base + "y";
    std::string less = base.substr(0, 4999) + "a";
    check({
        {"5000 = 5000 + 3000 blanks", text(base.c_str()), text(padded.c_str()), 0},
        {"5000 + blanks = 5000", text(padded.c_str()), text(base.c_str()), 0},
        {"5000 < 5001", text(base.c_str()), text(more.c_str()), -1},
        {"differs at 4999", text(less.c_str()), text(padded.c_str()), -1},
        {"padded to 20000 declared", text(base.c_str(), 20000), text(padded.c_str()), 0},
    });
}

TEST(CompareValues, TextAgainstOtherTypesComparesRenderings)
{
    Value date = blank(VALUE_DATE);
    date.payload.date = {2004, 1, 31};
    const unsigned char octets[] = {0x00, 0xFF};
    check({
        {"'9' after 10", text("9"), integer(10), 1},
        {"'10' = 10", text("10"), integer(10), 0},
        {"'10 ' > 10 (no padding)", text("10 "), integer(10), 1},
        {"'2' = 2.0", text("2"), dbl(2.0), 0},
        {"'1.5' = 1.5", text("1.5"), dbl(1.5), 0},
        {"'-3' = bigint -3", text("-3"), bigint(-3), 0},
        {"numeric text", text("1.5"), numeric("150", 2), 0},
        {"date literal", text("{d'2004-01-31'}"), date, 0},
        {"binary B'0FF'", text("B'0FF'"), binary(octets, 2, 2), 0},
        {"binary prefix", text("B'0F"), binary(octets, 2, 2), -1},
        {"binary longer text", text("B'0FF'x"), binary(octets, 2, 2), 1},
        {"binary digit differs", text("B'0FE'"), binary(octets, 2, 2), -1},
        {"empty binary B''", text("B''"), binary(octets, 0, 0), 0},
    });
}

TEST(CompareValues, LongBinaryRenderingNeedsNoFixedBuffer)
{
    std::vector<unsigned char> octets(3000, 0xAB);
    std::string rendering = "B'";
    for (int i = 0; i < 3000; ++i)
        rendering += "AB";
    std::string bigger = rendering + "'";
    bigger[5000] = 'C';
    rendering += "'";
    Value right = binary(octets.data(), 3000, 3000);
    Value same = text(rendering.c_str());
    Value after = text(bigger.c_str());
    EXPECT_EQ(compare_values(&same, &right), 0);
    EXPECT_GT(compare_values(&after, &right), 0);
}

TEST(CompareValues, Binaries)
{
    const unsigned char a[] = {1, 2, 3, 4};
    const unsigned char b[] = {1, 2, 0, 0};
    const unsigned char c[] = {1, 2, 3, 5};
    const unsigned char d[] = {1, 2};
    const unsigned char e[] = {1, 3};
    check({
        {"equal data lengths: memcmp", binary(a, 4, 4), binary(c, 4, 4), -1},
        {"equal", binary(a, 4, 4), binary(a, 4, 8), 0},
        {"{1,2} zero-padded = {1,2,0,0}", binary(d, 2, 2), binary(b, 4, 4), 0},
        {"{1,2,0,0} = {1,2} padded", binary(b, 4, 4), binary(d, 2, 2), 0},
        {"{1,2} < {1,2,3,4}", binary(d, 2, 2), binary(a, 4, 4), -1},
        {"{1,3} > {1,2,3,4}", binary(e, 2, 2), binary(a, 4, 4), 1},
        // Padded to the declared length of the value holding more data: only
        // the first 2 octets take part here.
        {"declared 2 of 4 held", binary(a, 4, 2), binary(d, 2, 2), 0},
        {"memcmp is unsigned", binary(reinterpret_cast<const unsigned char *>("\xff"), 1, 1),
         binary(d, 2, 2), 1},
    });
}

TEST(CompareValues, LongBinariesNeedNoFixedBuffer)
{
    std::vector<unsigned char> a(5000, 7);
    std::vector<unsigned char> b(6000, 7);
    Value left = binary(a.data(), 5000, 5000);
    Value right = binary(b.data(), 6000, 6000);
    EXPECT_LT(compare_values(&left, &right), 0);  // 5000 zeros after: 0 < 7
    std::fill(b.begin() + 5000, b.end(), 0);
    EXPECT_EQ(compare_values(&left, &right), 0);
    EXPECT_EQ(compare_values(&right, &left), 0);
}

TEST(CompareValues, DatesTimesTimestamps)
{
    Value d1 = date(2004, 1, 31);
    Value d2 = date(2004, 2, 1);
    Value t1 = time_of_day(10, 20, 30);
    Value t2 = time_of_day(10, 20, 29);
    Value s1 = timestamp(2004, 1, 31, 10, 0, 0, 5);
    Value s2 = s1;
    s2.payload.timestamp.fraction = 6;
    // The right payload is read as the left's type, whatever its type code.
    Value disguised = d2;
    disguised.type = VALUE_INTEGER;
    check({
        {"date <", d1, d2, -1},
        {"date =", d1, d1, 0},
        {"date >", d2, d1, 1},
        {"time >", t1, t2, 1},
        {"timestamp fraction", s1, s2, -1},
        {"timestamp =", s2, s2, 0},
        {"right read as a date", d1, disguised, -1},
    });
}

TEST(CompareValues, Intervals)
{
    Value day = blank(VALUE_INTERVAL_DS);
    day.payload.interval.interval_type = KX_IS_DAY;
    day.payload.interval.intval.day_second.day = 1;
    Value hours = blank(VALUE_INTERVAL_DS);
    hours.payload.interval.interval_type = KX_IS_HOUR;
    hours.payload.interval.intval.day_second.hour = 24;
    Value hours25 = hours;
    hours25.payload.interval.intval.day_second.hour = 25;
    Value year = blank(VALUE_INTERVAL_YM);
    year.payload.interval.interval_type = KX_IS_YEAR;
    year.payload.interval.intval.year_month.year = 1;
    Value months = blank(VALUE_INTERVAL_YM);
    months.payload.interval.interval_type = KX_IS_MONTH;
    months.payload.interval.intval.year_month.month = 13;
    check({
        {"1 DAY = 24 HOUR", day, hours, 0},
        {"1 DAY < 25 HOUR", day, hours25, -1},
        {"1 YEAR < 13 MONTH", year, months, -1},
    });
}

TEST(CompareValues, TypesWithoutARuleGiveZero)
{
    Value long_string = blank(VALUE_LONG_STRING);
    Value long_binary = blank(VALUE_LONG_BINARY);
    check({
        {"long string", long_string, integer(5), 0},
        {"long string vs text", long_string, text("zzz"), 0},
        {"long binary", long_binary, integer(-5), 0},
        {"NULL literal", blank(VALUE_NULL), integer(1), 0},
        {"CURRENT DATE", blank(VALUE_CURRENT_DATE), integer(1), 0},
        {"USER", blank(VALUE_USER), text("x"), 0},
        {"CURRENT TIME", blank(VALUE_CURRENT_TIME), integer(1), 0},
        {"CURRENT TIMESTAMP", blank(VALUE_CURRENT_TIMESTAMP), integer(1), 0},
        {"unknown code 6", blank(6), integer(1), 0},
        {"unknown code 99", blank(99), integer(1), 0},
    });
}

// Blank-padded comparison of texts placed so that each ends at the very end
// of a readable page (the next page is inaccessible), or starts a page, at
// every length up to 70: the result's sign is that of strcmp over the two
// texts padded with blanks to the longer declared length, and reading never
// strays into the inaccessible page.
class GuardedTexts {
public:
    GuardedTexts()
    {
        long page = sysconf(_SC_PAGESIZE);
        page_ = static_cast<size_t>(page);
        base_ = static_cast<char *>(mmap(nullptr, 4 * page_, PROT_READ | PROT_WRITE,
                                         MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        // Pages 0 and 2 readable, 1 and 3 not.
        mprotect(base_ + page_, page_, PROT_NONE);
        mprotect(base_ + 3 * page_, page_, PROT_NONE);
    }
    ~GuardedTexts() { munmap(base_, 4 * page_); }
    bool ok() const { return base_ != MAP_FAILED; }
    // The text copied so that its terminator is the last readable octet
    // (slot 0 or 1), or so that it starts at a page boundary (slot 2, 3).
    char *place(const std::string &t, int slot)
    {
        char *page = base_ + (slot % 2 == 0 ? 0 : 2 * page_);
        char *at = slot < 2 ? page + page_ - (t.size() + 1) : page;
        std::memcpy(at, t.c_str(), t.size() + 1);
        return at;
    }

private:
    size_t page_ = 0;
    char *base_ = nullptr;
};

int padded_sign(const std::string &a, int32_t la, const std::string &b, int32_t lb)
{
    if (la == lb)
        return sign(std::strcmp(a.c_str(), b.c_str()));
    size_t n = static_cast<size_t>(la > lb ? la : lb);
    std::string pa = a.size() < n ? a + std::string(n - a.size(), ' ') : a;
    std::string pb = b.size() < n ? b + std::string(n - b.size(), ' ') : b;
    return sign(std::strcmp(pa.c_str(), pb.c_str()));
}

// Every walk of the comparison (octet by octet, narrow blocks, wide and
// widest blocks where the processor has them, and the one chosen by
// default) over texts
// at page edges: texts of every length up to 70 against the same with
// blanks, a character below or above the blank, a high octet, one octet
// changed or cut off, and blank runs that reach past a block or a page.
class PaddedTextWalks : public ::testing::TestWithParam<kx::TextWalk> {
protected:
    void SetUp() override
    {
        if (!kx::use_text_walk(GetParam()))
            GTEST_SKIP() << "this processor or build has no such walk";
    }
    void TearDown() override { kx::use_text_walk(kx::TextWalk::kChosen); }
};

TEST_P(PaddedTextWalks, AtPageEdgesOfEveryLength)
{
    GuardedTexts guard;
    ASSERT_TRUE(guard.ok());
    const std::string stem = "customer-name-0123456789-abcdefghijklmnopqrstuvwxyz-0123456789";
    int checked = 0;
    for (size_t length = 0; length <= 70; length++) {
        std::string base;
        for (size_t i = 0; i < length; i++)
            base += stem[i % stem.size()];
        std::vector<std::string> others = {base, base + "   ", base + "  x", base + " \x01",
                                           base + "\x7f", base + "\xe9",
                                           base + std::string(70, ' '),
                                           base + std::string(70, ' ') + "!",
                                           base + std::string(33, ' ') + "\x1f"};
        if (length > 0) {
            std::string changed = base;
            changed[length - 1] = 'A';
            others.push_back(changed);
            others.push_back(base.substr(0, length - 1));
            others.push_back(base.substr(0, length - 1) + "   ");
        }
        for (const std::string &other : others)
            for (int slot_a = 0; slot_a < 4; slot_a += 2)
                for (int slot_b = 1; slot_b < 4; slot_b += 2)
                    for (int32_t extra : {0, 3, 20, 80}) {
                        int32_t la = static_cast<int32_t>(base.size());
                        int32_t lb = static_cast<int32_t>(other.size()) + extra;
                        Value left = text(guard.place(base, slot_a), la);
                        Value right = text(guard.place(other, slot_b), lb);
                        int expected = padded_sign(base, la, other, lb);
                        ASSERT_EQ(sign(compare_values(&left, &right)), expected)
                            << "\"" << base << "\" vs \"" << other << "\" " << la << "/" << lb;
                        ASSERT_EQ(sign(compare_values(&right, &left)), -expected)
                            << "\"" << other << "\" vs \"" << base << "\"";
                        checked++;
                    }
    }
    EXPECT_GT(checked, 10000);
}

// A text copied into pages of its own (mapped, so that a block read past
// its terminator stays within memory every checker counts as readable).
class MappedText {
public:
    explicit MappedText(const std::string &text)
    {
        size_ = (text.size() + 1 + 4095) / 4096 * 4096;
        data_ = static_cast<char *>(mmap(nullptr, size_, PROT_READ | PROT_WRITE,
                                         MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        if (data_ != MAP_FAILED)
            std::memcpy(data_, text.c_str(), text.size() + 1);
    }
    ~MappedText()
    {
        if (data_ != MAP_FAILED)
            munmap(data_, size_);
    }
    MappedText(const MappedText &) = delete;
    MappedText &operator=(const MappedText &) = delete;
    bool ok() const { return data_ != MAP_FAILED; }
    const char *c_str() const { return data_; }

private:
    size_t size_ = 0;
    char *data_ = nullptr;
};

// Long texts that part, or end in blanks, far beyond the first blocks.
TEST_P(PaddedTextWalks, LongTexts)
{
    std::string base(5000, 'q');
    for (size_t i = 0; i < base.size(); i += 7)
        base[i] = static_cast<char>('a' + i % 26);
    std::string blanks = base + std::string(3000, ' ');
    std::string late = base;
    late[4999] = 'A';
    std::string trailing = blanks + "!";
    struct Case {
        const std::string *a;
        int32_t la;
        const std::string *b;
        int32_t lb;
        int expected;
    } cases[] = {
        {&base, 5000, &blanks, 8000, 0},
        {&blanks, 8000, &base, 5000, 0},
        {&base, 5000, &late, 6000, 1},
        {&late, 6000, &base, 5000, -1},
        {&base, 5000, &trailing, 8001, -1},
        {&trailing, 8001, &base, 5000, 1},
        // Blanks past the longer declared length meet the end of the text.
        {&base, 5000, &blanks, 6000, -1},
    };
    for (const Case &c : cases) {
        MappedText a(*c.a);
        MappedText b(*c.b);
        ASSERT_TRUE(a.ok() && b.ok());
        Value left = text(a.c_str(), c.la);
        Value right = text(b.c_str(), c.lb);
        EXPECT_EQ(sign(compare_values(&left, &right)), c.expected)
            << c.a->size() << "/" << c.la << " vs " << c.b->size() << "/" << c.lb;
        EXPECT_EQ(c.expected, padded_sign(*c.a, c.la, *c.b, c.lb));
    }
}

std::string walk_name(const ::testing::TestParamInfo<kx::TextWalk> &info)
{
    switch (info.param) {
    case kx::TextWalk::kOctets:
        return "Octets";
    case kx::TextWalk::kNarrowBlocks:
        return "NarrowBlocks";
    case kx::TextWalk::kWideBlocks:
        return "WideBlocks";
    case kx::TextWalk::kWidestBlocks:
        return "WidestBlocks";
    default:
        return "Chosen";
    }
}

INSTANTIATE_TEST_SUITE_P(EveryWalk, PaddedTextWalks,
                         ::testing::Values(kx::TextWalk::kOctets, kx::TextWalk::kNarrowBlocks,
                                           kx::TextWalk::kWideBlocks,
                                           kx::TextWalk::kWidestBlocks, kx::TextWalk::kChosen),
                         walk_name);

}  // namespace
