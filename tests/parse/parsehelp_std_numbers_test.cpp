// Tests of the standard exact numeric literal kxstd_make_numeric
// (parse/parsehelp_std_numbers.cpp) beside the family's MakeNumeric on the
// same digits: every literal exact, its digit count as precision and the fraction's scale in
// the record and in attr[0] and attr[1], more than 38 digits refused, and
// memory running out.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>

#include "kxsupp/arith.h"
#include "kxsupp/memory.h"
#include "kxsupp/parse.h"
#include "kxsupp/standard.h"
#include "kxsupp/values.h"
#include "support/kx_failing_alloc.h"
#include "support/kx_test_support.h"

namespace {

using kxtest::decimal;
using kxtest::magnitude_of;

class StdMakeNumeric : public kxtest::MemoryFixture {
protected:
    Value *make(const char *integer_digits, const char *fraction_digits, int32_t expected_status)
    {
        int32_t status = -1;
        Value *v = kxstd_make_numeric(integer_digits, fraction_digits, handle, &status);
        EXPECT_EQ(status, expected_status);
        return v;
    }
};

// The digits of a numeric leaf and its scale, as "digits/scale".
std::string digits_and_scale(const Value *v)
{
    return decimal(magnitude_of(v->payload.numeric)) + "/" +
           std::to_string(v->payload.numeric.scale);
}

TEST_F(StdMakeNumeric, ShortLiteralsStayExact)
{
    // 0.1 and 0.2: the family makes doubles, whose sum is 0.30000000000000004
    // (Python: 0.1 + 0.2), not 0.3
    Value *f1 = MakeNumeric("0", "1", handle);
    Value *f2 = MakeNumeric("0", "2", handle);
    Value *f3 = MakeNumeric("0", "3", handle);
    ASSERT_NE(f1, nullptr);
    ASSERT_NE(f2, nullptr);
    ASSERT_NE(f3, nullptr);
    EXPECT_EQ(f1->type, VALUE_DOUBLE);
    EXPECT_NE(f1->payload.dbl + f2->payload.dbl, f3->payload.dbl);

    Value *s1 = make("0", "1", KXSTD_OK);
    Value *s2 = make("0", "2", KXSTD_OK);
    Value *s3 = make("0", "3", KXSTD_OK);
    ASSERT_NE(s1, nullptr);
    ASSERT_NE(s2, nullptr);
    ASSERT_NE(s3, nullptr);
    EXPECT_EQ(s1->type, VALUE_NUMERIC);
    EXPECT_EQ(s1->null_flag, 0);
    EXPECT_EQ(s1->kind, static_cast<uint32_t>(NODE_VALUE));
    EXPECT_EQ(s1->attr[0], 2);
    EXPECT_EQ(s1->attr[1], 1);
    EXPECT_EQ(s1->payload.numeric.precision, 2);
    EXPECT_EQ(digits_and_scale(s1), "1/1");
    Value sum = kxtest::blank();
    kxstd_numeric_operation(s1, s2, &sum, nullptr, KX_OP_ADD);
    ASSERT_EQ(sum.type, VALUE_NUMERIC);
    EXPECT_EQ(digits_and_scale(&sum), "3/1");
    Value equal = kxtest::blank();
    kxstd_numeric_operation(&sum, s3, &equal, nullptr, KX_OP_EQUAL);
    EXPECT_EQ(get_trivalue_from_value(&equal), 1);
}

TEST_F(StdMakeNumeric, EveryLiteralIsANumeric)
{
    struct Case {
        const char *integer_digits;
        const char *fraction_digits;
        int32_t family_type;
        const char *standard;   // digits/scale
        int32_t precision;      // the digits written
    } cases[] = {
        {"5", nullptr, VALUE_INTEGER, "5/0", 1},
        {"123456", "", VALUE_DOUBLE, "123456/0", 6},     // "123456."
        {nullptr, "5", VALUE_DOUBLE, "5/1", 1},           // ".5"
        {"0", "000", VALUE_DOUBLE, "0/3", 4},
        {"007", "50", VALUE_DOUBLE, "750/2", 5},
        {"1234567", "89", VALUE_NUMERIC, "123456789/2", 9},
        {"1", "0000000", VALUE_NUMERIC, "10000000/7", 8},
        {"0000000000000000000000000000000000000001", "5", VALUE_NUMERIC, "15/1", 38},
    };
    for (const Case &c : cases) {
        Value *f = MakeNumeric(c.integer_digits, c.fraction_digits, handle);
        ASSERT_NE(f, nullptr);
        EXPECT_EQ(f->type, c.family_type) << c.standard;
        Value *s = make(c.integer_digits, c.fraction_digits, KXSTD_OK);
        ASSERT_NE(s, nullptr) << c.standard;
        EXPECT_EQ(s->type, VALUE_NUMERIC);
        EXPECT_EQ(digits_and_scale(s), c.standard);
        EXPECT_EQ(s->attr[0], c.precision) << c.standard;
        EXPECT_EQ(s->payload.numeric.precision, c.precision) << c.standard;
        EXPECT_EQ(s->attr[1], s->payload.numeric.scale);
        EXPECT_EQ(s->payload.numeric.sign, 1);
    }
    // the family's numerics declare the digit count plus 2 as precision
    Value *f = MakeNumeric("1234567", "89", handle);
    EXPECT_EQ(f->attr[0], 11);
    EXPECT_EQ(f->attr[1], 2);
}

TEST_F(StdMakeNumeric, ThirtyEightDigitsAndNoMore)
{
    const std::string nines38(38, '9');
    const std::string nines39(39, '9');
    Value *s = make(nines38.c_str(), nullptr, KXSTD_OK);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(digits_and_scale(s), nines38 + "/0");
    Value *frac = make("0", nines38.c_str(), KXSTD_OK);
    ASSERT_NE(frac, nullptr);
    EXPECT_EQ(digits_and_scale(frac), nines38 + "/38");
    Value *mixed = make(std::string(20, '1').c_str(), std::string(18, '2').c_str(), KXSTD_OK);
    ASSERT_NE(mixed, nullptr);
    EXPECT_EQ(digits_and_scale(mixed), std::string(20, '1') + std::string(18, '2') + "/18");

    // 39 nines pass 2**128 - 1: the family still makes a leaf, holding
    // something else
    Value *f = MakeNumeric(nines39.c_str(), nullptr, handle);
    ASSERT_NE(f, nullptr);
    EXPECT_NE(decimal(magnitude_of(f->payload.numeric)), nines39);
    EXPECT_EQ(make(nines39.c_str(), nullptr, KXSTD_NUMERIC_OUT_OF_RANGE), nullptr);
    EXPECT_EQ(make("1", nines38.c_str(), KXSTD_NUMERIC_OUT_OF_RANGE), nullptr);
    EXPECT_EQ(make("0", (std::string(38, '0') + "1").c_str(), KXSTD_NUMERIC_OUT_OF_RANGE),
              nullptr);
    // leading zeros are no digits of the number; trailing fraction zeros
    // go as far as 38 digits need (the same number)
    Value *lead = make((std::string(50, '0') + "42").c_str(), "5", KXSTD_OK);
    ASSERT_NE(lead, nullptr);
    EXPECT_EQ(digits_and_scale(lead), "425/1");
    Value *trail = make("12", (std::string("5") + std::string(45, '0')).c_str(), KXSTD_OK);
    ASSERT_NE(trail, nullptr);
    EXPECT_EQ(digits_and_scale(trail), "125" + std::string(35, '0') + "/36");
}

TEST_F(StdMakeNumeric, WhatIsNoLiteral)
{
    // both parts missing: the family makes a leaf of type 0
    Value *f = MakeNumeric(nullptr, nullptr, handle);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(f->type, 0);
    EXPECT_EQ(make(nullptr, nullptr, KXSTD_INVALID_NUMBER), nullptr);
    EXPECT_EQ(make("", "", KXSTD_INVALID_NUMBER), nullptr);
    EXPECT_EQ(make("12a", nullptr, KXSTD_INVALID_NUMBER), nullptr);
    EXPECT_EQ(make("1", "-5", KXSTD_INVALID_NUMBER), nullptr);
    EXPECT_EQ(make(" 1", nullptr, KXSTD_INVALID_NUMBER), nullptr);
    // the status pointer may be null
    EXPECT_NE(kxstd_make_numeric("1", "5", handle, nullptr), nullptr);
    EXPECT_EQ(kxstd_make_numeric("x", "5", handle, nullptr), nullptr);
}

TEST(StdMakeNumericAlloc, MemoryRunningOutGivesNullAndTheStatus)
{
    // in a thread of its own, so that only its requests fail
    std::thread([] {
        MemHandle *handle = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(handle, nullptr);
        int not_made = 0;
        for (long n = 0;; n++) {
            kxtest::fail_request_after(n);
            int32_t status = -1;
            Value *leaf = kxstd_make_numeric("12", "34", handle, &status);
            bool failed = kxtest::stop_failing();
            if (leaf == nullptr) {
                EXPECT_TRUE(failed);
                EXPECT_EQ(status, KXSTD_NO_MEMORY);
                not_made++;
                continue;
            }
            EXPECT_EQ(status, KXSTD_OK);
            EXPECT_EQ(leaf->type, VALUE_NUMERIC);
            EXPECT_EQ(digits_and_scale(leaf), "1234/2");
            if (!failed)
                break;
        }
        EXPECT_GE(not_made, 1);
        kx_mem_release_handle(handle);
    }).join();
}

}  // namespace

