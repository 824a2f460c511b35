// Connection strings, checked from the outside through the public header
// only: parsing, the attribute scanner, editing the record and the three
// generators with their size rules.

#include <kxsupp.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

// The record's pairs in list order, as the list holds them.
Pairs pairs_of(const ConnectionString &cs) {
    Pairs out;
    for (ListElement *e = ListFirst(cs.pairs); e != nullptr; e = ListNext(e)) {
        auto *p = static_cast<ConnectionPair *>(ListData(e));
        out.emplace_back(p->keyword ? p->keyword : "<null>",
                         p->value ? p->value : "<null>");
    }
    return out;
}

class ConnCases : public ::testing::Test {
protected:
    void SetUp() override {
        mem = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(mem, nullptr);
        init_con_str(&cs);
    }
    void TearDown() override { kx_mem_release_handle(mem); }

    void parse(const char *text, int32_t flags = 0, int32_t length = KX_NTS) {
        EXPECT_EQ(parse_connection_string(&cs, mem, text, length, flags), 0);
    }

    // generate_connection_string into a heap buffer of exactly size + 1 octets.
    std::string generate(int32_t size) {
        char *buffer = static_cast<char *>(std::malloc(size + 1));
        std::memset(buffer, 'Z', size + 1);
        buffer[size] = '\0';
        const char *r = generate_connection_string(&cs, buffer, size);
        std::string out = r ? r : "<null>";
        if (r != nullptr && std::strlen(r) > 0) {
            EXPECT_EQ(r, buffer);
        }
        std::free(buffer);
        return out;
    }

    std::string generate_ex() {
        std::vector<char> buffer(4096, 'Z');
        const char *r = generate_connection_string_ex(&cs, buffer.data());
        return r ? r : "<null>";
    }

    // generate_connection_string_config into a heap buffer of exactly size
    // octets; returns the octets up to and including the list terminator.
    std::string config(int32_t size) {
        char *buffer = static_cast<char *>(std::malloc(size));
        std::memset(buffer, 'Z', size);
        char *r = generate_connection_string_config(&cs, buffer, size);
        std::string out;
        if (r == nullptr) {
            out = "<null>";
        } else {
            EXPECT_EQ(r, buffer);
            int32_t i = 0;
            for (;;) {  // entries up to the empty one
                int32_t start = i;
                while (i < size && buffer[i] != '\0') i++;
                if (i >= size) {
                    ADD_FAILURE() << "attribute list not terminated in " << size;
                    break;
                }
                i++;
                if (i - start == 1) break;
            }
            out.assign(buffer, static_cast<size_t>(i));
        }
        std::free(buffer);
        return out;
    }

    MemHandle *mem = nullptr;
    ConnectionString cs{};
};

// ---- init_con_str ----

TEST_F(ConnCases, InitEmptiesTheRecordAndPassesNullThrough) {
    ConnectionString r;
    r.count = 7;
    r.pairs = reinterpret_cast<List *>(&r);
    EXPECT_EQ(init_con_str(&r), &r);
    EXPECT_EQ(r.count, 0);
    EXPECT_EQ(r.pairs, nullptr);
    EXPECT_EQ(init_con_str(nullptr), nullptr);
}

// ---- parse_connection_string ----

struct ParseCase {
    const char *text;
    int32_t flags;
    Pairs expected;
};

