// Tests of the memory pools when the system heap fails: every allocator
// returns null and leaves the handle's blocks and children as they were,
// and the handle goes on working once memory is back.
#include "kxsupp/memory.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <thread>
#include "support/kx_failing_alloc.h"

namespace {

using kxtest::fail_request_after;
using kxtest::stop_failing;

// Makes one allocation with every request from the n-th on failing in
// turn, until one goes through; checks that each failed attempt returned
// null and left the handle's list alone. Returns the block made.
template <typename Allocate>
void *allocate_through_failures(MemHandle *handle, Allocate allocate)
{
    for (long n = 0;; n++) {
        MemBlock *head = handle->first_block;
        fail_request_after(n);
        void *p = allocate();
        bool failed = stop_failing();
        if (!failed) {
            EXPECT_GE(n, 1) << "no request of the allocation was failed";
            return p;
        }
        EXPECT_EQ(p, nullptr) << "request " << n;
        EXPECT_EQ(handle->first_block, head) << "request " << n;
    }
}

// Runs body on a thread of its own, so that no block retired by another
// test can serve its requests without the heap.
void on_fresh_thread(const std::function<void()> &body)
{
    std::thread thread(body);
    thread.join();
}

TEST(MemAlloc, NoHandleWhenTheHeapFails)
{
    on_fresh_thread([] {
        MemHandle *root = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(root, nullptr);
        MemHandle *first = kx_mem_alloc_handle(root);
        ASSERT_NE(first, nullptr);
        fail_request_after(0);
        MemHandle *child = kx_mem_alloc_handle(root);
        EXPECT_TRUE(stop_failing());
        EXPECT_EQ(child, nullptr);
        EXPECT_EQ(root->first_child, first);
        EXPECT_EQ(first->next_sibling, nullptr);
        kx_mem_release_handle(root);
    });
}

TEST(MemAlloc, EveryAllocatorReturnsNullAndKeepsTheList)
{
    on_fresh_thread([] {
        MemHandle *handle = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(handle, nullptr);
        void *older = kx_mem_alloc(handle, 24);
        ASSERT_NE(older, nullptr);

        void *ordinary = allocate_through_failures(handle, [&] { return kx_mem_alloc(handle, 100); });
        ASSERT_NE(ordinary, nullptr);
        std::memset(ordinary, 'a', 100);

        static int destroyed = 0;
        void *with_destructor = allocate_through_failures(handle, [&] {
            return kx_mem_alloc_ex(handle, 4000, [](void *) { destroyed++; return 0; });
        });
        ASSERT_NE(with_destructor, nullptr);

        void *node = allocate_through_failures(handle, [&] { return kx_mem_alloc_node(handle, 48, 7); });
        ASSERT_NE(node, nullptr);
        std::memset(node, 'n', 48);

        // The blocks made before and after the failures all die with the
        // handle, the destructor's once.
        kx_mem_release_handle(handle);
        EXPECT_EQ(destroyed, 1);
    });
}

}  // namespace
