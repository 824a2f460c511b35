/*
 * memory_cases_test.cpp - cases for memory pools, lists, hash tables and the
 * string-buffer helpers, written against the public header alone.
 *
 * Every expected value below is worked out by hand from the documented
 * rules (hash values from h = h * 4 + signed byte, buffer results from the
 * ODBC output-buffer contract), not read back from the library.
 */
#include <kxsupp.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

/* ------------------------------------------------------------------ */
/* Memory pools                                                        */
/* ------------------------------------------------------------------ */

/* Destructors record the order in which blocks die. */
std::vector<void *> g_died;

int record_death(void *pointer)
{
    g_died.push_back(pointer);
    return 0;
}

class MemoryPools : public ::testing::Test {
protected:
    void SetUp() override { g_died.clear(); }
};

TEST_F(MemoryPools, NewRootHandleIsEmpty)
{
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(h->first_block, nullptr);
    EXPECT_EQ(h->parent, nullptr);
    EXPECT_EQ(h->next_sibling, nullptr);
    EXPECT_EQ(h->first_child, nullptr);
    kx_mem_release_handle(h);
}

TEST_F(MemoryPools, NewChildIsPushedAtTheFrontOfItsParent)
{
    MemHandle *p = kx_mem_alloc_handle(nullptr);
    MemHandle *c1 = kx_mem_alloc_handle(p);
    MemHandle *c2 = kx_mem_alloc_handle(p);
    ASSERT_NE(c1, nullptr);
    ASSERT_NE(c2, nullptr);
    EXPECT_EQ(c1->parent, p);
    EXPECT_EQ(c2->parent, p);
    EXPECT_EQ(p->first_child, c2);
    EXPECT_EQ(c2->next_sibling, c1);
    EXPECT_EQ(c1->next_sibling, nullptr);
    EXPECT_EQ(c1->first_child, nullptr);
    EXPECT_EQ(c1->first_block, nullptr);
    kx_mem_release_handle(p);
}

TEST_F(MemoryPools, ZeroSizeBlocksAreValidAndDistinct)
{
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    void *a = kx_mem_alloc(h, 0);
    void *b = kx_mem_alloc(h, 0);
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    EXPECT_NE(a, b);
    EXPECT_NE(h->first_block, nullptr);
    kx_mem_release_handle(h);
}

TEST_F(MemoryPools, BlocksAreUsableForTheirWholeSize)
{
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    const size_t sizes[] = {1, 7, 8, 9, 100, 4096};
    for (size_t size : sizes) {
        auto *p = static_cast<unsigned char *>(kx_mem_alloc(h, size));
        ASSERT_NE(p, nullptr);
        std::memset(p, 0xA5, size);
        EXPECT_EQ(p[size - 1], 0xA5);
    }
    kx_mem_release_handle(h);
}

TEST_F(MemoryPools, DestructorGetsTheUserPointerWhenFreed)
{
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    void *p = kx_mem_alloc_ex(h, 16, record_death);
    ASSERT_NE(p, nullptr);
    kx_mem_free(h, p);
    ASSERT_EQ(g_died.size(), 1u);
    EXPECT_EQ(g_died[0], p);
    EXPECT_EQ(h->first_block, nullptr);
    kx_mem_release_handle(h);
    EXPECT_EQ(g_died.size(), 1u);
}

TEST_F(MemoryPools, ReleaseRunsDestructorsNewestFirst)
{
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    void *a = kx_mem_alloc_ex(h, 8, record_death);
    void *b = kx_mem_alloc(h, 8); /* no destructor */
    void *c = kx_mem_alloc_ex(h, 8, record_death);
    void *d = kx_mem_alloc_ex(h, 8, record_death);
    ASSERT_TRUE(a && b && c && d);
    kx_mem_release_handle(h);
    std::vector<void *> expected = {d, c, a};
    EXPECT_EQ(g_died, expected);
}

TEST_F(MemoryPools, FreeingTheNewestBlockKeepsTheOlderOnes)
{
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    void *a = kx_mem_alloc_ex(h, 8, record_death);
    void *b = kx_mem_alloc_ex(h, 8, record_death);
    void *c = kx_mem_alloc_ex(h, 8, record_death);
    kx_mem_free(h, c);
    ASSERT_EQ(g_died.size(), 1u);
    EXPECT_EQ(g_died[0], c);
    g_died.clear();
    kx_mem_release_handle(h);
    std::vector<void *> expected = {b, a};
    EXPECT_EQ(g_died, expected);
}

TEST_F(MemoryPools, FreeingAMiddleBlockKeepsItsNeighboursLinked)
{
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    void *a = kx_mem_alloc_ex(h, 8, record_death);
    void *b = kx_mem_alloc_ex(h, 8, record_death);
    void *c = kx_mem_alloc_ex(h, 8, record_death);
    kx_mem_free(h, b);
    g_died.clear();
    /* Both neighbours can still be freed one at a time. */
    kx_mem_free(h, c);
    EXPECT_NE(h->first_block, nullptr);
    kx_mem_free(h, a);
    EXPECT_EQ(h->first_block, nullptr);
    std::vector<void *> expected = {c, a};
    EXPECT_EQ(g_died, expected);
    kx_mem_release_handle(h);
}

TEST_F(MemoryPools, FreeingTheOldestBlockThenReleasing)
{
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    void *a = kx_mem_alloc_ex(h, 8, record_death);
    void *b = kx_mem_alloc_ex(h, 8, record_death);
    void *c = kx_mem_alloc_ex(h, 8, record_death);
    kx_mem_free(h, a);
    g_died.clear();
    kx_mem_release_handle(h);
    std::vector<void *> expected = {c, b};
    EXPECT_EQ(g_died, expected);
}

TEST_F(MemoryPools, FreeIgnoresTheHandleArgument)
{
    MemHandle *h1 = kx_mem_alloc_handle(nullptr);
    MemHandle *h2 = kx_mem_alloc_handle(nullptr);
    void *a = kx_mem_alloc_ex(h1, 8, record_death);
    void *b = kx_mem_alloc_ex(h1, 8, record_death);
    void *x = kx_mem_alloc_ex(h2, 8, record_death);
    kx_mem_free(h2, b); /* b leaves h1's list, not h2's */
    kx_mem_free(nullptr, a);
    EXPECT_EQ(h1->first_block, nullptr);
    EXPECT_NE(h2->first_block, nullptr);
    g_died.clear();
    kx_mem_release_handle(h2);
    std::vector<void *> expected = {x};
    EXPECT_EQ(g_died, expected);
    g_died.clear();
    kx_mem_release_handle(h1);
    EXPECT_TRUE(g_died.empty());
}

