// Tests of the memory pools: block headers found from user pointers, the
// handle tree and its release order, reference counts, destructors and the
// per-kind cache. The cache is the calling thread's, and the tests share
// a thread, so every test that touches it uses a kind of its own.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <algorithm>
#include <thread>
#include <vector>

#include "kxsupp/memory.h"
#include "kxsupp/values.h"
#include "memory/memsys_internal.h"

namespace {

// Destructors are plain functions: they append a tag (the first byte of the
// block) to a process-wide log.
std::string death_log;

int log_death(void *pointer)
{
    death_log += *static_cast<char *>(pointer);
    return 0;
}

void *tagged_block(MemHandle *handle, char tag)
{
    char *p = static_cast<char *>(kx_mem_alloc_ex(handle, 16, log_death));
    EXPECT_NE(p, nullptr);
    p[0] = tag;
    return p;
}

// The user pointer of a block: right after its header and back pointer.
void *user_of(MemBlock *b)
{
    return reinterpret_cast<char *>(b) + sizeof(MemBlock) + 8;
}

// The handle's blocks, newest first, checking the back links on the way:
// each block's link is the word that points at it.
std::vector<void *> blocks_of(MemHandle *handle)
{
    std::vector<void *> out;
    MemBlock **expected_link = &handle->first_block;
    for (MemBlock *b = handle->first_block; b != nullptr; b = b->next) {
        EXPECT_EQ(b->link, expected_link);
        EXPECT_EQ(kx::mem_block_of(user_of(b)), b);
        out.push_back(user_of(b));
        expected_link = &b->next;
    }
    return out;
}

// Whether the block of pointer is in handle's list.
bool listed_in(MemHandle *handle, void *pointer)
{
    for (void *p : blocks_of(handle))
        if (p == pointer)
            return true;
    return false;
}

std::vector<MemHandle *> children_of(MemHandle *handle)
{
    std::vector<MemHandle *> out;
    for (MemHandle *c = handle->first_child; c != nullptr; c = c->next_sibling)
        out.push_back(c);
    return out;
}

class MemsysTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        death_log.clear();
        root = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(root, nullptr);
    }
    void TearDown() override { kx_mem_release_handle(root); }
    MemHandle *root = nullptr;
};

TEST_F(MemsysTest, NewHandleIsEmptyRoot)
{
    EXPECT_EQ(root->first_block, nullptr);
    EXPECT_EQ(root->parent, nullptr);
    EXPECT_EQ(root->next_sibling, nullptr);
    EXPECT_EQ(root->first_child, nullptr);
}

TEST_F(MemsysTest, ChildIsPushedAtFrontOfParent)
{
    MemHandle *a = kx_mem_alloc_handle(root);
    MemHandle *b = kx_mem_alloc_handle(root);
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(a->parent, root);
    EXPECT_EQ(b->parent, root);
    EXPECT_EQ(children_of(root), (std::vector<MemHandle *>{b, a}));
}

TEST_F(MemsysTest, ZeroSizeAllocationIsValidAndDistinct)
{
    void *a = kx_mem_alloc(root, 0);
    void *b = kx_mem_alloc(root, 0);
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    EXPECT_NE(a, b);
    EXPECT_EQ(kx::mem_block_of(a)->size, 0u);
}

TEST_F(MemsysTest, WordBeforeUserPointerFindsHeader)
{
    void *p = kx_mem_alloc(root, 40);
    ASSERT_NE(p, nullptr);
    MemBlock *header = *reinterpret_cast<MemBlock **>(static_cast<char *>(p) - 8);
    EXPECT_EQ(header, root->first_block);
    EXPECT_EQ(user_of(header), p);
    EXPECT_EQ(header->size, 40u);
    EXPECT_EQ(header->ref_count, 1);
    EXPECT_EQ(header->kind, -1);
    EXPECT_EQ(header->destructor, nullptr);
    EXPECT_EQ(header->link, &root->first_block);
    EXPECT_EQ(header->next, nullptr);
}

TEST_F(MemsysTest, UserPointersAreSixteenAligned)
{
    for (size_t size : {0, 1, 7, 8, 15, 100, 4096}) {
        void *p = kx_mem_alloc(root, size);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 16, 0u) << size;
        void *q = kx_mem_alloc_node(root, size + 16, 901);
        ASSERT_NE(q, nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(q) % 16, 0u) << size;
    }
}

TEST_F(MemsysTest, BlocksAreListedNewestFirst)
{
    void *a = kx_mem_alloc(root, 8);
    void *b = kx_mem_alloc(root, 8);
    void *c = kx_mem_alloc(root, 8);
    EXPECT_EQ(blocks_of(root), (std::vector<void *>{c, b, a}));
}

