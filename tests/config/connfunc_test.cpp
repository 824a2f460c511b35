// Tests of connection strings: the attribute scanner, parsing with lengths
// and SQL_NTS, the default data source, look-up and the editing calls, and
// the three generators with their size rules.
#include "kxsupp/config.h"
#include "kxsupp/memory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

class ConnFunc : public ::testing::Test {
protected:
    void SetUp() override
    {
        mem = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(mem, nullptr);
        init_con_str(&cs);
    }
    void TearDown() override { kx_mem_release_handle(mem); }

    static Pairs pairs_of(const ConnectionString &c)
    {
        Pairs out;
        for (ListElement *e = ListFirst(c.pairs); e != nullptr; e = ListNext(e)) {
            auto *p = static_cast<ConnectionPair *>(ListData(e));
            out.emplace_back(p->keyword, p->value != nullptr ? p->value : "<null>");
        }
        return out;
    }
    void parse(const char *text, int32_t flags = 0, int32_t length = KX_NTS)
    {
        EXPECT_EQ(parse_connection_string(&cs, mem, text, length, flags), 0);
    }
    std::string generate(int32_t size = 1000)
    {
        std::vector<char> buffer(static_cast<size_t>(size) + 1 + 16, '#');
        return generate_connection_string(&cs, buffer.data(), size);
    }
    std::string generate_ex()
    {
        char buffer[1024];
        return generate_connection_string_ex(&cs, buffer);
    }

    MemHandle *mem = nullptr;
    ConnectionString cs;
};

/* ---- get_attr ---- */

struct AttrCase {
    const char *text;
    const char *keyword;   // null: no attribute
    const char *value;
    const char *rest;      // the text at the cursor afterwards
};

const AttrCase kAttrCases[] = {
    {"", nullptr, nullptr, ""},
    {"noequals", nullptr, nullptr, ""},
    {"A=1;B=2", "A", "1", "B=2"},
    {"A=1", "A", "1", ""},
    {"A=;B", "A", "", "B"},
    {" uid = bob ;x", " uid ", " bob ", "x"},
    {";B=2", ";B", "2", ""},
    {"=v;", "", "v", ""},
    {"UID={a;b}", "UID", "{a", "b}"},
    {"DRIVER={Text Driver};DBQ=c", "DRIVER", "Text Driver", "DBQ=c"},
    {"driver={x;y}", "driver", "x;y", ""},
    {"DRIVER={x}UID=y", "DRIVER", "x", "ID=y"},
    {"DRIVER={x}", "DRIVER", "x", ""},
    {"DRIVER={unclosed;A=1", "DRIVER", "unclosed;A=1", ""},
    {"DRIVER=plain;A=1", "DRIVER", "plain", "A=1"},
    {"DRIVERX={x};A=1", "DRIVERX", "{x}", "A=1"},
    {"SQITARGETabc={t;u};n", "SQITARGETabc", "t;u", "n"},
    {"sqitarget={t}", "sqitarget", "t", ""},
    {"SQITARGE={t};", "SQITARGE", "{t}", ""},
    {"REMOTESTRING2={r;s};x", "REMOTESTRING2", "r;s", "x"},
    {"RemoteString={r}", "RemoteString", "r", ""},
    {"A=x=y;", "A", "x=y", ""},
};

TEST_F(ConnFunc, GetAttrScansOneAttribute)
{
    for (const AttrCase &c : kAttrCases) {
        const char *cursor = c.text;
        char *keyword = reinterpret_cast<char *>(1);
        char *value = reinterpret_cast<char *>(1);
        get_attr(mem, &cursor, &keyword, &value);
        if (c.keyword == nullptr) {
            EXPECT_EQ(keyword, nullptr) << c.text;
            EXPECT_EQ(value, nullptr) << c.text;
        } else {
            ASSERT_NE(keyword, nullptr) << c.text;
            ASSERT_NE(value, nullptr) << c.text;
            EXPECT_STREQ(keyword, c.keyword) << c.text;
            EXPECT_STREQ(value, c.value) << c.text;
        }
        EXPECT_STREQ(cursor, c.rest) << c.text;
    }
}

/* ---- parse ---- */

struct ParseCase {
    const char *text;
    int32_t flags;
    Pairs expected;
};

