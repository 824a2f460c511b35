// wide.cpp - the W entry points: the driver's Unicode interface.
//
// Exports the ODBC entry points SQLConnectW, SQLDriverConnectW,
// SQLNativeSqlW, SQLGetInfoW, SQLSetConnectAttrW, SQLGetConnectAttrW,
// SQLPrepareW, SQLExecDirectW, SQLSetStmtAttrW, SQLGetStmtAttrW,
// SQLSetCursorNameW, SQLGetCursorNameW, SQLDescribeColW, SQLColAttributeW,
// SQLGetTypeInfoW, SQLTablesW, SQLColumnsW, SQLPrimaryKeysW,
// SQLForeignKeysW, SQLStatisticsW, SQLSpecialColumnsW, SQLProceduresW,
// SQLProcedureColumnsW, SQLTablePrivilegesW, SQLColumnPrivilegesW,
// SQLGetDiagRecW, SQLGetDiagFieldW, SQLErrorW, SQLGetDescFieldW,
// SQLSetDescFieldW and SQLGetDescRecW: the W form of every ANSI
// entry point that takes or gives text. With them a driver manager passes
// a wide application's calls straight to the driver instead of converting
// them itself.
//
// Each W function converts the application's UTF-16 text (SQLWCHAR, 16-bit
// code units in the machine's order) to the driver's UTF-8 with the one
// converter (unicode.h), calls its ANSI form, and converts the text that
// comes back. The ANSI form is asked with a buffer that holds its whole
// answer, so UTF-8 is never cut inside a character; the cut, if any, is
// made on the UTF-16, where the application's buffer is.
//
// Lengths, as ODBC counts them in W functions: a length given with input
// text counts SQLWCHARs (or is SQL_NTS). An output buffer's length and the
// length returned count SQLWCHARs where the answer is always text, and
// octets where it may be text or a number (SQLGetInfoW, SQLGetConnectAttrW,
// SQLSetConnectAttrW's input, SQLColAttributeW, SQLGetDiagFieldW,
// SQLGetDescFieldW and SQLSetDescFieldW's input). Text cut
// to fit a buffer ends with a NUL and never between the two halves of a
// surrogate pair; the call then answers SQL_SUCCESS_WITH_INFO with 01004
// and the whole text's length (the diagnostic functions post nothing, as
// their ANSI forms).
//
// Locking: the ANSI form takes the handle's lock for its own call. A W
// function that adds a diagnostic after it (01004) takes the lock again and
// adds to what that call posted; one that fails before calling it (memory
// for a conversion, a bad buffer length) posts through the handle's entry
// wrapper (entry.h), as a call of its own.
#include <algorithm>
#include <cstring>
#include <exception>
#include <limits>
#include <string>
#include <vector>

#include "driver/entry.h"
#include "driver/handles.h"
#include "driver/unicode.h"

namespace kxdrv {

namespace {

static_assert(sizeof(SQLWCHAR) == sizeof(uint16_t), "SQLWCHAR is a UTF-16 code unit");

// ---- text in ----

size_t units_before_nul(const SQLWCHAR *text)
{
    size_t n = 0;
    while (text[n] != 0)
        ++n;
    return n;
}

// One text argument of a W function, in UTF-8 for its ANSI form. A null
// pointer stays null, and a length below 0 other than SQL_NTS is passed on
// as given (with an empty text), so that the ANSI form's checks of both
// apply unchanged.
class Utf8Argument {
public:
    Utf8Argument(const SQLWCHAR *text, SQLINTEGER units) : null_(text == nullptr), given_(units)
    {
        if (text == nullptr || (units < 0 && units != SQL_NTS))
            return;
        size_t count = units == SQL_NTS ? units_before_nul(text) : static_cast<size_t>(units);
        utf8_ = utf16_to_utf8(reinterpret_cast<const uint16_t *>(text), count);
        converted_ = true;
    }

    SQLCHAR *text() { return null_ ? nullptr : reinterpret_cast<SQLCHAR *>(utf8_.data()); }

