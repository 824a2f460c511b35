// memsys_internal.h - the memory pool's block header, shared by memsys.cpp
// and its tests. Not part of the public interface.
#ifndef KXSUPP_MEMORY_MEMSYS_INTERNAL_H
#define KXSUPP_MEMORY_MEMSYS_INTERNAL_H

#include <cstddef>
#include <cstdint>

#include "kxsupp/memory.h"

// One block: the header, then the back-pointer word, then the caller's
// bytes, all in one system allocation. The word 8 bytes before a user
// pointer holds the header's address, which is how a user pointer finds its
// header without a search. The header is 40 bytes, so the user pointer sits
// 48 bytes into a 16-aligned allocation and is itself 16-aligned.
//
// A handle's blocks are a doubly linked list, newest first. Instead of a
// pointer to the newer block and one to the owning handle, each block keeps
// `link`: the address of the word that points at it, which is the newer
// block's `next` or, for the newest block, the handle's first_block word.
// Unlinking is then `*link = next` whatever the block's place in the list.
struct MemBlock {
    MemBlock *next;           // towards older blocks; first, so &next == block
    MemBlock **link;          // the word that points at this block
    size_t size;              // user size asked for when the block was made
    MemDestructor destructor; // run with the user pointer when the block dies
    int32_t ref_count;        // 1 when allocated
    int32_t kind;             // cache slot, or -1 for an ordinary block
};

namespace kx {

// Kinds 0 to kMemKindLimit - 1 have a cache slot; others are never cached.
constexpr int32_t kMemKindLimit = 1000;
// Blocks a kind's cache holds at most (in each thread).
constexpr int32_t kMemCacheDepth = 10;

// The number of blocks in the calling thread's cache of kind (0 for kinds
// without a slot).
int32_t mem_cached_count(int32_t kind);
// The most recently cached block of kind in the calling thread's cache (the
// next it reuses), or null.
MemBlock *mem_cached_head(int32_t kind);
// The header of a block from its user pointer, read from the back pointer.
inline MemBlock *mem_block_of(const void *pointer)
{
    return *reinterpret_cast<MemBlock *const *>(
        static_cast<const char *>(pointer) - sizeof(void *));
}
// Releases a handle, its descendants and its blocks, then frees it.
void _mem_release_handle(MemHandle *handle);

}  // namespace kx

#endif
