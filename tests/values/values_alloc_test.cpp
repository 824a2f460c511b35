// Tests of values when memory runs out: a duplicate that cannot be made is
// null and leaves the handle as it was; one that is made is a whole copy.
#include "kxsupp/memory.h"
#include "kxsupp/values.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include "support/kx_failing_alloc.h"
#include "support/kx_test_support.h"

namespace {

using kxtest::fail_request_after;
using kxtest::stop_failing;

// Duplicates src with every request from the n-th on failing in turn until
// one goes through; checks each failure and returns the copy made.
Value *duplicate_through_failures(MemHandle *handle, const Value *src)
{
    int failures = 0;
    for (long n = 0;; n++) {
        MemBlock *head = handle->first_block;
        fail_request_after(n);
        Value *copy = duplicate_value(handle, src);
        bool failed = stop_failing();
        if (copy == nullptr) {
            EXPECT_TRUE(failed);
            EXPECT_EQ(handle->first_block, head) << "request " << n;
            failures++;
            continue;
        }
        if (!failed) {
            EXPECT_GE(failures, 1) << "no request of the copy was failed";
            return copy;
        }
        if (n > 20) {
            ADD_FAILURE() << "the copy never stops asking for memory";
            return copy;
        }
    }
}

TEST(ValuesAlloc, DuplicateWithoutMemoryIsNull)
{
    // A thread of its own, and nothing freed: every block of a copy comes
    // from the heap.
    std::thread([] {
        MemHandle *source = kx_mem_alloc_handle(nullptr);
        MemHandle *handle = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(source, nullptr);
        ASSERT_NE(handle, nullptr);
        ASSERT_NE(kx_mem_alloc(handle, 8), nullptr);  // the thread is ready

        Value *null_copy = duplicate_through_failures(handle, nullptr);
        ASSERT_NE(null_copy, nullptr);
        EXPECT_EQ(null_copy->type, VALUE_NULL);
        EXPECT_NE(null_copy->null_flag, 0);

        Value text = kxtest::text("a text of some length");
        Value *text_copy = duplicate_through_failures(handle, &text);
        ASSERT_NE(text_copy, nullptr);
        EXPECT_EQ(text_copy->type, VALUE_STRING);
        EXPECT_EQ(text_copy->length, text.length);
        EXPECT_NE(text_copy->payload.text, text.payload.text);
        EXPECT_STREQ(text_copy->payload.text, "a text of some length");

        Value number = kxtest::integer(42);
        Value *number_copy = duplicate_through_failures(handle, &number);
        ASSERT_NE(number_copy, nullptr);
        EXPECT_EQ(number_copy->type, VALUE_INTEGER);
        EXPECT_EQ(number_copy->payload.integer, 42);

        kx_mem_release_handle(source);
        kx_mem_release_handle(handle);
    }).join();
}

}  // namespace