TEST_F(MemsysTest, BlockIsWritableOverItsWholeSize)
{
    unsigned char *p = static_cast<unsigned char *>(kx_mem_alloc(root, 1000));
    ASSERT_NE(p, nullptr);
    std::memset(p, 0xAB, 1000);
    EXPECT_EQ(p[999], 0xAB);
    EXPECT_TRUE(listed_in(root, p));
}

TEST_F(MemsysTest, FreeingNewestMakesOlderTheHead)
{
    void *a = kx_mem_alloc(root, 8);
    void *b = kx_mem_alloc(root, 8);
    kx_mem_free(root, b);
    EXPECT_EQ(root->first_block, kx::mem_block_of(a));
    EXPECT_EQ(blocks_of(root), (std::vector<void *>{a}));
    kx_mem_free(root, a);
    EXPECT_EQ(root->first_block, nullptr);
}

TEST_F(MemsysTest, FreeingMiddleKeepsNeighboursLinked)
{
    void *a = kx_mem_alloc(root, 8);
    void *b = kx_mem_alloc(root, 8);
    void *c = kx_mem_alloc(root, 8);
    kx_mem_free(root, b);
    EXPECT_EQ(blocks_of(root), (std::vector<void *>{c, a}));
    EXPECT_EQ(kx::mem_block_of(c)->next, kx::mem_block_of(a));
    EXPECT_EQ(kx::mem_block_of(a)->link, &kx::mem_block_of(c)->next);
}

TEST_F(MemsysTest, FreeingOldestLeavesTheRest)
{
    void *a = kx_mem_alloc(root, 8);
    void *b = kx_mem_alloc(root, 8);
    kx_mem_free(root, a);
    EXPECT_EQ(blocks_of(root), (std::vector<void *>{b}));
    EXPECT_EQ(kx::mem_block_of(b)->next, nullptr);
}

TEST_F(MemsysTest, HandleArgumentOfFreeIsNotUsed)
{
    MemHandle *other = kx_mem_alloc_handle(nullptr);
    void *a = kx_mem_alloc(root, 8);
    void *b = kx_mem_alloc(root, 8);
    kx_mem_free(other, b);
    kx_mem_free(nullptr, a);
    EXPECT_EQ(root->first_block, nullptr);
    EXPECT_EQ(other->first_block, nullptr);
    kx_mem_release_handle(other);
}

TEST_F(MemsysTest, FreeRunsDestructorOnce)
{
    void *a = tagged_block(root, 'a');
    kx_mem_free(root, a);
    EXPECT_EQ(death_log, "a");
}

TEST_F(MemsysTest, DestructorReceivesTheUserPointer)
{
    static void *seen;
    seen = nullptr;
    void *p = kx_mem_alloc_ex(root, 4, [](void *q) { seen = q; return 7; });
    kx_mem_free(root, p);
    EXPECT_EQ(seen, p);
}

TEST_F(MemsysTest, ClonedBlockSurvivesOneFree)
{
    void *a = tagged_block(root, 'a');
    EXPECT_EQ(kx_mem_clone(root, a), a);
    EXPECT_EQ(kx::mem_block_of(a)->ref_count, 2);
    kx_mem_free(root, a);
    EXPECT_EQ(death_log, "");
    EXPECT_EQ(kx::mem_block_of(a)->ref_count, 1);
    EXPECT_EQ(blocks_of(root), (std::vector<void *>{a}));
    kx_mem_free(root, a);
    EXPECT_EQ(death_log, "a");
    EXPECT_EQ(root->first_block, nullptr);
}

TEST_F(MemsysTest, CloneIntoAnotherHandleLeavesBlockInFirst)
{
    MemHandle *other = kx_mem_alloc_handle(nullptr);
    void *a = tagged_block(root, 'a');
    EXPECT_EQ(kx_mem_clone(other, a), a);
    EXPECT_EQ(other->first_block, nullptr);
    EXPECT_TRUE(listed_in(root, a));
    kx_mem_release_handle(other);
    EXPECT_EQ(death_log, "");
    kx_mem_free(root, a);
    kx_mem_free(root, a);
    EXPECT_EQ(death_log, "a");
}

TEST_F(MemsysTest, ReleaseRunsDestructorsNewestFirst)
{
    MemHandle *h = kx_mem_alloc_handle(root);
    tagged_block(h, '1');
    tagged_block(h, '2');
    kx_mem_alloc(h, 8);  // no destructor
    tagged_block(h, '3');
    kx_mem_release_handle(h);
    EXPECT_EQ(death_log, "321");
    EXPECT_EQ(root->first_child, nullptr);
}

