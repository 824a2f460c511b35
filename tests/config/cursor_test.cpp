// Tests of cursor names: generated names and their skipping of taken names,
// insertion, case-sensitive look-up, removal with slot reuse, and the cut of
// names longer than the statement's field.
#include "kxsupp/config.h"
#include "kxsupp/memory.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

class Cursor : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::memset(&conn, 0, sizeof conn);
        conn.kind = KX_KIND_CONNECTION;
        conn.mem_handle = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(conn.mem_handle, nullptr);
        for (DriverStatement &s : stmts) {
            std::memset(&s, 0, sizeof s);
            s.kind = KX_KIND_STATEMENT;
            s.connection = &conn;
        }
    }
    void TearDown() override { kx_mem_release_handle(conn.mem_handle); }

    DriverConnection conn;
    DriverStatement stmts[6];
};

TEST_F(Cursor, GeneratedNamesCountUp)
{
    generate_cursor_name(&stmts[0]);
    EXPECT_STREQ(get_cursor_name(&stmts[0]), "SQL_CUR00000000");
    EXPECT_EQ(get_cursor_name(&stmts[0]), stmts[0].cursor_name);
    generate_cursor_name(&stmts[1]);
    EXPECT_STREQ(stmts[1].cursor_name, "SQL_CUR00000001");
    EXPECT_EQ(conn.cursor_counter, 2u);
    EXPECT_EQ(ListCount(conn.cursor_registry), 2);
    EXPECT_EQ(get_stmt_by_cursor(&stmts[2], "SQL_CUR00000001"), &stmts[1]);
}

TEST_F(Cursor, HexadecimalLowerCase)
{
    conn.cursor_counter = 0xabcdef;
    generate_cursor_name(&stmts[0]);
    EXPECT_STREQ(stmts[0].cursor_name, "SQL_CUR00abcdef");
    conn.cursor_counter = 0xffffffffu;
    generate_cursor_name(&stmts[1]);
    EXPECT_STREQ(stmts[1].cursor_name, "SQL_CURffffffff");
    EXPECT_EQ(conn.cursor_counter, 0u);
}

TEST_F(Cursor, GenerationSkipsTakenNames)
{
    insert_cursor_name(&stmts[0], "SQL_CUR00000000");
    generate_cursor_name(&stmts[1]);
    EXPECT_STREQ(stmts[1].cursor_name, "SQL_CUR00000001");
    EXPECT_EQ(conn.cursor_counter, 2u);
    // Only an exact match is taken: another case does not count.
    insert_cursor_name(&stmts[2], "sql_cur00000002");
    generate_cursor_name(&stmts[3]);
    EXPECT_STREQ(stmts[3].cursor_name, "SQL_CUR00000002");
}

TEST_F(Cursor, LookUpIsCaseSensitive)
{
    generate_cursor_name(&stmts[0]);
    EXPECT_EQ(get_stmt_by_cursor(&stmts[1], "sql_cur00000000"), nullptr);
    EXPECT_EQ(get_stmt_by_cursor(&stmts[1], "SQL_CUR00000000"), &stmts[0]);
    EXPECT_EQ(get_stmt_by_cursor(&stmts[1], "SQL_CUR0000000"), nullptr);
    EXPECT_EQ(get_stmt_by_cursor(&stmts[1], nullptr), nullptr);
}

TEST_F(Cursor, EmptyRegistryFindsNothing)
{
    EXPECT_EQ(get_stmt_by_cursor(&stmts[0], "x"), nullptr);
    remove_cursor_name(&stmts[0], "x");
    EXPECT_EQ(conn.cursor_registry, nullptr);
}

TEST_F(Cursor, RemovalFreesASlotThatIsReused)
{
    insert_cursor_name(&stmts[0], "a");
    insert_cursor_name(&stmts[1], "b");
    insert_cursor_name(&stmts[2], "c");
    ASSERT_EQ(ListCount(conn.cursor_registry), 3);
    remove_cursor_name(&stmts[3], "b");
    EXPECT_STREQ(stmts[1].cursor_name, "");
    EXPECT_EQ(get_stmt_by_cursor(&stmts[0], "b"), nullptr);
    ListElement *second = ListNext(ListFirst(conn.cursor_registry));
    EXPECT_EQ(ListData(second), nullptr);
    EXPECT_EQ(ListCount(conn.cursor_registry), 3);

    insert_cursor_name(&stmts[4], "d");
    EXPECT_EQ(ListCount(conn.cursor_registry), 3);
    EXPECT_EQ(ListData(second), &stmts[4]);
    EXPECT_EQ(get_stmt_by_cursor(&stmts[0], "d"), &stmts[4]);

    generate_cursor_name(&stmts[5]);
    EXPECT_EQ(ListCount(conn.cursor_registry), 4);

    // Nothing happens for a name nobody carries.
    remove_cursor_name(&stmts[0], "zzz");
    EXPECT_EQ(ListCount(conn.cursor_registry), 4);
    EXPECT_STREQ(stmts[0].cursor_name, "a");
}

TEST_F(Cursor, RemovalTakesTheFirstCarrier)
{
    insert_cursor_name(&stmts[0], "same");
    insert_cursor_name(&stmts[1], "same");
    EXPECT_EQ(get_stmt_by_cursor(&stmts[2], "same"), &stmts[0]);
    remove_cursor_name(&stmts[2], "same");
    EXPECT_STREQ(stmts[0].cursor_name, "");
    EXPECT_STREQ(stmts[1].cursor_name, "same");
    EXPECT_EQ(get_stmt_by_cursor(&stmts[2], "same"), &stmts[1]);
}

