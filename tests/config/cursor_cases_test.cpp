// Cursor names, checked from the outside through the public header only:
// generated names, the connection's registry of named statements, look-up,
// removal with slot reuse, and names longer than the statement's field.

#include <kxsupp.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

class CursorCases : public ::testing::Test {
protected:
    void SetUp() override {
        mem = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(mem, nullptr);
        std::memset(&conn, 0, sizeof conn);  // a zero-filled connection record
        conn.kind = KX_KIND_CONNECTION;
        conn.mem_handle = mem;
        for (DriverStatement &s : stmt) {
            std::memset(&s, 0, sizeof s);
            s.kind = KX_KIND_STATEMENT;
            s.connection = &conn;
        }
    }
    void TearDown() override { kx_mem_release_handle(mem); }

    // The statements the registry holds, in order (null for a free slot).
    std::string registry() const {
        std::string out;
        for (ListElement *e = ListFirst(conn.cursor_registry); e; e = ListNext(e)) {
            auto *s = static_cast<DriverStatement *>(ListData(e));
            if (!out.empty()) out += ",";
            out += s == nullptr ? std::string("-") : std::to_string(s - stmt);
        }
        return out;
    }

    MemHandle *mem = nullptr;
    DriverConnection conn;
    DriverStatement stmt[4];
};

TEST_F(CursorCases, GeneratedNamesRunPerConnection) {
    EXPECT_EQ(conn.cursor_registry, nullptr);
    generate_cursor_name(&stmt[0]);
    EXPECT_STREQ(stmt[0].cursor_name, "SQL_CUR00000000");
    EXPECT_EQ(conn.cursor_counter, 1u);
    ASSERT_NE(conn.cursor_registry, nullptr);
    EXPECT_EQ(ListCount(conn.cursor_registry), 1);
    EXPECT_EQ(registry(), "0");

    generate_cursor_name(&stmt[1]);
    EXPECT_STREQ(stmt[1].cursor_name, "SQL_CUR00000001");
    EXPECT_EQ(conn.cursor_counter, 2u);
    EXPECT_EQ(registry(), "0,1");

    // A second connection starts again at zero.
    DriverConnection other;
    std::memset(&other, 0, sizeof other);
    other.kind = KX_KIND_CONNECTION;
    other.mem_handle = mem;
    DriverStatement s;
    std::memset(&s, 0, sizeof s);
    s.kind = KX_KIND_STATEMENT;
    s.connection = &other;
    generate_cursor_name(&s);
    EXPECT_STREQ(s.cursor_name, "SQL_CUR00000000");
    EXPECT_EQ(get_stmt_by_cursor(&s, "SQL_CUR00000001"), nullptr);
    EXPECT_EQ(get_stmt_by_cursor(&s, "SQL_CUR00000000"), &s);
    EXPECT_EQ(get_stmt_by_cursor(&stmt[0], "SQL_CUR00000000"), &stmt[0]);
}

TEST_F(CursorCases, GeneratedNamesUseLowerCaseHexOfTheCounter) {
    struct Case {
        uint32_t counter;
        const char *expected;
        uint32_t after;
    };
    const Case cases[] = {
        {0x0000000au, "SQL_CUR0000000a", 0x0000000bu},
        {0x00abcdefu, "SQL_CUR00abcdef", 0x00abcdf0u},
        {0x12345678u, "SQL_CUR12345678", 0x12345679u},
        {0xffffffffu, "SQL_CURffffffff", 0u},
    };
    int i = 0;
    for (const Case &c : cases) {
        SCOPED_TRACE(c.expected);
        conn.cursor_counter = c.counter;
        generate_cursor_name(&stmt[i % 4]);
        EXPECT_STREQ(stmt[i % 4].cursor_name, c.expected);
        EXPECT_EQ(conn.cursor_counter, c.after);
        i++;
    }
}

