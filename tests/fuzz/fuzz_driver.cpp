// Fuzz target for the reference driver, called through its ODBC entry points
// with no driver manager between (the driver's objects are linked in): the
// input is one SQL statement, which is prepared, executed and read back the
// way an ODBC 3 application would, with every buffer the driver writes
// guarded. Exports LLVMFuzzerTestOneInput.
//
// Input: [options] SQL text. The option octet's bits:
//   0-3  parameter k (from 0) is bound as SQL_C_SLONG 1 when bit k % 4 is
//        set, else as SQL_C_CHAR "1";
//   4    character parameters are declared SQL_INTEGER (else SQL_VARCHAR);
//   5    the text is passed with SQL_NTS (so it ends at a zero octet), else
//        with its length;
//   6    the columns of a row are read last to first.
//
// Each input gets an environment, a connection made with SQLDriverConnect
// and a statement with a query time-out of one second, all freed at the end
// (so a leak of any of them is a leak of the input). A time-out (HYT00)
// stops the input's remaining work, so that a slow statement ends in about
// two seconds.
//
// Properties:
//  - SQLPrepare and SQLNativeSql accept or reject the text alike, and
//    SQLExecDirect fails on a text SQLPrepare rejects, with the same first
//    diagnostic;
//  - SQLNativeSql into 5 octets and into the length it reported plus one:
//    01004 and a terminated prefix when cut, the full length from both, the
//    same text (and, with kCheckFixedPoint, printing the printed text again
//    gives it back unchanged);
//  - column descriptions (SQLDescribeCol, SQLColAttribute) agree on the name
//    and type, report sizes that are not negative, cut names with 01004;
//  - SQLGetData of every column of up to 50 rows, once per execution in
//    each of SQL_C_CHAR (7 octets), SQL_C_WCHAR (8 units), SQL_C_BINARY
//    (7 octets), SQL_C_SLONG, SQL_C_DOUBLE and SQL_C_TYPE_TIMESTAMP: pieces
//    are terminated inside the buffer (text) and cut with
//    SQL_SUCCESS_WITH_INFO and 01004, each indicator is the length still to
//    come (even for wide text) or SQL_NO_TOTAL or SQL_NULL_DATA, the pieces
//    add up to the first indicator, SQL_NO_DATA follows the last piece, and
//    a fixed-size type's indicator is its size and the value is not followed
//    by a second one; a timestamp's fields are in range;
//  - no call writes past a buffer's stated length (16 guard octets).
// SQL_ERROR is an acceptable answer to anything but the connection itself.
#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/fuzz_support.h"

namespace {

constexpr const char *kConnection =
    "DATABASE=demo;UID=tester;MaxValueSize=1048576;MaxSortMemory=16777216";
constexpr int kMaxRows = 50;
// Small-buffer pieces of one column before the rest is read in one call.
constexpr int kSmallPieces = 24;
// The largest buffer that rest is read into; more comes in further pieces.
constexpr size_t kLargestBuffer = size_t{4} << 20;
// What an indicator holds before a call, to see that the call set it.
constexpr SQLLEN kUnset = -0x5A5A5A5A;

// Whether printing the printed text again must give it back unchanged. Off
// for now: the printer drops what the text said (7.0 prints as 7, 1.5E3 as
// 1500, a timestamp's fraction goes), so the printed text is a different
// statement, and an integer literal gains a blank when printed again.
constexpr bool kCheckFixedPoint = false;

struct Diagnostic {
    SQLRETURN rc = SQL_NO_DATA;
    std::string state;
    std::string message;
    bool operator==(const Diagnostic &o) const { return state == o.state && message == o.message; }
};

Diagnostic diagnostic(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT record = 1)
{
    Diagnostic d;
    SQLCHAR state[6] = {0};
    SQLCHAR message[2048] = {0};
    SQLINTEGER native = 0;
    SQLSMALLINT length = 0;
    d.rc = SQLGetDiagRec(type, handle, record, state, &native, message,
                         static_cast<SQLSMALLINT>(sizeof message), &length);
    if (SQL_SUCCEEDED(d.rc)) {
        d.state = reinterpret_cast<char *>(state);
        d.message = reinterpret_cast<char *>(message);
    }
    return d;
}

bool has_state(SQLSMALLINT type, SQLHANDLE handle, const char *state)
{
    for (SQLSMALLINT record = 1; record < 50; ++record) {
        Diagnostic d = diagnostic(type, handle, record);
        if (!SQL_SUCCEEDED(d.rc))
            return false;
        if (d.state == state)
            return true;
    }
    return false;
}

bool valid_rc(SQLRETURN rc)
{
    return rc == SQL_SUCCESS || rc == SQL_SUCCESS_WITH_INFO || rc == SQL_ERROR;
}

SQLCHAR *sql_text(const std::string &text)
{
    return reinterpret_cast<SQLCHAR *>(const_cast<char *>(text.c_str()));
}

// One statement text and the handles it runs on.
class Run {
public:
    Run(std::string text, uint8_t options) : text_(std::move(text)), options_(options) {}