TEST_F(Cursor, RenamingTwiceTakesTwoSlots)
{
    insert_cursor_name(&stmts[0], "first");
    insert_cursor_name(&stmts[0], "second");
    EXPECT_EQ(ListCount(conn.cursor_registry), 2);
    EXPECT_EQ(get_stmt_by_cursor(&stmts[1], "second"), &stmts[0]);
    EXPECT_EQ(get_stmt_by_cursor(&stmts[1], "first"), nullptr);
}

TEST_F(Cursor, RegistryIsPerConnection)
{
    DriverConnection other;
    std::memset(&other, 0, sizeof other);
    other.mem_handle = kx_mem_alloc_handle(nullptr);
    DriverStatement s;
    std::memset(&s, 0, sizeof s);
    s.connection = &other;
    generate_cursor_name(&stmts[0]);
    generate_cursor_name(&s);
    EXPECT_STREQ(s.cursor_name, "SQL_CUR00000000");
    EXPECT_EQ(get_stmt_by_cursor(&stmts[1], "SQL_CUR00000000"), &stmts[0]);
    EXPECT_EQ(get_stmt_by_cursor(&s, "SQL_CUR00000000"), &s);
    kx_mem_release_handle(other.mem_handle);
}

TEST_F(Cursor, LongNamesAreCut)
{
    std::string name(300, 'n');
    std::memset(stmts[1].cursor_name, 0, sizeof stmts[1].cursor_name);
    insert_cursor_name(&stmts[0], name.c_str());
    EXPECT_EQ(std::strlen(stmts[0].cursor_name), static_cast<size_t>(KX_CURSOR_NAME_SIZE - 1));
    EXPECT_EQ(std::string(stmts[0].cursor_name), name.substr(0, KX_CURSOR_NAME_SIZE - 1));
    // The neighbour record is untouched.
    EXPECT_EQ(stmts[1].cursor_name[0], '\0');
    EXPECT_EQ(stmts[1].connection, &conn);
    std::string exact(KX_CURSOR_NAME_SIZE - 1, 'e');
    insert_cursor_name(&stmts[2], exact.c_str());
    EXPECT_EQ(get_stmt_by_cursor(&stmts[0], exact.c_str()), &stmts[2]);
}

TEST_F(Cursor, NameTakenFromItsOwnField)
{
    insert_cursor_name(&stmts[0], "abcdefgh");
    insert_cursor_name(&stmts[0], stmts[0].cursor_name + 2);
    EXPECT_STREQ(stmts[0].cursor_name, "cdefgh");
    insert_cursor_name(&stmts[0], get_cursor_name(&stmts[0]));
    EXPECT_STREQ(stmts[0].cursor_name, "cdefgh");
    EXPECT_EQ(get_stmt_by_cursor(&stmts[1], "cdefgh"), &stmts[0]);
}

TEST_F(Cursor, NullArgumentsAreSafe)
{
    generate_cursor_name(nullptr);
    insert_cursor_name(nullptr, "x");
    EXPECT_EQ(get_stmt_by_cursor(nullptr, "x"), nullptr);
    remove_cursor_name(nullptr, "x");
    EXPECT_EQ(get_cursor_name(nullptr), nullptr);
    insert_cursor_name(&stmts[0], nullptr);
    EXPECT_STREQ(stmts[0].cursor_name, "");
}

// A statement that belongs to no connection keeps a name of its own, but
// nothing can register or find it.
TEST_F(Cursor, StatementWithoutAConnection)
{
    DriverStatement lone;
    std::memset(&lone, 0, sizeof lone);
    lone.kind = KX_KIND_STATEMENT;
    std::strcpy(lone.cursor_name, "old");
    generate_cursor_name(&lone);
    EXPECT_STREQ(lone.cursor_name, "old");
    insert_cursor_name(&lone, "mine");
    EXPECT_STREQ(get_cursor_name(&lone), "mine");
    EXPECT_EQ(get_stmt_by_cursor(&lone, "mine"), nullptr);
    remove_cursor_name(&lone, "mine");
    EXPECT_STREQ(lone.cursor_name, "mine");
    EXPECT_EQ(conn.cursor_registry, nullptr);
    EXPECT_EQ(conn.cursor_counter, 0u);
}

// A connection without a memory handle cannot grow its registry: names are
// still given, but not registered.
TEST_F(Cursor, ConnectionWithoutAMemoryHandleRegistersNothing)
{
    MemHandle *handle = conn.mem_handle;
    conn.mem_handle = nullptr;
    insert_cursor_name(&stmts[0], "C1");
    EXPECT_STREQ(stmts[0].cursor_name, "C1");
    generate_cursor_name(&stmts[1]);
    EXPECT_STREQ(stmts[1].cursor_name, "SQL_CUR00000000");
    EXPECT_EQ(conn.cursor_registry, nullptr);
    EXPECT_EQ(get_stmt_by_cursor(&stmts[2], "C1"), nullptr);
    conn.mem_handle = handle;
}

TEST_F(Cursor, RemovalWithoutANameRemovesNothing)
{
    insert_cursor_name(&stmts[0], "C1");
    remove_cursor_name(&stmts[1], nullptr);
    EXPECT_STREQ(stmts[0].cursor_name, "C1");
    EXPECT_EQ(get_stmt_by_cursor(&stmts[1], "C1"), &stmts[0]);
    EXPECT_EQ(get_stmt_by_cursor(&stmts[1], nullptr), nullptr);
}

}  // namespace