TEST_F(MemsysTest, ReleaseGoesChildrenFirstNewestFirstDepthFirst)
{
    MemHandle *p = kx_mem_alloc_handle(root);
    MemHandle *c1 = kx_mem_alloc_handle(p);
    MemHandle *g1 = kx_mem_alloc_handle(c1);
    MemHandle *g2 = kx_mem_alloc_handle(c1);
    MemHandle *c2 = kx_mem_alloc_handle(p);
    tagged_block(p, 'P');
    tagged_block(c1, 'C');
    tagged_block(g1, 'g');
    tagged_block(g2, 'G');
    tagged_block(c2, 'D');
    kx_mem_release_handle(p);
    // c2 is the newest child; within c1, g2 is the newer grandchild.
    EXPECT_EQ(death_log, "DGgCP");
    EXPECT_EQ(root->first_child, nullptr);
}

TEST_F(MemsysTest, ReleasingFirstChildKeepsParentAndSiblings)
{
    MemHandle *a = kx_mem_alloc_handle(root);
    MemHandle *b = kx_mem_alloc_handle(root);
    MemHandle *c = kx_mem_alloc_handle(root);
    tagged_block(root, 'r');
    tagged_block(a, 'a');
    tagged_block(b, 'b');
    tagged_block(c, 'c');
    kx_mem_release_handle(c);
    EXPECT_EQ(death_log, "c");
    EXPECT_EQ(children_of(root), (std::vector<MemHandle *>{b, a}));
    EXPECT_EQ(blocks_of(root).size(), 1u);
    EXPECT_EQ(blocks_of(a).size(), 1u);
    EXPECT_EQ(blocks_of(b).size(), 1u);
}

TEST_F(MemsysTest, ReleasingTheOldestOfThreeChildrenKeepsTheOthersInOrder)
{
    MemHandle *a = kx_mem_alloc_handle(root);
    MemHandle *b = kx_mem_alloc_handle(root);
    MemHandle *c = kx_mem_alloc_handle(root);
    tagged_block(a, 'a');
    tagged_block(b, 'b');
    tagged_block(c, 'c');
    kx_mem_release_handle(a);
    EXPECT_EQ(death_log, "a");
    EXPECT_EQ(children_of(root), (std::vector<MemHandle *>{c, b}));
    EXPECT_EQ(b->next_sibling, nullptr);
    EXPECT_EQ(blocks_of(b).size(), 1u);
    EXPECT_EQ(blocks_of(c).size(), 1u);
}

TEST_F(MemsysTest, ReleasingMiddleAndLastChildRelinksSiblings)
{
    MemHandle *a = kx_mem_alloc_handle(root);
    MemHandle *b = kx_mem_alloc_handle(root);
    MemHandle *c = kx_mem_alloc_handle(root);
    kx_mem_release_handle(b);
    EXPECT_EQ(children_of(root), (std::vector<MemHandle *>{c, a}));
    kx_mem_release_handle(a);
    EXPECT_EQ(children_of(root), (std::vector<MemHandle *>{c}));
    EXPECT_EQ(c->next_sibling, nullptr);
    kx_mem_release_handle(c);
    EXPECT_EQ(root->first_child, nullptr);
}

TEST_F(MemsysTest, ReleasingAGrandchildLeavesTheRestOfTheTree)
{
    MemHandle *c = kx_mem_alloc_handle(root);
    MemHandle *g1 = kx_mem_alloc_handle(c);
    MemHandle *g2 = kx_mem_alloc_handle(c);
    tagged_block(g1, '1');
    tagged_block(g2, '2');
    kx_mem_release_handle(g1);
    EXPECT_EQ(death_log, "1");
    EXPECT_EQ(children_of(c), (std::vector<MemHandle *>{g2}));
    EXPECT_EQ(children_of(root), (std::vector<MemHandle *>{c}));
}

TEST_F(MemsysTest, SharedBlockOutlivesItsHandle)
{
    MemHandle *h = kx_mem_alloc_handle(root);
    void *older = tagged_block(h, 'o');
    void *shared = tagged_block(h, 's');
    void *newer = tagged_block(h, 'n');
    kx_mem_clone(h, shared);
    kx_mem_release_handle(h);
    EXPECT_EQ(death_log, "no");
    MemBlock *header = kx::mem_block_of(shared);
    EXPECT_EQ(header->ref_count, 1);
    // It no longer points into the freed handle: it links to itself.
    EXPECT_EQ(header->link, &header->next);
    EXPECT_EQ(header->next, nullptr);
    EXPECT_EQ(static_cast<char *>(shared)[0], 's');
    // Its last free touches nothing of the freed handle (the sanitizer build
    // checks that) and runs its destructor once.
    kx_mem_free(nullptr, shared);
    EXPECT_EQ(death_log, "nos");
    (void)older;
    (void)newer;
}

