/*
 * cursor.cpp - cursor names of a connection's statements, for
 * SQLSetCursorName, SQLGetCursorName and positioned UPDATE and DELETE
 * ("WHERE CURRENT OF name").
 *
 * Exports generate_cursor_name, insert_cursor_name, get_stmt_by_cursor,
 * remove_cursor_name and get_cursor_name.
 *
 * A statement's name lives in its cursor_name field (a longer name is cut to
 * fit). The connection's cursor_registry is a List, in the connection's
 * memory handle, of the statements that were named; an element whose data
 * is null is a free slot, reused before the list grows. Names compare
 * case-sensitively. Generated names are "SQL_CUR%08x" of the connection's
 * cursor_counter, skipping names already taken.
 */
#include "kxsupp/config.h"
#include "kxsupp/memory.h"

#include <cstdio>
#include <cstring>

namespace {

void set_name(DriverStatement *stmt, const char *name)
{
    size_t n = std::strlen(name);
    if (n >= sizeof stmt->cursor_name)
        n = sizeof stmt->cursor_name - 1;
    std::memmove(stmt->cursor_name, name, n);   // name may be the field itself
    stmt->cursor_name[n] = '\0';
}

// The registry element of the first statement named name, or null.
ListElement *find_named(const DriverConnection *conn, const char *name)
{
    for (ListElement *e = ListFirst(conn->cursor_registry); e != nullptr;
         e = ListNext(e)) {
        auto *named = static_cast<DriverStatement *>(ListData(e));
        if (named != nullptr && std::strcmp(named->cursor_name, name) == 0)
            return e;
    }
    return nullptr;
}

// Registers the statement in the first free slot or a new element. No check
// is made that it is registered already.
void register_statement(DriverStatement *stmt)
{
    DriverConnection *conn = stmt->connection;
    for (ListElement *e = ListFirst(conn->cursor_registry); e != nullptr;
         e = ListNext(e)) {
        if (ListData(e) == nullptr) {
            ListRewrite(e, stmt);
            return;
        }
    }
    List *list = ListAppend(stmt, conn->cursor_registry, conn->mem_handle);
    if (list != nullptr)
        conn->cursor_registry = list;
}

}  // namespace

extern "C" {

KX_API void generate_cursor_name(DriverStatement *stmt)
{
    if (stmt == nullptr || stmt->connection == nullptr)
        return;
    DriverConnection *conn = stmt->connection;
    char name[32];
    for (;;) {
        std::snprintf(name, sizeof name, "SQL_CUR%08x", conn->cursor_counter);
        conn->cursor_counter++;
        if (ListCount(conn->cursor_registry) == 0 || find_named(conn, name) == nullptr)
            break;
    }
    set_name(stmt, name);
    register_statement(stmt);
}

KX_API void insert_cursor_name(DriverStatement *stmt, const char *name)
{
    if (stmt == nullptr)
        return;
    set_name(stmt, name != nullptr ? name : "");
    if (stmt->connection != nullptr)
        register_statement(stmt);
}

KX_API DriverStatement *get_stmt_by_cursor(DriverStatement *stmt,
                                           const char *name)
{
    if (stmt == nullptr || stmt->connection == nullptr || name == nullptr)
        return nullptr;
    ListElement *e = find_named(stmt->connection, name);
    return e == nullptr ? nullptr : static_cast<DriverStatement *>(ListData(e));
}

KX_API void remove_cursor_name(DriverStatement *stmt, const char *name)
{
    if (stmt == nullptr || stmt->connection == nullptr || name == nullptr)
        return;
    ListElement *e = find_named(stmt->connection, name);
    if (e == nullptr)
        return;
    static_cast<DriverStatement *>(ListData(e))->cursor_name[0] = '\0';
    ListRewrite(e, nullptr);
}

KX_API char *get_cursor_name(DriverStatement *stmt)
{
    return stmt == nullptr ? nullptr : stmt->cursor_name;
}

}  // extern "C"