    void go(SQLHDBC dbc, SQLHSTMT stmt)
    {
        dbc_ = dbc;
        stmt_ = stmt;
        SQLINTEGER length = (options_ & 0x20) != 0 ? SQL_NTS : static_cast<SQLINTEGER>(text_.size());

        SQLRETURN prepared = SQLPrepare(stmt_, sql_text(text_), length);
        FUZZ_CHECK(valid_rc(prepared), "SQLPrepare returned %d", prepared);
        Diagnostic parse_error = diagnostic(SQL_HANDLE_STMT, stmt_);
        bool accepted = SQL_SUCCEEDED(prepared);
        native_sql(length, accepted, parse_error);
        if (accepted)
            bind_parameters();

        SQLRETURN direct = SQLExecDirect(stmt_, sql_text(text_), length);
        FUZZ_CHECK(valid_rc(direct), "SQLExecDirect returned %d", direct);
        if (!accepted) {
            Diagnostic direct_error = diagnostic(SQL_HANDLE_STMT, stmt_);
            FUZZ_CHECK(direct == SQL_ERROR, "SQLExecDirect ran a text SQLPrepare rejects");
            FUZZ_CHECK(direct_error == parse_error,
                       "SQLPrepare said %s [%s], SQLExecDirect %s [%s]", parse_error.state.c_str(),
                       parse_error.message.c_str(), direct_error.state.c_str(),
                       direct_error.message.c_str());
            return;
        }
        if (timed_out(direct))
            return;
        // the first C type on SQLExecDirect's cursor, the others each on a
        // new execution of the prepared statement
        if (SQL_SUCCEEDED(direct)) {
            describe();
            read_rows(0);
        }
        SQLFreeStmt(stmt_, SQL_CLOSE);
        if (stopped_)
            return;
        SQLRETURN again = SQLPrepare(stmt_, sql_text(text_), length);
        FUZZ_CHECK(SQL_SUCCEEDED(again), "a second SQLPrepare of an accepted text failed");
        describe();
        for (size_t type = 1; type < kTypeCount && !stopped_; ++type) {
            SQLRETURN executed = SQLExecute(stmt_);
            FUZZ_CHECK(valid_rc(executed), "SQLExecute returned %d", executed);
            if (timed_out(executed))
                break;
            if (SQL_SUCCEEDED(executed))
                read_rows(type);
            SQLFreeStmt(stmt_, SQL_CLOSE);
        }
    }

private:
    struct CType {
        SQLSMALLINT c_type;
        size_t size;    // the buffer's octets
        size_t unit;    // terminator octets of a text type; 0 for binary
        bool fixed;     // a fixed-size type
        const char *name;
    };
    static constexpr size_t kTypeCount = 6;
    static constexpr CType kTypes[kTypeCount] = {
        {SQL_C_CHAR, 7, 1, false, "SQL_C_CHAR"},
        {SQL_C_WCHAR, 16, 2, false, "SQL_C_WCHAR"},
        {SQL_C_SLONG, sizeof(SQLINTEGER), 0, true, "SQL_C_SLONG"},
        {SQL_C_DOUBLE, sizeof(SQLDOUBLE), 0, true, "SQL_C_DOUBLE"},
        {SQL_C_TYPE_TIMESTAMP, sizeof(SQL_TIMESTAMP_STRUCT), 0, true, "SQL_C_TYPE_TIMESTAMP"},
        {SQL_C_BINARY, 7, 0, false, "SQL_C_BINARY"},
    };

    // True (and the rest of the input skipped) when a call failed on the
    // statement's time-out.
    bool timed_out(SQLRETURN rc)
    {
        if (rc == SQL_ERROR && has_state(SQL_HANDLE_STMT, stmt_, "HYT00"))
            stopped_ = true;
        return stopped_;
    }

