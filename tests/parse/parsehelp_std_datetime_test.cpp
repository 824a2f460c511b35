// Tests of parsehelp_std_datetime: checked date, time and timestamp
// literals beside MakeLiteral's unchecked ones, interval literals read by
// their kind's layout, and interval kind promotion beside promote_type.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "kxsupp/parse.h"
#include "kxsupp/standard.h"
#include "kxsupp/values.h"
#include "support/kx_test_support.h"

namespace {

class ParseStdDatetime : public kxtest::MemoryFixture {
protected:
    Value *family(int32_t kind, const char *token)
    {
        std::string copy = token;
        return MakeLiteral(kind, copy.data(), handle);
    }
    Value *standard(int32_t kind, const char *token)
    {
        status = -1;
        return kxstd_make_literal(kind, token, handle, &status);
    }
    Value *interval(const char *text, int32_t kind, int32_t leading = 2, int32_t seconds = 6)
    {
        status = -1;
        return kxstd_make_interval(text, kind, leading, seconds, handle, &status);
    }
    int32_t status = -1;
};

std::string ts_text(const TimestampStruct &t)
{
    char buf[64];
    std::snprintf(buf, sizeof buf, "%04d-%02u-%02u %02u:%02u:%02u.%09u", t.year, t.month, t.day,
                  t.hour, t.minute, t.second, t.fraction);
    return buf;
}

// ---- datetime literals ----

TEST_F(ParseStdDatetime, FieldsAreCheckedBesideTheFamilysUncheckedLeaf)
{
    // family: {d '2004-02-30'} is a leaf holding 30 February
    Value *f = family(KX_LITERAL_DATE, "{d '2004-02-30'}");
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(f->payload.date.day, 30);
    EXPECT_EQ(standard(KX_LITERAL_DATE, "{d '2004-02-30'}"), nullptr);
    EXPECT_EQ(status, KXSTD_INVALID_DATETIME);

    // calendar.monthrange(Y, 2)[1] (Python): 29 in 2004, 28 in 1900
    EXPECT_NE(standard(KX_LITERAL_DATE, "'2004-02-29'"), nullptr);
    EXPECT_EQ(status, KXSTD_OK);
    EXPECT_EQ(standard(KX_LITERAL_DATE, "'1900-02-29'"), nullptr);
    EXPECT_NE(family(KX_LITERAL_DATE, "'2004-13-45'"), nullptr);
    EXPECT_EQ(standard(KX_LITERAL_DATE, "'2004-13-45'"), nullptr);
    EXPECT_NE(family(KX_LITERAL_TIME, "'25:61:61'"), nullptr);
    EXPECT_EQ(standard(KX_LITERAL_TIME, "'25:61:61'"), nullptr);
    EXPECT_EQ(status, KXSTD_INVALID_DATETIME);
    EXPECT_NE(family(KX_LITERAL_TIMESTAMP, "'2004-01-01 24:00:00'"), nullptr);
    EXPECT_EQ(standard(KX_LITERAL_TIMESTAMP, "'2004-01-01 24:00:00'"), nullptr);
}

TEST_F(ParseStdDatetime, TheFractionIsKeptBesideTheFamilysDroppedOne)
{
    Value *f = family(KX_LITERAL_TIMESTAMP, "{ts '2004-01-01 13:14:15.5'}");
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(f->payload.timestamp.fraction, 0u);
    Value *s = standard(KX_LITERAL_TIMESTAMP, "{ts '2004-01-01 13:14:15.5'}");
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(ts_text(s->payload.timestamp), "2004-01-01 13:14:15.500000000");

    s = standard(KX_LITERAL_TIMESTAMP, "'2004-01-01 13:14:15.123456789'");
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->payload.timestamp.fraction, 123456789u);
    s = standard(KX_LITERAL_TIMESTAMP, "'2004-01-01 13:14:15.000001'");
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->payload.timestamp.fraction, 1000u);
    s = standard(KX_LITERAL_TIMESTAMP, "'2004-01-01 13:14:15.'");
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->payload.timestamp.fraction, 0u);
    // a tenth digit cannot be kept
    EXPECT_EQ(standard(KX_LITERAL_TIMESTAMP, "'2004-01-01 13:14:15.1234567891'"), nullptr);
    EXPECT_EQ(status, KXSTD_INVALID_DATETIME);
    // a TIME record has no fraction to keep one in
    EXPECT_EQ(standard(KX_LITERAL_TIME, "'13:14:15.5'"), nullptr);
}