TEST_F(MemoryPools, ClonedBlockSurvivesOneFree)
{
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    void *p = kx_mem_alloc_ex(h, 24, record_death);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(kx_mem_clone(h, p), p);
    std::memset(p, 0x11, 24);
    kx_mem_free(h, p);
    EXPECT_TRUE(g_died.empty());
    EXPECT_EQ(static_cast<unsigned char *>(p)[23], 0x11); /* still alive */
    kx_mem_free(h, p);
    ASSERT_EQ(g_died.size(), 1u);
    EXPECT_EQ(g_died[0], p);
    kx_mem_release_handle(h);
    EXPECT_EQ(g_died.size(), 1u); /* exactly once */
}

TEST_F(MemoryPools, CloneIgnoresTheHandleArgument)
{
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    void *p = kx_mem_alloc_ex(h, 8, record_death);
    EXPECT_EQ(kx_mem_clone(nullptr, p), p);
    EXPECT_EQ(kx_mem_clone(h, p), p);
    kx_mem_free(nullptr, p);
    kx_mem_free(nullptr, p);
    EXPECT_TRUE(g_died.empty());
    kx_mem_free(nullptr, p);
    EXPECT_EQ(g_died.size(), 1u);
    kx_mem_release_handle(h);
}

TEST_F(MemoryPools, ClonedBlockOutlivesItsHandleAndIsFreedLater)
{
    MemHandle *root = kx_mem_alloc_handle(nullptr);
    MemHandle *h = kx_mem_alloc_handle(root);
    void *other = kx_mem_alloc_ex(h, 8, record_death);
    void *kept = kx_mem_alloc_ex(h, 32, record_death);
    void *older = kx_mem_alloc_ex(h, 8, record_death);
    (void)older;
    kx_mem_clone(root, kept);
    kx_mem_release_handle(h);
    /* The two ordinary blocks died; the cloned one is still alive. */
    ASSERT_EQ(g_died.size(), 2u);
    EXPECT_EQ(root->first_child, nullptr);
    std::memset(kept, 0x5A, 32);
    g_died.clear();
    /* The last reference goes through kx_mem_free, which must not touch
       the freed handle or any live memory. */
    kx_mem_free(nullptr, kept);
    ASSERT_EQ(g_died.size(), 1u);
    EXPECT_EQ(g_died[0], kept);
    (void)other;
    kx_mem_release_handle(root);
}

TEST_F(MemoryPools, ReleasingAParentReleasesGrandchildrenFirst)
{
    MemHandle *p = kx_mem_alloc_handle(nullptr);
    void *pb = kx_mem_alloc_ex(p, 8, record_death);
    MemHandle *c1 = kx_mem_alloc_handle(p);
    void *c1b = kx_mem_alloc_ex(c1, 8, record_death);
    MemHandle *g = kx_mem_alloc_handle(c1);
    void *gb = kx_mem_alloc_ex(g, 8, record_death);
    MemHandle *c2 = kx_mem_alloc_handle(p);
    void *c2b = kx_mem_alloc_ex(c2, 8, record_death);
    kx_mem_release_handle(p);
    /* Newest child first, depth first, then the parent's own blocks. */
    std::vector<void *> expected = {c2b, gb, c1b, pb};
    EXPECT_EQ(g_died, expected);
}

TEST_F(MemoryPools, ReleasingAChildLeavesParentAndSiblings)
{
    MemHandle *p = kx_mem_alloc_handle(nullptr);
    void *pb = kx_mem_alloc_ex(p, 8, record_death);
    MemHandle *c1 = kx_mem_alloc_handle(p);
    MemHandle *c2 = kx_mem_alloc_handle(p);
    MemHandle *c3 = kx_mem_alloc_handle(p);
    void *b1 = kx_mem_alloc_ex(c1, 8, record_death);
    void *b2 = kx_mem_alloc_ex(c2, 8, record_death);
    void *b3 = kx_mem_alloc_ex(c3, 8, record_death);
    ASSERT_EQ(p->first_child, c3);

    kx_mem_release_handle(c2); /* a middle child */
    EXPECT_EQ(g_died, std::vector<void *>{b2});
    EXPECT_EQ(p->first_child, c3);
    EXPECT_EQ(c3->next_sibling, c1);
    EXPECT_EQ(c1->next_sibling, nullptr);

    kx_mem_release_handle(c3); /* the first child */
    EXPECT_EQ(p->first_child, c1);
    EXPECT_EQ(c1->next_sibling, nullptr);

    kx_mem_release_handle(c1); /* the last one */
    EXPECT_EQ(p->first_child, nullptr);
    std::vector<void *> expected = {b2, b3, b1};
    EXPECT_EQ(g_died, expected);

    /* The parent's own block is untouched and usable. */
    std::memset(pb, 0, 8);
    g_died.clear();
    kx_mem_release_handle(p);
    EXPECT_EQ(g_died, std::vector<void *>{pb});
}

TEST_F(MemoryPools, TraceHooksAreInert)
{
    int x = 0;
    EXPECT_EQ(kx_mem_trace_init(&x), &x);
    EXPECT_EQ(kx_mem_trace_init(nullptr), nullptr);
    kx_mem_trace_term();
}

/* The kind cache is process-wide: each test uses its own kind numbers. */

TEST_F(MemoryPools, NodeAfterAFreeOfTheSameKindReusesTheAddress)
{
    const int32_t kind = 901;
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    void *a = kx_mem_alloc_node(h, 48, kind);
    ASSERT_NE(a, nullptr);
    kx_mem_free(h, a);
    void *b = kx_mem_alloc_node(h, 48, kind);
    EXPECT_EQ(b, a);
    kx_mem_release_handle(h);
}

TEST_F(MemoryPools, CacheHandsOutTheMostRecentlyFreedFirst)
{
    const int32_t kind = 902;
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    void *a = kx_mem_alloc_node(h, 40, kind);
    void *b = kx_mem_alloc_node(h, 40, kind);
    void *c = kx_mem_alloc_node(h, 40, kind);
    kx_mem_free(h, a);
    kx_mem_free(h, c);
    kx_mem_free(h, b);
    EXPECT_EQ(kx_mem_alloc_node(h, 40, kind), b);
    EXPECT_EQ(kx_mem_alloc_node(h, 40, kind), c);
    EXPECT_EQ(kx_mem_alloc_node(h, 40, kind), a);
    kx_mem_release_handle(h);
}

TEST_F(MemoryPools, RecycledNodeKeepsItsPreviousContents)
{
    const int32_t kind = 903;
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    auto *a = static_cast<unsigned char *>(kx_mem_alloc_node(h, 64, kind));
    ASSERT_NE(a, nullptr);
    for (int i = 0; i < 64; ++i)
        a[i] = static_cast<unsigned char>(i + 1);
    kx_mem_free(h, a);
    auto *b = static_cast<unsigned char *>(kx_mem_alloc_node(h, 64, kind));
    ASSERT_EQ(b, a);
    for (int i = 0; i < 64; ++i)
        EXPECT_EQ(b[i], i + 1) << i;
    kx_mem_release_handle(h);
}