TEST_F(MemsysTest, TwiceClonedBlockNeedsTwoFreesAfterRelease)
{
    MemHandle *h = kx_mem_alloc_handle(root);
    void *p = tagged_block(h, 'x');
    kx_mem_clone(h, p);
    kx_mem_clone(h, p);
    kx_mem_release_handle(h);
    EXPECT_EQ(kx::mem_block_of(p)->ref_count, 2);
    kx_mem_free(nullptr, p);
    EXPECT_EQ(death_log, "");
    kx_mem_free(nullptr, p);
    EXPECT_EQ(death_log, "x");
}

// A destructor that frees another block of its own handle while the handle
// is being released.
void *partner_block;
int free_partner(void *pointer)
{
    death_log += *static_cast<char *>(pointer);
    if (partner_block != nullptr) {
        void *p = partner_block;
        partner_block = nullptr;
        kx_mem_free(nullptr, p);
    }
    return 0;
}

TEST_F(MemsysTest, DestructorMayFreeAnotherBlockDuringRelease)
{
    MemHandle *h = kx_mem_alloc_handle(root);
    partner_block = tagged_block(h, 'b');
    tagged_block(h, 'c');
    char *a = static_cast<char *>(kx_mem_alloc_ex(h, 4, free_partner));
    a[0] = 'a';
    kx_mem_release_handle(h);
    EXPECT_EQ(death_log, "abc");
}

TEST_F(MemsysTest, FailedAllocationLeavesHandleUnchanged)
{
    void *a = kx_mem_alloc(root, 8);
    EXPECT_EQ(kx_mem_alloc(root, SIZE_MAX), nullptr);
    EXPECT_EQ(kx_mem_alloc(root, SIZE_MAX - 30), nullptr);
    EXPECT_EQ(kx_mem_alloc_ex(root, SIZE_MAX, log_death), nullptr);
    EXPECT_EQ(kx_mem_alloc_node(root, SIZE_MAX, 902), nullptr);
    EXPECT_EQ(blocks_of(root), (std::vector<void *>{a}));
}

TEST_F(MemsysTest, NullArgumentsAreHarmless)
{
    EXPECT_EQ(kx_mem_alloc(nullptr, 8), nullptr);
    EXPECT_EQ(kx_mem_alloc_ex(nullptr, 8, log_death), nullptr);
    EXPECT_EQ(kx_mem_alloc_node(nullptr, 8, 903), nullptr);
    kx_mem_free(root, nullptr);
    EXPECT_EQ(kx_mem_clone(root, nullptr), nullptr);
    kx_mem_release_handle(nullptr);
}

TEST_F(MemsysTest, TraceHooksDoNothing)
{
    int x;
    EXPECT_EQ(kx_mem_trace_init(&x), &x);
    EXPECT_EQ(kx_mem_trace_init(nullptr), nullptr);
    kx_mem_trace_term();
}

// ---- the kind cache ----

TEST_F(MemsysTest, NodeBlockRecordsKindAndSize)
{
    void *p = kx_mem_alloc_node(root, 48, 904);
    ASSERT_NE(p, nullptr);
    MemBlock *b = kx::mem_block_of(p);
    EXPECT_EQ(b->kind, 904);
    EXPECT_EQ(b->size, 48u);
    EXPECT_EQ(b->ref_count, 1);
    EXPECT_EQ(b->link, &root->first_block);
    EXPECT_EQ(b->destructor, nullptr);
}

TEST_F(MemsysTest, EleventhFreeOfAKindGoesBackToTheHeap)
{
    const int32_t kind = 905;
    EXPECT_EQ(kx::mem_cached_count(kind), 0);
    std::vector<void *> blocks;
    for (int i = 0; i < 11; i++)
        blocks.push_back(kx_mem_alloc_node(root, 64, kind));
    for (int i = 0; i < 11; i++) {
        kx_mem_free(root, blocks[i]);
        EXPECT_EQ(kx::mem_cached_count(kind), i < 10 ? i + 1 : 10) << i;
    }
    EXPECT_EQ(root->first_block, nullptr);
    // The ten cached blocks come back newest first; then fresh ones.
    for (int i = 9; i >= 0; i--) {
        EXPECT_EQ(kx_mem_alloc_node(root, 64, kind), blocks[i]) << i;
        EXPECT_EQ(kx::mem_cached_count(kind), i);
    }
    void *fresh = kx_mem_alloc_node(root, 64, kind);
    ASSERT_NE(fresh, nullptr);
    EXPECT_EQ(kx::mem_block_of(fresh)->kind, kind);
    EXPECT_EQ(kx::mem_cached_count(kind), 0);
}

