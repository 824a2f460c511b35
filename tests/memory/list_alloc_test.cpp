// Tests of lists when memory runs out: an append whose element or header
// cannot be made gives back the list as it was (null when there was none)
// and leaves no block behind.
#include "kxsupp/memory.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include "support/kx_failing_alloc.h"

namespace {

using kxtest::fail_request_after;
using kxtest::stop_failing;

TEST(ListAlloc, FailedAppendGivesBackTheListAsItWas)
{
    // A thread of its own: no block freed elsewhere serves its requests.
    std::thread([] {
        MemHandle *handle = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(handle, nullptr);
        int data[3] = {1, 2, 3};

        // A first block, so that the thread is ready to allocate; nothing
        // is freed below, so every block comes from the heap.
        ASSERT_NE(kx_mem_alloc(handle, 8), nullptr);

        // No list yet: null back, nothing left in the handle.
        int failures = 0;
        List *list = nullptr;
        for (long n = 0;; n++) {
            MemBlock *before = handle->first_block;
            fail_request_after(n);
            list = ListAppend(&data[0], nullptr, handle);
            bool failed = stop_failing();
            if (list == nullptr) {
                EXPECT_TRUE(failed);
                EXPECT_EQ(handle->first_block, before) << "request " << n;
                failures++;
                continue;
            }
            EXPECT_FALSE(failed) << "request " << n;
            break;
        }
        EXPECT_GE(failures, 2) << "the element and the header";
        ASSERT_NE(list, nullptr);
        EXPECT_EQ(ListCount(list), 1);

        // A list: the same list back, unchanged.
        MemBlock *head = handle->first_block;
        fail_request_after(0);
        List *again = ListAppend(&data[1], list, handle);
        EXPECT_TRUE(stop_failing());
        EXPECT_EQ(again, list);
        EXPECT_EQ(ListCount(list), 1);
        EXPECT_EQ(ListFirst(list), ListLast(list));
        EXPECT_EQ(ListFirst(list)->data, &data[0]);
        EXPECT_EQ(handle->first_block, head);

        EXPECT_EQ(ListAppend(&data[2], list, handle), list);
        EXPECT_EQ(ListCount(list), 2);
        EXPECT_EQ(ListLast(list)->data, &data[2]);
        kx_mem_release_handle(handle);
    }).join();
}

}  // namespace