TEST_F(ConnCases, ParseTable) {
    const ParseCase cases[] = {
        {"dsn=Sales;uid=bob", 0, {{"DSN", "Sales"}, {"UID", "bob"}}},
        {"DRIVER={Text Driver};DBQ=c:\\data", 0,
         {{"DRIVER", "Text Driver"}, {"DBQ", "c:\\data"}}},
        {"UID=a", 0, {{"UID", "a"}, {"DSN", "DEFAULT"}}},
        {"UID=a", 1, {{"UID", "a"}}},
        {"UID=a", 3, {{"UID", "a"}}},
        {"UID=a", 2, {{"UID", "a"}, {"DSN", "DEFAULT"}}},
        {"UID=a;UID=b", 1, {{"UID", "b"}}},
        {"UID=a;PWD=p;uid=b", 1, {{"UID", "b"}, {"PWD", "p"}}},
        {"A=1;;B=2", 1, {{"A", "1"}, {";B", "2"}}},
        {"a=1;;b=2", 1, {{"A", "1"}, {";B", "2"}}},
        {"DRIVER={x}UID=y", 0, {{"DRIVER", "x"}, {"ID", "y"}}},
        {"", 0, {}},
        {";", 0, {}},
        {"UID={a;b}", 1, {{"UID", "{a"}}},
        {"DRIVER={abc;x=1", 0, {{"DRIVER", "abc;x=1"}}},
        {"driver={x;y};uid=u", 0, {{"DRIVER", "x;y"}, {"UID", "u"}}},
        {"DRIVER=abc;UID=x", 0, {{"DRIVER", "abc"}, {"UID", "x"}}},
        {"DRIVER= {x};UID=y", 0, {{"DRIVER", " {x}"}, {"UID", "y"}}},
        {"SQITARGETX={a;b};UID=c", 1, {{"SQITARGETX", "a;b"}, {"UID", "c"}}},
        {"sqitarget={a;b}", 1, {{"SQITARGET", "a;b"}}},
        {"SQITARGE={a;b}", 1, {{"SQITARGE", "{a"}}},
        {"remotestring2={p;q};X=1", 1, {{"REMOTESTRING2", "p;q"}, {"X", "1"}}},
        {"REMOTESTRIN={p;q}", 1, {{"REMOTESTRIN", "{p"}}},
        {"MYDRIVER={p;q}", 1, {{"MYDRIVER", "{p"}}},
        {"uid = bob ;pwd= x", 1, {{"UID ", " bob "}, {"PWD", " x"}}},
        {" dsn=a", 0, {{" DSN", "a"}, {"DSN", "DEFAULT"}}},
        {"PWD=a=b;UID=c", 1, {{"PWD", "a=b"}, {"UID", "c"}}},
        {"FILEDSN=f.dsn", 0, {{"FILEDSN", "f.dsn"}}},
        {"filedsn=f", 0, {{"FILEDSN", "f"}}},
        {"DSN=x;", 0, {{"DSN", "x"}}},
        {"DSN=x;trailing", 0, {{"DSN", "x"}}},
        {"noequals", 1, {}},
        {"DRIVER={x}", 0, {{"DRIVER", "x"}}},
        {"DRIVER={x};", 0, {{"DRIVER", "x"}}},
        {"DRIVER={}", 0, {{"DRIVER", ""}}},
        {"UID=;PWD=", 1, {{"UID", ""}, {"PWD", ""}}},
        {"Uid=MixedCase", 1, {{"UID", "MixedCase"}}},
    };
    for (const ParseCase &c : cases) {
        SCOPED_TRACE(std::string("text \"") + c.text + "\" flags " +
                     std::to_string(c.flags));
        cs.count = 99;
        parse(c.text, c.flags);
        EXPECT_EQ(pairs_of(cs), c.expected);
        EXPECT_EQ(cs.count, static_cast<int32_t>(c.expected.size()));
        if (c.expected.empty()) {
            EXPECT_EQ(cs.pairs, nullptr);
        }
    }
}