TEST_F(ParseStdDatetime, TokenShapes)
{
    const struct {
        int32_t kind;
        const char *token;
        bool parses;
    } cases[] = {
        {KX_LITERAL_DATE, "{d '2004-01-31'}", true},
        {KX_LITERAL_DATE, "DATE '2004-01-31'", true},
        {KX_LITERAL_DATE, "'2004-1-5'", true},
        {KX_LITERAL_DATE, "'0001-01-01'", true},
        {KX_LITERAL_DATE, "'9999-12-31'", true},
        {KX_LITERAL_DATE, "'{d '2004-01-31'} '", false},
        {KX_LITERAL_DATE, "'2004-01-31'x", false},
        {KX_LITERAL_DATE, "'0000-01-01'", false},
        {KX_LITERAL_DATE, "'10000-01-01'", false},
        {KX_LITERAL_DATE, "'2004-001-01'", false},
        {KX_LITERAL_DATE, "' 2004-01-31'", false},
        {KX_LITERAL_DATE, "'2004-01-31 '", false},
        {KX_LITERAL_DATE, "'-2004-01-31'", false},
        {KX_LITERAL_DATE, "'2004/01/31'", false},
        {KX_LITERAL_DATE, "'2004-01'", false},
        {KX_LITERAL_DATE, "2004-01-31", false},
        {KX_LITERAL_DATE, "'2004-01-31", false},
        {KX_LITERAL_DATE, "", false},
        {KX_LITERAL_TIME, "{t '23:59:59'}", true},
        {KX_LITERAL_TIME, "'0:0:0'", true},
        {KX_LITERAL_TIME, "'23:59:60'", false},
        {KX_LITERAL_TIME, "'10:20'", false},
        {KX_LITERAL_TIME, "'100:20:30'", false},
        {KX_LITERAL_TIMESTAMP, "{ts '2004-02-29    01:02:03'}", true},
        {KX_LITERAL_TIMESTAMP, "'2004-01-31'", false},
        {KX_LITERAL_TIMESTAMP, "'2004-01-31T10:20:30'", false},
        {KX_LITERAL_TIMESTAMP, "'2004-01-31 10:20'", false},
        {KX_LITERAL_TIMESTAMP, "'2004-01-31 10:20:30.5x'", false},
    };
    for (const auto &c : cases) {
        Value *v = standard(c.kind, c.token);
        EXPECT_EQ(v != nullptr, c.parses) << c.token;
        EXPECT_EQ(status, c.parses ? KXSTD_OK : KXSTD_INVALID_DATETIME) << c.token;
        if (v != nullptr) {
            EXPECT_EQ(v->kind, static_cast<uint32_t>(NODE_VALUE));
            EXPECT_EQ(v->mem_handle, handle);
            EXPECT_EQ(v->null_flag, 0);
        }
    }
    EXPECT_EQ(standard(KX_LITERAL_DATE, nullptr), nullptr);
    EXPECT_EQ(status, KXSTD_INVALID_DATETIME);
    // the status may be left out
    EXPECT_NE(kxstd_make_literal(KX_LITERAL_DATE, "'2004-01-31'", handle, nullptr), nullptr);
}

TEST_F(ParseStdDatetime, OtherKindsGoToMakeLiteralWithTheTextUnchanged)
{
    const char hex[] = "X'ABC'";  // an odd digit count: MakeLiteral writes into its token
    Value *v = standard(KX_LITERAL_HEX, hex);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(status, KXSTD_OK);
    EXPECT_STREQ(hex, "X'ABC'");
    ASSERT_EQ(v->type, VALUE_BINARY);
    ASSERT_EQ(v->length, 2);
    EXPECT_EQ(v->payload.bytes[0], 0x0A);
    EXPECT_EQ(v->payload.bytes[1], 0xBC);
    v = standard(KX_LITERAL_STRING, "'it''s'");
    ASSERT_NE(v, nullptr);
    EXPECT_STREQ(v->payload.text, "it''s");
    v = standard(KX_LITERAL_CURRENT_DATE, nullptr);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->type, VALUE_CURRENT_DATE);
    EXPECT_EQ(standard(KX_LITERAL_BIT, "B'7'"), nullptr);
    EXPECT_EQ(status, KXSTD_INVALID_ARGUMENT);
    EXPECT_EQ(standard(99, "'x'"), nullptr);
    EXPECT_EQ(status, KXSTD_INVALID_ARGUMENT);
}

// ---- interval literals ----

std::string iv_text(const Value *v)
{
    const IntervalStruct &i = v->payload.interval;
    char buf[96];
    const char *sign = i.interval_sign ? "-" : "";
    if (v->type == VALUE_INTERVAL_YM)
        std::snprintf(buf, sizeof buf, "%s%u-%u", sign, i.intval.year_month.year,
                      i.intval.year_month.month);
    else
        std::snprintf(buf, sizeof buf, "%s%u %u:%u:%u.%09u", sign, i.intval.day_second.day,
                      i.intval.day_second.hour, i.intval.day_second.minute,
                      i.intval.day_second.second, i.intval.day_second.fraction);
    return buf;
}

