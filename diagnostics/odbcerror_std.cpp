// odbcerror_std: the diagnostics of the standard family.
//
// Exports kxstd_status_state and kxstd_status_message; inside the library
// it provides kx::std_raise, the error exit of the standard routines that
// take an EvalContext (diagnostics/standard_exit.h).
//
// A KXSTD_ status is an index into one table of SQLSTATEs and messages, so
// a routine without a context returns a number and its caller learns the
// state and text from here.
#include <csetjmp>
#include <cstdint>

#include "diagnostics/standard_exit.h"
#include "kxsupp/diagnostics.h"

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

}  // namespace

extern "C" {

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
        bool odbc_class = sqlstate[0] == 'H' && sqlstate[1] == 'Y';
        PostError(errors, odbc_class ? 1 : 2, 0, nullptr, 0, 0, odbc_class ? "ODBC 3.0" : "ISO 9075",
                  sqlstate, "%s", message != nullptr ? message : "");
    }
    context->result = KX_ERROR;
    std::longjmp(context->exit, KX_ERROR);
}

void std_raise(EvalContext *context, int32_t status)
{
    if (status == KXSTD_OK)
        return;
    std_raise(context, kxstd_status_state(status), kxstd_status_message(status));
}

}  // namespace kx
