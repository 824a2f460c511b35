// odbcerror: the ODBC diagnostic area of every handle.
//
// Exports map_table, CreateErrorHeader, SetupErrorHeader, FreeErrorHeader,
// SetReturnCode, SetErrorCount, PostError, PostDalError, GetDiagRec and
// GetDiagField; inside the library it also provides kx::error_exit, the one
// non-local exit of the scalar functions and operators.
//
// An ErrorHeader (node kind 300) heads a singly linked list of DiagRecords
// (node kind 301), oldest first, all allocated in the header's memory
// handle together with the four strings of each record. SQLSTATEs are
// mapped to their ODBC 2 forms when posted, so reading back never maps.
// A message is "[connection name]" followed by the caller's expanded
// format, held to 1023 characters and a terminator; the connection name is
// copied as text, never read as a format.
#include <csetjmp>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "diagnostics/error_exit.h"
#include "diagnostics/standard_exit.h"
#include "kxsupp/diagnostics.h"
#include "kxsupp/memory.h"
#include "kxsupp/values.h"

extern "C" {

// ODBC 3 state and the ODBC 2 state an ODBC 2 application sees instead.
// The second "HY092" row is never reached (the first match wins); it is
// kept so that the table stays as drivers have always seen it. Exported
// through its declaration in the public header.
const SqlStatePair map_table[49] = {
    {"01001", "01S03"},
    {"HY019", "22003"},
    {"22007", "22008"},
    {"22018", "22005"},
    {"07005", "24000"},
    {"07008", "S1000"},
    {"07009", "S1002"},
    {"42000", "37000"},
    {"HY018", "70100"},
    {"42S01", "S0001"},
    {"42S02", "S0002"},
    {"42S11", "S0011"},
    {"42S12", "S0012"},
    {"42S21", "S0021"},
    {"42S22", "S0022"},
    {"42S23", "S0023"},

    {"HY000", "S1000"},
    {"HY001", "S1001"},
    {"HY003", "S1003"},
    {"HY004", "S1004"},
    {"HY008", "S1008"},
    {"HY009", "S1009"},
    {"HY024", "S1009"},
    {"HY092", "S1009"},
    {"HY007", "S1010"},
    {"HY010", "S1010"},
    {"HY011", "S1011"},
    {"HY012", "S1012"},
    {"HY090", "S1090"},
    {"HY091", "S1091"},
    {"HY092", "S1092"},
    {"HY096", "S1096"},

    {"HY097", "S1097"},
    {"HY098", "S1098"},
    {"HY099", "S1099"},
    {"HY100", "S1100"},
    {"HY101", "S1101"},
    {"HY103", "S1103"},
    {"HY104", "S1104"},
    {"HY105", "S1105"},
    {"HY106", "S1106"},
    {"HY107", "S1107"},
    {"HY108", "S1108"},
    {"HY109", "S1109"},
    {"HY110", "S1110"},
    {"HY111", "S1111"},
    {"HYC00", "S1C00"},
    {"NYT00", "S1T00"},

    {nullptr, nullptr},
};

}  // extern "C"