TEST_F(MemoryPools, EachKindCachesAtMostTenBlocks)
{
    const int32_t kind = 904;
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    void *p[11];
    for (auto &q : p) {
        q = kx_mem_alloc_node(h, 32, kind);
        ASSERT_NE(q, nullptr);
    }
    for (auto *q : p)
        kx_mem_free(h, q); /* ten cached, the eleventh back to the heap */
    void *again[11];
    for (auto &q : again)
        q = kx_mem_alloc_node(h, 32, kind);
    /* The eleventh was never cached: the tenth comes out first. */
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(again[i], p[9 - i]) << i;
    ASSERT_NE(again[10], nullptr);
    for (int i = 0; i < 10; ++i)
        EXPECT_NE(again[10], again[i]);
    kx_mem_release_handle(h);
}

TEST_F(MemoryPools, ReleasedNodesGoToTheCacheNewestFirst)
{
    const int32_t kind = 905;
    MemHandle *h1 = kx_mem_alloc_handle(nullptr);
    void *a = kx_mem_alloc_node(h1, 16, kind);
    void *b = kx_mem_alloc_node(h1, 16, kind);
    void *c = kx_mem_alloc_node(h1, 16, kind);
    kx_mem_release_handle(h1); /* caches c, then b, then a */
    MemHandle *h2 = kx_mem_alloc_handle(nullptr);
    EXPECT_EQ(kx_mem_alloc_node(h2, 16, kind), a);
    EXPECT_EQ(kx_mem_alloc_node(h2, 16, kind), b);
    EXPECT_EQ(kx_mem_alloc_node(h2, 16, kind), c);
    kx_mem_release_handle(h2);
}

TEST_F(MemoryPools, ReleaseAlsoStopsCachingAtTen)
{
    const int32_t kind = 906;
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    void *p[12];
    for (auto &q : p)
        q = kx_mem_alloc_node(h, 24, kind);
    kx_mem_release_handle(h); /* p[11] .. p[2] cached, p[1], p[0] freed */
    MemHandle *h2 = kx_mem_alloc_handle(nullptr);
    for (int i = 2; i < 12; ++i)
        EXPECT_EQ(kx_mem_alloc_node(h2, 24, kind), p[i]) << i;
    kx_mem_release_handle(h2);
}

TEST_F(MemoryPools, KindsAreCachedSeparately)
{
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    void *a = kx_mem_alloc_node(h, 16, 907);
    void *b = kx_mem_alloc_node(h, 16, 908);
    kx_mem_free(h, a);
    kx_mem_free(h, b);
    EXPECT_EQ(kx_mem_alloc_node(h, 16, 907), a);
    EXPECT_EQ(kx_mem_alloc_node(h, 16, 908), b);
    kx_mem_release_handle(h);
}

TEST_F(MemoryPools, OrdinaryBlocksAreNeverCached)
{
    const int32_t kind = 909;
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    /* Fill the cache of this kind with known blocks first. */
    void *n = kx_mem_alloc_node(h, 16, kind);
    kx_mem_free(h, n);
    void *o = kx_mem_alloc(h, 16);
    kx_mem_free(h, o);
    /* The ordinary block did not enter the kind's cache. */
    EXPECT_EQ(kx_mem_alloc_node(h, 16, kind), n);
    kx_mem_release_handle(h);
}

TEST_F(MemoryPools, KindsOutsideTheCacheStillAllocate)
{
    /* No cache slot exists for these; they must still work safely. */
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    for (int32_t kind : {1000, 5000, -1, -7}) {
        for (int round = 0; round < 12; ++round) {
            auto *p = static_cast<unsigned char *>(kx_mem_alloc_node(h, 20, kind));
            ASSERT_NE(p, nullptr) << kind;
            std::memset(p, 0x3C, 20);
            kx_mem_free(h, p);
        }
        EXPECT_NE(kx_mem_alloc_node(h, 20, kind), nullptr);
    }
    kx_mem_release_handle(h);
}

TEST_F(MemoryPools, NodesDieWithTheirHandleAndRunNoStaleDestructor)
{
    const int32_t kind = 911;
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    void *plain = kx_mem_alloc_ex(h, 16, record_death);
    void *node = kx_mem_alloc_node(h, 16, kind);
    kx_mem_release_handle(h);
    EXPECT_EQ(g_died, std::vector<void *>{plain});
    g_died.clear();
    MemHandle *h2 = kx_mem_alloc_handle(nullptr);
    EXPECT_EQ(kx_mem_alloc_node(h2, 16, kind), node);
    kx_mem_release_handle(h2);
    EXPECT_TRUE(g_died.empty());
}

TEST_F(MemoryPools, RecycledNodeHasOneReferenceAndNewOwner)
{
    const int32_t kind = 910;
    MemHandle *h1 = kx_mem_alloc_handle(nullptr);
    MemHandle *h2 = kx_mem_alloc_handle(nullptr);
    void *a = kx_mem_alloc_node(h1, 16, kind);
    kx_mem_clone(h1, a);
    kx_mem_free(h1, a);
    kx_mem_free(h1, a); /* cached now */
    EXPECT_EQ(h1->first_block, nullptr);
    void *b = kx_mem_alloc_node(h2, 16, kind);
    ASSERT_EQ(b, a);
    EXPECT_NE(h2->first_block, nullptr);
    kx_mem_free(nullptr, b); /* one free is the last reference */
    EXPECT_EQ(h2->first_block, nullptr);
    EXPECT_EQ(kx_mem_alloc_node(h1, 16, kind), a);
    EXPECT_NE(h1->first_block, nullptr);
    kx_mem_release_handle(h1);
    kx_mem_release_handle(h2);
}

/* ------------------------------------------------------------------ */
/* Lists                                                               */
/* ------------------------------------------------------------------ */

class Lists : public ::testing::Test {
protected:
    void SetUp() override { h = kx_mem_alloc_handle(nullptr); }
    void TearDown() override { kx_mem_release_handle(h); }

    List *make(std::initializer_list<int *> items)
    {
        List *l = nullptr;
        for (int *p : items)
            l = ListAppend(p, l, h);
        return l;
    }

    static std::vector<void *> forward(const List *l)
    {
        std::vector<void *> out;
        for (ListElement *e = ListFirst(l); e; e = ListNext(e))
            out.push_back(ListData(e));
        return out;
    }

    static std::vector<void *> backward(const List *l)
    {
        std::vector<void *> out;
        for (ListElement *e = ListLast(l); e; e = ListPrior(e))
            out.push_back(ListData(e));
        return out;
    }

    MemHandle *h = nullptr;
    int v[8] = {0, 1, 2, 3, 4, 5, 6, 7};
};

TEST_F(Lists, NullListIsEmpty)
{
    EXPECT_EQ(ListCount(nullptr), 0);
    EXPECT_EQ(ListFirst(nullptr), nullptr);
    EXPECT_EQ(ListLast(nullptr), nullptr);
    int x;
    ListElement fake = {&x, nullptr, nullptr};
    EXPECT_EQ(ListDelete(nullptr, &fake, h), nullptr);
}

