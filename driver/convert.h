// convert.h - moving values between the application's buffers and Values.
//
// Internal to driver/ (convert.cpp): parameter buffers become Values at
// execution; result Values go to SQLGetData and bound columns in the C type
// the application asks for, with the ODBC truncation, piecewise and NULL
// indicator rules.
#ifndef KXEVALDRV_CONVERT_H
#define KXEVALDRV_CONVERT_H

#include "driver/query.h"

namespace kxdrv {

// The Value type and size a bound parameter will have.
TypeInfo parameter_type(const ParamBinding &binding);

// Makes the Value of every parameter of the statement in mem; long values
// sent with SQLPutData are taken from stmt->long_params. SQL_ERROR after
// posting (07002 for a parameter that is not bound).
SQLRETURN build_parameters(Statement *stmt, MemHandle *mem, std::vector<Value *> &values);

// True when the parameter is sent at execution time (SQL_DATA_AT_EXEC).
bool data_at_exec(const ParamBinding &binding);

// Delivers column (1-based) of the current row: SQLGetData's rules when
// piecewise is true (consecutive calls continue where the last stopped),
// SQLBindCol's otherwise.
SQLRETURN deliver_column(Statement *stmt, int column, Value *value, SQLSMALLINT c_type,
                         SQLPOINTER target, SQLLEN buffer_length, SQLLEN *indicator,
                         bool piecewise);

// The default C type of an SQL type.
SQLSMALLINT default_c_type(SQLSMALLINT sql_type);

}  // namespace kxdrv

#endif  // KXEVALDRV_CONVERT_H