TEST_F(ParseStdDatetime, IntervalLiteralsOfEveryKind)
{
    const struct {
        const char *text;
        int32_t kind;
        const char *fields;
    } cases[] = {
        {"'3'", KX_IS_YEAR, "3-0"},
        {"'-8'", KX_IS_MONTH, "-0-8"},
        {"'+1-06'", KX_IS_YEAR_TO_MONTH, "1-6"},
        {"'1-11'", KX_IS_YEAR_TO_MONTH, "1-11"},
        {"'5'", KX_IS_DAY, "5 0:0:0.000000000"},
        {"'23'", KX_IS_HOUR, "0 23:0:0.000000000"},
        {"'90'", KX_IS_MINUTE, "0 0:90:0.000000000"},
        {"'7.25'", KX_IS_SECOND, "0 0:0:7.250000000"},
        {"'1 02'", KX_IS_DAY_TO_HOUR, "1 2:0:0.000000000"},
        {"'1 02:03'", KX_IS_DAY_TO_MINUTE, "1 2:3:0.000000000"},
        {"'-3 04:05:06.5'", KX_IS_DAY_TO_SECOND, "-3 4:5:6.500000000"},
        {"'2:30'", KX_IS_HOUR_TO_MINUTE, "0 2:30:0.000000000"},
        {"'2:30:59.999999'", KX_IS_HOUR_TO_SECOND, "0 2:30:59.999999000"},
        {"'99:59'", KX_IS_MINUTE_TO_SECOND, "0 0:99:59.000000000"},
        {"'007'", KX_IS_DAY, "7 0:0:0.000000000"},  // the value counts, not the digits
    };
    for (const auto &c : cases) {
        Value *v = interval(c.text, c.kind);
        ASSERT_NE(v, nullptr) << c.text;
        EXPECT_EQ(status, KXSTD_OK);
        EXPECT_EQ(iv_text(v), c.fields) << c.text;
        EXPECT_EQ(v->payload.interval.interval_type, c.kind);
        bool ym = c.kind == KX_IS_YEAR || c.kind == KX_IS_MONTH || c.kind == KX_IS_YEAR_TO_MONTH;
        EXPECT_EQ(v->type, ym ? VALUE_INTERVAL_YM : VALUE_INTERVAL_DS);
        EXPECT_EQ(v->attr[2], 2);
        EXPECT_EQ(v->attr[3], 6);
        EXPECT_EQ(v->kind, static_cast<uint32_t>(NODE_VALUE));
    }
}

TEST_F(ParseStdDatetime, IntervalLiteralRefusals)
{
    const struct {
        const char *text;
        int32_t kind, leading, seconds;
        int32_t status;
    } cases[] = {
        {"'99'", KX_IS_HOUR_TO_MINUTE, 2, 6, KXSTD_INVALID_DATETIME},  // no minutes
        {"'100'", KX_IS_DAY, 2, 6, KXSTD_INTERVAL_OVERFLOW},
        {"'100'", KX_IS_DAY, 3, 6, KXSTD_OK},
        {"'999999999'", KX_IS_SECOND, 9, 6, KXSTD_OK},
        {"'1000000000'", KX_IS_SECOND, 9, 6, KXSTD_INTERVAL_OVERFLOW},
        {"'99999999999999999999999'", KX_IS_DAY, 9, 6, KXSTD_INTERVAL_OVERFLOW},
        {"'1 24'", KX_IS_DAY_TO_HOUR, 2, 6, KXSTD_INVALID_DATETIME},
        {"'1-12'", KX_IS_YEAR_TO_MONTH, 2, 6, KXSTD_INVALID_DATETIME},
        {"'1:60'", KX_IS_HOUR_TO_MINUTE, 2, 6, KXSTD_INVALID_DATETIME},
        {"'1:59:60'", KX_IS_HOUR_TO_SECOND, 2, 6, KXSTD_INVALID_DATETIME},
        {"'1.1234567'", KX_IS_SECOND, 2, 6, KXSTD_INVALID_DATETIME},  // past SECOND(2, 6)
        {"'1.1234567'", KX_IS_SECOND, 2, 9, KXSTD_OK},
        {"'1.5'", KX_IS_MINUTE, 2, 6, KXSTD_INVALID_DATETIME},  // only seconds have fractions
        {"'1 2'", KX_IS_DAY, 2, 6, KXSTD_INVALID_DATETIME},
        {"' 1'", KX_IS_DAY, 2, 6, KXSTD_INVALID_DATETIME},
        {"''", KX_IS_DAY, 2, 6, KXSTD_INVALID_DATETIME},
        {"'-'", KX_IS_DAY, 2, 6, KXSTD_INVALID_DATETIME},
        {"1", KX_IS_DAY, 2, 6, KXSTD_INVALID_DATETIME},
        {"'", KX_IS_DAY, 2, 6, KXSTD_INVALID_DATETIME},
        {"'1'", 0, 2, 6, KXSTD_INVALID_ARGUMENT},
        {"'1'", 14, 2, 6, KXSTD_INVALID_ARGUMENT},
        {"'1'", KX_IS_DAY, 0, 6, KXSTD_INVALID_ARGUMENT},  // DAY(0)
        {"'1'", KX_IS_DAY, 10, 6, KXSTD_INVALID_ARGUMENT},
        {"'1'", KX_IS_SECOND, 2, 10, KXSTD_INVALID_ARGUMENT},
    };
    for (const auto &c : cases) {
        Value *v = interval(c.text, c.kind, c.leading, c.seconds);
        EXPECT_EQ(status, c.status) << c.text << " " << c.kind;
        EXPECT_EQ(v != nullptr, c.status == KXSTD_OK) << c.text;
    }
    EXPECT_EQ(interval(nullptr, KX_IS_DAY), nullptr);
    EXPECT_EQ(status, KXSTD_INVALID_ARGUMENT);
    Value *v = interval("'1 02:03:04.5'", KX_IS_DAY_TO_SECOND, 4, 1);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->attr[2], 4);
    EXPECT_EQ(v->attr[3], 1);
}

