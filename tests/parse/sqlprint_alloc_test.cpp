// Tests of the SQL text printer when memory runs out: a tree too deep for
// the printer's own room is printed as far as memory allows and then not
// at all further, so the text delivered is always the start of the whole
// text, never a garbled one.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "parse/sqlprint_tree.h"
#include "support/kx_failing_alloc.h"

namespace {

using kxtest::fail_request_after;
using kxtest::stop_failing;
using sqltree::Builder;

// Collects the pieces into room reserved beforehand, so that collecting
// asks the heap for nothing.
struct FixedSink {
    std::vector<char> room;
    size_t length = 0;
    bool overflow = false;

    static void collect(const char *piece, void *user_data)
    {
        auto *sink = static_cast<FixedSink *>(user_data);
        size_t n = std::strlen(piece);
        if (sink->length + n > sink->room.size()) {
            sink->overflow = true;
            return;
        }
        std::memcpy(sink->room.data() + sink->length, piece, n);
        sink->length += n;
    }
};

std::string repeat(const std::string &s, int n)
{
    std::string out;
    for (int i = 0; i < n; ++i)
        out += s;
    return out;
}

TEST(SqlPrintAlloc, DeepTreeIsPrintedAsFarAsMemoryAllows)
{
    constexpr int kDepth = 3000;
    Builder b;
    ParseNode *tree = b.id("a");
    for (int i = 0; i < kDepth; ++i)
        tree = b.both(tree, b.id("b"));
    const std::string whole = repeat("( ", kDepth) + "a" + repeat(" AND b)", kDepth);

    int cut = 0;
    for (long n = 0;; n++) {
        FixedSink sink;
        sink.room.resize(whole.size() + 64);
        fail_request_after(n);
        sql92_print_expression(tree, FixedSink::collect, &sink);
        bool failed = stop_failing();
        ASSERT_FALSE(sink.overflow);
        std::string text(sink.room.data(), sink.length);
        if (!failed) {
            EXPECT_EQ(text, whole);
            EXPECT_GE(n, 1) << "the printer never asked for memory";
            break;
        }
        ASSERT_LT(text.size(), whole.size()) << "request " << n;
        EXPECT_EQ(text, whole.substr(0, text.size())) << "request " << n;
        cut++;
        ASSERT_LT(n, 100);
    }
    EXPECT_GE(cut, 2) << "the first room and a larger one";
}

// Lists nested in the first entry of lists, each with a second entry, on
// the left of a comparison: the comparison's three pending pieces put each
// list's separator on the steps where the room runs out, so memory fails
// while a separator is being set aside.
TEST(SqlPrintAlloc, DeeplyNestedListsArePrintedAsFarAsMemoryAllows)
{
    constexpr int kDepth = 3000;
    Builder b;
    ParseNode *lists = b.id("a");
    for (int i = 0; i < kDepth; ++i)
        lists = b.list({lists, b.id("b")});
    ParseNode *tree = b.cmp(11, lists, b.id("z"));
    const std::string whole = "( a" + repeat(", b", kDepth) + " = z )";

    int cut = 0;
    for (long n = 0;; n++) {
        FixedSink sink;
        sink.room.resize(whole.size() + 64);
        fail_request_after(n);
        sql92_print_expression(tree, FixedSink::collect, &sink);
        bool failed = stop_failing();
        ASSERT_FALSE(sink.overflow);
        std::string text(sink.room.data(), sink.length);
        if (!failed) {
            EXPECT_EQ(text, whole);
            break;
        }
        ASSERT_LT(text.size(), whole.size()) << "request " << n;
        EXPECT_EQ(text, whole.substr(0, text.size())) << "request " << n;
        cut++;
        ASSERT_LT(n, 100);
    }
    EXPECT_GE(cut, 2) << "the first room and a larger one";
}

}  // namespace