TEST_F(Lists, FirstAppendMakesAListOfOne)
{
    List *l = ListAppend(&v[1], nullptr, h);
    ASSERT_NE(l, nullptr);
    EXPECT_EQ(ListCount(l), 1);
    ASSERT_NE(ListFirst(l), nullptr);
    EXPECT_EQ(ListFirst(l), ListLast(l));
    EXPECT_EQ(ListData(ListFirst(l)), &v[1]);
    EXPECT_EQ(ListNext(ListFirst(l)), nullptr);
    EXPECT_EQ(ListPrior(ListFirst(l)), nullptr);
    EXPECT_EQ(l->count, 1);
}

TEST_F(Lists, AppendKeepsOrderBothWays)
{
    List *l = make({&v[1], &v[2], &v[3], &v[4]});
    EXPECT_EQ(ListCount(l), 4);
    EXPECT_EQ(forward(l), (std::vector<void *>{&v[1], &v[2], &v[3], &v[4]}));
    EXPECT_EQ(backward(l), (std::vector<void *>{&v[4], &v[3], &v[2], &v[1]}));
    /* Appending to an existing list returns that list. */
    EXPECT_EQ(ListAppend(&v[5], l, h), l);
    EXPECT_EQ(ListData(ListLast(l)), &v[5]);
}

TEST_F(Lists, NullDataIsKept)
{
    List *l = ListAppend(nullptr, nullptr, h);
    EXPECT_EQ(ListCount(l), 1);
    EXPECT_EQ(ListData(ListFirst(l)), nullptr);
}

TEST_F(Lists, DeletingTheOnlyElement)
{
    List *l = ListAppend(&v[1], nullptr, h);
    EXPECT_EQ(ListDelete(l, ListFirst(l), h), nullptr);
    EXPECT_EQ(ListCount(l), 0);
    EXPECT_EQ(ListFirst(l), nullptr);
    EXPECT_EQ(ListLast(l), nullptr);
    EXPECT_EQ(v[1], 1); /* data untouched */
    /* The header survives and takes new elements. */
    EXPECT_EQ(ListAppend(&v[2], l, h), l);
    EXPECT_EQ(ListCount(l), 1);
    EXPECT_EQ(ListFirst(l), ListLast(l));
    EXPECT_EQ(ListData(ListFirst(l)), &v[2]);
}

TEST_F(Lists, DeletingFromAnEmptyListDoesNothing)
{
    List *l = ListAppend(&v[1], nullptr, h);
    ListDelete(l, ListFirst(l), h);
    ListElement fake = {&v[2], nullptr, nullptr};
    EXPECT_EQ(ListDelete(l, &fake, h), nullptr);
    EXPECT_EQ(ListCount(l), 0);
}

TEST_F(Lists, DeletingTheFirstOfThreeReturnsTheSecond)
{
    List *l = make({&v[1], &v[2], &v[3]});
    ListElement *second = ListNext(ListFirst(l));
    EXPECT_EQ(ListDelete(l, ListFirst(l), h), second);
    EXPECT_EQ(ListFirst(l), second);
    EXPECT_EQ(ListPrior(second), nullptr);
    EXPECT_EQ(ListCount(l), 2);
    EXPECT_EQ(forward(l), (std::vector<void *>{&v[2], &v[3]}));
    EXPECT_EQ(backward(l), (std::vector<void *>{&v[3], &v[2]}));
}

TEST_F(Lists, DeletingTheMiddleOfThree)
{
    List *l = make({&v[1], &v[2], &v[3]});
    ListElement *middle = ListNext(ListFirst(l));
    EXPECT_EQ(ListDelete(l, middle, h), ListLast(l));
    EXPECT_EQ(ListCount(l), 2);
    EXPECT_EQ(forward(l), (std::vector<void *>{&v[1], &v[3]}));
    EXPECT_EQ(backward(l), (std::vector<void *>{&v[3], &v[1]}));
}

TEST_F(Lists, DeletingTheLastOfThree)
{
    List *l = make({&v[1], &v[2], &v[3]});
    ListElement *second = ListNext(ListFirst(l));
    EXPECT_EQ(ListDelete(l, ListLast(l), h), nullptr);
    EXPECT_EQ(ListLast(l), second);
    EXPECT_EQ(ListNext(second), nullptr);
    EXPECT_EQ(ListCount(l), 2);
    EXPECT_EQ(backward(l), (std::vector<void *>{&v[2], &v[1]}));
}

TEST_F(Lists, DeleteWhileWalking)
{
    List *l = make({&v[1], &v[2], &v[3], &v[4], &v[5]});
    ListElement *e = ListFirst(l);
    while (e) {
        int value = *static_cast<int *>(ListData(e));
        if (value % 2)
            e = ListDelete(l, e, h);
        else
            e = ListNext(e);
    }
    EXPECT_EQ(ListCount(l), 2);
    EXPECT_EQ(forward(l), (std::vector<void *>{&v[2], &v[4]}));
    EXPECT_EQ(backward(l), (std::vector<void *>{&v[4], &v[2]}));
}

TEST_F(Lists, RewriteReplacesTheData)
{
    List *l = make({&v[1], &v[2]});
    ListRewrite(ListLast(l), &v[7]);
    EXPECT_EQ(ListData(ListLast(l)), &v[7]);
    EXPECT_EQ(ListData(ListFirst(l)), &v[1]);
    EXPECT_EQ(ListCount(l), 2);
}

struct Visit {
    void *data;
    void *context;
    int32_t last;
};

std::vector<Visit> g_visits;

int visit(void *data, void *context, int32_t last)
{
    g_visits.push_back({data, context, last});
    return 7; /* ignored */
}

TEST_F(Lists, EnumerateFlagsTheLastElement)
{
    List *l = make({&v[1], &v[2], &v[3]});
    g_visits.clear();
    int context = 0;
    ListEnumerate(l, visit, &context);
    ASSERT_EQ(g_visits.size(), 3u);
    const int32_t last[] = {0, 0, 1};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(g_visits[i].data, &v[i + 1]);
        EXPECT_EQ(g_visits[i].context, &context);
        EXPECT_EQ(g_visits[i].last, last[i]);
    }
}

TEST_F(Lists, EnumerateOneAndNone)
{
    List *l = ListAppend(&v[1], nullptr, h);
    g_visits.clear();
    ListEnumerate(l, visit, nullptr);
    ASSERT_EQ(g_visits.size(), 1u);
    EXPECT_EQ(g_visits[0].last, 1);
    ListDelete(l, ListFirst(l), h);
    g_visits.clear();
    ListEnumerate(l, visit, nullptr);
    EXPECT_TRUE(g_visits.empty());
}

TEST_F(Lists, MergeWithNulls)
{
    EXPECT_EQ(ListMerge(nullptr, nullptr), nullptr);
    List *a = make({&v[1], &v[2]});
    EXPECT_EQ(ListMerge(a, nullptr), a);
    EXPECT_EQ(ListCount(a), 2);
    EXPECT_EQ(forward(a), (std::vector<void *>{&v[1], &v[2]}));
    List *b = make({&v[3]});
    EXPECT_EQ(ListMerge(nullptr, b), b);
    EXPECT_EQ(ListCount(b), 1);
}

