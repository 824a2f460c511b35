// Tests of kxstd_parse_connection_string and
// kxstd_generate_connection_string beside the family's parser and
// generator: braced values for every keyword with "}}" for a brace, empty
// attributes passed over, the same record, keyword rules and memory.
#include "kxsupp/config.h"
#include "kxsupp/memory.h"
#include "kxsupp/standard.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "support/kx_failing_alloc.h"

namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

Pairs pairs_of(const ConnectionString &cs)
{
    Pairs out;
    for (ListElement *e = ListFirst(cs.pairs); e != nullptr; e = ListNext(e)) {
        auto *pair = static_cast<ConnectionPair *>(ListData(e));
        out.emplace_back(pair->keyword, pair->value != nullptr ? pair->value : "<null>");
    }
    return out;
}

std::string describe(const Pairs &pairs)
{
    std::string s;
    for (const auto &p : pairs)
        s += "[" + p.first + "]=[" + p.second + "] ";
    return s;
}

class ConnfuncStd : public ::testing::Test {
protected:
    void SetUp() override { mem_ = kx_mem_alloc_handle(nullptr); }
    void TearDown() override { kx_mem_release_handle(mem_); }

    Pairs family(const char *text, int32_t flags = 1)
    {
        ConnectionString cs;
        init_con_str(&cs);
        parse_connection_string(&cs, mem_, text, KX_NTS, flags);
        return pairs_of(cs);
    }
    Pairs standard(const char *text, int32_t flags = 1, int32_t length = KX_NTS)
    {
        ConnectionString cs;
        init_con_str(&cs);
        EXPECT_EQ(kxstd_parse_connection_string(&cs, mem_, text, length, flags), KXSTD_OK) << text;
        EXPECT_EQ(cs.count, ListCount(cs.pairs));
        return pairs_of(cs);
    }

    MemHandle *mem_ = nullptr;
};

TEST_F(ConnfuncStd, AnyValueMayBeBraced)
{
    struct Case {
        const char *text;
        Pairs family;
        Pairs standard;
    };
    const Case cases[] = {
        {"UID={de;mo};PWD=x", {{"UID", "{de"}, {"MO};PWD", "x"}}, {{"UID", "de;mo"}, {"PWD", "x"}}},
        {"PWD={a}}b;c}}};UID=u",
         {{"PWD", "{a}}b"}, {"C}}};UID", "u"}},
         {{"PWD", "a}b;c}"}, {"UID", "u"}}},
        {"DRIVER={Text Driver};DBQ=c:\\data",
         {{"DRIVER", "Text Driver"}, {"DBQ", "c:\\data"}},
         {{"DRIVER", "Text Driver"}, {"DBQ", "c:\\data"}}},
        // blanks between "=" and "{", and around the keyword
        {" Driver = {Text Driver} ; uid=bob",
         {{" DRIVER ", " {Text Driver} "}, {" UID", "bob"}},
         {{"DRIVER", "Text Driver"}, {"UID", "bob"}}},
        // the family skips one character after "}", whatever it is
        {"DRIVER={x}UID=y", {{"DRIVER", "x"}, {"ID", "y"}}, {{"DRIVER", "x"}}},
        // an unclosed brace takes the rest of the text
        {"PWD={abc;def", {{"PWD", "{abc"}}, {{"PWD", "abc;def"}}},
        // braces inside a plain value are text
        {"APP=a{b}c;X=1", {{"APP", "a{b}c"}, {"X", "1"}}, {{"APP", "a{b}c"}, {"X", "1"}}},
        {"PWD={};UID=", {{"PWD", "{}"}, {"UID", ""}}, {{"PWD", ""}, {"UID", ""}}},
    };
    for (const Case &c : cases) {
        Pairs f = family(c.text);
        Pairs s = standard(c.text);
        EXPECT_EQ(f, c.family) << c.text << " family: " << describe(f);
        EXPECT_EQ(s, c.standard) << c.text << " standard: " << describe(s);
    }
}