    void native_sql(SQLINTEGER length, bool accepted, const Diagnostic &parse_error)
    {
        kxfuzz::Guarded small(5);
        SQLINTEGER reported = kUnset;
        SQLRETURN rc = SQLNativeSql(dbc_, sql_text(text_), length,
                                    reinterpret_cast<SQLCHAR *>(small.data()), 5, &reported);
        FUZZ_CHECK(small.guard_intact(), "SQLNativeSql wrote past 5 octets");
        if (!accepted) {
            Diagnostic error = diagnostic(SQL_HANDLE_DBC, dbc_);
            FUZZ_CHECK(rc == SQL_ERROR, "SQLNativeSql accepts a text SQLPrepare rejects");
            FUZZ_CHECK(error == parse_error, "SQLPrepare said %s [%s], SQLNativeSql %s [%s]",
                       parse_error.state.c_str(), parse_error.message.c_str(),
                       error.state.c_str(), error.message.c_str());
            return;
        }
        FUZZ_CHECK(SQL_SUCCEEDED(rc), "SQLNativeSql rejects a text SQLPrepare accepts: %s",
                   diagnostic(SQL_HANDLE_DBC, dbc_).message.c_str());
        FUZZ_CHECK(reported >= 0, "SQLNativeSql reported length %d", static_cast<int>(reported));
        if (reported >= 5) {
            FUZZ_CHECK(rc == SQL_SUCCESS_WITH_INFO && has_state(SQL_HANDLE_DBC, dbc_, "01004"),
                       "SQLNativeSql cut %d octets to 4 without 01004 (rc %d)",
                       static_cast<int>(reported), rc);
            FUZZ_CHECK(small.data()[4] == '\0', "the cut text is not terminated");
        } else {
            FUZZ_CHECK(rc == SQL_SUCCESS, "SQLNativeSql returned %d for %d octets in 5", rc,
                       static_cast<int>(reported));
            FUZZ_CHECK(small.data()[reported] == '\0', "the text is not terminated");
        }
        size_t size = static_cast<size_t>(reported);
        kxfuzz::Guarded full(size + 1);
        SQLINTEGER full_reported = kUnset;
        rc = SQLNativeSql(dbc_, sql_text(text_), length, reinterpret_cast<SQLCHAR *>(full.data()),
                          static_cast<SQLINTEGER>(size + 1), &full_reported);
        FUZZ_CHECK(full.guard_intact(), "SQLNativeSql wrote past %zu octets", size + 1);
        FUZZ_CHECK(rc == SQL_SUCCESS, "SQLNativeSql returned %d with room for the text", rc);
        FUZZ_CHECK(full_reported == reported, "SQLNativeSql reported %d, then %d",
                   static_cast<int>(reported), static_cast<int>(full_reported));
        FUZZ_CHECK(full.data()[size] == '\0', "the full text is not terminated");
        FUZZ_CHECK(std::memcmp(full.data(), small.data(), std::min<size_t>(size, 4)) == 0,
                   "the cut text is not the start of the full text");
        std::string printed(full.data(), size);
        if (!kCheckFixedPoint)
            return;
        std::string again;
        if (native_text(printed, again))
            FUZZ_CHECK(again == printed, "printing the printed text changed it:\n  [%s]\n  [%s]",
                       printed.c_str(), again.c_str());
    }

    // The text SQLNativeSql makes of text; false when it rejects it.
    bool native_text(const std::string &text, std::string &out)
    {
        std::vector<char> buffer(text.size() + 64);
        for (;;) {
            SQLINTEGER length = kUnset;
            SQLRETURN rc = SQLNativeSql(dbc_, sql_text(text), static_cast<SQLINTEGER>(text.size()),
                                        reinterpret_cast<SQLCHAR *>(buffer.data()),
                                        static_cast<SQLINTEGER>(buffer.size()), &length);
            if (!SQL_SUCCEEDED(rc))
                return false;
            FUZZ_CHECK(length >= 0, "SQLNativeSql reported length %d", static_cast<int>(length));
            if (static_cast<size_t>(length) < buffer.size()) {
                out.assign(buffer.data(), static_cast<size_t>(length));
                return true;
            }
            buffer.resize(static_cast<size_t>(length) + 1);
        }
    }