namespace {

constexpr const char *kDefaultConnectionName = "Varnel ODBC";
constexpr const char *kServerName = "Varnel ODBC 3.0";
constexpr const char *kOdbcClassOrigin = "ODBC 3.0";
constexpr const char *kIsoClassOrigin = "ISO 9075";
constexpr size_t kMessageSize = 1024;  // message area, terminator included
constexpr int32_t kStatementHandle = 3;

// SQL_DIAG_* field identifiers.
enum DiagField : int32_t {
    kFieldReturnCode = 1,
    kFieldNumber = 2,
    kFieldRowCount = 3,
    kFieldSqlState = 4,
    kFieldNative = 5,
    kFieldMessageText = 6,
    kFieldDynamicFunction = 7,
    kFieldClassOrigin = 8,
    kFieldSubclassOrigin = 9,
    kFieldConnectionName = 10,
    kFieldServerName = 11,
    kFieldDynamicFunctionCode = 12,
    kFieldCursorRowCount = -1249,
    kFieldRowNumber = -1248,
    kFieldColumnNumber = -1247,
};

// The ODBC 2 form of an ODBC 3 state, or the state itself when unmapped.
const char *odbc2_state(const char *state)
{
    if (state == nullptr)
        return state;
    for (const SqlStatePair *pair = map_table; pair->odbc3 != nullptr; pair++)
        if (std::strcmp(pair->odbc3, state) == 0)
            return pair->odbc2;
    return state;
}

void free_string(MemHandle *handle, char *text)
{
    if (text != nullptr)
        kx_mem_free(handle, text);
}

// Frees every record of the header with its strings and empties the list.
void free_records(ErrorHeader *header)
{
    DiagRecord *record = header->first;
    while (record != nullptr) {
        DiagRecord *next = record->next;
        free_string(header->mem_handle, record->connection_name);
        free_string(header->mem_handle, record->message);
        free_string(header->mem_handle, record->sqlstate);
        free_string(header->mem_handle, record->subclass_origin);
        kx_mem_free(header->mem_handle, record);
        record = next;
    }
    header->first = nullptr;
    header->last = nullptr;
    header->record_count = 0;
}

// Writes "[name]" and then the expanded format into message (kMessageSize
// bytes): the message is that whole text cut to kMessageSize - 1 characters,
// so a very long name can push out its closing bracket and the text. A null
// name leaves out the prefix.
void format_message(char *message, const char *name, const char *format,
                    va_list arguments)
{
    constexpr size_t limit = kMessageSize - 1;
    size_t used = 0;
    if (name != nullptr) {
        // Names are short: a plain loop beats a block copy here.
        message[used++] = '[';
        while (*name != '\0' && used < limit)
            message[used++] = *name++;
        if (used < limit)
            message[used++] = ']';
    }
    message[used] = '\0';
    if (format != nullptr && used < limit)
        std::vsnprintf(message + used, kMessageSize - used, format, arguments);
}

// The record number-th record (1 is the oldest); the caller has checked
// that it exists.
DiagRecord *find_record(const ErrorHeader *header, int32_t record_number)
{
    DiagRecord *record = header->first;
    for (int32_t step = 1; step < record_number && record != nullptr; step++)
        record = record->next;
    return record;
}

// A caller's buffer length as copy_str_buffer takes it; a negative length
// is no room at all, so nothing is written.
uint32_t room(int32_t buffer_length)
{
    return buffer_length < 0 ? 0 : static_cast<uint32_t>(buffer_length);
}

int16_t copy_field(void *value, int32_t buffer_length, int16_t *string_length,
                   const char *text)
{
    return static_cast<int16_t>(copy_str_buffer(static_cast<char *>(value),
                                                room(buffer_length),
                                                string_length, text));
}

int16_t store_integer(void *value, int32_t number)
{
    if (value != nullptr)
        std::memcpy(value, &number, sizeof number);
    return KX_SUCCESS;
}

bool is_header_field(int32_t field)
{
    switch (field) {
    case kFieldReturnCode:
    case kFieldNumber:
    case kFieldRowCount:
    case kFieldDynamicFunction:
    case kFieldDynamicFunctionCode:
    case kFieldCursorRowCount:
        return true;
    default:
        return false;
    }
}

int16_t header_field(int32_t handle_type, const ErrorHeader *header,
                     int32_t field, void *value, int32_t buffer_length,
                     int16_t *string_length)
{
    switch (field) {
    case kFieldReturnCode:
        return store_integer(value, header->return_code);
    case kFieldNumber:
        return store_integer(value, header->record_count);
    default:
        break;
    }
    // The rest describe a statement's call only.
    if (handle_type != kStatementHandle)
        return KX_ERROR;
    switch (field) {
    case kFieldRowCount:
        return store_integer(value, header->row_count);
    case kFieldDynamicFunctionCode:
        return store_integer(value, header->function_code);
    case kFieldDynamicFunction:
        return copy_field(value, buffer_length, string_length,
                          function_string(header->function_code));
    case kFieldCursorRowCount:
        return store_integer(value, 0);
    default:
        return KX_ERROR;
    }
}

int16_t record_field(const DiagRecord *record, int32_t field, void *value,
                     int32_t buffer_length, int16_t *string_length)
{
    switch (field) {
    case kFieldSqlState:
        return copy_field(value, buffer_length, string_length, record->sqlstate);
    case kFieldMessageText:
        return copy_field(value, buffer_length, string_length, record->message);
    case kFieldSubclassOrigin:
        return copy_field(value, buffer_length, string_length,
                          record->subclass_origin);
    case kFieldConnectionName:
        return copy_field(value, buffer_length, string_length,
                          record->connection_name);
    case kFieldClassOrigin:
        return copy_field(value, buffer_length, string_length,
                          record->class_origin_code == 1 ? kOdbcClassOrigin
                                                         : kIsoClassOrigin);
    case kFieldServerName:
        return copy_field(value, buffer_length, string_length, kServerName);
    case kFieldNative:
        return store_integer(value, record->native);
    case kFieldRowNumber:
        return store_integer(value, record->row);
    case kFieldColumnNumber:
        return store_integer(value, record->column);
    default:
        return KX_ERROR;
    }
}

// The error header of a data-access object, found by the object's kind.
ErrorHeader *object_errors(void *object)
{
    if (object == nullptr)
        return nullptr;
    switch (*static_cast<const uint32_t *>(object)) {
    case KX_KIND_STATEMENT:
    case KX_KIND_STATEMENT_LIKE:
        return static_cast<DriverStatement *>(object)->errors;
    case KX_KIND_CONNECTION:
        return static_cast<DriverConnection *>(object)->errors;
    default:
        return nullptr;
    }
}

}  // namespace