TEST_F(ConnCases, ParseWithLengthReadsOnlyThoseOctets) {
    struct Case {
        const char *text;
        int32_t length;
        int32_t flags;
        Pairs expected;
    };
    const Case cases[] = {
        {"DSN=a;UID=b", 11, 0, {{"DSN", "a"}, {"UID", "b"}}},
        {"DSN=a;UID=b", 5, 0, {{"DSN", "a"}}},
        {"DSN=a;UID=b", 9, 0, {{"DSN", "a"}}},
        {"DSN=a;UID=b", 10, 0, {{"DSN", "a"}, {"UID", ""}}},
        {"DSN=a;UID=b", 0, 0, {}},
        {"DSN=a;UID=b", 1, 0, {{"DSN", "DEFAULT"}}},
        {"DSN=a;UID=b", 1, 1, {}},
        {"UID=a;x", 5, 0, {{"UID", "a"}, {"DSN", "DEFAULT"}}},
        {"DRIVER={abc};UID=u", 10, 0, {{"DRIVER", "ab"}}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(std::string(c.text) + " length " + std::to_string(c.length));
        // The text is not zero-terminated at length: copy exactly the octets.
        char *exact = static_cast<char *>(std::malloc(c.length > 0 ? c.length : 1));
        std::memcpy(exact, c.text, c.length);
        parse(exact, c.flags, c.length);
        std::free(exact);
        EXPECT_EQ(pairs_of(cs), c.expected);
        EXPECT_EQ(cs.count, static_cast<int32_t>(c.expected.size()));
    }
}

TEST_F(ConnCases, ParseForgetsEarlierPairs) {
    parse("A=1;B=2", 1);
    ASSERT_EQ(cs.count, 2);
    parse("C=3", 1);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"C", "3"}}));
    EXPECT_EQ(cs.count, 1);
    parse("", 1);
    EXPECT_EQ(cs.count, 0);
    EXPECT_EQ(cs.pairs, nullptr);
}

TEST_F(ConnCases, ParseNtsEqualsMinusThree) {
    EXPECT_EQ(KX_NTS, -3);
    parse("DSN=s;UID=u", 0, -3);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"DSN", "s"}, {"UID", "u"}}));
}

// ---- get_attr ----

struct AttrCase {
    const char *text;
    const char *keyword;  // null: no keyword
    const char *value;
    const char *rest;     // where the cursor is left (null: not checked)
};

TEST_F(ConnCases, GetAttrTable) {
    const AttrCase cases[] = {
        {"A=1;B=2", "A", "1", "B=2"},
        {"a=1", "a", "1", ""},
        {"uid = bob ;x=1", "uid ", " bob ", "x=1"},
        {";B=2", ";B", "2", ""},
        {"DRIVER={x}UID=y", "DRIVER", "x", "ID=y"},
        {"DRIVER={x};UID=y", "DRIVER", "x", "UID=y"},
        {"DRIVER={x}", "DRIVER", "x", ""},
        {"driver={a;b};", "driver", "a;b", ""},
        {"DRIVER={x", "DRIVER", "x", ""},
        {"SQITARGET1={q;r}Z", "SQITARGET1", "q;r", ""},
        {"RemoteString={q}", "RemoteString", "q", ""},
        {"UID={a;b}", "UID", "{a", "b}"},
        {"K=v=w;", "K", "v=w", ""},
        {"=v;x", "", "v", "x"},
        {"", nullptr, nullptr, ""},
        {"noequals", nullptr, nullptr, nullptr},
    };
    for (const AttrCase &c : cases) {
        SCOPED_TRACE(std::string("text \"") + c.text + "\"");
        const char *cursor = c.text;
        char *keyword = reinterpret_cast<char *>(1);
        char *value = reinterpret_cast<char *>(1);
        get_attr(mem, &cursor, &keyword, &value);
        if (c.keyword == nullptr) {
            EXPECT_EQ(keyword, nullptr);
            EXPECT_EQ(value, nullptr);
        } else {
            ASSERT_NE(keyword, nullptr);
            ASSERT_NE(value, nullptr);
            EXPECT_STREQ(keyword, c.keyword);
            EXPECT_STREQ(value, c.value);
        }
        EXPECT_GE(cursor, c.text);
        EXPECT_LE(cursor, c.text + std::strlen(c.text));
        if (c.rest != nullptr) {
            EXPECT_STREQ(cursor, c.rest);
        }
    }
}