    void bind_parameters()
    {
        SQLSMALLINT count = -1;
        SQLRETURN rc = SQLNumParams(stmt_, &count);
        FUZZ_CHECK(rc == SQL_SUCCESS && count >= 0, "SQLNumParams: rc %d, %d", rc, count);
        params_.resize(static_cast<size_t>(count));
        for (SQLSMALLINT i = 0; i < count; ++i) {
            Param &p = params_[static_cast<size_t>(i)];
            bool as_integer = (options_ >> (i % 4)) & 1;
            if (as_integer) {
                p.indicator = sizeof p.integer;
                rc = SQLBindParameter(stmt_, static_cast<SQLUSMALLINT>(i + 1), SQL_PARAM_INPUT,
                                      SQL_C_SLONG, SQL_INTEGER, 0, 0, &p.integer, 0, &p.indicator);
            } else {
                p.indicator = SQL_NTS;
                SQLSMALLINT sql_type = (options_ & 0x10) != 0 ? SQL_INTEGER : SQL_VARCHAR;
                rc = SQLBindParameter(stmt_, static_cast<SQLUSMALLINT>(i + 1), SQL_PARAM_INPUT,
                                      SQL_C_CHAR, sql_type, 1, 0, p.text,
                                      sizeof p.text, &p.indicator);
            }
            FUZZ_CHECK(rc == SQL_SUCCESS, "SQLBindParameter %d: rc %d", i + 1, rc);
        }
    }

    // Describes every column and checks the descriptions agree.
    void describe()
    {
        SQLSMALLINT columns = -1;
        SQLRETURN rc = SQLNumResultCols(stmt_, &columns);
        FUZZ_CHECK(rc == SQL_SUCCESS && columns >= 0, "SQLNumResultCols: rc %d, %d", rc, columns);
        columns_ = columns;
        for (SQLUSMALLINT c = 1; c <= static_cast<SQLUSMALLINT>(columns); ++c) {
            kxfuzz::Guarded name(64);
            SQLSMALLINT name_length = -1, type = 0, digits = 0, nullable = -1;
            SQLULEN size = 0;
            rc = SQLDescribeCol(stmt_, c, reinterpret_cast<SQLCHAR *>(name.data()), 64, &name_length,
                                &type, &size, &digits, &nullable);
            FUZZ_CHECK(name.guard_intact(), "SQLDescribeCol wrote past 64 octets");
            FUZZ_CHECK(SQL_SUCCEEDED(rc), "SQLDescribeCol %u failed: %s", c,
                       diagnostic(SQL_HANDLE_STMT, stmt_).message.c_str());
            FUZZ_CHECK(name_length >= 0, "a name of %d octets", name_length);
            check_cut_text(rc, name.data(), 64, static_cast<size_t>(name_length), "SQLDescribeCol");
            FUZZ_CHECK(nullable == SQL_NO_NULLS || nullable == SQL_NULLABLE ||
                           nullable == SQL_NULLABLE_UNKNOWN,
                       "nullable %d", nullable);

            kxfuzz::Guarded small(4);
            SQLSMALLINT small_length = -1;
            rc = SQLDescribeCol(stmt_, c, reinterpret_cast<SQLCHAR *>(small.data()), 4, &small_length,
                                nullptr, nullptr, nullptr, nullptr);
            FUZZ_CHECK(small.guard_intact(), "SQLDescribeCol wrote past 4 octets");
            FUZZ_CHECK(small_length == name_length, "name length %d, then %d", name_length,
                       small_length);
            check_cut_text(rc, small.data(), 4, static_cast<size_t>(name_length), "SQLDescribeCol");
            FUZZ_CHECK(std::strncmp(small.data(), name.data(), 3) == 0, "the cut name differs");

            kxfuzz::Guarded label(64);
            SQLSMALLINT label_length = -1;
            rc = SQLColAttribute(stmt_, c, SQL_DESC_NAME, label.data(), 64, &label_length, nullptr);
            FUZZ_CHECK(label.guard_intact(), "SQLColAttribute wrote past 64 octets");
            FUZZ_CHECK(SQL_SUCCEEDED(rc), "SQL_DESC_NAME failed");
            FUZZ_CHECK(label_length == name_length && std::strcmp(label.data(), name.data()) == 0,
                       "SQL_DESC_NAME [%s] is not the described name [%s]", label.data(),
                       name.data());
            check_cut_text(rc, label.data(), 64, static_cast<size_t>(label_length), "SQLColAttribute");

            SQLLEN concise = numeric_attribute(c, SQL_DESC_CONCISE_TYPE);
            FUZZ_CHECK(concise == type, "SQL_DESC_CONCISE_TYPE %ld, described type %d",
                       static_cast<long>(concise), type);
            numeric_attribute(c, SQL_DESC_TYPE);
            const SQLUSMALLINT sizes[] = {SQL_DESC_LENGTH, SQL_DESC_DISPLAY_SIZE,
                                          SQL_DESC_OCTET_LENGTH};
            for (SQLUSMALLINT field : sizes) {
                SQLLEN n = numeric_attribute(c, field);
                FUZZ_CHECK(n >= 0 || n == SQL_NO_TOTAL, "column %u field %u is %ld", c, field,
                           static_cast<long>(n));
            }
        }
    }

