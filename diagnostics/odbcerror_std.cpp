// odbcerror_std: the diagnostics of the standard family.
//
// Exports kxstd_status_state, kxstd_status_message, kxstd_set_error_header,
// kxstd_map_table and kxstd_get_diag_field; inside the library it provides
// kx::std_raise, the error exit of the standard routines that take an
// EvalContext, and what PostError records on a header in standard mode
// (diagnostics/standard_exit.h).
//
// A KXSTD_ status is an index into one table of SQLSTATEs and messages, so
// a routine without a context returns a number and its caller learns the
// state and text from here. A header is in standard mode when its
// standard_component is set; the component and server name are private
// copies in the header's memory handle.
#include <csetjmp>
#include <cstdint>
#include <cstring>

#include "diagnostics/standard_exit.h"
#include "kxsupp/diagnostics.h"
#include "kxsupp/memory.h"

namespace {

struct StatusText {
    int32_t status;
    const char *sqlstate;
    const char *message;
};

constexpr StatusText kStatusTexts[] = {
    {KXSTD_OK, "00000", "Success"},
    {KXSTD_NUMERIC_OUT_OF_RANGE, "22003", "Numeric value out of range"},
    {KXSTD_DIVISION_BY_ZERO, "22012", "Division by zero"},
    {KXSTD_DATETIME_OVERFLOW, "22008", "Datetime field overflow"},
    {KXSTD_INTERVAL_OVERFLOW, "22015", "Interval field overflow"},
    {KXSTD_INVALID_DATETIME, "22007", "Invalid datetime format"},
    {KXSTD_INVALID_NUMBER, "22018", "Invalid character value for cast specification"},
    {KXSTD_TYPE_MISMATCH, "42000", "Operand types do not fit the operation"},
    {KXSTD_NO_MEMORY, "HY001", "Memory allocation error"},
    {KXSTD_INVALID_LENGTH, "HY090", "Invalid string or buffer length"},
    {KXSTD_INVALID_ARGUMENT, "22023", "Invalid parameter value"},
    {KXSTD_IO_ERROR, "HY000", "General error: long data could not be written or read"},
};

// The table is indexed by status: each row sits at its own code.
constexpr bool rows_in_status_order()
{
    for (int32_t i = 0; i < KXSTD_STATUS_COUNT; ++i)
        if (kStatusTexts[i].status != i)
            return false;
    return true;
}
static_assert(sizeof kStatusTexts / sizeof kStatusTexts[0] == KXSTD_STATUS_COUNT);
static_assert(rows_in_status_order(), "kStatusTexts must list the statuses in order");

const StatusText *text_of(int32_t status)
{
    return status >= 0 && status < KXSTD_STATUS_COUNT ? &kStatusTexts[status] : nullptr;
}

// ODBC's name of each dynamic function code (SQL_DIAG_DYNAMIC_FUNCTION).
struct FunctionName {
    int32_t code;
    const char *name;
};

constexpr FunctionName kDynamicFunctions[] = {
    {-2, "DROP INDEX"},         {-1, "CREATE INDEX"},         {3, "ALTER DOMAIN"},
    {4, "ALTER TABLE"},         {6, "CREATE ASSERTION"},      {7, "CALL"},
    {8, "CREATE CHARACTER SET"}, {10, "CREATE COLLATION"},    {19, "DELETE WHERE"},
    {23, "CREATE DOMAIN"},      {24, "DROP ASSERTION"},       {25, "DROP CHARACTER SET"},
    {26, "DROP COLLATION"},     {27, "DROP DOMAIN"},          {31, "DROP SCHEMA"},
    {32, "DROP TABLE"},         {33, "DROP TRANSLATION"},     {36, "DROP VIEW"},
    {38, "DYNAMIC DELETE CURSOR"}, {48, "GRANT"},             {50, "INSERT"},
    {59, "REVOKE"},             {64, "CREATE SCHEMA"},        {77, "CREATE TABLE"},
    {79, "CREATE TRANSLATION"}, {81, "DYNAMIC UPDATE CURSOR"}, {82, "UPDATE WHERE"},
    {84, "CREATE VIEW"},        {85, "SELECT CURSOR"},
};

const char *dynamic_function_name(int32_t code)
{
    for (const FunctionName &f : kDynamicFunctions)
        if (f.code == code)
            return f.name;
    return "";
}

// SQL_DIAG_* identifiers and the handle type whose header fields those of a
// statement are.
constexpr int32_t kFieldReturnCode = 1;
constexpr int32_t kFieldRowCount = 3;
constexpr int32_t kFieldDynamicFunction = 7;
constexpr int32_t kFieldServerName = 11;
constexpr int32_t kFieldCursorRowCount = -1249;
constexpr int32_t kFieldRowNumber = -1248;
constexpr int32_t kStatementHandle = 3;

int16_t copy_text(void *value, int32_t buffer_length, int16_t *string_length, const char *text)
{
    return static_cast<int16_t>(copy_str_buffer(static_cast<char *>(value),
                                                buffer_length < 0 ? 0u : static_cast<uint32_t>(buffer_length),
                                                string_length, text));
}

// The SQLSTATEs whose subclass ODBC defines beside the ISO call-level
// interface's (SQLGetDiagField's SQL_DIAG_SUBCLASS_ORIGIN list); class IM is
// ODBC's as a whole.
constexpr const char *kOdbcSubclasses[] = {
    "01S00", "01S01", "01S02", "01S06", "01S07", "07S01", "08S01", "21S01", "21S02",
    "25S01", "25S02", "25S03", "42S01", "42S02", "42S11", "42S12", "42S21", "42S22",
    "HY095", "HY097", "HY098", "HY099", "HY100", "HY101", "HY105", "HY107", "HY109",
    "HY110", "HY111", "HYT00", "HYT01",
};

bool is_odbc_class(const char *sqlstate)
{
    return sqlstate[0] == 'I' && sqlstate[1] == 'M';
}

bool is_odbc_subclass(const char *sqlstate)
{
    if (is_odbc_class(sqlstate))
        return true;
    for (const char *state : kOdbcSubclasses)
        if (std::strcmp(state, sqlstate) == 0)
            return true;
    return false;
}

}  // namespace