TEST_F(MemsysTest, NewestCachedBlockIsReusedFirst)
{
    const int32_t kind = 906;
    void *a = kx_mem_alloc_node(root, 32, kind);
    void *b = kx_mem_alloc_node(root, 32, kind);
    kx_mem_free(root, a);
    kx_mem_free(root, b);
    EXPECT_EQ(kx_mem_alloc_node(root, 32, kind), b);
    EXPECT_EQ(kx_mem_alloc_node(root, 32, kind), a);
}

TEST_F(MemsysTest, RecycledBlockIsRelinkedAndKeepsItsContents)
{
    const int32_t kind = 907;
    MemHandle *other = kx_mem_alloc_handle(nullptr);
    char *a = static_cast<char *>(kx_mem_alloc_node(root, 32, kind));
    std::strcpy(a, "previous life");
    kx_mem_clone(root, a);
    kx_mem_free(root, a);
    kx_mem_free(root, a);
    void *older = kx_mem_alloc(other, 8);
    char *b = static_cast<char *>(kx_mem_alloc_node(other, 32, kind));
    ASSERT_EQ(b, a);
    EXPECT_STREQ(b, "previous life");  // contents are not cleared
    MemBlock *header = kx::mem_block_of(b);
    EXPECT_EQ(header->link, &other->first_block);
    EXPECT_EQ(header->ref_count, 1);
    EXPECT_EQ(header->kind, kind);
    EXPECT_EQ(blocks_of(other), (std::vector<void *>{b, older}));
    EXPECT_EQ(root->first_block, nullptr);
    kx_mem_release_handle(other);
    EXPECT_EQ(kx::mem_cached_count(kind), 1);
}

int32_t all_cached()
{
    int32_t sum = 0;
    for (int32_t kind = 0; kind < kx::kMemKindLimit; kind++)
        sum += kx::mem_cached_count(kind);
    return sum;
}

TEST_F(MemsysTest, OrdinaryBlocksNeverEnterTheCache)
{
    int32_t before = all_cached();
    std::vector<void *> blocks;
    for (int i = 0; i < 20; i++)
        blocks.push_back(kx_mem_alloc(root, 24));
    void *p = tagged_block(root, 'p');
    EXPECT_EQ(kx::mem_block_of(p)->kind, -1);
    for (void *b : blocks)
        kx_mem_free(root, b);
    kx_mem_free(root, p);
    EXPECT_EQ(death_log, "p");
    EXPECT_EQ(all_cached(), before);
}

TEST_F(MemsysTest, ReleaseCachesUpToTenOfAKind)
{
    const int32_t kind = 908;
    MemHandle *h = kx_mem_alloc_handle(root);
    std::set<void *> made;
    for (int i = 0; i < 12; i++)
        made.insert(kx_mem_alloc_node(h, 24, kind));
    kx_mem_release_handle(h);
    EXPECT_EQ(kx::mem_cached_count(kind), 10);
    for (int i = 0; i < 10; i++)
        EXPECT_EQ(made.count(kx_mem_alloc_node(root, 24, kind)), 1u);
}

TEST_F(MemsysTest, KindsOutsideTheCacheAreNeverCached)
{
    for (int32_t kind : {1000, 1001, 5000, INT32_MAX, -1, -2, INT32_MIN}) {
        std::vector<void *> blocks;
        for (int i = 0; i < 12; i++) {
            void *p = kx_mem_alloc_node(root, 40, kind);
            ASSERT_NE(p, nullptr) << kind;
            EXPECT_EQ(kx::mem_block_of(p)->kind, kind);
            blocks.push_back(p);
        }
        for (void *p : blocks)
            kx_mem_free(root, p);
        EXPECT_EQ(kx::mem_cached_count(kind), 0) << kind;
    }
    EXPECT_EQ(root->first_block, nullptr);
}

TEST_F(MemsysTest, KindsWithoutACacheSlotHaveNothingCached)
{
    for (int32_t kind : {-1, kx::kMemKindLimit, INT32_MAX}) {
        EXPECT_EQ(kx::mem_cached_count(kind), 0) << kind;
        EXPECT_EQ(kx::mem_cached_head(kind), nullptr) << kind;
    }
}

TEST_F(MemsysTest, LastKindBelowTheLimitIsCached)
{
    void *p = kx_mem_alloc_node(root, 40, 999);
    kx_mem_free(root, p);
    EXPECT_EQ(kx::mem_cached_count(999), 1);
    EXPECT_EQ(kx_mem_alloc_node(root, 40, 999), p);
}