    SQLLEN numeric_attribute(SQLUSMALLINT column, SQLUSMALLINT field)
    {
        kxfuzz::Guarded value(sizeof(SQLLEN));
        SQLRETURN rc = SQLColAttribute(stmt_, column, field, nullptr, 0, nullptr,
                                       reinterpret_cast<SQLLEN *>(value.data()));
        FUZZ_CHECK(value.guard_intact(), "SQLColAttribute %u wrote past an SQLLEN", field);
        FUZZ_CHECK(rc == SQL_SUCCESS, "SQLColAttribute %u of column %u: rc %d", field, column, rc);
        SQLLEN n = 0;
        std::memcpy(&n, value.data(), sizeof n);
        return n;
    }

    // A text the driver copied into a buffer of capacity octets, whose full
    // length is length: terminated, and cut with 01004 when it does not fit.
    void check_cut_text(SQLRETURN rc, const char *buffer, size_t capacity, size_t length,
                        const char *call)
    {
        if (length >= capacity) {
            FUZZ_CHECK(rc == SQL_SUCCESS_WITH_INFO && has_state(SQL_HANDLE_STMT, stmt_, "01004"),
                       "%s cut %zu octets to %zu without 01004 (rc %d)", call, length,
                       capacity - 1, rc);
            FUZZ_CHECK(buffer[capacity - 1] == '\0', "%s: the cut text is not terminated", call);
        } else {
            FUZZ_CHECK(rc == SQL_SUCCESS, "%s returned %d for %zu octets in %zu", call, rc, length,
                       capacity);
            FUZZ_CHECK(buffer[length] == '\0', "%s: the text is not terminated", call);
        }
    }

    void read_rows(size_t type)
    {
        for (int row = 0; row < kMaxRows && !stopped_; ++row) {
            SQLRETURN rc = SQLFetch(stmt_);
            if (rc == SQL_NO_DATA)
                return;
            FUZZ_CHECK(valid_rc(rc), "SQLFetch returned %d", rc);
            if (timed_out(rc) || rc == SQL_ERROR)
                return;
            for (SQLSMALLINT i = 0; i < columns_; ++i) {
                SQLUSMALLINT column = static_cast<SQLUSMALLINT>((options_ & 0x40) != 0 ? columns_ - i
                                                                                      : i + 1);
                if (kTypes[type].fixed)
                    read_fixed(column, kTypes[type]);
                else
                    read_pieces(column, kTypes[type]);
                if (stopped_)
                    return;
            }
        }
    }