const ParseCase kParseCases[] = {
    {"dsn=Sales;uid=bob", 0, {{"DSN", "Sales"}, {"UID", "bob"}}},
    {"DRIVER={Text Driver};DBQ=c:\\data", 0, {{"DRIVER", "Text Driver"}, {"DBQ", "c:\\data"}}},
    {"UID=a", 0, {{"UID", "a"}, {"DSN", "DEFAULT"}}},
    {"UID=a", 1, {{"UID", "a"}}},
    {"UID=a", 2, {{"UID", "a"}, {"DSN", "DEFAULT"}}},
    {"UID=a;UID=b", 1, {{"UID", "b"}}},
    {"uid=a;PWD=p;Uid=c", 1, {{"UID", "c"}, {"PWD", "p"}}},
    {"A=1;;B=2", 1, {{"A", "1"}, {";B", "2"}}},
    {"DRIVER={x}UID=y", 1, {{"DRIVER", "x"}, {"ID", "y"}}},
    {"FILEDSN=f.dsn", 0, {{"FILEDSN", "f.dsn"}}},
    {"filedsn=f.dsn", 0, {{"FILEDSN", "f.dsn"}}},
    {"Driver=plain", 0, {{"DRIVER", "plain"}}},
    {" DSN=x", 0, {{" DSN", "x"}, {"DSN", "DEFAULT"}}},
    {"", 0, {}},
    {";", 0, {}},
    {";", 1, {}},
    {"junk", 0, {{"DSN", "DEFAULT"}}},
    {"A=1;junk", 1, {{"A", "1"}}},
    {"UID={a;b}", 1, {{"UID", "{a"}}},
    {"Server = host ; Port=1", 1, {{"SERVER ", " host "}, {" PORT", "1"}}},
    {"DSN=Sales;", 0, {{"DSN", "Sales"}}},
};

TEST_F(ConnFunc, ParseCases)
{
    for (const ParseCase &c : kParseCases) {
        parse(c.text, c.flags);
        EXPECT_EQ(pairs_of(cs), c.expected) << c.text;
        EXPECT_EQ(cs.count, static_cast<int32_t>(c.expected.size())) << c.text;
        if (c.expected.empty()) {
            EXPECT_EQ(cs.pairs, nullptr) << c.text;
        }
    }
}

TEST_F(ConnFunc, ParseWithALength)
{
    const char text[] = "DSN=Sales;UID=bob;PWD=secret";
    parse(text, 0, 17);   // "DSN=Sales;UID=bob"
    EXPECT_EQ(pairs_of(cs), (Pairs{{"DSN", "Sales"}, {"UID", "bob"}}));
    parse(text, 0, 12);   // "DSN=Sales;UI": the fragment is ignored
    EXPECT_EQ(pairs_of(cs), (Pairs{{"DSN", "Sales"}}));
    parse(text, 0, 0);
    EXPECT_EQ(cs.count, 0);
    EXPECT_EQ(cs.pairs, nullptr);
    parse(";;;;", 0, 1);  // exactly ";"
    EXPECT_EQ(cs.count, 0);
    // Not terminated within the length: nothing past it is read.
    char unterminated[6] = {'A', '=', '1', ';', 'B', '='};
    parse(unterminated, 1, 6);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"A", "1"}, {"B", ""}}));
    // A long text through the length path.
    std::string big;
    for (int i = 0; i < 100; i++)
        big += "K" + std::to_string(i) + "=v" + std::to_string(i) + ";";
    parse(big.c_str(), 1, static_cast<int32_t>(big.size()));
    EXPECT_EQ(cs.count, 100);
    EXPECT_EQ(std::string(get_attribute_value(&cs, "k99")), "v99");
}

// The length counts octets of a zero-terminated copy: a zero octet within
// it ends the text there.
TEST_F(ConnFunc, ParseWithALengthStopsAtAZeroOctet)
{
    const char text[] = "DSN=Sales\0UID=bob;";
    parse(text, 0, static_cast<int32_t>(sizeof text - 1));
    EXPECT_EQ(pairs_of(cs), (Pairs{{"DSN", "Sales"}}));
    parse(text, 0, 9);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"DSN", "Sales"}}));
    parse(text, 0, 8);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"DSN", "Sale"}}));
}