TEST_F(MemsysTest, CachedBlockTooSmallForTheRequestIsNotUsed)
{
    const int32_t kind = 909;
    void *small = kx_mem_alloc_node(root, 16, kind);
    kx_mem_free(root, small);
    unsigned char *big = static_cast<unsigned char *>(kx_mem_alloc_node(root, 256, kind));
    ASSERT_NE(big, nullptr);
    EXPECT_NE(static_cast<void *>(big), small);
    std::memset(big, 0, 256);
    EXPECT_EQ(kx::mem_cached_count(kind), 1);
}

}  // namespace

namespace {

// ---- order of operations ----

// A destructor that records whether its block was still listed in the
// handle when it ran.
MemHandle *watched_handle;
std::string listing_log;

int note_listing(void *pointer)
{
    bool listed = false;
    for (MemBlock *b = watched_handle->first_block; b != nullptr; b = b->next)
        if (b == kx::mem_block_of(pointer))
            listed = true;
    listing_log += listed ? 'L' : 'u';
    return 0;
}

TEST_F(MemsysTest, DestructorRunsAfterTheBlockIsUnlinked)
{
    listing_log.clear();
    watched_handle = kx_mem_alloc_handle(root);
    void *a = kx_mem_alloc_ex(watched_handle, 8, note_listing);
    kx_mem_alloc(watched_handle, 8);
    kx_mem_free(nullptr, a);  // by free
    kx_mem_alloc_ex(watched_handle, 8, note_listing);
    kx_mem_alloc_ex(watched_handle, 8, note_listing);
    kx_mem_release_handle(watched_handle);  // by release
    EXPECT_EQ(listing_log, "uuu");
}

// A destructor that allocates into the handle being released: the new block
// is released with the rest (the sanitizer build would report a leak).
MemHandle *growing_handle;
int allocate_more(void *)
{
    void *p = kx_mem_alloc(growing_handle, 32);
    EXPECT_NE(p, nullptr);
    return 0;
}

TEST_F(MemsysTest, BlockMadeByADestructorDuringReleaseIsReleasedToo)
{
    growing_handle = kx_mem_alloc_handle(root);
    kx_mem_alloc_ex(growing_handle, 8, allocate_more);
    kx_mem_release_handle(growing_handle);
    EXPECT_EQ(root->first_child, nullptr);
}

TEST_F(MemsysTest, ReleaseCachesTheTenNewestAndReuseStartsFromTheLastCached)
{
    // Blocks b0 (oldest) to b11 (newest). The release walks newest first, so
    // b11 .. b2 go to the cache, b2 last, and b1, b0 go back to the heap. The
    // most recently cached comes back first: b2, b3, ..., b11.
    const int32_t kind = 910;
    MemHandle *h = kx_mem_alloc_handle(root);
    std::vector<void *> b;
    for (int i = 0; i < 12; i++)
        b.push_back(kx_mem_alloc_node(h, 24, kind));
    kx_mem_release_handle(h);
    ASSERT_EQ(kx::mem_cached_count(kind), 10);
    EXPECT_EQ(kx::mem_cached_head(kind), kx::mem_block_of(b[2]));
    for (int i = 2; i < 12; i++)
        EXPECT_EQ(kx_mem_alloc_node(root, 24, kind), b[i]) << i;
    EXPECT_EQ(kx::mem_cached_count(kind), 0);
    EXPECT_EQ(kx::mem_cached_head(kind), nullptr);
}

TEST_F(MemsysTest, CachedBlocksAreChainedNewestFirst)
{
    const int32_t kind = 911;
    void *a = kx_mem_alloc_node(root, 16, kind);
    void *b = kx_mem_alloc_node(root, 16, kind);
    void *c = kx_mem_alloc_node(root, 16, kind);
    kx_mem_free(root, b);
    kx_mem_free(root, a);
    kx_mem_free(root, c);
    MemBlock *head = kx::mem_cached_head(kind);
    ASSERT_NE(head, nullptr);
    EXPECT_EQ(head, kx::mem_block_of(c));
    EXPECT_EQ(head->next, kx::mem_block_of(a));
    EXPECT_EQ(head->next->next, kx::mem_block_of(b));
    EXPECT_EQ(head->next->next->next, nullptr);
    EXPECT_EQ(kx::mem_cached_count(kind), 3);
}

TEST_F(MemsysTest, FreeingASharedBlockOnlyDropsAReference)
{
    // A count above 1 is decremented and nothing else changes: the block
    // stays listed where it was and its destructor does not run.
    void *a = tagged_block(root, 'a');
    void *b = tagged_block(root, 'b');
    void *c = tagged_block(root, 'c');
    kx_mem_clone(root, b);
    kx_mem_clone(root, b);
    kx_mem_free(root, b);
    EXPECT_EQ(kx::mem_block_of(b)->ref_count, 2);
    EXPECT_EQ(blocks_of(root), (std::vector<void *>{c, b, a}));
    EXPECT_EQ(death_log, "");
    kx_mem_release_handle(kx_mem_alloc_handle(root));  // unrelated release
    EXPECT_EQ(blocks_of(root), (std::vector<void *>{c, b, a}));
    kx_mem_free(root, b);
    EXPECT_EQ(death_log, "");
    kx_mem_free(root, b);
    EXPECT_EQ(death_log, "b");
    EXPECT_EQ(blocks_of(root), (std::vector<void *>{c, a}));
}

// ---- caches per thread ----

// Each thread has a kind cache of its own: blocks freed by one thread are
// reused by that thread only, whichever thread allocated them.
TEST_F(MemsysTest, EachThreadHasItsOwnKindCache)
{
    const int32_t kind = 912;
    void *mine = kx_mem_alloc_node(root, 48, kind);
    void *for_other = kx_mem_alloc_node(root, 48, kind);
    kx_mem_free(root, mine);
    ASSERT_EQ(kx::mem_cached_count(kind), 1);

    int32_t other_before = -1;
    int32_t other_after = -1;
    bool other_reused_its_own = false;
    bool other_saw_mine = true;
    std::thread other([&] {
        other_before = kx::mem_cached_count(kind);
        MemHandle *h = kx_mem_alloc_handle(nullptr);
        void *fresh = kx_mem_alloc_node(h, 48, kind);
        other_saw_mine = fresh == mine;
        kx_mem_free(h, for_other);  // made by the main thread, freed here
        other_after = kx::mem_cached_count(kind);
        other_reused_its_own = kx_mem_alloc_node(h, 48, kind) == for_other;
        kx_mem_release_handle(h);
    });
    other.join();
    EXPECT_EQ(other_before, 0);
    EXPECT_FALSE(other_saw_mine);
    EXPECT_EQ(other_after, 1);
    EXPECT_TRUE(other_reused_its_own);
    // The main thread's cache is as it was.
    EXPECT_EQ(kx::mem_cached_count(kind), 1);
    EXPECT_EQ(kx_mem_alloc_node(root, 48, kind), mine);
}

// Ordinary blocks freed by a thread serve that thread's next requests of
// the same 16-byte size class (contents not cleared), and never any other
// class; the kind caches do not count them.
TEST_F(MemsysTest, FreedOrdinaryBlockServesItsSizeClass)
{
    int32_t kinds_before = 0;
    for (int32_t kind = 0; kind < kx::kMemKindLimit; kind++)
        kinds_before += kx::mem_cached_count(kind);
    char *a = static_cast<char *>(kx_mem_alloc(root, 100));
    ASSERT_NE(a, nullptr);
    std::strcpy(a, "kept");
    kx_mem_free(root, a);
    char *bigger = static_cast<char *>(kx_mem_alloc(root, 113));  // next class
    EXPECT_NE(bigger, a);
    char *same_class = static_cast<char *>(kx_mem_alloc(root, 112));
    EXPECT_EQ(same_class, a);
    EXPECT_STREQ(same_class, "kept");
    MemBlock *header = kx::mem_block_of(same_class);
    EXPECT_EQ(header->size, 112u);
    EXPECT_EQ(header->kind, -1);
    EXPECT_EQ(header->ref_count, 1);
    EXPECT_EQ(blocks_of(root), (std::vector<void *>{same_class, bigger}));
    std::memset(same_class, 0, 112);  // the whole request is usable
    int32_t kinds_after = 0;
    for (int32_t kind = 0; kind < kx::kMemKindLimit; kind++)
        kinds_after += kx::mem_cached_count(kind);
    EXPECT_EQ(kinds_after, kinds_before);
}

// A thread that exits gives its cached blocks back (the sanitizer build
// reports them as leaked otherwise).
TEST_F(MemsysTest, ExitingThreadGivesItsCacheBack)
{
    std::thread worker([] {
        MemHandle *h = kx_mem_alloc_handle(nullptr);
        for (int i = 0; i < 12; i++) {
            kx_mem_alloc_node(h, 64, 913);
            kx_mem_alloc(h, static_cast<size_t>(i) * 90);
        }
        kx_mem_release_handle(h);
        EXPECT_EQ(kx::mem_cached_count(913), 10);
    });
    worker.join();
    EXPECT_EQ(kx::mem_cached_count(913), 0);
}

// Under AddressSanitizer a block that waits in a cache is poisoned, so a
// read through a pointer kept after the block was freed is reported even
// though the memory was never given back to the system heap. A Value (a
// node kind) and an ordinary block are each read once after kx_mem_free.
#if defined(__SANITIZE_ADDRESS__)
TEST(MemsysAsanDeathTest, ReadOfACachedNodeIsReported)
{
    EXPECT_DEATH(
        {
            MemHandle *h = kx_mem_alloc_handle(nullptr);
            // values made before may fill the cache: take them out, so
            // that this one waits there
            for (int i = 0; i < kx::kMemCacheDepth; i++)
                newNode(sizeof(Value), NODE_VALUE, h);
            Value *v = static_cast<Value *>(newNode(sizeof(Value), NODE_VALUE, h));
            v->type = VALUE_INTEGER;
            kx_mem_free(h, v);
            ASSERT_EQ(kx::mem_cached_head(NODE_VALUE), kx::mem_block_of(v));
            std::printf("%d\n", *static_cast<volatile int32_t *>(&v->type));
        },
        "use-after-poison");
}

TEST(MemsysAsanDeathTest, ReadOfACachedOrdinaryBlockIsReported)
{
    EXPECT_DEATH(
        {
            MemHandle *h = kx_mem_alloc_handle(nullptr);
            char *p = static_cast<char *>(kx_mem_alloc(h, 40));
            p[0] = 'x';
            kx_mem_free(h, p);
            std::printf("%c\n", *static_cast<volatile char *>(p));
        },
        "use-after-poison|heap-use-after-free");
}

// Handed out again, the block is whole and usable without a report.
TEST(MemsysAsanTest, ACachedNodeHandedOutAgainIsUnpoisoned)
{
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    const int32_t kind = 914;
    char *a = static_cast<char *>(kx_mem_alloc_node(h, 96, kind));
    kx_mem_free(h, a);
    char *b = static_cast<char *>(kx_mem_alloc_node(h, 96, kind));
    EXPECT_EQ(a, b);
    std::memset(b, 1, 96);
    EXPECT_EQ(b[95], 1);
    kx_mem_release_handle(h);
}
#endif

}  // namespace