TEST_F(Lists, MergeTwoAndThree)
{
    List *a = make({&v[1], &v[2]});
    List *b = make({&v[3], &v[4], &v[5]});
    ListElement *b_first = ListFirst(b);
    ListElement *b_last = ListLast(b);
    List *m = ListMerge(a, b);
    EXPECT_EQ(m, a);
    EXPECT_EQ(ListCount(m), 5);
    EXPECT_EQ(forward(m),
              (std::vector<void *>{&v[1], &v[2], &v[3], &v[4], &v[5]}));
    EXPECT_EQ(ListLast(m), b_last);
    /* b's header is left as it was. */
    EXPECT_EQ(b->first, b_first);
    EXPECT_EQ(b->last, b_last);
    EXPECT_EQ(b->count, 3);
    /* The merged list keeps working. */
    ListAppend(&v[6], m, h);
    EXPECT_EQ(ListCount(m), 6);
    EXPECT_EQ(ListData(ListLast(m)), &v[6]);
}

/* ------------------------------------------------------------------ */
/* Hash tables                                                         */
/* ------------------------------------------------------------------ */

TEST(HashTables, DefaultAndExplicitSizes)
{
    HashTable *t = kx_make_hash_table(0);
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->bucket_count, 53);
    EXPECT_EQ(t->item_count, 0);
    for (int i = 0; i < 53; ++i)
        EXPECT_EQ(kx_get_hash_bucket(i, t), nullptr);
    kx_dispose_hash_table(t);

    t = kx_make_hash_table(7);
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->bucket_count, 7);
    EXPECT_EQ(t->item_count, 0);
    kx_dispose_hash_table(t);
}

struct HashCase {
    const char *key;
    int32_t buckets;
    int32_t expected;
};

/* h = h * 4 + signed byte, 32-bit unsigned; (h & 0x7FFFFFFF) % buckets.
     "A"   -> 65                       "AB" -> 65*4+66 = 326
     "abc" -> (97*4+98)*4+99 = 2043    0xFF -> 0xFFFFFFFF
     0x80  -> 0xFFFFFF80               "a\xE9" -> 97*4-23 = 365
     "SELECT" -> 0x1A9B0 = 108976 */
const HashCase kHashCases[] = {
    {"", 53, 0},
    {"", 7, 0},
    {"A", 53, 12},
    {"A", 7, 2},
    {"AB", 53, 8},
    {"AB", 7, 4},
    {"abc", 53, 29},
    {"abc", 101, 23},
    {"\xff", 53, 20},    /* 0x7FFFFFFF % 53 */
    {"\xff", 7, 1},      /* 0x7FFFFFFF % 7 */
    {"\xff", 101, 33},
    {"\x80", 53, 52},    /* 0x7FFFFF80 % 53 */
    {"a\xe9", 53, 47},   /* 365 % 53 */
    {"SELECT", 53, 8},   /* 108976 % 53 */
    {"SELECT", 101, 98},
    {"abcdefghijklmnopqrstuvwxyz", 53, 0}, /* 0xC71C719E & 0x7FFFFFFF */
    {"abcdefghijklmnopqrstuvwxyz", 101, 90},
    {"x", 1, 0},
};

TEST(HashTables, HashStringCases)
{
    for (const HashCase &c : kHashCases) {
        HashTable *t = kx_make_hash_table(c.buckets);
        EXPECT_EQ(kx_hash_string(c.key, t), c.expected)
            << "key of length " << std::strlen(c.key) << " in " << c.buckets;
        kx_dispose_hash_table(t);
    }
}

TEST(HashTables, AddingTheSameKeyTwice)
{
    HashTable *t = kx_make_hash_table(0);
    char key1[] = "name";
    char key2[] = "name"; /* equal text, another pointer */
    HashItem *a = kx_add_hash_item(key1, t);
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a->key, key1); /* not copied */
    EXPECT_EQ(a->data, 0);
    EXPECT_EQ(a->use_count, 0);
    EXPECT_EQ(a->next, nullptr);
    EXPECT_EQ(t->item_count, 1);
    HashItem *b = kx_add_hash_item(key2, t);
    EXPECT_EQ(b, a);
    EXPECT_EQ(a->use_count, 1);
    EXPECT_EQ(a->key, key1);
    EXPECT_EQ(t->item_count, 1);
    EXPECT_EQ(kx_get_hash_bucket(kx_hash_string("name", t), t), a);
    kx_flush_hash_table(t, nullptr, 0);
    kx_dispose_hash_table(t);
}

TEST(HashTables, KeysAreCaseSensitive)
{
    HashTable *t = kx_make_hash_table(0);
    HashItem *a = kx_add_hash_item("Key", t);
    HashItem *b = kx_add_hash_item("key", t);
    EXPECT_NE(a, b);
    EXPECT_EQ(t->item_count, 2);
    EXPECT_EQ(kx_find_hash_item("KEY", t), nullptr);
    EXPECT_EQ(kx_find_hash_item("Key", t), a);
    kx_flush_hash_table(t, nullptr, 0);
    kx_dispose_hash_table(t);
}

TEST(HashTables, NewItemsGoAtTheTailOfTheirChain)
{
    HashTable *t = kx_make_hash_table(1); /* one chain for everything */
    HashItem *a = kx_add_hash_item("alpha", t);
    HashItem *b = kx_add_hash_item("beta", t);
    HashItem *c = kx_add_hash_item("able", t); /* same first letter as a */
    EXPECT_EQ(kx_get_hash_bucket(0, t), a);
    EXPECT_EQ(a->next, b);
    EXPECT_EQ(b->next, c);
    EXPECT_EQ(c->next, nullptr);
    EXPECT_EQ(t->item_count, 3);
    EXPECT_EQ(kx_find_hash_item("able", t), c);
    EXPECT_EQ(kx_find_hash_item("alp", t), nullptr);
    EXPECT_EQ(kx_find_hash_item("alphabet", t), nullptr);
    EXPECT_EQ(kx_find_hash_item("", t), nullptr);
    kx_flush_hash_table(t, nullptr, 0);
    kx_dispose_hash_table(t);
}

TEST(HashTables, FindCountsUses)
{
    HashTable *t = kx_make_hash_table(0);
    HashItem *a = kx_add_hash_item("x", t);
    EXPECT_EQ(kx_find_hash_item("x", t), a);
    EXPECT_EQ(kx_find_hash_item("x", t), a);
    EXPECT_EQ(a->use_count, 2);
    EXPECT_EQ(kx_find_hash_item("y", t), nullptr);
    EXPECT_EQ(a->use_count, 2);
    HashItem *e = kx_add_hash_item("", t);
    EXPECT_EQ(kx_get_hash_bucket(0, t), e);
    EXPECT_EQ(kx_find_hash_item("", t), e);
    EXPECT_EQ(e->use_count, 1);
    kx_flush_hash_table(t, nullptr, 0);
    kx_dispose_hash_table(t);
}