TEST_F(ConnfuncStd, EmptyAttributesArePassedOver)
{
    EXPECT_EQ(family("A=1;;B=2"), (Pairs{{"A", "1"}, {";B", "2"}}));
    EXPECT_EQ(standard("A=1;;B=2"), (Pairs{{"A", "1"}, {"B", "2"}}));
    EXPECT_EQ(standard(";;A=1; ;;B=2;;"), (Pairs{{"A", "1"}, {"B", "2"}}));
    // a fragment without "=" is passed over too, not joined to the next
    EXPECT_EQ(family("junk;DSN=x"), (Pairs{{"JUNK;DSN", "x"}}));
    EXPECT_EQ(standard("junk;DSN=x"), (Pairs{{"DSN", "x"}}));
    EXPECT_EQ(standard("=x;DSN=y"), (Pairs{{"DSN", "y"}}));
    // nothing but empty attributes is an empty record, as "" and ";" are
    for (const char *text : {"", ";", ";;", " ; ;"}) {
        ConnectionString cs;
        EXPECT_EQ(kxstd_parse_connection_string(&cs, mem_, text, KX_NTS, 0), KXSTD_OK);
        EXPECT_EQ(cs.count, 0) << text;
        EXPECT_EQ(cs.pairs, nullptr) << text;
    }
}

TEST_F(ConnfuncStd, KeywordsAndTheDefaultDataSourceAsTheFamilyHasThem)
{
    // keywords upper-cased, compared without case; the last value wins at
    // the first place
    EXPECT_EQ(standard("uid=a;Pwd=p;UID=b"), (Pairs{{"UID", "b"}, {"PWD", "p"}}));
    EXPECT_EQ(standard("uid=a;Pwd=p;UID=b"), family("uid=a;Pwd=p;UID=b"));
    // DSN=DEFAULT unless a source is named or flag bit 0 asks not to
    EXPECT_EQ(standard("UID=a", 0), (Pairs{{"UID", "a"}, {"DSN", "DEFAULT"}}));
    EXPECT_EQ(standard("UID=a", 0), family("UID=a", 0));
    EXPECT_EQ(standard("FileDsn={x.dsn};UID=a", 0), (Pairs{{"FILEDSN", "x.dsn"}, {"UID", "a"}}));
    EXPECT_EQ(standard("UID=a", 1), (Pairs{{"UID", "a"}}));
    // plain values are kept as written
    EXPECT_EQ(standard("PWD= a b ;X=1"), (Pairs{{"PWD", " a b "}, {"X", "1"}}));
}

TEST_F(ConnfuncStd, LengthsAndArguments)
{
    EXPECT_EQ(standard("DSN=a;UID=b", 1, 5), (Pairs{{"DSN", "a"}}));
    EXPECT_EQ(standard("DSN=a\0UID=b", 1, 11), (Pairs{{"DSN", "a"}}));
    EXPECT_EQ(standard("DSN={a;b};UID=c", 1, 9), (Pairs{{"DSN", "a;b"}}));
    ConnectionString cs;
    append_pair(init_con_str(&cs), "OLD", "1", mem_);
    EXPECT_EQ(kxstd_parse_connection_string(&cs, mem_, "DSN=a", -7, 1), KXSTD_INVALID_LENGTH);
    EXPECT_EQ(cs.count, 0);
    EXPECT_EQ(kxstd_parse_connection_string(&cs, mem_, nullptr, KX_NTS, 0), KXSTD_OK);
    EXPECT_EQ(cs.count, 0);
    EXPECT_EQ(kxstd_parse_connection_string(nullptr, mem_, "DSN=a", KX_NTS, 0),
              KXSTD_INVALID_ARGUMENT);
    // a text longer than the parser's own stack room
    std::string big = "DSN=x;PWD={" + std::string(5000, 'p') + "}}" + std::string(5000, ';') + "}";
    Pairs p = standard(big.c_str());
    ASSERT_EQ(p.size(), 2u);
    EXPECT_EQ(p[1].second, std::string(5000, 'p') + "}" + std::string(5000, ';'));
}