// ---- promotion ----

// The fields each kind runs over, 0 YEAR .. 5 SECOND, written out here.
struct FieldRun {
    int first, last;
};
const FieldRun kRuns[14] = {{-1, -1}, {0, 0}, {1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 5},
                       {0, 1},   {2, 3}, {2, 4}, {2, 5}, {3, 4}, {3, 5}, {4, 5}};

TEST_F(ParseStdDatetime, PromotionCoversBothKindsBesideTheFamilysTable)
{
    int32_t kind = 0;
    // family: DAY TO HOUR with DAY TO MINUTE gives DAY TO HOUR, losing minutes
    EXPECT_EQ(promote_type(KX_IS_DAY_TO_HOUR, KX_IS_DAY_TO_MINUTE), KX_IS_DAY_TO_HOUR);
    ASSERT_EQ(kxstd_promote_type(KX_IS_DAY_TO_HOUR, KX_IS_DAY_TO_MINUTE, &kind), KXSTD_OK);
    EXPECT_EQ(kind, KX_IS_DAY_TO_MINUTE);
    // family: a year-month left kind takes any right kind; DAY TO SECOND
    // answers itself for anything; DAY with YEAR has no kind (0)
    EXPECT_EQ(promote_type(KX_IS_YEAR, KX_IS_DAY), KX_IS_YEAR_TO_MONTH);
    EXPECT_EQ(promote_type(KX_IS_DAY_TO_SECOND, KX_IS_YEAR), KX_IS_DAY_TO_SECOND);
    EXPECT_EQ(promote_type(KX_IS_DAY, KX_IS_YEAR), 0);
    kind = -5;
    EXPECT_EQ(kxstd_promote_type(KX_IS_YEAR, KX_IS_DAY, &kind), KXSTD_TYPE_MISMATCH);
    EXPECT_EQ(kxstd_promote_type(KX_IS_DAY_TO_SECOND, KX_IS_YEAR, &kind), KXSTD_TYPE_MISMATCH);
    EXPECT_EQ(kxstd_promote_type(KX_IS_DAY, KX_IS_YEAR, &kind), KXSTD_TYPE_MISMATCH);
    EXPECT_EQ(kind, -5);
    EXPECT_EQ(kxstd_promote_type(0, KX_IS_YEAR, &kind), KXSTD_INVALID_ARGUMENT);
    EXPECT_EQ(kxstd_promote_type(KX_IS_DAY, 14, &kind), KXSTD_INVALID_ARGUMENT);

    // every pair: the kind whose run goes from the earlier first field to
    // the later last one, when both are of one family
    for (int32_t a = 1; a <= 13; ++a) {
        for (int32_t b = 1; b <= 13; ++b) {
            bool ym_a = kRuns[a].last <= 1, ym_b = kRuns[b].last <= 1;
            int32_t status = kxstd_promote_type(a, b, &kind);
            if (ym_a != ym_b) {
                EXPECT_EQ(status, KXSTD_TYPE_MISMATCH) << a << " " << b;
                continue;
            }
            ASSERT_EQ(status, KXSTD_OK) << a << " " << b;
            FieldRun want = {std::min(kRuns[a].first, kRuns[b].first), std::max(kRuns[a].last, kRuns[b].last)};
            EXPECT_EQ(kRuns[kind].first, want.first) << a << " " << b;
            EXPECT_EQ(kRuns[kind].last, want.last) << a << " " << b;
        }
    }
}

}  // namespace