TEST(HashTables, RemovingTheHeadOfAChain)
{
    HashTable *t = kx_make_hash_table(1);
    HashItem *a = kx_add_hash_item("a", t);
    HashItem *b = kx_add_hash_item("b", t);
    HashItem *c = kx_add_hash_item("c", t);
    HashItem *r = kx_remove_hash_item("a", t);
    EXPECT_EQ(r, a);
    EXPECT_EQ(kx_get_hash_bucket(0, t), b);
    EXPECT_EQ(t->item_count, 2);
    EXPECT_EQ(kx_find_hash_item("a", t), nullptr);
    free(r);
    /* A middle or tail item keeps the chain linked. */
    r = kx_remove_hash_item("c", t);
    EXPECT_EQ(r, c);
    EXPECT_EQ(b->next, nullptr);
    EXPECT_EQ(t->item_count, 1);
    free(r);
    kx_flush_hash_table(t, nullptr, 0);
    kx_dispose_hash_table(t);
}

TEST(HashTables, RemovingAMiddleItem)
{
    HashTable *t = kx_make_hash_table(1);
    HashItem *a = kx_add_hash_item("a", t);
    HashItem *b = kx_add_hash_item("b", t);
    HashItem *c = kx_add_hash_item("c", t);
    EXPECT_EQ(kx_remove_hash_item("b", t), b);
    EXPECT_EQ(a->next, c);
    free(b);
    kx_flush_hash_table(t, nullptr, 0);
    kx_dispose_hash_table(t);
}

TEST(HashTables, RemovingAnAbsentKey)
{
    HashTable *t = kx_make_hash_table(0);
    kx_add_hash_item("present", t);
    EXPECT_EQ(kx_remove_hash_item("absent", t), nullptr);
    EXPECT_EQ(t->item_count, 1);
    kx_flush_hash_table(t, nullptr, 0);
    kx_dispose_hash_table(t);
}

TEST(HashTables, NullTableIsTolerated)
{
    EXPECT_EQ(kx_find_hash_item("a", nullptr), nullptr);
    EXPECT_EQ(kx_remove_hash_item("a", nullptr), nullptr);
    EXPECT_EQ(kx_get_hash_bucket(0, nullptr), nullptr);
    kx_flush_hash_table(nullptr, nullptr, 1);
}

TEST(HashTables, AddWithANullTableStillMakesAnItem)
{
    static const char key[] = "orphan";
    HashItem *item = kx_add_hash_item(key, nullptr);
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->key, key);
    EXPECT_EQ(item->data, 0);
    EXPECT_EQ(item->use_count, 0);
}

TEST(HashTables, BucketIndexOutOfRange)
{
    HashTable *t = kx_make_hash_table(5);
    kx_add_hash_item("k", t);
    EXPECT_EQ(kx_get_hash_bucket(5, t), nullptr);
    EXPECT_EQ(kx_get_hash_bucket(6, t), nullptr);
    EXPECT_EQ(kx_get_hash_bucket(-1, t), nullptr);
    kx_flush_hash_table(t, nullptr, 0);
    kx_dispose_hash_table(t);
}

TEST(HashTables, FlushEmptiesBucketsButKeepsTheCount)
{
    HashTable *t = kx_make_hash_table(3);
    const char *keys[] = {"one", "two", "three", "four", "five"};
    for (const char *k : keys)
        kx_add_hash_item(k, t);
    EXPECT_EQ(t->item_count, 5);
    kx_flush_hash_table(t, nullptr, 0);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(kx_get_hash_bucket(i, t), nullptr);
    EXPECT_EQ(t->item_count, 5);
    EXPECT_EQ(kx_find_hash_item("one", t), nullptr);
    kx_add_hash_item("six", t);
    EXPECT_EQ(t->item_count, 6);
    kx_flush_hash_table(t, nullptr, 0);
    kx_dispose_hash_table(t);
}

std::vector<void *> g_flushed;

void flush_data(void *data)
{
    g_flushed.push_back(data);
    free(data);
}

TEST(HashTables, FlushFreesContentsWithTheDestructor)
{
    g_flushed.clear();
    HashTable *t = kx_make_hash_table(1);
    char *k1 = strdup("first");
    char *k2 = strdup("second");
    HashItem *a = kx_add_hash_item(k1, t);
    HashItem *b = kx_add_hash_item(k2, t);
    void *d1 = malloc(10);
    void *d2 = malloc(20);
    a->data = reinterpret_cast<intptr_t>(d1);
    b->data = reinterpret_cast<intptr_t>(d2);
    kx_flush_hash_table(t, flush_data, 1);
    /* chain order; keys were freed with free (the leak checker sees it) */
    EXPECT_EQ(g_flushed, (std::vector<void *>{d1, d2}));
    EXPECT_EQ(kx_get_hash_bucket(0, t), nullptr);
    kx_dispose_hash_table(t);
}

TEST(HashTables, FlushFreesContentsWithTheSystemFree)
{
    HashTable *t = kx_make_hash_table(0);
    for (const char *k : {"a", "bb", "ccc"}) {
        HashItem *item = kx_add_hash_item(strdup(k), t);
        item->data = reinterpret_cast<intptr_t>(malloc(8));
    }
    kx_flush_hash_table(t, nullptr, 1);
    EXPECT_EQ(t->item_count, 3);
    kx_dispose_hash_table(t);
}

TEST(HashTables, FlushWithoutContentsLeavesKeysAndData)
{
    g_flushed.clear();
    HashTable *t = kx_make_hash_table(0);
    char key[] = "stack";
    int datum = 5;
    HashItem *item = kx_add_hash_item(key, t);
    item->data = reinterpret_cast<intptr_t>(&datum);
    kx_flush_hash_table(t, flush_data, 0);
    EXPECT_TRUE(g_flushed.empty());
    EXPECT_STREQ(key, "stack");
    kx_dispose_hash_table(t);
}

/* ------------------------------------------------------------------ */
/* String buffers                                                      */
/* ------------------------------------------------------------------ */

constexpr char kFill = '#';

struct CopyCase {
    const char *source;
    bool null_destination;
    uint32_t buffer_length;
    const char *expected_text; /* nullptr: nothing written */
    int32_t expected_length;
    int32_t expected_result;
};