    // The length to give the ANSI form, whose length argument is a T: the
    // octets, or SQL_NTS when they are more than a T counts.
    template <typename T>
    T length() const
    {
        if (!converted_)
            return static_cast<T>(given_);
        if (utf8_.size() > static_cast<size_t>(std::numeric_limits<T>::max()))
            return static_cast<T>(SQL_NTS);
        return static_cast<T>(utf8_.size());
    }

private:
    bool null_;
    bool converted_ = false;
    SQLINTEGER given_;
    std::string utf8_;
};

// An argument whose length counts octets (an attribute's value).
Utf8Argument octets_argument(SQLPOINTER value, SQLINTEGER octets)
{
    SQLINTEGER units = octets >= 0 ? octets / static_cast<SQLINTEGER>(sizeof(SQLWCHAR)) : octets;
    return Utf8Argument(static_cast<const SQLWCHAR *>(value), units);
}

// ---- text out ----

// What an output buffer's length, and the length returned, count.
enum class Count { kCharacters, kOctets };

struct WideBuffer {
    SQLPOINTER data;
    SQLLEN length;   // as the application gave it
    Count count;
};

struct Written {
    SQLLEN length;   // the whole text's, in the buffer's count
    bool cut;
};

bool is_high_surrogate(char16_t unit)
{
    return unit >= 0xD800 && unit <= 0xDBFF;
}

// Writes the text into the buffer as ODBC says: as much as fits before a
// terminating NUL, never half a surrogate pair. A null buffer gets nothing
// and is no cut; one too small for the NUL gets nothing and is one.
Written write_wide(const std::string &utf8, const WideBuffer &out)
{
    std::u16string units = utf8_to_utf16(utf8.data(), utf8.size());
    size_t unit_size = out.count == Count::kOctets ? sizeof(SQLWCHAR) : 1;
    Written w{static_cast<SQLLEN>(units.size() * unit_size), false};
    if (out.data == nullptr)
        return w;
    size_t room = out.length > 0 ? static_cast<size_t>(out.length) / unit_size : 0;
    if (room == 0) {
        w.cut = !units.empty();
        return w;
    }
    size_t n = std::min(units.size(), room - 1);
    if (n < units.size() && n > 0 && is_high_surrogate(units[n - 1]))
        --n;
    // the application's buffer need not be aligned for SQLWCHAR
    char *to = static_cast<char *>(out.data);
    std::memcpy(to, units.data(), n * sizeof(SQLWCHAR));
    const SQLWCHAR nul = 0;
    std::memcpy(to + n * sizeof(SQLWCHAR), &nul, sizeof nul);
    w.cut = n < units.size();
    return w;
}

// Stores a length in the application's variable of type T; a length past
// what T counts is reported as the largest, as the ANSI forms do.
template <typename T>
void store_length(T *out, SQLLEN length)
{
    if (out != nullptr)
        *out = static_cast<T>(std::min<SQLLEN>(length, std::numeric_limits<T>::max()));
}

// An SQLSTATE of five ASCII characters and its NUL, as six SQLWCHARs.
void write_state(const char (&state)[6], SQLWCHAR *out)
{
    if (out == nullptr)
        return;
    for (size_t i = 0; i < 6; ++i)
        out[i] = static_cast<SQLWCHAR>(static_cast<unsigned char>(state[i]));
}

// ---- the ANSI form's answer ----

// The octets asked of an ANSI form at first; a longer answer is asked
// again with room for all of it.
constexpr size_t kFirstRoom = 512;

// Calls an ANSI form that answers with text, with a buffer large enough for
// the whole answer: ask(buffer, size, &length) makes the call, its size
// and length arguments of type T. The text is left in text on success.
template <typename T, typename Ask>
SQLRETURN narrow_answer(Ask &&ask, std::string &text)
{
    constexpr size_t kLargest = static_cast<size_t>(std::numeric_limits<T>::max());
    std::vector<char> buffer(kFirstRoom, '\0');
    for (;;) {
        T whole = 0;
        SQLRETURN rc = ask(buffer.data(), static_cast<T>(buffer.size()), &whole);
        if (!SQL_SUCCEEDED(rc))
            return rc;
        size_t needed = whole > 0 ? static_cast<size_t>(whole) : 0;
        if (needed < buffer.size()) {
            text.assign(buffer.data(), needed);
            return rc;
        }
        if (buffer.size() >= kLargest) {
            // more than the ANSI form can give: what it gave is the answer
            text.assign(buffer.data(), strnlen(buffer.data(), buffer.size()));
            return rc;
        }
        buffer.assign(std::min(needed + 1, kLargest), '\0');
    }
}

// ---- diagnostics the W layer posts ----

// Adds 01004 to the diagnostics that the ANSI form's call left on the
// handle, and gives that call's return code with the warning folded in.
SQLRETURN cut_warning(SQLSMALLINT handle_type, SQLHANDLE handle, SQLRETURN rc) noexcept
{
    const char *state = "01004", *message = "String data, right truncated";
    if (handle_type == SQL_HANDLE_DBC) {
        if (Connection *conn = connection_of(handle)) {
            std::lock_guard<std::recursive_mutex> hold(conn->lock);
            post_warning(conn->errors, state, message);
        }
    } else if (handle_type == SQL_HANDLE_STMT) {
        if (Statement *stmt = statement_of(handle)) {
            std::lock_guard<std::mutex> hold(stmt->call_lock);
            post_warning(stmt->errors, state, message);
        }
    } else if (handle_type == SQL_HANDLE_DESC) {
        if (Descriptor *desc = descriptor_of(handle)) {
            // the locks descriptor_entry takes, in its order
            std::unique_lock<std::mutex> statement_hold;
            if (desc->owner != nullptr)
                statement_hold = std::unique_lock<std::mutex>(desc->owner->call_lock);
            std::lock_guard<std::recursive_mutex> hold(desc->conn->lock);
            post_warning(desc->errors, state, message);
        }
    }
    return rc == SQL_SUCCESS ? SQL_SUCCESS_WITH_INFO : rc;
}

// Runs body through the entry wrapper of a handle of the given type, as a
// call of its own: the handle checked and locked, its diagnostics cleared.
template <typename Body>
SQLRETURN as_a_call(SQLSMALLINT handle_type, SQLHANDLE handle, Body &&body) noexcept
{
    switch (handle_type) {
    case SQL_HANDLE_ENV: return environment_entry(handle, [&](Environment *env) { return body(env->errors); });
    case SQL_HANDLE_DBC: return connection_entry(handle, [&](Connection *conn) { return body(conn->errors); });
    case SQL_HANDLE_STMT: return statement_entry(handle, [&](Statement *stmt) { return body(stmt->errors); });
    case SQL_HANDLE_DESC: return descriptor_entry(handle, [&](Descriptor *desc) { return body(desc->errors); });
    default: return SQL_INVALID_HANDLE;
    }
}

SQLRETURN bad_length(SQLSMALLINT handle_type, SQLHANDLE handle) noexcept
{
    return as_a_call(handle_type, handle, [](ErrorHeader *errors) {
        return post_error(errors, "HY090", "Invalid string or buffer length");
    });
}

// A buffer length the W function refuses with HY090: below 0, or odd where
// it counts octets of SQLWCHARs. A null buffer's length is not looked at.
bool refused_length(const WideBuffer &out)
{
    if (out.data == nullptr)
        return false;
    return out.length < 0 || (out.count == Count::kOctets && out.length % 2 != 0);
}

// Runs a W function's body. An exception from its conversions (memory
// running out) is rethrown inside the handle's entry wrapper, which makes
// it the handle's diagnostic as in every other entry point.
template <typename Body>
SQLRETURN wide_entry(SQLSMALLINT handle_type, SQLHANDLE handle, Body &&body) noexcept
{
    std::exception_ptr failure;
    try {
        return body();
    } catch (...) {
        failure = std::current_exception();
    }
    return as_a_call(handle_type, handle, [&](ErrorHeader *) -> SQLRETURN { std::rethrow_exception(failure); });
}

// Gives the ANSI form's text answer to the application's wide buffer: the
// whole length in length_out, 01004 on the handle when cut.
template <typename T>
SQLRETURN answer_wide(SQLSMALLINT handle_type, SQLHANDLE handle, SQLRETURN rc, const std::string &text,
                      const WideBuffer &out, T *length_out)
{
    Written w = write_wide(text, out);
    store_length(length_out, w.length);
    return w.cut ? cut_warning(handle_type, handle, rc) : rc;
}

// The same for the diagnostic functions, which post nothing on the handle
// they read: a cut is only SQL_SUCCESS_WITH_INFO.
template <typename T>
SQLRETURN diagnostic_wide(SQLRETURN rc, const std::string &text, const WideBuffer &out, T *length_out)
{
    Written w = write_wide(text, out);
    store_length(length_out, w.length);
    return w.cut && rc == SQL_SUCCESS ? SQL_SUCCESS_WITH_INFO : rc;
}

// ---- which answers are text ----

// The connection attributes whose values are character strings.
bool connection_attribute_is_text(SQLINTEGER attribute)
{
    return attribute == SQL_ATTR_CURRENT_CATALOG || attribute == SQL_ATTR_TRACEFILE ||
           attribute == SQL_ATTR_TRANSLATE_LIB;
}

// The fields of SQLColAttribute whose values are character strings (the
// ODBC 2 identifiers among them are the same numbers as ODBC 3's, but for
// SQL_COLUMN_NAME).
bool column_field_is_text(SQLUSMALLINT field)
{
    switch (field) {
    case SQL_DESC_BASE_COLUMN_NAME:
    case SQL_DESC_BASE_TABLE_NAME:
    case SQL_DESC_CATALOG_NAME:
    case SQL_DESC_LABEL:
    case SQL_DESC_LITERAL_PREFIX:
    case SQL_DESC_LITERAL_SUFFIX:
    case SQL_DESC_LOCAL_TYPE_NAME:
    case SQL_DESC_NAME:
    case SQL_DESC_SCHEMA_NAME:
    case SQL_DESC_TABLE_NAME:
    case SQL_DESC_TYPE_NAME:
    case SQL_COLUMN_NAME:
        return true;
    default:
        return false;
    }
}

// The descriptor fields whose values are character strings.
bool descriptor_field_is_text(SQLSMALLINT field)
{
    switch (field) {
    case SQL_DESC_BASE_COLUMN_NAME:
    case SQL_DESC_BASE_TABLE_NAME:
    case SQL_DESC_CATALOG_NAME:
    case SQL_DESC_LABEL:
    case SQL_DESC_LITERAL_PREFIX:
    case SQL_DESC_LITERAL_SUFFIX:
    case SQL_DESC_LOCAL_TYPE_NAME:
    case SQL_DESC_NAME:
    case SQL_DESC_SCHEMA_NAME:
    case SQL_DESC_TABLE_NAME:
    case SQL_DESC_TYPE_NAME:
        return true;
    default:
        return false;
    }
}

// The diagnostic fields whose values are character strings.
bool diagnostic_field_is_text(SQLSMALLINT field)
{
    switch (field) {
    case SQL_DIAG_CLASS_ORIGIN:
    case SQL_DIAG_SUBCLASS_ORIGIN:
    case SQL_DIAG_CONNECTION_NAME:
    case SQL_DIAG_MESSAGE_TEXT:
    case SQL_DIAG_SERVER_NAME:
    case SQL_DIAG_SQLSTATE:
    case SQL_DIAG_DYNAMIC_FUNCTION:
        return true;
    default:
        return false;
    }
}

// The room for one message that the ANSI SQLError is given: the library
// cuts every message at 1023 octets, and SQLError, which drops the record
// it reads, cannot be asked twice.
constexpr SQLSMALLINT kMessageRoom = 1024;

}  // namespace

}  // namespace kxdrv

