// Tests of the string-keyed hash tables: the hash function over signed
// bytes, chain order, use counts and the item count that a flush keeps.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "kxsupp/memory.h"
#include "memory/hashlib_internal.h"

namespace {

// The hash as its rule states it, written independently: signed bytes,
// h = h * 4 + byte in 32-bit unsigned arithmetic.
int32_t reference_bucket(const std::string &key, int32_t buckets)
{
    uint32_t h = 0;
    for (unsigned char c : key) {
        int32_t byte = c >= 0x80 ? static_cast<int32_t>(c) - 256 : c;
        h = h * 4u + static_cast<uint32_t>(byte);
    }
    return static_cast<int32_t>((h & 0x7FFFFFFFu) % static_cast<uint32_t>(buckets));
}

class HashTest : public ::testing::Test {
protected:
    void TearDown() override
    {
        for (HashTable *t : tables) {
            kx_flush_hash_table(t, nullptr, 0);
            kx_dispose_hash_table(t);
        }
    }
    HashTable *make(int32_t size)
    {
        HashTable *t = kx_make_hash_table(size);
        EXPECT_NE(t, nullptr);
        tables.push_back(t);
        return t;
    }
    std::vector<HashTable *> tables;
};

TEST_F(HashTest, MakeSetsBucketCountAndEmptyBuckets)
{
    HashTable *t = make(0);
    EXPECT_EQ(t->bucket_count, 53);
    EXPECT_EQ(t->item_count, 0);
    for (int32_t i = 0; i < 53; i++)
        EXPECT_EQ(kx_get_hash_bucket(i, t), nullptr);
    HashTable *u = make(7);
    EXPECT_EQ(u->bucket_count, 7);
}

TEST_F(HashTest, HashFunctionCases)
{
    HashTable *t53 = make(0);
    HashTable *t7 = make(7);
    HashTable *t1000 = make(1000);
    struct Case {
        const char *key;
        HashTable *table;
        int32_t bucket;
    } cases[] = {
        {"", t53, 0},                          // the empty key
        {"A", t53, 65 % 53},                   // 12
        {"AB", t53, (65 * 4 + 66) % 53},       // 326 % 53 = 8
        {"abc", t53, ((97 * 4 + 98) * 4 + 99) % 53},
        {"\xFF", t53, static_cast<int32_t>(0x7FFFFFFFu % 53)},  // h = 0xFFFFFFFF
        {"\xFF", t7, static_cast<int32_t>(0x7FFFFFFFu % 7)},
        {"\x80", t1000, static_cast<int32_t>(0x7FFFFF80u % 1000)},
        {"A\xE9", t53, static_cast<int32_t>(((65u * 4u) + 0xFFFFFFE9u) & 0x7FFFFFFFu) % 53},
    };
    for (const Case &c : cases)
        EXPECT_EQ(kx_hash_string(c.key, c.table), c.bucket) << c.key;
}

// Without a table a key hashes as into the default 53 buckets.
TEST_F(HashTest, NullTableHashesIntoTheDefault53Buckets)
{
    EXPECT_EQ(kx_hash_string("abc", nullptr), ((97 * 4 + 98) * 4 + 99) % 53);
    EXPECT_EQ(kx_hash_string("\xFF", nullptr), static_cast<int32_t>(0x7FFFFFFFu % 53));
    EXPECT_EQ(kx_hash_string(nullptr, nullptr), 0);
}

TEST_F(HashTest, HashMatchesTheRuleForLongKeys)
{
    HashTable *t = make(0);
    std::vector<std::string> keys = {"SELECT", "customer_name",
                                     "a very long key that wraps the 32-bit hash many times over",
                                     "\xC3\xA9t\xC3\xA9", std::string(40, '\xFE')};
    for (const std::string &k : keys)
        EXPECT_EQ(kx_hash_string(k.c_str(), t), reference_bucket(k, 53)) << k;
}

TEST_F(HashTest, AddPlacesItemInItsBucket)
{
    HashTable *t = make(0);
    HashItem *item = kx_add_hash_item("alpha", t);
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->data, 0);
    EXPECT_EQ(item->use_count, 0);
    EXPECT_EQ(t->item_count, 1);
    EXPECT_EQ(kx_get_hash_bucket(kx_hash_string("alpha", t), t), item);
}

TEST_F(HashTest, KeyIsNotCopied)
{
    HashTable *t = make(0);
    static const char key[] = "kept";
    HashItem *item = kx_add_hash_item(key, t);
    EXPECT_EQ(item->key, key);
}