    void read_fixed(SQLUSMALLINT column, const CType &t)
    {
        kxfuzz::Guarded buffer(t.size);
        SQLLEN indicator = kUnset;
        SQLRETURN rc = SQLGetData(stmt_, column, t.c_type, buffer.data(),
                                  static_cast<SQLLEN>(t.size), &indicator);
        FUZZ_CHECK(buffer.guard_intact(), "%s of column %u wrote past %zu octets", t.name, column,
                   t.size);
        FUZZ_CHECK(valid_rc(rc), "SQLGetData %s returned %d", t.name, rc);
        if (timed_out(rc) || rc == SQL_ERROR)
            return;
        FUZZ_CHECK(indicator == SQL_NULL_DATA || indicator == static_cast<SQLLEN>(t.size),
                   "%s of column %u: indicator %ld", t.name, column, static_cast<long>(indicator));
        if (rc == SQL_SUCCESS_WITH_INFO)
            FUZZ_CHECK(SQL_SUCCEEDED(diagnostic(SQL_HANDLE_STMT, stmt_).rc),
                       "SQL_SUCCESS_WITH_INFO without a diagnostic");
        if (t.c_type == SQL_C_TYPE_TIMESTAMP && indicator != SQL_NULL_DATA) {
            SQL_TIMESTAMP_STRUCT ts;
            std::memcpy(&ts, buffer.data(), sizeof ts);
            FUZZ_CHECK(ts.month >= 1 && ts.month <= 12 && ts.day >= 1 && ts.day <= 31 &&
                           ts.hour < 24 && ts.minute < 60 && ts.second < 62 &&
                           ts.fraction < 1000000000u,
                       "column %u as a timestamp: %d-%u-%u %u:%u:%u.%u", column, ts.year,
                       ts.month, ts.day, ts.hour, ts.minute, ts.second, ts.fraction);
        }
        if (indicator != SQL_NULL_DATA) {
            kxfuzz::Guarded second(t.size);
            indicator = kUnset;
            rc = SQLGetData(stmt_, column, t.c_type, second.data(), static_cast<SQLLEN>(t.size),
                            &indicator);
            FUZZ_CHECK(second.guard_intact(), "a second %s wrote past %zu octets", t.name, t.size);
            FUZZ_CHECK(rc == SQL_NO_DATA, "a second SQLGetData %s of column %u returned %d",
                       t.name, column, rc);
        }
    }

    // Reads a text or binary column piecewise: small pieces first, then
    // what is left in larger ones.
    void read_pieces(SQLUSMALLINT column, const CType &t)
    {
        SQLLEN total = kUnset;      // the first indicator
        SQLLEN remaining = kUnset;  // what the next indicator must be
        size_t delivered = 0;
        for (int piece = 0;; ++piece) {
            size_t size = t.size;
            if (piece >= kSmallPieces && remaining >= 0)
                size = std::min(static_cast<size_t>(remaining) + t.unit, kLargestBuffer);
            else if (piece >= kSmallPieces)
                size = 4096;
            kxfuzz::Guarded buffer(size);
            SQLLEN indicator = kUnset;
            SQLRETURN rc = SQLGetData(stmt_, column, t.c_type, buffer.data(),
                                      static_cast<SQLLEN>(size), &indicator);
            FUZZ_CHECK(buffer.guard_intact(), "%s piece %d of column %u wrote past %zu octets",
                       t.name, piece, column, size);
            FUZZ_CHECK(rc != SQL_NO_DATA, "SQLGetData %s of column %u: no data %s", t.name,
                       column, piece == 0 ? "at the first call" : "after a cut piece");
            FUZZ_CHECK(valid_rc(rc), "SQLGetData %s returned %d", t.name, rc);
            if (timed_out(rc) || rc == SQL_ERROR)
                return;
            FUZZ_CHECK(indicator != kUnset, "SQLGetData %s left the indicator unset", t.name);
            if (indicator == SQL_NULL_DATA) {
                FUZZ_CHECK(piece == 0 && rc == SQL_SUCCESS,
                           "SQL_NULL_DATA at piece %d (rc %d) of column %u", piece, rc, column);
                return;
            }
            FUZZ_CHECK(indicator >= 0 || indicator == SQL_NO_TOTAL, "%s of column %u: indicator %ld",
                       t.name, column, static_cast<long>(indicator));
            if (t.unit == 2 && indicator >= 0)
                FUZZ_CHECK(indicator % 2 == 0, "wide text of %ld octets", static_cast<long>(indicator));
            if (piece == 0)
                total = indicator;
            else if (indicator >= 0 && remaining >= 0)
                FUZZ_CHECK(indicator == remaining,
                           "%s piece %d of column %u: indicator %ld, %ld octets were left", t.name,
                           piece, column, static_cast<long>(indicator), static_cast<long>(remaining));
            // the octets a piece holds: the room less the terminator, whole units
            size_t room = size - t.unit;
            if (t.unit == 2)
                room &= ~static_cast<size_t>(1);
            size_t length;
            if (indicator == SQL_NO_TOTAL) {
                FUZZ_CHECK(rc == SQL_SUCCESS_WITH_INFO, "SQL_NO_TOTAL on the last piece");
                length = room;
            } else {
                length = std::min(static_cast<size_t>(indicator), room);
            }
            bool cut = indicator == SQL_NO_TOTAL || static_cast<size_t>(indicator) > room;
            if (cut)
                FUZZ_CHECK(rc == SQL_SUCCESS_WITH_INFO && has_state(SQL_HANDLE_STMT, stmt_, "01004"),
                           "%s piece %d of column %u cut %ld octets to %zu without 01004 (rc %d)",
                           t.name, piece, column, static_cast<long>(indicator), room, rc);
            else
                FUZZ_CHECK(rc == SQL_SUCCESS, "%s piece %d of column %u: rc %d for %ld octets in %zu",
                           t.name, piece, column, rc, static_cast<long>(indicator), room);
            for (size_t i = 0; i < t.unit; ++i)
                FUZZ_CHECK(buffer.data()[length + i] == '\0',
                           "%s piece %d of column %u is not terminated after %zu octets", t.name,
                           piece, column, length);
            delivered += length;
            remaining = indicator >= 0 ? indicator - static_cast<SQLLEN>(length) : kUnset;
            if (!cut)
                break;
        }
        if (total >= 0)
            FUZZ_CHECK(delivered == static_cast<size_t>(total),
                       "%s of column %u: pieces of %zu octets, the first indicator said %ld", t.name,
                       column, delivered, static_cast<long>(total));
        kxfuzz::Guarded after(t.size);
        SQLLEN indicator = kUnset;
        SQLRETURN rc = SQLGetData(stmt_, column, t.c_type, after.data(),
                                  static_cast<SQLLEN>(t.size), &indicator);
        FUZZ_CHECK(after.guard_intact(), "SQLGetData after the last piece wrote past the buffer");
        FUZZ_CHECK(rc == SQL_NO_DATA, "SQLGetData %s of column %u after the last piece: rc %d",
                   t.name, column, rc);
    }