TEST_F(ConnFunc, ParseForgetsEarlierPairs)
{
    parse("A=1;B=2", 1);
    parse("C=3", 1);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"C", "3"}}));
    EXPECT_EQ(cs.count, 1);
    EXPECT_EQ(parse_connection_string(&cs, mem, nullptr, KX_NTS, 0), 0);
    EXPECT_EQ(cs.count, 0);
}

/* ---- append, look-up, merge ---- */

TEST_F(ConnFunc, AppendPair)
{
    EXPECT_EQ(append_pair(&cs, "uid", nullptr, mem), 1);
    EXPECT_EQ(cs.count, 0);
    EXPECT_EQ(append_pair(&cs, "uid", "a", mem), 0);
    EXPECT_EQ(append_pair(&cs, "Pwd", "p", mem), 0);
    EXPECT_EQ(append_pair(&cs, "UID", "b", mem), 0);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"UID", "b"}, {"PWD", "p"}}));
    EXPECT_EQ(cs.count, 2);
    const char *value = "copied";
    append_pair(&cs, "x", value, mem);
    EXPECT_NE(get_attribute_value(&cs, "X"), value);
}

TEST_F(ConnFunc, GetAttributeValue)
{
    EXPECT_EQ(get_attribute_value(&cs, "DSN"), nullptr);
    parse("DSN=Sales;UID=", 0);
    EXPECT_STREQ(get_attribute_value(&cs, "dsn"), "Sales");
    EXPECT_STREQ(get_attribute_value(&cs, "UID"), "");
    EXPECT_EQ(get_attribute_value(&cs, "PWD"), nullptr);
    modify_connection_string(&cs, "UID", nullptr, mem);
    const char *empty = get_attribute_value(&cs, "UID");
    ASSERT_NE(empty, nullptr);
    EXPECT_STREQ(empty, "");
    EXPECT_EQ(get_attribute_value(nullptr, "DSN"), nullptr);
    EXPECT_EQ(get_attribute_value(&cs, nullptr), nullptr);
}

TEST_F(ConnFunc, MergeSourceOverridesTarget)
{
    ConnectionString source;
    parse("DSN=Sales;UID=bob", 1);
    init_con_str(&source);
    parse_connection_string(&source, mem, "uid=alice;PWD=pw;Server=db", KX_NTS, 1);
    merge_connection_string(&cs, &source, mem);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"DSN", "Sales"}, {"UID", "alice"}, {"PWD", "pw"}, {"SERVER", "db"}}));
    EXPECT_EQ(cs.count, 4);

    // Every target pair with the keyword gets the value.
    change_connection_string(&cs, "PWD", "uid", mem);
    ConnectionString again;
    init_con_str(&again);
    append_pair(&again, "UID", "zed", mem);
    merge_connection_string(&cs, &again, mem);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"DSN", "Sales"}, {"UID", "zed"}, {"uid", "zed"}, {"SERVER", "db"}}));

    // An empty source changes nothing; an empty target takes everything.
    ConnectionString empty;
    init_con_str(&empty);
    merge_connection_string(&cs, &empty, mem);
    EXPECT_EQ(cs.count, 4);
    merge_connection_string(&empty, &source, mem);
    EXPECT_EQ(pairs_of(empty), (Pairs{{"UID", "alice"}, {"PWD", "pw"}, {"SERVER", "db"}}));
}

TEST_F(ConnFunc, MergeUpperCasesAppendedKeywords)
{
    ConnectionString source;
    init_con_str(&source);
    append_pair(&source, "x", "1", mem);
    change_connection_string(&source, "X", "lower", mem);
    merge_connection_string(&cs, &source, mem);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"LOWER", "1"}}));
}

/* ---- modify, change, replace, delete ---- */

TEST_F(ConnFunc, ModifyAndChange)
{
    parse("DSN=a;UID=b", 1);
    EXPECT_EQ(modify_connection_string(&cs, "uid", "c", mem), 0);
    EXPECT_EQ(modify_connection_string(&cs, "PWD", "p", mem), 0);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"DSN", "a"}, {"UID", "c"}}));
    EXPECT_EQ(change_connection_string(&cs, "dsn", "FileDsn", mem), 0);
    EXPECT_EQ(change_connection_string(&cs, "nothere", "X", mem), 0);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"FileDsn", "a"}, {"UID", "c"}}));
    EXPECT_EQ(cs.count, 2);
}