const CopyCase kCopyCases[] = {
    {"abc", false, 4, "abc", 3, 0},
    {"abc", false, 10, "abc", 3, 0},
    {"abc", false, 3, "ab", 3, 1},
    {"abc", false, 2, "a", 3, 1},
    {"abc", false, 1, "", 3, 1},
    {"abc", false, 0, nullptr, 3, 1},
    {"abc", true, 0, nullptr, 3, 1},
    {"abc", true, 4, nullptr, 3, 0},
    {"abc", true, 3, nullptr, 3, 1},
    {nullptr, false, 1, "", 0, 0},
    {nullptr, false, 5, "", 0, 0},
    {nullptr, false, 0, nullptr, 0, 1},
    {nullptr, true, 0, nullptr, 0, 1},
    {"", false, 1, "", 0, 0},
    {"", false, 0, nullptr, 0, 1},
    {"hello world", false, 6, "hello", 11, 1},
    {"hello world", false, 0xFFFFFFFFu, "hello world", 11, 0},
};

TEST(StringBuffers, CopyStrBufferCases)
{
    int i = 0;
    for (const CopyCase &c : kCopyCases) {
        char buffer[32];
        std::memset(buffer, kFill, sizeof buffer);
        int16_t length = -99;
        int32_t result = copy_str_buffer(c.null_destination ? nullptr : buffer,
                                         c.buffer_length, &length, c.source);
        EXPECT_EQ(result, c.expected_result) << "case " << i;
        EXPECT_EQ(length, c.expected_length) << "case " << i;
        if (c.expected_text) {
            EXPECT_STREQ(buffer, c.expected_text) << "case " << i;
            /* nothing beyond the terminator */
            size_t n = std::strlen(c.expected_text);
            EXPECT_EQ(buffer[n + 1], kFill) << "case " << i;
        } else {
            EXPECT_EQ(buffer[0], kFill) << "case " << i;
        }
        ++i;
    }
}

TEST(StringBuffers, CopyStrBufferlCases)
{
    int i = 0;
    for (const CopyCase &c : kCopyCases) {
        char buffer[32];
        std::memset(buffer, kFill, sizeof buffer);
        int32_t length = -99;
        int32_t result = copy_str_bufferl(c.null_destination ? nullptr : buffer,
                                          c.buffer_length, &length, c.source);
        EXPECT_EQ(result, c.expected_result) << "case " << i;
        EXPECT_EQ(length, c.expected_length) << "case " << i;
        if (c.expected_text) {
            EXPECT_STREQ(buffer, c.expected_text) << "case " << i;
        } else {
            EXPECT_EQ(buffer[0], kFill) << "case " << i;
        }
        ++i;
    }
}

TEST(StringBuffers, CopyWithoutALengthPointer)
{
    char buffer[8];
    EXPECT_EQ(copy_str_buffer(buffer, sizeof buffer, nullptr, "xyz"), 0);
    EXPECT_STREQ(buffer, "xyz");
    EXPECT_EQ(copy_str_bufferl(buffer, 2, nullptr, "xyz"), 1);
    EXPECT_STREQ(buffer, "x");
}

TEST(StringBuffers, CopyReportsTheFullLengthOfALongSource)
{
    std::string source(5000, 'q');
    char buffer[16];
    int32_t length = 0;
    EXPECT_EQ(copy_str_bufferl(buffer, sizeof buffer, &length, source.c_str()), 1);
    EXPECT_EQ(length, 5000);
    EXPECT_EQ(std::string(buffer), std::string(15, 'q'));
    int16_t length16 = 0;
    EXPECT_EQ(copy_str_buffer(buffer, sizeof buffer, &length16, source.c_str()), 1);
    EXPECT_EQ(length16, 5000);
}

struct WideCase {
    const char *source;
    bool null_destination;
    int32_t buffer_length;
    std::vector<uint16_t> expected; /* units up to and including the terminator; empty: nothing written */
    int32_t expected_length;
    int32_t expected_result;
};

TEST(StringBuffers, CopyNstrBufferlCases)
{
    const WideCase cases[] = {
        {"ab", false, 3, {'a', 'b', 0}, 2, 0},
        {"ab", false, 8, {'a', 'b', 0}, 2, 0},
        {"ab", false, 2, {'a', 0}, 2, 1},
        {"ab", false, 1, {0}, 2, 1},
        {"ab", false, 0, {}, 2, 1},
        {"ab", false, -1, {}, 2, 1},
        {"ab", true, 0, {}, 2, 1},
        {"ab", true, 3, {}, 2, 0},
        {"\xe9", false, 4, {0xFFE9, 0}, 1, 0},
        {"a\x80\xff", false, 4, {'a', 0xFF80, 0xFFFF, 0}, 3, 0},
        {"\x7f", false, 2, {0x007F, 0}, 1, 0},
        {nullptr, false, 2, {0}, 0, 0},
        {"", false, 1, {0}, 0, 0},
    };
    int i = 0;
    for (const WideCase &c : cases) {
        uint16_t buffer[16];
        for (auto &u : buffer)
            u = 0x2323;
        int32_t length = -99;
        int32_t result = copy_nstr_bufferl(c.null_destination ? nullptr : buffer,
                                           c.buffer_length, &length, c.source);
        EXPECT_EQ(result, c.expected_result) << "case " << i;
        EXPECT_EQ(length, c.expected_length) << "case " << i;
        if (c.expected.empty()) {
            EXPECT_EQ(buffer[0], 0x2323) << "case " << i;
        } else {
            for (size_t k = 0; k < c.expected.size(); ++k)
                EXPECT_EQ(buffer[k], c.expected[k]) << "case " << i << " unit " << k;
            EXPECT_EQ(buffer[c.expected.size()], 0x2323) << "case " << i;
        }
        ++i;
    }
    uint16_t buffer[4];
    EXPECT_EQ(copy_nstr_bufferl(buffer, 4, nullptr, "abc"), 0);
    EXPECT_EQ(buffer[2], 'c');
}

struct CatCase {
    const char *initial;
    int16_t current;
    bool null_destination;
    uint32_t buffer_length;
    const char *source;
    const char *expected_text;
    int16_t expected_length;
    int32_t expected_result;
};

TEST(StringBuffers, CatStrBufferCases)
{
    const CatCase cases[] = {
        {"ab", 2, false, 5, "cd", "abcd", 4, 0},
        {"ab", 2, false, 4, "cd", "abc", 4, 1},
        {"ab", 2, false, 3, "cd", "ab", 4, 1},
        {"ab", 2, false, 10, "cd", "abcd", 4, 0},
        {"ab", 2, false, 10, nullptr, "ab", 2, 0},
        {"ab", 2, false, 10, "", "ab", 2, 0},
        {"", 0, false, 3, "xyz", "xy", 3, 1},
        {"", 0, false, 5, "xyz", "xyz", 3, 0},
        {"ab", 2, false, 0, "cd", "ab", 4, 1},
        {"ab", 2, true, 10, "cd", nullptr, 4, 0},
        {"ab", 2, true, 0, "cd", nullptr, 4, 1},
        {"hello", 5, false, 8, " world", "hello w", 11, 1},
    };
    int i = 0;
    for (const CatCase &c : cases) {
        char buffer[32];
        std::memset(buffer, kFill, sizeof buffer);
        std::strcpy(buffer, c.initial);
        int16_t length = c.current;
        int32_t result = cat_str_buffer(c.null_destination ? nullptr : buffer,
                                        c.buffer_length, &length, c.source);
        EXPECT_EQ(result, c.expected_result) << "case " << i;
        EXPECT_EQ(length, c.expected_length) << "case " << i;
        if (c.expected_text) {
            EXPECT_STREQ(buffer, c.expected_text) << "case " << i;
        } else {
            EXPECT_STREQ(buffer, c.initial) << "case " << i;
        }
        /* Never a byte written at or beyond the buffer's end. */
        for (uint32_t k = c.buffer_length; k < sizeof buffer; ++k) {
            if (k <= std::strlen(c.initial))
                continue; /* the initial text itself */
            EXPECT_EQ(buffer[k], kFill) << "case " << i << " byte " << k;
        }
        ++i;
    }
    char buffer[4] = {0};
    int16_t length = 0;
    EXPECT_EQ(cat_str_buffer(buffer, 3, &length, "xyz"), 1);
    EXPECT_STREQ(buffer, "xy");
    EXPECT_EQ(length, 3);
}