using namespace kxdrv;

extern "C" {

// ---- connections ----

KXDRV_API SQLRETURN SQL_API SQLConnectW(SQLHDBC handle, SQLWCHAR *dsn, SQLSMALLINT dsn_length, SQLWCHAR *user,
                                        SQLSMALLINT user_length, SQLWCHAR *password,
                                        SQLSMALLINT password_length)
{
    return wide_entry(SQL_HANDLE_DBC, handle, [&] {
        Utf8Argument d(dsn, dsn_length), u(user, user_length), p(password, password_length);
        return SQLConnect(handle, d.text(), d.length<SQLSMALLINT>(), u.text(), u.length<SQLSMALLINT>(), p.text(),
                          p.length<SQLSMALLINT>());
    });
}

KXDRV_API SQLRETURN SQL_API SQLDriverConnectW(SQLHDBC handle, SQLHWND window, SQLWCHAR *in, SQLSMALLINT in_length,
                                              SQLWCHAR *out, SQLSMALLINT out_length, SQLSMALLINT *out_written,
                                              SQLUSMALLINT completion)
{
    WideBuffer completed_out{out, out_length, Count::kCharacters};
    if (refused_length(completed_out))
        return bad_length(SQL_HANDLE_DBC, handle);
    return wide_entry(SQL_HANDLE_DBC, handle, [&] {
        Utf8Argument text(in, in_length);
        // connecting cannot be asked twice: the ANSI form is given the
        // largest room its SQLSMALLINT length can name
        std::vector<char> completed(std::numeric_limits<SQLSMALLINT>::max(), '\0');
        SQLSMALLINT whole = 0;
        SQLRETURN rc = SQLDriverConnect(handle, window, text.text(), text.length<SQLSMALLINT>(),
                                        reinterpret_cast<SQLCHAR *>(completed.data()),
                                        static_cast<SQLSMALLINT>(completed.size()), &whole, completion);
        if (!SQL_SUCCEEDED(rc))
            return rc;
        std::string answer(completed.data(), strnlen(completed.data(), completed.size()));
        return answer_wide(SQL_HANDLE_DBC, handle, rc, answer, completed_out, out_written);
    });
}

KXDRV_API SQLRETURN SQL_API SQLNativeSqlW(SQLHDBC handle, SQLWCHAR *in, SQLINTEGER in_length, SQLWCHAR *out,
                                          SQLINTEGER out_length, SQLINTEGER *out_written)
{
    WideBuffer printed_out{out, out_length, Count::kCharacters};
    if (refused_length(printed_out))
        return bad_length(SQL_HANDLE_DBC, handle);
    return wide_entry(SQL_HANDLE_DBC, handle, [&] {
        Utf8Argument text(in, in_length);
        std::string printed;
        SQLRETURN rc = narrow_answer<SQLINTEGER>(
            [&](char *buffer, SQLINTEGER size, SQLINTEGER *length) {
                return SQLNativeSql(handle, text.text(), text.length<SQLINTEGER>(),
                                    reinterpret_cast<SQLCHAR *>(buffer), size, length);
            },
            printed);
        if (!SQL_SUCCEEDED(rc))
            return rc;
        return answer_wide(SQL_HANDLE_DBC, handle, rc, printed, printed_out, out_written);
    });
}

KXDRV_API SQLRETURN SQL_API SQLGetInfoW(SQLHDBC handle, SQLUSMALLINT type, SQLPOINTER value,
                                        SQLSMALLINT buffer_length, SQLSMALLINT *length)
{
    // which answers are text is the connection's to say, under its lock
    // (held again by the ANSI form: the lock is recursive)
    return connection_entry(handle, [&](Connection *conn) -> SQLRETURN {
        if (!info_answer_is_text(conn, type))
            return SQLGetInfo(handle, type, value, buffer_length, length);
        WideBuffer out{value, buffer_length, Count::kOctets};
        if (refused_length(out))
            return post_error(conn->errors, "HY090", "Invalid string or buffer length");
        std::string text;
        SQLRETURN rc = narrow_answer<SQLSMALLINT>(
            [&](char *buffer, SQLSMALLINT size, SQLSMALLINT *whole) {
                return SQLGetInfo(handle, type, buffer, size, whole);
            },
            text);
        if (!SQL_SUCCEEDED(rc))
            return rc;
        return answer_wide(SQL_HANDLE_DBC, handle, rc, text, out, length);
    });
}

KXDRV_API SQLRETURN SQL_API SQLSetConnectAttrW(SQLHDBC handle, SQLINTEGER attribute, SQLPOINTER value,
                                               SQLINTEGER string_length)
{
    if (!connection_attribute_is_text(attribute))
        return SQLSetConnectAttr(handle, attribute, value, string_length);
    return wide_entry(SQL_HANDLE_DBC, handle, [&] {
        Utf8Argument text = octets_argument(value, string_length);
        return SQLSetConnectAttr(handle, attribute, text.text(), text.length<SQLINTEGER>());
    });
}

KXDRV_API SQLRETURN SQL_API SQLGetConnectAttrW(SQLHDBC handle, SQLINTEGER attribute, SQLPOINTER value,
                                               SQLINTEGER buffer_length, SQLINTEGER *length)
{
    if (!connection_attribute_is_text(attribute))
        return SQLGetConnectAttr(handle, attribute, value, buffer_length, length);
    WideBuffer out{value, buffer_length, Count::kOctets};
    if (refused_length(out))
        return bad_length(SQL_HANDLE_DBC, handle);
    return wide_entry(SQL_HANDLE_DBC, handle, [&] {
        std::string text;
        SQLRETURN rc = narrow_answer<SQLINTEGER>(
            [&](char *buffer, SQLINTEGER size, SQLINTEGER *whole) {
                return SQLGetConnectAttr(handle, attribute, buffer, size, whole);
            },
            text);
        if (!SQL_SUCCEEDED(rc))
            return rc;
        return answer_wide(SQL_HANDLE_DBC, handle, rc, text, out, length);
    });
}

// ---- statements ----

KXDRV_API SQLRETURN SQL_API SQLPrepareW(SQLHSTMT handle, SQLWCHAR *text, SQLINTEGER length)
{
    return wide_entry(SQL_HANDLE_STMT, handle, [&] {
        Utf8Argument sql(text, length);
        return SQLPrepare(handle, sql.text(), sql.length<SQLINTEGER>());
    });
}

KXDRV_API SQLRETURN SQL_API SQLExecDirectW(SQLHSTMT handle, SQLWCHAR *text, SQLINTEGER length)
{
    return wide_entry(SQL_HANDLE_STMT, handle, [&] {
        Utf8Argument sql(text, length);
        return SQLExecDirect(handle, sql.text(), sql.length<SQLINTEGER>());
    });
}

// No statement attribute is a character string: the values pass through.
KXDRV_API SQLRETURN SQL_API SQLSetStmtAttrW(SQLHSTMT handle, SQLINTEGER attribute, SQLPOINTER value,
                                            SQLINTEGER string_length)
{
    return SQLSetStmtAttr(handle, attribute, value, string_length);
}

KXDRV_API SQLRETURN SQL_API SQLGetStmtAttrW(SQLHSTMT handle, SQLINTEGER attribute, SQLPOINTER value,
                                            SQLINTEGER buffer_length, SQLINTEGER *length)
{
    return SQLGetStmtAttr(handle, attribute, value, buffer_length, length);
}

KXDRV_API SQLRETURN SQL_API SQLSetCursorNameW(SQLHSTMT handle, SQLWCHAR *name, SQLSMALLINT length)
{
    return wide_entry(SQL_HANDLE_STMT, handle, [&] {
        Utf8Argument text(name, length);
        return SQLSetCursorName(handle, text.text(), text.length<SQLSMALLINT>());
    });
}

KXDRV_API SQLRETURN SQL_API SQLGetCursorNameW(SQLHSTMT handle, SQLWCHAR *name, SQLSMALLINT buffer_length,
                                              SQLSMALLINT *length)
{
    WideBuffer out{name, buffer_length, Count::kCharacters};
    if (refused_length(out))
        return bad_length(SQL_HANDLE_STMT, handle);
    return wide_entry(SQL_HANDLE_STMT, handle, [&] {
        std::string text;
        SQLRETURN rc = narrow_answer<SQLSMALLINT>(
            [&](char *buffer, SQLSMALLINT size, SQLSMALLINT *whole) {
                return SQLGetCursorName(handle, reinterpret_cast<SQLCHAR *>(buffer), size, whole);
            },
            text);
        if (!SQL_SUCCEEDED(rc))
            return rc;
        return answer_wide(SQL_HANDLE_STMT, handle, rc, text, out, length);
    });
}

// ---- results ----

KXDRV_API SQLRETURN SQL_API SQLDescribeColW(SQLHSTMT handle, SQLUSMALLINT number, SQLWCHAR *name,
                                            SQLSMALLINT buffer_length, SQLSMALLINT *name_length,
                                            SQLSMALLINT *sql_type, SQLULEN *size, SQLSMALLINT *digits,
                                            SQLSMALLINT *nullable)
{
    WideBuffer out{name, buffer_length, Count::kCharacters};
    if (refused_length(out))
        return bad_length(SQL_HANDLE_STMT, handle);
    return wide_entry(SQL_HANDLE_STMT, handle, [&] {
        std::string text;
        SQLRETURN rc = narrow_answer<SQLSMALLINT>(
            [&](char *buffer, SQLSMALLINT size_of_buffer, SQLSMALLINT *whole) {
                return SQLDescribeCol(handle, number, reinterpret_cast<SQLCHAR *>(buffer), size_of_buffer, whole,
                                      sql_type, size, digits, nullable);
            },
            text);
        if (!SQL_SUCCEEDED(rc))
            return rc;
        return answer_wide(SQL_HANDLE_STMT, handle, rc, text, out, name_length);
    });
}

KXDRV_API SQLRETURN SQL_API SQLColAttributeW(SQLHSTMT handle, SQLUSMALLINT number, SQLUSMALLINT field,
                                             SQLPOINTER text, SQLSMALLINT buffer_length,
                                             SQLSMALLINT *text_length, SQLLEN *numeric)
{
    if (!column_field_is_text(field))
        return SQLColAttribute(handle, number, field, text, buffer_length, text_length, numeric);
    WideBuffer out{text, buffer_length, Count::kOctets};
    if (refused_length(out))
        return bad_length(SQL_HANDLE_STMT, handle);
    return wide_entry(SQL_HANDLE_STMT, handle, [&] {
        std::string answer;
        SQLRETURN rc = narrow_answer<SQLSMALLINT>(
            [&](char *buffer, SQLSMALLINT size, SQLSMALLINT *whole) {
                return SQLColAttribute(handle, number, field, buffer, size, whole, numeric);
            },
            answer);
        if (!SQL_SUCCEEDED(rc))
            return rc;
        return answer_wide(SQL_HANDLE_STMT, handle, rc, answer, out, text_length);
    });
}

// ---- descriptors ----

KXDRV_API SQLRETURN SQL_API SQLGetDescFieldW(SQLHDESC handle, SQLSMALLINT number, SQLSMALLINT field,
                                             SQLPOINTER value, SQLINTEGER buffer_length, SQLINTEGER *length)
{
    if (!descriptor_field_is_text(field))
        return SQLGetDescField(handle, number, field, value, buffer_length, length);
    WideBuffer out{value, buffer_length, Count::kOctets};
    if (refused_length(out))
        return bad_length(SQL_HANDLE_DESC, handle);
    return wide_entry(SQL_HANDLE_DESC, handle, [&] {
        std::string answer;
        SQLRETURN rc = narrow_answer<SQLINTEGER>(
            [&](char *buffer, SQLINTEGER size, SQLINTEGER *whole) {
                return SQLGetDescField(handle, number, field, buffer, size, whole);
            },
            answer);
        if (!SQL_SUCCEEDED(rc))
            return rc;
        return answer_wide(SQL_HANDLE_DESC, handle, rc, answer, out, length);
    });
}

KXDRV_API SQLRETURN SQL_API SQLSetDescFieldW(SQLHDESC handle, SQLSMALLINT number, SQLSMALLINT field,
                                             SQLPOINTER value, SQLINTEGER buffer_length)
{
    if (!descriptor_field_is_text(field) || value == nullptr)
        return SQLSetDescField(handle, number, field, value, buffer_length);
    return wide_entry(SQL_HANDLE_DESC, handle, [&] {
        // a text value's length counts octets of SQLWCHARs, or is SQL_NTS
        Utf8Argument text = octets_argument(value, buffer_length);
        return SQLSetDescField(handle, number, field, text.text(), text.length<SQLINTEGER>());
    });
}

KXDRV_API SQLRETURN SQL_API SQLGetDescRecW(SQLHDESC handle, SQLSMALLINT number, SQLWCHAR *name,
                                           SQLSMALLINT buffer_length, SQLSMALLINT *name_length,
                                           SQLSMALLINT *type, SQLSMALLINT *subtype, SQLLEN *length,
                                           SQLSMALLINT *precision, SQLSMALLINT *scale, SQLSMALLINT *nullable)
{
    WideBuffer out{name, buffer_length, Count::kCharacters};
    if (refused_length(out))
        return bad_length(SQL_HANDLE_DESC, handle);
    return wide_entry(SQL_HANDLE_DESC, handle, [&] {
        std::string text;
        SQLRETURN rc = narrow_answer<SQLSMALLINT>(
            [&](char *buffer, SQLSMALLINT size, SQLSMALLINT *whole) {
                return SQLGetDescRec(handle, number, reinterpret_cast<SQLCHAR *>(buffer), size, whole, type,
                                     subtype, length, precision, scale, nullable);
            },
            text);
        if (!SQL_SUCCEEDED(rc) || rc == SQL_NO_DATA)
            return rc;
        return answer_wide(SQL_HANDLE_DESC, handle, rc, text, out, name_length);
    });
}

// ---- what the driver says of itself, and the catalogue ----

KXDRV_API SQLRETURN SQL_API SQLGetTypeInfoW(SQLHSTMT handle, SQLSMALLINT data_type)
{
    return SQLGetTypeInfo(handle, data_type);
}

KXDRV_API SQLRETURN SQL_API SQLTablesW(SQLHSTMT handle, SQLWCHAR *catalog, SQLSMALLINT catalog_length,
                                       SQLWCHAR *schema, SQLSMALLINT schema_length, SQLWCHAR *table,
                                       SQLSMALLINT table_length, SQLWCHAR *types, SQLSMALLINT types_length)
{
    return wide_entry(SQL_HANDLE_STMT, handle, [&] {
        Utf8Argument c(catalog, catalog_length), s(schema, schema_length), t(table, table_length),
            k(types, types_length);
        return SQLTables(handle, c.text(), c.length<SQLSMALLINT>(), s.text(), s.length<SQLSMALLINT>(), t.text(),
                         t.length<SQLSMALLINT>(), k.text(), k.length<SQLSMALLINT>());
    });
}

KXDRV_API SQLRETURN SQL_API SQLColumnsW(SQLHSTMT handle, SQLWCHAR *catalog, SQLSMALLINT catalog_length,
                                        SQLWCHAR *schema, SQLSMALLINT schema_length, SQLWCHAR *table,
                                        SQLSMALLINT table_length, SQLWCHAR *column, SQLSMALLINT column_length)
{
    return wide_entry(SQL_HANDLE_STMT, handle, [&] {
        Utf8Argument c(catalog, catalog_length), s(schema, schema_length), t(table, table_length),
            n(column, column_length);
        return SQLColumns(handle, c.text(), c.length<SQLSMALLINT>(), s.text(), s.length<SQLSMALLINT>(), t.text(),
                          t.length<SQLSMALLINT>(), n.text(), n.length<SQLSMALLINT>());
    });
}

KXDRV_API SQLRETURN SQL_API SQLPrimaryKeysW(SQLHSTMT handle, SQLWCHAR *catalog, SQLSMALLINT catalog_length,
                                            SQLWCHAR *schema, SQLSMALLINT schema_length, SQLWCHAR *table,
                                            SQLSMALLINT table_length)
{
    return wide_entry(SQL_HANDLE_STMT, handle, [&] {
        Utf8Argument c(catalog, catalog_length), s(schema, schema_length), t(table, table_length);
        return SQLPrimaryKeys(handle, c.text(), c.length<SQLSMALLINT>(), s.text(), s.length<SQLSMALLINT>(),
                              t.text(), t.length<SQLSMALLINT>());
    });
}

KXDRV_API SQLRETURN SQL_API SQLForeignKeysW(SQLHSTMT handle, SQLWCHAR *pk_catalog, SQLSMALLINT pk_catalog_length,
                                            SQLWCHAR *pk_schema, SQLSMALLINT pk_schema_length,
                                            SQLWCHAR *pk_table, SQLSMALLINT pk_table_length,
                                            SQLWCHAR *fk_catalog, SQLSMALLINT fk_catalog_length,
                                            SQLWCHAR *fk_schema, SQLSMALLINT fk_schema_length,
                                            SQLWCHAR *fk_table, SQLSMALLINT fk_table_length)
{
    return wide_entry(SQL_HANDLE_STMT, handle, [&] {
        Utf8Argument pc(pk_catalog, pk_catalog_length), ps(pk_schema, pk_schema_length),
            pt(pk_table, pk_table_length), fc(fk_catalog, fk_catalog_length), fs(fk_schema, fk_schema_length),
            ft(fk_table, fk_table_length);
        return SQLForeignKeys(handle, pc.text(), pc.length<SQLSMALLINT>(), ps.text(), ps.length<SQLSMALLINT>(),
                              pt.text(), pt.length<SQLSMALLINT>(), fc.text(), fc.length<SQLSMALLINT>(),
                              fs.text(), fs.length<SQLSMALLINT>(), ft.text(), ft.length<SQLSMALLINT>());
    });
}

KXDRV_API SQLRETURN SQL_API SQLStatisticsW(SQLHSTMT handle, SQLWCHAR *catalog, SQLSMALLINT catalog_length,
                                           SQLWCHAR *schema, SQLSMALLINT schema_length, SQLWCHAR *table,
                                           SQLSMALLINT table_length, SQLUSMALLINT unique, SQLUSMALLINT reserved)
{
    return wide_entry(SQL_HANDLE_STMT, handle, [&] {
        Utf8Argument c(catalog, catalog_length), s(schema, schema_length), t(table, table_length);
        return SQLStatistics(handle, c.text(), c.length<SQLSMALLINT>(), s.text(), s.length<SQLSMALLINT>(),
                             t.text(), t.length<SQLSMALLINT>(), unique, reserved);
    });
}

KXDRV_API SQLRETURN SQL_API SQLSpecialColumnsW(SQLHSTMT handle, SQLUSMALLINT identifier_type, SQLWCHAR *catalog,
                                               SQLSMALLINT catalog_length, SQLWCHAR *schema,
                                               SQLSMALLINT schema_length, SQLWCHAR *table,
                                               SQLSMALLINT table_length, SQLUSMALLINT scope,
                                               SQLUSMALLINT nullable)
{
    return wide_entry(SQL_HANDLE_STMT, handle, [&] {
        Utf8Argument c(catalog, catalog_length), s(schema, schema_length), t(table, table_length);
        return SQLSpecialColumns(handle, identifier_type, c.text(), c.length<SQLSMALLINT>(), s.text(),
                                 s.length<SQLSMALLINT>(), t.text(), t.length<SQLSMALLINT>(), scope, nullable);
    });
}

KXDRV_API SQLRETURN SQL_API SQLProceduresW(SQLHSTMT handle, SQLWCHAR *catalog, SQLSMALLINT catalog_length,
                                           SQLWCHAR *schema, SQLSMALLINT schema_length, SQLWCHAR *procedure,
                                           SQLSMALLINT procedure_length)
{
    return wide_entry(SQL_HANDLE_STMT, handle, [&] {
        Utf8Argument c(catalog, catalog_length), s(schema, schema_length), p(procedure, procedure_length);
        return SQLProcedures(handle, c.text(), c.length<SQLSMALLINT>(), s.text(), s.length<SQLSMALLINT>(),
                             p.text(), p.length<SQLSMALLINT>());
    });
}

KXDRV_API SQLRETURN SQL_API SQLProcedureColumnsW(SQLHSTMT handle, SQLWCHAR *catalog, SQLSMALLINT catalog_length,
                                                 SQLWCHAR *schema, SQLSMALLINT schema_length,
                                                 SQLWCHAR *procedure, SQLSMALLINT procedure_length,
                                                 SQLWCHAR *column, SQLSMALLINT column_length)
{
    return wide_entry(SQL_HANDLE_STMT, handle, [&] {
        Utf8Argument c(catalog, catalog_length), s(schema, schema_length), p(procedure, procedure_length),
            n(column, column_length);
        return SQLProcedureColumns(handle, c.text(), c.length<SQLSMALLINT>(), s.text(), s.length<SQLSMALLINT>(),
                                   p.text(), p.length<SQLSMALLINT>(), n.text(), n.length<SQLSMALLINT>());
    });
}

KXDRV_API SQLRETURN SQL_API SQLTablePrivilegesW(SQLHSTMT handle, SQLWCHAR *catalog, SQLSMALLINT catalog_length,
                                                SQLWCHAR *schema, SQLSMALLINT schema_length, SQLWCHAR *table,
                                                SQLSMALLINT table_length)
{
    return wide_entry(SQL_HANDLE_STMT, handle, [&] {
        Utf8Argument c(catalog, catalog_length), s(schema, schema_length), t(table, table_length);
        return SQLTablePrivileges(handle, c.text(), c.length<SQLSMALLINT>(), s.text(), s.length<SQLSMALLINT>(),
                                  t.text(), t.length<SQLSMALLINT>());
    });
}

KXDRV_API SQLRETURN SQL_API SQLColumnPrivilegesW(SQLHSTMT handle, SQLWCHAR *catalog, SQLSMALLINT catalog_length,
                                                 SQLWCHAR *schema, SQLSMALLINT schema_length, SQLWCHAR *table,
                                                 SQLSMALLINT table_length, SQLWCHAR *column,
                                                 SQLSMALLINT column_length)
{
    return wide_entry(SQL_HANDLE_STMT, handle, [&] {
        Utf8Argument c(catalog, catalog_length), s(schema, schema_length), t(table, table_length),
            n(column, column_length);
        return SQLColumnPrivileges(handle, c.text(), c.length<SQLSMALLINT>(), s.text(), s.length<SQLSMALLINT>(),
                                   t.text(), t.length<SQLSMALLINT>(), n.text(), n.length<SQLSMALLINT>());
    });
}

// ---- diagnostics ----

KXDRV_API SQLRETURN SQL_API SQLGetDiagRecW(SQLSMALLINT handle_type, SQLHANDLE handle, SQLSMALLINT record,
                                           SQLWCHAR *sqlstate, SQLINTEGER *native, SQLWCHAR *message,
                                           SQLSMALLINT buffer_length, SQLSMALLINT *text_length)
{
    // a length below 0 goes to the ANSI form, which checks the handle
    // first and then refuses it
    if (buffer_length < 0)
        return SQLGetDiagRec(handle_type, handle, record, nullptr, nullptr, nullptr, buffer_length, nullptr);
    try {
        char state[6] = "";
        std::string text;
        SQLRETURN rc = narrow_answer<SQLSMALLINT>(
            [&](char *buffer, SQLSMALLINT size, SQLSMALLINT *whole) {
                return SQLGetDiagRec(handle_type, handle, record, reinterpret_cast<SQLCHAR *>(state), native,
                                     reinterpret_cast<SQLCHAR *>(buffer), size, whole);
            },
            text);
        if (!SQL_SUCCEEDED(rc))
            return rc;
        write_state(state, sqlstate);
        return diagnostic_wide(rc, text, {message, buffer_length, Count::kCharacters}, text_length);
    } catch (...) {
        return SQL_ERROR;
    }
}

KXDRV_API SQLRETURN SQL_API SQLGetDiagFieldW(SQLSMALLINT handle_type, SQLHANDLE handle, SQLSMALLINT record,
                                             SQLSMALLINT field, SQLPOINTER value, SQLSMALLINT buffer_length,
                                             SQLSMALLINT *string_length)
{
    if (!diagnostic_field_is_text(field))
        return SQLGetDiagField(handle_type, handle, record, field, value, buffer_length, string_length);
    try {
        std::string text;
        SQLRETURN rc = narrow_answer<SQLSMALLINT>(
            [&](char *buffer, SQLSMALLINT size, SQLSMALLINT *whole) {
                return SQLGetDiagField(handle_type, handle, record, field, buffer, size, whole);
            },
            text);
        if (!SQL_SUCCEEDED(rc))
            return rc;
        WideBuffer out{value, buffer_length, Count::kOctets};
        if (refused_length(out))
            return SQL_ERROR;
        return diagnostic_wide(rc, text, out, string_length);
    } catch (...) {
        return SQL_ERROR;
    }
}

KXDRV_API SQLRETURN SQL_API SQLErrorW(SQLHENV env, SQLHDBC dbc, SQLHSTMT stmt, SQLWCHAR *sqlstate,
                                      SQLINTEGER *native, SQLWCHAR *message, SQLSMALLINT buffer_length,
                                      SQLSMALLINT *text_length)
{
    if (buffer_length < 0)
        return SQLError(env, dbc, stmt, nullptr, nullptr, nullptr, buffer_length, nullptr);
    try {
        char state[6] = "";
        std::vector<char> buffer(kMessageRoom, '\0');
        SQLSMALLINT whole = 0;
        SQLRETURN rc = SQLError(env, dbc, stmt, reinterpret_cast<SQLCHAR *>(state), native,
                                reinterpret_cast<SQLCHAR *>(buffer.data()), kMessageRoom, &whole);
        if (!SQL_SUCCEEDED(rc))
            return rc;
        write_state(state, sqlstate);
        std::string text(buffer.data(), strnlen(buffer.data(), buffer.size()));
        return diagnostic_wide(rc, text, {message, buffer_length, Count::kCharacters}, text_length);
    } catch (...) {
        return SQL_ERROR;
    }
}

}  // extern "C"
