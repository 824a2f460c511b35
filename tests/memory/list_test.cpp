// Tests of the doubly linked lists: append, delete while walking, merge,
// enumerate, and a null list as the empty list.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kxsupp/memory.h"
#include "memory/memsys_internal.h"

namespace {

class ListTest : public ::testing::Test {
protected:
    void SetUp() override { mem = kx_mem_alloc_handle(nullptr); }
    void TearDown() override { kx_mem_release_handle(mem); }

    // The data pointers first to last, checking the links both ways.
    std::vector<void *> contents(List *list)
    {
        std::vector<void *> forward;
        ListElement *prior = nullptr;
        for (ListElement *e = ListFirst(list); e != nullptr; e = ListNext(e)) {
            EXPECT_EQ(ListPrior(e), prior);
            forward.push_back(ListData(e));
            prior = e;
        }
        EXPECT_EQ(ListLast(list), prior);
        EXPECT_EQ(ListCount(list), static_cast<int32_t>(forward.size()));
        std::vector<void *> backward;
        for (ListElement *e = ListLast(list); e != nullptr; e = ListPrior(e))
            backward.insert(backward.begin(), ListData(e));
        EXPECT_EQ(backward, forward);
        return forward;
    }

    List *make(std::vector<void *> items)
    {
        List *list = nullptr;
        for (void *p : items)
            list = ListAppend(p, list, mem);
        return list;
    }

