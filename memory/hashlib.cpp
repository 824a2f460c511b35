// hashlib.cpp - small chained hash tables keyed by zero-terminated strings,
// for the drivers' symbol tables and catalogues.
//
// Exports kx_make_hash_table, kx_add_hash_item, kx_find_hash_item,
// kx_remove_hash_item, kx_hash_string, kx_get_hash_bucket,
// kx_flush_hash_table and kx_dispose_hash_table.
//
// Representation: a HashTable holds an array of bucket_count chain heads and
// an item count; each HashItem holds the caller's key pointer (never copied),
// one data word for the caller and a use count that lookups increment. Unlike
// the rest of the library, tables and items live on the system heap. The
// bucket of a key is h AND 0x7FFFFFFF modulo the bucket count, where h is
// built as h = h * 4 + byte over the key's bytes taken as signed chars, in
// 32-bit unsigned arithmetic. The bucket count never changes.
#include <cstdlib>
#include <cstring>

#include "memory/hashlib_internal.h"

namespace {

constexpr int32_t kDefaultBuckets = 53;

// A table made by kx_add_hash_item for a null table argument. The caller is
// never given it; it is kept on a chain so it stays reachable. Threads may
// add to the chain at once: a new table is pushed with compare-and-swap.
struct OrphanTable {
    HashTable table;
    OrphanTable *next;
};

OrphanTable *orphan_tables;

void push_orphan(OrphanTable *orphan)
{
    OrphanTable *head = __atomic_load_n(&orphan_tables, __ATOMIC_RELAXED);
    do {
        orphan->next = head;
    } while (!__atomic_compare_exchange_n(&orphan_tables, &head, orphan, true,
                                          __ATOMIC_RELEASE, __ATOMIC_RELAXED));
}

uint32_t bucket_of(const char *key, int32_t bucket_count)
{
    uint32_t h = 0;
    for (const char *p = key; *p != '\0'; p++)
        h = h * 4u + static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(*p)));
    return (h & 0x7FFFFFFFu) % static_cast<uint32_t>(bucket_count);
}

// Sets up table with bucket_count empty buckets; false when the heap fails.
bool init_table(HashTable *table, int32_t bucket_count)
{
    table->buckets = static_cast<HashItem **>(
        std::calloc(static_cast<size_t>(bucket_count), sizeof(HashItem *)));
    if (table->buckets == nullptr)
        return false;
    table->bucket_count = bucket_count;
    table->item_count = 0;
    return true;
}

// The item holding key in its bucket's chain, and the link that points to
// it; the first characters are compared before the whole strings.
HashItem **find_link(const char *key, HashTable *table)
{
    HashItem **link = &table->buckets[bucket_of(key, table->bucket_count)];
    for (; *link != nullptr; link = &(*link)->next) {
        const char *other = (*link)->key;
        if (other[0] == key[0] && std::strcmp(other, key) == 0)
            break;
    }
    return link;
}

}  // namespace

namespace kx {

HashTable *hash_orphan_table()
{
    OrphanTable *head = __atomic_load_n(&orphan_tables, __ATOMIC_ACQUIRE);
    return head != nullptr ? &head->table : nullptr;
}

size_t hash_orphan_table_count()
{
    size_t count = 0;
    for (OrphanTable *t = __atomic_load_n(&orphan_tables, __ATOMIC_ACQUIRE); t != nullptr;
         t = t->next)
        count++;
    return count;
}

void hash_free_orphan_tables()
{
    OrphanTable *orphan = __atomic_exchange_n(&orphan_tables, nullptr, __ATOMIC_ACQUIRE);
    while (orphan != nullptr) {
        OrphanTable *next = orphan->next;
        kx_flush_hash_table(&orphan->table, nullptr, 0);
        std::free(orphan->table.buckets);
        std::free(orphan);
        orphan = next;
    }
}

}  // namespace kx

extern "C" {

KX_API HashTable *kx_make_hash_table(int32_t size)
{
    HashTable *table = static_cast<HashTable *>(std::malloc(sizeof(HashTable)));
    if (table == nullptr)
        return nullptr;
    if (!init_table(table, size > 0 ? size : kDefaultBuckets)) {
        std::free(table);
        return nullptr;
    }
    return table;
}

// A new item goes at the tail of its bucket's chain. With a null table a
// 53-bucket table is made for the item; the caller is not given that table.
KX_API HashItem *kx_add_hash_item(const char *key, HashTable *table)
{
    if (key == nullptr)
        return nullptr;
    if (table == nullptr) {
        OrphanTable *orphan =
            static_cast<OrphanTable *>(std::malloc(sizeof(OrphanTable)));
        if (orphan == nullptr)
            return nullptr;
        if (!init_table(&orphan->table, kDefaultBuckets)) {
            std::free(orphan);
            return nullptr;
        }
        push_orphan(orphan);
        table = &orphan->table;
    }
    HashItem **link = find_link(key, table);
    if (*link != nullptr) {
        (*link)->use_count++;
        return *link;
    }
    HashItem *item = static_cast<HashItem *>(std::malloc(sizeof(HashItem)));
    if (item == nullptr)
        return nullptr;
    item->next = nullptr;
    item->key = key;
    item->data = 0;
    item->use_count = 0;
    *link = item;
    table->item_count++;
    return item;
}

KX_API HashItem *kx_find_hash_item(const char *key, HashTable *table)
{
    if (key == nullptr || table == nullptr)
        return nullptr;
    HashItem *item = *find_link(key, table);
    if (item != nullptr)
        item->use_count++;
    return item;
}

KX_API HashItem *kx_remove_hash_item(const char *key, HashTable *table)
{
    if (key == nullptr || table == nullptr)
        return nullptr;
    HashItem **link = find_link(key, table);
    HashItem *item = *link;
    if (item == nullptr)
        return nullptr;
    *link = item->next;
    item->next = nullptr;
    table->item_count--;
    return item;
}

// A null key hashes as the empty string, a null table as one of 53 buckets.
KX_API int32_t kx_hash_string(const char *key, const HashTable *table)
{
    int32_t bucket_count = table != nullptr ? table->bucket_count : kDefaultBuckets;
    return static_cast<int32_t>(bucket_of(key != nullptr ? key : "", bucket_count));
}

KX_API HashItem *kx_get_hash_bucket(int32_t index, const HashTable *table)
{
    if (table == nullptr || index < 0 || index >= table->bucket_count)
        return nullptr;
    return table->buckets[index];
}

// The item count is deliberately left as it was: a later insertion counts
// on from the old value.
KX_API void kx_flush_hash_table(HashTable *table, HashDataDestructor destructor,
                                int32_t free_contents)
{
    if (table == nullptr)
        return;
    for (int32_t i = 0; i < table->bucket_count; i++) {
        HashItem *item = table->buckets[i];
        while (item != nullptr) {
            HashItem *next = item->next;
            if (free_contents != 0) {
                void *data = reinterpret_cast<void *>(item->data);
                if (destructor != nullptr)
                    destructor(data);
                else
                    std::free(data);
                std::free(const_cast<char *>(item->key));
            }
            std::free(item);
            item = next;
        }
        table->buckets[i] = nullptr;
    }
}

KX_API void kx_dispose_hash_table(HashTable *table)
{
    if (table == nullptr)
        return;
    std::free(table->buckets);
    std::free(table);
}

}  // extern "C"