TEST_F(ConnFunc, Replace)
{
    parse("UID=a;PWD=b", 1);
    EXPECT_EQ(replace_connection_string(&cs, "UID", "PWD", mem), 0);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"UID", "a"}, {"PWD", "b"}}));
    EXPECT_EQ(replace_connection_string(&cs, "uid", "user", mem), 1);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"user", "a"}, {"PWD", "b"}}));
    EXPECT_EQ(replace_connection_string(&cs, "missing", "x", mem), 0);
    EXPECT_EQ(replace_connection_string(&cs, "", "x", mem), 0);
    EXPECT_EQ(replace_connection_string(&cs, "PWD", "", mem), 0);
    EXPECT_EQ(replace_connection_string(&cs, nullptr, "x", mem), 0);
    EXPECT_EQ(replace_connection_string(&cs, "PWD", nullptr, mem), 0);
    EXPECT_EQ(replace_connection_string(&cs, "PWD", "pwd", mem), 0);   // same name exists

    // The last pair with the old keyword is renamed.
    ConnectionString two;
    init_con_str(&two);
    append_pair(&two, "A", "1", mem);
    append_pair(&two, "B", "2", mem);
    change_connection_string(&two, "B", "a", mem);
    EXPECT_NE(replace_connection_string(&two, "A", "C", mem), 0);
    EXPECT_EQ(pairs_of(two), (Pairs{{"A", "1"}, {"C", "2"}}));

    ConnectionString empty;
    init_con_str(&empty);
    EXPECT_EQ(replace_connection_string(&empty, "A", "B", mem), 0);
}

TEST_F(ConnFunc, DeleteKeepsTheCount)
{
    parse("DSN=a", 1);
    delete_connection_string(&cs, "dsn", mem);
    EXPECT_EQ(cs.count, 1);
    EXPECT_EQ(ListCount(cs.pairs), 0);
    EXPECT_EQ(get_attribute_value(&cs, "DSN"), nullptr);
    EXPECT_EQ(generate(), "");
    EXPECT_EQ(generate_ex(), "");
    char config[8];
    std::memset(config, '#', sizeof config);
    generate_connection_string_config(&cs, config, 8);
    EXPECT_EQ(config[0], '\0');

    parse("A=1;B=2;C=3", 1);
    delete_connection_string(&cs, "B", mem);
    delete_connection_string(&cs, "", mem);
    delete_connection_string(&cs, nullptr, mem);
    delete_connection_string(&cs, "Z", mem);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"A", "1"}, {"C", "3"}}));
    EXPECT_EQ(cs.count, 3);
    EXPECT_EQ(generate(), "A=1;C=3;");
}

/* ---- generators ---- */

TEST_F(ConnFunc, GenerateExamples)
{
    parse("dsn=Sales;uid=bob", 0);
    EXPECT_EQ(generate(), "DSN=Sales;UID=bob;");
    parse("DRIVER={Text Driver};DBQ=c:\\data", 0);
    EXPECT_EQ(generate(), "DRIVER={Text Driver};DBQ=c:\\data;");
    parse("DSN=x;DRIVER={d};UID=u", 0);
    EXPECT_EQ(generate(), "DSN=x;UID=u;");
    EXPECT_EQ(generate_ex(), "DSN=x;DRIVER=d;UID=u;");
}

TEST_F(ConnFunc, GenerateForTheApplication)
{
    parse("Description=desc;SQITARGETx={a;b};REMOTESTRING={r};ODBCDM=1;UID=u", 0);
    EXPECT_EQ(generate(), "SQITARGETX={a;b};REMOTESTRING={r};ODBCDM=1;UID=u;DSN=DEFAULT;");
    EXPECT_EQ(generate_ex(), "DESCRIPTION=desc;SQITARGETX=a;b;REMOTESTRING=r;UID=u;DSN=DEFAULT;");

    // An empty record leaves the buffer untouched.
    init_con_str(&cs);
    char buffer[8] = "keep";
    EXPECT_STREQ(generate_connection_string(&cs, buffer, 7), "");
    EXPECT_STREQ(buffer, "keep");
    EXPECT_STREQ(generate_connection_string_ex(&cs, buffer), "");
    EXPECT_STREQ(buffer, "keep");
}