    MemHandle *mem = nullptr;
    int v[8] = {};
};

TEST_F(ListTest, NullListIsEmpty)
{
    EXPECT_EQ(ListCount(nullptr), 0);
    EXPECT_EQ(ListFirst(nullptr), nullptr);
    EXPECT_EQ(ListLast(nullptr), nullptr);
    EXPECT_EQ(ListDelete(nullptr, nullptr, mem), nullptr);
}

TEST_F(ListTest, AppendToNullMakesListOfOne)
{
    List *list = ListAppend(&v[0], nullptr, mem);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(ListCount(list), 1);
    EXPECT_EQ(ListFirst(list), ListLast(list));
    EXPECT_EQ(ListData(ListFirst(list)), &v[0]);
    EXPECT_EQ(ListNext(ListFirst(list)), nullptr);
    EXPECT_EQ(ListPrior(ListFirst(list)), nullptr);
}

TEST_F(ListTest, HeaderAndElementsLiveInTheHandle)
{
    List *list = ListAppend(&v[0], nullptr, mem);
    // The element is made before the header, so the header is the newest.
    EXPECT_EQ(mem->first_block, kx::mem_block_of(list));
    EXPECT_EQ(mem->first_block->next, kx::mem_block_of(ListFirst(list)));
    EXPECT_EQ(mem->first_block->next->next, nullptr);
}

TEST_F(ListTest, AppendKeepsTheSameHeaderAndOrder)
{
    List *list = ListAppend(&v[0], nullptr, mem);
    EXPECT_EQ(ListAppend(&v[1], list, mem), list);
    EXPECT_EQ(ListAppend(&v[2], list, mem), list);
    EXPECT_EQ(contents(list), (std::vector<void *>{&v[0], &v[1], &v[2]}));
}

TEST_F(ListTest, NullDataIsStored)
{
    List *list = make({nullptr, &v[1]});
    EXPECT_EQ(contents(list), (std::vector<void *>{nullptr, &v[1]}));
}

TEST_F(ListTest, DeletingOnlyElementLeavesReusableEmptyHeader)
{
    List *list = ListAppend(&v[0], nullptr, mem);
    EXPECT_EQ(ListDelete(list, ListFirst(list), mem), nullptr);
    EXPECT_EQ(ListCount(list), 0);
    EXPECT_EQ(ListFirst(list), nullptr);
    EXPECT_EQ(ListLast(list), nullptr);
    EXPECT_EQ(ListAppend(&v[1], list, mem), list);
    EXPECT_EQ(contents(list), (std::vector<void *>{&v[1]}));
}

TEST_F(ListTest, DeletingFirstOfThreeReturnsSecondAsNewHead)
{
    List *list = make({&v[0], &v[1], &v[2]});
    ListElement *second = ListNext(ListFirst(list));
    EXPECT_EQ(ListDelete(list, ListFirst(list), mem), second);
    EXPECT_EQ(ListFirst(list), second);
    EXPECT_EQ(ListPrior(second), nullptr);
    EXPECT_EQ(contents(list), (std::vector<void *>{&v[1], &v[2]}));
}

TEST_F(ListTest, DeletingMiddleAndLast)
{
    List *list = make({&v[0], &v[1], &v[2], &v[3]});
    ListElement *third = ListNext(ListNext(ListFirst(list)));
    EXPECT_EQ(ListDelete(list, ListNext(ListFirst(list)), mem), third);
    EXPECT_EQ(contents(list), (std::vector<void *>{&v[0], &v[2], &v[3]}));
    EXPECT_EQ(ListDelete(list, ListLast(list), mem), nullptr);
    EXPECT_EQ(contents(list), (std::vector<void *>{&v[0], &v[2]}));
    EXPECT_EQ(ListLast(list), third);
}

TEST_F(ListTest, DeleteFreesTheElementButNotTheData)
{
    char *data = static_cast<char *>(kx_mem_alloc(mem, 8));
    List *list = ListAppend(data, nullptr, mem);
    MemBlock *element_block = kx::mem_block_of(ListFirst(list));
    ListDelete(list, ListFirst(list), mem);
    for (MemBlock *b = mem->first_block; b != nullptr; b = b->next)
        EXPECT_NE(b, element_block);
    // The handle keeps the list header (newest) and the data block.
    EXPECT_EQ(mem->first_block, kx::mem_block_of(list));
    EXPECT_EQ(mem->first_block->next, kx::mem_block_of(data));
    EXPECT_EQ(mem->first_block->next->next, nullptr);
}

TEST_F(ListTest, DeleteWhileWalking)
{
    List *list = make({&v[0], &v[1], &v[2], &v[3], &v[4]});
    for (ListElement *e = ListFirst(list); e != nullptr;) {
        int *p = static_cast<int *>(ListData(e));
        if ((p - v) % 2 == 0)
            e = ListDelete(list, e, mem);
        else
            e = ListNext(e);
    }
    EXPECT_EQ(contents(list), (std::vector<void *>{&v[1], &v[3]}));
}

TEST_F(ListTest, DeleteOnEmptyListDoesNothing)
{
    List *list = ListAppend(&v[0], nullptr, mem);
    ListElement *e = ListFirst(list);
    ListDelete(list, e, mem);
    EXPECT_EQ(ListDelete(list, ListFirst(list), mem), nullptr);
    EXPECT_EQ(ListCount(list), 0);
}

TEST_F(ListTest, RewriteReplacesData)
{
    List *list = make({&v[0], &v[1]});
    ListRewrite(ListLast(list), &v[5]);
    EXPECT_EQ(contents(list), (std::vector<void *>{&v[0], &v[5]}));
}

TEST_F(ListTest, MergeWithNulls)
{
    List *a = make({&v[0], &v[1]});
    EXPECT_EQ(ListMerge(nullptr, nullptr), nullptr);
    EXPECT_EQ(ListMerge(a, nullptr), a);
    EXPECT_EQ(contents(a), (std::vector<void *>{&v[0], &v[1]}));
    EXPECT_EQ(ListMerge(nullptr, a), a);
}

TEST_F(ListTest, MergeTwoAndThreeGivesFiveInOrder)
{
    List *a = make({&v[0], &v[1]});
    List *b = make({&v[2], &v[3], &v[4]});
    EXPECT_EQ(ListMerge(a, b), a);
    EXPECT_EQ(contents(a),
              (std::vector<void *>{&v[0], &v[1], &v[2], &v[3], &v[4]}));
    // b's header is left as it was.
    EXPECT_EQ(ListCount(b), 3);
    EXPECT_EQ(ListData(ListFirst(b)), &v[2]);
}

TEST_F(ListTest, MergeWithEmptiedHeaders)
{
    List *a = make({&v[0]});
    ListDelete(a, ListFirst(a), mem);
    List *b = make({&v[1], &v[2]});
    EXPECT_EQ(ListMerge(a, b), a);
    EXPECT_EQ(contents(a), (std::vector<void *>{&v[1], &v[2]}));
    List *c = make({&v[3]});
    ListDelete(c, ListFirst(c), mem);
    EXPECT_EQ(ListMerge(a, c), a);
    EXPECT_EQ(contents(a), (std::vector<void *>{&v[1], &v[2]}));
}

struct Seen {
    std::vector<void *> data;
    std::vector<int32_t> last;
    void *context = nullptr;
};

int record(void *data, void *context, int32_t last)
{
    Seen *seen = static_cast<Seen *>(context);
    seen->data.push_back(data);
    seen->last.push_back(last);
    return 99;
}

TEST_F(ListTest, EnumerateMarksTheLastElement)
{
    List *list = make({&v[0], &v[1], &v[2]});
    Seen seen;
    ListEnumerate(list, record, &seen);
    EXPECT_EQ(seen.data, (std::vector<void *>{&v[0], &v[1], &v[2]}));
    EXPECT_EQ(seen.last, (std::vector<int32_t>{0, 0, 1}));
}

TEST_F(ListTest, EnumerateSingleAndEmpty)
{
    List *list = make({&v[0]});
    Seen seen;
    ListEnumerate(list, record, &seen);
    EXPECT_EQ(seen.last, (std::vector<int32_t>{1}));
    ListDelete(list, ListFirst(list), mem);
    Seen none;
    ListEnumerate(list, record, &none);
    EXPECT_TRUE(none.data.empty());
}

TEST_F(ListTest, DeleteWithoutAnElementLeavesTheListAlone)
{
    List *list = make({&v[0], &v[1]});
    EXPECT_EQ(ListDelete(list, nullptr, mem), nullptr);
    EXPECT_EQ(contents(list), (std::vector<void *>{&v[0], &v[1]}));
}

TEST_F(ListTest, NullElementHasNoNeighboursAndNoData)
{
    EXPECT_EQ(ListNext(nullptr), nullptr);
    EXPECT_EQ(ListPrior(nullptr), nullptr);
    EXPECT_EQ(ListData(nullptr), nullptr);
    ListRewrite(nullptr, &v[0]);  // nothing to rewrite, and no crash
}

TEST_F(ListTest, EnumerateWithoutACallbackCallsNothing)
{
    List *list = make({&v[0], &v[1]});
    ListEnumerate(list, nullptr, nullptr);
    EXPECT_EQ(contents(list), (std::vector<void *>{&v[0], &v[1]}));
    Seen none;
    ListEnumerate(nullptr, record, &none);
    EXPECT_TRUE(none.data.empty());
}

TEST_F(ListTest, ListGoesWithItsHandle)
{
    MemHandle *child = kx_mem_alloc_handle(mem);
    List *list = nullptr;
    for (int i = 0; i < 100; i++)
        list = ListAppend(&v[i % 8], list, child);
    EXPECT_EQ(ListCount(list), 100);
    kx_mem_release_handle(child);  // the sanitizer build checks for leaks
    EXPECT_EQ(mem->first_child, nullptr);
}

}  // namespace