TEST_F(HashTest, AddingSameKeyTwiceCountsAUse)
{
    HashTable *t = make(0);
    HashItem *first = kx_add_hash_item("dup", t);
    std::string same = "dup";
    HashItem *second = kx_add_hash_item(same.c_str(), t);
    EXPECT_EQ(first, second);
    EXPECT_EQ(second->use_count, 1);
    EXPECT_EQ(t->item_count, 1);
}

TEST_F(HashTest, KeysAreCaseSensitive)
{
    HashTable *t = make(1);
    HashItem *lower = kx_add_hash_item("name", t);
    HashItem *upper = kx_add_hash_item("NAME", t);
    EXPECT_NE(lower, upper);
    EXPECT_EQ(t->item_count, 2);
    EXPECT_EQ(kx_find_hash_item("Name", t), nullptr);
}

TEST_F(HashTest, FindCountsUses)
{
    HashTable *t = make(0);
    HashItem *item = kx_add_hash_item("x", t);
    EXPECT_EQ(kx_find_hash_item("x", t), item);
    EXPECT_EQ(kx_find_hash_item("x", t), item);
    EXPECT_EQ(item->use_count, 2);
    EXPECT_EQ(kx_find_hash_item("y", t), nullptr);
    EXPECT_EQ(kx_find_hash_item("x", nullptr), nullptr);
}

TEST_F(HashTest, NewItemsGoAtTheTailOfTheChain)
{
    HashTable *t = make(1);  // one bucket: every key in one chain
    HashItem *a = kx_add_hash_item("a", t);
    HashItem *b = kx_add_hash_item("ab", t);  // same first letter as "a"
    HashItem *c = kx_add_hash_item("c", t);
    EXPECT_EQ(kx_get_hash_bucket(0, t), a);
    EXPECT_EQ(a->next, b);
    EXPECT_EQ(b->next, c);
    EXPECT_EQ(c->next, nullptr);
    EXPECT_EQ(kx_find_hash_item("ab", t), b);
    EXPECT_EQ(kx_find_hash_item("c", t), c);
    EXPECT_EQ(kx_find_hash_item("a", t), a);
}

TEST_F(HashTest, RemovingHeadMakesSuccessorTheHead)
{
    HashTable *t = make(1);
    HashItem *a = kx_add_hash_item("a", t);
    HashItem *b = kx_add_hash_item("b", t);
    EXPECT_EQ(kx_remove_hash_item("a", t), a);
    EXPECT_EQ(kx_get_hash_bucket(0, t), b);
    EXPECT_EQ(t->item_count, 1);
    EXPECT_EQ(kx_find_hash_item("a", t), nullptr);
    std::free(a);  // removed items are the caller's
}

TEST_F(HashTest, RemovingFromMiddleAndTail)
{
    HashTable *t = make(1);
    HashItem *a = kx_add_hash_item("a", t);
    HashItem *b = kx_add_hash_item("b", t);
    HashItem *c = kx_add_hash_item("c", t);
    EXPECT_EQ(kx_remove_hash_item("b", t), b);
    EXPECT_EQ(a->next, c);
    EXPECT_EQ(kx_remove_hash_item("c", t), c);
    EXPECT_EQ(a->next, nullptr);
    EXPECT_EQ(t->item_count, 1);
    std::free(b);
    std::free(c);
}

TEST_F(HashTest, RemovingAbsentKeyLeavesCount)
{
    HashTable *t = make(0);
    kx_add_hash_item("present", t);
    EXPECT_EQ(kx_remove_hash_item("absent", t), nullptr);
    EXPECT_EQ(t->item_count, 1);
    EXPECT_EQ(kx_remove_hash_item("present", nullptr), nullptr);
}

TEST_F(HashTest, BucketIndexOutOfRange)
{
    HashTable *t = make(0);
    EXPECT_EQ(kx_get_hash_bucket(53, t), nullptr);
    EXPECT_EQ(kx_get_hash_bucket(-1, t), nullptr);
    EXPECT_EQ(kx_get_hash_bucket(0, nullptr), nullptr);
}

