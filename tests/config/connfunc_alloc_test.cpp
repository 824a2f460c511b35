// Tests of connection strings when memory runs out: whatever fails, the
// record holds only whole pairs, its count matches its list, and a value
// that could not be copied keeps the one it had.
#include "kxsupp/config.h"
#include "kxsupp/memory.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>
#include "support/kx_failing_alloc.h"

namespace {

using kxtest::fail_request_after;
using kxtest::stop_failing;

// The pairs in list order as "KEY=value;"; "<broken>" for a pair without
// both texts.
std::string pairs_of(const ConnectionString &cs)
{
    std::string text;
    for (ListElement *e = ListFirst(cs.pairs); e != nullptr; e = ListNext(e)) {
        auto *pair = static_cast<ConnectionPair *>(e->data);
        if (pair == nullptr || pair->keyword == nullptr || pair->value == nullptr)
            return "<broken>";
        text += std::string(pair->keyword) + "=" + pair->value + ";";
    }
    return text;
}

// Runs attempt with every request from the n-th on failing in turn, until
// one goes through; check sees each attempt's outcome. Returns how many
// attempts met a failure.
template <typename Attempt, typename Check>
int through_failures(Attempt attempt, Check check)
{
    int failures = 0;
    for (long n = 0;; n++) {
        fail_request_after(n);
        attempt();
        bool failed = stop_failing();
        check(n, failed);
        if (!failed)
            break;
        failures++;
        if (n > 100) {
            ADD_FAILURE() << "the call never stops asking for memory";
            break;
        }
    }
    return failures;
}

// Each test runs on a thread of its own, so that no block freed by another
// test serves its requests without the heap.
void on_fresh_thread(const std::function<void()> &body)
{
    std::thread thread(body);
    thread.join();
}

TEST(ConnfuncAlloc, ParseKeepsOnlyWholePairs)
{
    on_fresh_thread([] {
        // Longer than 512 octets and given with a length, so that the text
        // is copied to the heap first.
        const std::string pad(600, 'p');
        const std::string text = "DSN=Sales;uid=bob;PAD=" + pad + ";pwd=x;";
        const std::string whole = "DSN=Sales;UID=bob;PAD=" + pad + ";PWD=x;";
        int partial = 0;
        MemHandle *handle = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(handle, nullptr);
        ConnectionString cs;
        int failures = through_failures(
            [&] {
                EXPECT_EQ(parse_connection_string(&cs, handle, text.c_str(),
                                                  static_cast<int32_t>(text.size()), 0),
                          0);
            },
            [&](long n, bool failed) {
                std::string got = pairs_of(cs);
                EXPECT_EQ(cs.count, ListCount(cs.pairs)) << "request " << n;
                if (!failed) {
                    EXPECT_EQ(got, whole);
                    return;
                }
                // Each pair is whole and in its place; some may be missing.
                size_t at = 0;
                for (size_t start = 0; start < got.size();) {
                    size_t end = got.find(';', start) + 1;
                    size_t found = whole.find(got.substr(start, end - start), at);
                    EXPECT_NE(found, std::string::npos) << "request " << n << ": " << got;
                    if (found == std::string::npos)
                        return;
                    at = found + (end - start);
                    start = end;
                }
                if (got != whole)
                    partial++;
            });
        EXPECT_GE(failures, 5);
        EXPECT_GE(partial, 3);
        kx_mem_release_handle(handle);
    });
}

TEST(ConnfuncAlloc, AppendThatCannotCopyKeepsTheRecord)
{
    on_fresh_thread([] {
        MemHandle *handle = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(handle, nullptr);
        ConnectionString cs;
        init_con_str(&cs);
        ASSERT_EQ(append_pair(&cs, "dsn", "Sales", handle), 0);

        // A new keyword: added whole, or not at all (result 1).
        int failures = through_failures(
            [&] { append_pair(&cs, "uid", "bob", handle); },
            [&](long n, bool failed) {
                std::string got = pairs_of(cs);
                EXPECT_EQ(cs.count, ListCount(cs.pairs));
                if (got == "DSN=Sales;")
                    EXPECT_TRUE(failed) << "request " << n;
                else
                    EXPECT_EQ(got, "DSN=Sales;UID=bob;") << "request " << n;
            });
        EXPECT_GE(failures, 1);
        EXPECT_EQ(pairs_of(cs), "DSN=Sales;UID=bob;");

        // A present keyword: the new value, or the old one kept.
        fail_request_after(0);
        int32_t rc = append_pair(&cs, "UID", "carol", handle);
        EXPECT_TRUE(stop_failing());
        EXPECT_EQ(rc, 1);
        EXPECT_EQ(pairs_of(cs), "DSN=Sales;UID=bob;");

        // Renaming and modifying keep the old text when no copy can be made.
        fail_request_after(0);
        EXPECT_EQ(modify_connection_string(&cs, "uid", "dave", handle), 0);
        EXPECT_TRUE(stop_failing());
        EXPECT_STREQ(get_attribute_value(&cs, "UID"), "bob");
        fail_request_after(0);
        EXPECT_EQ(change_connection_string(&cs, "uid", "User", handle), 0);
        EXPECT_TRUE(stop_failing());
        EXPECT_EQ(pairs_of(cs), "DSN=Sales;UID=bob;");
        fail_request_after(0);
        EXPECT_EQ(replace_connection_string(&cs, "uid", "User", handle), 0);
        EXPECT_TRUE(stop_failing());
        EXPECT_EQ(pairs_of(cs), "DSN=Sales;UID=bob;");

        // With memory back, each goes through.
        EXPECT_EQ(modify_connection_string(&cs, "uid", "dave", handle), 0);
        EXPECT_EQ(change_connection_string(&cs, "uid", "User", handle), 0);
        EXPECT_EQ(pairs_of(cs), "DSN=Sales;User=dave;");
        EXPECT_NE(replace_connection_string(&cs, "user", "UID", handle), 0);
        EXPECT_EQ(pairs_of(cs), "DSN=Sales;UID=dave;");
        kx_mem_release_handle(handle);
    });
}

}  // namespace