extern "C" {

// The ODBC 2 state of each ODBC 3 state whose ODBC 2 form differs, as ODBC's
// mapping table gives them; ended by a null pair.
const SqlStatePair kxstd_map_table[] = {
    {"01001", "01S03"}, {"07005", "24000"}, {"07009", "S1002"}, {"22007", "22008"},
    {"22018", "22005"}, {"42000", "37000"}, {"42S01", "S0001"}, {"42S02", "S0002"},
    {"42S11", "S0011"}, {"42S12", "S0012"}, {"42S21", "S0021"}, {"42S22", "S0022"},
    {"42S23", "S0023"}, {"HY000", "S1000"}, {"HY001", "S1001"}, {"HY003", "S1003"},
    {"HY004", "S1004"}, {"HY007", "S1010"}, {"HY008", "S1008"}, {"HY009", "S1009"},
    {"HY010", "S1010"}, {"HY011", "S1011"}, {"HY012", "S1012"}, {"HY018", "70100"},
    {"HY019", "22003"}, {"HY024", "S1009"}, {"HY090", "S1090"}, {"HY091", "S1091"},
    {"HY092", "S1092"}, {"HY096", "S1096"}, {"HY097", "S1097"}, {"HY098", "S1098"},
    {"HY099", "S1099"}, {"HY100", "S1100"}, {"HY101", "S1101"}, {"HY103", "S1103"},
    {"HY104", "S1104"}, {"HY105", "S1105"}, {"HY106", "S1106"}, {"HY107", "S1107"},
    {"HY108", "S1108"}, {"HY109", "S1109"}, {"HY110", "S1110"}, {"HY111", "S1111"},
    {"HYC00", "S1C00"}, {"HYT00", "S1T00"}, {"HYT01", "S1T00"}, {nullptr, nullptr},
};

KX_API const char *kxstd_status_state(int32_t status)
{
    const StatusText *t = text_of(status);
    return t != nullptr ? t->sqlstate : "HY000";
}

KX_API const char *kxstd_status_message(int32_t status)
{
    const StatusText *t = text_of(status);
    return t != nullptr ? t->message : "General error";
}

KX_API int32_t kxstd_set_error_header(ErrorHeader *header, const char *component,
                                      const char *server_name)
{
    if (header == nullptr || component == nullptr)
        return -1;
    char *component_copy = string_duplicate(component, header->mem_handle);
    char *server_copy = string_duplicate(server_name != nullptr ? server_name : "", header->mem_handle);
    if (component_copy == nullptr || server_copy == nullptr) {
        if (component_copy != nullptr)
            kx_mem_free(header->mem_handle, component_copy);
        if (server_copy != nullptr)
            kx_mem_free(header->mem_handle, server_copy);
        return -1;
    }
    // a header set twice keeps the texts of both in its handle until it goes
    header->standard_component = component_copy;
    header->standard_server_name = server_copy;
    return 0;
}

KX_API int16_t kxstd_get_diag_field(int32_t handle_type, ErrorHeader *header, int32_t record,
                                    int32_t field, void *value, int32_t buffer_length,
                                    int16_t *string_length)
{
    int32_t word = 0;
    switch (field) {
    case kFieldReturnCode: {
        int16_t rc = GetDiagField(handle_type, header, record, field, &word, buffer_length,
                                  string_length);
        if (rc == KX_SUCCESS && value != nullptr) {
            int16_t code = static_cast<int16_t>(word);
            std::memcpy(value, &code, sizeof code);
        }
        return rc;
    }
    case kFieldRowCount:
    case kFieldCursorRowCount:
    case kFieldRowNumber: {
        int16_t rc = GetDiagField(handle_type, header, record, field, &word, buffer_length,
                                  string_length);
        if (rc == KX_SUCCESS && value != nullptr) {
            int64_t wide = word;
            std::memcpy(value, &wide, sizeof wide);
        }
        return rc;
    }
    case kFieldDynamicFunction: {
        int32_t count = header != nullptr ? header->record_count : 0;
        if (record > count)
            return KX_NO_DATA;
        if (record < 0 || header == nullptr || handle_type != kStatementHandle)
            return KX_ERROR;
        return copy_text(value, buffer_length, string_length,
                         dynamic_function_name(header->function_code));
    }
    case kFieldServerName: {
        int32_t count = header != nullptr ? header->record_count : 0;
        if (record > count)
            return KX_NO_DATA;
        if (record < 1 || header == nullptr)
            return KX_ERROR;
        const char *name = header->standard_server_name;
        return copy_text(value, buffer_length, string_length, name != nullptr ? name : "");
    }
    default:
        return GetDiagField(handle_type, header, record, field, value, buffer_length,
                            string_length);
    }
}

}  // extern "C"

