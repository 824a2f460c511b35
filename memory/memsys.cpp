// memsys.cpp - memory pools: a tree of memory handles, each remembering the
// blocks allocated in it, so that releasing a handle frees all of them and
// its descendants; blocks may also be freed one by one, shared by reference
// count, given a destructor, and, for fixed-size record kinds, recycled
// through a small process-wide cache.
//
// Exports kx_mem_alloc_handle, kx_mem_release_handle, kx_mem_alloc,
// kx_mem_alloc_ex, kx_mem_alloc_node, kx_mem_free, kx_mem_clone and the two
// do-nothing hooks kx_mem_trace_init and kx_mem_trace_term.
//
// Representation: a block is one system allocation laid out as
//     [ MemBlock header, 40 bytes ][ back pointer, 8 bytes ][ user bytes ]
// The back pointer holds the header's address, so any user pointer finds its
// header by reading the word 8 bytes before it (the header also sits at a
// fixed distance before the user pointer, which the hot paths use directly).
// A handle's blocks form a doubly linked list through the headers, newest
// first, headed by the handle's first_block word; each header's `link` is
// the word that points at it, so unlinking needs neither the owner nor a
// test for the head. The kind cache holds, for each kind below 1000, a stack
// of up to 10 retired blocks linked through their next words (type_cache)
// and its depth (type_count); each keeps its user area attached, and the
// newest retired block is reused first. The cache is unguarded: the drivers
// serialise the calls that touch it.
#include <cstdlib>

#include "memory/memsys_internal.h"

static_assert(sizeof(MemBlock) == 40, "header + back pointer = 48 bytes");
static_assert(offsetof(MemBlock, next) == 0,
              "a block's address is the address of its next word");
static_assert(offsetof(MemHandle, first_block) == 0,
              "a handle's address is the address of its first-block word");

#define KX_LIKELY(x) __builtin_expect(!!(x), 1)
#define KX_UNLIKELY(x) __builtin_expect(!!(x), 0)

namespace {

constexpr size_t kBlockOverhead = sizeof(MemBlock) + sizeof(void *);

// The retired blocks of each kind, newest first, and how many there are.
MemBlock *type_cache[kx::kMemKindLimit];
int32_t type_count[kx::kMemKindLimit];

// The user area and the header sit at a fixed distance from each other (both
// live in one allocation), so the hot paths compute one from the other
// rather than load the back pointer.
inline void *user_pointer(MemBlock *block)
{
    return reinterpret_cast<char *>(block) + kBlockOverhead;
}

inline MemBlock *header_of(void *pointer)
{
    return reinterpret_cast<MemBlock *>(static_cast<char *>(pointer) -
                                        kBlockOverhead);
}

// A fresh block of size user bytes and the given kind from the system heap,
// or null.
inline MemBlock *new_block(size_t size, int32_t kind)
{
    if (KX_UNLIKELY(size > SIZE_MAX - kBlockOverhead))
        return nullptr;
    MemBlock *block = static_cast<MemBlock *>(std::malloc(kBlockOverhead + size));
    if (KX_UNLIKELY(block == nullptr))
        return nullptr;
    *reinterpret_cast<MemBlock **>(block + 1) = block;  // the back pointer
    block->size = size;
    block->kind = kind;
    return block;
}

// Makes block the newest live block of handle, with one reference.
inline void *link_block(MemHandle *handle, MemBlock *block,
                        MemDestructor destructor)
{
    MemBlock *head = handle->first_block;
    block->next = head;
    block->link = &handle->first_block;
    block->destructor = destructor;
    block->ref_count = 1;
    if (head != nullptr)
        head->link = &block->next;
    handle->first_block = block;
    return user_pointer(block);
}

// Takes block out of the list that holds it. A block that outlived its
// handle links to its own next word, so this touches nothing else.
inline void unlink_block(MemBlock *block)
{
    MemBlock *next = block->next;
    MemBlock **link = block->link;
    *link = next;
    if (next != nullptr)
        next->link = link;
}

// Puts an unlinked block whose life is over in its kind's cache when the
// kind has one with room, else gives it back to the system heap.
inline void cache_or_free(MemBlock *block)
{
    uint32_t kind = static_cast<uint32_t>(block->kind);  // -1 is never cached
    if (kind < static_cast<uint32_t>(kx::kMemKindLimit)) {
        int32_t count = type_count[kind];
        if (count < kx::kMemCacheDepth) {
            block->next = type_cache[kind];
            type_cache[kind] = block;
            type_count[kind] = count + 1;
            return;
        }
    }
    std::free(block);
}

// The end of the life of an unlinked block that has a destructor. Kept out
// of line so that the common path, a block without one, needs no call.
[[gnu::noinline]] void destroy_block(MemBlock *block, void *pointer)
{
    block->destructor(pointer);
    cache_or_free(block);
}

// The end of an unlinked block's life: its destructor, then the cache or
// the system heap.
inline void retire_block(MemBlock *block, void *pointer)
{
    if (KX_UNLIKELY(block->destructor != nullptr))
        destroy_block(block, pointer);
    else
        cache_or_free(block);
}

// A fresh block of the given kind linked into handle, or null.
inline void *alloc_fresh(MemHandle *handle, size_t size, int32_t kind,
                         MemDestructor destructor)
{
    MemBlock *block = new_block(size, kind);
    if (KX_UNLIKELY(block == nullptr))
        return nullptr;
    return link_block(handle, block, destructor);
}

// kx_mem_alloc_node without a cached block to reuse. Out of line, so that a
// cache hit costs no register saves.
[[gnu::noinline]] void *alloc_fresh_node(MemHandle *handle, size_t size,
                                          int32_t kind)
{
    return alloc_fresh(handle, size, kind, nullptr);
}

// Removes handle from its parent's list of children.
void detach_from_parent(MemHandle *handle)
{
    MemHandle *parent = handle->parent;
    if (parent == nullptr)
        return;
    if (parent->first_child == handle) {
        parent->first_child = handle->next_sibling;
        return;
    }
    for (MemHandle *child = parent->first_child; child != nullptr;
         child = child->next_sibling) {
        if (child->next_sibling == handle) {
            child->next_sibling = handle->next_sibling;
            return;
        }
    }
}

// Releases one handle that has no children left: its blocks newest first,
// then the handle record. The head is re-read after every block, so a
// destructor that frees another block of the same handle is safe. A block
// still shared (count above 1) loses one reference and is detached: it
// links to itself, so its final kx_mem_free touches nothing freed.
void release_childless(MemHandle *handle)
{
    detach_from_parent(handle);
    MemBlock *block;
    while ((block = handle->first_block) != nullptr) {
        unlink_block(block);
        if (block->ref_count == 1) {
            retire_block(block, user_pointer(block));
        } else {
            block->ref_count--;
            block->next = nullptr;
            block->link = &block->next;
        }
    }
    std::free(handle);
}

}  // namespace

