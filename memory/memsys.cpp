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
//     [ MemBlock header, 56 bytes ][ back pointer, 8 bytes ][ user bytes ]
// The back pointer holds the header's address, so any user pointer finds its
// header by reading the word 8 bytes before it. A handle's blocks form a
// doubly linked list through the headers, newest first, headed by the
// handle's first_block word. The kind cache holds, for each kind below 1000,
// a stack of up to 10 retired blocks (an array and a count, so that a pop or
// a push is one indexed load or store), each with its user area still
// attached; the newest retired block is reused first. The cache is
// unguarded: the drivers serialise the calls that touch it.
#include <cstdlib>

#include "memory/memsys_internal.h"

static_assert(sizeof(MemBlock) == 56, "header + back pointer = 64 bytes");
static_assert(offsetof(MemHandle, first_block) == 0,
              "a handle's address is the address of its first-block word");

namespace {

constexpr size_t kBlockOverhead = sizeof(MemBlock) + sizeof(void *);

// The retired blocks of one kind, oldest first; count is how many.
struct KindCache {
    int32_t count;
    MemBlock *block[kx::kMemCacheDepth];
};

KindCache type_cache[kx::kMemKindLimit];

// The user area sits at a fixed distance from the header (both live in one
// allocation), so the hot paths compute it rather than load block->data.
inline void *user_pointer(MemBlock *block)
{
    return reinterpret_cast<char *>(block) + kBlockOverhead;
}

// A fresh block of size user bytes from the system heap, or null.
inline MemBlock *new_block(size_t size)
{
    if (size > SIZE_MAX - kBlockOverhead)
        return nullptr;
    MemBlock *block = static_cast<MemBlock *>(std::malloc(kBlockOverhead + size));
    if (block == nullptr)
        return nullptr;
    block->data = reinterpret_cast<char *>(block) + sizeof(MemBlock);
    *static_cast<MemBlock **>(block->data) = block;
    block->size = size;
    return block;
}

// Makes block the newest live block of handle, with one reference.
inline void *link_block(MemHandle *handle, MemBlock *block,
                        MemDestructor destructor)
{
    MemBlock *head = handle->first_block;
    block->next = head;
    block->prev = nullptr;
    block->destructor = destructor;
    block->ref_count = 1;
    block->owner = handle;
    if (head != nullptr)
        head->prev = block;
    handle->first_block = block;
    return user_pointer(block);
}

// Takes block out of its owner's list. A block that outlived its handle has
// no owner and no neighbours.
inline void unlink_block(MemBlock *block)
{
    MemBlock *next = block->next;
    MemBlock *prev = block->prev;
    if (prev != nullptr)
        prev->next = next;
    else if (block->owner != nullptr)
        block->owner->first_block = next;
    if (next != nullptr)
        next->prev = prev;
}

// The end of an unlinked block's life: its destructor, then the cache when
// its kind has room there, else the system heap.
inline void retire_block(MemBlock *block, void *pointer)
{
    if (block->destructor != nullptr)
        block->destructor(pointer);
    uint32_t kind = static_cast<uint32_t>(block->kind);  // -1 is never cached
    if (kind < static_cast<uint32_t>(kx::kMemKindLimit)) {
        KindCache &cache = type_cache[kind];
        int32_t count = cache.count;
        if (count < kx::kMemCacheDepth) {
            cache.block[count] = block;
            cache.count = count + 1;
            return;
        }
    }
    std::free(block);
}

inline void *alloc_block(MemHandle *handle, size_t size,
                         MemDestructor destructor)
{
    if (handle == nullptr)
        return nullptr;
    MemBlock *block = new_block(size);
    if (block == nullptr)
        return nullptr;
    block->kind = -1;
    return link_block(handle, block, destructor);
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
// still shared (count above 1) loses one reference and is detached: it no
// longer names the handle, so its final kx_mem_free touches nothing freed.
void release_childless(MemHandle *handle)
{
    detach_from_parent(handle);
    MemBlock *block;
    while ((block = handle->first_block) != nullptr) {
        handle->first_block = block->next;
        if (block->next != nullptr)
            block->next->prev = nullptr;
        if (block->ref_count == 1) {
            retire_block(block, user_pointer(block));
        } else {
            block->ref_count--;
            block->next = nullptr;
            block->prev = nullptr;
            block->owner = nullptr;
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
    return type_cache[kind].count;
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
    return alloc_block(handle, size, nullptr);
}

KX_API void *kx_mem_alloc_ex(MemHandle *handle, size_t size,
                             MemDestructor destructor)
{
    return alloc_block(handle, size, destructor);
}

// A cached block is reused only when it is at least as large as asked, so a
// kind asked for with a larger size than before gets a fresh block instead
// of an overrun.
KX_API void *kx_mem_alloc_node(MemHandle *handle, size_t size, int32_t kind)
{
    if (handle == nullptr)
        return nullptr;
    uint32_t slot = static_cast<uint32_t>(kind);
    MemBlock *block;
    int32_t count;
    if (slot < static_cast<uint32_t>(kx::kMemKindLimit) &&
        (count = type_cache[slot].count) > 0 &&
        (block = type_cache[slot].block[count - 1])->size >= size) {
        type_cache[slot].count = count - 1;
    } else {
        block = new_block(size);
        if (block == nullptr)
            return nullptr;
        block->kind = kind;
    }
    return link_block(handle, block, nullptr);
}

KX_API void kx_mem_free(MemHandle *, void *pointer)
{
    if (pointer == nullptr)
        return;
    MemBlock *block = kx::mem_block_of(pointer);
    if (block->ref_count != 1) {
        block->ref_count--;
        return;
    }
    unlink_block(block);
    retire_block(block, pointer);
}

KX_API void *kx_mem_clone(MemHandle *, void *pointer)
{
    if (pointer != nullptr)
        kx::mem_block_of(pointer)->ref_count++;
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