TEST_F(CursorCases, GenerationSkipsNamesAlreadyTaken) {
    insert_cursor_name(&stmt[0], "SQL_CUR00000000");
    EXPECT_STREQ(stmt[0].cursor_name, "SQL_CUR00000000");
    EXPECT_EQ(conn.cursor_counter, 0u);
    generate_cursor_name(&stmt[1]);
    EXPECT_STREQ(stmt[1].cursor_name, "SQL_CUR00000001");
    EXPECT_EQ(conn.cursor_counter, 2u);

    insert_cursor_name(&stmt[2], "SQL_CUR00000003");
    generate_cursor_name(&stmt[3]);
    EXPECT_STREQ(stmt[3].cursor_name, "SQL_CUR00000002");
    EXPECT_EQ(conn.cursor_counter, 3u);
    EXPECT_EQ(registry(), "0,1,2,3");
}

TEST_F(CursorCases, GenerationSkipsSeveralInARow) {
    insert_cursor_name(&stmt[0], "SQL_CUR00000000");
    insert_cursor_name(&stmt[1], "SQL_CUR00000001");
    insert_cursor_name(&stmt[2], "SQL_CUR00000002");
    generate_cursor_name(&stmt[3]);
    EXPECT_STREQ(stmt[3].cursor_name, "SQL_CUR00000003");
    EXPECT_EQ(conn.cursor_counter, 4u);
}

TEST_F(CursorCases, GenerationComparesCaseSensitively) {
    insert_cursor_name(&stmt[0], "sql_cur00000000");
    generate_cursor_name(&stmt[1]);
    EXPECT_STREQ(stmt[1].cursor_name, "SQL_CUR00000000");
    EXPECT_EQ(conn.cursor_counter, 1u);
}

TEST_F(CursorCases, LookUp) {
    EXPECT_EQ(get_stmt_by_cursor(&stmt[0], "SQL_CUR00000000"), nullptr);  // no registry
    generate_cursor_name(&stmt[0]);
    insert_cursor_name(&stmt[1], "Orders");
    struct Case {
        const char *name;
        int expected;  // index into stmt, -1 for null
    };
    const Case cases[] = {
        {"SQL_CUR00000000", 0}, {"sql_cur00000000", -1}, {"Orders", 1},
        {"ORDERS", -1},         {"Order", -1},           {"Orders ", -1},
        {"", -1},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        for (DriverStatement &from : stmt) {  // any statement of the connection
            DriverStatement *found = get_stmt_by_cursor(&from, c.name);
            EXPECT_EQ(found, c.expected < 0 ? nullptr : &stmt[c.expected]);
        }
    }
}

TEST_F(CursorCases, LookUpReturnsTheFirstMatch) {
    insert_cursor_name(&stmt[0], "dup");
    insert_cursor_name(&stmt[1], "dup");
    EXPECT_EQ(get_stmt_by_cursor(&stmt[2], "dup"), &stmt[0]);
}

TEST_F(CursorCases, GetCursorNameIsTheField) {
    EXPECT_EQ(get_cursor_name(&stmt[0]), stmt[0].cursor_name);
    EXPECT_STREQ(get_cursor_name(&stmt[0]), "");
    insert_cursor_name(&stmt[0], "mine");
    EXPECT_EQ(get_cursor_name(&stmt[0]), stmt[0].cursor_name);
    EXPECT_STREQ(get_cursor_name(&stmt[0]), "mine");
}

