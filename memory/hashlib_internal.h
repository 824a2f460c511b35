// hashlib_internal.h - hash-table internals reachable from the tests. Not
// part of the public interface.
#ifndef KXSUPP_MEMORY_HASHLIB_INTERNAL_H
#define KXSUPP_MEMORY_HASHLIB_INTERNAL_H

#include "kxsupp/memory.h"

namespace kx {

// The newest table that kx_add_hash_item made for a null table argument, or
// null when there is none.
HashTable *hash_orphan_table();
// The number of such tables.
size_t hash_orphan_table_count();
// Frees every such table and its items (not their keys or data).
void hash_free_orphan_tables();

}  // namespace kx

#endif