// ---- released handle records ----

// A released handle's record serves the thread's next handle: a driver
// that makes a handle for every row gets the same record back, clean.
TEST_F(MemsysTest, AReleasedHandleRecordServesTheNextHandle)
{
    MemHandle *row = kx_mem_alloc_handle(root);
    ASSERT_NE(row, nullptr);
    ASSERT_NE(kx_mem_alloc(row, 40), nullptr);
    MemHandle *child = kx_mem_alloc_handle(row);
    ASSERT_NE(child, nullptr);
    kx_mem_release_handle(row);  // row's record is retired last, so it is on top
    MemHandle *next = kx_mem_alloc_handle(root);
    ASSERT_NE(next, nullptr);
    EXPECT_EQ(next, row);
    EXPECT_EQ(next->first_block, nullptr);
    EXPECT_EQ(next->first_child, nullptr);
    EXPECT_EQ(next->parent, root);
    EXPECT_EQ(children_of(root), (std::vector<MemHandle *>{next}));
    // and the one released before it comes next
    MemHandle *after = kx_mem_alloc_handle(root);
    EXPECT_EQ(after, child);
    EXPECT_EQ(after->parent, root);
    EXPECT_EQ(children_of(root), (std::vector<MemHandle *>{after, next}));
}

// Past 16 kept records the rest go back to the heap, and every handle
// made afterwards is distinct and usable (LeakSanitizer checks that the
// kept ones are given back when the thread ends).
TEST_F(MemsysTest, ManyReleasedHandlesLeaveDistinctUsableRecords)
{
    std::thread worker([] {
        std::vector<MemHandle *> made;
        for (int i = 0; i < 40; ++i)
            made.push_back(kx_mem_alloc_handle(nullptr));
        for (MemHandle *h : made)
            kx_mem_release_handle(h);
        std::vector<MemHandle *> again;
        for (int i = 0; i < 40; ++i) {
            MemHandle *h = kx_mem_alloc_handle(nullptr);
            ASSERT_NE(h, nullptr);
            ASSERT_NE(kx_mem_alloc(h, 8), nullptr);
            again.push_back(h);
        }
        std::vector<MemHandle *> sorted = again;
        std::sort(sorted.begin(), sorted.end());
        EXPECT_EQ(std::adjacent_find(sorted.begin(), sorted.end()), sorted.end());
        for (MemHandle *h : again)
            kx_mem_release_handle(h);
    });
    worker.join();
}
