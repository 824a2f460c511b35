// Tests of the hash tables when the system heap fails: no table is made,
// an item that cannot be made is not added, and the table stays usable.
#include "kxsupp/memory.h"
#include "memory/hashlib_internal.h"

#include <gtest/gtest.h>

#include "support/kx_failing_alloc.h"

namespace {

using kxtest::fail_request_after;
using kxtest::stop_failing;

// Whichever of its requests fails, no table is made.
TEST(HashAlloc, NoTableWhenTheHeapFails)
{
    for (long n = 0;; n++) {
        fail_request_after(n);
        HashTable *table = kx_make_hash_table(7);
        bool failed = stop_failing();
        if (!failed) {
            ASSERT_NE(table, nullptr);
            EXPECT_EQ(table->bucket_count, 7);
            EXPECT_EQ(table->item_count, 0);
            kx_dispose_hash_table(table);
            EXPECT_GE(n, 2) << "a table is a record and a bucket array";
            break;
        }
        EXPECT_EQ(table, nullptr) << "request " << n;
    }
}

// An item that cannot be allocated is not added: the count stays, the key
// is not found, and the next attempt adds it.
TEST(HashAlloc, ItemThatCannotBeMadeIsNotAdded)
{
    HashTable *table = kx_make_hash_table(0);
    ASSERT_NE(table, nullptr);
    static const char kKey[] = "alpha";
    fail_request_after(0);
    HashItem *item = kx_add_hash_item(kKey, table);
    EXPECT_TRUE(stop_failing());
    EXPECT_EQ(item, nullptr);
    EXPECT_EQ(table->item_count, 0);
    EXPECT_EQ(kx_find_hash_item(kKey, table), nullptr);

    item = kx_add_hash_item(kKey, table);
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->key, kKey);
    EXPECT_EQ(item->use_count, 0);
    EXPECT_EQ(table->item_count, 1);
    EXPECT_EQ(kx_get_hash_bucket(kx_hash_string(kKey, table), table), item);
    kx_flush_hash_table(table, nullptr, 0);
    kx_dispose_hash_table(table);
}

// With a null table, an item needs a table made for it first; when any of
// that fails, no item is returned.
TEST(HashAlloc, NullTableArgumentWhenTheHeapFails)
{
    for (long n = 0;; n++) {
        fail_request_after(n);
        HashItem *item = kx_add_hash_item("k", nullptr);
        bool failed = stop_failing();
        if (!failed) {
            ASSERT_NE(item, nullptr);
            EXPECT_STREQ(item->key, "k");
            EXPECT_EQ(item->use_count, 0);
            EXPECT_EQ(kx::hash_orphan_table()->item_count, 1);
            EXPECT_GE(n, 3) << "a table record, its buckets and the item";
            break;
        }
        EXPECT_EQ(item, nullptr) << "request " << n;
    }
    kx::hash_free_orphan_tables();
}

}  // namespace