    struct Param {
        SQLINTEGER integer = 1;
        char text[2] = {'1', '\0'};
        SQLLEN indicator = 0;
    };

    std::string text_;
    uint8_t options_;
    SQLHDBC dbc_ = SQL_NULL_HDBC;
    SQLHSTMT stmt_ = SQL_NULL_HSTMT;
    std::vector<Param> params_;
    SQLSMALLINT columns_ = 0;
    bool stopped_ = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    kxfuzz::Reader in(data, size);
    uint8_t options = in.byte();
    Run run(in.rest(), options);

    SQLHENV env = SQL_NULL_HENV;
    SQLHDBC dbc = SQL_NULL_HDBC;
    SQLHSTMT stmt = SQL_NULL_HSTMT;
    FUZZ_CHECK(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env) == SQL_SUCCESS, "environment");
    FUZZ_CHECK(SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3),
                             0) == SQL_SUCCESS,
               "ODBC version");
    FUZZ_CHECK(SQLAllocHandle(SQL_HANDLE_DBC, env, &dbc) == SQL_SUCCESS, "connection handle");
    SQLCHAR out[512];
    SQLSMALLINT out_length = 0;
    SQLRETURN rc = SQLDriverConnect(dbc, nullptr, reinterpret_cast<SQLCHAR *>(const_cast<char *>(kConnection)),
                                    SQL_NTS, out, sizeof out, &out_length, SQL_DRIVER_NOPROMPT);
    FUZZ_CHECK(SQL_SUCCEEDED(rc), "SQLDriverConnect: %s",
               diagnostic(SQL_HANDLE_DBC, dbc).message.c_str());
    FUZZ_CHECK(SQLAllocHandle(SQL_HANDLE_STMT, dbc, &stmt) == SQL_SUCCESS, "statement handle");
    FUZZ_CHECK(SQLSetStmtAttr(stmt, SQL_ATTR_QUERY_TIMEOUT, reinterpret_cast<SQLPOINTER>(1), 0) ==
                   SQL_SUCCESS,
               "query time-out");

    run.go(dbc, stmt);

    FUZZ_CHECK(SQLFreeHandle(SQL_HANDLE_STMT, stmt) == SQL_SUCCESS, "freeing the statement");
    FUZZ_CHECK(SQLDisconnect(dbc) == SQL_SUCCESS, "SQLDisconnect");
    FUZZ_CHECK(SQLFreeHandle(SQL_HANDLE_DBC, dbc) == SQL_SUCCESS, "freeing the connection");
    FUZZ_CHECK(SQLFreeHandle(SQL_HANDLE_ENV, env) == SQL_SUCCESS, "freeing the environment");
    return 0;
}