TEST_F(ConnCases, GetAttrWalksAWholeString) {
    const char *cursor = "A=1;;B=2;DRIVER={d;e}C=3";
    std::vector<std::pair<std::string, std::string>> seen;
    for (int guard = 0; guard < 10; guard++) {
        char *k = nullptr;
        char *v = nullptr;
        get_attr(mem, &cursor, &k, &v);
        if (k == nullptr) break;
        seen.emplace_back(k, v);
    }
    EXPECT_EQ(seen, (Pairs{{"A", "1"}, {";B", "2"}, {"DRIVER", "d;e"}, {"", "3"}}));
}

// ---- append_pair ----

TEST_F(ConnCases, AppendPair) {
    EXPECT_EQ(append_pair(&cs, "uid", nullptr, mem), 1);
    EXPECT_EQ(cs.count, 0);
    EXPECT_EQ(cs.pairs, nullptr);

    char value[] = "bob";
    EXPECT_EQ(append_pair(&cs, "uid", value, mem), 0);
    EXPECT_EQ(cs.count, 1);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"UID", "bob"}}));
    auto *p = static_cast<ConnectionPair *>(ListData(ListFirst(cs.pairs)));
    EXPECT_NE(p->value, value);  // a private copy
    value[0] = 'X';
    EXPECT_STREQ(p->value, "bob");

    EXPECT_EQ(append_pair(&cs, "a;b-c", "", mem), 0);
    EXPECT_EQ(append_pair(&cs, "Uid", "alice", mem), 0);  // replaces in place
    EXPECT_EQ(append_pair(&cs, "UID", nullptr, mem), 1);  // keeps the old value
    EXPECT_EQ(cs.count, 2);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"UID", "alice"}, {"A;B-C", ""}}));
}

// ---- get_attribute_value ----

TEST_F(ConnCases, GetAttributeValue) {
    EXPECT_EQ(get_attribute_value(&cs, "DSN"), nullptr);  // empty record
    parse("DSN=Sales;uid=bob;PWD=", 0);
    struct Case {
        const char *keyword;
        const char *expected;
    };
    const Case cases[] = {
        {"DSN", "Sales"}, {"dsn", "Sales"}, {"Uid", "bob"},
        {"PWD", ""},      {"DRIVER", nullptr}, {"DS", nullptr},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.keyword);
        const char *v = get_attribute_value(&cs, c.keyword);
        if (c.expected == nullptr) {
            EXPECT_EQ(v, nullptr);
        } else {
            ASSERT_NE(v, nullptr);
            EXPECT_STREQ(v, c.expected);
        }
    }

    // A pair whose value is null reads as "".
    auto *pair = static_cast<ConnectionPair *>(kx_mem_alloc(mem, sizeof(ConnectionPair)));
    pair->keyword = string_duplicate("NOVAL", mem);
    pair->value = nullptr;
    cs.pairs = ListAppend(pair, cs.pairs, mem);
    cs.count++;
    const char *v = get_attribute_value(&cs, "noval");
    ASSERT_NE(v, nullptr);
    EXPECT_STREQ(v, "");
}

// ---- modify / change ----

TEST_F(ConnCases, ModifyConnectionString) {
    parse("DSN=a;UID=b;PWD=c", 0);
    EXPECT_EQ(modify_connection_string(&cs, "uid", "zed", mem), 0);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"DSN", "a"}, {"UID", "zed"}, {"PWD", "c"}}));
    EXPECT_EQ(modify_connection_string(&cs, "HOST", "h", mem), 0);  // absent
    EXPECT_EQ(cs.count, 3);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"DSN", "a"}, {"UID", "zed"}, {"PWD", "c"}}));

    char fresh[] = "new";
    EXPECT_EQ(modify_connection_string(&cs, "PWD", fresh, mem), 0);
    fresh[0] = 'X';
    EXPECT_STREQ(get_attribute_value(&cs, "PWD"), "new");

    // Only the first of two pairs with the same keyword is given the value.
    EXPECT_EQ(change_connection_string(&cs, "PWD", "DSN", mem), 0);
    EXPECT_EQ(modify_connection_string(&cs, "dsn", "first", mem), 0);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"DSN", "first"}, {"UID", "zed"}, {"DSN", "new"}}));
}