// Every literal of up to 25 digits on each side of the point, read both by
// kxstd_make_numeric and by the general decimal reading of
// kxstd_text_to_numeric: the same magnitude, sign and scale, whichever way
// the literal was read (literals of up to 19 digits are read in 64 bits).
TEST_F(StdMakeNumeric, EveryLengthReadsAsTheGeneralReadingDoes)
{
    uint64_t seed = 20041;
    auto next_digit = [&seed] {
        seed = seed * 6364136223846793005u + 1442695040888963407u;
        return static_cast<char>('0' + (seed >> 33) % 10);
    };
    for (int integer_length = 0; integer_length <= 25; ++integer_length) {
        for (int fraction_length = 0; fraction_length <= 25; ++fraction_length) {
            if (integer_length + fraction_length == 0 || integer_length + fraction_length > 38)
                continue;
            for (int round = 0; round < 8; ++round) {
                std::string integer, fraction;
                for (int k = 0; k < integer_length; ++k)
                    integer += round == 0 ? '9' : round == 1 ? '0' : next_digit();
                for (int k = 0; k < fraction_length; ++k)
                    fraction += round == 0 ? '9' : round == 1 ? '0' : next_digit();
                std::string text = integer + "." + fraction;
                SCOPED_TRACE(text);
                int32_t status = -1;
                Value *v = kxstd_make_numeric(integer.c_str(), fraction.c_str(), handle, &status);
                ASSERT_EQ(status, KXSTD_OK);
                ASSERT_NE(v, nullptr);
                NumericStruct expected{};
                ASSERT_EQ(kxstd_text_to_numeric(text.c_str(), &expected), KXSTD_OK);
                EXPECT_EQ(v->payload.numeric.scale, expected.scale);
                EXPECT_EQ(v->payload.numeric.sign, expected.sign);
                EXPECT_EQ(std::memcmp(v->payload.numeric.val, expected.val, sizeof expected.val), 0);
                int written = integer_length + fraction_length;
                EXPECT_EQ(v->attr[0], std::max(std::min(written, 38), static_cast<int>(expected.scale)));
                EXPECT_EQ(v->attr[1], expected.scale);
            }
        }
    }
    // a letter anywhere in the first twenty digits is no literal either way
    int32_t status = 0;
    EXPECT_EQ(kxstd_make_numeric("12a", "5", handle, &status), nullptr);
    EXPECT_EQ(status, KXSTD_INVALID_NUMBER);
    EXPECT_EQ(kxstd_make_numeric("12", "5x", handle, &status), nullptr);
    EXPECT_EQ(status, KXSTD_INVALID_NUMBER);
    EXPECT_EQ(kxstd_make_numeric("12345678901234567890", "x", handle, &status), nullptr);
    EXPECT_EQ(status, KXSTD_INVALID_NUMBER);
}
