// driver_harness.h - a small ODBC 3 client for the driver's GoogleTest
// programs, which link the driver's objects and call its SQL* entry points
// directly (no driver manager between): a session holds an environment, a
// connection made with SQLDriverConnect (no data source: the driver's
// defaults) and one statement, and reads results back as text.
#ifndef KXSUPP_TESTS_DRIVER_DRIVER_HARNESS_H
#define KXSUPP_TESTS_DRIVER_DRIVER_HARNESS_H

#include <sql.h>
#include <sqlext.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kxtest {

// The first diagnostic of a handle: its SQLSTATE and message.
struct Diagnostic {
    std::string state;
    std::string message;
};

inline Diagnostic diagnostic_of(SQLSMALLINT type, SQLHANDLE handle)
{
    SQLCHAR state[6] = {0};
    SQLCHAR message[1024] = {0};
    SQLINTEGER native = 0;
    SQLSMALLINT length = 0;
    SQLRETURN rc = SQLGetDiagRec(type, handle, 1, state, &native, message,
                                 static_cast<SQLSMALLINT>(sizeof message), &length);
    if (rc != SQL_SUCCESS && rc != SQL_SUCCESS_WITH_INFO)
        return {};
    return {reinterpret_cast<char *>(state), reinterpret_cast<char *>(message)};
}

class Session {
public:
    explicit Session(const char *connection = "DATABASE=demo;UID=tester")
    {
        SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env);
        SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
        SQLAllocHandle(SQL_HANDLE_DBC, env, &dbc);
        SQLCHAR out[512];
        SQLSMALLINT out_length = 0;
        connected = SQL_SUCCEEDED(SQLDriverConnect(dbc, nullptr,
                                                   reinterpret_cast<SQLCHAR *>(const_cast<char *>(connection)),
                                                   SQL_NTS, out, sizeof out, &out_length,
                                                   SQL_DRIVER_NOPROMPT));
        if (connected)
            SQLAllocHandle(SQL_HANDLE_STMT, dbc, &stmt);
    }
    ~Session()
    {
        if (stmt != SQL_NULL_HSTMT)
            SQLFreeHandle(SQL_HANDLE_STMT, stmt);
        if (connected)
            SQLDisconnect(dbc);
        SQLFreeHandle(SQL_HANDLE_DBC, dbc);
        SQLFreeHandle(SQL_HANDLE_ENV, env);
    }
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    // Executes text directly; the cursor of the last statement is closed first.
    SQLRETURN exec(const std::string &text)
    {
        SQLFreeStmt(stmt, SQL_CLOSE);
        return SQLExecDirect(stmt, reinterpret_cast<SQLCHAR *>(const_cast<char *>(text.data())),
                             static_cast<SQLINTEGER>(text.size()));
    }
    SQLRETURN prepare(const std::string &text)
    {
        SQLFreeStmt(stmt, SQL_CLOSE);
        return SQLPrepare(stmt, reinterpret_cast<SQLCHAR *>(const_cast<char *>(text.data())),
                          static_cast<SQLINTEGER>(text.size()));
    }

    Diagnostic diagnostic() const { return diagnostic_of(SQL_HANDLE_STMT, stmt); }
    std::string state() const { return diagnostic().state; }

    // Every remaining row of the open cursor, each column read with
    // SQLGetData as text ("NULL" for a null); an empty result on an error,
    // whose state is left in error_state.
    std::vector<std::vector<std::string>> rows()
    {
        std::vector<std::vector<std::string>> out;
        SQLSMALLINT columns = 0;
        SQLNumResultCols(stmt, &columns);
        for (;;) {
            SQLRETURN rc = SQLFetch(stmt);
            if (rc == SQL_NO_DATA)
                break;
            if (!SQL_SUCCEEDED(rc)) {
                error_state = state();
                return {};
            }
            std::vector<std::string> row;
            for (SQLUSMALLINT c = 1; c <= columns; ++c) {
                std::string text;
                if (!column_text(c, text)) {
                    error_state = state();
                    return {};
                }
                row.push_back(text);
            }
            out.push_back(row);
        }
        return out;
    }

    // One column of the current row as text, read piecewise.
    bool column_text(SQLUSMALLINT column, std::string &text)
    {
        text.clear();
        char piece[256];
        for (;;) {
            SQLLEN indicator = 0;
            SQLRETURN rc = SQLGetData(stmt, column, SQL_C_CHAR, piece, sizeof piece, &indicator);
            if (rc == SQL_NO_DATA)
                return true;
            if (!SQL_SUCCEEDED(rc))
                return false;
            if (indicator == SQL_NULL_DATA) {
                text = "NULL";
                return true;
            }
            text += piece;
            if (rc == SQL_SUCCESS)
                return true;
        }
    }

    // The one value of a one-row, one-column query, or "error <state>".
    std::string scalar(const std::string &text)
    {
        SQLRETURN rc = exec(text);
        if (!SQL_SUCCEEDED(rc))
            return "error " + state();
        auto all = rows();
        if (all.empty())
            return "error " + error_state;
        return all[0].empty() ? std::string() : all[0][0];
    }

    SQLHENV env = SQL_NULL_HENV;
    SQLHDBC dbc = SQL_NULL_HDBC;
    SQLHSTMT stmt = SQL_NULL_HSTMT;
    bool connected = false;
    std::string error_state;
};

}  // namespace kxtest

#endif  // KXSUPP_TESTS_DRIVER_DRIVER_HARNESS_H