TEST_F(ConnCases, ChangeConnectionString) {
    parse("DSN=a;UID=b", 0);
    EXPECT_EQ(change_connection_string(&cs, "uid", "User Name", mem), 0);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"DSN", "a"}, {"User Name", "b"}}));
    EXPECT_STREQ(get_attribute_value(&cs, "USER NAME"), "b");
    EXPECT_EQ(change_connection_string(&cs, "NOPE", "x", mem), 0);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"DSN", "a"}, {"User Name", "b"}}));
    EXPECT_EQ(cs.count, 2);
    // A duplicate may be created; only the first match is renamed.
    EXPECT_EQ(change_connection_string(&cs, "user name", "dsn", mem), 0);
    EXPECT_EQ(change_connection_string(&cs, "DSN", "Q", mem), 0);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"Q", "a"}, {"dsn", "b"}}));
}

// ---- replace ----

TEST_F(ConnCases, ReplaceConnectionString) {
    // Nothing to do on an empty record or with null / empty keywords.
    EXPECT_EQ(replace_connection_string(&cs, "UID", "PWD", mem), 0);
    parse("DSN=a;UID=b;PWD=c", 0);
    EXPECT_EQ(replace_connection_string(&cs, nullptr, "X", mem), 0);
    EXPECT_EQ(replace_connection_string(&cs, "UID", nullptr, mem), 0);
    EXPECT_EQ(replace_connection_string(&cs, "", "X", mem), 0);
    EXPECT_EQ(replace_connection_string(&cs, "UID", "", mem), 0);
    // Refuses to create a duplicate, whether the existing pair comes first
    // or after the one to rename.
    EXPECT_EQ(replace_connection_string(&cs, "UID", "PWD", mem), 0);
    EXPECT_EQ(replace_connection_string(&cs, "pwd", "dsn", mem), 0);
    EXPECT_EQ(replace_connection_string(&cs, "UID", "uid", mem), 0);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"DSN", "a"}, {"UID", "b"}, {"PWD", "c"}}));
    // Absent old keyword.
    EXPECT_EQ(replace_connection_string(&cs, "HOST", "SERVER", mem), 0);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"DSN", "a"}, {"UID", "b"}, {"PWD", "c"}}));
    // A rename: the new keyword is copied verbatim.
    EXPECT_NE(replace_connection_string(&cs, "uid", "User", mem), 0);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"DSN", "a"}, {"User", "b"}, {"PWD", "c"}}));
    EXPECT_EQ(cs.count, 3);
}

TEST_F(ConnCases, ReplaceRenamesTheLastMatch) {
    parse("A=1;B=2", 1);
    ASSERT_EQ(change_connection_string(&cs, "B", "A", mem), 0);  // A=1, A=2
    EXPECT_NE(replace_connection_string(&cs, "a", "C", mem), 0);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"A", "1"}, {"C", "2"}}));
}

// ---- delete ----

TEST_F(ConnCases, DeleteKeepsTheCount) {
    delete_connection_string(&cs, "DSN", mem);  // empty record: nothing
    EXPECT_EQ(cs.count, 0);
    EXPECT_EQ(cs.pairs, nullptr);

    parse("DSN=a", 0);
    delete_connection_string(&cs, nullptr, mem);
    delete_connection_string(&cs, "", mem);
    delete_connection_string(&cs, "UID", mem);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"DSN", "a"}}));

    delete_connection_string(&cs, "dsn", mem);
    EXPECT_EQ(cs.count, 1);  // not kept in step with the list
    ASSERT_NE(cs.pairs, nullptr);
    EXPECT_EQ(ListCount(cs.pairs), 0);
    EXPECT_EQ(ListFirst(cs.pairs), nullptr);
    EXPECT_EQ(ListLast(cs.pairs), nullptr);
    EXPECT_EQ(get_attribute_value(&cs, "DSN"), nullptr);

    // Every generator walks the (empty) list: an empty text in the buffer.
    char buffer[16];
    std::memset(buffer, 'Z', sizeof buffer);
    EXPECT_EQ(generate_connection_string(&cs, buffer, 15), buffer);
    EXPECT_STREQ(buffer, "");
    std::memset(buffer, 'Z', sizeof buffer);
    EXPECT_EQ(generate_connection_string_ex(&cs, buffer), buffer);
    EXPECT_STREQ(buffer, "");
    std::memset(buffer, 'Z', sizeof buffer);
    EXPECT_EQ(generate_connection_string_config(&cs, buffer, 16), buffer);
    EXPECT_EQ(buffer[0], '\0');

    // The emptied header can be appended to again; the count goes on.
    EXPECT_EQ(append_pair(&cs, "UID", "u", mem), 0);
    EXPECT_EQ(cs.count, 2);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"UID", "u"}}));
}

