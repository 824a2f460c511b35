// Tests of the literal builders when memory runs out: a literal that
// cannot be made whole is not made; one that is made holds its value.
#include "kxsupp/arith.h"
#include "kxsupp/memory.h"
#include "kxsupp/parse.h"
#include "kxsupp/values.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include "support/kx_failing_alloc.h"

namespace {

using kxtest::fail_request_after;
using kxtest::stop_failing;

// The exact numeric a digit text reads as, with the given precision and
// scale.
NumericStruct numeric_of(const std::string &digits, int precision, int scale)
{
    NumericStruct n;
    std::memset(&n, 0, sizeof n);
    std::string copy = digits;
    string_to_numeric(copy.data(), &n, static_cast<uint8_t>(precision), scale);
    return n;
}

// A literal of more digits than fit the builders' own room: whatever
// request fails, MakeNumeric gives null or the literal's value, never a
// leaf holding another number.
TEST(ParseAlloc, LongNumericLiteralIsWholeOrNotMade)
{
    std::thread([] {
        MemHandle *handle = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(handle, nullptr);
        ASSERT_NE(kx_mem_alloc(handle, 8), nullptr);  // the thread is ready
        std::string integer_part;
        for (int i = 0; i < 150; ++i)
            integer_part += static_cast<char>('1' + i % 9);
        const std::string fraction_part = "25";
        const NumericStruct expected = numeric_of(
            integer_part + fraction_part,
            static_cast<int>(integer_part.size() + fraction_part.size() + 2),
            static_cast<int>(fraction_part.size()));
        int not_made = 0;
        for (long n = 0;; n++) {
            fail_request_after(n);
            Value *leaf = MakeNumeric(integer_part.c_str(), fraction_part.c_str(), handle);
            bool failed = stop_failing();
            if (leaf == nullptr) {
                EXPECT_TRUE(failed);
                not_made++;
                continue;
            }
            EXPECT_EQ(leaf->type, VALUE_NUMERIC) << "request " << n;
            EXPECT_EQ(leaf->attr[1], 2) << "request " << n;
            EXPECT_EQ(std::memcmp(&leaf->payload.numeric, &expected, sizeof expected), 0)
                << "request " << n << ": the leaf holds another number";
            if (!failed)
                break;
            ASSERT_LT(n, 20);
        }
        EXPECT_GE(not_made, 2) << "the leaf and the digits' copy";
        kx_mem_release_handle(handle);
    }).join();
}

}  // namespace