TEST_F(CursorCases, RemovalFreesTheSlotForReuse) {
    generate_cursor_name(&stmt[0]);
    generate_cursor_name(&stmt[1]);
    generate_cursor_name(&stmt[2]);
    ASSERT_EQ(registry(), "0,1,2");

    remove_cursor_name(&stmt[3], "SQL_CUR00000001");
    EXPECT_STREQ(stmt[1].cursor_name, "");
    EXPECT_EQ(registry(), "0,-,2");
    EXPECT_EQ(ListCount(conn.cursor_registry), 3);
    EXPECT_EQ(get_stmt_by_cursor(&stmt[0], "SQL_CUR00000001"), nullptr);
    // Free slots are skipped by look-up.
    EXPECT_EQ(get_stmt_by_cursor(&stmt[0], "SQL_CUR00000002"), &stmt[2]);

    // Nothing happens for a name nobody carries.
    remove_cursor_name(&stmt[0], "SQL_CUR00000001");
    remove_cursor_name(&stmt[0], "sql_cur00000000");
    EXPECT_EQ(registry(), "0,-,2");
    EXPECT_STREQ(stmt[0].cursor_name, "SQL_CUR00000000");

    // The next registration reuses the freed slot.
    insert_cursor_name(&stmt[3], "next");
    EXPECT_EQ(registry(), "0,3,2");
    EXPECT_EQ(ListCount(conn.cursor_registry), 3);

    // Generation also reuses the first free slot, and walks past free ones.
    remove_cursor_name(&stmt[0], "SQL_CUR00000000");
    EXPECT_EQ(registry(), "-,3,2");
    generate_cursor_name(&stmt[1]);
    EXPECT_STREQ(stmt[1].cursor_name, "SQL_CUR00000003");
    EXPECT_EQ(registry(), "1,3,2");
    generate_cursor_name(&stmt[0]);
    EXPECT_EQ(registry(), "1,3,2,0");
    EXPECT_EQ(ListCount(conn.cursor_registry), 4);
}

TEST_F(CursorCases, RemovalTakesTheFirstMatch) {
    insert_cursor_name(&stmt[0], "dup");
    insert_cursor_name(&stmt[1], "dup");
    remove_cursor_name(&stmt[2], "dup");
    EXPECT_EQ(registry(), "-,1");
    EXPECT_STREQ(stmt[0].cursor_name, "");
    EXPECT_STREQ(stmt[1].cursor_name, "dup");
    EXPECT_EQ(get_stmt_by_cursor(&stmt[2], "dup"), &stmt[1]);
}

TEST_F(CursorCases, RenamingTwiceTakesTwoSlots) {
    insert_cursor_name(&stmt[0], "first");
    insert_cursor_name(&stmt[0], "second");
    EXPECT_EQ(registry(), "0,0");
    EXPECT_EQ(ListCount(conn.cursor_registry), 2);
    EXPECT_STREQ(stmt[0].cursor_name, "second");
    EXPECT_EQ(get_stmt_by_cursor(&stmt[1], "first"), nullptr);
    EXPECT_EQ(get_stmt_by_cursor(&stmt[1], "second"), &stmt[0]);
}

TEST_F(CursorCases, LongNamesAreCutToTheField) {
    const size_t field = KX_CURSOR_NAME_SIZE;
    // The statement ends exactly at its cursor-name field, so a write past
    // the field leaves the allocation.
    const size_t bytes = offsetof(DriverStatement, cursor_name) + field;
    auto *s = static_cast<DriverStatement *>(std::calloc(1, bytes));
    ASSERT_NE(s, nullptr);
    s->kind = KX_KIND_STATEMENT;
    s->connection = &conn;

    const std::string exact(field - 1, 'e');
    insert_cursor_name(s, exact.c_str());
    EXPECT_EQ(std::string(s->cursor_name), exact);

    const std::string longer(field * 4, 'x');
    insert_cursor_name(s, longer.c_str());
    const size_t kept = strnlen(s->cursor_name, field);
    ASSERT_LT(kept, field);  // terminated inside the field
    EXPECT_EQ(std::string(s->cursor_name), longer.substr(0, kept));
    EXPECT_EQ(get_stmt_by_cursor(&stmt[0], s->cursor_name), s);

    const std::string cut(s->cursor_name);
    remove_cursor_name(s, cut.c_str());
    EXPECT_STREQ(s->cursor_name, "");
    std::free(s);
}

}  // namespace