TEST_F(ConnfuncStd, GeneratedTextParsesBackIntoTheSamePairs)
{
    ConnectionString cs;
    init_con_str(&cs);
    const Pairs pairs = {{"DSN", "sales"},       {"PWD", "a;b}c{d"},  {"UID", " bob "},
                         {"APP", "{braced}"},    {"EMPTY", ""},        {"DESCRIPTION", "x"},
                         {"DATABASE", "a=b"}};
    for (const auto &p : pairs)
        append_pair(&cs, p.first.c_str(), p.second.c_str(), mem_);
    char buffer[256];
    const char *text = kxstd_generate_connection_string(&cs, buffer, 255);
    EXPECT_STREQ(text,
                 "DSN=sales;PWD={a;b}}c{d};UID={ bob };APP={{braced}}};EMPTY=;DATABASE=a=b;");
    Pairs expected = pairs;
    expected.erase(expected.begin() + 5);  // Description is never generated
    EXPECT_EQ(standard(text), expected);
    // the family's text of the same record does not read back
    char family_text[256];
    generate_connection_string(&cs, family_text, 255);
    EXPECT_STREQ(family_text, "DSN=sales;PWD=a;b}c{d;UID= bob ;APP={braced};EMPTY=;DATABASE=a=b;");
    EXPECT_NE(standard(family_text), expected);

    // DRIVER is braced (its "}" doubled) and left out beside DSN; pieces
    // that pass the size are dropped whole; the buffer holds size + 1
    ConnectionString d;
    init_con_str(&d);
    append_pair(&d, "DRIVER", "Odd}Driver", mem_);
    append_pair(&d, "UID", "u", mem_);
    EXPECT_STREQ(kxstd_generate_connection_string(&d, buffer, 255), "DRIVER={Odd}}Driver};UID=u;");
    std::vector<char> exact(27 + 1, '#');
    EXPECT_STREQ(kxstd_generate_connection_string(&d, exact.data(), 26), "DRIVER={Odd}}Driver};");
    EXPECT_STREQ(kxstd_generate_connection_string(&d, exact.data(), 21), "DRIVER={Odd}}Driver};");
    EXPECT_STREQ(kxstd_generate_connection_string(&d, exact.data(), 20), "");
    // an empty record gives "" and leaves the buffer alone
    ConnectionString empty;
    init_con_str(&empty);
    char untouched[4] = "###";
    EXPECT_STREQ(kxstd_generate_connection_string(&empty, untouched, 3), "");
    EXPECT_STREQ(untouched, "###");
}

// Whatever request fails, the record holds whole pairs only, as many as its
// count: all of them when the status is KXSTD_OK (the library may have got
// round the failure), the first few when it is KXSTD_NO_MEMORY.
TEST_F(ConnfuncStd, MemoryRunningOutIsReported)
{
    const char *text = "DSN=a;UID={b;c};PWD=p;APP=x;DATABASE=" "0123456789012345678901234567890123456789";
    const Pairs all = standard(text, 0);
    ASSERT_EQ(all.size(), 5u);
    bool reported = false;
    for (long n = 0; n < 200; ++n) {
        MemHandle *mem = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(mem, nullptr);
        ConnectionString cs;
        kxtest::fail_request_after(n);
        int32_t status = kxstd_parse_connection_string(&cs, mem, text, KX_NTS, 0);
        bool failed = kxtest::stop_failing();
        Pairs got = pairs_of(cs);
        EXPECT_EQ(cs.count, static_cast<int32_t>(got.size())) << n;
        if (status == KXSTD_OK) {
            EXPECT_EQ(got, all) << n;
        } else {
            EXPECT_EQ(status, KXSTD_NO_MEMORY) << n;
            EXPECT_TRUE(failed) << n;
            ASSERT_LT(got.size(), all.size()) << n;
            EXPECT_EQ(got, Pairs(all.begin(), all.begin() + static_cast<long>(got.size()))) << n;
            reported = true;
        }
        kx_mem_release_handle(mem);
        if (!failed)
            break;
    }
    EXPECT_TRUE(reported);
}

}  // namespace