TEST_F(ConnFunc, GenerateSizeLimit)
{
    parse("DSN=Sales;UID=bob;PWD=x", 0);   // pieces of 10, 8 and 6
    struct {
        int32_t size;
        const char *expected;
    } cases[] = {
        {100, "DSN=Sales;UID=bob;PWD=x;"},
        {24, "DSN=Sales;UID=bob;PWD=x;"},
        {23, "DSN=Sales;UID=bob;"},
        {18, "DSN=Sales;UID=bob;"},
        {17, "DSN=Sales;"},
        {10, "DSN=Sales;"},
        {9, ""},
        {0, ""},
        {-5, ""},
    };
    for (const auto &c : cases) {
        std::vector<char> buffer(static_cast<size_t>(c.size > 0 ? c.size : 0) + 1 + 8, '#');
        char *result = generate_connection_string(&cs, buffer.data(), c.size);
        EXPECT_EQ(result, buffer.data());
        EXPECT_STREQ(result, c.expected) << c.size;
        for (size_t i = static_cast<size_t>(c.size > 0 ? c.size : 0) + 1; i < buffer.size(); i++)
            ASSERT_EQ(buffer[i], '#') << "size " << c.size << " wrote at " << i;
    }
    // A later pair that would fit is dropped too.
    parse("A=1234567;B=2", 1);
    EXPECT_EQ(generate(6), "");
    // Braced pieces count their braces.
    parse("DRIVER={d}", 0);
    EXPECT_EQ(generate(11), "DRIVER={d};");
    EXPECT_EQ(generate(10), "");
}

TEST_F(ConnFunc, GenerateAttributeList)
{
    parse("DSN=a;UID=b", 0);
    char buffer[32];
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(generate_connection_string_config(&cs, buffer, 20), buffer);
    EXPECT_EQ(std::string(buffer, 13), std::string("DSN=a\0UID=b\0\0", 13));
    EXPECT_EQ(buffer[13], '#');

    struct {
        int32_t size;
        int used;
        const char *expected;
    } cases[] = {
        {13, 13, "DSN=a\0UID=b\0\0"},   // 6 + 1 > 7: fits exactly
        {12, 7, "DSN=a\0\0"},
        {8, 7, "DSN=a\0\0"},
        {7, 7, "DSN=a\0\0"},            // remaining 1 after the first: stop
        {6, 1, "\0"},
        {2, 1, "\0"},
    };
    for (const auto &c : cases) {
        std::memset(buffer, '#', sizeof buffer);
        EXPECT_EQ(generate_connection_string_config(&cs, buffer, c.size), buffer);
        EXPECT_EQ(std::string(buffer, static_cast<size_t>(c.used)),
                  std::string(c.expected, static_cast<size_t>(c.used))) << c.size;
        EXPECT_EQ(buffer[c.used], '#') << c.size;
    }
    EXPECT_EQ(generate_connection_string_config(&cs, buffer, 1), nullptr);
    EXPECT_EQ(generate_connection_string_config(&cs, nullptr, 20), nullptr);

    init_con_str(&cs);
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(generate_connection_string_config(&cs, buffer, 2), buffer);
    EXPECT_EQ(buffer[0], '\0');
    EXPECT_EQ(buffer[1], '\0');
    EXPECT_EQ(buffer[2], '#');
}

TEST_F(ConnFunc, InitConStr)
{
    cs.count = 7;
    EXPECT_EQ(init_con_str(&cs), &cs);
    EXPECT_EQ(cs.count, 0);
    EXPECT_EQ(cs.pairs, nullptr);
    EXPECT_EQ(init_con_str(nullptr), nullptr);
}

TEST_F(ConnFunc, RoundTripThroughParse)
{
    const char *texts[] = {"DSN=Sales;UID=bob;PWD=pw;", "DRIVER={A;B};DBQ=x;",
                           "FILEDSN=a.dsn;SQITARGET={t};"};
    for (const char *text : texts) {
        parse(text, 0);
        std::string first = generate();
        parse(first.c_str(), 0);
        EXPECT_EQ(generate(), first) << text;
        EXPECT_EQ(first, text);
    }
}

/* ---- null arguments, null values and hand-built records ---- */