extern "C" {

KX_API ErrorHeader *CreateErrorHeader(MemHandle *handle,
                                      const DriverEnvironment *environment)
{
    if (handle == nullptr)
        return nullptr;
    auto *header = static_cast<ErrorHeader *>(
        newNode(sizeof(ErrorHeader), NODE_ERROR_HEADER, handle));
    if (header == nullptr)
        return nullptr;
    header->mem_handle = handle;
    header->odbc_version = environment != nullptr ? environment->odbc_version : 3;
    return header;
}

KX_API void SetupErrorHeader(ErrorHeader *header, int32_t function_code)
{
    if (header == nullptr)
        return;
    free_records(header);
    header->return_code = 0;
    header->row_count = 0;
    header->function_code = function_code;
}

KX_API void FreeErrorHeader(ErrorHeader *header)
{
    if (header == nullptr)
        return;
    free_records(header);
    kx_mem_free(header->mem_handle, header);
}

KX_API int16_t SetReturnCode(ErrorHeader *header, int32_t code)
{
    if (header != nullptr)
        header->return_code = code;
    return static_cast<int16_t>(code);
}

KX_API void SetErrorCount(ErrorHeader *header, int32_t row_count)
{
    if (header != nullptr)
        header->row_count = row_count;
}

KX_API char *PostError(ErrorHeader *header, int32_t class_origin_code,
                       int32_t column, const char *connection_name,
                       int32_t native, int32_t row, const char *subclass_origin,
                       const char *sqlstate, const char *format, ...)
{
    if (header == nullptr)
        return nullptr;
    // a header in standard mode (kxstd_set_error_header) takes the origins
    // from the SQLSTATE, its own component, and ODBC's table of ODBC 2 states
    bool standard = header->standard_component != nullptr;
    if (standard) {
        class_origin_code = kx::std_class_origin_code(sqlstate);
        subclass_origin = kx::std_subclass_origin(sqlstate);
        if (connection_name == nullptr)
            connection_name = header->standard_component;
    }
    if (header->odbc_version != 3)
        sqlstate = standard ? kx::std_odbc2_state(sqlstate) : odbc2_state(sqlstate);

    MemHandle *handle = header->mem_handle;
    auto *record = static_cast<DiagRecord *>(
        newNode(sizeof(DiagRecord), NODE_DIAG_RECORD, handle));
    if (record == nullptr)
        return nullptr;
    record->class_origin_code = class_origin_code;
    record->column = column;
    record->native = native;
    record->row = row;
    record->connection_name = string_duplicate(
        connection_name != nullptr ? connection_name : kDefaultConnectionName,
        handle);
    record->sqlstate = string_duplicate(sqlstate, handle);
    record->subclass_origin = string_duplicate(subclass_origin, handle);

    char message[kMessageSize];
    va_list arguments;
    va_start(arguments, format);
    format_message(message, record->connection_name, format, arguments);
    va_end(arguments);
    record->message = string_duplicate(message, handle);

    if (header->last != nullptr)
        header->last->next = record;
    else
        header->first = record;
    header->last = record;
    header->record_count++;
    return record->message;
}

KX_API int32_t PostDalError(void *object, const char *connection_name,
                            int32_t native, const char *sqlstate,
                            const char *message)
{
    ErrorHeader *header = object_errors(object);
    if (header == nullptr)
        return 0;
    SetReturnCode(header, KX_ERROR);
    PostError(header, 2, 0, connection_name, native, 0, kIsoClassOrigin,
              sqlstate, "%s", message != nullptr ? message : "");
    return 0;
}

KX_API int16_t GetDiagRec(ErrorHeader *header, int32_t record_number,
                          char *sqlstate, int32_t *native, char *message,
                          int32_t buffer_length, int16_t *text_length)
{
    int32_t count = header != nullptr ? header->record_count : 0;
    if (record_number > count)
        return KX_NO_DATA;
    if (record_number < 1)
        return KX_ERROR;
    const DiagRecord *record = find_record(header, record_number);
    if (record == nullptr)
        return KX_NO_DATA;
    if (sqlstate != nullptr) {
        // Five characters and a terminator: the size an SQLSTATE buffer has.
        const char *state = record->sqlstate != nullptr ? record->sqlstate : "";
        size_t length = strnlen(state, 5);
        std::memcpy(sqlstate, state, length);
        sqlstate[length] = '\0';
    }
    if (native != nullptr)
        *native = record->native;
    return static_cast<int16_t>(copy_str_buffer(message, room(buffer_length),
                                                text_length, record->message));
}

KX_API int16_t GetDiagField(int32_t handle_type, ErrorHeader *header,
                            int32_t record_number, int32_t field,
                            void *value, int32_t buffer_length,
                            int16_t *string_length)
{
    int32_t count = header != nullptr ? header->record_count : 0;
    if (record_number > count)
        return KX_NO_DATA;
    if (record_number < 0 || header == nullptr)
        return KX_ERROR;
    if (is_header_field(field))
        return header_field(handle_type, header, field, value, buffer_length,
                            string_length);
    if (record_number < 1)
        return KX_ERROR;
    const DiagRecord *record = find_record(header, record_number);
    if (record == nullptr)
        return KX_NO_DATA;
    return record_field(record, field, value, buffer_length, string_length);
}

}  // extern "C"

namespace kx {

[[noreturn]] void error_exit(EvalContext *context, const char *subclass_origin,
                             const char *sqlstate, const char *message)
{
    // Without a context there is no exit point to leave through.
    if (context == nullptr)
        std::abort();
    if (context->stmt != nullptr && context->stmt->errors != nullptr) {
        ErrorHeader *errors = context->stmt->errors;
        SetReturnCode(errors, KX_ERROR);
        PostError(errors, 1, 0, nullptr, 0, 0, subclass_origin, sqlstate, "%s",
                  message != nullptr ? message : "");
    }
    context->result = KX_ERROR;
    std::longjmp(context->exit, KX_ERROR);
}

}  // namespace kx