TEST(StringBuffers, CatStrBufferTruncationStaysInTheBuffer)
{
    /* A 6-byte buffer already holding 4 characters gets a 10-character
       source: only one byte fits, the terminator goes at the last byte. */
    char area[16];
    std::memset(area, kFill, sizeof area);
    std::memcpy(area, "abcd", 5);
    int16_t length = 4;
    EXPECT_EQ(cat_str_buffer(area, 6, &length, "0123456789"), 1);
    EXPECT_EQ(length, 14);
    EXPECT_STREQ(area, "abcd0");
    for (int k = 6; k < 16; ++k)
        EXPECT_EQ(area[k], kFill) << k;
}

TEST(StringBuffers, StringDuplicate)
{
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    const char source[] = "duplicate me";
    char *copy = string_duplicate(source, h);
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy, source);
    EXPECT_STREQ(copy, source);
    char *empty = string_duplicate(nullptr, h);
    ASSERT_NE(empty, nullptr);
    EXPECT_STREQ(empty, "");
    char *blank = string_duplicate("", h);
    ASSERT_NE(blank, nullptr);
    EXPECT_STREQ(blank, "");
    /* The copy is a block of the handle: it can be freed on its own. */
    kx_mem_free(h, copy);
    kx_mem_release_handle(h);
}

struct CompareCase {
    const char *a;
    const char *b;
    int32_t expected;
};

TEST(StringBuffers, StringCompareCases)
{
    const CompareCase cases[] = {
        {"select", "SELECT", 0},
        {"SeLeCt", "sElEcT", 0},
        {"abc", "abcd", 1},
        {"abcd", "abc", 1},
        {"abc", "abd", 1},
        {"", "", 0},
        {"", "a", 1},
        {nullptr, nullptr, 0},
        {nullptr, "a", 1},
        {"a", nullptr, 1},
        {nullptr, "", 1},
        {"", nullptr, 1},
        {"a1_", "A1_", 0},
        {"Zz", "zZ", 0},
    };
    for (const CompareCase &c : cases)
        EXPECT_EQ(string_compare(c.a, c.b), c.expected)
            << (c.a ? c.a : "(null)") << " / " << (c.b ? c.b : "(null)");
}

TEST(StringBuffers, SafeStrtokSkipsRunsOfDelimiters)
{
    char text[] = ",a,,b,";
    char *save = nullptr;
    char *t = safe_strtok(text, ",", &save);
    ASSERT_NE(t, nullptr);
    EXPECT_STREQ(t, "a");
    EXPECT_EQ(t, text + 1);
    t = safe_strtok(nullptr, ",", &save);
    ASSERT_NE(t, nullptr);
    EXPECT_STREQ(t, "b");
    EXPECT_EQ(t, text + 4);
    EXPECT_EQ(safe_strtok(nullptr, ",", &save), nullptr);
    EXPECT_EQ(safe_strtok(nullptr, ",", &save), nullptr);
}

TEST(StringBuffers, SafeStrtokLastTokenWithoutDelimiter)
{
    char text[] = "x;y z";
    char *save = nullptr;
    EXPECT_STREQ(safe_strtok(text, "; ", &save), "x");
    EXPECT_EQ(save, text + 2);
    EXPECT_STREQ(safe_strtok(nullptr, "; ", &save), "y");
    EXPECT_EQ(save, text + 4);
    char *z = safe_strtok(nullptr, "; ", &save);
    EXPECT_STREQ(z, "z");
    EXPECT_EQ(save, text + 5); /* the terminator */
    EXPECT_EQ(safe_strtok(nullptr, "; ", &save), nullptr);
    EXPECT_EQ(save, text + 5); /* unchanged */
}

TEST(StringBuffers, SafeStrtokOnlyDelimitersLeavesTheSavePosition)
{
    char text[] = ",,,";
    char marker[] = "m";
    char *save = marker;
    EXPECT_EQ(safe_strtok(text, ",", &save), nullptr);
    EXPECT_EQ(save, marker);
    char empty[] = "";
    EXPECT_EQ(safe_strtok(empty, ",", &save), nullptr);
    EXPECT_EQ(save, marker);
}

TEST(StringBuffers, SafeStrtokIsReentrant)
{
    char one[] = "a b";
    char two[] = "1,2";
    char *s1 = nullptr;
    char *s2 = nullptr;
    EXPECT_STREQ(safe_strtok(one, " ", &s1), "a");
    EXPECT_STREQ(safe_strtok(two, ",", &s2), "1");
    EXPECT_STREQ(safe_strtok(nullptr, " ", &s1), "b");
    EXPECT_STREQ(safe_strtok(nullptr, ",", &s2), "2");
    EXPECT_EQ(safe_strtok(nullptr, " ", &s1), nullptr);
    EXPECT_EQ(safe_strtok(nullptr, ",", &s2), nullptr);
}

TEST(StringBuffers, FunctionStringTable)
{
    struct {
        int32_t code;
        const char *name;
    } const cases[] = {
        {-2, "DROP_INDEX"},
        {-1, "CREATE INDEX"},
        {4, "ALTER TABLE"},
        {19, "DELETE WHERE"},
        {32, "DROP TABLE"},
        {36, "DROP VIEW"},
        {38, "DYNAMIC DELETE CURSOR"},
        {48, "GRANT"},
        {50, "INSERT"},
        {59, "REVOKE"},
        {77, "CREATE TABLE"},
        {81, "DYNAMIC UPDATE CURSOR"},
        {82, "UPDATE WHERE"},
        {84, "CREATE VIEW"},
        {85, "SELECT CURSOR"},
        {0, ""},
        {1, ""},
        {-3, ""},
        {83, ""},
        {86, ""},
        {1000, ""},
        {INT32_MIN, ""},
    };
    for (const auto &c : cases) {
        const char *name = function_string(c.code);
        ASSERT_NE(name, nullptr) << c.code;
        EXPECT_STREQ(name, c.name) << c.code;
    }
}

} // namespace