TEST_F(ConnFunc, NullRecordIsTheEmptyRecord)
{
    EXPECT_EQ(parse_connection_string(nullptr, mem, "UID=a", KX_NTS, 0), 0);
    EXPECT_EQ(append_pair(nullptr, "UID", "a", mem), 1);
    EXPECT_EQ(merge_connection_string(nullptr, &cs, mem), 0);
    EXPECT_EQ(get_attribute_value(nullptr, "UID"), nullptr);
    EXPECT_EQ(modify_connection_string(nullptr, "UID", "b", mem), 0);
    EXPECT_EQ(change_connection_string(nullptr, "UID", "USER", mem), 0);
    EXPECT_EQ(replace_connection_string(nullptr, "UID", "USER", mem), 0);
    EXPECT_EQ(delete_connection_string(nullptr, "UID", mem), 0);

    char buffer[8];
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_STREQ(generate_connection_string(nullptr, buffer, 7), "");
    EXPECT_STREQ(generate_connection_string_ex(nullptr, buffer), "");
    EXPECT_EQ(buffer[0], '#');  // not touched by either
    EXPECT_EQ(generate_connection_string_config(nullptr, buffer, 4), buffer);
    EXPECT_EQ(std::string(buffer, 3), std::string("\0\0#", 3));
}

TEST_F(ConnFunc, NullKeywordOrSourceChangesNothing)
{
    parse("UID=a", 1);
    EXPECT_EQ(append_pair(&cs, nullptr, "b", mem), 1);
    EXPECT_EQ(get_attribute_value(&cs, nullptr), nullptr);
    EXPECT_EQ(merge_connection_string(&cs, nullptr, mem), 0);
    EXPECT_EQ(change_connection_string(&cs, "UID", nullptr, mem), 0);
    EXPECT_EQ(modify_connection_string(&cs, nullptr, "c", mem), 0);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"UID", "a"}}));
    EXPECT_EQ(cs.count, 1);
}

TEST_F(ConnFunc, GeneratorsWithoutABufferGiveTheEmptyText)
{
    parse("DSN=s;UID=bob", 0);
    EXPECT_STREQ(generate_connection_string(&cs, nullptr, 100), "");
    EXPECT_STREQ(generate_connection_string_ex(&cs, nullptr), "");
    EXPECT_EQ(generate_connection_string_config(&cs, nullptr, 100), nullptr);
}

TEST_F(ConnFunc, ParseTakesAnyNegativeLengthAsZeroTerminated)
{
    for (int32_t length : {-1, -2, -4, INT32_MIN}) {
        parse("DSN=x;UID=a;", 0, length);
        EXPECT_EQ(pairs_of(cs), (Pairs{{"DSN", "x"}, {"UID", "a"}})) << length;
    }
}

TEST_F(ConnFunc, GetAttrWithoutOutputsStillAdvances)
{
    const char *text = "A=1;B=2;C=3";
    const char *cursor = text;
    char *value = nullptr;
    get_attr(mem, &cursor, nullptr, &value);
    EXPECT_STREQ(value, "1");
    EXPECT_STREQ(cursor, "B=2;C=3");

    char *keyword = nullptr;
    get_attr(mem, &cursor, &keyword, nullptr);
    EXPECT_STREQ(keyword, "B");
    EXPECT_STREQ(cursor, "C=3");

    get_attr(mem, &cursor, nullptr, nullptr);
    EXPECT_STREQ(cursor, "");
}

TEST_F(ConnFunc, GetAttrWithoutACursorYieldsNothing)
{
    char marker[] = "x";
    char *keyword = marker;
    char *value = marker;
    get_attr(mem, nullptr, &keyword, &value);
    EXPECT_EQ(keyword, nullptr);
    EXPECT_EQ(value, nullptr);

    const char *cursor = nullptr;
    keyword = marker;
    value = marker;
    get_attr(mem, &cursor, &keyword, &value);
    EXPECT_EQ(keyword, nullptr);
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(cursor, nullptr);
}

// modify_connection_string with a null value leaves the pair without one:
// look-up gives "" and every generator writes an empty value.
TEST_F(ConnFunc, PairWithANullValueReadsAsEmpty)
{
    parse("DSN=s;UID=bob", 0);
    EXPECT_EQ(modify_connection_string(&cs, "uid", nullptr, mem), 0);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"DSN", "s"}, {"UID", "<null>"}}));
    EXPECT_STREQ(get_attribute_value(&cs, "UID"), "");
    EXPECT_EQ(generate(), "DSN=s;UID=;");
    EXPECT_EQ(generate_ex(), "DSN=s;UID=;");

    char buffer[32];
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(generate_connection_string_config(&cs, buffer, 32), buffer);
    EXPECT_EQ(std::string(buffer, 12), std::string("DSN=s\0UID=\0\0", 12));
    EXPECT_EQ(buffer[12], '#');
}

