// Tests of the literal builders when memory runs out: a literal that
// cannot be made whole is not made; one that is made holds its value.
#include "kxsupp/arith.h"
#include "kxsupp/memory.h"
#include "kxsupp/parse.h"
#include "kxsupp/values.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>
#include "support/kx_failing_alloc.h"

namespace {

using kxtest::fail_request_after;
using kxtest::stop_failing;

// The exact numeric a digit text reads as, with the given precision and
// scale.
NumericStruct numeric_of(const std::string &digits, int precision, int scale)
{
    NumericStruct n;
    std::memset(&n, 0, sizeof n);
    std::string copy = digits;
    string_to_numeric(copy.data(), &n, static_cast<uint8_t>(precision), scale);
    return n;
}

// A literal of more digits than fit the builders' own room: whatever
// request fails, MakeNumeric gives null or the literal's value, never a
// leaf holding another number.
TEST(ParseAlloc, LongNumericLiteralIsWholeOrNotMade)
{
    std::thread([] {
        MemHandle *handle = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(handle, nullptr);
        ASSERT_NE(kx_mem_alloc(handle, 8), nullptr);  // the thread is ready
        std::string integer_part;
        for (int i = 0; i < 150; ++i)
            integer_part += static_cast<char>('1' + i % 9);
        const std::string fraction_part = "25";
        const NumericStruct expected = numeric_of(
            integer_part + fraction_part,
            static_cast<int>(integer_part.size() + fraction_part.size() + 2),
            static_cast<int>(fraction_part.size()));
        int not_made = 0;
        for (long n = 0;; n++) {
            fail_request_after(n);
            Value *leaf = MakeNumeric(integer_part.c_str(), fraction_part.c_str(), handle);
            bool failed = stop_failing();
            if (leaf == nullptr) {
                EXPECT_TRUE(failed);
                not_made++;
                continue;
            }
            EXPECT_EQ(leaf->type, VALUE_NUMERIC) << "request " << n;
            EXPECT_EQ(leaf->attr[1], 2) << "request " << n;
            EXPECT_EQ(std::memcmp(&leaf->payload.numeric, &expected, sizeof expected), 0)
                << "request " << n << ": the leaf holds another number";
            if (!failed)
                break;
            ASSERT_LT(n, 20);
        }
        EXPECT_GE(not_made, 2) << "the leaf and the digits' copy";
        kx_mem_release_handle(handle);
    }).join();
}

// The SQL text of a leaf, as the printer gives it.
std::string text_of(const void *leaf)
{
    std::string text;
    sql92_print_expression(
        static_cast<const ParseNode *>(leaf),
        [](const char *piece, void *user_data) { *static_cast<std::string *>(user_data) += piece; },
        &text);
    return text;
}

// Every builder, with each of its requests failing in turn: null, or the
// leaf it makes with memory to spare.
TEST(ParseAlloc, EveryBuilderGivesItsLeafOrNull)
{
    std::thread([] {
        MemHandle *handle = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(handle, nullptr);
        ASSERT_NE(kx_mem_alloc(handle, 8), nullptr);  // the thread is ready
        const std::string long_text = "'" + std::string(300, 'q') + "'";
        const std::string long_hex = "X'" + std::string(301, 'a') + "'";
        // Each builder gets its token in a buffer made before any request
        // may fail (a builder may change its token, so each call has its own).
        struct Builder {
            const char *what;
            std::string token;
            std::function<void *(char *)> make;
        } builders[] = {
            {"string", long_text, [&](char *t) { return (void *)MakeLiteral(KX_LITERAL_STRING, t, handle); }},
            {"short string", "'ab''c'", [&](char *t) { return (void *)MakeLiteral(KX_LITERAL_STRING, t, handle); }},
            {"hex", long_hex, [&](char *t) { return (void *)MakeLiteral(KX_LITERAL_HEX, t, handle); }},
            {"bit", "B'1'", [&](char *t) { return (void *)MakeLiteral(KX_LITERAL_BIT, t, handle); }},
            {"date", "'2004-01-31'", [&](char *t) { return (void *)MakeLiteral(KX_LITERAL_DATE, t, handle); }},
            {"timestamp", "'2004-01-31 10:20:30'", [&](char *t) { return (void *)MakeLiteral(KX_LITERAL_TIMESTAMP, t, handle); }},
            {"user", "", [&](char *) { return (void *)MakeLiteral(KX_LITERAL_USER, nullptr, handle); }},
            {"null", "", [&](char *) { return (void *)MakeNull(handle); }},
            {"integer", "12345", [&](char *t) { return (void *)MakeInteger(t, handle); }},
            {"long integer", std::string(140, '7'), [&](char *t) { return (void *)MakeInteger(t, handle); }},
            {"float", "2.5", [&](char *t) { return (void *)MakeFloat(t, handle); }},
            {"fraction only", std::string(130, '5'), [&](char *t) { return (void *)MakeNumeric(nullptr, t, handle); }},
            {"parameter", "", [&](char *) { return (void *)MakeDynamic(3, handle); }},
        };
        for (const Builder &b : builders) {
            std::vector<char> token(b.token.begin(), b.token.end());
            token.push_back('\0');
            const std::string expected = text_of(b.make(token.data()));
            ASSERT_FALSE(expected.empty()) << b.what;
            int not_made = 0;
            for (long n = 0;; n++) {
                token.assign(b.token.begin(), b.token.end());
                token.push_back('\0');
                fail_request_after(n);
                void *leaf = b.make(token.data());
                bool failed = stop_failing();
                if (leaf == nullptr) {
                    EXPECT_TRUE(failed) << b.what;
                    not_made++;
                    continue;
                }
                EXPECT_EQ(text_of(leaf), expected) << b.what << ", request " << n;
                if (!failed)
                    break;
                ASSERT_LT(n, 20) << b.what;
            }
            EXPECT_GE(not_made, 1) << b.what;
        }
        kx_mem_release_handle(handle);
    }).join();
}

}  // namespace