namespace kx {

int32_t mem_cached_count(int32_t kind)
{
    if (kind < 0 || kind >= kMemKindLimit)
        return 0;
    return type_count[kind];
}

MemBlock *mem_cached_head(int32_t kind)
{
    if (kind < 0 || kind >= kMemKindLimit)
        return nullptr;
    return type_cache[kind];
}

// Children go first, newest first and depth first, then the handle itself.
// Walked with the parent links rather than recursion, so a deep tree cannot
// exhaust the stack.
void _mem_release_handle(MemHandle *handle)
{
    MemHandle *current = handle;
    for (;;) {
        while (current->first_child != nullptr)
            current = current->first_child;
        MemHandle *parent = current->parent;
        bool last = current == handle;
        release_childless(current);
        if (last)
            return;
        current = parent;
    }
}

}  // namespace kx

extern "C" {

KX_API MemHandle *kx_mem_alloc_handle(MemHandle *parent)
{
    MemHandle *handle = static_cast<MemHandle *>(std::malloc(sizeof(MemHandle)));
    if (handle == nullptr)
        return nullptr;
    handle->first_block = nullptr;
    handle->parent = parent;
    handle->first_child = nullptr;
    handle->next_sibling = nullptr;
    if (parent != nullptr) {
        handle->next_sibling = parent->first_child;
        parent->first_child = handle;
    }
    return handle;
}

KX_API void kx_mem_release_handle(MemHandle *handle)
{
    if (handle != nullptr)
        kx::_mem_release_handle(handle);
}

KX_API void *kx_mem_alloc(MemHandle *handle, size_t size)
{
    if (KX_UNLIKELY(handle == nullptr))
        return nullptr;
    return alloc_fresh(handle, size, -1, nullptr);
}

KX_API void *kx_mem_alloc_ex(MemHandle *handle, size_t size,
                             MemDestructor destructor)
{
    if (KX_UNLIKELY(handle == nullptr))
        return nullptr;
    return alloc_fresh(handle, size, -1, destructor);
}

// A cached block is reused only when it is at least as large as asked, so a
// kind asked for with a larger size than before gets a fresh block instead
// of an overrun.
KX_API void *kx_mem_alloc_node(MemHandle *handle, size_t size, int32_t kind)
{
    if (KX_UNLIKELY(handle == nullptr))
        return nullptr;
    uint32_t slot = static_cast<uint32_t>(kind);
    MemBlock *block;
    if (slot < static_cast<uint32_t>(kx::kMemKindLimit) &&
        KX_LIKELY((block = type_cache[slot]) != nullptr) &&
        KX_LIKELY(block->size >= size)) {
        type_cache[slot] = block->next;
        type_count[slot]--;
        return link_block(handle, block, nullptr);
    }
    return alloc_fresh_node(handle, size, kind);
}

KX_API void kx_mem_free(MemHandle *, void *pointer)
{
    if (KX_UNLIKELY(pointer == nullptr))
        return;
    MemBlock *block = header_of(pointer);
    if (KX_UNLIKELY(block->ref_count != 1)) {
        block->ref_count--;
        return;
    }
    unlink_block(block);
    retire_block(block, pointer);
}

KX_API void *kx_mem_clone(MemHandle *, void *pointer)
{
    if (pointer != nullptr)
        header_of(pointer)->ref_count++;
    return pointer;
}

KX_API void *kx_mem_trace_init(void *argument)
{
    return argument;
}

KX_API void kx_mem_trace_term(void)
{
}

}  // extern "C"