TEST_F(ConnFunc, ReplaceRefusesEmptyKeywordsAndAnEmptiedList)
{
    parse("UID=a", 1);
    EXPECT_EQ(replace_connection_string(&cs, "", "USER", mem), 0);
    EXPECT_EQ(replace_connection_string(&cs, "UID", "", mem), 0);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"UID", "a"}}));

    // Deleting the only pair keeps count 1 over an empty list.
    delete_connection_string(&cs, "UID", mem);
    ASSERT_EQ(cs.count, 1);
    EXPECT_EQ(replace_connection_string(&cs, "UID", "USER", mem), 0);
    EXPECT_TRUE(pairs_of(cs).empty());
}

// A driver may build the list itself; an element without a pair, or a pair
// without a keyword, is passed over by every call that walks the list.
class ConnFuncHandBuilt : public ConnFunc {
protected:
    void SetUp() override
    {
        ConnFunc::SetUp();
        cs.pairs = ListAppend(nullptr, nullptr, mem);
        cs.pairs = ListAppend(&blank, cs.pairs, mem);
        cs.count = 2;
    }
    ConnectionPair blank{nullptr, nullptr};
};

TEST_F(ConnFuncHandBuilt, LookUpAndAppendPassOverEmptySlots)
{
    EXPECT_EQ(get_attribute_value(&cs, "UID"), nullptr);
    EXPECT_EQ(append_pair(&cs, "uid", "a", mem), 0);
    EXPECT_EQ(append_pair(&cs, "UID", "b", mem), 0);
    EXPECT_EQ(cs.count, 3);
    EXPECT_STREQ(get_attribute_value(&cs, "Uid"), "b");
    EXPECT_EQ(modify_connection_string(&cs, "UID", "c", mem), 0);
    EXPECT_STREQ(get_attribute_value(&cs, "UID"), "c");
    EXPECT_EQ(ListCount(cs.pairs), 3);
}

TEST_F(ConnFuncHandBuilt, GeneratorsPassOverEmptySlots)
{
    append_pair(&cs, "UID", "a", mem);
    EXPECT_EQ(generate(), "UID=a;");
    EXPECT_EQ(generate_ex(), "UID=a;");
    char buffer[16];
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(generate_connection_string_config(&cs, buffer, 16), buffer);
    EXPECT_EQ(std::string(buffer, 7), std::string("UID=a\0\0", 7));
    EXPECT_EQ(buffer[7], '#');
}

TEST_F(ConnFuncHandBuilt, MergePassesOverEmptySlotsOnBothSides)
{
    ConnectionString source;
    init_con_str(&source);
    source.pairs = ListAppend(nullptr, nullptr, mem);
    source.pairs = ListAppend(&blank, source.pairs, mem);
    source.count = 2;
    append_pair(&source, "UID", "a", mem);

    EXPECT_EQ(merge_connection_string(&cs, &source, mem), 0);
    EXPECT_STREQ(get_attribute_value(&cs, "UID"), "a");
    append_pair(&source, "UID", "b", mem);
    EXPECT_EQ(merge_connection_string(&cs, &source, mem), 0);
    EXPECT_STREQ(get_attribute_value(&cs, "UID"), "b");
    EXPECT_EQ(ListCount(cs.pairs), 3);
}

TEST_F(ConnFuncHandBuilt, ReplaceAndDeletePassOverEmptySlots)
{
    append_pair(&cs, "UID", "a", mem);
    EXPECT_NE(replace_connection_string(&cs, "UID", "User", mem), 0);
    EXPECT_STREQ(get_attribute_value(&cs, "USER"), "a");
    EXPECT_EQ(get_attribute_value(&cs, "UID"), nullptr);
    delete_connection_string(&cs, "user", mem);
    EXPECT_EQ(get_attribute_value(&cs, "USER"), nullptr);
    EXPECT_EQ(ListCount(cs.pairs), 2);
}

}  // namespace