TEST_F(ConnCases, DeleteRemovesTheFirstMatch) {
    parse("A=1;B=2;C=3", 1);
    ASSERT_EQ(change_connection_string(&cs, "C", "A", mem), 0);  // A=1 B=2 A=3
    delete_connection_string(&cs, "a", mem);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"B", "2"}, {"A", "3"}}));
    EXPECT_EQ(cs.count, 3);
    delete_connection_string(&cs, "A", mem);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"B", "2"}}));
    EXPECT_EQ(ListCount(cs.pairs), 1);
    EXPECT_EQ(generate(100), "B=2;");
}

// ---- merge ----

TEST_F(ConnCases, MergeOverridesAndAppends) {
    parse("DSN=a;UID=b", 0);
    ConnectionString src{};
    init_con_str(&src);
    EXPECT_EQ(parse_connection_string(&src, mem, "uid=z;PWD=p", KX_NTS, 1), 0);
    merge_connection_string(&cs, &src, mem);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"DSN", "a"}, {"UID", "z"}, {"PWD", "p"}}));
    EXPECT_EQ(cs.count, 3);
    // Fresh copies, not the source's texts.
    auto *t = static_cast<ConnectionPair *>(ListData(ListNext(ListFirst(cs.pairs))));
    auto *s = static_cast<ConnectionPair *>(ListData(ListFirst(src.pairs)));
    EXPECT_NE(t->value, s->value);
    // The source is unchanged.
    EXPECT_EQ(pairs_of(src), (Pairs{{"UID", "z"}, {"PWD", "p"}}));
}

TEST_F(ConnCases, MergeEdgeCases) {
    ConnectionString src{};
    init_con_str(&src);
    parse("A=1;B=2", 1);
    merge_connection_string(&cs, &src, mem);  // empty source
    EXPECT_EQ(pairs_of(cs), (Pairs{{"A", "1"}, {"B", "2"}}));
    EXPECT_EQ(cs.count, 2);

    // Every target pair with the keyword takes the value.
    ASSERT_EQ(change_connection_string(&cs, "B", "A", mem), 0);
    EXPECT_EQ(parse_connection_string(&src, mem, "a=9", KX_NTS, 1), 0);
    ASSERT_EQ(change_connection_string(&src, "A", "a", mem), 0);
    ASSERT_EQ(append_pair(&src, "x", "new", mem), 0);
    ASSERT_EQ(change_connection_string(&src, "X", "lower", mem), 0);
    merge_connection_string(&cs, &src, mem);
    EXPECT_EQ(pairs_of(cs), (Pairs{{"A", "9"}, {"A", "9"}, {"LOWER", "new"}}));
    EXPECT_EQ(cs.count, 3);

    // Into an empty target.
    ConnectionString empty{};
    init_con_str(&empty);
    merge_connection_string(&empty, &src, mem);
    EXPECT_EQ(pairs_of(empty), (Pairs{{"A", "9"}, {"LOWER", "new"}}));
    EXPECT_EQ(empty.count, 2);
}

// ---- generate_connection_string ----

