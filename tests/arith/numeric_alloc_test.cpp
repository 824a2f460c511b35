// Tests of the exact numeric conversions when memory runs out: a text too
// long for create_numeric's own work area needs a buffer from the heap, and
// without one the conversion reports failure instead of reading a number.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "kxsupp/arith.h"
#include "support/kx_failing_alloc.h"

namespace {

using kxtest::fail_request_after;
using kxtest::stop_failing;

// Leading zeros make the text long without making the number large.
const std::string kLongText = std::string(2000, '0') + "12.345";

TEST(NumericAlloc, LongTextIsConvertedThroughAHeapBuffer)
{
    NumericStruct n;
    std::memset(&n, 0, sizeof n);
    ASSERT_EQ(create_numeric(kLongText.c_str(), &n, 10, 2), 0);
    EXPECT_EQ(n.scale, 2);
    EXPECT_EQ(n.sign, 1);
    EXPECT_EQ(n.val[0], 1234 % 256);
    EXPECT_EQ(n.val[1], 1234 / 256);
}

TEST(NumericAlloc, LongTextWithoutMemoryFails)
{
    NumericStruct n;
    std::memset(&n, 0, sizeof n);
    fail_request_after(0);
    int32_t rc = create_numeric(kLongText.c_str(), &n, 10, 2);
    EXPECT_TRUE(stop_failing()) << "the work buffer was asked for";
    EXPECT_EQ(rc, -2);
    // A short text needs no buffer from the heap.
    fail_request_after(0);
    EXPECT_EQ(create_numeric("12.345", &n, 10, 2), 0);
    EXPECT_FALSE(stop_failing());
    EXPECT_EQ(n.val[0], 1234 % 256);
}

}  // namespace