TEST_F(HashTest, FlushEmptiesBucketsButKeepsItemCount)
{
    HashTable *t = make(0);
    const char *keys[] = {"one", "two", "three", "four"};
    for (const char *k : keys)
        kx_add_hash_item(k, t);
    EXPECT_EQ(t->item_count, 4);
    kx_flush_hash_table(t, nullptr, 0);
    for (int32_t i = 0; i < t->bucket_count; i++)
        EXPECT_EQ(kx_get_hash_bucket(i, t), nullptr) << i;
    EXPECT_EQ(t->item_count, 4);
    EXPECT_EQ(kx_find_hash_item("one", t), nullptr);
    kx_add_hash_item("five", t);
    EXPECT_EQ(t->item_count, 5);  // counts on from the old value
}

std::vector<void *> destroyed;
void record_destroy(void *data)
{
    destroyed.push_back(data);
    std::free(data);
}

TEST_F(HashTest, FlushWithContentsFreesDataAndKeys)
{
    HashTable *t = make(1);
    destroyed.clear();
    char *k1 = strdup("first");
    char *k2 = strdup("second");
    HashItem *a = kx_add_hash_item(k1, t);
    HashItem *b = kx_add_hash_item(k2, t);
    void *d1 = std::malloc(10);
    void *d2 = std::malloc(10);
    a->data = reinterpret_cast<intptr_t>(d1);
    b->data = reinterpret_cast<intptr_t>(d2);
    kx_flush_hash_table(t, record_destroy, 1);
    EXPECT_EQ(destroyed, (std::vector<void *>{d1, d2}));  // chain order
    EXPECT_EQ(kx_get_hash_bucket(0, t), nullptr);
    EXPECT_EQ(t->item_count, 2);
    // Without a destructor the data goes back with the system free; the
    // sanitizer build checks that nothing leaks.
    HashItem *c = kx_add_hash_item(strdup("third"), t);
    c->data = reinterpret_cast<intptr_t>(std::malloc(5));
    kx_flush_hash_table(t, nullptr, 1);
    EXPECT_EQ(t->item_count, 3);
}

TEST_F(HashTest, FlushNullTableDoesNothing)
{
    kx_flush_hash_table(nullptr, nullptr, 1);
    kx_dispose_hash_table(nullptr);
}

TEST_F(HashTest, ManyKeysAllFound)
{
    HashTable *t = make(0);
    std::vector<std::string> keys;
    for (int i = 0; i < 500; i++)
        keys.push_back("key" + std::to_string(i));
    for (const std::string &k : keys)
        kx_add_hash_item(k.c_str(), t);
    EXPECT_EQ(t->item_count, 500);
    for (const std::string &k : keys) {
        HashItem *item = kx_find_hash_item(k.c_str(), t);
        ASSERT_NE(item, nullptr) << k;
        EXPECT_EQ(item->key, k.c_str());
    }
    int32_t walked = 0;
    for (int32_t i = 0; i < t->bucket_count; i++)
        for (HashItem *item = kx_get_hash_bucket(i, t); item; item = item->next) {
            EXPECT_EQ(kx_hash_string(item->key, t), i);
            walked++;
        }
    EXPECT_EQ(walked, 500);
}

TEST_F(HashTest, AddWithNullTableMakesAHiddenTable)
{
    HashItem *item = kx_add_hash_item("loose", nullptr);
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->use_count, 0);
    HashTable *hidden = kx::hash_orphan_table();
    ASSERT_NE(hidden, nullptr);
    EXPECT_EQ(hidden->bucket_count, 53);
    EXPECT_EQ(hidden->item_count, 1);
    EXPECT_EQ(kx_find_hash_item("loose", hidden), item);
    // Each such call makes a table of its own.
    HashItem *again = kx_add_hash_item("loose", nullptr);
    EXPECT_NE(again, item);
    EXPECT_EQ(again->use_count, 0);
    kx::hash_free_orphan_tables();
    EXPECT_EQ(kx::hash_orphan_table(), nullptr);
}

}  // namespace

namespace {

TEST_F(HashTest, NegativeSizeGetsTheDefaultBucketCount)
{
    HashTable *t = make(-4);
    EXPECT_EQ(t->bucket_count, 53);
}

TEST_F(HashTest, NullKeysAreHarmless)
{
    HashTable *t = make(0);
    EXPECT_EQ(kx_add_hash_item(nullptr, t), nullptr);
    EXPECT_EQ(kx_find_hash_item(nullptr, t), nullptr);
    EXPECT_EQ(kx_remove_hash_item(nullptr, t), nullptr);
    EXPECT_EQ(kx_hash_string(nullptr, t), 0);
    EXPECT_EQ(t->item_count, 0);
}

}  // namespace