struct GenCase {
    const char *text;
    int32_t flags;
    int32_t size;
    const char *expected;
};

TEST_F(ConnCases, GenerateTable) {
    const GenCase cases[] = {
        {"dsn=Sales;uid=bob", 0, 100, "DSN=Sales;UID=bob;"},
        {"DRIVER={Text Driver};DBQ=c:\\data", 0, 100,
         "DRIVER={Text Driver};DBQ=c:\\data;"},
        {"UID=a", 0, 100, "UID=a;DSN=DEFAULT;"},
        {"UID=a", 1, 100, "UID=a;"},
        {"DSN=x;DRIVER={d};UID=u", 0, 100, "DSN=x;UID=u;"},
        {"DRIVER={d};DSN=x", 0, 100, "DSN=x;"},
        {"DSN=x;Description=hello;UID=u", 0, 100, "DSN=x;UID=u;"},
        {"DRIVER={d};description=h", 0, 100, "DRIVER={d};"},
        {"SQITARGETZ={a;b};UID=c", 1, 100, "SQITARGETZ={a;b};UID=c;"},
        {"REMOTESTRINGS={r};DSN=x", 0, 100, "REMOTESTRINGS={r};DSN=x;"},
        {"DSN=x;ODBCDM=1", 0, 100, "DSN=x;ODBCDM=1;"},
        {"DRIVER=plain", 0, 100, "DRIVER={plain};"},
        // Size: a result of exactly size characters is accepted.
        {"dsn=Sales;uid=bob", 0, 18, "DSN=Sales;UID=bob;"},
        {"dsn=Sales;uid=bob", 0, 17, "DSN=Sales;"},
        {"dsn=Sales;uid=bob", 0, 10, "DSN=Sales;"},
        {"dsn=Sales;uid=bob", 0, 9, ""},
        {"dsn=Sales;uid=bob", 0, 0, ""},
        // A piece that does not fit drops all later pairs, even short ones.
        {"DSN=Sales;UID=bobbybobby;X=1", 0, 20, "DSN=Sales;"},
        {"DRIVER={Text Driver};DBQ=d", 0, 21, "DRIVER={Text Driver};"},
        {"DRIVER={Text Driver};DBQ=d", 0, 20, ""},
        // A skipped DRIVER takes no room.
        {"DRIVER={Text Driver};DSN=x", 0, 6, "DSN=x;"},
    };
    for (const GenCase &c : cases) {
        SCOPED_TRACE(std::string(c.text) + " size " + std::to_string(c.size));
        parse(c.text, c.flags);
        EXPECT_EQ(generate(c.size), c.expected);
    }
}

TEST_F(ConnCases, GenerateEmptyRecordLeavesTheBuffer) {
    char buffer[8];
    std::memset(buffer, 'Z', sizeof buffer);
    const char *r = generate_connection_string(&cs, buffer, 7);
    ASSERT_NE(r, nullptr);
    EXPECT_STREQ(r, "");
    EXPECT_EQ(buffer[0], 'Z');
    r = generate_connection_string_ex(&cs, buffer);
    ASSERT_NE(r, nullptr);
    EXPECT_STREQ(r, "");
    EXPECT_EQ(buffer[0], 'Z');
    // Parsing empty text also yields an empty record.
    parse("", 0);
    r = generate_connection_string(&cs, buffer, 7);
    EXPECT_STREQ(r, "");
    EXPECT_EQ(buffer[0], 'Z');
}

// ---- generate_connection_string_ex ----