namespace kx {

void std_raise(EvalContext *context, const char *sqlstate, const char *message)
{
    if (context == nullptr)
        return;
    if (context->stmt != nullptr && context->stmt->errors != nullptr) {
        ErrorHeader *errors = context->stmt->errors;
        SetReturnCode(errors, KX_ERROR);
        // the origins passed here are what an ODBC 3 header shows; a header
        // in standard mode takes them from the SQLSTATE whatever is passed
        PostError(errors, std_class_origin_code(sqlstate), 0, nullptr, 0, 0,
                  std_subclass_origin(sqlstate), sqlstate, "%s", message != nullptr ? message : "");
    }
    context->result = KX_ERROR;
    std::longjmp(context->exit, KX_ERROR);
}

int32_t std_class_origin_code(const char *sqlstate)
{
    return sqlstate != nullptr && std::strlen(sqlstate) >= 2 && is_odbc_class(sqlstate) ? 1 : 2;
}

const char *std_subclass_origin(const char *sqlstate)
{
    return sqlstate != nullptr && is_odbc_subclass(sqlstate) ? "ODBC 3.0" : "ISO 9075";
}

const char *std_odbc2_state(const char *sqlstate)
{
    if (sqlstate == nullptr)
        return nullptr;
    for (const SqlStatePair *pair = kxstd_map_table; pair->odbc3 != nullptr; ++pair)
        if (std::strcmp(pair->odbc3, sqlstate) == 0)
            return pair->odbc2;
    return sqlstate;
}

void std_raise(EvalContext *context, int32_t status)
{
    if (status == KXSTD_OK)
        return;
    std_raise(context, kxstd_status_state(status), kxstd_status_message(status));
}

}  // namespace kx
