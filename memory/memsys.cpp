// memsys.cpp - memory pools: a tree of memory handles, each remembering the
// blocks allocated in it, so that releasing a handle frees all of them and
// its descendants; blocks may also be freed one by one, shared by reference
// count, given a destructor, and recycled through small per-thread caches
// instead of going back to the system heap.
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
// test for the head.
//
// Retired blocks go to the cache of the thread that retires them (a
// ThreadCache, reached through one thread-local pointer), so no lock is ever
// taken and threads working on their own handles never meet:
//  - the kind cache holds, for each kind below 1000, a stack of up to 10
//    retired node blocks linked through their next words, newest first;
//  - the ordinary cache holds retired kx_mem_alloc blocks of up to 1024 user
//    bytes, one stack per 16-byte size class, within a byte budget per
//    thread. Such blocks are made with their class's full size, so any
//    block of a class serves any request of that class. This saves the
//    system heap's own checks on the hottest path and covers the sizes
//    glibc's per-thread cache stops at (a 1000-byte block with its 48-byte
//    header is past glibc's 1032-byte limit and took its slow path).
//  - the handle cache holds up to 16 released handle records, so that a
//    handle made and released for every row costs no trip to the heap.
// A block freed by another thread than the one that made it simply joins the
// freeing thread's cache. A thread's cached blocks are given back to the
// system heap when it exits.
#include <cstdlib>
#include <pthread.h>

#include "memory/memsys_internal.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#define KX_POISON(p, n) ASAN_POISON_MEMORY_REGION(p, n)
#define KX_UNPOISON(p, n) ASAN_UNPOISON_MEMORY_REGION(p, n)
#else
#define KX_POISON(p, n) ((void)(p), (void)(n))
#define KX_UNPOISON(p, n) ((void)(p), (void)(n))
#endif

static_assert(sizeof(MemBlock) == 40, "header + back pointer = 48 bytes");
static_assert(offsetof(MemBlock, next) == 0,
              "a block's address is the address of its next word");
static_assert(offsetof(MemHandle, first_block) == 0,
              "a handle's address is the address of its first-block word");

#define KX_LIKELY(x) __builtin_expect(!!(x), 1)
#define KX_UNLIKELY(x) __builtin_expect(!!(x), 0)