TEST_F(ConnCases, GenerateExTable) {
    struct Case {
        const char *text;
        int32_t flags;
        const char *expected;
    };
    const Case cases[] = {
        {"DSN=x;DRIVER={d};UID=u", 0, "DSN=x;DRIVER=d;UID=u;"},
        {"DSN=x;Description=hello", 0, "DSN=x;DESCRIPTION=hello;"},
        {"DSN=x;odbcdm=1;UID=u", 0, "DSN=x;UID=u;"},
        {"SQITARGETZ={a;b}", 1, "SQITARGETZ=a;b;"},
        {"UID=a", 0, "UID=a;DSN=DEFAULT;"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        parse(c.text, c.flags);
        EXPECT_EQ(generate_ex(), c.expected);
    }
}

// ---- generate_connection_string_config ----

TEST_F(ConnCases, GenerateConfigTable) {
    using namespace std::string_literals;
    struct Case {
        const char *text;
        int32_t flags;
        int32_t size;
        std::string expected;
    };
    const Case cases[] = {
        {"DSN=a;UID=b", 0, 20, "DSN=a\0UID=b\0\0"s},
        {"DSN=a;UID=b", 0, 13, "DSN=a\0UID=b\0\0"s},
        {"DSN=a;UID=b", 0, 12, "DSN=a\0\0"s},
        {"DSN=a;UID=b", 0, 8, "DSN=a\0\0"s},
        {"DSN=a;UID=b", 0, 7, "DSN=a\0\0"s},
        {"DSN=a;UID=b", 0, 6, "\0"s},
        {"DSN=a;UID=b", 0, 2, "\0"s},
        // Stops once only one octet is left.
        {"DSN=a;UID=b;P=1", 0, 13, "DSN=a\0UID=b\0\0"s},
        {"DSN=a;UID=b;P=1", 0, 17, "DSN=a\0UID=b\0P=1\0\0"s},
        {"DSN=a;UID=b;P=1", 0, 16, "DSN=a\0UID=b\0\0"s},
        // No braces and nothing skipped.
        {"DRIVER={x;y};DSN=d;Description=z;ODBCDM=1", 0, 100,
         "DRIVER=x;y\0DSN=d\0DESCRIPTION=z\0ODBCDM=1\0\0"s},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(std::string(c.text) + " size " + std::to_string(c.size));
        parse(c.text, c.flags);
        EXPECT_EQ(config(c.size), c.expected);
    }
}

TEST_F(ConnCases, GenerateConfigRefusals) {
    char buffer[4] = {'Z', 'Z', 'Z', 'Z'};
    EXPECT_EQ(generate_connection_string_config(&cs, nullptr, 20), nullptr);
    EXPECT_EQ(generate_connection_string_config(&cs, buffer, 1), nullptr);
    EXPECT_EQ(generate_connection_string_config(&cs, buffer, 0), nullptr);
    EXPECT_EQ(generate_connection_string_config(&cs, buffer, -5), nullptr);
    EXPECT_EQ(buffer[0], 'Z');
    // An empty record: two zero octets.
    EXPECT_EQ(generate_connection_string_config(&cs, buffer, 2), buffer);
    EXPECT_EQ(buffer[0], '\0');
    EXPECT_EQ(buffer[1], '\0');
    EXPECT_EQ(buffer[2], 'Z');
    parse("DSN=a", 0);
    EXPECT_EQ(generate_connection_string_config(&cs, nullptr, 20), nullptr);
    EXPECT_EQ(generate_connection_string_config(&cs, buffer, 1), nullptr);
}

// ---- a driver's SQLDriverConnect round trip ----

TEST_F(ConnCases, ParseMergeGenerateRoundTrip) {
    parse("DSN=Sales;UID=bob", 0);
    ConnectionString settings{};
    init_con_str(&settings);
    ASSERT_EQ(append_pair(&settings, "Server", "db1", mem), 0);
    ASSERT_EQ(append_pair(&settings, "uid", "ignored?", mem), 0);
    // Application values take precedence: merge the application's pairs
    // into the data-source settings.
    merge_connection_string(&settings, &cs, mem);
    EXPECT_EQ(pairs_of(settings),
              (Pairs{{"SERVER", "db1"}, {"UID", "bob"}, {"DSN", "Sales"}}));
    char buffer[64];
    EXPECT_STREQ(generate_connection_string(&settings, buffer, 63),
                 "SERVER=db1;UID=bob;DSN=Sales;");
}

}  // namespace