namespace {

constexpr size_t kBlockOverhead = sizeof(MemBlock) + sizeof(void *);

// Ordinary blocks of up to kOrdinaryLimit user bytes are cached in classes
// of kClassStep bytes; a thread keeps at most kOrdinaryBudget bytes of them
// (headers included).
constexpr size_t kClassStep = 16;
constexpr size_t kOrdinaryLimit = 1024;
constexpr size_t kOrdinaryClasses = kOrdinaryLimit / kClassStep + 1;
constexpr size_t kOrdinaryBudget = 64 * 1024;

// One thread's retired blocks. The kind stacks count their free places
// (kind_room) rather than their blocks, so that the all-zero no_cache below
// has room for nothing.
struct ThreadCache {
    MemBlock *kind_head[kx::kMemKindLimit];
    int32_t kind_room[kx::kMemKindLimit];
    MemBlock *ordinary_head[kOrdinaryClasses];
    size_t ordinary_room;  // bytes the ordinary stacks may still take
    MemHandle *handle_head;  // released handle records, linked by parent
    int32_t handle_room;
};

// Released handle records a thread keeps for its next kx_mem_alloc_handle
// (a driver makes and releases one for every row it produces).
constexpr int32_t kHandleCacheDepth = 16;

// The cache of a thread that has none and may not get one (its own cache
// is gone because it is exiting, or the heap failed): holds nothing and
// takes nothing, so it is only ever read and all threads may share it.
ThreadCache no_cache;

// The calling thread's cache, or null before its first use. Initial-exec:
// one pointer of static TLS, read without a call even in the shared object.
__thread ThreadCache *thread_cache_pointer
    __attribute__((tls_model("initial-exec")));

pthread_once_t cache_key_once = PTHREAD_ONCE_INIT;
pthread_key_t cache_key;
bool cache_key_made;

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

// The size class of an ordinary block of size user bytes (size at most
// kOrdinaryLimit), and the user bytes every block of a class is made with.
inline size_t class_of(size_t size)
{
    return (size + kClassStep - 1) / kClassStep;
}

inline size_t class_bytes(size_t size_class)
{
    return size_class * kClassStep;
}

// Gives every block of a cache back to the system heap, then the cache.
void free_thread_cache(ThreadCache *cache)
{
    for (MemBlock *&head : cache->kind_head) {
        while (MemBlock *block = head) {
            head = block->next;
            KX_UNPOISON(user_pointer(block), block->size);
            std::free(block);
        }
    }
    for (MemBlock *&head : cache->ordinary_head) {
        while (MemBlock *block = head) {
            head = block->next;
            KX_UNPOISON(block, kBlockOverhead + class_bytes(class_of(block->size)));
            std::free(block);
        }
    }
    while (MemHandle *handle = cache->handle_head) {
        KX_UNPOISON(handle, sizeof *handle);
        cache->handle_head = handle->parent;
        std::free(handle);
    }
    std::free(cache);
}

// Runs when a thread that has a cache exits. Anything the exiting thread
// frees after this (in another key's destructor) goes straight to the heap.
void release_thread_cache(void *cache)
{
    thread_cache_pointer = &no_cache;
    free_thread_cache(static_cast<ThreadCache *>(cache));
}

void make_cache_key()
{
    cache_key_made = pthread_key_create(&cache_key, release_thread_cache) == 0;
}

// Gives the calling thread its cache. Without a thread-exit key the cache
// would leak with the thread, so then (and when the heap fails) the thread
// uses no_cache for this call and tries again on its next one.
[[gnu::noinline]] ThreadCache *attach_thread_cache()
{
    pthread_once(&cache_key_once, make_cache_key);
    if (!cache_key_made)
        return &no_cache;
    auto *cache = static_cast<ThreadCache *>(std::calloc(1, sizeof(ThreadCache)));
    if (cache == nullptr)
        return &no_cache;
    for (int32_t &room : cache->kind_room)
        room = kx::kMemCacheDepth;
    cache->ordinary_room = kOrdinaryBudget;
    cache->handle_room = kHandleCacheDepth;
    if (pthread_setspecific(cache_key, cache) != 0) {
        std::free(cache);
        return &no_cache;
    }
    thread_cache_pointer = cache;
    return cache;
}

inline ThreadCache *thread_cache()
{
    ThreadCache *cache = thread_cache_pointer;
    if (KX_UNLIKELY(cache == nullptr))
        cache = attach_thread_cache();
    return cache;
}

// When the library is unloaded, its thread-exit function goes with it: the
// key is deleted first, and the caches of threads still running are left
// to the heap.
[[gnu::destructor]] void delete_cache_key()
{
    if (cache_key_made)
        pthread_key_delete(cache_key);
}

// A fresh block of size user bytes and the given kind from the system heap,
// or null. An ordinary block small enough to be cached gets its class's full
// size, so that it can serve any request of the class later.
inline MemBlock *new_block(size_t size, int32_t kind)
{
    if (KX_UNLIKELY(size > SIZE_MAX - kBlockOverhead))
        return nullptr;
    size_t bytes = size;
    if (kind == -1 && size <= kOrdinaryLimit)
        bytes = class_bytes(class_of(size));
    MemBlock *block = static_cast<MemBlock *>(std::malloc(kBlockOverhead + bytes));
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

// Puts an unlinked block whose life is over in the calling thread's cache
// when its kind or size class has room there, else gives it back to the
// system heap.
inline void cache_or_free(MemBlock *block)
{
    ThreadCache *cache = thread_cache();
    uint32_t kind = static_cast<uint32_t>(block->kind);
    if (kind < static_cast<uint32_t>(kx::kMemKindLimit)) {
        if (cache->kind_room[kind] > 0) {
            block->next = cache->kind_head[kind];
            cache->kind_head[kind] = block;
            cache->kind_room[kind]--;
            // under ASan a read or write through a stale pointer to the
            // block is reported until the block is handed out again
            KX_POISON(user_pointer(block), block->size);
            return;
        }
    } else if (block->kind == -1 && block->size <= kOrdinaryLimit) {
        size_t size_class = class_of(block->size);
        size_t bytes = kBlockOverhead + class_bytes(size_class);
        if (cache->ordinary_room >= bytes) {
            cache->ordinary_room -= bytes;
            block->next = cache->ordinary_head[size_class];
            cache->ordinary_head[size_class] = block;
            KX_POISON(user_pointer(block), class_bytes(size_class));
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

// An ordinary block for handle: a cached one of the size's class, else a
// fresh one.
inline void *alloc_ordinary(MemHandle *handle, size_t size,
                            MemDestructor destructor)
{
    if (KX_LIKELY(size <= kOrdinaryLimit)) {
        ThreadCache *cache = thread_cache();
        size_t size_class = class_of(size);
        MemBlock *block = cache->ordinary_head[size_class];
        if (KX_LIKELY(block != nullptr)) {
            cache->ordinary_head[size_class] = block->next;
            cache->ordinary_room += kBlockOverhead + class_bytes(size_class);
            KX_UNPOISON(user_pointer(block), class_bytes(size_class));
            block->size = size;
            return link_block(handle, block, destructor);
        }
    }
    return alloc_fresh(handle, size, -1, destructor);
}

// kx_mem_alloc_node without a cached block to reuse. Out of line, so that a
// cache hit costs no register saves.
[[gnu::noinline]] void *alloc_fresh_node(MemHandle *handle, size_t size,
                                          int32_t kind)
{
    return alloc_fresh(handle, size, kind, nullptr);
}

// Under ASan a kept handle record is poisoned but for its parent word,
// which links the cache (LeakSanitizer does not look for pointers in
// poisoned memory, so a wholly poisoned chain would look leaked).
void poison_handle_record(MemHandle *handle)
{
    static_assert(offsetof(MemHandle, parent) == sizeof(void *));
    KX_POISON(&handle->first_block, sizeof handle->first_block);
    KX_POISON(&handle->next_sibling,
              sizeof *handle - offsetof(MemHandle, next_sibling));
}

// The end of a handle record's life: the calling thread's cache when it
// has room (linked through the parent word), else the system heap.
void retire_handle(MemHandle *handle)
{
    ThreadCache *cache = thread_cache();
    if (cache->handle_room > 0) {
        cache->handle_room--;
        handle->parent = cache->handle_head;
        cache->handle_head = handle;
        poison_handle_record(handle);
        return;
    }
    std::free(handle);
}

// A handle record: a cached one, else one from the system heap (null when
// it fails).
MemHandle *new_handle_record()
{
    ThreadCache *cache = thread_cache();
    MemHandle *handle = cache->handle_head;
    if (handle != nullptr) {
        KX_UNPOISON(handle, sizeof *handle);
        cache->handle_head = handle->parent;
        cache->handle_room++;
        return handle;
    }
    return static_cast<MemHandle *>(std::malloc(sizeof(MemHandle)));
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
// then the handle record. The head is re-read after every block that runs
// a destructor, so a destructor that frees another block of the same
// handle, or makes one, is safe. A block
// still shared (count above 1) loses one reference and is detached: it
// links to itself, so its final kx_mem_free touches nothing freed.
void release_childless(MemHandle *handle)
{
    detach_from_parent(handle);
    MemBlock *block = handle->first_block;
    while (block != nullptr) {
        MemBlock *next = block->next;
        if (KX_LIKELY(block->ref_count == 1 && block->destructor == nullptr)) {
            // the common block dies here and runs no code: the walk goes on
            // from the next pointer it holds rather than reading the head
            // back from memory (the list stays whole for any destructor)
            handle->first_block = next;
            if (next != nullptr)
                next->link = &handle->first_block;
            cache_or_free(block);
            block = next;
            continue;
        }
        unlink_block(block);
        if (block->ref_count == 1) {
            retire_block(block, user_pointer(block));
        } else {
            block->ref_count--;
            block->next = nullptr;
            block->link = &block->next;
        }
        block = handle->first_block;  // a destructor may have freed others
    }
    retire_handle(handle);
}

}  // namespace

namespace kx {

int32_t mem_cached_count(int32_t kind)
{
    if (kind < 0 || kind >= kMemKindLimit)
        return 0;
    return kMemCacheDepth - thread_cache()->kind_room[kind];
}

MemBlock *mem_cached_head(int32_t kind)
{
    if (kind < 0 || kind >= kMemKindLimit)
        return nullptr;
    return thread_cache()->kind_head[kind];
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
    MemHandle *handle = new_handle_record();
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
    return alloc_ordinary(handle, size, nullptr);
}

KX_API void *kx_mem_alloc_ex(MemHandle *handle, size_t size,
                             MemDestructor destructor)
{
    if (KX_UNLIKELY(handle == nullptr))
        return nullptr;
    return alloc_ordinary(handle, size, destructor);
}

// A cached block is reused only when it is at least as large as asked, so a
// kind asked for with a larger size than before gets a fresh block instead
// of an overrun.
KX_API void *kx_mem_alloc_node(MemHandle *handle, size_t size, int32_t kind)
{
    if (KX_UNLIKELY(handle == nullptr))
        return nullptr;
    uint32_t slot = static_cast<uint32_t>(kind);
    if (slot < static_cast<uint32_t>(kx::kMemKindLimit)) {
        ThreadCache *cache = thread_cache();
        MemBlock *block = cache->kind_head[slot];
        if (KX_LIKELY(block != nullptr) && KX_LIKELY(block->size >= size)) {
            cache->kind_head[slot] = block->next;
            cache->kind_room[slot]++;
            KX_UNPOISON(user_pointer(block), block->size);
            return link_block(handle, block, nullptr);
        }
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
